#include "channel_local.h"

#include <pthread.h>

#include <algorithm>
#include <exception>
#include <utility>
#include <vector>

#include "channel_codes.h"
#include "channel_peer.h"
#include "channel_trace.h"

namespace velorin_channel {
namespace {

struct Registry {
    std::mutex lock;
    std::vector<std::shared_ptr<LocalEndpoint::Entry>> entries;  // latest last
};

void before_fork();
void after_fork_in_parent();
void after_fork_in_child();

// Never destroyed: endpoints may go while the process ends.
Registry& registry()
{
    static Registry* const instance = [] {
        Registry* const made = new Registry;
        pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child);
        return made;
    }();
    return *instance;
}

void before_fork()
{
    registry().lock.lock();
    for (const auto& entry : registry().entries)
        entry->lock.lock();
}

void after_fork_in_parent()
{
    for (const auto& entry : registry().entries)
        entry->lock.unlock();
    registry().lock.unlock();
}

void after_fork_in_child()
{
    for (const auto& entry : registry().entries) {
        entry->running = 0;
        ++entry->generation;
        entry->lock.unlock();
    }
    registry().lock.unlock();
    forget_this_process();
}

}  // namespace

LocalEndpoint::LocalEndpoint(const std::string& name, Handler handler) : entry_(std::make_shared<Entry>())
{
    entry_->name = name;
    entry_->handler = std::move(handler);
    Registry& all = registry();
    const std::lock_guard<std::mutex> guard(all.lock);
    all.entries.push_back(entry_);
}

LocalEndpoint::~LocalEndpoint()
{
    {
        Registry& all = registry();
        const std::lock_guard<std::mutex> guard(all.lock);
        all.entries.erase(std::remove(all.entries.begin(), all.entries.end(), entry_), all.entries.end());
    }
    std::unique_lock<std::mutex> guard(entry_->lock);
    entry_->closed = true;
    entry_->over.wait(guard, [this] { return entry_->running == 0; });
}

std::shared_ptr<LocalEndpoint::Entry> find_local(const char* name)
{
    Registry& all = registry();
    const std::lock_guard<std::mutex> guard(all.lock);
    for (auto entry = all.entries.rbegin(); entry != all.entries.rend(); ++entry) {
        if ((*entry)->name == name) return *entry;
    }
    return nullptr;
}

std::uint32_t call_local(LocalEndpoint::Entry& entry, const void* request, std::uint32_t request_length,
                         void* buffer, std::uint32_t buffer_size, std::uint32_t& length)
{
    std::uint32_t generation = 0;
    {
        const std::lock_guard<std::mutex> guard(entry.lock);
        if (entry.closed) return kPeerGone;
        ++entry.running;
        generation = entry.generation;
    }
    char nothing[1] = {'\0'};
    const char* const octets = request != nullptr ? static_cast<const char*>(request) : nothing;
    char* const answer = buffer != nullptr ? static_cast<char*>(buffer) : nothing;
    // The same bound as over a socket, so that a handler cannot come to rely on more.
    const std::uint32_t capacity = buffer_size < kMaxAnswer ? buffer_size : kMaxAnswer;
    std::uint32_t answered = 0;
    const bool done = run_handler(entry.name, entry.handler, this_process(), octets, request_length, answer,
                                  capacity, answered);
    {
        const std::lock_guard<std::mutex> guard(entry.lock);
        if (entry.generation == generation && --entry.running == 0 && entry.closed) entry.over.notify_all();
    }
    if (!done) return kPeerGone;
    length = answered;
    return kChannelDone;
}

bool run_handler(const std::string& endpoint, const Handler& handler, const Caller& caller,
                 const char* request, std::uint32_t request_length, char* answer, std::uint32_t capacity,
                 std::uint32_t& length)
{
    length = 0;
    try {
        if (!handler(caller, request, request_length, answer, capacity, length)) return false;
    } catch (const std::exception& thrown) {
        CHANNEL_TRACE("channel: endpoint %s: exchange failed: %s\n", endpoint.c_str(), thrown.what());
        return false;
    } catch (...) {
        CHANNEL_TRACE("channel: endpoint %s: exchange failed\n", endpoint.c_str());
        return false;
    }
    if (length <= capacity) return true;
    CHANNEL_TRACE("channel: endpoint %s: an answer of %lu octets for a buffer of %lu\n", endpoint.c_str(),
                  static_cast<unsigned long>(length), static_cast<unsigned long>(capacity));
    return false;
}

}  // namespace velorin_channel
