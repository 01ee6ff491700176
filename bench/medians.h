#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace velorin_bench {

// Shows runs as the console does, and keeps the median of every benchmark.
class MedianReporter : public benchmark::ConsoleReporter {
public:
    struct Median {
        double real = 0;       // both in the benchmark's unit of time
        double processor = 0;  // what other programs of the machine take is not in it
    };

    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred) failed_ = true;
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                medians_[run.run_name.function_name] = {run.GetAdjustedRealTime(), run.GetAdjustedCPUTime()};
            }
        }
    }

    bool has_failed() const { return failed_; }

    // Null for a benchmark that did not run.
    const Median* median(const std::string& name) const
    {
        const auto found = medians_.find(name);
        return found != medians_.end() ? &found->second : nullptr;
    }

private:
    std::map<std::string, Median> medians_;
    bool failed_ = false;
};

// Makes every benchmark run many times, by turns, and show what it makes of that; the caller's own options win.
//   in      least: seconds that a repetition lasts at least
inline void initialize(int count, char** arguments, const std::string& least)
{
    std::vector<std::string> options = {
        "--benchmark_repetitions=15", "--benchmark_enable_random_interleaving=true",
        "--benchmark_report_aggregates_only=true", "--benchmark_min_time=" + least};
    std::vector<char*> given = {arguments[0]};
    for (std::string& option : options) {
        given.push_back(option.data());
    }
    given.insert(given.end(), arguments + 1, arguments + count);
    int given_count = static_cast<int>(given.size());
    benchmark::Initialize(&given_count, given.data());
}

}  // namespace velorin_bench
