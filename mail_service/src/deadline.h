#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace velorin::service {

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;

inline Deadline in_seconds(std::uint32_t seconds)
{
    return Clock::now() + std::chrono::seconds(seconds);
}

// Milliseconds left, rounded up and bounded for poll(); 0 when the time is over.
inline int milliseconds_left(Deadline deadline)
{
    const auto left = deadline - Clock::now();
    if (left <= Clock::duration::zero()) return 0;
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(left).count() + 1;
    return static_cast<int>(std::min<std::int64_t>(milliseconds, 1000000));
}

}  // namespace velorin::service
