#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CntsSMTPSendMail.h"
#include "header_support.h"
#include "mlutl_support.h"
#include "platform_double.h"

// What makes a header fail though the mail is complete: values past the limits, and memory that runs out.
namespace velorin_test {
namespace {

using velorin::CntsSMTPSendMail;

// The limit of a line is 1023 octets, CR LF included.
TEST(MakeHeader, TakesLinesUpToTheirLimit)
{
    const std::string first_line = "Content-Type: multipart/mixed;\r\n\tboundary=\"\"\r\n";
    const struct {
        const char* label;
        std::size_t fits;
        void (*fill)(CntsSMTPSendMail&, const std::string&);
        const char* begin;
    } cases[] = {
        {"Date", 1023 - 8,
         [](CntsSMTPSendMail& m, const std::string& v) { m.m_cDate = CutlCPLBMString(v.c_str()); }, "Date: "},
        {"From", 1023 - 8, [](CntsSMTPSendMail& m, const std::string& v) { set_address(m.m_cFrom, v); },
         "From: "},
        {"Subject", 1023 - 11,
         [](CntsSMTPSendMail& m, const std::string& v) { m.m_cSubject = CutlCPLBMString(v.c_str()); },
         "Subject: "},
        {"boundary", 1023 - first_line.size(),
         [](CntsSMTPSendMail& m, const std::string& v) { m.m_cBoundaryString = CutlCPLBMString(v.c_str()); },
         "boundary=\""},
    };
    for (const auto& c : cases) {
        {
            PlatformDouble platform;
            CntsSMTPSendMail mail;
            fill_multipart_mail(mail);
            const std::string value(c.fits, 'v');
            c.fill(mail, value);
            EXPECT_NE(std::string::npos, header_of(mail).find(c.begin + value)) << c.label;
        }
        for (const std::size_t more : {1u, 2u, 100u, 100000u}) {
            PlatformDouble platform;
            CntsSMTPSendMail mail;
            fill_multipart_mail(mail);
            c.fill(mail, std::string(c.fits + more, 'v'));
            expect_no_header(mail);
            EXPECT_EQ(0u, platform.live_blocks());
            const std::vector<std::string> lines = platform.take_traces();
            ASSERT_EQ(1u, lines.size()) << c.label;
            EXPECT_EQ(0u, lines[0].find("<Error> : CntsSMTPSendMail::MakeHeader")) << lines[0];
        }
    }
}

// A folded value may be longer than a line; each of its lines has the limit.
TEST(MakeHeader, TakesFoldedValuesLineByLine)
{
    constexpr std::size_t kFirst = 1023 - 11;  // "Subject: " before it, CR LF behind it
    constexpr std::size_t kNext = 1023 - 2;
    const std::string first(kFirst, 'f');
    const std::string next = "\t" + std::string(kNext - 1, 'n');
    const struct {
        const char* label;
        std::string value;
        bool fits;
    } cases[] = {
        {"two lines", first + "\r\n" + next, true},
        {"three lines", "f\r\n" + next + "\r\n l", true},
        {"an empty first line", "\r\n" + next, true},
        {"many lines",
         std::string("a") +
             [] {
                 std::string lines;
                 for (int i = 0; i < 1000; ++i)
                     lines += "\r\n\t%s";
                 return lines;
             }(),
         true},
        {"a first line that is too long", first + "f\r\n" + next, false},
        {"a next line that is too long", "f\r\n" + next + "n\r\n\tl", false},
        {"a line end that folds nothing", std::string(600, 'a') + "\r\n" + std::string(600, 'b'), false},
        {"a line end at the end", first + "\r\n", false},
    };
    for (const auto& c : cases) {
        PlatformDouble platform;
        CntsSMTPSendMail mail;
        fill_multipart_mail(mail);
        mail.m_cSubject = CutlCPLBMString(c.value.c_str());
        if (c.fits) {
            EXPECT_NE(std::string::npos, header_of(mail).find("Subject: " + c.value + "\r\nTo: ")) << c.label;
            continue;
        }
        expect_no_header(mail);
        EXPECT_EQ(0u, platform.live_blocks()) << c.label;
        expect_numbered_trace(platform, "<Error> : CntsSMTPSendMail::MakeHeader() AddBuffer[NG]: Line");
    }
}

TEST(MakeHeader, TakesAddressesUpToTheirLimit)
{
    const struct {
        const char* name;
        velorin::CntsMLUTLMailAddress CntsSMTPSendMail::*member;
    } cases[] = {
        {"To: ", &CntsSMTPSendMail::m_cTo},
        {"Cc: ", &CntsSMTPSendMail::m_cCc},
        {"Reply-To: ", &CntsSMTPSendMail::m_cReplyTo},
        {"Sender: ", &CntsSMTPSendMail::m_cSender},
        {"Disposition-Notification-To: ", &CntsSMTPSendMail::m_cMdnAddress},
    };
    for (const auto& c : cases) {
        {
            PlatformDouble platform;
            CntsSMTPSendMail mail;
            fill_plain_mail(mail);
            const std::string entry(128, 'a');
            set_address(mail.*c.member, entry);
            EXPECT_NE(std::string::npos, header_of(mail).find(c.name + entry + "\r\n")) << c.name;
        }
        for (const std::size_t length : {129u, 130u, 1000u, 5000u}) {
            PlatformDouble platform;
            CntsSMTPSendMail mail;
            fill_plain_mail(mail);
            set_address(mail.*c.member, std::string(length, 'a'));
            expect_no_header(mail);
            EXPECT_EQ(0u, platform.live_blocks());
            const std::vector<std::string> lines = platform.take_traces();
            ASSERT_FALSE(lines.empty()) << c.name;
            EXPECT_EQ(
                0u, lines.back().find("<Error> : CntsSMTPSendMail::MakeHeader() MakeHeaderAddress[NG]: Line"))
                << lines.back();
        }
    }
}

TEST(MakeHeader, RefusesAnIdentifierThatIsTooLong)
{
    for (const std::size_t length : {2000u, 100000u}) {
        PlatformDouble platform;
        CntsSMTPSendMail mail;
        fill_plain_mail(mail);
        mail.SetMessageID(std::string(length, 'i').c_str());
        platform.expect_trace("<Error> : CntsSMTPSendMail::MakeHeaderBracket:AddBuffer NG\n");
        expect_numbered_trace(platform,
                              "<Error> : CntsSMTPSendMail::MakeHeader() MakeHeaderBracket[NG]: Line");
        expect_no_header(mail);
        EXPECT_EQ(0u, platform.live_blocks());
    }
}

TEST(MakeHeader, WritesNoBoundaryWhereThereIsNone)
{
    PlatformDouble platform;
    for (const char* const boundary : {static_cast<const char*>(nullptr), ""}) {
        CntsSMTPSendMail mail;
        fill_multipart_mail(mail);
        mail.m_cBoundaryString = CutlCPLBMString(boundary);
        const std::string header = header_of(mail);
        EXPECT_NE(std::string::npos, header.find("multipart/mixed;\r\n\tboundary=\"\"\r\n"));
        EXPECT_NE(std::string::npos, header.find("\r\n\r\n--\r\nContent-Type: text/plain"));
    }
}

enum class Step { append, slot, address_line, bracket_line };

void expect_traces_of(PlatformDouble& platform, Step step)
{
    const char* const add_buffer = "<Error> : CntsMLUTLMailPart::AddBuffer() failed to reallocate memory\n";
    switch (step) {
    case Step::append:
        platform.expect_trace(add_buffer);
        expect_numbered_trace(platform, "<Error> : CntsSMTPSendMail::MakeHeader() AddBuffer[NG]: Line");
        break;
    case Step::slot:
        platform.expect_trace("<Error> : CntsSMTPSendMail::MakeHeaderAddress():MemRealloc NG\n");
        expect_numbered_trace(platform,
                              "<Error> : CntsSMTPSendMail::MakeHeader() MakeHeaderAddress[NG]: Line");
        break;
    case Step::address_line:
        platform.expect_trace(add_buffer);
        platform.expect_trace("<Error> : CntsSMTPSendMail::MakeHeaderAddress():AddBuffer NG\n");
        expect_numbered_trace(platform,
                              "<Error> : CntsSMTPSendMail::MakeHeader() MakeHeaderAddress[NG]: Line");
        break;
    case Step::bracket_line:
        platform.expect_trace(add_buffer);
        platform.expect_trace("<Error> : CntsSMTPSendMail::MakeHeaderBracket:AddBuffer NG\n");
        expect_numbered_trace(platform,
                              "<Error> : CntsSMTPSendMail::MakeHeader() MakeHeaderBracket[NG]: Line");
        break;
    }
}

void fill_every_line(CntsSMTPSendMail& mail)
{
    fill_multipart_mail(mail);
    set_address(mail.m_cTo, "a@x,b@x");
    set_address(mail.m_cCc, "c@x");
    set_address(mail.m_cBcc, "d@x,e@x");  // counted, never written
    set_address(mail.m_cReplyTo, "f@x");
    set_address(mail.m_cSender, "g@x");
    set_address(mail.m_cMdnAddress, "h@x");
    mail.SetInReplyTo("<i@x>");
    mail.SetReferences("<j@x> <k@x>");
    mail.SetContentCIAJWNETFAX(1);
}

// Every piece of memory that fill_every_line takes, in order.
const Step kSteps[] = {
    Step::append,       Step::append,       Step::append,  // Date, From, Subject
    Step::slot,         Step::slot,         Step::address_line,
    Step::address_line,                      // To
    Step::slot,         Step::address_line,  // Cc
    Step::slot,         Step::address_line,  // Reply-To
    Step::slot,         Step::address_line,  // Sender
    Step::slot,         Step::address_line,  // Disposition-Notification-To
    Step::bracket_line,                      // Message-Id
    Step::bracket_line,                      // In-Reply-To
    Step::bracket_line, Step::bracket_line,  // References
    Step::append,       Step::append,       Step::append,
    Step::append,  // Mime-Version, type, encoding, end
    Step::append,       Step::append,       Step::append,
    Step::append,       Step::append,  // boundary, type, encoding, marker, end
};

TEST(MakeHeader, EveryFailedAllocationLeavesNothingBehind)
{
    int nth = 0;
    for (const Step step : kSteps) {
        SCOPED_TRACE("allocation " + std::to_string(++nth));
        PlatformDouble platform;
        CntsSMTPSendMail mail;
        fill_every_line(mail);
        platform.fail_allocation(nth);
        expect_no_header(mail);
        EXPECT_TRUE(platform.allocation_failed());
        EXPECT_EQ(0u, platform.live_blocks());
        expect_traces_of(platform, step);
    }
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    fill_every_line(mail);
    header_of(mail);
    EXPECT_EQ(static_cast<std::size_t>(nth), platform.allocations());
}

TEST(MakeHeader, CatchesThePlatformsException)
{
    int nth = 1;
    for (;; ++nth) {
        SCOPED_TRACE("allocation " + std::to_string(nth));
        PlatformDouble platform;
        CntsSMTPSendMail mail;
        fill_every_line(mail);
        char* block = const_cast<char*>("before");
        long length = 9;
        platform.throw_on_allocation(nth, "%s");
        const int result = mail.MakeHeader(block, length);
        if (!platform.allocation_failed()) {
            EXPECT_EQ(1, result);
            CutlCPLBOSBoundary::MemFree(block);
            break;
        }
        EXPECT_EQ(0, result);
        EXPECT_EQ(nullptr, block);
        EXPECT_EQ(0, length);
        EXPECT_EQ(0u, platform.live_blocks());
        platform.expect_trace("<Error> : CntsSMTPSendMail::MakeHeader : Exception occured.\n");
    }
    EXPECT_LT(20, nth);
}

}  // namespace
}  // namespace velorin_test
