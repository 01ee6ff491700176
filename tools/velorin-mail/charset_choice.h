#pragma once

#include <cstddef>
#include <string>

#include "ntc_email.h"

#include "failure.h"

namespace velorin::cli {

// The character set of a name that velorin-mail offers: us-ascii, iso-8859-1, iso-8859-2, iso-2022-jp,
// shift_jis, utf-8, letter case aside.
bool find_charset(const std::string& name, CntsMLUTLMailType::eCharSet& charset);

// Whether a name is one of these.
//   in      name: empty: none was given, which is fine
bool check_charset(const char* step, const std::string& name, Failure& failure);

// Finds out what a text goes out in when nobody says: ISO-2022-JP for Japanese that every reader turns back
// into the same characters, else UTF-8. So the rows that ISO-2022-JP (RFC 1468) does not have, half-width kana
// and the characters that converters disagree about make it UTF-8.
class CharsetSurvey {
public:
    // Looks at a further piece of the text, in UTF-8, cut anywhere.
    void add(const char* octets, std::size_t length);
    CntsMLUTLMailType::eCharSet charset() const;

private:
    void look_at(std::string& whole);

    std::string pending_;  // the front of a character
    bool japanese_ = false;
    bool fits_ = true;
};

// The character set of one text.
//   in      name: of a set that was asked for; empty: what suits the text
CntsMLUTLMailType::eCharSet charset_for(const std::string& name, const std::string& text);

// Converts a text from one character set into another.
//   result  false when a character has no place, or memory ran out
bool convert_text(CntsMLUTLMailType::eCharSet from, const std::string& text, CntsMLUTLMailType::eCharSet to,
                  std::string& converted);

// Where the first character stands that has no place in a character set; npos: there is none.
//   in      text: valid UTF-8
std::size_t find_misfit(const std::string& text, CntsMLUTLMailType::eCharSet charset);

// "the character U+2603 has no place in iso-2022-jp"
std::string misfit_clause(const std::string& text, std::size_t at, CntsMLUTLMailType::eCharSet charset);

}  // namespace velorin::cli
