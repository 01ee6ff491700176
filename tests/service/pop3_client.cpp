#include "pop3_client.h"

#include <utility>

#include <gtest/gtest.h>

#include "CntsMLUTLMimeUtility.h"
#include "CutlCPLBOSBoundary.h"
#include "emwGEN.h"
#include "return_codes.h"

namespace velorin_test {
namespace {

using Envelope = velorin::ntc_email_esu_pop3_method;
using Mail = velorin::ntc_email_esu_pop3_receive_mail;

}  // namespace

Exchange pop3_directly(velorin::service::MailService& service, const velorin_channel::Caller& caller,
                       std::uint32_t capacity)
{
    return [&service, caller, capacity](const std::string& request, std::string& answer) {
        answer.assign(capacity, '\0');
        std::uint32_t length = 0;
        const bool answered =
            service.answer_pop3(caller, request.data(), static_cast<std::uint32_t>(request.size()),
                                answer.data(), capacity, length);
        answer.resize(answered ? length : 0);
        return answered;
    };
}

Exchange pop3_over_channel()
{
    return [](const std::string& request, std::string& answer) {
        std::uint32_t channel = 0;
        if (emwGENPacketClntInit("pcie:ntc_email_pop3", &channel) != 0) return false;
        answer.assign(kPop3Capacity, '\0');
        std::uint32_t length = 0;
        const std::uint32_t status =
            emwGENPacketClntCall(channel, request.data(), static_cast<std::uint32_t>(request.size()),
                                 answer.data(), kPop3Capacity, &length, 60000);
        emwGENPacketClntTerm(channel);
        answer.resize(status == 0 ? length : 0);
        return status == 0;
    };
}

std::string decode_piece(std::int32_t transfer_encoding, std::string_view piece)
{
    using velorin::CntsMLUTLMimeUtility;
    if (transfer_encoding != 2 && transfer_encoding != 3) return std::string(piece);
    void* octets = nullptr;
    long length = 0;
    const auto size = static_cast<long>(piece.size());
    const int done = transfer_encoding == 2
                         ? CntsMLUTLMimeUtility::FromB64(piece.data(), size, octets, length)
                         : CntsMLUTLMimeUtility::FromQP(piece.data(), size, octets, length);
    EXPECT_EQ(1, done);
    std::string out(static_cast<const char*>(octets), static_cast<std::size_t>(length));
    CutlCPLBOSBoundary::MemFree(octets);
    return out;
}

std::string ReceivedPart::joined() const
{
    std::string out;
    for (const std::string& piece : pieces)
        out += piece;
    return out;
}

std::string ReceivedPart::decoded() const
{
    std::string out;
    for (const std::string& piece : pieces)
        out += decode_piece(facts.e_transfer_encoding(), piece);
    return out;
}

bool is_filled(std::uint32_t code)
{
    return code == 0 || code == velorin::service::kAnswerCut;
}

Pop3Client::Pop3Client(Exchange exchange, std::uint32_t session_id)
    : exchange_(std::move(exchange)), session_id_(session_id)
{
    settings.set_c_server("127.0.0.1");
    settings.set_c_user_id(kUser);
    settings.set_c_passwd(kPassword);
    settings.mutable_c_address()->set_c_address("user@example.com");
    list.set_n_max_list_size(200);
    mean(1);
}

void Pop3Client::mean(std::int32_t number, const std::string& uid, std::uint32_t size)
{
    mail.Clear();
    mail.mutable_c_mail_info()->set_n_id(number);
    mail.mutable_c_mail_info()->set_c_uniq_id(uid);
    mail.mutable_c_mail_info()->set_n_size(size);
    mail.mutable_c_mail_info()->set_n_status(1);
    mail.set_is_has_next(true);
}

// As the library takes an answer over: what is there replaces what was.
void Pop3Client::merge(const Mail& answer)
{
    velorin::ntc_email_esu_mlutl_mail_part own = mail.my_part();
    if (answer.has_my_part()) own.MergeFrom(answer.my_part());
    Mail rest = answer;
    if (rest.c_boundary_string_size() > 0) mail.clear_c_boundary_string();
    if (rest.has_p_part()) mail.clear_p_part();
    mail.MergeFrom(rest);
    *mail.mutable_my_part() = own;
}

Envelope Pop3Client::ask(const Envelope& request, bool& answered)
{
    std::string answer;
    answered = exchange_(request.SerializeAsString(), answer);
    Envelope out;
    if (answered) answered = out.ParseFromString(answer);
    return out;
}

#define ASK(METHOD, method, fill)                                                                            \
    Envelope request;                                                                                        \
    request.set_method_type(velorin::NTC_EMAIL_ESU_POP3_METHOD_##METHOD);                                    \
    auto& req = *request.mutable_##method##_req();                                                           \
    req.set_session_id(session_id_);                                                                         \
    fill;                                                                                                    \
    bool answered = false;                                                                                   \
    const Envelope answer = ask(request, answered);                                                          \
    if (!answered || !answer.has_##method##_res()) return kNoAnswer;                                         \
    [[maybe_unused]] const auto& res = answer.method##_res()
#define CODE static_cast<std::uint32_t>(res.retcode())

std::uint32_t Pop3Client::create()
{
    ASK(CREATE_INSTANCE, create_instance, *req.mutable_c_settings() = settings);
    return CODE;
}
std::uint32_t Pop3Client::test()
{
    ASK(TEST, test, );
    return CODE;
}
std::uint32_t Pop3Client::connect()
{
    ASK(CONNECT, connect, );
    return CODE;
}
std::uint32_t Pop3Client::stat()
{
    ASK(STAT, stat, );
    count = res.total_num();
    return CODE;
}
std::uint32_t Pop3Client::update()
{
    ASK(LIST, list, *req.mutable_c_info_list() = list);
    list = res.c_info_list();
    return CODE;
}
std::uint32_t Pop3Client::next()
{
    ASK(LIST_NEXT, list_next, *req.mutable_c_info_list() = list; *req.mutable_c_info() = info);
    list = res.c_info_list();
    if (res.has_c_info()) info = res.c_info();
    return CODE;
}
std::uint32_t Pop3Client::header(bool convert)
{
    ASK(RECEIVE_HEADER, receive_header, *req.mutable_c_mail() = mail; req.set_code_conv(convert));
    merge(res.c_mail());
    return CODE;
}
std::uint32_t Pop3Client::header_only(bool convert)
{
    ASK(RECEIVE_HEADER_ONLY, receive_header_only, *req.mutable_c_mail() = mail; req.set_code_conv(convert));
    merge(res.c_mail());
    return CODE;
}
std::uint32_t Pop3Client::body()
{
    ASK(RECEIVE_BODY, receive_body, *req.mutable_c_mail() = mail);
    merge(res.c_mail());
    return CODE;
}
std::uint32_t Pop3Client::part_header(bool convert)
{
    ASK(RECEIVE_PART_HEADER, receive_part_header, *req.mutable_c_mail() = mail; req.set_code_conv(convert));
    merge(res.c_mail());
    return CODE;
}
std::uint32_t Pop3Client::part_body()
{
    ASK(RECEIVE_PART_BODY, receive_part_body, *req.mutable_c_mail() = mail);
    merge(res.c_mail());
    return CODE;
}
std::uint32_t Pop3Client::skip_mail()
{
    ASK(SKIP_MAIL, skip_mail, *req.mutable_c_mail() = mail);
    merge(res.c_mail());
    return CODE;
}
std::uint32_t Pop3Client::skip_part()
{
    ASK(SKIP_PART, skip_part, *req.mutable_c_mail() = mail);
    merge(res.c_mail());
    return CODE;
}
std::uint32_t Pop3Client::remove()
{
    ASK(DELETE, delete, *req.mutable_c_mail() = mail);
    merge(res.c_mail());
    return CODE;
}
std::uint32_t Pop3Client::remove_by_uid()
{
    ASK(DELETE_BY_UID, delete_by_uid, *req.mutable_c_info_list() = list);
    list = res.c_info_list();
    return CODE;
}
std::uint32_t Pop3Client::close()
{
    ASK(CLOSE, close, );
    return CODE;
}
std::uint32_t Pop3Client::noop()
{
    ASK(NOOP, noop, );
    return CODE;
}
std::uint32_t Pop3Client::destroy()
{
    ASK(DESTROY_INSTANCE, destroy_instance, );
    return CODE;
}
std::uint32_t Pop3Client::ref_mail_address()
{
    ASK(REF_MAIL_ADDRESS, ref_mail_address, );
    address = res.mail_address().c_address();
    return 0;
}
#undef CODE
#undef ASK

std::uint32_t Pop3Client::open(std::uint16_t port)
{
    settings.set_n_port(port);
    const std::uint32_t code = create();
    return code != 0 ? code : connect();
}

std::uint32_t Pop3Client::receive(std::vector<ReceivedPart>& parts, bool convert)
{
    parts.clear();
    if (const std::uint32_t code = header(convert); !is_filled(code)) return code;
    const auto take_piece = [&](ReceivedPart& one) {
        EXPECT_EQ(static_cast<std::size_t>(part().n_length()), part().p_buffer().size());
        one.pieces.push_back(part().p_buffer());
        one.boundary_detected = mail.is_boundary_detected();
    };
    if (mail.n_part_depth() == 0) {
        parts.emplace_back();
        parts.back().facts = mail.my_part();
        do {
            if (const std::uint32_t code = body()) return code;
            take_piece(parts.back());
            EXPECT_EQ(!part().is_terminate(), mail.is_has_next());
        } while (mail.is_has_next());
        return 0;
    }
    while (mail.is_has_next()) {
        if (const std::uint32_t code = part_header(convert); !is_filled(code)) return code;
        parts.emplace_back();
        parts.back().facts = part();
        parts.back().depth = mail.n_part_depth();
        while (!part().is_terminate()) {
            if (const std::uint32_t code = part_body()) return code;
            take_piece(parts.back());
        }
    }
    return 0;
}

}  // namespace velorin_test
