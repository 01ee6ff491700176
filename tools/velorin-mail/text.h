#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "ntc_email.h"

#include "failure.h"
#include "spool.h"

namespace velorin::cli {

// A mail's text, ready to be sent: in its character set, lines ended by CR LF, checked to the last character.
struct MailText {
    CntsMLUTLMailType::eCharSet charset = CntsMLUTLMailType::eCharSetUtf8;
    CntsMLUTLMailType::eTransferEncoding encoding =
        CntsMLUTLMailType::eTransferEncoding7bit;  // 7bit or base64
    bool ends_in_line_end = true;                  // an empty one does too
    Spool octets;                                  // not yet transfer-encoded; stands at its front
};

// Reads a text in UTF-8, of any size with flat memory, and converts it. Line ends of every kind become CR LF,
// a byte order mark at the front is dropped. 7bit is chosen when every octet and line length allows it (RFC
// 5322, section 2.1.1: 998), base64 otherwise.
//   in      source: the text; name: of the source, for the sentences; charset: name of the character set,
//   empty for the one that suits the text
//   result  false with the sentence, which names the line: no UTF-8, a NUL, a character that the set does not
//   have
bool prepare_text(OctetSource& source, const std::string& name, const std::string& charset, MailText& text,
                  Failure& failure);

// Where a piece of a text may end: the last line end, else the last whole character, and never between a
// half-width kana and its sound mark, which are one character in ISO-2022-JP.
//   in      octets: of UTF-8, `length` of them, valid but for a character cut off at the end; is_end: nothing
//   follows result  octets to take; 0 when more are needed
std::size_t text_cut(const char* octets, std::size_t length, bool is_end);

// The escape sequence that selects a mode of AdjustMultiByteCode; "" for that of US-ASCII.
const char* escape_of_mode(int mode);

}  // namespace velorin::cli
