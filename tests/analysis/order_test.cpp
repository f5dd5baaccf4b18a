#include "numora/analysis/order.h"

#include <cmath>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::SameBits;

namespace {

const double kPi = 3.141592653589793;

// A record for one frequency with its vector built.
struct Tracker {
    ordinfo info;
    Tracker(double frequency, double sampleRate, int halfLength)
    {
        info.frequency = frequency;
        info.sampleRate = sampleRate;
        info.halfLength = halfLength;
        Order_GenVec(&info);
    }
    ~Tracker() { Order_FreeVec(&info); }
};

TEST(OrderGenVec, HalfHannTimesConjugatePhasorAndAFailedBuildLeavesNoVector)
{
    // Here 1/L taken for each k, or frequency / sampleRate taken first, would
    // round some parts differently.
    const int L = 14;
    Tracker tr(2990.946, 1000.0, L);
    float ref[2 * L];
    for (int k = 0; k < L; ++k) {
        const double a = (2 * k + 1) * kPi, h = (std::cos(a / (2 * L)) + 1.0) * (1.0 / L);
        ref[2 * k] = static_cast<float>(std::cos(a * 2990.946 / 1000.0) * h);
        ref[2 * k + 1] = static_cast<float>(std::sin(a * 2990.946 / 1000.0) * -h);
    }
    EXPECT_TRUE(BitEqual(ref, tr.info.vector, 2 * L));
    EXPECT_EQ(2990.946, tr.info.vectorFrequency);

    tr.info.frequency = 5.0;
    numora_test::FailAllocation(0);
    Order_GenVec(&tr.info);
    EXPECT_TRUE(tr.info.vector == nullptr && tr.info.vectorFrequency == 2990.946);
    tr.info.halfLength = -1;  // a negative length fails the same way
    Order_GenVec(&tr.info);
    EXPECT_TRUE(tr.info.vector == nullptr && tr.info.vectorFrequency == 2990.946);
}

TEST(OrderExtract, RecoversAmplitudeAndPhaseOfEachTrackedToneAtTheCentreWithoutAllocating)
{
    // Two tones 37 lines of the 512-sample stretch apart, t counted from its
    // centre, and one sample of junk after it.
    const int L = 256;
    const double tones[2][3] = {{1.7, 0.0371, 35.0}, {0.6, 0.11, -120.0}};
    std::vector<float> x(2 * L + 1, 1000.0f);
    for (int j = 0; j < 2 * L; ++j) {
        double v = 0.0;
        for (const auto& t : tones)
            v += t[0] * std::cos(2.0 * kPi * t[1] * (j - L + 0.5) + t[2] * kPi / 180.0);
        x[j] = static_cast<float>(v);
    }
    for (const auto& t : tones) {
        Tracker tr(t[1] * 51200.0, 51200.0, L);
        const std::size_t before = numora_test::AllocationCount();
        Order_Extract(&tr.info, x.data(), 2 * L + 1);
        EXPECT_EQ(before, numora_test::AllocationCount());
        EXPECT_NEAR(t[0], tr.info.magnitude, 1e-4 * t[0]);
        const double phase = std::atan2(static_cast<double>(tr.info.im), static_cast<double>(tr.info.re));
        EXPECT_NEAR(t[2], phase * 180.0 / kPi, 1e-3);
        EXPECT_EQ(1000.0f, tr.info.maximum);  // statistics cover the whole block
    }
}

TEST(OrderExtract, ProductsInFloatHalvesSummedApartAndStatisticsInDouble)
{
    // Frequency 0, L = 2: a pure half window, h0 near the centre, h1 outside.
    Tracker tr(0.0, 1.0, 2);
    const float h0 = tr.info.vector[0], h1 = tr.info.vector[2];
    EXPECT_TRUE(SameBits(-0.0f, tr.info.vector[1]) && SameBits(-0.0f, tr.info.vector[3]));
    auto p = [](float a, float b) { return static_cast<double>(a * b); };

    // The back half walks down from sample 1, the front half up from sample 2.
    // The big products cancel only between the halves, so one running sum
    // would keep the 0.1s that the separate half sums lose.
    float x[4] = {0.1f, 0x1p60f, -0x1p60f, 0.1f};
    Order_Extract(&tr.info, x, 4);
    EXPECT_EQ(0.0, tr.info.power);

    float y[4] = {0.1f, 0.3f, 0.7f, 0.9f};
    Order_Extract(&tr.info, y, 4);
    // Each product rounds to float before the sums; products in double would
    // give another power.
    const double sum = (p(y[1], h0) + p(y[0], h1)) + (p(y[2], h0) + p(y[3], h1));
    EXPECT_EQ(sum * sum, tr.info.power);
    EXPECT_EQ(0.0f, tr.info.im);

    // Statistics in double, with strict extremes and no root of a negative.
    Tracker none(0.0, 1.0, 0);  // L = 0: correlation 0, statistics still computed
    float z4[4] = {3.0f, -5.0f, 1.0f, 2.0f};
    Order_Extract(&none.info, z4, 4);
    const float got[] = {none.info.minimum, none.info.maximum, none.info.peak, none.info.mean,
                         none.info.meanSquare, none.info.stdDev, none.info.re};
    const float want[] = {-5.0f, 3.0f, 5.0f, 0.25f, 9.75f, static_cast<float>(std::sqrt(9.6875)), 0.0f};
    EXPECT_TRUE(BitEqual(want, got, 7));
    float big[3] = {0x1p25f, 1.0f, -0x1p25f};  // a float sum would lose the 1
    Order_Extract(&none.info, big, 3);
    EXPECT_EQ(static_cast<float>(1.0 / 3.0), none.info.mean);

    // The first of equal extremes stays: +0 then -0 keeps +0 for both.
    float z[2] = {0.0f, -0.0f};
    Order_Extract(&none.info, z, 2);
    EXPECT_TRUE(SameBits(0.0f, none.info.minimum) && SameBits(0.0f, none.info.maximum));
    Order_Extract(&none.info, z + 1, 1);  // n = 1: every statistic is the sample
    EXPECT_TRUE(SameBits(-0.0f, none.info.maximum) && SameBits(0.0f, none.info.peak));

    // A constant block whose q - m^2 comes out at -0x1.2p-48 reports that, not a NaN.
    std::vector<float> flat(100, 0x1.5a3042p+0f);
    Order_Extract(&none.info, flat.data(), 100);
    EXPECT_EQ(-0x1.2p-48f, none.info.stdDev);
}

}  // namespace
