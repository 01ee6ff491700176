#include "channel_server.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

#include "channel_connection.h"
#include "channel_path.h"
#include "channel_peer.h"
#include "channel_slow.h"
#include "channel_socket.h"
#include "channel_trace.h"

namespace velorin_channel {
namespace {

// A caller writes its request straight after connecting; one that needs longer waits where it holds no
// thread.
constexpr long kPatienceUs = 20000;
constexpr Clock::duration kReceiveBudget = std::chrono::milliseconds(250);
constexpr unsigned kPatientThreads =
    32;                                // above that many threads waiting for requests, nobody is waited for
constexpr std::uint32_t kWindow = 5;   // seconds over which the pool's need is looked at
constexpr unsigned kSpareThreads = 1;  // kept beyond the need, so that a caller finds one ready
constexpr std::size_t kStackSize = 1u << 20;  // octets; 600 stacks of the default size would not fit 32 bits
constexpr int kNoDescriptorPauseMs = 20;

}  // namespace

class ChannelServer::Impl {
public:
    explicit Impl(ServerOptions options);
    ~Impl() { stop(); }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    bool add(const std::string& name, Handler handler, std::string& error);
    bool start(std::string& error);
    void stop();

private:
    struct ThreadTask {
        Impl* server;
        ServedEndpoint* endpoint;  // null: serves requests that are whole, then ends
    };

    static void* thread_main(void* task);
    bool start_thread(ServedEndpoint* endpoint);               // with lock_ held
    void count_thread(ServedEndpoint* endpoint, bool begins);  // with lock_ held
    void end_thread();  // with lock_ held; the thread touches nothing more
    void join_ended(std::unique_lock<std::mutex>& guard);

    void accept_loop(ServedEndpoint& endpoint, ThreadBuffers& buffers);
    void keep_one_accepting(ServedEndpoint& endpoint);
    static void note_busy(ServedEndpoint& endpoint);
    bool leave_pool(ServedEndpoint& endpoint);
    void serve(ServedEndpoint& endpoint, int descriptor, ThreadBuffers& buffers);
    bool may_call(int descriptor, const Caller& caller) const;
    void finish(std::unique_ptr<Connection> connection);
    void set_aside(std::unique_ptr<Connection> connection);
    void take_whole(std::unique_ptr<Connection> connection);
    std::unique_ptr<Connection> next_whole(bool last);
    void serve_whole(ThreadBuffers& buffers, bool last);
    void relieve(int error);
    void abandon_in_child();
    bool undo_start();
    Clock::duration frame_timeout() const { return std::chrono::milliseconds(options_.frame_timeout_ms); }

    const ServerOptions options_;
    gid_t group_ = kNoGroup;
    std::vector<std::unique_ptr<ServedEndpoint>> endpoints_;
    std::unique_ptr<SlowCallers> slow_;
    SpareBlocks spares_;
    StartTimes start_times_;
    bool running_ = false;
    pid_t owner_ = 0;  // the process that started; a forked child has none of its threads
    std::atomic<bool> stopping_{false};
    std::atomic<unsigned> receiving_{0};  // threads that wait for a request's octets

    std::mutex lock_;  // of what follows, and of the pools
    std::condition_variable thread_ended_;
    unsigned threads_ = 0;
    unsigned max_threads_ = 0;
    unsigned max_accepting_ = 0;  // the rest is for requests of slow callers
    std::vector<pthread_t> ended_;
    std::deque<std::unique_ptr<Connection>> whole_;
    std::atomic<std::size_t> whole_count_{0};
    std::atomic<std::uint32_t> next_relief_trace_{0};  // of uptime_seconds()
};

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
    slow_ = std::make_unique<SlowCallers>(
        max_held, [this](std::unique_ptr<Connection> connection) { take_whole(std::move(connection)); });
    if (!slow_->start()) {
        error = std::string("cannot start a thread: ") + strerrordesc_np(errno);
        return undo_start();
    }
    running_ = true;
    for (const auto& endpoint : endpoints_) {
        endpoint->window_end = uptime_seconds() + kWindow;
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

bool ChannelServer::Impl::start_thread(ServedEndpoint* endpoint)
{
    auto task = std::make_unique<ThreadTask>(ThreadTask{this, endpoint});
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kStackSize);
    // The new thread inherits the mask: signals are for the program's own threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    // Counted before it runs: it may accept before pthread_create is back.
    count_thread(endpoint, true);
    pthread_t thread{};
    const int result = pthread_create(&thread, &attributes, thread_main, task.get());
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    if (result != 0) {
        count_thread(endpoint, false);
        errno = result;
        return false;
    }
    static_cast<void>(task.release());  // the thread's
    return true;
}

void ChannelServer::Impl::count_thread(ServedEndpoint* endpoint, bool begins)
{
    threads_ = begins ? threads_ + 1 : threads_ - 1;
    if (endpoint == nullptr) return;
    if (begins) {
        ++endpoint->threads;
        ++endpoint->accepting;
    } else {
        --endpoint->threads;
        --endpoint->accepting;
    }
}

void* ChannelServer::Impl::thread_main(void* argument)
{
    const std::unique_ptr<ThreadTask> task(static_cast<ThreadTask*>(argument));
    const auto buffers = std::make_unique<ThreadBuffers>();
    if (task->endpoint != nullptr) {
        task->server->accept_loop(*task->endpoint, *buffers);
    } else {
        task->server->serve_whole(*buffers, true);
    }
    return nullptr;
}

void ChannelServer::Impl::end_thread()
{
    ended_.push_back(pthread_self());
    --threads_;
    thread_ended_.notify_all();
}

void ChannelServer::Impl::join_ended(std::unique_lock<std::mutex>& guard)
{
    std::vector<pthread_t> ended;
    ended.swap(ended_);
    guard.unlock();
    for (const pthread_t thread : ended)
        pthread_join(thread, nullptr);
    guard.lock();
}

void ChannelServer::Impl::accept_loop(ServedEndpoint& endpoint, ThreadBuffers& buffers)
{
    for (;;) {
        const int descriptor = accept4(endpoint.listener, nullptr, nullptr, SOCK_CLOEXEC);
        const int error = errno;
        if (stopping_) {
            if (descriptor >= 0) close(descriptor);
            const std::lock_guard<std::mutex> guard(lock_);
            --endpoint.threads;
            --endpoint.accepting;
            end_thread();
            return;
        }
        if (descriptor >= 0) {
            const bool was_last = endpoint.accepting.fetch_sub(1) == 1;
            note_busy(endpoint);
            if (was_last) keep_one_accepting(endpoint);
            serve(endpoint, descriptor, buffers);
            if (whole_count_ > 0) serve_whole(buffers, false);
            ++endpoint.accepting;
        } else if (error != EAGAIN && error != EINTR && error != ECONNABORTED) {
            relieve(error);
        }
        if (leave_pool(endpoint)) return;
    }
}

void ChannelServer::Impl::keep_one_accepting(ServedEndpoint& endpoint)
{
    std::unique_lock<std::mutex> guard(lock_);
    if (endpoint.accepting > 0 || stopping_) return;
    if (threads_ < max_accepting_) start_thread(&endpoint);  // when it cannot start, this one is back soon
    if (!ended_.empty()) join_ended(guard);
}

// Keeps the most threads that were busy at once in this window.
void ChannelServer::Impl::note_busy(ServedEndpoint& endpoint)
{
    const unsigned threads = endpoint.threads;
    const unsigned busy = threads - std::min(threads, endpoint.accepting.load());
    unsigned peak = endpoint.peak;
    while (busy > peak && !endpoint.peak.compare_exchange_weak(peak, busy)) {
    }
}

// Whether the calling thread is one more than this window and the one before have needed; it counts as gone
// then.
bool ChannelServer::Impl::leave_pool(ServedEndpoint& endpoint)
{
    if (endpoint.threads <= 1 + kSpareThreads) return false;
    note_busy(endpoint);
    const std::uint32_t now = uptime_seconds();
    const auto is_surplus = [&endpoint] {
        const unsigned need = std::max(endpoint.peak.load(), endpoint.peak_before.load());
        return endpoint.threads > std::max(need, 1u) + kSpareThreads;
    };
    if (now < endpoint.window_end && !is_surplus()) return false;
    const std::lock_guard<std::mutex> guard(lock_);
    if (now >= endpoint.window_end) {
        endpoint.window_end = now + kWindow;
        endpoint.peak_before = endpoint.peak.exchange(0);
    }
    if (!is_surplus()) return false;
    --endpoint.threads;
    --endpoint.accepting;
    end_thread();
    return true;
}

void ChannelServer::Impl::serve(ServedEndpoint& endpoint, int descriptor, ThreadBuffers& buffers)
{
    Caller caller{};
    if (!read_credentials(descriptor, caller)) {
        close(descriptor);
        return;
    }
    const bool allowed = may_call(descriptor, caller);
    if (allowed) caller.start_time = start_times_.of(caller.pid);
    auto connection = std::make_unique<Connection>(descriptor, endpoint, caller, options_.max_request,
                                                   Clock::now() + frame_timeout(), &buffers, spares_);
    if (!allowed) {
        connection->trace_let_go("is not allowed to call");
        return;
    }
    const bool patient = receiving_.fetch_add(1) < kPatientThreads;
    if (patient) {
        const timeval patience{0, kPatienceUs};
        setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    const Connection::Progress progress = connection->receive(patient ? 0 : MSG_DONTWAIT, kReceiveBudget);
    --receiving_;
    if (progress == Connection::Progress::kWhole)
        finish(std::move(connection));
    else if (progress == Connection::Progress::kWait)
        set_aside(std::move(connection));
}

bool ChannelServer::Impl::may_call(int descriptor, const Caller& caller) const
{
    if (caller.uid == 0 || caller.uid == geteuid()) return true;
    return group_ != kNoGroup && is_member(descriptor, caller, group_);
}

// The rest of an exchange whose request is whole.
void ChannelServer::Impl::finish(std::unique_ptr<Connection> connection)
{
    if (!connection->answer()) return;
    if (connection->send() != Connection::Progress::kWait) return;
    connection->set_deadline(Clock::now() + frame_timeout());
    set_aside(std::move(connection));
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
        finish(std::move(connection));
    }
}

// Accepting failed for want of something: somebody slow goes, and the others get time to finish.
void ChannelServer::Impl::relieve(int error)
{
    const std::uint32_t now = uptime_seconds();
    std::uint32_t next = next_relief_trace_;
    if (now >= next && next_relief_trace_.compare_exchange_strong(next, now + kWindow)) {
        CHANNEL_TRACE("channel: accept: %s\n", strerrordesc_np(error));
    }
    slow_->make_room();
    poll(nullptr, 0, kNoDescriptorPauseMs);
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
