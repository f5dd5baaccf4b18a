#include "numora/drive/waveforms.h"

#include <cmath>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;

TEST(InterpOvershoot, HitsTheTellingValuesAndJumpsAbove4_8)
{
    EXPECT_EQ(0.44920519f, InterpOvershoot(0.0f));
    EXPECT_EQ(0.87719297f, InterpOvershoot(2.8f));  // 1 / 1.14, the peak of the lower branch
    EXPECT_EQ(0.69070315f, InterpOvershoot(3.8f));  // not above 3.8: no division
    EXPECT_EQ(1.0877216f, InterpOvershoot(4.8f));
    EXPECT_EQ(1.0f, InterpOvershoot(std::nextafter(4.8f, 5.0f)));
    EXPECT_EQ(1.0f, InterpOvershoot(5.0f));
    // Symmetric about 2.8 below 3.8; the division by 2^(x - 3.8) lifts the curve above it.
    EXPECT_NEAR(InterpOvershoot(2.3f), InterpOvershoot(3.3f), 2e-7);
    EXPECT_NEAR(1.0 / (std::pow(1.27, 1.5) * 1.14 / std::pow(2.0, 0.5)), InterpOvershoot(4.3f), 1e-6);
}

TEST(GenTrapezoid, RampsStepByTheExactCountAndStopOneStepShort)
{
    float out[12];
    FillSentinel(out, 12);
    EXPECT_EQ(8, GenTrapezoid(out, 2, 1000.0, 2.0, 2.0, 2.0, 1.0));
    const float pulse[6] = {0.0f, 0.5f, 1.0f, 1.0f, 1.0f, 0.5f};
    EXPECT_TRUE(numora_test::BitEqual(pulse, out + 2, 6));
    EXPECT_TRUE(HoldsSentinel(out, 2) && HoldsSentinel(out + 8, 4));  // no closing sample with a fall

    // 2.5 samples of rise: two samples, stepping by amplitude / 2.5; a fall of
    // 0.5 samples writes neither a fall nor a closing 0.
    FillSentinel(out, 12);
    EXPECT_EQ(3, GenTrapezoid(out, 0, 1000.0, 2.5, 1.0, 0.5, 2.0));
    EXPECT_EQ(0.0f, out[0]);
    EXPECT_EQ(static_cast<float>(2.0 / 2.5), out[1]);
    EXPECT_EQ(2.0f, out[2]);
    EXPECT_TRUE(HoldsSentinel(out + 3, 9));

    // Fall over 3 samples: amplitude, then down by amplitude / 3.
    FillSentinel(out, 12);
    EXPECT_EQ(3, GenTrapezoid(out, 0, 1000.0, 0.0, 0.0, 3.0, 3.0));
    EXPECT_TRUE(out[0] == 3.0f && out[1] == 2.0f && out[2] == 1.0f && HoldsSentinel(out + 3, 9));
}

TEST(GenTrapezoid, WithoutFallClosesWithAZeroTheNextPulseOverwrites)
{
    float out[10];
    FillSentinel(out, 10);
    const int next = GenTrapezoid(out, 0, 1000.0, 0.0, 3.0, 0.0, -1.5);  // no rise: full amplitude at once
    EXPECT_EQ(3, next);
    EXPECT_TRUE(out[0] == -1.5f && out[1] == -1.5f && out[2] == -1.5f && out[3] == 0.0f);
    EXPECT_EQ(7, GenTrapezoid(out, next, 1000.0, 0.0, 3.0, 1.0, 4.0));  // a one-sample fall starts at amplitude
    EXPECT_TRUE(out[3] == 4.0f && out[5] == 4.0f && out[6] == 4.0f && HoldsSentinel(out + 7, 1));
    // No parts at all still closes: one zero at start, count 0.
    EXPECT_EQ(8, GenTrapezoid(out, 8, 1000.0, 0.0, 0.0, -1.0, 1.0));
    EXPECT_TRUE(out[8] == 0.0f && HoldsSentinel(out + 9, 1));
}

TEST(AddSineWave, AddsFromPhaseOneStepAndRestartsEveryCall)
{
    float a[8] = {10.0f, 10.0f, 10.0f, 10.0f, 10.0f, 10.0f, 10.0f, 10.0f};
    AddSineWave(a, 4, 250.0, 1.0, 1000.0);  // a quarter cycle per sample
    AddSineWave(a + 4, 4, 250.0, 1.0, 1000.0);
    const float expected[4] = {11.0f, 10.0f, 9.0f, 10.0f};
    for (int i = 0; i < 8; ++i)
        EXPECT_NEAR(expected[i % 4], a[i], 1e-6) << i;  // the second block starts over, not continues
    AddSineWave(a, 0, 250.0, 1.0, 1000.0);
    EXPECT_EQ(11.0f, a[0]);
}

TEST(AddSineWave, PhaseIsWrappedAtEverySampleSoLongRunsStayOnTheSine)
{
    const int n = 200000;
    std::vector<float> a(n, 0.0f), expected(n);
    const double frequency = 5925.9216, inc = frequency / 48000.0;
    AddSineWave(a.data(), n, frequency, 2.0, 48000.0);
    double p = 0.0, worst = 0.0, whole;
    for (int i = 0; i < n; ++i) {
        p = std::modf(p + inc, &whole);  // an unwrapped phase rounds differently now and then
        expected[i] = static_cast<float>(std::sin(p * 6.283185307179586) * 2.0);
        const double cycles = std::fmod((i + 1) * inc, 1.0);
        worst = std::fmax(worst, std::fabs(static_cast<double>(a[i]) - 2.0 * std::sin(2.0 * M_PI * cycles)));
    }
    EXPECT_TRUE(numora_test::BitEqual(expected.data(), a.data(), n));
    EXPECT_LT(worst, 2e-6);
}
