#pragma once

#include <cstdint>
#include <ctime>

#include "platform_api.h"

// Small text and time helpers. All may be called by any number of threads at once.
extern "C" {

// Compares the first octets of two texts without regard to case. Only A to Z and a to z are letters.
//   in      count: octets at most; a NUL ends the comparison, nothing behind it is read
//   result  0 when equal; below or above 0 as the first differing octet of `a`, in upper case and taken as
//           unsigned, is below or above that of `b`. A null text is below every other text and equals a null
//           text
NTC_PLATFORM_API int emwCLBCompStrCaseN(const char* a, const char* b, std::uint32_t count);

// Breaks seconds since 1970 down into local time.
//   result  `out`; null when an argument is null or the year does not fit
NTC_PLATFORM_API struct tm* emwCLBLocalTime_r(const time_t* seconds, struct tm* out);

// Turns a to z into A to Z in place; other octets stay as they are.
//   in      text: NUL-terminated; null is allowed
//   result  `text`
NTC_PLATFORM_API char* emwCLBConvertUpper(char* text);

}  // extern "C"
