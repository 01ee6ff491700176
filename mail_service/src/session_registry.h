#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "session.h"

namespace velorin::service {

// The live sessions, each under the process that made it: no other process can reach it. Any number of
// threads; the lock is held for look-ups only, never while a session works.
class SessionRegistry {
public:
    SessionRegistry(std::size_t max_sessions, std::size_t max_per_user);

    // Adds a session. One that lives under the same key is ended and replaced.
    //   result  false when a limit is reached
    bool add(const SessionKey& key, std::shared_ptr<Session> session);
    std::shared_ptr<Session> find(const SessionKey& key) const;
    // Takes this session out, unless another one has replaced it; ending it is the caller's.
    void remove(const SessionKey& key, const std::shared_ptr<Session>& session);

    // End what belongs to a process that has gone, what nobody has used for that long, and everything.
    //   result  the number of sessions ended
    std::size_t end_client(const ClientId& client);
    std::size_t end_idle(Clock::duration idle);
    std::size_t end_all();

    // Ends everything but what waits for the verdict on a mail; those stay, and so does their number.
    std::size_t end_all_but_awaiting();

    bool has_client(const ClientId& client) const;
    std::size_t size() const;
    // When the next session will have been idle that long; the far future when there is none.
    Clock::time_point next_idle(Clock::duration idle) const;

private:
    template <typename Condition>
    std::vector<std::shared_ptr<Session>> take_if(Condition condition);

    const std::size_t max_sessions_;
    const std::size_t max_per_user_;
    mutable std::mutex mutex_;
    std::map<SessionKey, std::shared_ptr<Session>> sessions_;
};

}  // namespace velorin::service
