#include "numora/foundation/complex.h"

#include <cmath>

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
    // Two divisions: a product with 1/10 would give 0.30000000000000004.
    EXPECT_TRUE(Same(complexd{3.0, 7.0} / 10.0, 0.3, 0.7));
    EXPECT_TRUE(Same(complexd{1.0, 2.0} / complexd{3.0, 4.0}, 0.44, 0.08));
    EXPECT_TRUE(Same(-complexd{0.0, -0.0}, 0.0, 0.0));
    EXPECT_TRUE(Same(ComplexConj(complexd{1.0, 0.0}), 1.0, -0.0));
    // The principal root, real part never negative.
    EXPECT_TRUE(Same(ComplexSqrt(complexd{-4.0, -0.0}), 0.0, 2.0));
    complex c{1.0f, 2.0f}, d{3.0f, 4.0f};
    ComplexTrans(c, c, d);  // d times the conjugate of c, in place
    EXPECT_TRUE(c.re == 11.0f && c.im == -2.0f);

    // Polynomials: lowest power first; a negative degree reads nothing.
    complexd p[3] = {{1.0, 0.0}, {2.0, 0.0}, {3.0, 0.0}};
    EXPECT_TRUE(Same(ComplexEval(p, 2, complexd{0.0, 1.0}), -2.0, 2.0));
    EXPECT_TRUE(Same(ComplexEval(nullptr, -1, complexd{5.0, 3.0}), 0.0, 0.0));
}

TEST(ComplexMagAndPhase, WorkInTheirPrecisionAndGiveZeroPhaseForZero)
{
    complex big{1e20f, 0.0f}, zero{-0.0f, -0.0f}, tiny{3.3e-38f, -3.3e-38f}, w{0.001f, 1.0f};
    EXPECT_TRUE(std::isinf(ComplexMag(big)));         // 1e40 overflows the float sum
    EXPECT_TRUE(SameBits(0.0f, ComplexPhase(zero)));  // atan2 alone would give -180

    ComplexMagInput(tiny, 5.0);  // both parts below the threshold: no phase
    EXPECT_TRUE(SameBits(5.0f, tiny.re) && SameBits(0.0f, tiny.im));
    // Near 90 degrees the cosine shows whether the phase went through float.
    const double theta = static_cast<double>(static_cast<float>(std::atan2(1.0, static_cast<double>(0.001f))));
    ComplexMagInput(w, 2.5);
    EXPECT_TRUE(SameBits(static_cast<float>(std::cos(theta) * 2.5), w.re));
}

TEST(ComplexArrays, InvertInFloatAlsoInPlaceAndEmptyLeavesOutputs)
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

    int index = 3;
    FillSentinel(Floats(out), 10);
    ComplexInvertArray(out, in, 0);
    ComplexScaleArray(out, in, 2.0f, -1);
    ComplexInitArrayDelay(out, 1.0f, 0);
    ComplexArrayMax(in, 0, index, out[0].im, out[0].re, -1, -1);
    EXPECT_TRUE(HoldsSentinel(Floats(out), 10) && index == 3);
}

TEST(ComplexInitArrayDelay, ReducesWholeTurnsWithA32BitCount)
{
    // Element 1 has 2.14e9 whole turns; from element 2 on the count is beyond
    // 32 bits and becomes INT32_MIN.
    complex out[7];
    ComplexInitArrayDelay(out, 3e10f, 7);
    for (int i = 0; i < 7; ++i) {
        const double a = i * (static_cast<double>(3e10f) * 3.141592653589793 / 7.0), q = a / 6.283185307179586;
        const double x = a - (q < 2147483648.0 ? std::trunc(q) : -2147483648.0) * 6.283185307179586;
        EXPECT_TRUE(SameBits(static_cast<float>(std::cos(x)), out[i].re) &&
                    SameBits(static_cast<float>(std::sin(x)), out[i].im)) << i;
    }
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
}

TEST(ComplexUnwrapPhase, CorrectsOnePeriodPerStepAndOverloadsReadUnitsDifferently)
{
    // 340, then 350 against the corrected -10; 180 exactly stays; jumps of
    // -900 and 900 are corrected by one period each.
    float p[6] = {10.0f, 350.0f, 700.0f, 880.0f, -20.0f, 880.0f}, copied[6];
    ComplexUnwrapPhase(p, copied, 6, qv::UnitAngleDegrees);
    EXPECT_EQ(4, ComplexUnwrapPhase(p, 6, qv::UnitAngleDegrees));
    const float unwrapped[6] = {10.0f, -10.0f, -20.0f, 160.0f, -380.0f, 160.0f};
    EXPECT_TRUE(BitEqual(unwrapped, p, 6) && BitEqual(unwrapped, copied, 6));

    float in[2] = {0.0f, 4.0f}, out[2];
    ComplexUnwrapPhase(in, out, 2, static_cast<qv::UnitAngle>(2));  // radians: 4 > pi
    EXPECT_EQ(4.0f - 6.2831855f, out[1]);
    EXPECT_EQ(0, ComplexUnwrapPhase(in, 2, static_cast<qv::UnitAngle>(2)));  // degrees: 4 < 180
}

}  // namespace
