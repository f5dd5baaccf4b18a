// Fuzz target of the histogram and its percentages.
//
// Input: sample count, bin count, flags, range ends (raw float bits), then
// the samples (16-bit values, or raw float bits when a flag says so).
//
// Checks: a null pointer or a bin count below 1 gives -1 and writes nothing;
// a count of 0 or below clears exactly bins + 2 counters; otherwise the
// counters grow by n in all, samples below lo land in the first counter,
// samples at or above hi and NaN in the last, and within the range a larger
// sample never lands in a lower bin; nothing outside the counters is
// written. HISTtoPDF writes count entries that add up to 100 (all NaN when
// the counters or the total give nothing), in proportion to the counters.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "numora/numora.h"

using namespace qv::math;
using fuzz::Bytes;

namespace {

const int kGuard = 4;
const int kGuardValue = 0x5A5A5A5A;

void CheckPercentages(const std::vector<int>& hist, int total)
{
    const uint32_t count = static_cast<uint32_t>(hist.size());
    std::vector<float> pdf(hist.size() + 1, -1.0f);
    std::vector<int> copy = hist;
    HISTtoPDF(pdf.data(), copy.data(), count, total);
    CHECK(copy == hist && pdf.back() == -1.0f);
    double counters = 0.0;
    for (int h : hist)
        counters += h;
    if (total <= 0 || counters == 0.0) {
        for (uint32_t i = 0; i < count; ++i)
            CHECK(std::isnan(pdf[i]));
        return;
    }
    double sum = 0.0;
    for (uint32_t i = 0; i < count; ++i) {
        sum += static_cast<double>(pdf[i]);
        // Each entry in proportion to its counter, within float rounding.
        const double expected = 100.0 * hist[i] / counters;
        CHECK(std::fabs(static_cast<double>(pdf[i]) - expected) <= 1e-5 * 100.0 + 1e-6 * std::fabs(expected));
    }
    CHECK(std::fabs(sum - 100.0) <= 1e-5 * 100.0 * count);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Bytes in(data, size);
    const int n = in.Take<int8_t>();
    const int bins = in.Take<int8_t>();
    const uint8_t flags = in.Take<uint8_t>();
    const float lo = in.Take<float>();
    const float hi = in.Take<float>();
    const int total = flags & 8 ? in.Take<int8_t>() : -1;
    std::vector<float> time(static_cast<size_t>(std::max(n, 1)));
    for (float& x : time)
        x = flags & 1 ? in.Take<float>() : static_cast<float>(in.Take<int16_t>()) / 64.0f;
    const std::vector<float> samples = time;

    // Counters with guards on both sides; the first call may start from
    // counts the caller already holds.
    const int slots = std::max(bins, 0) + 2;
    std::vector<int> buffer(static_cast<size_t>(slots + 2 * kGuard), kGuardValue);
    int* hist = buffer.data() + kGuard;
    for (int i = 0; i < slots; ++i)
        hist[i] = flags & 2 ? in.Take<uint8_t>() : 0;
    const std::vector<int> before = buffer;

    if (flags & 4) {
        // Refusals: a null pointer, or no bins.
        CHECK(TIMtoPDFHistogram(nullptr, n, bins, hist, lo, hi) == -1);
        CHECK(TIMtoPDFHistogram(time.data(), n, bins, nullptr, lo, hi) == -1);
        CHECK(buffer == before);
    }
    const int result = TIMtoPDFHistogram(time.data(), n, bins, hist, lo, hi);
    CHECK(std::memcmp(time.data(), samples.data(), time.size() * sizeof(float)) == 0);
    for (int g = 0; g < kGuard; ++g)
        CHECK(buffer[static_cast<size_t>(g)] == kGuardValue && buffer[buffer.size() - 1 - static_cast<size_t>(g)] == kGuardValue);
    if (bins < 1) {
        CHECK(result == -1 && buffer == before);
        return 0;
    }
    if (n <= 0) {
        CHECK(result == 0);
        for (int i = 0; i < slots; ++i)
            CHECK(hist[i] == 0);
        return 0;
    }
    CHECK(result == n);

    // Where each sample lands, one at a time on cleared counters.
    long long added = 0;
    int below = 0;
    int above = 0;
    for (int i = 0; i < slots; ++i)
        added += hist[i] - before[static_cast<size_t>(kGuard + i)];
    std::vector<int> one(static_cast<size_t>(slots));
    std::vector<std::pair<float, int>> landed;
    for (float x : samples) {
        std::fill(one.begin(), one.end(), 0);
        CHECK(TIMtoPDFHistogram(&x, 1, bins, one.data(), lo, hi) == 1);
        int bin = -1;
        for (int k = 0; k < slots; ++k) {
            CHECK(one[static_cast<size_t>(k)] == 0 || one[static_cast<size_t>(k)] == 1);
            if (one[static_cast<size_t>(k)] == 1) {
                CHECK(bin == -1);
                bin = k;
            }
        }
        CHECK(bin >= 0);
        if (lo > x) {
            CHECK(bin == 0);
        } else if (x >= hi || std::isnan(x)) {
            CHECK(bin == bins + 1);
        } else {
            CHECK(bin >= 1);
            landed.push_back({x, bin});
        }
        below += bin == 0;
        above += bin == bins + 1;
    }
    CHECK(added == n && hist[0] - before[kGuard] == below && hist[bins + 1] - before[static_cast<size_t>(kGuard + bins + 1)] == above);
    std::sort(landed.begin(), landed.end());
    for (size_t i = 1; i < landed.size(); ++i)
        CHECK(landed[i].second >= landed[i - 1].second);

    CheckPercentages(std::vector<int>(hist, hist + slots), total == -1 ? n : total);
    return 0;
}
