// Mails that a POP3 server has, read to their end: any header, any parts, any octets.
//   input   what is asked for, the octets that come at once, the room of an answer, how often the middle comes, the
//           beginning up to the next kTurn, the middle up to the next, the end
#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "CntsMLUTLMimeUtility.h"
#include "CutlCPLBOSBoundary.h"
#include "fuzz_input.h"
#include "fuzz_platform.h"
#include "fuzz_property.h"
#include "last_reply.h"
#include "ntc_email_esu_pop3.pb.h"
#include "pop3_answers.h"
#include "pop3_session.h"
#include "return_codes.h"
#include "scripted_server.h"
#include "velorin_mail_service.h"

namespace {

using namespace velorin::service;
using namespace velorin_fuzz;
using velorin::CntsMLUTLMimeUtility;
using Mail = velorin::ntc_email_esu_pop3_receive_mail;
using Part = velorin::ntc_email_esu_mlutl_mail_part;

constexpr std::size_t kMaxMail = 200000;  // octets
constexpr std::size_t kLibraryRoom = 8192;
constexpr int kBase64 = 2;
constexpr int kQuotedPrintable = 3;

// What is asked for.
constexpr unsigned kConvert = 1;
constexpr unsigned kLfLines = 2;  // the server ends its lines in LF alone

struct Case {
    std::string mail;  // its last line is whole
    bool convert = false;
    bool lf_lines = false;
};

std::string decoded(int coding, const std::string& piece)
{
    if (coding != kBase64 && coding != kQuotedPrintable) return piece;
    void* octets = nullptr;
    long length = 0;
    const Exact in(piece);
    const int done = coding == kBase64 ? CntsMLUTLMimeUtility::FromB64(in.data(), in.length(), octets, length)
                                       : CntsMLUTLMimeUtility::FromQP(in.data(), in.length(), octets, length);
    require(done == 1, "any piece can be decoded");
    const Block block(octets, length);
    return {block.data(), static_cast<std::size_t>(length)};
}

// One to three characters of base64, and thousands of octets that are none: no piece holds such a group whole.
bool has_part_of_group(const std::string& piece)
{
    const auto is_sextet = [](char octet) {
        return (octet >= 'A' && octet <= 'Z') || (octet >= 'a' && octet <= 'z') ||
               (octet >= '0' && octet <= '9') || octet == '+' || octet == '/' || octet == '\0';
    };
    const auto sextets = std::count_if(piece.begin(), piece.end(), is_sextet);
    return sextets > 0 && sextets < 4 && is_sextet(piece.front());
}

struct ReadPart {
    std::string facts;  // of its header
    int coding = 0;
    std::string joined;
    std::string decoded;  // piece by piece
};

struct Reading {
    std::vector<std::uint32_t> codes;  // of headers
    std::string header;
    std::vector<ReadPart> parts;
};

class Reader {
public:
    Reader(const Case& given, std::size_t step, std::size_t room)
        : given_(given), room_(room), turns_(turns_of(given)), script_(turns_, step)
    {
        rules_.make_connection = script_.maker();
        velorin::ntc_email_esu_pop3_settings settings;
        settings.set_c_server("server.example");
        settings.set_c_user_id("user");
        session_ = std::make_unique<Pop3Session>(rules_, settings, std::make_shared<LastReply>());
        require(session_->connect() == 0, "a server that greets is connected to");
    }

    Reading read()
    {
        Reading reading;
        Mail answer;
        reading.codes.push_back(session_->receive_header(asked_, given_.convert, answer, room_));
        check_header(reading.codes.back(), answer);
        *asked_.mutable_c_mail_info() = answer.c_mail_info();
        reading.header = answer.SerializeAsString();
        if (answer.n_part_depth() == 0)
            read_body(answer.my_part(), &Pop3Session::receive_body, reading);
        else
            read_parts(answer, reading);
        return reading;
    }

    // The mail as the server has it, in one part.
    std::string read_whole()
    {
        asked_.mutable_my_part()->set_e_content_type(velorin::kContentTypeWholeMail);
        const Reading reading = read();
        require(reading.parts.size() == 1, "a whole mail is one part");
        return reading.parts.front().joined;
    }

    bool in_step() { return session_->noop() == 0; }

private:
    static std::string turns_of(const Case& given)
    {
        const std::string end = given.lf_lines ? "\n" : "\r\n";
        const std::string ok = "+OK" + end;
        std::string stuffed = ok;
        bool at_start = true;
        for (std::size_t at = 0; at < given.mail.size(); ++at) {
            if (at_start && given.mail[at] == '.') stuffed += '.';
            stuffed += given.mail[at];
            at_start = given.mail[at] == '\n' && (given.lf_lines || (at > 0 && given.mail[at - 1] == '\r'));
        }
        stuffed += "." + end;
        const std::string size = std::to_string(given.mail.size());
        std::string turns = ok + kTurn + ok + "1 uid" + end + "." + end + kTurn;
        turns += ok + "1 " + size + end + "." + end + kTurn;
        return turns + stuffed + kTurn + stuffed + kTurn + ok;
    }

    void check_header(std::uint32_t code, const Mail& answer)
    {
        require(code == 0 || code == kAnswerCut, "a header is read, whatever it holds");
        check_mail(answer, room_);
    }

    using Receive = std::uint32_t (Pop3Session::*)(const Mail&, Mail&, std::size_t);

    // Pieces up to the last one.
    //   result  another part follows
    bool read_body(const Part& facts, Receive receive, Reading& reading)
    {
        ReadPart part;
        part.facts = facts.SerializeAsString();
        part.coding = facts.e_transfer_encoding();
        bool is_strewn = false;
        for (std::size_t pieces = 0;; ++pieces) {
            require(pieces <= given_.mail.size() + 1, "pieces come to an end");
            Mail answer;
            require((session_.get()->*receive)(asked_, answer, room_) == 0,
                    "a piece comes, whatever it holds");
            check_mail(answer, room_);
            const Part& piece = answer.p_part().p_part();
            require(piece.is_terminate() || !piece.p_buffer().empty(), "only the last piece may be empty");
            part.joined += piece.p_buffer();
            part.decoded += decoded(part.coding, piece.p_buffer());
            is_strewn = is_strewn || (part.coding == kBase64 && has_part_of_group(piece.p_buffer()));
            if (!piece.is_terminate()) continue;
            if (is_strewn) part.decoded = decoded(part.coding, part.joined);
            reading.parts.push_back(part);
            return answer.is_has_next();
        }
    }

    void read_parts(const Mail& header, Reading& reading)
    {
        bool has_next = header.is_has_next();
        while (has_next) {
            require(reading.codes.size() <= MimeReader::kMaxParts + 1, "parts come to an end");
            Mail answer;
            const std::uint32_t code = session_->receive_part_header(asked_, given_.convert, answer, room_);
            reading.codes.push_back(code);
            if (code == kNoMorePart) {
                require(!answer.is_has_next(), "a mail without further part is over");
                return;
            }
            check_header(code, answer);
            const Part& part = answer.p_part().p_part();
            has_next = part.is_terminate() ? answer.is_has_next()
                                           : read_body(part, &Pop3Session::receive_part_body, reading);
        }
    }

    const Case& given_;
    const std::size_t room_;
    const std::string turns_;
    Script script_;
    SessionRules rules_;
    std::unique_ptr<Pop3Session> session_;
    Mail asked_ = [] {
        Mail mail;
        mail.mutable_c_mail_info()->set_n_id(1);
        mail.mutable_c_mail_info()->set_c_uniq_id("uid");
        return mail;
    }();
};

Reading read_all(const Case& given, std::size_t step, std::size_t room)
{
    const Platform platform;
    Reader reader(given, step, room);
    Reading reading = reader.read();
    require(reader.read_whole() == given.mail, "pieces of the whole mail are the mail");
    require(reader.in_step(), "behind a mail the server is understood");
    return reading;
}

// What is read of a mail does not depend on how its octets came.
void check_same(const Reading& one, const Reading& other, bool same_room)
{
    require(one.parts.size() == other.parts.size(), "any cut has the same parts");
    if (same_room)
        require(one.header == other.header && one.codes == other.codes, "any cut has the same header");
    for (std::size_t index = 0; index < one.parts.size(); ++index) {
        const ReadPart& part = one.parts[index];
        if (same_room) require(part.facts == other.parts[index].facts, "any cut has the same facts of parts");
        require(part.decoded == other.parts[index].decoded, "any cut decodes to the same octets");
        if (part.coding != kQuotedPrintable)
            require(part.joined == other.parts[index].joined, "any cut has the same octets");
    }
}

void check_against(const Case& given, const Reading& reading)
{
    std::size_t at = 0;
    for (const ReadPart& part : reading.parts) {
        if (part.coding == kQuotedPrintable) continue;
        at = given.mail.find(part.joined, at);
        require(at != std::string::npos, "a part is octets of the mail, one part behind the other");
        at += part.joined.size();
        require(part.coding != kBase64 || part.decoded == decoded(kBase64, part.joined),
                "pieces of base64 decode by themselves");
    }
}

std::string up_to_turn(std::string& text)
{
    const std::size_t end = std::min(text.find(kTurn), text.size());
    std::string front = text.substr(0, end);
    text.erase(0, end + 1);
    return front;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned asked = input.below(4);
    const std::size_t step = 1 + input.octet();
    const std::size_t room = 6144 + 8 * input.octet();
    const unsigned times = input.octet();
    std::string rest = input.rest();
    Case given;
    given.convert = (asked & kConvert) != 0;
    given.lf_lines = (asked & kLfLines) != 0;
    given.mail = up_to_turn(rest);
    const std::string middle = up_to_turn(rest);
    for (unsigned round = 0; round < times && given.mail.size() + middle.size() < kMaxMail; ++round)
        given.mail += middle;
    given.mail += rest;
    std::replace(given.mail.begin(), given.mail.end(), kTurn, ' ');
    if (given.mail.empty() || given.mail.back() != '\n') given.mail += given.lf_lines ? "\n" : "\r\n";
    if (!given.lf_lines && given.mail.size() >= 2 && given.mail[given.mail.size() - 2] != '\r')
        given.mail += "\r\n";
    if (!given.lf_lines && given.mail == "\n") given.mail = "\r\n";

    const Reading reading = read_all(given, given.mail.size() + 100, kLibraryRoom);
    check_against(given, reading);
    check_same(reading, read_all(given, step, kLibraryRoom), true);
    check_same(reading, read_all(given, 65536, room), false);
    return 0;
}
