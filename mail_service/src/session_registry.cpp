#include "session_registry.h"

#include <algorithm>
#include <utility>

namespace velorin::service {
namespace {

std::size_t end_each(const std::vector<std::shared_ptr<Session>>& sessions)
{
    for (const std::shared_ptr<Session>& session : sessions)
        session->end();
    return sessions.size();
}

}  // namespace

SessionRegistry::SessionRegistry(std::size_t max_sessions, std::size_t max_per_user)
    : max_sessions_(max_sessions), max_per_user_(max_per_user)
{
}

bool SessionRegistry::add(const SessionKey& key, std::shared_ptr<Session> session)
{
    std::shared_ptr<Session> replaced;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = sessions_.find(key);
        if (found != sessions_.end()) {
            replaced = std::exchange(found->second, std::move(session));
        } else {
            const auto same_user = std::count_if(sessions_.begin(), sessions_.end(), [&](const auto& entry) {
                return entry.first.client.uid == key.client.uid;
            });
            if (sessions_.size() >= max_sessions_ || static_cast<std::size_t>(same_user) >= max_per_user_)
                return false;
            sessions_.emplace(key, std::move(session));
        }
    }
    if (replaced) replaced->end();
    return true;
}

std::shared_ptr<Session> SessionRegistry::find(const SessionKey& key) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = sessions_.find(key);
    return found != sessions_.end() ? found->second : nullptr;
}

void SessionRegistry::remove(const SessionKey& key, const std::shared_ptr<Session>& session)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = sessions_.find(key);
    if (found != sessions_.end() && found->second == session) sessions_.erase(found);
}

template <typename Condition>
std::vector<std::shared_ptr<Session>> SessionRegistry::take_if(Condition condition)
{
    std::vector<std::shared_ptr<Session>> taken;
    const std::lock_guard<std::mutex> lock(mutex_);
    for (auto entry = sessions_.begin(); entry != sessions_.end();) {
        if (condition(entry->first, *entry->second)) {
            taken.push_back(std::move(entry->second));
            entry = sessions_.erase(entry);
        } else {
            ++entry;
        }
    }
    return taken;
}

std::size_t SessionRegistry::end_client(const ClientId& client)
{
    return end_each(take_if([&](const SessionKey& key, const Session&) {
        return !(key.client < client) && !(client < key.client);
    }));
}

std::size_t SessionRegistry::end_idle(Clock::duration idle)
{
    const Clock::time_point now = Clock::now();
    return end_each(take_if([&](const SessionKey&, const Session& session) {
        return !session.busy() && session.last_used() + idle <= now;
    }));
}

std::size_t SessionRegistry::end_all()
{
    return end_each(take_if([](const SessionKey&, const Session&) { return true; }));
}

std::size_t SessionRegistry::end_all_but_awaiting()
{
    end_each(take_if([](const SessionKey&, const Session& session) { return !session.awaits_verdict(); }));
    return size();
}

bool SessionRegistry::has_client(const ClientId& client) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::any_of(sessions_.begin(), sessions_.end(), [&](const auto& entry) {
        return !(entry.first.client < client) && !(client < entry.first.client);
    });
}

std::size_t SessionRegistry::size() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return sessions_.size();
}

Clock::time_point SessionRegistry::next_idle(Clock::duration idle) const
{
    Clock::time_point next = Clock::time_point::max();
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& entry : sessions_) {
        // One that is busy is looked at again when it could be idle at the earliest.
        const Clock::time_point since = entry.second->busy() ? Clock::now() : entry.second->last_used();
        next = std::min(next, since + idle);
    }
    return next;
}

}  // namespace velorin::service
