// A client of the POP3 endpoint that speaks envelopes, so that it sees every return code and can ask for
// anything in any order. It merges answers as the library does.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "mail_service.h"
#include "ntc_email_esu_pop3.pb.h"
#include "service_client.h"

namespace velorin_test {

constexpr std::uint32_t kPop3Capacity = 8192;  // the library's receive buffer

Exchange pop3_directly(velorin::service::MailService& service,
                       const velorin_channel::Caller& caller = this_caller(),
                       std::uint32_t capacity = kPop3Capacity);

Exchange pop3_over_channel();  // the endpoint "pcie:ntc_email_pop3" of this process's channel

// A part of a mail as it was received.
struct ReceivedPart {
    velorin::ntc_email_esu_mlutl_mail_part facts;  // of its header, no octets
    int depth = 0;
    bool boundary_detected = false;   // in its last piece
    std::vector<std::string> pieces;  // transfer-encoded

    std::string joined() const;
    std::string decoded() const;  // each piece by itself with the library's decoders, then joined
};

class Pop3Client {
public:
    explicit Pop3Client(Exchange exchange, std::uint32_t session_id = 1);

    velorin::ntc_email_esu_pop3_settings settings;  // 127.0.0.1 in clear, kUser and kPassword; port to be set
    velorin::ntc_email_esu_pop3_mail_info_list list;  // at most 200 entries
    velorin::ntc_email_esu_pop3_mail_info info;
    velorin::ntc_email_esu_pop3_receive_mail mail;
    std::int32_t count = -1;  // of stat()
    std::string address;      // of ref_mail_address()

    // Makes `mail` a new one.
    void mean(std::int32_t number, const std::string& uid = "", std::uint32_t size = 0);

    std::uint32_t create();
    std::uint32_t test();
    std::uint32_t connect();
    std::uint32_t stat();
    std::uint32_t update();  // List
    std::uint32_t next();    // ListNext
    std::uint32_t header(bool convert = true);
    std::uint32_t header_only(bool convert = true);
    std::uint32_t body();
    std::uint32_t part_header(bool convert = true);
    std::uint32_t part_body();
    std::uint32_t skip_mail();
    std::uint32_t skip_part();
    std::uint32_t remove();         // Delete
    std::uint32_t remove_by_uid();  // DeleteByUID
    std::uint32_t close();
    std::uint32_t ref_mail_address();
    std::uint32_t noop();
    std::uint32_t destroy();

    // create and connect to a server.
    std::uint32_t open(std::uint16_t port);
    // The whole mail from its header on, as an application reads it.
    //   out     parts: of a mail that is no multipart one, with the facts of the mail
    //   result  the first code that is neither 0 nor answer-cut
    std::uint32_t receive(std::vector<ReceivedPart>& parts, bool convert = true);

    // Asks for anything; the answer is read as that of the request's method.
    velorin::ntc_email_esu_pop3_method ask(const velorin::ntc_email_esu_pop3_method& request, bool& answered);
    const velorin::ntc_email_esu_mlutl_mail_part& part() const { return mail.p_part().p_part(); }

private:
    void merge(const velorin::ntc_email_esu_pop3_receive_mail& answer);

    Exchange exchange_;
    std::uint32_t session_id_;
};

// Whether a code means that the mail was filled.
bool is_filled(std::uint32_t code);

std::string decode_piece(std::int32_t transfer_encoding, std::string_view piece);

}  // namespace velorin_test
