#include "numora/transforms/frame.h"

#include <cmath>
#include <vector>

#include "tests/support/support.h"

namespace {

using namespace qv::math;
using namespace numora_test;
using Floats = std::vector<float>;

TEST(TIMtoAPS, AllocatesNothingOnceTheWindowIsPrepared)
{
    const int n = 64, lines = 25;
    Floats x = RandomFloats(n, 1), aps(lines);
    std::vector<double> work(n);
    QV_WIND_SETUP wind{};
    auto frame = [&](int k, int doubleFrom) {
        TIMtoAPS(0, x.data(), aps.data(), 40.0f, QV_AVG_LINEAR, QV_WIN_HANN, QV_WINDOWSCALE_AMPLITUDE, 0.0f, 0,
                 QV_WEIGHT_A, n, lines, k, 4, 0.5f, &wind, nullptr, work.data(), doubleFrom);
    };
    frame(1, n + 1);  // builds the window table
    const std::size_t before = AllocationCount();
    frame(2, n);  // the transform in double
    frame(3, n + 1);
    EXPECT_EQ(before, AllocationCount());
    WindowReset(&wind);
}

TEST(FFTtoPhase, RadiansFromLineOneAndZeroForLineZeroEvenWithoutLines)
{
    double z[4] = {5, 7, 0, -3}, ph[2] = {1.0, 1.0};
    FFTtoPhase(z, ph, 0);
    EXPECT_TRUE(ph[0] == 0.0 && ph[1] == 1.0);
    FFTtoPhase(z, ph, 2);
    EXPECT_EQ(std::atan2(-3.0, 0.0), ph[1]);
}

}  // namespace
