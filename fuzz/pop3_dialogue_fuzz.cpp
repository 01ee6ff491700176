// A POP3 session with a server that says anything: operations in any order, hostile status lines, listings and mails.
//   input   the octets that come at once, the room of an answer, a line of operations, a letter each, the server's turns
#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_input.h"
#include "fuzz_platform.h"
#include "fuzz_property.h"
#include "last_reply.h"
#include "mailbox.h"
#include "ntc_email_esu_pop3.pb.h"
#include "pop3_answers.h"
#include "pop3_session.h"
#include "return_codes.h"
#include "scripted_server.h"

namespace {

using namespace velorin::service;
using namespace velorin_fuzz;
using Mail = velorin::ntc_email_esu_pop3_receive_mail;
using Info = velorin::ntc_email_esu_pop3_mail_info;
using List = velorin::ntc_email_esu_pop3_mail_info_list;

constexpr std::size_t kMaxOperations = 60;

// A client that does what its letters say, and takes answers over as they come.
class Client {
public:
    Client(const std::string& turns, std::size_t step, std::size_t room) : room_(room), script_(turns, step)
    {
        rules_.make_connection = script_.maker();
        velorin::ntc_email_esu_pop3_settings settings;
        settings.set_c_server("server.example");
        settings.set_c_user_id("user");
        session_ = std::make_unique<Pop3Session>(rules_, settings, last_reply_);
        list_.set_n_max_list_size(200);
        mean(1, "");
    }

    void operate(char letter)
    {
        const std::size_t from = script_.sent().size();
        const std::uint32_t code = run(letter);
        check_code(code);
        if (letter == 'c' && code == 0) forget_connection();
        check_commands(std::string_view(script_.sent()).substr(from), letter);
        outcome_ += letter + std::to_string(code) + ' ' + last_reply_->get() + '\n';
    }

    // All that the operations gave, and what the server got.
    std::string outcome() const { return outcome_ + script_.sent(); }

private:
    void forget_connection()
    {
        listed_ = false;
        shown_.clear();
    }

    // What the caller has been shown of a server without unique ids.
    void show(const Info& info)
    {
        if (info.c_uniq_id().empty()) shown_.insert(info.n_id());
    }

    void mean(std::int32_t number, const std::string& uid)
    {
        mail_.Clear();
        mail_.mutable_c_mail_info()->set_n_id(number);
        mail_.mutable_c_mail_info()->set_c_uniq_id(uid);
    }

    std::uint32_t run(char letter)
    {
        switch (letter) {
        case 't':
            return session_->test();
        case 'c':
            return session_->connect();
        case 's':
            return stat();
        case 'l':
            return list();
        case 'n':
            return list_next();
        case 'h':
            return receive(&Pop3Session::receive_header, true);
        case 'H':
            return receive(&Pop3Session::receive_header, false);
        case 'o':
            return receive(&Pop3Session::receive_header_only, true);
        case 'b':
            return receive(&Pop3Session::receive_body);
        case 'p':
            return receive(&Pop3Session::receive_part_header, true);
        case 'q':
            return receive(&Pop3Session::receive_part_body);
        case 'k':
            return receive(&Pop3Session::skip_part);
        case 'm':
            return skip_mail();
        case 'd':
            return session_->remove(mail_);
        case 'D':
            return remove_all();
        case 'i':
            return mean_listed();
        case '0':
            return session_->noop();
        case 'x':
            return session_->close();
        case 'a':
            session_->abort();
            return 0;
        default:
            session_->quit();
            return 0;
        }
    }

    std::uint32_t stat()
    {
        std::int32_t count = -1;
        const std::uint32_t code = session_->stat(count);
        require(count >= 0 && (code == 0 || count == 0), "a count is none below 0");
        return code;
    }

    std::uint32_t take_list(std::uint32_t code, const List& answer)
    {
        check_list(list_, answer, room_);
        if (code == 0 || code == kAnswerCut) {
            for (const Info& entry : answer.c_list())
                show(entry);
            for (const Info& entry : answer.c_list())
                require(entry.n_id() > 0, "a listed mail has a number");
            list_ = answer;
            outcome_ += list_.SerializeAsString();
        }
        return code;
    }

    std::uint32_t list()
    {
        List answer;
        const std::uint32_t code = session_->list(list_, answer, room_);
        return take_list(code, answer);
    }

    std::uint32_t list_next()
    {
        List answer = list_;
        Info next;
        const std::uint32_t code = session_->list_next(list_, info_, answer, next, room_);
        if (code == 0 || code == kAnswerCut) {
            require(next.n_id() > info_.n_id(), "the next mail has a higher number");
            info_ = next;
            show(next);
        }
        return take_list(code, answer);
    }

    std::uint32_t mean_listed()
    {
        if (info_.n_id() > 0) mean(info_.n_id(), info_.c_uniq_id());
        return 0;
    }

    std::uint32_t remove_all()
    {
        List answer;
        if (list_.c_list_size() > 0) list_.mutable_c_list(0)->set_n_status(2);
        const std::uint32_t code = session_->remove_by_uid(list_, answer, room_);
        require(answer.c_list_size() <= list_.c_list_size(), "deleting lists nothing new");
        return code;
    }

    using Receive = std::uint32_t (Pop3Session::*)(const Mail&, Mail&, std::size_t);
    using ReceiveHeader = std::uint32_t (Pop3Session::*)(const Mail&, bool, Mail&, std::size_t);

    void take_mail(const Mail& answer)
    {
        check_mail(answer, room_);
        if (answer.has_c_mail_info()) {
            *mail_.mutable_c_mail_info() = answer.c_mail_info();
            show(answer.c_mail_info());
        }
        outcome_ += answer.SerializeAsString();
    }

    std::uint32_t receive(Receive operation)
    {
        Mail answer;
        const std::uint32_t code = (session_.get()->*operation)(mail_, answer, room_);
        take_mail(answer);
        return code;
    }

    std::uint32_t receive(ReceiveHeader operation, bool convert)
    {
        Mail answer;
        const std::uint32_t code = (session_.get()->*operation)(mail_, convert, answer, room_);
        take_mail(answer);
        return code;
    }

    std::uint32_t skip_mail()
    {
        Mail answer;
        const std::uint32_t code = session_->skip_mail(mail_, answer);
        take_mail(answer);
        return code;
    }

    // A number by itself may be another mail's by now.
    void check_deletion(const std::string& number, char letter) const
    {
        require(letter == 'd' || letter == 'D', "nothing is deleted unasked");
        require(listed_, "a mail is looked up on the connection on which it is deleted");
        const bool has_id = letter == 'D' || !mail_.c_mail_info().c_uniq_id().empty();
        require(has_id || shown_.count(std::stoi(number)) != 0,
                "a mail without unique id is deleted if it was shown");
    }

    // Commands, each a line by itself.
    void check_commands(std::string_view commands, char letter)
    {
        while (!commands.empty()) {
            const std::size_t end = commands.find("\r\n");
            require(end != std::string_view::npos, "a command ends in CR LF");
            const std::string_view line = commands.substr(0, end);
            require(std::all_of(line.begin(), line.end(),
                                [](char octet) { return octet >= 0x20 && octet < 0x7F; }),
                    "a command holds nothing but printable characters");
            const std::string_view word = line.substr(0, 4);
            if (word == "LIST") listed_ = true;
            if (word == "DELE") check_deletion(std::string(line.substr(5)), letter);
            static const std::string_view known[] = {"STAT", "LIST", "UIDL", "RETR", "TOP ",
                                                     "DELE", "NOOP", "QUIT", "USER", "PASS"};
            require(std::find(std::begin(known), std::end(known), word) != std::end(known),
                    "a command is one of POP3");
            commands.remove_prefix(end + 2);
        }
    }

    const std::size_t room_;
    Script script_;
    SessionRules rules_;
    const std::shared_ptr<LastReply> last_reply_ = std::make_shared<LastReply>();
    std::unique_ptr<Pop3Session> session_;
    Mail mail_;
    Info info_;
    List list_;
    std::string outcome_;
    bool listed_ = false;           // on this connection
    std::set<std::int32_t> shown_;  // on this connection, without unique id
};

std::string run(const std::string& operations, const std::string& turns, std::size_t step, std::size_t room)
{
    const Platform platform;
    Client client(turns, step, room);
    for (const char letter : operations)
        client.operate(letter);
    return client.outcome();
}

// One line of a listing, by itself.
void check_line(std::string_view line)
{
    std::uint32_t number = 0;
    std::string_view uid;
    if (read_uid_line(line, number, uid)) {
        require(number > 0 && number <= 0x7FFFFFFF, "a mail has a number");
        require(!uid.empty() && uid.size() <= 255, "a unique id has a text");
        require(std::all_of(uid.begin(), uid.end(), [](char octet) { return octet > 0x20 && octet < 0x7F; }),
                "a unique id is visible US-ASCII");
        require(uid.data() >= line.data() && uid.data() + uid.size() <= line.data() + line.size(),
                "a unique id stands in its line");
    }
    std::uint32_t size = 0;
    if (read_size_line(line, number, size))
        require(number > 0 && number <= 0x7FFFFFFF && size <= 0x7FFFFFFF, "a size fits the device");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const std::size_t step = 1 + input.octet();
    const std::size_t room = 6144 + 8 * input.octet();
    const std::string operations = input.line().substr(0, kMaxOperations);
    const std::string turns = input.rest();

    for (std::size_t at = 0; at < turns.size();) {
        const std::size_t end = std::min(turns.find('\n', at), turns.size());
        const Exact line(std::string_view(turns).substr(at, end - at));
        check_line({line.data(), static_cast<std::size_t>(line.length())});
        at = end + 1;
    }
    const std::string outcome = run(operations, turns, step, room);
    require(outcome == run(operations, turns, step, room), "the same happens again");
    return 0;
}
