#include "numora/transforms/frame.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numora/spectrum/auto_spectrum.h"
#include "numora/transforms/fft.h"
#include "numora/transforms/weighting.h"
#include "tests/support/support.h"

namespace {

using namespace qv::math;
using namespace numora_test;
using Floats = std::vector<float>;

complex* L(Floats& v) { return reinterpret_cast<complex*>(v.data()); }
complex_d* L(std::vector<double>& v) { return reinterpret_cast<complex_d*>(v.data()); }

// The frame pipeline spelled out with the window, transform and weighting units.
template <typename T>
void Steps(std::vector<T>& v, int n, QV_WIND_SETUP* w, T scale, QV_ACOUSTIC_WEIGHT weight, T df)
{
    WindowApply(v.data(), n, w, 0);
    if constexpr (sizeof(T) == sizeof(float)) {
        DFT(v.data(), n, 1);
        CorrDFT(L(v), n / 2, scale);
    } else {
        DFT_D(v.data(), n, 1);
        CorrDFT_D(L(v), n / 2, scale);
    }
    Weight_FFT(weight, L(v), n / 2, df);
}

TEST(TIMtoAPS, ChainEqualsItsStepsAndAllocatesNothingOncePrepared)
{
    const int n = 64, lines = 25;
    Floats aps(lines), ref(lines);
    std::vector<double> work(n, 0.25);
    QV_WIND_SETUP chain{}, steps{};
    WindowSetupCoeff(QV_WIN_HANN, QV_WINDOWSCALE_AMPLITUDE, 0.0f, n, 0, &steps);
    // Frames 1 and 3 run below doubleFrom, exactly the float chain with work untouched;
    // frame 2 runs its transform in double. All three average into one spectrum.
    for (int k = 1; k <= 3; ++k) {
        Floats f = RandomFloats(n, static_cast<uint32_t>(k)), r = f;
        std::vector<double> rd(f.begin(), f.end());
        const std::size_t before = AllocationCount();
        TIMtoAPS(0, f.data(), aps.data(), 40.0f, QV_AVG_LINEAR, QV_WIN_HANN, QV_WINDOWSCALE_AMPLITUDE, 3.0f, 0,
                 QV_WEIGHT_A, n, lines, k, 4, 0.5f, &chain, nullptr, work.data(), k == 2 ? n : n + 1);
        // Frame 1 leaves work alone; from then on the prepared record means no allocation.
        EXPECT_TRUE(k == 1 ? work == std::vector<double>(n, 0.25) : before == AllocationCount());
        Steps(r, n, &steps, 0.5f, QV_WEIGHT_A, 40.0f);
        Steps(rd, n, &steps, 0.5, QV_WEIGHT_A, 40.0);
        r = k == 2 ? Floats(rd.begin(), rd.end()) : r;  // the one rounding to float
        FFTtoAPS(L(r), ref.data(), lines, QV_AVG_LINEAR, k, 4, nullptr);
        ASSERT_TRUE(BitEqual(r.data(), f.data(), n) && BitEqual(ref.data(), aps.data(), lines)) << k;
    }
    WindowReset(&chain);
    WindowReset(&steps);
}

TEST(TIMtoFFT, GateClearsTailOnlyForLaterChannelUnderExponentialWindow)
{
    const int n = 32;
    QV_WIND_SETUP w{};
    // {samples kept, channel, gate}; the record gets decay 0 (all ones), not winArg.
    for (const auto& c : std::vector<std::vector<int>>{{n, 0, 5}, {5, 1, 5}, {n, 3, n + 4}, {0, 1, -2}}) {
        Floats ref = RandomFloats(n, 5), v = ref;
        std::fill(ref.begin() + c[0], ref.end(), 0.0f);
        TIMtoFFT(ref.data(), n, 1.0f);
        TIMtoFFT(c[1], v.data(), n, 10.0f, QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, 7.5f, c[2], QV_WEIGHT_NONE, &w, 1.0f);
        EXPECT_TRUE(BitEqual(ref.data(), v.data(), n)) << c[0] << " " << c[2];
    }
    WindowReset(&w);
}

TEST(FrameTransforms, PlainFormsPaddingInverseAndPhaseKeepTheirEdges)
{
    const int n = 64;
    Floats x = RandomFloats(n, 3), out(n), pad(n), h = x;
    // The taper covers the count real samples only, then zeros pad the frame; with
    // padded below count all count samples are still copied and tapered.
    ApplyHann(h.data(), 40);
    std::fill(h.begin() + 40, h.end(), 0.0f);
    TIMtoFFTWithPad(pad.data(), x.data(), 40, 16, 0.5f, true);
    EXPECT_TRUE(BitEqual(h.data() + 16, pad.data() + 16, 24));
    TIMtoFFTWithPad(pad.data(), x.data(), 40, n, 0.5f, true);
    TIMtoFFT(out.data(), h.data(), n, 0.5f);  // float: output first
    EXPECT_TRUE(BitEqual(out.data(), pad.data(), n));

    std::vector<double> xd(x.begin(), x.end()), d(n);
    TIMtoFFT(xd.data(), d.data(), n, QV_FFT_SCALE_RMS);  // double: input first
    // The inverse takes the Nyquist slot as it stands: putting back what the
    // correction dropped (times 2s = sqrt 2) restores the frame.
    d[1] = NaiveDftPacked(xd.data(), n)[1] * std::sqrt(2.0);
    FFTtoTIM(d.data(), d.data(), n, QV_FFT_SCALE_RMS);
    for (int i = 0; i < n; ++i)
        EXPECT_NEAR(xd[i], d[i], 1e-12) << i;

    // Below two samples, or with no sample to pad, nothing is written.
    FillSentinel(pad.data(), 4);
    TIMtoFFT(pad.data(), x.data(), 1, 0.5f);
    TIMtoFFTWithPad(pad.data(), x.data(), 4, 1, 0.5f, false);
    TIMtoFFT(1, pad.data(), 1, 10.0f, QV_WIN_EXPDECAY, QV_WINDOWSCALE_POWER, 0.0f, 0, QV_WEIGHT_A, nullptr, 1.0f);
    EXPECT_TRUE(HoldsSentinel(pad.data(), 4));
    // The phase of line 0 is 0 even without lines.
    double z[4] = {5, 7, 0, -3}, ph[2] = {1.0, 1.0};
    FFTtoPhase(z, ph, 0);
    EXPECT_TRUE(ph[0] == 0.0 && ph[1] == 1.0);
}

}  // namespace
