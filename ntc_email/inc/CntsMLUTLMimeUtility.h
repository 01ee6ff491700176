#pragma once

#include "CntsMLUTLMailType.h"
#include "ntc_email_export.h"

namespace velorin {

class CntsMLUTLMailPart;

// What stands around an encoded word: =?charset?B?text?= (RFC 2047, section 2).
extern NTC_EMAIL_API const char ABNF_ENCODE_STRING_START[];  // "=?"
extern NTC_EMAIL_API const char ABNF_ENCODE_DELIMITER[];     // "?"
extern NTC_EMAIL_API const char ABNF_ENCODE_STRING_END[];    // "?="

// Body transfer encodings, encoded words of headers, escaped file names and Japanese codes. Static and
// without state, so any number of threads may use them. Lengths are octets.
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

    // Encodes a text as base64 encoded words with CR LF and a tab between them.
    //   in      cs: what the words carry; in: UTF-8. maxLine: characters a line at most, line end aside;
    //           without room for four characters of base64 there is one word, whatever its length.
    //           With several words UTF-8 is cut between octets, and in any other set the whole text has to
    //           fit into the first word: give such texts in pieces
    //   result  also 0 for a set without a name and for a text that does not convert or does not fit.
    //           Throws what the platform's heap throws
    static int ToMimeEncode(CntsMLUTLMailType::eCharSet cs, const void* in, long len, char*& out,
                            long& outLen, int maxLine);

    // Encodes what is not ASCII in a header block. On each line with an octet that is neither printable nor
    // white space, what follows the first blank or double quote is encoded: up to a double quote at the end
    // of the line when it began with one, else on a line "To: " up to the last "<", else up to the CR.
    //   in      in: lines with CR LF between them, UTF-8; the first line is not encoded and must be ASCII
    //   out     lines of at most 75 characters up to the end of their first word; a stretch that cannot be
    //           encoded stays as it is
    //   result  also 0 when an octet to be encoded stands on the first line, or has no blank or quote, or on
    //           a line "To: " no "<", where it is looked for
    static int InlineEncode(const char* in, long len, char*& out, long& outLen,
                            CntsMLUTLMailType::eCharSet cs);

    // Decodes the encoded words of a text, base64 and quoted-printable. What does not decode, white space
    // between words and "_" stay as they are.
    //   out     out: the octets of the words in the character sets of the words, not converted
    //           cs: the set of the last word that was decoded, eCharSetUnknown for one without a name here;
    //           unchanged when there was none. It is set as words are decoded: a failure further on leaves it
    static int InlineDecode(const char* in, long len, char*& out, long& outLen,
                            CntsMLUTLMailType::eCharSet& cs, int unused);

    // Holds a place in the interface: converts nothing, touches nothing, returns 1.
    static int Jis2Sjis(const char* in, long len, char*& out, long& outLen);

    // The Shift_JIS code of a JIS X 0208 code, both with their first octet high.
    //   result  0 when a first octet outside 0x81 to 0x9F and 0xE0 to 0xEF would result, for a second octet
    //           below 0x21, and above 0x7F when the first is even. 0x7F and, after an odd first octet, what
    //           is above it are not refused
    static unsigned short CodeConvertJis2Sjis(unsigned short jis);

    // The value of an upper-case hexadecimal digit; 0 for any other character.
    static unsigned char EscapeDecode(char c);

    // Replaces "%" and two hexadecimal digits of either case by the octet they stand for. An invalid digit
    // counts as 0.
    //   in      in: a "%" within the last two of its len octets takes what stands behind them, up to a NUL
    //   out     out: room for len octets; no NUL is written behind them
    static void EscapeStringDecode(const char* in, int len, char* out);

    // Takes the file name out of an extended parameter value, charset'language'text (RFC 2231, section 4):
    // the text up to a ";", unescaped, whatever its character set.
    //   in      value: null, and one without two single quotes, leave the part unchanged
    //   out     the part's file name, trimmed; its extension, when the name has a dot that is neither its
    //           first character nor its last
    static void DecodeAndSetEscapeString(CntsMLUTLMailPart& part, char* value);
};

}  // namespace velorin
