// Shock response spectrum: TIMtoSRS on its wide path (bands side by side in
// vector lanes, the widest the processor has) against the plain loop that
// runs one band after the other, in the same run; all give the same bits.
// The 128-bit path of four lanes, what runs without AVX2, is timed too.
// The ramp-invariant filter, in double, one band after the other, is timed
// beside them. The job: a 1 s record at 51.2 kHz (random samples), maximax
// spectra at Q = 10 on the 1/12-octave ANSI bands from 10 Hz to 10 kHz.
// A table at the end gives the fastest repetition of each (CPU time, as the
// machine may be shared) and the ratio of the plain loop to the wide path.

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench_support.h"
#include "numora/analysis/srs.h"
#include "numora/analysis/srs_detail.h"

namespace {

using namespace qv::math;

const float kSampleRate = 51200.0f;

struct Job {
    std::vector<float> record;
    std::vector<float> out[8];
    Job() : record(static_cast<size_t>(kSampleRate))
    {
        std::mt19937 gen(12);
        std::uniform_real_distribution<float> dist(-1.0f, 1.0f);
        for (float& v : record)
            v = dist(gen);
        for (auto& o : out)
            o.resize(1000);
    }
    template <typename Filter>
    int Run(Filter filter)
    {
        return filter(record.data(), static_cast<int>(record.size()), kSampleRate, 0.05f,
                      QV_SRS_ABSOLUTE_ACCEL, 12, 0.0f, out[0].data(), out[1].data(), out[2].data(),
                      out[3].data(), out[4].data(), out[5].data(), out[6].data(), out[7].data(),
                      10.0f, 10000.0f, 0.0f, 0.0f);
    }
};

template <typename Filter>
void Srs(benchmark::State& state, Filter filter)
{
    Job job;
    int bands = 0;
    for (auto _ : state) {
        bands = job.Run(filter);
        benchmark::DoNotOptimize(job.out[4].data());
        benchmark::ClobberMemory();
    }
    state.counters["bands"] = bands;
    state.SetItemsProcessed(state.iterations() * static_cast<long long>(bands) *
                            static_cast<long long>(job.record.size()));
}

int OnPath(detail::SrsPath path, const float* time, int n, float sampleRate, float damping,
           QV_SRS_TYPE type, int bandsPerOctave, float defaultEndMs, float* pp, float* pn,
           float* rp, float* rn, float* mm, float* mp, float* mn, float* freq, float fLow,
           float fHigh, float startMs, float endMs)
{
    return detail::TIMtoSRSOnPath(path, time, n, sampleRate, damping, type, bandsPerOctave,
                                  defaultEndMs, pp, pn, rp, rn, mm, mp, mn, freq, fLow, fHigh,
                                  startMs, endMs);
}

// The summary table from the fastest repetitions, in ms, the benchmarks' unit.
void PrintTable(const numora_bench::FastestReporter& times)
{
    const double plain = times.Fastest("srs_plain_loop"), wide = times.Fastest("srs_wide");
    std::printf("\n1 s at 51.2 kHz, 1/12-octave bands 10 Hz - 10 kHz (CPU ms, fastest repetition)\n");
    std::printf("%-28s %10.2f\n", "TIMtoSRS plain loop", plain);
    std::printf("%-28s %10.2f\n", "TIMtoSRS 4 lanes (128-bit)", times.Fastest("srs_lanes4"));
    std::printf("%-28s %10.2f\n", "TIMtoSRS wide path", wide);
    std::printf("%-28s %10.2f\n", "TIMtoSRS_RampInvariant", times.Fastest("srs_ramp_invariant"));
    std::printf("%-28s %10.2f\n", "plain / wide", wide > 0 ? plain / wide : 0.0);
}

}  // namespace

int main(int argc, char** argv)
{
    auto plain = [](auto... args) { return OnPath(detail::SrsPath::Plain, args...); };
    benchmark::RegisterBenchmark("srs_plain_loop", [plain](benchmark::State& s) { Srs(s, plain); })
        ->Unit(benchmark::kMillisecond);
    auto lanes4 = [](auto... args) { return OnPath(detail::SrsPath::Lanes4, args...); };
    benchmark::RegisterBenchmark("srs_lanes4", [lanes4](benchmark::State& s) { Srs(s, lanes4); })
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("srs_wide", [](benchmark::State& s) { Srs(s, TIMtoSRS); })
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("srs_ramp_invariant", [](benchmark::State& s) { Srs(s, TIMtoSRS_RampInvariant); })
        ->Unit(benchmark::kMillisecond);
    return numora_bench::RunBenchmarks(argc, argv, numora_bench::Clock::Cpu, PrintTable);
}
