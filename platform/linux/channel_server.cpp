#include "channel_server.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>

#include "channel_path.h"
#include "channel_server_impl.h"
#include "channel_trace.h"

namespace velorin_channel {
namespace {

// A caller writes its request straight after connecting; one that needs longer waits where it holds no
// thread.
constexpr long kPatienceUs = 20000;
constexpr Clock::duration kReceiveBudget = std::chrono::milliseconds(250);
constexpr unsigned kPatientThreads =
    32;  // above that many threads waiting for requests, nobody is waited for

}  // namespace

ChannelServer::Impl::Impl(ServerOptions options) : options_(std::move(options)) {}

bool ChannelServer::Impl::add(const std::string& name, Handler handler, std::string& error)
{
    if (running_) {
        error = "the server is running already";
        return false;
    }
    if (!is_endpoint_name(name)) {
        error = "\"" + name + "\" is no name for an endpoint";
        return false;
    }
    for (const auto& endpoint : endpoints_) {
        if (endpoint->name == name) {
            error = "endpoint " + name + " is there twice";
            return false;
        }
    }
    auto endpoint = std::make_unique<ServedEndpoint>();
    endpoint->name = name;
    endpoint->handler = std::move(handler);
    endpoints_.push_back(std::move(endpoint));
    return true;
}

bool ChannelServer::Impl::start(std::string& error)
{
    if (running_) {
        error = "the server is running already";
        return false;
    }
    group_ = kNoGroup;
    if (!options_.group.empty() && !find_group(options_.group, group_, error)) return false;
    const std::string directory = options_.directory.empty() ? channel_directory() : options_.directory;
    if (!prepare_directory(directory, group_, error)) return false;
    DirectoryLock directory_lock;
    if (!directory_lock.take(directory, error)) return false;

    stopping_ = false;
    owner_ = getpid();
    for (const auto& endpoint : endpoints_) {
        endpoint->path = directory + "/" + endpoint->name;
        if (!open_listener(*endpoint, group_, error)) return undo_start();
    }
    const unsigned least = static_cast<unsigned>(endpoints_.size()) + 2;
    max_threads_ = std::max(options_.max_threads, least);
    max_accepting_ = max_threads_ - std::max(1u, std::min(max_threads_ / 8, max_threads_ - least + 1));
    const std::size_t max_held = std::max<std::size_t>(2 * std::size_t{options_.max_request}, 16u << 20);
    budget_ = caller_budget();
    slow_ = std::make_unique<SlowCallers>(budget_, max_held, [this](std::unique_ptr<Connection> connection) {
        take_whole(std::move(connection));
    });
    if (!slow_->start()) {
        error = std::string("cannot start a thread: ") + strerrordesc_np(errno);
        return undo_start();
    }
    running_ = true;
    for (const auto& endpoint : endpoints_) {
        begin_window(*endpoint);
        const std::lock_guard<std::mutex> guard(lock_);
        if (start_thread(endpoint.get())) continue;
        error = std::string("cannot start a thread: ") + strerrordesc_np(errno);
        break;
    }
    if (error.empty()) return true;
    stop();
    return false;
}

bool ChannelServer::Impl::undo_start()
{
    slow_.reset();
    for (const auto& endpoint : endpoints_) {
        if (endpoint->listener < 0) continue;
        remove_socket(*endpoint);
        close(endpoint->listener);
        endpoint->listener = -1;
    }
    return false;
}

void ChannelServer::Impl::stop()
{
    if (!running_) return;
    running_ = false;
    if (owner_ != getpid()) {
        abandon_in_child();
        return;
    }
    stopping_ = true;
    for (const auto& endpoint : endpoints_) {
        remove_socket(*endpoint);
        shutdown(endpoint->listener, SHUT_RDWR);
        // Those who had connected and wait for a thread are not left waiting for the exchanges that run.
        fcntl(endpoint->listener, F_SETFL, O_NONBLOCK);
        int waiting = -1;
        while ((waiting = accept4(endpoint->listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0)
            close(waiting);
    }
    slow_->stop();
    {
        std::unique_lock<std::mutex> guard(lock_);
        whole_.clear();
        whole_count_ = 0;
        thread_ended_.wait(guard, [this] { return threads_ == 0; });
        join_ended(guard);
        whole_.clear();
    }
    slow_.reset();
    for (const auto& endpoint : endpoints_) {
        close(endpoint->listener);
        endpoint->listener = -1;
    }
}

// In a forked child the threads are not there to be waited for, and the sockets are the parent's to remove.
void ChannelServer::Impl::abandon_in_child()
{
    for (const auto& endpoint : endpoints_)
        close(endpoint->listener);
    static_cast<void>(
        slow_.release());  // its thread is the parent's: it can be neither stopped nor destroyed here
}

void ChannelServer::Impl::serve(ServedEndpoint& endpoint, int descriptor, ThreadBuffers& buffers,
                                Arrival& arrival)
{
    Caller caller{};
    if (!read_credentials(descriptor, caller)) {
        close(descriptor);
        return;
    }
    const bool allowed = may_call(descriptor, caller);
    if (allowed) caller.start_time = start_times_.of(caller.pid);
    if (!allowed) {
        trace_let_go(endpoint, caller, "is not allowed to call");
        close(descriptor);
        return;
    }
    const timeval patience{0, kPatienceUs};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    descriptor = serve_request(endpoint, caller, descriptor, buffers, &arrival);
    while (descriptor >= 0 && may_linger(endpoint))
        descriptor = serve_request(endpoint, caller, descriptor, buffers, nullptr);
    if (descriptor >= 0) close(descriptor);
}

// Serves one request.
//   in      arrival: of the caller whose first request this is, ends when it is there; null for a further one: a
//           connection that none follows on is closed without further ado
//   result  the descriptor, the caller's again, when the exchange is over; -1 when it is not, or nobody is there
int ChannelServer::Impl::serve_request(ServedEndpoint& endpoint, const Caller& caller, int descriptor,
                                       ThreadBuffers& buffers, Arrival* arrival)
{
    auto connection = std::make_unique<Connection>(descriptor, endpoint, caller, options_.max_request,
                                                   Clock::now() + frame_timeout(), &buffers, spares_);
    const bool patient = receiving_.fetch_add(1) < kPatientThreads;
    const Connection::Progress progress = connection->receive(patient ? 0 : MSG_DONTWAIT, kReceiveBudget);
    --receiving_;
    if (progress == Connection::Progress::kWhole) {
        if (arrival != nullptr) arrival->end();
        // This thread may be long; when it came, there may have been too many to start another.
        if (endpoint.accepting == 0) keep_one_accepting(endpoint);
        return finish(std::move(connection));
    }
    if (progress == Connection::Progress::kWait && (arrival != nullptr || !connection->is_empty()))
        set_aside(std::move(connection));
    return -1;
}

// Whether a thread may wait for another request of the caller that it has served: exchanges that follow each
// other go over one connection. Nobody else waits for that.
bool ChannelServer::Impl::may_linger(const ServedEndpoint& endpoint) const
{
    return !stopping_ && whole_count_ == 0 && endpoint.accepting > 0;
}

bool ChannelServer::Impl::may_call(int descriptor, const Caller& caller) const
{
    if (caller.uid == 0 || caller.uid == geteuid()) return true;
    return group_ != kNoGroup && is_member(descriptor, caller, group_);
}

// The rest of an exchange whose request is whole.
//   result  the descriptor, the caller's again, when the answer is sent; else -1
int ChannelServer::Impl::finish(std::unique_ptr<Connection> connection)
{
    if (!connection->answer()) return -1;
    const Connection::Progress progress = connection->send();
    if (progress == Connection::Progress::kWhole) return connection->release();
    if (progress == Connection::Progress::kGone) return -1;
    connection->set_deadline(Clock::now() + frame_timeout());
    set_aside(std::move(connection));
    return -1;
}

void ChannelServer::Impl::set_aside(std::unique_ptr<Connection> connection)
{
    if (connection->detach())
        slow_->add(std::move(connection));
    else
        connection->trace_let_go("needs more memory than there is");
}

// Finds a thread for a slow caller's request. The accepting threads sleep in accept, so it is one of the
// reserve.
void ChannelServer::Impl::take_whole(std::unique_ptr<Connection> connection)
{
    std::unique_lock<std::mutex> guard(lock_);
    if (stopping_) return;
    whole_.push_back(std::move(connection));
    ++whole_count_;
    if (threads_ < max_threads_ && !start_thread(nullptr) && threads_ == 0) {
        // Without any thread nobody would ever come for it.
        whole_.back()->trace_let_go("came when no thread could be started");
        whole_.pop_back();
        --whole_count_;
    }
    if (!ended_.empty()) join_ended(guard);
}

//   in      last: the calling thread ends when there is nothing to serve, and counts as ended from then on
std::unique_ptr<Connection> ChannelServer::Impl::next_whole(bool last)
{
    const std::lock_guard<std::mutex> guard(lock_);
    if (whole_.empty()) {
        if (last) end_thread();
        return nullptr;
    }
    std::unique_ptr<Connection> connection = std::move(whole_.front());
    whole_.pop_front();
    --whole_count_;
    return connection;
}

void ChannelServer::Impl::serve_whole(ThreadBuffers& buffers, bool last)
{
    while (std::unique_ptr<Connection> connection = next_whole(last)) {
        connection->attach(buffers);
        const int descriptor = finish(std::move(connection));
        if (descriptor >= 0) close(descriptor);
    }
}

ChannelServer::ChannelServer(ServerOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {}

ChannelServer::~ChannelServer()
{
    stop();
}

bool ChannelServer::add(const std::string& name, Handler handler, std::string& error)
{
    error.clear();
    return impl_->add(name, std::move(handler), error);
}

bool ChannelServer::start(std::string& error)
{
    error.clear();
    return impl_->start(error);
}

void ChannelServer::stop()
{
    impl_->stop();
}

}  // namespace velorin_channel
