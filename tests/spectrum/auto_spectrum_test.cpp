#include "numora/spectrum/auto_spectrum.h"

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "tests/support/support.h"

namespace {

using numora_test::BitEqual;
using namespace qv::math;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Typed tests run for each (spectrum, accumulator) pair.
template <typename P>
class AutoSpectrum : public ::testing::Test {};
using Pairs = ::testing::Types<std::pair<complex, float>, std::pair<complex_d, float>, std::pair<complex_d, double>>;
TYPED_TEST_SUITE(AutoSpectrum, Pairs);

// A frame from flat (re, im) values.
template <typename Cplx>
std::vector<Cplx> Frame(std::vector<double> v)
{
    std::vector<Cplx> frame;
    for (size_t i = 0; i + 1 < v.size(); i += 2)
        frame.push_back({static_cast<decltype(Cplx::re)>(v[i]), static_cast<decltype(Cplx::re)>(v[i + 1])});
    return frame;
}

// Reference line powers, with each spectrum type's rounding points written out.
float RefPower(const complex& c) { const float rr = c.re * c.re, ii = c.im * c.im; return rr + ii; }
double RefPower(const complex_d& c) { return c.re * c.re + c.im * c.im; }

TYPED_TEST(AutoSpectrum, AveragingModesFollowTheirReferenceFrameByFrame)
{
    using Cplx = typename TypeParam::first_type;
    using Real = typename TypeParam::second_type;
    const int n = 16;
    for (auto mode : {QV_AVG_LINEAR0, QV_AVG_LINEAR, QV_AVG_LINEAR7, QV_AVG_EXPONENTIAL}) {
        std::vector<Real> aps(n, static_cast<Real>(kNaN)), ref(n);
        for (int k = 1; k <= 6; ++k) {
            std::vector<Cplx> f = Frame<Cplx>(numora_test::RandomDoubles(2 * n, static_cast<unsigned>(40 + k)));
            const int frames = mode == QV_AVG_EXPONENTIAL ? 5 : k;
            for (int i = 0; i < n; ++i) {  // P / frames in the power's precision, the blend in double
                const auto p = RefPower(f[i]);
                const double part = static_cast<double>(p * static_cast<decltype(p)>(1.0 / frames));
                ref[i] = k == 1 ? static_cast<Real>(p)
                                : static_cast<Real>(part + static_cast<double>(ref[i]) * (1.0 - 1.0 / frames));
            }
            FFTtoAPS(f.data(), aps.data(), n, mode, k, 5, static_cast<Real*>(nullptr));
            ASSERT_TRUE(BitEqual(ref.data(), aps.data(), n)) << "mode " << mode << ", frame " << k;
        }
    }
}

TYPED_TEST(AutoSpectrum, FirstFrameReplacesAndInvalidArgumentsWriteNothing)
{
    using Real = typename TypeParam::second_type;
    auto f = Frame<typename TypeParam::first_type>({1, 2, 3, 0, 0, 2, 2, 2});
    // Line powers, then the measures max and sum of lines 0-2 and band 1-3.
    Real powers[] = {5, 9, 4, 8}, sentinel[4], scores[] = {9, 18, static_cast<Real>(std::sqrt(21.0))};
    numora_test::FillSentinel(sentinel, 4);
    for (int mode : {0, 1, 2, 3, 4, 5, 6, 7, 8, -1, std::numeric_limits<int>::min()}) {
        const auto m = static_cast<QV_ACQFRAME_AVGMODE>(mode);
        for (int k : {1, 0, -4}) {
            Real aps[4], held = static_cast<Real>(1e30);
            numora_test::FillSentinel(aps, 4);
            FFTtoAPS(f.data(), aps, k - 1, m, 2, 8, &held);  // no lines: nothing written
            EXPECT_TRUE(BitEqual(sentinel, aps, 4)) << "mode " << mode;
            // Exponential mode also replaces on a later frame when expFrames < 2.
            FFTtoAPS(f.data(), aps, 4, m, mode == 2 ? 2 : k, mode == 2 ? k : 8, &held);
            EXPECT_TRUE(BitEqual(mode >= 0 && mode <= 7 ? powers : sentinel, aps, 4)) << mode << ", " << k;
            EXPECT_EQ(mode >= 4 && mode <= 6 ? scores[mode - 4] : static_cast<Real>(1e30), held);
        }
    }
}

TYPED_TEST(AutoSpectrum, HoldModesKeepOneWholeFrameAndTiesKeepTheEarlierOne)
{
    using Cplx = typename TypeParam::first_type;
    using Real = typename TypeParam::second_type;
    // Six frames of four lines, with their powers, max (lines 0-2), sum (lines 0-2) and band:
    // 0 4 4 0: 4, 8, sqrt 8 | 9 0 0 0: 9, 9, 0 | 0 0 0 16: 0, 0, 4 | 4 4 4 0: 4, 12, sqrt 8 |
    // 9 1 2 13: ties 9, 12 and 4 | a NaN line 1, which never wins.
    auto f = Frame<Cplx>({0, 0, 2, 0, 0, 2, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4,
                          2, 0, 0, 2, 2, 0, 0, 0, 3, 0, 1, 0, 1, 1, 3, 2, 0, 0, kNaN, 0, 0, 0, 0, 0});
    const Real want[4][5] = {{9, 4, 4, 16, -1}, {9, 0, 0, 0, 9}, {4, 4, 4, 0, 12}, {0, 0, 0, 16, 4}};
    for (int mode = 3; mode <= 6; ++mode) {  // peak hold, then the three whole-frame holds
        Real out[5] = {0, 0, 0, 0, -1};      // aps, then the held measure
        for (int k = 1; k <= 6; ++k)
            FFTtoAPS(f.data() + 4 * (k - 1), out, 4, static_cast<QV_ACQFRAME_AVGMODE>(mode), k, 0, out + 4);
        EXPECT_TRUE(BitEqual(want[mode - 3], out, 5)) << "mode " << mode;
    }
}

TYPED_TEST(AutoSpectrum, FrameMeasuresNaNRulesShortFramesAndFloatSum)
{
    using Cplx = typename TypeParam::first_type;
    auto nan = Frame<Cplx>({kNaN, 0, 0, 1, kNaN, 0, 0, 0, 0, 0});  // NaN at DC and line 2
    auto lines = Frame<Cplx>({9, 9, 0, 2, 3, 4, 1, 0, 0x1p-12, 0, 0x1p-12, 0, 0, 0});
    using Power = decltype(FFTPowerSum(nan.data(), 0));
    EXPECT_EQ(Power{1}, FFTPowerMax(nan.data(), 5));       // never NaN
    EXPECT_EQ(Power{1}, FFTPowerMaxZMOD(nan.data(), 5));   // a NaN band never wins
    // The sum takes the NaN in; a NaN line 1 stays the result of the band measure.
    EXPECT_TRUE(std::isnan(FFTPowerSum(nan.data(), 5)) && std::isnan(FFTPowerMaxZMOD(nan.data() + 1, 4)));
    EXPECT_EQ(Power{2}, FFTPowerMaxZMOD(lines.data(), 2));  // line 1 alone, DC left out
    EXPECT_EQ(Power{5}, FFTPowerMaxZMOD(lines.data(), 3));  // no band: line 1 or the last
    EXPECT_EQ(Power{0}, FFTPowerMaxZMOD(static_cast<Cplx*>(nullptr), 1));  // the frame is not read
    // A float running sum absorbs each 2^-24 into 1; a double one keeps both.
    EXPECT_EQ(sizeof(Power) == 4 ? 1.0 : 1 + 0x1p-23, static_cast<double>(FFTPowerSum(lines.data() + 3, 4)));
}

TEST(AutoSpectrumPrecision, DoubleScoreIsComparedWithTheWidenedFloatHeldValue)
{
    // The second frame's score 4 + 2^-38 wins, though it rounds back to the held 4.
    complex_d first[] = {{0, 0}, {2, 0}, {0, 0}, {0, 0}}, above[] = {{0, 0}, {0, 0}, {2 + 0x1p-40, 0}, {0, 0}};
    float aps[4];
    const float held = FFTtoAPS_Line(above, aps, 4, 2, FFTtoAPS_Line(first, aps, 4, 1, 0.0f));
    EXPECT_TRUE(aps[1] == 0.0f && aps[2] == 4.0f && held == 4.0f);
}

}  // namespace
