#pragma once

#include <cstdint>

#include "CutlCPLBMString.h"
#include "CutlCPLBObject.h"

#include "CntsMLUTLMailAddress.h"
#include "ntc_email_export.h"

namespace velorin {

// A POP3 account as the application fills it in. The library copies it and interprets nothing: the values of
// the mode bytes, the ports and the time-out (seconds) are the mail service's.
struct NTC_EMAIL_API SPOP3Setting {
    SPOP3Setting() = default;
    SPOP3Setting(const SPOP3Setting&) = default;
    SPOP3Setting& operator=(const SPOP3Setting&) = default;
    ~SPOP3Setting();  // the password is overwritten

    CntsMLUTLMailAddress c_address;  // the mailbox's own address
    CutlCPLBMString c_server;
    std::int32_t n_port = 0;
    CutlCPLBMString c_user_id;
    CutlCPLBMString c_passwd;
    std::int32_t is_apop = 0;  // 1: log in with APOP; any other value: no
    std::int32_t n_timeout = 0;
    std::int32_t b_is_ipv6 = 0;  // 1: use IPv6; any other value: no
    std::uint8_t n_tls_mode = 0;
    std::uint8_t n_ssl_auth = 0;
    std::uint8_t n_ssl_encrypt = 0;
};

// The settings of a POP3 session; also carried by SMTP settings for POP before SMTP. A plain value.
class NTC_EMAIL_API CntsPOP3Settings : public CutlCPLBObject {
public:
    CntsPOP3Settings(const SPOP3Setting& record);  // texts that are null become empty
    CntsPOP3Settings(const CntsPOP3Settings&) = default;
    CntsPOP3Settings& operator=(const CntsPOP3Settings& other);
    ~CntsPOP3Settings() override;  // the password is overwritten

    CntsMLUTLMailAddress c_address;
    CutlCPLBMString c_server;
    std::int32_t n_port;
    CutlCPLBMString c_user_id;
    CutlCPLBMString c_passwd;
    std::int32_t is_apop;
    std::int32_t n_timeout;
    std::int32_t b_is_ipv6;
    std::uint8_t n_tls_mode;
    std::uint8_t n_ssl_auth;
    std::uint8_t n_ssl_encrypt;
};

}  // namespace velorin
