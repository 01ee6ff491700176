#pragma once

#include <cstddef>
#include <string>

namespace velorin::cli {

// Texts of a header that are typed as they are, in UTF-8, and sent as encoded words (RFC 2047).

// How a text stands in its field.
struct WordPlace {
    std::size_t column = 0;  // octets on the line in front of the first word
    std::size_t behind = 0;  // octets that follow on the line of the last word
    bool words_pass = true;  // what is an encoded word already stays as it is
};

// Whether a text can be sent as it is: US-ASCII.
bool is_plain(const std::string& text);

// Looks for what no header text may hold: octets that are no UTF-8, line breaks, control characters.
//   out     what: what is wrong, to follow on the text's name
//   result  true when there is nothing of that
bool is_header_text(const std::string& text, const char*& what);

// A text as encoded words of at most 75 characters on lines of at most 76 (RFC 2047, section 2), with CR LF and
// a tab between them, cut between characters.
//   in      text: a header text; charset: name of the character set, empty for the one that suits the text
//   out     words; wrong: what is wrong, as a clause
//   result  false for a character without a place in the set, and when memory runs out
bool encode_words(const std::string& text, const std::string& charset, WordPlace place, std::string& words,
                  std::string& wrong);

// An address entry with its display name in encoded words. The address has to be US-ASCII; so has all that
// stands behind it.
//   in      column: octets of the field's name with the blank behind it
//   out     encoded: the entry itself when it is plain
bool encode_entry(const std::string& entry, const std::string& charset, std::size_t column,
                  std::string& encoded, std::string& wrong);

}  // namespace velorin::cli
