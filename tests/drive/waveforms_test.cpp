#include "numora/drive/waveforms.h"

#include <cmath>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;

TEST(InterpOvershoot, HitsTheTellingValuesAndIsOneAbove4_8)
{
    EXPECT_EQ(0.44920519f, InterpOvershoot(0.0f));
    EXPECT_EQ(0.87719297f, InterpOvershoot(2.8f));
    EXPECT_EQ(0.69070315f, InterpOvershoot(3.8f));
    EXPECT_EQ(1.0877216f, InterpOvershoot(4.8f));
    EXPECT_EQ(1.0f, InterpOvershoot(std::nextafter(4.8f, 5.0f)));
}

TEST(GenTrapezoid, RampsStepByTheExactCountAndClosesOnlyWithoutFall)
{
    float out[12];
    FillSentinel(out, 12);
    EXPECT_EQ(8, GenTrapezoid(out, 2, 1000.0, 2.0, 2.0, 2.0, 1.0));
    const float pulse[6] = {0.0f, 0.5f, 1.0f, 1.0f, 1.0f, 0.5f};
    EXPECT_TRUE(BitEqual(pulse, out + 2, 6) && HoldsSentinel(out + 8, 4));
    // 2.5 samples of rise step by amplitude / 2.5; half a sample of fall writes nothing.
    FillSentinel(out, 12);
    EXPECT_EQ(3, GenTrapezoid(out, 0, 1000.0, 2.5, 1.0, 0.5, 2.0));
    EXPECT_TRUE(out[1] == static_cast<float>(2.0 / 2.5) && out[2] == 2.0f && HoldsSentinel(out + 3, 9));
    // No fall: a closing 0 at the returned index, which the next pulse overwrites.
    EXPECT_EQ(2, GenTrapezoid(out, 0, 1000.0, 0.0, 2.0, 0.0, -1.5));
    EXPECT_TRUE(out[1] == -1.5f && out[2] == 0.0f);
    EXPECT_EQ(4, GenTrapezoid(out, 4, 1e306, 1e10, 0.0, 0.0, 1.0));  // a count with no int is none
    EXPECT_EQ(0.0f, out[4]);
}

TEST(AddSineWave, AddsFromPhaseOneStepWrappedAtEverySample)
{
    // Sample 0 is one step in; over a long run the wrapped phase rounds
    // differently from an unwrapped one.
    const int n = 200000;
    std::vector<float> b(n, 0.5f), expected(n);
    const double frequency = 5925.9216, inc = frequency / 48000.0;
    AddSineWave(b.data(), n, frequency, 2.0, 48000.0);
    double p = 0.0, whole;
    for (int i = 0; i < n; ++i) {
        p = std::modf(p + inc, &whole);
        expected[i] = 0.5f + static_cast<float>(std::sin(p * 6.283185307179586) * 2.0);
    }
    EXPECT_TRUE(BitEqual(expected.data(), b.data(), n));
}
