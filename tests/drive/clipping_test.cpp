#include "numora/drive/clipping.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numora/drive/random_phase.h"
#include "numora/drive/waveforms.h"
#include "numora/foundation/array.h"
#include "numora/foundation/platform.h"
#include "numora/spectrum/rms.h"
#include "numora/transforms/fft.h"
#include "numora/transforms/timing.h"
#include "tests/support/support.h"

using namespace qv;
using namespace qv::math;
using numora_test::BitEqual;

namespace {

// Mean 0, mean square 3: deviation sqrt(3).
std::vector<float> Frame()
{
    return {3.0f, -3.0f, 1.0f, -1.0f, 1.0f, -1.0f, 1.0f, -1.0f};
}

double Rms(const double* x, int n)
{
    double lo, hi, mean, square;
    return RMS_TIM_Stat(x, n, lo, hi, mean, square);
}

}  // namespace

TEST(SigmaClip, PlainLimitClipsForEveryTypeButNone)
{
    std::vector<float> d = Frame();
    EXPECT_EQ(0, SigmaClip(d.data(), 8, DriveClipNone, 0.5f));
    EXPECT_TRUE(BitEqual(Frame().data(), d.data(), 8));
    EXPECT_EQ(2, SigmaClip(d.data(), 8, static_cast<DriveClipType>(9), 1.0f));  // at the limit: not counted
    const float clipped[8] = {1, -1, 1, -1, 1, -1, 1, -1};
    EXPECT_TRUE(BitEqual(clipped, d.data(), 8));
}

TEST(SigmaClip, LimitFromTheDeviationPerType)
{
    const double s = std::sqrt(3.0);
    const float l15 = static_cast<float>(s * 1.5);  // 2.598: only the two 3s are beyond
    double dev = -1.0;
    std::vector<float> d = Frame();
    EXPECT_EQ(2, SigmaClip(d.data(), 8, DriveClipSigma, 1.5, dev, false));
    EXPECT_EQ(s, dev);
    EXPECT_TRUE(d[0] == l15 && d[1] == -l15 && d[2] == 1.0f);

    d = Frame();
    EXPECT_EQ(2, SigmaClip(d.data(), 8, DriveClipZeroOut, 1.5, dev, false));  // beyond the limit: zero
    EXPECT_TRUE(d[0] == 0.0f && d[1] == 0.0f && d[2] == 1.0f && d[3] == -1.0f);

    d = Frame();
    EXPECT_EQ(0, SigmaClip(d.data(), 8, DriveClipSixSigma, 0.1, dev, false));  // 6 s = 10.4: nothing
    for (DriveClipType t : {DriveClipSigmaLimit3, DriveClipSigmaLimit5, static_cast<DriveClipType>(6)}) {
        dev = -1.0;
        EXPECT_EQ(0, SigmaClip(d.data(), 8, t, 0.1, dev, false));
        EXPECT_EQ(s, dev) << t;  // written, though nothing is clipped
    }
    dev = -1.0;
    EXPECT_EQ(0, SigmaClip(d.data(), 8, DriveClipNone, 0.1, dev, false));
    EXPECT_EQ(-1.0, dev);  // none: not even the statistics
    EXPECT_EQ(0, SigmaClip(d.data(), 0, DriveClipSigma, 0.1, dev, false));
    EXPECT_EQ(-1.0, dev);
    EXPECT_TRUE(BitEqual(Frame().data(), d.data(), 8));

    // Overshoot: the limit is the curve's value at L, whatever the data's scale.
    const float over = InterpOvershoot(l15);
    d = Frame();
    EXPECT_EQ(8, SigmaClip(d.data(), 8, DriveClipSigma, 1.5, dev, true));
    EXPECT_TRUE(d[0] == over && d[3] == -over);

    // The deviation is about the mean, the clip about zero.
    d = Frame();
    for (float& v : d)
        v += 10.0f;
    EXPECT_EQ(8, SigmaClip(d.data(), 8, DriveClipSigma, 1.5, dev, false));
    EXPECT_NEAR(s, dev, 1e-6);
    EXPECT_EQ(static_cast<float>(dev * 1.5), d[5]);
}

TEST(GetSigmaClip, ReturnsTheLimitAndLeavesTheData)
{
    const double s = std::sqrt(3.0);
    std::vector<float> d = Frame();
    double dev = -1.0;
    EXPECT_EQ(static_cast<float>(s * 2.0), GetSigmaClip(d.data(), 8, DriveClipSigma, 2.0, dev, false));
    EXPECT_EQ(s, dev);
    EXPECT_EQ(static_cast<float>(s * 2.0), GetSigmaClip(d.data(), 8, DriveClipSigmaLimit3, 2.0, dev, false));
    EXPECT_EQ(static_cast<float>(s * 2.0), GetSigmaClip(d.data(), 8, DriveClipSigmaLimit5, 2.0, dev, false));
    EXPECT_EQ(static_cast<float>(s * 6.0), GetSigmaClip(d.data(), 8, DriveClipSixSigma, 2.0, dev, false));
    EXPECT_EQ(InterpOvershoot(static_cast<float>(s * 6.0)),
              GetSigmaClip(d.data(), 8, DriveClipSixSigma, 2.0, dev, true));
    dev = -1.0;
    EXPECT_EQ(0.0f, GetSigmaClip(d.data(), 8, DriveClipZeroOut, 2.0, dev, true));  // not the curve's 0.45
    EXPECT_EQ(s, dev);
    dev = -1.0;
    EXPECT_EQ(0.0f, GetSigmaClip(d.data(), 8, DriveClipNone, 2.0, dev, true));
    EXPECT_EQ(-1.0, dev);
    EXPECT_TRUE(BitEqual(Frame().data(), d.data(), 8));
}

TEST(SigmaClipEU, SinglePrecisionLimitAndItsOwnTypeSet)
{
    const float s = static_cast<float>(std::sqrt(3.0));
    for (DriveClipType t : {DriveClipSigma, DriveClipSigmaLimit3, DriveClipSigmaLimit5}) {
        std::vector<float> d = Frame();
        EXPECT_EQ(2, SigmaClipEU(d.data(), 8, t, 1.5f)) << t;
        EXPECT_EQ(s * 1.5f, d[0]) << t;  // the product in float
    }
    std::vector<float> d = Frame();
    EXPECT_EQ(0, SigmaClipEU(d.data(), 8, DriveClipSixSigma, 0.1f));
    EXPECT_EQ(0, SigmaClipEU(d.data(), 8, DriveClipZeroOut, 0.1f));
    EXPECT_EQ(0, SigmaClipEU(d.data(), 8, DriveClipNone, 0.1f));
    EXPECT_TRUE(BitEqual(Frame().data(), d.data(), 8));
    // s * 0.4f: everything beyond 0.69 is clipped.
    EXPECT_EQ(8, SigmaClipEU(d.data(), 8, DriveClipSigma, 0.4f));
    EXPECT_EQ(s * 0.4f, d[2]);
}

TEST(SigmaClip, DoubleFrameClipsAtSigmaTimesItsOwnOrTheGivenRms)
{
    double d[4] = {2.0, -2.0, 0.5, -0.5};
    double rms = 0.0;
    EXPECT_EQ(2, SigmaClip(d, 4, 1.0, rms, true));  // deviation sqrt(17 / 8)
    EXPECT_EQ(std::sqrt(17.0 / 8.0), rms);
    EXPECT_TRUE(d[0] == rms && d[1] == -rms && d[2] == 0.5);
    rms = 0.25;
    EXPECT_EQ(2, SigmaClip(d, 4, 2.0, rms, false));  // 0.5 is at the limit 2 * 0.25
    EXPECT_TRUE(d[0] == 0.5 && d[1] == -0.5 && rms == 0.25);
    EXPECT_EQ(0, SigmaClip(d, 0, 2.0, rms, true));
    EXPECT_EQ(0.25, rms);
}

TEST(RangeClip, ClampsLowFirstThenHighAndCountsEachChange)
{
    float d[4] = {-5.0f, 0.0f, 5.0f, 1.0f};
    EXPECT_EQ(2, RangeClip(d, 4, -1.0f, 1.0f));
    EXPECT_TRUE(d[0] == -1.0f && d[1] == 0.0f && d[2] == 1.0f && d[3] == 1.0f);
    float e[3] = {-5.0f, 1.5f, 5.0f};
    EXPECT_EQ(5, RangeClip(e, 3, 2.0f, 1.0f));  // low above high: each sample below low counts twice
    EXPECT_TRUE(e[0] == 1.0f && e[1] == 1.0f && e[2] == 1.0f);
}

namespace {

// A frame set-up of 256 samples, 100 lines, the drive band 5 ... 90.
QV_BASE_FRAME_SETUP DriveFrame(QV_FFT_SCALING scaling)
{
    QV_BASE_FRAME_SETUP f{};
    UpdateFrameInfo(f, 256, scaling, 2560.0, 2.56, 1000.0);
    f.firstLine = 5;
    f.lastLine = 90;
    return f;
}

// Amplitudes for every one of the 256 slots (the iterative clip copies them
// all before writing the lines).
std::vector<double> Amplitudes()
{
    std::vector<double> a = numora_test::RandomDoubles(256, 5);
    for (double& v : a)
        v = 1.0 + 0.5 * v;
    return a;
}

}  // namespace

TEST(FRQtoTIM_PhaseSigmaClip, BuildsTheBandFrameAndKeepsPhasesWhenNothingIsClipped)
{
    QV_BASE_FRAME_SETUP f = DriveFrame(QV_FFT_SCALE_RMS);
    std::vector<double> amp = Amplitudes(), time(256), spec(256), phase(128);
    std::vector<double> phases = numora_test::RandomDoubles(128, 9);
    for (double& p : phases)
        p *= 3.0;
    phase = phases;
    double rms = 0.0;
    EXPECT_EQ(0, FRQtoTIM_PhaseSigmaClip(amp.data(), time.data(), spec.data(), phase.data(), f, 100.0, false,
                                         1.0, rms, 0.01));
    EXPECT_TRUE(BitEqual(phases.data(), phase.data(), 128));
    EXPECT_EQ(Rms(time.data(), 256), rms);
    // RMS scaling: the plain DFT line is amplitude / sqrt(2) at the phase.
    const std::vector<double> x = numora_test::NaiveDftPacked(time.data(), 256);
    for (int k = 1; k < 128; ++k) {
        double re = amp[k] * std::cos(phases[k]), im = amp[k] * std::sin(phases[k]);
        if (k < 5)
            re = im = 0.0;
        else if (k > 90 && k <= 100)
            re = im = 0.01;
        ASSERT_NEAR(re, x[2 * k] * std::sqrt(2.0), 1e-12) << k;
        ASSERT_NEAR(im, x[2 * k + 1] * std::sqrt(2.0), 1e-12) << k;
    }
    EXPECT_NEAR(0.0, x[0], 1e-15);

    // Peak scaling makes the same frame sqrt(2) smaller.
    QV_BASE_FRAME_SETUP peak = DriveFrame(QV_FFT_SCALE_PEAK);
    std::vector<double> t2(256);
    FRQtoTIM_PhaseSigmaClip(amp.data(), t2.data(), spec.data(), phase.data(), peak, 100.0, false, 1.0, rms, 0.01);
    for (int i = 0; i < 256; i += 17)
        EXPECT_NEAR(time[i] / std::sqrt(2.0), t2[i], 1e-12);
}

TEST(FRQtoTIM_PhaseSigmaClip, ClippedFrameHandsItsPhasesOnAndNormalises)
{
    QV_BASE_FRAME_SETUP f = DriveFrame(QV_FFT_SCALE_RMS);
    std::vector<double> amp = Amplitudes(), spec(256), phase(128), start(128);
    LoadRandomPhase(start.data(), 256, 101, 4);
    std::vector<double> open(256), time(256);
    double rms = 0.0;
    phase = start;
    FRQtoTIM_PhaseSigmaClip(amp.data(), open.data(), spec.data(), phase.data(), f, 100.0, false, 1.0, rms, 0.0);
    const double limit = 1.5 * Rms(open.data(), 256);
    int beyond = 0;
    for (double v : open)
        beyond += std::fabs(v) > limit;
    ASSERT_GT(beyond, 0);

    phase = start;
    EXPECT_EQ(beyond, FRQtoTIM_PhaseSigmaClip(amp.data(), time.data(), spec.data(), phase.data(), f, 1.5, false,
                                              1.0, rms, 0.0));
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(std::max(-limit, std::min(limit, open[i])), time[i]);
    const std::vector<double> x = numora_test::NaiveDftPacked(time.data(), 256);
    EXPECT_EQ(0.0, phase[0]);
    for (int k = 1; k < 128; ++k)
        ASSERT_NEAR(std::atan2(x[2 * k + 1], x[2 * k]), phase[k], 1e-9) << k;

    phase = start;
    FRQtoTIM_PhaseSigmaClip(amp.data(), time.data(), spec.data(), phase.data(), f, 1.5, true, 2.0, rms, 0.0);
    double peak = 0.0;
    for (double v : time)
        peak = std::max(peak, std::fabs(v));
    EXPECT_NEAR(2.0, peak, 1e-15);
    EXPECT_EQ(Rms(time.data(), 256), rms);
}

namespace {

// One iteration of the amplitude-holding clip, from the phases in `phase`
// (or fresh ones), written out from the library's primitives.
int ReferenceIteration(const std::vector<double>& amp, std::vector<double>& time, std::vector<double>& phase,
                       const QV_BASE_FRAME_SETUP& f, double sigma, bool fresh, int seed, double above)
{
    const int n = 256;
    std::vector<double> s(amp);
    if (fresh) {
        FRQAddRandomPhase(s.data(), n, static_cast<int>(f.lines), seed);
        LoadRandomPhase(phase.data(), n, static_cast<int>(f.linesWithDC), seed);
    } else {
        for (int k = 0; k <= static_cast<int>(f.lines); ++k) {
            s[2 * k] = std::cos(phase[k]) * amp[k];
            s[2 * k + 1] = std::sin(phase[k]) * amp[k];
        }
    }
    for (int k = 0; k < 2 * static_cast<int>(f.firstLine); ++k)
        s[k] = 0.0;
    for (int k = 2 * static_cast<int>(f.lastLine) + 2; k < 2 * static_cast<int>(f.linesWithDC); ++k)
        s[k] = above;
    s[0] = s[1] = 0.0;
    time = s;
    DFT_D(time.data(), n, -1);
    CorrIFT_D(time.data(), n, QV_FFT_SCALE_RMS);
    const double limit = Rms(time.data(), n) * sigma;
    int clipped = 0;
    for (double& v : time) {
        if (std::fabs(v) > limit) {
            v = v > 0 ? limit : -limit;
            ++clipped;
        }
    }
    s = time;
    DFT_D(s.data(), n, 1);
    CorrDFT_D(reinterpret_cast<complex_d*>(s.data()), n / 2, QV_FFT_SCALE_RMS);
    phase[0] = 0.0;
    for (int k = 1; k < 128; ++k)
        phase[k] = std::atan2(s[2 * k + 1], s[2 * k]);
    return clipped;
}

struct UltraResult {
    int clipped;
    int iterations;
    std::vector<double> time;
    std::vector<double> phase;
};

// The iteration with its stop rule: nothing clipped, more clipped than the
// iteration before (from the second on), or three iterations.
UltraResult ReferenceUltra(const std::vector<double>& amp, std::vector<double> phase, const QV_BASE_FRAME_SETUP& f,
                           double sigma, int pass, double peakTarget, double above)
{
    std::vector<double> time;
    int previous = 256, clipped = 0, i = 0;
    while (i < 3) {
        clipped = ReferenceIteration(amp, time, phase, f, sigma, i == 0 && pass <= 5, pass == 0 ? 1130 : -1, above);
        ++i;
        if (clipped == 0 || (i > 1 && clipped > previous))
            break;
        previous = clipped;
    }
    ArrayNormalize(time.data(), 256, peakTarget);
    return {clipped, i, time, phase};
}

}  // namespace

TEST(RandomUltraClip, FollowsTheIterationAndItsStopRuleAndRaisesPassOnce)
{
    QV_BASE_FRAME_SETUP f = DriveFrame(QV_FFT_SCALE_RMS);
    std::vector<double> amp = Amplitudes();
    std::vector<double> time(256), spec(256), phase(128);
    int stops[4] = {0, 0, 0, 0};  // by iterations run: 1 (nothing clipped), 2 or 3 (rose), 3 (limit)
    int rose = 0;
    for (double sigma : {1.2, 1.5, 1.8, 2.1, 2.4, 2.7, 3.0, 3.5, 10.0}) {
        std::vector<double> carried(128);
        for (int pass = 0; pass < 9; ++pass) {
            SRand(77 + pass);  // the unseeded fresh passes continue whatever sequence runs
            const UltraResult ref = ReferenceUltra(amp, carried, f, sigma, pass, 1.25, 0.002);
            SRand(77 + pass);
            int p = pass;
            double rms = 0.0;
            phase = carried;
            const int clipped = RandomUltraClip(amp.data(), time.data(), spec.data(),
                                                phase.data(), f, sigma, 1.25, p, rms, 0.002);
            ASSERT_EQ(pass + 1, p);
            ASSERT_EQ(ref.clipped, clipped) << sigma << " " << pass;
            ASSERT_TRUE(BitEqual(ref.time.data(), time.data(), 256)) << sigma << " " << pass;
            ASSERT_TRUE(BitEqual(ref.phase.data(), phase.data(), 128)) << sigma << " " << pass;
            ASSERT_EQ(Rms(time.data(), 256), rms);
            ++stops[ref.iterations];
            rose += ref.iterations < 3 && ref.clipped > 0;
            carried = phase;
        }
    }
    EXPECT_GT(stops[1], 0);  // each way out of the loop was taken
    EXPECT_GT(rose, 0);
    EXPECT_GT(stops[3], 0);
}

TEST(RandomUltraClip, SeedsTwiceOnPassZeroAndDrawsNothingFromPassSix)
{
    QV_BASE_FRAME_SETUP f = DriveFrame(QV_FFT_SCALE_RMS);
    std::vector<double> amp = Amplitudes(), time(256), spec(256), phase(128), first(256);
    double rms;
    int pass = 0;
    SRand(5);
    RandomUltraClip(amp.data(), first.data(), spec.data(), phase.data(), f, 2.0, 1.0, pass, rms, 0.0);
    const int after = Rand();
    SRand(1130);  // the second seeding comes before LoadRandomPhase's 100 draws
    for (int k = 1; k < 101; ++k)
        Rand();
    EXPECT_EQ(Rand(), after);
    pass = 0;
    SRand(6);  // a new series gives the same frame, whatever ran before
    RandomUltraClip(amp.data(), time.data(), spec.data(), phase.data(), f, 2.0, 1.0, pass, rms, 0.0);
    EXPECT_TRUE(BitEqual(first.data(), time.data(), 256));

    pass = 6;
    SRand(8);
    const int expected = Rand();
    SRand(8);
    RandomUltraClip(amp.data(), time.data(), spec.data(), phase.data(), f, 2.0, 1.0, pass, rms, 0.0);
    EXPECT_EQ(expected, Rand());
    EXPECT_EQ(7, pass);
}

TEST(RandomUltraClip, NothingClippedStillTakesTheFramesTablePhases)
{
    QV_BASE_FRAME_SETUP f = DriveFrame(QV_FFT_SCALE_RMS);
    std::vector<double> amp = Amplitudes(), time(256), spec(256), phase(128);
    double rms;
    int pass = 0;
    EXPECT_EQ(0, RandomUltraClip(amp.data(), time.data(), spec.data(), phase.data(), f, 50.0, 1.0, pass, rms, 0.0));
    // The frame was built from the table phases, steps of 2 pi / 2048, not
    // from LoadRandomPhase's continuous angles.
    for (int k = 5; k <= 90; ++k) {
        const double steps = phase[k] / (2.0 * M_PI / 2048.0);
        ASSERT_NEAR(std::round(steps), steps, 1e-6) << k;
    }
}

TEST(DriveClipping, PerBlockPathsAllocateNothing)
{
    QV_BASE_FRAME_SETUP f = DriveFrame(QV_FFT_SCALE_RMS);
    std::vector<double> amp = Amplitudes(), time(256), spec(256), phase(128);
    std::vector<float> frame(256, 0.5f);
    frame[3] = 9.0f;
    double rms, dev;
    int pass = 0;
    RandomUltraClip(amp.data(), time.data(), spec.data(), phase.data(), f, 2.0, 1.0, pass, rms, 0.0);  // warm up
    const std::size_t before = numora_test::AllocationCount();
    for (int i = 0; i < 8; ++i)
        RandomUltraClip(amp.data(), time.data(), spec.data(), phase.data(), f, 2.0, 1.0, pass, rms, 0.0);
    FRQtoTIM_PhaseSigmaClip(amp.data(), time.data(), spec.data(), phase.data(), f, 1.5, true, 1.0, rms, 0.0);
    SigmaClip(frame.data(), 256, DriveClipSigma, 2.0, dev, true);
    SigmaClip(time.data(), 256, 2.0, rms, true);
    SigmaClipEU(frame.data(), 256, DriveClipSigma, 2.0f);
    EXPECT_EQ(before, numora_test::AllocationCount());
}
