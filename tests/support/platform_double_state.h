// Inside of the platform double: what its class and the platform's functions share.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform_double.h"

namespace velorin_test {

// Counts down to the call that fails.
struct Countdown {
    int left = 0;  // 0: none

    bool hit()
    {
        if (left == 0) return false;
        --left;
        return left == 0;
    }
};

class PlatformDouble::State {
public:
    struct Failure {
        Countdown countdown;
        std::uint32_t code = 0;
    };

    // Every member is guarded by it.
    mutable std::mutex lock;
    mutable std::condition_variable changed;

    Countdown failing_allocation;
    int failing_from = 0;  // 0: none; 1: every allocation from now
    Countdown throwing_allocation;
    const char* thrown_text = nullptr;
    bool allocation_failed = false;
    std::size_t allocations = 0;
    bool keep_heap_blocks = false;

    std::map<Call, Failure> failures;
    Failure any_failure;
    Failure failure_from;  // its countdown stays at 1
    std::vector<CallRecord> call_records;
    std::vector<std::string> calls;
    std::size_t vector_calls = 0;
    std::size_t held_semaphores = 0;

    std::map<std::uint32_t, std::string> channels;  // endpoint by handle
    std::map<std::string, std::size_t> most_open;
    std::uint32_t next_handle = 0x40000001;
    std::optional<std::uint32_t> failed_handle;

    struct PoolBlock {
        void* block;
        std::uint32_t size;
    };
    std::vector<PoolBlock> pool_blocks;
    std::size_t kept_pool_blocks = 0;

    std::deque<Answer> answers;
    Handler handler;
    std::vector<Exchange> exchanges;

    std::vector<std::string> traces;
    std::vector<testing::Matcher<const std::string&>> expected_traces;

    std::optional<std::tm> local_time;
    Converter converter;

    // Counts a call, with the lock held.
    //   result  the code to return; 0 when the call is not to fail
    std::uint32_t failure_of(Call call);
    void log(const std::string& text);

private:
    std::uint32_t scripted_failure(Call call);
};

// While it lives, the thread is inside a function of the platform.
class InsidePlatform {
public:
    InsidePlatform();
    ~InsidePlatform();
    InsidePlatform(const InsidePlatform&) = delete;
    InsidePlatform& operator=(const InsidePlatform&) = delete;
};

// The double that lives, or null.
PlatformDouble::State* active_state();

// The heap behind the platform's.
void* heap_allocate(std::size_t size);
void* heap_reallocate(void* block, std::size_t size);
void heap_free(void* block);
unsigned long heap_mark();  // blocks made from now on have numbers from this one
std::vector<std::size_t> heap_sizes_since(unsigned long mark);

}  // namespace velorin_test
