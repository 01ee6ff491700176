// Mails as the server has them, octet for octet.
#include <string>

#include <gtest/gtest.h>

#include "octets.h"
#include "pop3_fixture.h"
#include "velorin_mail_service.h"

namespace velorin::service {
namespace {

using velorin_test::name_of;
using velorin_test::octet_difference;
using velorin_test::Pop3Client;
using velorin_test::Pop3Fixture;
using velorin_test::with_mails;

void ask_for_whole(Pop3Client& client, int number)
{
    client.mean(number, "uid-" + std::to_string(number));
    client.mail.mutable_my_part()->set_e_content_type(kContentTypeWholeMail);
}

std::string receive_whole(Pop3Client& client, int number)
{
    ask_for_whole(client, number);
    EXPECT_EQ("ok", name_of(client.header()));
    EXPECT_EQ(kContentTypeWholeMail, client.mail.my_part().e_content_type());
    EXPECT_EQ(0, client.mail.n_part_depth());
    EXPECT_FALSE(client.mail.has_c_subject());
    std::string octets;
    while (client.mail.is_has_next()) {
        const std::string code = name_of(client.body());
        EXPECT_EQ("ok", code);
        if (code != "ok") break;
        octets += client.part().p_buffer();
    }
    return octets;
}

TEST(Pop3WholeMail, IsEveryOctetOfIt)
{
    std::string quoted = "Content-Transfer-Encoding: quoted-printable\r\n\r\n";
    for (int line = 0; line < 2000; ++line)
        quoted += (line % 3 == 0 ? ".a=3D=\r\n" : "..b\r\n");
    const std::string mails[] = {
        "Received: by nobody\r\nSubject: a\r\n folded\r\nX-Own: \xFF\r\n\r\n.dot\r\n..dots\r\n",
        quoted,
        "Content-Type: multipart/mixed; "
        "boundary=b\r\n\r\npreamble\r\n--b\r\n\r\none\r\n--b--\r\nepilogue\r\n",
        "no header at all\r\n",
        "Subject: no body\r\n",
        "\r\n",
        "Subject: long line\r\n\r\n" + std::string(100000, 'x') + "\r\n",
        std::string("Subject: nul\r\n\r\na\0b\r\n", 21),
    };
    Pop3Fixture fixture(with_mails({std::begin(mails), std::end(mails)}));
    ASSERT_EQ("ok", name_of(fixture.client.open(fixture.server.port())));
    int number = 0;
    for (const std::string& mail : mails) {
        SCOPED_TRACE(++number);
        EXPECT_EQ("", octet_difference(mail, receive_whole(fixture.client, number)));
    }
    EXPECT_EQ("ok", name_of(fixture.client.close()));
}

TEST(Pop3WholeMail, IsAskedForEachTimeAnew)
{
    Pop3Fixture fixture(with_mails({"Subject: a\r\n\r\none\r\n"}));
    ASSERT_EQ("ok", name_of(fixture.client.open(fixture.server.port())));
    receive_whole(fixture.client, 1);
    fixture.client.mean(1, "uid-1");
    EXPECT_EQ("ok", name_of(fixture.client.header()));
    EXPECT_EQ("a", fixture.client.mail.c_subject());
    EXPECT_EQ("ok", name_of(fixture.client.body()));
    EXPECT_EQ("one\r\n", fixture.client.part().p_buffer());
}

TEST(Pop3WholeMail, MayBeSkipped)
{
    Pop3Fixture fixture(with_mails({"Subject: a\r\n\r\none\r\n", "Subject: b\r\n\r\ntwo\r\n"}));
    ASSERT_EQ("ok", name_of(fixture.client.open(fixture.server.port())));
    ask_for_whole(fixture.client, 1);
    EXPECT_EQ("ok", name_of(fixture.client.header()));
    EXPECT_EQ("wrong-order", name_of(fixture.client.part_header()));
    EXPECT_EQ("ok", name_of(fixture.client.skip_mail()));
    EXPECT_EQ("Subject: b\r\n\r\ntwo\r\n", receive_whole(fixture.client, 2));
}

}  // namespace
}  // namespace velorin::service
