#include "CntsPOP3Settings.h"

#include "wire_text.h"

namespace velorin {

SPOP3Setting::~SPOP3Setting() = default;

CntsPOP3Settings::CntsPOP3Settings(const SPOP3Setting& record)
    : n_port(record.n_port), is_apop(record.is_apop), n_timeout(record.n_timeout),
      b_is_ipv6(record.b_is_ipv6), n_tls_mode(record.n_tls_mode), n_ssl_auth(record.n_ssl_auth),
      n_ssl_encrypt(record.n_ssl_encrypt)
{
    copy_or(c_address.m_cAddress, record.c_address.m_cAddress, "");
    copy_or(c_server, record.c_server, "");
    copy_or(c_user_id, record.c_user_id, "");
    copy_or(c_passwd, record.c_passwd, "");
}

CntsPOP3Settings& CntsPOP3Settings::operator=(const CntsPOP3Settings& other) = default;

CntsPOP3Settings::~CntsPOP3Settings() = default;

}  // namespace velorin
