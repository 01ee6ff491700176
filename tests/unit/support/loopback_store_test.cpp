#include "loopback_store.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <gtest/gtest.h>

#include "temporary_folder.h"

namespace velorin_test {
namespace {

TEST(JsonString, EscapesWhatMustBe)
{
    EXPECT_EQ("\"\"", json_string(""));
    EXPECT_EQ("\"a\\\"b\\\\c\\u000a\\u0000\\u007f\"", json_string(std::string_view("a\"b\\c\n\0\x7f", 8)));
    EXPECT_EQ("\"\xe6\x97\xa5\xf0\x9f\x98\x80\xc3\xa9\"",
              json_string("\xe6\x97\xa5\xf0\x9f\x98\x80\xc3\xa9"));
    EXPECT_EQ("\"\\u00e6\\u0097!\"", json_string("\xe6\x97!"));
    EXPECT_EQ("\"\\u00c0\\u0080\\u00ed\\u00a0\\u0080\\u00ff\"", json_string("\xc0\x80\xed\xa0\x80\xff"));
}

TEST(EnvelopeJson, HoldsTheEnvelope)
{
    LoopbackMail mail;
    mail.from = "a@b";
    mail.parameters = "SIZE=3";
    mail.recipients = {"c@d", "\"e\"@f"};
    mail.connection = 2;
    mail.size = 3;
    mail.accepted = true;
    Conversation conversation;
    conversation.hello = "me";
    conversation.user = "u";
    conversation.mechanism = "PLAIN";
    conversation.tls_version = "TLSv1.3";
    EXPECT_EQ("{\n  \"from\": \"a@b\",\n  \"parameters\": \"SIZE=3\",\n"
              "  \"recipients\": [\"c@d\", \"\\\"e\\\"@f\"],\n  \"hello\": \"me\",\n  \"user\": \"u\",\n"
              "  \"mechanism\": \"PLAIN\",\n  \"tls\": \"TLSv1.3\",\n  \"connection\": 2,\n  \"octets\": 3,\n"
              "  \"accepted\": true\n}\n",
              envelope_json(mail, conversation));
}

TEST(MailFolder, NumbersTheMails)
{
    const TemporaryFolder folder;
    LoopbackMail mail;
    mail.wire = "..a\r\n";
    MailFolder first(folder.path + "/mails");
    EXPECT_TRUE(first.keep(mail, {}));
    EXPECT_TRUE(first.keep(mail, {}));
    MailFolder second(folder.path + "/mails");
    EXPECT_TRUE(second.keep(mail, {}));
    EXPECT_EQ(".a\r\n", file_content(folder.path + "/mails/1.eml"));
    EXPECT_EQ(".a\r\n", file_content(folder.path + "/mails/3.eml"));
    EXPECT_EQ(envelope_json(mail, {}), file_content(folder.path + "/mails/2.json"));
    const auto files = std::filesystem::directory_iterator(folder.path + "/mails");
    EXPECT_EQ(6, std::distance(begin(files), end(files)));
}

TEST(MailFolder, FailsWhereItCannotWrite)
{
    const TemporaryFolder folder;
    EXPECT_THROW(MailFolder(folder.path + "/no/such"), std::runtime_error);
    MailFolder mails(folder.path + "/mails");
    std::filesystem::remove(folder.path + "/mails");
    EXPECT_FALSE(mails.keep({}, {}));
}

}  // namespace
}  // namespace velorin_test
