#include "ntc_email_esu_pop3_helper.h"

#include "ntc_email_esu_mlutl_helper.h"
#include "secret_text.h"
#include "status.h"
#include "trace.h"
#include "wire_text.h"

namespace velorin {

std::uint32_t ntc_email_esu_pop3_helper::convert_pop3_settings(const CntsPOP3Settings& settings,
                                                               ntc_email_esu_pop3_settings& message)
{
    if (has_text(settings.c_address.m_cAddress) &&
        ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(settings.c_address,
                                                               *message.mutable_c_address()) != 0) {
        NTC_TRACE("ntc_email_esu_pop3_helper::%s():convert_mlutl_mail_address() returns NG\n", __func__);
        return kStatusCallFailed;  // 1, null: absent
    }
    if (has_text(settings.c_server)) message.set_c_server(text_of(settings.c_server));     // 2, null: absent
    message.set_n_port(static_cast<std::uint32_t>(settings.n_port));                       // 3, always
    if (has_text(settings.c_user_id)) message.set_c_user_id(text_of(settings.c_user_id));  // 4, null: absent
    if (has_text(settings.c_passwd))
        put_secret(*message.mutable_c_passwd(), settings.c_passwd);         // 5, null: absent
    message.set_is_apop(settings.is_apop == 1);                             // 6, always
    message.set_n_timeout(static_cast<std::uint32_t>(settings.n_timeout));  // 7, always
    message.set_b_is_ipv6(settings.b_is_ipv6 == 1);                         // 8, always
    message.set_n_tls_mode(settings.n_tls_mode);                            // 9, always
    message.set_n_ssl_auth(settings.n_ssl_auth);                            // 10, always
    message.set_n_ssl_encrypt(settings.n_ssl_encrypt);                      // 11, always
    return kStatusOk;
}

std::uint32_t ntc_email_esu_pop3_helper::convert_pop3_settings(const ntc_email_esu_pop3_settings& message,
                                                               CntsPOP3Settings& settings)
{
    if (message.has_c_address()) {  // 1 back
        CntsMLUTLMailAddress address;
        if (ntc_email_esu_mlutl_helper::convert_mlutl_mail_address(message.c_address(), address) != 0) {
            NTC_TRACE("ntc_email_esu_pop3_helper::%s():convert_mlutl_mail_address() returns NG\n", __func__);
            return kStatusCallFailed;
        }
        settings.c_address.m_cAddress = address.m_cAddress;
    }
    if (message.has_c_server()) copy_text(settings.c_server, message.c_server());             // 2 back
    if (message.has_n_port()) settings.n_port = static_cast<std::int32_t>(message.n_port());  // 3 back
    if (message.has_c_user_id()) copy_text(settings.c_user_id, message.c_user_id());          // 4 back
    if (message.has_c_passwd()) copy_text(settings.c_passwd, message.c_passwd());             // 5 back
    if (message.has_is_apop()) settings.is_apop = message.is_apop() ? 1 : 0;                  // 6 back
    if (message.has_n_timeout())
        settings.n_timeout = static_cast<std::int32_t>(message.n_timeout());        // 7 back
    if (message.has_b_is_ipv6()) settings.b_is_ipv6 = message.b_is_ipv6() ? 1 : 0;  // 8 back
    if (message.has_n_tls_mode())
        settings.n_tls_mode = static_cast<std::uint8_t>(message.n_tls_mode());  // 9 back
    if (message.has_n_ssl_auth())
        settings.n_ssl_auth = static_cast<std::uint8_t>(message.n_ssl_auth());  // 10 back
    if (message.has_n_ssl_encrypt()) {
        settings.n_ssl_encrypt = static_cast<std::uint8_t>(message.n_ssl_encrypt());  // 11 back
    }
    return kStatusOk;
}

}  // namespace velorin
