// A listening socket on 127.0.0.1 whose connections are served by a thread each, for a bounded time.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <thread>

#include "loopback_connection.h"

namespace velorin_test {

class LoopbackListener {
public:
    using Serve = std::function<void(LoopbackConnection&)>;

    // Listens and starts to accept. Throws std::runtime_error when that fails.
    //   port         0: one that is free
    //   lifetime_ms  after that many milliseconds it stops by itself
    //   serve        runs in a thread of its own for every connection, any number at once
    LoopbackListener(std::uint16_t port, int lifetime_ms, Serve serve);
    ~LoopbackListener();  // stop()
    LoopbackListener(const LoopbackListener&) = delete;
    LoopbackListener& operator=(const LoopbackListener&) = delete;

    std::uint16_t port() const { return port_; }

    // Refuses new connections, ends the waits of those that are there, and returns when all their threads are
    // over. To be called by one thread.
    void stop();

private:
    struct Server {
        std::thread thread;
        std::atomic<bool> done{false};
    };

    void accept_connections(int lifetime_ms);
    void reap(bool all);

    Serve serve_;
    int socket_ = -1;
    int stop_event_ = -1;
    std::uint16_t port_ = 0;
    std::list<Server> servers_;  // the accepting thread's alone, until it is over
    std::thread acceptor_;
};

// Holds a port of 127.0.0.1 on which nobody listens: a connection to it is refused as long as the object
// lives.
class RefusedPort {
public:
    RefusedPort();  // throws std::runtime_error
    ~RefusedPort();
    RefusedPort(const RefusedPort&) = delete;
    RefusedPort& operator=(const RefusedPort&) = delete;
    std::uint16_t port() const { return port_; }

private:
    int socket_;
    std::uint16_t port_;
};

}  // namespace velorin_test
