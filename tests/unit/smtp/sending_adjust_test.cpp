// AdjustBuffLenM3: body octets cut to multiples of three, what is over carried to the next chunk.
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CntsSMTPBoundary.h"
#include "CutlCPLBOSBoundary.h"
#include "platform_double.h"
#include "smtp_service.h"

using testing::ElementsAre;
using velorin::CntsSMTPBoundary;
using velorin::CntsSMTPSettings;
using velorin::nts_smtp_settings;
using velorin_test::answer_of;
using velorin_test::hex_of;
using velorin_test::kCreateInstance;
using velorin_test::kDestroyInstance;
using velorin_test::PlatformDouble;

namespace {

constexpr std::uint32_t kNoMemory = 0x21077101;
constexpr std::uint32_t kInvalidArgument = 0x2107720F;
constexpr char kNobody = '\x7E';  // in the carry area where no octet was put

std::string adjust_line(const char* text)
{
    return std::string("CntsSMTPBoundary::AdjustBuffLenM3():") + text + "[Error]\n";
}

void* block_with(const std::string& octets)
{
    void* const block = CutlCPLBOSBoundary::MemAllocate(octets.size());
    if (!octets.empty()) std::memcpy(block, octets.data(), octets.size());
    return block;
}

// The caller's side: a block of exactly its octets, and the carry area between two octets that nobody may
// touch.
struct Caller {
    void* buffer = nullptr;
    long length = 0;
    long count = 0;
    char area[4] = {kNobody, kNobody, kNobody, kNobody};

    Caller() = default;
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;
    ~Caller() { CutlCPLBOSBoundary::MemFree(buffer); }

    char* carry() { return area + 1; }
    void give(const std::string& octets)
    {
        CutlCPLBOSBoundary::MemFree(buffer);
        buffer = block_with(octets);
        length = static_cast<long>(octets.size());
    }
    std::string octets() const
    {
        return std::string(static_cast<const char*>(buffer), static_cast<std::size_t>(length));
    }
    std::string carried() { return std::string(carry(), static_cast<std::size_t>(count)); }
    void expect_borders_untouched() const
    {
        EXPECT_EQ(area[0], kNobody);
        EXPECT_EQ(area[3], kNobody);
    }
};

class Adjust : public testing::Test {
protected:
    Adjust()
    {
        platform.on_exchange([](const velorin_test::Exchange&) { return velorin_test::Answer{}; });
        session = std::make_unique<CntsSMTPBoundary>(CntsSMTPSettings(nts_smtp_settings()));
        platform.forget_calls();
    }

    std::uint32_t adjust(Caller& caller)
    {
        return session->AdjustBuffLenM3(caller.buffer, caller.length, caller.count, caller.carry());
    }

    PlatformDouble platform;
    std::unique_ptr<CntsSMTPBoundary> session;
};

std::string text_of_length(std::size_t length, unsigned seed)
{
    std::string text;
    for (std::size_t index = 0; index < length; ++index)
        text.push_back(static_cast<char>((seed * 131 + index * 29 + 1) & 0xFF));
    return text;
}

}  // namespace

TEST_F(Adjust, EveryLengthAndCarry)
{
    for (unsigned seed = 0; seed < 3; ++seed) {
        for (std::size_t length = 1; length <= 20; ++length) {
            for (long carried = 0; carried <= 2; ++carried) {
                SCOPED_TRACE("length " + std::to_string(length) + ", carry " + std::to_string(carried));
                const std::string data = text_of_length(length, seed);
                const std::string held = text_of_length(static_cast<std::size_t>(carried), seed + 50);
                // What is held back stands in front; of both together the multiple of three goes, the rest
                // stays.
                const std::string whole = held + data;
                const std::size_t rest = whole.size() % 3;
                const std::string goes = whole.substr(0, whole.size() - rest);
                const std::string stays = whole.substr(whole.size() - rest);

                Caller caller;
                caller.give(data);
                caller.count = carried;
                std::memcpy(caller.carry(), held.data(), held.size());
                void* const old = caller.buffer;
                const std::size_t allocations = platform.allocations();

                EXPECT_EQ(adjust(caller), 0u);
                EXPECT_EQ(caller.length, static_cast<long>(goes.size()));
                EXPECT_EQ(caller.count, static_cast<long>(rest));
                EXPECT_EQ(hex_of(caller.octets()), hex_of(goes));
                EXPECT_EQ(hex_of(caller.carried()), hex_of(stays));
                caller.expect_borders_untouched();
                // The area beyond what is carried now keeps what it held.
                for (std::size_t index = rest; index < 2; ++index) {
                    EXPECT_EQ(caller.carry()[index], index < held.size() ? held[index] : kNobody) << index;
                }
                if (carried == 0) {
                    EXPECT_EQ(caller.buffer, old) << "nothing was carried in, so nothing is copied";
                    EXPECT_EQ(platform.allocations(), allocations);
                    EXPECT_EQ(std::string(static_cast<const char*>(old), length), data);
                } else {
                    EXPECT_NE(caller.buffer, old);
                    EXPECT_EQ(PlatformDouble::block_size(old), -1) << "the old block is freed";
                    EXPECT_EQ(PlatformDouble::block_size(caller.buffer),
                              static_cast<long>(length) + carried + 1);
                    EXPECT_EQ(platform.allocations(), allocations + 1);
                    const bool holds_data = !(carried == 1 && length == 1);
                    if (holds_data) {
                        EXPECT_EQ(static_cast<const char*>(caller.buffer)[caller.length], 0);
                    }
                }
                EXPECT_EQ(platform.live_blocks(), 1u);
            }
        }
    }
    EXPECT_THAT(platform.calls(), testing::IsEmpty()) << "cutting is no exchange";
}

TEST_F(Adjust, ALengthOfZeroChangesNothingWhateverTheCarry)
{
    for (const long carried : {0l, 1l, 2l, 3l, -1l, LONG_MAX, LONG_MIN}) {
        SCOPED_TRACE(carried);
        Caller caller;
        caller.count = carried;
        caller.carry()[0] = 'a';
        caller.carry()[1] = 'b';
        EXPECT_EQ(adjust(caller), 0u);
        EXPECT_EQ(caller.buffer, nullptr);
        EXPECT_EQ(caller.length, 0);
        EXPECT_EQ(caller.count, carried);
        EXPECT_EQ(std::string(caller.carry(), 2), "ab");
        caller.give("");
        void* const block = caller.buffer;
        EXPECT_EQ(adjust(caller), 0u);
        EXPECT_EQ(caller.buffer, block);
        EXPECT_EQ(caller.length, 0);
        EXPECT_EQ(caller.count, carried);
    }
}

TEST_F(Adjust, AnInvalidCarryChangesNothing)
{
    for (const long carried : {3l, -1l, 4l, -2l, LONG_MAX, LONG_MIN}) {
        for (const long length : {1l, 2l, 3l, 5l}) {
            SCOPED_TRACE(std::to_string(carried) + " " + std::to_string(length));
            Caller caller;
            const std::string data = text_of_length(static_cast<std::size_t>(length), 7);
            caller.give(data);
            void* const block = caller.buffer;
            caller.count = carried;
            caller.carry()[0] = 'a';
            caller.carry()[1] = 'b';
            platform.expect_trace(adjust_line("ModLen is invalid"));
            EXPECT_EQ(adjust(caller), kInvalidArgument);
            EXPECT_TRUE(platform.verify());
            EXPECT_EQ(caller.buffer, block);
            EXPECT_EQ(caller.length, length);
            EXPECT_EQ(caller.octets(), data);
            EXPECT_EQ(caller.count, carried);
            EXPECT_EQ(std::string(caller.carry(), 2), "ab");
        }
    }
}

TEST_F(Adjust, WithoutMemoryNothingChanges)
{
    for (long carried = 1; carried <= 2; ++carried) {
        for (std::size_t length = 1; length <= 8; ++length) {
            SCOPED_TRACE(std::to_string(carried) + " " + std::to_string(length));
            Caller caller;
            const std::string data = text_of_length(length, 9);
            caller.give(data);
            void* const block = caller.buffer;
            caller.count = carried;
            caller.carry()[0] = 'a';
            caller.carry()[1] = 'b';
            platform.fail_allocation(1);
            platform.expect_trace(adjust_line("AllocError"));
            EXPECT_EQ(adjust(caller), kNoMemory);
            EXPECT_TRUE(platform.verify());
            EXPECT_EQ(caller.buffer, block);
            EXPECT_EQ(caller.octets(), data);
            EXPECT_EQ(caller.count, carried);
            EXPECT_EQ(std::string(caller.carry(), 2), "ab");
            EXPECT_EQ(platform.live_blocks(), 1u);
            EXPECT_EQ(adjust(caller), 0u) << "and the same call works once there is memory";
        }
    }
}

TEST_F(Adjust, WithoutACarryNoMemoryIsNeeded)
{
    platform.fail_allocations_from(2);
    Caller caller;
    caller.give("abcd");
    EXPECT_EQ(adjust(caller), 0u);
    EXPECT_EQ(caller.octets(), "abc");
    EXPECT_FALSE(platform.allocation_failed());
}

TEST_F(Adjust, ANegativeLengthIsRefused)
{
    const struct {
        long carried;
        const char* text;
    } cases[] = {{0, "case 3 <- NG"}, {1, "case 7 <- NG"}, {2, "case 11 <- NG"}};
    for (const auto& one : cases) {
        for (const long length : {-1l, -2l, -4l, -5l, -7l, -8l, -1000l}) {
            SCOPED_TRACE(std::to_string(one.carried) + " " + std::to_string(length));
            Caller caller;
            caller.give("abcdef");
            caller.length = length;
            caller.count = one.carried;
            caller.carry()[0] = 'a';
            caller.carry()[1] = 'b';
            platform.expect_trace(adjust_line(one.text));
            EXPECT_EQ(adjust(caller), kInvalidArgument);
            EXPECT_TRUE(platform.verify());
            EXPECT_EQ(caller.count, one.carried);
            EXPECT_EQ(std::string(caller.carry(), 2), "ab");
            caller.expect_borders_untouched();
            EXPECT_EQ(platform.live_blocks(), 1u);
            EXPECT_GE(PlatformDouble::block_size(caller.buffer), 0) << "the caller can free what it has";
        }
    }
}

// Lengths whose sum with the carry is a multiple of three have no remainder that would tell them from good
// ones.
TEST_F(Adjust, ANegativeLengthWithoutARemainderCopiesNothing)
{
    for (const long length : {-3l, -6l, -3000l}) {
        SCOPED_TRACE(length);
        Caller caller;
        caller.give("abcdef");
        void* const block = caller.buffer;
        caller.length = length;
        EXPECT_EQ(adjust(caller), 0u) << "without a carry a remainder of 0 is 0 unchanged";
        EXPECT_EQ(caller.buffer, block);
        EXPECT_EQ(caller.length, length);
        EXPECT_EQ(caller.count, 0);
        caller.expect_borders_untouched();
    }
    const struct {
        long carried;
        long length;
        const char* text;
    } cases[] = {
        {1, -1, "case 7 <- NG"},        {1, -4, "case 7 <- NG"},       {2, -2, "case 11 <- NG"},
        {2, -5, "case 11 <- NG"},       {0, LONG_MIN, "case 3 <- NG"}, {1, LONG_MIN, "case 7 <- NG"},
        {2, LONG_MIN, "case 11 <- NG"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(std::to_string(one.carried) + " " + std::to_string(one.length));
        Caller caller;
        caller.give("abcdef");
        caller.length = one.length;
        caller.count = one.carried;
        platform.expect_trace(adjust_line(one.text));
        EXPECT_EQ(adjust(caller), kInvalidArgument);
        EXPECT_TRUE(platform.verify());
        EXPECT_EQ(platform.live_blocks(), 1u);
    }
}

// The block is replaced although the call fails: callers may keep no pointer into the old one.
TEST_F(Adjust, ANegativeLengthWithACarryReplacesTheBlock)
{
    for (long carried = 1; carried <= 2; ++carried) {
        SCOPED_TRACE(carried);
        Caller caller;
        caller.give("abcdef");
        void* const old = caller.buffer;
        caller.length = -1;
        caller.count = carried;
        platform.expect_trace(adjust_line(carried == 1 ? "case 7 <- NG" : "case 11 <- NG"));
        EXPECT_EQ(adjust(caller), kInvalidArgument);
        EXPECT_TRUE(platform.verify());
        EXPECT_NE(caller.buffer, old);
        EXPECT_EQ(PlatformDouble::block_size(old), -1);
        EXPECT_GE(PlatformDouble::block_size(caller.buffer), 0);
    }
}

TEST_F(Adjust, ALengthThatNoBlockCanHaveIsNoMemory)
{
    for (long carried = 1; carried <= 2; ++carried) {
        for (const long length : {LONG_MAX, LONG_MAX - 1, LONG_MAX - 2}) {
            SCOPED_TRACE(std::to_string(carried) + " " + std::to_string(LONG_MAX - length));
            Caller caller;
            caller.give("abcdef");
            void* const block = caller.buffer;
            caller.length = length;
            caller.count = carried;
            platform.expect_trace(adjust_line("AllocError"));
            EXPECT_EQ(adjust(caller), kNoMemory);
            EXPECT_TRUE(platform.verify());
            EXPECT_EQ(caller.buffer, block);
            EXPECT_EQ(caller.length, length);
            EXPECT_EQ(caller.count, carried);
        }
    }
}

TEST_F(Adjust, ThreeChunksOfFive)
{
    Caller caller;
    caller.give("abcde");
    EXPECT_EQ(adjust(caller), 0u);
    EXPECT_EQ(caller.octets(), "abc");
    EXPECT_EQ(caller.carried(), "de");
    caller.give("fghij");
    EXPECT_EQ(adjust(caller), 0u);
    EXPECT_EQ(caller.octets(), "defghi");
    EXPECT_EQ(caller.carried(), "j");
    caller.give("klmno");
    EXPECT_EQ(adjust(caller), 0u);
    EXPECT_EQ(caller.octets(), "jklmno");
    EXPECT_EQ(caller.count, 0);
}

TEST_F(Adjust, OneOctetOnACarryOfOneLeavesAnEmptyBlock)
{
    Caller caller;
    caller.give("b");
    void* const old = caller.buffer;
    caller.count = 1;
    caller.carry()[0] = 'a';
    EXPECT_EQ(adjust(caller), 0u);
    EXPECT_EQ(caller.length, 0);
    EXPECT_EQ(caller.carried(), "ab");
    EXPECT_NE(caller.buffer, old);
    EXPECT_EQ(PlatformDouble::block_size(caller.buffer), 3);
    EXPECT_EQ(static_cast<const char*>(caller.buffer)[0], 'a');  // no NUL is put into a block without data
}

TEST_F(Adjust, WhatIsHeldBackStaysPhysicallyAtTheEnd)
{
    Caller caller;
    caller.give("abcde");
    EXPECT_EQ(adjust(caller), 0u);
    EXPECT_EQ(std::string(static_cast<const char*>(caller.buffer), 5), "abcde");
}

TEST_F(Adjust, EveryTwoCutsOfATextJoinToTheWhole)
{
    for (std::size_t length = 0; length <= 24; ++length) {
        const std::string text = text_of_length(length, 3);
        for (std::size_t first = 0; first <= length; ++first) {
            for (std::size_t second = first; second <= length; ++second) {
                Caller caller;
                std::string joined;
                for (const std::string& chunk :
                     {text.substr(0, first), text.substr(first, second - first), text.substr(second)}) {
                    caller.give(chunk);
                    ASSERT_EQ(adjust(caller), 0u);
                    ASSERT_EQ(caller.length % 3, 0);
                    joined += caller.octets();
                }
                joined += caller.carried();
                ASSERT_EQ(hex_of(joined), hex_of(text)) << first << " " << second;
            }
        }
    }
}

TEST_F(Adjust, OctetByOctetTheTextJoinsToTheWhole)
{
    const std::string text = text_of_length(100, 11);
    Caller caller;
    std::string joined;
    for (const char octet : text) {
        caller.give(std::string(1, octet));
        ASSERT_EQ(adjust(caller), 0u);
        joined += caller.octets();
    }
    EXPECT_EQ(joined + caller.carried(), text);
    EXPECT_EQ(caller.count, 1);
}

TEST(AdjustWithoutACommunicator, CutsAllTheSame)
{
    PlatformDouble platform;
    platform.answer(answer_of(kCreateInstance, 1));
    platform.expect_trace(
        velorin_test::session_line("CntsSMTPBoundary", "::call_create_instance() returns 0x1"));
    CntsSMTPBoundary session{CntsSMTPSettings(nts_smtp_settings())};
    Caller caller;
    caller.give("abcd");
    EXPECT_EQ(session.AdjustBuffLenM3(caller.buffer, caller.length, caller.count, caller.carry()), 0u);
    EXPECT_EQ(caller.octets(), "abc");
    EXPECT_EQ(caller.carried(), "d");
    EXPECT_EQ(platform.exchanges().size(), 1u);
}
