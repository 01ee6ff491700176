#pragma once

#include <sys/types.h>

#include <cstdint>
#include <mutex>
#include <unordered_map>

#include "channel_server.h"

// Who is at the other end of a socket.
namespace velorin_channel {

//   result  the calling process as a caller
Caller this_process();

// Forgets what this_process() keeps; for the child of a fork.
void forget_this_process();

// Start times of the processes that call, kept as long as the process lives: reading them costs about as much
// as a whole exchange. A pidfd beside each says whether the process id still belongs to that process.
class StartTimes {
public:
    StartTimes() = default;
    ~StartTimes();
    StartTimes(const StartTimes&) = delete;
    StartTimes& operator=(const StartTimes&) = delete;

    std::uint64_t of(pid_t pid);
    // Closes the descriptors of processes that have ended.
    void forget_ended();

private:
    struct Known {
        int pidfd;
        std::uint64_t start_time;
    };
    void drop_ended();  // with lock_ held

    std::mutex lock_;
    std::unordered_map<pid_t, Known> known_;
};

// Reads the credentials that the peer had when it connected; start_time is left 0.
bool read_credentials(int descriptor, Caller& caller);

// Whether a peer belongs to a group: by its own group or a supplementary one.
bool is_member(int descriptor, const Caller& caller, gid_t group);

}  // namespace velorin_channel
