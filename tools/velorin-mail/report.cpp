#include "report.h"

#include <cstdio>
#include <cstring>

#include "velorin_mail_service.h"

#include "utf8.h"

namespace velorin::cli {

namespace {

// The codes of the service and the library by name, and what a script makes of them.
constexpr struct {
    const char* name;
    int exit_code;
} kExitRows[] = {
    {"wrong-order", kExitSoftware},
    {"unknown-session", kExitSoftware},
    {"malformed-request", kExitSoftware},
    {"limit-reached", kExitTemporary},
    {"shutting-down", kExitTemporary},
    {"session-busy", kExitSoftware},
    {"aborted", kExitTemporary},
    {"bad-settings", kExitConfig},
    {"internal-failure", kExitSoftware},
    {"name-lookup", kExitNoHost},
    {"connect-refused", kExitTemporary},
    {"time-out", kExitTemporary},
    {"connection-lost", kExitTemporary},
    {"server-refused", kExitTemporary},
    {"reply-malformed", kExitProtocol},
    {"tls-failed", kExitProtocol},
    {"certificate-refused", kExitProtocol},
    {"tls-not-offered", kExitProtocol},
    {"ca-unusable", kExitConfig},
    {"login-refused", kExitPermission},
    {"mailbox-in-use", kExitTemporary},
    {"no-common-method", kExitProtocol},
    {"login-required", kExitPermission},
    {"sender-refused", kExitPermission},
    {"recipient-refused", kExitNoUser},
    {"recipient-deferred", kExitTemporary},
    {"mail-refused", kExitPermission},
    {"try-later", kExitTemporary},
    {"too-large", kExitData},
    {"header-not-composed", kExitData},
    {"unsafe-text", kExitData},
    {"bad-address", kExitData},
    {"not-confirmed", kExitProtocol},  // not "try again": the mail may have been delivered
    {"no-such-mail", kExitData},
    {"no-more-mail", kExitData},
    {"answer-cut", kExitSoftware},
    {"command-refused", kExitProtocol},
    {"no-unique-ids", kExitProtocol},
    {"not-deleted", kExitProtocol},
    {"no-more-part", kExitData},
    {"service-call-failed", kExitUnavailable},
    {"out-of-memory", kExitSystem},
    {"invalid-argument", kExitSoftware},
};

// A sentence of the table as a part of a longer one: small first letter, no full stop.
std::string as_clause(const char* sentence)
{
    std::string clause = sentence;
    if (!clause.empty() && clause.back() == '.') clause.pop_back();
    if (clause.size() > 1 && clause[0] >= 'A' && clause[0] <= 'Z' && (clause[1] < 'A' || clause[1] > 'Z'))
        clause[0] = static_cast<char>(clause[0] - 'A' + 'a');
    return clause;
}

// A reply line that says why something failed: not one that agreed to the step before the connection broke.
bool explains(const std::string& reply)
{
    return !reply.empty() && reply[0] != '2' && reply[0] != '3' && reply[0] != '+';
}

const char* status_of_success(const std::string& command)
{
    static constexpr struct {
        const char* command;
        const char* status;
    } rows[] = {{"check", "works"}, {"list", "listed"}, {"fetch", "fetched"}, {"delete", "deleted"}};
    for (const auto& row : rows)
        if (command == row.command) return row.status;
    return "sent";
}

std::string json_member(const char* name, const std::string& value)
{
    return std::string(",\"") + name + "\":" + value;
}

}  // namespace

int exit_code_of(std::uint32_t code)
{
    const ReturnCode* const row = find_return_code(code);
    if (row == nullptr) return kExitSoftware;
    for (const auto& candidate : kExitRows)
        if (std::strcmp(candidate.name, row->name) == 0) return candidate.exit_code;
    return kExitSoftware;
}

bool fail_with_code(Failure& failure, const std::string& step, std::uint32_t code)
{
    const ReturnCode* const row = find_return_code(code);
    failure = Failure();
    failure.exit_code = exit_code_of(code);
    failure.step = step;
    failure.code = code;
    failure.code_name = row != nullptr ? row->name : "unknown-code";
    failure.sentence =
        row != nullptr ? as_clause(row->sentence) : "the mail service returned a code that nobody knows";
    const std::string reply = last_server_reply();
    if (explains(reply)) failure.server_reply = reply;
    return false;
}

std::string sentence_of(const Failure& failure)
{
    std::string sentence = failure.step;
    if (!failure.where.empty()) sentence += " " + failure.where;
    sentence += (sentence.empty() ? "" : ": ") + failure.sentence;
    if (failure.code != 0) sentence += " (" + failure.code_name + ", " + hex_of(failure.code) + ")";
    if (!failure.server_reply.empty()) sentence += ", the server answered \"" + failure.server_reply + "\"";
    return printable(sentence);
}

std::string json_of(const Outcome& outcome, const Failure* failure)
{
    const char* const good = status_of_success(outcome.command);
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.3f", outcome.seconds);
    std::string object = "{\"command\":" + json_string(outcome.command);
    object += json_member("status", json_string(failure == nullptr ? good : "failed"));
    object += json_member("exit_code", std::to_string(failure == nullptr ? kExitOk : failure->exit_code));
    if (failure != nullptr) {
        object += json_member("step", json_string(failure->step));
        if (!failure->where.empty()) object += json_member("where", json_string(failure->where));
        object += json_member("sentence", json_string(failure->sentence));
        if (failure->code != 0) {
            object += json_member("code", json_string(hex_of(failure->code)));
            object += json_member("name", json_string(failure->code_name));
        }
        if (!failure->server_reply.empty())
            object += json_member("server_reply", json_string(failure->server_reply));
    }
    if (!outcome.message_id.empty()) object += json_member("message_id", json_string(outcome.message_id));
    if (!outcome.mails.empty()) object += json_member("mails", outcome.mails);
    if (outcome.command == "send" || outcome.command == "fetch")
        object += json_member("octets", std::to_string(outcome.octets));
    object += json_member("seconds", seconds);
    return object + "}";
}

std::string json_string(const std::string& text)
{
    std::string quoted = "\"";
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t width = utf8_width(text.data() + i, text.size() - i);
        if (width == 0) {
            quoted += "\\ufffd";
            ++i;
            continue;
        }
        const auto octet = static_cast<unsigned char>(text[i]);
        if (octet == '"' || octet == '\\') {
            quoted += '\\';
            quoted += text[i];
        } else if (octet < 0x20 || octet == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(octet));
            quoted += escape;
        } else {
            quoted.append(text, i, width);
        }
        i += width;
    }
    return quoted + "\"";
}

std::string printable(const std::string& text)
{
    std::string shown = text;
    for (std::size_t i = 0; i < shown.size();) {
        const std::size_t width = utf8_width(shown.data() + i, shown.size() - i);
        const auto octet = static_cast<unsigned char>(shown[i]);
        const bool c1 = width == 2 && octet == 0xC2 && static_cast<unsigned char>(shown[i + 1]) < 0xA0;
        if (width == 0 || octet < 0x20 || octet == 0x7F) {
            shown[i++] = '?';
        } else if (c1) {  // a control character in two octets
            shown.replace(i++, 2, "?");
        } else {
            i += width;
        }
    }
    return shown;
}

std::string hex_of(std::uint32_t code)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08lx", static_cast<unsigned long>(code));
    return text;
}

int report(const Outcome& outcome, const Failure* failure, bool json)
{
    if (failure != nullptr) std::fprintf(stderr, "velorin-mail: %s\n", sentence_of(*failure).c_str());
    if (json && (std::printf("%s\n", json_of(outcome, failure).c_str()) < 0 || std::fflush(stdout) != 0)) {
        // Whoever reads this must not take it for a failed sending and send again.
        std::fprintf(stderr, "velorin-mail: %s the result cannot be written to standard output\n",
                     failure == nullptr ? "the work is done, but" : "and");
        return failure != nullptr ? failure->exit_code : static_cast<int>(kExitIo);
    }
    return failure != nullptr ? failure->exit_code : static_cast<int>(kExitOk);
}

}  // namespace velorin::cli
