// Stands between the library and a daemon: it passes the frames on, and kills the daemon in the midst of one.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "attacked_daemon.h"

namespace velorin_test {

enum class Moment {
    kBeforeItReads,    // the request lies in the daemon's socket
    kInMidWork,        // the request is read, see Killing::in_mid_work
    kInMidRequest,     // half of the request is read
    kAfterHalfAnswer,  // half of the answer has reached the library
};

// What happens to the next exchange.
struct Killing {
    Moment moment = Moment::kBeforeItReads;
    // kInMidWork: waits until the work has come where it is to end; false fails the test.
    std::function<bool()> in_mid_work;
};

class ChannelProxy {
public:
    explicit ChannelProxy(AttackedDaemon& daemon);
    ~ChannelProxy();
    ChannelProxy(const ChannelProxy&) = delete;
    ChannelProxy& operator=(const ChannelProxy&) = delete;

    const std::string& directory() const { return folder_.path(); }  // the library's channel directory

    // Starts the daemon, or another one where it has been killed, and listens.
    void start();
    // The daemon dies at the next exchange. Then nobody listens until start().
    void kill_at_next(const Killing& killing);
    // Whether it has; and when.
    bool killed() const { return killed_; }
    std::chrono::steady_clock::time_point killed_at() const { return killed_at_; }

private:
    struct Endpoint {
        std::string name;
        int listener = -1;
        int library = -1;  // the connection under way, under lock_
        std::thread thread;
    };

    void serve(Endpoint& endpoint);
    bool exchange(const Endpoint& endpoint, int library);
    bool pass_on(int library, int daemon);
    void die_before_reading(int library, int daemon);
    void die_in_mid_request(int library, int daemon);
    void die_in_mid_work(int library, int daemon);
    void die_after_half_answer(int library, int daemon);
    void kill_daemon();
    void stop_listening();
    void hang_up();
    void note_connection(Endpoint& endpoint, int library);
    void join();

    AttackedDaemon& daemon_;
    TemporaryFolder folder_;
    std::vector<Endpoint> endpoints_;
    std::mutex lock_;    // of the endpoints' connections
    bool over_ = false;  // under lock_
    Killing killing_;    // before armed_ is set
    std::atomic<bool> armed_{false};
    std::atomic<bool> killed_{false};
    std::chrono::steady_clock::time_point killed_at_{};  // before killed_ is set
};

}  // namespace velorin_test
