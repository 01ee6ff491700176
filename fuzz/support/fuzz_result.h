// What an operation of the library handed over through a block and a length.
#pragma once

#include <climits>
#include <optional>
#include <string>

#include "fuzz_platform.h"
#include "fuzz_property.h"

namespace velorin_fuzz {

// Calls an operation and takes its result.
//   in      operation: called with the block and the length it has to set
//   result  the octets; nothing when it failed
template <typename Octet = char, typename Operation>
std::optional<std::string> result_of(Operation operation)
{
    Octet* out = stale();
    long length = LONG_MIN;
    const int result = operation(out, length);
    const Block block(out, length);
    require(result == 0 || result == 1, "a result is 0 or 1");
    require((result == 1) == (out != nullptr), "a result comes with a block, a failure without");
    if (result == 0) return std::nullopt;
    return std::string(block.data(), static_cast<std::size_t>(length));
}

}  // namespace velorin_fuzz
