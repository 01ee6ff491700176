// The platform's functions as test programs define them.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <type_traits>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include "CntsMLUTLMailException.h"
#include "CutlCPLBMVector.h"
#include "CutlCPLBOSBoundary.h"
#include "emwCLB.h"
#include "emwGEN.h"
#include "emwOSW.h"
#include "platform_double_state.h"
#include "utl_lib_convert.h"

namespace {

using velorin_test::active_state;
using velorin_test::Answer;
using velorin_test::Call;
using velorin_test::Exchange;
using velorin_test::Handler;
using velorin_test::InsidePlatform;
using State = velorin_test::PlatformDouble::State;
using Guard = std::lock_guard<std::mutex>;

constexpr std::uint32_t kModule = 0x2107;
constexpr std::uint32_t kLevel = 0x102;
constexpr std::int32_t kPatienceMs = 30000;  // instead of an infinite wait: a test ends
constexpr int kFreshPoolOctet = 0xA5;
constexpr std::uint32_t kNobodyAnswers = 0xDEAD;
constexpr std::uint32_t kNotOpen = 0xDEAE;

// The function that this program's own hides.
template <typename Function>
Function* next(const char* name)
{
    void* const found = dlsym(RTLD_NEXT, name);
    if (found == nullptr) {
        std::fprintf(stderr, "the platform has no %s\n", name);
        std::abort();
    }
    return reinterpret_cast<Function*>(found);
}

std::string numbered(const char* name, std::initializer_list<long long> arguments)
{
    std::string text(name);
    text += '(';
    bool first = true;
    for (const long long argument : arguments) {
        if (!first) text += ',';
        first = false;
        text += std::to_string(argument);
    }
    return text + ')';
}

bool all_zero(const void* block, std::size_t size)
{
    const auto* const octets = static_cast<const unsigned char*>(block);
    for (std::size_t index = 0; index < size; ++index) {
        if (octets[index] != 0) return false;
    }
    return true;
}

// With the state's lock held.
void note_open(State& state, const std::string& endpoint)
{
    std::size_t same = 0;
    for (const auto& channel : state.channels) {
        if (channel.second == endpoint) ++same;
    }
    std::size_t& most_same = state.most_open[endpoint];
    if (same > most_same) most_same = same;
    std::size_t& most_of_all = state.most_open[""];
    if (state.channels.size() > most_of_all) most_of_all = state.channels.size();
}

// With the state's lock held.
void* make_pool_block(State& state, std::uint32_t size)
{
    void* const block = std::malloc(size > 0 ? size : 1);
    if (block == nullptr) return nullptr;
    std::memset(block, kFreshPoolOctet, size);
    state.pool_blocks.push_back(State::PoolBlock{block, size});
    return block;
}

// Counts an allocation of the heap.
//   result  true when it is to fail
bool allocation_fails(Call call)
{
    State* const state = active_state();
    if (state == nullptr) return false;
    const char* thrown = nullptr;
    bool fails = false;
    {
        const Guard guard(state->lock);
        ++state->allocations;
        if (state->throwing_allocation.hit()) thrown = state->thrown_text;
        if (state->failing_allocation.hit()) fails = true;
        if (state->failure_of(call) != 0) fails = true;
        if (state->failing_from == 1) fails = true;
        if (state->failing_from > 1) --state->failing_from;
        if (fails || thrown != nullptr) state->allocation_failed = true;
    }
    if (thrown != nullptr) throw new velorin::CntsMLUTLMailException(thrown);
    return fails;
}

}  // namespace

// --- heap

void* CutlCPLBOSBoundary::MemAllocate(std::size_t size)
{
    const InsidePlatform inside;
    return allocation_fails(Call::allocate) ? nullptr : velorin_test::heap_allocate(size);
}

void* CutlCPLBOSBoundary::MemReallocate(void* block, std::size_t size)
{
    const InsidePlatform inside;
    return allocation_fails(Call::reallocate) ? nullptr : velorin_test::heap_reallocate(block, size);
}

void CutlCPLBOSBoundary::MemFree(void* block)
{
    const InsidePlatform inside;
    velorin_test::heap_free(block);
}

// --- the scoped lock. C1, C2 and D1, D2 are one and the same: the class has no base.

OSW_Thread_Guard::OSW_Thread_Guard()
{
    const InsidePlatform inside;
    static auto* const real = next<void(void*)>("_ZN16OSW_Thread_GuardC1Ev");
    real(this);
    if (State* const state = active_state()) {
        const Guard guard(state->lock);
        state->log("guard");
    }
}

OSW_Thread_Guard::~OSW_Thread_Guard()
{
    const InsidePlatform inside;
    static auto* const real = next<void(void*)>("_ZN16OSW_Thread_GuardD1Ev");
    if (State* const state = active_state()) {
        const Guard guard(state->lock);
        state->log("guard_released");
    }
    real(this);
}

// --- the vector

int CutlCPLBMVector::Add(long index, void* item)
{
    const InsidePlatform inside;
    static auto* const real = next<int(CutlCPLBMVector*, long, void*)>("_ZN15CutlCPLBMVector3AddElPv");
    if (State* const state = active_state()) {
        const Guard guard(state->lock);
        ++state->vector_calls;
        if (state->failure_of(Call::vector_add) != 0) return 0;
    }
    return real(this, index, item);
}

int CutlCPLBMVector::Remove(long index)
{
    const InsidePlatform inside;
    static auto* const real = next<int(CutlCPLBMVector*, long)>("_ZN15CutlCPLBMVector6RemoveEl");
    if (State* const state = active_state()) {
        const Guard guard(state->lock);
        ++state->vector_calls;
        if (state->failure_of(Call::vector_remove) != 0) return 0;
    }
    return real(this, index);
}

extern "C" {

// --- trace

void emwGENTrcPrintf(std::uint32_t module, std::uint32_t level, std::uint32_t option, const char* format, ...)
{
    const InsidePlatform inside;
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string line(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    if (length > 0) std::vsnprintf(&line[0], line.size() + 1, format, again);
    va_end(again);
    State* const state = active_state();
    if (state == nullptr) {
        static auto* const real =
            next<void(std::uint32_t, std::uint32_t, std::uint32_t, const char*, ...)>("emwGENTrcPrintf");
        real(module, level, option, "%s", line.c_str());
        return;
    }
    EXPECT_GE(length, 0) << "a trace line that cannot be formatted: " << format;
    EXPECT_EQ(module, kModule) << line;
    EXPECT_EQ(level, kLevel) << line;
    EXPECT_EQ(option, 0u) << line;
    const Guard guard(state->lock);
    state->traces.push_back(line);
    state->changed.notify_all();
}

// --- semaphores: the real ones do the work, so that identifiers are good without a double too

std::uint32_t emwOSWCreateMutexSem(std::uint32_t* semid, std::uint32_t option, std::uint32_t count)
{
    const InsidePlatform inside;
    static auto* const real = next<decltype(emwOSWCreateMutexSem)>("emwOSWCreateMutexSem");
    if (State* const state = active_state()) {
        const Guard guard(state->lock);
        state->log(numbered("sem_create", {option, count}));
        const std::uint32_t code = state->failure_of(Call::sem_create);
        if (code != 0) return code;
    }
    return real(semid, option, count);
}

std::uint32_t emwOSWRequestMutexSem(std::uint32_t semid, std::int32_t timeout)
{
    const InsidePlatform inside;
    static auto* const real = next<decltype(emwOSWRequestMutexSem)>("emwOSWRequestMutexSem");
    State* const state = active_state();
    if (state == nullptr) return real(semid, timeout);
    {
        const Guard guard(state->lock);
        state->log(numbered("sem_request", {semid, timeout}));
        const std::uint32_t code = state->failure_of(Call::sem_request);
        if (code != 0) return code;
    }
    const std::uint32_t taken = real(semid, timeout < 0 ? kPatienceMs : timeout);
    EXPECT_EQ(taken, 0u) << "semaphore " << semid << " was never released";
    if (taken == 0) {
        const Guard guard(state->lock);
        ++state->held_semaphores;
    }
    return taken;
}

std::uint32_t emwOSWReleaseMutexSem(std::uint32_t semid)
{
    const InsidePlatform inside;
    static auto* const real = next<decltype(emwOSWReleaseMutexSem)>("emwOSWReleaseMutexSem");
    State* const state = active_state();
    if (state == nullptr) return real(semid);
    std::uint32_t code = 0;
    {
        const Guard guard(state->lock);
        state->log(numbered("sem_release", {semid}));
        code = state->failure_of(Call::sem_release);
        if (state->held_semaphores > 0) --state->held_semaphores;
    }
    const std::uint32_t released = real(semid);
    EXPECT_EQ(released, 0u) << "semaphore " << semid << " was not held";
    return code != 0 ? code : released;
}

// --- pools

std::uint32_t emwOSWOrgAllocMemPart(std::uint32_t pool, void** block, std::uint32_t size)
{
    const InsidePlatform inside;
    static auto* const real = next<decltype(emwOSWOrgAllocMemPart)>("emwOSWOrgAllocMemPart");
    State* const state = active_state();
    if (state == nullptr) return real(pool, block, size);
    const Guard guard(state->lock);
    state->log(numbered("pool_alloc", {pool, size}));
    *block = nullptr;
    const std::uint32_t code = state->failure_of(Call::pool_alloc);
    if (code != 0) return code;
    *block = make_pool_block(*state, size);
    return *block == nullptr ? 1 : 0;
}

std::uint32_t emwOSWOrgFreeMemPart(std::uint32_t pool, void* block)
{
    const InsidePlatform inside;
    static auto* const real = next<decltype(emwOSWOrgFreeMemPart)>("emwOSWOrgFreeMemPart");
    State* const state = active_state();
    if (state == nullptr) return real(pool, block);
    const Guard guard(state->lock);
    state->log(numbered("pool_free", {pool}));
    const std::uint32_t code = state->failure_of(Call::pool_free);
    for (auto live = state->pool_blocks.begin(); live != state->pool_blocks.end(); ++live) {
        if (live->block != block) continue;
        std::free(block);
        state->pool_blocks.erase(live);
        return code;
    }
    ADD_FAILURE() << "a pool block is freed that is not live";
    return code;
}

std::uint32_t emwOSWSubAllocMem(void** block, std::uint32_t size)
{
    const InsidePlatform inside;
    static auto* const real = next<decltype(emwOSWSubAllocMem)>("emwOSWSubAllocMem");
    State* const state = active_state();
    if (state == nullptr) return real(block, size);
    const Guard guard(state->lock);
    state->log(numbered("sub_alloc", {size}));
    *block = nullptr;
    const std::uint32_t code = state->failure_of(Call::sub_alloc);
    if (code != 0) return code;
    *block = make_pool_block(*state, size);
    return *block == nullptr ? 1 : 0;
}

// --- the packet channel

std::uint32_t emwGENPacketClntInit(const char* endpoint, std::uint32_t* handle)
{
    const InsidePlatform inside;
    static auto* const real = next<decltype(emwGENPacketClntInit)>("emwGENPacketClntInit");
    State* const state = active_state();
    if (state == nullptr) return real(endpoint, handle);
    const Guard guard(state->lock);
    state->log(std::string("init(") + endpoint + ")");
    const std::uint32_t code = state->failure_of(Call::init);
    if (code != 0 && state->failed_handle) *handle = *state->failed_handle;
    if (code != 0) return code;
    *handle = state->next_handle++;
    state->channels[*handle] = endpoint;
    note_open(*state, endpoint);
    return 0;
}

std::uint32_t emwGENPacketClntCall(std::uint32_t handle, const void* request, std::uint32_t request_length,
                                   void* buffer, std::uint32_t buffer_size, std::uint32_t* received_length,
                                   std::int32_t timeout)
{
    const InsidePlatform inside;
    static auto* const real = next<decltype(emwGENPacketClntCall)>("emwGENPacketClntCall");
    State* const state = active_state();
    if (state == nullptr) {
        return real(handle, request, request_length, buffer, buffer_size, received_length, timeout);
    }
    Exchange exchange;
    if (request_length > 0) exchange.request.assign(static_cast<const char*>(request), request_length);
    exchange.handle = handle;
    exchange.buffer_size = buffer_size;
    exchange.timeout = timeout;
    exchange.buffer_was_zero = all_zero(buffer, buffer_size);
    exchange.received_length_before = *received_length;
    Answer answer;
    Handler handler;
    bool answered = false;
    {
        const Guard guard(state->lock);
        state->log(numbered("call", {handle, request_length, buffer_size, timeout}));
        const auto channel = state->channels.find(handle);
        if (channel == state->channels.end()) {
            ADD_FAILURE() << "a request on channel " << handle << ", which is not open";
            return kNotOpen;
        }
        exchange.endpoint = channel->second;
        state->exchanges.push_back(exchange);
        const std::uint32_t code = state->failure_of(Call::call);
        if (code != 0) return code;
        if (!state->answers.empty()) {
            answer = state->answers.front();
            state->answers.pop_front();
            answered = true;
        }
        handler = state->handler;
    }
    if (!answered) {
        if (!handler) {
            ADD_FAILURE() << "a request that no answer was scripted for: "
                          << velorin_test::hex_of(exchange.request);
            return kNobodyAnswers;
        }
        answer = handler(exchange);
    }
    if (answer.status != 0) return answer.status;
    const std::size_t copied = answer.octets.size() < buffer_size ? answer.octets.size() : buffer_size;
    std::memcpy(buffer, answer.octets.data(), copied);
    *received_length = answer.reported_length.value_or(static_cast<std::uint32_t>(answer.octets.size()));
    return 0;
}

std::uint32_t emwGENPacketClntTerm(std::uint32_t handle)
{
    const InsidePlatform inside;
    static auto* const real = next<decltype(emwGENPacketClntTerm)>("emwGENPacketClntTerm");
    State* const state = active_state();
    if (state == nullptr) return real(handle);
    const Guard guard(state->lock);
    state->log(numbered("term", {handle}));
    const std::uint32_t code = state->failure_of(Call::term);
    if (state->channels.erase(handle) == 0) ADD_FAILURE() << "channel " << handle << " is not open";
    return code;
}

// --- text helpers

struct tm* emwCLBLocalTime_r(const time_t* seconds, struct tm* out)
{
    const InsidePlatform inside;
    static auto* const real = next<decltype(emwCLBLocalTime_r)>("emwCLBLocalTime_r");
    if (State* const state = active_state()) {
        const Guard guard(state->lock);
        if (state->failure_of(Call::local_time) != 0) return nullptr;
        if (state->local_time) {
            *out = *state->local_time;
            return out;
        }
    }
    return real(seconds, out);
}

std::uint32_t utl_lib_convert_encode(UTL_LIB_CHGC_ENCODE_TYPE from, UTL_LIB_CHGC_ENCODE_TYPE to,
                                     UTL_LIB_CHGC_REQUEST* request)
{
    const InsidePlatform inside;
    static auto* const real = next<decltype(utl_lib_convert_encode)>("utl_lib_convert_encode");
    velorin_test::Converter converter;
    if (State* const state = active_state()) {
        const Guard guard(state->lock);
        const std::uint32_t code = state->failure_of(Call::convert);
        if (code != 0) return code;
        converter = state->converter;
    }
    return converter ? converter(from, to, request) : real(from, to, request);
}

}  // extern "C"
