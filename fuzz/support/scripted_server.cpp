#include "scripted_server.h"

#include <algorithm>
#include <cstring>

#include "fuzz_property.h"
#include "return_codes.h"

namespace velorin_fuzz {

using namespace velorin::service;

MakeConnection Script::maker()
{
    return [this](const CancelSignal&, LastReply& last_reply) {
        return std::make_unique<ScriptedConnection>(*this, last_reply);
    };
}

std::string_view Script::next_turn()
{
    const std::size_t end = std::min(left_.find(kTurn), left_.size());
    const std::string_view turn = left_.substr(0, end);
    left_.remove_prefix(std::min(end + 1, left_.size()));
    return turn;
}

std::uint32_t ScriptedConnection::open(const ServerAccount& account, const OpeningRules&, bool log_in)
{
    require(!account.server.empty(), "a server has a name");
    is_open_ = false;
    ++script_.connections_;
    OpeningReplies replies(account.protocol, last_reply_);
    if (account.tls == TlsMode::on_request) replies.expect_stls();
    const std::string_view turn = script_.next_turn();
    for (std::size_t at = 0; at < turn.size(); at += script_.step_) {
        if (!replies.take(turn.data() + at, std::min(script_.step_, turn.size() - at))) break;
    }
    password_untried_ = replies.offers_apop_only();
    if (replies.malformed()) return kReplyMalformed;
    if (!replies.greeted()) return kServerRefused;
    if (log_in && replies.refused()) return kLoginRefused;
    open_with(read_capabilities(replies.capability_lines()));
    return 0;
}

void ScriptedConnection::open_with(const SmtpCapabilities& capabilities)
{
    capabilities_ = capabilities;
    said_.clear();
    heard_ = 0;
    is_broken_ = false;
    is_open_ = true;
}

std::uint32_t ScriptedConnection::send(const char* octets, std::size_t count, Deadline)
{
    if (!is_open_ || is_broken_) return kConnectionLost;
    std::string_view next = script_.next_turn();
    is_broken_ = !next.empty() && next.front() == kBroken;
    if (is_broken_) next.remove_prefix(1);
    // Behind what nobody has read yet.
    said_.erase(0, heard_);
    heard_ = 0;
    said_ += next;
    if (is_broken_) return kConnectionLost;
    script_.sent_.append(octets, count);
    return 0;
}

std::uint32_t ScriptedConnection::receive_now(char* buffer, std::size_t capacity, std::size_t& count)
{
    count = 0;
    if (!is_open_) return kConnectionLost;
    require(capacity > 0, "there is room for what is received");
    count = std::min({capacity, said_.size() - heard_, script_.step_});
    std::memcpy(buffer, said_.data() + heard_, count);
    heard_ += count;
    return 0;
}

std::uint32_t ScriptedConnection::receive(char* buffer, std::size_t capacity, std::size_t& count, Deadline)
{
    if (const std::uint32_t code = receive_now(buffer, capacity, count)) return code;
    if (count > 0) return 0;
    drop();
    return script_.left_.empty() || is_broken_ ? kConnectionLost : kTimeOut;
}

}  // namespace velorin_fuzz
