// The fixture of the channel's tests, for both communicators.
#pragma once

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "platform_double.h"
#include "service_channel_support.h"

namespace velorin_test {

constexpr std::uint32_t kHandle = 0x89ABCDEF;
constexpr const char* kHandleText = "2309737967";  // the same in the log

template <typename Side>
class ServiceChannelFixture : public testing::Test {
protected:
    ServiceChannelFixture()
    {
        Side::Communicator::_semid = 0;
        platform.next_handle(kHandle);
        Side::make_test_request(request);
    }

    // Leaves the channel in the state in which the process has already made an exchange.
    void exchange_once()
    {
        platform.answer("");
        typename Side::Communicator other;
        typename Side::Envelope answer;
        ASSERT_EQ(other.call_esu_method(request, answer), 0u);
        platform.forget_calls();
        platform.next_handle(kHandle);
    }

    // After a failure the next exchange of the same communicator is a good one.
    void expect_next_exchange_works()
    {
        platform.forget_calls();
        platform.next_handle(kHandle);
        platform.answer(octets_of(Side::kTestAnswer));
        typename Side::Envelope answer;
        EXPECT_EQ(communicator.call_esu_method(request, answer), 0u);
        EXPECT_EQ(answer.test_res().retcode(), 7);
        EXPECT_EQ(platform.count("init("), 1u);
        EXPECT_EQ(platform.count("sem_request("), 1u);
    }

    PlatformDouble platform;
    typename Side::Communicator communicator;
    typename Side::Envelope request;
    typename Side::Envelope response;
};

using Sides = testing::Types<SmtpSide, Pop3Side>;

class SideNames {
public:
    template <typename Side>
    static std::string GetName(int)
    {
        return std::string(Side::kEndpoint).substr(15);
    }
};

}  // namespace velorin_test
