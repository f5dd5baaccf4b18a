// Overlap-add block filtering: Numora's ApplyCompensation against the same
// overlap-add written on FFTW (r2c and c2r plans of 2n points made once with
// FFTW_MEASURE, the filter's lines, the gain and FFTW's 1/(2n) folded together
// once outside the timed loop). Each timed iteration takes the next n samples
// of a prepared signal into the block and leaves n filtered samples plus the
// tail for the next block, for both alike. Before timing, the two outputs are
// compared over a few blocks. A table at the end gives blocks per second from
// the CPU time (the fastest repetition of each; on a shared machine the wall
// time also counts the waits for a core) and the ratio of Numora's time to
// FFTW's.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fftw3.h>

#include "bench/bench_support.h"
#include "numora/compensation/compensation.h"

namespace {

const uint32_t kSizes[] = {2048, 8192};
const int kSignalBlocks = 16;
const float kGain = 0.8f;
const float kScale = 0.70710678f;

// Deterministic values in [-1, 1).
std::vector<float> Noise(size_t count, uint32_t state)
{
    std::vector<float> v(count);
    for (float& x : v) {
        state = state * 1664525u + 1013904223u;
        x = static_cast<float>(static_cast<int>(state >> 9) - (1 << 22)) / static_cast<float>(1 << 22);
    }
    return v;
}

// The signal to filter and the filter's lines (line 0 unused), per size.
struct Job {
    explicit Job(uint32_t n) : n(n), signal(Noise(size_t{n} * kSignalBlocks, 7u)), filter(Noise(2 * size_t{n}, 9u)) {}
    const float* Block(size_t b) const { return signal.data() + (b % kSignalBlocks) * n; }
    uint32_t n;
    std::vector<float> signal;
    std::vector<float> filter;
};

class NumoraOla {
public:
    explicit NumoraOla(const Job& job) : job_(job), block_(2 * size_t{job.n}, 0.0f), tail_(job.n), filter_(job.filter) {}
    // Filters the next block; returns its n output samples.
    const float* Step(size_t b)
    {
        std::memcpy(block_.data(), job_.Block(b), job_.n * sizeof(float));
        qv::math::ApplyCompensation(block_.data(), filter_.data(), tail_.data(), kGain, job_.n, kScale);
        return block_.data();
    }

private:
    const Job& job_;
    std::vector<float> block_, tail_, filter_;
};

class FftwOla {
public:
    explicit FftwOla(const Job& job) : job_(job), n_(job.n)
    {
        const int size = static_cast<int>(2 * n_);
        in_ = static_cast<float*>(fftwf_malloc(sizeof(float) * 2 * n_));
        out_ = static_cast<float*>(fftwf_malloc(sizeof(float) * 2 * n_));
        spectrum_ = static_cast<fftwf_complex*>(fftwf_malloc(sizeof(fftwf_complex) * (n_ + 1)));
        forward_ = fftwf_plan_dft_r2c_1d(size, in_, spectrum_, FFTW_MEASURE);
        inverse_ = fftwf_plan_dft_c2r_1d(size, spectrum_, out_, FFTW_MEASURE);
        std::fill(in_, in_ + 2 * n_, 0.0f);  // the upper half stays zero
        overlap_.assign(n_, 0.0f);
        // FFTW's transforms are unnormalised: the round trip multiplies by 2n.
        const float k = kGain / static_cast<float>(2 * n_);
        lines_.assign(2 * size_t{n_}, 0.0f);
        for (size_t i = 2; i < 2 * size_t{n_}; ++i)
            lines_[i] = job.filter[i] * k;
    }
    ~FftwOla()
    {
        fftwf_destroy_plan(forward_);
        fftwf_destroy_plan(inverse_);
        fftwf_free(in_);
        fftwf_free(out_);
        fftwf_free(spectrum_);
    }
    FftwOla(const FftwOla&) = delete;
    FftwOla& operator=(const FftwOla&) = delete;

    const float* Step(size_t b)
    {
        std::memcpy(in_, job_.Block(b), n_ * sizeof(float));
        fftwf_execute(forward_);
        spectrum_[0][0] = spectrum_[0][1] = 0.0f;
        spectrum_[n_][0] = spectrum_[n_][1] = 0.0f;
        for (uint32_t k = 1; k < n_; ++k) {
            const float a = spectrum_[k][0], bb = spectrum_[k][1];
            const float c = lines_[2 * k], d = lines_[2 * k + 1];
            spectrum_[k][0] = c * a - bb * d;
            spectrum_[k][1] = c * bb + a * d;
        }
        fftwf_execute(inverse_);
        for (uint32_t i = 0; i < n_; ++i)
            out_[i] += overlap_[i];
        std::memcpy(overlap_.data(), out_ + n_, n_ * sizeof(float));
        return out_;
    }

private:
    const Job& job_;
    uint32_t n_;
    float* in_;
    float* out_;
    fftwf_complex* spectrum_;
    fftwf_plan forward_, inverse_;
    std::vector<float> overlap_, lines_;
};

// Largest difference between the two outputs over a few blocks, relative to
// the largest output value.
double Disagreement(uint32_t n)
{
    Job job(n);
    NumoraOla numora(job);
    FftwOla fftw(job);
    double worst = 0.0, peak = 0.0;
    for (size_t b = 0; b < 6; ++b) {
        const float* x = numora.Step(b);
        const float* y = fftw.Step(b);
        for (uint32_t i = 0; i < n; ++i) {
            worst = std::max(worst, std::fabs(static_cast<double>(x[i]) - static_cast<double>(y[i])));
            peak = std::max(peak, std::fabs(static_cast<double>(y[i])));
        }
    }
    return worst / peak;
}

template <typename Ola>
void Run(benchmark::State& state, uint32_t n)
{
    Job job(n);
    Ola ola(job);
    size_t b = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ola.Step(b++));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}

// The summary table from the fastest repetitions.
void PrintTable(const numora_bench::FastestReporter& times)
{
    std::printf("\noverlap-add, one block of n new samples (CPU time, fastest repetition)\n");
    std::printf("%8s %16s %16s %8s %14s\n", "n", "Numora blocks/s", "FFTW blocks/s", "ratio", "max rel. diff");
    for (uint32_t n : kSizes) {
        const double numora = times.Fastest("numora/" + std::to_string(n));
        const double fftw = times.Fastest("fftw/" + std::to_string(n));
        std::printf("%8u %16.0f %16.0f %8.2f %14.1e\n", n, numora > 0 ? 1e9 / numora : 0.0,
                    fftw > 0 ? 1e9 / fftw : 0.0, fftw > 0 ? numora / fftw : 0.0, Disagreement(n));
    }
}

}  // namespace

int main(int argc, char** argv)
{
    for (uint32_t n : kSizes) {
        benchmark::RegisterBenchmark(("numora/" + std::to_string(n)).c_str(), Run<NumoraOla>, n);
        benchmark::RegisterBenchmark(("fftw/" + std::to_string(n)).c_str(), Run<FftwOla>, n);
    }
    return numora_bench::RunBenchmarks(argc, argv, numora_bench::Clock::Cpu, PrintTable);
}
