// Mails that arrive: what the server got is what was to be sent.
#include <algorithm>
#include <csignal>
#include <cstdint>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CntsMLUTLMimeUtility.h"
#include "CutlCPLBOSBoundary.h"
#include "base64_pieces.h"
#include "loopback_smtp.h"

#include "cli_process.h"
#include "mailbox_support.h"
#include "send_support.h"
#include "temporary_folder.h"

using velorin_test::LoopbackMail;
using velorin_test::LoopbackSmtp;
using velorin_test::Rule;
using velorin_test::SmtpOptions;
using velorin_test::Step;

namespace {

// Decodes base64 that must be of the strict form: lines of 76 characters, the last one shorter, no line end
// behind it.
std::string decoded(const std::string& text)
{
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t end = text.find("\r\n", begin);
        if (end == std::string::npos) end = text.size();
        if (end < text.size()) {
            EXPECT_EQ(76u, end - begin);
            EXPECT_LT(end + 2, text.size()) << "a line end stands behind the last line";
        }
        EXPECT_LE(end - begin, 76u);
        begin = end + 2;
    }
    void* block = nullptr;
    long length = 0;
    EXPECT_EQ(1, velorin::CntsMLUTLMimeUtility::FromB64(text.data(), static_cast<long>(text.size()), block,
                                                        length));
    const std::string octets(static_cast<const char*>(block), static_cast<std::size_t>(length));
    CutlCPLBOSBoundary::MemFree(block);
    return octets;
}

struct Part {
    std::string header;
    std::string body;
};

// Cuts a mail into its header and, when it is a multipart, its parts.
struct Arrived {
    std::string header;
    std::string body;
    std::vector<Part> parts;

    explicit Arrived(const std::string& octets)
    {
        const std::size_t blank = octets.find("\r\n\r\n");
        EXPECT_NE(std::string::npos, blank);
        header = octets.substr(0, blank + 2);
        body = octets.substr(blank + 4);
        const std::size_t begin = header.find("boundary=\"");
        if (begin == std::string::npos) return;
        const std::string boundary =
            "--" + header.substr(begin + 10, header.find('"', begin + 10) - begin - 10);
        EXPECT_EQ(0u, body.find(boundary + "\r\n"));
        std::size_t at = boundary.size() + 2;
        for (;;) {
            const std::size_t end = body.find("\r\n" + boundary, at);
            if (end == std::string::npos) {
                ADD_FAILURE() << "no closing boundary";
                return;
            }
            const std::string part = body.substr(at, end - at);
            const std::size_t line = part.find("\r\n\r\n");
            EXPECT_NE(std::string::npos, line);
            parts.push_back({part.substr(0, line + 2), part.substr(line + 4)});
            at = end + 2 + boundary.size() + 2;
            if (body.compare(at - 2, 2, "--") == 0) break;
        }
        EXPECT_EQ("\r\n", body.substr(at)) << "something stands behind the closing boundary";
    }
};

}  // namespace

TEST(CliSend, AWholeTextMail)
{
    const LoopbackSmtp server;
    expect_sent(run_cli({"send",
                         "--server",
                         "127.0.0.1",
                         "--port",
                         std::to_string(server.port()),
                         "--host-name",
                         "client.example",
                         "--from",
                         "\"Doe, Jane\" <jane@example.com>",
                         "--to",
                         "a@example.com, \"B, C\" <b@example.com>",
                         "--to",
                         "c@example.com",
                         "--cc",
                         "d@example.com",
                         "A@example.com",
                         "--bcc",
                         "e@example.com;a@EXAMPLE.com",
                         "--reply-to",
                         "f@example.com",
                         "--sender",
                         "g@example.com",
                         "--subject",
                         "=?utf-8?B?44GT?= 100% \"done\"",
                         "--mdn",
                         "h@example.com",
                         "--message-id",
                         "id1@example.com",
                         "--in-reply-to",
                         "x@y",
                         "--references",
                         "<w@y> <x@y>",
                         "--date",
                         "Thu, 01 Jan 2026 12:00:00 +0900",
                         "--charset",
                         "us-ascii"},
                        "hello\n.\n..dots\rlast"));
    const LoopbackMail mail = only_mail(server);
    EXPECT_EQ("g@example.com", mail.from);
    EXPECT_EQ((std::vector<std::string>{"a@example.com", "b@example.com", "c@example.com", "d@example.com",
                                        "A@example.com", "e@example.com"}),
              mail.recipients);
    EXPECT_EQ("Date: Thu, 01 Jan 2026 12:00:00 +0900\r\nFrom: \"Doe, Jane\" <jane@example.com>\r\n"
              "Subject: =?utf-8?B?44GT?= 100% \"done\"\r\nTo: a@example.com,\r\n\t\"B, C\" "
              "<b@example.com>,\r\n\tc@example.com\r\n"
              "Cc: d@example.com,\r\n\tA@example.com\r\nReply-To: f@example.com\r\nSender: g@example.com\r\n"
              "Disposition-Notification-To: h@example.com\r\nMessage-Id: <id1@example.com>\r\nIn-Reply-To: "
              "<x@y>\r\n"
              "References: <w@y>\r\n\t<x@y>\r\nMime-Version: 1.0\r\nContent-Type: text/plain; "
              "charset=\"us-ascii\"\r\n"
              "Content-Transfer-Encoding: 7bit\r\n\r\nhello\r\n.\r\n..dots\r\nlast\r\n",
              mail.octets());
    EXPECT_EQ("client.example", server.conversations()[0].hello);
    ASSERT_TRUE(server.wait_for_disconnect(1, kSoon));
    EXPECT_TRUE(server.conversations()[0].quit);
}

TEST(CliSend, AttachmentsOfEverySize)
{
    const TemporaryFolder folder;
    const LoopbackSmtp server;
    const std::size_t piece = velorin::cli::kBase64Piece;
    const std::vector<std::size_t> sizes = {
        0,   1,         2,     3,         56,        57,         58,        113,           114,
        115, piece - 1, piece, piece + 1, piece + 2, piece + 57, 2 * piece, 3 * piece + 58};
    std::vector<std::string> more = {"--subject", "s", "--text-string", "text"};
    std::vector<std::string> contents;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        contents.push_back(varied_octets(sizes[i]));
        more.push_back("--attach");
        // By turns a type that the vocabulary has and one that it does not have.
        more.push_back(
            folder.write("file" + std::to_string(i) + (i % 2 == 0 ? ".pdf" : ".bin"), contents.back()));
    }
    expect_sent(run_cli(send_arguments(server.port(), more)));
    const Arrived mail(only_mail(server).octets());
    ASSERT_EQ(sizes.size() + 1, mail.parts.size());
    EXPECT_EQ("Content-Type: text/plain; charset=\"utf-8\"\r\nContent-Transfer-Encoding: 7bit\r\n",
              mail.parts[0].header);
    EXPECT_EQ("text", mail.parts[0].body);
    for (std::size_t i = 0; i < sizes.size(); ++i) {
        SCOPED_TRACE(sizes[i]);
        const std::string name = "file" + std::to_string(i) + (i % 2 == 0 ? ".pdf" : ".bin");
        EXPECT_EQ(std::string("Content-Type: application/") + (i % 2 == 0 ? "pdf" : "octet-stream") +
                      ";\r\n\tname=\"" + name + "\"\r\nContent-Disposition: attachment;\r\n\tfilename=\"" +
                      name + "\"\r\nContent-Transfer-Encoding: base64\r\n",
                  mail.parts[i + 1].header);
        EXPECT_TRUE(contents[i] == decoded(mail.parts[i + 1].body));
    }
}

// Part headers of either kind may follow each other in any order.
TEST(CliSend, TypesInEveryOrder)
{
    const TemporaryFolder folder;
    const std::string known = folder.write("k.pdf", "known");
    const std::string other = folder.write("o.bin", "other");
    for (const std::string order : {"o", "k", "oo", "ok", "ko", "okok", "kook"}) {
        SCOPED_TRACE(order);
        const LoopbackSmtp server;
        std::vector<std::string> more = {"--subject", "s", "--text-string", "text"};
        for (const char kind : order) {
            more.push_back("--attach");
            more.push_back(kind == 'k' ? known : other);
        }
        expect_sent(run_cli(send_arguments(server.port(), more)));
        const Arrived mail(only_mail(server).octets());
        ASSERT_EQ(order.size() + 1, mail.parts.size());
        for (std::size_t i = 0; i < order.size(); ++i) {
            EXPECT_EQ(order[i] == 'k' ? "known" : "other", decoded(mail.parts[i + 1].body));
            EXPECT_NE(std::string::npos,
                      mail.parts[i + 1].header.find(order[i] == 'k' ? "application/pdf"
                                                                    : "application/octet-stream"));
        }
    }
}

TEST(CliSend, TheSizeAnnouncedIsTheSizeSent)
{
    const TemporaryFolder folder;
    const std::string pdf = folder.write("a.pdf", varied_octets(100001));
    const std::string bin = folder.write("a.bin", varied_octets(57));
    static const struct {
        const char* label;
        std::string text;
        std::vector<std::string> more;
    } cases[] = {
        {"empty", "", {}},
        {"without line end", "a", {}},
        {"with line end", "a\n", {}},
        {"8 bit", "\xC3\xA4\n", {}},
        {"dots", ".\n.\n", {}},
        {"iso-2022-jp", "\xE3\x81\x93\n", {"--charset", "iso-2022-jp"}},
        {"attachments", "a\n", {"--attach", pdf, bin}},
        {"attachments and base64 text", "\xC3\xA4", {"--attach", bin, pdf}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        SmtpOptions options;
        options.size_limit = 0;
        const LoopbackSmtp server(options);
        std::vector<std::string> more = {"--subject", "s", "--json"};
        more.insert(more.end(), c.more.begin(), c.more.end());
        const CliResult result = run_cli(send_arguments(server.port(), more), c.text);
        expect_sent(result);
        const LoopbackMail mail = only_mail(server);
        const std::string size = std::to_string(mail.octets().size());
        EXPECT_NE(std::string::npos, mail.parameters.find("SIZE=" + size))
            << mail.parameters << ", sent " << size;
        EXPECT_NE(std::string::npos, result.out.find("\"octets\":" + size + ",")) << result.out;
    }
}

TEST(CliSend, JapaneseTextInPieces)
{
    const LoopbackSmtp server;
    std::string text;
    std::string expected;
    for (int i = 0; i < 20000; ++i) {
        text += "\xE3\x81\x93\xE3\x82\x93"
                "a\n";
        expected += "\x1B$B$3$s\x1B(Ba\r\n";
    }
    expect_sent(run_cli(send_arguments(server.port(), {"--subject", "s", "--charset", "iso-2022-jp"}), text));
    const Arrived mail(only_mail(server).octets());
    EXPECT_TRUE(expected == mail.body);
    EXPECT_NE(
        std::string::npos,
        mail.header.find(
            "Content-Type: text/plain; charset=\"iso-2022-jp\"\r\nContent-Transfer-Encoding: 7bit\r\n"));
}

TEST(CliSend, EightBitTextTravelsInBase64)
{
    static const struct {
        const char* charset;
        const char* octets;
    } cases[] = {{"utf-8", "\xC3\xA4\r\n"}, {"iso-8859-1", "\xE4\r\n"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.charset);
        const LoopbackSmtp server;
        expect_sent(
            run_cli(send_arguments(server.port(), {"--subject", "s", "--charset", c.charset}), "\xC3\xA4\n"));
        const Arrived mail(only_mail(server).octets());
        EXPECT_NE(std::string::npos, mail.header.find("Content-Transfer-Encoding: base64\r\n"));
        ASSERT_EQ("\r\n", mail.body.substr(mail.body.size() - 2));  // the last line's own end
        EXPECT_EQ(c.octets, decoded(mail.body.substr(0, mail.body.size() - 2)));
    }
}

TEST(CliSend, TheFaxMarkerStandsOnTheText)
{
    const TemporaryFolder folder;
    const LoopbackSmtp server;
    expect_sent(run_cli(
        send_arguments(server.port(), {"--subject", "s", "--fax", "--attach", folder.write("a.tif", "fax")}),
        "cover\n"));
    const Arrived mail(only_mail(server).octets());
    ASSERT_EQ(3u, mail.parts.size());
    EXPECT_EQ("", mail.parts[0].body);
    EXPECT_EQ("Content-Type: text/plain; charset=\"utf-8\"\r\nContent-Disposition: "
              "inline\r\nContent-Transfer-Encoding: 7bit\r\n"
              "Content-X-CIAJWNETFAX: IGNORE\r\n",
              mail.parts[1].header);
    EXPECT_EQ("cover\r\n", mail.parts[1].body);
    EXPECT_EQ("fax", decoded(mail.parts[2].body));
}

TEST(CliSend, AnUnsafeFileNameIsReplacedAndSaidSo)
{
    const TemporaryFolder folder;
    const LoopbackSmtp server;
    const CliResult result =
        run_cli(send_arguments(server.port(), {"--subject", "s", "--text-string", "x", "--attach",
                                               folder.write("a\t\"1\".pdf", "x")}));
    EXPECT_EQ(0, result.exit_code);
    EXPECT_NE(std::string::npos, result.err.find("is attached under the name a__1_.pdf\n")) << result.err;
    const Arrived mail(only_mail(server).octets());
    EXPECT_NE(std::string::npos, mail.parts[1].header.find("filename=\"a__1_.pdf\"")) << mail.parts[1].header;
}

TEST(CliSend, ThroughTheRunningService)
{
    const TemporaryFolder folder;
    const LoopbackSmtp server;
    const Environment environment = {{"VELORIN_CHANNEL_DIR", folder.path() + "/channel"}};
    CliProcess daemon(VELORIN_MAILD_PROGRAM, {"--config", folder.write("maild.conf", "")}, "", environment);
    ASSERT_TRUE(daemon.wait_for_error_text("ready", kSoon));
    const std::string octets = varied_octets(3 * velorin::cli::kBase64Piece + 1);
    expect_sent(run_cli(send_arguments(server.port(), {"--subject", "s", "--text-string", "x", "--daemon",
                                                       "--attach", folder.write("a.bin", octets)}),
                        "", environment));
    const Arrived mail(only_mail(server).octets());
    ASSERT_EQ(2u, mail.parts.size());
    EXPECT_TRUE(octets == decoded(mail.parts[1].body));
    const CliResult refused =
        run_cli(send_arguments(server.port(),
                               {"--daemon", "--subject", "s", "--text-string", "x", "--size-limit", "10"}),
                "", environment);
    EXPECT_EQ(65, refused.exit_code) << refused.err;
    daemon.send_signal(SIGTERM);
    EXPECT_EQ(0, daemon.wait(kSoon).exit_code);
}

TEST(CliSend, JsonTellsWhatWasSent)
{
    const LoopbackSmtp server;
    const CliResult result = run_cli(send_arguments(
        server.port(), {"--subject", "s", "--text-string", "x", "--json", "--message-id", "a@b"}));
    expect_sent(result);
    EXPECT_EQ(
        0u,
        result.out.find(
            "{\"command\":\"send\",\"status\":\"sent\",\"exit_code\":0,\"message_id\":\"<a@b>\",\"octets\":"))
        << result.out;
    EXPECT_EQ('\n', result.out.back());
}

TEST(CliSend, AResultThatCannotBeWrittenIsAFailure)
{
    const LoopbackSmtp server;
    std::vector<std::string> arguments = {"-c", "exec \"$0\" \"$@\" > /dev/full", VELORIN_MAIL_PROGRAM};
    const std::vector<std::string> send =
        send_arguments(server.port(), {"--subject", "s", "--text-string", "x", "--json"});
    arguments.insert(arguments.end(), send.begin(), send.end());
    const CliResult result = CliProcess("/bin/sh", arguments).wait(kSoon);
    EXPECT_EQ(74, result.exit_code);
    EXPECT_NE("", result.sentence()) << result.err;
    // The mail is with the server: nobody may take this for a reason to send it again.
    EXPECT_NE(std::string::npos, result.err.find("the work is done, but")) << result.err;
}

TEST(CliSend, ARecordingThatCannotBeWrittenIsNoted)
{
    const LoopbackSmtp server;
    const CliResult result = run_cli(send_arguments(server.port(), {"--subject", "s", "--text-string", "x"}),
                                     "", {{"VELORIN_CAPTURE", "/nowhere/at/all"}});
    EXPECT_EQ(0, result.exit_code);
    EXPECT_NE(std::string::npos, result.sentence().find("nothing is recorded, /nowhere/at/all: "))
        << result.err;
}

// With no standard descriptors, what is said aside must not go to the server, and the password still arrives.
TEST(CliSend, ClosedStandardDescriptorsHarmNoMail)
{
    SmtpOptions options;
    options.auth = {"PLAIN"};
    options.users = {{"me", "right"}};
    const LoopbackSmtp server(options);
    std::vector<std::string> arguments = {"-c", "exec \"$0\" \"$@\" <&- >&- 2>&-", VELORIN_MAIL_PROGRAM};
    const std::vector<std::string> send = send_arguments(
        server.port(), {"--subject", "s", "--text-string", "x", "--verbose", "--tls", "none", "--user", "me",
                        "--auth", "plain", "--password-command", "echo right"});
    arguments.insert(arguments.end(), send.begin(), send.end());
    const CliResult result = CliProcess("/bin/sh", arguments).wait(kSoon);
    EXPECT_EQ(0, result.exit_code);
    EXPECT_EQ(1u, server.mails().size());
    for (const auto& conversation : server.conversations()) {
        EXPECT_EQ(std::string::npos, conversation.text().find("sending the")) << conversation.text();
    }
}

TEST(CliSend, VerboseSaysTheSteps)
{
    const LoopbackSmtp server;
    const CliResult result =
        run_cli(send_arguments(server.port(), {"--subject", "s", "--text-string", "x", "--verbose"}));
    EXPECT_EQ(0, result.exit_code);
    for (const char* step :
         {"connected to 127.0.0.1 port ", "sending the header", "sending the text", "verdict"})
        EXPECT_NE(std::string::npos, result.err.find(step)) << result.err;
}

// The instrumented builds need memory of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(CliSend, MemoryStaysFlat)
{
    const TemporaryFolder folder;
    SmtpOptions options;
    options.discard = true;
    options.rules.push_back(Rule(Step::kDot).silence());
    const LoopbackSmtp server(options);
    const std::string file = folder.write("big.bin", "");
    ASSERT_EQ(0, ::truncate(file.c_str(), off_t{256} << 20));
    CliProcess process(VELORIN_MAIL_PROGRAM, send_arguments(server.port(), {"--subject", "s", "--text-string",
                                                                            "x", "--attach", file}));
    ASSERT_TRUE(server.wait_for_mail(1, 60000));  // which gets no answer, so that the process stays
    EXPECT_GT(server.mails().at(0).size, std::uint64_t{256} << 20);
    const long peak = process.peak_kib();
    EXPECT_GT(peak, 0);
    EXPECT_LT(peak, 32 * 1024);
}
#endif
