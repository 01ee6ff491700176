#pragma once

#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

namespace velorin_bench {

// Runs several things by short turns, so that whatever else the machine does hits all of them alike, and leaves
// what one run of each takes, in nanoseconds of the processor, in a counter of its name.
class Turns {
public:
    using Run = std::function<void(long times)>;

    void add(std::string name, Run run) { things_.push_back({std::move(name), std::move(run)}); }

    void operator()(benchmark::State& state)
    {
        constexpr double kTurn = 50e3;  // nanoseconds
        for (Thing& thing : things_) {
            thing.run(1);  // once for nothing: what it needs is in the cache
            thing.times = std::max(1L, static_cast<long>(kTurn / std::max(time_of(thing, 1), 1.0)));
            thing.total = 0;
        }
        for (auto _ : state) {
            for (Thing& thing : things_) {
                thing.total += time_of(thing, thing.times);
            }
        }
        for (const Thing& thing : things_) {
            const double runs = static_cast<double>(state.iterations()) * static_cast<double>(thing.times);
            state.counters[thing.name] = thing.total / runs;
        }
    }

private:
    struct Thing {
        std::string name;
        Run run;
        long times = 1;
        double total = 0;
    };

    static double processor_time()
    {
        timespec now{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
        return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
    }

    static double time_of(const Thing& thing, long times)
    {
        const double begin = processor_time();
        thing.run(times);
        return processor_time() - begin;
    }

    std::vector<Thing> things_;
};

}  // namespace velorin_bench
