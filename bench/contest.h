#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "turns.h"

namespace velorin_bench {

constexpr char kOurs[] = "ours";

// One operation that several libraries do. Whoever enters shows once that the result is right, which ends the
// program when it is not, and is timed then.
class Contest {
public:
    using Judge = std::function<bool(const std::string& pieces)>;

    // octets: what one run takes in, for figures in MB a second; 0 for figures in time
    Contest(std::string name, Judge is_right, std::size_t octets = 0)
        : name_(std::move(name)), is_right_(std::move(is_right)), octets_(octets)
    {
    }

    // run: hands its result to what it is given, in one piece or several: run([](std::string_view) {})
    template <typename Run>
    void enter(const char* who, Run run)
    {
        std::string pieces;
        run([&pieces](std::string_view piece) { pieces.append(piece).push_back('\0'); });
        if (!is_right_(pieces)) give_up(who, pieces);
        entered_.emplace_back(who);
        turns_.add(who, [run](long times) {
            for (; times > 0; --times) {
                run([](std::string_view piece) {
                    benchmark::DoNotOptimize(piece.data());
                    benchmark::ClobberMemory();
                });
            }
        });
    }

    // Once all have entered.
    void start() const { benchmark::RegisterBenchmark(name_.c_str(), turns_); }

    const std::string& name() const { return name_; }
    const std::vector<std::string>& entered() const { return entered_; }
    std::size_t octets() const { return octets_; }

private:
    [[noreturn]] void give_up(const char* who, const std::string& pieces) const
    {
        std::fprintf(stderr, "bench: %s: the result of %s is wrong:\n%s\n", name_.c_str(), who,
                     pieces.c_str());
        std::exit(1);
    }

    std::string name_;
    Judge is_right_;
    std::size_t octets_;
    std::vector<std::string> entered_;
    Turns turns_;
};

// For results that come in one piece and have to be this one.
inline Contest::Judge exactly(std::string expected)
{
    expected.push_back('\0');
    return [expected = std::move(expected)](const std::string& pieces) { return pieces == expected; };
}

// A block of a C library; Free returns it.
template <auto Free>
struct FreeBlock {
    template <typename Block>
    void operator()(Block* block) const
    {
        Free(block);
    }
};
template <auto Free>
using Text = std::unique_ptr<char, FreeBlock<Free>>;

}  // namespace velorin_bench
