#pragma once

#include <pthread.h>
#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "channel_budget.h"
#include "channel_connection.h"
#include "channel_peer.h"
#include "channel_server.h"
#include "channel_slow.h"
#include "channel_socket.h"

namespace velorin_channel {

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
    // A thread with a caller whose request is not there yet.
    class Arrival {
    public:
        explicit Arrival(ServedEndpoint& endpoint) : endpoint_(&endpoint) { ++endpoint.arriving; }
        ~Arrival() { end(); }
        Arrival(const Arrival&) = delete;
        Arrival& operator=(const Arrival&) = delete;

        void end()
        {
            if (endpoint_ != nullptr) --endpoint_->arriving;
            endpoint_ = nullptr;
        }

    private:
        ServedEndpoint* endpoint_;
    };
    struct ThreadTask {
        Impl* server;
        ServedEndpoint* endpoint;  // null: serves requests that are whole, then ends
    };

    static void* thread_main(void* task);
    bool start_thread(ServedEndpoint* endpoint);               // with lock_ held
    void count_thread(ServedEndpoint* endpoint, bool begins);  // with lock_ held
    void end_thread();  // with lock_ held; the thread touches nothing more
    void join_ended(std::unique_lock<std::mutex>& guard);

    static void begin_window(ServedEndpoint& endpoint);
    void accept_loop(ServedEndpoint& endpoint, ThreadBuffers& buffers);
    void keep_one_accepting(ServedEndpoint& endpoint);
    static void note_busy(ServedEndpoint& endpoint);
    bool leave_pool(ServedEndpoint& endpoint);
    void serve(ServedEndpoint& endpoint, int descriptor, ThreadBuffers& buffers, Arrival& arrival);
    int serve_request(ServedEndpoint& endpoint, const Caller& caller, int descriptor, ThreadBuffers& buffers,
                      Arrival* arrival);
    bool may_linger(const ServedEndpoint& endpoint) const;
    bool may_call(int descriptor, const Caller& caller) const;
    int finish(std::unique_ptr<Connection> connection);
    void set_aside(std::unique_ptr<Connection> connection);
    void take_whole(std::unique_ptr<Connection> connection);
    std::unique_ptr<Connection> next_whole(bool last);
    void serve_whole(ThreadBuffers& buffers, bool last);
    void relieve(int error);
    void note_call();
    void note_silence();
    void abandon_in_child();
    bool undo_start();
    Clock::duration frame_timeout() const { return std::chrono::milliseconds(options_.frame_timeout_ms); }

    const ServerOptions options_;
    gid_t group_ = kNoGroup;
    std::vector<std::unique_ptr<ServedEndpoint>> endpoints_;
    CallerBudget budget_;
    std::unique_ptr<SlowCallers> slow_;
    SpareBlocks spares_;
    StartTimes start_times_;
    bool running_ = false;
    pid_t owner_ = 0;  // the process that started; a forked child has none of its threads
    std::atomic<bool> stopping_{false};
    std::atomic<std::uint32_t> last_call_{0};  // of uptime_seconds()
    std::atomic<bool> is_idle_{true};          // on_idle has been called, or nobody has called at all
    std::atomic<unsigned> receiving_{0};       // threads that wait for a request's octets

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

}  // namespace velorin_channel
