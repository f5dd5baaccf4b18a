#include "numora/spectrum/correlation.h"

#include "numora/drive/random_phase.h"
#include "numora/transforms/fft.h"

namespace qv {
namespace math {

namespace {

// Steps shared by both correlations once the packed spectrum stands in work:
// raw inverse transform, lag weights on both sides, and the lags -(lines - 1)
// to lines - 1 copied out around the centre of corr.
void PackedToCorr(float* work, float* corr, int size, int lines)
{
    DFT(work, size, -1);

    const int h = size / 2;
    const float hf = static_cast<float>(h);
    for (int i = 0; i < h; ++i)
        work[i] = hf / static_cast<float>(h - i) * 0.25f * work[i];
    // Lag -tau sits at index size - tau and takes the weight of lag tau.
    for (int tau = 1; tau < h; ++tau)
        work[size - tau] = hf / static_cast<float>(h - tau) * 0.25f * work[size - tau];

    float* centre = corr + (lines - 1);
    for (int i = 0; i < lines; ++i)
        centre[i] = work[i];
    for (int j = 0; j < lines - 1; ++j)
        corr[lines - 2 - j] = work[size - 1 - j];
}

// Copy, random phases, raw inverse; the twins differ only in the transform.
// The copy is a plain loop so that time may be aps.
template <typename T>
void RandomPhaseFrame(const T* aps, T* time, int n, int maxLine, int (*inverse)(T*, int, int))
{
    if (n < 1)
        return;
    for (int i = 0; i < n; ++i)
        time[i] = aps[i];
    APSAddRandomPhase(time, n, maxLine);
    inverse(time, n, -1);
}

}  // namespace

void APStoCORR(float* aps, float* work, float* corr, int size, int lines)
{
    if (lines < 1)
        return;
    for (int i = 0; i < size; ++i)
        work[i] = 0.0f;
    for (int i = 0; i < lines; ++i)
        work[2 * i] = aps[i];
    PackedToCorr(work, corr, size, lines);
}

void CPStoCORR(complex* cps, float* work, float* corr, int size, int lines)
{
    if (lines < 1)
        return;
    for (int i = 0; i < size; ++i)
        work[i] = 0.0f;
    for (int i = 0; i < lines; ++i) {
        work[2 * i] = cps[i].re;
        work[2 * i + 1] = cps[i].im;
    }
    PackedToCorr(work, corr, size, lines);
}

void APStoTIM(float* aps, float* time, int n, int maxLine)
{
    RandomPhaseFrame(aps, time, n, maxLine, DFT);
}

void APStoTIM(double* aps, double* time, int n, int maxLine)
{
    RandomPhaseFrame(aps, time, n, maxLine, DFT_D);
}

}  // namespace math
}  // namespace qv
