#include "exchange.h"

#include <cstdio>

namespace velorin_test::sweep {

namespace {

std::string hexadecimal(std::uint32_t code)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "0x%lx", static_cast<unsigned long>(code));
    return digits;
}

bool fail_start(Replay& replay, const Channel& channel, const char* call)
{
    replay.line(code_line(channel, "start_method", call, kFaultCode));
    return false;
}

}  // namespace

std::string code_line(const Channel& channel, const std::string& method, const std::string& text,
                      std::uint32_t code)
{
    return std::string(channel.communicator) + "::" + method + "():" + text + " returns " +
           hexadecimal(code) + "\n";
}

std::string session_line(const Channel& channel, const std::string& method, const std::string& text,
                         std::uint32_t code)
{
    return std::string(channel.session) + "::" + method + "():[Return]:" + channel.communicator +
           "::" + text + " returns " + hexadecimal(code) + "\n";
}

bool replay_start(Replay& replay, const Channel& channel)
{
    if (!replay.semaphore_exists) {
        // Reported with the text of the request on purpose.
        if (replay.fails(Call::sem_create)) return fail_start(replay, channel, "emwOSWRequestMutexSem()");
        replay.semaphore_exists = true;
    }
    if (replay.fails(Call::sem_request)) return fail_start(replay, channel, "emwOSWRequestMutexSem()");
    if (replay.fails(Call::init)) {
        fail_start(replay, channel, "emwGENPacketClntInit()");
        replay.fails(Call::sem_release);  // its result is ignored
        return false;
    }
    return true;
}

bool replay_end(Replay& replay, const Channel& channel)
{
    bool is_good = true;
    if (replay.fails(Call::term)) {
        replay.line(code_line(channel, "end_method", "emwGENPacketClntTerm()", kFaultCode));
        is_good = false;
    }
    if (replay.fails(Call::sem_release)) {
        replay.line(code_line(channel, "end_method", "emwOSWReleaseMutexSem()", kFaultCode));
        is_good = false;
    }
    return is_good;
}

std::optional<Received> replay_sending(Replay& replay, const Channel& channel)
{
    const std::string method = "call_esu_method";
    if (replay.fails(Call::pool_alloc)) {
        replay.line(
            code_line(channel, method, std::string("emwOSWAllocMem") + channel.pool_failure, kFaultCode));
        return std::nullopt;
    }
    if (!replay_start(replay, channel)) {
        replay.line(std::string(channel.communicator) + "::call_esu_method():start_method()  " +
                    hexadecimal(kCallFailed) + "\n");
        replay.keep_pool_block();  // on purpose
        return std::nullopt;
    }
    std::uint32_t status = kFaultCode;
    GivenAnswer answer;
    if (!replay.fails(Call::call)) {
        answer = replay.next_answer();
        status = answer.status;
    }
    if (status != 0) {
        replay.line(code_line(channel, method, "emwGENPacketClntCall", status));
        replay_end(replay, channel);
        replay.fails(Call::pool_free);  // its result is ignored
        return std::nullopt;
    }
    const bool is_ended = replay_end(replay, channel);
    if (!is_ended) replay.line(code_line(channel, method, "end_method()", kCallFailed));
    replay.fails(Call::pool_free);
    return Received{answer.octets, is_ended};
}

}  // namespace velorin_test::sweep
