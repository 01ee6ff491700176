#pragma once

#include <cstdint>

#include "platform_api.h"

// How the characters of a text are coded, by number:
//   0, 1, 2  US-ASCII
//   3        ISO-2022-JP
//   4        JIS as "x-jis": ISO-2022-JP that keeps half-width kana
//   5        Shift_JIS, always in its Microsoft form (code page 932)
//   6        the Microsoft form under its own name; the same as 5 in every respect
//   7        UTF-8
//   12, 13   ISO 8859-1, ISO 8859-2
typedef std::int32_t UTL_LIB_CHGC_ENCODE_TYPE;

struct UTL_LIB_CHGC_REQUEST {
    const char* input;  // the text, up to its NUL; not null
    char* output;       // where the result goes, not over the input; null is allowed with capacity 0
    std::uint32_t output_capacity;  // octets
    std::uint32_t output_length;    // out: octets written; 0 after a failure
};

// What utl_lib_convert_encode returns here. Callers rely on "nonzero is a failure" and no more.
enum UTL_LIB_CHGC_RESULT : std::uint32_t {
    UTL_LIB_CHGC_DONE = 0,
    UTL_LIB_CHGC_BAD_REQUEST = 1,   // no request, no input, or a capacity without an output
    UTL_LIB_CHGC_UNKNOWN_TYPE = 2,  // an encode type that is not in the list above
    UTL_LIB_CHGC_MALFORMED = 3,     // octets that are no character of the source
    UTL_LIB_CHGC_NO_PLACE = 4,      // a character that the target does not have
    UTL_LIB_CHGC_TOO_LONG = 5       // the result is longer than the capacity
};

extern "C" {

// Converts a text from any type to any other, or to its own, which checks it. May be called by any number of
// threads at once.
//
// What is read, up to the NUL and never past it:
//   UTF-8      strictly (RFC 3629): shortest form, no surrogates, U+10FFFF at most. A byte order mark is a
//              character like any other.
//   Shift_JIS  code page 932: half-width kana, NEC row 13, the NEC selection and IBM's extensions; 0xF040 to
//              0xF9FC are U+E000 to U+E757. The octets 0x80, 0xA0 and 0xFD to 0xFF are malformed.
//   JIS        3 and 4 alike: ESC ( B, ( J, ( H, ( I, $ @, $ B, $ ( @, $ ( B, $ ( D and & @; of code page 932
//              rows 1 to 94; kana also after shift-out, and as 8-bit octets outside two-octet mode. CR and LF
//              return to ASCII. The text may end in any mode. The characters of JIS X 0212 (ESC $ ( D) have
//              no place in any target.
//   0x5C and 0x7E are backslash and tilde everywhere, after ESC ( J too.
//
// What is written:
//   3          half-width kana become full-width; a sound mark is joined to the kana before it where that
//              gives one character
//   4          half-width kana stay, behind ESC ( I
//   3, 4       pairs behind ESC $ B, IBM's extensions in the rows of the NEC selection (89 to 92); the ends
//              of lines and of the text in ASCII. ESC, shift-out and shift-in have no place.
//   5, 6       what is in the NEC selection and in IBM's extensions goes to the latter (0xFA40 on)
//   U+301C, U+2016, U+2212, U+2014, U+203E, U+00A2, U+00A3, U+00A5, U+00A6 and U+00AC go to the cells that
//   are read as U+FF5E, U+2225, U+FF0D, U+2015, U+FFE3, U+FFE0, U+FFE1, U+FFE5, U+FFE4 and U+FFE2: they are
//   other names of the same Japanese characters. Nothing else is replaced by something similar. Between equal
//   types (3 and 4 apart), between 5 and 6, and among 0, 1 and 2, a valid text is copied unchanged.
//
//   out     output: the octets, without a NUL behind them; after a failure unspecified. Nothing is written
//           past the capacity.
//           output_length: octets written; 0 after a failure
//   result  UTL_LIB_CHGC_RESULT: 0, or the first obstacle met
NTC_PLATFORM_API std::uint32_t utl_lib_convert_encode(UTL_LIB_CHGC_ENCODE_TYPE from,
                                                      UTL_LIB_CHGC_ENCODE_TYPE to,
                                                      UTL_LIB_CHGC_REQUEST* request);

}  // extern "C"
