// A request that cannot be serialised. The runtime refuses only messages of 2 GiB, so this program takes the
// place of its function.
#include <string>

#include <dlfcn.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <google/protobuf/message_lite.h>

#include "platform_double.h"
#include "service_channel_support.h"

namespace {

bool refuse = false;
int refused = 0;

}  // namespace

bool google::protobuf::MessageLite::SerializeToString(std::string* output) const
{
    if (refuse) {
        ++refused;
        return false;
    }
    output->clear();
    return AppendToString(output);
}

using testing::IsEmpty;
using velorin_test::kCallFailed;
using velorin_test::line;
using velorin_test::PlatformDouble;
using velorin_test::Pop3Side;
using velorin_test::SmtpSide;

template <typename Side>
class SerializeFailure : public testing::Test {
protected:
    void TearDown() override { refuse = false; }
};

using Sides = testing::Types<SmtpSide, Pop3Side>;
TYPED_TEST_SUITE(SerializeFailure, Sides);

TYPED_TEST(SerializeFailure, ARequestThatCannotBeSerialisedIsNotSent)
{
    PlatformDouble platform;
    typename TypeParam::Communicator communicator;
    typename TypeParam::Envelope request;
    typename TypeParam::Envelope response;
    TypeParam::make_test_request(request);
    refused = 0;
    refuse = true;
    platform.expect_trace(line<TypeParam>("call_esu_method", "SerializeToString() returns NG"));
    EXPECT_EQ(communicator.call_esu_method(request, response), kCallFailed);
    EXPECT_EQ(refused, 1) << "the library serialises through the function that this program defines";
    EXPECT_THAT(platform.calls(), IsEmpty());
    refuse = false;
    platform.answer("");
    EXPECT_EQ(communicator.call_esu_method(request, response), 0u);
    EXPECT_EQ(platform.request(0), velorin_test::octets_of(TypeParam::kTestRequest));
}

TEST(SerializeFailureOfAnOperation, IsTracedByTheOperationToo)
{
    PlatformDouble platform;
    velorin::ntc_email_esu_smtp_main_communicator communicator;
    refuse = true;
    platform.expect_trace(line<SmtpSide>("call_esu_method", "SerializeToString() returns NG"));
    platform.expect_trace(line<SmtpSide>("call_connect", "call_esu_method() returns 0x21077103"));
    EXPECT_EQ(communicator.call_connect(), kCallFailed);
    refuse = false;
    EXPECT_THAT(platform.calls(), IsEmpty());
}
