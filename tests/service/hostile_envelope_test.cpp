// Requests that no library would make: each gets an answer with a code, and harms nobody.
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "loopback_smtp.h"
#include "return_codes.h"
#include "service_client.h"

namespace velorin::service {
namespace {

using velorin_test::directly;
using velorin_test::kSoon;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::quick_options;
using velorin_test::ServiceClient;

using Envelope = ntc_email_esu_smtp_method;

// One exchange with the request in a block of its exact size.
bool exchange(MailService& service, const std::string& request, Envelope& answer,
              std::uint32_t capacity = 4096)
{
    const std::unique_ptr<char[]> octets(new char[request.size()]);
    std::memcpy(octets.get(), request.data(), request.size());
    const std::unique_ptr<char[]> out(new char[capacity]);
    std::uint32_t length = 0;
    if (!service.answer_smtp(velorin_test::this_caller(), octets.get(),
                             static_cast<std::uint32_t>(request.size()), out.get(), capacity, length)) {
        return false;
    }
    EXPECT_LE(length, capacity);
    EXPECT_TRUE(answer.ParseFromArray(out.get(), static_cast<int>(length)));
    return true;
}

// The code that every method's answer holds; "mixed" when they differ or one is missing.
std::string code_for_everybody(const Envelope& answer)
{
    const std::vector<std::pair<bool, std::int32_t>> results = {
        {answer.has_create_instance_res(), answer.create_instance_res().retcode()},
        {answer.has_test_res(), answer.test_res().retcode()},
        {answer.has_connect_res(), answer.connect_res().retcode()},
        {answer.has_send_header_res(), answer.send_header_res().retcode()},
        {answer.has_send_body_res(), answer.send_body_res().retcode()},
        {answer.has_send_part_header_res(), answer.send_part_header_res().retcode()},
        {answer.has_send_part_body_res(), answer.send_part_body_res().retcode()},
        {answer.has_close_res(), answer.close_res().retcode()},
        {answer.has_abort_res(), answer.abort_res().retcode()},
        {answer.has_judge_size_of_data_res(), answer.judge_size_of_data_res().retcode()},
        {answer.has_destroy_instance_res(), answer.destroy_instance_res().retcode()},
    };
    for (const auto& one : results) {
        if (!one.first || one.second != results[0].second) return "mixed";
    }
    return name_of(static_cast<std::uint32_t>(results[0].second));
}

TEST(HostileEnvelope, IsAnsweredForEveryMethod)
{
    Envelope two;
    two.set_method_type(NTC_EMAIL_ESU_SMTP_METHOD_TEST);
    two.mutable_test_req()->set_session_id(1);
    two.mutable_connect_req()->set_session_id(1);
    Envelope other;
    other.set_method_type(NTC_EMAIL_ESU_SMTP_METHOD_TEST);
    other.mutable_connect_req()->set_session_id(1);
    Envelope no_method;
    no_method.mutable_test_req()->set_session_id(1);
    Envelope no_request;
    no_request.set_method_type(NTC_EMAIL_ESU_SMTP_METHOD_CLOSE);
    const struct {
        const char* label;
        std::string request;
    } cases[] = {
        {"nothing", ""},
        {"octets that are no message", "\xFF\xFF\xFF\xFF"},
        {"a length beyond the end", std::string("\x12\x7F", 2)},
        {"a length of 4 GiB", "\x12\xFF\xFF\xFF\xFF\x0F"},
        {"a field without its value", "\x08"},
        {"a varint without end", std::string(20, '\xFF')},
        {"a group that never ends", "\x0B"},
        {"the field number 0", std::string("\x00\x00", 2)},
        {"a method above the last", std::string("\x08\x0B\x22\x00", 4)},
        {"a negative method", std::string("\x08\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01", 11)},
        {"no method", no_method.SerializeAsString()},
        {"a method without its request", no_request.SerializeAsString()},
        {"the request of another method", other.SerializeAsString()},
        {"two requests", two.SerializeAsString()},
        {"text", "GET / HTTP/1.0\r\n\r\n"},
    };
    MailService service(quick_options());
    for (const auto& one : cases) {
        Envelope answer;
        ASSERT_TRUE(exchange(service, one.request, answer)) << one.label;
        EXPECT_EQ("malformed-request", code_for_everybody(answer)) << one.label;
        EXPECT_FALSE(answer.has_method_type()) << one.label;
    }
}

TEST(HostileEnvelope, WithoutWhatAMethodNeedsIsMalformed)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.make_multipart();
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    const auto id = client.session_id();
    bool answered = false;

    Envelope create;
    create.set_method_type(NTC_EMAIL_ESU_SMTP_METHOD_CREATE_INSTANCE);
    create.mutable_create_instance_req()->set_session_id(99);
    EXPECT_EQ(kMalformedRequest,
              static_cast<std::uint32_t>(client.ask(create, answered).create_instance_res().retcode()));
    Envelope header;
    header.set_method_type(NTC_EMAIL_ESU_SMTP_METHOD_SEND_HEADER);
    header.mutable_send_header_req()->set_session_id(id);
    EXPECT_EQ(kMalformedRequest,
              static_cast<std::uint32_t>(client.ask(header, answered).send_header_res().retcode()));
    ASSERT_EQ("ok", name_of(client.header()));
    Envelope body;
    body.set_method_type(NTC_EMAIL_ESU_SMTP_METHOD_SEND_BODY);
    body.mutable_send_body_req()->set_session_id(id);
    EXPECT_EQ(kMalformedRequest,
              static_cast<std::uint32_t>(client.ask(body, answered).send_body_res().retcode()));
    EXPECT_EQ("malformed-request", name_of(client.part_header()));
    client.mail.mutable_p_part();
    EXPECT_EQ("malformed-request", name_of(client.part_header()));
    client.set_part("a.pdf");
    ASSERT_EQ("ok", name_of(client.part_header()));
    client.mail.mutable_p_part()->clear_p_part();
    Envelope part_body;
    part_body.set_method_type(NTC_EMAIL_ESU_SMTP_METHOD_SEND_PART_BODY);
    part_body.mutable_send_part_body_req()->set_session_id(id);
    *part_body.mutable_send_part_body_req()->mutable_c_mail() = client.mail;
    EXPECT_EQ(kMalformedRequest,
              static_cast<std::uint32_t>(client.ask(part_body, answered).send_part_body_res().retcode()));
    EXPECT_EQ("ok", name_of(client.close()));
    EXPECT_TRUE(server.wait_for_mail(1, kSoon));
}

TEST(HostileEnvelope, AboveTheLimitIsRefusedUnread)
{
    MailServiceOptions options = quick_options();
    options.max_request = 1000;
    MailService service(options);
    Envelope answer;
    ASSERT_TRUE(exchange(service, std::string(1001, '\0'), answer));
    EXPECT_EQ("limit-reached", code_for_everybody(answer));
}

TEST(HostileEnvelope, WithoutRoomForAnAnswerIsLetGo)
{
    MailService service(quick_options());
    Envelope answer;
    EXPECT_FALSE(exchange(service, "garbage", answer, 10));
    EXPECT_FALSE(exchange(service, "garbage", answer, 1));
    Envelope abort;
    abort.set_method_type(NTC_EMAIL_ESU_SMTP_METHOD_ABORT);
    abort.mutable_abort_req()->set_session_id(1);
    EXPECT_TRUE(exchange(service, abort.SerializeAsString(), answer, 11));
    EXPECT_EQ(kUnknownSession, static_cast<std::uint32_t>(answer.abort_res().retcode()));
}

TEST(HostileEnvelope, SettingsBeyondTheirLimitAreNotKept)
{
    MailServiceOptions options = quick_options();
    options.max_kept = 4096;
    MailService service(options);
    ServiceClient client(directly(service));
    client.settings.set_c_host_name(std::string(5000, 'x'));
    EXPECT_EQ("limit-reached", name_of(client.create()));
    EXPECT_EQ("unknown-session", name_of(client.connect()));
}

// Every single octet of whole requests changed, dropped or doubled: an answer each time, and the session
// unharmed.
TEST(HostileEnvelope, IsAnsweredWhateverOctetIsChanged)
{
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.settings.set_c_server("/nowhere");  // no damaged request ever finds a server
    client.log_in(2);
    Envelope create;
    create.set_method_type(NTC_EMAIL_ESU_SMTP_METHOD_CREATE_INSTANCE);
    create.mutable_create_instance_req()->set_session_id(7);
    *create.mutable_create_instance_req()->mutable_psmtpset() = client.settings;
    Envelope header;
    header.set_method_type(NTC_EMAIL_ESU_SMTP_METHOD_SEND_HEADER);
    header.mutable_send_header_req()->set_session_id(7);
    *header.mutable_send_header_req()->mutable_c_mail() = client.mail;
    for (const Envelope& envelope : {create, header}) {
        const std::string whole = envelope.SerializeAsString();
        for (std::size_t at = 0; at < whole.size(); ++at) {
            for (const int change : {0x01, 0x80, 0xFF}) {
                std::string damaged = whole;
                damaged[at] = static_cast<char>(damaged[at] ^ change);
                Envelope answer;
                EXPECT_TRUE(exchange(service, damaged, answer)) << at;
            }
            Envelope answer;
            EXPECT_TRUE(exchange(service, whole.substr(0, at), answer)) << at;
            EXPECT_TRUE(exchange(service, whole.substr(at), answer)) << at;
        }
    }
    std::mt19937 random(4711);
    for (int round = 0; round < 2000; ++round) {
        std::string octets(random() % 64, '\0');
        for (char& octet : octets)
            octet = static_cast<char>(random() & 0xFF);
        Envelope answer;
        EXPECT_TRUE(exchange(service, octets, answer));
    }
}

}  // namespace
}  // namespace velorin::service
