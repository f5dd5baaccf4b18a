#include "numora/compensation/compensation.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numora/compensation/taper.h"
#include "numora/foundation/complex.h"
#include "numora/transforms/frame.h"
#include "tests/support/support.h"

namespace {

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::RandomFloats;
using Floats = std::vector<float>;

const float kScale = 0.70710678f;

complex* L(Floats& v) { return reinterpret_cast<complex*>(v.data()); }

// Impulse response of 2 * lines samples from a spectrum, by the library's own transform.
Floats Response(Floats lines)
{
    FFTtoTIM(lines.data(), lines.data(), static_cast<int>(lines.size()), kScale);
    return lines;
}

// The builders' input: lines of a measured response, none of them zero.
Floats Measured(int lines, uint32_t seed)
{
    Floats in = RandomFloats(2 * lines, seed);
    for (float& v : in)
        v += v < 0.0f ? -0.25f : 0.25f;
    return in;
}

using Doubles = std::vector<double>;

// Streams x through ApplyCompensation in blocks of n and returns the output.
Floats Stream(const Floats& x, Floats& filter, uint32_t n, float gain)
{
    Floats block(2 * n, 0.0f), tail(n), y;
    for (size_t b = 0; b < x.size() / n; ++b) {
        std::copy(x.begin() + b * n, x.begin() + (b + 1) * n, block.begin());
        ApplyCompensation(block.data(), filter.data(), tail.data(), gain, n, kScale);
        y.insert(y.end(), block.begin(), block.begin() + n);
    }
    return y;
}

double MaxDifference(const Doubles& expected, const Floats& actual)
{
    double worst = 0.0;
    for (size_t i = 0; i < expected.size(); ++i)
        worst = std::max(worst, std::fabs(expected[i] - static_cast<double>(actual[i])));
    return worst;
}

TEST(ApplyCompensation, StreamEqualsLinearConvolutionWithTheFilterResponse)
{
    for (uint32_t n : {16u, 256u}) {
        // Taps 0 .. n with neither DC nor Nyquist content (each frame loses both): random taps
        // times (1 - z^-2).
        Floats g = RandomFloats(static_cast<int>(n) - 1, n);
        Doubles h(n + 1, 0.0);
        for (uint32_t i = 0; i + 1 < n; ++i) {
            h[i] += static_cast<double>(g[i]);
            h[i + 2] -= static_cast<double>(g[i]);
        }
        Floats filter(2 * n, NAN);  // line 0 is never read
        for (uint32_t k = 1; k < n; ++k) {
            double re = 0.0, im = 0.0;
            for (uint32_t m = 0; m <= n; ++m) {
                re += h[m] * std::cos(M_PI * k * m / n);
                im -= h[m] * std::sin(M_PI * k * m / n);
            }
            filter[2 * k] = static_cast<float>(re);
            filter[2 * k + 1] = static_cast<float>(im);
        }
        const Floats x = RandomFloats(static_cast<int>(40 * n), 2u * n);
        Doubles expected(x.size(), 0.0);
        for (size_t t = 0; t < x.size(); ++t)
            for (size_t m = 0; m <= n && m <= t; ++m)
                expected[t] += 0.75 * h[m] * static_cast<double>(x[t - m]);
        EXPECT_LT(MaxDifference(expected, Stream(x, filter, n, 0.75f)), 4e-6 * std::sqrt(n)) << n;
    }
}


TEST(ApplyCompensation, StepRoundsInItsOrderAndTheSingleFrameFormRunsTwoSuchSteps)
{
    const uint32_t n = 32;
    const float gain = 0.3f;
    Floats block = RandomFloats(2 * n, 4u), filter = RandomFloats(2 * n, 5u), tail(n);
    // One step from its parts: upper half to the tail and cleared, forward, product, inverse, tail added.
    Floats ref = block, refTail(ref.begin() + n, ref.end());
    std::fill(ref.begin() + n, ref.end(), 0.0f);
    TIMtoFFT(ref.data(), 2 * n, kScale);
    ref[0] = ref[1] = 0.0f;
    for (uint32_t k = 1; k < n; ++k) {
        const float a = ref[2 * k], b = ref[2 * k + 1], c = filter[2 * k], d = filter[2 * k + 1];
        ref[2 * k] = (c * a - b * d) * gain;
        ref[2 * k + 1] = (c * b + a * d) * gain;
    }
    FFTtoTIM(ref.data(), ref.data(), 2 * n, kScale);
    for (uint32_t i = 0; i < n; ++i)
        ref[i] += refTail[i];
    ApplyCompensation(block.data(), filter.data(), tail.data(), gain, n, kScale);
    EXPECT_TRUE(BitEqual(ref.data(), block.data(), 2 * n));

    // Frames of 2n through the single form against a fresh block stream, with nothing allocated; the
    // last frame has one sample more, which an odd size leaves alone.
    const Floats x = RandomFloats(8 * n + 1, 6u);
    Floats frame(2 * n + 1), work(2 * n + 1), carry(n, 0.0f);
    std::fill(block.begin(), block.end(), 0.0f);
    const size_t before = numora_test::AllocationCount();
    for (uint32_t f = 0; f < 4; ++f) {
        std::copy(&x[2 * n * f], &x[2 * n * f] + 2 * n + 1, frame.begin());
        ApplyCompensationSingle(frame.data(), filter.data(), carry.data(), work.data(), gain, 2 * n + f / 3, kScale);
        for (uint32_t half = 0; half < 2; ++half) {
            std::copy(&x[2 * n * f + n * half], &x[2 * n * f + n * half] + n, block.begin());
            ApplyCompensation(block.data(), filter.data(), tail.data(), gain, n, kScale);
            ASSERT_TRUE(BitEqual(block.data(), &frame[n * half], static_cast<int>(n))) << f << half;
        }
    }
    EXPECT_EQ(before, numora_test::AllocationCount());
    EXPECT_EQ(x[8 * n], frame[2 * n]);

    // A null pointer or an empty block touches nothing.
    const Floats frozen = frame, frozenCarry = carry;
    for (int nulled = 0; nulled < 3; ++nulled) {
        float* p[3] = {frame.data(), filter.data(), carry.data()};
        p[nulled] = nullptr;
        ApplyCompensation(p[0], p[1], p[2], gain, n, kScale);
        ApplyCompensationSingle(p[0], p[1], p[2], work.data(), gain, 2 * n, kScale);
    }
    ApplyCompensation(frame.data(), filter.data(), carry.data(), gain, 0, kScale);
    ApplyCompensationSingle(frame.data(), filter.data(), carry.data(), work.data(), gain, 1, kScale);
    EXPECT_TRUE(frozen == frame && frozenCarry == carry);
}

TEST(Compensation, SameFrameLengthWithoutCentringKeepsTheShapedSpectrum)
{
    const int m = 16;
    Floats in = Measured(m, 7u);
    in[10] = in[11] = 0.0f;  // a zero line inverts to zero
    struct Case { int shapeMode, topLine; float lineSpacing; };
    for (Case c : {Case{0, 9, 10.0f}, Case{2, 9, 10.0f}, Case{3, 9, -10.0f}, Case{3, 14, 0.0f}, Case{-1, 9, 10.0f}}) {
        Floats ref(2 * m), out(2 * m), bare(2 * m), impulse(2 * m);
        ComplexInvertArray(L(ref), L(in), m);
        if (c.lineSpacing > 0.0f)  // lowTaperFreq 35 over 10 Hz: k = 3
            TaperComplex(L(ref), 3, 0);
        std::fill(ref.begin(), ref.begin() + (c.lineSpacing > 0.0f ? 2 : c.lineSpacing < 0.0f ? 4 : 0), 0.0f);
        if (c.shapeMode >= 2)
            TaperComplex(L(ref), c.topLine + 1, m - 1);  // with topLine 14 an empty span: line 15 stays
        if (c.shapeMode == 3)
            TaperComplex(L(ref), 4, 0);
        // topMode and the low cut have no say here, with or without an impulse buffer.
        EXPECT_EQ(0, CompensationInvert(L(out), m, c.topLine, L(in), m, 0, kScale, impulse.data(), c.shapeMode, 1,
                                        100.0f, c.lineSpacing, 35.0f));
        CompensationInvert(L(bare), m, c.topLine, L(in), m, 0, kScale, nullptr, c.shapeMode, 1, 100.0f,
                           c.lineSpacing, 35.0f);
        EXPECT_TRUE(BitEqual(ref.data(), out.data(), 2 * m) && BitEqual(ref.data(), bare.data(), 2 * m))
            << c.shapeMode << " " << c.lineSpacing;
        EXPECT_TRUE(BitEqual(Response(ref).data(), impulse.data(), 2 * m));
    }
    Floats untouched(2 * m, 9.0f);
    EXPECT_EQ(0, CompensationInvert(L(untouched), m, 9, L(in), 0, 0, kScale, nullptr, 1, 0, 0.0f, 10.0f, 0.0f));
    EXPECT_EQ(0, CompensationNoInvert(L(untouched), 0, 9, L(in), m, 0, kScale, nullptr, 1, 0, 0.0f, 10.0f, 0.0f, true));
    EXPECT_EQ(Floats(2 * m, 9.0f), untouched);
}

TEST(Compensation, LongerFrameKeepsTheLineAmplitudesInBothPlacements)
{
    const int m = 16, n = 32, h = m;
    Floats in = Measured(m, 9u), cleared = in;
    cleared[0] = cleared[1] = 0.0f;
    const Floats response = Response(cleared);
    for (int shapeMode : {0, 6}) {
        for (bool atStart : {true, false}) {
            Floats placed(2 * n, 0.0f), out(2 * n, 7.0f), impulse(2 * n);  // the placement clears what out held
            for (int i = 0; i < 2 * m; ++i)
                placed[(atStart ? 0 : h) + i] = response[shapeMode ? (i + m) % (2 * m) : i];
            if (shapeMode == 6) {  // three samples of decay towards each end of the centred placement
                RealExp_taper(placed.data(), 0.08f, 2 * n - h - 3, 2 * n - h);
                RealExp_taper(placed.data(), 0.08f, 3 + h, h);
            }
            // The low cut counts in half the line spacing: 23 Hz over 5 Hz gives lines 0 to 3.
            EXPECT_EQ(shapeMode ? m : 0, CompensationNoInvert(L(out), n, 0, L(in), m, 0, kScale, impulse.data(),
                                                             shapeMode, 0, 23.0f, 10.0f, 0.0f, atStart));
            EXPECT_TRUE(BitEqual(placed.data(), impulse.data(), 2 * n)) << shapeMode << atStart;
            EXPECT_TRUE(std::all_of(out.begin(), out.begin() + 8, [](float v) { return v == 0.0f; }) && out[8] != 0);
            for (int k = 2; k < m && shapeMode == 0; ++k) {  // even lines are the measured ones, times (-1)^k after h
                const float sign = atStart || k % 2 == 0 ? 1.0f : -1.0f;
                EXPECT_NEAR(sign * in[2 * k], out[4 * k], 2e-6);
                EXPECT_NEAR(sign * in[2 * k + 1], out[4 * k + 1], 2e-6);
            }
        }
    }
    // Without an impulse buffer nothing is placed: the samples above M2 enter the transform as they stand.
    Floats bare(2 * n, 7.0f), ref = bare;
    CompensationNoInvert(L(bare), n, 0, L(in), m, 0, kScale, nullptr, 0, 0, 23.0f, 10.0f, 0.0f, false);
    std::copy(response.begin(), response.end(), ref.begin());
    TIMtoFFT(ref.data(), 2 * n, 2.0f * kScale);
    std::fill(ref.begin(), ref.begin() + 8, 0.0f);
    EXPECT_TRUE(BitEqual(ref.data(), bare.data(), 2 * n));
    // A shorter frame takes the first N2 samples of the response, ratio 0.5.
    Floats out(2 * m), shorter(response.begin(), response.begin() + m);
    CompensationNoInvert(L(out), m / 2, 0, L(in), m, 0, kScale, nullptr, 1, 0, 0.0f, 10.0f, 0.0f, false);
    TIMtoFFT(shorter.data(), m, 0.5f * kScale);
    EXPECT_TRUE(BitEqual(shorter.data(), out.data(), m));
}

TEST(Compensation, CentredFilterAndWhatTopModeAndLowCutDoToItsLines)
{
    const int m = 16;
    Floats in = Measured(m, 10u), base(2 * m), impulse(2 * m), inverse(2 * m);
    EXPECT_EQ(m, CompensationInvert(L(base), m, 9, L(in), m, 0, kScale, impulse.data(), 1, 0, 0.0f, 10.0f, 0.0f));
    ComplexInvertArray(L(inverse), L(in), m);
    inverse[0] = inverse[1] = 0.0f;
    const Floats response = Response(inverse);
    for (int i = 0; i < 2 * m; ++i) {  // centred by m samples: line k times (-1)^k
        EXPECT_EQ(response[i], impulse[(i + m) % (2 * m)]);
        EXPECT_NEAR((i / 2) % 2 ? -inverse[i] : inverse[i], base[i], 2e-5) << i;
    }
    // Without an impulse buffer nothing is centred, even in a centring mode; here in place.
    Floats bare = in;
    EXPECT_EQ(0, CompensationInvert(L(bare), m, 9, L(bare), m, 0, kScale, nullptr, 4, 0, 0.0f, 10.0f, 0.0f));
    for (int i = 0; i < 2 * m; ++i)
        EXPECT_NEAR(inverse[i], bare[i], 2e-5);
    auto run = [&](int topMode, float lowCut, float lineSpacing) {
        Floats out(2 * m + 4, 0.0f);
        numora_test::FillSentinel(&out[2 * m], 4);
        CompensationInvert(L(out), m, 9, L(in), m, 0, kScale, impulse.data(), 1, topMode, lowCut, lineSpacing, 0.0f);
        EXPECT_TRUE(numora_test::HoldsSentinel(&out[2 * m], 4));
        return out;
    };
    auto clearedTo = [&](int first, int last) {  // base with lines first .. last cleared
        Floats ref = base;
        std::fill(ref.begin() + 2 * first, ref.begin() + 2 * (last + 1), 0.0f);
        return ref;
    };
    EXPECT_TRUE(BitEqual(clearedTo(11, m - 1).data(), run(1, 0.0f, 10.0f).data(), 2 * m));  // line 10 stays
    Floats ref = base;
    ComplexExp_taper(L(ref), 0.05f, 10, m - 1);
    EXPECT_TRUE(BitEqual(ref.data(), run(2, 0.0f, 10.0f).data(), 2 * m));
    // c = (int)(lowCut / 10 + 0.5f), less 2 when above 2.
    for (auto [lowCut, last] : {std::pair{14.0f, 1}, {24.0f, 2}, {25.0f, 1}, {1000.0f, m - 1}})
        EXPECT_TRUE(BitEqual(clearedTo(0, last).data(), run(0, lowCut, 10.0f).data(), 2 * m)) << lowCut;
    // No spacing: no low-end step, and the low cut's infinite quotient clears nothing.
    Floats noSpacing = run(0, 0.0f, 0.0f);
    EXPECT_TRUE(noSpacing[0] != 0.0f && BitEqual(noSpacing.data(), run(0, 50.0f, 0.0f).data(), 2 * m));
    // A negative spacing clears lines 0 and 1 itself; the low cut's c is negative.
    EXPECT_TRUE(BitEqual(run(0, 0.0f, -10.0f).data(), run(0, 45.0f, -10.0f).data(), 2 * m));
}

TEST(GetCompPhaseSampleOffset, DelayFromTheLargestUnwrappedPhaseFromLineOneOn)
{
    const int lines = 64;
    Floats comp(2 * lines), phase(lines);
    ComplexInitArrayDelay(L(comp), 2.5f, lines);  // an advance of 2.5 samples in a frame of 128
    EXPECT_NEAR(2.5f, GetCompPhaseSampleOffset(L(comp), phase.data(), lines, 1280.0f, 10.0f), 1e-4);
    for (int k = 0; k < lines; ++k)
        EXPECT_NEAR(180.0 * 2.5 * k / lines, phase[k], 1e-3);
    // Line 0 is not searched, the first of two equal maxima counts, and the quotient keeps its order.
    const float degrees[] = {170.0f, 10.0f, 50.0f, 30.0f, 50.0f};
    for (int k = 0; k < 5; ++k)
        ComplexSetMagPhase(L(comp)[k], 1.0, static_cast<double>(degrees[k]));
    const float offset = GetCompPhaseSampleOffset(L(comp), phase.data(), 5, 1000.0f, 2.7f);
    EXPECT_EQ((phase[2] * 1000.0f) / ((2.0f * 2.7f) * 360.0f), offset);
    phase[0] = 0.0f;
    EXPECT_EQ(0.0f, GetCompPhaseSampleOffset(L(comp), phase.data(), 1, 1280.0f, 10.0f));
    EXPECT_NEAR(170.0f, phase[0], 1e-4);
}

}  // namespace
