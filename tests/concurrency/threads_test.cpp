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
using namespace numora_test;

namespace {

const int kThreads = 4;

// The bytes of every result of one thread's job, in order.
using Bytes = std::vector<unsigned char>;

template <class... T>
void Append(Bytes& out, const std::vector<T>&... v)
{
    (out.insert(out.end(), reinterpret_cast<const unsigned char*>(v.data()),
                reinterpret_cast<const unsigned char*>(v.data() + v.size())), ...);
}

// Runs job(t, bytes) for t = 0 .. kThreads - 1, each on its own thread, all
// released together once every thread has started; each thread's bytes must
// equal those of the same job run alone afterwards. Threads 0 and 1 work on
// distinct data and must differ, so the comparison can fail.
template <class Job>
void ExpectEachThreadGetsItsSingleThreadedBits(Job job)
{
    std::vector<Bytes> results(kThreads);
    std::atomic<int> started{0};
    std::vector<std::thread> pool;
    for (int t = 0; t < kThreads; ++t) {
        pool.emplace_back([&started, &job, &results, t] {
            started.fetch_add(1);
            while (started.load() < kThreads)
                std::this_thread::yield();
            job(t, results[static_cast<size_t>(t)]);
        });
    }
    for (std::thread& th : pool)
        th.join();
    for (int t = 0; t < kThreads; ++t) {
        Bytes alone;
        job(t, alone);
        EXPECT_TRUE(alone == results[static_cast<size_t>(t)]) << "thread " << t;
    }
    EXPECT_FALSE(results[0] == results[1]);
}

// Forward then inverse transforms of both twins; odd threads start with the
// double twin, so both tables are first asked for by several threads at once.
void Transforms(int t, Bytes& out)
{
    const int nf = 1024 << (t % 3), nd = 8192 << (t % 2);
    std::vector<float> f = RandomFloats(nf, 10u + static_cast<uint32_t>(t));
    std::vector<double> d = RandomDoubles(nd, 20u + static_cast<uint32_t>(t));
    if (t % 2 == 1)
        DFT_D(d.data(), nd, 1);
    DFT(f.data(), nf, 1);
    if (t % 2 == 0)
        DFT_D(d.data(), nd, 1);
    DFT(f.data(), nf, -1);
    DFT_D(d.data(), nd, -1);
    Append(out, f, d);
}

// Window tables of every type prepared on the thread's own records.
void Windows(int t, Bytes& out)
{
    for (int type = QV_WIN_HANN; type <= QV_WIN_HAMMING; ++type) {
        QV_WIND_SETUP w{};
        const int size = 1000 + 37 * t + type;
        WindowSetupCoeff(static_cast<QV_ACQFRAME_WINTYPE>(type), static_cast<QV_WINDOWSCALE>(t % 2), 3.0f, size, 0,
                         &w);
        Append(out, std::vector<float>(w.coeff, w.coeff + size));
        WindowReset(&w);
    }
}

// Eight frames of two channels averaged through the frame chains (the cross
// spectrum takes the first channel as the auto spectrum leaves it).
void Chains(int t, Bytes& out)
{
    const int n = 2048;
    std::vector<float> aps(n / 2);
    std::vector<complex> cps(n / 2);
    std::vector<double> apsD(n / 2);
    QV_WIND_SETUP wind{}, windD{};
    float held = 0.0f;
    for (int frame = 1; frame <= 8; ++frame) {
        const uint32_t seed = 100u * static_cast<uint32_t>(t) + static_cast<uint32_t>(frame);
        std::vector<float> a = RandomFloats(n, seed), b = RandomFloats(n, seed + 50u);
        std::vector<double> d(a.begin(), a.end());
        TIMtoAPS(0, a.data(), aps.data(), 10.0f, QV_AVG_HOLD_MAX_POWER, QV_WIN_HANN, QV_WINDOWSCALE_POWER, 0.0f, 0,
                 QV_WEIGHT_A, n, n / 2, frame, 0, 1.0f, &wind, &held);
        TIMtoCPS(a.data(), b.data(), cps.data(), 10.0f, QV_AVG_LINEAR, QV_WIN_FLATTOP, QV_WINDOWSCALE_AMPLITUDE,
                 0.0f, 0, QV_WEIGHT_NONE, n, n / 2, frame, 0, 0.70710678f, &wind);
        TIMtoAPS(1, d.data(), apsD.data(), 10.0, QV_AVG_EXPONENTIAL, QV_WIN_BLACKMAN, QV_WINDOWSCALE_POWER, 0.0, 0,
                 QV_WEIGHT_NONE, n, n / 2, frame, 4, 1.0, &windD, nullptr);
    }
    WindowReset(&wind);
    WindowReset(&windD);
    Append(out, aps, cps, apsD);
}

// Random phases from the thread's own sequence: seeded calls, and a call that
// continues the running sequence.
void Phases(int t, Bytes& out)
{
    const int n = 4096;
    std::vector<float> f(n + 2, 1.0f), phase(n / 2, 0.5f);
    std::vector<double> d(n + 2, 2.0);
    SRand(7u + static_cast<unsigned>(t));
    APSAddRandomPhase(f.data(), n, n / 2);
    FRQAddRandomPhase(d.data(), n, n / 2, 1000 + t);
    LoadRandomPhase(phase.data(), n, n / 2, 2000 + t);
    DitherRandomPhase(phase.data(), n, n / 2, 0, 10.0f, 0);
    Append(out, f, d, phase);
}

}  // namespace

TEST(ThreadsOnDistinctData, FirstTransformsOfBothTwinsGiveTheSingleThreadedSpectra)
{
    ExpectEachThreadGetsItsSingleThreadedBits(Transforms);
}

TEST(ThreadsOnDistinctData, WindowRecordsFrameChainsAndRandomPhasesGiveTheSingleThreadedResults)
{
    ExpectEachThreadGetsItsSingleThreadedBits(Windows);
    ExpectEachThreadGetsItsSingleThreadedBits(Chains);
    ExpectEachThreadGetsItsSingleThreadedBits(Phases);  // each thread's own random sequence
}
