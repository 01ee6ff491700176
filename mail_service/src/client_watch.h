#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include "deadline.h"
#include "session.h"

namespace velorin::service {

// Tells when a client process has gone, by a pidfd each, and keeps the time for what falls due. One thread of
// its own, which calls back; the callbacks must not wait.
class ClientWatch {
public:
    struct Callbacks {
        std::function<void(const ClientId&)> gone;          // the process has ended
        std::function<bool(const ClientId&)> still_needed;  // false: need not be watched any more
        std::function<Clock::time_point()> when_due;        // when due() is to be called; far future: never
        std::function<void()> due;
    };

    explicit ClientWatch(Callbacks callbacks);  // std::runtime_error, std::system_error
    ~ClientWatch();
    ClientWatch(const ClientWatch&) = delete;
    ClientWatch& operator=(const ClientWatch&) = delete;

    // Watches a process; one that is watched already is fine.
    //   result  false when it has gone meanwhile, or cannot be watched
    bool watch(const ClientId& client);
    void wake();  // look again at who is needed and what is due

private:
    void run();
    void forget_unneeded();

    const Callbacks callbacks_;
    CancelSignal wake_;
    std::mutex mutex_;
    std::map<ClientId, int> watched_;  // pidfd of each
    bool stopping_ = false;            // under the mutex
    std::thread thread_;
};

}  // namespace velorin::service
