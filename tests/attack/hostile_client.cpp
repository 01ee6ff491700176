// Calls the service as nobody should: attack-hostile MODE DIRECTORY [SESSION_ID]. Says "at work" once it has gone
// through the mode once, and goes on until it is ended.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>

#include "local_socket.h"
#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_esu_smtp.pb.h"
#include "return_codes.h"

namespace {

using velorin_test::OwnedDescriptor;
using velorin_test::request_frame;

constexpr std::uint32_t kCapacity = 8192;
constexpr int kSilent = 500;                  // connections that send nothing
constexpr int kTooMany = 1200;                // more than a plain user's process has descriptors
constexpr int kUnreading = 40;                // callers that leave their answers where they are
constexpr std::uint32_t kLargest = 1u << 20;  // octets of an answer

std::string directory;
std::uint32_t session_of_another = 0;
std::vector<OwnedDescriptor> kept;  // connections that stay
std::mt19937 octets(7);

int connected(const char* endpoint)
{
    return velorin_test::connect_to(directory + "/" + endpoint);
}

std::string abort_of(std::uint32_t session)
{
    velorin::ntc_email_esu_smtp_method envelope;
    envelope.set_method_type(velorin::NTC_EMAIL_ESU_SMTP_METHOD_ABORT);
    envelope.mutable_abort_req()->set_session_id(session);
    return envelope.SerializeAsString();
}

// A frame ends at every octet in turn, and the connection with it.
bool cut_frames()
{
    const std::string frame = request_frame(abort_of(1), kCapacity);
    for (std::size_t length = 0; length < frame.size(); ++length) {
        const OwnedDescriptor socket(connected(length % 2 == 0 ? "ntc_email_smtp" : "ntc_email_pop3"));
        if (socket.get() < 0 || !velorin_test::send_all(socket.get(), frame.substr(0, length))) return false;
    }
    return true;
}

bool announce_too_much()
{
    std::string frame = request_frame("", kCapacity);
    frame.replace(4, 4, "\xFF\xFF\xFF\xFF", 4);
    for (int count = 0; count < 50; ++count) {
        const OwnedDescriptor socket(connected("ntc_email_smtp"));
        std::string answer;
        velorin_test::send_all(socket.get(), frame + std::string(1000, 'x'));
        if (velorin_test::receive_all(socket.get(), 1, answer)) return false;  // let go without a word
    }
    return true;
}

bool send_noise()
{
    for (int count = 0; count < 50; ++count) {
        const OwnedDescriptor socket(connected(count % 2 == 0 ? "ntc_email_smtp" : "ntc_email_pop3"));
        std::string noise(octets() % 3000, '\0');
        for (char& one : noise)
            one = static_cast<char>(octets());
        // Half of it in a frame that is right, so that the noise is read as an envelope.
        velorin_test::send_all(socket.get(), count % 4 < 2 ? noise : request_frame(noise, kCapacity));
    }
    return true;
}

bool ask_for_unknown_methods()
{
    for (int method = -3; method < 60; ++method) {
        // Field 1, whatever number; as a varint of a negative number it has ten octets.
        std::string envelope("\x08", 1);
        auto left = static_cast<std::uint64_t>(static_cast<std::int64_t>(method));
        for (; left >= 0x80; left >>= 7)
            envelope += static_cast<char>((left & 0x7F) | 0x80);
        envelope += static_cast<char>(left);
        const OwnedDescriptor socket(connected("ntc_email_smtp"));
        std::string head;
        if (!velorin_test::send_all(socket.get(), request_frame(envelope, kCapacity))) return false;
        if (!velorin_test::receive_all(socket.get(), velorin_test::kAnswerHead, head)) return false;
    }
    return true;
}

// Nobody's session answers to somebody else, whatever is asked of it.
bool use_the_session_of_another()
{
    for (std::uint32_t number = 0; number < 30; ++number) {
        const std::uint32_t session = session_of_another + number - 15;
        const OwnedDescriptor socket(connected("ntc_email_smtp"));
        std::string head;
        std::string answer;
        if (!velorin_test::send_all(socket.get(), request_frame(abort_of(session), kCapacity))) return false;
        if (!velorin_test::receive_all(socket.get(), velorin_test::kAnswerHead, head)) return false;
        if (!velorin_test::receive_all(socket.get(), velorin_test::answer_length(head), answer)) return false;
        velorin::ntc_email_esu_smtp_method envelope;
        if (!envelope.ParseFromString(answer)) return false;
        if (static_cast<std::uint32_t>(envelope.abort_res().retcode()) != velorin::service::kUnknownSession)
            return false;
    }
    return true;
}

bool hold_connections(int count)
{
    if (!kept.empty()) return true;
    for (int number = 0; number < count; ++number)
        kept.emplace_back(connected(number % 2 == 0 ? "ntc_email_smtp" : "ntc_email_pop3"));
    return true;
}

bool hold_silent_connections()
{
    return hold_connections(kSilent);
}

bool hold_too_many_connections()
{
    return hold_connections(kTooMany);
}

bool send_an_octet_now_and_then()
{
    const std::string frame = request_frame(std::string(2000, 'x'), kCapacity);
    static std::size_t at = 0;
    hold_connections(20);
    for (const OwnedDescriptor& socket : kept)
        velorin_test::send_all(socket.get(), frame.substr(at, 1));
    ++at;
    ::poll(nullptr, 0, 1000);
    return true;
}

// A request whose answer is longer than a socket holds: the caller's own list comes back, whatever the session.
std::string long_list()
{
    velorin::ntc_email_esu_pop3_method envelope;
    envelope.set_method_type(velorin::NTC_EMAIL_ESU_POP3_METHOD_LIST);
    velorin::ntc_email_esu_pop3_list_req& request = *envelope.mutable_list_req();
    request.set_session_id(1);
    for (int number = 1; number <= 15000; ++number) {
        velorin::ntc_email_esu_pop3_mail_info& entry = *request.mutable_c_info_list()->add_c_list();
        entry.set_n_id(number);
        entry.set_c_uniq_id(std::string(40, 'u') + std::to_string(number));
        entry.set_n_size(1);
        entry.set_n_status(2);
    }
    request.mutable_c_info_list()->set_n_max_list_size(15000);
    return envelope.SerializeAsString();
}

bool leave_answers_unread()
{
    if (!kept.empty()) return true;
    const std::string frame = request_frame(long_list(), kLargest);
    for (int number = 0; number < kUnreading; ++number) {
        OwnedDescriptor socket(connected("ntc_email_pop3"));
        if (!velorin_test::send_all(socket.get(), frame)) return false;
        kept.push_back(std::move(socket));
    }
    // The answer has begun, and there is no room for all of it.
    std::string head;
    int there = 0;
    return velorin_test::peek_all(kept.front().get(), velorin_test::kAnswerHead, head) &&
           ::ioctl(kept.front().get(), FIONREAD, &there) == 0 &&
           static_cast<std::size_t>(there) < velorin_test::answer_length(head);
}

const struct {
    const char* name;
    bool (*attack)();
} kModes[] = {
    {"cut-frames", cut_frames},
    {"too-much", announce_too_much},
    {"noise", send_noise},
    {"unknown-methods", ask_for_unknown_methods},
    {"foreign-session", use_the_session_of_another},
    {"silent", hold_silent_connections},
    {"too-many", hold_too_many_connections},
    {"slow", send_an_octet_now_and_then},
    {"unreading", leave_answers_unread},
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 3) return 2;
    directory = argv[2];
    if (argc > 3) session_of_another = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
    rlimit descriptors{};
    ::getrlimit(RLIMIT_NOFILE, &descriptors);
    descriptors.rlim_cur = descriptors.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &descriptors);
    for (const auto& mode : kModes) {
        if (std::strcmp(argv[1], mode.name) != 0) continue;
        for (bool first = true;; first = false) {
            if (!mode.attack()) {
                std::printf("failed\n");
                return 1;
            }
            if (first) {
                std::printf("at work\n");
                std::fflush(stdout);
            }
            ::poll(nullptr, 0, 5);
        }
    }
    return 2;
}
