#include "loopback_pop3_session.h"

#include <algorithm>
#include <charconv>

#include "loopback_body.h"

namespace velorin_test {
namespace {

constexpr char kNotNow[] = "-ERR not now";

template <typename Number>
bool parse_number(std::string_view text, Number& number)
{
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    return !text.empty() && error == std::errc() && stopped == end;
}

// The mail as it goes over the wire, up to and with the final dot line.
std::string multi_line(std::string_view octets)
{
    std::string wire = add_dot_stuffing(octets);
    if (!wire.empty() && (wire.size() < 2 || wire.compare(wire.size() - 2, 2, "\r\n") != 0)) wire += "\r\n";
    return wire + ".\r\n";
}

// The header, the blank line, and that many lines of the body (RFC 1939, TOP).
std::string_view top_of(std::string_view octets, std::size_t lines)
{
    std::size_t end = octets.find("\r\n\r\n");
    if (end == std::string_view::npos) return octets;
    end += 4;
    for (; lines > 0 && end < octets.size(); --lines) {
        const std::size_t line_end = octets.find("\r\n", end);
        end = line_end == std::string_view::npos ? octets.size() : line_end + 2;
    }
    return octets.substr(0, end);
}

}  // namespace

Pop3Session::Pop3Session(LoopbackPop3& server, LoopbackConnection& connection)
    : server_(server), options_(server.options_), dialogue_(connection, server.rules_, server.log_)
{
}

void Pop3Session::run()
{
    if (options_.implicit_tls && !dialogue_.start_tls(*server_.certificates_)) return;
    std::string greeting = options_.greeting;
    if (options_.apop) {
        challenge_ = fresh_challenge();
        greeting += " " + challenge_;
    }
    if (!dialogue_.answer(Step::kConnect, greeting)) return;
    std::string line;
    while (dialogue_.read_command(line) && obey(line)) {
    }
}

bool Pop3Session::obey(std::string_view line)
{
    std::string_view argument;
    const std::string command = split_command(line, argument);
    if (command == "CAPA") return capa();
    if (command == "QUIT") return quit();
    return logged_in_ ? obey_after_login(command, argument) : obey_before_login(command, argument);
}

bool Pop3Session::obey_before_login(const std::string& command, std::string_view argument)
{
    if (command == "STLS") return stls();
    if (command == "USER") {
        const bool usable = options_.user && may_log_in() && !argument.empty();
        const auto reply = dialogue_.reply_for(Step::kUser, usable ? "+OK password" : kNotNow);
        if (reply.positive()) claimed_ = argument;
        return dialogue_.send(reply);
    }
    if (command == "PASS") return pass(argument);
    if (command == "APOP") return apop(argument);
    if (command == "AUTH") return auth(argument);
    return dialogue_.answer(Step::kOther, "-ERR log in first");
}

bool Pop3Session::obey_after_login(const std::string& command, std::string_view argument)
{
    if (command == "STAT") return dialogue_.answer(Step::kStat, stat());
    if (command == "LIST") return list(false, argument);
    if (command == "UIDL" && options_.uidl) return list(true, argument);
    if (command == "RETR") return retr(argument);
    if (command == "TOP" && options_.top) return top(argument);
    if (command == "DELE") return dele(argument);
    if (command == "NOOP") return dialogue_.answer(Step::kNoop, "+OK");
    if (command == "RSET") {
        const auto reply = dialogue_.reply_for(Step::kRset, "+OK");
        if (reply.positive()) deleted_.clear();
        return dialogue_.send(reply);
    }
    return dialogue_.answer(Step::kOther, "-ERR no such command");
}

bool Pop3Session::may_log_in() const
{
    return !options_.tls_required || dialogue_.connection().is_tls();
}

bool Pop3Session::capa()
{
    if (!options_.capa) return dialogue_.answer(Step::kCapa, "-ERR no such command");
    std::vector<std::string> lines;
    const bool clear = !dialogue_.connection().is_tls();
    if (clear && options_.stls && options_.clear_capabilities) {
        lines = *options_.clear_capabilities;
    } else {
        if (options_.user && may_log_in()) lines.emplace_back("USER");
        if (options_.uidl) lines.emplace_back("UIDL");
        if (options_.top) lines.emplace_back("TOP");
        if (!options_.auth.empty() && may_log_in()) {
            std::string mechanisms = "SASL";
            for (const std::string& mechanism : options_.auth)
                mechanisms += " " + mechanism;
            lines.push_back(mechanisms);
        }
        lines.insert(lines.end(), options_.capabilities.begin(), options_.capabilities.end());
    }
    if (clear && options_.stls) lines.emplace_back("STLS");
    std::string reply = "+OK\r\n";
    for (const std::string& text : lines)
        reply += text + "\r\n";
    return dialogue_.answer(Step::kCapa, reply + ".\r\n");
}

bool Pop3Session::stls()
{
    const bool usable = options_.stls && !dialogue_.connection().is_tls();
    const auto reply = dialogue_.reply_for(Step::kStls, usable ? "+OK begin" : kNotNow);
    if (!dialogue_.send(reply)) return false;
    if (!reply.positive() || !server_.certificates_) return true;
    claimed_.clear();
    return dialogue_.start_tls(*server_.certificates_);
}

bool Pop3Session::admit(Step step, const std::string& user, const char* mechanism, bool right)
{
    const auto reply =
        dialogue_.reply_for(step, right ? "+OK welcome" : "-ERR [AUTH] user or password is wrong");
    if (reply.positive()) {
        logged_in_ = true;
        mails_ = options_.maildrop->mails();
        dialogue_.log().update(dialogue_.number(), [&](Conversation& one) {
            one.user = user;
            one.mechanism = mechanism;
        });
    }
    return dialogue_.send(reply);
}

bool Pop3Session::pass(std::string_view password)
{
    if (claimed_.empty() || !may_log_in()) return dialogue_.answer(Step::kPass, kNotNow);
    const auto known = options_.users.find(claimed_);
    return admit(Step::kPass, claimed_, "USER", known != options_.users.end() && known->second == password);
}

// user, digest of challenge and password (RFC 1939, section 7)
bool Pop3Session::apop(std::string_view argument)
{
    const std::size_t blank = argument.rfind(' ');
    if (!options_.apop || !may_log_in() || blank == std::string_view::npos)
        return dialogue_.answer(Step::kApop, kNotNow);
    const std::string user(argument.substr(0, blank));
    const auto known = options_.users.find(user);
    const bool right =
        known != options_.users.end() && argument.substr(blank + 1) == md5_hex(challenge_ + known->second);
    return admit(Step::kApop, user, "APOP", right);
}

bool Pop3Session::auth(std::string_view argument)
{
    std::string_view initial;
    const std::string mechanism = split_command(argument, initial);
    const bool offered =
        std::find(options_.auth.begin(), options_.auth.end(), mechanism) != options_.auth.end();
    if (!offered || !may_log_in() || !SaslExchange::knows(mechanism))
        return dialogue_.answer(Step::kAuth, kNotNow);
    SaslExchange exchange(mechanism, options_.users);
    Step step = Step::kAuth;
    std::string line;
    SaslExchange::State state = exchange.begin(initial);
    for (; state == SaslExchange::State::kChallenge; state = exchange.next(line), step = Step::kAuthReply) {
        const auto reply = dialogue_.reply_for(step, "+ " + exchange.challenge());
        if (!dialogue_.send(reply)) return false;
        if (reply.octets.compare(0, 2, "+ ") != 0) return true;
        if (!dialogue_.read_command(line)) return false;
    }
    if (state == SaslExchange::State::kMalformed) return dialogue_.answer(step, "-ERR malformed");
    if (state == SaslExchange::State::kCancelled) return dialogue_.answer(step, "-ERR cancelled");
    return admit(step, exchange.user(), mechanism.c_str(), state == SaslExchange::State::kAccepted);
}

const Maildrop::Mail* Pop3Session::mail_of(std::string_view number) const
{
    std::size_t index = 0;
    if (!parse_number(number, index) || index == 0 || index > mails_.size()) return nullptr;
    const Maildrop::Mail& mail = mails_[index - 1];
    return deleted_.count(mail.serial) == 0 ? &mail : nullptr;
}

std::string Pop3Session::stat() const
{
    std::size_t count = 0;
    std::size_t octets = 0;
    for (const Maildrop::Mail& mail : mails_) {
        if (deleted_.count(mail.serial) != 0) continue;
        ++count;
        octets += mail.octets.size();
    }
    return "+OK " + std::to_string(count) + " " + std::to_string(octets);
}

bool Pop3Session::list(bool uids, std::string_view argument)
{
    const Step step = uids ? Step::kUidl : Step::kList;
    const auto entry = [uids](const Maildrop::Mail& mail) {
        return uids ? mail.uid : std::to_string(mail.octets.size());
    };
    if (!argument.empty()) {
        const Maildrop::Mail* const mail = mail_of(argument);
        return dialogue_.answer(step, mail != nullptr ? "+OK " + std::string(argument) + " " + entry(*mail)
                                                      : "-ERR no such mail");
    }
    std::string reply = "+OK\r\n";
    for (std::size_t index = 0; index < mails_.size(); ++index)
        if (deleted_.count(mails_[index].serial) == 0)
            reply += std::to_string(index + 1) + " " + entry(mails_[index]) + "\r\n";
    return dialogue_.answer(step, reply + ".\r\n");
}

bool Pop3Session::retr(std::string_view argument)
{
    const Maildrop::Mail* const mail = mail_of(argument);
    if (mail == nullptr) return dialogue_.answer(Step::kRetr, "-ERR no such mail");
    return dialogue_.answer(Step::kRetr, "+OK\r\n" + multi_line(mail->octets));
}

bool Pop3Session::top(std::string_view argument)
{
    std::string_view count;
    const std::string number = split_command(argument, count);
    const Maildrop::Mail* const mail = mail_of(number);
    std::size_t lines = 0;
    if (mail == nullptr || !parse_number(count, lines))
        return dialogue_.answer(Step::kTop, "-ERR no such mail");
    return dialogue_.answer(Step::kTop, "+OK\r\n" + multi_line(top_of(mail->octets, lines)));
}

bool Pop3Session::dele(std::string_view argument)
{
    const Maildrop::Mail* const mail = mail_of(argument);
    const auto reply = dialogue_.reply_for(Step::kDele, mail != nullptr ? "+OK" : "-ERR no such mail");
    if (reply.positive() && mail != nullptr) deleted_.insert(mail->serial);
    return dialogue_.send(reply);
}

// Only QUIT removes what was marked (RFC 1939, UPDATE).
bool Pop3Session::quit()
{
    dialogue_.log().update(dialogue_.number(), [](Conversation& one) { one.quit = true; });
    const auto reply = dialogue_.reply_for(Step::kQuit, "+OK bye");
    if (reply.positive() && logged_in_) options_.maildrop->remove_serials(deleted_);
    if (!dialogue_.send(reply)) return false;
    dialogue_.end(Ending::kQuit);
    return false;
}

}  // namespace velorin_test
