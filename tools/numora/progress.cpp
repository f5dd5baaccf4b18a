#include "tools/numora/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace numora {
namespace cli {

namespace {

constexpr int kWidth = 40;

}  // namespace

ProgressBar::ProgressBar(std::string label) : label_(std::move(label)), active_(isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar()
{
    if (active_ && shown_ >= 0)
        std::fprintf(stderr, "\r\033[K");
}

void ProgressBar::Update(double fraction)
{
    if (!active_)
        return;
    const int percent = static_cast<int>(std::clamp(fraction, 0.0, 1.0) * 100.0);
    if (percent == shown_)
        return;
    shown_ = percent;
    const int filled = percent * kWidth / 100;
    std::string bar(static_cast<size_t>(filled), '#');
    bar.append(static_cast<size_t>(kWidth - filled), '.');
    std::fprintf(stderr, "\r%s [%s] %3d%%", label_.c_str(), bar.c_str(), percent);
    std::fflush(stderr);
}

rec::Progress ProgressBar::Callback()
{
    return [this](double fraction) { Update(fraction); };
}

}  // namespace cli
}  // namespace numora
