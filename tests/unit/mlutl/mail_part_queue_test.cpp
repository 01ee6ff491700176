#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "CntsMLUTLMailPart.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailPart;
using velorin::CntsMLUTLMailType;

void queue(CntsMLUTLMailPart& part, std::string_view octets)
{
    void* block = platform_block(octets);
    long length = static_cast<long>(octets.size());
    ASSERT_EQ(1, part.SetBuffer(block, length));
    EXPECT_EQ(nullptr, block);
    EXPECT_EQ(0, length);
}

std::string queued(const CntsMLUTLMailPart& part)
{
    return std::string(part.m_pBuffer, static_cast<std::size_t>(part.m_nLength));
}

std::string take(CntsMLUTLMailPart& part, long wanted)
{
    void* block = nullptr;
    long length = wanted;
    EXPECT_EQ(1, part.GetBuffer(block, length));
    const Taken taken(block);
    return block == nullptr ? "(null)" : taken.octets(length);
}

TEST(MailPart, BeginsWithoutValues)
{
    PlatformDouble platform;
    const CntsMLUTLMailPart part;
    EXPECT_EQ(14, static_cast<int>(part.m_eContentType));
    EXPECT_EQ(5, static_cast<int>(part.m_eTransferEncoding));
    EXPECT_EQ(3, static_cast<int>(part.m_eContentDisposition));
    EXPECT_EQ(12, static_cast<int>(part.m_eCharSet));
    EXPECT_EQ(nullptr, part.m_cContentType.GetString());
    EXPECT_EQ(nullptr, part.m_cContentTypeString.GetString());
    EXPECT_EQ(nullptr, part.m_cTransferEncoding.GetString());
    EXPECT_EQ(nullptr, part.m_cFIleName.GetString());
    EXPECT_EQ(nullptr, part.m_cExtension.GetString());
    EXPECT_EQ(nullptr, part.m_cOther.GetString());
    EXPECT_EQ(nullptr, part.m_pBuffer);
    EXPECT_EQ(0, part.m_nLength);
    EXPECT_EQ(0, part.m_bIsTerminate);
    EXPECT_EQ(nullptr, part.m_cContentCIAJWNETFAX.GetString());
    EXPECT_EQ(0u, platform.allocations());
    EXPECT_TRUE((std::is_base_of<CutlCPLBObject, CntsMLUTLMailPart>::value));
}

TEST(MailPartSetBuffer, AdoptsTheFirstBlockAsItIs)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    void* block = platform_block(std::string_view("a\0b", 3));
    void* const adopted = block;
    long length = 3;
    EXPECT_EQ(1, part.SetBuffer(block, length));
    EXPECT_EQ(adopted, part.m_pBuffer);
    EXPECT_EQ(3, part.m_nLength);
    EXPECT_EQ(nullptr, block);
    EXPECT_EQ(0, length);
    EXPECT_EQ(1u, platform.allocations());  // the caller's own
    EXPECT_EQ(3, PlatformDouble::block_size(part.m_pBuffer));
}

TEST(MailPartSetBuffer, AppendsFurtherBlocksToTheExactSize)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    queue(part, "abc");
    queue(part, std::string_view("d\0f", 3));
    EXPECT_EQ("", octet_difference(std::string_view("abcd\0f", 6), queued(part)));
    EXPECT_EQ(7, PlatformDouble::block_size(part.m_pBuffer));
    EXPECT_EQ('\0', part.m_pBuffer[6]);
    EXPECT_EQ(1u, platform.live_blocks());  // the caller's second block is freed
}

TEST(MailPartSetBuffer, RefusesNothing)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    void* none = nullptr;
    long length = 5;
    platform.expect_trace(
        "<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=5)\n");
    EXPECT_EQ(0, part.SetBuffer(none, length));
    EXPECT_EQ(nullptr, none);
    EXPECT_EQ(5, length);
    const struct {
        long length;
        const char* trace;
    } cases[] = {
        {0, "<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=0)\n"},
        {-1, "<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=-1)\n"},
        {-2147483647L - 1L,
         "<Error> : CntsMLUTLMailPart::SetBuffer() pBuffer is null or abnormal value(nLength=-2147483648)\n"},
    };
    for (const auto& c : cases) {
        void* block = platform_block("abc");
        void* const before = block;
        long wrong = c.length;
        platform.expect_trace(c.trace);
        EXPECT_EQ(0, part.SetBuffer(block, wrong));
        EXPECT_EQ(before, block);
        EXPECT_EQ(c.length, wrong);
        CutlCPLBOSBoundary::MemFree(block);
    }
    EXPECT_EQ(nullptr, part.m_pBuffer);
    EXPECT_EQ(0, part.m_nLength);
}

TEST(MailPartSetBuffer, LeavesBothSidesAloneWhenMemoryRunsOut)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    queue(part, "abc");
    char* const before = part.m_pBuffer;
    void* block = platform_block("defg");
    void* const callers = block;
    long length = 4;
    platform.fail_allocation(1);
    platform.expect_trace("<Error> : CntsMLUTLMailPart::SetBuffer() failed to reallocate memory\n");
    EXPECT_EQ(0, part.SetBuffer(block, length));
    EXPECT_EQ(callers, block);
    EXPECT_EQ(4, length);
    EXPECT_EQ(before, part.m_pBuffer);
    EXPECT_EQ("abc", queued(part));
    CutlCPLBOSBoundary::MemFree(block);
}

TEST(MailPartGetBuffer, GivesNothingFromAnEmptyQueue)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    for (const long wanted : {0L, 5L, -1L}) {
        void* block = &platform;
        long length = wanted;
        EXPECT_EQ(1, part.GetBuffer(block, length));
        EXPECT_EQ(nullptr, block);
        EXPECT_EQ(0, length);
    }
    EXPECT_EQ(0u, platform.allocations());
}

TEST(MailPartGetBuffer, TakesAPieceAndKeepsTheRest)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    queue(part, "abc");
    queue(part, "defg");
    void* block = nullptr;
    long length = 5;
    EXPECT_EQ(1, part.GetBuffer(block, length));
    {
        const Taken taken(block);
        EXPECT_EQ(5, length);
        EXPECT_EQ("abcde", taken.octets(5));
        EXPECT_EQ('\0', taken.text()[5]);
        EXPECT_EQ(6, PlatformDouble::block_size(block));
    }
    EXPECT_EQ("fg", queued(part));
    EXPECT_EQ(3, PlatformDouble::block_size(part.m_pBuffer));
    EXPECT_EQ('\0', part.m_pBuffer[2]);
    char* const rest = part.m_pBuffer;
    length = 0;
    EXPECT_EQ(1, part.GetBuffer(block, length));
    const Taken taken(block);
    EXPECT_EQ(rest, block) << "the block itself is handed over";
    EXPECT_EQ(2, length);
    EXPECT_EQ("fg", taken.octets(2));
    EXPECT_EQ(nullptr, part.m_pBuffer);
    EXPECT_EQ(0, part.m_nLength);
}

TEST(MailPartGetBuffer, HandsTheWholeBlockOver)
{
    for (const long wanted : {0L, -1L, -2147483647L - 1L, 4L, 5L, 2147483647L}) {
        PlatformDouble platform;
        CntsMLUTLMailPart part;
        queue(part, "abcd");
        char* const held = part.m_pBuffer;
        void* block = nullptr;
        long length = wanted;
        EXPECT_EQ(1, part.GetBuffer(block, length)) << wanted;
        EXPECT_EQ(held, block) << wanted;
        EXPECT_EQ(4, length) << wanted;
        EXPECT_EQ(nullptr, part.m_pBuffer);
        EXPECT_EQ(0, part.m_nLength);
        EXPECT_EQ(1u, platform.allocations()) << "the block is not copied";
        const Taken taken(block);
        EXPECT_EQ("abcd", taken.octets(length));
    }
}

TEST(MailPartGetBuffer, GivesEveryOctetOnceAndInOrder)
{
    PlatformDouble platform;
    PseudoRandom random(606);
    CntsMLUTLMailPart part;
    std::string in;
    std::string out;
    for (int round = 0; round < 2000; ++round) {
        if (random.below(2) == 0) {
            const std::string more = random.octets(1 + random.below(40));
            in += more;
            queue(part, more);
        } else {
            const long wanted = 1 + static_cast<long>(random.below(40));
            const bool holds = part.m_pBuffer != nullptr;
            const std::string taken = take(part, wanted);
            if (holds) out += taken;
            EXPECT_EQ(holds, taken != "(null)");
        }
        ASSERT_EQ(in.size() - out.size(), static_cast<std::size_t>(part.m_nLength));
    }
    if (part.m_pBuffer != nullptr) out += take(part, 0);
    EXPECT_EQ("", octet_difference(in, out));
}

TEST(MailPartGetBuffer, LeavesTheQueueWhenMemoryRunsOut)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    queue(part, "abcdef");
    char* const before = part.m_pBuffer;
    void* block = &platform;
    long length = 4;
    platform.fail_allocation(1);
    platform.expect_trace("<Error> : CntsMLUTLMailPart::GetBuffer() failed to allocate memory\n");
    EXPECT_EQ(0, part.GetBuffer(block, length));
    EXPECT_EQ(nullptr, block);
    EXPECT_EQ(0, length);
    EXPECT_EQ(before, part.m_pBuffer);
    EXPECT_EQ("abcdef", queued(part));
}

TEST(MailPartGetBuffer, SucceedsWhenTheRestCannotBeShrunk)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    queue(part, "abcdef");
    platform.fail_allocation(2);  // the rest stays in its larger block
    EXPECT_EQ("abcd", take(part, 4));
    EXPECT_TRUE(platform.allocation_failed());
    EXPECT_EQ("ef", queued(part));
    EXPECT_EQ("ef", take(part, 0));
}

TEST(MailPartGetBuffer, CatchesThePlatformsException)
{
    for (const int nth : {1, 2}) {
        PlatformDouble platform;
        CntsMLUTLMailPart part;
        queue(part, "abcdef");
        void* block = &platform;
        long length = 4;
        platform.throw_on_allocation(nth, "heap %s");
        platform.expect_trace("<Error> : CntsMLUTLMailPart::GetBuffer() heap %s\n");
        EXPECT_EQ(0, part.GetBuffer(block, length)) << nth;
        EXPECT_EQ(nullptr, block) << nth;
        EXPECT_EQ(0, length) << nth;
        EXPECT_EQ("abcdef", queued(part)) << nth << ": what was not handed over is still queued";
    }
}

TEST(MailPartFreeBuffer, DropsTheQueue)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    part.FreeBuffer();
    EXPECT_EQ(nullptr, part.m_pBuffer);
    queue(part, "abc");
    part.FreeBuffer();
    EXPECT_EQ(nullptr, part.m_pBuffer);
    EXPECT_EQ(0, part.m_nLength);
    EXPECT_EQ(0u, platform.live_blocks());
    part.FreeBuffer();
    EXPECT_EQ(0, part.m_nLength);
}

void fill(CntsMLUTLMailPart& part)
{
    part.m_eContentType = static_cast<CntsMLUTLMailType::eContentType>(7);
    part.m_eTransferEncoding = static_cast<CntsMLUTLMailType::eTransferEncoding>(2);
    part.m_eContentDisposition = static_cast<CntsMLUTLMailType::eContentDisposition>(1);
    part.m_eCharSet = static_cast<CntsMLUTLMailType::eCharSet>(5);
    part.m_cContentType = CutlCPLBMString("1");
    part.m_cContentTypeString = CutlCPLBMString("2");
    part.m_cTransferEncoding = CutlCPLBMString("3");
    part.m_cFIleName = CutlCPLBMString("4");
    part.m_cExtension = CutlCPLBMString("5");
    part.m_cOther = CutlCPLBMString("6");
    part.m_bIsTerminate = 1;
    part.SetContentCIAJWNETFAX(1);
}

void expect_filled_without_marker(const CntsMLUTLMailPart& part)
{
    EXPECT_EQ(7, static_cast<int>(part.m_eContentType));
    EXPECT_EQ(2, static_cast<int>(part.m_eTransferEncoding));
    EXPECT_EQ(1, static_cast<int>(part.m_eContentDisposition));
    EXPECT_EQ(5, static_cast<int>(part.m_eCharSet));
    EXPECT_EQ("1", text_of(part.m_cContentType));
    EXPECT_EQ("2", text_of(part.m_cContentTypeString));
    EXPECT_EQ("3", text_of(part.m_cTransferEncoding));
    EXPECT_EQ("4", text_of(part.m_cFIleName));
    EXPECT_EQ("5", text_of(part.m_cExtension));
    EXPECT_EQ("6", text_of(part.m_cOther));
    EXPECT_EQ(1, part.m_bIsTerminate);
    EXPECT_EQ("(null)", text_of(part.m_cContentCIAJWNETFAX));
}

TEST(MailPartCopy, CopiesAllButTheMarker)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    fill(part);
    queue(part, std::string_view("a\0b", 3));
    CntsMLUTLMailPart copy(part);
    expect_filled_without_marker(copy);
    EXPECT_NE(part.m_pBuffer, copy.m_pBuffer);
    EXPECT_EQ("", octet_difference(std::string_view("a\0b", 3), queued(copy)));
    EXPECT_EQ(4, PlatformDouble::block_size(copy.m_pBuffer));
    EXPECT_EQ('\0', copy.m_pBuffer[3]);
    CutlCPLBMString marker;
    EXPECT_EQ(0, copy.IsIgnoreContentCIAJWNETFAX());
    EXPECT_EQ(0, copy.GetContentCIAJWNETFAXSource(marker));
    EXPECT_EQ(1, part.IsIgnoreContentCIAJWNETFAX());
    EXPECT_EQ("", octet_difference(std::string_view("a\0b", 3), queued(part)));
}

TEST(MailPartCopy, KeepsNullTextsNull)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    part.m_cExtension = CutlCPLBMString("");
    CntsMLUTLMailPart copy(part);
    EXPECT_EQ("(null)", text_of(copy.m_cContentType));
    EXPECT_EQ("(null)", text_of(copy.m_cOther));
    EXPECT_EQ("", text_of(copy.m_cExtension));
    CntsMLUTLMailPart filled;
    fill(filled);
    filled = part;
    EXPECT_EQ("(null)", text_of(filled.m_cFIleName));
    EXPECT_EQ(14, static_cast<int>(filled.m_eContentType));
    EXPECT_EQ(0, filled.m_bIsTerminate);
}

TEST(MailPartCopy, AssignmentFreesTheOldQueue)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    fill(part);
    queue(part, "new");
    CntsMLUTLMailPart target;
    queue(target, "an older queue");
    CntsMLUTLMailPart& result = target = part;
    EXPECT_EQ(&target, &result);
    EXPECT_EQ("new", queued(target));
    EXPECT_EQ(2u, platform.live_blocks());
    expect_filled_without_marker(target);
}

TEST(MailPartCopy, AssignmentOfAnEmptyPartLeavesNoQueue)
{
    PlatformDouble platform;
    const CntsMLUTLMailPart empty;
    CntsMLUTLMailPart target;
    queue(target, "an older queue");
    target = empty;
    EXPECT_EQ(nullptr, target.m_pBuffer);
    EXPECT_EQ(0, target.m_nLength);
    EXPECT_EQ(0u, platform.live_blocks());
}

TEST(MailPartCopy, AssignmentToItselfChangesNothing)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    fill(part);
    queue(part, "abc");
    CntsMLUTLMailPart& same = part;
    part = same;
    EXPECT_EQ("abc", queued(part));
    EXPECT_EQ("4", text_of(part.m_cFIleName));
    EXPECT_EQ(1, part.m_bIsTerminate);
    EXPECT_EQ(1u, platform.live_blocks());
}

TEST(MailPartCopy, AnAssignedPartCarriesNoMarker)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    part.SetContentCIAJWNETFAX("ACCEPT");
    CntsMLUTLMailPart target;
    target.SetContentCIAJWNETFAX(1);
    target = part;
    EXPECT_EQ("(null)", text_of(target.m_cContentCIAJWNETFAX));
    EXPECT_EQ("ACCEPT", text_of(part.m_cContentCIAJWNETFAX));
}

TEST(MailPartCopy, CopyPartLeavesTheMarkerAlone)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    part.SetContentCIAJWNETFAX("ACCEPT");
    CntsMLUTLMailPart target;
    target.SetContentCIAJWNETFAX(1);
    EXPECT_EQ(1, target.CopyPart(part));
    EXPECT_EQ("IGNORE", text_of(target.m_cContentCIAJWNETFAX));
}

TEST(MailPartCopy, CopyPartTwiceLeaksNothing)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    queue(part, "abc");
    CntsMLUTLMailPart target;
    EXPECT_EQ(1, target.CopyPart(part));
    EXPECT_EQ(1, target.CopyPart(part));
    EXPECT_EQ("abc", queued(target));
    EXPECT_EQ(2u, platform.live_blocks());
    EXPECT_EQ(1, part.CopyPart(part));
    EXPECT_EQ("abc", queued(part));
    EXPECT_EQ(2u, platform.live_blocks());
}

TEST(MailPartCopy, CopyPartOfAnEmptyPartDoesNotTouchTheBlock)
{
    PlatformDouble platform;
    const CntsMLUTLMailPart empty;
    CntsMLUTLMailPart target;
    queue(target, "abc");
    char* const held = target.m_pBuffer;
    EXPECT_EQ(1, target.CopyPart(empty));
    EXPECT_EQ(held, target.m_pBuffer);
    EXPECT_EQ(0, target.m_nLength);
    queue(target, "de");  // the block goes on as an empty queue
    EXPECT_EQ("de", queued(target));
    EXPECT_EQ("de", take(target, 0));
}

TEST(MailPartCopy, LeavesTheQueueOutWhenMemoryRunsOut)
{
    PlatformDouble platform;
    CntsMLUTLMailPart part;
    fill(part);
    queue(part, "abc");
    const char* const trace = "<Error> : CntsMLUTLMailPart::CopyPart() failed to allocate memory\n";
    {
        CntsMLUTLMailPart target;
        platform.fail_allocation(1);
        platform.expect_trace(trace);
        EXPECT_EQ(0, target.CopyPart(part));
        EXPECT_EQ(0, target.m_nLength);
        expect_filled_without_marker(target);
        EXPECT_EQ("(null)", take(target, 0));
    }
    {
        platform.fail_allocation(1);
        platform.expect_trace(trace);
        CntsMLUTLMailPart copy(part);
        EXPECT_EQ(0, copy.m_nLength);
        expect_filled_without_marker(copy);
    }
    {
        CntsMLUTLMailPart target;
        queue(target, "an older queue");
        platform.fail_allocation(1);
        platform.expect_trace(trace);
        target = part;
        EXPECT_EQ(0, target.m_nLength);
    }
    EXPECT_EQ("abc", queued(part));
    EXPECT_EQ(1u, platform.live_blocks());
}

}  // namespace
}  // namespace velorin_test
