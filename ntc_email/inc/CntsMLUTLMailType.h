#pragma once

#include <cstdint>

#include "utl_lib_convert.h"

#include "ntc_email_export.h"

namespace velorin {

// The Content-Type value of a disposition report, folded onto two lines.
extern NTC_EMAIL_API const char ContentTypeWinthParam[];

// The MIME vocabulary: enumeration value to header text and back, and conversion between character sets.
// Static and without state, so any number of threads may use it. The numbers travel on the wire and never
// change; a number without an enumerator passes through unchanged.
class NTC_EMAIL_API CntsMLUTLMailType {
public:
    enum eContentType : std::int32_t {
        eContentTypeTextPlain = 0,
        eContentTypeTextHtml = 1,
        eContentTypeMultipart = 2,  // any multipart type without a row of its own
        eContentTypeMultipartMixed = 3,
        eContentTypeMultipartReport = 4,
        eContentTypeMessageDispositionNotification = 5,
        eContentTypeMessagePartial = 6,
        eContentTypeApplicationPdf = 7,
        eContentTypeApplicationPostscript = 8,
        eContentTypeApplicationApplefile = 9,
        eContentTypeImageTiff = 10,
        eContentTypeImageJpeg = 11,
        eContentTypeApplicationXps = 12,
        eContentTypeEnd = 13,      // ends the table, never a result
        eContentTypeUnknown = 14,  // no row matches; also "no value"
    };

    enum eTransferEncoding : std::int32_t {
        eTransferEncoding7bit = 0,
        eTransferEncoding8bit = 1,
        eTransferEncodingBase64 = 2,
        eTransferEncodingQuotedPrintable = 3,
        eTransferEncodingUnknown = 4,
        eTransferEncodingEnd = 5,
    };

    enum eContentDisposition : std::int32_t {
        eContentDispositionInline = 0,
        eContentDispositionAttachment = 1,
        eContentDispositionUnknown = 2,
        eContentDispositionEnd = 3,
    };

    enum eCharSet : std::int32_t {
        eCharSetUsAscii = 0,
        eCharSetUs = 1,
        eCharSetAscii = 2,
        eCharSetIso8859_1 = 3,
        eCharSetIso8859_2 = 4,
        eCharSetIso2022Jp = 5,
        eCharSetXJis = 6,
        eCharSetShiftJis = 7,
        eCharSetXSjis = 8,
        eCharSetMsKanji = 9,
        eCharSetUtf8 = 10,
        eCharSetUnknown = 11,
        eCharSetEnd = 12,
    };

    enum eContetXCiajwnetfax : std::int32_t {
        eContetXCiajwnetfaxIgnore = 0,
        eContetXCiajwnetfaxUnknown = 1,
        eContetXCiajwnetfaxEnd = 2,
    };

    // A row of a vocabulary; the row with the empty text ends it.
    template <typename Value>
    struct TextRow {
        const char* pszText;
        Value eValue;
    };
    struct EncodeTypeRow {
        eCharSet eCharSetValue;  // eCharSetUnknown ends the table
        UTL_LIB_CHGC_ENCODE_TYPE eEncodeType;
    };

    // Octets with their character set.
    struct ENCODED_STRING {
        eCharSet m_eCharSet;
        char* m_pBuffer;  // the caller's; need not end in NUL
        int m_nLength;    // octets; of a destination, its capacity before and the octets written after
    };

    static const TextRow<eContentType> ContentTypeTable[15];
    static const TextRow<eTransferEncoding> TransferEncodingTable[5];
    static const TextRow<eContentDisposition> ContentDispositionTable[3];
    static const TextRow<eCharSet> CharSetTable[12];
    static const TextRow<eContetXCiajwnetfax> ContetXCiajwnetfaxTable[2];
    static const EncodeTypeRow EncodeTypeTable[12];

    // The header text of a value.
    //   result  text of the table, never freed; "" for a value without a row. GetContentType gives the folded
    //           ContentTypeWinthParam for the disposition report
    static const char* GetContentType(eContentType value);
    static const char* GetTransferEncoding(eTransferEncoding value);
    static const char* GetContentDisposition(eContentDisposition value);
    static const char* GetCharSet(eCharSet value);
    static const char* GetContetXCiajwnetfax(eContetXCiajwnetfax value);

    // The value of a header text: the first row that begins the text, letter case aside, whatever follows.
    // Leading blanks are not skipped.
    //   in      text: US-ASCII; null matches nothing
    //   result  the row's value, or the vocabulary's ...Unknown
    static eContentType TestContentType(const char* text);
    static eTransferEncoding TestTransferEncoding(const char* text);
    static eContentDisposition TestContentDisposition(const char* text);
    static eCharSet TestCharSet(const char* text);
    static eContetXCiajwnetfax TestContetXCiajwnetfax(const char* text);

    // The platform converter's type of a character set.
    //   out     type: set only on success
    //   result  0; -1 for a set without a row
    static int ConvertUtilLibEncodeType(eCharSet charset, UTL_LIB_CHGC_ENCODE_TYPE& type);

    // Converts text from one character set into another. Equal sets are copied, cut to the capacity.
    //   in      source: octets up to m_nLength; conversion stops at a NUL. destination: set, buffer, capacity
    //   out     destination.m_nLength: octets written, no NUL behind them; consumed: octets taken from the
    //           source
    //   result  0; -1 with one trace line when a set is unknown or the platform converter refuses the text
    //           (destination buffer as the converter left it, its length and consumed unchanged), and -1
    //           without a line when memory runs out
    static int ConvertEncodedString(const ENCODED_STRING& source, ENCODED_STRING& destination, int& consumed);
};

}  // namespace velorin
