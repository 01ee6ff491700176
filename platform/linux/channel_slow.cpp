#include "channel_slow.h"

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <utility>

#include "channel_trace.h"

namespace velorin_channel {

SlowCallers::SlowCallers(const CallerBudget& budget, std::size_t max_held,
                         std::function<void(std::unique_ptr<Connection>)> on_request)
    : budget_(budget), max_held_(max_held), on_request_(std::move(on_request))
{
}

SlowCallers::~SlowCallers()
{
    stop();
}

bool SlowCallers::start()
{
    poller_ = epoll_create1(EPOLL_CLOEXEC);
    signal_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (poller_ < 0 || signal_ < 0) return false;
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = signal_;
    if (epoll_ctl(poller_, EPOLL_CTL_ADD, signal_, &event) != 0) return false;
    stopping_ = false;
    // The new thread inherits the mask: signals are for the program's own threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error& failure) {
        errno = failure.code().value();
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return thread_.joinable();
}

void SlowCallers::stop()
{
    if (thread_.joinable()) {
        {
            const std::lock_guard<std::mutex> guard(lock_);
            stopping_ = true;
            wake();
        }
        thread_.join();
    }
    // What came after the thread had looked for the last time.
    std::vector<std::unique_ptr<Connection>> late;
    waiting_.clear();
    held_ = 0;
    if (poller_ >= 0) close(poller_);
    poller_ = -1;
    const std::lock_guard<std::mutex> guard(lock_);
    late.swap(incoming_);
    if (signal_ >= 0) close(signal_);
    signal_ = -1;
}

void SlowCallers::add(std::unique_ptr<Connection> connection)
{
    std::unique_ptr<Connection> one_too_many;
    {
        const std::lock_guard<std::mutex> guard(lock_);
        if (stopping_) return;
        incoming_.push_back(std::move(connection));
        if (incoming_.size() > budget_.incoming) one_too_many = take_of_heaviest();
        wake();
    }
    if (one_too_many != nullptr) one_too_many->trace_let_go("is one of too many slow callers");
}

// Callers can come faster than the thread gets to them, and each has a descriptor.
std::unique_ptr<Connection> SlowCallers::take_of_heaviest()
{
    std::map<std::int32_t, std::size_t> count;  // by process
    for (const auto& one : incoming_)
        ++count[one->caller().pid];
    const auto heaviest = std::max_element(count.begin(), count.end(),
                                           [](const auto& a, const auto& b) { return a.second < b.second; });
    const auto first = std::find_if(incoming_.begin(), incoming_.end(),
                                    [&](const auto& one) { return one->caller().pid == heaviest->first; });
    std::unique_ptr<Connection> taken = std::move(*first);
    incoming_.erase(first);
    return taken;
}

bool SlowCallers::make_room()
{
    const std::lock_guard<std::mutex> guard(lock_);
    if (stopping_ || waiting_count_ == 0) return false;
    to_evict_ = 1;
    wake();
    return true;
}

// Under the lock: those who serve may still come while stop() closes the descriptor, whose number is then anybody's.
void SlowCallers::wake()
{
    const std::uint64_t one = 1;
    while (write(signal_, &one, sizeof one) < 0 && errno == EINTR) {
    }
}

void SlowCallers::run()
{
    for (;;) {
        epoll_event events[64];
        const int ready = epoll_wait(poller_, events, 64, wait_time());
        bool woken = false;
        for (int index = 0; index < ready; ++index) {
            if (events[index].data.fd == signal_) {
                woken = true;
            } else {
                serve(events[index].data.fd);
            }
        }
        if (woken) {
            std::uint64_t count = 0;
            while (read(signal_, &count, sizeof count) < 0 && errno == EINTR) {
            }
            admit();
        }
        expire();
        limit();
        const std::lock_guard<std::mutex> guard(lock_);
        waiting_count_ = waiting_.size();
        if (stopping_) return;
    }
}

void SlowCallers::admit()
{
    std::vector<std::unique_ptr<Connection>> arrived;
    unsigned to_evict = 0;
    {
        const std::lock_guard<std::mutex> guard(lock_);
        arrived.swap(incoming_);
        to_evict = std::exchange(to_evict_, 0);
    }
    for (auto& connection : arrived) {
        const int descriptor = connection->descriptor();
        epoll_event event{};
        event.events = connection->is_answered() ? EPOLLOUT : EPOLLIN;
        event.data.fd = descriptor;
        if (epoll_ctl(poller_, EPOLL_CTL_ADD, descriptor, &event) != 0) {
            connection->trace_let_go("cannot be waited for");
            continue;
        }
        held_ += connection->held();
        waiting_[descriptor] = std::move(connection);
    }
    if (to_evict > 0 && !waiting_.empty()) drop_one_of_heaviest(false, "is slow while descriptors ran out");
}

int SlowCallers::wait_time() const
{
    if (waiting_.empty()) return -1;
    Clock::time_point first = Clock::time_point::max();
    for (const auto& entry : waiting_)
        first = std::min(first, entry.second->deadline());
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(first - Clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, 60000));
}

void SlowCallers::serve(int descriptor)
{
    const auto found = waiting_.find(descriptor);
    if (found == waiting_.end()) return;
    Connection& connection = *found->second;
    held_ -= connection.held();
    const bool answered = connection.is_answered();
    const Connection::Progress progress =
        answered ? connection.send() : connection.receive(MSG_DONTWAIT, std::chrono::milliseconds(10));
    held_ += connection.held();
    if (progress == Connection::Progress::kWait) return;
    if (progress == Connection::Progress::kWhole && !answered) {
        held_ -= connection.held();
        epoll_ctl(poller_, EPOLL_CTL_DEL, descriptor, nullptr);
        std::unique_ptr<Connection> whole = std::move(found->second);
        waiting_.erase(found);
        on_request_(std::move(whole));
        return;
    }
    drop(descriptor, nullptr);
}

void SlowCallers::expire()
{
    const Clock::time_point now = Clock::now();
    std::vector<int> late;
    for (const auto& entry : waiting_) {
        if (entry.second->deadline() <= now) late.push_back(entry.first);
    }
    for (const int descriptor : late) {
        drop(descriptor, waiting_.at(descriptor)->is_answered() ? "did not take its answer in time"
                                                                : "did not send its request in time");
    }
}

// A descriptor leaves the poller when it is closed, since nothing else holds it open.
void SlowCallers::drop(int descriptor, const char* why)
{
    const auto found = waiting_.find(descriptor);
    held_ -= found->second->held();
    if (why != nullptr) found->second->trace_let_go(why);
    waiting_.erase(found);
}

void SlowCallers::limit()
{
    while (waiting_.size() > budget_.waiting || held_ > max_held_)
        drop_one_of_heaviest(held_ > max_held_, "is one of too many slow callers");
}

void SlowCallers::drop_one_of_heaviest(bool by_memory, const char* why)
{
    std::map<std::int32_t, std::size_t> burden;  // by process
    for (const auto& entry : waiting_) {
        burden[entry.second->caller().pid] += by_memory ? entry.second->held() : 1;
    }
    const auto heaviest = std::max_element(burden.begin(), burden.end(),
                                           [](const auto& a, const auto& b) { return a.second < b.second; });
    // Of that process, the one that holds most, else the one that is due first.
    auto chosen = waiting_.end();
    for (auto entry = waiting_.begin(); entry != waiting_.end(); ++entry) {
        if (entry->second->caller().pid != heaviest->first) continue;
        const bool better =
            chosen == waiting_.end() || (by_memory ? entry->second->held() > chosen->second->held()
                                                   : entry->second->deadline() < chosen->second->deadline());
        if (better) chosen = entry;
    }
    drop(chosen->first, why);
}

}  // namespace velorin_channel
