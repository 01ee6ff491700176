#pragma once

#include <cstdint>

#include "emwGEN.h"

namespace velorin {

constexpr std::uint32_t kTraceModule = 0x2107;
constexpr std::uint32_t kTraceLevel = 0x102;

}  // namespace velorin

// One trace line, by whoever detects a failure. The format is one whole literal, so that a line seen on a
// device is found by one search and its arguments are checked.
#define NTC_TRACE(...) emwGENTrcPrintf(::velorin::kTraceModule, ::velorin::kTraceLevel, 0, __VA_ARGS__)
