// What a recording of exchanges shows.
#include <algorithm>

#include <gtest/gtest.h>

#include "loopback_smtp.h"

#include "cli_process.h"
#include "send_support.h"
#include "temporary_folder.h"

using velorin_test::LoopbackSmtp;
using velorin_test::SmtpOptions;

TEST(CliTrace, PrintsWhatWasRecordedAndNoSecret)
{
    const TemporaryFolder folder;
    SmtpOptions options;
    options.auth = {"PLAIN"};
    options.users = {{"me", "hunter2"}};
    const LoopbackSmtp server(options);
    const std::string capture = folder.path() + "/capture";
    expect_sent(run_cli(send_arguments(server.port(), {"--subject", "the subject", "--text-string",
                                                       "the body", "--tls", "none", "--user", "me",
                                                       "--password-file", folder.write("password", "hunter2"),
                                                       "--attach", folder.write("a.pdf", "attached")}),
                        "", {{"VELORIN_CAPTURE", capture}}));
    const CliResult text = run_cli({"trace", capture});
    EXPECT_EQ(0, text.exit_code) << text.err;
    for (const char* part :
         {"smtp create session: ok, ", "    server: 127.0.0.1\n", "    auth: auto\n", "    user: me\n",
          "smtp connect: ok, ", "smtp judge size: ok, ", "smtp send header: ok, ",
          "    from: me@example.com\n", "    to: you@example.com\n", "    subject: the subject\n",
          "smtp send body: ok, ", "    octets: 8\n", "smtp send part header: ok, ", "    file: a.pdf\n",
          "smtp send part body: ok, ", "smtp close: ok, ", "smtp destroy session: ok, "})
        EXPECT_NE(std::string::npos, text.out.find(part)) << part << "\n" << text.out;
    const CliResult json = run_cli({"trace", "--json", capture});
    EXPECT_EQ(0, json.exit_code) << json.err;
    EXPECT_NE(std::string::npos, json.out.find("\"method\":\"send header\",\"fields\":{\"session\":\""));
    EXPECT_EQ(std::count(json.out.begin(), json.out.end(), '\n'),
              std::count(json.out.begin(), json.out.end(), '{') / 2);
    for (const char* secret : {"hunter2", "the body", "YXR0YWNoZWQ"}) {
        EXPECT_EQ(std::string::npos, text.out.find(secret));
        EXPECT_EQ(std::string::npos, json.out.find(secret));
    }
}

TEST(CliTrace, SaysWhatIsWrongWithTheFile)
{
    const TemporaryFolder folder;
    const CliResult missing = run_cli({"trace", folder.path() + "/none"});
    EXPECT_EQ(66, missing.exit_code);
    EXPECT_NE("", missing.sentence()) << missing.err;
    expect_failure(run_cli({"trace", folder.path()}), 66,
                   "trace " + folder.path() + ": the file cannot be read: Is a directory");
    const CliResult garbage =
        run_cli({"trace", folder.write("garbage", "this is no recording at all, whatever its name")});
    EXPECT_EQ(65, garbage.exit_code);
    EXPECT_NE("", garbage.sentence()) << garbage.err;
    EXPECT_EQ(0, run_cli({"trace", folder.write("empty", "")}).exit_code);
}
