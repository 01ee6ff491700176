// What the service answers, as the sessions of both protocols take it.
//   input   the allocation that fails (0: none), the operation, the answer
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "CntsPOP3Boundary.h"
#include "CntsSMTPBoundary.h"
#include "emwGEN.h"
#include "fuzz_envelope.h"
#include "fuzz_input.h"
#include "ntc_email_esu_pop3_helper.h"
#include "ntc_email_esu_smtp.pb.h"

namespace {

using namespace velorin;
using namespace velorin_fuzz;
using Envelope = ntc_email_esu_pop3_method;
using SmtpEnvelope = ntc_email_esu_smtp_method;

constexpr std::uint32_t kCallFailed = 0x21077103;
constexpr std::uint32_t kTooLong = 0xBAD;
constexpr std::size_t kPop3Size = 8192;  // octets of an answer at most
constexpr std::size_t kSmtpSize = 4096;

// The channel: what is said of it here, and what it says.
struct Channel {
    std::string answer;
    int open = 0;
    int calls = 0;
} channel;

// What the operations of POP3 work on.
struct Objects {
    CntsPOP3MailInfo info{2, "uid", 10, 1};
    CntsPOP3ReceiveMail mail{info};
    CntsPOP3MailInfoList list{8};
    int count = 77;

    Objects() { mail.UpBoundaryLevel("outer"); }
    // All of them as the wire has them.
    std::string octets() const
    {
        ntc_email_esu_pop3_list_next_res lists;
        ntc_email_esu_pop3_receive_header_res mails;
        ntc_email_esu_pop3_helper::convert_pop3_mail_info_list(list, *lists.mutable_c_info_list());
        ntc_email_esu_pop3_helper::convert_pop3_mail_info(info, *lists.mutable_c_info());
        ntc_email_esu_pop3_helper::convert_pop3_receive_mail(mail, *mails.mutable_c_mail());
        return lists.SerializeAsString() + mails.SerializeAsString() + std::to_string(count);
    }
};

// Takes what an answer carries, the way the converters do.
template <typename Member>
std::uint32_t take_mail(const Member& member, Objects& objects)
{
    const std::uint32_t taken =
        ntc_email_esu_pop3_helper::convert_pop3_receive_mail(member.c_mail(), objects.mail);
    return taken != 0 ? taken : static_cast<std::uint32_t>(member.retcode());
}

template <typename Member>
std::uint32_t take_list(const Member& member, Objects& objects)
{
    const std::uint32_t taken =
        ntc_email_esu_pop3_helper::convert_pop3_mail_info_list(member.c_info_list(), objects.list);
    return taken != 0 ? taken : static_cast<std::uint32_t>(member.retcode());
}

std::uint32_t take_next(const ntc_email_esu_pop3_list_next_res& member, Objects& objects)
{
    const std::uint32_t taken = take_list(member, objects);
    if (taken != static_cast<std::uint32_t>(member.retcode())) return taken;
    ntc_email_esu_pop3_helper::convert_pop3_mail_info(member.c_info(), objects.info);
    return taken;
}

std::uint32_t code(std::int32_t retcode)
{
    return static_cast<std::uint32_t>(retcode);
}

struct Operation {
    std::uint32_t (*call)(CntsPOP3Boundary&, Objects&);
    std::uint32_t (*take)(const Envelope&, Objects&);
};

const Operation kOperations[] = {
    {[](auto& session, auto&) { return session.Test(); },
     [](auto& answer, auto&) { return code(answer.test_res().retcode()); }},
    {[](auto& session, auto&) { return session.Connect(); },
     [](auto& answer, auto&) { return code(answer.connect_res().retcode()); }},
    {[](auto& session, auto&) { return session.Close(); },
     [](auto& answer, auto&) { return code(answer.close_res().retcode()); }},
    {[](auto& session, auto&) { return session.Noop(); },
     [](auto& answer, auto&) { return code(answer.noop_res().retcode()); }},
    {[](auto& session, auto& objects) { return session.Stat(objects.count); },
     [](auto& answer, auto& objects) {
         objects.count = answer.stat_res().total_num();
         return code(answer.stat_res().retcode());
     }},
    {[](auto& session, auto& objects) { return session.List(objects.list, 1); },
     [](auto& answer, auto& objects) { return take_list(answer.list_res(), objects); }},
    {[](auto& session, auto& objects) { return session.ListNext(objects.list, objects.info); },
     [](auto& answer, auto& objects) { return take_next(answer.list_next_res(), objects); }},
    {[](auto& session, auto& objects) { return session.DeleteByUID(objects.list, objects.mail); },
     [](auto& answer, auto& objects) { return take_list(answer.delete_by_uid_res(), objects); }},
    {[](auto& session, auto& objects) { return session.ReceiveHeader(objects.mail, 1); },
     [](auto& answer, auto& objects) { return take_mail(answer.receive_header_res(), objects); }},
    {[](auto& session, auto& objects) { return session.ReceiveHeaderOnly(objects.mail, 0); },
     [](auto& answer, auto& objects) { return take_mail(answer.receive_header_only_res(), objects); }},
    {[](auto& session, auto& objects) { return session.ReceiveBody(objects.mail); },
     [](auto& answer, auto& objects) { return take_mail(answer.receive_body_res(), objects); }},
    {[](auto& session, auto& objects) { return session.ReceivePartHeader(objects.mail, 1); },
     [](auto& answer, auto& objects) { return take_mail(answer.receive_part_header_res(), objects); }},
    {[](auto& session, auto& objects) { return session.ReceivePartBody(objects.mail); },
     [](auto& answer, auto& objects) { return take_mail(answer.receive_part_body_res(), objects); }},
    {[](auto& session, auto& objects) { return session.SkipMail(objects.mail); },
     [](auto& answer, auto& objects) { return take_mail(answer.skip_mail_res(), objects); }},
    {[](auto& session, auto& objects) { return session.SkipPart(objects.mail); },
     [](auto& answer, auto& objects) { return take_mail(answer.skip_part_res(), objects); }},
    {[](auto& session, auto& objects) { return session.Delete(objects.mail); },
     [](auto& answer, auto& objects) { return take_mail(answer.delete_res(), objects); }},
};

// What an operation ought to return, and to leave behind.
struct Outcome {
    std::uint32_t result;
    std::string left;
};

// It has all the memory that it wants.
Outcome expected(const Operation& operation, const std::string& answer)
{
    const Platform platform;
    Objects objects;
    Envelope envelope;
    if (answer.size() > kPop3Size || !envelope.ParseFromString(answer))
        return {kCallFailed, objects.octets()};
    const std::uint32_t result = operation.take(envelope, objects);
    return {result, objects.octets()};
}

void check_pop3(const Operation& operation, const std::string& answer, unsigned failing)
{
    const Outcome model = expected(operation, answer);
    channel = Channel();
    const Platform platform(failing);
    CntsPOP3Boundary session{CntsPOP3Settings{SPOP3Setting()}};
    channel.answer = answer;
    Objects objects;
    const int before = channel.calls;
    const std::uint32_t result = operation.call(session, objects);
    const std::string left = objects.octets();
    channel.answer.clear();
    require(channel.open == 0, "a channel is closed after its exchange");
    if (platform.has_failed()) return;
    require(channel.calls == before + 1, "an operation is one exchange");
    require(result == model.result, "the result is the answer's");
    require(left == model.left, "what is left behind is the answer's");
}

std::uint32_t expected_smtp(const std::string& answer)
{
    SmtpEnvelope envelope;
    if (answer.size() > kSmtpSize || !envelope.ParseFromString(answer)) return kCallFailed;
    return code(envelope.connect_res().retcode());
}

void check_smtp(const std::string& answer)
{
    channel = Channel();
    CntsSMTPBoundary session{CntsSMTPSettings{nts_smtp_settings()}};
    channel.answer = answer;
    require(session.Connect() == expected_smtp(answer), "the result is the answer's");
    channel.answer.clear();
    require(channel.open == 0, "a channel is closed after its exchange");
}

}  // namespace

extern "C" {

std::uint32_t emwGENPacketClntInit(const char*, std::uint32_t* handle)
{
    *handle = 1;
    ++channel.open;
    return 0;
}

std::uint32_t emwGENPacketClntCall(std::uint32_t, const void*, std::uint32_t, void* buffer,
                                   std::uint32_t buffer_size, std::uint32_t* received_length, std::int32_t)
{
    ++channel.calls;
    if (channel.answer.size() > buffer_size) return kTooLong;
    std::memcpy(buffer, channel.answer.data(), channel.answer.size());
    *received_length = static_cast<std::uint32_t>(channel.answer.size());
    return 0;
}

std::uint32_t emwGENPacketClntTerm(std::uint32_t)
{
    --channel.open;
    return 0;
}

}  // extern "C"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned failing = input.below(8);
    const Operation& operation = kOperations[input.below(std::size(kOperations))];
    const std::string answer = input.rest();

    check_pop3(operation, answer, 0);
    check_pop3(operation, answer, failing);
    check_smtp(answer);
    return 0;
}
