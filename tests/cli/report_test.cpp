#include "report.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "velorin_mail_service.h"

using namespace velorin;
using namespace velorin::cli;

// The exit codes are promised to scripts: the whole table stands here once more.
TEST(CliReport, EveryCodeHasItsExitCode)
{
    static const struct {
        const char* name;
        int exit_code;
    } expected[] = {
        {"wrong-order", 70},       {"unknown-session", 70},     {"malformed-request", 70},
        {"limit-reached", 75},     {"shutting-down", 75},       {"session-busy", 70},
        {"aborted", 75},           {"bad-settings", 78},        {"internal-failure", 70},
        {"name-lookup", 68},       {"connect-refused", 75},     {"time-out", 75},
        {"connection-lost", 75},   {"server-refused", 75},      {"reply-malformed", 76},
        {"tls-failed", 76},        {"certificate-refused", 76}, {"tls-not-offered", 76},
        {"ca-unusable", 78},       {"login-refused", 77},       {"mailbox-in-use", 75},
        {"no-common-method", 76},  {"login-required", 77},      {"sender-refused", 77},
        {"recipient-refused", 67}, {"recipient-deferred", 75},  {"mail-refused", 77},
        {"try-later", 75},         {"too-large", 65},           {"header-not-composed", 65},
        {"unsafe-text", 65},       {"bad-address", 65},         {"not-confirmed", 76},
        {"no-such-mail", 65},      {"no-more-mail", 65},        {"answer-cut", 70},
        {"command-refused", 76},   {"no-unique-ids", 76},       {"not-deleted", 76},
        {"no-more-part", 65},      {"service-call-failed", 69}, {"out-of-memory", 71},
        {"invalid-argument", 70},
    };
    std::set<std::string> names;
    auto look = [&](std::uint32_t code) {
        const ReturnCode* const row = find_return_code(code);
        if (row == nullptr) return;
        names.insert(row->name);
        for (const auto& e : expected)
            if (std::string(e.name) == row->name) {
                EXPECT_EQ(e.exit_code, exit_code_of(code)) << row->name;
                return;
            }
        ADD_FAILURE() << row->name << " has no exit code in this table";
    };
    for (std::uint32_t code = 0x21080000; code <= 0x2108FFFF; ++code)
        look(code);
    for (std::uint32_t code = 0x21070000; code <= 0x2107FFFF; ++code)
        look(code);
    EXPECT_EQ(sizeof expected / sizeof expected[0], names.size());
    EXPECT_EQ(70, exit_code_of(0x12345678));
}

TEST(CliReport, OneSentenceTellsStepCauseCodeAndAnswer)
{
    Failure failure;
    fail(failure, kExitTemporary, "header", "the server refuses a recipient");
    EXPECT_EQ("header: the server refuses a recipient", sentence_of(failure));
    failure.where = "mx port 25";
    failure.code = 0x21080302;
    failure.code_name = "recipient-refused";
    failure.server_reply = "550 no \x1B[31msuch user";
    EXPECT_EQ("header mx port 25: the server refuses a recipient (recipient-refused, 0x21080302), the server "
              "answered \"550 no ?[31msuch user\"",
              sentence_of(failure));
}

TEST(CliReport, JsonHoldsTheResult)
{
    Outcome outcome;
    outcome.command = "send";
    outcome.message_id = "<a@b>";
    outcome.octets = 12;
    outcome.seconds = 0.25;
    EXPECT_EQ("{\"command\":\"send\",\"status\":\"sent\",\"exit_code\":0,\"message_id\":\"<a@b>\",\"octets\":"
              "12,\"seconds\":0.250}",
              json_of(outcome, nullptr));
    Failure failure;
    fail(failure, kExitData, "mail", "the \"x\" is\twrong");
    failure.code = 0x21080308;
    failure.code_name = "unsafe-text";
    failure.server_reply = "5\xFF";
    outcome.command = "check";
    EXPECT_EQ("{\"command\":\"check\",\"status\":\"failed\",\"exit_code\":65,\"step\":\"mail\",\"sentence\":"
              "\"the \\\"x\\\" is\\u0009wrong\","
              "\"code\":\"0x21080308\",\"name\":\"unsafe-text\",\"server_reply\":\"5\\ufffd\",\"message_id\":"
              "\"<a@b>\",\"seconds\":0.250}",
              json_of(outcome, &failure));
}

TEST(CliReport, NothingUnprintableReachesATerminal)
{
    EXPECT_EQ("a?b?\xC3\xA4?c??", printable("a\nb\x7F\xC3\xA4\xC2\x9B"
                                            "c\xFF\xC3"));
}
