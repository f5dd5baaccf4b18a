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
using Floats = std::vector<float>;

const float kScale = 0.70710678f;

complex* L(Floats& v) { return reinterpret_cast<complex*>(v.data()); }

TEST(ApplyCompensation, StreamEqualsLinearConvolutionWithTheFilterResponse)
{
    for (uint32_t n : {16u, 256u}) {
        // Taps 0 .. n with neither DC nor Nyquist content (each frame loses both): random taps
        // times (1 - z^-2). The filter is their plain DFT over 2n samples.
        const Floats g = numora_test::RandomFloats(static_cast<int>(n) - 1, n);
        Floats h(2 * n, 0.0f);
        for (uint32_t i = 0; i <= n; ++i)
            h[i] = (i + 1 < n ? g[i] : 0.0f) - (i >= 2 ? g[i - 2] : 0.0f);
        Floats filter = h;
        TIMtoFFT(filter.data(), 2 * static_cast<int>(n), static_cast<float>(n));
        const Floats x = numora_test::RandomFloats(static_cast<int>(40 * n), 2u * n);
        Floats block(2 * n, 0.0f), tail(n);
        for (size_t t = 0; t < x.size(); ++t) {
            if (t % n == 0) {
                std::copy(x.begin() + t, x.begin() + t + n, block.begin());
                ApplyCompensation(block.data(), filter.data(), tail.data(), 0.75f, n, kScale);
            }
            double expected = 0.0;
            for (size_t m = 0; m <= n && m <= t; ++m)
                expected += 0.75 * static_cast<double>(h[m]) * static_cast<double>(x[t - m]);
            ASSERT_NEAR(expected, block[t % n], 4e-6 * std::sqrt(n)) << n << " " << t;
        }
    }
}

// The single form equals two steps bit for bit and null pointers touch
// nothing: both by the compensation fuzz target.
TEST(ApplyCompensation, StepRoundsInItsOrderAllocatesNothingAndAnOddFrameRunsOneSampleShorter)
{
    // n = 2: line 1 is the only line between the cleared line 0 and Nyquist. With
    // these values the gain applied to each product, a product in double, or a
    // multiplication by the reciprocal of 2 * scale gives other bits.
    Floats block = {0.748f, -0.888f, -0.703f, -0.461f}, filter = {NAN, NAN, -0.843f, -0.327f}, tail(2);
    Floats ref = {0.748f, -0.888f, 0.0f, 0.0f};
    TIMtoFFT(ref.data(), 4, kScale);
    const float a = ref[2], b = ref[3], c = filter[2], d = filter[3];
    ref = {0.0f, 0.0f, (c * a - b * d) * 0.1f, (c * b + a * d) * 0.1f};
    FFTtoTIM(ref.data(), ref.data(), 4, kScale);
    ref[0] += -0.703f;  // the tail the block held
    ref[1] += -0.461f;
    Floats odd = {0.5f, -0.25f, 0.75f, 1.0f, 3.0f}, even = odd, work(5), oddTail(2, 0.0f), evenTail(2, 0.0f);
    const size_t before = numora_test::AllocationCount();
    ApplyCompensation(block.data(), filter.data(), tail.data(), 0.1f, 2, kScale);
    ApplyCompensationSingle(odd.data(), filter.data(), oddTail.data(), work.data(), 0.1f, 5, kScale);
    EXPECT_EQ(before, numora_test::AllocationCount());
    EXPECT_TRUE(BitEqual(ref.data(), block.data(), 4));
    ApplyCompensationSingle(even.data(), filter.data(), evenTail.data(), work.data(), 0.1f, 4, kScale);
    EXPECT_TRUE(BitEqual(even.data(), odd.data(), 5));  // the last sample stays in both
}

// In place, the inverse builder as the plain one of the inverted lines, the
// impulse response of a spectrum kept as it is, the centring shift, zeros
// around a placed response and the lines that topMode 1 and the low cut must
// clear: the compensation fuzz target.
TEST(Compensation, ShapesTheSpectrumOrPlacesItsResponseInALongerFrameThenCutsTheLines)
{
    const int m = 16, n = 32, h = m;
    Floats in = numora_test::RandomFloats(2 * m, 9u), response = in, impulse(2 * n);
    // The same frame length without centring; a spacing of 0 makes the low taper's
    // quotient infinite, which tapers nothing.
    for (auto [shapeMode, topLine, df] : {std::tuple{0, 9, 10.0f}, {2, 9, 10.0f}, {3, 9, -10.0f}, {3, 14, 0.0f},
                                          {-1, 9, 10.0f}}) {
        Floats ref = in, out(2 * m);
        if (df > 0.0f)  // lowTaperFreq 35 over 10 Hz: k = 3
            TaperComplex(L(ref), 3, 0);
        std::fill(ref.begin(), ref.begin() + (df > 0.0f ? 2 : df < 0.0f ? 4 : 0), 0.0f);
        if (shapeMode >= 2)
            TaperComplex(L(ref), topLine + 1, m - 1);  // with topLine 14 an empty span: line 15 stays
        if (shapeMode == 3)
            TaperComplex(L(ref), 4, 0);
        // topMode and the low cut have no say.
        CompensationNoInvert(L(out), m, topLine, L(in), m, 0, kScale, nullptr, shapeMode, 1, 100.0f, df, 35.0f, false);
        EXPECT_TRUE(BitEqual(ref.data(), out.data(), 2 * m)) << shapeMode << " " << df;
    }
    Floats untouched(2 * m, 9.0f);
    EXPECT_EQ(0, CompensationInvert(L(untouched), m, 9, L(in), 0, 0, kScale, nullptr, 1, 0, 0.0f, 10.0f, 0.0f));
    EXPECT_EQ(0, CompensationNoInvert(L(untouched), 0, 9, L(in), m, 0, kScale, nullptr, 1, 0, 0.0f, 10.0f, 0.0f, true));
    EXPECT_EQ(Floats(2 * m, 9.0f), untouched);

    response[0] = response[1] = 0.0f;  // line 0 is cleared
    FFTtoTIM(response.data(), response.data(), 2 * m, kScale);
    auto build = [&](int shapeMode, int topMode, float lowCut, float lineSpacing, bool atStart) {
        Floats out(2 * n, 7.0f);  // a placement clears what out held
        CompensationNoInvert(L(out), n, 9, L(in), m, 0, kScale, impulse.data(), shapeMode, topMode, lowCut,
                             lineSpacing, 0.0f, atStart);
        return out;
    };
    for (auto [shapeMode, atStart] : {std::pair{0, true}, {6, false}}) {
        Floats placed(2 * n, 0.0f);
        for (int i = 0; i < 2 * m; ++i)
            placed[(atStart ? 0 : h) + i] = response[shapeMode ? (i + m) % (2 * m) : i];
        if (shapeMode == 6) {  // centred, and three samples of decay towards each end
            RealExp_taper(placed.data(), 0.08f, 2 * n - h - 3, 2 * n - h);
            RealExp_taper(placed.data(), 0.08f, 3 + h, h);
        }
        const Floats out = build(shapeMode, 0, 23.0f, 10.0f, atStart);
        EXPECT_TRUE(BitEqual(placed.data(), impulse.data(), 2 * n)) << shapeMode;
        // Back to N lines with the ratio 2; the low cut counts in half the line
        // spacing: 23 Hz over 5 Hz gives lines 0 to 3.
        TIMtoFFT(placed.data(), 2 * n, 2.0f * kScale);
        std::fill(placed.begin(), placed.begin() + 8, 0.0f);
        EXPECT_TRUE(BitEqual(placed.data(), out.data(), 2 * n)) << shapeMode;
    }
    const Floats base = build(0, 0, 0.0f, 10.0f, true);
    EXPECT_TRUE(BitEqual(base.data(), build(0, 1, 0.0f, 10.0f, true).data(), 22));  // line 10 stays
    Floats tapered = base;
    ComplexExp_taper(L(tapered), 0.05f, 10, n - 1);
    EXPECT_EQ(tapered, build(0, 2, 0.0f, 10.0f, true));
    // c = (int)(lowCut / 5 + 0.5f), less 2 when above 2: the lines above c stay.
    for (auto [lowCut, c] : {std::pair{7.0f, 1}, {12.0f, 2}, {12.5f, 1}})
        EXPECT_TRUE(BitEqual(&base[2 * c + 2], &build(0, 0, lowCut, 10.0f, true)[2 * c + 2], 2 * (n - c - 1)));
}

TEST(GetCompPhaseSampleOffset, DelayFromTheUnwrappedPhaseInDegrees)
{
    Floats comp(128), phase(64);
    ComplexInitArrayDelay(L(comp), 2.5f, 64);  // an advance of 2.5 samples in a frame of 128
    EXPECT_NEAR(2.5f, GetCompPhaseSampleOffset(L(comp), phase.data(), 64, 1280.0f, 10.0f), 1e-4);
    EXPECT_EQ(0.0f, GetCompPhaseSampleOffset(L(comp), phase.data(), 1, 1280.0f, 10.0f));
}

}  // namespace
