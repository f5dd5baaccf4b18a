// Drive synthesis: AddRandomBandToTimeBuffer at 4096-sample frames against a
// plain copy-multiply-sum loop doing the same arithmetic over the same buffers
// (rotate the base period into the oldest onion, multiply by the window, sum
// four quarters, add the block to the time buffer): the memory-bound limit of
// the onion overlap. And RandomUltraClip at 4096 against the six DFT_D calls
// (three inverse, three forward) that bound one of its calls; a call that
// clips nothing stops after one iteration, two transforms, and is timed too.
// A table at the end gives the fastest repetition of each, in CPU time (the
// machine may be shared), and the ratios.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench_support.h"
#include "numora/drive/clipping.h"
#include "numora/drive/onions.h"
#include "numora/foundation/platform.h"
#include "numora/transforms/fft.h"
#include "numora/transforms/timing.h"

namespace {

const int kFrameSize = 4096;
const double kSampleRate = 51200.0;

// A base period: uniform values, as good as any for timing.
std::vector<float> BasePeriod()
{
    std::vector<float> base(kFrameSize);
    qv::math::SRand(11);
    for (float& v : base)
        v = static_cast<float>(qv::math::Rand()) / 32767.0f - 0.5f;
    return base;
}

void AddRandomBand(benchmark::State& state)
{
    std::vector<float> base = BasePeriod(), buffer(kFrameSize, 0.0f), scratch(kFrameSize);
    qv::math::CRandomOnions onions(kFrameSize);
    for (auto _ : state) {
        qv::math::AddRandomBandToTimeBuffer(onions.State(), buffer.data(), kFrameSize, base.data(),
                                            scratch.data());
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrameSize);
}

// The same arithmetic written as plain loops over the record's own buffers,
// with fixed starts in place of the generator.
void PlainLoop(benchmark::State& state)
{
    std::vector<float> base = BasePeriod(), buffer(kFrameSize, 0.0f), scratch(kFrameSize);
    qv::math::CRandomOnions onions(kFrameSize);
    float** layer = onions.State().onions;
    const float* window = onions.State().window;
    const int n = kFrameSize, q = n / 4;
    int current = 0, start = 0;
    for (auto _ : state) {
        for (int k = 0; k < 4; ++k) {
            float* o = layer[current];
            start = (start + 1237) % n;
            for (int i = 0; i < n - start; ++i)
                o[i] = base[static_cast<size_t>(start + i)];
            for (int i = 0; i < start; ++i)
                o[n - start + i] = base[static_cast<size_t>(i)];
            for (int i = 0; i < n; ++i)
                o[i] *= window[i];
            const float* a = layer[current];
            const float* d = layer[(current + 3) % 4] + q;
            const float* c = layer[(current + 2) % 4] + 2 * q;
            const float* b = layer[(current + 1) % 4] + 3 * q;
            float* out = scratch.data() + k * q;
            for (int i = 0; i < q; ++i)
                out[i] = ((c[i] + b[i]) + d[i]) + a[i];
            current = (current + 1) % 4;
        }
        for (int i = 0; i < n; ++i)
            buffer[static_cast<size_t>(i)] += scratch[static_cast<size_t>(i)];
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrameSize);
}

// RandomUltraClip from the same phases every call (pass 6 and on: no random
// draws), so every call does the same work; the phases are put back inside
// the timed loop.
void UltraClip(benchmark::State& state, double sigma)
{
    QV_BASE_FRAME_SETUP frame = {};
    qv::math::UpdateFrameInfo(frame, kFrameSize, QV_FFT_SCALE_RMS, kSampleRate, 2.56, 20000.0);
    std::vector<double> amplitude(kFrameSize, 0.0), time(kFrameSize), spectrum(kFrameSize);
    std::vector<double> phase(kFrameSize / 2), start;
    for (int k = 2; k <= 160; ++k)
        amplitude[static_cast<size_t>(k)] = 0.35;
    int pass = 0;
    double rms = 0.0;
    for (int i = 0; i < 6; ++i)  // the six fresh calls of a series
        qv::math::RandomUltraClip(amplitude.data(), time.data(), spectrum.data(), phase.data(), frame, sigma,
                                  1.0, pass, rms, 0.0);
    start = phase;
    for (auto _ : state) {
        std::copy(start.begin(), start.end(), phase.begin());  // 16 KB, well under 1 % of a call
        pass = 6;
        benchmark::DoNotOptimize(qv::math::RandomUltraClip(amplitude.data(), time.data(), spectrum.data(),
                                                           phase.data(), frame, sigma, 1.0, pass, rms, 0.0));
    }
}

void SixTransforms(benchmark::State& state)
{
    std::vector<double> data(kFrameSize);
    for (int i = 0; i < kFrameSize; ++i)
        data[static_cast<size_t>(i)] = std::sin(0.01 * i);
    for (auto _ : state) {
        for (int k = 0; k < 3; ++k) {
            qv::math::DFT_D(data.data(), kFrameSize, -1);
            qv::math::DFT_D(data.data(), kFrameSize, 1);
        }
        benchmark::DoNotOptimize(data.data());
    }
}

// The summary table from the fastest repetitions.
void PrintTable(const numora_bench::FastestReporter& times)
{
    const double add = times.Fastest("AddRandomBandToTimeBuffer");
    const double plain = times.Fastest("plain_copy_multiply_sum");
    const double clip = times.Fastest("RandomUltraClip_sigma3");
    const double once = times.Fastest("RandomUltraClip_nothing_clipped");
    const double six = times.Fastest("DFT_D_x6");
    if (add <= 0 || plain <= 0 || clip <= 0 || once <= 0 || six <= 0)
        return;
    const double samplesPerSecond = kFrameSize / (add * 1e-9);
    std::printf("\nDrive at %d-sample frames (CPU ns per call, fastest repetition)\n", kFrameSize);
    std::printf("%-34s %10.0f  %.3g samples/s = %.0fx real time at %.1f kHz\n", "AddRandomBandToTimeBuffer", add,
                samplesPerSecond, samplesPerSecond / kSampleRate, kSampleRate / 1000.0);
    std::printf("%-34s %10.0f  ratio %.2f\n", "plain copy-multiply-sum loop", plain, add / plain);
    std::printf("%-34s %10.0f  %.0f calls/s, ratio to six DFT_D %.2f\n", "RandomUltraClip, sigma 3", clip, 1e9 / clip,
                clip / six);
    std::printf("%-34s %10.0f  ratio to two DFT_D %.2f\n", "RandomUltraClip, one iteration", once, once / (six / 3.0));
    std::printf("%-34s %10.0f\n", "six DFT_D", six);
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::RegisterBenchmark("AddRandomBandToTimeBuffer", AddRandomBand);
    benchmark::RegisterBenchmark("plain_copy_multiply_sum", PlainLoop);
    benchmark::RegisterBenchmark("RandomUltraClip_sigma3", UltraClip, 3.0);
    benchmark::RegisterBenchmark("RandomUltraClip_nothing_clipped", UltraClip, 1e9);
    benchmark::RegisterBenchmark("DFT_D_x6", SixTransforms);
    return numora_bench::RunBenchmarks(argc, argv, numora_bench::Clock::Cpu, PrintTable);
}
