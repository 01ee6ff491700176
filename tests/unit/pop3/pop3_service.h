// What the tests of the POP3 session share: its requests and answers put together by hand, and its trace
// lines.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "CntsPOP3Boundary.h"
#include "platform_double.h"
#include "service_octets.h"
#include "wire_octets.h"

namespace velorin_test {

using Pop3Method = ServiceMethod;
constexpr Pop3Method kCreateInstance = {"08 01", "12", "1A"};
constexpr Pop3Method kTest = {"08 02", "22", "2A"};
constexpr Pop3Method kConnect = {"08 03", "32", "3A"};
constexpr Pop3Method kStat = {"08 04", "42", "4A"};
constexpr Pop3Method kList = {"08 05", "52", "5A"};
constexpr Pop3Method kListNext = {"08 06", "62", "6A"};
constexpr Pop3Method kReceiveHeader = {"08 07", "72", "7A"};
constexpr Pop3Method kReceiveBody = {"08 08", "82 01", "8A 01"};
constexpr Pop3Method kReceivePartHeader = {"08 09", "92 01", "9A 01"};
constexpr Pop3Method kReceivePartBody = {"08 0A", "A2 01", "AA 01"};
constexpr Pop3Method kSkipMail = {"08 0B", "B2 01", "BA 01"};
constexpr Pop3Method kSkipPart = {"08 0C", "C2 01", "CA 01"};
constexpr Pop3Method kDelete = {"08 0D", "D2 01", "DA 01"};
constexpr Pop3Method kClose = {"08 0E", "E2 01", "EA 01"};
constexpr Pop3Method kRefMailAddress = {"08 0F", "F2 01", "FA 01"};
constexpr Pop3Method kNoop = {"08 10", "82 02", "8A 02"};
constexpr Pop3Method kDeleteByUid = {"08 11", "92 02", "9A 02"};
constexpr Pop3Method kReceiveHeaderOnly = {"08 12", "A2 02", "AA 02"};
constexpr Pop3Method kDestroyInstance = {"08 13", "B2 02", "BA 02"};

// An answer: what it carries, then its code. The tag of the code differs: "08" where nothing stands in front
// of it, "10" behind one field, "18" behind two.
inline std::string answer_of(const Pop3Method& method, const char* code_tag, std::uint32_t code,
                             const std::string& carried = "")
{
    return octets_of(method.type) +
           delimited(method.response,
                     carried + octets_of(code_tag) + varint_of_int32(static_cast<std::int32_t>(code)));
}

// Settings that were never filled in: address and texts are empty.
inline std::string empty_settings()
{
    return octets_of("0A 02 0A 00 12 00 18 00 22 00 2A 00 30 00 38 00 40 00 48 00 50 00 58 00");
}

inline velorin::CntsPOP3Settings settings()
{
    return velorin::CntsPOP3Settings(velorin::SPOP3Setting());
}

inline std::string session_line(const std::string& method, const std::string& text)
{
    return "CntsPOP3Boundary::" + method + "():[Return]:ntc_email_esu_pop3_main_communicator::" + text + "\n";
}

inline std::string communicator_line(const std::string& method, const std::string& text)
{
    return "ntc_email_esu_pop3_main_communicator::" + method + "():" + text + "\n";
}

inline std::string helper_line(const std::string& method, const std::string& text)
{
    return "ntc_email_esu_pop3_helper::" + method + "():" + text + " returns NG\n";
}

// The exchange itself fails once, and these are its lines.
inline void fail_exchange(PlatformDouble& platform, const std::string& method)
{
    platform.fail_call(Call::call, 1, 0x1234);
    platform.expect_trace(communicator_line("call_esu_method", "emwGENPacketClntCall returns 0x1234"));
    platform.expect_trace(communicator_line(method, "call_esu_method() returns 0x21077103"));
}

// A session that was created; exchanges that no test scripts are answered by nothing, its end among them.
class Pop3Session : public testing::Test {
protected:
    Pop3Session()
    {
        platform.on_exchange([](const Exchange&) { return Answer{}; });
        session = std::make_unique<velorin::CntsPOP3Boundary>(settings());
        number = session_in_create(platform.request(0));
    }
    ~Pop3Session() override
    {
        if (session == nullptr) return;
        session.reset();
        EXPECT_EQ(hex_of(last_request()), hex_of(request_of(kDestroyInstance, number)));
    }
    std::string last_request() const { return platform.request(platform.exchanges().size() - 1); }

    PlatformDouble platform;
    std::unique_ptr<velorin::CntsPOP3Boundary> session;
    std::uint32_t number = 0;
};

}  // namespace velorin_test
