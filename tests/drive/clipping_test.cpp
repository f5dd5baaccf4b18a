#include "numora/drive/clipping.h"

#include <cmath>
#include <vector>

#include "numora/drive/waveforms.h"
#include "numora/foundation/array.h"
#include "numora/foundation/array_scan.h"
#include "numora/foundation/platform.h"
#include "numora/spectrum/rms.h"
#include "numora/transforms/frame.h"
#include "numora/transforms/timing.h"
#include "tests/support/support.h"

using namespace qv;
using namespace qv::math;
using numora_test::BitEqual;
using Doubles = std::vector<double>;

namespace {

// Clips d to -limit ... limit, or zeroes what lies beyond; returns the count.
int Clip(std::vector<float>& d, float limit, bool zero)
{
    int count = 0;
    for (float& v : d)
        if (v > limit || v < -limit) {
            v = zero ? 0.0f : v > limit ? limit : -limit;
            ++count;
        }
    return count;
}

}  // namespace

// SigmaClip clips at the limit GetSigmaClip reports (types 1 and 2), clip
// counts count the samples changed, and a count below 1 or type 0 writes
// nothing: the clipping fuzz target.
TEST(SigmaClip, EachRoutineHasItsOwnLimitForEachType)
{
    // A frame off zero, with one sample beyond six deviations: the deviation is
    // about the mean, the clip about zero.
    std::vector<float> frame = numora_test::RandomFloats(64, 3), d, e;
    for (float& v : frame)
        v += 0.25f;
    frame[10] = 8.0f;
    double m = 0.0, q = 0.0, dev = -1.0;
    float mf = 0.0f, qf = 0.0f;
    ArrayMean(frame.data(), 64, m, q);
    ArrayMean(frame.data(), 64, mf, qf);
    const double s = std::sqrt(q - m * m), sigma = 0.65;
    const float sf = static_cast<float>(std::sqrt(static_cast<double>(qf) - double(mf) * double(mf)));
    const float atSigma = static_cast<float>(s * sigma), atSix = static_cast<float>(s * 6.0);
    // Limits per type 0 ... 6 (0 for none) of GetSigmaClip and SigmaClipEU.
    const float get[7] = {0.0f, atSigma, atSix, atSigma, 0.0f, atSigma, 0.0f};
    const float eu[7] = {0.0f, sf * 0.65f, sf * 6.0f, sf * 0.65f, 0.0f, sf * 0.65f, 0.0f};
    for (int t = 0; t < 7; ++t) {
        for (bool overshoot : {false, true})  // with overshoot the limit is the curve at L
            EXPECT_EQ(overshoot && get[t] != 0.0f ? InterpOvershoot(get[t]) : get[t],
                      GetSigmaClip(frame.data(), 64, DriveClipType(t), sigma, dev, overshoot));
        d = e = frame;
        EXPECT_EQ(eu[t] != 0.0f ? Clip(e, eu[t], false) : 0, SigmaClipEU(d.data(), 64, DriveClipType(t), 0.65f)) << t;
        EXPECT_TRUE(BitEqual(e.data(), d.data(), 64)) << t;
    }
    d = e = frame;  // type 4 zeroes what lies beyond s * sigma, though its reported limit is 0
    const std::size_t allocations = numora_test::AllocationCount();
    EXPECT_EQ(Clip(e, atSigma, true), SigmaClip(d.data(), 64, DriveClipZeroOut, sigma, dev, false));
    EXPECT_EQ(allocations, numora_test::AllocationCount());
    EXPECT_TRUE(BitEqual(e.data(), d.data(), 64));

    double x[4] = {2.0, -2.0, 0.5, -0.5}, rms = 0.25;
    EXPECT_EQ(2, SigmaClip(x, 4, 2.0, rms, false));  // the given rms; 0.5 sits on the limit
    EXPECT_EQ(4, SigmaClip(x, 4, 0.5, rms, true));   // its own deviation, 0.5
    EXPECT_TRUE(rms == 0.5 && x[0] == 0.25 && x[3] == -0.25);
    float r[3] = {-5.0f, 1.5f, 5.0f};  // low above high: below low counts twice and ends at high
    EXPECT_TRUE(RangeClip(r, 3, 2.0f, 1.0f) == 5 && r[0] == 1.0f && r[1] == 1.0f && r[2] == 1.0f);
}

// pass rising by one, frames normalised to the peak and phases in range are
// checked by the clipping fuzz target.
TEST(IterativeClips, KeepTheAmplitudesAndHandTheClippedFramesPhasesOn)
{
    // 256 samples, 100 lines (101 with DC), drive band 5 ... 90 in peak scaling.
    QV_BASE_FRAME_SETUP f{};
    UpdateFrameInfo(f, 256, QV_FFT_SCALE_PEAK, 2560.0, 2.56, 1000.0);
    f.firstLine = 5;
    f.lastLine = 90;
    Doubles amp = numora_test::RandomDoubles(256, 5), start = numora_test::RandomDoubles(128, 4), phase = start;
    Doubles open(256), time(256), spectrum(256), expected(256);
    // The lines below firstLine cleared, above lastLine at (0.01, 0.01).
    for (int k = 0; k < 128; ++k) {
        const bool above = k > 90 && k < 101;
        open[2 * k] = k < 5 ? 0.0 : above ? 0.01 : amp[k] * std::cos(start[k]);
        open[2 * k + 1] = k < 5 ? 0.0 : above ? 0.01 : amp[k] * std::sin(start[k]);
    }
    FFTtoTIM(open.data(), open.data(), 256, QV_FFT_SCALE_PEAK);
    // Nothing clipped: the phases stay; the deviation is the normalised frame's.
    double rms = 0.0, lo, hi, mean, square;
    EXPECT_EQ(0, FRQtoTIM_PhaseSigmaClip(amp.data(), time.data(), spectrum.data(), phase.data(), f, 100.0, true,
                                         2.0, rms, 0.01));
    EXPECT_TRUE(BitEqual(start.data(), phase.data(), 128) &&
                rms == RMS_TIM_Stat(time.data(), 256, lo, hi, mean, square));
    // At 1.5 deviations: the clipped frame, whose phases replace the caller's.
    const int beyond = SigmaClip(open.data(), 256, 1.5, rms, true);
    std::size_t allocations = numora_test::AllocationCount();
    EXPECT_EQ(beyond, FRQtoTIM_PhaseSigmaClip(amp.data(), time.data(), spectrum.data(), phase.data(), f, 1.5, false,
                                              1.0, rms, 0.01));
    EXPECT_EQ(allocations, numora_test::AllocationCount());
    EXPECT_TRUE(beyond > 0 && BitEqual(open.data(), time.data(), 256));
    const Doubles y = numora_test::NaiveDftPacked(time.data(), 256);
    for (int k = 1; k < 128; ++k)
        ASSERT_NEAR(std::atan2(y[2 * k + 1], y[2 * k]), phase[k], 1e-9) << k;

    // With no amplitude above the lines, an iteration of RandomUltraClip from
    // carried phases is a pass of FRQtoTIM_PhaseSigmaClip in RMS scaling (the
    // iterations transform in RMS whatever the frame says); DC is cleared also
    // when the band starts at line 0.
    f.fftScaling = QV_FFT_SCALE_RMS;
    f.firstLine = 0;
    std::fill(amp.begin() + f.linesWithDC, amp.end(), 0.0);
    for (double sigma : {1.2, 2.7, 3.5}) {  // stops after three, on more clipped, on nothing clipped
        Doubles ref = start;
        int previous = 256, clipped = 0, i = 0;
        while (i < 3) {
            clipped = FRQtoTIM_PhaseSigmaClip(amp.data(), expected.data(), spectrum.data(), ref.data(), f, sigma,
                                              false, 1.0, rms, 0.002);
            if (clipped == 0 || (++i > 1 && clipped > previous))
                break;
            previous = clipped;
        }
        ArrayNormalize(expected.data(), 256, 1.25);
        phase = start;
        int pass = 6;
        allocations = numora_test::AllocationCount();
        ASSERT_EQ(clipped, RandomUltraClip(amp.data(), time.data(), spectrum.data(), phase.data(), f, sigma, 1.25,
                                           pass, rms, 0.002));
        ASSERT_EQ(allocations, numora_test::AllocationCount());
        ASSERT_TRUE(BitEqual(expected.data(), time.data(), 256)) << sigma;
        // The phases of the last frame, also when it clipped nothing (then the model keeps its own).
        ASSERT_TRUE(clipped == 0 || BitEqual(ref.data(), phase.data(), 128)) << sigma;
    }
    // Pass 0 seeds 1130 whatever ran before, and pass 5 still draws fresh
    // phases: right after SRand(1130) it gives the frame of pass 0 (whose phase
    // array, drawn from a second seeding, is overwritten).
    for (int first : {0, 5}) {
        SRand(first == 0 ? 1u : 1130u);
        int pass = first;
        RandomUltraClip(amp.data(), first == 0 ? expected.data() : time.data(), spectrum.data(), phase.data(), f, 2.0,
                        1.25, pass, rms, 0.002);
    }
    EXPECT_TRUE(BitEqual(expected.data(), time.data(), 256));
}
