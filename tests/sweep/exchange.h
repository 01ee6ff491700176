// One exchange with the mail service as it is specified, for the models of the operations that make one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "replay.h"

namespace velorin_test::sweep {

constexpr std::uint32_t kCallFailed = 0x21077103;

// What the two channels have of their own.
struct Channel {
    const char* communicator;
    const char* session;
    const char* pool_failure;  // behind "emwOSWAllocMem"
};

constexpr Channel kSmtpChannel = {"ntc_email_esu_smtp_main_communicator", "CntsSMTPBoundary", "()"};
constexpr Channel kPop3Channel = {"ntc_email_esu_pop3_main_communicator", "CntsPOP3Boundary", ""};

// Lines of a communicator: those that end with a code, and those that say "NG".
std::string code_line(const Channel& channel, const std::string& method, const std::string& text,
                      std::uint32_t code);
std::string session_line(const Channel& channel, const std::string& method, const std::string& text,
                         std::uint32_t code);

// The good answer that carries a message.
template <typename Message>
Answer answer_with(const Message& message)
{
    Answer answer;
    answer.octets = message.SerializeAsString();
    return answer;
}

bool replay_start(Replay& replay, const Channel& channel);
bool replay_end(Replay& replay, const Channel& channel);

// The octets that are to be parsed, and whether the channel was left in order.
struct Received {
    std::string octets;
    bool is_ended;
};
std::optional<Received> replay_sending(Replay& replay, const Channel& channel);

// One call_esu_method.
//   result  the answer; nothing when the exchange failed, its lines then expected
template <typename Envelope>
std::optional<Envelope> replay_esu_method(Replay& replay, const Channel& channel)
{
    const std::optional<Received> received = replay_sending(replay, channel);
    if (!received) return std::nullopt;
    Envelope envelope;
    if (!envelope.ParseFromString(received->octets)) {
        replay.line(std::string(channel.communicator) + "::call_esu_method():ParseFromString() returns NG\n");
        return std::nullopt;
    }
    if (!received->is_ended) return std::nullopt;
    return envelope;
}

// The same for an operation, which adds a line of its own.
template <typename Envelope>
std::optional<Envelope> replay_exchange(Replay& replay, const Channel& channel, const char* method)
{
    std::optional<Envelope> answer = replay_esu_method<Envelope>(replay, channel);
    if (!answer) replay.line(code_line(channel, method, "call_esu_method()", kCallFailed));
    return answer;
}

}  // namespace velorin_test::sweep
