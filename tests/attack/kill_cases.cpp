#include "kill_cases.h"

#include "attacked_daemon.h"
#include "service_client.h"

namespace velorin_test {
namespace {

using velorin::CntsPOP3MailInfo;
using velorin::CntsPOP3ReceiveMail;

// More than the sockets between service and server hold.
constexpr std::size_t kMuch = 24u << 20;

Pop3Options pop3_options()
{
    Pop3Options options;
    options.users = {{kUser, kPassword}};
    options.maildrop = std::make_shared<Maildrop>();
    int number = 0;
    for (const std::string& octets : kill_scene_mails())
        options.maildrop->add(octets, "uid-" + std::to_string(++number));
    return options;
}

// What a server has said of a mail when it falls silent.
std::string begun(const std::string& octets, const std::string& up_to)
{
    return "+OK\r\n" + octets.substr(0, octets.find(up_to) + up_to.size());
}

// --- sending, step by step ---

std::uint32_t smtp_created(KillScene& scene)
{
    scene.sending = std::make_unique<velorin::CntsSMTPBoundary>(smtp_account(scene.smtp.port()));
    return 0;
}

std::uint32_t smtp_connected(KillScene& scene)
{
    smtp_created(scene);
    return scene.sending->Connect();
}

std::uint32_t header_sent(KillScene& scene)
{
    const std::uint32_t code = smtp_connected(scene);
    return code != 0 ? code : scene.sending->SendHeader(scene.mail);
}

std::uint32_t body_sent(KillScene& scene)
{
    const std::uint32_t code = header_sent(scene);
    if (code != 0) return code;
    queue(scene.mail, "the body\r\n");
    return scene.sending->SendBody(scene.mail);
}

std::uint32_t multipart_begun(KillScene& scene)
{
    fill_multipart(scene.mail, "multipart@example.com");
    return body_sent(scene);
}

std::uint32_t part_header_sent(KillScene& scene)
{
    const std::uint32_t code = multipart_begun(scene);
    return code != 0 ? code : scene.sending->SendPartHeader(scene.mail);
}

// --- receiving ---

std::uint32_t pop3_created(KillScene& scene)
{
    scene.receiving = std::make_unique<velorin::CntsPOP3Boundary>(pop3_account(scene.pop3.port()));
    return 0;
}

std::uint32_t pop3_connected(KillScene& scene)
{
    pop3_created(scene);
    return scene.receiving->Connect();
}

void mean(KillScene& scene, int number)
{
    const std::string uid = "uid-" + std::to_string(number);
    const CntsPOP3MailInfo info(number, uid.c_str(), 100, CntsPOP3MailInfo::eStatusRegistered);
    scene.received = std::make_unique<CntsPOP3ReceiveMail>(info);
}

std::uint32_t mail_meant(KillScene& scene, int number)
{
    const std::uint32_t code = pop3_connected(scene);
    mean(scene, number);
    return code;
}

// A mail's header received; the server falls silent behind `up_to` of it when `held` is set.
std::uint32_t mail_begun(KillScene& scene, int number, bool held, const std::string& up_to)
{
    const std::string octets = kill_scene_mails()[static_cast<std::size_t>(number) - 1];
    if (held) scene.pop3.add_rule(Rule(Step::kRetr).reply_octets(begun(octets, up_to)));
    const std::uint32_t code = mail_meant(scene, number);
    return code != 0 ? code : scene.receiving->ReceiveHeader(*scene.received, 1);
}

std::uint32_t part_begun(KillScene& scene, bool held)
{
    const std::uint32_t code = mail_begun(scene, 2, held, "the first part");
    return code != 0 ? code : scene.receiving->ReceivePartHeader(*scene.received, 1);
}

std::uint32_t first_marked(KillScene& scene)
{
    const std::uint32_t code = mail_meant(scene, 1);
    return code != 0 ? code : scene.receiving->Delete(*scene.received);
}

std::uint32_t first_to_be_removed(KillScene& scene)
{
    const std::uint32_t code = pop3_connected(scene);
    scene.list.AddMailInfo(new CntsPOP3MailInfo(1, "uid-1", 100, CntsPOP3MailInfo::eStatusToRemove), 1);
    return code;
}

// --- making the cases ---

using Prepare = std::uint32_t (*)(KillScene&);

// The server does not answer the next such command when `held` is set.
template <typename Server>
std::function<std::uint32_t(KillScene&, bool)> silent_at(Server KillScene::*server, Step step,
                                                         Prepare prepare)
{
    return [=](KillScene& scene, bool held) {
        if (held) (scene.*server).add_rule(Rule(step).reply_octets("").silence());
        return prepare(scene);
    };
}

template <typename Server>
std::function<bool(KillScene&)> command(Server KillScene::*server, const char* text)
{
    return [=](KillScene& scene) { return (scene.*server).wait_for_command(text, kPatience); };
}

// The server reads no more of a mail after that many octets.
std::function<std::uint32_t(KillScene&, bool)> stalled_after(std::uint64_t octets, Prepare prepare)
{
    return [=](KillScene& scene, bool held) {
        if (held) scene.smtp.add_rule(Rule(Step::kBody).after(octets).stall());
        const std::uint32_t code = prepare(scene);
        velorin::CntsMLUTLMailPart* const part = scene.mail.m_pPart;
        queue(part != nullptr ? *part : scene.mail, std::string(held ? kMuch : 10, 'x'));
        return code;
    };
}

std::function<bool(KillScene&)> octets_taken(std::uint64_t octets)
{
    return [=](KillScene& scene) { return scene.smtp.wait_for_octets(octets, kPatience); };
}

std::function<std::uint32_t(KillScene&, bool)> simply(Prepare prepare)
{
    return [=](KillScene& scene, bool) { return prepare(scene); };
}

// The request is read, and the server has said all that it says.
bool already(KillScene&)
{
    return true;
}

#define NTC_SENDING(call) [](KillScene& s) -> std::uint32_t { return s.sending->call; }
#define NTC_RECEIVING(call) [](KillScene& s) -> std::uint32_t { return s.receiving->call; }

std::vector<KillCase> sending_cases()
{
    const auto smtp = &KillScene::smtp;
    std::vector<KillCase> cases = {
        {"SmtpCreateInstance", simply([](KillScene&) -> std::uint32_t { return 0; }), smtp_created, nullptr},
        {"SmtpTest", silent_at(smtp, Step::kEhlo, smtp_created), NTC_SENDING(Test()), command(smtp, "EHLO")},
        {"SmtpConnect", silent_at(smtp, Step::kEhlo, smtp_created), NTC_SENDING(Connect()),
         command(smtp, "EHLO")},
        {"SmtpJudgeSizeOfData", simply(smtp_connected), NTC_SENDING(JudgeSizeofData(1000)), nullptr},
        {"SmtpSendHeader", silent_at(smtp, Step::kMail, smtp_connected), NTC_SENDING(SendHeader(s.mail)),
         command(smtp, "MAIL")},
        {"SmtpSendBody", stalled_after(10000, header_sent), NTC_SENDING(SendBody(s.mail)),
         octets_taken(10000)},
        {"SmtpSendPartHeader", simply(multipart_begun), NTC_SENDING(SendPartHeader(s.mail)), nullptr},
        {"SmtpSendPartBody", stalled_after(10000, part_header_sent), NTC_SENDING(SendPartBody(s.mail)),
         octets_taken(10000)},
        {"SmtpClose", silent_at(smtp, Step::kDot, body_sent), NTC_SENDING(Close(s.mail)),
         [](KillScene& scene) { return scene.smtp.wait_for_mail(1, kPatience); }},
        {"SmtpAbort", simply(body_sent), NTC_SENDING(Abort()), nullptr},
        {"SmtpDestroyInstance", silent_at(smtp, Step::kQuit, smtp_connected),
         [](KillScene& s) -> std::uint32_t { return s.sending.reset(), 0; }, command(smtp, "QUIT")},
    };
    cases.front().makes_session = true;
    cases.front().has_code = cases.back().has_code = false;
    cases[5].stalls = cases[7].stalls = true;  // SmtpSendBody, SmtpSendPartBody
    cases[8].delivers = true;                  // SmtpClose
    return cases;
}

std::vector<KillCase> receiving_cases()
{
    const auto pop3 = &KillScene::pop3;
    std::vector<KillCase> cases = {
        {"Pop3CreateInstance", simply([](KillScene&) -> std::uint32_t { return 0; }), pop3_created, nullptr},
        {"Pop3Test", silent_at(pop3, Step::kPass, pop3_created), NTC_RECEIVING(Test()),
         command(pop3, "PASS")},
        {"Pop3Connect", silent_at(pop3, Step::kPass, pop3_created), NTC_RECEIVING(Connect()),
         command(pop3, "PASS")},
        {"Pop3Stat", silent_at(pop3, Step::kStat, pop3_connected),
         [](KillScene& s) -> std::uint32_t {
             int count = 0;
             return s.receiving->Stat(count);
         },
         command(pop3, "STAT")},
        {"Pop3List", silent_at(pop3, Step::kUidl, pop3_connected), NTC_RECEIVING(List(s.list, 0)),
         command(pop3, "UIDL")},
        {"Pop3ListNext", silent_at(pop3, Step::kUidl, pop3_connected),
         [](KillScene& s) -> std::uint32_t {
             CntsPOP3MailInfo info;
             return s.receiving->ListNext(s.list, info);
         },
         command(pop3, "UIDL")},
        {"Pop3ReceiveHeader",
         silent_at(pop3, Step::kRetr, [](KillScene& scene) { return mail_meant(scene, 1); }),
         NTC_RECEIVING(ReceiveHeader(*s.received, 1)), command(pop3, "RETR")},
        {"Pop3ReceiveHeaderOnly",
         silent_at(pop3, Step::kTop, [](KillScene& scene) { return mail_meant(scene, 1); }),
         NTC_RECEIVING(ReceiveHeaderOnly(*s.received, 1)), command(pop3, "TOP")},
        {"Pop3ReceiveBody", [](KillScene& scene, bool held) { return mail_begun(scene, 1, held, "a text"); },
         NTC_RECEIVING(ReceiveBody(*s.received)), already},
        {"Pop3ReceivePartHeader",
         [](KillScene& scene, bool held) { return mail_begun(scene, 2, held, "preamble"); },
         NTC_RECEIVING(ReceivePartHeader(*s.received, 1)), already},
        {"Pop3ReceivePartBody", part_begun, NTC_RECEIVING(ReceivePartBody(*s.received)), already},
        {"Pop3SkipPart", part_begun, NTC_RECEIVING(SkipPart(*s.received)), already},
        {"Pop3SkipMail", part_begun, NTC_RECEIVING(SkipMail(*s.received)), already},
        {"Pop3Delete", silent_at(pop3, Step::kDele, [](KillScene& scene) { return mail_meant(scene, 1); }),
         NTC_RECEIVING(Delete(*s.received)), command(pop3, "DELE")},
        {"Pop3DeleteByUid", silent_at(pop3, Step::kDele, first_to_be_removed),
         [](KillScene& s) -> std::uint32_t {
             mean(s, 1);
             return s.receiving->DeleteByUID(s.list, *s.received);
         },
         command(pop3, "DELE")},
        {"Pop3Noop", silent_at(pop3, Step::kNoop, pop3_connected), NTC_RECEIVING(Noop()),
         command(pop3, "NOOP")},
        {"Pop3RefMailAddress", simply(pop3_connected),
         [](KillScene& s) -> std::uint32_t { return s.receiving->RefMailAddress(), 0; }, nullptr},
        {"Pop3Close", silent_at(pop3, Step::kQuit, first_marked), NTC_RECEIVING(Close()),
         command(pop3, "QUIT")},
        {"Pop3DestroyInstance", silent_at(pop3, Step::kQuit, pop3_connected),
         [](KillScene& s) -> std::uint32_t { return s.receiving.reset(), 0; }, command(pop3, "QUIT")},
    };
    cases.front().makes_session = true;
    cases.front().has_code = cases.back().has_code = false;
    cases[16].has_code = false;  // Pop3RefMailAddress
    cases[17].deletes = true;    // Pop3Close
    return cases;
}

}  // namespace

std::vector<std::string> kill_scene_mails()
{
    return {"Subject: text\r\n\r\na text\r\nof two lines\r\n",
            "Subject: parts\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
            "preamble\r\n--b\r\n\r\nthe first part\r\nof two lines\r\n--b\r\n\r\nthe second\r\n--b--\r\n",
            "Subject: another\r\n\r\nanother text\r\n"};
}

KillScene::KillScene() : pop3(pop3_options()), list(100)
{
    fill_mail(mail, "plain@example.com");
}

const std::vector<KillCase>& kill_cases()
{
    static const std::vector<KillCase> cases = [] {
        std::vector<KillCase> all = sending_cases();
        for (KillCase& one : receiving_cases())
            all.push_back(std::move(one));
        return all;
    }();
    return cases;
}

}  // namespace velorin_test
