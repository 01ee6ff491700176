#pragma once

#include "platform_api.h"

namespace velorin_channel {

constexpr int kTracePatienceMs = 1000;  // until set_trace_patience

// How long a trace line waits for a sink that takes nothing (a pipe that nobody reads) before it is lost; those
// behind it do not wait at all until the sink takes octets again. A program that others wait for sets 0.
//   in      milliseconds: 0 or more
NTC_PLATFORM_API void set_trace_patience(int milliseconds);

}  // namespace velorin_channel
