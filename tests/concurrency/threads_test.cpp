// The library called from several threads at once, each on its own data: every
// thread must get what a single thread gets. Built with -fsanitize=thread
// (NUMORA_SANITIZE_THREAD) this is also the race check; the first test makes
// the first transform calls of the process, so the one-time rotation tables
// are built while the threads contend for them.

#include <atomic>
#include <thread>
#include <vector>

#include "numora/numora.h"
#include "tests/support/support.h"

using namespace qv::math;
using numora_test::BitEqual;
using numora_test::RandomFloats;

namespace {

const int kThreads = 4;

// Runs job(t) for t = 0 .. kThreads - 1, each on its own thread, all released
// together once every thread has started.
template <class Job>
void RunTogether(Job job)
{
    std::atomic<int> started{0};
    std::vector<std::thread> pool;
    for (int t = 0; t < kThreads; ++t) {
        pool.emplace_back([&started, &job, t] {
            started.fetch_add(1);
            while (started.load() < kThreads)
                std::this_thread::yield();
            job(t);
        });
    }
    for (std::thread& th : pool)
        th.join();
}

std::vector<double> Widened(const std::vector<float>& x)
{
    return std::vector<double>(x.begin(), x.end());
}

// Forward then inverse transforms of both twins; odd threads start with the
// double twin, so both tables are first asked for by several threads at once.
struct TransformResult {
    std::vector<float> f;
    std::vector<double> d;
};

TransformResult Transforms(int t)
{
    TransformResult r{RandomFloats(1024 << (t % 3), 10u + static_cast<uint32_t>(t)), {}};
    r.d = Widened(RandomFloats(8192 << (t % 2), 20u + static_cast<uint32_t>(t)));
    const int nf = static_cast<int>(r.f.size());
    const int nd = static_cast<int>(r.d.size());
    if (t % 2 == 1)
        DFT_D(r.d.data(), nd, 1);
    DFT(r.f.data(), nf, 1);
    if (t % 2 == 0)
        DFT_D(r.d.data(), nd, 1);
    DFT(r.f.data(), nf, -1);
    DFT_D(r.d.data(), nd, -1);
    return r;
}

// Window tables of every type prepared on the thread's own records.
std::vector<float> Windows(int t)
{
    std::vector<float> tables;
    for (int type = QV_WIN_HANN; type <= QV_WIN_HAMMING; ++type) {
        QV_WIND_SETUP w{};
        const int size = 1000 + 37 * t + type;
        WindowSetupCoeff(static_cast<QV_ACQFRAME_WINTYPE>(type), static_cast<QV_WINDOWSCALE>(t % 2), 3.0f, size, 0,
                         &w);
        tables.insert(tables.end(), w.coeff, w.coeff + size);
        WindowReset(&w);
    }
    return tables;
}

// Eight frames of two channels averaged through the frame chains.
struct ChainResult {
    std::vector<float> aps;
    std::vector<complex> cps;
    std::vector<double> apsD;
};

ChainResult Chains(int t)
{
    const int n = 2048;
    ChainResult r{std::vector<float>(n / 2), std::vector<complex>(n / 2), std::vector<double>(n / 2)};
    QV_WIND_SETUP wind{};
    QV_WIND_SETUP windD{};
    float held = 0.0f;
    for (int frame = 1; frame <= 8; ++frame) {
        const uint32_t seed = 100u * static_cast<uint32_t>(t) + static_cast<uint32_t>(frame);
        std::vector<float> a = RandomFloats(n, seed);
        std::vector<float> b = RandomFloats(n, seed + 50u);
        std::vector<double> d = Widened(a);
        TIMtoAPS(0, a.data(), r.aps.data(), 10.0f, QV_AVG_HOLD_MAX_POWER, QV_WIN_HANN, QV_WINDOWSCALE_POWER, 0.0f, 0,
                 QV_WEIGHT_A, n, n / 2, frame, 0, 1.0f, &wind, &held);
        a = RandomFloats(n, seed);
        TIMtoCPS(a.data(), b.data(), r.cps.data(), 10.0f, QV_AVG_LINEAR, QV_WIN_FLATTOP, QV_WINDOWSCALE_AMPLITUDE,
                 0.0f, 0, QV_WEIGHT_NONE, n, n / 2, frame, 0, 0.70710678f, &wind);
        TIMtoAPS(1, d.data(), r.apsD.data(), 10.0, QV_AVG_EXPONENTIAL, QV_WIN_BLACKMAN, QV_WINDOWSCALE_POWER, 0.0, 0,
                 QV_WEIGHT_NONE, n, n / 2, frame, 4, 1.0, &windD, nullptr);
    }
    WindowReset(&wind);
    WindowReset(&windD);
    return r;
}

// Random phases from the thread's own sequence: seeded calls, and a call that
// continues the running sequence.
struct PhaseResult {
    std::vector<float> f;
    std::vector<double> d;
    std::vector<float> phase;
};

PhaseResult Phases(int t)
{
    const int n = 4096;
    PhaseResult r{std::vector<float>(n + 2, 1.0f), std::vector<double>(n + 2, 2.0), std::vector<float>(n / 2, 0.5f)};
    SRand(7u + static_cast<unsigned>(t));
    APSAddRandomPhase(r.f.data(), n, n / 2);
    FRQAddRandomPhase(r.d.data(), n, n / 2, 1000 + t);
    LoadRandomPhase(r.phase.data(), n, n / 2, 2000 + t);
    DitherRandomPhase(r.phase.data(), n, n / 2, 0, 10.0f, 0);
    return r;
}

}  // namespace

TEST(ThreadsOnDistinctData, FirstTransformsOfBothTwinsGiveTheSingleThreadedSpectra)
{
    std::vector<TransformResult> results(kThreads);
    RunTogether([&](int t) { results[static_cast<size_t>(t)] = Transforms(t); });
    for (int t = 0; t < kThreads; ++t) {
        const TransformResult alone = Transforms(t);
        const TransformResult& r = results[static_cast<size_t>(t)];
        EXPECT_TRUE(BitEqual(alone.f.data(), r.f.data(), static_cast<int>(r.f.size()))) << "thread " << t;
        EXPECT_TRUE(BitEqual(alone.d.data(), r.d.data(), static_cast<int>(r.d.size()))) << "thread " << t;
    }
}

TEST(ThreadsOnDistinctData, WindowRecordsPreparedAtOnceHoldTheSingleThreadedTables)
{
    std::vector<std::vector<float>> results(kThreads);
    RunTogether([&](int t) { results[static_cast<size_t>(t)] = Windows(t); });
    for (int t = 0; t < kThreads; ++t) {
        const std::vector<float> alone = Windows(t);
        EXPECT_TRUE(BitEqual(alone.data(), results[static_cast<size_t>(t)].data(), static_cast<int>(alone.size())))
            << "thread " << t;
    }
}

TEST(ThreadsOnDistinctData, FrameChainsAverageAsOnOneThread)
{
    std::vector<ChainResult> results(kThreads);
    RunTogether([&](int t) { results[static_cast<size_t>(t)] = Chains(t); });
    for (int t = 0; t < kThreads; ++t) {
        const ChainResult alone = Chains(t);
        const ChainResult& r = results[static_cast<size_t>(t)];
        EXPECT_TRUE(BitEqual(alone.aps.data(), r.aps.data(), static_cast<int>(r.aps.size()))) << "thread " << t;
        EXPECT_TRUE(BitEqual(reinterpret_cast<const float*>(alone.cps.data()),
                             reinterpret_cast<const float*>(r.cps.data()), 2 * static_cast<int>(r.cps.size())))
            << "thread " << t;
        EXPECT_TRUE(BitEqual(alone.apsD.data(), r.apsD.data(), static_cast<int>(r.apsD.size()))) << "thread " << t;
    }
}

TEST(ThreadsOnDistinctData, RandomPhasesFollowEachThreadsOwnSequence)
{
    std::vector<PhaseResult> results(kThreads);
    RunTogether([&](int t) { results[static_cast<size_t>(t)] = Phases(t); });
    for (int t = 0; t < kThreads; ++t) {
        const PhaseResult alone = Phases(t);
        const PhaseResult& r = results[static_cast<size_t>(t)];
        EXPECT_TRUE(BitEqual(alone.f.data(), r.f.data(), static_cast<int>(r.f.size()))) << "thread " << t;
        EXPECT_TRUE(BitEqual(alone.d.data(), r.d.data(), static_cast<int>(r.d.size()))) << "thread " << t;
        EXPECT_TRUE(BitEqual(alone.phase.data(), r.phase.data(), static_cast<int>(r.phase.size()))) << "thread " << t;
    }
    // Distinct seeds give distinct phases, so the comparison above can fail.
    EXPECT_FALSE(BitEqual(results[0].phase.data(), results[1].phase.data(), static_cast<int>(results[0].phase.size())));
}
