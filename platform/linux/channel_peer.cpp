#include "channel_peer.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <vector>

#include "process_start.h"

namespace velorin_channel {
namespace {

constexpr std::size_t kMostGroups = 65536;  // of a process: the kernel's NGROUPS_MAX
constexpr std::size_t kKnownLimit = 128;    // processes; each costs a descriptor

int open_process(pid_t pid)
{
#ifdef SYS_pidfd_open
    return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
#else
    static_cast<void>(pid);
    errno = ENOSYS;
    return -1;
#endif
}

// A pidfd becomes readable when its process ends.
bool has_ended(int pidfd)
{
    pollfd process{pidfd, POLLIN, 0};
    return poll(&process, 1, 0) != 0;
}

// Forks that led to this process: what a thread keeps from before one is not true any more.
std::atomic<std::uint32_t> forks{0};

struct Own {
    Caller caller{};
    std::uint32_t forks = 0;
};
// Each thread reads it once; one for all would take a lock, or an atomic of 64 bits that not every device
// has.
thread_local Own own;

}  // namespace

Caller this_process()
{
    const std::uint32_t now = forks.load(std::memory_order_relaxed);
    if (own.caller.start_time == 0 || own.forks != now) {
        const pid_t pid = getpid();
        own.caller = Caller{geteuid(), getegid(), pid, read_start_time(pid), true};
        own.forks = now;
    }
    return own.caller;
}

void forget_this_process()
{
    forks.fetch_add(1, std::memory_order_relaxed);
}

StartTimes::~StartTimes()
{
    for (const auto& process : known_)
        close(process.second.pidfd);
}

std::uint64_t StartTimes::of(pid_t pid)
{
    {
        const std::lock_guard<std::mutex> guard(lock_);
        const auto found = known_.find(pid);
        if (found != known_.end()) {
            if (!has_ended(found->second.pidfd)) return found->second.start_time;
            close(found->second.pidfd);
            known_.erase(found);
        }
    }
    // The process is opened first and asked last: alive then, it is the one whose start time was read
    // between.
    const int pidfd = open_process(pid);
    const std::uint64_t start_time = read_start_time(pid);
    if (pidfd < 0) return start_time;
    if (start_time == 0 || has_ended(pidfd)) {
        close(pidfd);
        return 0;
    }
    const std::lock_guard<std::mutex> guard(lock_);
    drop_ended();
    if (known_.size() >= kKnownLimit) {
        close(known_.begin()->second.pidfd);
        known_.erase(known_.begin());
    }
    if (!known_.emplace(pid, Known{pidfd, start_time}).second) close(pidfd);  // another thread was faster
    return start_time;
}

void StartTimes::forget_ended()
{
    const std::lock_guard<std::mutex> guard(lock_);
    drop_ended();
}

// All are asked in one go: this comes with every process that calls for the first time.
void StartTimes::drop_ended()
{
    std::array<pollfd, kKnownLimit> processes;
    std::size_t count = 0;
    for (const auto& process : known_)
        processes[count++] = {process.second.pidfd, POLLIN, 0};
    if (poll(processes.data(), count, 0) <= 0) return;
    std::size_t index = 0;
    for (auto process = known_.begin(); process != known_.end(); ++index) {
        if (processes[index].revents != 0) {
            close(process->second.pidfd);
            process = known_.erase(process);
        } else {
            ++process;
        }
    }
}

bool read_credentials(int descriptor, Caller& caller)
{
    ucred credentials{};
    socklen_t size = sizeof credentials;
    if (getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return false;
    caller = Caller{credentials.uid, credentials.gid, credentials.pid, 0, false};
    return true;
}

bool is_member(int descriptor, const Caller& caller, gid_t group)
{
    if (caller.gid == group) return true;
#ifdef SO_PEERGROUPS
    std::vector<gid_t> groups(64);
    for (;;) {
        socklen_t size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        if (getsockopt(descriptor, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) == 0) {
            groups.resize(size / sizeof(gid_t));
            break;
        }
        if (errno != ERANGE || groups.size() >= kMostGroups) return false;
        groups.resize(groups.size() * 2);
    }
    for (const gid_t member : groups) {
        if (member == group) return true;
    }
#else
    static_cast<void>(descriptor);
#endif
    return false;
}

}  // namespace velorin_channel
