// Wire octets put together by hand, so that what a test expects owes nothing to the generated classes.
#pragma once

#include <cstdint>
#include <string>

#include "platform_double.h"

namespace velorin_test {

// A number in base 128, least significant group first.
inline std::string varint(std::uint64_t value)
{
    std::string octets;
    while (value > 0x7F) {
        octets.push_back(static_cast<char>(0x80 | (value & 0x7F)));
        value >>= 7;
    }
    octets.push_back(static_cast<char>(value));
    return octets;
}

// An int32: negative numbers are written with their sign over 64 bits.
inline std::string varint_of_int32(std::int32_t value)
{
    return varint(static_cast<std::uint64_t>(static_cast<std::int64_t>(value)));
}

// Octets behind a tag that is given in hex, with their length between.
inline std::string delimited(const std::string& tag_hex, const std::string& octets)
{
    return octets_of(tag_hex) + varint(octets.size()) + octets;
}

}  // namespace velorin_test
