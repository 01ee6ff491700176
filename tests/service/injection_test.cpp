// Texts of a mail that would turn into commands, headers or a second mail: nothing of such a mail is ever
// said.
#include <string>

#include <gtest/gtest.h>

#include "loopback_smtp.h"
#include "service_client.h"

namespace velorin::service {
namespace {

using velorin_test::directly;
using velorin_test::kSoon;
using velorin_test::LoopbackSmtp;
using velorin_test::name_of;
using velorin_test::quick_options;
using velorin_test::ServiceClient;

using Mail = ntc_email_esu_smtp_send_mail;

struct Field {
    const char* label;
    void (*set)(Mail&, const std::string&);
    bool address;
};

const Field fields[] = {
    {"from", [](Mail& mail, const std::string& text) { mail.mutable_c_from()->set_c_address(text); }, true},
    {"to", [](Mail& mail, const std::string& text) { mail.mutable_c_to()->set_c_address(text); }, true},
    {"cc", [](Mail& mail, const std::string& text) { mail.mutable_c_cc()->set_c_address(text); }, true},
    {"bcc", [](Mail& mail, const std::string& text) { mail.mutable_c_bcc()->set_c_address(text); }, true},
    {"reply-to", [](Mail& mail, const std::string& text) { mail.mutable_c_reply_to()->set_c_address(text); },
     true},
    {"sender", [](Mail& mail, const std::string& text) { mail.mutable_c_sender()->set_c_address(text); },
     true},
    {"mdn", [](Mail& mail, const std::string& text) { mail.mutable_c_mdn_address()->set_c_address(text); },
     true},
    {"subject", [](Mail& mail, const std::string& text) { mail.set_c_subject(text); }, false},
    {"date", [](Mail& mail, const std::string& text) { mail.set_c_date(text); }, false},
    {"boundary", [](Mail& mail, const std::string& text) { mail.set_c_boundary_string(text); }, false},
    {"message-id", [](Mail& mail, const std::string& text) { mail.set_c_message_id(text); }, false},
    {"in-reply-to", [](Mail& mail, const std::string& text) { mail.set_c_in_reply_to(text); }, false},
    {"references", [](Mail& mail, const std::string& text) { mail.set_c_references(text); }, false},
    {"content type",
     [](Mail& mail, const std::string& text) { mail.mutable_my_part()->set_c_content_type(text); }, false},
    {"content type string",
     [](Mail& mail, const std::string& text) { mail.mutable_my_part()->set_c_content_type_string(text); },
     false},
    {"transfer encoding",
     [](Mail& mail, const std::string& text) { mail.mutable_my_part()->set_c_transfer_encoding(text); },
     false},
    {"file name", [](Mail& mail, const std::string& text) { mail.mutable_my_part()->set_c_file_name(text); },
     false},
    {"extension", [](Mail& mail, const std::string& text) { mail.mutable_my_part()->set_c_extension(text); },
     false},
    {"marker",
     [](Mail& mail, const std::string& text) {
         mail.mutable_my_part()->set_ignore_content_xciajwnetfax(text);
     },
     false},
};

const std::string unsafe_texts[] = {
    "a@b\r\nRCPT TO:<evil@example.org>",
    "a@b\nBcc: evil@example.org",
    "a@b\rX: y",
    "a@b\r\n.\r\nMAIL FROM:<evil@example.org>",
    "a@b\r\n\r\nbody",
    "a@b\r\n",
    "a@b\n",
    "a@b\r",
    std::string("a@b\0c@d", 7),
};

TEST(Injection, IsRefusedInEveryTextOfAMail)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    const Mail good = client.mail;
    for (const Field& field : fields) {
        for (const std::string& text : unsafe_texts) {
            client.mail = good;
            field.set(client.mail, text);
            EXPECT_EQ("unsafe-text", name_of(client.header()))
                << field.label << " " << testing::PrintToString(text);
        }
        if (!field.address) continue;
        for (const char* const text : {"a@b\x01", "a@b\x7F", "a\x1B@b", "a@b\r\n c@d"}) {
            client.mail = good;
            field.set(client.mail, text);
            EXPECT_EQ("unsafe-text", name_of(client.header()))
                << field.label << " " << testing::PrintToString(text);
        }
    }
    // Not a word was said, and the session goes on as if nothing had happened.
    client.mail = good;
    EXPECT_EQ("ok", name_of(client.send("x")));
    EXPECT_EQ(0u, server.conversations()[0].client_lines().find(
                      "EHLO client.example\nMAIL FROM:<sender@example.com>"));
    EXPECT_EQ(velorin_test::plain_header() + "x\r\n", server.mails()[0].wire);
}

TEST(Injection, OfASecondAddressOrAParameterIsRefused)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    const Mail good = client.mail;
    for (const Field& field : fields) {
        const std::string label = field.label;
        if (label != "from" && label != "to" && label != "cc" && label != "bcc" && label != "sender")
            continue;
        for (const char* const text : {"<a@b <c@d>", "a@b SIZE=1", "\"a@b", "<a@b", "a\xC3\xA9@b"}) {
            client.mail = good;
            field.set(client.mail, text);
            const std::string code = name_of(client.header());
            // An unmatched bracket is tolerated where what is left is an address.
            if (std::string(text) == "<a@b") {
                EXPECT_EQ("ok", code) << label;
                ASSERT_EQ("ok", name_of(client.close()));
            } else {
                EXPECT_EQ("bad-address", code) << label << " " << text;
            }
        }
    }
}

TEST(Injection, IsRefusedInTheTextsOfAPart)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.make_multipart();
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    ASSERT_EQ("ok", name_of(client.header()));
    for (const std::string& text : unsafe_texts) {
        client.set_part(text);
        EXPECT_EQ("unsafe-text", name_of(client.part_header())) << testing::PrintToString(text);
    }
    // The mail can go on with a part that is safe.
    client.set_part("a.pdf");
    EXPECT_EQ("ok", name_of(client.part_header()));
    EXPECT_EQ("ok", name_of(client.close()));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    EXPECT_EQ(std::string::npos, server.mails()[0].wire.find("evil"));
}

TEST(Injection, IsRefusedInTheBoundaryOfAMultipart)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.make_multipart();
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    for (const char* const text : {"a\r\n b", "a\"; x=\"y", "a\\", "a ", "\x80"}) {
        client.mail.set_c_boundary_string(text);
        EXPECT_EQ("unsafe-text", name_of(client.header())) << testing::PrintToString(text);
    }
    client.mail.set_c_boundary_string("");
    EXPECT_EQ("header-not-composed", name_of(client.header()));
    client.mail.clear_c_boundary_string();
    EXPECT_EQ("header-not-composed", name_of(client.header()));
}

TEST(Injection, AFoldedTextIsNone)
{
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    client.mail.set_c_subject("=?utf-8?B?44GC?=\r\n =?utf-8?B?44GE?=");
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    EXPECT_EQ("ok", name_of(client.send("x")));
    ASSERT_TRUE(server.wait_for_mail(1, kSoon));
    EXPECT_NE(std::string::npos,
              server.mails()[0].wire.find("Subject: =?utf-8?B?44GC?=\r\n =?utf-8?B?44GE?=\r\nTo:"));
}

// What no header can be made of, before anything is said.
TEST(Injection, AMailWithoutAHeaderIsNotBegun)
{
    const struct {
        const char* label;
        void (*change)(Mail&);
        const char* code;
    } cases[] = {
        {"no date", [](Mail& mail) { mail.clear_c_date(); }, "header-not-composed"},
        {"no subject", [](Mail& mail) { mail.clear_c_subject(); }, "header-not-composed"},
        {"no sender", [](Mail& mail) { mail.clear_c_from(); }, "bad-address"},
        {"no recipient", [](Mail& mail) { mail.clear_c_to(); }, "header-not-composed"},
        {"an empty recipient", [](Mail& mail) { mail.mutable_c_to()->set_c_address(" ; ,"); },
         "header-not-composed"},
        {"no character set", [](Mail& mail) { mail.mutable_my_part()->set_e_char_set(12); },
         "header-not-composed"},
        {"a PDF as the mail", [](Mail& mail) { mail.mutable_my_part()->set_e_content_type(7); },
         "header-not-composed"},
        {"a content type there is not", [](Mail& mail) { mail.mutable_my_part()->set_e_content_type(-5); },
         "header-not-composed"},
        {"two senders", [](Mail& mail) { mail.mutable_c_sender()->set_c_address("a@b, c@d"); },
         "header-not-composed"},
        {"an identifier without brackets", [](Mail& mail) { mail.set_c_in_reply_to("id"); },
         "header-not-composed"},
        {"an entry beyond 128 characters",
         [](Mail& mail) { mail.mutable_c_to()->set_c_address(std::string(140, 'a') + "@b"); },
         "header-not-composed"},
    };
    const LoopbackSmtp server;
    MailService service(quick_options());
    ServiceClient client(directly(service));
    ASSERT_EQ("ok", name_of(client.open(server.port())));
    const Mail good = client.mail;
    for (const auto& one : cases) {
        client.mail = good;
        one.change(client.mail);
        EXPECT_EQ(one.code, name_of(client.header())) << one.label;
    }
    EXPECT_EQ("EHLO client.example\n", server.conversations()[0].client_lines());
}

}  // namespace
}  // namespace velorin::service
