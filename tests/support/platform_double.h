// The platform under a test's control. A program linked with the object library velorin_platform_double
// defines the platform's functions itself; while a PlatformDouble lives they do what it was told, without one
// they pass on to the real platform. The heap alone is always the double's, so that blocks may outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "utl_lib_convert.h"

namespace velorin_test {

// What can be made to fail by fail_call and fail_any_call. The heap has calls of its own too: fail_allocation.
enum class Call {
    allocate,    // MemAllocate gives null, whatever the code
    reallocate,  // MemReallocate gives null, whatever the code
    sem_create,
    sem_request,
    sem_release,  // the semaphore is free afterwards all the same
    init,
    call,
    term,  // the channel is closed afterwards all the same
    pool_alloc,
    pool_free,  // the block is gone afterwards all the same
    sub_alloc,
    convert,        // utl_lib_convert_encode
    local_time,     // emwCLBLocalTime_r gives null, whatever the code
    vector_add,     // CutlCPLBMVector::Add gives 0, whatever the code
    vector_remove,  // CutlCPLBMVector::Remove gives 0, whatever the code
};

// The name as it stands above.
const char* name_of(Call call);

// One call that could have been made to fail.
struct CallRecord {
    Call call;
    bool failed;
};

// One emwGENPacketClntCall as it came in.
struct Exchange {
    std::string endpoint;  // of the Init that opened the channel
    std::string request;
    std::uint32_t handle = 0;
    std::uint32_t buffer_size = 0;
    std::int32_t timeout = 0;
    bool buffer_was_zero = false;              // every octet of the receive buffer, before the answer
    std::uint32_t received_length_before = 0;  // what the caller's variable held
};

struct Answer {
    std::string octets;                            // copied into the receive buffer as far as they fit
    std::optional<std::uint32_t> reported_length;  // instead of the number of octets
    std::uint32_t status = 0;                      // nonzero: nothing is copied or reported
};

using Handler = std::function<Answer(const Exchange&)>;

// A hand-made utl_lib_convert_encode.
using Converter =
    std::function<std::uint32_t(UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_REQUEST*)>;

// One at a time. Any number of threads may be inside the platform's functions while it lives.
// Its end fails the test when trace lines differ from those expected, a channel is open, a semaphore is held,
// or a pool block or heap block made while it lived is left (see expect_kept_pool_blocks, keep_heap_blocks).
// A block freed twice or unknown, and an octet written behind a block, fail the test where they are noticed.
class PlatformDouble {
public:
    PlatformDouble();
    ~PlatformDouble();
    PlatformDouble(const PlatformDouble&) = delete;
    PlatformDouble& operator=(const PlatformDouble&) = delete;

    // --- heap: MemAllocate and MemReallocate together count as allocations; a reallocation that shrinks too
    void fail_allocation(int nth);        // the nth from now, 1 the next; 0: none
    void fail_allocations_from(int nth);  // the nth from now and every later one; 0: none
    // The nth from now throws `new CntsMLUTLMailException(text)`; `text` outlives the double. 0: none.
    void throw_on_allocation(int nth, const char* text);
    bool allocation_failed() const;   // one was made to fail or to throw since the double was made
    std::size_t allocations() const;  // asked for since then
    std::size_t live_blocks() const;  // made since then and not yet freed
    std::vector<std::size_t> live_block_sizes() const;  // in the order in which they were made
    void keep_heap_blocks();                            // blocks that outlive the double are no failure

    // The size of a heap block, whenever it was made.
    //   result  octets; -1 for a pointer that is no live block
    static long block_size(const void* block);

    // --- failures of other calls
    void fail_call(Call call, int nth, std::uint32_t code = 0xBAD);  // the nth from now, 1 the next; 0: none

    // All kinds of Call are counted together here, in the order in which they are made.
    void fail_any_call(int nth, std::uint32_t code = 0xBAD);        // the nth from now; 0: none
    void fail_any_calls_from(int nth, std::uint32_t code = 0xBAD);  // it and every later one; 0: none
    std::vector<CallRecord> take_call_records();  // those since the last time; the double forgets them

    // True while this thread is inside a function of the platform that a double serves: what such a function
    // allocates is the test's business, not the library's.
    static bool is_inside();

    // --- the log: every call but those of the heap, the trace and the vector, in order, as
    //   guard                       guard_released
    //   sem_create(0,1)             sem_request(SEMID,-1)      sem_release(SEMID)
    //   init(ENDPOINT)              call(HANDLE,LENGTH,BUFFER_SIZE,TIMEOUT)        term(HANDLE)
    //   pool_alloc(POOL,SIZE)       pool_free(POOL)            sub_alloc(SIZE)     all numbers decimal
    // A semaphore request is logged before it waits; a failed call like a good one.
    std::vector<std::string> calls() const;
    std::size_t count(const std::string& beginning) const;  // logged calls that begin with this text
    bool wait_for_count(const std::string& beginning, std::size_t wanted) const;  // false after 20 seconds
    void forget_calls();

    std::size_t held_semaphores() const;
    std::size_t open_channels() const;
    // The most channels of an endpoint that were open at once; "" for all endpoints together.
    std::size_t most_open_channels(const std::string& endpoint) const;
    std::vector<std::uint32_t> live_pool_blocks() const;  // sizes; those of the sub-pool too
    // Pool blocks that are left at the end, and are then freed by the double.
    void expect_kept_pool_blocks(std::size_t count);

    // --- exchanges. Answers wait in a queue; a handler serves when the queue is empty; neither fails the
    // test.
    void next_handle(std::uint32_t handle);         // later channels count up from it
    void failed_init_writes(std::uint32_t handle);  // into the caller's variable, though it fails
    void answer(const std::string& octets);
    void answer(const std::string& octets, std::uint32_t reported_length);
    void answer(const Answer& answer);
    void on_exchange(Handler handler);
    std::vector<Exchange> exchanges() const;
    std::string request(std::size_t index) const;  // "" and a test failure when there is none

    // --- trace: lines as formatted, in order
    void expect_trace(const std::string& line);
    void expect_trace_matching(const testing::Matcher<const std::string&>& matcher);
    std::vector<std::string> traces() const;
    std::vector<std::string> take_traces();  // hands over what came so far; the double forgets it
    bool verify();  // compares lines and expectations, fails the test where they differ, forgets both

    // --- other
    void local_time(const std::tm& fixed);  // what emwCLBLocalTime_r gives
    void converter(Converter instead);      // what utl_lib_convert_encode does
    std::size_t count_vector_calls() const;

    class State;

private:
    std::unique_ptr<State> state_;
};

// Lets threads wait for each other, never for ever.
class Rendezvous {
public:
    explicit Rendezvous(std::size_t parties);
    ~Rendezvous();
    Rendezvous(const Rendezvous&) = delete;
    Rendezvous& operator=(const Rendezvous&) = delete;

    //   result  true when all parties have arrived; false after 20 seconds
    bool arrive_and_wait();

private:
    struct Inside;
    std::unique_ptr<Inside> inside_;
};

// An octet string from hex digits; blanks and line ends between them are skipped.
std::string octets_of(const std::string& hex);

// The other way round, two digits an octet, one blank between octets.
std::string hex_of(const std::string& octets);

}  // namespace velorin_test
