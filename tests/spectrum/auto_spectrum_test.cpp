#include "numora/spectrum/auto_spectrum.h"

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "tests/support/support.h"

namespace {

using numora_test::BitEqual;
using qv::math::FFTtoAPS;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Typed tests run for each (spectrum, accumulator) pair.
template <typename P>
class AutoSpectrum : public ::testing::Test {};
using Pairs = ::testing::Types<std::pair<complex, float>, std::pair<complex_d, float>, std::pair<complex_d, double>>;
TYPED_TEST_SUITE(AutoSpectrum, Pairs);

template <typename Cplx>
std::vector<Cplx> Frame(std::initializer_list<std::pair<double, double>> lines)
{
    std::vector<Cplx> frame;
    for (const auto& line : lines)
        frame.push_back({static_cast<decltype(Cplx::re)>(line.first), static_cast<decltype(Cplx::im)>(line.second)});
    return frame;
}

// Reference powers and weighted updates, with each pair's rounding points written out.
float RefPower(const complex& c) { const float rr = c.re * c.re, ii = c.im * c.im; return rr + ii; }
double RefPower(const complex_d& c) { return c.re * c.re + c.im * c.im; }
float RefBlend(const complex& c, float old, int frames)
{
    const float product = RefPower(c) * static_cast<float>(1.0 / frames);
    return static_cast<float>(static_cast<double>(product) + static_cast<double>(old) * (1.0 - 1.0 / frames));
}
template <typename Real>
Real RefBlend(const complex_d& c, Real old, int frames)
{
    return static_cast<Real>(RefPower(c) * (1.0 / frames) + static_cast<double>(old) * (1.0 - 1.0 / frames));
}

TYPED_TEST(AutoSpectrum, AveragingModesFollowTheirReferenceFrameByFrame)
{
    using Cplx = typename TypeParam::first_type;
    using Real = typename TypeParam::second_type;
    const int n = 16, frames = 6;
    for (auto mode : {QV_AVG_LINEAR0, QV_AVG_LINEAR, QV_AVG_LINEAR7, QV_AVG_EXPONENTIAL, QV_AVG_PEAK_HOLD}) {
        std::vector<Real> aps(n, static_cast<Real>(kNaN)), ref(n);
        std::vector<double> total(n, 0.0);
        for (int k = 1; k <= frames; ++k) {
            const std::vector<double> v = numora_test::RandomDoubles(2 * n, 40u + static_cast<uint32_t>(k));
            std::vector<Cplx> f(n);
            for (int i = 0; i < n; ++i) {
                f[i] = Frame<Cplx>({{3 * v[2 * i], 3 * v[2 * i + 1]}})[0];
                const auto p = RefPower(f[i]);
                total[i] += static_cast<double>(p);
                if (k == 1 || (mode == QV_AVG_PEAK_HOLD && p > static_cast<decltype(p)>(ref[i])))
                    ref[i] = static_cast<Real>(p);
                else if (mode != QV_AVG_PEAK_HOLD)
                    ref[i] = RefBlend(f[i], ref[i], mode == QV_AVG_EXPONENTIAL ? 5 : k);
            }
            FFTtoAPS(f.data(), aps.data(), n, mode, k, 5, static_cast<Real*>(nullptr));
            ASSERT_TRUE(BitEqual(ref.data(), aps.data(), n)) << "mode " << mode << ", frame " << k;
        }
        const bool linear = mode == QV_AVG_LINEAR0 || mode == QV_AVG_LINEAR || mode == QV_AVG_LINEAR7;
        for (int i = 0; linear && i < n; ++i)  // the running mean is the plain mean of the frames
            EXPECT_NEAR(total[i] / frames, static_cast<double>(aps[i]), 1e-5 * total[i]);
    }
}

TYPED_TEST(AutoSpectrum, ExponentialModeWeighsLaterFramesByExpFrames)
{
    using Real = typename TypeParam::second_type;
    auto f = Frame<typename TypeParam::first_type>({{2, 2}, {1, 0}, {4, 0}, {0, 3}});
    const Real blended[] = {9, 2}, replaced[] = {16, 9};  // 0.125 * (16, 9) + 0.875 * (8, 1)
    for (int expFrames : {8, 1, 0, -3}) {
        std::vector<Real> aps(2, static_cast<Real>(kNaN));
        FFTtoAPS(f.data(), aps.data(), 2, QV_AVG_EXPONENTIAL, 1, expFrames, static_cast<Real*>(nullptr));
        FFTtoAPS(f.data() + 2, aps.data(), 2, QV_AVG_EXPONENTIAL, 2, expFrames, static_cast<Real*>(nullptr));
        EXPECT_TRUE(BitEqual(expFrames == 8 ? blended : replaced, aps.data(), 2)) << "expFrames " << expFrames;
    }
}

TYPED_TEST(AutoSpectrum, FrameNumberBelowTwoStartsAFreshAverageInEveryMode)
{
    using Real = typename TypeParam::second_type;
    auto f = Frame<typename TypeParam::first_type>({{1, 2}, {3, 0}, {0, 2}, {2, 2}});
    const Real powers[] = {5, 9, 4, 8};
    const Real scores[] = {9, 18, static_cast<Real>(std::sqrt(21.0))};  // max, sum of lines 0-2, band 1-3
    for (int mode = 0; mode < 8; ++mode) {
        for (int k : {1, 0, -4}) {
            std::vector<Real> aps(4, static_cast<Real>(kNaN));
            Real held = static_cast<Real>(1e30);
            FFTtoAPS(f.data(), aps.data(), 4, static_cast<QV_ACQFRAME_AVGMODE>(mode), k, 8, &held);
            EXPECT_TRUE(BitEqual(powers, aps.data(), 4)) << "mode " << mode << ", frame " << k;
            EXPECT_EQ(mode >= 4 && mode <= 6 ? scores[mode - 4] : static_cast<Real>(1e30), held);
        }
    }
}

TYPED_TEST(AutoSpectrum, HoldModesKeepOneWholeFrameAndTiesKeepTheEarlierOne)
{
    using Cplx = typename TypeParam::first_type;
    using Real = typename TypeParam::second_type;
    std::vector<std::vector<Cplx>> frames = {
        Frame<Cplx>({{0, 0}, {2, 0}, {0, 2}, {0, 0}}),     // powers 0 4 4 0: max 4, sum 8, band sqrt 8
        Frame<Cplx>({{3, 0}, {0, 0}, {0, 0}, {0, 0}}),     // 9 0 0 0: max 9, sum 9, band 0
        Frame<Cplx>({{0, 0}, {0, 0}, {0, 0}, {0, 4}}),     // 0 0 0 16: max 0, sum 0, band 4
        Frame<Cplx>({{2, 0}, {0, 2}, {2, 0}, {0, 0}}),     // 4 4 4 0: max 4, sum 12, band sqrt 8
        Frame<Cplx>({{3, 0}, {1, 0}, {1, 1}, {3, 2}}),     // 9 1 2 13: ties 9, 12 and 4
        Frame<Cplx>({{0, 0}, {kNaN, 0}, {0, 0}, {0, 0}})};  // NaN never wins
    const struct {
        QV_ACQFRAME_AVGMODE mode;
        Real aps[4];
        Real held;
    } cases[] = {{QV_AVG_PEAK_HOLD, {9, 4, 4, 16}, -1}, {QV_AVG_HOLD_MAX_LINE, {9, 0, 0, 0}, 9},
                 {QV_AVG_HOLD_MAX_POWER, {4, 4, 4, 0}, 12}, {QV_AVG_HOLD_MAX_BAND3, {0, 0, 0, 16}, 4}};
    for (const auto& c : cases) {
        std::vector<Real> aps(4);
        Real held = -1;
        for (int k = 1; k <= 6; ++k)
            FFTtoAPS(frames[k - 1].data(), aps.data(), 4, c.mode, k, 0, &held);
        EXPECT_TRUE(BitEqual(c.aps, aps.data(), 4)) << "mode " << c.mode;
        EXPECT_EQ(c.held, held) << "mode " << c.mode;
    }
}

TYPED_TEST(AutoSpectrum, InvalidModeOrEmptyFrameLeavesOutputsAlone)
{
    using Real = typename TypeParam::second_type;
    auto f = Frame<typename TypeParam::first_type>({{1, 1}, {2, 0}, {0, 3}, {1, 0}});
    Real aps[4], held[1];
    numora_test::FillSentinel(held, 1);
    for (int mode : {8, -1, INT_MIN, 0, 1, 2, 3}) {
        numora_test::FillSentinel(aps, 4);
        const bool valid = mode >= 0 && mode <= 3;
        FFTtoAPS(f.data(), aps, valid ? 0 : 4, static_cast<QV_ACQFRAME_AVGMODE>(mode), 2, 8, held);
        FFTtoAPS(f.data(), aps, valid ? -1 : 4, static_cast<QV_ACQFRAME_AVGMODE>(mode), 1, 8, held);
        EXPECT_TRUE(numora_test::HoldsSentinel(aps, 4) && numora_test::HoldsSentinel(held, 1)) << mode;
    }
}

TYPED_TEST(AutoSpectrum, FrameMeasuresLeaveOutTheLastLineAndBandsLeaveOutDc)
{
    using Cplx = typename TypeParam::first_type;
    using Power = decltype(qv::math::FFTPowerSum(static_cast<Cplx*>(nullptr), 0));
    auto last = Frame<Cplx>({{0, 0}, {0, 0}, {0, 0}, {3, 4}});
    auto dc = Frame<Cplx>({{-3, 0}, {0, 0}, {0, 0}, {0, 0}});
    auto nanDc = Frame<Cplx>({{kNaN, 0}, {0, 1}, {0, 0}, {0, 0}});
    auto shortFrame = Frame<Cplx>({{9, 9}, {0, 2}, {3, 4}});  // no band: larger of line 1 and the last
    const Power got[] = {qv::math::FFTPowerSum(last.data(), 4), qv::math::FFTPowerMax(last.data(), 4),
                         qv::math::FFTPowerMaxZMOD(last.data(), 4), qv::math::FFTPowerSum(dc.data(), 4),
                         qv::math::FFTPowerMax(dc.data(), 4), qv::math::FFTPowerMaxZMOD(dc.data(), 4),
                         qv::math::FFTPowerMax(nanDc.data(), 4), qv::math::FFTPowerMaxZMOD(shortFrame.data(), 2),
                         qv::math::FFTPowerMaxZMOD(shortFrame.data(), 3), qv::math::FFTPowerSum(dc.data(), 1),
                         qv::math::FFTPowerMax(dc.data(), 0), qv::math::FFTPowerMaxZMOD(dc.data(), 1)};
    const Power want[] = {0, 0, 5, 9, 9, 0, 1, 2, 5, 0, 0, 0};
    EXPECT_TRUE(BitEqual(want, got, 12));
    EXPECT_TRUE(std::isnan(qv::math::FFTPowerSum(nanDc.data(), 4)));
}

TEST(AutoSpectrumPrecision, FloatSpectrumRoundsInFloatWhereDoubleSpectrumDoesNot)
{
    // (1 + 2^-12)^2 + (2^-12)^2 = 1 + 2^-11 + 2^-23; in float each step drops a 2^-24 (tie to even).
    const double re = 1 + std::ldexp(1.0, -12), tiny = std::ldexp(1.0, -12);
    complex cf = {static_cast<float>(re), static_cast<float>(tiny)};
    complex_d cd = {re, tiny};
    float fromFloat = 0, fromDouble = 0;
    FFTtoAPS(&cf, &fromFloat, 1, 1);
    FFTtoAPS(&cd, &fromDouble, 1, 1);
    EXPECT_EQ(static_cast<float>(1 + std::ldexp(1.0, -11)), fromFloat);
    EXPECT_EQ(static_cast<float>(1 + std::ldexp(1.0, -11) + std::ldexp(1.0, -23)), fromDouble);
    // A float running sum absorbs each 2^-24 into 1; the double sum keeps both.
    complex sf[] = {{1, 0}, {static_cast<float>(tiny), 0}, {static_cast<float>(tiny), 0}, {0, 0}};
    complex_d sd[] = {{1, 0}, {tiny, 0}, {tiny, 0}, {0, 0}};
    EXPECT_EQ(1.0f, qv::math::FFTPowerSum(sf, 4));
    EXPECT_EQ(1 + std::ldexp(1.0, -23), qv::math::FFTPowerSum(sd, 4));
    // A double score a hair above the float held value wins, though it rounds back to it.
    complex_d first[] = {{0, 0}, {2, 0}, {0, 0}, {0, 0}};
    complex_d above[] = {{0, 0}, {0, 0}, {2 + std::ldexp(1.0, -40), 0}, {0, 0}};
    float aps[4];
    const float held = qv::math::FFTtoAPS_Line(above, aps, 4, 2, qv::math::FFTtoAPS_Line(first, aps, 4, 1, 0.0f));
    const float replaced[] = {0, 0, 4, 0};
    EXPECT_TRUE(BitEqual(replaced, aps, 4));
    EXPECT_EQ(4.0f, held);
}

}  // namespace
