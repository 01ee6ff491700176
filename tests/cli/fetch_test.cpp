// Mails in a folder: what the server has is what is there, under names that are safe.
#include <algorithm>
#include <csignal>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "cli_process.h"
#include "mailbox_support.h"

using velorin_test::Pop3Options;
using velorin_test::Rule;
using velorin_test::Step;

namespace {

constexpr int kSoon = 10000;  // milliseconds

std::string attachment(const std::string& name_field, const std::string& octets)
{
    return "--b\r\nContent-Type: application/octet-stream\r\nContent-Disposition: attachment; " + name_field +
           "\r\nContent-Transfer-Encoding: base64\r\n\r\n" + base64_lines(octets) + "\r\n";
}

std::string multipart(const std::string& parts)
{
    return "Subject: m\r\nDate: Thu, 01 Jan 2026 12:00:00 +0000\r\n"
           "Content-Type: multipart/mixed; boundary=b\r\n\r\npreamble\r\n" +
           parts + "--b--\r\nepilogue\r\n";
}

bool holds(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

}  // namespace

TEST(CliFetch, APlainMailIsATextAndItsFacts)
{
    const MailboxFixture mailbox(mailbox_options({"From: a@example.com\r\nSubject: s\r\nDate: Thu, 01 Jan "
                                                  "2026 12:00:00 +0100\r\n\r\nhello\r\n..dot\r\n"}));
    expect_silent_success(mailbox.fetch());
    const Tree tree = tree_of(mailbox.out());
    ASSERT_EQ(3u, tree.size());
    EXPECT_EQ(1u, tree.count("20260101-110000-uid-1/"));
    EXPECT_EQ("hello\n..dot\n", tree.at("20260101-110000-uid-1/text-1.txt"));
    EXPECT_EQ(
        "{\n  \"account\": \"me@127.0.0.1\",\n  \"unique_id\": \"uid-1\",\n  \"number\": 1,\n  \"size\": "
        "88,\n"
        "  \"headers\": {\n    \"from\": \"a@example.com\",\n    \"subject\": \"s\",\n"
        "    \"date\": \"Thu, 01 Jan 2026 12:00:00 +0100\"\n  },\n"
        "  \"parts\": [{\n      \"part\": \"1\",\n      \"depth\": 0,\n      \"type\": \"text/plain\",\n"
        "      \"file\": \"text-1.txt\",\n      \"size\": 12,\n      \"utf8\": true\n    }]\n}\n",
        tree.at("20260101-110000-uid-1/mail.json"));
    EXPECT_EQ("uid-1", mailbox.on_server());
    struct stat facts = {};
    ASSERT_EQ(0, ::stat((mailbox.out() + "/20260101-110000-uid-1/text-1.txt").c_str(), &facts));
    EXPECT_EQ(0600u, facts.st_mode & 07777u);
}

TEST(CliFetch, PartsOfEveryKindAreWhatTheyWere)
{
    const std::string octets = varied_octets(300000);
    const MailboxFixture mailbox(mailbox_options(
        {multipart("--b\r\nContent-Type: multipart/alternative; boundary=c\r\n\r\n"
                   "--c\r\nContent-Type: text/plain; charset=iso-2022-jp\r\n\r\n\x1B$B$3$s\x1B(B\r\nx\r\n"
                   "--c\r\nContent-Type: text/html; charset=\"utf-8\"\r\nContent-Transfer-Encoding: "
                   "quoted-printable\r\n\r\n"
                   "<p>=E3=81=\r\n=82</p>=0D=0A\r\n..x\r\n--c--\r\n" +
                   attachment("filename=all.bin", octets) +
                   "--b\r\nContent-Type: message/rfc822\r\n\r\nSubject: inner\r\n\r\nbody\r\n"
                   "--b\r\nContent-Type: text/plain; name=n.txt\r\n\r\nl1\r\nl2\r\n"
                   "--b\r\nContent-Type: application/x\r\nContent-Transfer-Encoding: x-odd\r\n\r\n%%\r\n")}));
    expect_silent_success(mailbox.fetch());
    const std::string in = "20260101-120000-uid-1/";
    const Tree tree = tree_of(mailbox.out());
    EXPECT_EQ("\xE3\x81\x93\xE3\x82\x93\nx", tree.at(in + "text-1.1.txt"));
    EXPECT_EQ("<p>\xE3\x81\x82</p>\n\n..x", tree.at(in + "text-1.2.html"));
    EXPECT_TRUE(octets == tree.at(in + "all.bin"));
    EXPECT_EQ("Subject: inner\r\n\r\nbody", tree.at(in + "part-3.eml"));
    EXPECT_EQ("l1\r\nl2", tree.at(in + "n.txt")) << "a file is not a text of the mail";
    EXPECT_EQ("%%", tree.at(in + "part-5.bin"));
    EXPECT_EQ(8u, tree.size());
    const std::string facts = tree.at(in + "mail.json");
    EXPECT_TRUE(
        holds(facts, "\"part\": \"1\",\n      \"depth\": 1,\n      \"type\": \"multipart/alternative\""))
        << facts;
    EXPECT_TRUE(holds(facts, "\"part\": \"1.2\",\n      \"depth\": 2,\n      \"type\": \"text/html\",\n"
                             "      \"content_type\": \"text/html; charset=\\\"utf-8\\\"\",\n"
                             "      \"charset\": \"utf-8\",\n      \"encoding\": \"quoted-printable\",\n"
                             "      \"file\": \"text-1.2.html\""))
        << facts;
    EXPECT_TRUE(holds(facts, "\"encoding\": \"x-odd\",\n      \"file\": \"part-5.bin\",\n      \"size\": 2,\n"
                             "      \"decoded\": false"))
        << facts;
}

TEST(CliFetch, TextsThatCannotBeConvertedAreLeftAsTheyCame)
{
    const MailboxFixture mailbox(mailbox_options({multipart(
        "--b\r\nContent-Type: text/plain; charset=koi8-r\r\n\r\n\xF0\r\n\xD2\r\n"
        "--b\r\nContent-Type: text/plain; charset=shift_jis\r\n\r\nok\r\n\x81\r\n"
        "--b\r\nContent-Type: text/plain; charset=us-ascii\r\n\r\n\xC3\xA9\r\n"
        "--b\r\nContent-Type: text/plain\r\n\r\n\xE9\r\n"
        "--b\r\nContent-Type: text/plain; charset=iso-8859-1\r\n\r\n\xE9\r\n"
        "--b\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
        base64_lines(std::string("a\0b\r\n", 5)) + "\r\n")}));
    expect_silent_success(mailbox.fetch());
    const std::string in = "20260101-120000-uid-1/";
    const Tree tree = tree_of(mailbox.out());
    EXPECT_EQ("\xF0\r\n\xD2", tree.at(in + "text-1.txt"));
    EXPECT_EQ("ok\r\n\x81", tree.at(in + "text-2.txt"));
    EXPECT_EQ("\xC3\xA9", tree.at(in + "text-3.txt"));
    EXPECT_EQ("\xE9", tree.at(in + "text-4.txt"));
    EXPECT_EQ("\xC3\xA9", tree.at(in + "text-5.txt"));
    EXPECT_EQ(std::string("a\0b\r\n", 5), tree.at(in + "text-6.txt"));
    const std::string facts = tree.at(in + "mail.json");
    std::string utf8;
    for (std::size_t at = 0; (at = facts.find("\"utf8\": ", at)) != std::string::npos; ++at)
        utf8 += facts[at + 8];
    EXPECT_EQ("fftftf", utf8) << facts;
}

TEST(CliFetch, NamesOfAMailStayInsideItsFolder)
{
    const std::string names[] = {
        "filename=\"../../../tmp/evil\"",
        "filename=\"/etc/passwd\"",
        "filename=\"..\"",
        "filename=\".\"",
        "filename=\"C:\\\\dir\\\\doc.txt\"",
        "filename=\"mail.json\"",
        "filename=\"same.txt\"",
        "filename=\"same.txt\"",
        "filename=\"same-2.txt\"",
        "filename*=utf-8''a%00b%0Ac%1B%7F.txt",
        "filename*=utf-8''%E2%80%AEtxt.exe",
        "filename=\"-rf\"",
        "filename=\"" + std::string(400, 'n') + ".pdf\"",
        "filename*=utf-8''%FF%FE.bin",
        "filename=\"dir/\"",
        "filename=\"  \"",
    };
    std::string parts;
    for (const std::string& name : names)
        parts += attachment(name, "x");
    const MailboxFixture mailbox(mailbox_options({multipart(parts)}));
    expect_silent_success(mailbox.fetch());
    std::vector<std::string> found;
    for (const auto& [name, octets] : tree_of(mailbox.out()))
        if (name.find('/') + 1 < name.size()) found.push_back(name.substr(name.find('/') + 1));
    std::vector<std::string> wanted = {
        "evil",        "passwd",
        "_",           "__",
        "doc.txt",     "mail.json",
        "mail-2.json", "same.txt",
        "same-2.txt",  "same-2-2.txt",
        "a b c__.txt", "_txt.exe",
        "_rf",         std::string(196, 'n') + ".pdf",
        "part-15.bin", "part-16.bin",
    };
    for (const std::string& name : found)
        EXPECT_EQ(std::string::npos, name.find('/')) << name;
    EXPECT_EQ(std::size(names) + 1, found.size());
    for (const std::string& name : wanted)
        EXPECT_NE(found.end(), std::find(found.begin(), found.end(), name)) << name;
    // All that was made is in the mail's own folder.
    for (const auto& [name, octets] : tree_of(mailbox.folder.path()))
        EXPECT_TRUE(name == "out/" || name.compare(0, 26, "out/20260101-120000-uid-1/") == 0 ||
                    name == "state" || name == "state.lock" || name == "password")
            << name;
}

TEST(CliFetch, RawIsEveryOctet)
{
    std::vector<std::string> mails = small_mails(2);
    mails.push_back(multipart(attachment("filename=a", varied_octets(100000))));
    mails.push_back("X-Odd: \xFF\x80\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n.=3D=\r\n..\r\n");
    const MailboxFixture mailbox(mailbox_options(mails));
    expect_silent_success(mailbox.fetch({"--raw"}));
    const Tree tree = tree_of(mailbox.out());
    ASSERT_EQ(mails.size(), tree.size());
    for (std::size_t index = 0; index < mails.size(); ++index)
        EXPECT_TRUE(mails[index] == tree.at("mail-uid-" + std::to_string(index + 1) + ".eml")) << index;
}

TEST(CliFetch, OnlyWhatIsNewUnlessAskedFor)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(2)));
    expect_silent_success(mailbox.fetch());
    EXPECT_EQ(6u, tree_of(mailbox.out()).size());
    expect_silent_success(mailbox.fetch());
    EXPECT_EQ(6u, tree_of(mailbox.out()).size());
    EXPECT_FALSE(holds(mailbox.server.conversations().at(1).client_lines(), "RETR"));
    mailbox.server.maildrop().add(small_mails(3)[2], "uid-3");
    expect_silent_success(mailbox.fetch());
    EXPECT_EQ(9u, tree_of(mailbox.out()).size());
    expect_silent_success(mailbox.fetch({"uid-2", "--uid", "uid-1"}));
    EXPECT_EQ(15u, tree_of(mailbox.out()).size()) << "asked for by name: fetched again, beside the first";
    EXPECT_EQ("text 2\n", tree_of(mailbox.out()).at("20260101-120000-uid-2-2/text-1.txt"));
    expect_silent_success(mailbox.fetch({"--all"}));
    EXPECT_EQ(24u, tree_of(mailbox.out()).size());
}

TEST(CliFetch, NothingIsWrittenOver)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(1)));
    ASSERT_EQ(0, ::mkdir(mailbox.out().c_str(), 0700));
    mailbox.folder.write("out/20260101-120000-uid-1", "mine");
    expect_silent_success(mailbox.fetch());
    const Tree tree = tree_of(mailbox.out());
    EXPECT_EQ("mine", tree.at("20260101-120000-uid-1"));
    EXPECT_EQ("text 1\n", tree.at("20260101-120000-uid-1-2/text-1.txt"));
}

TEST(CliFetch, OddUniqueIdsMakeNamesThatDiffer)
{
    Pop3Options options = mailbox_options({});
    for (const char* const uid : {"../a", "../b", ".._b", "%", "\"&'"})
        options.maildrop->add("Subject: x\r\n\r\n" + std::string(uid) + "\r\n", uid);
    const MailboxFixture mailbox(std::move(options));
    expect_silent_success(mailbox.fetch());
    const Tree tree = tree_of(mailbox.out());
    EXPECT_EQ("../a\n", tree.at("undated-.._a/text-1.txt"));
    EXPECT_EQ("../b\n", tree.at("undated-.._b/text-1.txt"));
    EXPECT_EQ(".._b\n", tree.at("undated-.._b-2/text-1.txt"));
    EXPECT_EQ(15u, tree.size());
    expect_silent_success(mailbox.fetch());
    EXPECT_EQ(15u, tree_of(mailbox.out()).size()) << "the list knows them all";
}

TEST(CliFetch, DeletesWhatIsWrittenAndNothingElse)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(3)));
    expect_silent_success(mailbox.fetch({"uid-2"}));
    EXPECT_EQ("uid-1 uid-2 uid-3", mailbox.on_server()) << "keeping is what happens unasked";
    mailbox.server.maildrop().add(small_mails(4)[3], "uid-4");
    expect_silent_success(mailbox.fetch({"--delete"}));
    EXPECT_EQ("uid-2", mailbox.on_server()) << "kept by the run that fetched it";
    EXPECT_EQ(12u, tree_of(mailbox.out()).size());
    expect_silent_success(mailbox.remove({"--fetched"}));
    EXPECT_EQ("", mailbox.on_server());
    expect_silent_success(mailbox.remove({"--fetched"}));
}

TEST(CliFetch, JsonTellsWhereTheMailsAre)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(1)));
    const CliResult result = mailbox.fetch({"--json", "--delete"});
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ("", result.err);
    EXPECT_EQ(0u, result.out.find("{\"command\":\"fetch\",\"status\":\"fetched\",\"exit_code\":0,\"mails\":["
                                  "{\"number\":1,\"unique_id\":\"uid-1\",\"size\":"))
        << result.out;
    const std::string path = std::filesystem::canonical(mailbox.out()).string() + "/20260101-120000-uid-1";
    EXPECT_TRUE(holds(result.out, "\"path\":\"" + path + "\",\"deleted\":true}]")) << result.out;
}

TEST(CliFetch, ThroughTheRunningService)
{
    const MailboxFixture mailbox(
        mailbox_options({multipart(attachment("filename=a", varied_octets(50000)))}));
    const Environment environment = {{"VELORIN_CHANNEL_DIR", mailbox.folder.path() + "/channel"}};
    CliProcess daemon(VELORIN_MAILD_PROGRAM, {"--config", mailbox.folder.write("maild.conf", "")}, "",
                      environment);
    ASSERT_TRUE(daemon.wait_for_error_text("ready", kSoon));
    expect_silent_success(run_cli(mailbox.state_arguments("fetch", {"--daemon"}), "", environment));
    expect_silent_success(run_cli(
        mailbox.state_arguments("fetch", {"--daemon", "--raw", "--all", "--delete"}), "", environment));
    const Tree tree = tree_of(mailbox.out());
    EXPECT_TRUE(varied_octets(50000) == tree.at("20260101-120000-uid-1/a"));
    EXPECT_EQ(1u, tree.count("mail-uid-1.eml"));
    EXPECT_EQ("", mailbox.on_server());
    daemon.send_signal(SIGTERM);
    EXPECT_EQ(0, daemon.wait(kSoon).exit_code);
}

TEST(CliFetch, TheConfigurationFileAndTheAccountsOwnList)
{
    const MailboxFixture mailbox(mailbox_options(small_mails(1)));
    const std::string config = mailbox.folder.write(
        "mail.conf",
        "server = smtp.example.invalid\nport = 587\nuser = me\npop-server = 127.0.0.1\npop-port = " +
            std::to_string(mailbox.server.port()) +
            "\npop-tls = none\npassword-file = " + mailbox.folder.path() + "/password\n");
    const std::vector<std::string> arguments = {"fetch", "--config", config, "--folder", mailbox.out()};
    const Environment environment = {{"XDG_STATE_HOME", mailbox.folder.path() + "/states"}};
    expect_silent_success(run_cli(arguments, "", environment));
    expect_silent_success(run_cli(arguments, "", environment));
    EXPECT_EQ(3u, tree_of(mailbox.out()).size());
    const Tree states = tree_of(mailbox.folder.path() + "/states");
    const std::string name = "velorin/me@127.0.0.1%3A" + std::to_string(mailbox.server.port());
    EXPECT_EQ(1u, states.count(name));
    EXPECT_EQ(3u, states.size()) << "folder, list, lock";
}

TEST(CliFetch, ALargeAttachmentTakesNoMemory)
{
    constexpr std::size_t kSize = 24u << 20;
    constexpr long kMostKib = 32 * 1024;
    MailboxFixture mailbox(mailbox_options({multipart(attachment("filename=big", varied_octets(kSize)))}));
    mailbox.server.add_rule(Rule(Step::kQuit).silence());
    CliProcess process(VELORIN_MAIL_PROGRAM, mailbox.state_arguments("fetch"));
    // All of its work is done when it says farewell.
    ASSERT_TRUE(mailbox.server.wait_for_command("QUIT", 50000));
    const long peak = process.peak_kib();
    process.send_signal(SIGKILL);
    process.wait(kSoon);
#if !defined(__SANITIZE_ADDRESS__)
    EXPECT_GT(peak, 0);
    EXPECT_LT(peak, kMostKib);
#else
    static_cast<void>(peak);
    static_cast<void>(kMostKib);
#endif
    EXPECT_TRUE(varied_octets(kSize) == tree_of(mailbox.out()).at("20260101-120000-uid-1/big"));
}

TEST(CliFetch, NothingIsLostBehindTheLastPartThatIsTakenApart)
{
    std::string mail = "Subject: many\r\nMIME-Version: 1.0\r\n"
                       "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
    for (int number = 1; number <= 1002; ++number)
        mail += "--b\r\nContent-Type: application/x; name=\"n" + std::to_string(number) +
                "\"\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
                base64_lines("octets of " + std::to_string(number)) + "\r\n";
    const MailboxFixture mailbox(mailbox_options({mail + "--b--\r\n"}));
    expect_silent_success(mailbox.fetch({"--delete"}));
    const std::string folder = mailbox.out() + "/undated-uid-1/";
    EXPECT_EQ("octets of 999", file_octets(folder + "n999"));
    const std::string rest = file_octets(folder + "n1000");
    for (const char* const number : {"1000", "1001", "1002"})
        EXPECT_NE(std::string::npos, rest.find(base64_lines(std::string("octets of ") + number))) << number;
    const std::string manifest = file_octets(folder + "mail.json");
    const std::size_t last = manifest.find("\"part\": \"1000\"");
    ASSERT_NE(std::string::npos, last);
    EXPECT_EQ(manifest.find("\"decoded\": false"), manifest.find("\"decoded\": false", last));
    EXPECT_NE(std::string::npos, manifest.find("\"decoded\": false", last));
}
