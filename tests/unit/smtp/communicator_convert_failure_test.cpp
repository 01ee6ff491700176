// Converters that fail. They fail only when one inside them does, and none of those can: this program takes
// their place.
#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CntsSMTPBoundary.h"
#include "ntc_email_esu_mlutl_helper.h"
#include "ntc_email_esu_pop3_helper.h"
#include "ntc_email_esu_smtp_helper.h"
#include "ntc_email_esu_smtp_main_communicator.h"
#include "platform_double.h"
#include "smtp_service.h"

namespace {

int address_result = 0;  // of the address converter, both ways
int part_result = 0;     // of the mail part converter, object to message

}  // namespace

int velorin::ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(const CntsMLUTLMailAddress&,
                                                                    ntc_email_esu_mlutl_mail_address&)
{
    return address_result;
}

int velorin::ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(const ntc_email_esu_mlutl_mail_address&,
                                                                    CntsMLUTLMailAddress&)
{
    return address_result;
}

int velorin::ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(const CntsMLUTLMailPart&,
                                                                 ntc_email_esu_mlutl_mail_part&)
{
    return part_result;
}

using testing::IsEmpty;
using velorin::CntsPOP3Settings;
using velorin::CntsSMTPBoundary;
using velorin::CntsSMTPSendMail;
using velorin::CntsSMTPSettings;
using velorin::ntc_email_esu_pop3_helper;
using velorin::ntc_email_esu_smtp_helper;
using velorin::nts_smtp_settings;
using velorin::SPOP3Setting;
using velorin_test::communicator_line;
using velorin_test::kCallFailed;
using velorin_test::PlatformDouble;

namespace {

using Communicator = velorin::ntc_email_esu_smtp_main_communicator;

class ConvertFailure : public testing::Test {
protected:
    void SetUp() override { address_result = 1; }
    void TearDown() override
    {
        address_result = 0;
        part_result = 0;
    }

    PlatformDouble platform;
};

std::string smtp_helper_line(const char* text)
{
    return std::string("ntc_email_esu_smtp_helper::") + text + " returns NG\n";
}

std::string pop3_helper_line()
{
    return "ntc_email_esu_pop3_helper::convert_pop3_settings():convert_mlutl_mail_address() returns NG\n";
}

CntsSMTPSettings settings_with_pop3()
{
    CntsPOP3Settings pop3{SPOP3Setting()};
    nts_smtp_settings record;
    record.c_server.CopyString("srv", -1);
    record.p_pop3_settings = &pop3;
    return CntsSMTPSettings(record);
}

}  // namespace

TEST_F(ConvertFailure, OfAnAddressFailsThePop3Settings)
{
    const CntsPOP3Settings settings{SPOP3Setting()};
    velorin::ntc_email_esu_pop3_settings message;
    platform.expect_trace(pop3_helper_line());
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_settings(settings, message), kCallFailed);
}

TEST_F(ConvertFailure, AnAddressThatIsNullIsNotConvertedAtAll)
{
    CntsPOP3Settings settings{SPOP3Setting()};
    settings.c_address.m_cAddress.CopyString(nullptr, -1);
    velorin::ntc_email_esu_pop3_settings message;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_settings(settings, message), 0u);
    EXPECT_FALSE(message.has_c_address());
}

TEST_F(ConvertFailure, OfAnAddressFailsThePop3SettingsFromTheWire)
{
    CntsPOP3Settings settings{SPOP3Setting()};
    settings.c_address.m_cAddress.CopyString("kept", -1);
    velorin::ntc_email_esu_pop3_settings message;
    message.mutable_c_address()->set_c_address("new");
    platform.expect_trace(pop3_helper_line());
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_settings(message, settings), kCallFailed);
    EXPECT_STREQ(settings.c_address.m_cAddress.GetString(), "kept");
    velorin::ntc_email_esu_pop3_settings without;
    EXPECT_EQ(ntc_email_esu_pop3_helper::convert_pop3_settings(without, settings), 0u);
}

TEST_F(ConvertFailure, OfThePop3SettingsFailsTheSmtpSettings)
{
    const CntsSMTPSettings settings = settings_with_pop3();
    velorin::ntc_email_esu_smtp_settings message;
    platform.expect_trace(pop3_helper_line());
    platform.expect_trace(smtp_helper_line("convert_smtp_settings():convert_pop3_settings()"));
    EXPECT_EQ(ntc_email_esu_smtp_helper::convert_smtp_settings(settings, message), kCallFailed);
    EXPECT_TRUE(message.has_auth_kind()) << "fields 1 to 5 are set by then";
    EXPECT_EQ(message.c_server(), "srv");
    EXPECT_TRUE(message.has_n_port());
    EXPECT_TRUE(message.has_n_tmo());
    EXPECT_TRUE(message.has_p_pop3_settings());
    EXPECT_FALSE(message.has_c_usr_id()) << "and none behind them";
    EXPECT_FALSE(message.has_c_host_name());
    EXPECT_FALSE(message.has_sslencrypt());
}

TEST_F(ConvertFailure, OfThePop3SettingsLeavesTheSmtpSettingsUnchanged)
{
    CntsSMTPSettings settings = settings_with_pop3();
    const CntsPOP3Settings* const own = settings.p_pop3_settings;
    velorin::ntc_email_esu_smtp_settings message;
    message.set_c_server("new");
    message.set_n_port(9);
    message.mutable_p_pop3_settings()->mutable_c_address()->set_c_address("new");
    platform.expect_trace(pop3_helper_line());
    platform.expect_trace(smtp_helper_line("convert_smtp_settings():convert_pop3_settings()"));
    EXPECT_EQ(ntc_email_esu_smtp_helper::convert_smtp_settings(message, settings), kCallFailed);
    EXPECT_STREQ(settings.c_server.GetString(), "srv");
    EXPECT_EQ(settings.n_port, 0);
    EXPECT_EQ(settings.p_pop3_settings, own);
    EXPECT_STREQ(settings.c_host_name.GetString(), "localhost");
}

TEST_F(ConvertFailure, OfTheSettingsCreatesNoSession)
{
    const CntsSMTPSettings settings = settings_with_pop3();
    Communicator communicator;
    platform.expect_trace(pop3_helper_line());
    platform.expect_trace(smtp_helper_line("convert_smtp_settings():convert_pop3_settings()"));
    platform.expect_trace(
        communicator_line("call_create_instance", "convert_smtp_settings() returns 0x21077103"));
    EXPECT_EQ(communicator.call_create_instance(settings), kCallFailed);
    EXPECT_THAT(platform.calls(), IsEmpty()) << "the service is not asked";
}

TEST_F(ConvertFailure, OfTheSettingsLeavesTheSessionWithoutCommunicator)
{
    const CntsSMTPSettings settings = settings_with_pop3();
    platform.expect_trace(pop3_helper_line());
    platform.expect_trace(smtp_helper_line("convert_smtp_settings():convert_pop3_settings()"));
    platform.expect_trace(
        communicator_line("call_create_instance", "convert_smtp_settings() returns 0x21077103"));
    platform.expect_trace(
        velorin_test::session_line("CntsSMTPBoundary", "::call_create_instance() returns 0x21077103"));
    {
        CntsSMTPBoundary session(settings);
        EXPECT_EQ(session.Connect(), kCallFailed);
    }
    EXPECT_THAT(platform.calls(), IsEmpty());
}

namespace {

struct Step {
    const char* name;
    std::uint32_t (Communicator::*call)(CntsSMTPSendMail&);
};

constexpr Step kSteps[] = {
    {"call_send_header", &Communicator::call_send_header},
    {"call_send_body", &Communicator::call_send_body},
    {"call_send_part_header", &Communicator::call_send_part_header},
    {"call_send_part_body", &Communicator::call_send_part_body},
    {"call_close", &Communicator::call_close},
};

}  // namespace

TEST_F(ConvertFailure, OfAnAddressSendsNoStepOfTheMail)
{
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        CntsSMTPSendMail mail;
        mail.m_cTo.m_cAddress.CopyString("a@b", -1);
        Communicator communicator;
        platform.expect_trace(smtp_helper_line("convert_smtp_send_mail():convert_mlutl_mail_address()"));
        platform.expect_trace(communicator_line(step.name, "convert_smtp_send_mail() returns 0x21077103"));
        EXPECT_EQ((communicator.*step.call)(mail), kCallFailed);
        EXPECT_TRUE(platform.verify());
    }
    EXPECT_THAT(platform.calls(), IsEmpty());
}

TEST_F(ConvertFailure, OfTheMailsOwnPartSendsNoStepOfTheMail)
{
    part_result = 1;
    for (const Step& step : kSteps) {
        SCOPED_TRACE(step.name);
        CntsSMTPSendMail mail;
        Communicator communicator;
        platform.expect_trace(smtp_helper_line("convert_smtp_send_mail():convert_mlutl_mail_part()"));
        platform.expect_trace(communicator_line(step.name, "convert_smtp_send_mail() returns 0x21077103"));
        EXPECT_EQ((communicator.*step.call)(mail), kCallFailed);
        EXPECT_TRUE(platform.verify());
    }
    EXPECT_THAT(platform.calls(), IsEmpty());
}
