// CInterpolator: output samples per second for a stream of 4096-sample frames,
// at ratio 4 (and at 2.56, where the output instants are not exact), against
// a plain evaluation of the same kernel sum written here: per output sample,
// Kerval term by term over the held frame with its context. Both produce the
// same bits (checked before timing). A table at the end gives, per ratio, the
// fastest repetition of each (CPU time, steadier than wall time on a shared
// machine) in output samples per second and their ratio.

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench_support.h"
#include "numora/analysis/interpolator.h"

namespace {

const uint32_t kFrame = 4096;
const float kRatios[] = {4.0f, 2.56f};

// A frame stream of a few sines, repeated.
std::vector<float> Stream()
{
    std::vector<float> s(4 * kFrame);
    for (std::size_t k = 0; k < s.size(); ++k) {
        const double t = static_cast<double>(k);
        s[k] = static_cast<float>(0.5 * std::sin(0.05 * t) + 0.3 * std::sin(1.3 * t + 0.2) + 0.1 * std::cos(2.4 * t));
    }
    return s;
}

uint32_t PerFrame(float ratio)
{
    return static_cast<uint32_t>(static_cast<double>(static_cast<float>(kFrame)) * static_cast<double>(ratio));
}

// The plain evaluation: frame points at the held frame inside a buffer with
// 20 samples of context on each side.
void PlainFrame(const float* frame, float ratio, float* out)
{
    const double dt = 1.0 / static_cast<double>(ratio);
    const uint32_t count = PerFrame(ratio);
    for (uint32_t j = 0; j < count; ++j) {
        const double t = static_cast<double>(j) * dt;
        const long lo = static_cast<long>(std::ceil(t - 13.140625));
        const long hi = static_cast<long>(std::floor(t + 13.140625));
        double s = 0.0;
        for (long i = lo; i <= hi; ++i)
            s += static_cast<double>(frame[i]) * qv::math::Kerval(static_cast<double>(i) - t);
        out[j] = static_cast<float>(0.999998 * s);
    }
}

// The plain evaluation of frame f of the stream, context included.
std::vector<float> PlainOfFrame(const std::vector<float>& stream, std::size_t f, float ratio)
{
    std::vector<float> context(kFrame + 40, 0.0f), out(PerFrame(ratio));
    for (std::size_t i = 0; i < context.size(); ++i) {
        const long k = static_cast<long>(f * kFrame + i) - 20;
        context[i] = k < 0 ? 0.0f : stream[static_cast<std::size_t>(k)];
    }
    PlainFrame(context.data() + 20, ratio, out.data());
    return out;
}

// Refuses to time anything unless both give the same bits for frames 0 to 2.
void CheckSameBits(const std::vector<float>& stream, float ratio)
{
    qv::math::CInterpolator ip;
    ip.Setup(kFrame, ratio);
    std::vector<float> s = stream;
    ip.Add(s.data());
    for (std::size_t f = 1; f < 4; ++f) {
        ip.Add(s.data() + f * kFrame);
        const float* got = ip.Read(PerFrame(ratio));
        const std::vector<float> want = PlainOfFrame(stream, f - 1, ratio);
        for (std::size_t j = 0; j < want.size(); ++j)
            if (got == nullptr || got[j] != want[j]) {
                std::fprintf(stderr, "ratio %g: CInterpolator and the plain sum differ at frame %zu\n",
                             static_cast<double>(ratio), f - 1);
                std::exit(1);
            }
    }
}

void Interpolator(benchmark::State& state, float ratio)
{
    std::vector<float> stream = Stream();
    qv::math::CInterpolator ip;
    ip.Setup(kFrame, ratio);
    ip.Add(stream.data());
    const uint32_t count = PerFrame(ratio);
    std::size_t f = 1;
    for (auto _ : state) {
        ip.Add(stream.data() + f * kFrame);
        benchmark::DoNotOptimize(ip.Read(count));
        f = f == 3 ? 0 : f + 1;
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * count);
}

void Plain(benchmark::State& state, float ratio)
{
    const std::vector<float> stream = Stream();
    std::vector<float> context(kFrame + 40), out(PerFrame(ratio));
    for (std::size_t i = 0; i < context.size(); ++i)
        context[i] = stream[i];
    for (auto _ : state) {
        PlainFrame(context.data() + 20, ratio, out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * PerFrame(ratio));
}

// A ratio as it appears in the benchmarks' names.
std::string RatioName(float ratio)
{
    char s[16];
    std::snprintf(s, sizeof s, "%.2f", static_cast<double>(ratio));
    return s;
}

// The summary table from the fastest repetitions.
void PrintTable(const numora_bench::FastestReporter& times)
{
    auto rate = [&](float ratio, const std::string& name) {
        const double ns = times.Fastest(name);
        return ns <= 0 ? 0.0 : PerFrame(ratio) * 1e9 / ns;
    };
    std::printf("\nOutput samples per second, %u-sample frames (fastest repetition, CPU time)\n", kFrame);
    std::printf("%8s %16s %16s %8s\n", "ratio", "CInterpolator", "plain sum", "speedup");
    for (float ratio : kRatios) {
        const std::string tail = "/" + RatioName(ratio);
        const double ip = rate(ratio, "cinterpolator" + tail), plain = rate(ratio, "plain" + tail);
        std::printf("%8.2f %16.3e %16.3e %8.2f\n", static_cast<double>(ratio), ip, plain, plain > 0 ? ip / plain : 0.0);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const std::vector<float> stream = Stream();
    for (float ratio : kRatios) {
        CheckSameBits(stream, ratio);
        const std::string tail = "/" + RatioName(ratio);
        benchmark::RegisterBenchmark(("cinterpolator" + tail).c_str(), Interpolator, ratio);
        benchmark::RegisterBenchmark(("plain" + tail).c_str(), Plain, ratio);
    }
    return numora_bench::RunBenchmarks(argc, argv, numora_bench::Clock::Cpu, PrintTable);
}
