#include <string>

#include <gtest/gtest.h>

#include "ntc_email_esu_mlutl_helper.h"

#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

// The octets are written down from the message tables: a tag is field number * 8 + wire type, 0 for numbers
// and 2 for texts and messages; a length or a small number is one octet.
namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailAddress;
using velorin::CntsMLUTLMailPart;
using velorin::CntsMLUTLMailType;
using velorin::ntc_email_esu_mlutl_helper;
using velorin::ntc_email_esu_mlutl_mail_address;
using velorin::ntc_email_esu_mlutl_mail_part;

std::string octets_of_address(const CntsMLUTLMailAddress& address)
{
    ntc_email_esu_mlutl_mail_address message;
    EXPECT_EQ(0, ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(address, message));
    return message.SerializeAsString();
}

std::string octets_of_part(const CntsMLUTLMailPart& part)
{
    ntc_email_esu_mlutl_mail_part message;
    EXPECT_EQ(0, ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(part, message));
    return message.SerializeAsString();
}

void read_part(const std::string& octets, CntsMLUTLMailPart& part)
{
    ntc_email_esu_mlutl_mail_part message;
    ASSERT_TRUE(message.ParseFromString(octets));
    EXPECT_EQ(0, ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(message, part));
}

std::string queued(const CntsMLUTLMailPart& part)
{
    if (part.m_pBuffer == nullptr) return "(null)";
    return std::string(part.m_pBuffer, static_cast<std::size_t>(part.m_nLength));
}

void queue(CntsMLUTLMailPart& part, std::string_view octets)
{
    void* block = platform_block(octets);
    long length = static_cast<long>(octets.size());
    ASSERT_EQ(1, part.SetBuffer(block, length));
}

TEST(ConvertAddress, KeepsNullAndEmptyApartOnTheWire)
{
    PlatformDouble platform;
    EXPECT_EQ("", octets_of_address(CntsMLUTLMailAddress()));
    EXPECT_EQ("0A 00", hex_of(octets_of_address(CntsMLUTLMailAddress(""))));
    EXPECT_EQ("0A 05 61 62 40 63 64", hex_of(octets_of_address(CntsMLUTLMailAddress("ab@cd"))));
    EXPECT_EQ("0A 03 FF 25 73", hex_of(octets_of_address(CntsMLUTLMailAddress("\xff%s"))));
}

TEST(ConvertAddress, ReadsOnlyAPresentField)
{
    const struct {
        const char* label;
        const char* wire;
        const char* from_null;
        const char* from_old;
    } cases[] = {
        {"absent", "", "(null)", "old"},
        {"empty", "0A 00", "", ""},
        {"present", "0A 05 61 62 40 63 64", "ab@cd", "ab@cd"},
        {"an unknown field", "10 05", "(null)", "old"},
        {"twice: the last", "0A 01 61 0A 01 62", "b", "b"},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        ntc_email_esu_mlutl_mail_address message;
        ASSERT_TRUE(message.ParseFromString(octets_of(c.wire)));
        CntsMLUTLMailAddress none;
        EXPECT_EQ(0, ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(message, none));
        EXPECT_EQ(c.from_null, text_of(none.m_cAddress)) << c.label;
        CntsMLUTLMailAddress old("old");
        EXPECT_EQ(0, ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(message, old));
        EXPECT_EQ(c.from_old, text_of(old.m_cAddress)) << c.label;
    }
}

TEST(ConvertPart, WritesTheDefaultsOfAnEmptyPart)
{
    PlatformDouble platform;
    EXPECT_EQ("08 0E 10 05 18 03 20 0C 58 00 60 00", hex_of(octets_of_part(CntsMLUTLMailPart())));
}

TEST(ConvertPart, WritesEveryFieldButTheMarker)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    part.m_eContentType = static_cast<CntsMLUTLMailType::eContentType>(7);
    part.m_eTransferEncoding = static_cast<CntsMLUTLMailType::eTransferEncoding>(2);
    part.m_eContentDisposition = static_cast<CntsMLUTLMailType::eContentDisposition>(1);
    part.m_eCharSet = static_cast<CntsMLUTLMailType::eCharSet>(5);
    part.m_cContentType = CutlCPLBMString("t");
    part.m_cContentTypeString = CutlCPLBMString("");
    part.m_cTransferEncoding = CutlCPLBMString("e%d");
    part.m_cFIleName = CutlCPLBMString(" n ");
    part.m_cExtension = CutlCPLBMString("x");
    part.m_cOther = CutlCPLBMString("stays here");
    part.m_bIsTerminate = 1;
    part.SetContentCIAJWNETFAX(1);
    queue(part, std::string_view("a\0\xff", 3));
    EXPECT_EQ("08 07 10 02 18 01 20 05 2A 01 74 32 00 3A 03 65 25 64 42 03 20 6E 20 4A 01 78 "
              "52 03 61 00 FF 58 03 60 01",
              hex_of(octets_of_part(part)));
    EXPECT_EQ("", octet_difference(std::string_view("a\0\xff", 3), queued(part)))
        << "the part keeps its queue";
    EXPECT_EQ("IGNORE", text_of(part.m_cContentCIAJWNETFAX));
    EXPECT_EQ(1u, platform.live_blocks());
}

TEST(ConvertPart, PassesNumbersThroughUnchanged)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    part.m_eContentType = static_cast<CntsMLUTLMailType::eContentType>(-1);
    part.m_eTransferEncoding = static_cast<CntsMLUTLMailType::eTransferEncoding>(300);
    part.m_eContentDisposition = static_cast<CntsMLUTLMailType::eContentDisposition>(2147483647);
    part.m_eCharSet = static_cast<CntsMLUTLMailType::eCharSet>(0);
    const char* const wire = "08 FF FF FF FF FF FF FF FF FF 01 10 AC 02 18 FF FF FF FF 07 20 00 58 00 60 00";
    EXPECT_EQ(wire, hex_of(octets_of_part(part)));
    CntsMLUTLMailPart back;
    read_part(octets_of(wire), back);
    EXPECT_EQ(-1, static_cast<int>(back.m_eContentType));
    EXPECT_EQ(300, static_cast<int>(back.m_eTransferEncoding));
    EXPECT_EQ(2147483647, static_cast<int>(back.m_eContentDisposition));
    EXPECT_EQ(0, static_cast<int>(back.m_eCharSet));
}

TEST(ConvertPart, WritesTheEndOfTheBodyOnlyForOne)
{
    PlatformDouble platform;
    for (const int value : {0, 1, 2, -1}) {
        CntsMLUTLMailPart part;
        part.m_bIsTerminate = value;
        const std::string octets = octets_of_part(part);
        EXPECT_EQ(value == 1 ? "60 01" : "60 00", hex_of(octets.substr(octets.size() - 2))) << value;
    }
}

TEST(ConvertPart, LeavesTheQueueOutWhenMemoryRunsOut)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    queue(part, "abc");
    platform.fail_allocation(1);
    platform.expect_trace("<Error> : CntsMLUTLMailPart::CopyPart() failed to allocate memory\n");
    const std::string octets = octets_of_part(part);
    EXPECT_EQ("08 0E 10 05 18 03 20 0C 58 00 60 00", hex_of(octets));
    EXPECT_EQ("abc", queued(part));
}

TEST(ConvertPart, ReadsEveryField)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    read_part(
        octets_of("08 07 10 02 18 01 20 05 2A 01 74 32 00 3A 03 65 25 64 42 05 20 09 6E 0D 0A 4A 02 20 78 "
                  "52 03 61 00 FF 58 03 60 01 6A 06 49 47 4E 4F 52 45"),
        part);
    EXPECT_EQ(7, static_cast<int>(part.m_eContentType));
    EXPECT_EQ(2, static_cast<int>(part.m_eTransferEncoding));
    EXPECT_EQ(1, static_cast<int>(part.m_eContentDisposition));
    EXPECT_EQ(5, static_cast<int>(part.m_eCharSet));
    EXPECT_EQ("t", text_of(part.m_cContentType));
    EXPECT_EQ("", text_of(part.m_cContentTypeString));
    EXPECT_EQ("e%d", text_of(part.m_cTransferEncoding));
    EXPECT_EQ("n", text_of(part.m_cFIleName)) << "trimmed";
    EXPECT_EQ(" x", text_of(part.m_cExtension)) << "not trimmed";
    EXPECT_EQ("(null)", text_of(part.m_cOther));
    EXPECT_EQ("", octet_difference(std::string_view("a\0\xff", 3), queued(part)));
    EXPECT_EQ(3, PlatformDouble::block_size(part.m_pBuffer));
    EXPECT_EQ(1, part.m_bIsTerminate);
    EXPECT_EQ("IGNORE", text_of(part.m_cContentCIAJWNETFAX));
    EXPECT_EQ(1, part.IsIgnoreContentCIAJWNETFAX());
}

TEST(ConvertPart, AbsentFieldsChangeNothing)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    read_part(
        octets_of("08 07 10 02 18 01 20 05 2A 01 74 32 01 75 3A 01 65 42 01 6E 4A 01 78 52 01 61 58 01 60 01 "
                  "6A 01 49"),
        part);
    read_part("", part);
    EXPECT_EQ(7, static_cast<int>(part.m_eContentType));
    EXPECT_EQ(2, static_cast<int>(part.m_eTransferEncoding));
    EXPECT_EQ(1, static_cast<int>(part.m_eContentDisposition));
    EXPECT_EQ(5, static_cast<int>(part.m_eCharSet));
    EXPECT_EQ("t", text_of(part.m_cContentType));
    EXPECT_EQ("u", text_of(part.m_cContentTypeString));
    EXPECT_EQ("e", text_of(part.m_cTransferEncoding));
    EXPECT_EQ("n", text_of(part.m_cFIleName));
    EXPECT_EQ("x", text_of(part.m_cExtension));
    EXPECT_EQ("a", queued(part));
    EXPECT_EQ(1, part.m_bIsTerminate);
    EXPECT_EQ("I", text_of(part.m_cContentCIAJWNETFAX));
    CntsMLUTLMailPart fresh;
    read_part("", fresh);
    EXPECT_EQ(14, static_cast<int>(fresh.m_eContentType));
    EXPECT_EQ("(null)", text_of(fresh.m_cFIleName));
    EXPECT_EQ("(null)", queued(fresh));
}

TEST(ConvertPart, ReadsEachFieldAlone)
{
    PlatformDouble platform;
    const struct {
        const char* wire;
        CutlCPLBMString CntsMLUTLMailPart::*member;
        const char* text;
    } texts[] = {
        {"2A 02 61 20", &CntsMLUTLMailPart::m_cContentType, "a "},
        {"32 02 61 20", &CntsMLUTLMailPart::m_cContentTypeString, "a "},
        {"3A 02 61 20", &CntsMLUTLMailPart::m_cTransferEncoding, "a "},
        {"42 02 61 20", &CntsMLUTLMailPart::m_cFIleName, "a"},
        {"42 02 20 09", &CntsMLUTLMailPart::m_cFIleName, ""},
        {"42 00", &CntsMLUTLMailPart::m_cFIleName, ""},
        {"4A 02 61 20", &CntsMLUTLMailPart::m_cExtension, "a "},
        {"6A 02 61 20", &CntsMLUTLMailPart::m_cContentCIAJWNETFAX, "a "},
        {"6A 00", &CntsMLUTLMailPart::m_cContentCIAJWNETFAX, ""},
    };
    for (const auto& c : texts) {
        CntsMLUTLMailPart part;
        read_part(octets_of(c.wire), part);
        EXPECT_EQ(c.text, text_of(part.*c.member)) << c.wire;
        CntsMLUTLMailPart untouched;
        part.*c.member = CutlCPLBMString();
        EXPECT_EQ(hex_of(octets_of_part(untouched)), hex_of(octets_of_part(part))) << c.wire;
    }
}

TEST(ConvertPart, AppendsToTheQueue)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    queue(part, "old ");
    read_part(octets_of("52 03 6E 65 77 58 03"), part);
    EXPECT_EQ("old new", queued(part));
    read_part(octets_of("52 01 21 58 01 60 01"), part);
    EXPECT_EQ("old new!", queued(part));
    EXPECT_EQ(1, part.m_bIsTerminate);
    EXPECT_EQ(1u, platform.live_blocks());
}

TEST(ConvertPart, NeedsBothBufferAndLength)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    read_part(octets_of("52 03 61 62 63"), part);
    EXPECT_EQ("(null)", queued(part));
    read_part(octets_of("58 03"), part);
    EXPECT_EQ("(null)", queued(part));
    read_part(octets_of("58 00"), part);  // what an empty part sends
    EXPECT_EQ("(null)", queued(part));
    EXPECT_EQ(0u, platform.allocations());
}

TEST(ConvertPart, TakesALengthForWhatIsReallyThere)
{
    const struct {
        const char* label;
        const char* wire;
        const char* queued;
    } cases[] = {
        {"shorter", "52 05 61 62 63 64 65 58 03", "abc"},
        {"exact", "52 05 61 62 63 64 65 58 05", "abcde"},
        {"one more", "52 05 61 62 63 64 65 58 06", "abcde"},
        {"much more", "52 05 61 62 63 64 65 58 FF FF FF FF 07", "abcde"},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        CntsMLUTLMailPart part;
        read_part(octets_of(c.wire), part);
        EXPECT_EQ(c.queued, queued(part)) << c.label;
    }
}

TEST(ConvertPart, NeverCopiesALengthBelowOne)
{
    const struct {
        const char* label;
        const char* wire;
        const char* trace;
    } cases[] = {
        {"zero", "52 03 61 62 63 58 00",
         "<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=0)\n"},
        {"no octets", "52 00 58 00",
         "<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=0)\n"},
        {"no octets, but a length", "52 00 58 05",
         "<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=0)\n"},
        {"minus one", "52 03 61 62 63 58 FF FF FF FF FF FF FF FF FF 01",
         "<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=-1)\n"},
        {"the most negative", "52 03 61 62 63 58 80 80 80 80 F8 FF FF FF FF 01",
         "<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=-2147483648)\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        PlatformDouble platform;
        CntsMLUTLMailPart part;
        queue(part, "old");
        platform.expect_trace(c.trace);
        read_part(octets_of(c.wire), part);
        EXPECT_EQ("old", queued(part));
        EXPECT_EQ(1u, platform.live_blocks());
    }
}

TEST(ConvertPart, LeavesTheQueueAloneWhenMemoryRunsOut)
{
    for (int nth = 1; nth <= 2; ++nth) {
        PlatformDouble platform;
        CntsMLUTLMailPart part;
        queue(part, "old");
        platform.fail_allocation(nth);
        read_part(octets_of("52 03 61 62 63 58 03 60 01"), part);
        EXPECT_TRUE(platform.allocation_failed());
        EXPECT_EQ("old", queued(part)) << nth;
        EXPECT_EQ(1, part.m_bIsTerminate) << "the rest is read";
        EXPECT_EQ(1u, platform.live_blocks());
        if (nth == 2)
            platform.expect_trace("<Error> : CntsMLUTLMailPart::SetBuffer() failed to reallocate memory\n");
        else
            platform.expect_trace(
                "<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=3)\n");
    }
}

TEST(ConvertPart, TakesAnyNumberForTheEndOfTheBody)
{
    PlatformDouble platform;
    for (const char* const wire : {"60 01", "60 02", "60 FF FF FF FF 0F"}) {
        CntsMLUTLMailPart part;
        read_part(octets_of(wire), part);
        EXPECT_EQ(1, part.m_bIsTerminate) << wire;
    }
    CntsMLUTLMailPart part;
    part.m_bIsTerminate = 1;
    read_part(octets_of("60 00"), part);
    EXPECT_EQ(0, part.m_bIsTerminate);
}

TEST(ConvertPart, GoesThereAndBackWithAnyOctets)
{
    PlatformDouble platform;
    PseudoRandom random(10);
    for (const std::size_t length : {1u, 2u, 127u, 128u, 255u, 256u, 4096u, 70000u}) {
        CntsMLUTLMailPart part;
        const std::string body = random.octets(length);
        queue(part, body);
        CntsMLUTLMailPart back;
        read_part(octets_of_part(part), back);
        EXPECT_EQ("", octet_difference(body, queued(back))) << length;
    }
}

}  // namespace
}  // namespace velorin_test
