#include "loopback_tls.h"

#include <cstdio>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>

#include "loopback_auth.h"
#include "loopback_smtp.h"
#include "plain_client.h"

namespace velorin_test {
namespace {

constexpr int kSoon = 10000;

SmtpOptions with_starttls()
{
    SmtpOptions options;
    options.starttls = true;
    return options;
}

// What a client that begins TLS at once says of the server's certificate.
std::string verdict(const TlsOptions& tls, int max_version = 0)
{
    SmtpOptions options;
    options.implicit_tls = true;
    options.tls = tls;
    const LoopbackSmtp server(options);
    PlainClient client(server.port());
    return client.start_tls(server.certificates()->ca_pem(), max_version);
}

TEST(LoopbackTls, FromTheStart)
{
    SmtpOptions options;
    options.implicit_tls = true;
    const LoopbackSmtp server(options);
    PlainClient client(server.port());
    ASSERT_EQ("", client.start_tls(server.certificates()->ca_pem()));
    EXPECT_EQ("220 localhost ESMTP ready", client.line());
    EXPECT_EQ("250-localhost|250 8BITMIME", client.say("EHLO me"));
    client.say("MAIL FROM:<a@b>");
    client.say("RCPT TO:<c@d>");
    client.say("DATA");
    const std::string body(300000, 'x');
    ASSERT_TRUE(client.write(body));
    EXPECT_EQ("250 2.0.0 taken", client.say("\r\n."));
    EXPECT_EQ("221 2.0.0 bye", client.say("QUIT"));
    EXPECT_EQ("(end)", client.rest());
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ("TLSv1.3", server.conversations().at(0).tls_version);
    EXPECT_EQ(Ending::kQuit, server.conversations().at(0).ending);
    EXPECT_EQ(body + "\r\n", server.mails().at(0).wire);
}

TEST(LoopbackTls, AfterStarttlsAllIsNew)
{
    SmtpOptions options = with_starttls();
    options.auth = {"PLAIN"};
    options.users = {{"u", "p"}};
    options.tls_required = true;
    options.clear_extensions = std::vector<std::string>{"SIZE 5", "AUTH LOGIN"};
    const LoopbackSmtp server(options);
    PlainClient client(server.port());
    client.line();
    EXPECT_EQ("250-localhost|250-SIZE 5|250-AUTH LOGIN|250 STARTTLS", client.say("EHLO me"));
    EXPECT_EQ("530 5.7.0 STARTTLS first", client.say("MAIL FROM:<a@b>"));
    EXPECT_EQ("538 5.7.11 only under TLS", client.say("AUTH PLAIN"));
    EXPECT_EQ("501 5.5.4 no argument is known", client.say("STARTTLS now"));
    EXPECT_EQ("220 2.0.0 begin", client.say("STARTTLS"));
    ASSERT_EQ("", client.start_tls(server.certificates()->ca_pem()));
    EXPECT_EQ("503 5.5.1 EHLO first", client.say("MAIL FROM:<a@b>"));
    EXPECT_EQ("250-localhost|250-8BITMIME|250 AUTH PLAIN", client.say("EHLO me"));
    EXPECT_EQ("502 5.5.1 no STARTTLS now", client.say("STARTTLS"));
    EXPECT_EQ("235 2.7.0 welcome", client.say("AUTH PLAIN " + base64_encode(std::string_view("\0u\0p", 4))));
    EXPECT_EQ("250 2.1.0 fine", client.say("MAIL FROM:<a@b>"));
}

TEST(LoopbackTls, WhatIsSaidInClearBehindStarttlsIsDropped)
{
    const LoopbackSmtp server(with_starttls());
    PlainClient client(server.port());
    client.line();
    client.say("EHLO me");
    ASSERT_EQ("220 2.0.0 begin", client.say("STARTTLS\r\nNOOP"));
    ASSERT_EQ("", client.start_tls(server.certificates()->ca_pem()));
    EXPECT_EQ("250-localhost|250 8BITMIME", client.say("EHLO me"));
    EXPECT_EQ(1, server.conversations().at(0).early_commands);
}

TEST(LoopbackTls, CertificatesCanBeWrong)
{
    TlsOptions tls;
    EXPECT_EQ("", verdict(tls));
    tls.expired = true;
    EXPECT_EQ("certificate has expired", verdict(tls));
    tls = {};
    tls.wrong_host = true;
    EXPECT_EQ("hostname mismatch", verdict(tls));
    tls = {};
    tls.untrusted = true;
    EXPECT_EQ("unable to get local issuer certificate", verdict(tls));
}

TEST(LoopbackTls, VersionsCanBeLimited)
{
    TlsOptions tls;
    EXPECT_EQ("handshake failed", verdict(tls, TLS1_1_VERSION));
    tls.min_version = TLS1_3_VERSION;
    EXPECT_EQ("handshake failed", verdict(tls, TLS1_2_VERSION));
    EXPECT_EQ("", verdict(tls, TLS1_3_VERSION));
    tls.min_version = tls.max_version = TLS1_1_VERSION;
    EXPECT_EQ("", verdict(tls, TLS1_1_VERSION));
    tls.min_version = tls.max_version = TLS1_2_VERSION;

    SmtpOptions options = with_starttls();
    options.tls = tls;
    const LoopbackSmtp server(options);
    PlainClient client(server.port());
    client.line();
    client.say("EHLO me");
    client.say("STARTTLS");
    ASSERT_EQ("", client.start_tls(server.certificates()->ca_pem()));
    EXPECT_EQ("TLSv1.2", client.tls_version());
}

TEST(LoopbackTls, TheHandshakeCanBeRefused)
{
    for (const Rule& rule :
         {Rule(Step::kStartTls).fail_tls(), Rule(Step::kTls).fail_tls(), Rule(Step::kTls).close(),
          Rule(Step::kTls).reply("not a handshake").close_after()}) {
        SmtpOptions options = with_starttls();
        options.rules = {rule};
        const LoopbackSmtp server(options);
        PlainClient client(server.port());
        client.line();
        client.say("EHLO me");
        ASSERT_EQ("220 2.0.0 begin", client.say("STARTTLS"));
        EXPECT_EQ("handshake failed", client.start_tls(server.certificates()->ca_pem()));
        ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
        EXPECT_EQ(rule.act == Rule::Act::kFailTls ? Ending::kTlsFailed : Ending::kServerClosed,
                  server.conversations().at(0).ending);
    }
}

TEST(LoopbackTls, AClientThatDoesNotTrustIsAFailedHandshake)
{
    SmtpOptions options;
    options.implicit_tls = true;
    options.tls.max_version = TLS1_2_VERSION;  // in 1.3 the server has finished before the client refuses
    options.tls.untrusted = true;
    const LoopbackSmtp server(options);
    {
        PlainClient client(server.port());
        EXPECT_NE("", client.start_tls(server.certificates()->ca_pem()));
    }
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_EQ(Ending::kTlsFailed, server.conversations().at(0).ending);
}

TEST(LoopbackTls, WritesItsAuthority)
{
    const LoopbackCertificates certificates;
    const std::string path = testing::TempDir() + "loopback_ca.pem";
    ASSERT_TRUE(certificates.write_ca(path));
    std::ifstream file(path);
    EXPECT_EQ(certificates.ca_pem(), std::string(std::istreambuf_iterator<char>(file), {}));
    EXPECT_THAT(certificates.ca_pem(), testing::StartsWith("-----BEGIN CERTIFICATE-----\n"));
    std::remove(path.c_str());
    EXPECT_FALSE(certificates.write_ca(testing::TempDir() + "no/such/folder"));
}

}  // namespace
}  // namespace velorin_test
