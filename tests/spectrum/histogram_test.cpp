#include "numora/spectrum/histogram.h"

#include <cmath>
#include <vector>

#include "tests/support/support.h"

namespace {

using namespace qv::math;
using V = std::vector<int>;

TEST(Histogram, ClearsAndCountsTheTopEdgeRoundedQuotientsAndNaNAbove)
{
    float s[] = {-1.0f, 0.0f, 0.5f, 1.0f, 3.999f, 4.0f, 5.0f, 1.0f, std::nextafter(1.0f, 0.0f), NAN, -1.0f, -2.0f};
    int hist[] = {5, -3, 7, 9, 1, 2, 77}, h7[9] = {}, h25[27] = {}, exact[4] = {};
    // n = 0 clears exactly bins + 2 counters; 4 at the top edge counts above.
    EXPECT_EQ(0, TIMtoPDFHistogram(s, 0, 4, hist, 0.0f, 4.0f));
    EXPECT_EQ(7, TIMtoPDFHistogram(s, 7, 4, hist, 0.0f, 4.0f));
    EXPECT_EQ((V{1, 2, 1, 0, 1, 2, 77}), V(hist, hist + 7));
    // At hi = 1 with 7 bins the float quotient is 6.9999995, yet hi counts
    // above; just below hi with 25 bins the quotient rounds up to 25.
    TIMtoPDFHistogram(s + 7, 1, 7, h7, 0.0f, 1.0f);
    TIMtoPDFHistogram(s + 8, 1, 25, h25, 0.0f, 1.0f);
    // A NaN, and -1 whose quotient with lo = -inf is inf / inf, count above;
    // exactly sized counters let AddressSanitizer see a stray write.
    TIMtoPDFHistogram(s + 9, 3, 2, exact, -INFINITY, 0.0f);
    EXPECT_EQ((V{1, 0, 1, 0, 0, 0, 0, 3}), (V{h7[8], h7[7], h25[26], h25[25], exact[0], exact[1], exact[2], exact[3]}));
}

TEST(HistToPdf, PercentagesAddUpTo100ThroughFloatStepsOrAreNaN)
{
    const int n = 20, total = 123457;
    std::vector<float> noise = numora_test::RandomFloats(n, 2u), expected(n), out(n);
    V counts(n);
    // Reference in float steps; with a double sum r differs for this data.
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
    HISTtoPDF(out.data(), counts.data(), 3, 0);  // no total: NaN, and only count entries written
    EXPECT_TRUE(std::isnan(out[0]) && std::isnan(out[2]) && out[3] == expected[3]);
}

}  // namespace
