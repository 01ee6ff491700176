#include "CntsMLUTLMailType.h"

#include <algorithm>
#include <cstring>

#include "CutlCPLBOSBoundary.h"
#include "emwCLB.h"

#include "heap_block.h"
#include "trace.h"

namespace velorin {

const char ContentTypeWinthParam[] = "multipart/report;\r\n\treport-type=disposition-notification";

// A row a line, as the tables are read and compared.
// clang-format off
const CntsMLUTLMailType::TextRow<CntsMLUTLMailType::eContentType> CntsMLUTLMailType::ContentTypeTable[15] = {
    {"text/plain", eContentTypeTextPlain},
    {"text/html", eContentTypeTextHtml},
    {"multipart/mixed", eContentTypeMultipartMixed},
    {"multipart/report", eContentTypeMultipartReport},
    {"multipart/", eContentTypeMultipart},  // after its own kinds: the first row that begins the text wins
    {"message/disposition-notification", eContentTypeMessageDispositionNotification},
    {"message/partial", eContentTypeMessagePartial},
    {"application/pdf", eContentTypeApplicationPdf},  // before its alias: the first row names the value
    {"application/x-pdf", eContentTypeApplicationPdf},
    {"application/postscript", eContentTypeApplicationPostscript},
    {"application/applefile", eContentTypeApplicationApplefile},
    {"image/tiff", eContentTypeImageTiff},
    {"image/jpeg", eContentTypeImageJpeg},
    {"application/vnd.ms-xpsdocument", eContentTypeApplicationXps},
    {"", eContentTypeEnd},  // ends the walk, never a result
};

const CntsMLUTLMailType::TextRow<CntsMLUTLMailType::eTransferEncoding> CntsMLUTLMailType::TransferEncodingTable[5] = {
    {"7bit", eTransferEncoding7bit},
    {"8bit", eTransferEncoding8bit},
    {"base64", eTransferEncodingBase64},
    {"quoted-printable", eTransferEncodingQuotedPrintable},
    {"", eTransferEncodingEnd},
};

const CntsMLUTLMailType::TextRow<CntsMLUTLMailType::eContentDisposition> CntsMLUTLMailType::ContentDispositionTable[3] = {
    {"inline", eContentDispositionInline},
    {"attachment", eContentDispositionAttachment},
    {"", eContentDispositionEnd},
};

const CntsMLUTLMailType::TextRow<CntsMLUTLMailType::eCharSet> CntsMLUTLMailType::CharSetTable[12] = {
    {"us-ascii", eCharSetUsAscii},
    {"us", eCharSetUs},
    {"ascii", eCharSetAscii},
    {"iso-8859-1", eCharSetIso8859_1},
    {"iso-8859-2", eCharSetIso8859_2},
    {"iso-2022-jp", eCharSetIso2022Jp},
    {"x-jis", eCharSetXJis},
    {"shift_jis", eCharSetShiftJis},
    {"x-sjis", eCharSetXSjis},
    {"ms-kanji", eCharSetMsKanji},
    {"utf-8", eCharSetUtf8},
    {"", eCharSetEnd},
};

const CntsMLUTLMailType::TextRow<CntsMLUTLMailType::eContetXCiajwnetfax> CntsMLUTLMailType::ContetXCiajwnetfaxTable[2] = {
    {"IGNORE", eContetXCiajwnetfaxIgnore},
    {"", eContetXCiajwnetfaxEnd},
};

const CntsMLUTLMailType::EncodeTypeRow CntsMLUTLMailType::EncodeTypeTable[12] = {
    {eCharSetUsAscii, 0},
    {eCharSetUs, 1},
    {eCharSetAscii, 2},
    {eCharSetIso8859_1, 12},
    {eCharSetIso8859_2, 13},
    {eCharSetIso2022Jp, 3},
    {eCharSetXJis, 4},
    {eCharSetShiftJis, 5},
    {eCharSetXSjis, 5},
    {eCharSetMsKanji, 6},
    {eCharSetUtf8, 7},
    {eCharSetUnknown, -1},
};
// clang-format on

namespace {

// The text of the first row with the value, "" when none has it.
template <typename Row, typename Value>
const char* text_of_value(const Row* row, Value value)
{
    for (; row->pszText[0] != '\0'; ++row) {
        if (row->eValue == value) return row->pszText;
    }
    return "";
}

// False when two octets are surely not the same letter in whatever case: those of a letter differ in one bit.
bool may_be_same_letter(char a, char b)
{
    return ((static_cast<unsigned char>(a) ^ static_cast<unsigned char>(b)) & 0xDF) == 0;
}

// False when a row, of two octets at least, surely does not begin the text.
bool may_begin(const char* row, const char* text)
{
    return may_be_same_letter(row[0], text[0]) && text[0] != '\0' && may_be_same_letter(row[1], text[1]);
}

// The value of the first row that begins the text.
template <typename Row, typename Value>
Value value_of_text(const Row* row, const char* text, Value unknown)
{
    if (text == nullptr) return unknown;
    for (; row->pszText[0] != '\0'; ++row) {
        if (!may_begin(row->pszText, text)) continue;
        if (emwCLBCompStrCaseN(row->pszText, text, static_cast<std::uint32_t>(std::strlen(row->pszText))) ==
            0) {
            return row->eValue;
        }
    }
    return unknown;
}

}  // namespace

const char* CntsMLUTLMailType::GetContentType(eContentType value)
{
    if (value == eContentTypeMultipartReport) return ContentTypeWinthParam;
    return text_of_value(ContentTypeTable, value);
}

const char* CntsMLUTLMailType::GetTransferEncoding(eTransferEncoding value)
{
    return text_of_value(TransferEncodingTable, value);
}

const char* CntsMLUTLMailType::GetContentDisposition(eContentDisposition value)
{
    return text_of_value(ContentDispositionTable, value);
}

const char* CntsMLUTLMailType::GetCharSet(eCharSet value)
{
    return text_of_value(CharSetTable, value);
}

const char* CntsMLUTLMailType::GetContetXCiajwnetfax(eContetXCiajwnetfax value)
{
    return text_of_value(ContetXCiajwnetfaxTable, value);
}

CntsMLUTLMailType::eContentType CntsMLUTLMailType::TestContentType(const char* text)
{
    return value_of_text(ContentTypeTable, text, eContentTypeUnknown);
}

CntsMLUTLMailType::eTransferEncoding CntsMLUTLMailType::TestTransferEncoding(const char* text)
{
    return value_of_text(TransferEncodingTable, text, eTransferEncodingUnknown);
}

CntsMLUTLMailType::eContentDisposition CntsMLUTLMailType::TestContentDisposition(const char* text)
{
    return value_of_text(ContentDispositionTable, text, eContentDispositionUnknown);
}

CntsMLUTLMailType::eCharSet CntsMLUTLMailType::TestCharSet(const char* text)
{
    return value_of_text(CharSetTable, text, eCharSetUnknown);
}

CntsMLUTLMailType::eContetXCiajwnetfax CntsMLUTLMailType::TestContetXCiajwnetfax(const char* text)
{
    return value_of_text(ContetXCiajwnetfaxTable, text, eContetXCiajwnetfaxUnknown);
}

int CntsMLUTLMailType::ConvertUtilLibEncodeType(eCharSet charset, UTL_LIB_CHGC_ENCODE_TYPE& type)
{
    for (const EncodeTypeRow* row = EncodeTypeTable; row->eCharSetValue != eCharSetUnknown; ++row) {
        if (row->eCharSetValue == charset) {
            type = row->eEncodeType;
            return 0;
        }
    }
    return -1;
}

int CntsMLUTLMailType::ConvertEncodedString(const ENCODED_STRING& source, ENCODED_STRING& destination,
                                            int& consumed)
{
    const int source_length = std::max(source.m_nLength, 0);
    const int capacity = std::max(destination.m_nLength, 0);
    if (source.m_eCharSet == destination.m_eCharSet) {
        const int count = std::min(source_length, capacity);
        if (count > 0) std::memmove(destination.m_pBuffer, source.m_pBuffer, static_cast<std::size_t>(count));
        destination.m_nLength = count;
        consumed = count;
        return 0;
    }

    UTL_LIB_CHGC_ENCODE_TYPE from = 0;
    UTL_LIB_CHGC_ENCODE_TYPE to = 0;
    const bool is_source_known = ConvertUtilLibEncodeType(source.m_eCharSet, from) == 0;
    if (!is_source_known || ConvertUtilLibEncodeType(destination.m_eCharSet, to) != 0) {
        NTC_TRACE("CntsMLUTLMailType::%s(): unknown encode(%d)[Error]\n", "ConvertEncodedString",
                  static_cast<int>(is_source_known ? destination.m_eCharSet : source.m_eCharSet));
        return -1;
    }

    HeapBlock terminated;  // the converter wants a NUL behind its input
    terminated.data =
        static_cast<char*>(CutlCPLBOSBoundary::MemAllocate(static_cast<std::size_t>(source_length) + 1));
    if (terminated.data == nullptr) return -1;
    if (source_length > 0) {
        std::memcpy(terminated.data, source.m_pBuffer, static_cast<std::size_t>(source_length));
    }
    terminated.data[source_length] = '\0';
    UTL_LIB_CHGC_REQUEST request = {};
    request.input = terminated.data;
    request.output = destination.m_pBuffer;
    request.output_capacity = static_cast<std::uint32_t>(capacity);
    const std::uint32_t converted = utl_lib_convert_encode(from, to, &request);
    if (converted != 0) {
        NTC_TRACE("CntsMLUTLMailType::%s(): utl_lib_convert_encode return 0x%x[Error]\n",
                  "ConvertEncodedString", static_cast<unsigned int>(converted));
        return -1;
    }
    destination.m_nLength = static_cast<int>(request.output_length);
    consumed = source_length;
    return 0;
}

}  // namespace velorin
