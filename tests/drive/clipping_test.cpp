#include "numora/drive/clipping.h"

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

// Clips d to -limit ... limit, or zeroes what lies beyond; returns the count.
template <typename T>
int Clip(std::vector<T>& d, T limit, bool zero)
{
    int count = 0;
    for (T& v : d)
        if (v > limit || v < -limit) {
            v = zero ? T(0) : v > limit ? limit : -limit;
            ++count;
        }
    return count;
}

double Rms(const double* x, int n)
{
    double lo, hi, mean, square;
    return RMS_TIM_Stat(x, n, lo, hi, mean, square);
}

}  // namespace

TEST(SigmaClip, EachRoutineClipsAtItsLimitAndCountsTheSamplesChanged)
{
    // A frame off zero, with one sample beyond six deviations: the deviation is
    // about the mean, the clip about zero.
    std::vector<float> frame = numora_test::RandomFloats(64, 3);
    for (float& v : frame)
        v += 0.25f;
    frame[10] = 8.0f;
    double m = 0.0, q = 0.0;
    float mf = 0.0f, qf = 0.0f;
    ArrayMean(frame.data(), 64, m, q);
    ArrayMean(frame.data(), 64, mf, qf);
    const double s = std::sqrt(q - m * m), sigma = 0.65;
    const float sf = static_cast<float>(std::sqrt(static_cast<double>(qf) - static_cast<double>(mf) * static_cast<double>(mf)));
    const float atSigma = static_cast<float>(s * sigma), atSix = static_cast<float>(s * 6.0);
    // Limits per type 0 ... 6 (0 for none): SigmaClip (type 4 zeroes), GetSigmaClip, SigmaClipEU.
    const float clip[7] = {0.0f, atSigma, atSix, 0.0f, atSigma, 0.0f, 0.0f};
    const float get[7] = {0.0f, atSigma, atSix, atSigma, 0.0f, atSigma, 0.0f};
    const float eu[7] = {0.0f, sf * 0.65f, sf * 6.0f, sf * 0.65f, 0.0f, sf * 0.65f, 0.0f};
    std::vector<float> d(64), e(64);
    const std::size_t allocations = numora_test::AllocationCount();
    for (int t = 0; t < 7; ++t) {
        const DriveClipType type = static_cast<DriveClipType>(t);
        for (bool overshoot : {false, true}) {  // with overshoot the limit is the curve at L
            d = frame;
            e = frame;
            const float l = overshoot && clip[t] != 0.0f ? InterpOvershoot(clip[t]) : clip[t];
            double dev = -1.0;
            EXPECT_EQ(l != 0.0f ? Clip(e, l, t == 4) : 0, SigmaClip(d.data(), 64, type, sigma, dev, overshoot)) << t;
            EXPECT_TRUE(BitEqual(e.data(), d.data(), 64) && dev == (t == 0 ? -1.0 : s)) << t;
            dev = -1.0;
            EXPECT_EQ(overshoot && get[t] != 0.0f ? InterpOvershoot(get[t]) : get[t],
                      GetSigmaClip(frame.data(), 64, type, sigma, dev, overshoot))
                << t;
            EXPECT_EQ(t == 0 ? -1.0 : s, dev) << t;
        }
        d = frame;
        e = frame;
        EXPECT_EQ(eu[t] != 0.0f ? Clip(e, eu[t], false) : 0, SigmaClipEU(d.data(), 64, type, 0.65f)) << t;
        EXPECT_TRUE(BitEqual(e.data(), d.data(), 64)) << t;
    }
    EXPECT_EQ(allocations, numora_test::AllocationCount());

    // No deviation: the limit is 0 and every sample is clipped.
    d.assign(4, 2.0f);
    double dev = -1.0;
    EXPECT_EQ(4, SigmaClip(d.data(), 4, DriveClipSigma, 3.0, dev, false));
    EXPECT_TRUE(dev == 0.0 && d[3] == 0.0f);
    dev = -1.0;
    EXPECT_EQ(0, SigmaClip(d.data(), 0, DriveClipSigma, 1.0, dev, false));  // no count: no statistics
    EXPECT_EQ(-1.0, dev);
    // The plain limit: none for type 0, else a clip; a sample on the limit stays.
    d = {3.0f, -3.0f, 1.0f, -1.0f};
    EXPECT_EQ(0, SigmaClip(d.data(), 4, DriveClipNone, 0.5f));
    EXPECT_EQ(2, SigmaClip(d.data(), 4, DriveClipType(9), 1.0f));
    EXPECT_TRUE(d[0] == 1.0f && d[1] == -1.0f);

    double x[4] = {2.0, -2.0, 0.5, -0.5}, rms = 0.25;
    EXPECT_EQ(2, SigmaClip(x, 4, 2.0, rms, false));  // the given rms; 0.5 sits on the limit
    EXPECT_EQ(4, SigmaClip(x, 4, 0.5, rms, true));   // its own deviation, 0.5
    EXPECT_TRUE(rms == 0.5 && x[0] == 0.25 && x[3] == -0.25);

    float r[3] = {-5.0f, 1.5f, 5.0f};
    EXPECT_EQ(5, RangeClip(r, 3, 2.0f, 1.0f));  // low above high: below low counts twice, ends at high
    EXPECT_TRUE(r[0] == 1.0f && r[1] == 1.0f && r[2] == 1.0f);
}

namespace {

// 256 samples, 100 lines, drive band 5 ... 90, lines in peak amplitude (the
// iterative clip works in RMS whatever the frame says); amplitudes in all 256
// slots (the iterative clip copies them all before writing its lines).
QV_BASE_FRAME_SETUP DriveFrame()
{
    QV_BASE_FRAME_SETUP f{};
    UpdateFrameInfo(f, 256, QV_FFT_SCALE_PEAK, 2560.0, 2.56, 1000.0);
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

// The frame of packed lines: lines below firstLine and DC cleared, lines above
// lastLine at (above, above), then the inverse transform.
std::vector<double> Invert(std::vector<double> s, const QV_BASE_FRAME_SETUP& f, double above,
                           QV_FFT_SCALING scaling)
{
    std::fill(s.begin(), s.begin() + 2 * f.firstLine, 0.0);
    std::fill(s.begin() + 2 * f.lastLine + 2, s.begin() + 2 * f.linesWithDC, above);
    s[0] = s[1] = 0.0;
    DFT_D(s.data(), 256, -1);
    CorrIFT_D(s.data(), 256, scaling);
    return s;
}

}  // namespace

TEST(FRQtoTIM_PhaseSigmaClip, BuildsTheBandFrameClipsAndHandsThePhasesOn)
{
    QV_BASE_FRAME_SETUP f = DriveFrame();
    std::vector<double> amp = Amplitudes(), time(256), spectrum(256), phase(128), start(128), open(256);
    LoadRandomPhase(start.data(), 256, 128, 4);
    for (int first : {0, 5}) {  // DC is cleared also when the band starts at line 0
        f.firstLine = static_cast<uint32_t>(first);
        for (int k = 0; k < 128; ++k) {
            open[2 * k] = amp[k] * std::cos(start[k]);
            open[2 * k + 1] = amp[k] * std::sin(start[k]);
        }
        open = Invert(open, f, 0.01, QV_FFT_SCALE_PEAK);
        // Nothing clipped: the phases stay; normalised to the peak 2, the deviation the final frame's.
        std::vector<double> scaled = open;
        ArrayNormalize(scaled.data(), 256, 2.0);
        double rms = 0.0;
        phase = start;
        EXPECT_EQ(0, FRQtoTIM_PhaseSigmaClip(amp.data(), time.data(), spectrum.data(), phase.data(), f, 100.0,
                                             true, 2.0, rms, 0.01));
        EXPECT_TRUE(BitEqual(scaled.data(), time.data(), 256) && BitEqual(start.data(), phase.data(), 128));
        EXPECT_EQ(Rms(time.data(), 256), rms);

        // At 1.5 deviations: the clipped frame, whose phases replace the caller's.
        const int beyond = Clip(open, 1.5 * Rms(open.data(), 256), false);
        const std::size_t allocations = numora_test::AllocationCount();
        EXPECT_EQ(beyond, FRQtoTIM_PhaseSigmaClip(amp.data(), time.data(), spectrum.data(), phase.data(), f,
                                                  1.5, false, 1.0, rms, 0.01));
        EXPECT_EQ(allocations, numora_test::AllocationCount());
        EXPECT_TRUE(beyond > 0 && BitEqual(open.data(), time.data(), 256));
        const std::vector<double> y = numora_test::NaiveDftPacked(time.data(), 256);
        for (int k = 1; k < 128; ++k)
            ASSERT_NEAR(std::atan2(y[2 * k + 1], y[2 * k]), phase[k], 1e-9) << k;
    }
}

namespace {

// One iteration from the phases (or fresh ones): build, invert in RMS, clip at
// sigma deviations, re-phase.
int Iteration(const std::vector<double>& amp, std::vector<double>& time, std::vector<double>& phase,
              const QV_BASE_FRAME_SETUP& f, double sigma, bool fresh, int seed)
{
    std::vector<double> s(amp);
    if (fresh) {
        FRQAddRandomPhase(s.data(), 256, static_cast<int>(f.lines), seed);
        LoadRandomPhase(phase.data(), 256, static_cast<int>(f.linesWithDC), seed);
    } else {
        for (int k = 0; k < static_cast<int>(f.linesWithDC); ++k) {
            s[2 * k] = std::cos(phase[k]) * amp[k];
            s[2 * k + 1] = std::sin(phase[k]) * amp[k];
        }
    }
    time = Invert(s, f, 0.002, QV_FFT_SCALE_RMS);
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
            f.firstLine = pass % 2 == 0 ? 5 : 0;  // DC is cleared also when the band starts at line 0
            carried[0] = 1.0;                     // and line 0 comes back with phase 0
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
