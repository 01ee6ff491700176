#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "CutlCPLBOSBoundary.h"
#include "CutlCPLBObject.h"

// The sanitizers' allocators end the process when a block is too large, unless they are told to do as the C
// library does.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options();
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();

extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}

extern "C" const char* __tsan_default_options()
{
    return "allocator_may_return_null=1";
}

namespace {

constexpr std::size_t kMoreThanThereIs = std::numeric_limits<std::size_t>::max() - 4096;

TEST(OSBoundary, EmptyBlockIsABlock)
{
    void* const first = CutlCPLBOSBoundary::MemAllocate(0);
    void* const second = CutlCPLBOSBoundary::MemAllocate(0);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(second, nullptr);
    EXPECT_NE(first, second);
    CutlCPLBOSBoundary::MemFree(first);
    CutlCPLBOSBoundary::MemFree(second);
}

TEST(OSBoundary, ReallocationKeepsTheOctets)
{
    char* block = static_cast<char*>(CutlCPLBOSBoundary::MemReallocate(nullptr, 5));
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "abcde", 5);
    block = static_cast<char*>(CutlCPLBOSBoundary::MemReallocate(block, 100000));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::memcmp(block, "abcde", 5), 0);
    block = static_cast<char*>(CutlCPLBOSBoundary::MemReallocate(block, 2));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::memcmp(block, "ab", 2), 0);
    block = static_cast<char*>(CutlCPLBOSBoundary::MemReallocate(block, 0));
    EXPECT_NE(block, nullptr);
    CutlCPLBOSBoundary::MemFree(block);
}

TEST(OSBoundary, EverySizeHasRoomAndKeepsTheOctets)
{
    constexpr std::size_t kMost = 3000;
    const auto octet_at = [](std::size_t at) { return static_cast<char>(at * 7 % 127); };
    for (const std::size_t step : {1, 3, 45, 64, 129, 1000}) {
        char* block = nullptr;
        std::size_t length = 0;
        const auto resize = [&](std::size_t size) {
            char* const resized = static_cast<char*>(CutlCPLBOSBoundary::MemReallocate(block, size));
            ASSERT_NE(resized, nullptr);
            block = resized;
            for (std::size_t at = 0; at < std::min(length, size); ++at) {
                ASSERT_EQ(block[at], octet_at(at)) << size << " octets";
            }
            for (std::size_t at = length; at < size; ++at) {
                block[at] = octet_at(at);
            }
            length = size;
        };
        for (std::size_t size = 1; size <= kMost; size += step) {
            resize(size);
        }
        for (std::size_t size = kMost; size > step; size -= step) {
            resize(size);
        }
        CutlCPLBOSBoundary::MemFree(block);
    }
}

TEST(OSBoundary, FailureIsNullAndTheOldBlockStaysValid)
{
    // Through a variable: the compiler would refuse the constant.
    volatile std::size_t too_much = kMoreThanThereIs;
    EXPECT_EQ(CutlCPLBOSBoundary::MemAllocate(too_much), nullptr);
    char* const block = static_cast<char*>(CutlCPLBOSBoundary::MemAllocate(3));
    ASSERT_NE(block, nullptr);
    std::memcpy(block, "abc", 3);
    EXPECT_EQ(CutlCPLBOSBoundary::MemReallocate(block, too_much), nullptr);
    EXPECT_EQ(std::memcmp(block, "abc", 3), 0);
    CutlCPLBOSBoundary::MemFree(block);
}

TEST(OSBoundary, FreeTakesNull)
{
    CutlCPLBOSBoundary::MemFree(nullptr);
    SUCCEED();  // that it returns is the contract
}

TEST(PlatformObject, IsDestroyedThroughItsBase)
{
    struct Derived : CutlCPLBObject {
        explicit Derived(bool& flag) : gone(flag) {}
        ~Derived() override { gone = true; }
        bool& gone;
    };
    bool gone = false;
    CutlCPLBObject* const object = new Derived(gone);
    delete object;
    EXPECT_TRUE(gone);
}

}  // namespace
