#include "numora/foundation/array.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "tests/support/support.h"

namespace {

using numora_test::BitEqual;
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

TEST(ArrayFill, InitClearsNegativeZeroButSetStoresItUnchanged)
{
    float f[4];
    ArrayInit(f, 4, -0.0f);
    EXPECT_TRUE(SameBits(0.0f, f[3]));
    ArraySet(f, -0.0f, 4);
    ArrayInitBelowBand(f, 4, 2, -0.0f);
    EXPECT_TRUE(SameBits(-0.0f, f[3]) && SameBits(0.0f, f[1]));
    complex_d c[2];
    ArrayInit(c, 2, -0.0, 0.0);
    EXPECT_TRUE(SameBits(0.0, c[1].re) && SameBits(0.0, c[1].im));
    ArrayInit(c, 2, -0.0, 1.0);  // not zero as a whole: stored as given
    EXPECT_TRUE(SameBits(-0.0, c[1].re) && SameBits(1.0, c[1].im));

    FillSentinel(f, 4);
    ArrayInit(f, 0, 1.0f);
    ArraySet(f, 1.0f, -3);
    EXPECT_TRUE(HoldsSentinel(f, 4));
}

TEST(ArrayFill, BandFillsWriteExactlyOutsideTheBand)
{
    // Element 0 guards the space before the eight-element array a = b + 1.
    EXPECT_EQ(".........", Written<double>(9, [](double* b) {
                  ArrayInitBelowBand(b + 1, 8, 0, 1.0);
                  ArrayInitAboveBand(b + 1, 8, 7, 1.0);
                  ArrayInitAboveBand(b + 1, 8, INT_MAX, 1.0);
                  ArrayInitOutsideBand(b + 1, 8, 0, 7, 1.0);
              }));
    EXPECT_EQ("........x", Written<double>(9, [](double* b) { ArrayInitAboveBand(b + 1, 8, 6, 1.0); }));
    // The count is not used; a line below -1 writes the whole array, nothing before it.
    EXPECT_EQ(".xx......", Written<double>(9, [](double* b) { ArrayInitBelowBand(b + 1, 0, 2, 2.0); }));
    EXPECT_EQ(".xxxxxxxx", Written<double>(9, [](double* b) { ArrayInitAboveBand(b + 1, 8, -5, 3.0); }));
    EXPECT_EQ(".xx....xx", Written<double>(9, [](double* b) { ArrayInitOutsideBand(b + 1, 8, 2, 5, 4.0); }));
}

TEST(ArrayAvg, AveragesInDoubleAlsoInPlace)
{
    float a[3] = {FLT_MAX, 1.0f, -3.0f};
    float b[3] = {FLT_MAX, 2.0f, 0.5f};
    float out[3];
    ArrayAvg(out, a, b, 3);
    const float expected[3] = {FLT_MAX, 1.5f, -1.25f};  // FLT_MAX + FLT_MAX overflows in float
    EXPECT_TRUE(BitEqual(expected, out, 3));
    ArrayAvg(a, a, b, 3);
    EXPECT_TRUE(BitEqual(expected, a, 3));
}

TEST(ArrayClip, TestsHighFirstStrictlyAndCountsChanges)
{
    float a[6] = {1.0f, 2.0f, 3.0f, -1.0f, NAN, 0.0f};
    EXPECT_EQ(2, ArrayClip(a, 6, 0.0f, 2.0f));  // 2 and 0 sit on the bounds
    const float clipped[6] = {1.0f, 2.0f, 2.0f, 0.0f, NAN, 0.0f};
    EXPECT_TRUE(BitEqual(clipped, a, 6));

    // low above high: above high wins and counts once; all else goes to low.
    double d[3] = {3.0, 0.0, 1.0};
    EXPECT_EQ(3, ArrayClip(d, 3, 5.0, 1.0));
    const double crossed[3] = {1.0, 5.0, 5.0};
    EXPECT_TRUE(BitEqual(crossed, d, 3));

    float s[4] = {-2.0f, -1.0f, 1.0f, 2.0f};
    EXPECT_EQ(2, ArrayClipSet(s, 4, -1.5f, 1.5f, 0.0f, 0.0f));
    const float zeroed[4] = {0.0f, -1.0f, 1.0f, 0.0f};
    EXPECT_TRUE(BitEqual(zeroed, s, 4));
    EXPECT_EQ(0, ArrayClip(s, 0, 0.0f, 0.0f));
}

TEST(ArrayFreqLimit, FillsOutsideTheOutwardRoundedBandThroughLastLine)
{
    auto limit = [](float low, float high) {
        return Written<float>(12, [=](float* a) { ArrayFreqLimit(a, low, high, 10.0f, 10, 1.0f); });
    };
    EXPECT_EQ("............", limit(0.0f, 0.0f));
    // 25 Hz rounds down to line 2, 45 Hz up to line 5; lastLine 10 is included.
    EXPECT_EQ("xx....xxxxx.", limit(25.0f, 45.0f));
    EXPECT_EQ("......xxxxx.", limit(0.0f, 45.0f));     // nothing below a band from 0 Hz
    EXPECT_EQ("xxxxxxxxxxx.", limit(500.0f, 600.0f));  // band above the array
    float a[11];
    ArrayFreqLimit(a, 500.0f, 600.0f, 10.0f, 10, -0.0f);
    EXPECT_TRUE(SameBits(-0.0f, a[0]));  // stored as given

    complex m[4] = {{3.0f, 4.0f}, {1.0f, 1.0f}, {1.0f, 1.0f}, {0.0f, -2.0f}};
    ArrayFreqLimitMag(m, 1.0f, 2.0f, 1.0f, 3, 10.0f);  // magnitude 10, phase kept
    EXPECT_TRUE(m[0].re == 6.0f && m[3].im == -10.0f && m[2].im == 1.0f);
}

TEST(ArrayScale, ScalesInPlaceLikeOutOfPlaceAndByDecibels)
{
    std::vector<float> v = numora_test::RandomFloats(37, 5u);
    std::vector<float> out(37);
    std::vector<float> inPlace = v;
    ArrayScale(out.data(), v.data(), 37, 0.3f);
    ArrayScale(inPlace.data(), 37, 0.3f);
    EXPECT_TRUE(BitEqual(out.data(), inPlace.data(), 37));

    // The exponent is divided in float and raised in double.
    const float s = static_cast<float>(std::pow(10.0, static_cast<double>(-6.0f / 20.0f)));
    std::vector<float> power(37);
    inPlace = v;
    ArrayScaleDB(inPlace.data(), inPlace.data(), 37, -6.0f);
    ArrayScaleDBPower(power.data(), v.data(), 37, 10.0f);
    for (int i = 0; i < 37; ++i) {
        ASSERT_TRUE(SameBits(s * v[i], inPlace[i])) << i;
        ASSERT_TRUE(SameBits(10.0f * v[i], power[i])) << i;
    }
}

TEST(ArrayNormalize, ScalesToThePeakAndReportsTheFactor)
{
    float zero[3] = {0.0f, -0.0f, 0.0f};
    EXPECT_EQ(0.0f, ArrayNormalize(zero, 3, 1.0f));
    EXPECT_TRUE(SameBits(-0.0f, zero[1]));

    float a[3] = {1.0f, -4.0f, 3.0f};
    EXPECT_EQ(0.5f, ArrayNormalize(a, 3, 2.0f));
    const float expected[3] = {0.5f, -2.0f, 1.5f};
    EXPECT_TRUE(BitEqual(expected, a, 3));
    double d[2] = {-1.0, 8.0};
    EXPECT_EQ(0.0, ArrayNormalize(d, 2, 0.0));  // a zero target still scales
    EXPECT_EQ(0.0, d[1]);

    double dinv[3] = {-2.0, 0.0, 4.0};
    EXPECT_EQ(0.25, ArrayNormalizeInv(dinv, 3, 1.0));
    const double mirrored[3] = {1.5, 1.0, 0.0};
    EXPECT_TRUE(BitEqual(mirrored, dinv, 3));
}

TEST(ArrayIndexIncLoop, WrapsAroundTheRing)
{
    int i = 7;
    int j = 7;
    int k = 1;
    ArrayIndexIncLoop(i, 8);
    ArrayIndexIncLoop(j, 8, 3);
    ArrayIndexIncLoop(k, 4, 10);  // several turns at once
    EXPECT_TRUE(i == 0 && j == 2 && k == 3);
    ArrayIndexIncLoop(k, 0, 1);
    ArrayIndexIncLoop(k, 0);
    EXPECT_EQ(3, k);
}

}  // namespace
