#include <errno.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <unordered_map>
#include <utility>

#include "capture.h"
#include "channel_codes.h"
#include "channel_frame.h"
#include "channel_kept.h"
#include "channel_local.h"
#include "channel_path.h"
#include "channel_trace.h"
#include "emwGEN.h"

namespace velorin_channel {
namespace {

// One open channel. It carries one exchange over its connection: a further call on the same handle connects
// anew.
struct Channel {
    Channel() = default;
    ~Channel()
    {
        if (descriptor >= 0) close(descriptor);
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    std::string endpoint;
    std::shared_ptr<LocalEndpoint::Entry> local;  // null: over a socket
    sockaddr_un address{};

    std::mutex lock;  // of what follows
    int descriptor = -1;
    bool busy = false;    // a call is under way
    bool used = false;    // the connection has carried its exchange
    bool closed = false;  // terminated
    bool kept = false;    // the connection has carried exchanges of channels before this one
    bool whole = false;   // its last exchange ended well: it may carry that of the next channel
};

// The open channels by handle. Handles count up, so that a stale one is found out.
class ChannelTable {
public:
    std::uint32_t add(std::shared_ptr<Channel> channel)
    {
        const std::lock_guard<std::mutex> guard(lock_);
        do {
            ++latest_;
        } while (latest_ == 0 || channels_.count(latest_) != 0);
        channels_.emplace(latest_, std::move(channel));
        return latest_;
    }

    std::shared_ptr<Channel> find(std::uint32_t handle)
    {
        const std::lock_guard<std::mutex> guard(lock_);
        const auto found = channels_.find(handle);
        return found != channels_.end() ? found->second : nullptr;
    }

    std::shared_ptr<Channel> take(std::uint32_t handle)
    {
        const std::lock_guard<std::mutex> guard(lock_);
        const auto found = channels_.find(handle);
        if (found == channels_.end()) return nullptr;
        std::shared_ptr<Channel> channel = std::move(found->second);
        channels_.erase(found);
        return channel;
    }

    int take_kept(const sockaddr_un& address)
    {
        const std::lock_guard<std::mutex> guard(lock_);
        return kept_.take(address);
    }

    void keep(const sockaddr_un& address, int descriptor)
    {
        const std::lock_guard<std::mutex> guard(lock_);
        kept_.give(address, descriptor);
    }

    void before_fork() { lock_.lock(); }
    void after_fork_in_parent() { lock_.unlock(); }

    // Two processes on one connection would take each other's answers, and keep it open for each other: the
    // child has none of the parent's channels.
    void after_fork_in_child()
    {
        for (const auto& entry : channels_) {
            // Also that of a call under way, whose thread is not here to let go of it.
            Channel& channel = *entry.second;
            if (channel.descriptor >= 0) close(channel.descriptor);
            channel.descriptor = -1;
        }
        channels_.clear();
        kept_.close_all();
        lock_.unlock();
    }

private:
    std::mutex lock_;
    std::uint32_t latest_ = 0;
    std::unordered_map<std::uint32_t, std::shared_ptr<Channel>> channels_;
    KeptConnections kept_;
};

// Never destroyed: channels may be in use while the process ends.
ChannelTable& table()
{
    static ChannelTable* const instance = [] {
        ChannelTable* const made = new ChannelTable;
        pthread_atfork([] { table().before_fork(); }, [] { table().after_fork_in_parent(); },
                       [] { table().after_fork_in_child(); });
        return made;
    }();
    return *instance;
}

std::uint32_t set_address(const char* name, sockaddr_un& address)
{
    const std::string path = channel_directory() + "/" + name;
    if (path.size() >= sizeof address.sun_path) {
        CHANNEL_TRACE("channel: the path %s is longer than a socket's can be\n", path.c_str());
        return kBadArgument;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return kChannelDone;
}

std::uint32_t connect_to(const sockaddr_un& address, int& connected)
{
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return code_of_error(errno, "socket");
    int result = 0;
    do {
        result = connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        const std::uint32_t code = code_of_error(errno, "connect");
        close(descriptor);
        return code;
    }
    connected = descriptor;
    return kChannelDone;
}

// Marks a channel busy for as long as one call lasts.
class CallGuard {
public:
    explicit CallGuard(Channel& channel) : channel_(channel)
    {
        const std::lock_guard<std::mutex> guard(channel_.lock);
        taken_ = !channel_.busy;
        if (taken_) channel_.busy = true;
    }
    ~CallGuard()
    {
        if (!taken_) return;
        const std::lock_guard<std::mutex> guard(channel_.lock);
        channel_.busy = false;
    }
    CallGuard(const CallGuard&) = delete;
    CallGuard& operator=(const CallGuard&) = delete;
    bool taken() const { return taken_; }

private:
    Channel& channel_;
    bool taken_ = false;
};

// Hands out a connection that has not carried an exchange yet.
std::uint32_t fresh_connection(Channel& channel, int& descriptor)
{
    {
        const std::lock_guard<std::mutex> guard(channel.lock);
        if (channel.closed) return kBadHandle;
        if (!channel.used) {
            channel.used = true;
            descriptor = channel.descriptor;
            return kChannelDone;
        }
    }
    int connected = -1;
    const std::uint32_t code = connect_to(channel.address, connected);
    if (code != kChannelDone) return code;
    const std::lock_guard<std::mutex> guard(channel.lock);
    if (channel.closed) {
        close(connected);
        return kBadHandle;
    }
    close(channel.descriptor);
    channel.descriptor = connected;
    descriptor = connected;
    return kChannelDone;
}

// One exchange over a connection.
//   out     unread: nobody has read the request, nor will
std::uint32_t exchange_over(int descriptor, const void* request, std::uint32_t request_length, void* buffer,
                            std::uint32_t buffer_size, std::uint32_t& length, bool& unread,
                            const Deadline& deadline)
{
    char header[kRequestHeaderSize];
    put_request_header(header, RequestHeader{request_length, buffer_size});
    const std::uint32_t code =
        send_frame(descriptor, header, sizeof header, request, request_length, deadline);
    unread = code == kPeerGone;
    if (code != kChannelDone) return code;
    return receive_answer(descriptor, buffer, buffer_size, length, unread, deadline);
}

std::uint32_t call_socket(Channel& channel, const void* request, std::uint32_t request_length, void* buffer,
                          std::uint32_t buffer_size, std::uint32_t& length, std::int32_t timeout)
{
    const Deadline deadline(timeout);
    int descriptor = -1;
    std::uint32_t code = fresh_connection(channel, descriptor);
    if (code != kChannelDone) return code;
    bool unread = false;
    code = exchange_over(descriptor, request, request_length, buffer, buffer_size, length, unread, deadline);
    // The server had given up waiting on a connection that was kept: the same on a new one, once.
    if (unread && std::exchange(channel.kept, false)) {
        code = fresh_connection(channel, descriptor);
        if (code != kChannelDone) return code;
        code =
            exchange_over(descriptor, request, request_length, buffer, buffer_size, length, unread, deadline);
    }
    channel.whole = code == kChannelDone;
    return code;
}

std::uint32_t exchange(Channel& channel, const void* request, std::uint32_t request_length, void* buffer,
                       std::uint32_t buffer_size, std::uint32_t& length, std::int32_t timeout)
{
    if (channel.local != nullptr) {
        return call_local(*channel.local, request, request_length, buffer, buffer_size, length);
    }
    return call_socket(channel, request, request_length, buffer, buffer_size, length, timeout);
}

std::uint32_t captured_exchange(Channel& channel, const void* request, std::uint32_t request_length,
                                void* buffer, std::uint32_t buffer_size, std::uint32_t& length,
                                std::int32_t timeout)
{
    using std::chrono::duration_cast;
    const auto wall = std::chrono::system_clock::now().time_since_epoch();
    const auto begin = std::chrono::steady_clock::now();
    const std::uint32_t code =
        exchange(channel, request, request_length, buffer, buffer_size, length, timeout);
    const auto lasted = std::chrono::steady_clock::now() - begin;
    capture_exchange(channel.endpoint, duration_cast<std::chrono::microseconds>(wall).count(),
                     static_cast<std::uint64_t>(duration_cast<std::chrono::nanoseconds>(lasted).count()),
                     code, request, request_length, code == kChannelDone ? buffer : nullptr,
                     code == kChannelDone ? length : 0);
    return code;
}

std::uint32_t open_channel(const char* endpoint, std::uint32_t& handle)
{
    const std::size_t prefix = sizeof kEndpointPrefix - 1;
    if (std::strncmp(endpoint, kEndpointPrefix, prefix) != 0) return kBadArgument;
    const char* const name = endpoint + prefix;
    if (!is_endpoint_name(name)) return kBadArgument;
    const auto channel = std::make_shared<Channel>();
    channel->endpoint = endpoint;
    channel->local = find_local(name);
    if (channel->local == nullptr) {
        std::uint32_t code = set_address(name, channel->address);
        if (code == kChannelDone) channel->descriptor = table().take_kept(channel->address);
        channel->kept = channel->descriptor >= 0;
        if (code == kChannelDone && !channel->kept) code = connect_to(channel->address, channel->descriptor);
        if (code != kChannelDone) return code;
    }
    handle = table().add(channel);
    return kChannelDone;
}

}  // namespace
}  // namespace velorin_channel

using namespace velorin_channel;

std::uint32_t emwGENPacketClntInit(const char* endpoint, std::uint32_t* handle)
{
    if (endpoint == nullptr || handle == nullptr) return kBadArgument;
    try {
        return open_channel(endpoint, *handle);
    } catch (const std::bad_alloc&) {
        return kNoMemory;
    }
}

// NOLINTBEGIN(readability-non-const-parameter): the length is written by what is called
std::uint32_t emwGENPacketClntCall(std::uint32_t handle, const void* request, std::uint32_t request_length,
                                   void* buffer, std::uint32_t buffer_size, std::uint32_t* received_length,
                                   std::int32_t timeout)
// NOLINTEND(readability-non-const-parameter)
{
    if (received_length == nullptr) return kBadArgument;
    if ((request == nullptr && request_length > 0) || (buffer == nullptr && buffer_size > 0))
        return kBadArgument;
    const std::shared_ptr<Channel> channel = table().find(handle);
    if (channel == nullptr) return kBadHandle;
    const CallGuard call(*channel);
    if (!call.taken()) return kBusy;
    const auto perform = capture_enabled() ? captured_exchange : exchange;
    return perform(*channel, request, request_length, buffer, buffer_size, *received_length, timeout);
}

std::uint32_t emwGENPacketClntTerm(std::uint32_t handle)
{
    const std::shared_ptr<Channel> channel = table().take(handle);
    if (channel == nullptr) return kBadHandle;
    const std::lock_guard<std::mutex> guard(channel->lock);
    channel->closed = true;
    // A call under way in another thread finds its peer gone; the descriptor goes with the last who holds it.
    if (channel->busy && channel->descriptor >= 0) shutdown(channel->descriptor, SHUT_RDWR);
    if (!channel->busy && channel->whole)
        table().keep(channel->address, std::exchange(channel->descriptor, -1));
    return kChannelDone;
}
