// The SMTP dialogue with a server that says anything: two mails on one connection.
//   input   the octets that come at once, what the server can do, how many recipients, where the mails are cut, a mail
//           up to the next kTurn, the server's turns
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_input.h"
#include "fuzz_property.h"
#include "last_reply.h"
#include "return_codes.h"
#include "scripted_server.h"
#include "smtp_dialogue.h"

namespace {

using namespace velorin::service;
using namespace velorin_fuzz;

struct Case {
    SmtpCapabilities able;
    MailEnvelope envelope;
    std::uint64_t size = 0;
    std::size_t cut = 1;
    std::string mail;
    std::string turns;
};

// The data of a mail as RFC 5321 has it, by another way than the service's: line by line.
std::string data_of(const std::string& mail)
{
    std::string data;
    std::string line;
    const auto end_line = [&] {
        data += (line.substr(0, 1) == "." ? "." : "") + line + "\r\n";
        line.clear();
    };
    for (std::size_t at = 0; at < mail.size(); ++at) {
        if (mail[at] == '\r' && at + 1 < mail.size() && mail[at + 1] == '\n') ++at;
        if (mail[at] == '\r' || mail[at] == '\n')
            end_line();
        else
            line += mail[at];
    }
    if (!line.empty()) end_line();
    return data + ".\r\n";
}

bool begins(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

// Commands, each a line by itself.
//   out     last: the last of them
void check_commands(std::string_view commands, std::string& last)
{
    while (!commands.empty()) {
        const std::size_t end = commands.find("\r\n");
        require(end != std::string_view::npos, "a command ends in CR LF");
        const std::string_view line = commands.substr(0, end);
        require(
            std::all_of(line.begin(), line.end(), [](char octet) { return octet >= 0x20 && octet < 0x7F; }),
            "a command holds nothing but printable characters");
        require(begins(line, "MAIL FROM:<") || begins(line, "RCPT TO:<") || line == "DATA" ||
                    line == "RSET" || line == "QUIT",
                "a command is one of those that were meant");
        last = line;
        commands.remove_prefix(end + 2);
    }
}

struct Outcome {
    std::vector<std::uint32_t> codes;
    std::string sent;
    std::string last_reply;
    bool open = false;

    bool operator==(const Outcome& other) const
    {
        return codes == other.codes && sent == other.sent && last_reply == other.last_reply &&
               open == other.open;
    }
};

class Run {
public:
    Run(const Case& given, std::size_t step)
        : given_(given), script_(given.turns, step), connection_(script_, last_reply_),
          dialogue_(connection_, last_reply_, 1, 1)
    {
        connection_.open_with(given.able);
        for (int mail = 0; mail < 2 && connection_.is_open(); ++mail)
            send_mail();
        check_remembered();
        const bool was_open = connection_.is_open();
        dialogue_.quit(1);
        require(!connection_.is_open(), "nothing stays open behind QUIT");
        outcome_ = {codes_, script_.sent(), last_reply_.get(), was_open};
    }

    const Outcome& outcome() const { return outcome_; }

private:
    std::uint32_t note(std::uint32_t code)
    {
        require(code == 0 || find(code), "a code is one of the service's");
        codes_.push_back(code);
        return code;
    }

    static bool find(std::uint32_t code) { return std::string(name_of_code(code)) != "?"; }

    void send_mail()
    {
        const std::size_t from = script_.sent().size();
        const std::uint32_t code = note(dialogue_.begin_mail(given_.envelope, given_.size));
        std::string last;
        check_commands(std::string_view(script_.sent()).substr(from), last);
        if (code != 0) {
            require(!connection_.is_open() || last == "RSET",
                    "a server that stays is ready for the next mail");
            return;
        }
        require(last == "DATA", "a mail that begins has been announced");
        require(connection_.is_open(), "a mail begins on an open connection");
        require(last_reply_.get().compare(0, 3, "354") == 0, "a mail begins when the server says so");
        send_data();
    }

    void send_data()
    {
        const std::size_t from = script_.sent().size();
        for (std::size_t at = 0; at < given_.mail.size(); at += given_.cut) {
            const Exact slice(std::string_view(given_.mail).substr(at, given_.cut));
            if (note(dialogue_.write_mail(slice.data(), static_cast<std::size_t>(slice.length()))) != 0)
                return gone();
        }
        if (note(dialogue_.send_end()) != 0) return gone();
        require(script_.sent().compare(from, std::string::npos, data_of(given_.mail)) == 0,
                "what is sent is the mail, its lines ended and its dots doubled");
        const std::uint32_t verdict = note(dialogue_.await_verdict());
        if (verdict == 0)
            require(last_reply_.get().substr(0, 1) == "2", "a mail is sent when the server says so");
        if (verdict == kNotConfirmed) gone();
    }

    void gone() { require(!connection_.is_open(), "a mail that was cut short has lost its connection"); }

    void check_remembered()
    {
        const std::string line = last_reply_.get();
        require(line.size() <= 512, "a line that is remembered is short");
    }

    const Case& given_;
    LastReply last_reply_;
    Script script_;
    ScriptedConnection connection_;
    SmtpDialogue dialogue_;
    std::vector<std::uint32_t> codes_;
    Outcome outcome_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    Case given;
    const std::size_t step = 1 + input.octet();
    const unsigned able = input.below(8);
    given.able.pipelining = (able & 1) != 0;
    given.able.eight_bit = (able & 2) != 0;
    given.able.size_offered = (able & 4) != 0;
    given.size = able * 1000;
    given.envelope.sender = "sender@example.com";
    const unsigned recipients = 1 + input.below(70);
    for (unsigned index = 0; index < recipients; ++index)
        given.envelope.recipients.push_back("r" + std::to_string(index) + "@example.org");
    given.cut = 1 + input.octet();
    const std::string rest = input.rest();
    given.mail = rest.substr(0, rest.find(kTurn));
    given.turns = rest.substr(std::min(given.mail.size() + 1, rest.size()));

    const Outcome outcome = Run(given, given.turns.size() + 1).outcome();
    require(outcome == Run(given, step).outcome(), "any cut of the replies ends alike");
    require(outcome == Run(given, 1).outcome(), "replies octet by octet end alike");
    return 0;
}
