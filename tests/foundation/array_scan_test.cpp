#include "numora/foundation/array_scan.h"

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/support.h"

using namespace qv::math;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;
using numora_test::RandomFloats;
using numora_test::SameBits;

namespace {

TEST(ArrayMinMax, FirstFlagStartsFreshOrCarriesOnAndEmptyOrExcludedLeavesOutputs)
{
    // In float, 1e8 + 1 loses the 1; the double sum keeps both. The mean
    // counts only the piece at hand.
    const float a[] = {1e8f, 1.0f, -1e8f, 1.0f};
    float mn = -5e8f, mx = 10.0f, mean = 0.0f;
    ArrayMinMaxMean(a + 1, 2, mn, mx, mean, false);
    EXPECT_TRUE(mn == -5e8f && mx == 10.0f && mean == static_cast<float>((1.0 - 1e8) / 2.0));
    ArrayMinMaxMean(a, 4, mn, mx, mean, true);
    EXPECT_TRUE(mn == -1e8f && mx == 1e8f && mean == 0.5f);

    // The excluded value (-0 too) is skipped; with everything excluded the outputs stay.
    const float withZeros[] = {-0.0f, 5.0f, 2.0f, 0.0f, 9.0f};
    ArrayMinMaxExclude(withZeros, 5, mn, mx, 0.0f, true);
    EXPECT_TRUE(mn == 2.0f && mx == 9.0f);
    float out[3];
    FillSentinel(out, 3);
    ArrayMinMax(a, 0, out[0], out[1], true);
    ArrayMinMaxMean(nullptr, 5, out[0], out[1], out[2], true);
    ArrayMinMaxExclude(withZeros, 1, out[0], out[1], 0.0f, true);
    EXPECT_TRUE(HoldsSentinel(out, 3));
}

TEST(ArrayMean, SquaresInFloatSumsInDoubleAndEmptyLeavesOutputs)
{
    // A float sum would lose both ones; the square of 1 + 2^-12 rounds to
    // 1 + 2^-11 in float.
    const float big[] = {0x1p24f, 1.0f, 1.0f}, fine = 1.0f + 0x1p-12f;
    double mean = 0.0, meanSquare = 0.0;
    ArrayMean(big, 3, mean, meanSquare);
    EXPECT_TRUE(mean == 16777218.0 / 3.0 && ArrayMean(big, 3) == 5592406.0f);
    ArrayMean(&fine, 1, mean, meanSquare);
    EXPECT_EQ(1.0 + 0x1p-11, meanSquare);

    double d[2];
    FillSentinel(d, 2);
    ArrayMean(big, 0, d[0], d[1]);
    EXPECT_TRUE(HoldsSentinel(d, 2));
}

TEST(Arraymoment, RawMomentsAndKurtosisFromUnroundedMoments)
{
    const double d[] = {2.0, -2.0, 2.0};
    double w2 = 0.0, w4 = 0.0;
    EXPECT_EQ(4.0, Arraymoment(d, 3, 2));  // about zero, not the mean
    EXPECT_TRUE(std::isnan(Arraymoment(d, 0, 2)));
    EXPECT_EQ(1.0, Arraykurtosis(d, 3, &w2, &w4));  // raw, not about the mean or less 3

    const std::vector<float> a = RandomFloats(64, 21u);
    float m2 = 0.0f, m4 = 0.0f;
    const double kw = Arraykurtosis(a.data(), 64, &w2, &w4);
    EXPECT_TRUE(SameBits(static_cast<float>(kw), Arraykurtosis(a.data(), 64, &m2, &m4)));
}

TEST(ArrayRemoveMean, SubtractsTheDoubleMeanAndReturnsIt)
{
    // The mean 2/3 stays in double; each difference rounds once.
    float b[] = {0.0f, 1.0f, 1.0f};
    const double mean = 2.0 / 3.0;
    EXPECT_EQ(mean, ArrayRemoveMean(b, 3));
    const float rest = static_cast<float>(1.0 - mean);
    EXPECT_TRUE(SameBits(static_cast<float>(-mean), b[0]) && SameBits(rest, b[2]));
    EXPECT_TRUE(std::isnan(ArrayRemoveMean(b, 0)) && SameBits(rest, b[1]));
}

}  // namespace
