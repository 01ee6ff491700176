// The SMTP settings: defaults, copies and who owns what.
#include <cstdint>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "CntsSMTPSettings.h"
#include "operator_new.h"
#include "platform_double.h"
#include "settings_fixture.h"

using velorin::CntsPOP3Settings;
using velorin::CntsSMTPSettings;
using velorin::nts_smtp_settings;
using velorin_test::expect_full;
using velorin_test::expect_pop3;
using velorin_test::full_record;
using velorin_test::live_news;
using velorin_test::PlatformDouble;
using velorin_test::pop3_record;
using velorin_test::watch_news;

TEST(SmtpSettingsRecord, BeginsEmpty)
{
    const nts_smtp_settings record;
    EXPECT_EQ(record.c_server.GetString(), nullptr);
    EXPECT_EQ(record.c_usr_id.GetString(), nullptr);
    EXPECT_EQ(record.c_paswd.GetString(), nullptr);
    EXPECT_EQ(record.c_host_name.GetString(), nullptr);
    EXPECT_EQ(record.p_pop3_settings, nullptr);
    EXPECT_EQ(record.auth_kind, 0);
    EXPECT_EQ(record.n_port, 0);
    EXPECT_EQ(record.n_tmo, 0);
    EXPECT_EQ(record.n_size_limit, 0);
    EXPECT_EQ(record.n_pop_wait_time, 0);
    EXPECT_EQ(record.b_is_ipv6, 0);
    EXPECT_EQ(record.tlsmode, 0);
    EXPECT_EQ(record.sslauth, 0);
    EXPECT_EQ(record.sslencrypt, 0);
    EXPECT_FALSE(std::is_polymorphic<nts_smtp_settings>::value);
    EXPECT_TRUE(std::has_virtual_destructor<CntsSMTPSettings>::value);
}

TEST(SmtpSettings, TextsThatAreNullBecomeEmptyAndTheHostIsLocalhost)
{
    PlatformDouble platform;
    const CntsSMTPSettings settings{nts_smtp_settings()};
    EXPECT_STREQ(settings.c_server.GetString(), "");
    EXPECT_STREQ(settings.c_usr_id.GetString(), "");
    EXPECT_STREQ(settings.c_paswd.GetString(), "");
    EXPECT_STREQ(settings.c_host_name.GetString(), "localhost");
    EXPECT_EQ(settings.p_pop3_settings, nullptr);
    EXPECT_EQ(settings.auth_kind, 0);
    EXPECT_EQ(settings.n_port, 0);
    EXPECT_EQ(settings.n_tmo, 0);
    EXPECT_EQ(settings.n_size_limit, 0);
    EXPECT_EQ(settings.n_pop_wait_time, 0);
    EXPECT_EQ(settings.b_is_ipv6, 0);
    EXPECT_EQ(settings.tlsmode, 0);
    EXPECT_EQ(settings.sslauth, 0);
    EXPECT_EQ(settings.sslencrypt, 0);
}

TEST(SmtpSettings, AnExplicitHostNameIsKept)
{
    for (const char* const host : {"device", "localhost", "", " ", "[192.0.2.1]"}) {
        SCOPED_TRACE(host);
        PlatformDouble platform;
        nts_smtp_settings record;
        record.c_host_name.CopyString(host, -1);
        EXPECT_STREQ(CntsSMTPSettings(record).c_host_name.GetString(), host);
    }
}

TEST(SmtpSettings, EveryMemberIsCopiedFromTheRecord)
{
    PlatformDouble platform;
    nts_smtp_settings record = full_record();
    const CntsSMTPSettings settings(record);
    record.c_server.CopyString("other", -1);
    record.c_host_name.CopyString("other", -1);
    expect_full(settings);
}

TEST(SmtpSettings, NumbersAreCopiedAsTheyAre)
{
    PlatformDouble platform;
    nts_smtp_settings record;
    record.auth_kind = -1;
    record.n_port = -2;
    record.n_tmo = 0x7FFFFFFF;
    record.n_size_limit = -2147483647 - 1;
    record.n_pop_wait_time = -5;
    record.b_is_ipv6 = 2;
    const CntsSMTPSettings settings(record);
    EXPECT_EQ(settings.auth_kind, -1);
    EXPECT_EQ(settings.n_port, -2);
    EXPECT_EQ(settings.n_tmo, 0x7FFFFFFF);
    EXPECT_EQ(settings.n_size_limit, -2147483647 - 1);
    EXPECT_EQ(settings.n_pop_wait_time, -5);
    EXPECT_EQ(settings.b_is_ipv6, 2);
}

TEST(SmtpSettings, ThePop3SettingsOfTheRecordAreCopiedNotKept)
{
    PlatformDouble platform;
    watch_news(sizeof(CntsPOP3Settings));
    {
        CntsPOP3Settings pop3(pop3_record("pop"));
        nts_smtp_settings record = full_record();
        record.p_pop3_settings = &pop3;
        const CntsSMTPSettings settings(record);
        EXPECT_NE(settings.p_pop3_settings, &pop3);
        EXPECT_EQ(live_news(), 1);
        pop3.c_server.CopyString("changed", -1);
        expect_pop3(settings.p_pop3_settings, "pop");
        expect_full(settings);
    }
    EXPECT_EQ(live_news(), 0) << "the settings destroy their own";
}

TEST(SmtpSettings, TheRecordsPop3SettingsMayGoFirst)
{
    PlatformDouble platform;
    nts_smtp_settings record;
    CntsPOP3Settings* const pop3 = new CntsPOP3Settings(pop3_record("pop"));
    record.p_pop3_settings = pop3;
    const CntsSMTPSettings settings(record);
    delete pop3;
    expect_pop3(settings.p_pop3_settings, "pop");
}

TEST(SmtpSettings, ACopyHasPop3SettingsOfItsOwn)
{
    PlatformDouble platform;
    watch_news(sizeof(CntsPOP3Settings));
    {
        CntsPOP3Settings pop3(pop3_record("pop"));
        nts_smtp_settings record = full_record();
        record.p_pop3_settings = &pop3;
        CntsSMTPSettings* const source = new CntsSMTPSettings(record);
        const CntsSMTPSettings copy(*source);
        EXPECT_NE(copy.p_pop3_settings, source->p_pop3_settings);
        EXPECT_EQ(live_news(), 2);
        delete source;
        EXPECT_EQ(live_news(), 1);
        expect_full(copy);
        expect_pop3(copy.p_pop3_settings, "pop");
    }
    EXPECT_EQ(live_news(), 0) << "no settings have two owners";
}

TEST(SmtpSettings, ACopyOfSettingsWithoutPop3HasNone)
{
    PlatformDouble platform;
    const CntsSMTPSettings source(full_record());
    const CntsSMTPSettings copy(source);
    EXPECT_EQ(copy.p_pop3_settings, nullptr);
    expect_full(copy);
}

TEST(SmtpSettings, AssignmentCopiesEveryMember)
{
    PlatformDouble platform;
    CntsSMTPSettings target{nts_smtp_settings()};
    {
        const CntsSMTPSettings source(full_record());
        EXPECT_EQ(&(target = source), &target);
        expect_full(source);
    }
    expect_full(target);
    EXPECT_EQ(target.p_pop3_settings, nullptr);
}

TEST(SmtpSettings, AssignmentToItselfReturnsAtOnce)
{
    PlatformDouble platform;
    CntsPOP3Settings pop3(pop3_record("pop"));
    nts_smtp_settings record = full_record();
    record.p_pop3_settings = &pop3;
    CntsSMTPSettings settings(record);
    const CntsPOP3Settings* const own = settings.p_pop3_settings;
    watch_news(sizeof(CntsPOP3Settings));
    CntsSMTPSettings& same = settings;
    EXPECT_EQ(&(settings = same), &settings);
    EXPECT_EQ(settings.p_pop3_settings, own);
    EXPECT_EQ(live_news(), 0) << "nothing was made";
    expect_full(settings);
    expect_pop3(own, "pop");
}

// Whoever tidies the assignment up and frees what the destination held fails this: callers may still use it.
TEST(SmtpSettings, AssignmentLeavesTheDestinationsOldPop3SettingsAllocated)
{
    PlatformDouble platform;
    CntsPOP3Settings first(pop3_record("first"));
    CntsPOP3Settings second(pop3_record("second"));
    nts_smtp_settings record;
    watch_news(sizeof(CntsPOP3Settings));
    {
        record.p_pop3_settings = &first;
        CntsSMTPSettings target(record);
        CntsPOP3Settings* const old = target.p_pop3_settings;
        {
            record.p_pop3_settings = &second;
            const CntsSMTPSettings source(record);
            EXPECT_EQ(live_news(), 2);
            target = source;
            EXPECT_EQ(live_news(), 3) << "a copy is made, the old one is not released";
            EXPECT_NE(target.p_pop3_settings, old) << "nor reused";
            EXPECT_NE(target.p_pop3_settings, source.p_pop3_settings);
        }
        expect_pop3(old, "first");
        expect_pop3(target.p_pop3_settings, "second");
        EXPECT_EQ(live_news(), 2);
        delete old;
    }
    EXPECT_EQ(live_news(), 0);
}

TEST(SmtpSettings, AssigningTwiceMakesTwoCopies)
{
    PlatformDouble platform;
    CntsPOP3Settings pop3(pop3_record("pop"));
    nts_smtp_settings record;
    record.p_pop3_settings = &pop3;
    const CntsSMTPSettings source(record);
    watch_news(sizeof(CntsPOP3Settings));
    {
        CntsSMTPSettings target{nts_smtp_settings()};
        target = source;
        CntsPOP3Settings* const first = target.p_pop3_settings;
        target = source;
        EXPECT_EQ(live_news(), 2);
        EXPECT_NE(target.p_pop3_settings, first);
        expect_pop3(first, "pop");
        expect_pop3(target.p_pop3_settings, "pop");
        delete first;
    }
    EXPECT_EQ(live_news(), 0);
}

TEST(SmtpSettings, AssigningSettingsWithoutPop3StoresNullAndReleasesNothing)
{
    PlatformDouble platform;
    CntsPOP3Settings pop3(pop3_record("pop"));
    nts_smtp_settings record;
    record.p_pop3_settings = &pop3;
    CntsSMTPSettings target(record);
    CntsPOP3Settings* const old = target.p_pop3_settings;
    target = CntsSMTPSettings(full_record());
    EXPECT_EQ(target.p_pop3_settings, nullptr);
    expect_pop3(old, "pop");
    delete old;
}
