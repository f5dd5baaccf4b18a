// IIR filters on blocks of 4096 float samples, an order-8 Butterworth
// band-pass (16 poles) from 1 to 3 kHz at 51.2 kHz:
// - CTimeFilter::Apply against the plain shifting direct form written here
//   (shift both histories, then the two sums), with the same coefficients;
// - CSectionFilter::Apply against a plain cascade of second-order sections
//   written here (transposed direct form II per sample), with the same sections.
// Every timed iteration copies the input into the work block first, for every
// contender alike. The table at the end gives samples per second (fastest
// repetition) and the ratios, and whether the outputs are bit-identical.

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/bench_support.h"
#include "numora/analysis/time_filter.h"

namespace {

using qv::math::CSectionFilter;
using qv::math::CTimeFilter;

const int kBlock = 4096;

std::vector<float> Input()
{
    std::vector<float> v(kBlock);
    uint32_t state = 12345u;
    for (float& x : v) {
        state = state * 1664525u + 1013904223u;
        x = static_cast<float>(static_cast<int>(state >> 9) - (1 << 22)) / static_cast<float>(1 << 22);
    }
    return v;
}

CTimeFilter Designed()
{
    CTimeFilter f;
    f.Initialize(1000.0f, 3000.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::BandPass, 8);
    return f;
}

CSectionFilter DesignedSections()
{
    CSectionFilter f;
    f.Initialize(1000.0f, 3000.0f, 51200.0f, CTimeFilter::Butterworth, CTimeFilter::BandPass, 8);
    return f;
}

// The direct form as plainly written, physical shifts every sample.
struct Shifting {
    explicit Shifting(const CTimeFilter& f)
        : xc(f.xcoeffs, f.xcoeffs + 513), yc(f.ycoeffs, f.ycoeffs + 513), xv(513, 0.0), yv(513, 0.0),
          gain(f.gain), nz(f.numZeros), np(f.numPoles)
    {
    }
    void Apply(float* data, int n)
    {
        for (int k = 0; k < n; ++k) {
            for (int i = 0; i < nz; ++i)
                xv[i] = xv[i + 1];
            xv[nz] = static_cast<double>(gain * data[k]);
            for (int i = 0; i < np; ++i)
                yv[i] = yv[i + 1];
            double sx = 0.0, sy = 0.0;
            for (int i = 0; i <= nz; ++i)
                sx += xc[i] * xv[i];
            for (int i = 0; i < np; ++i)
                sy += yc[i] * yv[i];
            yv[np] = sy + sx;
            data[k] = static_cast<float>(yv[np]);
        }
    }
    std::vector<double> xc, yc, xv, yv;
    float gain;
    int nz, np;
};

// A plain cascade of second-order sections, one sample through all sections at a time.
struct Cascade {
    explicit Cascade(const CSectionFilter& f) : state(2 * static_cast<size_t>(f.SectionCount()), 0.0)
    {
        for (int i = 0; i < f.SectionCount(); ++i)
            sections.push_back(f.GetSection(i));
    }
    void Apply(float* data, int n)
    {
        for (int k = 0; k < n; ++k) {
            double v = static_cast<double>(data[k]);
            for (size_t i = 0; i < sections.size(); ++i) {
                const CSectionFilter::Section& s = sections[i];
                const double y = s.b0 * v + state[2 * i];
                state[2 * i] = (s.b1 * v - s.a1 * y) + state[2 * i + 1];
                state[2 * i + 1] = s.b2 * v - s.a2 * y;
                v = y;
            }
            data[k] = static_cast<float>(v);
        }
    }
    std::vector<CSectionFilter::Section> sections;
    std::vector<double> state;
};

template <typename Filter>
void Run(benchmark::State& state, Filter& filter)
{
    const std::vector<float> input = Input();
    std::vector<float> work(kBlock);
    for (auto _ : state) {
        std::memcpy(work.data(), input.data(), sizeof(float) * kBlock);
        filter.Apply(work.data(), kBlock);
        benchmark::DoNotOptimize(work.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kBlock);
}

void TimeFilterApply(benchmark::State& state)
{
    CTimeFilter f = Designed();
    Run(state, f);
}

void ShiftingReference(benchmark::State& state)
{
    Shifting f(Designed());
    Run(state, f);
}

void SectionFilterApply(benchmark::State& state)
{
    CSectionFilter f = DesignedSections();
    Run(state, f);
}

void CascadeReference(benchmark::State& state)
{
    Cascade f(DesignedSections());
    Run(state, f);
}

// Runs 20 blocks through both filters and compares every output bit.
template <typename A, typename B>
bool BitIdentical(A& a, B& b)
{
    const std::vector<float> input = Input();
    std::vector<float> x(kBlock), y(kBlock);
    for (int block = 0; block < 20; ++block) {
        x = input;
        y = input;
        a.Apply(x.data(), kBlock);
        b.Apply(y.data(), kBlock);
        if (std::memcmp(x.data(), y.data(), sizeof(float) * kBlock) != 0)
            return false;
    }
    return true;
}

// One row of the table: throughput in Msamples/s and the speed ratio Numora / plain.
void Row(const char* name, double numora, double plain, bool same)
{
    const double a = numora > 0 ? kBlock / numora * 1e3 : 0.0;
    const double b = plain > 0 ? kBlock / plain * 1e3 : 0.0;
    std::printf("%-22s %10.1f %10.1f %8.2f %14s\n", name, a, b, b > 0 ? a / b : 0.0, same ? "yes" : "NO");
}

// The summary table from the fastest repetitions.
void PrintTable(const numora_bench::FastestReporter& times)
{
    CTimeFilter direct = Designed();
    Shifting shifting(direct);
    CSectionFilter sections = DesignedSections();
    Cascade cascade(sections);
    const bool directSame = BitIdentical(direct, shifting);
    const bool sectionsSame = BitIdentical(sections, cascade);
    std::printf("\norder-8 band-pass, blocks of %d samples (Msamples/s of CPU time, fastest repetition)\n", kBlock);
    std::printf("%-22s %10s %10s %8s %14s\n", "", "Numora", "plain", "ratio", "bit-identical");
    Row("direct form", times.Fastest("TimeFilterApply"), times.Fastest("ShiftingReference"), directSame);
    Row("second-order sections", times.Fastest("SectionFilterApply"), times.Fastest("CascadeReference"),
        sectionsSame);
}

}  // namespace

BENCHMARK(TimeFilterApply);
BENCHMARK(ShiftingReference);
BENCHMARK(SectionFilterApply);
BENCHMARK(CascadeReference);

int main(int argc, char** argv)
{
    return numora_bench::RunBenchmarks(argc, argv, numora_bench::Clock::Cpu, PrintTable);
}
