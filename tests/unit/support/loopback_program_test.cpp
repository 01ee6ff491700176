// The program as a whole: what it writes, what it serves, and every way in which it ends.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <unistd.h>

#include "loopback_auth.h"
#include "plain_client.h"
#include "temporary_folder.h"

namespace velorin_test {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int kSoonMs = 20000;

// A child process whose standard output and error go into a pipe, and which is ended with the object.
class Child {
public:
    explicit Child(const std::vector<std::string>& arguments)
    {
        int pipe_ends[2];
        if (pipe(pipe_ends) != 0) throw std::runtime_error("no pipe");
        pid_ = fork();
        if (pid_ == 0) {
            dup2(pipe_ends[1], STDOUT_FILENO);
            dup2(pipe_ends[1], STDERR_FILENO);
            close(pipe_ends[0]);
            close(pipe_ends[1]);
            std::vector<char*> pointers;
            for (const std::string& argument : arguments)
                pointers.push_back(const_cast<char*>(argument.c_str()));
            pointers.push_back(nullptr);
            execv(pointers[0], pointers.data());
            _exit(127);
        }
        close(pipe_ends[1]);
        output_ = pipe_ends[0];
    }
    ~Child()
    {
        if (!ended_) {
            kill(SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        close(output_);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t pid() const { return pid_; }
    void kill(int signal) const { ::kill(pid_, signal); }

    // What it printed until it ended, and behind it how: "(exit 0)". "(running)" when it does not end.
    std::string rest()
    {
        std::string text;
        for (;;) {
            pollfd watched = {output_, POLLIN, 0};
            if (poll(&watched, 1, kSoonMs) <= 0) return text + "(running)";
            char room[4096];
            const ssize_t size = read(output_, room, sizeof room);
            if (size <= 0) break;
            text.append(room, static_cast<std::size_t>(size));
        }
        int status = 0;
        waitpid(pid_, &status, 0);
        ended_ = true;
        if (WIFEXITED(status)) return text + "(exit " + std::to_string(WEXITSTATUS(status)) + ")";
        return text + "(signal " + std::to_string(WTERMSIG(status)) + ")";
    }

    // Until the file is there, or the program has ended.
    bool wait_for(const std::string& file) const
    {
        const int watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        inotify_add_watch(watch, std::filesystem::path(file).parent_path().c_str(), IN_MOVED_TO);
        bool there = false;
        while (!(there = std::filesystem::exists(file))) {
            pollfd watched[2] = {{watch, POLLIN, 0},
                                 {output_, 0, 0}};  // the latter: POLLHUP once it has ended
            if (poll(watched, 2, kSoonMs) <= 0 || watched[1].revents != 0) break;
            char events[4096];
            if (read(watch, events, sizeof events) < 0) break;
        }
        close(watch);
        return there;
    }

private:
    pid_t pid_;
    int output_;
    bool ended_ = false;
};

class LoopbackProgram : public testing::Test {
protected:
    std::vector<std::string> command(const std::vector<std::string>& more) const
    {
        std::vector<std::string> all = {LOOPBACK_MAILBOX, "--ports-file", ports_file(), "--lifetime", "60"};
        all.insert(all.end(), more.begin(), more.end());
        return all;
    }
    std::string ports_file() const { return folder_.path + "/ports"; }

    // A line of the ports file; "" when it is not there.
    std::string value(const std::string& name) const
    {
        std::ifstream file(ports_file());
        for (std::string line; std::getline(file, line);)
            if (line.compare(0, name.size() + 1, name + "=") == 0) return line.substr(name.size() + 1);
        return "";
    }
    std::uint16_t port(const std::string& name) const
    {
        return static_cast<std::uint16_t>(std::strtoul(value(name).c_str(), nullptr, 10));
    }

    TemporaryFolder folder_;
};

TEST_F(LoopbackProgram, KeepsMailsInAFolderAndShowsThemByPop3)
{
    Child child(command({"--folder", folder_.path + "/mails", "--user", "u", "--password", "p", "--auth",
                         "PLAIN", "--size-limit", "100", "--refuse", "no@example.org"}));
    ASSERT_TRUE(child.wait_for(ports_file()));
    PlainClient client(port("smtp_port"));
    EXPECT_EQ("220 localhost ESMTP ready", client.line());
    EXPECT_EQ("250-localhost|250-SIZE 100|250-8BITMIME|250 AUTH PLAIN", client.say("EHLO me"));
    EXPECT_EQ("235 2.7.0 welcome", client.say("AUTH PLAIN " + base64_encode(std::string_view("\0u\0p", 4))));
    client.say("MAIL FROM:<a@example.org>");
    EXPECT_EQ("550 5.1.1 no such mailbox", client.say("RCPT TO:<no@example.org>"));
    client.say("RCPT TO:<b@example.org>");
    client.say("DATA");
    EXPECT_EQ("250 2.0.0 taken", client.say("Subject: x\r\n\r\n..\r\n."));
    EXPECT_EQ("Subject: x\r\n\r\n.\r\n", file_content(folder_.path + "/mails/1.eml"));
    EXPECT_THAT(file_content(folder_.path + "/mails/1.json"),
                HasSubstr("\"recipients\": [\"b@example.org\"]"));

    PlainClient reader(port("pop3_port"));
    reader.line();
    reader.say("USER u");
    EXPECT_EQ("+OK welcome", reader.say("PASS p"));
    EXPECT_EQ("+OK 1 17", reader.say("STAT"));
    EXPECT_EQ("", value("smtps_port"));

    child.kill(SIGTERM);
    EXPECT_EQ("(exit 0)", child.rest());
}

TEST_F(LoopbackProgram, SpeaksTlsOnPortsOfItsOwn)
{
    const std::string ca_file = folder_.path + "/ca.pem";
    Child child(command({"--tls", "--ca-file", ca_file, "-v"}));
    ASSERT_TRUE(child.wait_for(ports_file()));
    EXPECT_EQ(ca_file, value("ca_file"));
    const std::string ca_pem = file_content(ca_file);
    PlainClient smtps(port("smtps_port"));
    ASSERT_EQ("", smtps.start_tls(ca_pem));
    EXPECT_EQ("220 localhost ESMTP ready", smtps.line());
    EXPECT_EQ("221 2.0.0 bye", smtps.say("QUIT"));
    PlainClient pop3s(port("pop3s_port"));
    ASSERT_EQ("", pop3s.start_tls(ca_pem));
    EXPECT_EQ("+OK localhost POP3 ready", pop3s.line());
    PlainClient smtp(port("smtp_port"));
    smtp.line();
    EXPECT_EQ("250-localhost|250-8BITMIME|250 STARTTLS", smtp.say("EHLO me"));
    EXPECT_EQ("220 2.0.0 begin", smtp.say("STARTTLS"));
    EXPECT_EQ("", smtp.start_tls(ca_pem));
    child.kill(SIGINT);
    EXPECT_THAT(
        child.rest(),
        HasSubstr("SMTP over TLS\nS: 220 localhost ESMTP ready\nC: QUIT\nS: 221 2.0.0 bye\n(quit)\n"));
}

TEST_F(LoopbackProgram, MisbehavesAsTold)
{
    Child child(command({"--rule", "ehlo reply 421 not today", "--rule", "noop close", "--pop3-rule",
                         "connect reset", "--tls", "--expired", "--ca-file", folder_.path + "/ca.pem"}));
    ASSERT_TRUE(child.wait_for(ports_file()));
    PlainClient client(port("smtp_port"));
    client.line();
    EXPECT_EQ("421 not today", client.say("EHLO me"));
    EXPECT_EQ("(end)", client.say("NOOP"));
    EXPECT_EQ("(reset)", PlainClient(port("pop3_port")).rest());
    PlainClient tls(port("smtps_port"));
    EXPECT_EQ("certificate has expired", tls.start_tls(file_content(folder_.path + "/ca.pem")));
}

TEST_F(LoopbackProgram, OffersWhatItIsTold)
{
    Child child(command({"--user", "u", "--password", "p", "--auth", "LOGIN,CRAM-MD5", "--auth-required",
                         "--apop", "--tls", "--tls-max", "1.2", "--pipelining", "--discard", "--ca-file",
                         folder_.path + "/ca.pem"}));
    ASSERT_TRUE(child.wait_for(ports_file()));
    PlainClient smtps(port("smtps_port"));
    ASSERT_EQ("", smtps.start_tls(file_content(folder_.path + "/ca.pem")));
    EXPECT_EQ("TLSv1.2", smtps.tls_version());
    smtps.line();
    EXPECT_EQ("250-localhost|250-8BITMIME|250-PIPELINING|250 AUTH LOGIN CRAM-MD5", smtps.say("EHLO me"));
    EXPECT_EQ("530 5.7.0 log in first", smtps.say("MAIL FROM:<a@b>"));
    PlainClient pop3(port("pop3_port"));
    EXPECT_THAT(pop3.line(), StartsWith("+OK localhost POP3 ready <"));

    Child plain({LOOPBACK_MAILBOX, "--ports-file", folder_.path + "/other", "--lifetime", "60", "--no-ehlo"});
    ASSERT_TRUE(plain.wait_for(folder_.path + "/other"));
    const std::string ports = file_content(folder_.path + "/other");
    ASSERT_THAT(ports, StartsWith("smtp_port="));
    PlainClient smtp(static_cast<std::uint16_t>(std::strtoul(ports.c_str() + 10, nullptr, 10)));
    smtp.line();
    EXPECT_EQ("502 5.5.1 EHLO is not known here", smtp.say("EHLO me"));
}

TEST_F(LoopbackProgram, KeepsNothingOfHalfAMail)
{
    Child child(command({"--folder", folder_.path + "/mails", "-v"}));
    ASSERT_TRUE(child.wait_for(ports_file()));
    {
        PlainClient client(port("smtp_port"));
        client.line();
        client.say("EHLO me");
        client.say("MAIL FROM:<a@b>");
        client.say("RCPT TO:<c@d>");
        EXPECT_EQ("354 go on, dot ends it", client.say("DATA"));
        EXPECT_TRUE(client.write("Subject: x\r\n\r\n."));
    }
    child.kill(SIGTERM);
    EXPECT_THAT(child.rest(),
                AnyOf(HasSubstr("(client closed)\n(exit 0)"), HasSubstr("(server stopped)\n(exit 0)")));
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path + "/mails"));
}

TEST_F(LoopbackProgram, ServesTheMailsOfAFolderByTheirNames)
{
    for (const char* const name : {"b.eml", "a.eml", "a.json"})
        std::ofstream(folder_.path + "/" + name, std::ios::binary) << "Subject: " << name << "\r\n\r\n.\n";
    Child child(command({"--mails", folder_.path, "--user", "u", "--password", "p"}));
    ASSERT_TRUE(child.wait_for(ports_file()));
    PlainClient client(port("pop3_port"));
    client.line();
    client.say("USER u");
    EXPECT_EQ("+OK welcome", client.say("PASS p"));
    EXPECT_EQ("+OK", client.say("UIDL"));
    for (const char* const line : {"1 a", "2 b", "."})
        EXPECT_EQ(line, client.line());
    EXPECT_EQ("+OK", client.say("RETR 2"));
    for (const char* const line : {"Subject: b.eml", "", "..", "", "."})  // the bare LF ends a line here
        EXPECT_EQ(line, client.line());
}

TEST_F(LoopbackProgram, EndsWhenItsTimeIsOver)
{
    Child child({LOOPBACK_MAILBOX, "--lifetime", "1"});
    EXPECT_EQ("(exit 0)", child.rest());
}

TEST_F(LoopbackProgram, EndsWithTheProcessItBelongsTo)
{
    Child owner({"/bin/sleep", "60"});
    Child child(command({"--parent-pid", std::to_string(owner.pid())}));
    ASSERT_TRUE(child.wait_for(ports_file()));
    owner.kill(SIGKILL);
    EXPECT_EQ("(signal 9)", owner.rest());
    EXPECT_EQ("(exit 0)", child.rest());
}

TEST_F(LoopbackProgram, SaysInOneLineWhatIsWrong)
{
    EXPECT_EQ("loopback-mailbox: rule \"rcpt vanish\": no such action: vanish\n(exit 1)",
              Child(command({"--rule", "rcpt vanish"})).rest());
    EXPECT_EQ("loopback-mailbox: " + folder_.path + "/no/such: No such file or directory\n(exit 1)",
              Child(command({"--folder", folder_.path + "/no/such"})).rest());
    EXPECT_EQ("loopback-mailbox: " + folder_.path + "/none: No such file or directory\n(exit 1)",
              Child(command({"--mails", folder_.path + "/none"})).rest());
    EXPECT_THAT(Child({LOOPBACK_MAILBOX, "--ports-file", folder_.path + "/no/such"}).rest(),
                StartsWith("loopback-mailbox: " + folder_.path + "/no/such: "));
    Child first(command({}));
    ASSERT_TRUE(first.wait_for(ports_file()));
    EXPECT_EQ("loopback-mailbox: loopback server: cannot take the port: Address already in use\n(exit 1)",
              Child({LOOPBACK_MAILBOX, "--smtp-port", value("smtp_port")}).rest());
}

}  // namespace
}  // namespace velorin_test
