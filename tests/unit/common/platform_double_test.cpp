// The double itself: what it is there to notice, it notices.
#include "platform_double.h"

#include <string>
#include <thread>

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "CntsMLUTLMailException.h"
#include "CutlCPLBMVector.h"
#include "CutlCPLBOSBoundary.h"
#include "emwCLB.h"
#include "emwGEN.h"
#include "emwOSW.h"

using testing::ElementsAre;
using testing::IsEmpty;
using velorin_test::Answer;
using velorin_test::Call;
using velorin_test::hex_of;
using velorin_test::octets_of;
using velorin_test::PlatformDouble;

namespace {

void trace_one_line()
{
    emwGENTrcPrintf(0x2107, 0x102, 0, "%s %d\n", "line", 1);
}

}  // namespace

TEST(PlatformDoubleTrace, AnUnexpectedLineFailsTheTest)
{
    EXPECT_NONFATAL_FAILURE(
        {
            PlatformDouble platform;
            trace_one_line();
        },
        "trace lines");
}

TEST(PlatformDoubleTrace, AMissingLineFailsTheTest)
{
    EXPECT_NONFATAL_FAILURE(
        {
            PlatformDouble platform;
            platform.expect_trace("line 1\n");
        },
        "trace lines");
}

TEST(PlatformDoubleTrace, LinesOutOfOrderFailTheTest)
{
    PlatformDouble platform;
    platform.expect_trace("line 1\n");
    platform.expect_trace("second\n");
    emwGENTrcPrintf(0x2107, 0x102, 0, "second\n");
    trace_one_line();
    EXPECT_NONFATAL_FAILURE(platform.verify(), "trace lines");
}

TEST(PlatformDoubleTrace, AnotherModuleLevelOrOptionFailsTheTest)
{
    static PlatformDouble* platform = nullptr;
    PlatformDouble own;
    platform = &own;
    EXPECT_NONFATAL_FAILURE(emwGENTrcPrintf(0x2106, 0x102, 0, "a\n"), "module");
    EXPECT_NONFATAL_FAILURE(emwGENTrcPrintf(0x2107, 0x101, 0, "a\n"), "level");
    EXPECT_NONFATAL_FAILURE(emwGENTrcPrintf(0x2107, 0x102, 1, "a\n"), "option");
    EXPECT_THAT(platform->take_traces(), ElementsAre("a\n", "a\n", "a\n"));
}

TEST(PlatformDoubleTrace, ExpectedLinesPass)
{
    PlatformDouble platform;
    platform.expect_trace("line 1\n");
    platform.expect_trace_matching(testing::MatchesRegex("line [0-9]+\n"));
    trace_one_line();
    trace_one_line();
    EXPECT_TRUE(platform.verify());
}

TEST(PlatformDoubleHeap, TheNthAllocationFails)
{
    PlatformDouble platform;
    platform.fail_allocation(2);
    void* const first = CutlCPLBOSBoundary::MemAllocate(10);
    ASSERT_NE(first, nullptr);
    EXPECT_FALSE(platform.allocation_failed());
    EXPECT_EQ(CutlCPLBOSBoundary::MemReallocate(first, 5), nullptr);
    EXPECT_TRUE(platform.allocation_failed());
    void* const third = CutlCPLBOSBoundary::MemReallocate(first, 5);
    ASSERT_NE(third, nullptr);
    EXPECT_THAT(platform.live_block_sizes(), ElementsAre(5u));
    EXPECT_EQ(PlatformDouble::block_size(third), 5);
    CutlCPLBOSBoundary::MemFree(third);
    EXPECT_EQ(platform.live_blocks(), 0u);
    EXPECT_EQ(platform.allocations(), 3u);
}

TEST(PlatformDoubleHeap, EveryLaterAllocationFails)
{
    PlatformDouble platform;
    platform.fail_allocations_from(2);
    void* const first = CutlCPLBOSBoundary::MemAllocate(10);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(CutlCPLBOSBoundary::MemAllocate(1), nullptr);
    EXPECT_EQ(CutlCPLBOSBoundary::MemReallocate(nullptr, 1), nullptr);
    platform.fail_allocations_from(0);
    void* const last = CutlCPLBOSBoundary::MemAllocate(1);
    EXPECT_NE(last, nullptr);
    CutlCPLBOSBoundary::MemFree(first);
    CutlCPLBOSBoundary::MemFree(last);
}

TEST(PlatformDoubleHeap, TheNthAllocationThrows)
{
    PlatformDouble platform;
    platform.throw_on_allocation(1, "reason");
    try {
        CutlCPLBOSBoundary::MemAllocate(1);
        ADD_FAILURE() << "nothing was thrown";
    } catch (velorin::CntsMLUTLMailException* thrown) {
        EXPECT_STREQ(thrown->m_pszText, "reason");
        delete thrown;
    }
    EXPECT_EQ(platform.live_blocks(), 0u);
}

TEST(PlatformDoubleHeap, ABlockLeftFailsTheTest)
{
    static void* left = nullptr;
    EXPECT_NONFATAL_FAILURE(
        {
            PlatformDouble platform;
            left = CutlCPLBOSBoundary::MemAllocate(7);
        },
        "heap blocks are left");
    CutlCPLBOSBoundary::MemFree(left);
}

TEST(PlatformDoubleHeap, AnUnknownBlockFailsTheTest)
{
    PlatformDouble platform;
    EXPECT_NONFATAL_FAILURE(
        {
            int unknown = 0;
            CutlCPLBOSBoundary::MemFree(&unknown);
        },
        "not live");
}

#if !defined(__SANITIZE_ADDRESS__)
TEST(PlatformDoubleHeap, AnOctetBehindABlockFailsTheTest)
{
    PlatformDouble platform;
    static volatile char* block = nullptr;
    block = static_cast<char*>(CutlCPLBOSBoundary::MemAllocate(3));
    block[3] = 0;
    EXPECT_NONFATAL_FAILURE(CutlCPLBOSBoundary::MemFree(const_cast<char*>(block)), "behind a block");
}
#endif

TEST(PlatformDoubleChannel, AnswersInOrderAndRecordsTheRequest)
{
    PlatformDouble platform;
    platform.next_handle(77);
    platform.answer("one");
    platform.answer("two", 2);
    std::uint32_t handle = 0;
    ASSERT_EQ(emwGENPacketClntInit("pcie:x", &handle), 0u);
    EXPECT_EQ(handle, 77u);
    char buffer[8] = {0};
    std::uint32_t received = 0;
    EXPECT_EQ(emwGENPacketClntCall(handle, "abc", 3, buffer, sizeof buffer, &received, -1), 0u);
    EXPECT_EQ(std::string(buffer, received), "one");
    EXPECT_EQ(emwGENPacketClntCall(handle, "de", 2, buffer, sizeof buffer, &received, -1), 0u);
    EXPECT_EQ(std::string(buffer, received), "tw");
    EXPECT_EQ(emwGENPacketClntTerm(handle), 0u);
    EXPECT_THAT(platform.calls(),
                ElementsAre("init(pcie:x)", "call(77,3,8,-1)", "call(77,2,8,-1)", "term(77)"));
    EXPECT_EQ(platform.request(0), "abc");
    EXPECT_EQ(platform.exchanges()[0].endpoint, "pcie:x");
    EXPECT_TRUE(platform.exchanges()[0].buffer_was_zero);
    EXPECT_FALSE(platform.exchanges()[1].buffer_was_zero);
    EXPECT_EQ(platform.most_open_channels("pcie:x"), 1u);
}

TEST(PlatformDoubleChannel, FailsTheCallThatWasNamed)
{
    PlatformDouble platform;
    platform.fail_call(Call::init, 2, 0x11);
    std::uint32_t handle = 0;
    EXPECT_EQ(emwGENPacketClntInit("pcie:x", &handle), 0u);
    std::uint32_t other = 0;
    EXPECT_EQ(emwGENPacketClntInit("pcie:x", &other), 0x11u);
    EXPECT_EQ(other, 0u);
    platform.fail_call(Call::term, 1, 0x12);
    EXPECT_EQ(emwGENPacketClntTerm(handle), 0x12u);
    EXPECT_EQ(platform.open_channels(), 0u);
}

TEST(PlatformDoubleChannel, AnOpenChannelAtTheEndFailsTheTest)
{
    EXPECT_NONFATAL_FAILURE(
        {
            PlatformDouble platform;
            std::uint32_t handle = 0;
            emwGENPacketClntInit("pcie:x", &handle);
        },
        "channels are open");
}

TEST(PlatformDoubleSemaphore, CountsWhatIsHeld)
{
    PlatformDouble platform;
    std::uint32_t semid = 0;
    ASSERT_EQ(emwOSWCreateMutexSem(&semid, 0, 1), 0u);
    EXPECT_NE(semid, 0u);
    EXPECT_EQ(emwOSWRequestMutexSem(semid, -1), 0u);
    EXPECT_EQ(platform.held_semaphores(), 1u);
    platform.fail_call(Call::sem_release, 1, 5);
    EXPECT_EQ(emwOSWReleaseMutexSem(semid), 5u);
    EXPECT_EQ(platform.held_semaphores(), 0u);
    EXPECT_EQ(emwOSWRequestMutexSem(semid, -1), 0u);
    EXPECT_EQ(emwOSWReleaseMutexSem(semid), 0u);
    const std::string number = std::to_string(semid);
    EXPECT_THAT(platform.calls(), ElementsAre("sem_create(0,1)", "sem_request(" + number + ",-1)",
                                              "sem_release(" + number + ")", "sem_request(" + number + ",-1)",
                                              "sem_release(" + number + ")"));
}

TEST(PlatformDoublePool, KnowsItsBlocks)
{
    PlatformDouble platform;
    void* block = nullptr;
    ASSERT_EQ(emwOSWOrgAllocMemPart(0, &block, 12), 0u);
    EXPECT_THAT(platform.live_pool_blocks(), ElementsAre(12u));
    void* other = nullptr;
    platform.fail_call(Call::sub_alloc, 1, 9);
    EXPECT_EQ(emwOSWSubAllocMem(&other, 3), 9u);
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(emwOSWOrgFreeMemPart(0, block), 0u);
    EXPECT_NONFATAL_FAILURE(emwOSWOrgFreeMemPart(0, block), "not live");
    EXPECT_THAT(platform.live_pool_blocks(), IsEmpty());
}

TEST(PlatformDoublePool, ABlockLeftFailsTheTestUnlessExpected)
{
    EXPECT_NONFATAL_FAILURE(
        {
            PlatformDouble platform;
            void* block = nullptr;
            emwOSWOrgAllocMemPart(0, &block, 12);
        },
        "pool blocks are left");
    PlatformDouble platform;
    platform.expect_kept_pool_blocks(1);
    void* block = nullptr;
    EXPECT_EQ(emwOSWOrgAllocMemPart(0, &block, 12), 0u);
}

TEST(PlatformDoubleOther, ReplacesVectorTimeAndConverter)
{
    PlatformDouble platform;
    CutlCPLBMVector vector;
    int item = 0;
    platform.fail_call(Call::vector_add, 2);
    EXPECT_NE(vector.Add(0, &item), 0);
    EXPECT_EQ(vector.Add(1, &item), 0);
    EXPECT_EQ(vector.GetCount(), 1);
    platform.fail_call(Call::vector_remove, 1);
    EXPECT_EQ(vector.Remove(0), 0);
    EXPECT_NE(vector.Remove(0), 0);
    EXPECT_EQ(platform.count_vector_calls(), 4u);

    const std::time_t now = 0;
    std::tm fixed = {};
    fixed.tm_year = 99;
    platform.local_time(fixed);
    std::tm out = {};
    EXPECT_EQ(emwCLBLocalTime_r(&now, &out), &out);
    EXPECT_EQ(out.tm_year, 99);
    platform.fail_call(Call::local_time, 1);
    EXPECT_EQ(emwCLBLocalTime_r(&now, &out), nullptr);

    UTL_LIB_CHGC_REQUEST request = {"a", nullptr, 0, 0};
    platform.converter([](UTL_LIB_CHGC_ENCODE_TYPE from, UTL_LIB_CHGC_ENCODE_TYPE to, UTL_LIB_CHGC_REQUEST*) {
        return static_cast<std::uint32_t>(from * 10 + to);
    });
    EXPECT_EQ(utl_lib_convert_encode(3, 4, &request), 34u);
    platform.fail_call(Call::convert, 1, 7);
    EXPECT_EQ(utl_lib_convert_encode(3, 4, &request), 7u);
}

namespace {

// An allocation, a vector's Add, a pool's block and its end; each that fails leaves out what follows from it.
std::string tried(PlatformDouble& platform)
{
    void* const block = CutlCPLBOSBoundary::MemAllocate(1);
    CutlCPLBOSBoundary::MemFree(block);
    CutlCPLBMVector vector;
    const int added = vector.Add(0, &vector);
    void* pool_block = nullptr;
    const std::uint32_t code = emwOSWOrgAllocMemPart(0, &pool_block, 1);
    if (pool_block != nullptr) emwOSWOrgFreeMemPart(0, pool_block);
    std::string records;
    for (const velorin_test::CallRecord& record : platform.take_call_records())
        records += std::string(velorin_test::name_of(record.call)) + (record.failed ? "! " : " ");
    EXPECT_EQ(block == nullptr, records.find("allocate!") == 0);
    EXPECT_EQ(added == 0, records.find("vector_add!") != std::string::npos);
    EXPECT_EQ(code, records.find("pool_alloc!") != std::string::npos ? 0xBADu : 0u);
    return records;
}

}  // namespace

TEST(PlatformDoubleAnyCall, FailsTheNthOfAllKinds)
{
    PlatformDouble platform;
    EXPECT_EQ(tried(platform), "allocate vector_add pool_alloc pool_free ");
    platform.fail_any_call(1);
    EXPECT_EQ(tried(platform), "allocate! vector_add pool_alloc pool_free ");
    platform.fail_any_call(3);
    EXPECT_EQ(tried(platform), "allocate vector_add pool_alloc! ");
    platform.fail_any_call(5);
    EXPECT_EQ(tried(platform), "allocate vector_add pool_alloc pool_free ");
    EXPECT_EQ(tried(platform), "allocate! vector_add pool_alloc pool_free ") << "it counts on";
}

TEST(PlatformDoubleAnyCall, FailsAllFromTheNth)
{
    PlatformDouble platform;
    platform.fail_any_calls_from(2);
    EXPECT_EQ(tried(platform), "allocate vector_add! pool_alloc! ");
    EXPECT_EQ(tried(platform), "allocate! vector_add! pool_alloc! ");
    platform.fail_any_calls_from(0);
    EXPECT_EQ(tried(platform), "allocate vector_add pool_alloc pool_free ");
}

TEST(PlatformDoubleAnyCall, KnowsWhenItIsInside)
{
    PlatformDouble platform;
    bool was_inside = false;
    platform.converter([&](UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_ENCODE_TYPE, UTL_LIB_CHGC_REQUEST*) {
        was_inside = PlatformDouble::is_inside();
        return 0u;
    });
    UTL_LIB_CHGC_REQUEST request = {};
    EXPECT_EQ(utl_lib_convert_encode(0, 7, &request), 0u);
    EXPECT_TRUE(was_inside);
    EXPECT_FALSE(PlatformDouble::is_inside());
}

TEST(PlatformDoubleOther, PassesOnWithoutADouble)
{
    void* block = nullptr;
    EXPECT_EQ(emwOSWOrgAllocMemPart(0, &block, 4), 0u);
    EXPECT_EQ(emwOSWOrgFreeMemPart(0, block), 0u);
    std::uint32_t handle = 0;
    EXPECT_NE(emwGENPacketClntInit("pcie:nobody_serves_this_name", &handle), 0u);
    char output[4];
    UTL_LIB_CHGC_REQUEST request = {"abc", output, sizeof output, 0};
    EXPECT_EQ(utl_lib_convert_encode(0, 7, &request), 0u);
    EXPECT_EQ(std::string(output, request.output_length), "abc");
    const OSW_Thread_Guard guard;
    CutlCPLBMVector vector;
    EXPECT_NE(vector.Add(0, &block), 0);
    EXPECT_EQ(vector.GetAt(0), &block);
}

TEST(PlatformDoubleOther, OctetsAndHex)
{
    EXPECT_EQ(octets_of("00 7f FF\n0a"), std::string("\x00\x7f\xff\n", 4));
    EXPECT_EQ(hex_of(std::string("\x00\x7f\xff\n", 4)), "00 7F FF 0A");
    EXPECT_NONFATAL_FAILURE(octets_of("0"), "odd number");
    EXPECT_NONFATAL_FAILURE(octets_of("0g1"), "no hex digit");
}
