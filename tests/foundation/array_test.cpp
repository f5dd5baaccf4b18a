#include "numora/foundation/array.h"

#include <climits>

#include <cmath>
#include <string>
#include <vector>

#include "tests/support/support.h"

namespace {

using numora_test::FillSentinel;
using numora_test::HoldsSentinel;
using numora_test::SameBits;
using namespace qv::math;

// Which of n elements fill wrote: 'x' for written, '.' for untouched.
template <typename T, typename Fill>
std::string Written(int n, Fill fill)
{
    std::vector<T> a(static_cast<size_t>(n));
    FillSentinel(a.data(), n);
    fill(a.data());
    std::string map;
    for (const T& x : a)
        map += HoldsSentinel(&x, 1) ? '.' : 'x';
    return map;
}

TEST(ArrayFill, WritesExactlyItsRangeAndClearsNegativeZeroUnlessSet)
{
    float f[4];
    ArraySet(f, -0.0f, 4);
    ArrayInitBelowBand(f, 4, 2, -0.0f);
    EXPECT_TRUE(SameBits(-0.0f, f[3]) && SameBits(0.0f, f[1]));
    complex_d c[2];
    ArrayInit(c, 2, -0.0, 1.0);  // not zero as a whole: stored as given
    EXPECT_TRUE(SameBits(-0.0, c[1].re));

    // Element 0 guards the space before the eight-element array a = b + 1.
    EXPECT_EQ(".........", Written<double>(9, [](double* b) {
                  ArraySet(b + 1, 1.0, -3);
                  ArrayInitBelowBand(b + 1, 8, 0, 1.0);
                  ArrayInitAboveBand(b + 1, 8, 0x7FFFFFFF, 1.0);
              }));
    // The count is not used; a line below -1 writes the whole array, nothing before it.
    EXPECT_EQ(".xx......", Written<double>(9, [](double* b) { ArrayInitBelowBand(b + 1, 0, 2, 2.0); }));
    EXPECT_EQ(".xxxxxxxx", Written<double>(9, [](double* b) { ArrayInitAboveBand(b + 1, 8, -5, 3.0); }));
    EXPECT_EQ(".xx....xx", Written<double>(9, [](double* b) { ArrayInitOutsideBand(b + 1, 8, 2, 5, 4.0); }));
}

TEST(ArrayArithmetic, AveragesScalesAndNormalizesInTheirPrecision)
{
    float a[2] = {3e38f, -3.0f}, b[2] = {3e38f, 0.5f}, out[2];  // 6e38 overflows in float
    ArrayAvg(out, a, b, 2);
    EXPECT_TRUE(out[0] == 3e38f && out[1] == -1.25f);

    std::vector<float> v = numora_test::RandomFloats(37, 5u), scaled(37), inPlace = v;
    ArrayScaleDB(scaled.data(), v.data(), 37, -6.0f);
    ArrayScaleDB(inPlace.data(), inPlace.data(), 37, -6.0f);
    // The exponent is divided in float and raised in double.
    const float s = static_cast<float>(std::pow(10.0, static_cast<double>(-6.0f / 20.0f)));
    for (int i = 0; i < 37; ++i)
        ASSERT_TRUE(SameBits(s * v[i], inPlace[i]) && SameBits(scaled[i], inPlace[i])) << i;

    // Normalising scales the peak to target in its own sign; a zero peak changes nothing.
    float zero[2] = {0.0f, -0.0f}, n[3] = {1.0f, -4.0f, 3.0f};
    EXPECT_TRUE(ArrayNormalize(zero, 2, 1.0f) == 0.0f && SameBits(-0.0f, zero[1]));
    EXPECT_TRUE(ArrayNormalize(n, 3, 2.0f) == 0.5f && n[0] == 0.5f && n[1] == -2.0f);
    double inv[3] = {-2.0, 0.0, 4.0};
    EXPECT_TRUE(ArrayNormalizeInv(inv, 3, 1.0) == 0.25 && inv[0] == 1.5 && inv[1] == 1.0 && inv[2] == 0.0);
}

TEST(ArrayClip, TestsHighFirstStrictlyAndCountsChanges)
{
    float a[4] = {2.0f, 3.0f, -1.0f, NAN};
    EXPECT_EQ(2, ArrayClip(a, 4, 0.0f, 2.0f));  // 2 sits on the bound
    EXPECT_TRUE(a[0] == 2.0f && a[1] == 2.0f && a[2] == 0.0f && std::isnan(a[3]));
    // low above high: above high wins and counts once; all else goes to low.
    double d[3] = {3.0, 0.0, 1.0};
    EXPECT_TRUE(ArrayClip(d, 3, 5.0, 1.0) == 3 && d[0] == 1.0 && d[1] == 5.0 && d[2] == 5.0);
}

TEST(ArrayFreqLimit, FillsOutsideTheOutwardRoundedBandThroughLastLine)
{
    EXPECT_EQ("............",
              Written<float>(12, [](float* a) { ArrayFreqLimit(a, 0.0f, 0.0f, 10.0f, 10, 1.0f); }));
    // 25 Hz rounds down to line 2, 45 Hz up to line 5; lastLine 10 is included.
    EXPECT_EQ("xx....xxxxx.",
              Written<float>(12, [](float* a) { ArrayFreqLimit(a, 25.0f, 45.0f, 10.0f, 10, 1.0f); }));
    float a[12];
    FillSentinel(a, 12);
    ArrayFreqLimit(a, 500.0f, 600.0f, 10.0f, 10, -0.0f);  // band above the array
    EXPECT_TRUE(SameBits(-0.0f, a[0]) && SameBits(-0.0f, a[10]) && HoldsSentinel(a + 11, 1));
}

TEST(ArrayIndexIncLoop, WrapsAroundTheRingAndNeedsOne)
{
    int i = 7, k = 1;
    ArrayIndexIncLoop(i, 0);
    ArrayIndexIncLoop(i, 8);
    ArrayIndexIncLoop(k, 4, 10);  // several turns at once
    ArrayIndexIncLoop(k, 0, 1);
    EXPECT_TRUE(i == 0 && k == 3);
    // Steps and indexes at the end of the int range stay inside the ring.
    int big = 7, top = INT_MAX;
    ArrayIndexIncLoop(big, 8, INT_MAX);
    ArrayIndexIncLoop(top, 5);
    EXPECT_TRUE(big == 6 && top == 0);
}

}  // namespace
