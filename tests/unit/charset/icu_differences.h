// Where the converter answers other than ICU, and why: the one list of it.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

// What is compared, code by code.
enum class Way : std::uint8_t {
    kReadShiftJis,   // code: one octet, or lead * 256 + trail
    kReadJisPair,    // code: the two octets behind ESC $ B
    kReadJisAscii,   // code: the octet where a text begins
    kReadJisRoman,   // code: the octet behind ESC ( J
    kReadJisKana,    // code: the octet behind ESC ( I
    kReadJisShift,   // code: the octet behind shift-out
    kReadJisSwitch,  // code: what stands between ESC and "0!", up to three octets
    kReadLatin1,     // code: the octet
    kReadLatin2,
    kWriteShiftJis,  // code: the character
    kWriteIso2022Jp,
    kWriteXJis,
    kWriteLatin1,
    kWriteLatin2,
    kEnd,
};

std::ostream& operator<<(std::ostream& stream, Way way);

// What stands in a row's `ours` when it is not a text.
extern const char32_t* const kRefused;      // as a code that is nothing
extern const char32_t* const kUnsupported;  // as a character without a place
extern const char32_t* const kWidened;      // as the full-width form by compatibility composition

struct IcuDifference {
    Way way;
    std::uint32_t first;  // codes
    std::uint32_t last;
    // The answer to `first`: read as this text, or written as this character. One character is followed by the
    // next one for the next code, and so on.
    const char32_t* ours;
    const char* reason;
};

const std::vector<IcuDifference>& icu_differences();
