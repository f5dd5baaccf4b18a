#include "numora/drive/clipping.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numora/drive/random_phase.h"
#include "numora/drive/waveforms.h"
#include "numora/foundation/array.h"
#include "numora/foundation/array_scan.h"
#include "numora/foundation/platform.h"
#include "numora/spectrum/rms.h"
#include "numora/transforms/fft.h"
#include "numora/transforms/timing.h"
#include "tests/support/support.h"

using namespace qv;
using namespace qv::math;
using numora_test::BitEqual;

namespace {

// Mean 0, mean square 3: deviation sqrt(3); 1.5 deviations = 2.598 leave only the 3s beyond.
const std::vector<float> kFrame = {3.0f, -3.0f, 1.0f, -1.0f, 1.0f, -1.0f, 1.0f, -1.0f};

double Rms(const double* x, int n)
{
    double lo, hi, mean, square;
    return RMS_TIM_Stat(x, n, lo, hi, mean, square);
}

}  // namespace

TEST(SigmaClip, LimitFromTheDeviationPerTypeAboutZero)
{
    const double s = std::sqrt(3.0);
    const float l15 = static_cast<float>(s * 1.5);
    double dev = -1.0;
    std::vector<float> d = kFrame;
    const std::size_t allocations = numora_test::AllocationCount();
    EXPECT_EQ(2, SigmaClip(d.data(), 8, DriveClipSigma, 1.5, dev, false));
    EXPECT_EQ(allocations, numora_test::AllocationCount());
    EXPECT_TRUE(dev == s && d[0] == l15 && d[1] == -l15 && d[2] == 1.0f);
    d = kFrame;
    EXPECT_EQ(2, SigmaClip(d.data(), 8, DriveClipZeroOut, 1.5, dev, false));
    EXPECT_TRUE(d[0] == 0.0f && d[1] == 0.0f && d[2] == 1.0f);
    d = kFrame;
    EXPECT_EQ(8, SigmaClip(d.data(), 8, DriveClipSigma, 1.5, dev, true));  // overshoot: the curve at L
    EXPECT_TRUE(d[0] == InterpOvershoot(l15) && d[3] == -InterpOvershoot(l15));
    d = kFrame;
    for (DriveClipType t :
         {DriveClipSixSigma, DriveClipSigmaLimit3, DriveClipSigmaLimit5, DriveClipType(6)}) {
        dev = -1.0;
        EXPECT_EQ(0, SigmaClip(d.data(), 8, t, 0.1, dev, false));
        EXPECT_EQ(s, dev) << t;  // written, though nothing is clipped
    }
    dev = -1.0;
    EXPECT_EQ(0, SigmaClip(d.data(), 0, DriveClipSigma, 0.1, dev, false));  // no count: no statistics
    EXPECT_EQ(0, SigmaClip(d.data(), 8, DriveClipNone, 0.1, dev, false));
    EXPECT_EQ(0, SigmaClip(d.data(), 8, DriveClipNone, 0.5f));
    EXPECT_TRUE(dev == -1.0 && BitEqual(kFrame.data(), d.data(), 8));
    EXPECT_EQ(2, SigmaClip(d.data(), 8, DriveClipType(9), 1.0f));  // plain limit; 1 itself is not clipped
    d.assign({11, 9, 11, 9, 11, 9, 11, 9});  // deviation 1 about the mean 10, the clip about zero
    EXPECT_EQ(8, SigmaClip(d.data(), 8, DriveClipSigma, 1.5, dev, false));
    EXPECT_TRUE(dev == 1.0 && d[5] == 1.5f);
}

TEST(SigmaClip, LimitQuerySinglePrecisionDoubleFramesAndRanges)
{
    const double s = std::sqrt(3.0);
    std::vector<float> d = kFrame;
    double dev = -1.0;
    EXPECT_EQ(static_cast<float>(s * 2.0), GetSigmaClip(d.data(), 8, DriveClipSigmaLimit5, 2.0, dev, false));
    EXPECT_EQ(InterpOvershoot(static_cast<float>(s * 6.0)),
              GetSigmaClip(d.data(), 8, DriveClipSixSigma, 2.0, dev, true));
    dev = -1.0;
    EXPECT_EQ(0.0f, GetSigmaClip(d.data(), 8, DriveClipZeroOut, 2.0, dev, true));  // no curve, but stdDev
    EXPECT_TRUE(dev == s && BitEqual(kFrame.data(), d.data(), 8));

    const float sf = static_cast<float>(s);
    EXPECT_EQ(2, SigmaClipEU(d.data(), 8, DriveClipSigmaLimit3, 1.5f));  // the EU set clips type 3
    EXPECT_EQ(sf * 1.5f, d[0]);
    EXPECT_EQ(0, SigmaClipEU(d.data(), 8, DriveClipZeroOut, 0.1f));

    double x[4] = {2.0, -2.0, 0.5, -0.5}, rms = 0.25;
    EXPECT_EQ(2, SigmaClip(x, 4, 2.0, rms, false));  // the given rms; 0.5 sits on the limit
    EXPECT_EQ(4, SigmaClip(x, 4, 0.5, rms, true));   // its own deviation, 0.5
    EXPECT_TRUE(rms == 0.5 && x[0] == 0.25 && x[3] == -0.25);

    float r[3] = {-5.0f, 1.5f, 5.0f};
    EXPECT_EQ(5, RangeClip(r, 3, 2.0f, 1.0f));  // low above high: below low counts twice, ends at high
    EXPECT_TRUE(r[0] == 1.0f && r[1] == 1.0f && r[2] == 1.0f);
}

namespace {

// 256 samples, 100 lines, drive band 5 ... 90; amplitudes in all 256 slots
// (the iterative clip copies them all before writing its lines).
QV_BASE_FRAME_SETUP DriveFrame()
{
    QV_BASE_FRAME_SETUP f{};
    UpdateFrameInfo(f, 256, QV_FFT_SCALE_RMS, 2560.0, 2.56, 1000.0);
    f.firstLine = 5;
    f.lastLine = 90;
    return f;
}

std::vector<double> Amplitudes()
{
    std::vector<double> a = numora_test::RandomDoubles(256, 5);
    for (double& v : a)
        v = 1.0 + 0.5 * v;
    return a;
}

}  // namespace

TEST(FRQtoTIM_PhaseSigmaClip, BuildsTheBandFrameClipsAndHandsThePhasesOn)
{
    QV_BASE_FRAME_SETUP f = DriveFrame();
    std::vector<double> amp = Amplitudes(), open(256), time(256), spectrum(256), phase(128, 0.0), start;
    LoadRandomPhase(phase.data(), 256, 128, 4);
    start = phase;
    double rms = 0.0;
    EXPECT_EQ(0, FRQtoTIM_PhaseSigmaClip(amp.data(), open.data(), spectrum.data(), phase.data(), f, 100.0,
                                         false, 1.0, rms, 0.01));
    EXPECT_TRUE(BitEqual(start.data(), phase.data(), 128) && rms == Rms(open.data(), 256));
    // RMS scaling: the plain DFT line is amplitude / sqrt(2) at the phase; lines
    // below 5 cleared, 91 to 100 at (0.01, 0.01), the amplitudes again above.
    const std::vector<double> x = numora_test::NaiveDftPacked(open.data(), 256);
    for (int k : {4, 5, 90, 91, 100, 101})
        ASSERT_NEAR(k < 5                ? 0.0
                    : k > 90 && k <= 100 ? 0.01
                                         : amp[k] * std::sin(start[k]),
                    x[2 * k + 1] * std::sqrt(2.0), 1e-12)
            << k;
    const double limit = 1.5 * Rms(open.data(), 256);
    const int beyond = static_cast<int>(
        std::count_if(open.begin(), open.end(), [&](double v) { return std::fabs(v) > limit; }));
    ASSERT_GT(beyond, 0);
    const std::size_t allocations = numora_test::AllocationCount();
    EXPECT_EQ(beyond, FRQtoTIM_PhaseSigmaClip(amp.data(), time.data(), spectrum.data(), phase.data(), f, 1.5,
                                              false, 1.0, rms, 0.01));
    EXPECT_EQ(allocations, numora_test::AllocationCount());
    const std::vector<double> y = numora_test::NaiveDftPacked(time.data(), 256);
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(std::max(-limit, std::min(limit, open[i])), time[i]);
    for (int k = 1; k < 128; ++k)
        ASSERT_NEAR(std::atan2(y[2 * k + 1], y[2 * k]), phase[k], 1e-9) << k;
    phase = start;
    FRQtoTIM_PhaseSigmaClip(amp.data(), time.data(), spectrum.data(), phase.data(), f, 1.5, true, 2.0, rms,
                            0.01);
    EXPECT_NEAR(2.0, ArrayMaxAbs(time.data(), 256, nullptr), 1e-15);
    EXPECT_EQ(Rms(time.data(), 256), rms);
}

namespace {

// One iteration from the phases (or fresh ones), written out from the
// library's primitives: build, invert, clip at sigma deviations, re-phase.
int Iteration(const std::vector<double>& amp, std::vector<double>& time, std::vector<double>& phase,
              const QV_BASE_FRAME_SETUP& f, double sigma, bool fresh, int seed)
{
    std::vector<double> s(amp);
    if (fresh) {
        FRQAddRandomPhase(s.data(), 256, static_cast<int>(f.lines), seed);
        LoadRandomPhase(phase.data(), 256, static_cast<int>(f.linesWithDC), seed);
    } else {
        for (int k = 0; k <= static_cast<int>(f.lines); ++k) {
            s[2 * k] = std::cos(phase[k]) * amp[k];
            s[2 * k + 1] = std::sin(phase[k]) * amp[k];
        }
    }
    std::fill(s.begin(), s.begin() + 2 * f.firstLine, 0.0);
    std::fill(s.begin() + 2 * f.lastLine + 2, s.begin() + 2 * f.linesWithDC, 0.002);
    s[0] = s[1] = 0.0;
    time = s;
    DFT_D(time.data(), 256, -1);
    CorrIFT_D(time.data(), 256, QV_FFT_SCALE_RMS);
    const double limit = Rms(time.data(), 256) * sigma;
    const int clipped = ArrayClip(time.data(), 256, -limit, limit);
    s = time;
    DFT_D(s.data(), 256, 1);
    CorrDFT_D(reinterpret_cast<complex_d*>(s.data()), 128, QV_FFT_SCALE_RMS);
    phase[0] = 0.0;
    for (int k = 1; k < 128; ++k)
        phase[k] = std::atan2(s[2 * k + 1], s[2 * k]);
    return clipped;
}

}  // namespace

TEST(RandomUltraClip, IteratesUntilNothingOrMoreIsClippedAtMostThriceAndRaisesPassOnce)
{
    QV_BASE_FRAME_SETUP f = DriveFrame();
    std::vector<double> amp = Amplitudes(), time(256), spectrum(256), phase(128), carried(128), expected;
    int ways[3] = {0, 0, 0};  // nothing clipped, more clipped, three iterations
    for (double sigma : {1.2, 1.5, 1.8, 2.1, 2.4, 2.7, 3.0, 3.5, 10.0}) {
        for (int pass = 0; pass < 9; ++pass) {
            SRand(77 + pass);  // pass 0 seeds 1130 twice, 1 to 5 continue the sequence, 6 on draw nothing
            std::vector<double> ref = carried;
            int previous = 256, clipped = 0, i = 0;
            while (i < 3) {
                clipped = Iteration(amp, expected, ref, f, sigma, i == 0 && pass <= 5, pass == 0 ? 1130 : -1);
                if (clipped == 0 || (++i > 1 && clipped > previous))
                    break;
                previous = clipped;
            }
            ++ways[clipped == 0 ? 0 : i < 3 ? 1 : 2];
            ArrayNormalize(expected.data(), 256, 1.25);
            const int next = Rand();

            SRand(77 + pass);
            int p = pass;
            double rms = 0.0;
            phase = carried;
            const std::size_t allocations = numora_test::AllocationCount();
            const int got = RandomUltraClip(amp.data(), time.data(), spectrum.data(), phase.data(), f, sigma,
                                            1.25, p, rms, 0.002);
            ASSERT_EQ(allocations, numora_test::AllocationCount());
            ASSERT_TRUE(got == clipped && p == pass + 1 && Rand() == next) << sigma << " " << pass;
            ASSERT_TRUE(rms == Rms(time.data(), 256) && BitEqual(expected.data(), time.data(), 256));
            ASSERT_TRUE(BitEqual(ref.data(), phase.data(), 128));
            carried = phase;
        }
    }
    EXPECT_TRUE(ways[0] > 0 && ways[1] > 0 && ways[2] > 0);
}
