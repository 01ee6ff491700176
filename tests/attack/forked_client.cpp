// An application that forks with a session under way. Its child uses the objects of that session and one of its own,
// and says what comes of it.
//   attack-forked send PORT          parent and child send a mail each; the parent goes on when the child has ended
//   attack-forked receive PORT       the same with a mail that is read and deleted
//   attack-forked orphan PORT        the child sends its mail when the parent has gone, which is left in mid mail
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "attack_mails.h"
#include "service_client.h"

namespace {

using velorin::CntsPOP3Boundary;
using velorin::CntsPOP3ReceiveMail;
using velorin::CntsSMTPBoundary;
using velorin::CntsSMTPSendMail;

constexpr unsigned kPatienceSeconds = 60;

bool in_child = false;

void tell(const char* operation, std::uint32_t code)
{
    std::printf("%s %s: %s\n", in_child ? "child" : "parent", operation, velorin_test::name_of(code).c_str());
    std::fflush(stdout);
}

// The child of a fork; the parent's streams and their ends are not its own to flush or run.
pid_t fork_child(const std::function<void()>& run)
{
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child != 0) return child;
    ::alarm(kPatienceSeconds);
    in_child = true;
    run();
    std::fflush(stdout);
    ::_exit(0);
}

bool ended_well(pid_t child)
{
    int status = -1;
    return child > 0 && ::waitpid(child, &status, 0) == child && status == 0;
}

void send_own(std::uint16_t port)
{
    CntsSMTPBoundary session(velorin_test::smtp_account(port));
    CntsSMTPSendMail mail;
    velorin_test::fill_mail(mail, "child");
    tell("Connect", session.Connect());
    tell("send", velorin_test::send_mail(session, mail, "the child's\r\n"));
}

void use_parents(std::unique_ptr<CntsSMTPBoundary>& session, CntsSMTPSendMail& mail)
{
    tell("JudgeSizeofData", session->JudgeSizeofData(1));
    velorin_test::queue(mail, "the child's words in the parent's mail\r\n");
    tell("SendBody", session->SendBody(mail));
    tell("Close", session->Close(mail));
    tell("Abort", session->Abort());
    tell("Connect", session->Connect());
    session.reset();  // what comes next may well lie in its place, and have its number
}

int send(std::uint16_t port)
{
    auto session = std::make_unique<CntsSMTPBoundary>(velorin_test::smtp_account(port));
    CntsSMTPSendMail mail;
    velorin_test::fill_mail(mail, "parent");
    if (session->Connect() != 0 || session->SendHeader(mail) != 0) return 1;
    velorin_test::queue(mail, "first half\r\n");
    if (session->SendBody(mail) != 0) return 1;
    const pid_t child = fork_child([&] {
        use_parents(session, mail);
        send_own(port);
    });
    if (!ended_well(child)) return 1;
    velorin_test::queue(mail, "second half\r\n");
    tell("SendBody", session->SendBody(mail));
    tell("Close", session->Close(mail));
    session.reset();
    std::printf("done\n");
    return 0;
}

void read_own(std::uint16_t port)
{
    CntsPOP3Boundary session(velorin_test::pop3_account(port));
    int count = -1;
    tell("Connect", session.Connect());
    tell("Stat", session.Stat(count));
    tell("Close", session.Close());
}

// The object outlives its session where the service does not know it.
void use_parents(std::unique_ptr<CntsPOP3Boundary>& session, CntsPOP3ReceiveMail& mail)
{
    int count = -1;
    tell("Stat", session->Stat(count));
    tell("ReceiveBody", session->ReceiveBody(mail));
    tell("Delete", session->Delete(mail));
    tell("Close", session->Close());
    tell("Connect", session->Connect());
    session.reset();
}

int receive(std::uint16_t port)
{
    auto session = std::make_unique<CntsPOP3Boundary>(velorin_test::pop3_account(port));
    velorin::CntsPOP3MailInfoList list(1);
    velorin::CntsPOP3MailInfo info;
    if (session->Connect() != 0 || session->ListNext(list, info) != 0) return 1;
    CntsPOP3ReceiveMail mail(info);
    if (session->ReceiveHeader(mail, 1) != 0 || session->ReceiveBody(mail) != 0) return 1;
    const std::size_t first = static_cast<std::size_t>(mail.GetPart()->m_nLength);
    const pid_t child = fork_child([&] {
        use_parents(session, mail);
        read_own(port);
    });
    if (!ended_well(child)) return 1;
    std::string rest;
    tell("ReceiveBody", velorin_test::read_body(*session, mail, rest));
    tell("Delete", session->Delete(mail));
    tell("Close", session->Close());
    session.reset();
    std::printf("done, %zu octets\n", first + rest.size());
    return 0;
}

int orphan(std::uint16_t port)
{
    CntsSMTPBoundary session(velorin_test::smtp_account(port));
    CntsSMTPSendMail mail;
    velorin_test::fill_mail(mail, "parent");
    int alive[2];
    if (::pipe(alive) != 0 || session.Connect() != 0 || session.SendHeader(mail) != 0) return 1;
    velorin_test::queue(mail, "half a mail\r\n");
    const pid_t child = fork_child([&] {
        ::close(alive[1]);
        tell("SendBody", session.SendBody(mail));
        char octet = 0;
        if (::read(alive[0], &octet, 1) == 0) send_own(port);  // the parent's end has gone with it
        tell("Abort", session.Abort());
        std::printf("done\n");
    });
    ::poll(nullptr, 0, static_cast<int>(kPatienceSeconds) * 1000);
    return child > 0 ? 3 : 1;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) return 2;
    const std::string way = argv[1];
    const auto port = static_cast<std::uint16_t>(std::atoi(argv[2]));
    if (way == "send") return send(port);
    if (way == "receive") return receive(port);
    return way == "orphan" ? orphan(port) : 2;
}
