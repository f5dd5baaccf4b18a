#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

// The drift filter as its rule reads, the reference of its unit test and its
// fuzz target: every sample less the mean of the 2h samples (h = w / 2)
// around the nearest sample whose window fits, the window summed in double
// from its start and multiplied by 1/w; a NaN result is the default one.
namespace numora_test {

inline std::vector<float> PlainDrift(const std::vector<float>& s, int w)
{
    const int n = static_cast<int>(s.size()), h = w / 2;
    if (h < 0 || n <= 2 * h)
        return s;
    std::vector<float> out(s.size());
    for (int i = 0; i < n; ++i) {
        const int c = std::min(std::max(i, h), n - h - 1);
        double sum = 0.0;
        for (int j = c - h; j < c + h; ++j)
            sum += static_cast<double>(s[static_cast<size_t>(j)]);
        const float v = static_cast<float>(static_cast<double>(s[static_cast<size_t>(i)]) - sum * (1.0 / w));
        out[static_cast<size_t>(i)] = std::isnan(v) ? std::numeric_limits<float>::quiet_NaN() : v;
    }
    return out;
}

}  // namespace numora_test
