// A client of the mail service that speaks envelopes, so that it sees every return code and can ask for
// anything in any order.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "channel_server.h"
#include "mail_service.h"
#include "ntc_email_esu_smtp.pb.h"

namespace velorin_test {

class CaFile;

constexpr int kSoon = 10000;                     // milliseconds in which everything local has happened
constexpr std::uint32_t kNoAnswer = 0xFFFFFFFF;  // the service let the caller go
constexpr char kUser[] = "user";
constexpr char kPassword[] = "secret-pw";

// One exchange; false: no answer.
using Exchange = std::function<bool(const std::string& request, std::string& answer)>;

velorin_channel::Caller this_caller();  // this process, embedded
Exchange directly(velorin::service::MailService& service,
                  const velorin_channel::Caller& caller = this_caller());
Exchange over_channel();  // the endpoint "pcie:ntc_email_smtp" of this process's channel

// The last reply line that the service keeps for this process.
std::string last_reply_of(velorin::service::MailService& service);

// Times short enough for tests.
velorin::MailServiceOptions quick_options();
// The same, trusting that authority alone.
velorin::MailServiceOptions trusting(const CaFile& ca);

class ServiceClient {
public:
    explicit ServiceClient(Exchange exchange, std::uint32_t session_id = 1);

    velorin::ntc_email_esu_smtp_settings settings;  // 127.0.0.1 in clear, no log-in; the port is to be set
    velorin::ntc_email_esu_smtp_send_mail mail;     // a small text mail

    void make_multipart();  // boundary "cut"
    // The further part under way: an attachment in base64.
    void set_part(const std::string& file_name);
    void log_in(std::int32_t auth_kind);  // kUser, kPassword

    std::uint32_t create();
    std::uint32_t test();
    std::uint32_t connect();
    std::uint32_t judge(std::uint32_t size);
    std::uint32_t header();
    std::uint32_t body(const std::string& octets);
    std::uint32_t part_header();
    std::uint32_t part_body(const std::string& octets);
    std::uint32_t close();
    std::uint32_t abort();
    std::uint32_t destroy();

    // create and connect to a server.
    std::uint32_t open(std::uint16_t port);
    // header, body, close; the first code that is not 0.
    std::uint32_t send(const std::string& octets);

    // Asks for anything; the answer is read as that of the request's method.
    velorin::ntc_email_esu_smtp_method ask(const velorin::ntc_email_esu_smtp_method& request, bool& answered);

    std::uint32_t session_id() const { return session_id_; }

private:
    Exchange exchange_;
    std::uint32_t session_id_;
};

// The name of a code as the table has it; "ok" for 0.
std::string name_of(std::uint32_t code);

// What MakeHeader makes of ServiceClient::mail as it is at first.
std::string plain_header();

}  // namespace velorin_test
