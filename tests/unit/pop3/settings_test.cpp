// The POP3 settings: defaults, copies, and both ways to the wire.
#include <cstdint>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CntsPOP3Settings.h"
#include "ntc_email_esu_pop3_helper.h"
#include "platform_double.h"
#include "wire_octets.h"

using velorin::CntsMLUTLMailAddress;
using velorin::CntsPOP3Settings;
using velorin::ntc_email_esu_pop3_helper;
using velorin::SPOP3Setting;
using velorin_test::hex_of;
using velorin_test::octets_of;
using velorin_test::PlatformDouble;

namespace {

using Message = velorin::ntc_email_esu_pop3_settings;

SPOP3Setting full_record()
{
    SPOP3Setting record;
    record.c_address = CntsMLUTLMailAddress("me@b");
    record.c_server = CutlCPLBMString("srv");
    record.n_port = 110;
    record.c_user_id = CutlCPLBMString("usr");
    record.c_passwd = CutlCPLBMString("pwd");
    record.is_apop = 1;
    record.n_timeout = 60;
    record.b_is_ipv6 = 1;
    record.n_tls_mode = 1;
    record.n_ssl_auth = 2;
    record.n_ssl_encrypt = 255;
    return record;
}

constexpr const char* kFullHex = "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 "
                                 "30 01 38 3C 40 01 48 01 50 02 58 FF 01";

void expect_full(const CntsPOP3Settings& settings)
{
    EXPECT_STREQ(settings.c_address.m_cAddress.GetString(), "me@b");
    EXPECT_STREQ(settings.c_server.GetString(), "srv");
    EXPECT_EQ(settings.n_port, 110);
    EXPECT_STREQ(settings.c_user_id.GetString(), "usr");
    EXPECT_STREQ(settings.c_passwd.GetString(), "pwd");
    EXPECT_EQ(settings.is_apop, 1);
    EXPECT_EQ(settings.n_timeout, 60);
    EXPECT_EQ(settings.b_is_ipv6, 1);
    EXPECT_EQ(settings.n_tls_mode, 1);
    EXPECT_EQ(settings.n_ssl_auth, 2);
    EXPECT_EQ(settings.n_ssl_encrypt, 255);
}

void expect_empty(const CntsPOP3Settings& settings)
{
    EXPECT_STREQ(settings.c_address.m_cAddress.GetString(), "");
    EXPECT_STREQ(settings.c_server.GetString(), "");
    EXPECT_EQ(settings.n_port, 0);
    EXPECT_STREQ(settings.c_user_id.GetString(), "");
    EXPECT_STREQ(settings.c_passwd.GetString(), "");
    EXPECT_EQ(settings.is_apop, 0);
    EXPECT_EQ(settings.n_timeout, 0);
    EXPECT_EQ(settings.b_is_ipv6, 0);
    EXPECT_EQ(settings.n_tls_mode, 0);
    EXPECT_EQ(settings.n_ssl_auth, 0);
    EXPECT_EQ(settings.n_ssl_encrypt, 0);
}

std::string wire_of(const CntsPOP3Settings& settings)
{
    Message message;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_settings(settings, message), 0u);
    return hex_of(message.SerializeAsString());
}

void read_wire(const std::string& hex, CntsPOP3Settings& settings)
{
    Message message;
    ASSERT_TRUE(message.ParseFromString(octets_of(hex)));
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_settings(message, settings), 0u);
}

}  // namespace

TEST(Pop3Setting, ARecordBeginsEmpty)
{
    const SPOP3Setting record;
    EXPECT_EQ(record.c_address.m_cAddress.GetString(), nullptr);
    EXPECT_EQ(record.c_server.GetString(), nullptr);
    EXPECT_EQ(record.c_user_id.GetString(), nullptr);
    EXPECT_EQ(record.c_passwd.GetString(), nullptr);
    EXPECT_EQ(record.n_port, 0);
    EXPECT_EQ(record.is_apop, 0);
    EXPECT_EQ(record.n_timeout, 0);
    EXPECT_EQ(record.b_is_ipv6, 0);
    EXPECT_EQ(record.n_tls_mode, 0);
    EXPECT_EQ(record.n_ssl_auth, 0);
    EXPECT_EQ(record.n_ssl_encrypt, 0);
    EXPECT_FALSE(std::is_polymorphic<SPOP3Setting>::value);
    EXPECT_TRUE(std::has_virtual_destructor<CntsPOP3Settings>::value);
}

TEST(Pop3Settings, TextsThatAreNullBecomeEmpty)
{
    PlatformDouble platform;
    expect_empty(CntsPOP3Settings(SPOP3Setting()));
}

TEST(Pop3Settings, EveryMemberIsCopiedFromTheRecord)
{
    PlatformDouble platform;
    SPOP3Setting record = full_record();
    const CntsPOP3Settings settings(record);
    record.c_server.CopyString("other", -1);
    record.c_address.m_cAddress.CopyString("other", -1);
    expect_full(settings);
}

TEST(Pop3Settings, NumbersAreCopiedAsTheyAre)
{
    PlatformDouble platform;
    SPOP3Setting record;
    record.n_port = -1;
    record.is_apop = 2;
    record.n_timeout = -2147483647 - 1;
    record.b_is_ipv6 = -1;
    const CntsPOP3Settings settings(record);
    EXPECT_EQ(settings.n_port, -1);
    EXPECT_EQ(settings.is_apop, 2);
    EXPECT_EQ(settings.n_timeout, -2147483647 - 1);
    EXPECT_EQ(settings.b_is_ipv6, -1);
}

TEST(Pop3Settings, AssignmentCopiesEveryMember)
{
    PlatformDouble platform;
    CntsPOP3Settings target{SPOP3Setting()};
    {
        const CntsPOP3Settings source(full_record());
        EXPECT_EQ(&(target = source), &target);
        expect_full(source);
    }
    expect_full(target);
    const CntsPOP3Settings nothing{SPOP3Setting()};
    target = nothing;
    expect_empty(target);
}

TEST(Pop3Settings, AssignmentToItselfChangesNothing)
{
    PlatformDouble platform;
    CntsPOP3Settings settings(full_record());
    CntsPOP3Settings& same = settings;
    EXPECT_EQ(&(settings = same), &settings);
    expect_full(settings);
}

TEST(Pop3Settings, ACopyHasTextsOfItsOwn)
{
    PlatformDouble platform;
    CntsPOP3Settings source(full_record());
    const CntsPOP3Settings copy(source);
    source.c_server.CopyString("changed", -1);
    expect_full(copy);
}

// --- to the wire

TEST(Pop3SettingsToWire, EveryField)
{
    PlatformDouble platform;
    EXPECT_EQ(wire_of(CntsPOP3Settings(full_record())), kFullHex);
}

TEST(Pop3SettingsToWire, NumbersAreAlwaysThereAndEmptyTextsArePresent)
{
    PlatformDouble platform;
    EXPECT_EQ(wire_of(CntsPOP3Settings(SPOP3Setting())),
              "0A 02 0A 00 12 00 18 00 22 00 2A 00 30 00 38 00 40 00 48 00 50 00 58 00");
}

TEST(Pop3SettingsToWire, TextsThatAreNullAreAbsent)
{
    PlatformDouble platform;
    CntsPOP3Settings settings(full_record());
    settings.c_address.m_cAddress.CopyString(nullptr, -1);
    settings.c_server.CopyString(nullptr, -1);
    settings.c_user_id.CopyString(nullptr, -1);
    settings.c_passwd.CopyString(nullptr, -1);
    EXPECT_EQ(wire_of(settings), "18 6E 30 01 38 3C 40 01 48 01 50 02 58 FF 01");
}

TEST(Pop3SettingsToWire, OneNullTextAtATime)
{
    const struct {
        const char* label;
        CutlCPLBMString CntsPOP3Settings::*text;
        const char* hex;
    } cases[] = {
        {"server", &CntsPOP3Settings::c_server,
         "0A 06 0A 04 6D 65 40 62 18 6E 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 01 48 01 50 02 58 FF "
         "01"},
        {"user", &CntsPOP3Settings::c_user_id,
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 2A 03 70 77 64 30 01 38 3C 40 01 48 01 50 02 58 FF "
         "01"},
        {"password", &CntsPOP3Settings::c_passwd,
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 03 75 73 72 30 01 38 3C 40 01 48 01 50 02 58 FF "
         "01"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.label);
        PlatformDouble platform;
        CntsPOP3Settings settings(full_record());
        (settings.*one.text).CopyString(nullptr, -1);
        EXPECT_EQ(wire_of(settings), one.hex);
    }
}

TEST(Pop3SettingsToWire, OnlyOneIsTrue)
{
    for (const std::int32_t value : {0, 2, -1, 256, 0x7FFFFFFF, -2147483647 - 1}) {
        SCOPED_TRACE(value);
        PlatformDouble platform;
        CntsPOP3Settings settings(full_record());
        settings.is_apop = value;
        EXPECT_EQ(wire_of(settings),
                  "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 "
                  "30 00 38 3C 40 01 48 01 50 02 58 FF 01");
        settings.is_apop = 1;
        settings.b_is_ipv6 = value;
        EXPECT_EQ(wire_of(settings),
                  "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 "
                  "30 01 38 3C 40 00 48 01 50 02 58 FF 01");
    }
}

TEST(Pop3SettingsToWire, NegativeNumbersTravelAsThirtyTwoBits)
{
    PlatformDouble platform;
    CntsPOP3Settings settings{SPOP3Setting()};
    settings.n_port = -1;
    settings.n_timeout = -2147483647 - 1;
    EXPECT_EQ(wire_of(settings), "0A 02 0A 00 12 00 18 FF FF FF FF 0F 22 00 2A 00 30 00 "
                                 "38 80 80 80 80 08 40 00 48 00 50 00 58 00");
}

TEST(Pop3SettingsToWire, TextsAreOctets)
{
    PlatformDouble platform;
    CntsPOP3Settings settings{SPOP3Setting()};
    settings.c_passwd.CopyString("\xE3\x81\x82%s\x01", -1);
    EXPECT_EQ(wire_of(settings), "0A 02 0A 00 12 00 18 00 22 00 2A 06 E3 81 82 25 73 01 "
                                 "30 00 38 00 40 00 48 00 50 00 58 00");
}

// --- from the wire

TEST(Pop3SettingsFromWire, EveryField)
{
    PlatformDouble platform;
    CntsPOP3Settings settings{SPOP3Setting()};
    read_wire(kFullHex, settings);
    expect_full(settings);
    EXPECT_EQ(wire_of(settings), kFullHex);
}

TEST(Pop3SettingsFromWire, AbsentFieldsLeaveTheSettingsAsTheyAre)
{
    PlatformDouble platform;
    CntsPOP3Settings settings(full_record());
    read_wire("", settings);
    expect_full(settings);
}

TEST(Pop3SettingsFromWire, OneFieldAtATime)
{
    // What a full set of settings is written as after one field was read into it.
    const struct {
        const char* label;
        const char* read;
        const char* then;
    } cases[] = {
        {"address", "0A 03 0A 01 78",
         "0A 03 0A 01 78 12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 01 48 01 50 02 58 "
         "FF 01"},
        {"empty address", "0A 02 0A 00",
         "0A 02 0A 00 12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 01 48 01 50 02 58 FF "
         "01"},
        {"address without text", "0A 00",
         "12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 01 48 01 50 02 58 FF 01"},
        {"server", "12 01 78",
         "0A 06 0A 04 6D 65 40 62 12 01 78 18 6E 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 01 48 01 50 02 "
         "58 FF 01"},
        {"empty server", "12 00",
         "0A 06 0A 04 6D 65 40 62 12 00 18 6E 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 01 48 01 50 02 58 "
         "FF 01"},
        {"port", "18 05",
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 05 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 01 48 01 "
         "50 02 58 FF 01"},
        {"port 0", "18 00",
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 00 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 01 48 01 "
         "50 02 58 FF 01"},
        {"user", "22 01 78",
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 01 78 2A 03 70 77 64 30 01 38 3C 40 01 48 01 50 02 "
         "58 FF 01"},
        {"password", "2A 01 78",
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 03 75 73 72 2A 01 78 30 01 38 3C 40 01 48 01 50 02 "
         "58 FF 01"},
        {"no APOP", "30 00",
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 30 00 38 3C 40 01 48 01 "
         "50 02 58 FF 01"},
        {"time-out", "38 05",
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 30 01 38 05 40 01 48 01 "
         "50 02 58 FF 01"},
        {"no IPv6", "40 00",
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 00 48 01 "
         "50 02 58 FF 01"},
        {"TLS mode, low eight bits", "48 82 02",
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 01 48 02 "
         "50 02 58 FF 01"},
        {"authentication, low eight bits", "50 83 02",
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 01 48 01 "
         "50 03 58 FF 01"},
        {"encryption, low eight bits", "58 84 02",
         "0A 06 0A 04 6D 65 40 62 12 03 73 72 76 18 6E 22 03 75 73 72 2A 03 70 77 64 30 01 38 3C 40 01 48 01 "
         "50 02 58 04"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.label);
        PlatformDouble platform;
        CntsPOP3Settings settings(full_record());
        read_wire(one.read, settings);
        EXPECT_EQ(wire_of(settings), one.then);
    }
}

TEST(Pop3SettingsFromWire, TrueIsOneAndFalseIsZero)
{
    PlatformDouble platform;
    CntsPOP3Settings settings{SPOP3Setting()};
    settings.is_apop = 5;
    settings.b_is_ipv6 = 6;
    read_wire("30 00 40 01", settings);
    EXPECT_EQ(settings.is_apop, 0);
    EXPECT_EQ(settings.b_is_ipv6, 1);
    read_wire("30 01 40 00", settings);
    EXPECT_EQ(settings.is_apop, 1);
    EXPECT_EQ(settings.b_is_ipv6, 0);
    read_wire("30 02", settings);
    EXPECT_EQ(settings.is_apop, 1) << "every number but 0 is true on the wire";
}

TEST(Pop3SettingsFromWire, LargeNumbersKeepTheirBits)
{
    PlatformDouble platform;
    CntsPOP3Settings settings{SPOP3Setting()};
    read_wire("18 FF FF FF FF 0F 38 80 80 80 80 08", settings);
    EXPECT_EQ(settings.n_port, -1);
    EXPECT_EQ(settings.n_timeout, -2147483647 - 1);
}

TEST(Pop3SettingsFromWire, UnknownFieldsChangeNothing)
{
    PlatformDouble platform;
    CntsPOP3Settings settings(full_record());
    read_wire("60 05 6A 01 78 C5 06 01 02 03 04", settings);
    expect_full(settings);
}
