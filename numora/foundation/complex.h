#pragma once

#include "numora/foundation/export.h"
#include "numora/foundation/records.h"

// Complex arithmetic: the operators of complexd, magnitude and phase of the
// float and double records, polynomial evaluation for filter design, phase
// unwrapping and the few whole-array operations on complex spectra.
// Phases are in degrees unless a name carries Atan2 or the suffix R.

// Sum, part by part.
NUMORA_API complexd operator+(complexd a, complexd b);
// Difference, part by part.
NUMORA_API complexd operator-(complexd a, complexd b);
// Negation as (0 - re, 0 - im).
// precision: a zero part stays +0.0 (unlike ComplexConj's sign flip).
NUMORA_API complexd operator-(complexd a);
// Product: (a.re*b.re - a.im*b.im, a.re*b.im + a.im*b.re).
NUMORA_API complexd operator*(complexd a, complexd b);
// Real scaling: (k*a.re, k*a.im).
NUMORA_API complexd operator*(double k, complexd a);
// Division by a real.
// precision: two divisions, never a product with 1/k.
NUMORA_API complexd operator/(complexd a, double k);
// Division by a real, in place.
// precision: two divisions, never a product with 1/k.
NUMORA_API void operator/=(complexd& a, double k);
// Quotient with d = b.im^2 + b.re^2: ((a.im*b.im + a.re*b.re)/d, (a.im*b.re - a.re*b.im)/d).
// precision: no scaling against overflow; b = 0 gives the non-finite results of the divisions.
NUMORA_API complexd operator/(complexd a, complexd b);
// Exact equality of both parts (so -0.0 equals +0.0, and NaN equals nothing).
NUMORA_API bool operator==(complexd a, complexd b);

namespace qv {
namespace math {

// Magnitude: hypot(z.im, z.re).
NUMORA_API double ComplexHypot(complexd z);
// Argument in radians: atan2(z.im, z.re).
NUMORA_API double ComplexAtan2(complexd z);
// Unit phasor (cos x, sin x), x in radians.
NUMORA_API complexd ComplexExpj(double x);
// Square: (re^2 - im^2, re*im + im*re).
NUMORA_API complexd ComplexSqr(complexd z);
// Principal square root; the real part is never negative, and the imaginary
// part is negative only when z.im < 0 (so -0.0 gives a non-negative root).
NUMORA_API complexd ComplexSqrt(complexd z);
// Exponential: (cos(z.im)*e, sin(z.im)*e) with e = exp(z.re).
NUMORA_API complexd ComplexExp(complexd z);
// Conjugate by flipping the sign of the imaginary part (+0.0 becomes -0.0).
NUMORA_API complexd ComplexConj(complexd z);
// Value at z of the polynomial sum coeffs[i]*z^i, i = 0..degree, by Horner's rule.
// precision: accumulator starts at (0, 0), highest coefficient first, all in double.
// A negative degree gives (0, 0) and reads no coefficient.
NUMORA_API complexd ComplexEval(complexd* const coeffs, int degree, complexd z);
// Quotient num(z) / den(z) of two polynomials, by the formula of operator/.
// precision: the denominator is evaluated first; a zero denominator is not tested.
NUMORA_API complexd ComplexEvaluate(complexd* const num, int numDegree, complexd* const den,
                                    int denDegree, complexd z);

// Part-by-part sum into sum, in float.
NUMORA_API void ComplexAdd(complex* a, complex* b, complex* sum);
// Part-by-part sum into sum, in double.
NUMORA_API void ComplexAdd(complex_d* a, complex_d* b, complex_d* sum);
// Squared magnitude z.im^2 + z.re^2, in float.
NUMORA_API float ComplexMagSqr(complex& z);
// Squared magnitude z.im^2 + z.re^2, in double.
NUMORA_API double ComplexMagSqr(complex_d& z);
// Magnitude.
// precision: the sum of squares in float, the square root in double, rounded to float.
NUMORA_API float ComplexMag(complex& z);
// Magnitude sqrt(re^2 + im^2), in double.
NUMORA_API double ComplexMag(double re, double im);
// Phase in degrees; 0 when both parts are exactly zero.
// precision: atan2 on the parts widened to double, degrees in double, rounded to float.
NUMORA_API float ComplexPhase(complex& z);
// Phase in degrees of (re, im); 0 when both are exactly zero.
NUMORA_API double ComplexPhase(double re, double im);
// Phase in radians: atan2(z.im, z.re).
NUMORA_API double ComplexPhaseR(complex_d& z);
// Phase in radians.
// precision: atan2 on the parts widened to double, rounded to float.
NUMORA_API float ComplexAtan2(complex z);
// out = b * conj(a): out.re = a.re*b.re + b.im*a.im, out.im = b.im*a.re - b.re*a.im.
// precision: in float.
// in place: out may be a or b.
NUMORA_API void ComplexTrans(complex& out, complex& a, complex& b);
// Sets z from a magnitude and a phase in degrees.
// precision: cos(x)*mag and sin(x)*mag in double, each rounded to float.
NUMORA_API void ComplexSetMagPhase(complex& z, double mag, double degrees);
// Replaces the magnitude and keeps the phase; a value with both parts below
// 3.4e-38 in size has no usable phase and becomes (mag, 0).
// precision: the phase is rounded to float before cos and sin in double.
NUMORA_API void ComplexMagInput(complex& z, double mag);
// Replaces the phase (degrees) and keeps the magnitude.
// precision: the magnitude is the double square root of the float sum of squares.
NUMORA_API void ComplexPhaseInput(complex& z, double degrees);

// Element-wise reciprocal (re/d, -im/d) with d = im^2 + re^2 in float;
// an element with d not above 0 (zero, underflow, NaN) inverts to (0, 0).
// in place: out may be in.
NUMORA_API void ComplexInvertArray(complex* out, complex* in, int n);
// out[i] = k * in[i], part by part, in float.
// in place: out may be in.
NUMORA_API void ComplexScaleArray(complex* out, complex* in, float k, int n);
// Unit phasors of a pure delay: out[i] = e^(+j*pi*delay*i/lines), i = 0..lines-1.
// precision: step = delay*pi/lines in double; each angle i*step is reduced
// by whole turns (quotient truncated to 32 bits) before cos and sin.
// choice: a turn count outside the 32-bit range (or NaN) becomes INT32_MIN,
// as the x86 truncating conversion gives, instead of undefined behaviour.
NUMORA_API void ComplexInitArrayDelay(complex* out, float delay, int lines);
// Largest magnitude among a[first..last]: its index, imaginary and real part.
// A negative first counts as 0, a negative last as n - 1; outputs start from
// element first and move on a strictly larger float im^2 + re^2 only, so the
// lowest index among equal maxima wins and first > last scans nothing.
// n below 1 leaves the outputs alone.
NUMORA_API void ComplexArrayMax(complex* a, int n, int& index, float& imag, float& real,
                                int first, int last);

// Copies in to out, then unwraps out: a step above half a period subtracts one
// period from the rest of the array, a step below minus half a period adds one.
// Every unit other than UnitAngleDegrees means radians.
// precision: in float, with the periods 3.1415927f/6.2831855f or 180/360.
// in place: out may be in.
NUMORA_API void ComplexUnwrapPhase(float* in, float* out, int n, UnitAngle unit);
// Unwraps phase in place as above and returns the number of corrected steps.
// Only UnitAngleRadians means radians; every other unit means degrees.
// precision: in float; the radian periods are Deg2Rad of 360, 180 and -180
// rounded to float, and each tail is corrected with ArraySum.
NUMORA_API int ComplexUnwrapPhase(float* phase, int n, UnitAngle unit);

}  // namespace math
}  // namespace qv
