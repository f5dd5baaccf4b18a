#include "numora/drive/onions.h"

#include <numeric>
#include <vector>

#include "numora/transforms/window.h"
#include "tests/support/support.h"

using namespace qv;
using namespace qv::math;
using numora_test::FillSentinel;

// The generator's range, rotations by its draws (none for n below 1), refused
// sizes and records without buffers, the accumulating form and the owning
// wrapper are checked by the onions fuzz target.
TEST(RandomGenF, GivesTheKnownFirstValuesAndPicksTheSlotInFloat)
{
    RANDOM_GENSTATE g{};
    g.seed = -1;
    const float first[3] = {0.22098246f, 0.16709219f, 0.56018770f};
    const int32_t drawn[3] = {157787, 119308, 399988};
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(RandomGenF(g) == first[i] && g.lastValue == drawn[i]) << i;
    g.seed = -1;  // a negative seed reseeds a running generator
    EXPECT_EQ(first[0], RandomGenF(g));
    RANDOM_GENSTATE low{INT32_MIN, 0, {}, 0}, same{-108695, 0, {}, 0};  // 150889 - seed wraps to -2147332759
    EXPECT_EQ(RandomGenF(same), RandomGenF(low));

    // A valid state draws without seeding. 537359 * 97 / 714025 is 72.99999...,
    // 73 in float: slot 74. The slot takes the next step (150889 from seed 0).
    RANDOM_GENSTATE h{};
    h.seeded = 1;
    h.lastValue = 537359;
    h.shuffle[73] = 700000;
    EXPECT_EQ(0.0f, RandomGenF(h));  // a drawn 0 gives 0
    EXPECT_TRUE(h.shuffle[74] == 150889 && h.seed == 150889 && h.shuffle[73] == 700000);

    // The start is the product in float: 483229 / 714025 * 99 truncates to 67
    // (66 in double). lastValue 0 picks slot 1.
    h.shuffle[1] = 483229;
    float src[100], dst[100];
    std::iota(src, src + 100, 0.0f);
    RandomStartTimeFrame(h, dst, src, 100);
    EXPECT_TRUE(dst[0] == 67.0f && dst[32] == 99.0f && dst[33] == 0.0f && dst[99] == 66.0f);
}

TEST(RandomOnionsCreate, AFailedAllocationLeavesNoBuffers)
{
    // A leak on a failed allocation shows in the sanitizer build; that a
    // record without buffers refuses to run is the fuzz target's.
    RANDOM_ONIONSTATE st{};
    for (std::size_t failing = 0; failing < 6; ++failing) {  // table, four onions, window
        numora_test::FailAllocation(failing);
        RandomOnionsCreate(st, 64);
        EXPECT_TRUE(st.onions == nullptr && st.window == nullptr) << failing;
    }
}

TEST(RandomOnionsApply, SumsFourRandomlyStartedWindowedCopiesAcrossBlocksAndAllocatesNothing)
{
    // A model: its own onions, starts from a copy of the generator, the fixed
    // order of addition. n is not a multiple of 4, so the quarters start at
    // (k * n) / 4 and four samples stay unwritten.
    const int n = 510;
    std::vector<float> base = numora_test::RandomFloats(n, 41), window(n), out(n), expected(n);
    WindowHan(window.data(), n);
    std::vector<std::vector<float>> onion(4, std::vector<float>(n, 0.0f));
    RANDOM_GENSTATE gen{};
    gen.seed = -1;
    CRandomOnions st(n);
    RandomOnionsApply(st.State(), out.data(), base.data(), n, 1.0f);
    st.Create(n);  // starts anew on memory that held onions: cleared, seed -1, current 0
    FillSentinel(out.data(), n);
    FillSentinel(expected.data(), n);
    const std::size_t allocations = numora_test::AllocationCount();
    for (int block = 0, c = 0; block < 6; ++block) {
        for (int k = 0; k < 4; ++k, c = (c + 1) % 4) {
            const int s = static_cast<int>(RandomGenF(gen) * static_cast<float>(n - 1));
            for (int i = 0; i < n; ++i)
                onion[c][i] = base[(i + s) % n] * window[i];
            const float *a = onion[c].data(), *b = &onion[(c + 1) % 4][(3 * n) / 4],
                        *cc = &onion[(c + 2) % 4][(2 * n) / 4], *d = &onion[(c + 3) % 4][n / 4];
            for (int i = 0, o = (k * n) / 4; i < n / 4; ++i)  // the oldest onion's last quarter first
                expected[o + i] = (((cc[i] + b[i]) + d[i]) + a[i]) * 0.5f;
        }
        RandomOnionsApply(st.State(), out.data(), base.data(), n / 2, 0.5f);  // refused: no draw, no step
        RandomOnionsApply(st.State(), out.data(), base.data(), n, 0.5f);
        ASSERT_TRUE(numora_test::BitEqual(expected.data(), out.data(), n) && st.State().current == 0) << block;
    }
    EXPECT_EQ(allocations, numora_test::AllocationCount());
}

TEST(InitRandomBandToTimeBuffer, BaseCarriesTheBandPowerPerLineAndNothingOutside)
{
    const int n = 512;
    std::vector<float> base(n), time(4, 3.0f);
    CRandomOnions st;
    InitRandomBandToTimeBuffer(st.State(), time.data(), n, base.data(), 200, 10.0f, 0.25f, 500.0f, 1000.0f);
    EXPECT_TRUE(st.Valid() && st.State().frameSize == n && time[0] == 3.0f);
    std::vector<double> x(base.begin(), base.end());
    const std::vector<double> lines = numora_test::NaiveDftPacked(x.data(), n);
    // RMS scaling: a line of power P in the frame has plain DFT magnitude sqrt(P / 2).
    for (int k = 1; k < n / 2; ++k) {
        const double power = 2.0 * (lines[2 * k] * lines[2 * k] + lines[2 * k + 1] * lines[2 * k + 1]);
        ASSERT_NEAR(k >= 50 && k <= 100 ? 0.25 : 0.0, power, 1e-6) << k;
    }
}
