#include "platform_double.h"

#include <atomic>
#include <cctype>
#include <chrono>
#include <cstdlib>
#include <utility>

#include <gtest/gtest.h>

#include "platform_double_state.h"

namespace velorin_test {

namespace {

constexpr std::chrono::seconds kPatience(20);
constexpr std::size_t kRoom = 256;  // entries

std::atomic<PlatformDouble::State*> active{nullptr};
unsigned long mark_at_start = 0;
thread_local int inside = 0;  // nested functions of the platform

using Guard = std::lock_guard<std::mutex>;

}  // namespace

PlatformDouble::State* active_state()
{
    return active.load();
}

const char* name_of(Call call)
{
    switch (call) {
    case Call::allocate:
        return "allocate";
    case Call::reallocate:
        return "reallocate";
    case Call::sem_create:
        return "sem_create";
    case Call::sem_request:
        return "sem_request";
    case Call::sem_release:
        return "sem_release";
    case Call::init:
        return "init";
    case Call::call:
        return "call";
    case Call::term:
        return "term";
    case Call::pool_alloc:
        return "pool_alloc";
    case Call::pool_free:
        return "pool_free";
    case Call::sub_alloc:
        return "sub_alloc";
    case Call::convert:
        return "convert";
    case Call::local_time:
        return "local_time";
    case Call::vector_add:
        return "vector_add";
    case Call::vector_remove:
        return "vector_remove";
    }
    return "?";
}

std::uint32_t PlatformDouble::State::scripted_failure(Call call)
{
    // Each counts on, whichever of them lets the call fail.
    const auto found = failures.find(call);
    const bool own = found != failures.end() && found->second.countdown.hit();
    const bool any = any_failure.countdown.hit();
    if (failure_from.countdown.left > 1) {
        --failure_from.countdown.left;
    } else if (failure_from.countdown.left == 1) {
        return failure_from.code;
    }
    if (own) return found->second.code;
    return any ? any_failure.code : 0;
}

std::uint32_t PlatformDouble::State::failure_of(Call call)
{
    const std::uint32_t code = scripted_failure(call);
    call_records.push_back(CallRecord{call, code != 0});
    return code;
}

InsidePlatform::InsidePlatform()
{
    ++inside;
}

InsidePlatform::~InsidePlatform()
{
    --inside;
}

bool PlatformDouble::is_inside()
{
    return inside > 0;
}

void PlatformDouble::State::log(const std::string& text)
{
    calls.push_back(text);
    changed.notify_all();
}

PlatformDouble::PlatformDouble() : state_(std::make_unique<State>())
{
    mark_at_start = heap_mark();
    // Room enough that a test whose operator new fails finds no block made and not noted.
    state_->calls.reserve(kRoom);
    state_->pool_blocks.reserve(kRoom);
    state_->call_records.reserve(kRoom);
    State* nobody = nullptr;
    if (!active.compare_exchange_strong(nobody, state_.get())) {
        ADD_FAILURE() << "a second PlatformDouble while one lives";
        std::abort();
    }
}

PlatformDouble::~PlatformDouble()
{
    verify();
    active.store(nullptr);
    if (!state_->keep_heap_blocks) {
        EXPECT_THAT(heap_sizes_since(mark_at_start), testing::IsEmpty()) << "heap blocks are left";
    }
    EXPECT_EQ(state_->channels.size(), 0u) << "channels are open";
    EXPECT_EQ(state_->held_semaphores, 0u) << "semaphores are held";
    EXPECT_EQ(state_->pool_blocks.size(), state_->kept_pool_blocks) << "pool blocks are left";
    EXPECT_EQ(state_->answers.size(), 0u) << "answers were never asked for";
    for (const State::PoolBlock& left : state_->pool_blocks)
        std::free(left.block);
}

void PlatformDouble::fail_allocation(int nth)
{
    const Guard guard(state_->lock);
    state_->failing_allocation.left = nth;
}

void PlatformDouble::fail_allocations_from(int nth)
{
    const Guard guard(state_->lock);
    state_->failing_from = nth;
}

void PlatformDouble::throw_on_allocation(int nth, const char* text)
{
    const Guard guard(state_->lock);
    state_->throwing_allocation.left = nth;
    state_->thrown_text = text;
}

bool PlatformDouble::allocation_failed() const
{
    const Guard guard(state_->lock);
    return state_->allocation_failed;
}

std::size_t PlatformDouble::allocations() const
{
    const Guard guard(state_->lock);
    return state_->allocations;
}

std::size_t PlatformDouble::live_blocks() const
{
    return live_block_sizes().size();
}

std::vector<std::size_t> PlatformDouble::live_block_sizes() const
{
    return heap_sizes_since(mark_at_start);
}

void PlatformDouble::keep_heap_blocks()
{
    const Guard guard(state_->lock);
    state_->keep_heap_blocks = true;
}

void PlatformDouble::fail_call(Call call, int nth, std::uint32_t code)
{
    const Guard guard(state_->lock);
    state_->failures[call] = State::Failure{Countdown{nth}, code};
}

void PlatformDouble::fail_any_call(int nth, std::uint32_t code)
{
    const Guard guard(state_->lock);
    state_->any_failure = State::Failure{Countdown{nth}, code};
}

void PlatformDouble::fail_any_calls_from(int nth, std::uint32_t code)
{
    const Guard guard(state_->lock);
    state_->failure_from = State::Failure{Countdown{nth}, code};
}

std::vector<CallRecord> PlatformDouble::take_call_records()
{
    const Guard guard(state_->lock);
    return std::exchange(state_->call_records, {});
}

std::vector<std::string> PlatformDouble::calls() const
{
    const Guard guard(state_->lock);
    return state_->calls;
}

namespace {

std::size_t count_in(const std::vector<std::string>& calls, const std::string& beginning)
{
    std::size_t found = 0;
    for (const std::string& call : calls) {
        if (call.compare(0, beginning.size(), beginning) == 0) ++found;
    }
    return found;
}

}  // namespace

std::size_t PlatformDouble::count(const std::string& beginning) const
{
    const Guard guard(state_->lock);
    return count_in(state_->calls, beginning);
}

bool PlatformDouble::wait_for_count(const std::string& beginning, std::size_t wanted) const
{
    std::unique_lock<std::mutex> guard(state_->lock);
    return state_->changed.wait_for(guard, kPatience,
                                    [&] { return count_in(state_->calls, beginning) >= wanted; });
}

void PlatformDouble::forget_calls()
{
    const Guard guard(state_->lock);
    state_->calls.clear();
}

std::size_t PlatformDouble::held_semaphores() const
{
    const Guard guard(state_->lock);
    return state_->held_semaphores;
}

std::size_t PlatformDouble::open_channels() const
{
    const Guard guard(state_->lock);
    return state_->channels.size();
}

std::size_t PlatformDouble::most_open_channels(const std::string& endpoint) const
{
    const Guard guard(state_->lock);
    const auto found = state_->most_open.find(endpoint);
    return found == state_->most_open.end() ? 0 : found->second;
}

std::vector<std::uint32_t> PlatformDouble::live_pool_blocks() const
{
    const Guard guard(state_->lock);
    std::vector<std::uint32_t> sizes;
    for (const State::PoolBlock& live : state_->pool_blocks)
        sizes.push_back(live.size);
    return sizes;
}

void PlatformDouble::expect_kept_pool_blocks(std::size_t count)
{
    const Guard guard(state_->lock);
    state_->kept_pool_blocks = count;
}

void PlatformDouble::next_handle(std::uint32_t handle)
{
    const Guard guard(state_->lock);
    state_->next_handle = handle;
}

void PlatformDouble::failed_init_writes(std::uint32_t handle)
{
    const Guard guard(state_->lock);
    state_->failed_handle = handle;
}

void PlatformDouble::answer(const std::string& octets)
{
    answer(Answer{octets, std::nullopt, 0});
}

void PlatformDouble::answer(const std::string& octets, std::uint32_t reported_length)
{
    answer(Answer{octets, reported_length, 0});
}

void PlatformDouble::answer(const Answer& answer)
{
    const Guard guard(state_->lock);
    state_->answers.push_back(answer);
}

void PlatformDouble::on_exchange(Handler handler)
{
    const Guard guard(state_->lock);
    state_->handler = std::move(handler);
}

std::vector<Exchange> PlatformDouble::exchanges() const
{
    const Guard guard(state_->lock);
    return state_->exchanges;
}

std::string PlatformDouble::request(std::size_t index) const
{
    const Guard guard(state_->lock);
    if (index >= state_->exchanges.size()) {
        ADD_FAILURE() << "no exchange " << index << ", there were " << state_->exchanges.size();
        return std::string();
    }
    return state_->exchanges[index].request;
}

void PlatformDouble::expect_trace(const std::string& line)
{
    expect_trace_matching(testing::Eq(line));
}

void PlatformDouble::expect_trace_matching(const testing::Matcher<const std::string&>& matcher)
{
    const Guard guard(state_->lock);
    state_->expected_traces.push_back(matcher);
}

std::vector<std::string> PlatformDouble::traces() const
{
    const Guard guard(state_->lock);
    return state_->traces;
}

std::vector<std::string> PlatformDouble::take_traces()
{
    const Guard guard(state_->lock);
    return std::exchange(state_->traces, {});
}

bool PlatformDouble::verify()
{
    std::vector<std::string> lines;
    std::vector<testing::Matcher<const std::string&>> expected;
    {
        const Guard guard(state_->lock);
        lines.swap(state_->traces);
        expected.swap(state_->expected_traces);
    }
    bool matches = lines.size() == expected.size();
    for (std::size_t index = 0; matches && index < lines.size(); ++index)
        matches = expected[index].Matches(lines[index]);
    if (!matches) {
        EXPECT_THAT(lines, testing::ElementsAreArray(expected)) << "the trace lines are not those expected";
    }
    return matches;
}

void PlatformDouble::local_time(const std::tm& fixed)
{
    const Guard guard(state_->lock);
    state_->local_time = fixed;
}

void PlatformDouble::converter(Converter instead)
{
    const Guard guard(state_->lock);
    state_->converter = std::move(instead);
}

std::size_t PlatformDouble::count_vector_calls() const
{
    const Guard guard(state_->lock);
    return state_->vector_calls;
}

struct Rendezvous::Inside {
    std::mutex lock;
    std::condition_variable changed;
    std::size_t missing = 0;
};

Rendezvous::Rendezvous(std::size_t parties) : inside_(std::make_unique<Inside>())
{
    inside_->missing = parties;
}

Rendezvous::~Rendezvous() = default;

bool Rendezvous::arrive_and_wait()
{
    std::unique_lock<std::mutex> guard(inside_->lock);
    if (inside_->missing > 0) --inside_->missing;
    inside_->changed.notify_all();
    return inside_->changed.wait_for(guard, kPatience, [this] { return inside_->missing == 0; });
}

std::string octets_of(const std::string& hex)
{
    std::string octets;
    int digits = 0;
    unsigned value = 0;
    for (const char character : hex) {
        const auto code = static_cast<unsigned char>(character);
        if (std::isspace(code) != 0) continue;
        if (std::isxdigit(code) == 0) {
            ADD_FAILURE() << "'" << character << "' is no hex digit";
            continue;
        }
        const int digit = std::isdigit(code) != 0 ? code - '0' : std::tolower(code) - 'a' + 10;
        value = value * 16 + static_cast<unsigned>(digit);
        if (++digits == 2) {
            octets.push_back(static_cast<char>(value));
            digits = 0;
            value = 0;
        }
    }
    EXPECT_EQ(digits, 0) << "an odd number of hex digits";
    return octets;
}

std::string hex_of(const std::string& octets)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string hex;
    for (const char octet : octets) {
        const auto value = static_cast<unsigned char>(octet);
        if (!hex.empty()) hex.push_back(' ');
        hex.push_back(kDigits[value >> 4]);
        hex.push_back(kDigits[value & 0x0F]);
    }
    return hex;
}

}  // namespace velorin_test
