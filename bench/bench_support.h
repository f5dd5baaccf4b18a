#pragma once

// Shared by the benchmark programs: a console reporter that also keeps the
// fastest repetition of every benchmark, from which each program prints its
// own summary table after the run, and the main body that does both.

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace numora_bench {

// The clock a benchmark's time is read from. CPU time is the steadier one
// on a machine whose cores are shared: wall time also counts the waits.
enum class Clock { Real, Cpu };

// Console output as usual, plus the fastest repetition of every benchmark by
// name (the function name, arguments included), per iteration, in the
// benchmark's own time unit (nanoseconds unless it set another).
class FastestReporter : public benchmark::ConsoleReporter {
public:
    explicit FastestReporter(Clock clock) : clock_(clock) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration)
                continue;
            const double time = clock_ == Clock::Real ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
            auto it = best_.find(run.run_name.function_name);
            if (it == best_.end())
                best_.emplace(run.run_name.function_name, time);
            else if (time < it->second)
                it->second = time;
        }
    }

    // The fastest time of the benchmark `name`; 0 when it did not run.
    double Fastest(const std::string& name) const
    {
        auto it = best_.find(name);
        return it == best_.end() ? 0.0 : it->second;
    }

private:
    Clock clock_;
    std::map<std::string, double> best_;
};

// Parses the command line, runs the benchmarks registered so far with a
// FastestReporter on `clock`, then prints the program's summary table from it.
// Returns main's result.
inline int RunBenchmarks(int argc, char** argv, Clock clock, void (*printTable)(const FastestReporter&))
{
    benchmark::Initialize(&argc, argv);
    FastestReporter reporter(clock);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printTable(reporter);
    benchmark::Shutdown();
    return 0;
}

}  // namespace numora_bench
