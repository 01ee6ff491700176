// Where addresses are wider than the 32 bits of a session's number, two addresses may have the same low half.
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/mman.h>

#include "CntsSMTPBoundary.h"
#include "ntc_email_esu_pop3_main_communicator.h"
#include "ntc_email_esu_smtp_main_communicator.h"
#include "operator_new.h"
#include "platform_double.h"

using velorin::CntsSMTPBoundary;
using velorin::CntsSMTPSettings;
using velorin::nts_smtp_settings;
using velorin_test::PlatformDouble;

namespace {

#if UINTPTR_MAX > 0xFFFFFFFF

constexpr std::size_t kRoom = 4096;
constexpr std::size_t kFourGib = std::size_t{1} << 32;
constexpr std::size_t kPages = 8;

// Hands out pages that lie a multiple of 4 GiB from each other, so that what begins in them has the same low
// half.
class FarPages {
public:
    FarPages()
        : reserved_(
              mmap(nullptr, kPages * kFourGib, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))
    {
        EXPECT_NE(reserved_, MAP_FAILED) << "no address space to spread pages over";
        if (reserved_ == MAP_FAILED) limit_ = 0;
        velorin_test::serve_nothrow_new([this](std::size_t size) { return serve(size); },
                                        [this](void*) { --live_; });
    }
    ~FarPages()
    {
        velorin_test::serve_nothrow_new_as_usual();
        EXPECT_EQ(live_, 0u) << "objects are left in the pages";
        if (reserved_ != MAP_FAILED) munmap(reserved_, kPages * kFourGib);
    }
    FarPages(const FarPages&) = delete;
    FarPages& operator=(const FarPages&) = delete;

    std::size_t served() const { return served_; }
    std::size_t live() const { return live_; }
    void stop_after(std::size_t count) { limit_ = count; }

private:
    void* serve(std::size_t size)
    {
        if (size > kRoom || served_ >= limit_) return nullptr;
        void* const page = static_cast<char*>(reserved_) + served_ * kFourGib;
        if (mprotect(page, kRoom, PROT_READ | PROT_WRITE) != 0) return nullptr;
        ++served_;
        ++live_;
        return page;
    }

    void* const reserved_;
    std::size_t served_ = 0;
    std::size_t live_ = 0;
    std::size_t limit_ = kPages;
};

std::uint32_t low_half(const void* object)
{
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(object));
}

template <typename Communicator>
class SessionIdentity : public testing::Test {
};

using Communicators = testing::Types<velorin::ntc_email_esu_smtp_main_communicator,
                                     velorin::ntc_email_esu_pop3_main_communicator>;

#endif

}  // namespace

#if UINTPTR_MAX > 0xFFFFFFFF

TYPED_TEST_SUITE(SessionIdentity, Communicators);

TYPED_TEST(SessionIdentity, TheHeapThatThisTestMakesGivesEqualLowHalves)
{
    FarPages pages;
    char* const first = new (std::nothrow) char;
    char* const second = new (std::nothrow) char;
    EXPECT_EQ(pages.served(), 2u);
    EXPECT_NE(first, second);
    EXPECT_EQ(low_half(first), low_half(second));
    delete first;
    delete second;
    EXPECT_EQ(pages.live(), 0u);
}

TYPED_TEST(SessionIdentity, ACommunicatorThatWouldCollideLandsElsewhere)
{
    FarPages pages;
    pages.stop_after(4);
    const std::unique_ptr<TypeParam> first(new (std::nothrow) TypeParam);
    ASSERT_EQ(pages.served(), 1u);
    const std::unique_ptr<TypeParam> second(new (std::nothrow) TypeParam);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(pages.served(), 4u) << "the colliding addresses were tried";
    EXPECT_NE(low_half(first.get()), low_half(second.get()));
    EXPECT_EQ(pages.live(), 1u) << "and given back";
}

TYPED_TEST(SessionIdentity, ThePlainFormOfNewDoesTheSame)
{
    FarPages pages;
    pages.stop_after(2);
    const std::unique_ptr<TypeParam> first(new TypeParam);
    const std::unique_ptr<TypeParam> second(new TypeParam);
    EXPECT_NE(low_half(first.get()), low_half(second.get()));
}

TYPED_TEST(SessionIdentity, ANumberIsFreeAgainWhenItsSessionHasEnded)
{
    FarPages pages;
    std::unique_ptr<TypeParam> first(new (std::nothrow) TypeParam);
    const std::uint32_t number = low_half(first.get());
    first.reset();
    const std::unique_ptr<TypeParam> second(new (std::nothrow) TypeParam);
    EXPECT_EQ(low_half(second.get()), number);
    EXPECT_EQ(pages.served(), 2u);
}

TYPED_TEST(SessionIdentity, MemoryThatRunsOutWhileEvadingGivesNullAndKeepsNothing)
{
    FarPages pages;
    pages.stop_after(3);
    const std::unique_ptr<TypeParam> first(new (std::nothrow) TypeParam);
    // Two colliding blocks, then no memory.
    velorin_test::fail_nothrow_new(3);
    const std::unique_ptr<TypeParam> second(new (std::nothrow) TypeParam);
    velorin_test::fail_nothrow_new(0);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(pages.served(), 3u);
    EXPECT_EQ(pages.live(), 1u);
}

// A port's own communicator, which is not made after all.
template <typename Communicator>
class Unmade : public Communicator {
public:
    Unmade() { throw std::bad_alloc(); }
};

TYPED_TEST(SessionIdentity, ACommunicatorThatCannotBeMadeGivesItsMemoryAndItsNumberBack)
{
    FarPages pages;
    EXPECT_THROW(static_cast<void>(new (std::nothrow) Unmade<TypeParam>), std::bad_alloc);
    EXPECT_EQ(pages.served(), 1u);
    EXPECT_EQ(pages.live(), 0u);
    EXPECT_THROW(static_cast<void>(new Unmade<TypeParam>), std::bad_alloc);
    EXPECT_EQ(pages.served(), 2u);
    EXPECT_EQ(pages.live(), 0u);
    const std::unique_ptr<TypeParam> made(new (std::nothrow) TypeParam);
    EXPECT_EQ(pages.served(), 3u) << "no live one has the number";
}

TEST(SessionIdentityOfSessions, TwoLiveSessionsNeverShareANumber)
{
    PlatformDouble platform;
    platform.on_exchange([](const velorin_test::Exchange&) { return velorin_test::Answer{}; });
    const CntsSMTPSettings settings{nts_smtp_settings()};
    std::vector<std::string> requests;
    {
        FarPages pages;
        pages.stop_after(2);
        CntsSMTPBoundary first(settings);
        EXPECT_EQ(pages.served(), 1u);
        CntsSMTPBoundary second(settings);
        EXPECT_EQ(pages.served(), 2u);
        EXPECT_EQ(pages.live(), 1u);
        EXPECT_NE(platform.request(0), platform.request(1))
            << "the two create requests differ in their number";
    }
    // The second ends first; each is destroyed under the number that it was created with.
    ASSERT_EQ(platform.exchanges().size(), 4u);
    EXPECT_NE(platform.request(2), platform.request(3));
}

TEST(SessionIdentityOfSessions, AnSmtpAndAPop3CommunicatorMayBeAlive)
{
    const std::unique_ptr<velorin::ntc_email_esu_smtp_main_communicator> smtp(
        new velorin::ntc_email_esu_smtp_main_communicator);
    const std::unique_ptr<velorin::ntc_email_esu_pop3_main_communicator> pop3(
        new velorin::ntc_email_esu_pop3_main_communicator);
    EXPECT_NE(low_half(smtp.get()), low_half(pop3.get()));
}

#else

TEST(SessionIdentity, AnAddressIsTheNumber)
{
    static_assert(sizeof(void*) == sizeof(std::uint32_t), "no two addresses have the same number here");
    SUCCEED();
}

#endif
