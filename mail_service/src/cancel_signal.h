#pragma once

#include <atomic>

namespace velorin::service {

// Ends the waiting of the one thread that works for a session, from any other thread. Once raised it stays so
// until cleared. The descriptor is readable while it is raised, for poll().
class CancelSignal {
public:
    CancelSignal();  // std::runtime_error when the process has no descriptor left
    ~CancelSignal();
    CancelSignal(const CancelSignal&) = delete;
    CancelSignal& operator=(const CancelSignal&) = delete;

    void raise() noexcept;
    void clear() noexcept;
    bool raised() const noexcept { return raised_.load(std::memory_order_acquire); }
    int descriptor() const noexcept { return descriptor_; }

private:
    int descriptor_;
    std::atomic<bool> raised_{false};
};

}  // namespace velorin::service
