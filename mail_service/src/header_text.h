#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "CntsMLUTLMailType.h"

namespace velorin::service {

// Texts of a received header, as one line each: CR, LF and NUL in them are blanks, whatever they come from.

// The text as it came.
std::string raw_text(std::string_view text);

// The text in UTF-8: encoded words decoded (RFC 2047; neighbours of one character set joined before they are
// converted, so that a character may be cut between them), octets above 0x7F and ISO-2022-JP converted.
//   in      own: the character set of the mail, tried for octets above 0x7F that are not UTF-8; after it
//           Shift_JIS and ISO 8859-1 are
//   result  a word of an unknown character set, or that cannot be converted, stays as it came
std::string decoded_text(std::string_view text, CntsMLUTLMailType::eCharSet own);

// The same of a list of addresses. A name that holds separators after decoding is put in quotes, so that the
// list still has the entries that the mail has.
std::string decoded_addresses(std::string_view text, CntsMLUTLMailType::eCharSet own);

// Octets of a named character set in UTF-8.
//   result  false when the name is unknown or the octets are not of it; `out` is unchanged
bool to_utf8(std::string_view octets, std::string_view charset_name, std::string& out);

// The same of octets that nobody gave a name.
std::string guessed_utf8(std::string_view octets, CntsMLUTLMailType::eCharSet own);

// What of a text fits: cut between characters, never inside an encoded word or an escape sequence.
std::string_view cut_text(std::string_view text, std::size_t limit);
// Cut between entries. Empty when not even the first fits.
std::string_view cut_addresses(std::string_view text, std::size_t limit);

}  // namespace velorin::service
