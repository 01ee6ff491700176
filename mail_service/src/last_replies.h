#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "last_reply.h"
#include "session.h"

namespace velorin::service {

// The last reply line of every client process, kept after its sessions are gone; of the 256 clients that made
// a session last. Any number of threads.
class LastReplies {
public:
    std::shared_ptr<LastReply> of(const ClientId& client);
    std::string line_of(const ClientId& client) const;  // empty when there is none
    void forget(const ClientId& client);

private:
    using Entry = std::pair<ClientId, std::shared_ptr<LastReply>>;

    mutable std::mutex mutex_;
    std::list<Entry> entries_;  // the latest first
};

}  // namespace velorin::service
