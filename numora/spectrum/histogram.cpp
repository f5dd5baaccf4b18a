#include "numora/spectrum/histogram.h"

namespace qv {
namespace math {

int TIMtoPDFHistogram(float* time, int n, int bins, int* hist, float lo, float hi)
{
    if (time == nullptr || hist == nullptr || bins < 1)
        return -1;
    const int above = bins + 1;
    if (n <= 0) {
        for (int i = 0; i <= above; ++i)
            hist[i] = 0;
        return 0;
    }
    const float width = (hi - lo) / static_cast<float>(bins);
    // The quotient is compared in double so that the bound is bins exactly,
    // also where bins has no float representation.
    const double binCount = static_cast<double>(bins);
    for (int i = 0; i < n; ++i) {
        const float x = time[i];
        if (lo > x) {
            ++hist[0];
        } else if (x >= hi) {
            ++hist[above];
        } else {
            const float q = (x - lo) / width;
            // False for NaN and for any quotient at or beyond bins.
            if (static_cast<double>(q) < binCount)
                ++hist[static_cast<int>(q) + 1];
            else
                ++hist[above];
        }
    }
    return n;
}

void HISTtoPDF(float* pdf, int* hist, uint32_t count, int total)
{
    const float s = total > 0 ? static_cast<float>(100.0 / static_cast<double>(total)) : 0.0f;
    for (uint32_t i = 0; i < count; ++i)
        pdf[i] = static_cast<float>(hist[i]) * s;
    float sum = 0.0f;
    for (uint32_t i = 0; i < count; ++i)
        sum += pdf[i];
    const float r = static_cast<float>(100.0 / static_cast<double>(sum));
    for (uint32_t i = 0; i < count; ++i)
        pdf[i] = r * pdf[i];
}

}  // namespace math
}  // namespace qv
