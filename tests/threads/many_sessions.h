// Sixty-four threads with a session of each protocol of their own, and the service that they talk to. Its answers
// say whose session asked, so that an answer that reaches another thread shows.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace velorin_test {

constexpr unsigned kManyThreads = 64;

// Answers envelopes of both protocols. Any number of threads at once.
class NumberedService {
public:
    //   in      request: an envelope of the protocol
    //   result  the answer's envelope; empty for a request that is malformed, out of order or of a session that
    //           nobody created, which is also counted
    std::string smtp(const std::string& request);
    std::string pop3(const std::string& request);

    std::size_t live_sessions() const;
    unsigned refused() const { return refused_.load(); }
    unsigned answered() const { return answered_.load(); }

private:
    using Sessions = std::map<std::uint32_t, std::uint32_t>;  // session id to the port in its settings

    bool open(Sessions& sessions, std::uint32_t id, std::uint32_t port);
    bool end(Sessions& sessions, std::uint32_t id);
    std::uint32_t port_of(const Sessions& sessions, std::uint32_t id) const;  // 0: unknown
    std::string count(bool is_good, const std::string& answer);

    mutable std::mutex lock_;
    Sessions smtp_;
    Sessions pop3_;
    std::atomic<unsigned> refused_{0};
    std::atomic<unsigned> answered_{0};
};

// Runs the threads to their end: `rounds` times, each opens a session of both protocols, asks `questions` times by
// turns in both, checks that every answer is meant for it, and ends them. Failures fail the test.
//   result  exchanges that the service must have seen
unsigned run_many_sessions(unsigned rounds, unsigned questions);

}  // namespace velorin_test
