#include "loopback_dialogue.h"

#include <algorithm>
#include <utility>

#include "loopback_tls.h"
#include "octets.h"

namespace velorin_test {
namespace {

constexpr std::size_t kLoggedReply = 4096;  // of a longer reply the first line is kept

char upper(char letter)
{
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

std::string_view without_line_end(std::string_view line)
{
    if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return line;
}

}  // namespace

const char* ending_name(Ending ending)
{
    switch (ending) {
    case Ending::kOpen:
        return "open";
    case Ending::kQuit:
        return "quit";
    case Ending::kClientClosed:
        return "client closed";
    case Ending::kClientReset:
        return "client reset";
    case Ending::kServerClosed:
        return "server closed";
    case Ending::kServerReset:
        return "server reset";
    case Ending::kTlsFailed:
        return "TLS failed";
    case Ending::kStopped:
        return "server stopped";
    }
    return "unknown";
}

bool starts_with_any_case(std::string_view text, std::string_view prefix)
{
    return text.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), text.begin(),
                                                      [](char a, char b) { return upper(a) == upper(b); });
}

std::string split_command(std::string_view line, std::string_view& rest)
{
    const std::string_view word = line.substr(0, line.find(' '));
    rest = line.substr(word.size());
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    std::string command(word);
    std::transform(command.begin(), command.end(), command.begin(), upper);
    return command;
}

Io send_tls_alert(LoopbackConnection& connection)
{
    // Record type 21 (alert), version 3.3, length 2: fatal (2), handshake_failure (40). RFC 8446, section 6.
    static constexpr char kAlert[] = {0x15, 0x03, 0x03, 0x00, 0x02, 0x02, 0x28};
    const Io result = connection.fill();  // the client's first message, so that closing is no reset
    return result == Io::kOk ? connection.write({kAlert, sizeof kAlert}) : result;
}

std::string Conversation::client_lines() const
{
    std::string lines;
    for (const Line& line : transcript)
        if (line.who == 'C') lines += line.text + "\n";
    return lines;
}

std::string Conversation::text() const
{
    std::string lines;
    bool challenged = false;  // the next line of the client's may hold a password
    for (const Line& line : transcript) {
        std::string shown = printable(line.text);
        if (line.who == 'S') {
            challenged = line.text.compare(0, 4, "334 ") == 0 || line.text.compare(0, 2, "+ ") == 0;
        } else if (line.who == 'C') {
            std::string_view rest;
            const std::string command = split_command(line.text, rest);
            const std::string_view method = rest.substr(0, rest.find(' '));
            if (challenged)
                shown = "***";
            else if (command == "PASS" || command == "APOP")
                shown = command + " ***";
            else if (command == "AUTH" && method.size() < rest.size())
                shown = command + " " + printable(method) + " ***";
        }
        lines += std::string(1, line.who) + ": " + shown + "\n";
    }
    return lines + "(" + ending_name(ending) + ")\n";
}

std::size_t ConversationLog::begin()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    conversations_.emplace_back();
    changed_.notify_all();
    return conversations_.size() - 1;
}

void ConversationLog::add_line(std::size_t number, char who, std::string_view text)
{
    update(number, [&](Conversation& conversation) {
        conversation.transcript.push_back({who, std::string(text)});
    });
}

void ConversationLog::update(std::size_t number, const std::function<void(Conversation&)>& change)
{
    locked([&] { change(conversations_[number]); });
}

void ConversationLog::locked(const std::function<void()>& change)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    change();
    changed_.notify_all();
}

std::vector<Conversation> ConversationLog::all() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return conversations_;
}

bool ConversationLog::wait(int timeout_ms,
                           const std::function<bool(const std::vector<Conversation>&)>& reached) const
{
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms),
                             [&] { return reached(conversations_); });
}

bool ConversationLog::wait_for_connection(std::size_t count, int timeout_ms) const
{
    return wait(timeout_ms, [count](const auto& conversations) { return conversations.size() >= count; });
}

bool ConversationLog::wait_for_disconnect(std::size_t count, int timeout_ms) const
{
    return wait(timeout_ms, [count](const auto& conversations) {
        const auto ended = std::count_if(conversations.begin(), conversations.end(),
                                         [](const auto& one) { return one.ending != Ending::kOpen; });
        return static_cast<std::size_t>(ended) >= count;
    });
}

bool ConversationLog::wait_for_command(std::string_view text, int timeout_ms) const
{
    return wait(timeout_ms, [text](const auto& conversations) {
        for (const Conversation& conversation : conversations)
            for (const Conversation::Line& line : conversation.transcript)
                if (line.who == 'C' && starts_with_any_case(line.text, text)) return true;
        return false;
    });
}

bool ConversationLog::wait_for_octets(std::uint64_t octets, int timeout_ms) const
{
    return wait(timeout_ms, [octets](const auto& conversations) {
        std::uint64_t received = 0;
        for (const Conversation& conversation : conversations)
            received += conversation.body_octets;
        return received >= octets;
    });
}

bool LoopbackDialogue::Reply::positive() const
{
    return !octets.empty() && (octets[0] == '2' || octets[0] == '3' || octets[0] == '+');
}

LoopbackDialogue::LoopbackDialogue(LoopbackConnection& connection, RuleBook& rules, ConversationLog& log)
    : connection_(connection), rules_(rules), log_(log), number_(log.begin())
{
}

LoopbackDialogue::~LoopbackDialogue()
{
    const Ending ending = ending_ == Ending::kOpen ? Ending::kServerClosed : ending_;
    log_.update(number_, [ending](Conversation& conversation) { conversation.ending = ending; });
    connection_.finish();
}

void LoopbackDialogue::end(Ending ending)
{
    if (ending_ == Ending::kOpen) ending_ = ending;
}

bool LoopbackDialogue::over(Io result)
{
    switch (result) {
    case Io::kReset:
        end(Ending::kClientReset);
        break;
    case Io::kStopped:
        end(Ending::kStopped);
        break;
    case Io::kFailed:
        end(Ending::kTlsFailed);
        break;
    case Io::kTooLong:
        remark("a line too long to be read");
        end(Ending::kServerClosed);
        break;
    default:
        end(Ending::kClientClosed);
        break;
    }
    return false;
}

bool LoopbackDialogue::read_command(std::string& line)
{
    bool with_cr = false;
    const Io result = connection_.read_line(line, with_cr);
    if (result != Io::kOk) return over(result);
    const bool early = !connection_.buffered().empty();
    log_.update(number_, [&](Conversation& conversation) {
        conversation.transcript.push_back({'C', line});
        if (!with_cr) ++conversation.bare_line_ends;
        if (early) ++conversation.early_commands;
    });
    return true;
}

LoopbackDialogue::Reply LoopbackDialogue::reply_for(Step step, std::string_view usual)
{
    Reply reply{std::string(usual), rules_.hit(step)};
    if (usual.empty() || usual.back() != '\n') reply.octets += "\r\n";
    if (reply.rule && reply.rule->text) reply.octets = *reply.rule->text;
    return reply;
}

void LoopbackDialogue::log_reply(std::string_view reply)
{
    if (reply.size() > kLoggedReply) {
        const std::string_view first = reply.substr(0, std::min(reply.find('\n'), kLoggedReply));
        log_.add_line(number_, 'S', without_line_end(first));
        remark(std::to_string(reply.size()) + " octets");
        return;
    }
    while (!reply.empty()) {
        const std::string_view line = reply.substr(0, std::min(reply.find('\n'), reply.size() - 1) + 1);
        log_.add_line(number_, 'S', without_line_end(line));
        reply.remove_prefix(line.size());
    }
}

bool LoopbackDialogue::send(const Reply& reply)
{
    if (reply.rule) return act(*reply.rule, reply.octets);
    log_reply(reply.octets);
    const Io result = connection_.write(reply.octets);
    return result == Io::kOk || over(result);
}

bool LoopbackDialogue::act(const Rule& rule, const std::string& reply)
{
    if (rule.delay_ms > 0) {
        const Io waited = connection_.pause(rule.delay_ms);
        if (waited != Io::kOk) return over(waited);
    }
    switch (rule.act) {
    case Rule::Act::kClose:
        connection_.close();
        end(Ending::kServerClosed);
        return false;
    case Rule::Act::kReset:
        connection_.reset();
        end(Ending::kServerReset);
        return false;
    case Rule::Act::kSilence:
    case Rule::Act::kStall:
        return over(connection_.wait_for_peer(rule.act == Rule::Act::kSilence));
    case Rule::Act::kEndlessLine:
        return send_endless_line(reply);
    default:
        break;
    }
    const bool inside = rule.act == Rule::Act::kCloseInside;
    const std::string sent = inside ? reply.substr(0, reply.size() / 2) : reply;
    log_reply(sent);
    const Io result =
        rule.trickle_ms >= 0 ? connection_.write_slowly(sent, rule.trickle_ms) : connection_.write(sent);
    if (result != Io::kOk) return over(result);
    if (rule.act == Rule::Act::kFailTls) {
        const Io alerted = send_tls_alert(connection_);
        return over(alerted == Io::kOk ? Io::kFailed : alerted);
    }
    if (rule.act == Rule::Act::kGoOn) return true;
    end(Ending::kServerClosed);
    return false;
}

bool LoopbackDialogue::send_endless_line(const std::string& reply)
{
    const std::string begin(without_line_end(reply));
    const std::string more(64 * 1024, 'x');
    remark("a line without end");
    Io result = connection_.write(begin);
    while (result == Io::kOk)
        result = connection_.write(more);
    return over(result);
}

bool LoopbackDialogue::start_tls(const LoopbackCertificates& certificates)
{
    if (const std::optional<Rule> rule = rules_.hit(Step::kTls)) {
        if (!obey(*rule)) return false;
    }
    const Io result = connection_.start_tls(certificates.context());
    if (result != Io::kOk) return over(result);
    log_.update(number_,
                [&](Conversation& conversation) { conversation.tls_version = connection_.tls_version(); });
    return true;
}

}  // namespace velorin_test
