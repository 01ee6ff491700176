#pragma once

#include <sys/types.h>

#include <cstdint>

#include "platform_api.h"

// When a process started, in clock ticks after boot. At a hundred ticks a second they need more than 32 bits after 497
// days: on every machine they are 64-bit numbers.
namespace velorin_channel {

//   result  0 when there is no such process
NTC_PLATFORM_API std::uint64_t read_start_time(pid_t pid);

//   in      stat: the text of /proc/PID/stat
//   result  0 when it has no such field
NTC_PLATFORM_API std::uint64_t start_time_in(const char* stat);

}  // namespace velorin_channel
