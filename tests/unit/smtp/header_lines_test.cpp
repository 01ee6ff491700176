#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CntsSMTPSendMail.h"
#include "header_support.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailAddress;
using velorin::CntsSMTPSendMail;

const char kNullAddress[] = "<Error>:GetAddress:[Result]m_cAddress is null\n";
const char kNotClosed[] = "<Warning>CntsSMTPSendMail::MakeHeaderBracket:not found bracket'>'\n";
const char kAddBuffer[] = "<Error> : CntsMLUTLMailPart::AddBuffer() failed to reallocate memory\n";

// A block that already holds something, as the lines before left it.
struct Growing {
    Growing() : block(static_cast<char*>(platform_block(std::string_view("before\0", 7)))) {}
    ~Growing() { CutlCPLBOSBoundary::MemFree(block); }
    std::string octets() const { return std::string(block, static_cast<std::size_t>(length)); }

    char* block;
    long length = 6;
};

struct Lines {
    int result;
    long count;
    std::string octets;
};

Lines address_lines(const char* list, const char* name)
{
    CntsSMTPSendMail mail;
    Growing growing;
    const ExactCopy work(std::string(1024, '\0'));
    Lines lines{-1, -1, ""};
    lines.result = mail.MakeHeaderAddress(CntsMLUTLMailAddress(list), name, growing.block, work.data(),
                                          lines.count, growing.length);
    lines.octets = growing.octets();
    EXPECT_EQ('\0', growing.block[growing.length]);
    return lines;
}

TEST(MakeHeaderAddress, WritesALineForEachEntry)
{
    const struct {
        const char* label;
        const char* list;
        long count;
        const char* lines;
    } cases[] = {
        {"none", "", 0, ""},
        {"separators only", " ; ,\t", 0, ""},
        {"one", "a@x", 1, "To: a@x\r\n"},
        {"two", "a@x,b@x", 2, "To: a@x,\r\n\tb@x\r\n"},
        {"three", "a@x; b@x ,c@x", 3, "To: a@x,\r\n\tb@x,\r\n\tc@x\r\n"},
        {"names and quotes stay", "\"A; B\" <a@x>;C <c@x>", 2, "To: \"A; B\" <a@x>,\r\n\tC <c@x>\r\n"},
        {"percent signs", "%s@x,%n@x", 2, "To: %s@x,\r\n\t%n@x\r\n"},
        {"8-bit octets", "\xe6\xbc\xa2 <a@x>", 1, "To: \xe6\xbc\xa2 <a@x>\r\n"},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        const Lines got = address_lines(c.list, "To:");
        EXPECT_EQ(1, got.result) << c.label;
        EXPECT_EQ(c.count, got.count) << c.label;
        EXPECT_EQ("", octet_difference("before" + std::string(c.lines), got.octets)) << c.label;
    }
    EXPECT_EQ("beforeDisposition-Notification-To: a@x\r\n",
              address_lines("a@x", "Disposition-Notification-To:").octets);
}

TEST(MakeHeaderAddress, TakesManyEntries)
{
    PlatformDouble platform;
    std::string list;
    std::string expected = "before";
    for (int i = 0; i < 300; ++i) {
        const std::string entry = "someone" + std::to_string(i) + "@x";
        list += (i == 0 ? "" : ";") + entry;
        expected += (i == 0 ? "Cc: " : "\t") + entry + (i == 299 ? "\r\n" : ",\r\n");
    }
    const Lines got = address_lines(list.c_str(), "Cc:");
    EXPECT_EQ(1, got.result);
    EXPECT_EQ(300, got.count);
    EXPECT_EQ("", octet_difference(expected, got.octets));
}

TEST(MakeHeaderAddress, StartsABlock)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    char work[1024];
    char* block = nullptr;
    long length = 0;
    long count = -1;
    EXPECT_EQ(1, mail.MakeHeaderAddress(CntsMLUTLMailAddress(""), "To:", block, work, count, length));
    EXPECT_EQ(nullptr, block) << "no entry, no line";
    EXPECT_EQ(0, count);
    EXPECT_EQ(1, mail.MakeHeaderAddress(CntsMLUTLMailAddress("a"), "To:", block, work, count, length));
    EXPECT_STREQ("To: a\r\n", block);
    EXPECT_EQ(7, length);
    EXPECT_EQ(8, PlatformDouble::block_size(block));
    CutlCPLBOSBoundary::MemFree(block);
}

TEST(MakeHeaderAddress, FindsNoEntryInANullAddress)
{
    PlatformDouble platform;
    platform.expect_trace(kNullAddress);
    const Lines got = address_lines(nullptr, "To:");
    EXPECT_EQ(1, got.result);
    EXPECT_EQ(0, got.count);
    EXPECT_EQ("before", got.octets);
}

TEST(MakeHeaderAddress, RefusesWhatPassesItsLimits)
{
    PlatformDouble platform;
    const std::string entry(128, 'a');
    EXPECT_EQ("beforeTo: " + entry + "\r\n", address_lines(entry.c_str(), "To:").octets);
    // Name, blank, 128 octets, CR LF: 1023 is the limit of a line, also of one that goes on behind a comma.
    EXPECT_EQ(1, address_lines(entry.c_str(), std::string(1023 - 131, 'n').c_str()).result);
    EXPECT_EQ(1, address_lines((entry + ",b").c_str(), std::string(1023 - 132, 'n').c_str()).result);
    platform.verify();
    for (const auto& [list, name] : std::vector<std::pair<std::string, std::string>>{
             {entry + "a", "To:"},
             {"a," + entry + "a", "To:"},
             {std::string(3000, 'a'), "To:"},
             {entry, std::string(1024 - 131, 'n')},
             {entry + ",b", std::string(1024 - 132, 'n')},
             {"a", std::string(5000, 'n')},
         }) {
        const Lines got = address_lines(list.c_str(), name.c_str());
        EXPECT_EQ(0, got.result);
        EXPECT_EQ("before", got.octets);
        EXPECT_LE(platform.take_traces().size(), 1u);
        EXPECT_EQ(0u, platform.live_blocks());
    }
}

TEST(MakeHeaderAddress, EveryFailedAllocationLeavesTheBlockAsItWas)
{
    // Three slots, then three lines.
    for (int nth = 1; nth <= 7; ++nth) {
        SCOPED_TRACE(nth);
        PlatformDouble platform;
        CntsSMTPSendMail mail;
        Growing growing;
        char work[1024];
        long count = -1;
        platform.fail_allocation(nth);
        const int result = mail.MakeHeaderAddress(CntsMLUTLMailAddress("a,b,c"), "To:", growing.block, work,
                                                  count, growing.length);
        if (nth == 7) {
            EXPECT_EQ(1, result);
            EXPECT_FALSE(platform.allocation_failed());
            continue;
        }
        EXPECT_EQ(0, result);
        EXPECT_EQ("before", growing.octets());
        EXPECT_EQ(1u, platform.live_blocks());
        if (nth <= 3) {
            platform.expect_trace("<Error> : CntsSMTPSendMail::MakeHeaderAddress():MemRealloc NG\n");
        } else {
            platform.expect_trace(kAddBuffer);
            platform.expect_trace("<Error> : CntsSMTPSendMail::MakeHeaderAddress():AddBuffer NG\n");
        }
    }
}

TEST(MakeHeaderAddress, FreesItsSlots)
{
    PlatformDouble platform;
    address_lines("a,b,c", "To:");
    EXPECT_EQ(0u, platform.live_blocks());
}

TEST(MakeHeaderBracket, WritesALineForEachIdentifier)
{
    const struct {
        const char* label;
        const char* value;
        int result;
        const char* lines;
        bool warns;
    } cases[] = {
        {"null", nullptr, 1, "", false},
        {"empty", "", 1, "", false},
        {"one", "<a@x>", 1, "Id: <a@x>\r\n", false},
        {"two", "<a><b>", 1, "Id: <a>\r\n\t<b>\r\n", false},
        {"three with text between", "x <a> y <b> z\r\n\t<c> w", 1, "Id: <a>\r\n\t<b>\r\n\t<c>\r\n", false},
        {"blanks inside stay", "< a b >", 1, "Id: < a b >\r\n", false},
        {"empty brackets", "<>", 1, "Id: <>\r\n", false},
        {"the first opening bracket", "<a<b>", 1, "Id: <a<b>\r\n", false},
        {"a closing bracket too many", "<a>> <b>", 1, "Id: <a>\r\n\t<b>\r\n", false},
        {"closing first", "> <a>", 1, "Id: <a>\r\n", false},
        {"percent signs", "<%s%n>", 1, "Id: <%s%n>\r\n", false},
        {"no bracket", "abc", 0, "", false},
        {"blank", " ", 0, "", false},
        {"only a closing bracket", "a>", 0, "", false},
        {"never closed", "<a", 0, "", true},
        {"a lone opening bracket", "<", 0, "", true},
        {"the second never closed", "<a> <b", 1, "Id: <a>\r\n", true},
        {"closed only before", "a> <b", 0, "", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        PlatformDouble platform;
        if (c.warns) platform.expect_trace(kNotClosed);
        CntsSMTPSendMail mail;
        Growing growing;
        EXPECT_EQ(c.result,
                  mail.MakeHeaderBracket(CutlCPLBMString(c.value), "Id:", growing.block, growing.length));
        EXPECT_EQ("", octet_difference("before" + std::string(c.lines), growing.octets()));
        EXPECT_EQ('\0', growing.block[growing.length]);
    }
}

TEST(MakeHeaderBracket, TakesLinesUpToTheirLimit)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    const struct {
        std::string value;
        int result;
    } cases[] = {
        {"<" + std::string(1023 - 8, 'i') + ">", 1},  // "Id: <", ">" and CR LF
        {"<" + std::string(1024 - 8, 'i') + ">", 0},
        {"<a> <" + std::string(1023 - 5, 'i') + ">", 1},  // a tab in place of the name
        {"<a> <" + std::string(1024 - 5, 'i') + ">", 0},
        {"<" + std::string(100000, 'i') + ">", 0},
    };
    for (const auto& c : cases) {
        Growing growing;
        EXPECT_EQ(c.result, mail.MakeHeaderBracket(CutlCPLBMString(c.value.c_str()), "Id:", growing.block,
                                                   growing.length));
        EXPECT_EQ(c.result == 1, growing.octets() != "before") << c.value.size();
        if (c.result == 0)
            platform.expect_trace("<Error> : CntsSMTPSendMail::MakeHeaderBracket:AddBuffer NG\n");
    }
}

TEST(MakeHeaderBracket, EveryFailedAllocationLeavesTheLengthAsItWas)
{
    for (int nth = 1; nth <= 4; ++nth) {
        SCOPED_TRACE(nth);
        PlatformDouble platform;
        CntsSMTPSendMail mail;
        Growing growing;
        platform.fail_allocation(nth);
        const int result =
            mail.MakeHeaderBracket(CutlCPLBMString("<a> <b> <c>"), "Id:", growing.block, growing.length);
        if (nth == 4) {
            EXPECT_EQ(1, result);
            EXPECT_FALSE(platform.allocation_failed());
            continue;
        }
        EXPECT_EQ(0, result);
        EXPECT_EQ("before", growing.octets());
        platform.expect_trace(kAddBuffer);
        platform.expect_trace("<Error> : CntsSMTPSendMail::MakeHeaderBracket:AddBuffer NG\n");
    }
}

std::tm local_time(int year, int month, int day, int hour, int minute, int second)
{
    std::tm time{};
    time.tm_year = year - 1900;
    time.tm_mon = month - 1;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    time.tm_sec = second;
    return time;
}

TEST(CreateMessageID, JoinsTheStampAndTheAddress)
{
    const char kSplit[] = "<Error>:SplitAddress:[Result]cAccount or cDomain is empty(\"\")\n";
    const struct {
        const char* label;
        const char* from;
        const char* id;
        const char* sub_alloc;
        const char* trace;
    } cases[] = {
        {"bare", "user@Host.example", "<20060102030405000f423f.USER@Host.example>", "sub_alloc(5)", nullptr},
        {"with a name", "\"A, B\" <us.er+1@x>", "<20060102030405000f423f.US.ER+1@x>", "sub_alloc(8)",
         nullptr},
        {"two signs", "a@b@C", "<20060102030405000f423f.A@b@C>", "sub_alloc(2)", nullptr},
        {"8-bit octets stay", "\xe3\x81z@x", "<20060102030405000f423f.\xe3\x81Z@x>", "sub_alloc(4)", nullptr},
        {"percent signs", "%s%n@x", "<20060102030405000f423f.%S%N@x>", "sub_alloc(5)", nullptr},
        {"no sign", "local", "<20060102030405000f423f.LOCAL>", "sub_alloc(6)", kSplit},
        {"no account", "@host", "<20060102030405000f423f.@HOST>", "sub_alloc(6)", kSplit},
        {"no domain", "user@", "<20060102030405000f423f.USER@>", "sub_alloc(6)", kSplit},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        PlatformDouble platform;
        const FixedClock clock(1136170000, 999999);
        platform.local_time(local_time(2006, 1, 2, 3, 4, 5));
        if (c.trace != nullptr) platform.expect_trace(c.trace);
        CntsSMTPSendMail mail;
        CutlCPLBMString out("before");
        EXPECT_EQ(1, mail.CreateMessageID(CntsMLUTLMailAddress(c.from), out));
        EXPECT_EQ(c.id, text_of(out));
        EXPECT_EQ((std::vector<std::string>{c.sub_alloc, "pool_free(0)"}), platform.calls());
        EXPECT_EQ(nullptr, mail.m_cMessageID.GetString());
    }
}

TEST(CreateMessageID, WritesEveryTwoDigits)
{
    const struct {
        std::tm time;
        long microseconds;
        const char* stamp;
    } cases[] = {
        {local_time(2026, 12, 31, 23, 59, 59), 0, "2026123123595900000000"},
        {local_time(2000, 1, 1, 0, 0, 0), 1, "2000010100000000000001"},
        {local_time(1999, 10, 9, 8, 7, 6), 0xabcde, "19991009080706000abcde"},
        {local_time(12345, 1, 2, 3, 4, 5), 16,
         "1234501020304050000"
         "0010"},
    };
    for (const auto& c : cases) {
        PlatformDouble platform;
        const FixedClock clock(0, c.microseconds);
        platform.local_time(c.time);
        CntsSMTPSendMail mail;
        CutlCPLBMString out;
        EXPECT_EQ(1, mail.CreateMessageID(CntsMLUTLMailAddress("a@x"), out));
        EXPECT_EQ("<" + std::string(c.stamp) + ".A@x>", text_of(out));
    }
}

TEST(CreateMessageID, TakesTheTimeOfTheClock)
{
    const struct {
        const char* label;
        std::int64_t seconds;
        int year;
    } cases[] = {
        {"now", 1700000000, 2023},
        {"the last week that 32 bits hold", 2147400000, 2038},
        {"the week behind it", 2147600000, 2038},
        {"when an unsigned number has ended too", 4300000000, 2106},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        PlatformDouble platform;
        const FixedClock clock(c.seconds, 5);
        const auto time = static_cast<std::time_t>(c.seconds);
        std::tm local{};
        ASSERT_NE(nullptr, localtime_r(&time, &local));
        EXPECT_EQ(c.year, local.tm_year + 1900);
        char stamp[40];
        std::snprintf(stamp, sizeof stamp, "%d%02d%02d%02d%02d%02d00000005", local.tm_year + 1900,
                      local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
        CntsSMTPSendMail mail;
        CutlCPLBMString out;
        EXPECT_EQ(1, mail.CreateMessageID(CntsMLUTLMailAddress("a@x"), out));
        EXPECT_EQ("<" + std::string(stamp) + ".A@x>", text_of(out));
    }
}

TEST(CreateMessageID, NeedsARealAddress)
{
    const struct {
        const char* from;
        const char* trace;
    } cases[] = {
        {nullptr, "<Error>:GetRealAddress:[Result]pAddress is null\n"},
        {"", "<Error>:GetRealAddress:[Result]cRealAddress is empty(\"\")\n"},
        {"\"Name\" <>", "<Error>:GetRealAddress:[Result]cRealAddress is empty(\"\")\n"},
    };
    for (const auto& c : cases) {
        PlatformDouble platform;
        platform.expect_trace(c.trace);
        platform.expect_trace("<Warning>CntsSMTPSendMail::CreateMessageID:[not real address]\n");
        CntsSMTPSendMail mail;
        CutlCPLBMString out("before");
        EXPECT_EQ(0, mail.CreateMessageID(CntsMLUTLMailAddress(c.from), out));
        EXPECT_EQ("", text_of(out));
        EXPECT_EQ(0u, platform.count("sub_alloc"));
    }
}

TEST(CreateMessageID, FailsWithoutScratchMemory)
{
    PlatformDouble platform;
    platform.fail_call(Call::sub_alloc, 1);
    CntsSMTPSendMail mail;
    CutlCPLBMString out("before");
    EXPECT_EQ(0, mail.CreateMessageID(CntsMLUTLMailAddress("a@x"), out));
    EXPECT_EQ("", text_of(out));
    EXPECT_EQ(0u, platform.count("pool_free"));
}

TEST(CreateMessageID, IsWrittenWhereNoneIsStored)
{
    for (const char* const stored : {static_cast<const char*>(nullptr), ""}) {
        PlatformDouble platform;
        const FixedClock clock(1136170000, 16);
        platform.local_time(local_time(2006, 1, 2, 3, 4, 5));
        CntsSMTPSendMail mail;
        fill_plain_mail(mail);
        mail.m_cMessageID = CutlCPLBMString(stored);
        const std::string first = header_of(mail);
        EXPECT_NE(std::string::npos,
                  first.find("\r\nMessage-Id: <2006010203040500000010.FROM@x.example>\r\nMime-Version"));
        EXPECT_EQ(first, header_of(mail)) << "the same microsecond, the same identifier";
        const FixedClock later(1136170000, 17);
        EXPECT_NE(first, header_of(mail));
        EXPECT_TRUE(mail.m_cMessageID.GetString() == nullptr || *mail.m_cMessageID.GetString() == '\0');
    }
}

TEST(CreateMessageID, IsLeftOutOfTheHeaderWhenItFails)
{
    PlatformDouble platform;
    CntsSMTPSendMail mail;
    fill_plain_mail(mail);
    mail.m_cMessageID = CutlCPLBMString();
    set_address(mail.m_cFrom, "\"Name\"");
    platform.expect_trace("<Error>:GetRealAddress:[Result]cRealAddress is empty(\"\")\n");
    platform.expect_trace("<Warning>CntsSMTPSendMail::CreateMessageID:[not real address]\n");
    EXPECT_NE(std::string::npos, header_of(mail).find("To: a@x\r\nMime-Version: 1.0\r\n"));
}

}  // namespace
}  // namespace velorin_test
