// An application of the library: it sends or receives through the running service, over and over, and says what it
// knows of each mail on standard output, a line at a time.
//   attack-client send PORT PREFIX COUNT     begun ID, then sent ID once the service has confirmed it
//   attack-client receive PORT COUNT         whole UID or broken UID for each mail read; asked UID before each
//                                            deletion; closed NUMBER once the service has confirmed the session's deletions
// COUNT sessions that ended well, 0: until it is ended. "up" comes first; "slowest MS" last, of one operation. A session
// that fails is followed by another one.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <poll.h>
#include <unistd.h>

#include "attack_mails.h"
#include "kept_promises.h"
#include "return_codes.h"

namespace {

using velorin_test::body_of;
using velorin_test::kDropPrefix;
using Clock = std::chrono::steady_clock;

constexpr int kPause = 2;  // milliseconds; the service may be on its way

Clock::duration slowest{};

// Whole, whenever this process ends.
void say(const std::string& line)
{
    const std::string text = line + "\n";
    if (::write(STDOUT_FILENO, text.data(), text.size()) < 0) std::exit(1);
}

// Runs one operation and keeps how long the slowest has taken.
template <typename Operation>
std::uint32_t timed(Operation operation)
{
    const Clock::time_point begin = Clock::now();
    const std::uint32_t code = operation();
    slowest = std::max(slowest, Clock::now() - begin);
    return code;
}

bool send_one(const velorin::CntsSMTPSettings& account, const std::string& id)
{
    velorin::CntsSMTPBoundary session(account);
    velorin::CntsSMTPSendMail mail;
    velorin_test::fill_mail(mail, id);
    if (timed([&] { return session.Connect(); }) != 0) return false;
    say("begun " + id);
    if (timed([&] { return velorin_test::send_mail(session, mail, body_of(id)); }) != 0) return false;
    say("sent " + id);
    return true;
}

bool read_one(velorin::CntsPOP3Boundary& session, const velorin::CntsPOP3MailInfo& info)
{
    const std::string uid = info.m_cUniqId.GetString();
    velorin::CntsPOP3ReceiveMail mail(info);
    std::string body;
    if (timed([&] { return session.ReceiveHeader(mail, 1); }) != 0) return false;
    if (timed([&] { return velorin_test::read_body(session, mail, body); }) != 0) return false;
    say((body == body_of(uid) ? "whole " : "broken ") + uid);
    if (uid.compare(0, sizeof kDropPrefix - 1, kDropPrefix) != 0) return true;
    say("asked " + uid);
    return timed([&] { return session.Delete(mail); }) == 0;
}

bool receive_all(const velorin::CntsPOP3Settings& account)
{
    velorin::CntsPOP3Boundary session(account);
    velorin::CntsPOP3MailInfoList list(1);
    velorin::CntsPOP3MailInfo info;
    std::uint32_t code = timed([&] { return session.Connect(); });
    while (code == 0 && (code = timed([&] { return session.ListNext(list, info); })) == 0)
        if (!read_one(session, info)) return false;
    if (code != velorin::service::kNoMoreMail) return false;
    if (timed([&] { return session.Close(); }) != 0) return false;
    static long count = 0;
    say("closed " + std::to_string(++count));
    return true;
}

template <typename Session>
void repeat(long count, Session session)
{
    for (long done = 0, number = 0; count == 0 || done < count; ++number) {
        if (session(number))
            ++done;
        else
            ::poll(nullptr, 0, kPause);
    }
    say("slowest " + std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(slowest).count()));
}

}  // namespace

int main(int argc, char** argv)
{
    const std::string way = argc > 1 ? argv[1] : "";
    if (!(way == "send" && argc == 5) && !(way == "receive" && argc == 4)) return 2;
    const auto port = static_cast<std::uint16_t>(std::atoi(argv[2]));
    say("up");
    if (way == "send") {
        const velorin::CntsSMTPSettings account = velorin_test::smtp_account(port);
        const std::string prefix = argv[3];
        repeat(std::atol(argv[4]), [&](long number) {
            return send_one(account, prefix + std::to_string(number) + "@example.com");
        });
    } else {
        const velorin::CntsPOP3Settings account = velorin_test::pop3_account(port);
        repeat(std::atol(argv[3]), [&](long) { return receive_all(account); });
    }
    return 0;
}
