// Settings filled in whole, for the tests of the settings and of their way to the wire.
#pragma once

#include <gtest/gtest.h>

#include "CntsSMTPSettings.h"

namespace velorin_test {

inline velorin::SPOP3Setting pop3_record(const char* server)
{
    velorin::SPOP3Setting record;
    record.c_address = velorin::CntsMLUTLMailAddress("m@p");
    record.c_server.CopyString(server, -1);
    record.n_port = 110;
    record.c_user_id.CopyString("pu", -1);
    record.c_passwd.CopyString("pp", -1);
    record.is_apop = 1;
    record.n_timeout = 9;
    record.b_is_ipv6 = 1;
    record.n_tls_mode = 2;
    record.n_ssl_auth = 1;
    record.n_ssl_encrypt = 3;
    return record;
}

inline velorin::nts_smtp_settings full_record()
{
    velorin::nts_smtp_settings record;
    record.c_server.CopyString("srv", -1);
    record.c_usr_id.CopyString("usr", -1);
    record.c_paswd.CopyString("pwd", -1);
    record.c_host_name.CopyString("me", -1);
    record.auth_kind = 3;
    record.n_port = 587;
    record.n_tmo = 60;
    record.n_size_limit = 1000;
    record.n_pop_wait_time = 5;
    record.b_is_ipv6 = 1;
    record.tlsmode = 1;
    record.sslauth = 2;
    record.sslencrypt = 255;
    return record;
}

inline void expect_full(const velorin::CntsSMTPSettings& settings)
{
    EXPECT_EQ(settings.auth_kind, 3);
    EXPECT_STREQ(settings.c_server.GetString(), "srv");
    EXPECT_EQ(settings.n_port, 587);
    EXPECT_EQ(settings.n_tmo, 60);
    EXPECT_STREQ(settings.c_usr_id.GetString(), "usr");
    EXPECT_STREQ(settings.c_paswd.GetString(), "pwd");
    EXPECT_STREQ(settings.c_host_name.GetString(), "me");
    EXPECT_EQ(settings.n_size_limit, 1000);
    EXPECT_EQ(settings.n_pop_wait_time, 5);
    EXPECT_EQ(settings.b_is_ipv6, 1);
    EXPECT_EQ(settings.tlsmode, 1);
    EXPECT_EQ(settings.sslauth, 2);
    EXPECT_EQ(settings.sslencrypt, 255);
}

inline void expect_pop3(const velorin::CntsPOP3Settings* settings, const char* server)
{
    ASSERT_NE(settings, nullptr);
    EXPECT_STREQ(settings->c_address.m_cAddress.GetString(), "m@p");
    EXPECT_STREQ(settings->c_server.GetString(), server);
    EXPECT_EQ(settings->n_port, 110);
    EXPECT_STREQ(settings->c_user_id.GetString(), "pu");
    EXPECT_STREQ(settings->c_passwd.GetString(), "pp");
    EXPECT_EQ(settings->is_apop, 1);
    EXPECT_EQ(settings->n_timeout, 9);
    EXPECT_EQ(settings->b_is_ipv6, 1);
    EXPECT_EQ(settings->n_tls_mode, 2);
    EXPECT_EQ(settings->n_ssl_auth, 1);
    EXPECT_EQ(settings->n_ssl_encrypt, 3);
}

}  // namespace velorin_test
