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

const float kNaN = NAN;

TEST(ArrayFindNearest, FirstOfEqualDistancesWinsAndNaNIsNeverADirectedCandidate)
{
    // Unsorted, with ties at distance 1 (4 before 2) and 2 (5 before 1).
    const double mixed[] = {5.0, 1.0, 4.0, 2.0};
    EXPECT_EQ(2, ArrayFindNearest(3.0, mixed, 4, qv::ArrayFindClosest));
    EXPECT_EQ(3, ArrayFindNearest(3.0, mixed, 4, qv::ArrayFindAtOrBelow));
    EXPECT_EQ(2, ArrayFindNearest(4.0, mixed, 4, qv::ArrayFindAtOrAbove));  // equal counts
    EXPECT_EQ(-1, ArrayFindNearest(3.0, mixed, 4, static_cast<qv::ArrayFindRule>(3)));
    // The directed rules keep the first of equal candidates too.
    const double twiceBelow[] = {2.0, 5.0, 2.0}, twiceAbove[] = {4.0, 1.0, 4.0};
    EXPECT_EQ(0, ArrayFindNearest(3.0, twiceBelow, 3, qv::ArrayFindAtOrBelow));
    EXPECT_EQ(0, ArrayFindNearest(3.0, twiceAbove, 3, qv::ArrayFindAtOrAbove));
    const float withNaN[] = {kNaN, 2.0f, kNaN};
    EXPECT_EQ(1, ArrayFindNearest(3.0f, withNaN, 3, qv::ArrayFindAtOrBelow));
    EXPECT_EQ(0, ArrayFindNearest(3.0f, withNaN, 3, qv::ArrayFindClosest));
    EXPECT_EQ(-1, ArrayFindNearest(kNaN, withNaN + 1, 1, qv::ArrayFindAtOrAbove));
}

TEST(ArrayScan, StopsAtFirstStrictMatchWithNaNCountingAsDifferent)
{
    const float f[] = {1.0f, kNaN, 3.0f, 3.0f};
    EXPECT_EQ(1, ArrayScan(f, 4, qv::ArrayScanNaN, 0.0f));
    EXPECT_EQ(2, ArrayScan(f, 4, qv::ArrayScanAbove, 1.0f));
    EXPECT_EQ(1, ArrayScan(f, 4, qv::ArrayScanNotEqual, 1.0f));
    EXPECT_EQ(-1, ArrayScan(f, 4, qv::ArrayScanEqual, kNaN));
    EXPECT_EQ(-1, ArrayScan(f, 4, static_cast<qv::ArrayScanType>(5), 3.0f));
}

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

TEST(ArrayExtremes, IndexesMarkTheFirstOccurrenceAndResetWhenEmpty)
{
    const float a[] = {1.0f, 7.0f, -2.0f, 7.0f, -2.0f};
    float mn = 0.0f, mx = 0.0f;
    int iMin = -1, iMax = -1, index = 7;
    ArrayMinMaxIndex(a, 5, mn, iMin, mx, iMax);
    EXPECT_TRUE(mn == -2.0f && iMin == 2 && mx == 7.0f && iMax == 1);
    ArrayMinMaxIndex(a, 0, mn, iMin, mx, iMax);
    EXPECT_TRUE(iMin == 0 && iMax == 0 && mn == -2.0f && mx == 7.0f);

    const float signs[] = {1.0f, -3.0f, 3.0f};
    EXPECT_TRUE(ArrayMaxAbs(signs, 0, &index) == 0.0f && index == 0);
    EXPECT_TRUE(ArrayMaxAbs(signs, 3, &index) == 3.0f && index == 1);  // unsigned
}

TEST(ArrayMean, SquaresInFloatSumsInDoubleAndEmptyLeavesOutputs)
{
    const std::vector<float> a = RandomFloats(257, 9u);
    double sum = 0.0, sumSquares = 0.0, mean = 0.0, meanSquare = 0.0;
    for (float x : a)
        sum += static_cast<double>(x), sumSquares += static_cast<double>(x * x);
    ArrayMean(a.data(), 257, mean, meanSquare);
    EXPECT_TRUE(SameBits(sum / 257.0, mean) && SameBits(sumSquares / 257.0, meanSquare));
    EXPECT_TRUE(SameBits(static_cast<float>(sum / 257.0), ArrayMean(a.data(), 257)));

    double d[2];
    FillSentinel(d, 2);
    ArrayMean(a.data(), 0, d[0], d[1]);
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
