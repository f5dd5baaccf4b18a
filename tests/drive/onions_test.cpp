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

namespace {

int32_t LcgStep(int32_t s)
{
    return static_cast<int32_t>((1366LL * s + 150889) % 714025);
}

// A model of the overlap: keeps its own onions, draws its starts from a copy
// of the generator, and sums the quarters in the fixed order.
struct OnionModel {
    RANDOM_GENSTATE gen{};
    std::vector<std::vector<float>> onions;
    std::vector<float> window;
    int current = 0;

    explicit OnionModel(int n) : onions(4, std::vector<float>(n, 0.0f)), window(n)
    {
        gen.seed = -1;
        WindowHan(window.data(), n);
    }

    void Block(float* out, const float* base, int n, float scale)
    {
        for (int k = 0; k < 4; ++k) {
            const int s = static_cast<int>(RandomGenF(gen) * static_cast<float>(n - 1));
            std::vector<float>& o = onions[current];
            for (int i = 0; i < n; ++i)
                o[i] = base[(i + s) % n] * window[i];
            const int q = n / 4;
            for (int i = 0; i < q; ++i) {
                const float a = onions[current][i];
                const float d = onions[(current + 3) % 4][q + i];
                const float c = onions[(current + 2) % 4][2 * q + i];
                const float b = onions[(current + 1) % 4][3 * q + i];
                out[k * q + i] = (((c + b) + d) + a) * scale;
            }
            current = (current + 1) % 4;
        }
    }
};

}  // namespace

TEST(RandomGenF, SeedMinusOneGivesTheKnownFirstValues)
{
    RANDOM_GENSTATE g{};
    g.seed = -1;
    EXPECT_EQ(0.22098246f, RandomGenF(g));
    EXPECT_EQ(157787, g.lastValue);
    EXPECT_EQ(0.16709219f, RandomGenF(g));
    EXPECT_EQ(119308, g.lastValue);
    EXPECT_EQ(0.56018770f, RandomGenF(g));
    EXPECT_EQ(399988, g.lastValue);
    EXPECT_EQ(1, g.seeded);

    // The table: seed 150890 stepped 97 times fills slots 1 to 97, one more step is lastValue.
    RANDOM_GENSTATE h{};
    h.seed = -1;
    RandomGenF(h);
    int32_t s = 150890;
    for (int j = 1; j <= 97; ++j)
        s = LcgStep(s);
    s = LcgStep(s);
    const int first = static_cast<int>(static_cast<float>(s) * 97.0f / 714025.0f + 1.0f);
    EXPECT_EQ(LcgStep(s), h.shuffle[first]);  // the drawn slot takes the next step
    EXPECT_EQ(LcgStep(s), h.seed);

    // A negative seed on a running generator reseeds on the next draw.
    g.seed = -1;
    EXPECT_EQ(0.22098246f, RandomGenF(g));
    // seeded = 0 reseeds from any seed: 5 and -5 start the same table (|150889 - 5| vs 150894).
    RANDOM_GENSTATE a{}, b{};
    a.seed = 150889 + 150894;
    b.seed = -5;
    EXPECT_EQ(RandomGenF(a), RandomGenF(b));
}

TEST(RandomGenF, DrawsFromAValidStateWithoutSeedingAndPicksTheSlotInFloat)
{
    RANDOM_GENSTATE g{};
    g.seeded = 1;
    g.seed = 0;
    g.lastValue = 537359;  // 537359 * 97 / 714025 is 72.9999..., but 73.0 in float: slot 74
    g.shuffle[73] = 700000;
    g.shuffle[74] = 0;
    EXPECT_EQ(0.0f, RandomGenF(g));  // a drawn 0 returns 0
    EXPECT_EQ(0, g.lastValue);
    EXPECT_EQ(150889, g.shuffle[74]);
    EXPECT_EQ(150889, g.seed);
    EXPECT_EQ(700000, g.shuffle[73]);

    g.lastValue = 0;  // slot 1
    g.shuffle[1] = 714024;
    const float top = RandomGenF(g);
    EXPECT_LT(top, 1.0f);  // the largest value stays below 1
    EXPECT_EQ(714024.0f / 714025.0f, top);
}

TEST(RandomStartTimeFrame, RotatesTheWholeFrameToTheDrawnStart)
{
    const int n = 1000;
    std::vector<float> src(n), dst(n);
    for (int i = 0; i < n; ++i)
        src[i] = static_cast<float>(i);
    RANDOM_GENSTATE g{}, twin{};
    g.seed = twin.seed = -7;
    for (int round = 0; round < 20; ++round) {
        const int s = static_cast<int>(RandomGenF(twin) * 999.0f);
        RandomStartTimeFrame(g, dst.data(), src.data(), n);
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(static_cast<float>((i + s) % n), dst[i]) << round;
    }
    float one = 5.0f, out = 0.0f;
    RandomStartTimeFrame(g, &out, &one, 1);
    EXPECT_EQ(5.0f, out);
    RANDOM_GENSTATE before = g;
    RandomStartTimeFrame(g, &out, &one, 0);  // no count: no draw
    EXPECT_EQ(0, std::memcmp(&before, &g, sizeof g));
}

TEST(RandomOnionsCreate, BuildsZeroedOnionsAHannWindowAndTheFixedSeed)
{
    RANDOM_ONIONSTATE st{};
    st.gen.seed = 99;
    RandomOnionsCreate(st, 64);
    ASSERT_TRUE(st.onions != nullptr && st.window != nullptr);
    EXPECT_TRUE(st.numOnions == 4 && st.frameSize == 64 && st.current == 0 && st.gen.seed == -1);
    std::vector<float> hann(64), zero(64, 0.0f);
    WindowHan(hann.data(), 64);
    EXPECT_TRUE(BitEqual(hann.data(), st.window, 64));
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(BitEqual(zero.data(), st.onions[i], 64));

    RandomOnionsCreate(st, 32);  // a new size: the old buffers go first
    EXPECT_EQ(32, st.frameSize);
    RandomOnionsCreate(st, 0);  // no size: destroyed and stays so
    EXPECT_TRUE(st.onions == nullptr && st.window == nullptr && st.numOnions == 4 && st.frameSize == 32);
    RandomOnionsDestroy(st);    // twice is harmless
    RandomOnionsCreate(st, 16);  // a destroyed record can be created again
    EXPECT_TRUE(st.onions != nullptr && st.frameSize == 16);
    RandomOnionsDestroy(st);
}

TEST(RandomOnionsCreate, AFailedAllocationFreesEverythingAndLeavesAnInertRecord)
{
    for (std::size_t failing = 0; failing < 6; ++failing) {  // table, four onions, window
        RANDOM_ONIONSTATE st{};
        numora_test::FailAllocation(failing);
        RandomOnionsCreate(st, 64);
        EXPECT_TRUE(st.onions == nullptr && st.window == nullptr) << failing;
        float out[64], base[64] = {1.0f};
        FillSentinel(out, 64);
        RandomOnionsApply(st, out, base, 64, 1.0f);  // nothing to work with: nothing happens
        RandomOnionsAdd(st, out, 64, 1.0f);
        EXPECT_TRUE(HoldsSentinel(out, 64));
        RandomOnionsDestroy(st);
    }
}

TEST(RandomOnionsApply, OnesGiveTheSumOfHannQuartersFadingInThenNearTwo)
{
    const int n = 256, q = 64;
    RANDOM_ONIONSTATE st{};
    RandomOnionsCreate(st, n);
    std::vector<float> ones(n, 1.0f), out(2 * n), w(n);
    WindowHan(w.data(), n);
    RandomOnionsApply(st, out.data(), ones.data(), n, 1.0f);
    RandomOnionsApply(st, out.data() + n, ones.data(), n, 1.0f);
    for (int i = 0; i < q; ++i) {
        // Quarter k of the first block holds k + 1 onions; from then on four.
        ASSERT_EQ(w[i], out[i]);
        ASSERT_EQ(w[q + i] + w[i], out[q + i]);
        ASSERT_EQ((w[2 * q + i] + w[q + i]) + w[i], out[2 * q + i]);
        for (int k = 3; k < 8; ++k)
            ASSERT_EQ(((w[2 * q + i] + w[3 * q + i]) + w[q + i]) + w[i], out[k * q + i]) << k;
    }
    for (int i = 3 * q; i < 2 * n; ++i)
        ASSERT_NEAR(2.0, out[i], 0.025);  // the symmetric window overlaps to nearly 2
    EXPECT_EQ(0, st.current);
    RandomOnionsDestroy(st);
}

TEST(RandomOnionsApply, BlocksContinueTheOverlapOfRandomlyStartedScaledCopies)
{
    const int n = 512;
    std::vector<float> base = numora_test::RandomFloats(n, 41);
    RANDOM_ONIONSTATE st{};
    RandomOnionsCreate(st, n);
    OnionModel model(n);
    std::vector<float> out(n), expected(n);
    for (int block = 0; block < 6; ++block) {
        RandomOnionsApply(st, out.data(), base.data(), n, 0.5f);
        model.Block(expected.data(), base.data(), n, 0.5f);
        ASSERT_TRUE(BitEqual(expected.data(), out.data(), n)) << block;
    }
    // The onions themselves are rotated, windowed copies; RandomOnionsAdd repeats the last quarter.
    std::vector<float> again(n / 4);
    st.current = 3;
    RandomOnionsAdd(st, again.data(), n, 0.5f);
    EXPECT_TRUE(BitEqual(expected.data() + 3 * n / 4, again.data(), n / 4));
    RandomOnionsDestroy(st);
}

TEST(RandomOnionsApply, AWrongSizeTouchesNothing)
{
    RANDOM_ONIONSTATE st{};
    RandomOnionsCreate(st, 64);
    std::vector<float> base(64, 1.0f), out(128);
    RandomOnionsApply(st, out.data(), base.data(), 64, 1.0f);  // generator now running
    const RANDOM_GENSTATE gen = st.gen;
    FillSentinel(out.data(), 128);
    RandomOnionsApply(st, out.data(), base.data(), 128, 1.0f);
    RandomOnionsApply(st, out.data(), base.data(), 32, 1.0f);
    RandomOnionsAdd(st, out.data(), 128, 1.0f);
    AddRandomBandToTimeBuffer(st, out.data(), 32, base.data(), out.data() + 64);
    EXPECT_TRUE(HoldsSentinel(out.data(), 128));
    EXPECT_EQ(0, std::memcmp(&gen, &st.gen, sizeof gen));
    EXPECT_TRUE(st.current == 0 && st.frameSize == 64);
    RandomOnionsDestroy(st);
}

TEST(AddRandomBandToTimeBuffer, AddsTheOverlapOutputAndAllocatesNothing)
{
    const int n = 1024;
    std::vector<float> base = numora_test::RandomFloats(n, 7);
    RANDOM_ONIONSTATE a{}, b{};
    RandomOnionsCreate(a, n);
    RandomOnionsCreate(b, n);
    std::vector<float> drive(n), scratch(n), buffer(n, 1.0f);
    const std::size_t allocations = numora_test::AllocationCount();
    for (int block = 0; block < 5; ++block) {
        RandomOnionsApply(a, drive.data(), base.data(), n, 1.0f);
        std::fill(buffer.begin(), buffer.end(), 1.0f);
        AddRandomBandToTimeBuffer(b, buffer.data(), n, base.data(), scratch.data());
        for (int i = 0; i < n; ++i)
            ASSERT_EQ(1.0f + drive[i], buffer[i]) << block;
    }
    EXPECT_EQ(allocations, numora_test::AllocationCount());
    RandomOnionsDestroy(a);
    RandomOnionsDestroy(b);
}

TEST(InitRandomBandToTimeBuffer, BaseCarriesTheBandPowerPerLineAndNothingOutside)
{
    const int n = 512;
    const float df = 10.0f, level = 0.25f;
    std::vector<float> base(n + 2), time(4, 3.0f);
    RANDOM_ONIONSTATE st{};
    SRand(17);
    InitRandomBandToTimeBuffer(st, time.data(), n, base.data(), 200, df, level, 500.0f, 1000.0f);
    EXPECT_TRUE(st.onions != nullptr && st.frameSize == n && st.gen.seed == -1);
    EXPECT_TRUE(time[0] == 3.0f && time[3] == 3.0f);
    std::vector<double> x(base.begin(), base.begin() + n);
    const std::vector<double> lines = numora_test::NaiveDftPacked(x.data(), n);
    // RMS scaling: line k of the time frame has the RMS amplitude sqrt(level),
    // a power of level = 2 |X_k|^2 with X_k the plain DFT line.
    double total = 0.0;
    for (int k = 1; k < n / 2; ++k) {
        const double power = 2.0 * (lines[2 * k] * lines[2 * k] + lines[2 * k + 1] * lines[2 * k + 1]);
        if (k >= 50 && k <= 100)
            ASSERT_NEAR(level, power, 1e-6) << k;
        else
            ASSERT_NEAR(0.0, power, 1e-12) << k;
        total += power;
    }
    EXPECT_NEAR(0.0, lines[0], 1e-7);
    double sum = 0.0;
    for (int i = 0; i < n; ++i)
        sum += static_cast<double>(base[i]) * static_cast<double>(base[i]);
    EXPECT_NEAR(51 * static_cast<double>(level), sum / n, 1e-4);
    EXPECT_NEAR(total, sum / n, 1e-4);
    RandomOnionsDestroy(st);
}

TEST(CRandomOnions, OwnsTheRecordAndHandsItOverOnMove)
{
    static_assert(!std::is_copy_constructible<CRandomOnions>::value, "not copyable");
    static_assert(!std::is_copy_assignable<CRandomOnions>::value, "not copyable");
    static_assert(std::is_nothrow_move_constructible<CRandomOnions>::value, "movable");
    CRandomOnions a(256);
    ASSERT_TRUE(a.Valid());
    float* const window = a.State().window;
    CRandomOnions b(std::move(a));
    EXPECT_FALSE(a.Valid());
    EXPECT_TRUE(a.State().onions == nullptr && a.State().numOnions == 0);
    EXPECT_TRUE(b.Valid() && b.State().window == window);
    CRandomOnions c(64);
    c = std::move(b);  // c's own buffers are freed, b's taken over
    EXPECT_TRUE(c.Valid() && c.State().window == window && c.State().frameSize == 256);

    // The wrapper drives exactly as the record does.
    std::vector<float> base = numora_test::RandomFloats(256, 3), out(256), expected(256);
    RANDOM_ONIONSTATE st{};
    RandomOnionsCreate(st, 256);
    c.Apply(out.data(), base.data(), 256, 1.0f);
    RandomOnionsApply(st, expected.data(), base.data(), 256, 1.0f);
    EXPECT_TRUE(BitEqual(expected.data(), out.data(), 256));
    RandomOnionsDestroy(st);
    CRandomOnions empty;
    EXPECT_FALSE(empty.Valid());
    empty.Create(32);
    EXPECT_TRUE(empty.Valid());
}
