// What an SMTP or POP3 server says: single replies, and all that is said while a connection is opened.
//   input   the protocol and what is expected of it, the octets that come at once, the server's octets
#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_input.h"
#include "fuzz_property.h"
#include "last_reply.h"
#include "opening_replies.h"
#include "smtp_capabilities.h"
#include "smtp_reply.h"

namespace {

using namespace velorin::service;
using namespace velorin_fuzz;

void check_printable(const std::string& line)
{
    require(line.size() <= 512, "a line that is remembered is short");
    const auto is_printable = [](char octet) { return octet >= 0x20 && octet <= 0x7E; };
    require(std::all_of(line.begin(), line.end(), is_printable), "a line that is remembered is printable");
}

// Everything that a reader of replies finds in a text.
struct Replies {
    std::vector<std::string> lines;  // code and last line of each
    bool malformed = false;
    std::size_t taken = 0;  // octets of the complete ones

    bool operator==(const Replies& other) const
    {
        return lines == other.lines && malformed == other.malformed && taken == other.taken;
    }
};

Replies read_replies(std::string_view text, std::size_t step)
{
    Replies found;
    SmtpReplyParser parser;
    for (std::size_t at = 0; at < text.size();) {
        const Exact slice(text.substr(at, step));
        const auto size = static_cast<std::size_t>(slice.length());
        std::size_t taken = 0;
        const SmtpReplyParser::Result result = parser.feed(slice.data(), size, taken);
        require(taken <= size, "no more is taken than was given");
        if (result == SmtpReplyParser::Result::malformed) {
            found.malformed = true;
            return found;
        }
        at += taken;
        if (result == SmtpReplyParser::Result::incomplete) {
            require(taken == size, "a reply that goes on takes everything");
            continue;
        }
        const SmtpReply& reply = parser.reply();
        require(reply.code >= 200 && reply.code <= 599, "a reply has a code that replies have");
        require(reply.last_line.compare(0, 3, std::to_string(reply.code)) == 0,
                "its last line begins with it");
        require(reply.last_line.find('\n') == std::string::npos, "a line is one line");
        require(text[at - 1] == '\n', "a reply ends with its line");
        require(!reply.positive() || !reply.transient(), "a reply says one thing");
        check_printable(printable_line(reply.last_line));
        found.lines.push_back(reply.last_line);
        found.taken = at;
        parser.reset();
    }
    return found;
}

struct Opening {
    bool malformed, granted, challenged, refused, greeted, secured, tls, apop, ticket;
    int code;
    std::string line;
    std::string remembered;
    std::vector<std::string> capabilities;

    bool operator==(const Opening& other) const
    {
        return malformed == other.malformed && granted == other.granted && challenged == other.challenged &&
               refused == other.refused && greeted == other.greeted && secured == other.secured &&
               tls == other.tls && apop == other.apop && ticket == other.ticket && code == other.code &&
               line == other.line && remembered == other.remembered && capabilities == other.capabilities;
    }
};

Opening read_opening(std::string_view text, unsigned kind, std::size_t step)
{
    LastReply last_reply;
    const bool is_smtp = (kind & 1) == 0;
    OpeningReplies replies(is_smtp ? ServerProtocol::smtp : ServerProtocol::pop3, last_reply);
    if ((kind & 2) != 0) replies.expect_stls();
    if ((kind & 4) != 0) replies.stop_at_tickets();
    for (std::size_t at = 0; at < text.size(); at += step) {
        const Exact slice(text.substr(at, step));
        const bool taken = replies.take(slice.data(), static_cast<std::size_t>(slice.length()));
        require(taken == !replies.malformed(), "what is refused is malformed");
        if (!taken) break;
    }
    check_printable(last_reply.get());
    require(replies.greeted() || !replies.secured(), "TLS comes behind a greeting");
    require(!replies.login_granted() || is_smtp, "235 is a reply of SMTP");
    require(replies.capability_lines().size() <= 256, "what is kept of capabilities is bounded");
    const SmtpCapabilities able = read_capabilities(replies.capability_lines());
    require(able.size_offered || able.size == 0, "a limit has been offered");
    return {
        replies.malformed(),       replies.login_granted(), replies.challenged(), replies.refused(),
        replies.greeted(),         replies.secured(),       replies.offers_tls(), replies.offers_apop_only(),
        replies.offers_ticket(),   replies.code(),          replies.line(),       last_reply.get(),
        replies.capability_lines()};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned kind = input.below(8);
    const std::size_t step = 1 + input.octet();
    const std::string text = input.rest();
    const std::size_t whole = std::max<std::size_t>(text.size(), 1);

    const Replies replies = read_replies(text, whole);
    require(replies == read_replies(text, step), "any cut gives the same replies");
    require(replies == read_replies(text, 1), "octet by octet the replies are the same");

    const Opening opening = read_opening(text, kind, whole);
    require(opening == read_opening(text, kind, step), "any cut opens in the same way");
    require(opening == read_opening(text, kind, 1), "octet by octet it opens in the same way");
    return 0;
}
