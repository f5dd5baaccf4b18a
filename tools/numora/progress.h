#pragma once

#include <string>

#include "recording/source.h"

// A progress bar on stderr, drawn only when stderr is a terminal; otherwise
// it writes nothing at all.

namespace numora {
namespace cli {

class ProgressBar {
public:
    explicit ProgressBar(std::string label);
    // Clears the bar from the terminal line.
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // Redraws the bar when the shown percentage changes.
    void Update(double fraction);
    // A callback for the layer's long jobs.
    rec::Progress Callback();

private:
    std::string label_;
    bool active_;
    int shown_ = -1;
};

}  // namespace cli
}  // namespace numora
