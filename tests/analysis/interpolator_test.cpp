#include "numora/analysis/interpolator.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "tests/support/support.h"

using namespace qv::math;
using namespace numora_test;

namespace {

using Floats = std::vector<float>;

const double kReach = 13.140625;

// One interpolated value by the definition, with Kerval term by term: samples
// sample(i) for i = ceil(t - L) ... floor(t + L), narrowed to [first, last].
template <class Sample>
double Interpolated(Sample sample, double t, long first, long last)
{
    const long lo = std::max(static_cast<long>(std::ceil(t - kReach)), first);
    const long hi = std::min(static_cast<long>(std::floor(t + kReach)), last);
    double s = 0.0;
    for (long i = lo; i <= hi; ++i)
        s += static_cast<double>(sample(i)) * Kerval(static_cast<double>(i) - t);
    return 0.999998 * s;
}

// What a CInterpolator fed with frames of n samples of stream must produce for
// frame f: its samples at t = j / ratio from the frame's start, with the
// stream's samples around it and zeros before the stream.
Floats ExpectedFrame(const Floats& stream, uint32_t n, float ratio, long f, uint32_t perFrame)
{
    const double dt = 1.0 / static_cast<double>(ratio);
    auto sample = [&](long i) { return f * n + i < 0 ? 0.0f : stream[f * n + i]; };
    Floats out(perFrame);
    for (uint32_t j = 0; j < perFrame; ++j)
        out[j] = static_cast<float>(Interpolated(sample, j * dt, -20, n + 19));
    return out;
}

TEST(Kernel, PublishedRowsStraightLinesBetweenEntriesAndUnitSum)
{
    // The table itself is pinned by its generator's check; read at whole
    // steps, Kerval gives the entries, and 0 past the table.
    EXPECT_TRUE(SameBits(0.0, Kerval(1683 / 128.0)) && SameBits(0.0, Kerval(1684 / 128.0)));
    const std::pair<int, double> rows[] = {{0, 0.999988},     {1, 0.999887},     {2, 0.999581},
                                           {64, 0.632707},    {96, 0.295973},    {200, -0.188113},
                                           {600, 0.032319},   {1000, -0.004333}, {1600, 0.000094},
                                           {1682, -0.000009}};
    for (const auto& row : rows)
        EXPECT_EQ(row.second, Kerval(row.first / 128.0)) << row.first;

    // Between entries, the straight line in double; past the reach the last
    // entry fades out up to entry 1684.
    const double a = Kerval(200 / 128.0), b = Kerval(201 / 128.0);
    EXPECT_TRUE(SameBits(a + (b - a) * 0.25, Kerval(200.25 / 128.0)));
    EXPECT_EQ(-0.000009 * 0.5, Kerval(1682.5 / 128.0));
    // Over whole offsets the kernel sums to 1 within its gain correction, so a
    // constant comes out within 2e-5. At a quarter sample the kernel alone,
    // before the gain, sums to 1.000001.
    for (double f : {0.0, 0.25, 0.5, 0.8}) {
        double s = 0.0;
        for (int k = -14; k <= 14; ++k)
            s += Kerval(k + f);
        EXPECT_NEAR(1.0, 0.999998 * s, 2e-5) << f;
        EXPECT_TRUE(f != 0.25 || std::fabs(s - 1.000001) < 1e-9);
    }
}

TEST(CInterpolator, ProducesKernelSumsOneFrameLateWithTimeBaseRestartingEachFrameWithoutAllocating)
{
    struct Case {
        uint32_t n;
        float ratio;
        uint32_t perFrame;
    };
    // 1000 samples at 2.56 give 2559: 2.56f lies just below 2.56.
    for (const Case c : {Case{1000, 2.56f, 2559}, Case{64, 4.0f, 256}, Case{21, 8.0f, 168}, Case{37, 1.7f, 62}}) {
        const Floats stream = RandomFloats(static_cast<int>(5 * c.n), c.n);
        CInterpolator ip;
        ip.Setup(c.n, c.ratio);
        for (long f = 0; f < 5; ++f) {
            Floats frame(stream.begin() + f * c.n, stream.begin() + (f + 1) * c.n);
            const std::size_t before = AllocationCount();
            ip.Setup(c.n, c.ratio);  // the same sizes: nothing to allocate, nothing dropped
            ip.Add(frame.data());
            EXPECT_EQ(before, AllocationCount());
            if (f == 0)
                continue;  // the first frame is only held
            ASSERT_TRUE(ip.IsReadReady(c.perFrame) && !ip.IsReadReady(c.perFrame + 1)) << c.n;
            const Floats expected = ExpectedFrame(stream, c.n, c.ratio, f - 1, c.perFrame);
            ASSERT_TRUE(BitEqual(expected.data(), ip.Read(c.perFrame), static_cast<int>(c.perFrame)))
                << c.n << " frame " << f - 1;
        }
    }
}

TEST(CInterpolator, OutputBufferHoldsTwoFramesDropsTheNextAndCopiesEverything)
{
    const uint32_t n = 1000, perFrame = 2559;
    Floats stream = RandomFloats(5 * static_cast<int>(n), 17);
    CInterpolator ip, assigned;
    ip.Setup(n, 2.56f);
    for (uint32_t f = 0; f < 4; ++f)  // the third Add fits, the fourth is lost
        ip.Add(stream.data() + f * n);
    // An assigned copy takes the held frame and the unread results along.
    assigned.Setup(128, 4.0f);
    assigned = ip;
    CInterpolator& same = assigned;
    assigned = same;  // self-assignment keeps everything
    Floats lost = stream;
    stream.erase(stream.begin() + 3 * n, stream.begin() + 4 * n);
    for (CInterpolator* p : {&ip, &assigned}) {
        // Consecutive reads give consecutive pointers.
        float* first = p->Read(100);
        EXPECT_EQ(first + 100, p->Read(2 * perFrame - 100));
        for (long f = 0; f < 2; ++f) {
            const Floats expected = ExpectedFrame(stream, n, 2.56f, f, perFrame);
            ASSERT_TRUE(BitEqual(expected.data(), first + f * perFrame, static_cast<int>(perFrame))) << f;
        }
        // The lost frame never appears: the held frame goes on with the next one.
        p->Add(lost.data() + 4 * n);
        const Floats expected = ExpectedFrame(stream, n, 2.56f, 2, perFrame);
        EXPECT_TRUE(BitEqual(expected.data(), p->Read(perFrame), static_cast<int>(perFrame)));
    }
}

TEST(CInterpolator, ANewRatioKeepsTheInputBufferAndItsContent)
{
    // The stream is dropped, but the buffer keeps its size and content, so
    // the 20 samples in front of the next frame are still those that stood
    // there: the end of the frame before the last one added.
    const uint32_t n = 50;
    Floats stream = RandomFloats(6 * static_cast<int>(n), 23);
    CInterpolator ip;
    ip.Setup(n, 4.0f);
    for (uint32_t f = 0; f < 3; ++f)
        ip.Add(stream.data() + f * n);
    ip.Setup(n, 2.0f);
    EXPECT_FALSE(ip.IsReadReady(1));
    Floats history(stream.begin() + static_cast<long>(2 * n - 20), stream.begin() + static_cast<long>(2 * n));
    history.insert(history.end(), stream.begin() + 4 * n, stream.begin() + 6 * n);
    ip.Add(stream.data() + 4 * n);
    ip.Add(stream.data() + 5 * n);
    Floats expected(100);
    for (uint32_t j = 0; j < 100; ++j)
        expected[j] = static_cast<float>(Interpolated([&](long i) { return history[i + 20]; }, j * 0.5, -20, 69));
    EXPECT_TRUE(BitEqual(expected.data(), ip.Read(100), 100));
}

}  // namespace
