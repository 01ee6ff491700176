// Mails that cannot be sent as they are: one sentence, the right exit code, and no server is bothered.
#include <gtest/gtest.h>

#include "loopback_smtp.h"

#include "cli_process.h"
#include "send_support.h"
#include "temporary_folder.h"

using velorin_test::LoopbackSmtp;

TEST(CliBadInput, WhatIsWrongWithTheMailIsSaidBeforeConnecting)
{
    const TemporaryFolder folder;
    const LoopbackSmtp server;
    const std::string port = std::to_string(server.port());
    const std::string binary = folder.write("binary", std::string("a\0b", 3));
    const struct {
        const char* label;
        std::vector<std::string> more;
        int exit_code;
        const char* part;
    } cases[] = {
        {"no such file",
         {"--to", "c@d", "--text-string", "x", "--attach", "/nonexistent/a.pdf"},
         66,
         "attachment /nonexistent/a.pdf: the file cannot be read: No such file or directory"},
        {"no such text",
         {"--to", "c@d", "--text", "/nonexistent/text"},
         66,
         "text /nonexistent/text: the file cannot be read"},
        {"a folder",
         {"--to", "c@d", "--text-string", "x", "--attach", "/tmp"},
         66,
         "attachment /tmp: the file cannot be read: Is a directory"},
        {"a folder for a text",
         {"--to", "c@d", "--text", "/tmp"},
         66,
         "text /tmp: the file cannot be read: Is a directory"},
        {"no file of a known size",
         {"--to", "c@d", "--text-string", "x", "--attach", "/dev/null"},
         66,
         "attachment /dev/null: this is not a file whose size is known"},
        {"no @", {"--to", "you", "--text-string", "x"}, 65, "the address \"you\" of to has no \"@\""},
        {"line break in the subject",
         {"--to", "c@d", "--text-string", "x", "--subject", "a\r\nBcc: e@f"},
         65,
         "subject holds a line break"},
        {"subject that is no UTF-8",
         {"--to", "c@d", "--text-string", "x", "--subject", "\xE3\x81"},
         65,
         "subject is not UTF-8"},
        {"subject with a word that is cut short",
         {"--to", "c@d", "--text-string", "x", "--subject", "=?utf-8?B?YQ"},
         65,
         "subject holds an encoded word that is cut short"},
        {"name that is no UTF-8",
         {"--to", "\xFF <c@d>", "--text-string", "x"},
         65,
         "an address of to is not UTF-8"},
        {"name with a word that is cut short",
         {"--to", "=?utf-8?B?YQ <c@d>", "--text-string", "x"},
         65,
         "an address of to holds an encoded word that is cut short"},
        {"text that is no UTF-8",
         {"--to", "c@d", "--text-string", "a\n\xFF"},
         65,
         "--text-string, line 2: the text is not UTF-8"},
        {"file name that is no UTF-8",
         {"--to", "c@d", "--text-string", "x", "--attach", folder.write("\xFF.pdf", "x")},
         65,
         "the file's name is not UTF-8"},
        {"file name without a place in the set",
         {"--to", "c@d", "--text-string", "x", "--charset", "iso-8859-1", "--attach",
          folder.write("\xE3\x81\x82.pdf", "x")},
         65,
         "the file's name cannot be encoded, the character U+3042 has no place in iso-8859-1"},
        {"subject without a place in the set",
         {"--to", "c@d", "--text-string", "x", "--subject", "\xE3\x81\x82", "--charset", "us-ascii"},
         65,
         "subject cannot be encoded, the character U+3042 has no place in us-ascii"},
        {"name without a place in the set",
         {"--to", "\xE3\x81\x82 <c@d>", "--text-string", "x", "--charset", "iso-8859-2"},
         65,
         "of to cannot be encoded, the character U+3042 has no place in iso-8859-2"},
        {"only separators", {"--to", " ,; ,", "--text-string", "x"}, 65, "an address of to is empty"},
        {"only separators in a copy",
         {"--to", "c@d", "--bcc", ";", "--text-string", "x"},
         65,
         "an address of bcc is empty"},
        {"an empty item of a list",
         {"--to", "c@d", "--text-string", "x", "--refuse", "x.org,,y.org"},
         64,
         "refuse holds an empty item"},
        {"a blank item of a list",
         {"--to", "c@d", "--text-string", "x", "--permit", "d, "},
         64,
         "permit holds an empty item"},
        {"a blank in an item of a list",
         {"--to", "c@d", "--text-string", "x", "--permit", "d e"},
         64,
         "permit holds the item \"d e\" with a blank in it"},
        {"no recipient", {"--text-string", "x"}, 64, "no recipient"},
        {"character without a place",
         {"--to", "c@d", "--text-string", "a\n\xE2\x98\x83", "--charset", "iso-2022-jp"},
         65,
         "--text-string, line 2: the character U+2603 has no place in iso-2022-jp"},
        {"NUL", {"--to", "c@d", "--text", binary}, 65, "NUL"},
        {"charset", {"--to", "c@d", "--text-string", "x", "--charset", "koi8-r"}, 64, "charset must be"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        std::vector<std::string> arguments = {"send",      "--from", "a@b", "--server",
                                              "127.0.0.1", "--port", port};
        arguments.insert(arguments.end(), c.more.begin(), c.more.end());
        expect_failure(run_cli(arguments), c.exit_code, c.part);
    }
    expect_no_connection(server);
}
