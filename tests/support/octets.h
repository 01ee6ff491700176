// Comparison of octets for people: a test that fails shows where and how two runs of octets part.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace velorin_test {

// Says where `actual` parts from `expected`: both lengths, the offset of the first difference, and the hex
// rows around it.
//   result  empty text when they are equal; use it as EXPECT_EQ("", octet_difference(expected, actual))
std::string octet_difference(std::string_view expected, std::string_view actual);

// Hex rows of 16 octets with their printable characters; `offset` is the number shown for the first octet.
std::string hex_dump(std::string_view octets, std::size_t offset = 0);

// The text with everything outside 0x20 to 0x7E, and the backslash, written as \r \n \t \0 \\ or \xHH.
std::string printable(std::string_view octets);

// The other way round; an escape that is not one of those stays as it is written.
std::string from_printable(std::string_view text);

}  // namespace velorin_test
