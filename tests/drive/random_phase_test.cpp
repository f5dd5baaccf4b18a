#include "numora/drive/random_phase.h"

#include <cmath>

#include "numora/foundation/platform.h"
#include "tests/support/support.h"

using namespace qv::math;

namespace {

// sin(pi * p / 1024) from the nine-decimal quarter sine, folded by symmetry.
double SinStep(int p)
{
    const int a = p % 1024 > 512 ? 1024 - p % 1024 : p % 1024;
    const double m = std::round(std::sin(a * 3.1415927 / 1024) * 1e9) / 1e9;
    return p % 2048 < 1024 ? m : -m;
}

}  // namespace

TEST(APSAddRandomPhase, TurnsEachDrawIntoOneOf2048TablePhasesQuantisedInItsPrecision)
{
    float s[4100];
    for (int k = 0; k < 4100; ++k)
        s[k] = static_cast<float>(k - 2);  // line 1 has a negative power (a negative amplitude), line 2 none
    SRand(30091);                      // its first draw is the top one, 32767: step 2048 is phase 0 again
    APSAddRandomPhase(s, 4096, 2048);  // maxLine = n / 2 fills n + 2 values
    SRand(30091);
    for (int k = 2048; k >= 1; --k) {  // the draw is quantised in float
        const int p = static_cast<int>(std::fmin(1.0f, static_cast<float>(Rand()) / 32767.0f) * 2048.0f);
        const float w = static_cast<float>(k - 2);
        const float v = w > 0 ? static_cast<float>(std::sqrt(static_cast<double>(w))) : w;
        ASSERT_EQ(static_cast<float>(SinStep(p + 512)) * v, s[2 * k]) << "line " << k;
        ASSERT_EQ(static_cast<float>(SinStep(p)) * v, s[2 * k + 1]) << "line " << k;
    }
    EXPECT_TRUE(s[0] == 0.0f && s[1] == 0.0f && s[4098] == 4096.0f && s[4099] == 4097.0f);
    // Seed 50155 first draws 32751; 32751 / 32767 rounds up onto a step boundary
    // in float only: step 2047 vs 2046.
    float f[4] = {0.0f, 4.0f, 0.0f, 0.0f};
    double d[4] = {0.0, 4.0, 0.0, 0.0};
    SRand(50155);
    FRQAddRandomPhase(f, 2, 1, 0);  // a seed of 0 continues the running sequence
    FRQAddRandomPhase(d, 2, 1, 50155);
    EXPECT_EQ(static_cast<float>(SinStep(2047)) * 4.0f, f[3]);
    EXPECT_EQ(SinStep(2046) * 4.0, d[3]);
}

TEST(APSAddRandomPhase, DoubleTwinReadsTheNineDecimalTableAtEveryStep)
{
    // 4096 lines draw most of the 2048 steps; the quotient is formed in double.
    static double s[8194];
    for (int k = 0; k < 8194; ++k)
        s[k] = 2.0;
    SRand(12345);
    APSAddRandomPhase(s, 8192, 4096);
    SRand(12345);
    for (int k = 4096; k >= 1; --k) {
        const int p = static_cast<int>(std::fmin(1.0, Rand() / 32767.0) * 2048.0);
        ASSERT_EQ(SinStep(p + 512) * std::sqrt(2.0), s[2 * k]) << "line " << k;
        ASSERT_EQ(SinStep(p) * std::sqrt(2.0), s[2 * k + 1]) << "line " << k;
    }
}

TEST(APSAddRandomPhase, MaxLineLimitsAndSeeding)
{
    float s[12];
    numora_test::FillSentinel(s, 12);
    FRQAddRandomPhase(s, 8, 5, 3);  // above n / 2: untouched, seeded all the same
    APSAddRandomPhase(s, 8, 0);     // only DC cleared, no draw
    const int next = Rand();
    EXPECT_TRUE(s[0] == 0.0f && s[1] == 0.0f && numora_test::HoldsSentinel(s + 2, 10));
    SRand(3);
    EXPECT_EQ(Rand(), next);
}

TEST(RandomPhase, LoadAndDitherDrawOncePerLineFromLineOne)
{
    float p[5] = {1.0f};
    LoadRandomPhase(p, 16, 5, 9);
    float q[5] = {1.0f, p[1], 0.0f, p[3], p[4]};  // a zero phase stays zero but still draws
    DitherRandomPhase(q, 16, 5, 0, 10.0f, 9);     // the same draws again
    LoadRandomPhase(q, 4, 3, 9);                  // above n / 2 nothing is written
    SRand(9);
    for (int k = 1; k < 5; ++k) {  // ascending; the load rounds its draw to float, the dither its move
        const float in = k == 2 ? 0.0f : p[k];
        const double r = Rand() / 32767.0, d = std::fabs(static_cast<double>(0.1f * in));
        EXPECT_EQ(static_cast<float>(r * (2 * M_PI) - M_PI), p[k]);
        EXPECT_EQ(in + static_cast<float>(r * (d + d) - d), q[k]);
    }
    EXPECT_TRUE(p[0] == 0.0f && q[0] == 0.0f);
}
