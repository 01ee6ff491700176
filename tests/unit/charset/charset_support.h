#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "utl_lib_convert.h"

constexpr int kAsciiType = 0;
constexpr int kJisType = 3;
constexpr int kXJisType = 4;
constexpr int kShiftJisType = 5;
constexpr int kMicrosoftType = 6;
constexpr int kUtf8Type = 7;
constexpr int kLatin1Type = 12;
constexpr int kLatin2Type = 13;
extern const std::vector<int> kAllTypes;

struct Converted {
    std::uint32_t result;
    std::string octets;
};
bool operator==(const Converted& left, const Converted& right);
std::ostream& operator<<(std::ostream& stream, const Converted& converted);

inline Converted done(const std::string& octets)
{
    return {UTL_LIB_CHGC_DONE, octets};
}
inline Converted failed(std::uint32_t result)
{
    return {result, ""};
}

// One call with a capacity in octets. Input and output are heap blocks of exactly the size in use.
Converted convert_into(int from, int to, const std::string& text, std::size_t capacity);

// Converts with room to spare, and on success once more into exactly the octets needed, which must give the
// same, and into one less, which must be refused: both are checked at every use.
Converted convert(int from, int to, const std::string& text);

std::string utf8_of(char32_t character);
std::string octets_of(std::uint32_t code);  // up to three, the highest first, none that is zero in front
std::string hex_of(const std::string& octets);
