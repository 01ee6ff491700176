#pragma once

#include <cstdint>

#include "CutlCPLBMString.h"
#include "CutlCPLBObject.h"

#include "CntsPOP3Settings.h"
#include "ntc_email_export.h"

namespace velorin {

// An SMTP account as the application fills it in. The library copies it and interprets nothing: the values of
// auth_kind and the mode bytes, the ports and the times (seconds) are the mail service's.
struct NTC_EMAIL_API nts_smtp_settings {
    nts_smtp_settings() = default;
    nts_smtp_settings(const nts_smtp_settings&) = default;
    nts_smtp_settings& operator=(const nts_smtp_settings&) = default;
    ~nts_smtp_settings();  // the password is overwritten

    CutlCPLBMString c_server;
    CutlCPLBMString c_usr_id;
    CutlCPLBMString c_paswd;
    CutlCPLBMString c_host_name;                  // own name for the greeting; null: "localhost"
    CntsPOP3Settings* p_pop3_settings = nullptr;  // for POP before SMTP; never owned by the record
    std::int32_t auth_kind = 0;
    std::int32_t n_port = 0;
    std::int32_t n_tmo = 0;
    std::int32_t n_size_limit = 0;     // octets
    std::int32_t n_pop_wait_time = 0;  // after POP before SMTP
    std::int32_t b_is_ipv6 = 0;        // 1: use IPv6; any other value: no
    std::uint8_t tlsmode = 0;
    std::uint8_t sslauth = 0;
    std::uint8_t sslencrypt = 0;
};

// The settings of an SMTP session. Owns its POP3 settings; every copy has its own.
class NTC_EMAIL_API CntsSMTPSettings : public CutlCPLBObject {
public:
    CntsSMTPSettings(const nts_smtp_settings& record);  // texts that are null become empty
    CntsSMTPSettings(const CntsSMTPSettings& other);
    // Deliberately neither reuses nor destroys the POP3 settings that the destination held: they stay
    // allocated, and whoever assigns twice frees them first.
    CntsSMTPSettings& operator=(const CntsSMTPSettings& other);
    ~CntsSMTPSettings() override;  // the password is overwritten

    std::int32_t auth_kind;
    CutlCPLBMString c_server;
    std::int32_t n_port;
    std::int32_t n_tmo;
    CntsPOP3Settings* p_pop3_settings;  // owned; null when none
    CutlCPLBMString c_usr_id;
    CutlCPLBMString c_paswd;
    CutlCPLBMString c_host_name;
    std::int32_t n_size_limit;
    std::int32_t n_pop_wait_time;
    std::int32_t b_is_ipv6;
    std::uint8_t tlsmode;
    std::uint8_t sslauth;
    std::uint8_t sslencrypt;
};

}  // namespace velorin
