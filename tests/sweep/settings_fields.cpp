#include "settings_fields.h"

#include <cstdint>

namespace velorin_test::sweep {

namespace {

std::string wire_text(bool is_there, const std::string& text)
{
    return is_there ? printable(text) : "(null)";
}

std::string wire_number(bool is_there, std::uint32_t number)
{
    return is_there ? std::to_string(static_cast<std::int32_t>(number)) : "(none)";
}

void put_nested(Fields& fields, const Fields& pop3)
{
    for (const auto& field : pop3)
        fields["pop3 " + field.first] = field.second;
}

}  // namespace

Fields fields_of(const velorin::CntsPOP3Settings& settings)
{
    Fields fields;
    fields["address"] = printable(settings.c_address.m_cAddress);
    fields["server"] = printable(settings.c_server);
    fields["port"] = std::to_string(settings.n_port);
    fields["user"] = printable(settings.c_user_id);
    fields["password"] = printable(settings.c_passwd);
    fields["apop"] = std::to_string(settings.is_apop);
    fields["timeout"] = std::to_string(settings.n_timeout);
    fields["ipv6"] = std::to_string(settings.b_is_ipv6);
    fields["tls"] = std::to_string(settings.n_tls_mode);
    fields["auth"] = std::to_string(settings.n_ssl_auth);
    fields["encrypt"] = std::to_string(settings.n_ssl_encrypt);
    return fields;
}

Fields fields_of(const velorin::CntsSMTPSettings& settings)
{
    Fields fields;
    if (settings.p_pop3_settings != nullptr) put_nested(fields, fields_of(*settings.p_pop3_settings));
    fields["kind"] = std::to_string(settings.auth_kind);
    fields["server"] = printable(settings.c_server);
    fields["port"] = std::to_string(settings.n_port);
    fields["timeout"] = std::to_string(settings.n_tmo);
    fields["user"] = printable(settings.c_usr_id);
    fields["password"] = printable(settings.c_paswd);
    fields["host"] = printable(settings.c_host_name);
    fields["limit"] = std::to_string(settings.n_size_limit);
    fields["wait"] = std::to_string(settings.n_pop_wait_time);
    fields["ipv6"] = std::to_string(settings.b_is_ipv6);
    fields["tls"] = std::to_string(settings.tlsmode);
    fields["auth"] = std::to_string(settings.sslauth);
    fields["encrypt"] = std::to_string(settings.sslencrypt);
    return fields;
}

Fields fields_of(const velorin::ntc_email_esu_pop3_settings& message)
{
    Fields fields;
    fields["address"] = wire_text(message.has_c_address() && message.c_address().has_c_address(),
                                  message.c_address().c_address());
    fields["server"] = wire_text(message.has_c_server(), message.c_server());
    fields["port"] = wire_number(message.has_n_port(), message.n_port());
    fields["user"] = wire_text(message.has_c_user_id(), message.c_user_id());
    fields["password"] = wire_text(message.has_c_passwd(), message.c_passwd());
    fields["apop"] = wire_number(message.has_is_apop(), message.is_apop() ? 1 : 0);
    fields["timeout"] = wire_number(message.has_n_timeout(), message.n_timeout());
    fields["ipv6"] = wire_number(message.has_b_is_ipv6(), message.b_is_ipv6() ? 1 : 0);
    fields["tls"] = wire_number(message.has_n_tls_mode(), message.n_tls_mode());
    fields["auth"] = wire_number(message.has_n_ssl_auth(), message.n_ssl_auth());
    fields["encrypt"] = wire_number(message.has_n_ssl_encrypt(), message.n_ssl_encrypt());
    return fields;
}

Fields fields_of(const velorin::ntc_email_esu_smtp_settings& message)
{
    Fields fields;
    if (message.has_p_pop3_settings()) put_nested(fields, fields_of(message.p_pop3_settings()));
    fields["kind"] = message.has_auth_kind() ? std::to_string(message.auth_kind()) : "(none)";
    fields["server"] = wire_text(message.has_c_server(), message.c_server());
    fields["port"] = wire_number(message.has_n_port(), message.n_port());
    fields["timeout"] = wire_number(message.has_n_tmo(), message.n_tmo());
    fields["user"] = wire_text(message.has_c_usr_id(), message.c_usr_id());
    fields["password"] = wire_text(message.has_c_paswd(), message.c_paswd());
    fields["host"] = wire_text(message.has_c_host_name(), message.c_host_name());
    fields["limit"] = wire_number(message.has_n_size_limit(), message.n_size_limit());
    fields["wait"] = wire_number(message.has_n_pop_wait_time(), message.n_pop_wait_time());
    fields["ipv6"] = wire_number(message.has_b_is_ipv6(), message.b_is_ipv6() ? 1 : 0);
    fields["tls"] = wire_number(message.has_tlsmode(), message.tlsmode());
    fields["auth"] = wire_number(message.has_sslauth(), message.sslauth());
    fields["encrypt"] = wire_number(message.has_sslencrypt(), message.sslencrypt());
    return fields;
}

}  // namespace velorin_test::sweep
