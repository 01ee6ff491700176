#pragma once

#include <cstdint>
#include <string>

// Envelopes by hand: the encoding of fields, without the classes that are made from the schema.
namespace envelope_octets {

inline std::string varint(std::uint64_t value)
{
    std::string octets;
    for (; value > 127; value /= 128)
        octets += static_cast<char>(static_cast<unsigned char>(128 + value % 128));
    octets += static_cast<char>(static_cast<unsigned char>(value));
    return octets;
}

inline std::string number(unsigned field, std::uint64_t value)
{
    return varint(field * 8u) + varint(value);
}

// A text or a message within a message.
inline std::string text(unsigned field, const std::string& content)
{
    return varint(field * 8u + 2u) + varint(content.size()) + content;
}

}  // namespace envelope_octets
