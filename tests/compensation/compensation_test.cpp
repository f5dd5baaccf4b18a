#include "numora/compensation/compensation.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "numora/compensation/taper.h"
#include "numora/foundation/complex.h"
#include "numora/transforms/fft.h"
#include "tests/support/support.h"

namespace {

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::RandomFloats;
using Floats = std::vector<float>;
using Doubles = std::vector<double>;

const float kScale = 0.70710678f;

complex* L(Floats& v) { return reinterpret_cast<complex*>(v.data()); }

// Impulse response of M2 = 2 * lines samples from a spectrum, by the library's own transform.
Floats Response(Floats lines)
{
    const int size = static_cast<int>(lines.size());
    DFT(lines.data(), size, -1);
    CorrIFT(lines.data(), size, kScale);
    return lines;
}

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

TEST(ApplyCompensation, OneStepRoundsInItsOrderAndTheSingleFrameFormRunsTwoSuchSteps)
{
    const uint32_t n = 32;
    const float gain = 0.3f;
    Floats block = RandomFloats(2 * n, 4u), filter = RandomFloats(2 * n, 5u), tail(n);
    Floats ref = block, refTail(ref.begin() + n, ref.end());
    std::fill(ref.begin() + n, ref.end(), 0.0f);
    DFT(ref.data(), 2 * n, 1);
    CorrDFT(L(ref), n, kScale);
    ref[0] = ref[1] = 0.0f;
    for (uint32_t k = 1; k < n; ++k) {
        const float a = ref[2 * k], b = ref[2 * k + 1], c = filter[2 * k], d = filter[2 * k + 1];
        ref[2 * k] = (c * a - b * d) * gain;
        ref[2 * k + 1] = (c * b + a * d) * gain;
    }
    DFT(ref.data(), 2 * n, -1);
    CorrIFT(ref.data(), 2 * n, kScale);
    for (uint32_t i = 0; i < n; ++i)
        ref[i] += refTail[i];
    ApplyCompensation(block.data(), filter.data(), tail.data(), gain, n, kScale);
    EXPECT_TRUE(BitEqual(ref.data(), block.data(), 2 * n));
    EXPECT_TRUE(BitEqual(refTail.data(), tail.data(), n));

    // Frames of 2n through the single form against the block stream, with nothing allocated.
    const Floats x = RandomFloats(8 * n, 6u);
    const Floats y = Stream(x, filter, n, gain);
    Floats frame(2 * n), work(2 * n), carry(n, 0.0f);
    const size_t before = numora_test::AllocationCount();
    for (size_t f = 0; f < 4; ++f) {
        std::copy(x.begin() + f * 2 * n, x.begin() + (f + 1) * 2 * n, frame.begin());
        ApplyCompensationSingle(frame.data(), filter.data(), carry.data(), work.data(), gain, 2 * n, kScale);
        ApplyCompensation(block.data(), filter.data(), tail.data(), gain, n, kScale);  // counted too
        ASSERT_TRUE(BitEqual(&y[f * 2 * n], frame.data(), 2 * static_cast<int>(n))) << f;
    }
    EXPECT_EQ(before, numora_test::AllocationCount());

    // A null pointer or an empty block touches nothing.
    const Floats frozen = frame, frozenCarry = carry;
    ApplyCompensation(frame.data(), nullptr, carry.data(), gain, n, kScale);
    ApplyCompensation(frame.data(), filter.data(), nullptr, gain, n, kScale);
    ApplyCompensation(frame.data(), filter.data(), carry.data(), gain, 0, kScale);
    ApplyCompensationSingle(frame.data(), filter.data(), nullptr, work.data(), gain, 2 * n, kScale);
    ApplyCompensationSingle(nullptr, filter.data(), carry.data(), work.data(), gain, 2 * n, kScale);
    ApplyCompensationSingle(frame.data(), filter.data(), carry.data(), work.data(), gain, 1, kScale);
    EXPECT_TRUE(frozen == frame && frozenCarry == carry);
}

// The builders' input: lines of a measured response, none of them zero.
Floats Measured(int lines, uint32_t seed)
{
    Floats in = RandomFloats(2 * lines, seed);
    for (float& v : in)
        v += v < 0.0f ? -0.25f : 0.25f;
    return in;
}

TEST(Compensation, SameFrameLengthWithoutCentringKeepsTheShapedSpectrum)
{
    const int m = 16;
    Floats in = Measured(m, 7u);
    in[10] = in[11] = 0.0f;  // a zero line inverts to zero
    struct Case { int shapeMode, topLine; float lineSpacing; };
    for (Case c : {Case{0, 9, 10.0f}, Case{2, 9, 10.0f}, Case{3, 9, -10.0f}, Case{3, 14, 0.0f}, Case{-1, 9, 10.0f}}) {
        Floats ref(2 * m), out(2 * m), impulse(2 * m);
        ComplexInvertArray(L(ref), L(in), m);
        if (c.lineSpacing > 0.0f)  // lowTaperFreq 35 over 10 Hz: k = 3
            TaperComplex(L(ref), 3, 0);
        std::fill(ref.begin(), ref.begin() + (c.lineSpacing > 0.0f ? 2 : c.lineSpacing < 0.0f ? 4 : 0), 0.0f);
        if (c.shapeMode >= 2)
            TaperComplex(L(ref), c.topLine + 1, m - 1);  // with topLine 14 an empty span: line 15 stays
        if (c.shapeMode == 3)
            TaperComplex(L(ref), 4, 0);
        // topMode and the low cut have no say here.
        EXPECT_EQ(0, CompensationInvert(L(out), m, c.topLine, L(in), m, 0, kScale, impulse.data(), c.shapeMode, 1,
                                        100.0f, c.lineSpacing, 35.0f));
        EXPECT_TRUE(BitEqual(ref.data(), out.data(), 2 * m)) << c.shapeMode << " " << c.lineSpacing;
        EXPECT_TRUE(BitEqual(Response(ref).data(), impulse.data(), 2 * m));
    }
    Floats untouched(2 * m, 9.0f);
    EXPECT_EQ(0, CompensationInvert(L(untouched), m, 9, L(in), 0, 0, kScale, nullptr, 1, 0, 0.0f, 10.0f, 0.0f));
    EXPECT_EQ(0, CompensationNoInvert(L(untouched), 0, 9, L(in), m, 0, kScale, nullptr, 1, 0, 0.0f, 10.0f, 0.0f, true));
    EXPECT_EQ(Floats(2 * m, 9.0f), untouched);
}

TEST(Compensation, CentredResponseComesBackAsTheSpectrumHalfAFrameLater)
{
    const int m = 16;
    Floats in = Measured(m, 8u), out(2 * m), impulse(2 * m);
    EXPECT_EQ(m, CompensationNoInvert(L(out), m, 0, L(in), m, 0, kScale, impulse.data(), 1, 0, 0.0f, 10.0f, 0.0f,
                                      false));
    Floats cleared = in;
    cleared[0] = cleared[1] = 0.0f;
    const Floats response = Response(cleared);
    for (int i = 0; i < 2 * m; ++i) {
        EXPECT_EQ(response[i], impulse[(i + m) % (2 * m)]);
        EXPECT_NEAR(i < 2 ? 0.0f : (i / 2) % 2 ? -in[i] : in[i], out[i], 2e-6) << i;  // shift of m: (-1)^k
    }
    // Without an impulse buffer nothing is centred, even in a centring mode.
    EXPECT_EQ(0, CompensationInvert(L(out), m, 0, L(in), m, 0, kScale, nullptr, 4, 0, 0.0f, 10.0f, 0.0f));
    ComplexInvertArray(L(in), L(in), m);
    for (int i = 2; i < 2 * m; ++i)
        EXPECT_NEAR(in[i], out[i], 2e-5);
}

TEST(Compensation, LongerFrameKeepsTheLineAmplitudesInBothPlacements)
{
    const int m = 16, n = 32, h = m;
    Floats in = Measured(m, 9u);
    Floats cleared = in;
    cleared[0] = cleared[1] = 0.0f;
    const Floats response = Response(cleared);
    Floats startPlaced;
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
            if (shapeMode == 0 && atStart)
                startPlaced = out;
        }
    }
    // Without an impulse buffer the samples above M2 enter as they stand: here zeros.
    Floats bare(2 * n, 0.0f);
    CompensationNoInvert(L(bare), n, 0, L(in), m, 0, kScale, nullptr, 0, 0, 23.0f, 10.0f, 0.0f, false);
    EXPECT_TRUE(BitEqual(startPlaced.data(), bare.data(), 2 * n));
    // A shorter frame takes the first N2 samples of the response, ratio 0.5.
    Floats out(2 * m), ref(response.begin(), response.begin() + m);
    CompensationNoInvert(L(out), m / 2, 0, L(in), m, 0, kScale, nullptr, 1, 0, 0.0f, 10.0f, 0.0f, false);
    DFT(ref.data(), m, 1);
    CorrDFT(L(ref), m / 2, 0.5f * kScale);
    EXPECT_TRUE(BitEqual(ref.data(), out.data(), m));
}

TEST(Compensation, TopModeAndLowCutActOnTheReturnedLines)
{
    const int m = 16;
    Floats in = Measured(m, 10u), base(2 * m + 4), impulse(2 * m);
    CompensationInvert(L(base), m, 9, L(in), m, 0, kScale, impulse.data(), 1, 0, 0.0f, 10.0f, 0.0f);
    auto run = [&](int topMode, float lowCut, float lineSpacing) {
        Floats out(2 * m + 4, 0.0f);
        numora_test::FillSentinel(&out[2 * m], 4);
        CompensationInvert(L(out), m, 9, L(in), m, 0, kScale, impulse.data(), 1, topMode, lowCut, lineSpacing, 0.0f);
        EXPECT_TRUE(numora_test::HoldsSentinel(&out[2 * m], 4));
        return out;
    };
    auto clearedTo = [&](int last) {  // base with lines 0 .. last cleared
        Floats ref = base;
        std::fill(ref.begin(), ref.begin() + 2 * (last + 1), 0.0f);
        return ref;
    };
    Floats ref = clearedTo(-1);
    std::fill(ref.begin() + 22, ref.begin() + 2 * m, 0.0f);  // lines 11 .. 15; line 10 stays
    EXPECT_TRUE(BitEqual(ref.data(), run(1, 0.0f, 10.0f).data(), 2 * m));
    ref = base;
    ComplexExp_taper(L(ref), 0.05f, 10, m - 1);
    EXPECT_TRUE(BitEqual(ref.data(), run(2, 0.0f, 10.0f).data(), 2 * m));
    // c = (int)(lowCut / 10 + 0.5f), less 2 when above 2.
    for (auto [lowCut, last] : {std::pair{14.0f, 1}, {24.0f, 2}, {25.0f, 1}, {1000.0f, m - 1}})
        EXPECT_TRUE(BitEqual(clearedTo(last).data(), run(0, lowCut, 10.0f).data(), 2 * m)) << lowCut;
    // No spacing: no low-end step, and the low cut's infinite quotient clears nothing.
    Floats noSpacing = run(0, 0.0f, 0.0f);
    EXPECT_TRUE(noSpacing[0] != 0.0f && BitEqual(noSpacing.data(), run(0, 50.0f, 0.0f).data(), 2 * m));
    // A negative spacing clears lines 0 and 1 itself; the low cut's c is negative.
    EXPECT_TRUE(BitEqual(run(0, 0.0f, -10.0f).data(), run(0, 25.0f, -10.0f).data(), 2 * m));
}

TEST(GetCompPhaseSampleOffset, DelayFromTheLargestUnwrappedPhaseFromLineOneOn)
{
    const int lines = 64;
    Floats comp(2 * lines), phase(lines);
    ComplexInitArrayDelay(L(comp), 2.5f, lines);  // an advance of 2.5 samples in a frame of 128
    EXPECT_NEAR(2.5f, GetCompPhaseSampleOffset(L(comp), phase.data(), lines, 1280.0f, 10.0f), 1e-4);
    for (int k = 0; k < lines; ++k)
        EXPECT_NEAR(180.0 * 2.5 * k / lines, phase[k], 1e-3);
    // Line 0 is not searched, and the first of two equal maxima counts.
    const float degrees[] = {170.0f, 10.0f, 50.0f, 30.0f, 50.0f};
    for (int k = 0; k < 5; ++k)
        ComplexSetMagPhase(L(comp)[k], 1.0, static_cast<double>(degrees[k]));
    const float offset = GetCompPhaseSampleOffset(L(comp), phase.data(), 5, 1280.0f, 10.0f);
    EXPECT_EQ((phase[2] * 1280.0f) / ((2.0f * 10.0f) * 360.0f), offset);
    EXPECT_NEAR(50.0f, phase[2], 1e-4);
    phase[0] = 0.0f;
    EXPECT_EQ(0.0f, GetCompPhaseSampleOffset(L(comp), phase.data(), 1, 1280.0f, 10.0f));
    EXPECT_NEAR(170.0f, phase[0], 1e-4);
}

}  // namespace
