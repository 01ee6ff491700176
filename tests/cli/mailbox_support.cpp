#include "mailbox_support.h"

#include <cstdint>
#include <memory>

#include <gtest/gtest.h>
#include <unistd.h>

#include "CntsMLUTLMimeUtility.h"
#include "CutlCPLBOSBoundary.h"

using velorin_test::Maildrop;
using velorin_test::Pop3Options;

namespace {

std::filesystem::path place_in_memory()
{
    const char* const place = "/dev/shm";
    return ::access(place, W_OK | X_OK) == 0 ? place : std::filesystem::temp_directory_path();
}

}  // namespace

Pop3Options mailbox_options(const std::vector<std::string>& mails)
{
    Pop3Options options;
    options.users = {{"me", "right"}};
    options.maildrop = std::make_shared<Maildrop>();
    for (std::size_t index = 0; index < mails.size(); ++index)
        options.maildrop->add(mails[index], "uid-" + std::to_string(index + 1));
    return options;
}

std::vector<std::string> small_mails(std::size_t count)
{
    std::vector<std::string> mails;
    for (std::size_t number = 1; number <= count; ++number)
        mails.push_back("Subject: mail " + std::to_string(number) +
                        "\r\nDate: Thu, 01 Jan 2026 12:00:00 +0000\r\n\r\ntext " + std::to_string(number) +
                        "\r\n");
    return mails;
}

std::string varied_octets(std::size_t size)
{
    std::string octets(size, '\0');
    std::uint32_t state = 0x9E3779B9u;
    for (char& octet : octets) {
        state = state * 1664525u + 1013904223u;
        octet = static_cast<char>(state >> 24);
    }
    return octets;
}

std::string base64_lines(const std::string& octets)
{
    char* text = nullptr;
    long length = 0;
    EXPECT_EQ(1, velorin::CntsMLUTLMimeUtility::ToB64(octets.data(), static_cast<long>(octets.size()), text,
                                                      length, 76));
    const std::string lines(text, static_cast<std::size_t>(length));
    CutlCPLBOSBoundary::MemFree(text);
    return lines;
}

MailboxFixture::MailboxFixture(Pop3Options options)
    : server(std::move(options)), folder(place_in_memory()), password_(folder.write("password", "right\n"))
{
}

std::vector<std::string> MailboxFixture::arguments(const std::string& command,
                                                   std::vector<std::string> more) const
{
    std::vector<std::string> words = {
        command,  "--server", "127.0.0.1",       "--port", std::to_string(server.port()), "--tls", "none",
        "--user", "me",       "--password-file", password_};
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

std::vector<std::string> MailboxFixture::state_arguments(const std::string& command,
                                                         std::vector<std::string> more) const
{
    more.insert(more.begin(), {"--state", state()});
    if (command == "fetch") more.insert(more.begin(), {"--folder", out()});
    return arguments(command, more);
}

CliResult MailboxFixture::list(std::vector<std::string> more) const
{
    return run_cli(arguments("list", std::move(more)), "", {{"TZ", "UTC"}});
}

CliResult MailboxFixture::fetch(std::vector<std::string> more) const
{
    return run_cli(state_arguments("fetch", std::move(more)));
}

CliResult MailboxFixture::remove(std::vector<std::string> more) const
{
    return run_cli(state_arguments("delete", std::move(more)));
}

std::string MailboxFixture::on_server() const
{
    std::string uids;
    for (const Maildrop::Mail& mail : server.maildrop().mails())
        uids += (uids.empty() ? "" : " ") + mail.uid;
    return uids;
}

void expect_silent_success(const CliResult& result)
{
    EXPECT_TRUE(result.in_time);
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ("", result.err);
    EXPECT_EQ("", result.out);
}

void expect_one_sentence(const CliResult& result, int exit_code, const std::string& part)
{
    EXPECT_TRUE(result.in_time);
    EXPECT_EQ(exit_code, result.exit_code) << result.err;
    EXPECT_NE("", result.sentence()) << result.err;
    EXPECT_NE(std::string::npos, result.sentence().find(part)) << result.err;
}
