#include "numora/drive/random_phase.h"

#include <cmath>
#include <vector>

#include "numora/foundation/platform.h"
#include "tests/support/support.h"

using namespace qv::math;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;

namespace {

// Smallest seed whose first draw lies in lo .. hi.
unsigned int SeedFirstDraw(int lo, int hi)
{
    for (unsigned int seed = 1;; ++seed) {
        SRand(seed);
        const int r = Rand();
        if (r >= lo && r <= hi)
            return seed;
    }
}

// sin(pi * p / 1024) from the nine-decimal quarter sine, folded by symmetry.
double SinStep(int p)
{
    const int a = p % 1024 > 512 ? 1024 - p % 1024 : p % 1024;
    const double m = std::round(std::sin(a * 3.1415927 / 1024) * 1e9) / 1e9;
    return p % 2048 < 1024 ? m : -m;
}

double CosStep(int p) { return SinStep(p + 512); }

int StepOf(int r, float) { return static_cast<int>(std::fmin(1.0f, static_cast<float>(r) / 32767.0f) * 2048.0f); }
int StepOf(int r, double) { return static_cast<int>(std::fmin(1.0, r / 32767.0) * 2048.0); }

// Line k holds power v[k]; every pair is checked against the draws of seed.
template <typename T>
void ExpectTablePhases(std::vector<T> spectrum, int n, int maxLine, unsigned int seed)
{
    const std::vector<T> profile = spectrum;
    SRand(seed);
    APSAddRandomPhase(spectrum.data(), n, maxLine);
    SRand(seed);
    for (int k = maxLine; k >= 1; --k) {
        const int p = StepOf(Rand(), T{});
        const T v = profile[k] > 0 ? static_cast<T>(std::sqrt(static_cast<double>(profile[k]))) : profile[k];
        ASSERT_EQ(static_cast<T>(CosStep(p)) * v, spectrum[2 * k]) << "line " << k;
        ASSERT_EQ(static_cast<T>(SinStep(p)) * v, spectrum[2 * k + 1]) << "line " << k;
    }
    EXPECT_TRUE(spectrum[0] == T{0} && spectrum[1] == T{0});
    for (size_t i = 2 * maxLine + 2; i < spectrum.size(); ++i)
        EXPECT_EQ(profile[i], spectrum[i]);
}

}  // namespace

TEST(APSAddRandomPhase, TurnsEachDrawIntoOneOf2048TablePhases)
{
    std::vector<float> f(4098);
    std::vector<double> d(4098);
    for (int k = 0; k < 4098; ++k)
        f[k] = static_cast<float>(d[k] = k);
    ExpectTablePhases(f, 4096, 2048, 11);  // maxLine = n / 2 fills n + 2 values
    ExpectTablePhases(d, 4096, 2048, 12);
    // Zero power gives (0, 0), a negative one acts as a negative amplitude;
    // values above the last pair keep what they held.
    ExpectTablePhases(std::vector<float>{5, 0, 16, -2, 9, 1, 1, 1, 7, 7}, 8, 3, 4);
}

TEST(APSAddRandomPhase, PinnedDrawsAndTwinPrecision)
{
    // Both ends of the draw give phase 0; 4096 .. 4111 give 45 degrees, the table's 0.707106789.
    const int draws[3][3] = {{0, 0, 512}, {32767, 32767, 512}, {4096, 4111, 256}};
    for (const auto& draw : draws) {
        double line[4] = {0.0, 9.0, 0.0, 0.0};
        SRand(SeedFirstDraw(draw[0], draw[1]));
        APSAddRandomPhase(line, 2, 1);
        EXPECT_EQ(draw[2] == 512 ? 3.0 : 0.707106789 * 3.0, line[2]);
        EXPECT_EQ(draw[2] == 512 ? 0.0 : 0.707106789 * 3.0, line[3]);
    }
    // 32751 / 32767 rounds up onto a step boundary in float only: 2047 vs 2046.
    const int seed = static_cast<int>(SeedFirstDraw(32751, 32751));
    float f[4] = {0.0f, 4.0f, 0.0f, 0.0f};
    double d[4] = {0.0, 4.0, 0.0, 0.0};
    FRQAddRandomPhase(f, 2, 1, seed);
    FRQAddRandomPhase(d, 2, 1, seed);
    EXPECT_EQ(static_cast<float>(SinStep(2047)) * 4.0f, f[3]);
    EXPECT_EQ(SinStep(2046) * 4.0, d[3]);
}

TEST(APSAddRandomPhase, LimitsOfMaxLineAndSeeding)
{
    float s[12];
    FillSentinel(s, 12);
    FRQAddRandomPhase(s, 8, 5, 3);  // above n / 2: untouched, seeded all the same
    APSAddRandomPhase(s, 8, 0);     // only DC cleared, no draw
    const int next = Rand();
    EXPECT_TRUE(s[0] == 0.0f && s[1] == 0.0f && HoldsSentinel(s + 2, 10));
    SRand(3);
    EXPECT_EQ(Rand(), next);

    const std::vector<double> profile = {0, 1, 2, 3, 4, 0, 0, 0, 0, 0};
    std::vector<double> a = profile, b = profile;
    FRQAddRandomPhase(a.data(), 8, 4, 5);
    SRand(5);
    FRQAddRandomPhase(b.data(), 8, 4, 0);  // continues the running sequence
    EXPECT_EQ(a, b);
}

TEST(RandomPhase, LoadAndDitherDrawPerLineFromLineOne)
{
    const double pi = 3.141592653589793;
    float phase[5] = {0.5f, 1.0f, 0.0f, -2.0f, 3.0f};
    const std::vector<float> start(phase, phase + 5);
    DitherRandomPhase(phase, 16, 5, 0, 10.0f, 21);  // moves bounded by 10 % of the phase
    SRand(21);
    for (int k = 1; k < 5; ++k) {
        const double d = std::fabs(static_cast<double>(0.1f * start[k]));
        EXPECT_EQ(start[k] + static_cast<float>(Rand() / 32767.0 * (d + d) - d), phase[k]);
    }
    EXPECT_TRUE(phase[0] == 0.0f && phase[2] == 0.0f);
    LoadRandomPhase(phase, 16, 5, 9);
    SRand(9);
    for (int k = 1; k < 5; ++k)
        EXPECT_EQ(static_cast<float>(Rand() / 32767.0 * (2 * pi) - pi), phase[k]);

    // percent 0 adds exactly zero yet draws once per line; lineCount 1 only
    // clears phase[0]; above n / 2 nothing is written.
    const int fifth = Rand();
    double same[5] = {7.0, 1.25, -3.5, 2.0, 7.0};
    DitherRandomPhase(same, 16, 5, 0, 0.0, 9);
    EXPECT_EQ(fifth, Rand());
    same[0] = 7.0;
    LoadRandomPhase(same, 16, 1, 0);
    DitherRandomPhase(same + 1, 4, 3, 0, 50.0, 0);
    EXPECT_EQ(std::vector<double>({0.0, 1.25, -3.5, 2.0, 7.0}), std::vector<double>(same, same + 5));
}
