// Real FFT: Numora's DFT / DFT_D against FFTW (r2r halfcomplex and r2c/c2r,
// plans made with FFTW_MEASURE outside the timed loop) and KissFFT's kiss_fftr.
// Numora runs as DFT does (the widest path the processor has) and, apart, on
// its SSE2 baseline path. Every timed iteration copies the input into the work
// buffer first (the in-place transforms need it), for every library alike. A
// table at the end gives, per size, the fastest repetition of each and the
// ratios of Numora to the faster of the two FFTW plans.

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fftw3.h>
#include <kissfft/kiss_fftr.h>

#include "bench/bench_support.h"
#include "numora/transforms/fft.h"
#include "numora/transforms/fft_detail.h"

namespace {

const int kSizes[] = {256, 1024, 4096, 16384, 32768};

template <typename T>
struct Fftw;

template <>
struct Fftw<float> {
    using Plan = fftwf_plan;
    using Complex = fftwf_complex;
    static void* Malloc(size_t bytes) { return fftwf_malloc(bytes); }
    static void Free(void* p) { fftwf_free(p); }
    static Plan R2r(int n, float* in, float* out, bool forward)
    {
        return fftwf_plan_r2r_1d(n, in, out, forward ? FFTW_R2HC : FFTW_HC2R, FFTW_MEASURE);
    }
    static Plan R2c(int n, float* in, float* out, bool forward)
    {
        return forward ? fftwf_plan_dft_r2c_1d(n, in, reinterpret_cast<Complex*>(out), FFTW_MEASURE)
                       : fftwf_plan_dft_c2r_1d(n, reinterpret_cast<Complex*>(in), out, FFTW_MEASURE);
    }
    static void Execute(Plan p) { fftwf_execute(p); }
    static void Destroy(Plan p) { fftwf_destroy_plan(p); }
    static int Numora(float* d, int n, int dir) { return qv::math::DFT(d, n, dir); }
    static int Baseline(float* d, int n, int dir)
    {
        return qv::math::detail::FftOnPath(qv::math::detail::FftPath::Sse2, d, n, dir);
    }
};

template <>
struct Fftw<double> {
    using Plan = fftw_plan;
    using Complex = fftw_complex;
    static void* Malloc(size_t bytes) { return fftw_malloc(bytes); }
    static void Free(void* p) { fftw_free(p); }
    static Plan R2r(int n, double* in, double* out, bool forward)
    {
        return fftw_plan_r2r_1d(n, in, out, forward ? FFTW_R2HC : FFTW_HC2R, FFTW_MEASURE);
    }
    static Plan R2c(int n, double* in, double* out, bool forward)
    {
        return forward ? fftw_plan_dft_r2c_1d(n, in, reinterpret_cast<Complex*>(out), FFTW_MEASURE)
                       : fftw_plan_dft_c2r_1d(n, reinterpret_cast<Complex*>(in), out, FFTW_MEASURE);
    }
    static void Execute(Plan p) { fftw_execute(p); }
    static void Destroy(Plan p) { fftw_destroy_plan(p); }
    static int Numora(double* d, int n, int dir) { return qv::math::DFT_D(d, n, dir); }
    static int Baseline(double* d, int n, int dir)
    {
        return qv::math::detail::FftOnPath(qv::math::detail::FftPath::Sse2, d, n, dir);
    }
};

// Input, work and output buffers of n + 2 values, aligned by FFTW's allocator.
template <typename T>
struct Buffers {
    explicit Buffers(int n)
        : count(static_cast<size_t>(n) + 2), input(Zeroed()), work(Zeroed()), output(Zeroed())
    {
        uint32_t state = 12345u;
        for (int i = 0; i < n; ++i) {
            state = state * 1664525u + 1013904223u;
            input[i] = static_cast<T>(static_cast<int>(state >> 9) - (1 << 22)) / static_cast<T>(1 << 22);
        }
    }
    ~Buffers()
    {
        Fftw<T>::Free(input);
        Fftw<T>::Free(work);
        Fftw<T>::Free(output);
    }
    void Restore() { std::memcpy(work, input, count * sizeof(T)); }
    T* Zeroed() const
    {
        T* p = static_cast<T*>(Fftw<T>::Malloc(count * sizeof(T)));
        std::memset(p, 0, count * sizeof(T));
        return p;
    }
    size_t count;
    T* input;
    T* work;
    T* output;
};

template <typename T>
void Numora(benchmark::State& state, int n, bool forward, bool baseline)
{
    Buffers<T> b(n);
    for (auto _ : state) {
        b.Restore();
        if (baseline)
            Fftw<T>::Baseline(b.work, n, forward ? 1 : -1);
        else
            Fftw<T>::Numora(b.work, n, forward ? 1 : -1);
        benchmark::DoNotOptimize(b.work);
        benchmark::ClobberMemory();
    }
}

template <typename T>
void FftwPlan(benchmark::State& state, int n, bool forward, bool halfcomplex)
{
    Buffers<T> b(n);
    auto plan = halfcomplex ? Fftw<T>::R2r(n, b.work, b.output, forward)
                            : Fftw<T>::R2c(n, b.work, b.output, forward);
    for (auto _ : state) {
        b.Restore();
        Fftw<T>::Execute(plan);
        benchmark::DoNotOptimize(b.output);
        benchmark::ClobberMemory();
    }
    Fftw<T>::Destroy(plan);
}

void Kiss(benchmark::State& state, int n, bool forward)
{
    Buffers<float> b(n);
    kiss_fftr_cfg cfg = kiss_fftr_alloc(n, forward ? 0 : 1, nullptr, nullptr);
    for (auto _ : state) {
        b.Restore();
        if (forward)
            kiss_fftr(cfg, b.work, reinterpret_cast<kiss_fft_cpx*>(b.output));
        else
            kiss_fftri(cfg, reinterpret_cast<kiss_fft_cpx*>(b.work), b.output);
        benchmark::DoNotOptimize(b.output);
        benchmark::ClobberMemory();
    }
    kiss_fftr_free(cfg);
}

// The summary table from the fastest repetitions.
void PrintTable(const numora_bench::FastestReporter& times)
{
    for (const char* type : {"float", "double"}) {
        for (const char* dir : {"forward", "inverse"}) {
            std::printf("\n%s %s (ns, fastest repetition)\n", type, dir);
            std::printf("%8s %10s %10s %10s %10s %8s %8s %10s\n", "N", "Numora", "SSE2 path", "FFTW r2r", "FFTW r2c",
                        "ratio", "SSE2 r.", "KissFFT");
            for (int n : kSizes) {
                const std::string tail = std::string("/") + type + "/" + dir + "/" + std::to_string(n);
                const double numora = times.Fastest("numora" + tail), baseline = times.Fastest("numora_sse2" + tail);
                const double r2r = times.Fastest("fftw_r2r" + tail), r2c = times.Fastest("fftw_r2c" + tail);
                const double kiss = times.Fastest("kissfft" + tail);
                const double fftw = r2r < r2c ? r2r : r2c;
                std::printf("%8d %10.0f %10.0f %10.0f %10.0f %8.2f %8.2f", n, numora, baseline, r2r, r2c,
                            fftw > 0 ? numora / fftw : 0.0, fftw > 0 ? baseline / fftw : 0.0);
                if (kiss > 0)
                    std::printf(" %10.0f\n", kiss);
                else
                    std::printf(" %10s\n", "-");
            }
        }
    }
}

template <typename T>
void RegisterType(const char* type)
{
    for (bool forward : {true, false}) {
        for (int n : kSizes) {
            const std::string tail =
                std::string("/") + type + "/" + (forward ? "forward" : "inverse") + "/" + std::to_string(n);
            benchmark::RegisterBenchmark(("numora" + tail).c_str(), Numora<T>, n, forward, false);
            benchmark::RegisterBenchmark(("numora_sse2" + tail).c_str(), Numora<T>, n, forward, true);
            benchmark::RegisterBenchmark(("fftw_r2r" + tail).c_str(), FftwPlan<T>, n, forward, true);
            benchmark::RegisterBenchmark(("fftw_r2c" + tail).c_str(), FftwPlan<T>, n, forward, false);
            if (sizeof(T) == sizeof(float))
                benchmark::RegisterBenchmark(("kissfft" + tail).c_str(), Kiss, n, forward);
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    RegisterType<float>("float");
    RegisterType<double>("double");
    return numora_bench::RunBenchmarks(argc, argv, numora_bench::Clock::Real, PrintTable);
}
