#pragma once

#include <string>

namespace velorin::cli {

// A header text in UTF-8: encoded words decoded, neighbours of one character set joined first, blanks and line
// ends between them dropped (RFC 2047, section 6.2). A word of a character set that is not known here, or that
// cannot be converted, stays as it came; so does all other text. CR, LF and NUL that a word holds become blanks.
//   out     cut_short: whether a word was begun and not ended on its line
std::string decode_words(const std::string& text, bool& cut_short);

// Whether a text holds the beginning of an encoded word that does not end where a blank, a line or the text ends.
constexpr const char* kCutWord = "holds an encoded word that is cut short";
bool holds_cut_word(const std::string& text);

}  // namespace velorin::cli
