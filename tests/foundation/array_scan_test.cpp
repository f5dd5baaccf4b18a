#include "numora/foundation/array_scan.h"

#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;
using numora_test::RandomFloats;
using numora_test::SameBits;

namespace {

const float kNaN = NAN;

TEST(ArrayFindNearest, FirstOfEqualDistancesWinsAndMinusOneWithoutCandidate)
{
    // Unsorted, with ties at distance 1 (4 before 2) and 2 (5 before 1).
    const double mixed[] = {5.0, 1.0, 4.0, 2.0};
    EXPECT_EQ(2, ArrayFindNearest(3.0, mixed, 4, qv::ArrayFindClosest));
    EXPECT_EQ(3, ArrayFindNearest(3.0, mixed, 4, qv::ArrayFindAtOrBelow));
    EXPECT_EQ(2, ArrayFindNearest(3.0, mixed, 4, qv::ArrayFindAtOrAbove));
    // An element equal to the target is a candidate of both directed rules.
    const float exact[] = {1.0f, 3.0f, 5.0f};
    EXPECT_EQ(1, ArrayFindNearest(3.0f, exact, 3, qv::ArrayFindAtOrBelow));
    EXPECT_EQ(1, ArrayFindNearest(3.0f, exact, 3, qv::ArrayFindAtOrAbove));

    // -1 without a candidate, count or known rule; a NaN never wins a directed rule.
    const float above[] = {4.0f, 5.0f};
    EXPECT_EQ(-1, ArrayFindNearest(3.0f, above, 2, qv::ArrayFindAtOrBelow));
    EXPECT_EQ(-1, ArrayFindNearest(3.0f, above, 2, static_cast<qv::ArrayFindRule>(3)));
    EXPECT_EQ(-1, ArrayFindNearest(3.0f, above, 0, qv::ArrayFindClosest));
    EXPECT_EQ(-1, ArrayFindNearest(kNaN, above, 2, qv::ArrayFindAtOrAbove));
    const float withNaN[] = {kNaN, 2.0f, kNaN};
    EXPECT_EQ(1, ArrayFindNearest(3.0f, withNaN, 3, qv::ArrayFindAtOrBelow));
    EXPECT_EQ(-1, ArrayFindNearest(1.0f, withNaN, 3, qv::ArrayFindAtOrBelow));
    EXPECT_EQ(0, ArrayFindNearest(3.0f, withNaN, 3, qv::ArrayFindClosest));
}

TEST(ArrayScan, StopsAtFirstMatchWithNaNCountingAsDifferent)
{
    const float f[] = {1.0f, kNaN, 3.0f, 3.0f};
    const struct { int type; float value; int expected; } cases[] = {
        {qv::ArrayScanNaN, 0.0f, 1},      {qv::ArrayScanBelow, 2.0f, 0},   {qv::ArrayScanBelow, 1.0f, -1},
        {qv::ArrayScanAbove, 2.0f, 2},    {qv::ArrayScanNotEqual, 1.0f, 1}, {qv::ArrayScanEqual, 3.0f, 2},
        {qv::ArrayScanEqual, kNaN, -1},   {5, 3.0f, -1}};
    for (const auto& c : cases)
        EXPECT_EQ(c.expected, ArrayScan(f, 4, static_cast<qv::ArrayScanType>(c.type), c.value))
            << c.type << " " << c.value;
    EXPECT_EQ(-1, ArrayScan(f, 0, qv::ArrayScanNaN, 0.0f));
    const double d[] = {2.0, -0.0, NAN};
    EXPECT_EQ(2, ArrayScan(d, 3, qv::ArrayScanNaN, 0.0));
    EXPECT_EQ(1, ArrayScan(d, 3, qv::ArrayScanEqual, 0.0));  // -0 equals 0
    const int n[] = {4, 1, 7};
    EXPECT_EQ(-1, ArrayScan(n, 3, qv::ArrayScanNaN, 0));
    EXPECT_EQ(2, ArrayScan(n, 3, qv::ArrayScanAbove, 4));
}

TEST(ArrayMinMax, FirstFlagStartsFreshOrCarriesOnAndEmptyOrExcludedLeavesOutputs)
{
    const float one[] = {3.0f};
    float mn = -10.0f, mx = 10.0f;
    ArrayMinMax(one, 1, mn, mx, false);
    EXPECT_TRUE(mn == -10.0f && mx == 10.0f);
    ArrayMinMax(one, 1, mn, mx, true);
    EXPECT_TRUE(mn == 3.0f && mx == 3.0f);

    // In float, 1e8 + 1 loses the 1; the double sum keeps both. The mean
    // counts only the piece at hand.
    const float a[] = {1e8f, 1.0f, -1e8f, 1.0f};
    float mean = 0.0f;
    ArrayMinMaxMean(a, 4, mn, mx, mean, true);
    EXPECT_TRUE(mn == -1e8f && mx == 1e8f);
    EXPECT_EQ(0.5f, mean);
    mn = -5e8f;
    ArrayMinMaxMean(a + 1, 2, mn, mx, mean, false);
    EXPECT_EQ(-5e8f, mn);
    EXPECT_EQ(static_cast<float>((1.0 - 1e8) / 2.0), mean);

    float out[3];
    FillSentinel(out, 3);
    ArrayMinMax(a, 0, out[0], out[1], true);
    ArrayMinMax(nullptr, 5, out[0], out[1], true);
    ArrayMinMaxMean(a, -1, out[0], out[1], out[2], true);
    ArrayMax(static_cast<const float*>(nullptr), 3, out[0], true);
    EXPECT_TRUE(HoldsSentinel(out, 3));

    // The excluded value is skipped; with everything excluded the outputs stay.
    const float withZeros[] = {0.0f, 5.0f, 2.0f, 0.0f, 9.0f};
    ArrayMinMaxExclude(withZeros, 5, mn, mx, 0.0f, true);
    EXPECT_TRUE(mn == 2.0f && mx == 9.0f);
    const double zeros[] = {-0.0, 0.0, 0.0};
    double outD[2];
    FillSentinel(outD, 2);
    ArrayMinMaxExclude(zeros, 3, outD[0], outD[1], 0.0, true);
    EXPECT_TRUE(HoldsSentinel(outD, 2));
}

TEST(ArrayExtremes, IndexesMarkTheFirstOccurrenceAndResetWhenEmpty)
{
    const float a[] = {1.0f, 7.0f, -2.0f, 7.0f, -2.0f};
    float mn = 0.0f, mx = 0.0f;
    int iMin = -1, iMax = -1;
    ArrayMinMaxIndex(a, 5, mn, iMin, mx, iMax);
    EXPECT_TRUE(mn == -2.0f && iMin == 2 && mx == 7.0f && iMax == 1);
    int index = -1;
    ArrayMaxIndex(a + 2, 3, mx, index);
    EXPECT_EQ(1, index);

    float vals[2];
    FillSentinel(vals, 2);
    iMin = iMax = index = 5;
    ArrayMinMaxIndex(a, 0, vals[0], iMin, vals[1], iMax);
    ArrayMaxIndex(nullptr, 3, vals[0], index);
    EXPECT_TRUE(iMin == 0 && iMax == 0 && index == 0 && HoldsSentinel(vals, 2));

    const float pair[] = {-3.0f, 3.0f};
    EXPECT_EQ(3.0f, ArrayMaxAbs(pair, 2, &index));
    EXPECT_EQ(0, index);
    const float negZero[] = {-0.0f};
    EXPECT_TRUE(SameBits(0.0f, ArrayMaxAbs(negZero, 1, nullptr)));
    index = 7;
    EXPECT_EQ(0.0f, ArrayMaxAbs(pair, 0, &index));
    EXPECT_EQ(0, index);
}

TEST(ArrayMean, SquaresInFloatSumsInDoubleAndEmptyLeavesOutputs)
{
    const std::vector<float> a = RandomFloats(257, 9u);
    double sum = 0.0;
    double sumFloatSquares = 0.0;
    double sumDoubleSquares = 0.0;
    for (float x : a) {
        sum += static_cast<double>(x);
        sumFloatSquares += static_cast<double>(x * x);
        sumDoubleSquares += static_cast<double>(x) * static_cast<double>(x);
    }
    ASSERT_NE(sumFloatSquares, sumDoubleSquares);

    double mean = 0.0, meanSquare = 0.0;
    ArrayMean(a.data(), 257, mean, meanSquare);
    EXPECT_TRUE(SameBits(sum / 257.0, mean));
    EXPECT_TRUE(SameBits(sumFloatSquares / 257.0, meanSquare));
    EXPECT_TRUE(SameBits(static_cast<float>(sum / 257.0), ArrayMean(a.data(), 257)));
    const std::vector<double> wide(a.begin(), a.end());
    ArrayMean(wide.data(), 257, mean, meanSquare);
    EXPECT_TRUE(SameBits(sumDoubleSquares / 257.0, meanSquare));

    const double signs[] = {-1.0, 2.0, -3.0};
    EXPECT_EQ(2.0, ArrayMeanABS(signs, 3));
    EXPECT_EQ(0.0, ArrayMean(static_cast<const double*>(nullptr), 3));
    double d[2];
    FillSentinel(d, 2);
    ArrayMean(a.data(), 0, d[0], d[1]);
    ArrayMean(static_cast<const float*>(nullptr), 4, d[0], d[1]);
    EXPECT_TRUE(HoldsSentinel(d, 2));
}

TEST(Arraymoment, RawMomentsAndRawKurtosis)
{
    const double d[] = {1.0, 2.0, 3.0};
    EXPECT_EQ(14.0 / 3.0, Arraymoment(d, 3, 2));  // about zero, not the mean
    EXPECT_TRUE(std::isnan(Arraymoment(d, 0, 2)));

    const float constant[] = {3.0f, 3.0f, 3.0f, 3.0f};
    float m2 = 0.0f, m4 = 0.0f;
    EXPECT_EQ(1.0f, Arraykurtosis(constant, 4, &m2, &m4));
    EXPECT_TRUE(m2 == 9.0f && m4 == 81.0f);

    double dm2 = 0.0, dm4 = 0.0, w2 = 0.0, w4 = 0.0;
    // Float input: the double overload matches the double array; the float
    // overload rounds the same three values.
    const std::vector<float> a = RandomFloats(64, 21u);
    const std::vector<double> wide(a.begin(), a.end());
    const double kw = Arraykurtosis(wide.data(), 64, &w2, &w4);
    EXPECT_TRUE(SameBits(kw, Arraykurtosis(a.data(), 64, &dm2, &dm4)));
    EXPECT_TRUE(SameBits(w2, dm2));
    EXPECT_TRUE(SameBits(w4, dm4));
    EXPECT_TRUE(SameBits(static_cast<float>(kw), Arraykurtosis(a.data(), 64, &m2, &m4)));
    EXPECT_TRUE(SameBits(static_cast<float>(w2), m2));
    EXPECT_TRUE(SameBits(static_cast<float>(w4), m4));
}

TEST(ArrayRemoveMean, SubtractsTheDoubleMeanAndReturnsIt)
{
    // The mean 2/3 stays in double; each difference rounds once.
    float b[] = {0.0f, 1.0f, 1.0f};
    const double mean = 2.0 / 3.0;
    EXPECT_EQ(mean, ArrayRemoveMean(b, 3));
    const float expected[] = {static_cast<float>(-mean), static_cast<float>(1.0 - mean),
                              static_cast<float>(1.0 - mean)};
    EXPECT_TRUE(BitEqual(expected, b, 3));

    float untouched[1];
    FillSentinel(untouched, 1);
    EXPECT_TRUE(std::isnan(ArrayRemoveMean(untouched, 0)));
    EXPECT_TRUE(HoldsSentinel(untouched, 1));
}

}  // namespace
