#include "last_replies.h"

#include <algorithm>

namespace velorin::service {
namespace {

constexpr std::size_t kMaxClients = 256;

bool same(const ClientId& one, const ClientId& other)
{
    return !(one < other) && !(other < one);
}

}  // namespace

std::shared_ptr<LastReply> LastReplies::of(const ClientId& client)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = std::find_if(entries_.begin(), entries_.end(),
                                    [&](const Entry& entry) { return same(entry.first, client); });
    if (found != entries_.end()) {
        entries_.splice(entries_.begin(), entries_, found);
    } else {
        entries_.emplace_front(client, std::make_shared<LastReply>());
        if (entries_.size() > kMaxClients) entries_.pop_back();
    }
    return entries_.front().second;
}

std::string LastReplies::line_of(const ClientId& client) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const Entry& entry : entries_) {
        if (same(entry.first, client)) return entry.second->get();
    }
    return {};
}

void LastReplies::forget(const ClientId& client)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    entries_.remove_if([&](const Entry& entry) { return same(entry.first, client); });
}

}  // namespace velorin::service
