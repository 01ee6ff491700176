#include "send_support.h"

#include <vector>

#include <gtest/gtest.h>

using velorin_test::LoopbackMail;
using velorin_test::LoopbackSmtp;

LoopbackMail only_mail(const LoopbackSmtp& server)
{
    EXPECT_TRUE(server.wait_for_mail(1, kSoon));
    const std::vector<LoopbackMail> mails = server.mails();
    EXPECT_EQ(1u, mails.size());
    return mails.empty() ? LoopbackMail() : mails.back();
}

void expect_sent(const CliResult& result)
{
    EXPECT_TRUE(result.in_time);
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ("", result.err);
}

void expect_failure(const CliResult& result, int exit_code, const std::string& part)
{
    EXPECT_TRUE(result.in_time);
    EXPECT_EQ(exit_code, result.exit_code) << result.err;
    EXPECT_NE("", result.sentence()) << result.err;
    EXPECT_NE(std::string::npos, result.sentence().find(part)) << result.err;
    EXPECT_EQ("", result.out);
}

void expect_no_connection(const LoopbackSmtp& server)
{
    EXPECT_TRUE(server.conversations().empty());
}
