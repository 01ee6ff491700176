#pragma once

#include <cstdint>

namespace velorin {

// The library's own status codes; every other value is the mail service's.
constexpr std::uint32_t kStatusOk = 0;
constexpr std::uint32_t kStatusNoMemory = 0x21077101;
constexpr std::uint32_t kStatusCallFailed = 0x21077103;
constexpr std::uint32_t kStatusInvalidArgument = 0x2107720F;

}  // namespace velorin
