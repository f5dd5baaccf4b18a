#include "numora/spectrum/correlation.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numora/drive/random_phase.h"
#include "numora/foundation/platform.h"
#include "numora/transforms/fft.h"
#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;

TEST(APStoCORR, SineOnLineOneGivesEvenWeightedCosine)
{
    // Raw lags 2 cos(2 pi t / 8), weighted by (4 / (4 - |t|)) / 4: the mean
    // square 0.5 of a unit sine at lag 0, the same weight on both sides.
    float aps[4] = {0.0f, 1.0f, 0.0f, 0.0f};
    float work[8], corr[9], cross[7];
    FillSentinel(corr, 9);
    APStoCORR(aps, work, corr, 8, 4);
    const double expected[7] = {-1.41421356, 0.0, 0.47140452, 0.5, 0.47140452, 0.0, -1.41421356};
    for (int i = 0; i < 7; ++i)
        EXPECT_NEAR(expected[i], static_cast<double>(corr[i]), 1e-6) << "index " << i;
    EXPECT_TRUE(HoldsSentinel(corr + 7, 2));

    complex cps[4] = {{0.0f, 0.0f}, {1.0f, 0.0f}, {0.0f, 0.0f}, {0.0f, 0.0f}};
    CPStoCORR(cps, work, cross, 8, 4);
    EXPECT_TRUE(BitEqual(corr, cross, 7));

    // lines < H writes 2 * lines - 1 values; lines < 1 touches nothing.
    float wide[16];
    FillSentinel(corr, 9);
    APStoCORR(aps, wide, corr, 16, 3);
    EXPECT_TRUE(HoldsSentinel(corr + 5, 4));
    FillSentinel(corr, 9);
    FillSentinel(wide, 16);
    APStoCORR(aps, wide, corr, 16, 0);
    EXPECT_TRUE(HoldsSentinel(corr, 9) && HoldsSentinel(wide, 16));
}

TEST(CPStoCORR, RawInverseWithMirroredLagWeights)
{
    const int size = 64, lines = 32;
    std::vector<float> packed = numora_test::RandomFloats(2 * lines, 17);  // line 0's im: Nyquist
    std::vector<float> work(size), corr(2 * lines - 1), expected(2 * lines - 1);
    CPStoCORR(reinterpret_cast<complex*>(packed.data()), work.data(), corr.data(), size, lines);

    // The same steps lag by lag, in float.
    packed.resize(size, 0.0f);
    std::vector<float> raw(packed);
    DFT(raw.data(), size, -1);
    for (int tau = 0; tau < lines; ++tau) {
        const float w = 32.0f / static_cast<float>(32 - tau) * 0.25f;
        expected[lines - 1 + tau] = w * raw[tau];
        expected[lines - 1 - tau] = w * raw[(size - tau) % size];
    }
    EXPECT_TRUE(BitEqual(expected.data(), corr.data(), 2 * lines - 1));
}

TEST(CPStoCORR, PeaksAtPlusDWhenTheFirstChannelLagsByD)
{
    const int size = 128, lines = 24, delay = 9;
    const std::vector<float> x = numora_test::RandomFloats(size / 2, 5);
    std::vector<float> a(size, 0.0f), b(size, 0.0f), work(size), corr(2 * lines - 1);
    std::copy(x.begin(), x.end(), a.begin() + delay);
    std::copy(x.begin(), x.end(), b.begin());
    for (std::vector<float>* frame : {&a, &b}) {
        DFT(frame->data(), size, 1);
        CorrDFT(reinterpret_cast<complex*>(frame->data()), size / 2, QV_FFT_SCALE_PEAK);
    }
    std::vector<complex> cps(lines);
    for (int k = 0; k < lines; ++k) {
        const complex f = reinterpret_cast<complex*>(a.data())[k], g = reinterpret_cast<complex*>(b.data())[k];
        cps[k] = complex{f.re * g.re + f.im * g.im, f.im * g.re - f.re * g.im};
    }
    CPStoCORR(cps.data(), work.data(), corr.data(), size, lines);
    EXPECT_EQ(lines - 1 + delay, std::max_element(corr.begin(), corr.end()) - corr.begin());
}

TEST(APStoTIM, RandomPhasesThenRawInverse)
{
    // Mean square of the raw inverse is twice the power of lines 1 .. n/2 - 1:
    // DC is cleared and line n/2 lands beyond the frame.
    const int n = 64;
    std::vector<double> aps(n + 2), time(n + 2);
    double power = 0.0, square = 0.0;
    for (int k = 0; k < n; ++k) {
        aps[k] = 0.5 + k % 5;
        power += k >= 1 && k < n / 2 ? aps[k] : 0.0;
    }
    APStoTIM(aps.data(), time.data(), n, n / 2);
    for (int i = 0; i < n; ++i)
        square += time[i] * time[i] / n;
    EXPECT_NEAR(2.0 * power, square, 1e-7 * power);

    // Float, in place, against the steps one by one.
    std::vector<float> expected = numora_test::RandomFloats(n, 9), inPlace = expected;
    SRand(4);
    APSAddRandomPhase(expected.data(), n, 20);
    DFT(expected.data(), n, -1);
    SRand(4);
    APStoTIM(inPlace.data(), inPlace.data(), n, 20);
    EXPECT_TRUE(BitEqual(expected.data(), inPlace.data(), n));
}
