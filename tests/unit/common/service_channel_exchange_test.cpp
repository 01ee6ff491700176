// One exchange, for both communicators: every step, its order, each way to fail, and every kind of answer.
#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform_double.h"
#include "service_channel_fixture.h"
#include "service_channel_support.h"
#include "wire_octets.h"

using testing::ElementsAre;
using testing::IsEmpty;
using velorin_test::Call;
using velorin_test::call;
using velorin_test::Exchange;
using velorin_test::hex_of;
using velorin_test::init;
using velorin_test::kCallFailed;
using velorin_test::kHandle;
using velorin_test::kHandleText;
using velorin_test::line;
using velorin_test::octets_of;
using velorin_test::pool_alloc;
using velorin_test::sem_release;
using velorin_test::sem_request;

template <typename Side>
class ServiceChannelExchange : public velorin_test::ServiceChannelFixture<Side> {
};

TYPED_TEST_SUITE(ServiceChannelExchange, velorin_test::Sides, velorin_test::SideNames);

TYPED_TEST(ServiceChannelExchange, AnExchangeTakesItsStepsInOrder)
{
    this->platform.answer(octets_of(TypeParam::kTestAnswer));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), 0u);
    EXPECT_THAT(this->platform.calls(),
                ElementsAre(pool_alloc<TypeParam>(), "guard", "sem_create(0,1)", "guard_released",
                            sem_request<TypeParam>(), init<TypeParam>(), call<TypeParam>(kHandle),
                            std::string("term(") + kHandleText + ")", sem_release<TypeParam>(),
                            "pool_free(0)"));
    EXPECT_EQ(this->response.test_res().retcode(), 7);
    EXPECT_THAT(this->platform.live_pool_blocks(), IsEmpty());
}

TYPED_TEST(ServiceChannelExchange, TheExchangeGetsAZeroedBufferAndALengthOfZero)
{
    this->platform.answer("");
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), 0u);
    const std::vector<Exchange> exchanges = this->platform.exchanges();
    ASSERT_EQ(exchanges.size(), 1u);
    EXPECT_EQ(exchanges[0].endpoint, TypeParam::kEndpoint);
    EXPECT_EQ(hex_of(exchanges[0].request), TypeParam::kTestRequest);
    EXPECT_EQ(exchanges[0].handle, kHandle);
    EXPECT_EQ(exchanges[0].buffer_size, TypeParam::kReceiveSize);
    EXPECT_EQ(exchanges[0].timeout, -1);
    EXPECT_TRUE(exchanges[0].buffer_was_zero);
    EXPECT_EQ(exchanges[0].received_length_before, 0u);
}

TYPED_TEST(ServiceChannelExchange, ABufferThatCannotBeAllocatedHasATextOfItsOwn)
{
    this->platform.fail_call(Call::pool_alloc, 1, 0xFEED);
    this->platform.expect_trace(std::string(TypeParam::kAllocText) + "feed\n");
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), kCallFailed);
    EXPECT_THAT(this->platform.calls(), ElementsAre(pool_alloc<TypeParam>()));
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelExchange, AFailedCreationKeepsTheBufferFromThePool)
{
    this->platform.fail_call(Call::sem_create, 1, 0x4);
    this->platform.expect_kept_pool_blocks(1);
    this->platform.expect_trace(line<TypeParam>("start_method", "emwOSWRequestMutexSem() returns 0x4"));
    this->platform.expect_trace(line<TypeParam>("call_esu_method", "start_method()  0x21077103"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), kCallFailed);
    EXPECT_THAT(this->platform.calls(),
                ElementsAre(pool_alloc<TypeParam>(), "guard", "sem_create(0,1)", "guard_released"));
    EXPECT_THAT(this->platform.live_pool_blocks(), ElementsAre(TypeParam::kReceiveSize));
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelExchange, AFailedSemaphoreRequestKeepsTheBufferFromThePool)
{
    this->exchange_once();
    this->platform.fail_call(Call::sem_request, 1, 0x5);
    this->platform.expect_kept_pool_blocks(1);
    this->platform.expect_trace(line<TypeParam>("start_method", "emwOSWRequestMutexSem() returns 0x5"));
    this->platform.expect_trace(line<TypeParam>("call_esu_method", "start_method()  0x21077103"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), kCallFailed);
    EXPECT_EQ(this->platform.count("pool_free("), 0u);
    EXPECT_THAT(this->platform.live_pool_blocks(), ElementsAre(TypeParam::kReceiveSize));
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelExchange, AFailedOpenKeepsTheBufferFromThePoolAndReleasesTheSemaphore)
{
    this->exchange_once();
    this->platform.fail_call(Call::init, 1, 0x6);
    this->platform.expect_kept_pool_blocks(1);
    this->platform.expect_trace(line<TypeParam>("start_method", "emwGENPacketClntInit() returns 0x6"));
    this->platform.expect_trace(line<TypeParam>("call_esu_method", "start_method()  0x21077103"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), kCallFailed);
    EXPECT_THAT(this->platform.calls(),
                ElementsAre(pool_alloc<TypeParam>(), "guard", "guard_released", sem_request<TypeParam>(),
                            init<TypeParam>(), sem_release<TypeParam>()));
    EXPECT_THAT(this->platform.live_pool_blocks(), ElementsAre(TypeParam::kReceiveSize));
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelExchange, AFailedExchangeClosesAndFrees)
{
    this->exchange_once();
    this->platform.fail_call(Call::call, 1, 0x77);
    this->platform.expect_trace(line<TypeParam>("call_esu_method", "emwGENPacketClntCall returns 0x77"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), kCallFailed);
    EXPECT_THAT(this->platform.calls(),
                ElementsAre(pool_alloc<TypeParam>(), "guard", "guard_released", sem_request<TypeParam>(),
                            init<TypeParam>(), call<TypeParam>(kHandle),
                            std::string("term(") + kHandleText + ")", sem_release<TypeParam>(),
                            "pool_free(0)"));
    EXPECT_THAT(this->platform.live_pool_blocks(), IsEmpty());
    EXPECT_FALSE(this->response.has_test_res());
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelExchange, AfterAFailedExchangeTheStatusOfTheCloseIsIgnored)
{
    this->exchange_once();
    this->platform.fail_call(Call::call, 1, 0x77);
    this->platform.fail_call(Call::term, 1, 0x78);
    this->platform.fail_call(Call::sem_release, 1, 0x79);
    this->platform.expect_trace(line<TypeParam>("call_esu_method", "emwGENPacketClntCall returns 0x77"));
    this->platform.expect_trace(line<TypeParam>("end_method", "emwGENPacketClntTerm() returns 0x78"));
    this->platform.expect_trace(line<TypeParam>("end_method", "emwOSWReleaseMutexSem() returns 0x79"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), kCallFailed);
    EXPECT_THAT(this->platform.live_pool_blocks(), IsEmpty());
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelExchange, AFailedCloseFailsTheCallThoughTheAnswerIsParsed)
{
    this->platform.fail_call(Call::term, 1, 0x31);
    this->platform.answer(octets_of(TypeParam::kTestAnswer));
    this->platform.expect_trace(line<TypeParam>("end_method", "emwGENPacketClntTerm() returns 0x31"));
    this->platform.expect_trace(line<TypeParam>("call_esu_method", "end_method() returns 0x21077103"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), kCallFailed);
    EXPECT_EQ(this->response.test_res().retcode(), 7);
    EXPECT_THAT(this->platform.live_pool_blocks(), IsEmpty());
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelExchange, AFailedReleaseFailsTheCallThoughTheAnswerIsParsed)
{
    this->platform.fail_call(Call::sem_release, 1, 0x32);
    this->platform.answer(octets_of(TypeParam::kTestAnswer));
    this->platform.expect_trace(line<TypeParam>("end_method", "emwOSWReleaseMutexSem() returns 0x32"));
    this->platform.expect_trace(line<TypeParam>("call_esu_method", "end_method() returns 0x21077103"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), kCallFailed);
    EXPECT_EQ(this->response.test_res().retcode(), 7);
}

TYPED_TEST(ServiceChannelExchange, AFailedCloseAndAnAnswerThatDoesNotParseAreBothTraced)
{
    this->platform.fail_call(Call::term, 1, 0x33);
    this->platform.answer(octets_of("FF"));
    this->platform.expect_trace(line<TypeParam>("end_method", "emwGENPacketClntTerm() returns 0x33"));
    this->platform.expect_trace(line<TypeParam>("call_esu_method", "end_method() returns 0x21077103"));
    this->platform.expect_trace(line<TypeParam>("call_esu_method", "ParseFromString() returns NG"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), kCallFailed);
    EXPECT_THAT(this->platform.live_pool_blocks(), IsEmpty());
}

TYPED_TEST(ServiceChannelExchange, AnAnswerThatDoesNotParseFailsTheCall)
{
    const struct {
        const char* label;
        const char* hex;
    } cases[] = {
        {"half a varint", "08 80"},
        {"a tag alone", "08"},
        {"field number 0", "00 00"},
        {"a length beyond the end", "2A 02 08"},
        {"a wire type that does not exist", "0F"},
        {"a varint of eleven octets", "08 FF FF FF FF FF FF FF FF FF FF 01"},
        {"garbage inside the response", "2A 02 08 80"},
        {"an end of a group that never began", "0C"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.label);
        this->platform.answer(octets_of(one.hex));
        this->platform.expect_trace(line<TypeParam>("call_esu_method", "ParseFromString() returns NG"));
        typename TypeParam::Envelope answer;
        EXPECT_EQ(this->communicator.call_esu_method(this->request, answer), kCallFailed);
        EXPECT_TRUE(this->platform.verify());
        EXPECT_EQ(this->platform.held_semaphores(), 0u);
        EXPECT_THAT(this->platform.live_pool_blocks(), IsEmpty());
    }
    this->expect_next_exchange_works();
}

TYPED_TEST(ServiceChannelExchange, AnEmptyAnswerIsAnEnvelopeWithoutMembers)
{
    this->platform.answer("");
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), 0u);
    EXPECT_FALSE(this->response.has_method_type());
    EXPECT_FALSE(this->response.has_test_res());
    EXPECT_EQ(this->response.test_res().retcode(), 0);
}

TYPED_TEST(ServiceChannelExchange, ALengthLeftAtZeroIsAnEmptyAnswer)
{
    this->platform.answer(octets_of(TypeParam::kTestAnswer), 0);
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), 0u);
    EXPECT_FALSE(this->response.has_test_res());
}

TYPED_TEST(ServiceChannelExchange, OnlyTheReceivedLengthIsParsed)
{
    // The method type alone, though the whole answer stands in the buffer.
    this->platform.answer(octets_of(TypeParam::kTestAnswer), 2);
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), 0u);
    EXPECT_TRUE(this->response.has_method_type());
    EXPECT_FALSE(this->response.has_test_res());
}

TYPED_TEST(ServiceChannelExchange, TheZeroesBehindTheAnswerAreNotParsed)
{
    this->platform.answer(octets_of(TypeParam::kTestAnswer), 7);
    this->platform.expect_trace(line<TypeParam>("call_esu_method", "ParseFromString() returns NG"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), kCallFailed)
        << "a NUL behind the answer is field number 0";
}

namespace {

// An answer of exactly `size` octets: an unknown field of octets, then retcode 9.
template <typename Side>
std::string answer_of_size(std::size_t size)
{
    const std::string tail = velorin_test::delimited(Side::kTestResTag, octets_of("08 09"));
    const std::string tag = octets_of("FA 7F");  // field 2047
    std::string filling(size - tail.size() - tag.size() - 2, 'x');
    std::string answer = tag + velorin_test::varint(filling.size()) + filling + tail;
    EXPECT_EQ(answer.size(), size);
    return answer;
}

}  // namespace

TYPED_TEST(ServiceChannelExchange, AnAnswerThatFillsTheBufferIsTakenWhole)
{
    this->platform.answer(answer_of_size<TypeParam>(TypeParam::kReceiveSize));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), 0u);
    EXPECT_EQ(this->response.test_res().retcode(), 9);
}

TYPED_TEST(ServiceChannelExchange, AReceivedLengthOverTheSizeReadsNothingBehindTheBuffer)
{
    for (const std::uint32_t reported : {TypeParam::kReceiveSize + 1, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        SCOPED_TRACE(reported);
        this->platform.answer(answer_of_size<TypeParam>(TypeParam::kReceiveSize), reported);
        typename TypeParam::Envelope answer;
        EXPECT_EQ(this->communicator.call_esu_method(this->request, answer), 0u);
        EXPECT_EQ(answer.test_res().retcode(), 9);
    }
}

TYPED_TEST(ServiceChannelExchange, ARequestHasNoLimit)
{
    const std::string long_text(3u << 20, '\xE3');
    this->platform.answer("");
    typename TypeParam::Envelope envelope;
    TypeParam::make_test_request(envelope);
    envelope.mutable_test_req()->mutable_unknown_fields()->assign(
        octets_of("12") + velorin_test::varint(long_text.size()) + long_text);
    EXPECT_EQ(this->communicator.call_esu_method(envelope, this->response), 0u);
    EXPECT_EQ(this->platform.request(0).size(), 2 + 1 + 4 + 2 + 1 + 4 + long_text.size());
}

TYPED_TEST(ServiceChannelExchange, AnEmptyRequestIsSentAsNoOctets)
{
    this->platform.answer("");
    typename TypeParam::Envelope nothing;
    EXPECT_EQ(this->communicator.call_esu_method(nothing, this->response), 0u);
    EXPECT_EQ(this->platform.request(0), "");
}

TYPED_TEST(ServiceChannelExchange, TheMethodTypeOfTheAnswerIsNotCompared)
{
    // Method type 10 with the response that belongs to method TEST.
    this->platform.answer(octets_of("08 0A 2A 02 08 07"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), 0u);
    EXPECT_EQ(this->response.test_res().retcode(), 7);
    EXPECT_EQ(static_cast<int>(this->response.method_type()), 10);
}

TYPED_TEST(ServiceChannelExchange, UnknownFieldsOfAnAnswerAreSkipped)
{
    // In the envelope: field 100 varint, 101 fixed 64, 102 octets, 103 group, 104 fixed 32; in the response
    // field 2.
    this->platform.answer(octets_of("A0 06 01  A9 06 01 02 03 04 05 06 07 08  B2 06 02 61 62"
                                    "BB 06 08 01 BC 06  C5 06 01 02 03 04  2A 04 10 63 08 07"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), 0u);
    EXPECT_EQ(this->response.test_res().retcode(), 7);
}

TYPED_TEST(ServiceChannelExchange, AMethodTypeOutsideTheEnumReadsAsAbsent)
{
    this->platform.answer(octets_of("08 63 2A 02 08 07"));
    EXPECT_EQ(this->communicator.call_esu_method(this->request, this->response), 0u);
    EXPECT_FALSE(this->response.has_method_type());
    EXPECT_EQ(this->response.test_res().retcode(), 7);
}

TYPED_TEST(ServiceChannelExchange, EveryInstanceUsesTheSameSemaphore)
{
    this->platform.answer("");
    this->platform.answer("");
    typename TypeParam::Communicator other;
    typename TypeParam::Envelope answer;
    EXPECT_EQ(this->communicator.call_esu_method(this->request, answer), 0u);
    const std::uint32_t semid = TypeParam::Communicator::_semid;
    EXPECT_EQ(other.call_esu_method(this->request, answer), 0u);
    EXPECT_EQ(TypeParam::Communicator::_semid, semid);
    EXPECT_EQ(this->platform.count("sem_create("), 1u);
    EXPECT_EQ(this->platform.count(sem_request<TypeParam>()), 2u);
}

TYPED_TEST(ServiceChannelExchange, EachExchangeHasAChannelOfItsOwn)
{
    this->platform.answer("");
    this->platform.answer("");
    typename TypeParam::Envelope answer;
    EXPECT_EQ(this->communicator.call_esu_method(this->request, answer), 0u);
    EXPECT_EQ(this->communicator.call_esu_method(this->request, answer), 0u);
    EXPECT_EQ(this->platform.count("init("), 2u);
    EXPECT_EQ(this->platform.count("term("), 2u);
    EXPECT_EQ(this->platform.exchanges()[0].handle + 1, this->platform.exchanges()[1].handle);
}
