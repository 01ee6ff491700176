#include "loopback_auth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "loopback_smtp.h"
#include "octets.h"
#include "plain_client.h"

namespace velorin_test {
namespace {

using testing::StartsWith;

constexpr char kWelcome[] = "235 2.7.0 welcome";
constexpr char kWrong[] = "535 5.7.8 user or password is wrong";
constexpr char kMalformed[] = "501 5.5.2 malformed";

SmtpOptions with_users()
{
    SmtpOptions options;
    options.auth = {"PLAIN", "LOGIN", "CRAM-MD5", "XOAUTH2"};
    options.users = {{"tim", "tanstaaftanstaaf"}, {"tok", "ya29.token"}};
    options.auth_required = true;
    return options;
}

TEST(Base64, GoesThereAndBack)
{
    const struct {
        std::string_view octets;
        std::string_view text;
    } cases[] = {{"", ""},
                 {"f", "Zg=="},
                 {"fo", "Zm8="},
                 {"foo", "Zm9v"},
                 {"foob", "Zm9vYg=="},
                 {"fooba", "Zm9vYmE="},
                 {"foobar", "Zm9vYmFy"},
                 {"\xff\xfe\xfb", "//77"}};
    for (const auto& row : cases) {
        std::string octets;
        EXPECT_EQ(row.text, base64_encode(row.octets));
        EXPECT_TRUE(base64_decode(row.text, octets));
        EXPECT_EQ(row.octets, octets);
    }
}

TEST(Base64, RefusesWhatIsNotCanonical)
{
    for (const char* text :
         {"Z", "Zg", "Zg=", "Zh==", "Zm9=", "Zg==Zg==", "====", "Z===", "Zm 9", "Zm9v\n"}) {
        std::string octets = "before";
        EXPECT_FALSE(base64_decode(text, octets)) << text;
        EXPECT_EQ("", octets) << text;
    }
}

TEST(Digests, AgreeWithTheRfcs)
{
    // RFC 2195, section 2; RFC 1939, section 7; RFC 1321, A.5.
    EXPECT_EQ("b913a602c7eda7a495b4e6e7334d3890",
              hmac_md5_hex("tanstaaftanstaaf", "<1896.697170952@postoffice.reston.mci.net>"));
    EXPECT_EQ("c4c9334bac560ecc979e58001b3e22fb", md5_hex("<1896.697170952@dbc.mtview.ca.us>tanstaaf"));
    EXPECT_EQ("d41d8cd98f00b204e9800998ecf8427e", md5_hex(""));
    EXPECT_NE(fresh_challenge(), fresh_challenge());
}

class SmtpAuth : public testing::Test {
protected:
    SmtpAuth() : server_(with_users()), client_(server_.port())
    {
        client_.line();
        client_.say("EHLO me");
    }
    Conversation conversation() const { return server_.conversations().at(0); }

    LoopbackSmtp server_;
    PlainClient client_;
};

TEST_F(SmtpAuth, IsOfferedAndWanted)
{
    EXPECT_EQ("250-localhost|250-8BITMIME|250 AUTH PLAIN LOGIN CRAM-MD5 XOAUTH2", client_.say("EHLO me"));
    EXPECT_EQ("530 5.7.0 log in first", client_.say("MAIL FROM:<a@b>"));
}

TEST_F(SmtpAuth, PlainWithInitialResponse)
{
    EXPECT_EQ(kWelcome,
              client_.say("AUTH PLAIN " + base64_encode(std::string_view("\0tim\0tanstaaftanstaaf", 21))));
    EXPECT_EQ("tim", conversation().user);
    EXPECT_EQ("PLAIN", conversation().mechanism);
    EXPECT_EQ("250 2.1.0 fine", client_.say("MAIL FROM:<a@b>"));
    EXPECT_EQ("503 5.5.1 not now", client_.say("AUTH PLAIN"));
}

TEST_F(SmtpAuth, PlainWithoutInitialResponse)
{
    EXPECT_EQ("334 ", client_.say("AUTH plain"));
    EXPECT_EQ(kWelcome, client_.say(base64_encode(std::string_view("tim\0tim\0tanstaaftanstaaf", 24))));
}

TEST_F(SmtpAuth, PlainRefusesWhatIsWrong)
{
    EXPECT_EQ(kWrong, client_.say("AUTH PLAIN " + base64_encode(std::string_view("\0tim\0tanstaaf", 13))));
    EXPECT_EQ(kWrong,
              client_.say("AUTH PLAIN " + base64_encode(std::string_view("\0bob\0tanstaaftanstaaf", 21))));
    EXPECT_EQ(kWrong,
              client_.say("AUTH PLAIN " + base64_encode(std::string_view("bob\0tim\0tanstaaftanstaaf", 24))));
    EXPECT_EQ(kMalformed, client_.say("AUTH PLAIN " + base64_encode("tim")));
    EXPECT_EQ(kMalformed, client_.say("AUTH PLAIN ="));
    EXPECT_EQ(kMalformed, client_.say("AUTH PLAIN !"));
    EXPECT_EQ("", conversation().user);
    EXPECT_EQ("530 5.7.0 log in first", client_.say("MAIL FROM:<a@b>"));
}

TEST_F(SmtpAuth, Login)
{
    EXPECT_EQ("334 VXNlcm5hbWU6", client_.say("AUTH LOGIN"));
    EXPECT_EQ("334 UGFzc3dvcmQ6", client_.say(base64_encode("tim")));
    EXPECT_EQ(kWrong, client_.say(base64_encode("wrong")));
    EXPECT_EQ("334 UGFzc3dvcmQ6", client_.say("AUTH LOGIN " + base64_encode("tim")));
    EXPECT_EQ(kWelcome, client_.say(base64_encode("tanstaaftanstaaf")));
    EXPECT_EQ("LOGIN", conversation().mechanism);
}

TEST_F(SmtpAuth, CramMd5)
{
    const auto answer = [this](std::string_view user, std::string_view key) {
        const std::string challenge = client_.say("AUTH CRAM-MD5");
        std::string text;
        EXPECT_THAT(challenge, StartsWith("334 "));
        EXPECT_TRUE(base64_decode(challenge.substr(4), text));
        return client_.say(base64_encode(std::string(user) + " " + hmac_md5_hex(key, text)));
    };
    EXPECT_EQ(kWrong, answer("tim", "wrong"));
    EXPECT_EQ(kWrong, answer("bob", "tanstaaftanstaaf"));
    EXPECT_EQ(kMalformed, client_.say("AUTH CRAM-MD5 " + base64_encode("tim x")));
    EXPECT_EQ(kWelcome, answer("tim", "tanstaaftanstaaf"));
    EXPECT_EQ("CRAM-MD5", conversation().mechanism);
}

TEST_F(SmtpAuth, Xoauth2)
{
    const std::string refusal =
        client_.say("AUTH XOAUTH2 " + base64_encode("user=tok\1auth=Bearer wrong\1\1"));
    EXPECT_THAT(refusal, StartsWith("334 "));
    EXPECT_EQ(kWrong, client_.say(""));
    EXPECT_EQ(kMalformed, client_.say("AUTH XOAUTH2 " + base64_encode("user=tok\1auth=Bearer ya29.token\1")));
    EXPECT_EQ(kWelcome, client_.say("AUTH XOAUTH2 " + base64_encode("user=tok\1auth=Bearer ya29.token\1\1")));
    EXPECT_EQ("tok", conversation().user);
}

TEST_F(SmtpAuth, CanBeCancelledAndIsNotGuessed)
{
    EXPECT_EQ("334 VXNlcm5hbWU6", client_.say("AUTH LOGIN"));
    EXPECT_EQ("501 5.7.0 cancelled", client_.say("*"));
    EXPECT_EQ("504 5.5.4 no such mechanism", client_.say("AUTH NTLM"));
    client_.say("HELO me");
    EXPECT_EQ("502 5.5.1 no AUTH here", client_.say("AUTH LOGIN"));
}

TEST_F(SmtpAuth, IsHiddenInTheTranscriptForPeople)
{
    client_.say("AUTH PLAIN " + base64_encode(std::string_view("\0tim\0wrong", 10)));
    client_.say("AUTH LOGIN");
    client_.say(base64_encode("tim"));
    client_.say("*");
    EXPECT_THAT(conversation().text(),
                testing::HasSubstr("C: AUTH PLAIN ***\nS: 535 5.7.8 user or password is wrong\n"
                                   "C: AUTH LOGIN\nS: 334 VXNlcm5hbWU6\nC: ***\n"
                                   "S: 334 UGFzc3dvcmQ6\nC: ***\nS: 501"));
    EXPECT_THAT(conversation().client_lines(), testing::HasSubstr("\nAUTH LOGIN\ndGlt\n*\n"));
}

TEST_F(SmtpAuth, ObeysRules)
{
    server_.add_rule(Rule(Step::kAuth).reply("454 4.7.0 later"));
    server_.add_rule(Rule(Step::kAuthReply).reply("334 bm90IHlldA=="));
    EXPECT_EQ("454 4.7.0 later", client_.say("AUTH LOGIN"));
    EXPECT_EQ("334 VXNlcm5hbWU6", client_.say("AUTH LOGIN"));
    EXPECT_EQ("334 bm90IHlldA==", client_.say(base64_encode("tim")));
    EXPECT_EQ(kWelcome, client_.say(base64_encode("tanstaaftanstaaf")));
}

}  // namespace
}  // namespace velorin_test
