// Integration: ScanUnitLimits in samples per second at 51.2 kHz with the drift
// filter on (window 5119 samples, so a block must exceed 5118 samples for the
// filter to act), and the library's drift filter, RemoveMovingMean (as called,
// on its widest path, and on its 128-bit baseline path), against the plain
// loop written here, on the same block in the same run. The plain
// loop sums every window in its own double accumulator from its first sample,
// as the library must, and both give the same bits (checked before timing).
// A table at the end gives the fastest repetition of each (CPU time) and the
// ratio plain / library.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench_support.h"
#include "numora/analysis/integration.h"
#include "numora/analysis/integration_detail.h"

namespace {

const int kBlock = 16384;
const int kWindows[] = {511, 5119};  // 5.12 kHz and 51.2 kHz

std::vector<float> Signal(int n)
{
    std::vector<float> x(n);
    uint32_t s = 12345;
    for (float& v : x) {
        s = s * 1664525u + 1013904223u;
        v = static_cast<float>(static_cast<int32_t>(s >> 8) - (1 << 23)) / static_cast<float>(1 << 23);
    }
    return x;
}

// The drift filter written as a plain sum over the window for every sample
// whose window fits; the edges take the nearest such mean.
void PlainDrift(float* dst, const float* src, int n, int w)
{
    const int h = w / 2;
    const double factor = 1.0 / w;
    double m = 0.0;
    for (int i = h; i < n - h; ++i) {
        double sum = 0.0;
        for (int j = i - h; j < i + h; ++j)
            sum += static_cast<double>(src[j]);
        m = sum * factor;
        dst[i] = static_cast<float>(static_cast<double>(src[i]) - m);
        if (i == h)
            for (int k = 0; k < h; ++k)
                dst[k] = static_cast<float>(static_cast<double>(src[k]) - m);
    }
    for (int i = n - h; i < n; ++i)
        dst[i] = static_cast<float>(static_cast<double>(src[i]) - m);
}

// kind 0: the plain loop; 1: the library as called (widest path); 2: the
// library on its 128-bit baseline path.
void Drift(benchmark::State& state, int kind, int w)
{
    using qv::math::detail::DriftPath;
    const std::vector<float> x = Signal(kBlock);
    std::vector<float> a(kBlock), b(kBlock);
    auto run = [&](float* out) {
        if (kind == 0)
            PlainDrift(out, x.data(), kBlock, w);
        else if (kind == 1)
            qv::math::RemoveMovingMean(out, x.data(), kBlock, w);
        else
            qv::math::detail::RemoveMovingMeanOnPath(DriftPath::Sse2, out, x.data(), kBlock, w);
    };
    PlainDrift(a.data(), x.data(), kBlock, w);
    run(b.data());
    if (std::memcmp(a.data(), b.data(), sizeof(float) * kBlock) != 0) {
        state.SkipWithError("library and plain loop differ");
        return;
    }
    for (auto _ : state) {
        run(b.data());
        benchmark::DoNotOptimize(b.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kBlock);
}

void Scan(benchmark::State& state)
{
    const std::vector<float> x = Signal(kBlock);
    std::vector<float> accel(kBlock), vel(kBlock), disp(kBlock), scratch(kBlock);
    qv::math::SCAN_UNIT_LIMITS run{};
    run.accel = accel.data();
    run.vel = vel.data();
    run.disp = disp.data();
    run.scratch = scratch.data();
    run.count = kBlock;
    run.unitSys = qv::UnitSysMetric;
    run.sampleRate = 51200.0;
    run.scale = 1.0;
    run.computeRms = true;
    for (auto _ : state) {
        std::memcpy(accel.data(), x.data(), sizeof(float) * kBlock);  // accel comes back filtered
        qv::math::ScanUnitLimits(run);
        benchmark::DoNotOptimize(run.dispPeak);
    }
    state.SetItemsProcessed(state.iterations() * kBlock);
}

// The summary table from the fastest repetitions, in ns: the benchmarks run in ms.
void PrintTable(const numora_bench::FastestReporter& times)
{
    auto ns = [&](const std::string& name) { return times.Fastest(name) * 1e6; };
    std::printf("\nblock of %d samples (fastest repetition, CPU time)\n", kBlock);
    const double scan = ns("scan_unit_limits/51200");
    if (scan > 0)
        std::printf("ScanUnitLimits at 51.2 kHz: %.3g samples/s\n", kBlock / (scan * 1e-9));
    std::printf("%8s %12s %12s %12s %8s %8s\n", "window", "plain ns", "library ns", "128-bit ns", "ratio", "128 r.");
    for (int w : kWindows) {
        const double plain = ns("drift_plain/" + std::to_string(w));
        const double lib = ns("drift_library/" + std::to_string(w));
        const double sse2 = ns("drift_sse2/" + std::to_string(w));
        std::printf("%8d %12.0f %12.0f %12.0f %8.2f %8.2f\n", w, plain, lib, sse2, lib > 0 ? plain / lib : 0.0,
                    sse2 > 0 ? plain / sse2 : 0.0);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::RegisterBenchmark("scan_unit_limits/51200", Scan)->Unit(benchmark::kMillisecond);
    for (int w : kWindows) {
        const char* names[] = {"drift_plain/", "drift_library/", "drift_sse2/"};
        for (int kind = 0; kind < 3; ++kind)
            benchmark::RegisterBenchmark((names[kind] + std::to_string(w)).c_str(), Drift, kind, w)
                ->Unit(benchmark::kMillisecond);
    }
    return numora_bench::RunBenchmarks(argc, argv, numora_bench::Clock::Cpu, PrintTable);
}
