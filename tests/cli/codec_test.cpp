// encode, decode and filter as a user runs them.
#include <gtest/gtest.h>
#include <unistd.h>

#include "loopback_smtp.h"

#include "cli_process.h"
#include "temporary_folder.h"

using velorin_test::LoopbackSmtp;

namespace {

constexpr const char* kNihon = "\xE6\x97\xA5\xE6\x9C\xAC";

struct RunCase {
    const char* label;
    std::vector<std::string> arguments;
    std::string input;
    int exit_code;
    std::string out;
    const char* sentence;  // a part of it; "": nothing is said
};

void expect_run(const RunCase& c)
{
    const CliResult result = run_cli(c.arguments, c.input);
    EXPECT_TRUE(result.in_time) << c.label;
    EXPECT_EQ(c.exit_code, result.exit_code) << c.label << ": " << result.err;
    EXPECT_EQ(c.out, result.out) << c.label;
    if (*c.sentence == '\0')
        EXPECT_EQ("", result.err) << c.label;
    else
        EXPECT_NE(std::string::npos, result.sentence().find(c.sentence)) << c.label << ": " << result.err;
}

}  // namespace

TEST(CliCodec, EncodesAndDecodes)
{
    const RunCase cases[] = {
        {"base64", {"encode", "base64"}, std::string("a\0\xFF", 3), 0, "YQD/\n", ""},
        {"base64, two lines",
         {"encode", "base64"},
         std::string(58, 'a'),
         0,
         "YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh\nYQ==\n",
         ""},
        {"base64 of nothing", {"encode", "base64"}, "", 0, "", ""},
        {"base64 back", {"decode", "base64", "-"}, "YQ\r\nD/*\n", 0, std::string("a\0\xFF", 3), ""},
        {"base64 cut short", {"decode", "base64"}, "YWJjZ", 65, "abc", "base64 text is cut short"},
        {"quoted-printable", {"encode", "quoted-printable"}, "a=b \n", 0, "a=3Db=20=0A=\n", ""},
        {"quoted-printable with a NUL",
         {"encode", "quoted-printable"},
         std::string("a\0b", 3),
         0,
         "a=\n=00=\nb=\n",
         ""},
        {"quoted-printable back",
         {"decode", "quoted-printable"},
         "a=3Db=20=\n..c\n..d",
         0,
         "a=b ..c\n.d",
         ""},
        {"words",
         {"encode", "words"},
         std::string(kNihon) + "\r\nplain\n\n=?utf-8?Q?a?=\n",
         0,
         "=?iso-2022-jp?B?GyRCRnxLXBsoQg==?=\nplain\n\n=?utf-8?Q?a?=\n",
         ""},
        {"words in a set",
         {"encode", "words", "--charset", "Shift_JIS"},
         std::string(kNihon) + "\n",
         0,
         "=?shift_jis?B?k/qWew==?=\n",
         ""},
        {"folded words",
         {"encode", "words", "--charset", "utf-8"},
         std::string(kNihon) + std::string(kNihon) + std::string(kNihon) + std::string(kNihon) + kNihon +
             kNihon + kNihon + kNihon + "\n",
         0,
         "=?utf-8?B?5pel5pys5pel5pys5pel5pys5pel5pys5pel5pys5pel5pys5pel5pys5pel?=\n\t=?utf-8?B?5pys?=\n",
         ""},
        {"words that are no UTF-8", {"encode", "words"}, "a\n\xFF\n", 65, "", "line 2 is not UTF-8"},
        {"words without a place",
         {"encode", "words", "--charset", "iso-8859-1"},
         kNihon,
         65,
         "",
         "line 1 cannot be encoded, the character U+65E5 has no place in iso-8859-1"},
        {"a word that is cut short",
         {"encode", "words"},
         "=?utf-8?B?YQ",
         65,
         "",
         "line 1 holds an encoded word"},
        {"words back",
         {"decode", "words"},
         "a =?ISO-2022-JP?B?GyRCRnwbKEI=?= =?iso-2022-jp?b?GyRCS1wbKEI=?=\n\tb =?utf-8?q?=E6=97?=\r\n "
         "=?UTF-8*ja?Q?=A5_.?=\n",
         0,
         "a " + std::string(kNihon) + "\n\tb \xE6\x97\xA5 .\n",
         ""},
        {"two dots of a word", {"decode", "words"}, "=?utf-8?Q?..=41?=", 0, "..A", ""},
        {"words that stay",
         {"decode", "words"},
         "=?koi8-r?B?YQ==?= =?utf-8?B?/w==?= =?utf-8?X?a?= =?utf-8?B?YQ==?= c",
         0,
         "=?koi8-r?B?YQ==?= =?utf-8?B?/w==?= =?utf-8?X?a?= a c",
         ""},
        {"line ends in a word", {"decode", "words"}, "=?utf-8?Q?a=0D=0Ab=00c?=", 0, "a  b c", ""},
        {"a cut word",
         {"decode", "words"},
         "=?utf-8?B?YQ==\n=?utf-8?B?YQ==?=\n",
         65,
         "=?utf-8?B?YQ==\na\n",
         "an encoded word is cut short, it stays as it is"},
        {"a set",
         {"encode", "charset", "--charset", "iso-2022-jp"},
         std::string(kNihon) + "\n",
         0,
         "\x1B$BF|K\\\x1B(B\n",
         ""},
        {"a set back",
         {"decode", "charset", "--charset", "iso-2022-jp"},
         "\x1B$BF|K\\\x1B(B\n",
         0,
         std::string(kNihon) + "\n",
         ""},
        {"no place in a set",
         {"encode", "charset", "--charset", "iso-8859-1"},
         "a\n" + std::string(kNihon),
         65,
         "",
         "line 2: the character U+65E5 has no place in iso-8859-1"},
        {"not of the set",
         {"decode", "charset", "--charset", "shift_jis"},
         "\x81",
         65,
         "",
         "the text is not shift_jis"},
        {"not UTF-8",
         {"encode", "charset", "--charset", "shift_jis"},
         "\xFF",
         65,
         "",
         "the text is not UTF-8"},
        {"a NUL",
         {"encode", "charset", "--charset", "shift_jis"},
         std::string("a\0b", 3),
         65,
         "",
         "holds a NUL"},
        {"no kind", {"encode"}, "", 64, "", "KIND is required"},
        {"unknown kind", {"decode", "rot13"}, "", 64, "", "KIND"},
        {"unknown set", {"encode", "words", "--charset", "koi8-r"}, "", 64, "", "charset must be"},
        {"set of base64",
         {"decode", "base64", "--charset", "utf-8"},
         "",
         64,
         "",
         "says nothing about base64"},
        {"no set", {"decode", "charset"}, "", 64, "", "give --charset SET"},
        {"no file", {"encode", "base64", "/no/such/file"}, "", 66, "", "the file cannot be read"},
        {"a folder", {"encode", "base64", "/"}, "", 66, "", "/: the file cannot be read: Is a directory"},
    };
    for (const RunCase& c : cases)
        expect_run(c);
}

// The instrumented builds need memory of their own.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(CliCodec, ReadsFilesWithFlatMemory)
{
    const TemporaryFolder folder;
    const std::string file = folder.write("large", "");
    ASSERT_EQ(0, ::truncate(file.c_str(), off_t{32} << 20));
    for (const char* const kind : {"base64", "quoted-printable"}) {
        for (const char* const command : {"encode", "decode"}) {
            CliProcess process("/bin/sh", {"-c", "ulimit -d 16384; exec \"$0\" \"$@\" >/dev/null",
                                           VELORIN_MAIL_PROGRAM, command, kind, file});
            const CliResult result = process.wait(60000);
            EXPECT_EQ(0, result.exit_code) << command << " " << kind << ": " << result.err;
        }
    }
    // The limit is one: a text that is converted as a whole does not fit into it.
    CliProcess process(
        "/bin/sh",
        {"-c", "ulimit -d 16384; tr '\\0' a <\"$1\" | head -c 16000000 | \"$0\" decode words >/dev/null",
         VELORIN_MAIL_PROGRAM, file});
    EXPECT_EQ(71, process.wait(60000).exit_code);
}
#endif

TEST(CliCodec, AFullDiskIsTold)
{
    CliProcess process("/bin/sh", {"-c", "exec \"$0\" encode base64 >/dev/full", VELORIN_MAIL_PROGRAM},
                       "abc");
    const CliResult result = process.wait(30000);
    EXPECT_EQ(74, result.exit_code);
    EXPECT_NE(std::string::npos, result.sentence().find("cannot write to standard output")) << result.err;
}

TEST(CliFilter, TellsWhichAddressesMayBeWrittenTo)
{
    const RunCase cases[] = {
        {"a permit list",
         {"filter", "--permit", "Example.com, b@x.org", "\"N, M\" <a@EXAMPLE.com>; b@X.org"},
         "",
         0,
         "\"N, M\" <a@EXAMPLE.com>\nb@X.org\n",
         ""},
        {"some refused",
         {"filter", "--permit", "example.com", "a@sub.example.com", "a@example.com, c@d"},
         "",
         77,
         "a@example.com\n",
         "\"a@sub.example.com\" is not on the list permit, and 1 more"},
        {"a refuse list",
         {"filter", "--refuse", "b@x.org;d", "b@x.org", "c@x.org"},
         "",
         77,
         "c@x.org\n",
         "\"b@x.org\" is on the list refuse"},
        {"lines", {"filter", "--refuse", "d"}, "a@b\r\n\nc@e, <f@g>", 0, "a@b\nc@e\n<f@g>\n", ""},
        {"only separators", {"filter", "--refuse", "d", " ,; ,"}, "", 65, "", "there is no address"},
        {"nothing", {"filter", "--refuse", "d"}, "", 65, "", "there is no address"},
        {"no list", {"filter", "a@b"}, "", 64, "", "no list"},
        {"both lists",
         {"filter", "--permit", "a", "--refuse", "b", "a@b"},
         "",
         64,
         "",
         "cannot be given together"},
        {"an empty item", {"filter", "--refuse", "a,,b", "a@b"}, "", 64, "", "refuse holds an empty item"},
        {"an empty list", {"filter", "--permit", "", "a@b"}, "", 64, "", "permit holds an empty item"},
        {"a blank item", {"filter", "--permit", "a, ,b", "a@b"}, "", 64, "", "permit holds an empty item"},
        {"a blank in an item",
         {"filter", "--permit", "a b", "a@b"},
         "",
         64,
         "",
         "\"a b\" with a blank in it"},
        {"not US-ASCII", {"filter", "--permit", "\xC3\xA9.fr", "a@b"}, "", 64, "", "which is not US-ASCII"},
        {"a NUL", {"filter", "--refuse", "a"}, std::string("a\0", 2), 65, "", "holds a NUL"},
    };
    for (const RunCase& c : cases)
        expect_run(c);
}

TEST(CliFilter, SendRefusesBeforeItConnects)
{
    const TemporaryFolder folder;
    const LoopbackSmtp server;
    const std::string permit = folder.write("permit", "permit = example.com, boss@example.org\n");
    const std::string wrong = folder.write("wrong", "refuse = example.com,\n");
    const auto send = [&](const std::string& config, const std::vector<std::string>& more) {
        std::vector<std::string> arguments =
            send_arguments(server.port(), {"--subject", "s", "--config", config});
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run_cli(arguments, "x\n");
    };
    for (const char* const field : {"--to", "--cc", "--bcc"}) {
        const CliResult refused = send(permit, {field, "a@example.com, \"B, C\" <b@example.org>"});
        EXPECT_EQ(77, refused.exit_code) << field;
        EXPECT_NE(std::string::npos, refused.sentence().find("\"b@example.org\" is not on the list permit"))
            << refused.err;
    }
    const CliResult mistyped = send(wrong, {"--to", "a@b"});
    EXPECT_EQ(78, mistyped.exit_code) << mistyped.err;
    EXPECT_NE(std::string::npos, mistyped.sentence().find("refuse holds an empty item")) << mistyped.err;
    EXPECT_EQ(0u, server.conversations().size());

    // Only recipients count, and the command line takes the place of either list of the file.
    EXPECT_EQ(0, send(permit, {"--to", "Boss <BOSS@example.org>", "--reply-to", "r@elsewhere"}).exit_code);
    EXPECT_EQ(0, send(permit, {"--to", "b@example.org", "--refuse", "example.net"}).exit_code);
    EXPECT_EQ(2u, server.conversations().size());
}
