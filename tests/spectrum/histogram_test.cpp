#include "numora/spectrum/histogram.h"

#include <cmath>
#include <limits>
#include <vector>

#include "tests/support/support.h"

namespace {

using namespace qv::math;
using V = std::vector<int>;

TEST(Histogram, BinsBoundsAccumulationAndNaNCountingAbove)
{
    float s[] = {-1.0f, 0.0f, 0.5f, 1.0f, 3.999f, 4.0f, 5.0f};
    V hist(6, 0), inverted(5, 0), h7(9, 0), h25(27, 0);
    EXPECT_EQ(7, TIMtoPDFHistogram(s, 7, 4, hist.data(), 0.0f, 4.0f));
    TIMtoPDFHistogram(s + 1, 2, 4, hist.data(), 0.0f, 4.0f);
    EXPECT_EQ((V{1, 4, 1, 0, 1, 2}), hist);
    // At hi = 1 with 7 bins the float quotient is 6.9999995, yet hi counts
    // above; just below hi with 25 bins the quotient rounds up to 25.
    float top[] = {1.0f, std::nextafter(1.0f, 0.0f)};
    TIMtoPDFHistogram(top, 1, 7, h7.data(), 0.0f, 1.0f);
    TIMtoPDFHistogram(top + 1, 1, 25, h25.data(), 0.0f, 1.0f);
    EXPECT_EQ((V{1, 0, 1, 0}), (V{h7[8], h7[7], h25[26], h25[25]}));
    TIMtoPDFHistogram(s, 7, 3, inverted.data(), 1.0f, -1.0f);
    EXPECT_EQ((V{3, 0, 0, 0, 4}), inverted);

    // A NaN, and -1 whose quotient with lo = -inf is inf / inf, count above;
    // exactly sized counters let AddressSanitizer see a stray write.
    float odd[] = {std::numeric_limits<float>::quiet_NaN(), -1.0f, -2.0f};
    V exact(4, 0);
    EXPECT_EQ(3, TIMtoPDFHistogram(odd, 3, 2, exact.data(), -INFINITY, 0.0f));
    EXPECT_EQ((V{0, 0, 0, 3}), exact);
}

TEST(Histogram, ClearsExactlyItsCountersAndRefusesWithoutWriting)
{
    float x = 0.5f;
    V hist = {5, -3, 7, 9, 1, 77};
    EXPECT_EQ(-1, TIMtoPDFHistogram(nullptr, 0, 3, hist.data(), 0.0f, 1.0f));
    EXPECT_EQ(-1, TIMtoPDFHistogram(&x, 1, 3, nullptr, 0.0f, 1.0f));
    EXPECT_EQ(-1, TIMtoPDFHistogram(&x, 1, 0, hist.data(), 0.0f, 1.0f));
    EXPECT_EQ((V{5, -3, 7, 9, 1, 77}), hist);
    EXPECT_EQ(0, TIMtoPDFHistogram(&x, 0, 3, hist.data(), 0.0f, 1.0f));
    EXPECT_EQ((V{0, 0, 0, 0, 0, 77}), hist);
}

TEST(HistToPdf, PercentagesAddUpTo100ThroughFloatSteps)
{
    int hist[] = {1, 1, 2, 0};
    float pdf[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    HISTtoPDF(pdf, hist, 3, 0);
    EXPECT_TRUE(std::isnan(pdf[0]) && std::isnan(pdf[2]) && pdf[3] == 0.0f);

    // Reference in float steps; with a double sum r differs for this data.
    const int n = 20, total = 123457;
    std::vector<float> noise = numora_test::RandomFloats(n, 2u), expected(n), out(n);
    V counts(n);
    float sum = 0.0f;
    for (int i = 0; i < n; ++i) {
        counts[i] = static_cast<int>((noise[i] + 1.0f) * 5000.0f);
        expected[i] = static_cast<float>(counts[i]) * static_cast<float>(100.0 / total);
        sum += expected[i];
    }
    for (float& e : expected)
        e *= static_cast<float>(100.0 / static_cast<double>(sum));
    HISTtoPDF(out.data(), counts.data(), n, total);
    EXPECT_TRUE(numora_test::BitEqual(expected.data(), out.data(), n));
}

}  // namespace
