// What the two communicators differ in, written down for the tests a second time.
#pragma once

#include <cstdint>
#include <string>

#include "ntc_email_esu_pop3_main_communicator.h"
#include "ntc_email_esu_smtp_main_communicator.h"
#include "platform_double.h"

namespace velorin_test {

constexpr std::uint32_t kCallFailed = 0x21077103;

struct SmtpSide {
    using Communicator = velorin::ntc_email_esu_smtp_main_communicator;
    using Envelope = velorin::ntc_email_esu_smtp_method;
    static constexpr const char* kEndpoint = "pcie:ntc_email_smtp";
    static constexpr std::uint32_t kReceiveSize = 4096;
    static constexpr const char* kName = "ntc_email_esu_smtp_main_communicator::";
    static constexpr const char* kAllocText =
        "ntc_email_esu_smtp_main_communicator::call_esu_method():emwOSWAllocMem() returns 0x";
    // An envelope with method type 1 and nothing else, and one with a test_req for session 5.
    static constexpr const char* kMethodOnly = "08 01";
    static constexpr const char* kTestRequest = "08 01 22 02 08 05";
    // Field 5, test_res, with retcode 7.
    static constexpr const char* kTestAnswer = "08 01 2A 02 08 07";
    static constexpr const char* kTestResTag = "2A";

    static void make_test_request(Envelope& envelope)
    {
        envelope.set_method_type(velorin::NTC_EMAIL_ESU_SMTP_METHOD_TEST);
        envelope.mutable_test_req()->set_session_id(5);
    }
};

struct Pop3Side {
    using Communicator = velorin::ntc_email_esu_pop3_main_communicator;
    using Envelope = velorin::ntc_email_esu_pop3_method;
    static constexpr const char* kEndpoint = "pcie:ntc_email_pop3";
    static constexpr std::uint32_t kReceiveSize = 8192;
    static constexpr const char* kName = "ntc_email_esu_pop3_main_communicator::";
    static constexpr const char* kAllocText =
        "ntc_email_esu_pop3_main_communicator::call_esu_method():emwOSWAllocMem returns 0x";
    static constexpr const char* kMethodOnly = "08 02";
    static constexpr const char* kTestRequest = "08 02 22 02 08 05";
    static constexpr const char* kTestAnswer = "08 02 2A 02 08 07";
    static constexpr const char* kTestResTag = "2A";

    static void make_test_request(Envelope& envelope)
    {
        envelope.set_method_type(velorin::NTC_EMAIL_ESU_POP3_METHOD_TEST);
        envelope.mutable_test_req()->set_session_id(5);
    }
};

// A trace line of a communicator.
template <typename Side>
std::string line(const std::string& method, const std::string& text)
{
    return std::string(Side::kName) + method + "():" + text + "\n";
}

template <typename Side>
std::string sem_request()
{
    return "sem_request(" + std::to_string(Side::Communicator::_semid) + ",-1)";
}

template <typename Side>
std::string sem_release()
{
    return "sem_release(" + std::to_string(Side::Communicator::_semid) + ")";
}

template <typename Side>
std::string init()
{
    return std::string("init(") + Side::kEndpoint + ")";
}

template <typename Side>
std::string pool_alloc()
{
    return "pool_alloc(0," + std::to_string(Side::kReceiveSize) + ")";
}

// The call with the test request of a Side, which is 6 octets.
template <typename Side>
std::string call(std::uint32_t handle)
{
    return "call(" + std::to_string(handle) + ",6," + std::to_string(Side::kReceiveSize) + ",-1)";
}

}  // namespace velorin_test
