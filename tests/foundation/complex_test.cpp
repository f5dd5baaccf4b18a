#include "numora/foundation/complex.h"

#include <cmath>
#include <vector>

#include "tests/support/support.h"

namespace {

using numora_test::BitEqual;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;
using numora_test::SameBits;
using namespace qv::math;

float* Floats(complex* a) { return reinterpret_cast<float*>(a); }

// Bit-exact comparison of both parts, so that the sign of zero counts.
bool Same(complexd z, double re, double im) { return SameBits(z.re, re) && SameBits(z.im, im); }

TEST(ComplexArithmetic, FollowsTheFormulasAndSignsOfZero)
{
    const complexd a{1.0, 2.0}, b{3.0, 4.0};
    EXPECT_TRUE(Same(a * b, -5.0, 10.0));
    EXPECT_TRUE(Same(a / b, 0.44, 0.08));
    // Two divisions: a product with 1/10 would give 0.30000000000000004.
    complexd q{3.0, 7.0};
    EXPECT_TRUE(Same(q / 10.0, 0.3, 0.7));
    q /= 10.0;
    EXPECT_TRUE(Same(q, 0.3, 0.7));

    EXPECT_TRUE(Same(-complexd{0.0, -0.0}, 0.0, 0.0));
    EXPECT_TRUE(Same(ComplexConj(complexd{1.0, 0.0}), 1.0, -0.0));
    EXPECT_TRUE((complexd{0.0, 0.0} == complexd{-0.0, 0.0}));
    EXPECT_FALSE((complexd{NAN, 0.0} == complexd{NAN, 0.0}));

    // The principal root, real part never negative.
    EXPECT_TRUE(Same(ComplexSqrt(complexd{-4.0, 0.0}), 0.0, 2.0));
    EXPECT_TRUE(Same(ComplexSqrt(complexd{-4.0, -0.0}), 0.0, 2.0));
    EXPECT_TRUE(Same(ComplexSqrt(complexd{3.0, -4.0}), 2.0, -1.0));
    EXPECT_TRUE(Same(ComplexSqr(complexd{2.0, -1.0}), 3.0, -4.0));

    complex c{1.0f, 2.0f}, d{3.0f, 4.0f};
    ComplexTrans(c, c, d);  // d times the conjugate of c, in place
    EXPECT_TRUE(c.re == 11.0f && c.im == -2.0f);
}

TEST(ComplexEval, UsesLowestPowerFirstAndHandlesDegenerateDegrees)
{
    complexd c[3] = {{1.0, 0.0}, {2.0, 0.0}, {3.0, 0.0}};
    EXPECT_TRUE(Same(ComplexEval(c, 2, complexd{0.0, 1.0}), -2.0, 2.0));
    // A negative degree reads nothing, so a null pointer is fine.
    EXPECT_TRUE(Same(ComplexEval(nullptr, -1, complexd{5.0, 3.0}), 0.0, 0.0));
    // (z + 1) / (z - 1) at 2j = (3 - 4j) / 5.
    complexd num[2] = {{1.0, 0.0}, {1.0, 0.0}}, den[2] = {{-1.0, 0.0}, {1.0, 0.0}};
    EXPECT_TRUE(Same(ComplexEvaluate(num, 1, den, 1, complexd{0.0, 2.0}), 0.6, -0.8));
}

TEST(ComplexMagAndPhase, WorkInTheirPrecisionAndGiveZeroPhaseForZero)
{
    complex big{1e20f, 0.0f};
    EXPECT_TRUE(std::isinf(ComplexMag(big)));  // 1e40 overflows the float sum
    EXPECT_TRUE(std::isinf(ComplexMagSqr(big)));

    complex zero{-0.0f, -0.0f};  // atan2 alone would give -180 here
    EXPECT_TRUE(SameBits(0.0f, ComplexPhase(zero)));
    EXPECT_TRUE(SameBits(0.0, ComplexPhase(-0.0, -0.0)));
    complex left{-1.0f, -0.0f};
    EXPECT_EQ(-180.0f, ComplexPhase(left));
    EXPECT_DOUBLE_EQ(180.0, ComplexPhase(-1.0, 0.0));
    EXPECT_EQ(static_cast<float>(std::atan2(1.0, -1.0)), ComplexAtan2(complex{-1.0f, 1.0f}));
}

TEST(ComplexMagInput, ResetsPhaselessValuesAndRoundsThePhaseToFloat)
{
    complex tiny{3.3e-38f, -3.3e-38f};  // both parts below the threshold
    ComplexMagInput(tiny, 5.0);
    EXPECT_TRUE(SameBits(5.0f, tiny.re) && SameBits(0.0f, tiny.im));
    complex up{0.0f, 3.5e-38f};  // one part above it keeps its phase
    ComplexMagInput(up, 5.0);
    EXPECT_TRUE(std::fabs(up.re) < 1e-6f && up.im == 5.0f);

    // Near 90 degrees the cosine shows whether the phase went through float.
    complex w{0.001f, 1.0f};
    const float phase = static_cast<float>(std::atan2(1.0, static_cast<double>(0.001f)));
    const double theta = static_cast<double>(phase);
    ComplexMagInput(w, 2.5);
    EXPECT_TRUE(SameBits(static_cast<float>(std::cos(theta) * 2.5), w.re));

    complex p{3.0f, 4.0f};
    ComplexPhaseInput(p, 90.0);
    EXPECT_TRUE(std::fabs(p.re) < 1e-6f && p.im == 5.0f);
}

TEST(ComplexArrays, InvertAndScaleInFloatAlsoInPlace)
{
    complex in[5] = {{3.0f, 4.0f}, {0.0f, 0.0f}, {1e-30f, 0.0f}, {NAN, 1.0f}, {-0.5f, 0.25f}};
    complex out[5];
    ComplexInvertArray(out, in, 5);
    EXPECT_TRUE(SameBits(3.0f / 25.0f, out[0].re) && SameBits(-4.0f / 25.0f, out[0].im));
    // Zero, squares underflowing in float, and NaN all invert to +0.
    const float zeros[6] = {};
    EXPECT_TRUE(BitEqual(zeros, Floats(out + 1), 6));
    ComplexInvertArray(in, in, 5);
    EXPECT_TRUE(BitEqual(Floats(out), Floats(in), 10));

    ComplexScaleArray(out, in, 0.1f, 5);
    ComplexScaleArray(in, in, 0.1f, 5);
    EXPECT_TRUE(BitEqual(Floats(out), Floats(in), 10));

    FillSentinel(Floats(out), 10);
    ComplexInvertArray(out, in, 0);
    ComplexScaleArray(out, in, 2.0f, -1);
    EXPECT_TRUE(HoldsSentinel(Floats(out), 10));
}

TEST(ComplexInitArrayDelay, GivesUnitPhasorsOfTheDelay)
{
    // Each angle loses its whole turns (a 32-bit count, INT32_MIN when out of
    // range) before cos and sin; both show in the results of long delays.
    complex out[7];
    const float delays[3] = {1000.3f, 1.2e9f, 3e10f};
    for (const float delay : delays) {
        ComplexInitArrayDelay(out, delay, 7);
        const double step = static_cast<double>(delay) * 3.141592653589793 / 7.0;
        for (int i = 0; i < 7; ++i) {
            const double a = i * step;
            const double q = a / 6.283185307179586;
            const double turns = q < 2147483648.0 ? std::trunc(q) : -2147483648.0;
            const double x = a - turns * 6.283185307179586;
            EXPECT_TRUE(SameBits(static_cast<float>(std::cos(x)), out[i].re)) << delay << " " << i;
            EXPECT_TRUE(SameBits(static_cast<float>(std::sin(x)), out[i].im)) << delay << " " << i;
        }
    }
    FillSentinel(Floats(out), 4);
    ComplexInitArrayDelay(out, 1.0f, 0);
    EXPECT_TRUE(HoldsSentinel(Floats(out), 4));
}

TEST(ComplexArrayMax, KeepsLowestIndexAndHonoursTheRange)
{
    complex a[5] = {{1.0f, 0.0f}, {0.0f, 3.0f}, {-3.0f, 0.0f}, {2.0f, 2.0f}, {0.5f, 0.5f}};
    int index = -7;
    float imag = 0.0f, real = 0.0f;
    ComplexArrayMax(a, 5, index, imag, real, -1, -1);
    EXPECT_TRUE(index == 1 && imag == 3.0f && real == 0.0f);
    ComplexArrayMax(a, 5, index, imag, real, 2, 4);
    EXPECT_TRUE(index == 2 && imag == 0.0f && real == -3.0f);
    ComplexArrayMax(a, 5, index, imag, real, 4, 1);  // first > last: element first
    EXPECT_TRUE(index == 4 && imag == 0.5f);
    ComplexArrayMax(a, 0, index, imag, real, -1, -1);
    EXPECT_EQ(4, index);
}

TEST(ComplexUnwrapPhase, CorrectsOnePeriodPerStepFromCorrectedValues)
{
    float in[3] = {170.0f, -170.0f, -150.0f};
    float out[3];
    ComplexUnwrapPhase(in, out, 3, qv::UnitAngleDegrees);
    const float expected[3] = {170.0f, 190.0f, 210.0f};
    EXPECT_TRUE(BitEqual(expected, out, 3));
    EXPECT_EQ(1, ComplexUnwrapPhase(in, 3, qv::UnitAngleDegrees));
    EXPECT_TRUE(BitEqual(expected, in, 3));

    // 340, then 350 against the corrected -10; 180 exactly stays; jumps of
    // -900 and 900 are corrected by one period each.
    float p[6] = {10.0f, 350.0f, 700.0f, 880.0f, -20.0f, 880.0f};
    EXPECT_EQ(4, ComplexUnwrapPhase(p, 6, qv::UnitAngleDegrees));
    const float unwrapped[6] = {10.0f, -10.0f, -20.0f, 160.0f, -380.0f, 160.0f};
    EXPECT_TRUE(BitEqual(unwrapped, p, 6));

    EXPECT_EQ(0, ComplexUnwrapPhase(p + 1, 1, qv::UnitAngleDegrees));
}

TEST(ComplexUnwrapPhase, OverloadsReadUnitsDifferentlyButAgreeOnRadians)
{
    const qv::UnitAngle other = static_cast<qv::UnitAngle>(2);
    float in[2] = {0.0f, 4.0f};
    float out[2];
    ComplexUnwrapPhase(in, out, 2, other);  // radians: 4 > pi
    EXPECT_EQ(4.0f - 6.2831855f, out[1]);
    EXPECT_EQ(0, ComplexUnwrapPhase(in, 2, other));  // degrees: 4 < 180
    float edge[2] = {0.0f, 3.1415927f};  // exactly half a period stays
    EXPECT_EQ(0, ComplexUnwrapPhase(edge, 2, qv::UnitAngleRadians));

    std::vector<float> v = numora_test::RandomFloats(200, 11u), copied(200);
    for (float& x : v)
        x *= 4.5f;
    ComplexUnwrapPhase(v.data(), copied.data(), 200, qv::UnitAngleRadians);
    EXPECT_GT(ComplexUnwrapPhase(v.data(), 200, qv::UnitAngleRadians), 10);
    EXPECT_TRUE(BitEqual(copied.data(), v.data(), 200));
}

}  // namespace
