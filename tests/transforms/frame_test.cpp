#include "numora/transforms/frame.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numora/spectrum/auto_spectrum.h"
#include "numora/spectrum/conversions.h"
#include "numora/transforms/fft.h"
#include "numora/transforms/weighting.h"
#include "tests/support/support.h"

namespace {

using namespace qv::math;
using numora_test::BitEqual;
using Floats = std::vector<float>;
using Doubles = std::vector<double>;

// A window record that frees its table at the end of the test.
struct Wind {
    QV_WIND_SETUP s{};
    ~Wind() { WindowReset(&s); }
};

complex* L(Floats& v) { return reinterpret_cast<complex*>(v.data()); }
complex_d* L(Doubles& v) { return reinterpret_cast<complex_d*>(v.data()); }

// The frame pipeline spelled out with the window, transform and weighting units.
void Steps(Floats& v, QV_WIND_SETUP* w, float scale, QV_ACOUSTIC_WEIGHT weight, float df)
{
    const int n = static_cast<int>(v.size());
    WindowApply(v.data(), n, w, 0);
    DFT(v.data(), n, 1);
    CorrDFT(L(v), n / 2, scale);
    Weight_FFT(weight, L(v), n / 2, df);  // does nothing for QV_WEIGHT_NONE
}
void Steps(Doubles& v, QV_WIND_SETUP* w, double scale, QV_ACOUSTIC_WEIGHT weight, double df)
{
    const int n = static_cast<int>(v.size());
    WindowApply(v.data(), n, w, 0);
    DFT_D(v.data(), n, 1);
    CorrDFT_D(L(v), n / 2, scale);
    Weight_FFT(weight, L(v), n / 2, df);
}

TEST(TIMtoAPS, EachChainEqualsItsStepsAndAllocatesNothingOncePrepared)
{
    const int n = 64, lines = 25;
    const float df = 40.0f, s = 0.5f;
    const auto win = QV_WIN_HANN;
    const auto ws = QV_WINDOWSCALE_AMPLITUDE;
    const auto avg = QV_AVG_LINEAR;
    Floats c = numora_test::RandomFloats(n, 99);
    for (auto weight : {QV_WEIGHT_NONE, QV_WEIGHT_A}) {
        const bool drive = weight != QV_WEIGHT_NONE;  // the drive-corrected chain runs with the weighting
        Wind chain, steps;
        WindowSetupCoeff(win, ws, 0.0f, n, 0, &steps.s);
        Floats aps(lines), ref(lines), f, r;
        Doubles apsD(lines), refD(lines), fd, rd;
        for (int k = 1; k <= 3; ++k) {
            f = r = numora_test::RandomFloats(n, static_cast<uint32_t>(k));
            fd = rd = Doubles(f.begin(), f.end());
            const std::size_t before = numora_test::AllocationCount();
            if (drive)
                TIMtoAPSWithDriveCorr(0, f.data(), aps.data(), df, avg, win, ws, 3.0f, 0, weight, n, lines, k, 4, s,
                                      &chain.s, nullptr, L(c));
            else
                TIMtoAPS(0, f.data(), aps.data(), df, avg, win, ws, 3.0f, 0, weight, n, lines, k, 4, s, &chain.s,
                         nullptr);
            TIMtoAPS(0, fd.data(), apsD.data(), df, avg, win, ws, 3.0, 0, weight, n, lines, k, 4, s, &chain.s,
                     nullptr);
            EXPECT_TRUE(k == 1 || before == numora_test::AllocationCount());  // prepared by frame 1
            Steps(r, &steps.s, s, weight, df);
            Steps(rd, &steps.s, s, weight, df);
            if (drive)
                FFTApplySineX_X(L(r), L(c), n / 2);
            FFTtoAPS(L(r), ref.data(), lines, avg, k, 4, nullptr);
            FFTtoAPS(L(rd), refD.data(), lines, avg, k, 4, nullptr);
            ASSERT_TRUE(BitEqual(r.data(), f.data(), n) && BitEqual(ref.data(), aps.data(), lines)) << k;
            ASSERT_TRUE(BitEqual(rd.data(), fd.data(), n) && BitEqual(refD.data(), apsD.data(), lines)) << k;
        }
        EXPECT_EQ(drive, fd[0] == 0.0);  // only a real weighting runs, and every curve clears DC
    }
}

TEST(TIMtoFFT, GateClearsTailOnlyForLaterChannelUnderExponentialWindow)
{
    const int n = 32;
    const Floats x = numora_test::RandomFloats(n, 5);
    auto expect = [&](int keep, int channel, QV_ACQFRAME_WINTYPE type, int gate, QV_WIND_SETUP* w) {
        Floats ref = x, v = x;
        std::fill(ref.begin() + keep, ref.end(), 0.0f);
        TIMtoFFT(ref.data(), n, 1.0f);
        TIMtoFFT(channel, v.data(), n, 10.0f, type, QV_WINDOWSCALE_POWER, 7.5f, gate, QV_WEIGHT_NONE, w, 1.0f);
        return BitEqual(ref.data(), v.data(), n);
    };
    Wind exp, hann;
    EXPECT_TRUE(expect(n, 0, QV_WIN_EXPDECAY, 5, &exp.s));  // prepared with decay 0 (all ones), not winArg
    EXPECT_TRUE(expect(5, 1, QV_WIN_EXPDECAY, 5, &exp.s));
    EXPECT_TRUE(expect(n, 3, QV_WIN_EXPDECAY, n + 4, &exp.s));
    EXPECT_TRUE(expect(0, 1, QV_WIN_EXPDECAY, -2, &exp.s));
    EXPECT_TRUE(expect(n, 1, QV_WIN_HANN, 5, nullptr));  // no record: no window, no gate
    EXPECT_FALSE(expect(n, 1, QV_WIN_HANN, 5, &hann.s));
}

TEST(TIMtoAPS, DoubleFromSelectsTheTransformPrecision)
{
    const int n = 128, lines = 50;
    const float s = 0.70710677f;
    const Floats x = numora_test::RandomFloats(n, 8);
    Wind w, ref;
    WindowSetupCoeff(QV_WIN_FLATTOP, QV_WINDOWSCALE_POWER, 0.0f, n, 0, &ref.s);
    Floats onFloat = x, onDouble = x, apsF(lines), apsD(lines), refF(lines), refD(lines), r = x;
    Doubles work(n), rd(x.begin(), x.end());
    auto call = [&](Floats& f, Floats& aps, int from) {
        TIMtoAPS(0, f.data(), aps.data(), 50.0f, QV_AVG_LINEAR, QV_WIN_FLATTOP, QV_WINDOWSCALE_POWER, 0.0f, 0,
                 QV_WEIGHT_C, n, lines, 1, 1, s, &w.s, nullptr, work.data(), from);
    };
    numora_test::FillSentinel(work.data(), n);
    call(onFloat, apsF, n + 1);
    EXPECT_TRUE(numora_test::HoldsSentinel(work.data(), n));
    Steps(r, &ref.s, s, QV_WEIGHT_C, 50.0f);
    FFTtoAPS(L(r), refF.data(), lines, QV_AVG_LINEAR, 1, 1, nullptr);
    EXPECT_TRUE(BitEqual(r.data(), onFloat.data(), n) && BitEqual(refF.data(), apsF.data(), lines));

    const std::size_t before = numora_test::AllocationCount();
    call(onDouble, apsD, n);
    EXPECT_EQ(before, numora_test::AllocationCount());
    Steps(rd, &ref.s, static_cast<double>(s), QV_WEIGHT_C, 50.0);
    std::copy(rd.begin(), rd.end(), r.begin());  // the one rounding to float
    FFTtoAPS(L(r), refD.data(), lines, QV_AVG_LINEAR, 1, 1, nullptr);
    EXPECT_TRUE(BitEqual(r.data(), onDouble.data(), n) && BitEqual(refD.data(), apsD.data(), lines));
}

TEST(TIMtoFFT, PlainFormsTransformWhereTheySay)
{
    const int n = 64;
    Floats x = numora_test::RandomFloats(n, 3), out(n), self = x, pad(n, 9.0f), tapered(n, 0.0f);
    TIMtoFFT(out.data(), x.data(), n, 0.5f);  // float: output first
    TIMtoFFT(self.data(), n, 0.5f);
    EXPECT_TRUE(BitEqual(self.data(), out.data(), n));
    // The taper covers the count real samples only, then zeros pad the frame.
    TIMtoFFTWithPad(pad.data(), x.data(), 40, n, 0.5f, true);
    std::copy(x.begin(), x.begin() + 40, tapered.begin());
    ApplyHann(tapered.data(), 40);
    TIMtoFFT(tapered.data(), n, 0.5f);
    EXPECT_TRUE(BitEqual(tapered.data(), pad.data(), n));

    const Doubles xd(x.begin(), x.end());
    Doubles dout(n), back(n);
    TIMtoFFT(const_cast<double*>(xd.data()), dout.data(), n, QV_FFT_SCALE_RMS);  // double: input first
    // The inverse takes the Nyquist slot as it stands: putting back what the
    // correction dropped (times 2s = sqrt 2) restores the frame.
    dout[1] = numora_test::NaiveDftPacked(xd.data(), n)[1] * std::sqrt(2.0);
    FFTtoTIM(dout.data(), back.data(), n, QV_FFT_SCALE_RMS);
    for (int i = 0; i < n; ++i)
        EXPECT_NEAR(xd[i], back[i], 1e-12) << i;
}

TEST(FFTtoPhase, LineZeroIsAlwaysZero)
{
    double z[4] = {5, 7, 0, -3}, ph[2];
    for (int lines : {2, 1, 0}) {
        numora_test::FillSentinel(ph, 2);
        FFTtoPhase(z, ph, lines);
        EXPECT_TRUE(ph[0] == 0.0 && (lines == 2 ? ph[1] == -M_PI / 2 : numora_test::HoldsSentinel(&ph[1], 1)));
    }
}

}  // namespace
