#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CntsMLUTLMailPart.h"
#include "handed_over.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using testing::MatchesRegex;
using velorin::CntsMLUTLMailPart;
using velorin::CntsMLUTLMailType;

void set_values(CntsMLUTLMailPart& part, int content, int charset, int disposition, int encoding)
{
    part.m_eContentType = static_cast<CntsMLUTLMailType::eContentType>(content);
    part.m_eCharSet = static_cast<CntsMLUTLMailType::eCharSet>(charset);
    part.m_eContentDisposition = static_cast<CntsMLUTLMailType::eContentDisposition>(disposition);
    part.m_eTransferEncoding = static_cast<CntsMLUTLMailType::eTransferEncoding>(encoding);
}

std::string header_of(CntsMLUTLMailPart& part)
{
    char* block = nullptr;
    long length = -1;
    const int code = part.MakeHeader(block, length);
    EXPECT_EQ(1, code);
    return handed_over(code, block, length).text;
}

struct HeaderCase {
    const char* label;
    int content;
    int charset;
    int disposition;
    int encoding;
    const char* name;
    const char* marker;
    const char* header;
};

TEST(MailPartMakeHeader, ComposesEveryKindOfPart)
{
    const HeaderCase cases[] = {
        {"nothing but a type", 0, 12, 3, 5, nullptr, nullptr, "Content-Type: text/plain\r\n\r\n"},
        {"charset unknown", 0, 11, 3, 5, nullptr, nullptr, "Content-Type: text/plain\r\n\r\n"},
        {"charset", 0, 5, 3, 5, nullptr, nullptr,
         "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\n\r\n"},
        {"charset alias", 1, 8, 3, 5, nullptr, nullptr,
         "Content-Type: text/html; charset=\"x-sjis\"\r\n\r\n"},
        {"charset 0", 0, 0, 3, 5, nullptr, nullptr, "Content-Type: text/plain; charset=\"us-ascii\"\r\n\r\n"},
        {"no text, no charset", 7, 5, 3, 5, nullptr, nullptr, "Content-Type: application/pdf\r\n\r\n"},
        {"any multipart", 2, 5, 3, 5, nullptr, nullptr, "Content-Type: multipart/\r\n\r\n"},
        {"report", 4, 5, 3, 5, nullptr, nullptr,
         "Content-Type: multipart/report;\r\n\treport-type=disposition-notification\r\n\r\n"},
        {"xps", 12, 12, 3, 5, nullptr, nullptr, "Content-Type: application/vnd.ms-xpsdocument\r\n\r\n"},
        {"attachment", 7, 12, 1, 2, "a.pdf", nullptr,
         "Content-Type: application/pdf;\r\n\tname=\"a.pdf\"\r\nContent-Disposition: attachment;\r\n\t"
         "filename=\"a.pdf\"\r\nContent-Transfer-Encoding: base64\r\n\r\n"},
        {"text attachment", 0, 10, 1, 3, "a.txt", nullptr,
         "Content-Type: text/plain; charset=\"utf-8\";\r\n\tname=\"a.txt\"\r\nContent-Disposition: "
         "attachment;\r\n\tfilename=\"a.txt\"\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n"},
        {"attachment without a name", 7, 12, 1, 2, nullptr, nullptr,
         "Content-Type: application/pdf\r\nContent-Disposition: attachment\r\nContent-Transfer-Encoding: "
         "base64\r\n\r\n"},
        {"attachment with an empty name", 7, 12, 1, 5, "", nullptr,
         "Content-Type: application/pdf\r\nContent-Disposition: attachment\r\n\r\n"},
        {"inline", 10, 12, 0, 5, nullptr, nullptr,
         "Content-Type: image/tiff\r\nContent-Disposition: inline\r\n\r\n"},
        {"inline shows no name", 10, 12, 0, 5, "a.tif", nullptr,
         "Content-Type: image/tiff\r\nContent-Disposition: inline\r\n\r\n"},
        {"disposition unknown", 10, 12, 2, 5, "a.tif", nullptr, "Content-Type: image/tiff\r\n\r\n"},
        {"disposition none", 10, 12, 3, 5, "a.tif", nullptr, "Content-Type: image/tiff\r\n\r\n"},
        {"7bit", 0, 0, 3, 0, nullptr, nullptr,
         "Content-Type: text/plain; charset=\"us-ascii\"\r\nContent-Transfer-Encoding: 7bit\r\n\r\n"},
        {"8bit", 0, 0, 3, 1, nullptr, nullptr,
         "Content-Type: text/plain; charset=\"us-ascii\"\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"},
        {"encoding unknown", 0, 0, 3, 4, nullptr, nullptr,
         "Content-Type: text/plain; charset=\"us-ascii\"\r\n\r\n"},
        {"marker", 0, 12, 3, 5, nullptr, "IGNORE",
         "Content-Type: text/plain\r\nContent-X-CIAJWNETFAX: IGNORE\r\n\r\n"},
        {"marker written as the table has it", 0, 12, 3, 5, nullptr, "ignored",
         "Content-Type: text/plain\r\nContent-X-CIAJWNETFAX: IGNORE\r\n\r\n"},
        {"another marker", 0, 12, 3, 5, nullptr, "ACCEPT", "Content-Type: text/plain\r\n\r\n"},
        {"all lines", 11, 12, 1, 2, "b.jpg", "IGNORE",
         "Content-Type: image/jpeg;\r\n\tname=\"b.jpg\"\r\nContent-Disposition: attachment;\r\n\t"
         "filename=\"b.jpg\"\r\nContent-Transfer-Encoding: base64\r\nContent-X-CIAJWNETFAX: IGNORE\r\n\r\n"},
        {"percent signs in a name", 7, 12, 1, 5, "%s%n%d.pdf", nullptr,
         "Content-Type: application/pdf;\r\n\tname=\"%s%n%d.pdf\"\r\nContent-Disposition: attachment;\r\n\t"
         "filename=\"%s%n%d.pdf\"\r\n\r\n"},
        {"a name as stored", 7, 12, 1, 5, "\x1b$B4A\x1b(B \"x\"", nullptr,
         "Content-Type: application/pdf;\r\n\tname=\"\x1b$B4A\x1b(B \"x\"\"\r\nContent-Disposition: "
         "attachment;\r\n\tfilename=\"\x1b$B4A\x1b(B \"x\"\"\r\n\r\n"},
        // Numbers without a row have the empty text.
        {"content type out of range", 99, 5, 3, 5, nullptr, nullptr, "Content-Type: \r\n\r\n"},
        {"negative content type", -1, 5, 3, 5, nullptr, nullptr, "Content-Type: \r\n\r\n"},
        {"charset out of range", 0, 99, 3, 5, nullptr, nullptr,
         "Content-Type: text/plain; charset=\"\"\r\n\r\n"},
        {"disposition out of range", 0, 12, 7, 5, nullptr, nullptr,
         "Content-Type: text/plain\r\nContent-Disposition: \r\n\r\n"},
        {"encoding out of range", 0, 12, 3, 6, nullptr, nullptr,
         "Content-Type: text/plain\r\nContent-Transfer-Encoding: \r\n\r\n"},
    };
    PlatformDouble platform;
    for (const HeaderCase& c : cases) {
        CntsMLUTLMailPart part;
        set_values(part, c.content, c.charset, c.disposition, c.encoding);
        part.m_cFIleName = CutlCPLBMString(c.name);
        part.SetContentCIAJWNETFAX(c.marker);
        EXPECT_EQ("", octet_difference(c.header, header_of(part))) << c.label;
    }
}

TEST(MailPartMakeHeader, WritesEveryContentType)
{
    const char* const texts[] = {
        "text/plain",
        "text/html",
        "multipart/",
        "multipart/mixed",
        "multipart/report;\r\n\treport-type=disposition-notification",
        "message/disposition-notification",
        "message/partial",
        "application/pdf",
        "application/postscript",
        "application/applefile",
        "image/tiff",
        "image/jpeg",
        "application/vnd.ms-xpsdocument",
    };
    PlatformDouble platform;
    for (int content = 0; content <= 12; ++content) {
        CntsMLUTLMailPart part;
        set_values(part, content, 10, 3, 5);
        const std::string charset = content <= 1 ? "; charset=\"utf-8\"" : "";
        EXPECT_EQ("Content-Type: " + std::string(texts[content]) + charset + "\r\n\r\n", header_of(part));
    }
}

TEST(MailPartMakeHeader, UsesTheVocabularyNotTheTexts)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    set_values(part, 0, 12, 3, 5);
    part.m_cContentType = CutlCPLBMString("x/y");
    part.m_cContentTypeString = CutlCPLBMString("x/y; z=1");
    part.m_cTransferEncoding = CutlCPLBMString("binary");
    part.m_cExtension = CutlCPLBMString("ext");
    part.m_cOther = CutlCPLBMString("other");
    EXPECT_EQ("Content-Type: text/plain\r\n\r\n", header_of(part));
}

TEST(MailPartMakeHeader, TakesANameOfAnyLength)
{
    PlatformDouble platform;
    for (const std::size_t length : {63u, 100u, 127u, 128u, 129u, 200u, 255u, 256u, 257u, 1000u, 5000u}) {
        CntsMLUTLMailPart part;
        set_values(part, 7, 12, 1, 2);
        const std::string name(length, 'n');
        part.m_cFIleName = CutlCPLBMString(name.c_str());
        EXPECT_EQ("Content-Type: application/pdf;\r\n\tname=\"" + name +
                      "\"\r\nContent-Disposition: attachment;\r\n\tfilename=\"" + name +
                      "\"\r\nContent-Transfer-Encoding: base64\r\n\r\n",
                  header_of(part));
    }
}

TEST(MailPartMakeHeader, RefusesAPartWithoutAType)
{
    for (const int content : {13, 14}) {
        PlatformDouble platform;
        CntsMLUTLMailPart part;
        set_values(part, content, 5, 0, 0);
        char* block = const_cast<char*>("before");
        long length = 9;
        platform.expect_trace(
            "<Error> : CntsMLUTLMailPart::MakeHeader() IsContentTypeAvail returns [FALSE]\n");
        EXPECT_EQ(0, part.MakeHeader(block, length));
        EXPECT_EQ(nullptr, block);
        EXPECT_EQ(0, length);
        EXPECT_EQ(0u, platform.allocations());
    }
}

void fill_every_line(CntsMLUTLMailPart& part)
{
    set_values(part, 0, 5, 1, 2);
    part.m_cFIleName = CutlCPLBMString("a.txt");
    part.SetContentCIAJWNETFAX(1);
}

TEST(MailPartMakeHeader, EveryFailedAllocationLeavesNothingBehind)
{
    int failures = 0;
    for (int nth = 1;; ++nth) {
        PlatformDouble platform;
        CntsMLUTLMailPart part;
        fill_every_line(part);
        char* block = const_cast<char*>("before");
        long length = 9;
        platform.fail_allocation(nth);
        const int result = part.MakeHeader(block, length);
        if (!platform.allocation_failed()) {
            EXPECT_EQ(1, result);
            CutlCPLBOSBoundary::MemFree(block);
            break;
        }
        ++failures;
        EXPECT_EQ(0, result);
        EXPECT_EQ(nullptr, block);
        EXPECT_EQ(0, length);
        EXPECT_EQ(0u, platform.live_blocks());
        platform.expect_trace("<Error> : CntsMLUTLMailPart::AddBuffer() failed to reallocate memory\n");
        platform.expect_trace_matching(MatchesRegex(
            "<Error> : CntsMLUTLMailPart::MakeHeader\\(\\) AddBuffer\\[NG\\]: Line[1-9][0-9]*\n"));
    }
    EXPECT_GE(failures, 5);  // the type, the name, the encoding, the marker, the end
}

TEST(MailPartMakeHeader, CatchesThePlatformsException)
{
    int thrown = 0;
    for (int nth = 1;; ++nth) {
        PlatformDouble platform;
        CntsMLUTLMailPart part;
        fill_every_line(part);
        char* block = const_cast<char*>("before");
        long length = 9;
        platform.throw_on_allocation(nth, "a value %s out of range");
        const int result = part.MakeHeader(block, length);
        if (!platform.allocation_failed()) {
            EXPECT_EQ(1, result);
            CutlCPLBOSBoundary::MemFree(block);
            break;
        }
        ++thrown;
        EXPECT_EQ(0, result);
        EXPECT_EQ(nullptr, block);
        EXPECT_EQ(0, length);
        EXPECT_EQ(0u, platform.live_blocks());
        platform.expect_trace("<Error> : CntsMLUTLMailPart::MakeHeader() a value %s out of range\n");
    }
    EXPECT_GE(thrown, 5);
}

}  // namespace
}  // namespace velorin_test
