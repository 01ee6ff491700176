// Opening and closing a channel, for both communicators: every step, its order, and each way to fail.
#include <cstdint>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform_double.h"
#include "service_channel_fixture.h"
#include "service_channel_support.h"

using testing::ElementsAre;
using testing::IsEmpty;
using velorin_test::Call;
using velorin_test::init;
using velorin_test::kCallFailed;
using velorin_test::kHandleText;
using velorin_test::line;
using velorin_test::PlatformDouble;
using velorin_test::Pop3Side;
using velorin_test::sem_release;
using velorin_test::sem_request;
using velorin_test::SmtpSide;

template <typename Side>
class ServiceChannelStart : public velorin_test::ServiceChannelFixture<Side> {
};

TYPED_TEST_SUITE(ServiceChannelStart, velorin_test::Sides, velorin_test::SideNames);

TYPED_TEST(ServiceChannelStart, TheFirstStartCreatesTheSemaphoreUnderTheGuard)
{
    EXPECT_EQ(this->communicator.start_method(), 0u);
    EXPECT_NE(TypeParam::Communicator::_semid, 0u);
    EXPECT_THAT(this->platform.calls(), ElementsAre("guard", "sem_create(0,1)", "guard_released",
                                                    sem_request<TypeParam>(), init<TypeParam>()));
    EXPECT_EQ(this->platform.held_semaphores(), 1u);
    EXPECT_EQ(this->platform.open_channels(), 1u);
    EXPECT_EQ(this->communicator.end_method(), 0u);
}

TYPED_TEST(ServiceChannelStart, LaterStartsTakeTheGuardAndCreateNothing)
{
    this->exchange_once();
    const std::uint32_t semid = TypeParam::Communicator::_semid;
    EXPECT_EQ(this->communicator.start_method(), 0u);
    EXPECT_EQ(TypeParam::Communicator::_semid, semid);
    EXPECT_THAT(this->platform.calls(),
                ElementsAre("guard", "guard_released", sem_request<TypeParam>(), init<TypeParam>()));
    EXPECT_EQ(this->communicator.end_method(), 0u);
}

TYPED_TEST(ServiceChannelStart, StartWithAnOpenChannelReturnsAtOnce)
{
    ASSERT_EQ(this->communicator.start_method(), 0u);
    this->platform.forget_calls();
    EXPECT_EQ(this->communicator.start_method(), 0u);
    EXPECT_EQ(this->communicator.start_method(), 0u);
    EXPECT_THAT(this->platform.calls(), IsEmpty());
    EXPECT_EQ(this->platform.open_channels(), 1u);
    EXPECT_EQ(this->communicator.end_method(), 0u);
    EXPECT_EQ(this->platform.open_channels(), 0u);
    EXPECT_EQ(this->platform.held_semaphores(), 0u);
}

TYPED_TEST(ServiceChannelStart, EndClosesThenReleases)
{
    ASSERT_EQ(this->communicator.start_method(), 0u);
    this->platform.forget_calls();
    EXPECT_EQ(this->communicator.end_method(), 0u);
    EXPECT_THAT(this->platform.calls(),
                ElementsAre(std::string("term(") + kHandleText + ")", sem_release<TypeParam>()));
}

TYPED_TEST(ServiceChannelStart, EndWithoutAChannelDoesNothing)
{
    EXPECT_EQ(this->communicator.end_method(), 0u);
    EXPECT_THAT(this->platform.calls(), IsEmpty());
    ASSERT_EQ(this->communicator.start_method(), 0u);
    ASSERT_EQ(this->communicator.end_method(), 0u);
    this->platform.forget_calls();
    EXPECT_EQ(this->communicator.end_method(), 0u);
    EXPECT_THAT(this->platform.calls(), IsEmpty());
}

TYPED_TEST(ServiceChannelStart, ACreationFailureIsReportedAsTheRequests)
{
    this->platform.fail_call(Call::sem_create, 1, 0xC0DE);
    this->platform.expect_trace(line<TypeParam>("start_method", "emwOSWRequestMutexSem() returns 0xc0de"));
    EXPECT_EQ(this->communicator.start_method(), kCallFailed);
    EXPECT_EQ(TypeParam::Communicator::_semid, 0u);
    EXPECT_THAT(this->platform.calls(), ElementsAre("guard", "sem_create(0,1)", "guard_released"));
    this->platform.forget_calls();
    EXPECT_EQ(this->communicator.start_method(), 0u) << "the semaphore is created by the next call";
    EXPECT_EQ(this->platform.count("sem_create("), 1u);
    EXPECT_EQ(this->communicator.end_method(), 0u);
}

TYPED_TEST(ServiceChannelStart, ASemaphoreThatCannotBeTakenOpensNothing)
{
    this->exchange_once();
    this->platform.fail_call(Call::sem_request, 1, 0x1);
    this->platform.expect_trace(line<TypeParam>("start_method", "emwOSWRequestMutexSem() returns 0x1"));
    EXPECT_EQ(this->communicator.start_method(), kCallFailed);
    EXPECT_THAT(this->platform.calls(), ElementsAre("guard", "guard_released", sem_request<TypeParam>()));
    EXPECT_EQ(this->communicator.end_method(), 0u) << "nothing to close";
    EXPECT_EQ(this->platform.count("term("), 0u);
}

TYPED_TEST(ServiceChannelStart, AChannelThatCannotBeOpenedReleasesTheSemaphore)
{
    this->exchange_once();
    this->platform.fail_call(Call::init, 1, 0xFFFFFFFF);
    this->platform.expect_trace(line<TypeParam>("start_method", "emwGENPacketClntInit() returns 0xffffffff"));
    EXPECT_EQ(this->communicator.start_method(), kCallFailed);
    EXPECT_THAT(this->platform.calls(), ElementsAre("guard", "guard_released", sem_request<TypeParam>(),
                                                    init<TypeParam>(), sem_release<TypeParam>()));
    EXPECT_EQ(this->platform.held_semaphores(), 0u);
    this->platform.forget_calls();
    EXPECT_EQ(this->communicator.end_method(), 0u) << "the handle is 0";
    EXPECT_THAT(this->platform.calls(), IsEmpty());
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelStart, AHandleThatAFailedOpenWroteCountsForNothing)
{
    this->platform.failed_init_writes(0x1234);
    this->platform.fail_call(Call::init, 1, 2);
    this->platform.expect_trace(line<TypeParam>("start_method", "emwGENPacketClntInit() returns 0x2"));
    EXPECT_EQ(this->communicator.start_method(), kCallFailed);
    EXPECT_EQ(this->communicator.end_method(), 0u) << "no channel is open";
    EXPECT_EQ(this->platform.count("term("), 0u);
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelStart, AReleaseThatFailsAfterAFailedOpenIsIgnored)
{
    this->exchange_once();
    this->platform.fail_call(Call::init, 1, 2);
    this->platform.fail_call(Call::sem_release, 1, 3);
    this->platform.expect_trace(line<TypeParam>("start_method", "emwGENPacketClntInit() returns 0x2"));
    EXPECT_EQ(this->communicator.start_method(), kCallFailed);
}

TYPED_TEST(ServiceChannelStart, AFailedCloseStillReleases)
{
    ASSERT_EQ(this->communicator.start_method(), 0u);
    this->platform.forget_calls();
    this->platform.fail_call(Call::term, 1, 0x2A);
    this->platform.expect_trace(line<TypeParam>("end_method", "emwGENPacketClntTerm() returns 0x2a"));
    EXPECT_EQ(this->communicator.end_method(), kCallFailed);
    EXPECT_THAT(this->platform.calls(),
                ElementsAre(std::string("term(") + kHandleText + ")", sem_release<TypeParam>()));
    this->platform.forget_calls();
    EXPECT_EQ(this->communicator.end_method(), 0u) << "the handle is 0 all the same";
    EXPECT_THAT(this->platform.calls(), IsEmpty());
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelStart, AFailedReleaseFailsTheEnd)
{
    ASSERT_EQ(this->communicator.start_method(), 0u);
    this->platform.fail_call(Call::sem_release, 1, 0x10);
    this->platform.expect_trace(line<TypeParam>("end_method", "emwOSWReleaseMutexSem() returns 0x10"));
    EXPECT_EQ(this->communicator.end_method(), kCallFailed);
    EXPECT_EQ(this->communicator.end_method(), 0u);
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelStart, CloseAndReleaseMayBothFail)
{
    ASSERT_EQ(this->communicator.start_method(), 0u);
    this->platform.fail_call(Call::term, 1, 0xA);
    this->platform.fail_call(Call::sem_release, 1, 0xB);
    this->platform.expect_trace(line<TypeParam>("end_method", "emwGENPacketClntTerm() returns 0xa"));
    this->platform.expect_trace(line<TypeParam>("end_method", "emwOSWReleaseMutexSem() returns 0xb"));
    EXPECT_EQ(this->communicator.end_method(), kCallFailed);
    this->expect_next_exchange_works();
}

TEST(ServiceChannel, TheTwoProtocolsHaveSemaphoresOfTheirOwn)
{
    PlatformDouble platform;
    SmtpSide::Communicator::_semid = 0;
    Pop3Side::Communicator::_semid = 0;
    SmtpSide::Communicator smtp;
    Pop3Side::Communicator pop3;
    EXPECT_EQ(smtp.start_method(), 0u);
    EXPECT_EQ(Pop3Side::Communicator::_semid, 0u);
    EXPECT_EQ(pop3.start_method(), 0u) << "though the other's is held";
    EXPECT_NE(SmtpSide::Communicator::_semid, Pop3Side::Communicator::_semid);
    EXPECT_EQ(platform.held_semaphores(), 2u);
    EXPECT_EQ(smtp.end_method(), 0u);
    EXPECT_EQ(pop3.end_method(), 0u);
}

TEST(ServiceChannel, ACommunicatorIsDeletedThroughItsVirtualDestructor)
{
    EXPECT_TRUE(std::has_virtual_destructor<SmtpSide::Communicator>::value);
    EXPECT_TRUE(std::has_virtual_destructor<Pop3Side::Communicator>::value);
}
