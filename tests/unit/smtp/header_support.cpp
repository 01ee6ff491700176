#include "header_support.h"

#include <atomic>
#include <ctime>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/time.h>

#include "mlutl_support.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

std::atomic<bool> is_fixed{false};
std::atomic<std::int64_t> fixed_seconds{0};
std::atomic<long> fixed_microseconds{0};

bool ends_in_line_number(const std::string& line, const std::string& text)
{
    if (line.compare(0, text.size(), text) != 0 || line.size() < text.size() + 2 || line.back() != '\n')
        return false;
    const std::string number = line.substr(text.size(), line.size() - text.size() - 1);
    return number.find_first_not_of("0123456789") == std::string::npos && number[0] != '0';
}

}  // namespace

// The program's own gettimeofday is the one that the library calls, as long as it is not hidden from it. Where a
// number has 32 bits, the one for times of 64 bits has a name of its own.
#if defined(__USE_TIME_BITS64) && __SIZEOF_LONG__ == 4
#define NTC_TEST_CLOCK "__gettimeofday64"
#else
#define NTC_TEST_CLOCK "gettimeofday"
#endif
extern "C" __attribute__((visibility("default"))) int clock_of_the_test(struct timeval* now, void*) noexcept
    __asm__(NTC_TEST_CLOCK);
extern "C" int clock_of_the_test(struct timeval* now, void*) noexcept
{
    timespec real;
    if (clock_gettime(CLOCK_REALTIME, &real) != 0) return -1;
    now->tv_sec = is_fixed ? static_cast<std::time_t>(fixed_seconds.load()) : real.tv_sec;
    now->tv_usec = is_fixed ? fixed_microseconds.load() : real.tv_nsec / 1000;
    return 0;
}

FixedClock::FixedClock(std::int64_t seconds, long microseconds)
{
    fixed_seconds = seconds;
    fixed_microseconds = microseconds;
    is_fixed = true;
}

FixedClock::~FixedClock()
{
    is_fixed = false;
}

void set_address(velorin::CntsMLUTLMailAddress& address, const std::string& text)
{
    address.m_cAddress = CutlCPLBMString(text.c_str());
}

void fill_plain_mail(velorin::CntsSMTPSendMail& mail)
{
    mail.m_eContentType = velorin::CntsMLUTLMailType::eContentTypeTextPlain;
    mail.m_eCharSet = velorin::CntsMLUTLMailType::eCharSetIso2022Jp;
    mail.m_eTransferEncoding = velorin::CntsMLUTLMailType::eTransferEncoding7bit;
    mail.m_cDate = CutlCPLBMString("Fri, 20 Nov 2026 19:00:00 +0900");
    mail.m_cSubject = CutlCPLBMString("A subject");
    set_address(mail.m_cFrom, "Device <from@x.example>");
    set_address(mail.m_cTo, "a@x");
    for (velorin::CntsMLUTLMailAddress* const unused :
         {&mail.m_cCc, &mail.m_cBcc, &mail.m_cReplyTo, &mail.m_cSender, &mail.m_cMdnAddress})
        set_address(*unused, "");
    mail.SetMessageID("m@x");
}

void fill_multipart_mail(velorin::CntsSMTPSendMail& mail)
{
    fill_plain_mail(mail);
    mail.m_eContentType = velorin::CntsMLUTLMailType::eContentTypeMultipartMixed;
    mail.m_cBoundaryString = CutlCPLBMString("BOUND");
}

std::string header_of(velorin::CntsSMTPSendMail& mail)
{
    char* block = nullptr;
    long length = -1;
    EXPECT_EQ(1, mail.MakeHeader(block, length));
    const Taken taken(block);
    if (taken.is_null()) return "(null)";
    EXPECT_EQ(length + 1, PlatformDouble::block_size(block));
    EXPECT_EQ('\0', block[length]);
    return taken.octets(length);
}

void expect_no_header(velorin::CntsSMTPSendMail& mail)
{
    char* block = const_cast<char*>("before");
    long length = 9;
    EXPECT_EQ(0, mail.MakeHeader(block, length));
    EXPECT_EQ(nullptr, block);
    EXPECT_EQ(0, length);
}

void expect_numbered_trace(PlatformDouble& platform, const std::string& text)
{
    platform.expect_trace_matching(testing::ResultOf(
        "the text and a line number",
        [text](const std::string& line) { return ends_in_line_number(line, text); }, testing::IsTrue()));
}

}  // namespace velorin_test
