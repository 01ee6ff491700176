#include "ntc_email_esu_smtp_helper.h"

#include <memory>

#include "ntc_email_esu_mlutl_helper.h"
#include "ntc_email_esu_pop3_helper.h"
#include "secret_text.h"
#include "status.h"
#include "trace.h"
#include "wire_text.h"

namespace velorin {

namespace {

constexpr int kFailed = static_cast<int>(kStatusCallFailed);

constexpr char kPartFailed[] = "ntc_email_esu_smtp_helper::%s():convert_mlutl_mail_part() returns NG\n";
constexpr char kAddressFailed[] = "ntc_email_esu_smtp_helper::%s():convert_mlutl_mail_address() returns NG\n";
constexpr char kPop3Failed[] = "ntc_email_esu_smtp_helper::%s():convert_pop3_settings() returns NG\n";
constexpr char kSendPartFailed[] =
    "ntc_email_esu_smtp_helper::%s():convert_smtp_send_mail_part() returns NG\n";

// Fills a field from an address that is not null; traces a failure.
template <typename MutableField>
bool put_address(const char* converter, const CntsMLUTLMailAddress& address, MutableField mutable_field)
{
    if (!has_text(address.m_cAddress)) return true;
    const CntsMLUTLMailAddress copy(address);
    if (ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(copy, *mutable_field()) == 0) return true;
    NTC_TRACE(kAddressFailed, converter);
    return false;
}

void get_address(CntsMLUTLMailAddress& address, const ntc_email_esu_mlutl_mail_address& message)
{
    copy_text(address.m_cAddress, message.c_address());
}

}  // namespace

std::uint32_t ntc_email_esu_smtp_helper::convert_smtp_settings(const CntsSMTPSettings& settings,
                                                               ntc_email_esu_smtp_settings& message)
{
    message.set_auth_kind(settings.auth_kind);                                          // 1, always
    if (has_text(settings.c_server)) message.set_c_server(text_of(settings.c_server));  // 2, null: absent
    message.set_n_port(static_cast<std::uint32_t>(settings.n_port));                    // 3, always
    message.set_n_tmo(static_cast<std::uint32_t>(settings.n_tmo));                      // 4, always
    if (settings.p_pop3_settings != nullptr &&                                          // 5, null: absent
        ntc_email_esu_pop3_helper::convert_pop3_settings(*settings.p_pop3_settings,
                                                         *message.mutable_p_pop3_settings()) != 0) {
        NTC_TRACE(kPop3Failed, __func__);
        return kStatusCallFailed;
    }
    if (has_text(settings.c_usr_id)) message.set_c_usr_id(text_of(settings.c_usr_id));  // 6, null: absent
    if (has_text(settings.c_paswd))
        put_secret(*message.mutable_c_paswd(), settings.c_paswd);  // 7, null: absent
    if (has_text(settings.c_host_name))
        message.set_c_host_name(text_of(settings.c_host_name));                         // 8, null: absent
    message.set_n_size_limit(static_cast<std::uint32_t>(settings.n_size_limit));        // 9, always
    message.set_n_pop_wait_time(static_cast<std::uint32_t>(settings.n_pop_wait_time));  // 10, always
    message.set_b_is_ipv6(settings.b_is_ipv6 == 1);                                     // 11, always
    message.set_tlsmode(settings.tlsmode);                                              // 12, always
    message.set_sslauth(settings.sslauth);                                              // 13, always
    message.set_sslencrypt(settings.sslencrypt);                                        // 14, always
    return kStatusOk;
}

std::uint32_t ntc_email_esu_smtp_helper::convert_smtp_settings(const ntc_email_esu_smtp_settings& message,
                                                               CntsSMTPSettings& settings)
{
    // An absent number reads as 0 and an absent text as empty, which is what the record takes for it.
    nts_smtp_settings record;
    record.auth_kind = message.auth_kind();                       // 1 back
    copy_text(record.c_server, message.c_server());               // 2 back
    record.n_port = static_cast<std::int32_t>(message.n_port());  // 3 back
    record.n_tmo = static_cast<std::int32_t>(message.n_tmo());    // 4 back
    CntsPOP3Settings pop3_settings{SPOP3Setting()};
    if (message.has_p_pop3_settings()) {  // 5 back
        if (ntc_email_esu_pop3_helper::convert_pop3_settings(message.p_pop3_settings(), pop3_settings) != 0) {
            NTC_TRACE(kPop3Failed, __func__);
            return kStatusCallFailed;
        }
        record.p_pop3_settings = &pop3_settings;
    }
    copy_text(record.c_usr_id, message.c_usr_id());                                 // 6 back
    copy_text(record.c_paswd, message.c_paswd());                                   // 7 back
    copy_text(record.c_host_name, message.c_host_name());                           // 8 back
    record.n_size_limit = static_cast<std::int32_t>(message.n_size_limit());        // 9 back
    record.n_pop_wait_time = static_cast<std::int32_t>(message.n_pop_wait_time());  // 10 back
    record.b_is_ipv6 = message.b_is_ipv6() ? 1 : 0;                                 // 11 back
    record.tlsmode = static_cast<std::uint8_t>(message.tlsmode());                  // 12 back
    record.sslauth = static_cast<std::uint8_t>(message.sslauth());                  // 13 back
    record.sslencrypt = static_cast<std::uint8_t>(message.sslencrypt());            // 14 back
    settings = CntsSMTPSettings(record);
    return kStatusOk;
}

int ntc_email_esu_smtp_helper::convert_smtp_send_mail_part(const CntsSMTPSendMailPart& part,
                                                           ntc_email_esu_smtp_send_mail_part& message)
{
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): a copy that fails is traced
    const CntsMLUTLMailPart copy(part);
    if (ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(copy, *message.mutable_p_part()) !=
        0) {  // 1, always
        NTC_TRACE(kPartFailed, __func__);
        return kFailed;
    }
    return 0;
}

int ntc_email_esu_smtp_helper::convert_smtp_send_mail_part(const ntc_email_esu_smtp_send_mail_part& message,
                                                           CntsSMTPSendMailPart& part)
{
    if (message.has_p_part() &&
        ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(message.p_part(), part) != 0) {  // 1 back
        NTC_TRACE(kPartFailed, __func__);
        return kFailed;
    }
    return 0;
}

int ntc_email_esu_smtp_helper::convert_smtp_send_mail(const CntsSMTPSendMail& mail,
                                                      ntc_email_esu_smtp_send_mail& message)
{
    const char* const converter = __func__;
    {
        // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): a copy that fails is traced
        const CntsMLUTLMailPart copy(mail);
        if (ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(copy, *message.mutable_my_part()) !=
            0) {  // 1, always
            NTC_TRACE(kPartFailed, converter);
            return kFailed;
        }
    }
    if (mail.m_pPart != nullptr &&
        convert_smtp_send_mail_part(*mail.m_pPart, *message.mutable_p_part()) != 0) {
        NTC_TRACE(kSendPartFailed, converter);  // 2, null: absent
        return kFailed;
    }
    if (!put_address(converter, mail.m_cFrom, [&] { return message.mutable_c_from(); }) ||  // 3, null: absent
        !put_address(converter, mail.m_cTo, [&] { return message.mutable_c_to(); }) ||      // 4, null: absent
        !put_address(converter, mail.m_cCc, [&] { return message.mutable_c_cc(); }) ||      // 5, null: absent
        !put_address(converter, mail.m_cBcc, [&] { return message.mutable_c_bcc(); }) ||    // 6, null: absent
        !put_address(converter, mail.m_cReplyTo,
                     [&] { return message.mutable_c_reply_to(); }) ||  // 7, null: absent
        !put_address(converter, mail.m_cSender,
                     [&] { return message.mutable_c_sender(); })) {  // 8, null: absent
        return kFailed;
    }
    if (has_text(mail.m_cSubject)) message.set_c_subject(text_of(mail.m_cSubject));  // 9
    if (has_text(mail.m_cBoundaryString))
        message.set_c_boundary_string(text_of(mail.m_cBoundaryString));                                  // 10
    if (has_text(mail.m_cDate)) message.set_c_date(text_of(mail.m_cDate));                               // 11
    if (!put_address(converter, mail.m_cMdnAddress, [&] { return message.mutable_c_mdn_address(); })) {  // 12
        return kFailed;
    }
    CutlCPLBMString text;
    if (mail.GetMessageID(text) != 0) message.set_c_message_id(text_of(text));   // 13, empty: absent
    if (mail.GetInReplyTo(text) != 0) message.set_c_in_reply_to(text_of(text));  // 14, empty: absent
    if (mail.GetReferences(text) != 0) message.set_c_references(text_of(text));  // 15, empty: absent
    return 0;
}

int ntc_email_esu_smtp_helper::convert_smtp_send_mail(const ntc_email_esu_smtp_send_mail& message,
                                                      CntsSMTPSendMail& mail)
{
    const char* const converter = __func__;
    if (message.has_my_part() &&
        ntc_email_esu_mlutl_helper::convert_mlutl_mail_part(message.my_part(), mail) != 0) {  // 1 back
        NTC_TRACE(kPartFailed, converter);
        return kFailed;
    }
    if (message.has_p_part()) {  // 2 back
        auto part = std::make_unique<CntsSMTPSendMailPart>();
        if (convert_smtp_send_mail_part(message.p_part(), *part) != 0) {
            NTC_TRACE(kSendPartFailed, converter);
            return kFailed;
        }
        mail.SetPart(part.release());
    }
    if (message.has_c_from()) get_address(mail.m_cFrom, message.c_from());             // 3 back
    if (message.has_c_to()) get_address(mail.m_cTo, message.c_to());                   // 4 back
    if (message.has_c_cc()) get_address(mail.m_cCc, message.c_cc());                   // 5 back
    if (message.has_c_bcc()) get_address(mail.m_cBcc, message.c_bcc());                // 6 back
    if (message.has_c_reply_to()) get_address(mail.m_cReplyTo, message.c_reply_to());  // 7 back
    if (message.has_c_sender()) get_address(mail.m_cSender, message.c_sender());       // 8 back
    if (message.has_c_subject()) copy_text(mail.m_cSubject, message.c_subject());      // 9 back
    if (message.has_c_boundary_string())
        copy_text(mail.m_cBoundaryString, message.c_boundary_string());   // 10 back
    if (message.has_c_date()) copy_text(mail.m_cDate, message.c_date());  // 11 back
    if (message.has_c_mdn_address())
        mail.SetMdnAddress(message.c_mdn_address().c_address().c_str());                  // 12 back
    if (message.has_c_message_id()) mail.SetMessageID(message.c_message_id().c_str());    // 13 back
    if (message.has_c_in_reply_to()) mail.SetInReplyTo(message.c_in_reply_to().c_str());  // 14 back
    if (message.has_c_references()) mail.SetReferences(message.c_references().c_str());   // 15 back
    return 0;
}

}  // namespace velorin
