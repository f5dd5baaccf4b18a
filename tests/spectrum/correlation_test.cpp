#include "numora/spectrum/correlation.h"

#include <vector>

#include "numora/drive/random_phase.h"
#include "numora/foundation/platform.h"
#include "numora/transforms/fft.h"
#include "tests/support/support.h"

using namespace qv::math;
using namespace numora_test;

TEST(APStoCORR, SineOnLineOneGivesEvenWeightedCosineAndShortOrEmptyCountsWriteLess)
{
    // Raw lags 2 cos(2 pi t / 8), weighted by (4 / (4 - |t|)) / 4: the mean
    // square 0.5 of a unit sine at lag 0, the same weight on both sides.
    float aps[4] = {0.0f, 1.0f, 0.0f, 0.0f}, work[16], corr[9];
    APStoCORR(aps, work, corr, 8, 4);
    const double expected[7] = {-1.41421356, 0.0, 0.47140452, 0.5, 0.47140452, 0.0, -1.41421356};
    for (int i = 0; i < 7; ++i)
        EXPECT_NEAR(expected[i], static_cast<double>(corr[i]), 1e-6) << "index " << i;

    // A count below 1 touches nothing, work included; lines < H writes 2 * lines - 1 values.
    FillSentinel(corr, 9);
    FillSentinel(work, 16);
    APStoCORR(aps, work, corr, 16, 0);
    CPStoCORR(reinterpret_cast<complex*>(aps), work, corr, 16, -1);
    APStoTIM(aps, work, 0, 2);
    EXPECT_TRUE(HoldsSentinel(corr, 9) && HoldsSentinel(work, 16));
    APStoCORR(aps, work, corr, 16, 3);
    EXPECT_TRUE(HoldsSentinel(corr + 5, 4));
}

TEST(CPStoCORR, RawInverseWithMirroredLagWeights)
{
    const int size = 64, lines = 32;
    std::vector<float> packed = RandomFloats(2 * lines, 17);  // line 0's im: Nyquist
    std::vector<float> work(size), corr(2 * lines - 1), expected(2 * lines - 1);
    CPStoCORR(reinterpret_cast<complex*>(packed.data()), work.data(), corr.data(), size, lines);

    // The same steps lag by lag, in float; lag -tau takes the weight of lag tau.
    packed.resize(size, 0.0f);
    DFT(packed.data(), size, -1);
    for (int tau = 0; tau < lines; ++tau) {
        const float w = 32.0f / static_cast<float>(32 - tau) * 0.25f;
        expected[lines - 1 + tau] = w * packed[tau];
        expected[lines - 1 - tau] = w * packed[(size - tau) % size];
    }
    EXPECT_TRUE(BitEqual(expected.data(), corr.data(), 2 * lines - 1));
}

TEST(APStoTIM, RandomPhasesThenRawInverseInPlaceOrNot)
{
    // The same steps one by one, float with phases up to line 20, then double up to line n / 2.
    const int n = 64;
    std::vector<float> expected = RandomFloats(n + 2, 9), inPlace = expected;
    std::vector<double> input(expected.begin(), expected.end()), expectedD = input, out(n + 2);
    SRand(4);
    APSAddRandomPhase(expected.data(), n, 20);
    APSAddRandomPhase(expectedD.data(), n, n / 2);
    DFT(expected.data(), n, -1);
    DFT_D(expectedD.data(), n, -1);
    SRand(4);
    APStoTIM(inPlace.data(), inPlace.data(), n, 20);
    APStoTIM(input.data(), out.data(), n, n / 2);
    EXPECT_TRUE(BitEqual(expected.data(), inPlace.data(), n) && BitEqual(expectedD.data(), out.data(), n));
}
