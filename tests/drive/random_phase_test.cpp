#include "numora/drive/random_phase.h"

#include <cmath>
#include <vector>

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
    // In double every table entry shows: 4096 lines (maxLine = n / 2) draw most
    // of the 2048 steps, one draw a line from the top line down. A power gives
    // its root; a negative one is a negative amplitude.
    std::vector<double> s(8194, 2.0);
    s[1] = -2.0;
    SRand(12345);
    APSAddRandomPhase(s.data(), 8192, 4096);
    SRand(12345);
    for (int k = 4096; k >= 1; --k) {
        const int p = static_cast<int>(std::fmin(1.0, Rand() / 32767.0) * 2048.0);
        const double v = k == 1 ? -2.0 : std::sqrt(2.0);
        ASSERT_TRUE(s[2 * k] == SinStep(p + 512) * v && s[2 * k + 1] == SinStep(p) * v) << k;
    }
    EXPECT_TRUE(s[0] == 0.0 && s[1] == 0.0);
    // Seed 50155 first draws 32751: 32751 / 32767 rounds up onto a step
    // boundary in float only (step 2047 against 2046). In float the table value
    // is rounded before it meets the amplitude.
    float f[4] = {0.0f, 1.9375f, 0.0f, 0.0f};
    double d[4] = {0.0, 4.0, 0.0, 0.0};
    SRand(50155);
    FRQAddRandomPhase(f, 2, 1, 0);  // a seed of 0 continues the running sequence
    FRQAddRandomPhase(d, 2, 1, 50155);
    EXPECT_TRUE(f[2] == static_cast<float>(SinStep(2559)) * 1.9375f &&
                f[3] == static_cast<float>(SinStep(2047)) * 1.9375f && d[3] == SinStep(2046) * 4.0);
    // Above n / 2 nothing is written, though a seed takes effect; maxLine 0
    // clears DC and draws nothing.
    float a[6];
    numora_test::FillSentinel(a, 6);
    FRQAddRandomPhase(a, 4, 3, 3);
    APSAddRandomPhase(a, 4, 0);
    const int next = Rand();
    SRand(3);
    EXPECT_TRUE(a[0] == 0.0f && a[1] == 0.0f && numora_test::HoldsSentinel(a + 2, 4) && Rand() == next);
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
