#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "channel_server.h"

// The endpoints inside this process.
namespace velorin_channel {

struct LocalEndpoint::Entry {
    std::string name;
    Handler handler;
    std::mutex lock;
    std::condition_variable over;
    bool closed = false;           // the endpoint is going: no exchange begins any more
    unsigned running = 0;          // exchanges
    std::uint32_t generation = 0;  // forks since; the exchanges of the parent's threads are not the child's
};

//   in      name: without "pcie:"
//   result  the latest registration of that name; null when there is none
std::shared_ptr<LocalEndpoint::Entry> find_local(const char* name);

// Performs one exchange in the calling thread.
//   out     length: of the answer, on success
//   result  a ChannelCode
std::uint32_t call_local(LocalEndpoint::Entry& entry, const void* request, std::uint32_t request_length,
                         void* buffer, std::uint32_t buffer_size, std::uint32_t& length);

// Runs a handler; what it throws is a failure and one trace line.
bool run_handler(const std::string& endpoint, const Handler& handler, const Caller& caller,
                 const char* request, std::uint32_t request_length, char* answer, std::uint32_t capacity,
                 std::uint32_t& length);

}  // namespace velorin_channel
