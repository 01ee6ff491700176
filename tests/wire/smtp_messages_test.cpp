// Octets of the SMTP envelope and its messages.
#include <cstdint>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "ntc_email_esu_smtp.pb.h"
#include "wire_support.h"

using velorin::ntc_email_esu_smtp_method;
using velorin_test::delimited;
using velorin_test::expect_octets;
using velorin_test::hex_of;
using velorin_test::octets_of;
using velorin_test::read_octets;
using velorin_test::varint;
using velorin_test::varint_of_int32;

namespace {

using Envelope = ntc_email_esu_smtp_method;

struct Method {
    const char* label;
    int value;
    velorin::NTC_EMAIL_ESU_SMTP_METHOD type;
    const char* method_hex;   // field 1
    const char* request_tag;  // hex
    const char* response_tag;
    std::function<void(Envelope&)> set_request;                 // session 300
    std::function<void(Envelope&, std::int32_t)> set_response;  // retcode
    std::function<bool(const Envelope&)> has_request;
    std::function<bool(const Envelope&)> has_response;
    std::function<std::int32_t(const Envelope&)> retcode;
};

#define SMTP_METHOD(value, upper, lower, method_hex, request_tag, response_tag)                              \
    Method                                                                                                   \
    {                                                                                                        \
#lower, value, velorin::NTC_EMAIL_ESU_SMTP_METHOD_##upper, method_hex, request_tag, response_tag,     \
            [](Envelope& envelope) { envelope.mutable_##lower##_req()->set_session_id(300); },                \
            [](Envelope& envelope, std::int32_t code) { envelope.mutable_##lower##_res()->set_retcode(code); }, \
            [](const Envelope& envelope) { return envelope.has_##lower##_req(); },                            \
            [](const Envelope& envelope) { return envelope.has_##lower##_res(); },                            \
            [](const Envelope& envelope) { return envelope.lower##_res().retcode(); }      \
    }

const Method kMethods[] = {
    SMTP_METHOD(0, CREATE_INSTANCE, create_instance, "08 00", "12", "1A"),
    SMTP_METHOD(1, TEST, test, "08 01", "22", "2A"),
    SMTP_METHOD(2, CONNECT, connect, "08 02", "32", "3A"),
    SMTP_METHOD(3, SEND_HEADER, send_header, "08 03", "42", "4A"),
    SMTP_METHOD(4, SEND_BODY, send_body, "08 04", "52", "5A"),
    SMTP_METHOD(5, SEND_PART_HEADER, send_part_header, "08 05", "62", "6A"),
    SMTP_METHOD(6, SEND_PART_BODY, send_part_body, "08 06", "72", "7A"),
    SMTP_METHOD(7, CLOSE, close, "08 07", "82 01", "8A 01"),
    SMTP_METHOD(8, ABORT, abort, "08 08", "92 01", "9A 01"),
    SMTP_METHOD(9, JUDGE_SIZE_OF_DATA, judge_size_of_data, "08 09", "A2 01", "AA 01"),
    SMTP_METHOD(10, DESTROY_INSTANCE, destroy_instance, "08 0A", "B2 01", "BA 01"),
};

}  // namespace

TEST(SmtpEnvelope, ElevenMethods)
{
    for (const Method& method : kMethods) {
        SCOPED_TRACE(method.label);
        EXPECT_EQ(static_cast<int>(method.type), method.value);
        Envelope envelope;
        envelope.set_method_type(method.type);
        expect_octets(envelope, octets_of(method.method_hex));
    }
}

TEST(SmtpEnvelope, EveryRequestHasItsNumber)
{
    for (const Method& method : kMethods) {
        SCOPED_TRACE(method.label);
        Envelope envelope;
        envelope.set_method_type(method.type);
        method.set_request(envelope);
        const std::string octets =
            octets_of(method.method_hex) + delimited(method.request_tag, octets_of("08 AC 02"));
        expect_octets(envelope, octets);
        const Envelope read = read_octets<Envelope>(octets);
        for (const Method& other : kMethods) {
            EXPECT_EQ(other.has_request(read), &other == &method) << other.label;
            EXPECT_FALSE(other.has_response(read)) << other.label;
        }
    }
}

TEST(SmtpEnvelope, EveryResponseHasItsNumberAndItsRetcodeFirst)
{
    const std::int32_t codes[] = {0, 1, 0x21077103, 0x7FFFFFFF, -1, -2147483647 - 1};
    for (const Method& method : kMethods) {
        for (const std::int32_t code : codes) {
            SCOPED_TRACE(std::string(method.label) + " " + std::to_string(code));
            Envelope envelope;
            method.set_response(envelope, code);
            const std::string octets =
                delimited(method.response_tag, octets_of("08") + varint_of_int32(code));
            expect_octets(envelope, octets);
            const Envelope read = read_octets<Envelope>(octets);
            EXPECT_FALSE(read.has_method_type());
            for (const Method& other : kMethods) {
                EXPECT_EQ(other.has_response(read), &other == &method) << other.label;
                EXPECT_FALSE(other.has_request(read)) << other.label;
            }
            EXPECT_EQ(method.retcode(read), code);
        }
    }
}

TEST(SmtpEnvelope, ALibraryCodeIsAVarintOfFiveOctets)
{
    velorin::ntc_email_esu_smtp_connect_res response;
    response.set_retcode(0x21077103);
    expect_octets(response, octets_of("08 83 E2 9D 88 02"));
}

TEST(SmtpEnvelope, ANegativeCodeIsAVarintOfTenOctets)
{
    velorin::ntc_email_esu_smtp_connect_res response;
    response.set_retcode(-2);
    expect_octets(response, octets_of("08 FE FF FF FF FF FF FF FF FF 01"));
}

TEST(SmtpEnvelope, OnlyTheElevenValuesAreValid)
{
    for (int value = -3; value < 40; ++value)
        EXPECT_EQ(velorin::NTC_EMAIL_ESU_SMTP_METHOD_IsValid(value), value >= 0 && value <= 10) << value;
    EXPECT_FALSE(velorin::NTC_EMAIL_ESU_SMTP_METHOD_IsValid(0x7FFFFFFF));
    EXPECT_FALSE(velorin::NTC_EMAIL_ESU_SMTP_METHOD_IsValid(-2147483647 - 1));
}

TEST(SmtpEnvelope, AMethodOutsideTheEnumIsDropped)
{
    for (const char* const hex : {"08 0B", "08 13", "08 FF 01", "08 FF FF FF FF FF FF FF FF FF 01"}) {
        SCOPED_TRACE(hex);
        const Envelope envelope = read_octets<Envelope>(octets_of(hex));
        EXPECT_FALSE(envelope.has_method_type());
        EXPECT_EQ(envelope.method_type(), velorin::NTC_EMAIL_ESU_SMTP_METHOD_CREATE_INSTANCE);
    }
}

TEST(SmtpEnvelope, AnEmptyEnvelopeIsNoOctets)
{
    const Envelope envelope;
    expect_octets(envelope, "");
    EXPECT_TRUE(envelope.IsInitialized());
    EXPECT_FALSE(envelope.has_method_type());
    EXPECT_EQ(static_cast<int>(envelope.method_type()), 0);
    for (const Method& method : kMethods)
        EXPECT_EQ(method.retcode(envelope), 0) << method.label;
    EXPECT_EQ(envelope.GetTypeName(), "velorin.ntc_email_esu_smtp_method");
}

TEST(SmtpEnvelope, UnknownFieldsAreSkipped)
{
    // Fields 24 to 28 of every wire type, around a connect_res that has an unknown field of its own.
    const Envelope envelope =
        read_octets<Envelope>(octets_of("C0 01 05  3A 06 1A 02 61 62 08 09  C9 01 01 02 03 04 05 06 07 08"
                                        "D2 01 01 61  DB 01 08 01 DC 01  E5 01 01 02 03 04"));
    EXPECT_TRUE(envelope.has_connect_res());
    EXPECT_EQ(envelope.connect_res().retcode(), 9);
}

TEST(SmtpEnvelope, CutInAMemberItIsNoEnvelope)
{
    const std::string octets = octets_of("08 02 32 03 08 AC 02");
    for (std::size_t length = 0; length <= octets.size(); ++length) {
        Envelope envelope;
        const bool at_a_boundary = length == 0 || length == 2 || length == octets.size();
        EXPECT_EQ(envelope.ParseFromString(octets.substr(0, length)), at_a_boundary) << length;
    }
}

TEST(SmtpRequests, SizeIsFieldTwo)
{
    velorin::ntc_email_esu_smtp_judge_size_of_data_req request;
    request.set_session_id(1);
    request.set_size(0);
    expect_octets(request, octets_of("08 01 10 00"));
    request.set_size(0xFFFFFFFF);
    expect_octets(request, octets_of("08 01 10 FF FF FF FF 0F"));
}

TEST(SmtpRequests, ASessionIsThirtyTwoBitsWithoutSign)
{
    velorin::ntc_email_esu_smtp_connect_req request;
    request.set_session_id(0xFFFFFFFF);
    expect_octets(request, octets_of("08 FF FF FF FF 0F"));
    EXPECT_EQ(
        read_octets<velorin::ntc_email_esu_smtp_connect_req>(octets_of("08 FF FF FF FF 0F")).session_id(),
        0xFFFFFFFFu);
}

TEST(SmtpRequests, SettingsAreFieldTwoOfCreate)
{
    velorin::ntc_email_esu_smtp_create_instance_req request;
    request.set_session_id(1);
    request.mutable_psmtpset()->set_auth_kind(3);
    expect_octets(request, octets_of("08 01 12 02 08 03"));
}

template <typename Request>
void expect_mail_is_field_two()
{
    Request request;
    request.set_session_id(1);
    request.mutable_c_mail()->set_c_subject("s");
    expect_octets(request, octets_of("08 01 12 03 4A 01 73"));
}

TEST(SmtpRequests, AMailIsFieldTwo)
{
    expect_mail_is_field_two<velorin::ntc_email_esu_smtp_send_header_req>();
    expect_mail_is_field_two<velorin::ntc_email_esu_smtp_send_body_req>();
    expect_mail_is_field_two<velorin::ntc_email_esu_smtp_send_part_header_req>();
    expect_mail_is_field_two<velorin::ntc_email_esu_smtp_send_part_body_req>();
    expect_mail_is_field_two<velorin::ntc_email_esu_smtp_close_req>();
}

TEST(SmtpSettingsMessage, EveryField)
{
    velorin::ntc_email_esu_smtp_settings message;
    message.set_auth_kind(-1);
    message.set_c_server("s");
    message.set_n_port(25);
    message.set_n_tmo(60);
    message.mutable_p_pop3_settings()->set_n_port(110);
    message.set_c_usr_id("u");
    message.set_c_paswd("p");
    message.set_c_host_name("h");
    message.set_n_size_limit(0xFFFFFFFF);
    message.set_n_pop_wait_time(3);
    message.set_b_is_ipv6(true);
    message.set_tlsmode(1);
    message.set_sslauth(2);
    message.set_sslencrypt(255);
    expect_octets(message,
                  octets_of("08 FF FF FF FF FF FF FF FF FF 01  12 01 73  18 19  20 3C  2A 02 18 6E  32 01 75"
                            "3A 01 70  42 01 68  48 FF FF FF FF 0F  50 03  58 01  60 01  68 02  70 FF 01"));
}

TEST(SmtpSendMailMessage, EveryField)
{
    velorin::ntc_email_esu_smtp_send_mail message;
    message.mutable_my_part()->set_e_content_type(1);
    message.mutable_p_part()->mutable_p_part()->set_e_content_type(2);
    message.mutable_c_from()->set_c_address("a");
    message.mutable_c_to()->set_c_address("b");
    message.mutable_c_cc()->set_c_address("c");
    message.mutable_c_bcc()->set_c_address("d");
    message.mutable_c_reply_to()->set_c_address("e");
    message.mutable_c_sender()->set_c_address("f");
    message.set_c_subject("g");
    message.set_c_boundary_string("h");
    message.set_c_date("i");
    message.mutable_c_mdn_address()->set_c_address("j");
    message.set_c_message_id("k");
    message.set_c_in_reply_to("l");
    message.set_c_references("m");
    expect_octets(message,
                  octets_of("0A 02 08 01  12 04 0A 02 08 02  1A 03 0A 01 61  22 03 0A 01 62  2A 03 0A 01 63"
                            "32 03 0A 01 64  3A 03 0A 01 65  42 03 0A 01 66  4A 01 67  52 01 68  5A 01 69"
                            "62 03 0A 01 6A  6A 01 6B  72 01 6C  7A 01 6D"));
}

TEST(SmtpSendMailMessage, NothingIsRequired)
{
    const velorin::ntc_email_esu_smtp_send_mail message;
    expect_octets(message, "");
    EXPECT_FALSE(message.has_my_part());
    EXPECT_FALSE(message.has_c_cc());
    const velorin::ntc_email_esu_smtp_send_mail_part part;
    expect_octets(part, "");
    EXPECT_FALSE(part.has_p_part());
}
