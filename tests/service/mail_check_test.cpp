// What is looked at before a word is said to a server: texts, addresses, settings.
#include <string>

#include <gtest/gtest.h>

#include "CntsSMTPSendMail.h"
#include "account.h"
#include "mail_envelope.h"
#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_esu_smtp.pb.h"
#include "return_codes.h"
#include "service_client.h"
#include "text_check.h"

namespace velorin::service {
namespace {

using velorin_test::name_of;

TEST(HeaderText, MayBeFoldedAndNothingElse)
{
    const struct {
        std::string text;
        bool safe;
    } cases[] = {
        {"", true},
        {"plain", true},
        {"a\r\n b", true},
        {"a\r\n\tb", true},
        {"a\r\n b\r\n\tc", true},
        {"\x1B$B$\"\x1B(B", true},
        {"a\tb", true},
        {"\xE3\x81\x82", true},
        {"a\r\nBcc: x@y", false},
        {"a\r\n", false},
        {"a\r\n\r\n b", false},
        {"a\nb", false},
        {"a\n b", false},
        {"a\rb", false},
        {"a\r b", false},
        {"\r", false},
        {"\n", false},
        {std::string("a\0b", 3), false},
    };
    for (const auto& one : cases) {
        // A block of its exact size: a look behind the text is seen.
        std::string text = one.text;
        text.shrink_to_fit();
        EXPECT_EQ(one.safe, is_safe_header_text(text)) << ::testing::PrintToString(one.text);
    }
}

TEST(AddressText, HoldsNoControlButTabs)
{
    EXPECT_TRUE(is_safe_address_text("a@b,\tc@d"));
    EXPECT_TRUE(is_safe_address_text("\xE3\x81\x82 <a@b>"));
    for (int octet = 0; octet < 0x20; ++octet) {
        if (octet == '\t') continue;
        EXPECT_FALSE(is_safe_address_text(std::string("a") + static_cast<char>(octet) + "b")) << octet;
    }
    EXPECT_FALSE(is_safe_address_text("a\x7F"));
}

TEST(AddressText, FoldsAroundTheEncodedWordsOfAName)
{
    const std::string word = "=?utf-8?B?44GC?=";
    for (const std::string& text : {word + "\r\n\t<a@b>", word + "\r\n " + word + "\r\n\t<a@b>, c@d"}) {
        EXPECT_TRUE(is_safe_address_text(text)) << text;
    }
    for (const std::string& text :
         {word + "\r\n<a@b>", word + "\n\t<a@b>", word + "\r\t<a@b>", word + "\r\n\ta@b", word + "\r\n\t",
          word + "\r\n\t=", word + " \r\n\t<a@b>", word + "\r\n\t\r\n\t<a@b>", std::string("a\r\n\t<a@b>"),
          "a@b,\r\n\t" + word + " <c@d>", std::string("<a@b>\r\n\t<c@d>"), std::string("\r\n\t<a@b>"),
          word + "\r\nRCPT TO:<a@b>"}) {
        EXPECT_FALSE(is_safe_address_text(text)) << ::testing::PrintToString(text);
    }
}

TEST(Boundary, IsPrintableAndShort)
{
    EXPECT_TRUE(is_safe_boundary("=_cut 1"));
    EXPECT_TRUE(is_safe_boundary(std::string(70, 'b')));
    for (const std::string& text :
         {std::string(), std::string(71, 'b'), std::string("a "), std::string("a\"b"), std::string("a\\b"),
          std::string("a\r\n b"), std::string("a\tb"), std::string("a\0b", 3), std::string("\x80")}) {
        EXPECT_FALSE(is_safe_boundary(text)) << ::testing::PrintToString(text);
    }
}

TEST(UsableAddress, CannotLeaveItsBrackets)
{
    for (const char* const address : {"a@b", "root", "\"a b\"@c", "\"a\\\"b\"@c", "a+b=c@d"}) {
        EXPECT_TRUE(is_usable_address(address)) << address;
    }
    for (const char* const address : {"", "a b@c", "a@b> SIZE=1", "a@b>\r\nDATA", "<a@b", "\"a\"b c@d",
                                      "\"a@b", "@b", "a@", "@", "\xE3@b", "a\tb@c", "a\x7F@b", "\"a\\"}) {
        EXPECT_FALSE(is_usable_address(address)) << address;
    }
    EXPECT_TRUE(is_usable_address(std::string(252, 'a') + "@b"));
    EXPECT_FALSE(is_usable_address(std::string(253, 'a') + "@b"));
}

struct Addresses {
    const char* from;
    const char* sender;
    const char* to;
    const char* cc;
    const char* bcc;
};

std::uint32_t read(const Addresses& addresses, MailEnvelope& envelope, std::size_t limit = 10)
{
    CntsSMTPSendMail mail;
    mail.m_cFrom = CntsMLUTLMailAddress(addresses.from);
    mail.m_cSender = CntsMLUTLMailAddress(addresses.sender);
    mail.m_cTo = CntsMLUTLMailAddress(addresses.to);
    mail.m_cCc = CntsMLUTLMailAddress(addresses.cc);
    mail.m_cBcc = CntsMLUTLMailAddress(addresses.bcc);
    return read_envelope(mail, limit, envelope);
}

TEST(MailEnvelope, TakesTheSender)
{
    const struct {
        const char* from;
        const char* sender;
        const char* expected;
    } cases[] = {
        {"a@b", nullptr, "a@b"},
        {"Name <a@b>", nullptr, "a@b"},
        {"Name <a@b>", "", "a@b"},
        {"Name <a@b>", "Other <s@t>", "s@t"},
        {"\"Last, First\" <a@b>", nullptr, "a@b"},
        {"Last, First <a@b>", nullptr, "a@b"},
        {"a@b, c@d", nullptr, "a@b"},
        {"root", nullptr, "root"},
    };
    for (const auto& one : cases) {
        MailEnvelope envelope;
        EXPECT_EQ("ok", name_of(read({one.from, one.sender, "x@y", nullptr, nullptr}, envelope))) << one.from;
        EXPECT_EQ(one.expected, envelope.sender) << one.from;
    }
    MailEnvelope envelope;
    EXPECT_EQ("bad-address", name_of(read({nullptr, nullptr, "x@y", nullptr, nullptr}, envelope)));
    EXPECT_EQ("bad-address", name_of(read({"", nullptr, "x@y", nullptr, nullptr}, envelope)));
    EXPECT_EQ("bad-address", name_of(read({"a b@c", nullptr, "x@y", nullptr, nullptr}, envelope)));
}

TEST(MailEnvelope, TakesEveryRecipientOnce)
{
    MailEnvelope envelope;
    EXPECT_EQ("ok",
              name_of(read({"s@t", nullptr, "A <a@b>; b@c,a@B", "c@d, A@b", "hidden@e; b@C"}, envelope)));
    // A and a may be two people, b and B are one domain.
    EXPECT_EQ((std::vector<std::string>{"a@b", "b@c", "c@d", "A@b", "hidden@e"}), envelope.recipients);
}

TEST(MailEnvelope, RefusesAnAddressThatCannotBeUsed)
{
    for (const char* const list :
         {"Na me <>", "a b@c", "a@b, <c d@e>", "a@b, \"unclosed", "x@\xE3\x81\x82"}) {
        MailEnvelope envelope;
        EXPECT_EQ("bad-address", name_of(read({"s@t", nullptr, nullptr, nullptr, list}, envelope))) << list;
    }
}

// RFC 5321, 4.1.2: a local part in quotes may hold blanks. The library knows it in angle brackets; without them the
// quotes are those of a display name, and what is left of the address is nobody's.
TEST(MailEnvelope, TakesALocalPartInQuotes)
{
    const struct {
        const char* entry;
        const char* expected;  // null: bad-address
    } cases[] = {
        {"<\"john doe\"@example.org>", "\"john doe\"@example.org"},
        {"John <\"john doe\"@example.org>", "\"john doe\"@example.org"},
        {"\"Doe, John\" <\"john doe\"@example.org>", "\"john doe\"@example.org"},
        {"<\"a\\\"b\"@example.org>", "\"a\\\"b\"@example.org"},
        {"\"john doe\"@example.org", nullptr},
        {"\"john doe\" @example.org", nullptr},
        {"<\"john doe@example.org>", nullptr},
        {"<john doe@example.org>", nullptr},
        {"<\"john doe\"@example.org> SIZE=1", "\"john doe\"@example.org"},
        {"<\"a>b\"@example.org>", nullptr},
    };
    for (const auto& one : cases) {
        MailEnvelope envelope;
        const std::string code = name_of(read({"s@t", nullptr, one.entry, nullptr, nullptr}, envelope));
        EXPECT_EQ(one.expected != nullptr ? "ok" : "bad-address", code) << one.entry;
        if (one.expected != nullptr) {
            EXPECT_EQ(std::vector<std::string>{one.expected}, envelope.recipients) << one.entry;
        }
        MailEnvelope sender;
        const std::string of_sender = name_of(read({one.entry, nullptr, "x@y", nullptr, nullptr}, sender));
        EXPECT_EQ(code, of_sender) << one.entry;
        if (one.expected != nullptr) {
            EXPECT_EQ(one.expected, sender.sender) << one.entry;
        }
    }
}

TEST(MailEnvelope, LimitsTheRecipients)
{
    MailEnvelope envelope;
    EXPECT_EQ("ok", name_of(read({"s@t", nullptr, "a@b,c@d", "e@f", nullptr}, envelope, 3)));
    MailEnvelope more;
    EXPECT_EQ("limit-reached", name_of(read({"s@t", nullptr, "a@b,c@d", "e@f", "g@h"}, more, 3)));
}

// The header's composer keeps a slot for each entry, so one request could take any amount of memory.
TEST(MailEnvelope, LimitsTheAddressesThatAreOnlyWritten)
{
    for (CntsMLUTLMailAddress CntsSMTPSendMail::*const list :
         {&CntsSMTPSendMail::m_cReplyTo, &CntsSMTPSendMail::m_cSender, &CntsSMTPSendMail::m_cMdnAddress}) {
        CntsSMTPSendMail mail;
        mail.m_cFrom = "s@t";
        mail.m_cTo = "a@b";
        mail.*list = "c@d,e@f,g@h";
        MailEnvelope envelope;
        EXPECT_EQ("ok", name_of(read_envelope(mail, 3, envelope)));
        mail.*list = "c@d,e@f,g@h,i@j";
        EXPECT_EQ("limit-reached", name_of(read_envelope(mail, 3, envelope)));
    }
}

TEST(Account, TakesItsDefaults)
{
    ntc_email_esu_smtp_settings settings;
    settings.set_c_server("mail.example.com");
    SmtpAccount account;
    EXPECT_EQ("ok", name_of(read_account(settings, 60, account)));
    EXPECT_EQ("localhost", account.smtp.host_name);
    EXPECT_EQ(60u, account.smtp.command_timeout);
    EXPECT_TRUE(account.smtp.verify);
    EXPECT_FALSE(account.smtp.log_in);
    EXPECT_FALSE(account.pop.has_value());
    settings.set_n_tmo(7);
    SmtpAccount other;
    EXPECT_EQ("ok", name_of(read_account(settings, 60, other)));
    EXPECT_EQ(7u, other.smtp.command_timeout);
}

TEST(Account, WritesAddressesOfTheGreetingInBrackets)
{
    const struct {
        const char* given;
        const char* greeting;
    } cases[] = {{"", "localhost"},
                 {"host.example", "host.example"},
                 {"192.0.2.1", "[192.0.2.1]"},
                 {"2001:db8::1", "[IPv6:2001:db8::1]"},
                 {"[192.0.2.1]", "[192.0.2.1]"}};
    for (const auto& one : cases) {
        ntc_email_esu_smtp_settings settings;
        settings.set_c_server("s");
        settings.set_c_host_name(one.given);
        SmtpAccount account;
        EXPECT_EQ("ok", name_of(read_account(settings, 60, account))) << one.given;
        EXPECT_EQ(one.greeting, account.smtp.host_name);
    }
}

TEST(Account, RefusesSettingsThatCannotBeUsed)
{
    using Settings = ntc_email_esu_smtp_settings;
    const struct {
        const char* label;
        const char* code;
        void (*change)(Settings&);
    } cases[] = {
        {"no server", "bad-settings", [](Settings& to) { to.clear_c_server(); }},
        {"a path", "bad-settings", [](Settings& to) { to.set_c_server("host/path"); }},
        {"a user in the server", "bad-settings", [](Settings& to) { to.set_c_server("user@host"); }},
        {"a port in the server", "bad-settings", [](Settings& to) { to.set_c_server("host:25"); }},
        {"a query", "bad-settings", [](Settings& to) { to.set_c_server("host?x"); }},
        {"a fragment", "bad-settings", [](Settings& to) { to.set_c_server("host#x"); }},
        {"an escape", "bad-settings", [](Settings& to) { to.set_c_server("host%00"); }},
        {"a blank", "bad-settings", [](Settings& to) { to.set_c_server("a b"); }},
        {"a line end in the server", "unsafe-text", [](Settings& to) { to.set_c_server("host\r\n"); }},
        {"a NUL in the server", "unsafe-text", [](Settings& to) { to.set_c_server(std::string("h\0x", 3)); }},
        {"a port above 65535", "bad-settings", [](Settings& to) { to.set_n_port(65536); }},
        {"a TLS mode there is not", "bad-settings", [](Settings& to) { to.set_tlsmode(3); }},
        {"an authentication byte there is not", "bad-settings", [](Settings& to) { to.set_sslauth(2); }},
        {"an encryption byte there is not", "bad-settings", [](Settings& to) { to.set_sslencrypt(2); }},
        {"an auth kind there is not", "bad-settings", [](Settings& to) { to.set_auth_kind(7); }},
        {"a negative auth kind", "bad-settings", [](Settings& to) { to.set_auth_kind(-1); }},
        {"a log-in without a user", "bad-settings", [](Settings& to) { to.set_auth_kind(2); }},
        {"a line end in the user", "unsafe-text", [](Settings& to) { to.set_c_usr_id("a\r\nb"); }},
        {"a NUL in the password", "unsafe-text",
         [](Settings& to) { to.set_c_paswd(std::string("a\0b", 3)); }},
        {"a line end in the host name", "unsafe-text", [](Settings& to) { to.set_c_host_name("a\r\nMAIL"); }},
        {"a blank in the host name", "bad-settings", [](Settings& to) { to.set_c_host_name("a b"); }},
        {"dots for a host name", "bad-settings", [](Settings& to) { to.set_c_host_name(".."); }},
        {"a POP3 user with a line end", "unsafe-text",
         [](Settings& to) {
             to.set_auth_kind(5);
             to.mutable_p_pop3_settings()->set_c_server("p");
             to.mutable_p_pop3_settings()->set_c_user_id("u\r\nDELE 1");
         }},
        {"a POP3 log-in without a user", "bad-settings",
         [](Settings& to) {
             to.set_auth_kind(5);
             to.mutable_p_pop3_settings()->set_c_server("p");
         }},
        {"a POP3 server that is none", "bad-settings",
         [](Settings& to) {
             to.set_auth_kind(5);
             to.mutable_p_pop3_settings()->set_c_user_id("u");
             to.mutable_p_pop3_settings()->set_c_server("p/q");
         }},
    };
    for (const auto& one : cases) {
        Settings settings;
        settings.set_c_server("host");
        one.change(settings);
        SmtpAccount account;
        EXPECT_EQ(one.code, name_of(read_account(settings, 60, account))) << one.label;
    }
}

TEST(Account, LogsInByPop3OnlyWhenAskedTo)
{
    ntc_email_esu_smtp_settings settings;
    settings.set_c_server("s");
    settings.mutable_p_pop3_settings()->set_c_server("p");
    settings.mutable_p_pop3_settings()->set_c_user_id("u");
    for (std::int32_t kind = 0; kind <= 6; ++kind) {
        settings.set_auth_kind(kind);
        settings.set_c_usr_id("u");
        SmtpAccount account;
        EXPECT_EQ("ok", name_of(read_account(settings, 60, account))) << kind;
        EXPECT_EQ(kind == 5, account.pop.has_value()) << kind;
        EXPECT_EQ(kind != 0 && kind != 5, account.smtp.log_in) << kind;
    }
}

}  // namespace
}  // namespace velorin::service
