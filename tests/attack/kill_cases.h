// Each of the service's operations as the library calls it, with all that has to be before.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "attack_mails.h"
#include "loopback_pop3.h"
#include "loopback_smtp.h"

namespace velorin_test {

// One session of the library, a server of each kind, and the objects that the operations take.
struct KillScene {
    KillScene();

    LoopbackSmtp smtp;
    LoopbackPop3 pop3;
    std::unique_ptr<velorin::CntsSMTPBoundary> sending;
    std::unique_ptr<velorin::CntsPOP3Boundary> receiving;
    velorin::CntsSMTPSendMail mail;
    velorin::CntsPOP3MailInfoList list;
    std::unique_ptr<velorin::CntsPOP3ReceiveMail> received;
};

// The mails of the POP3 server: a text mail, a multipart one, and one that the session has marked where the
// operation is to commit or deletes.
std::vector<std::string> kill_scene_mails();

struct KillCase {
    const char* name;
    // Where the operation may begin; the first code that is not 0. With the rules that hold the server's answer
    // back when `held` is set.
    std::function<std::uint32_t(KillScene&, bool held)> prepare;
    std::function<std::uint32_t(KillScene&)> call;
    // Waits until a server is in the midst of it and silent; null where the operation asks no server anything.
    std::function<bool(KillScene&)> pending;
    bool delivers = false;       // the operation commits the mail
    bool deletes = false;        // the operation commits the deletion of the first mail
    bool has_code = true;        // false: a constructor, a destructor, or the one that gives an address
    bool makes_session = false;  // the constructor
    bool stalls = false;         // the server reads no more, so it does not see the service go either
};

const std::vector<KillCase>& kill_cases();

inline void PrintTo(const KillCase& one, std::ostream* out)
{
    *out << one.name;
}

}  // namespace velorin_test
