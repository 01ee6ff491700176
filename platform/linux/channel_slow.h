#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "channel_budget.h"
#include "channel_connection.h"

namespace velorin_channel {

// Callers that have not sent their whole request yet, or do not take their answer: they wait here, all in one
// thread, until they have or their time is over. Bounded in number and in memory; when it is full, a caller
// of the process that has most of them here is let go.
class SlowCallers {
public:
    //   in      budget: how many may be here
    //           max_held: octets of memory that those who wait may have in all
    //           on_request: takes over a connection whose request is whole
    SlowCallers(const CallerBudget& budget, std::size_t max_held,
                std::function<void(std::unique_ptr<Connection>)> on_request);
    ~SlowCallers();
    SlowCallers(const SlowCallers&) = delete;
    SlowCallers& operator=(const SlowCallers&) = delete;

    bool start();  // false: errno says why
    void stop();   // lets everybody go

    // Takes over a detached connection.
    void add(std::unique_ptr<Connection> connection);

    // Lets one caller go because descriptors ran out.
    //   result  false: there is none
    bool make_room();

private:
    void run();
    void admit();
    int wait_time() const;
    void serve(int descriptor);
    void expire();
    void drop(int descriptor, const char* why);
    void limit();
    void drop_one_of_heaviest(bool by_memory, const char* why);
    void wake();
    std::unique_ptr<Connection> take_of_heaviest();  // of incoming_, with lock_ held

    const CallerBudget budget_;
    const std::size_t max_held_;
    const std::function<void(std::unique_ptr<Connection>)> on_request_;
    int poller_ = -1;
    int signal_ = -1;
    std::thread thread_;

    std::mutex lock_;
    std::vector<std::unique_ptr<Connection>> incoming_;
    unsigned to_evict_ = 0;
    std::size_t waiting_count_ = 0;  // of waiting_, for other threads
    bool stopping_ = false;

    std::unordered_map<int, std::unique_ptr<Connection>> waiting_;  // by descriptor; the thread's own
    std::size_t held_ = 0;                                          // octets; likewise
};

}  // namespace velorin_channel
