// Octets of the POP3 envelope and its messages.
#include <cstdint>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "ntc_email_esu_pop3.pb.h"
#include "wire_support.h"

using velorin::ntc_email_esu_pop3_method;
using velorin_test::delimited;
using velorin_test::expect_octets;
using velorin_test::octets_of;
using velorin_test::read_octets;
using velorin_test::varint_of_int32;

namespace {

using Envelope = ntc_email_esu_pop3_method;

struct Method {
    const char* label;
    int value;
    velorin::NTC_EMAIL_ESU_POP3_METHOD type;
    const char* method_hex;   // field 1
    const char* request_tag;  // hex
    const char* response_tag;
    std::function<void(Envelope&)> set_request;  // session 300
    std::function<bool(const Envelope&)> has_request;
    std::function<bool(const Envelope&)> has_response;
    std::function<void(Envelope&)> make_response;  // empty
};

#define POP3_METHOD(value, upper, lower, method_hex, request_tag, response_tag)                              \
    Method                                                                                                   \
    {                                                                                                        \
#lower, value, velorin::NTC_EMAIL_ESU_POP3_METHOD_##upper, method_hex, request_tag, response_tag,  \
            [](Envelope& envelope) { envelope.mutable_##lower##_req()->set_session_id(300); },             \
            [](const Envelope& envelope) { return envelope.has_##lower##_req(); },                         \
            [](const Envelope& envelope) { return envelope.has_##lower##_res(); },                         \
            [](Envelope& envelope) { envelope.mutable_##lower##_res(); }         \
    }

const Method kMethods[] = {
    POP3_METHOD(1, CREATE_INSTANCE, create_instance, "08 01", "12", "1A"),
    POP3_METHOD(2, TEST, test, "08 02", "22", "2A"),
    POP3_METHOD(3, CONNECT, connect, "08 03", "32", "3A"),
    POP3_METHOD(4, STAT, stat, "08 04", "42", "4A"),
    POP3_METHOD(5, LIST, list, "08 05", "52", "5A"),
    POP3_METHOD(6, LIST_NEXT, list_next, "08 06", "62", "6A"),
    POP3_METHOD(7, RECEIVE_HEADER, receive_header, "08 07", "72", "7A"),
    POP3_METHOD(8, RECEIVE_BODY, receive_body, "08 08", "82 01", "8A 01"),
    POP3_METHOD(9, RECEIVE_PART_HEADER, receive_part_header, "08 09", "92 01", "9A 01"),
    POP3_METHOD(10, RECEIVE_PART_BODY, receive_part_body, "08 0A", "A2 01", "AA 01"),
    POP3_METHOD(11, SKIP_MAIL, skip_mail, "08 0B", "B2 01", "BA 01"),
    POP3_METHOD(12, SKIP_PART, skip_part, "08 0C", "C2 01", "CA 01"),
    POP3_METHOD(13, DELETE, delete, "08 0D", "D2 01", "DA 01"),
    POP3_METHOD(14, CLOSE, close, "08 0E", "E2 01", "EA 01"),
    POP3_METHOD(15, REF_MAIL_ADDRESS, ref_mail_address, "08 0F", "F2 01", "FA 01"),
    POP3_METHOD(16, NOOP, noop, "08 10", "82 02", "8A 02"),
    POP3_METHOD(17, DELETE_BY_UID, delete_by_uid, "08 11", "92 02", "9A 02"),
    POP3_METHOD(18, RECEIVE_HEADER_ONLY, receive_header_only, "08 12", "A2 02", "AA 02"),
    POP3_METHOD(19, DESTROY_INSTANCE, destroy_instance, "08 13", "B2 02", "BA 02"),
};

}  // namespace

TEST(Pop3Envelope, NineteenMethodsFromOne)
{
    for (const Method& method : kMethods) {
        SCOPED_TRACE(method.label);
        EXPECT_EQ(static_cast<int>(method.type), method.value);
        Envelope envelope;
        envelope.set_method_type(method.type);
        expect_octets(envelope, octets_of(method.method_hex));
    }
}

TEST(Pop3Envelope, EveryRequestAndResponseHasItsNumber)
{
    for (const Method& method : kMethods) {
        SCOPED_TRACE(method.label);
        Envelope asking;
        asking.set_method_type(method.type);
        method.set_request(asking);
        const std::string octets =
            octets_of(method.method_hex) + delimited(method.request_tag, octets_of("08 AC 02"));
        expect_octets(asking, octets);
        const Envelope asked = read_octets<Envelope>(octets);
        Envelope answering;
        method.make_response(answering);
        expect_octets(answering, delimited(method.response_tag, ""));
        const Envelope answered = read_octets<Envelope>(delimited(method.response_tag, ""));
        for (const Method& other : kMethods) {
            EXPECT_EQ(other.has_request(asked), &other == &method) << other.label;
            EXPECT_FALSE(other.has_response(asked)) << other.label;
            EXPECT_EQ(other.has_response(answered), &other == &method) << other.label;
            EXPECT_FALSE(other.has_request(answered)) << other.label;
        }
    }
}

TEST(Pop3Envelope, OnlyTheNineteenValuesAreValid)
{
    for (int value = -3; value < 40; ++value)
        EXPECT_EQ(velorin::NTC_EMAIL_ESU_POP3_METHOD_IsValid(value), value >= 1 && value <= 19) << value;
}

TEST(Pop3Envelope, AMethodOutsideTheEnumIsDropped)
{
    for (const char* const hex : {"08 00", "08 14", "08 FF 01", "08 FF FF FF FF FF FF FF FF FF 01"}) {
        SCOPED_TRACE(hex);
        const Envelope envelope = read_octets<Envelope>(octets_of(hex));
        EXPECT_FALSE(envelope.has_method_type());
        EXPECT_EQ(envelope.method_type(), velorin::NTC_EMAIL_ESU_POP3_METHOD_CREATE_INSTANCE);
        EXPECT_EQ(static_cast<int>(envelope.method_type()), 1);
    }
}

TEST(Pop3Envelope, AnEmptyEnvelopeIsNoOctets)
{
    const Envelope envelope;
    expect_octets(envelope, "");
    EXPECT_TRUE(envelope.IsInitialized());
    EXPECT_EQ(envelope.GetTypeName(), "velorin.ntc_email_esu_pop3_method");
}

// --- responses: the place of retcode differs

namespace {

template <typename Response>
void expect_retcode_in(const char* tag_hex)
{
    for (const std::int32_t code : {0, 7, 0x21077103, -1}) {
        Response response;
        response.set_retcode(code);
        const std::string octets = octets_of(tag_hex) + varint_of_int32(code);
        expect_octets(response, octets);
        EXPECT_EQ(read_octets<Response>(octets).retcode(), code);
    }
    const Response empty;
    EXPECT_EQ(empty.retcode(), 0);
}

}  // namespace

TEST(Pop3Responses, RetcodeAloneIsFieldOne)
{
    expect_retcode_in<velorin::ntc_email_esu_pop3_create_instance_res>("08");
    expect_retcode_in<velorin::ntc_email_esu_pop3_test_res>("08");
    expect_retcode_in<velorin::ntc_email_esu_pop3_connect_res>("08");
    expect_retcode_in<velorin::ntc_email_esu_pop3_close_res>("08");
    expect_retcode_in<velorin::ntc_email_esu_pop3_noop_res>("08");
    expect_retcode_in<velorin::ntc_email_esu_pop3_destroy_instance_res>("08");
}

TEST(Pop3Responses, RetcodeBehindDataIsFieldTwo)
{
    expect_retcode_in<velorin::ntc_email_esu_pop3_stat_res>("10");
    expect_retcode_in<velorin::ntc_email_esu_pop3_list_res>("10");
    expect_retcode_in<velorin::ntc_email_esu_pop3_receive_header_res>("10");
    expect_retcode_in<velorin::ntc_email_esu_pop3_receive_body_res>("10");
    expect_retcode_in<velorin::ntc_email_esu_pop3_receive_part_header_res>("10");
    expect_retcode_in<velorin::ntc_email_esu_pop3_receive_part_body_res>("10");
    expect_retcode_in<velorin::ntc_email_esu_pop3_skip_mail_res>("10");
    expect_retcode_in<velorin::ntc_email_esu_pop3_skip_part_res>("10");
    expect_retcode_in<velorin::ntc_email_esu_pop3_delete_res>("10");
    expect_retcode_in<velorin::ntc_email_esu_pop3_delete_by_uid_res>("10");
    expect_retcode_in<velorin::ntc_email_esu_pop3_receive_header_only_res>("10");
}

TEST(Pop3Responses, RetcodeOfListNextIsFieldThree)
{
    expect_retcode_in<velorin::ntc_email_esu_pop3_list_next_res>("18");
}

TEST(Pop3Responses, RefMailAddressCarriesTheAddressAlone)
{
    velorin::ntc_email_esu_pop3_ref_mail_address_res response;
    response.mutable_mail_address()->set_c_address("a@b");
    expect_octets(response, octets_of("0A 05 0A 03 61 40 62"));
    // A number in field 1 or 2 is not a code.
    const auto read = read_octets<velorin::ntc_email_esu_pop3_ref_mail_address_res>(octets_of("08 05 10 06"));
    EXPECT_FALSE(read.has_mail_address());
}

TEST(Pop3Responses, DataOfEach)
{
    velorin::ntc_email_esu_pop3_stat_res stat;
    stat.set_total_num(12);
    stat.set_retcode(1);
    expect_octets(stat, octets_of("08 0C 10 01"));

    velorin::ntc_email_esu_pop3_list_res list;
    list.mutable_c_info_list()->set_n_max_list_size(5);
    list.set_retcode(1);
    expect_octets(list, octets_of("0A 02 10 05 10 01"));

    velorin::ntc_email_esu_pop3_list_next_res next;
    next.mutable_c_info_list()->set_n_max_list_size(5);
    next.mutable_c_info()->set_n_id(6);
    next.set_retcode(1);
    expect_octets(next, octets_of("0A 02 10 05 12 02 08 06 18 01"));

    velorin::ntc_email_esu_pop3_delete_by_uid_res by_uid;
    by_uid.mutable_c_info_list()->set_n_max_list_size(5);
    by_uid.set_retcode(1);
    expect_octets(by_uid, octets_of("0A 02 10 05 10 01"));
}

template <typename Response>
void expect_mail_in_response()
{
    Response response;
    response.mutable_c_mail()->set_c_subject("s");
    response.set_retcode(2);
    expect_octets(response, octets_of("0A 03 3A 01 73 10 02"));
}

TEST(Pop3Responses, AMailIsFieldOne)
{
    expect_mail_in_response<velorin::ntc_email_esu_pop3_receive_header_res>();
    expect_mail_in_response<velorin::ntc_email_esu_pop3_receive_body_res>();
    expect_mail_in_response<velorin::ntc_email_esu_pop3_receive_part_header_res>();
    expect_mail_in_response<velorin::ntc_email_esu_pop3_receive_part_body_res>();
    expect_mail_in_response<velorin::ntc_email_esu_pop3_skip_mail_res>();
    expect_mail_in_response<velorin::ntc_email_esu_pop3_skip_part_res>();
    expect_mail_in_response<velorin::ntc_email_esu_pop3_delete_res>();
    expect_mail_in_response<velorin::ntc_email_esu_pop3_receive_header_only_res>();
}

// --- requests

template <typename Request>
void expect_mail_in_request()
{
    Request request;
    request.set_session_id(1);
    request.mutable_c_mail()->set_c_subject("s");
    expect_octets(request, octets_of("08 01 12 03 3A 01 73"));
}

template <typename Request>
void expect_mail_and_code_conv()
{
    Request request;
    request.set_session_id(1);
    request.mutable_c_mail()->set_c_subject("s");
    request.set_code_conv(true);
    expect_octets(request, octets_of("08 01 12 03 3A 01 73 18 01"));
    request.set_code_conv(false);
    expect_octets(request, octets_of("08 01 12 03 3A 01 73 18 00"));
}

TEST(Pop3Requests, AMailIsFieldTwo)
{
    expect_mail_in_request<velorin::ntc_email_esu_pop3_receive_body_req>();
    expect_mail_in_request<velorin::ntc_email_esu_pop3_receive_part_body_req>();
    expect_mail_in_request<velorin::ntc_email_esu_pop3_skip_mail_req>();
    expect_mail_in_request<velorin::ntc_email_esu_pop3_skip_part_req>();
    expect_mail_in_request<velorin::ntc_email_esu_pop3_delete_req>();
}

TEST(Pop3Requests, CodeConversionIsFieldThree)
{
    expect_mail_and_code_conv<velorin::ntc_email_esu_pop3_receive_header_req>();
    expect_mail_and_code_conv<velorin::ntc_email_esu_pop3_receive_part_header_req>();
    expect_mail_and_code_conv<velorin::ntc_email_esu_pop3_receive_header_only_req>();
}

TEST(Pop3Requests, DataOfEach)
{
    velorin::ntc_email_esu_pop3_create_instance_req create;
    create.set_session_id(1);
    create.mutable_c_settings()->set_n_port(110);
    expect_octets(create, octets_of("08 01 12 02 18 6E"));

    velorin::ntc_email_esu_pop3_list_req list;
    list.set_session_id(1);
    list.mutable_c_info_list()->set_n_max_list_size(2);
    list.set_retry(true);
    expect_octets(list, octets_of("08 01 12 02 10 02 18 01"));

    velorin::ntc_email_esu_pop3_list_next_req next;
    next.set_session_id(1);
    next.mutable_c_info_list()->set_n_max_list_size(2);
    next.mutable_c_info()->set_n_id(3);
    expect_octets(next, octets_of("08 01 12 02 10 02 1A 02 08 03"));

    velorin::ntc_email_esu_pop3_delete_by_uid_req by_uid;
    by_uid.set_session_id(1);
    by_uid.mutable_c_info_list()->set_n_max_list_size(2);
    by_uid.mutable_c_mail()->set_c_subject("s");
    expect_octets(by_uid, octets_of("08 01 12 02 10 02 1A 03 3A 01 73"));
}

// --- what they carry

TEST(Pop3SettingsMessage, EveryField)
{
    velorin::ntc_email_esu_pop3_settings message;
    message.mutable_c_address()->set_c_address("a");
    message.set_c_server("s");
    message.set_n_port(110);
    message.set_c_user_id("u");
    message.set_c_passwd("p");
    message.set_is_apop(true);
    message.set_n_timeout(0xFFFFFFFF);
    message.set_b_is_ipv6(false);
    message.set_n_tls_mode(1);
    message.set_n_ssl_auth(2);
    message.set_n_ssl_encrypt(255);
    expect_octets(message, octets_of("0A 03 0A 01 61  12 01 73  18 6E  22 01 75  2A 01 70  30 01"
                                     "38 FF FF FF FF 0F  40 00  48 01  50 02  58 FF 01"));
}

TEST(Pop3MailInfoMessage, EveryField)
{
    velorin::ntc_email_esu_pop3_mail_info message;
    message.set_n_id(-1);
    message.set_c_uniq_id("uid");
    message.set_n_size(0xFFFFFFFF);
    message.set_n_status(2);
    expect_octets(message,
                  octets_of("08 FF FF FF FF FF FF FF FF FF 01  12 03 75 69 64  18 FF FF FF FF 0F  20 02"));
}

TEST(Pop3MailInfoListMessage, EntriesKeepTheirOrder)
{
    velorin::ntc_email_esu_pop3_mail_info_list message;
    expect_octets(message, "");
    message.add_c_list()->set_n_id(2);
    message.add_c_list()->set_n_id(1);
    message.add_c_list();
    message.set_n_max_list_size(9);
    expect_octets(message, octets_of("0A 02 08 02  0A 02 08 01  0A 00  10 09"));
    const auto read = read_octets<velorin::ntc_email_esu_pop3_mail_info_list>(message.SerializeAsString());
    ASSERT_EQ(read.c_list_size(), 3);
    EXPECT_EQ(read.c_list(0).n_id(), 2);
    EXPECT_EQ(read.c_list(1).n_id(), 1);
    EXPECT_FALSE(read.c_list(2).has_n_id());
}

TEST(Pop3ReceiveMailMessage, EveryField)
{
    velorin::ntc_email_esu_pop3_receive_mail message;
    expect_octets(message, "");
    message.mutable_my_part()->set_e_content_type(1);
    message.mutable_c_to()->set_c_address("a");
    message.mutable_c_from()->set_c_address("b");
    message.mutable_c_cc()->set_c_address("c");
    message.mutable_c_notification_to()->set_c_address("d");
    message.mutable_c_reply_to()->set_c_address("e");
    message.set_c_subject("f");
    message.set_c_date("g");
    message.set_c_message_id("h");
    message.add_c_boundary_string("outer");
    message.add_c_boundary_string("in");
    message.set_c_in_reply_to("i");
    message.set_c_references("j");
    message.mutable_c_return_path()->set_c_address("k");
    message.set_n_part_depth(2);
    message.set_is_has_next(true);
    message.mutable_c_mail_info()->set_n_id(3);
    message.mutable_p_part()->mutable_p_part()->set_e_content_type(4);
    message.set_is_boundary_detected(true);
    expect_octets(message,
                  octets_of("0A 02 08 01  12 03 0A 01 61  1A 03 0A 01 62  22 03 0A 01 63  2A 03 0A 01 64"
                            "32 03 0A 01 65  3A 01 66  42 01 67  4A 01 68  52 05 6F 75 74 65 72  52 02 69 6E"
                            "5A 01 69  62 01 6A  6A 03 0A 01 6B  70 02  78 01  82 01 02 08 03"
                            "8A 01 04 0A 02 08 04  90 01 01"));
}

TEST(Pop3ReceiveMailMessage, TheNotificationAddressIsSpelledAsTheServiceSpellsIt)
{
    EXPECT_EQ(velorin::ntc_email_esu_pop3_receive_mail::kCNotIficationToFieldNumber, 5);
}

TEST(Pop3ReceiveMailMessage, TheBoundaryStackKeepsItsOrder)
{
    velorin::ntc_email_esu_pop3_receive_mail message;
    message.add_c_boundary_string("b");
    message.add_c_boundary_string("");
    message.add_c_boundary_string("a");
    expect_octets(message, octets_of("52 01 62  52 00  52 01 61"));
    const auto read =
        read_octets<velorin::ntc_email_esu_pop3_receive_mail>(octets_of("52 01 62  52 00  52 01 61"));
    ASSERT_EQ(read.c_boundary_string_size(), 3);
    EXPECT_EQ(read.c_boundary_string(0), "b");
    EXPECT_EQ(read.c_boundary_string(1), "");
    EXPECT_EQ(read.c_boundary_string(2), "a");
}

TEST(Pop3ReceiveMailPartMessage, OneField)
{
    velorin::ntc_email_esu_pop3_receive_mail_part message;
    expect_octets(message, "");
    message.mutable_p_part();
    expect_octets(message, octets_of("0A 00"));
}
