// Mails made at random, read to the pieces an application gets.
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "octets.h"
#include "pop3_fixture.h"

namespace velorin::service {
namespace {

using velorin_test::name_of;
using velorin_test::octet_difference;
using velorin_test::Pop3Fixture;
using velorin_test::ReceivedPart;
using velorin_test::with_mails;

constexpr std::size_t kAtLeast = 6 * 1024;  // octets of a piece that is not the last one

// Mails made at random, with all that makes reading hard.
class MailMaker {
public:
    explicit MailMaker(unsigned seed) : random_(seed) {}

    struct Leaf {
        int depth;
        std::int32_t encoding;
        std::string body;     // as it stands in the mail
        std::string content;  // decoded
    };
    std::vector<Leaf> leaves;

    std::string make() { return "Subject: made\r\n" + entity(0); }

private:
    std::size_t below(std::size_t count) { return random_() % count; }

    std::string entity(int depth)
    {
        if (depth < 6 && below(3) == 0) return multipart(depth + 1);
        return leaf(depth);
    }

    std::string multipart(int depth)
    {
        const std::string boundary =
            "b" + std::string(below(60), '-') + std::to_string(depth) + (below(2) ? "" : "=_.");
        std::string out = "Content-Type: multipart/mixed;\r\n\tboundary=\"" + boundary + "\"\r\n\r\n";
        if (below(2)) out += "hint\r\n.\r\n";
        const std::size_t count = 1 + below(4);
        for (std::size_t part = 0; part < count; ++part)
            out += "--" + boundary + "\r\n" + entity(depth) + "\r\n";
        out += "--" + boundary + "--\r\n";
        if (below(2)) out += "epilogue\r\n--" + boundary + "x\r\n";
        if (out.substr(out.size() - 2) == "\r\n") out.resize(out.size() - 2);
        return out;
    }

    std::string leaf(int depth)
    {
        Leaf made{depth, 5, {}, {}};
        std::string header;
        const std::size_t size = below(4) == 0 ? below(40000) : below(300);
        switch (below(4)) {
        case 0:
            made.encoding = 2;
            header = "Content-Transfer-Encoding: base64\r\n";
            made.content = octets(size);
            made.body = base64(made.content);
            break;
        case 1:
            made.encoding = 3;
            header = "Content-Transfer-Encoding: quoted-printable\r\n";
            made.content = text(size);
            made.body = quoted(made.content);
            break;
        case 2:
            made.encoding = 1;
            header = "Content-Type: application/octet-stream\r\nContent-Transfer-Encoding: 8bit\r\n";
            made.content = made.body = text(size);
            break;
        default:
            header = below(2) ? "Content-Type: text/plain; charset=utf-8\r\n" : "";
            made.content = made.body = text(size);
            break;
        }
        leaves.push_back(made);
        return header + "\r\n" + made.body;
    }

    std::string octets(std::size_t count)
    {
        std::string out;
        for (; count > 0; --count)
            out += static_cast<char>(random_() & 0xFF);
        return out;
    }

    std::string text(std::size_t count)
    {
        static const char* const words[] = {".",   "..",   "...",  "--",           "-",      "x",
                                            "=",   "=3D",  "word", "\xE3\x81\x82", "\t",     " ",
                                            "--b", "\r\n", "\r\n", "\r\n.",        "\r\n--", "a longer word"};
        std::string out;
        while (out.size() < count)
            out += words[below(std::size(words))];
        return out;
    }

    std::string base64(const std::string& content)
    {
        static const char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        const std::size_t width = 4 * (1 + below(20));
        std::string out;
        std::size_t column = 0;
        for (std::size_t at = 0; at < content.size(); at += 3) {
            std::uint32_t group = 0;
            for (std::size_t index = 0; index < 3; ++index)
                group = (group << 8) |
                        (at + index < content.size() ? static_cast<unsigned char>(content[at + index]) : 0u);
            for (int shift = 18; shift >= 0; shift -= 6)
                out += alphabet[(group >> shift) & 0x3F];
            column += 4;
            if (column >= width && at + 3 < content.size()) {
                out += "\r\n";
                column = 0;
            }
        }
        for (std::size_t pad = 0; pad < (3 - content.size() % 3) % 3; ++pad)
            out[out.size() - 1 - pad] = '=';
        return out;
    }

    std::string quoted(const std::string& content)
    {
        static const char digits[] = "0123456789ABCDEF";
        const std::size_t width = 4 + below(73);
        std::string out;
        std::size_t column = 0;
        for (std::size_t at = 0; at < content.size(); ++at) {
            if (content.compare(at, 2, "\r\n") == 0) {
                out += "\r\n";
                column = 0;
                ++at;
                continue;
            }
            const auto octet = static_cast<unsigned char>(content[at]);
            const bool plain = octet > 0x20 && octet < 0x7F && octet != '=' && below(10) != 0;
            if (column + (plain ? 1 : 3) > width) {
                out += "=\r\n";
                column = 0;
            }
            if (plain) {
                out += static_cast<char>(octet);
            } else {
                out += '=';
                out += digits[octet >> 4];
                out += digits[octet & 15];
            }
            column += plain ? 1 : 3;
        }
        return out;
    }

    std::mt19937 random_;
};

TEST(Pop3MadeMails, ComeBackOctetForOctet)
{
    std::vector<MailMaker> makers;
    std::vector<std::string> mails;
    for (unsigned seed = 1; seed <= 150; ++seed) {
        makers.emplace_back(seed);
        mails.push_back(makers.back().make());
    }
    Pop3Fixture fixture(with_mails(mails));
    ASSERT_EQ("ok", name_of(fixture.client.open(fixture.server.port())));
    for (std::size_t index = 0; index < mails.size(); ++index) {
        fixture.client.mean(static_cast<std::int32_t>(index + 1), "uid-" + std::to_string(index + 1));
        std::vector<ReceivedPart> parts;
        ASSERT_EQ("ok", name_of(fixture.client.receive(parts))) << index;
        std::vector<const ReceivedPart*> bodies;
        for (const ReceivedPart& part : parts)
            if (!part.pieces.empty()) bodies.push_back(&part);
        const auto& leaves = makers[index].leaves;
        ASSERT_EQ(leaves.size(), bodies.size()) << index;
        for (std::size_t leaf = 0; leaf < leaves.size(); ++leaf) {
            const MailMaker::Leaf& expected = leaves[leaf];
            const ReceivedPart& found = *bodies[leaf];
            EXPECT_EQ(expected.depth, found.depth) << index;
            ASSERT_EQ(expected.encoding, found.facts.e_transfer_encoding()) << index;
            // The line end behind the last line of a mail that is no multipart belongs to it.
            const bool with_end = expected.depth == 0;
            if (expected.encoding != 3) {
                std::string body = expected.body;
                if (with_end && !body.empty() && (body.size() < 2 || body.substr(body.size() - 2) != "\r\n"))
                    body += "\r\n";
                ASSERT_EQ("", octet_difference(body, found.joined())) << index << " part " << leaf;
            }
            if (expected.encoding == 2 || (expected.encoding == 3 && !with_end)) {
                ASSERT_EQ("", octet_difference(expected.content, found.decoded()))
                    << index << " part " << leaf;
            }
            for (std::size_t piece = 0; piece + 1 < found.pieces.size(); ++piece)
                EXPECT_GE(found.pieces[piece].size(), kAtLeast - 100) << index << " part " << leaf;
        }
    }
    EXPECT_EQ("ok", name_of(fixture.client.close()));
}

// Octets at random read as a mail: whatever comes, the reading ends and every answer fits.
TEST(Pop3MadeMails, OfRandomOctetsAreReadToTheirEnd)
{
    std::mt19937 random(3);
    static const char* const words[] = {"\r\n",
                                        "\n",
                                        "\r",
                                        "--b",
                                        "--c",
                                        "--",
                                        "b",
                                        "c",
                                        ".",
                                        "Content-Type: ",
                                        "multipart/mixed; boundary=b",
                                        "multipart/digest; boundary=\"c\"",
                                        ":",
                                        ";",
                                        "=",
                                        "\"",
                                        "=?utf-8?Q?",
                                        "?=",
                                        "\r\n\r\n",
                                        "\r\n--b\r\n",
                                        "\r\n--c\r\n",
                                        "\r\n--b--\r\n",
                                        "\r\n--c--\r\n",
                                        " ",
                                        "\t",
                                        "x",
                                        "\xFF",
                                        "Subject: ",
                                        "To: ",
                                        "Content-Transfer-Encoding: base64\r\n",
                                        "Content-Transfer-Encoding: quoted-printable\r\n",
                                        "\x1B$B",
                                        "\x1B(B"};
    std::vector<std::string> mails;
    for (int count = 0; count < 400; ++count) {
        std::string mail = count % 2 == 0 ? "Content-Type: multipart/mixed; boundary=b\r\n\r\n" : "";
        for (std::size_t length = random() % 200; length > 0; --length)
            mail += words[random() % std::size(words)];
        if (random() % 2 == 0) mail.insert(random() % (mail.size() + 1), 1, '\0');
        mails.push_back(mail);
    }
    Pop3Fixture fixture(with_mails(mails));
    ASSERT_EQ("ok", name_of(fixture.client.open(fixture.server.port())));
    for (std::size_t index = 0; index < mails.size(); ++index) {
        fixture.client.mean(static_cast<std::int32_t>(index + 1));
        std::vector<ReceivedPart> parts;
        ASSERT_EQ("ok", name_of(fixture.client.receive(parts, index % 3 != 0)))
            << velorin_test::printable(mails[index]);
        EXPECT_FALSE(parts.empty());
    }
    EXPECT_EQ("ok", name_of(fixture.client.close()));
}

}  // namespace
}  // namespace velorin::service
