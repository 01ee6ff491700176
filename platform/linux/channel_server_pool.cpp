// The threads of a channel server: how many accept, and when one leaves.
#include <errno.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "channel_server_impl.h"
#include "channel_trace.h"

namespace velorin_channel {
namespace {

constexpr std::uint32_t kWindow = 5;          // seconds over which the pool's need is looked at
constexpr std::uint32_t kIdleSeconds = 4;     // without a call, after which there is nobody
constexpr unsigned kSpareThreads = 1;         // kept beyond the need, so that a caller finds one ready
constexpr std::size_t kStackSize = 1u << 20;  // octets; 600 stacks of the default size would not fit 32 bits
constexpr int kNoDescriptorPauseMs = 20;

}  // namespace

void ChannelServer::Impl::begin_window(ServedEndpoint& endpoint)
{
    endpoint.window_end = uptime_seconds() + kWindow;
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
            Arrival arrival(endpoint);
            --endpoint.accepting;
            note_busy(endpoint);
            if (endpoint.accepting == 0) keep_one_accepting(endpoint);
            note_call();
            serve(endpoint, descriptor, buffers, arrival);
            arrival.end();
            if (whole_count_ > 0) {
                if (endpoint.accepting == 0) keep_one_accepting(endpoint);
                serve_whole(buffers, false);
            }
            ++endpoint.accepting;
        } else if (error == EAGAIN) {
            note_silence();
        } else if (error != EINTR && error != ECONNABORTED) {
            relieve(error);
        }
        if (leave_pool(endpoint)) return;
    }
}

void ChannelServer::Impl::keep_one_accepting(ServedEndpoint& endpoint)
{
    std::unique_lock<std::mutex> guard(lock_);
    // Of too many that wait for requests each is back soon, or comes here with the request.
    if (endpoint.accepting > 0 || endpoint.arriving > budget_.arriving || stopping_) return;
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

// One store for each connection, and no more where connections follow each other closely.
void ChannelServer::Impl::note_call()
{
    const std::uint32_t now = uptime_seconds();
    if (last_call_ != now) last_call_ = now;
    if (is_idle_) is_idle_ = false;
}

// A thread has waited for a caller in vain: what is kept for callers goes when there is none.
void ChannelServer::Impl::note_silence()
{
    start_times_.forget_ended();
    if (uptime_seconds() - last_call_ < kIdleSeconds || is_idle_.exchange(true)) return;
    spares_.drop_all();
    if (options_.on_idle) options_.on_idle();
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

}  // namespace velorin_channel
