#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "CntsMLUTLMailException.h"
#include "CntsMLUTLMailPart.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using testing::MatchesRegex;
using velorin::CntsMLUTLMailPart;

TEST(MailPartAddBuffer, AppendsToTheExactSize)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    PseudoRandom random(11);
    char* block = nullptr;
    long length = 0;
    std::string expected;
    for (int round = 0; round < 40; ++round) {
        const std::string more = random.octets(random.below(6));
        const ExactCopy data(more);
        ASSERT_EQ(1, part.AddBuffer(block, length, data.data(), data.length()));
        expected += more;
        ASSERT_EQ(static_cast<long>(expected.size()), length);
        EXPECT_EQ(length + 1, PlatformDouble::block_size(block));
        EXPECT_EQ("", octet_difference(expected, std::string_view(block, expected.size())));
        EXPECT_EQ('\0', block[length]);
    }
    EXPECT_EQ(40u, platform.allocations());
    EXPECT_EQ(nullptr, part.m_pBuffer);
    CutlCPLBOSBoundary::MemFree(block);
}

TEST(MailPartInsertBuffer, PrependsToTheExactSize)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    PseudoRandom random(12);
    char* block = nullptr;
    long length = 0;
    std::string expected;
    for (int round = 0; round < 40; ++round) {
        const std::string more = random.octets(random.below(6));
        const ExactCopy data(more);
        ASSERT_EQ(1, part.InsertBuffer(block, length, data.data(), data.length()));
        expected = more + expected;
        ASSERT_EQ(static_cast<long>(expected.size()), length);
        EXPECT_EQ(length + 1, PlatformDouble::block_size(block));
        EXPECT_EQ("", octet_difference(expected, std::string_view(block, expected.size())));
        EXPECT_EQ('\0', block[length]);
    }
    EXPECT_EQ(40u, platform.allocations());
    CutlCPLBOSBoundary::MemFree(block);
}

using Grow = int (CntsMLUTLMailPart::*)(char*&, long&, const char*, long);

TEST(MailPartBlocks, StayAsTheyWereWhenMemoryRunsOut)
{
    const struct {
        Grow grow;
        const char* trace;
    } cases[] = {
        {&CntsMLUTLMailPart::AddBuffer,
         "<Error> : CntsMLUTLMailPart::AddBuffer() failed to reallocate memory\n"},
        {&CntsMLUTLMailPart::InsertBuffer,
         "<Error> : CntsMLUTLMailPart::InsertBuffer() failed to reallocate memory\n"},
    };
    for (const auto& c : cases) {
        PlatformDouble platform;
        CntsMLUTLMailPart part;
        char* block = nullptr;
        long length = 0;
        platform.fail_allocation(1);
        platform.expect_trace(c.trace);
        EXPECT_EQ(0, (part.*c.grow)(block, length, "abc", 3));
        EXPECT_EQ(nullptr, block);
        EXPECT_EQ(0, length);
        ASSERT_EQ(1, (part.*c.grow)(block, length, "abc", 3));
        char* const before = block;
        platform.fail_allocation(1);
        platform.expect_trace(c.trace);
        EXPECT_EQ(0, (part.*c.grow)(block, length, "de", 2));
        EXPECT_EQ(before, block);
        EXPECT_EQ(3, length);
        EXPECT_STREQ("abc", block);
        CutlCPLBOSBoundary::MemFree(block);
    }
}

TEST(MailPartBlocks, NeverCopyANegativeLength)
{
    const struct {
        Grow grow;
        const char* trace;
    } cases[] = {
        {&CntsMLUTLMailPart::AddBuffer,
         "<Error> : CntsMLUTLMailPart::AddBuffer() failed to reallocate memory\n"},
        {&CntsMLUTLMailPart::InsertBuffer,
         "<Error> : CntsMLUTLMailPart::InsertBuffer() failed to reallocate memory\n"},
    };
    for (const auto& c : cases) {
        for (const long wrong : {-1L, -4L, -2147483647L - 1L}) {
            PlatformDouble platform;
            CntsMLUTLMailPart part;
            char* block = nullptr;
            long length = 0;
            ASSERT_EQ(1, (part.*c.grow)(block, length, "abc", 3));
            platform.expect_trace(c.trace);
            EXPECT_EQ(0, (part.*c.grow)(block, length, "def", wrong));
            EXPECT_EQ(3, length);
            EXPECT_STREQ("abc", block);
            CutlCPLBOSBoundary::MemFree(block);
        }
    }
}

std::string model_fold(std::string_view text)
{
    std::string folded;
    while (text.size() > 64) {
        folded += std::string(text.substr(0, 64)) + "\r\n\t";
        text.remove_prefix(64);
    }
    return folded + std::string(text);
}

TEST(MailPartMakeMultiLine, FoldsEveryLength)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    PseudoRandom random(64);
    for (std::size_t length = 1; length <= 300; ++length) {
        const std::string text = random.text("abcdefghijklmnopqrstuvwxyz \xe3\x81\x82%s", length);
        const ExactText input(text);
        char* const block = part.MakeMultiLine(input.data());
        const Taken taken(block);
        ASSERT_NE(nullptr, block) << length;
        const std::string expected = model_fold(text);
        EXPECT_EQ("", octet_difference(expected, taken.text())) << length;
        EXPECT_EQ(static_cast<long>(expected.size()) + 1, PlatformDouble::block_size(block));
    }
}

TEST(MailPartMakeMultiLine, CutsBehindSixtyFourCharacters)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    const std::string line(64, 'x');
    const std::string two_lines = line + std::string(64, 'y');
    const struct {
        const char* label;
        std::string text;
        std::string folded;
    } cases[] = {
        {"63", std::string(63, 'x'), std::string(63, 'x')},
        {"64", line, line},
        {"65", line + "1", line + "\r\n\t1"},
        {"128", two_lines, line + "\r\n\t" + std::string(64, 'y')},
        {"129", two_lines + "z", line + "\r\n\t" + std::string(64, 'y') + "\r\n\tz"},
    };
    for (const auto& c : cases) {
        const Taken taken(part.MakeMultiLine(c.text.c_str()));
        ASSERT_FALSE(taken.is_null());
        EXPECT_EQ("", octet_difference(c.folded, taken.text())) << c.label;
    }
}

TEST(MailPartMakeMultiLine, GivesNothingForAnEmptyText)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    EXPECT_EQ(nullptr, part.MakeMultiLine(""));
    EXPECT_EQ(0u, platform.allocations());
}

TEST(MailPartMakeMultiLine, EveryFailedAllocationLeavesNothingBehind)
{
    const std::string text(200, 'x');  // three full lines, their separators, and the rest
    int failures = 0;
    for (int nth = 1;; ++nth) {
        PlatformDouble platform;
        CntsMLUTLMailPart part;
        platform.fail_allocation(nth);
        char* const block = part.MakeMultiLine(text.c_str());
        if (!platform.allocation_failed()) {
            const Taken taken(block);
            EXPECT_EQ(model_fold(text), taken.text());
            break;
        }
        ++failures;
        EXPECT_EQ(nullptr, block);
        EXPECT_EQ(0u, platform.live_blocks());
        platform.expect_trace("<Error> : CntsMLUTLMailPart::AddBuffer() failed to reallocate memory\n");
        platform.expect_trace_matching(MatchesRegex(
            "<Error> : CntsMLUTLMailPart::MakeMultiLine\\(\\) AddBuffer\\[NG\\]: Line[1-9][0-9]*\n"));
    }
    EXPECT_EQ(7, failures);
}

TEST(MailPartMakeMultiLine, CatchesThePlatformsException)
{
    const std::string text(130, 'x');
    for (int nth = 1; nth <= 5; ++nth) {
        PlatformDouble platform;
        CntsMLUTLMailPart part;
        platform.throw_on_allocation(nth, "heap %s");
        platform.expect_trace("<Error> : CntsMLUTLMailPart::MakeMultiLine() heap %s\n");
        EXPECT_EQ(nullptr, part.MakeMultiLine(text.c_str())) << nth;
        EXPECT_EQ(0u, platform.live_blocks());
    }
}

TEST(MailPartFileExtension, IsWhatStandsBehindTheLastDot)
{
    const struct {
        const char* name;
        const char* extension;
    } cases[] = {
        {"a.pdf", "pdf"}, {"a.b.pdf", "pdf"}, {"name.", ""}, {".profile", "profile"}, {"name", ""},
        {"", ""},         {".", ""},          {"..", ""},    {"a.p d f ", "p d f "},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        CntsMLUTLMailPart part;
        part.m_cFIleName = CutlCPLBMString(c.name);
        const char* const extension = part.GetFileExtension();
        EXPECT_STREQ(c.extension, extension) << c.name;
        const char* const name = part.m_cFIleName.GetString();
        EXPECT_EQ(name + part.m_cFIleName.GetLength(), extension + std::string(c.extension).size())
            << "points into the name";
    }
}

TEST(MailPartFileExtension, NeedsAName)
{
    PlatformDouble platform;
    const CntsMLUTLMailPart part;
    platform.expect_trace("<Error> : CntsMLUTLMailPart::GetFileExtension() m_cFIleName is null\n");
    EXPECT_EQ(nullptr, part.GetFileExtension());
}

TEST(MailPartFaxMarker, IsSetByNumber)
{
    PlatformDouble platform;
    const struct {
        int number;
        const char* stored;
        int ignores;
    } cases[] = {{1, "IGNORE", 1}, {0, "", 0}, {2, "", 0}, {-1, "", 0}, {256, "", 0}, {2147483647, "", 0}};
    for (const auto& c : cases) {
        CntsMLUTLMailPart part;
        part.SetContentCIAJWNETFAX(c.number);
        EXPECT_EQ(c.stored, text_of(part.m_cContentCIAJWNETFAX)) << c.number;
        EXPECT_EQ(c.ignores, part.IsIgnoreContentCIAJWNETFAX()) << c.number;
    }
}

TEST(MailPartFaxMarker, IsSetByText)
{
    PlatformDouble platform;
    const struct {
        const char* text;
        int ignores;
        int reported;
    } cases[] = {
        {"IGNORE", 1, 1}, {"ignore", 1, 1},  {"Ignored by all", 1, 1},
        {"IGNOR", 0, 1},  {" IGNORE", 0, 1}, {"ACCEPT", 0, 1},
        {"", 0, 0},       {"%s", 0, 1},
    };
    for (const auto& c : cases) {
        CntsMLUTLMailPart part;
        part.SetContentCIAJWNETFAX(c.text);
        EXPECT_EQ(c.text, text_of(part.m_cContentCIAJWNETFAX));
        EXPECT_EQ(c.ignores, part.IsIgnoreContentCIAJWNETFAX()) << c.text;
        CutlCPLBMString out("before");
        EXPECT_EQ(c.reported, part.GetContentCIAJWNETFAXSource(out)) << c.text;
        if (c.reported == 1) {
            EXPECT_EQ(c.text, text_of(out));
        }
    }
}

TEST(MailPartFaxMarker, MayBeNull)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    CutlCPLBMString out;
    EXPECT_EQ(0, part.IsIgnoreContentCIAJWNETFAX());
    EXPECT_EQ(0, part.GetContentCIAJWNETFAXSource(out));
    part.SetContentCIAJWNETFAX(1);
    part.SetContentCIAJWNETFAX(static_cast<const char*>(nullptr));
    EXPECT_EQ("(null)", text_of(part.m_cContentCIAJWNETFAX));
    EXPECT_EQ(0, part.IsIgnoreContentCIAJWNETFAX());
    EXPECT_EQ(0, part.GetContentCIAJWNETFAXSource(out));
}

// A longer queue is copied over a shorter one, and the heap throws: what is queued is still what there is.
TEST(MailPartCopy, KeepsItsQueueWhenTheHeapThrows)
{
    PlatformDouble platform;
    const auto queue = [](CntsMLUTLMailPart& part, const char* text) {
        void* block = platform_block(text);
        long length = static_cast<long>(std::string(text).size());
        ASSERT_EQ(1, part.SetBuffer(block, length));
    };
    CntsMLUTLMailPart longer;
    queue(longer, "a queue that is longer than the other");
    CntsMLUTLMailPart part;
    queue(part, "short");
    platform.throw_on_allocation(1, "thrown by the heap");
    try {
        part.CopyPart(longer);
        ADD_FAILURE() << "nothing was thrown";
    } catch (velorin::CntsMLUTLMailException* thrown) {
        const std::unique_ptr<velorin::CntsMLUTLMailException> failure(thrown);
    }
    EXPECT_EQ(5, part.m_nLength);
    void* block = nullptr;
    long length = 0;
    EXPECT_EQ(1, part.GetBuffer(block, length));
    const Taken taken(block);
    EXPECT_EQ("short", taken.octets(5));
}

}  // namespace
}  // namespace velorin_test
