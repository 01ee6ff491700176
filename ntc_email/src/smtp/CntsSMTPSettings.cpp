#include "CntsSMTPSettings.h"

#include <memory>

#include "secret_text.h"
#include "wire_text.h"

namespace velorin {

namespace {

// A copy of POP3 settings on the heap; null of null.
CntsPOP3Settings* copied(const CntsPOP3Settings* settings)
{
    if (settings == nullptr) return nullptr;
    auto copy = std::make_unique<CntsPOP3Settings>(SPOP3Setting());
    *copy = *settings;
    return copy.release();
}

}  // namespace

nts_smtp_settings::~nts_smtp_settings()
{
    wipe(c_paswd);
}

CntsSMTPSettings::CntsSMTPSettings(const nts_smtp_settings& record)
    : auth_kind(record.auth_kind), n_port(record.n_port), n_tmo(record.n_tmo), p_pop3_settings(nullptr),
      n_size_limit(record.n_size_limit), n_pop_wait_time(record.n_pop_wait_time), b_is_ipv6(record.b_is_ipv6),
      tlsmode(record.tlsmode), sslauth(record.sslauth), sslencrypt(record.sslencrypt)
{
    copy_or(c_server, record.c_server, "");
    copy_or(c_usr_id, record.c_usr_id, "");
    copy_or(c_paswd, record.c_paswd, "");
    copy_or(c_host_name, record.c_host_name, "localhost");
    p_pop3_settings = copied(record.p_pop3_settings);  // last: nothing after it can throw and lose it
}

CntsSMTPSettings::CntsSMTPSettings(const CntsSMTPSettings& other)
    : CutlCPLBObject(other), auth_kind(other.auth_kind), c_server(other.c_server), n_port(other.n_port),
      n_tmo(other.n_tmo), p_pop3_settings(nullptr), c_usr_id(other.c_usr_id), c_paswd(other.c_paswd),
      c_host_name(other.c_host_name), n_size_limit(other.n_size_limit),
      n_pop_wait_time(other.n_pop_wait_time), b_is_ipv6(other.b_is_ipv6), tlsmode(other.tlsmode),
      sslauth(other.sslauth), sslencrypt(other.sslencrypt)
{
    p_pop3_settings = copied(other.p_pop3_settings);
}

CntsSMTPSettings& CntsSMTPSettings::operator=(const CntsSMTPSettings& other)
{
    if (this == &other) return *this;
    auth_kind = other.auth_kind;
    c_server = other.c_server;
    n_port = other.n_port;
    n_tmo = other.n_tmo;
    p_pop3_settings = copied(other.p_pop3_settings);  // deliberate: the object held before stays allocated
    c_usr_id = other.c_usr_id;
    copy_secret(c_paswd, other.c_paswd);
    c_host_name = other.c_host_name;
    n_size_limit = other.n_size_limit;
    n_pop_wait_time = other.n_pop_wait_time;
    b_is_ipv6 = other.b_is_ipv6;
    tlsmode = other.tlsmode;
    sslauth = other.sslauth;
    sslencrypt = other.sslencrypt;
    return *this;
}

CntsSMTPSettings::~CntsSMTPSettings()
{
    wipe(c_paswd);
    delete p_pop3_settings;
}

}  // namespace velorin
