#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace velorin_bench {

// Shows runs as the console does, and keeps the median of every benchmark.
class MedianReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.error_occurred) failed_ = true;
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                const std::string& name = run.run_name.function_name;
                medians_[name] = run.GetAdjustedRealTime();
                for (const auto& [counter, value] : run.counters) {
                    medians_[counter_of(name, counter)] = value;
                }
            }
        }
    }

    bool has_failed() const { return failed_; }

    // In the benchmark's unit of time; null for a benchmark that did not run.
    const double* median(const std::string& name) const
    {
        const auto found = medians_.find(name);
        return found != medians_.end() ? &found->second : nullptr;
    }
    const double* median(const std::string& name, const std::string& counter) const
    {
        return median(counter_of(name, counter));
    }

private:
    static std::string counter_of(const std::string& name, const std::string& counter)
    {
        return name + '\0' + counter;
    }

    std::map<std::string, double> medians_;
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
