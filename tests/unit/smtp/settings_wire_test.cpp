// The SMTP settings on their way to the wire and back.
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "CntsSMTPSettings.h"
#include "ntc_email_esu_smtp_helper.h"
#include "operator_new.h"
#include "platform_double.h"
#include "settings_fixture.h"

using velorin::CntsPOP3Settings;
using velorin::CntsSMTPSettings;
using velorin::ntc_email_esu_smtp_helper;
using velorin::nts_smtp_settings;
using velorin::SPOP3Setting;
using velorin_test::expect_full;
using velorin_test::expect_pop3;
using velorin_test::full_record;
using velorin_test::hex_of;
using velorin_test::live_news;
using velorin_test::octets_of;
using velorin_test::PlatformDouble;
using velorin_test::pop3_record;
using velorin_test::watch_news;

namespace {

using Message = velorin::ntc_email_esu_smtp_settings;

// pop3_record("pop") as field 5.
constexpr const char* kPop3Hex = "2A 22 0A 05 0A 03 6D 40 70 12 03 70 6F 70 18 6E 22 02 70 75 2A 02 70 70 "
                                 "30 01 38 09 40 01 48 02 50 01 58 03";

// full_record() before and behind field 5.
constexpr const char* kBeforePop3 = "08 03 12 03 73 72 76 18 CB 04 20 3C ";
constexpr const char* kAfterPop3 =
    "32 03 75 73 72 3A 03 70 77 64 42 02 6D 65 48 E8 07 50 05 58 01 60 01 68 02 70 FF 01";

std::string wire_of(const CntsSMTPSettings& settings)
{
    Message message;
    EXPECT_EQ(ntc_email_esu_smtp_helper::convert_smtp_settings(settings, message), 0u);
    return hex_of(message.SerializeAsString());
}

void read_wire(const std::string& hex, CntsSMTPSettings& settings)
{
    Message message;
    ASSERT_TRUE(message.ParseFromString(octets_of(hex)));
    EXPECT_EQ(ntc_email_esu_smtp_helper::convert_smtp_settings(message, settings), 0u);
}

}  // namespace

// --- to the wire

TEST(SmtpSettingsToWire, EveryField)
{
    PlatformDouble platform;
    CntsPOP3Settings pop3(pop3_record("pop"));
    nts_smtp_settings record = full_record();
    record.p_pop3_settings = &pop3;
    EXPECT_EQ(wire_of(CntsSMTPSettings(record)), std::string(kBeforePop3) + kPop3Hex + " " + kAfterPop3);
}

TEST(SmtpSettingsToWire, WithoutPop3SettingsFieldFiveIsAbsent)
{
    PlatformDouble platform;
    EXPECT_EQ(wire_of(CntsSMTPSettings(full_record())), std::string(kBeforePop3) + kAfterPop3);
}

TEST(SmtpSettingsToWire, NumbersAreAlwaysThereAndEmptyTextsArePresent)
{
    PlatformDouble platform;
    EXPECT_EQ(
        wire_of(CntsSMTPSettings(nts_smtp_settings())),
        "08 00 12 00 18 00 20 00 32 00 3A 00 42 09 6C 6F 63 61 6C 68 6F 73 74 48 00 50 00 58 00 60 00 68 00 "
        "70 00");
}

TEST(SmtpSettingsToWire, TextsThatAreNullAreAbsent)
{
    const struct {
        const char* label;
        CutlCPLBMString CntsSMTPSettings::*text;
        const char* hex;
    } cases[] = {
        {"server", &CntsSMTPSettings::c_server,
         "08 03 18 CB 04 20 3C 32 03 75 73 72 3A 03 70 77 64 42 02 6D 65 48 E8 07 50 05 58 01 60 01 68 02 70 "
         "FF 01"},
        {"user", &CntsSMTPSettings::c_usr_id,
         "08 03 12 03 73 72 76 18 CB 04 20 3C 3A 03 70 77 64 42 02 6D 65 48 E8 07 50 05 58 01 60 01 68 02 70 "
         "FF 01"},
        {"password", &CntsSMTPSettings::c_paswd,
         "08 03 12 03 73 72 76 18 CB 04 20 3C 32 03 75 73 72 42 02 6D 65 48 E8 07 50 05 58 01 60 01 68 02 70 "
         "FF 01"},
        {"host name", &CntsSMTPSettings::c_host_name,
         "08 03 12 03 73 72 76 18 CB 04 20 3C 32 03 75 73 72 3A 03 70 77 64 48 E8 07 50 05 58 01 60 01 68 02 "
         "70 FF 01"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.label);
        PlatformDouble platform;
        CntsSMTPSettings settings(full_record());
        (settings.*one.text).CopyString(nullptr, -1);
        EXPECT_EQ(wire_of(settings), one.hex);
    }
}

TEST(SmtpSettingsToWire, OnlyOneIsTrue)
{
    for (const std::int32_t value : {0, 2, -1, 256, 0x7FFFFFFF, -2147483647 - 1}) {
        SCOPED_TRACE(value);
        PlatformDouble platform;
        CntsSMTPSettings settings(full_record());
        settings.b_is_ipv6 = value;
        EXPECT_EQ(wire_of(settings),
                  std::string(kBeforePop3) +
                      "32 03 75 73 72 3A 03 70 77 64 42 02 6D 65 48 E8 07 50 05 58 00 60 01 68 02 70 FF 01");
    }
}

TEST(SmtpSettingsToWire, NegativeNumbers)
{
    PlatformDouble platform;
    CntsSMTPSettings settings{nts_smtp_settings()};
    settings.auth_kind = -1;  // signed on the wire, the others are not
    settings.n_port = -1;
    settings.n_tmo = -2;
    settings.n_size_limit = -3;
    settings.n_pop_wait_time = -2147483647 - 1;
    EXPECT_EQ(wire_of(settings),
              "08 FF FF FF FF FF FF FF FF FF 01 12 00 18 FF FF FF FF 0F 20 FE FF FF FF 0F 32 00 3A 00 "
              "42 09 6C 6F 63 61 6C 68 6F 73 74 48 FD FF FF FF 0F 50 80 80 80 80 08 58 00 60 00 68 00 70 00");
}

TEST(SmtpSettingsToWire, ThePop3TextsThatAreNullAreAbsentInsideToo)
{
    PlatformDouble platform;
    CntsPOP3Settings pop3{SPOP3Setting()};
    nts_smtp_settings record = full_record();
    record.p_pop3_settings = &pop3;
    const CntsSMTPSettings settings(record);
    settings.p_pop3_settings->c_address.m_cAddress.CopyString(nullptr, -1);
    settings.p_pop3_settings->c_server.CopyString(nullptr, -1);
    settings.p_pop3_settings->c_user_id.CopyString(nullptr, -1);
    settings.p_pop3_settings->c_passwd.CopyString(nullptr, -1);
    EXPECT_EQ(wire_of(settings),
              std::string(kBeforePop3) + "2A 0E 18 00 30 00 38 00 40 00 48 00 50 00 58 00 " + kAfterPop3);
}

// --- from the wire

TEST(SmtpSettingsFromWire, EveryField)
{
    PlatformDouble platform;
    const std::string hex = std::string(kBeforePop3) + kPop3Hex + " " + kAfterPop3;
    CntsSMTPSettings settings{nts_smtp_settings()};
    read_wire(hex, settings);
    expect_full(settings);
    expect_pop3(settings.p_pop3_settings, "pop");
    EXPECT_EQ(wire_of(settings), hex);
}

TEST(SmtpSettingsFromWire, AbsentFieldsReplaceWhatWasThere)
{
    PlatformDouble platform;
    CntsSMTPSettings settings(full_record());
    read_wire("", settings);
    // A text set from empty text holds a buffer on this platform, so an absent host name is no "localhost".
    EXPECT_EQ(wire_of(settings),
              "08 00 12 00 18 00 20 00 32 00 3A 00 42 00 48 00 50 00 58 00 60 00 68 00 70 00");
    EXPECT_EQ(settings.p_pop3_settings, nullptr);
}

TEST(SmtpSettingsFromWire, OneFieldAtATime)
{
    const struct {
        const char* label;
        const char* read;
        const char* then;
    } cases[] = {
        {"auth kind", "08 05",
         "08 05 12 00 18 00 20 00 32 00 3A 00 42 00 48 00 50 00 58 00 60 00 68 00 70 00"},
        {"server", "12 01 78",
         "08 00 12 01 78 18 00 20 00 32 00 3A 00 42 00 48 00 50 00 58 00 60 00 68 00 70 00"},
        {"port", "18 05", "08 00 12 00 18 05 20 00 32 00 3A 00 42 00 48 00 50 00 58 00 60 00 68 00 70 00"},
        {"time-out", "20 05",
         "08 00 12 00 18 00 20 05 32 00 3A 00 42 00 48 00 50 00 58 00 60 00 68 00 70 00"},
        {"user", "32 01 78",
         "08 00 12 00 18 00 20 00 32 01 78 3A 00 42 00 48 00 50 00 58 00 60 00 68 00 70 00"},
        {"password", "3A 01 78",
         "08 00 12 00 18 00 20 00 32 00 3A 01 78 42 00 48 00 50 00 58 00 60 00 68 00 70 00"},
        {"host name", "42 01 78",
         "08 00 12 00 18 00 20 00 32 00 3A 00 42 01 78 48 00 50 00 58 00 60 00 68 00 70 00"},
        {"size limit", "48 05",
         "08 00 12 00 18 00 20 00 32 00 3A 00 42 00 48 05 50 00 58 00 60 00 68 00 70 00"},
        {"wait", "50 05", "08 00 12 00 18 00 20 00 32 00 3A 00 42 00 48 00 50 05 58 00 60 00 68 00 70 00"},
        {"IPv6", "58 01", "08 00 12 00 18 00 20 00 32 00 3A 00 42 00 48 00 50 00 58 01 60 00 68 00 70 00"},
        {"no IPv6", "58 00", "08 00 12 00 18 00 20 00 32 00 3A 00 42 00 48 00 50 00 58 00 60 00 68 00 70 00"},
        {"TLS mode, low eight bits", "60 82 02",
         "08 00 12 00 18 00 20 00 32 00 3A 00 42 00 48 00 50 00 58 00 60 02 68 00 70 00"},
        {"authentication, low eight bits", "68 83 02",
         "08 00 12 00 18 00 20 00 32 00 3A 00 42 00 48 00 50 00 58 00 60 00 68 03 70 00"},
        {"encryption, low eight bits", "70 84 02",
         "08 00 12 00 18 00 20 00 32 00 3A 00 42 00 48 00 50 00 58 00 60 00 68 00 70 04"},
        {"an empty POP3 account", "2A 00",
         "08 00 12 00 18 00 20 00 2A 18 0A 02 0A 00 12 00 18 00 22 00 2A 00 30 00 38 00 40 00 48 00 50 00 58 "
         "00 "
         "32 00 3A 00 42 00 48 00 50 00 58 00 60 00 68 00 70 00"},
        {"an unknown field", "78 05",
         "08 00 12 00 18 00 20 00 32 00 3A 00 42 00 48 00 50 00 58 00 60 00 68 00 70 00"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.label);
        PlatformDouble platform;
        CntsSMTPSettings settings(full_record());
        read_wire(one.read, settings);
        EXPECT_EQ(wire_of(settings), one.then);
    }
}

TEST(SmtpSettingsFromWire, TrueIsOne)
{
    PlatformDouble platform;
    CntsSMTPSettings settings{nts_smtp_settings()};
    read_wire("58 01", settings);
    EXPECT_EQ(settings.b_is_ipv6, 1);
    read_wire("58 05", settings);
    EXPECT_EQ(settings.b_is_ipv6, 1) << "every number but 0 is true on the wire";
}

TEST(SmtpSettingsFromWire, LargeAndNegativeNumbersKeepTheirBits)
{
    PlatformDouble platform;
    CntsSMTPSettings settings{nts_smtp_settings()};
    read_wire("08 FE FF FF FF FF FF FF FF FF 01 18 FF FF FF FF 0F 48 80 80 80 80 08", settings);
    EXPECT_EQ(settings.auth_kind, -2);
    EXPECT_EQ(settings.n_port, -1);
    EXPECT_EQ(settings.n_size_limit, -2147483647 - 1);
}

TEST(SmtpSettingsFromWire, TheOldPop3SettingsStayAllocatedAsWithAnyAssignment)
{
    PlatformDouble platform;
    CntsPOP3Settings pop3(pop3_record("old"));
    nts_smtp_settings record;
    record.p_pop3_settings = &pop3;
    watch_news(sizeof(CntsPOP3Settings));
    {
        CntsSMTPSettings settings(record);
        CntsPOP3Settings* const old = settings.p_pop3_settings;
        read_wire(kPop3Hex, settings);
        EXPECT_EQ(live_news(), 2) << "the old one and the new one, nothing of the way between";
        EXPECT_NE(settings.p_pop3_settings, old);
        expect_pop3(old, "old");
        expect_pop3(settings.p_pop3_settings, "pop");
        delete old;
    }
    EXPECT_EQ(live_news(), 0);
}
