#pragma once

#include <cstdint>

namespace velorin::service {

// When a process started, in clock ticks after boot (field 22 of its stat line).
//   result  0 when there is no such process
std::uint64_t start_time_of(std::int32_t pid);

}  // namespace velorin::service
