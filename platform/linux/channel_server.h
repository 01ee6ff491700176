#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform_api.h"

// The server end of the channel: handlers inside this process, and Unix sockets for other processes.
namespace velorin_channel {

// Who is at the other end of an exchange. pid and start_time together name one process: a process id is given
// out again, a process id with its start time is not.
struct Caller {
    std::uint32_t uid;  // effective at connect
    std::uint32_t gid;
    std::int32_t pid;
    std::uint64_t start_time;  // clock ticks after boot; 0 when the process had ended before it could be read
    bool in_process;           // called through LocalEndpoint
};

// Answers one exchange. Any number of threads at once.
//   in      request: request_length octets; not null, also when there are none
//           capacity: octets that fit `answer`: the caller's receive buffer, at most kMaxAnswer
//   out     answer: written up to capacity; answer_length: octets of it that are the answer, 0 is an empty
//           answer
//   result  true; false: no answer, the caller is let go and its call fails. An answer_length above capacity
//           and an exception count as false
using Handler = std::function<bool(const Caller& caller, const char* request, std::uint32_t request_length,
                                   char* answer, std::uint32_t capacity, std::uint32_t& answer_length)>;

constexpr std::uint32_t kMaxAnswer = 1u
                                     << 20;  // octets; keeps a caller from making the server set aside more

// An endpoint inside this process; it goes before a socket of the same name. The handler runs in the caller's
// thread, so a call's time-out does not apply. A channel opened before the endpoint went finds its peer gone.
class NTC_PLATFORM_API LocalEndpoint {
public:
    //   in      name: without "pcie:"; of several registrations of a name the latest one that is left answers
    LocalEndpoint(const std::string& name, Handler handler);
    // Waits until running exchanges are over. Not to be called by the handler itself.
    ~LocalEndpoint();
    LocalEndpoint(const LocalEndpoint&) = delete;
    LocalEndpoint& operator=(const LocalEndpoint&) = delete;

    struct NTC_PLATFORM_LOCAL Entry;  // internal

private:
    std::shared_ptr<Entry> entry_;
};

struct ServerOptions {
    std::string directory;                  // empty: the channel directory of the environment
    std::string group;                      // its members may call besides own uid and root; empty: none
    std::uint32_t max_request = 64u << 20;  // octets; a caller that announces more is let go
    unsigned max_threads = 600;             // below endpoints + 2 counts as that
    int frame_timeout_ms = 10000;  // a caller that has not sent its whole frame, or not taken its whole
                                   // answer, by then is let go
    std::function<void()>
        on_idle;  // when nobody has called for some seconds; once until somebody calls again
};

// Serves endpoints on Unix sockets. An exchange is served by the thread that accepted it; the pool of
// accepting threads grows while they are busy and shrinks again. A caller that is slow with its frame or with
// taking its answer is set aside without holding a thread. add, start and stop are for one thread at a time.
class NTC_PLATFORM_API ChannelServer {
public:
    explicit ChannelServer(ServerOptions options);
    ~ChannelServer();  // stop()
    ChannelServer(const ChannelServer&) = delete;
    ChannelServer& operator=(const ChannelServer&) = delete;

    // Adds an endpoint, before start.
    //   in      name: without "pcie:"; letters, digits, "_", "-" and ".", not beginning with "."
    //   out     error: a sentence when the result is false
    bool add(const std::string& name, Handler handler, std::string& error);

    // Creates the directory (0750) when it is missing and the sockets (0660), and begins to accept. A socket
    // left behind by a server that has gone is replaced; one that somebody listens on is not: error "already
    // running".
    //   out     error: a sentence when the result is false; nothing is left behind then
    bool start(std::string& error);

    // Accepts no more, waits for running exchanges, lets slow callers go, removes the sockets. May be called
    // again.
    void stop();

private:
    class NTC_PLATFORM_LOCAL Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace velorin_channel
