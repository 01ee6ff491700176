#include "client_watch.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "process_start.h"

namespace velorin::service {
namespace {

int open_pidfd(std::int32_t pid)
{
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0u));
}

}  // namespace

ClientWatch::ClientWatch(Callbacks callbacks) : callbacks_(std::move(callbacks)), thread_([this] { run(); })
{
}

ClientWatch::~ClientWatch()
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    wake_.raise();
    thread_.join();
    for (const auto& entry : watched_)
        ::close(entry.second);
}

bool ClientWatch::watch(const ClientId& client)
{
    if (client.pid <= 0 || client.start_time == 0) return false;
    const std::lock_guard<std::mutex> lock(mutex_);
    if (watched_.count(client) != 0) return true;
    const int descriptor = open_pidfd(client.pid);
    if (descriptor < 0) return false;
    // The descriptor is of whoever has the number now; from here on it cannot change hands.
    if (velorin_channel::read_start_time(client.pid) != client.start_time) {
        ::close(descriptor);
        return false;
    }
    watched_.emplace(client, descriptor);
    wake_.raise();
    return true;
}

void ClientWatch::wake()
{
    wake_.raise();
}

void ClientWatch::forget_unneeded()
{
    for (auto entry = watched_.begin(); entry != watched_.end();) {
        if (callbacks_.still_needed(entry->first)) {
            ++entry;
        } else {
            ::close(entry->second);
            entry = watched_.erase(entry);
        }
    }
}

void ClientWatch::run()
{
    for (;;) {
        std::vector<pollfd> descriptors = {{wake_.descriptor(), POLLIN, 0}};
        std::vector<ClientId> clients;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (stopping_) return;
            wake_.clear();
            forget_unneeded();
            for (const auto& entry : watched_) {
                descriptors.push_back({entry.second, POLLIN, 0});
                clients.push_back(entry.first);
            }
        }
        const Clock::time_point due = callbacks_.when_due();
        const int patience = due == Clock::time_point::max() ? -1 : milliseconds_left(due);
        static_cast<void>(::poll(descriptors.data(), descriptors.size(), patience));
        for (std::size_t index = 0; index < clients.size(); ++index) {
            if (descriptors[index + 1].revents != 0) callbacks_.gone(clients[index]);
        }
        if (Clock::now() >= due) callbacks_.due();
    }
}

}  // namespace velorin::service
