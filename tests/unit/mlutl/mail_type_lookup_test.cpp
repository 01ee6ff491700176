#include <cstring>
#include <iterator>
#include <string>

#include <strings.h>

#include <gtest/gtest.h>

#include "CntsMLUTLMailType.h"
#include "mlutl_support.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailType;
using velorin::ContentTypeWinthParam;
using ContentType = CntsMLUTLMailType::eContentType;
using TransferEncoding = CntsMLUTLMailType::eTransferEncoding;
using Disposition = CntsMLUTLMailType::eContentDisposition;
using CharSet = CntsMLUTLMailType::eCharSet;
using FaxMarker = CntsMLUTLMailType::eContetXCiajwnetfax;

struct Row {
    const char* text;
    int value;
};

// What travels on the wire: texts, values and their order, the end row last.
const Row kContentTypes[] = {
    {"text/plain", 0},
    {"text/html", 1},
    {"multipart/mixed", 3},
    {"multipart/report", 4},
    {"multipart/", 2},
    {"message/disposition-notification", 5},
    {"message/partial", 6},
    {"application/pdf", 7},
    {"application/x-pdf", 7},
    {"application/postscript", 8},
    {"application/applefile", 9},
    {"image/tiff", 10},
    {"image/jpeg", 11},
    {"application/vnd.ms-xpsdocument", 12},
    {"", 13},
};
const Row kTransferEncodings[] = {{"7bit", 0}, {"8bit", 1}, {"base64", 2}, {"quoted-printable", 3}, {"", 5}};
const Row kDispositions[] = {{"inline", 0}, {"attachment", 1}, {"", 3}};
const Row kCharSets[] = {
    {"us-ascii", 0},   {"us", 1},          {"ascii", 2},  {"iso-8859-1", 3},
    {"iso-8859-2", 4}, {"iso-2022-jp", 5}, {"x-jis", 6},  {"shift_jis", 7},
    {"x-sjis", 8},     {"ms-kanji", 9},    {"utf-8", 10}, {"", 12},
};
const Row kFaxMarkers[] = {{"IGNORE", 0}, {"", 2}};

template <typename TableRow, std::size_t count, std::size_t expected_count>
void expect_table(const TableRow (&table)[count], const Row (&expected)[expected_count])
{
    ASSERT_EQ(expected_count, count);
    for (std::size_t i = 0; i < count; ++i) {
        EXPECT_STREQ(expected[i].text, table[i].pszText) << "row " << i;
        EXPECT_EQ(expected[i].value, static_cast<int>(table[i].eValue)) << "row " << i;
    }
}

TEST(MailTypeTables, HoldTheRowsOfTheWireInOrder)
{
    expect_table(CntsMLUTLMailType::ContentTypeTable, kContentTypes);
    expect_table(CntsMLUTLMailType::TransferEncodingTable, kTransferEncodings);
    expect_table(CntsMLUTLMailType::ContentDispositionTable, kDispositions);
    expect_table(CntsMLUTLMailType::CharSetTable, kCharSets);
    expect_table(CntsMLUTLMailType::ContetXCiajwnetfaxTable, kFaxMarkers);
}

TEST(MailTypeTables, MapCharacterSetsToTheConverter)
{
    const int expected[][2] = {{0, 0}, {1, 1}, {2, 2}, {3, 12}, {4, 13}, {5, 3},
                               {6, 4}, {7, 5}, {8, 5}, {9, 6},  {10, 7}, {11, -1}};
    ASSERT_EQ(std::size(expected), std::size(CntsMLUTLMailType::EncodeTypeTable));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(expected[i][0], static_cast<int>(CntsMLUTLMailType::EncodeTypeTable[i].eCharSetValue)) << i;
        EXPECT_EQ(expected[i][1], static_cast<int>(CntsMLUTLMailType::EncodeTypeTable[i].eEncodeType)) << i;
    }
}

TEST(MailTypeTables, FoldTheContentTypeOfAReport)
{
    EXPECT_STREQ("multipart/report;\r\n\treport-type=disposition-notification", ContentTypeWinthParam);
}

// The text of a value is that of the first row with it; no end row is ever a result.
template <std::size_t count>
const char* text_in(const Row (&rows)[count], int value)
{
    for (std::size_t i = 0; i + 1 < count; ++i)
        if (rows[i].value == value) return rows[i].text;
    return "";
}

const int kForeign[] = {-1, -2147483647 - 1, 2147483647, 15, 99, 256, 65536};

template <typename Value, std::size_t count, typename Get>
void expect_texts(const Row (&rows)[count], Get get)
{
    for (int value = -20; value <= 40; ++value)
        EXPECT_STREQ(text_in(rows, value), get(static_cast<Value>(value))) << "value " << value;
    for (const int value : kForeign)
        EXPECT_STREQ("", get(static_cast<Value>(value))) << "value " << value;
}

TEST(MailTypeGet, GivesTheTextOfEveryValueAndNothingForOthers)
{
    PlatformDouble platform;
    expect_texts<TransferEncoding>(kTransferEncodings, CntsMLUTLMailType::GetTransferEncoding);
    expect_texts<Disposition>(kDispositions, CntsMLUTLMailType::GetContentDisposition);
    expect_texts<CharSet>(kCharSets, CntsMLUTLMailType::GetCharSet);
    expect_texts<FaxMarker>(kFaxMarkers, CntsMLUTLMailType::GetContetXCiajwnetfax);
}

TEST(MailTypeGet, GivesTheWholeParameterForAReport)
{
    PlatformDouble platform;
    for (int value = -20; value <= 40; ++value) {
        const char* const expected = value == 4
                                         ? "multipart/report;\r\n\treport-type=disposition-notification"
                                         : text_in(kContentTypes, value);
        EXPECT_STREQ(expected, CntsMLUTLMailType::GetContentType(static_cast<ContentType>(value)))
            << "value " << value;
    }
    for (const int value : kForeign)
        EXPECT_STREQ("", CntsMLUTLMailType::GetContentType(static_cast<ContentType>(value)));
}

TEST(MailTypeGet, GivesTheTextsOfTheTables)
{
    PlatformDouble platform;
    EXPECT_EQ(CntsMLUTLMailType::ContentTypeTable[7].pszText,
              CntsMLUTLMailType::GetContentType(static_cast<ContentType>(7)));
    EXPECT_EQ(ContentTypeWinthParam, CntsMLUTLMailType::GetContentType(static_cast<ContentType>(4)));
    EXPECT_EQ(CntsMLUTLMailType::CharSetTable[10].pszText,
              CntsMLUTLMailType::GetCharSet(static_cast<CharSet>(10)));
}

struct TestCase {
    const char* label;
    const char* text;
    int value;
};

TEST(MailTypeTest, RecognisesContentTypes)
{
    const TestCase cases[] = {
        {"plain", "text/plain", 0},
        {"html", "text/html", 1},
        {"mixed", "multipart/mixed", 3},
        {"report", "multipart/report", 4},
        {"the folded report", "multipart/report;\r\n\treport-type=disposition-notification", 4},
        {"another multipart", "multipart/alternative", 2},
        {"a bare multipart", "multipart/", 2},
        {"multipart without slash", "multipart", 14},
        {"notification", "message/disposition-notification", 5},
        {"partial", "message/partial", 6},
        {"pdf", "application/pdf", 7},
        {"x-pdf", "application/x-pdf", 7},
        {"x-pdf in capitals", "APPLICATION/X-PDF", 7},
        {"postscript", "application/postscript", 8},
        {"applefile", "application/applefile", 9},
        {"tiff", "image/tiff", 10},
        {"jpeg", "image/jpeg", 11},
        {"xps", "application/vnd.ms-xpsdocument", 12},
        {"mixed case with a parameter", "Text/Plain; charset=iso-2022-jp", 0},
        {"more letters behind the row", "text/plainer", 0},
        {"leading blank", " text/plain", 14},
        {"one letter short", "text/plai", 14},
        {"empty", "", 14},
        {"unknown", "video/mpeg", 14},
        {"octets above 0x7f", "\xff\xfe", 14},
    };
    PlatformDouble platform;
    for (const TestCase& c : cases) {
        const ExactText text(c.text);
        EXPECT_EQ(c.value, static_cast<int>(CntsMLUTLMailType::TestContentType(text.data()))) << c.label;
    }
}

TEST(MailTypeTest, RecognisesTransferEncodings)
{
    const TestCase cases[] = {
        {"7bit", "7bit", 0},
        {"8bit in capitals", "8BIT", 1},
        {"base64", "Base64", 2},
        {"quoted-printable", "quoted-printable", 3},
        {"with a comment", "base64 (by machine)", 2},
        {"binary", "binary", 4},
        {"empty", "", 4},
        {"leading tab", "\t7bit", 4},
        {"short", "quoted-printabl", 4},
    };
    PlatformDouble platform;
    for (const TestCase& c : cases) {
        const ExactText text(c.text);
        EXPECT_EQ(c.value, static_cast<int>(CntsMLUTLMailType::TestTransferEncoding(text.data()))) << c.label;
    }
}

TEST(MailTypeTest, RecognisesDispositions)
{
    const TestCase cases[] = {
        {"inline", "inline", 0},       {"attachment", "attachment", 1},
        {"capitals", "INLINE", 0},     {"with a file name", "Attachment; filename=a", 1},
        {"form-data", "form-data", 2}, {"empty", "", 2},
        {"short", "attachmen", 2},
    };
    PlatformDouble platform;
    for (const TestCase& c : cases) {
        const ExactText text(c.text);
        EXPECT_EQ(c.value, static_cast<int>(CntsMLUTLMailType::TestContentDisposition(text.data())))
            << c.label;
    }
}

TEST(MailTypeTest, RecognisesCharacterSetsByTheFirstRowThatBeginsThem)
{
    const TestCase cases[] = {
        {"us-ascii", "us-ascii", 0},
        {"us", "us", 1},
        {"usascii begins with us", "usascii", 1},
        {"us-asci begins with us", "us-asci", 1},
        {"ascii", "ASCII", 2},
        {"latin 1", "ISO-8859-1", 3},
        {"latin 9 begins with latin 1", "iso-8859-15", 3},
        {"latin 2", "iso-8859-2", 4},
        {"latin 3", "iso-8859-3", 11},
        {"jis", "iso-2022-jp", 5},
        {"jis, its second version", "ISO-2022-JP-2", 5},
        {"x-jis", "x-jis", 6},
        {"shift_jis", "Shift_JIS", 7},
        {"x-sjis", "x-sjis", 8},
        {"ms-kanji", "MS-Kanji", 9},
        {"utf-8", "UTF-8", 10},
        {"utf-16", "utf-16", 11},
        {"empty", "", 11},
        {"u", "u", 11},
        {"leading blank", " utf-8", 11},
        {"quoted", "\"utf-8\"", 11},
    };
    PlatformDouble platform;
    for (const TestCase& c : cases) {
        const ExactText text(c.text);
        EXPECT_EQ(c.value, static_cast<int>(CntsMLUTLMailType::TestCharSet(text.data()))) << c.label;
    }
}

TEST(MailTypeTest, RecognisesTheFaxMarker)
{
    const TestCase cases[] = {
        {"as written", "IGNORE", 0}, {"small", "ignore", 0}, {"longer", "IGNORED", 0},
        {"short", "IGNOR", 1},       {"empty", "", 1},       {"blank", " IGNORE", 1},
        {"other", "ACCEPT", 1},
    };
    PlatformDouble platform;
    for (const TestCase& c : cases) {
        const ExactText text(c.text);
        EXPECT_EQ(c.value, static_cast<int>(CntsMLUTLMailType::TestContetXCiajwnetfax(text.data())))
            << c.label;
    }
}

// Both directions agree: the text of a value is read back as that value, in any letter case.
template <typename Value, std::size_t count, typename Test>
void expect_read_back(const Row (&rows)[count], Test test)
{
    for (std::size_t i = 0; i + 1 < count; ++i) {
        std::string text = rows[i].text;
        EXPECT_EQ(rows[i].value, static_cast<int>(test(text.c_str()))) << text;
        for (char& c : text)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
        EXPECT_EQ(rows[i].value, static_cast<int>(test(text.c_str()))) << text;
        // Every cut short of the row is either a row of its own or nothing.
        for (std::size_t cut = 0; cut < text.size(); ++cut) {
            const ExactText part(std::string_view(text).substr(0, cut));
            const int value = static_cast<int>(test(part.data()));
            int expected = -1;
            for (std::size_t row = 0; row + 1 < count && expected < 0; ++row)
                if (std::strlen(rows[row].text) <= cut &&
                    strncasecmp(rows[row].text, text.c_str(), std::strlen(rows[row].text)) == 0)
                    expected = rows[row].value;
            if (expected >= 0)
                EXPECT_EQ(expected, value) << text << " cut at " << cut;
            else
                EXPECT_EQ(static_cast<int>(test("")), value) << text << " cut at " << cut;
        }
    }
}

TEST(MailTypeTest, ReadsBackEveryTextAtEveryCut)
{
    PlatformDouble platform;
    expect_read_back<ContentType>(kContentTypes, CntsMLUTLMailType::TestContentType);
    expect_read_back<TransferEncoding>(kTransferEncodings, CntsMLUTLMailType::TestTransferEncoding);
    expect_read_back<Disposition>(kDispositions, CntsMLUTLMailType::TestContentDisposition);
    expect_read_back<CharSet>(kCharSets, CntsMLUTLMailType::TestCharSet);
    expect_read_back<FaxMarker>(kFaxMarkers, CntsMLUTLMailType::TestContetXCiajwnetfax);
}

TEST(MailTypeTest, MatchesNothingWithoutAText)
{
    PlatformDouble platform;
    EXPECT_EQ(14, static_cast<int>(CntsMLUTLMailType::TestContentType(nullptr)));
    EXPECT_EQ(4, static_cast<int>(CntsMLUTLMailType::TestTransferEncoding(nullptr)));
    EXPECT_EQ(2, static_cast<int>(CntsMLUTLMailType::TestContentDisposition(nullptr)));
    EXPECT_EQ(11, static_cast<int>(CntsMLUTLMailType::TestCharSet(nullptr)));
    EXPECT_EQ(1, static_cast<int>(CntsMLUTLMailType::TestContetXCiajwnetfax(nullptr)));
}

TEST(MailTypeEncodeType, MapsEverySetWithARow)
{
    const int expected[] = {0, 1, 2, 12, 13, 3, 4, 5, 5, 6, 7};
    PlatformDouble platform;
    for (int set = 0; set <= 10; ++set) {
        UTL_LIB_CHGC_ENCODE_TYPE type = 77;
        EXPECT_EQ(0, CntsMLUTLMailType::ConvertUtilLibEncodeType(static_cast<CharSet>(set), type)) << set;
        EXPECT_EQ(expected[set], type) << set;
    }
}

TEST(MailTypeEncodeType, RefusesSetsWithoutARow)
{
    PlatformDouble platform;
    for (const int set : {11, 12, 13, -1, 100, 2147483647, -2147483647 - 1}) {
        UTL_LIB_CHGC_ENCODE_TYPE type = 77;
        EXPECT_EQ(-1, CntsMLUTLMailType::ConvertUtilLibEncodeType(static_cast<CharSet>(set), type)) << set;
        EXPECT_EQ(77, type) << set;
    }
}

}  // namespace
}  // namespace velorin_test
