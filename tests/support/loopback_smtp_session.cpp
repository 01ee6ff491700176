#include "loopback_smtp_session.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "loopback_body.h"

namespace velorin_test {
namespace {

constexpr std::size_t kFinalDotLine = 3;  // "." CR LF

// FROM:<address> parameters, or TO: so. False: not of that form.
bool parse_path(std::string_view argument, std::string_view keyword, std::string& address,
                std::string& parameters)
{
    if (!starts_with_any_case(argument, keyword)) return false;
    argument.remove_prefix(keyword.size());
    if (argument.empty() || argument[0] != '<') return false;
    const std::size_t close = argument.find('>');
    if (close == std::string_view::npos) return false;
    address = argument.substr(1, close - 1);
    std::string_view rest = argument.substr(close + 1);
    if (!rest.empty() && rest[0] != ' ') return false;
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    parameters = rest;
    return true;
}

// The value of NAME=value among the parameters; nothing when it is not there.
std::optional<std::string> parameter(std::string_view parameters, std::string_view name)
{
    while (!parameters.empty()) {
        const std::string_view word = parameters.substr(0, parameters.find(' '));
        const std::size_t equals = std::min(word.find('='), word.size());
        if (equals == name.size() && starts_with_any_case(word, name))
            return std::string(word.substr(std::min(equals + 1, word.size())));
        parameters.remove_prefix(std::min(word.size() + 1, parameters.size()));
    }
    return {};
}

}  // namespace

SmtpSession::SmtpSession(LoopbackSmtp& server, LoopbackConnection& connection)
    : server_(server), options_(server.options_), dialogue_(connection, server.rules_, server.log_)
{
}

SmtpSession::~SmtpSession()
{
    if (mail_ && in_data_) server_.keep(std::move(*mail_));
}

void SmtpSession::run()
{
    if (options_.implicit_tls && !dialogue_.start_tls(*server_.certificates_)) return;
    if (!dialogue_.answer(Step::kConnect, options_.greeting)) return;
    std::string line;
    while (dialogue_.read_command(line) && obey(line)) {
    }
}

bool SmtpSession::obey(std::string_view line)
{
    std::string_view argument;
    const std::string command = split_command(line, argument);
    if (command == "EHLO") return hello(true, argument);
    if (command == "HELO") return hello(false, argument);
    if (command == "STARTTLS") return starttls(argument);
    if (command == "AUTH") return auth(argument);
    if (command == "MAIL") return mail(line, argument);
    if (command == "RCPT") return rcpt(argument);
    if (command == "DATA") return data();
    if (command == "RSET") return rset();
    if (command == "NOOP") return dialogue_.answer(Step::kNoop, "250 2.0.0 fine");
    if (command == "QUIT") return quit();
    return dialogue_.answer(Step::kOther, "500 5.5.1 no such command");
}

std::string SmtpSession::capabilities() const
{
    std::vector<std::string> lines;
    const bool clear = !dialogue_.connection().is_tls();
    if (clear && options_.starttls && options_.clear_extensions) {
        lines = *options_.clear_extensions;
    } else {
        if (options_.size_limit) lines.push_back("SIZE " + std::to_string(*options_.size_limit));
        if (options_.eight_bit_mime) lines.emplace_back("8BITMIME");
        if (options_.pipelining) lines.emplace_back("PIPELINING");
        if (!options_.auth.empty() && !(options_.tls_required && clear)) {
            std::string mechanisms = "AUTH";
            for (const std::string& mechanism : options_.auth)
                mechanisms += " " + mechanism;
            lines.push_back(mechanisms);
        }
        lines.insert(lines.end(), options_.extensions.begin(), options_.extensions.end());
    }
    if (clear && options_.starttls) lines.emplace_back("STARTTLS");
    std::string reply = lines.empty() ? "250 localhost" : "250-localhost";
    for (const std::string& text : lines)
        reply += (&text == &lines.back() ? "\r\n250 " : "\r\n250-") + text;
    return reply;
}

bool SmtpSession::hello(bool extended, std::string_view name)
{
    std::string usual = extended ? capabilities() : "250 localhost";
    if (extended && !options_.ehlo)
        usual = "502 5.5.1 EHLO is not known here";
    else if (name.empty())
        usual = "501 5.5.4 a name is wanted";
    const auto reply = dialogue_.reply_for(extended ? Step::kEhlo : Step::kHelo, usual);
    if (reply.positive()) {
        greeted_ = true;
        extended_ = extended;
        mail_.reset();
        dialogue_.log().update(dialogue_.number(), [&](Conversation& one) { one.hello = name; });
    }
    return dialogue_.send(reply);
}

bool SmtpSession::starttls(std::string_view argument)
{
    std::string usual = "220 2.0.0 begin";
    if (!options_.starttls || dialogue_.connection().is_tls())
        usual = "502 5.5.1 no STARTTLS now";
    else if (!argument.empty())
        usual = "501 5.5.4 no argument is known";
    const auto reply = dialogue_.reply_for(Step::kStartTls, usual);
    if (!dialogue_.send(reply)) return false;
    if (!reply.positive()) return true;
    if (!server_.certificates_) return true;  // a rule's success without anything behind it
    greeted_ = false;
    user_.clear();
    mail_.reset();
    return dialogue_.start_tls(*server_.certificates_);
}

bool SmtpSession::auth(std::string_view argument)
{
    std::string_view initial;
    const std::string mechanism = split_command(argument, initial);
    const bool offered =
        std::find(options_.auth.begin(), options_.auth.end(), mechanism) != options_.auth.end();
    if (options_.auth.empty() || !extended_) return dialogue_.answer(Step::kAuth, "502 5.5.1 no AUTH here");
    if (options_.tls_required && !dialogue_.connection().is_tls())
        return dialogue_.answer(Step::kAuth, "538 5.7.11 only under TLS");
    if (!user_.empty() || mail_) return dialogue_.answer(Step::kAuth, "503 5.5.1 not now");
    if (!offered || !SaslExchange::knows(mechanism))
        return dialogue_.answer(Step::kAuth, "504 5.5.4 no such mechanism");
    SaslExchange exchange(mechanism, options_.users);
    return login(exchange, mechanism, initial);
}

bool SmtpSession::login(SaslExchange& exchange, const std::string& mechanism, std::string_view initial)
{
    Step step = Step::kAuth;
    std::string line;
    for (SaslExchange::State state = exchange.begin(initial);;
         state = exchange.next(line), step = Step::kAuthReply) {
        std::string usual;
        switch (state) {
        case SaslExchange::State::kChallenge:
            usual = "334 " + exchange.challenge();
            break;
        case SaslExchange::State::kAccepted:
            usual = "235 2.7.0 welcome";
            break;
        case SaslExchange::State::kRefused:
            usual = "535 5.7.8 user or password is wrong";
            break;
        case SaslExchange::State::kMalformed:
            usual = "501 5.5.2 malformed";
            break;
        case SaslExchange::State::kCancelled:
            usual = "501 5.7.0 cancelled";
            break;
        }
        const auto reply = dialogue_.reply_for(step, usual);
        if (reply.octets.compare(0, 3, "235") == 0) {
            user_ = exchange.user().empty() ? "(nobody)" : exchange.user();
            dialogue_.log().update(dialogue_.number(), [&](Conversation& one) {
                one.user = user_;
                one.mechanism = mechanism;
            });
        }
        if (!dialogue_.send(reply)) return false;
        if (state != SaslExchange::State::kChallenge || reply.octets.compare(0, 3, "334") != 0) return true;
        if (!dialogue_.read_command(line)) return false;
    }
}

std::string SmtpSession::mail_refusal(std::string_view address, std::string_view parameters) const
{
    if (!greeted_) return "503 5.5.1 EHLO first";
    if (mail_) return "503 5.5.1 a mail is open already";
    if (options_.tls_required && !dialogue_.connection().is_tls()) return "530 5.7.0 STARTTLS first";
    if (options_.auth_required && user_.empty()) return "530 5.7.0 log in first";
    const bool quoted = address.substr(0, 1) == "\"";
    if (!quoted && address.find_first_of(" \t") != std::string_view::npos) return "501 5.1.7 no such address";
    const std::optional<std::string> size = parameter(parameters, "SIZE");
    if (size) {
        if (!extended_ || !options_.size_limit) return "555 5.5.4 SIZE is not offered";
        std::uint64_t octets = 0;
        const auto [stopped, error] = std::from_chars(size->data(), size->data() + size->size(), octets);
        if (error != std::errc() || stopped != size->data() + size->size())
            return "501 5.5.4 SIZE wants a number";
        if (*options_.size_limit != 0 && octets > *options_.size_limit) return "552 5.3.4 too large";
    }
    const std::optional<std::string> body = parameter(parameters, "BODY");
    if (body && !(extended_ && options_.eight_bit_mime)) return "555 5.5.4 BODY is not offered";
    if (body && *body != "8BITMIME" && *body != "7BIT") return "501 5.5.4 no such BODY";
    return {};
}

bool SmtpSession::mail(std::string_view line, std::string_view argument)
{
    LoopbackMail begun;
    std::string refusal;
    if (!parse_path(argument, "FROM:", begun.from, begun.parameters))
        refusal = "501 5.5.2 MAIL FROM:<address>";
    else
        refusal = mail_refusal(begun.from, begun.parameters);
    const auto reply = dialogue_.reply_for(Step::kMail, refusal.empty() ? "250 2.1.0 fine" : refusal);
    if (reply.positive() && !mail_) {
        begun.connection = dialogue_.number();
        begun.mail_line = line;
        begun.user = user_;
        mail_ = std::move(begun);
    }
    return dialogue_.send(reply);
}

bool SmtpSession::rcpt(std::string_view argument)
{
    std::string address;
    std::string parameters;
    std::string usual = "250 2.1.5 fine";
    if (!mail_) {
        usual = "503 5.5.1 MAIL first";
    } else if (!parse_path(argument, "TO:", address, parameters) || address.empty()) {
        usual = "501 5.5.2 RCPT TO:<address>";
    } else {
        const auto refused = options_.refused_recipients.find(address);
        if (refused != options_.refused_recipients.end()) usual = refused->second;
    }
    const auto reply = dialogue_.reply_for(Step::kRcpt, usual);
    if (reply.positive() && mail_) mail_->recipients.push_back(address);
    return dialogue_.send(reply);
}

bool SmtpSession::data()
{
    std::string usual = "354 go on, dot ends it";
    if (!mail_)
        usual = "503 5.5.1 MAIL first";
    else if (mail_->recipients.empty())
        usual = "554 5.5.1 no recipient";
    const auto reply = dialogue_.reply_for(Step::kData, usual);
    const bool granted = reply.octets.compare(0, 3, "354") == 0 && mail_.has_value();
    in_data_ = granted;
    if (!dialogue_.send(reply)) return false;
    return !granted || (read_body() && end_of_mail());
}

// Takes octets up to and with the final dot line; false: it never came.
bool SmtpSession::read_body()
{
    std::optional<Rule> rule = dialogue_.rule_for(Step::kBody);
    LoopbackConnection& connection = dialogue_.connection();
    BodyScanner scanner;
    for (;;) {
        if (rule && mail_->size >= rule->after_octets) {
            if (!dialogue_.obey(*rule)) return false;
            rule.reset();
        }
        if (connection.buffered().empty()) {
            const Io result = connection.fill();
            if (result != Io::kOk) return dialogue_.over(result);
        }
        std::string_view piece = connection.buffered();
        if (rule) piece = piece.substr(0, rule->after_octets - mail_->size);
        const std::size_t end = scanner.feed(piece);
        const std::size_t taken = end == BodyScanner::kNotYet ? piece.size() : end;
        if (!options_.discard) mail_->wire += piece.substr(0, taken);
        mail_->size += taken;
        connection.consume(taken);
        dialogue_.log().update(dialogue_.number(), [&](Conversation& one) { one.body_octets += taken; });
        if (end != BodyScanner::kNotYet) break;
    }
    mail_->dot = true;
    mail_->size -= kFinalDotLine;
    // The dot line may have begun in an earlier piece.
    if (!options_.discard) mail_->wire.resize(mail_->wire.size() - kFinalDotLine);
    dialogue_.remark(std::to_string(mail_->size) + " octets and the final dot");
    return true;
}

bool SmtpSession::end_of_mail()
{
    std::string usual = "250 2.0.0 taken";
    const std::uint64_t limit = options_.size_limit.value_or(0);
    if (limit != 0 && mail_->size > limit) usual = "552 5.3.4 too large";
    auto reply = dialogue_.reply_for(Step::kDot, usual);
    mail_->accepted = reply.positive();
    if (options_.on_mail) {
        Conversation conversation;
        dialogue_.log().update(dialogue_.number(), [&](const Conversation& one) { conversation = one; });
        if (!options_.on_mail(*mail_, conversation) && !reply.rule) {
            reply.octets = "451 4.3.0 cannot keep it\r\n";
            mail_->accepted = false;
        }
    }
    if (options_.keep_mails) server_.keep(std::move(*mail_));
    mail_.reset();
    in_data_ = false;
    return dialogue_.send(reply);
}

bool SmtpSession::rset()
{
    const auto reply = dialogue_.reply_for(Step::kRset, "250 2.0.0 fine");
    if (reply.positive()) mail_.reset();
    return dialogue_.send(reply);
}

bool SmtpSession::quit()
{
    dialogue_.log().update(dialogue_.number(), [](Conversation& one) { one.quit = true; });
    if (!dialogue_.answer(Step::kQuit, "221 2.0.0 bye")) return false;
    dialogue_.end(Ending::kQuit);
    return false;
}

}  // namespace velorin_test
