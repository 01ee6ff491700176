#pragma once

#include "platform_api.h"

namespace velorin_channel {

// Opens /dev/null for each standard descriptor that is closed. A program that was started without them calls this
// first: otherwise the next file or socket takes their numbers, and the trace goes to whoever is at its other end.
// Reading the input and writing the output go on failing: what is missing is no empty text, and what is printed there
// does not arrive. What is said on the error output is lost.
NTC_PLATFORM_API void occupy_standard_descriptors();

}  // namespace velorin_channel
