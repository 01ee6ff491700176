// What the tests of the SMTP session share: its requests put together by hand, and its trace lines.
#pragma once

#include <cstdint>
#include <string>

#include "platform_double.h"
#include "service_octets.h"
#include "wire_octets.h"

namespace velorin_test {

using SmtpMethod = ServiceMethod;
constexpr SmtpMethod kCreateInstance = {"08 00", "12", "1A"};
constexpr SmtpMethod kTest = {"08 01", "22", "2A"};
constexpr SmtpMethod kConnect = {"08 02", "32", "3A"};
constexpr SmtpMethod kSendHeader = {"08 03", "42", "4A"};
constexpr SmtpMethod kSendBody = {"08 04", "52", "5A"};
constexpr SmtpMethod kSendPartHeader = {"08 05", "62", "6A"};
constexpr SmtpMethod kSendPartBody = {"08 06", "72", "7A"};
constexpr SmtpMethod kClose = {"08 07", "82 01", "8A 01"};
constexpr SmtpMethod kAbort = {"08 08", "92 01", "9A 01"};
constexpr SmtpMethod kJudgeSizeOfData = {"08 09", "A2 01", "AA 01"};
constexpr SmtpMethod kDestroyInstance = {"08 0A", "B2 01", "BA 01"};

// An answer as the service gives it. `code` is what the caller is to see.
inline std::string answer_of(const SmtpMethod& method, std::uint32_t code)
{
    return octets_of(method.type) +
           delimited(method.response, octets_of("08") + varint_of_int32(static_cast<std::int32_t>(code)));
}

// Settings that were never filled in: texts are empty, the host name is "localhost".
inline std::string empty_settings()
{
    return octets_of("08 00 12 00 18 00 20 00 32 00 3A 00 42 09 6C 6F 63 61 6C 68 6F 73 74 48 00 50 00 58 00 "
                     "60 00 68 00 70 00");
}

inline std::string session_line(const std::string& method, const std::string& text)
{
    return "CntsSMTPBoundary::" + method + "():[Return]:ntc_email_esu_smtp_main_communicator" + text + "\n";
}

inline std::string communicator_line(const std::string& method, const std::string& text)
{
    return "ntc_email_esu_smtp_main_communicator::" + method + "():" + text + "\n";
}

}  // namespace velorin_test
