#pragma once

#include "ntc_email_export.h"

namespace velorin {

// Body transfer encodings. Static and without state, so any number of threads may use them. Lengths are
// octets.
//   out     results are platform-heap blocks, the caller's (CutlCPLBOSBoundary::MemFree), with a NUL behind
//           the last octet that is not counted; null and length 0 on failure
//   result  1; 0 after one trace line when memory runs out or a length is negative
class NTC_EMAIL_API CntsMLUTLMimeUtility {
public:
    // The base64 alphabet (RFC 4648, section 4), value 0 first.
    static const char* const pszBase64Seed;

    // Encodes in base64.
    //   in      lineLen: characters a line, rounded down to a multiple of four; below 4 there are no line
    //           ends. CR LF stands between lines, none after the last. An empty input with line ends is
    //           refused
    static int ToB64(const void* in, long len, char*& out, long& outLen, int lineLen);

    // Decodes base64. Characters outside the alphabet, line ends and padding are skipped wherever they stand;
    // a NUL counts as the character of value zero.
    static int FromB64(const char* in, long len, void*& out, long& outLen);

    // The value of a base64 character.
    //   result  0 to 63; 64 for NUL, which FromB64 relies on; 255 for any other character
    static unsigned char Base64Seed2Index(char c);

    // Encodes a whole text as quoted-printable. Everything but the visible ASCII characters is escaped, line
    // ends too; the result always ends in a soft line break.
    //   in      in: up to its NUL, whatever len says; lineLen: columns after which a soft break is due, below
    //           1 one stands before every character
    //   out     outLen: the running sum of the columns, not the length of the result: take strlen of it
    static int ToQB(const void* in, long len, char*& out, long& outLen, int lineLen);

    // Decodes quoted-printable and removes the doubled dot at line starts. An "=" without two hexadecimal
    // digits is dropped together with the two characters after it.
    static int FromQP(const char* in, long len, void*& out, long& outLen);

    // Appends octets to a platform-heap block, to the exact size.
    //   in      buf: null starts a block. addLen: octets of add
    //   out     buf, len: unchanged on failure
    static int ReallocationBuffer(char*& buf, long& len, const void* add, long addLen);
};

}  // namespace velorin
