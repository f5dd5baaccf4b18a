#include "numora/drive/onions.h"

#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include "numora/foundation/platform.h"
#include "numora/transforms/window.h"
#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::FillSentinel;
using numora_test::HoldsSentinel;
using qv::RANDOM_GENSTATE;
using qv::RANDOM_ONIONSTATE;

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
    float out = 7.0f;
    RandomStartTimeFrame(g, &out, &out, 0);  // no count: no draw
    EXPECT_EQ(first[1], RandomGenF(g));

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
    for (int i = 0; i < 100; ++i)
        src[i] = static_cast<float>(i);
    RandomStartTimeFrame(h, dst, src, 100);
    EXPECT_TRUE(dst[0] == 67.0f && dst[32] == 99.0f && dst[33] == 0.0f && dst[99] == 66.0f);
}

TEST(RandomOnionsCreate, SizeBelowOneOrAFailedAllocationLeavesNoBuffers)
{
    // The window, the zeroed onions and the seed -1 are pinned by the overlap
    // model below; a leak on a failed allocation shows in the sanitizer build.
    RANDOM_ONIONSTATE st{};
    RandomOnionsCreate(st, 64);
    ASSERT_TRUE(st.onions != nullptr && st.window != nullptr && st.numOnions == 4);
    RandomOnionsCreate(st, 0);  // destroys a created record, which then stays without buffers
    EXPECT_TRUE(st.onions == nullptr && st.window == nullptr && st.frameSize == 64);
    for (std::size_t failing = 0; failing < 6; ++failing) {  // table, four onions, window
        numora_test::FailAllocation(failing);
        RandomOnionsCreate(st, 64);
        EXPECT_TRUE(st.onions == nullptr && st.window == nullptr) << failing;
        float out[64], base[64] = {1.0f};
        FillSentinel(out, 64);
        RandomOnionsApply(st, out, base, 64, 1.0f);
        EXPECT_TRUE(HoldsSentinel(out, 64));
    }
}

TEST(RandomOnionsApply, SumsFourRandomlyStartedWindowedCopiesAcrossBlocksAndAllocatesNothing)
{
    // A model: its own onions, starts from a copy of the generator, the fixed
    // order of addition. n is not a multiple of 4, so the quarters start at
    // (k * n) / 4 and four samples stay unwritten.
    const int n = 510;
    std::vector<float> base = numora_test::RandomFloats(n, 41), window(n), out(n), expected(n), sum(n, 0.0f),
                       buffer(n), scratch(n, 0.0f);
    WindowHan(window.data(), n);
    std::vector<std::vector<float>> onion(4, std::vector<float>(n, 0.0f));
    RANDOM_GENSTATE gen{};
    gen.seed = -1;
    RANDOM_ONIONSTATE st{}, twin{};
    RandomOnionsCreate(st, n);
    RandomOnionsApply(st, out.data(), base.data(), n, 1.0f);
    RandomOnionsCreate(st, n);  // starts anew on memory that held onions: cleared, seed -1, current 0
    RandomOnionsCreate(twin, n);
    FillSentinel(out.data(), n);
    FillSentinel(expected.data(), n);
    const std::size_t allocations = numora_test::AllocationCount();
    for (int block = 0, c = 0; block < 6; ++block) {
        for (int k = 0; k < 4; ++k, c = (c + 1) % 4) {
            const int s = static_cast<int>(RandomGenF(gen) * static_cast<float>(n - 1));
            for (int i = 0; i < n; ++i)
                onion[c][i] = base[(i + s) % n] * window[i];
            for (int i = 0, o = (k * n) / 4; i < n / 4; ++i) {
                sum[o + i] = ((onion[(c + 2) % 4][(2 * n) / 4 + i] + onion[(c + 1) % 4][(3 * n) / 4 + i]) +
                              onion[(c + 3) % 4][n / 4 + i]) +
                             onion[c][i];
                expected[o + i] = sum[o + i] * 0.5f;
            }
        }
        RandomOnionsApply(st, out.data(), base.data(), n, 0.5f);
        ASSERT_TRUE(BitEqual(expected.data(), out.data(), n) && st.current == 0) << block;
        std::fill(buffer.begin(), buffer.end(), 1.0f);  // the accumulating form adds at scale 1
        AddRandomBandToTimeBuffer(twin, buffer.data(), n, base.data(), scratch.data());
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(1.0f + sum[i], buffer[i]) << block;
    }
    EXPECT_EQ(allocations, numora_test::AllocationCount());
    // A quarter of a shorter frame takes its quarters at that frame's offsets.
    const int h = n / 2;
    RandomOnionsAdd(st, out.data(), h, 2.0f);
    for (int i = 0; i < h / 4; ++i)
        ASSERT_EQ((((onion[2][(2 * h) / 4 + i] + onion[1][(3 * h) / 4 + i]) + onion[3][h / 4 + i]) + onion[0][i]) *
                      2.0f,
                  out[i])
            << i;
    // A wrong size touches neither the output nor the generator; the
    // accumulating form still adds what scratch held.
    const RANDOM_GENSTATE before = st.gen;
    FillSentinel(out.data(), n);
    std::fill(buffer.begin(), buffer.end(), 1.0f);
    RandomOnionsApply(st, out.data(), base.data(), n / 2, 1.0f);
    RandomOnionsAdd(st, out.data(), 2 * n, 1.0f);
    AddRandomBandToTimeBuffer(st, buffer.data(), n / 2, base.data(), scratch.data());
    EXPECT_TRUE(HoldsSentinel(out.data(), n) && std::memcmp(&before, &st.gen, sizeof before) == 0);
    for (int i = 0; i < n; ++i)
        ASSERT_EQ(i < n / 2 ? 1.0f + scratch[i] : 1.0f, buffer[i]) << i;
    RandomOnionsDestroy(st);
    RandomOnionsDestroy(twin);
}

TEST(InitRandomBandToTimeBuffer, BaseCarriesTheBandPowerPerLineAndNothingOutside)
{
    const int n = 512;
    std::vector<float> base(n), time(4, 3.0f);
    RANDOM_ONIONSTATE st{};
    InitRandomBandToTimeBuffer(st, time.data(), n, base.data(), 200, 10.0f, 0.25f, 500.0f, 1000.0f);
    EXPECT_TRUE(st.onions != nullptr && st.frameSize == n && time[0] == 3.0f);
    std::vector<double> x(base.begin(), base.end());
    const std::vector<double> lines = numora_test::NaiveDftPacked(x.data(), n);
    // RMS scaling: a line of power P in the frame has plain DFT magnitude sqrt(P / 2).
    for (int k = 1; k < n / 2; ++k) {
        const double power = 2.0 * (lines[2 * k] * lines[2 * k] + lines[2 * k + 1] * lines[2 * k + 1]);
        ASSERT_NEAR(k >= 50 && k <= 100 ? 0.25 : 0.0, power, 1e-6) << k;
    }
    RandomOnionsDestroy(st);
}

TEST(CRandomOnions, OwnsTheRecordAndHandsItOverOnMove)
{
    static_assert(!std::is_copy_constructible<CRandomOnions>::value, "a record is never owned twice");
    CRandomOnions a(256), c(64);
    float* const window = a.State().window;
    CRandomOnions b(std::move(a));
    c = std::move(b);  // its own buffers go, b's come
    EXPECT_TRUE(!a.Valid() && a.State().numOnions == 0 && !b.Valid() && c.Valid() && c.State().window == window &&
                c.State().frameSize == 256);
    c.Create(0);
    EXPECT_FALSE(c.Valid());
}
