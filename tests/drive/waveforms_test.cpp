#include "numora/drive/waveforms.h"

#include <cmath>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;

TEST(InterpOvershoot, HitsTheTellingValuesAndIsOneAbove4_8)
{
    // At 3.84 the divisor 2^(3.84f - 3.8f) takes its difference in float, and
    // the denominator is rounded to float before and after the division.
    const float x[6] = {0.0f, 2.8f, 3.8f, 3.84f, 4.8f, std::nextafter(4.8f, 5.0f)};
    const float factor[6] = {0.44920519f, 0.87719297f, 0.69070315f, 0.703364551f, 1.0877216f, 1.0f};
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(factor[i], InterpOvershoot(x[i])) << x[i];
}

// The counts, the closing 0 and that nothing is written around a pulse are
// checked by the waveforms fuzz target.
TEST(GenTrapezoid, RampsStepByTheExactCount)
{
    float out[12];
    EXPECT_EQ(8, GenTrapezoid(out, 2, 1000.0, 2.0, 2.0, 2.0, 1.0));
    const float pulse[6] = {0.0f, 0.5f, 1.0f, 1.0f, 1.0f, 0.5f};
    EXPECT_TRUE(BitEqual(pulse, out + 2, 6));
    // 2.5 samples of rise and of fall step by amplitude / 2.5; a fall value is
    // rounded to float once, after the sum.
    EXPECT_EQ(5, GenTrapezoid(out, 0, 1000.0, 2.5, 1.0, 2.5, 0.1));
    const float fractional[5] = {0.0f, 0.04f, 0.1f, 0.1f, 0.06f};
    EXPECT_TRUE(BitEqual(fractional, out, 5));
    numora_test::FillSentinel(out, 12);  // a count with no int is no count
    EXPECT_TRUE(GenTrapezoid(out, 2, 1e306, 1e10, 0.0, 0.0, 1.0) == 2 && out[2] == 0.0f &&
                numora_test::HoldsSentinel(out + 3, 9));
}

TEST(AddSineWave, AddsFromPhaseOneStepWrappedAtEverySampleAndAllocatesNothing)
{
    // Sample 0 is one step in. At sample 5377 the phase wrapped at every sample
    // gives another float than one accumulated unwrapped or taken from i * step.
    const int n = 5378;
    std::vector<float> b(n, 0.5f);
    const double inc = 5925.9216 / 48000.0;
    const std::size_t allocations = numora_test::AllocationCount();
    AddSineWave(b.data(), n, 5925.9216, 2.0, 48000.0);
    EXPECT_EQ(allocations, numora_test::AllocationCount());
    double p = 0.0, whole;
    for (int i = 0; i < n; ++i)
        p = std::modf(p + inc, &whole);
    EXPECT_EQ(0.5f + static_cast<float>(std::sin(p * 6.283185307179586) * 2.0), b[n - 1]);
}
