#include "CntsPOP3Settings.h"

#include "secret_text.h"
#include "wire_text.h"

namespace velorin {

SPOP3Setting::~SPOP3Setting()
{
    wipe(c_passwd);
}

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

CntsPOP3Settings& CntsPOP3Settings::operator=(const CntsPOP3Settings& other)
{
    if (this == &other) return *this;
    c_address = other.c_address;
    c_server = other.c_server;
    n_port = other.n_port;
    c_user_id = other.c_user_id;
    copy_secret(c_passwd, other.c_passwd);
    is_apop = other.is_apop;
    n_timeout = other.n_timeout;
    b_is_ipv6 = other.b_is_ipv6;
    n_tls_mode = other.n_tls_mode;
    n_ssl_auth = other.n_ssl_auth;
    n_ssl_encrypt = other.n_ssl_encrypt;
    return *this;
}

CntsPOP3Settings::~CntsPOP3Settings()
{
    wipe(c_passwd);
}

}  // namespace velorin
