// Plays every script of the folder cases/pop3/: a conversation with a server and what the operations of a
// session return and hand out. Each is played twice, by a server that sends line by line and by one that sends
// octet by octet.
//
// The notes of a script ("@ ...") are done in their order:
//   @ set FIELD VALUE          a setting: n_timeout, is_apop, n_tls_mode, n_ssl_auth, user, password
//   @ entry NUMBER UID STATUS  an entry of the caller's list
//   @ mark NUMBER STATUS       the status of the entry with that number
//   @ mean NUMBER [UID]        the mail that the following operations are about
//   @ OPERATION -> CODE        create, test, connect, stat, list, next, header, header-only, body, part-header,
//                              part-body, skip-part, skip-mail, delete, delete-by-uid, close, noop, destroy;
//                              CODE is a name of the table, or ok
//   @ count N                  what stat gave
//   @ entries N:UID:STATUS ... the list
//   @ size N OCTETS            the size in the entry with that number
//   @ info N:UID:STATUS        what next gave
//   @ subject TEXT             of the mail
//   @ piece TEXT               the octets of the last piece
//   @ flags DEPTH NEXT BOUNDARY LAST
//                              depth, has-next and boundary-detected of the mail, is-terminate of the part
//   @ the client goes          before the script is over: while the server still sends
//   @ reply TEXT               the last reply line that the service remembers; empty: none
// Texts hold escapes as the script's own lines do. Every operation must come back within its time-out. Behind
// the script another session reads a mail from a server that behaves: the service is as it was.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "loopback_script.h"
#include "octets.h"
#include "pop3_fixture.h"

namespace velorin::service {
namespace {

using velorin_test::from_printable;
using velorin_test::kSoon;
using velorin_test::LoopbackPop3;
using velorin_test::name_of;
using velorin_test::octet_difference;
using velorin_test::pop3_directly;
using velorin_test::Pop3Client;
using velorin_test::quick_options;
using velorin_test::ReceivedPart;
using velorin_test::Script;
using velorin_test::ScriptedServer;
using velorin_test::small_mails;
using velorin_test::with_mails;

using Info = ntc_email_esu_pop3_mail_info;
using Operation = std::uint32_t (*)(Pop3Client&);

const std::map<std::string, Operation> operations = {
    {"create", [](Pop3Client& client) { return client.create(); }},
    {"test", [](Pop3Client& client) { return client.test(); }},
    {"connect", [](Pop3Client& client) { return client.connect(); }},
    {"stat", [](Pop3Client& client) { return client.stat(); }},
    {"list", [](Pop3Client& client) { return client.update(); }},
    {"next", [](Pop3Client& client) { return client.next(); }},
    {"header", [](Pop3Client& client) { return client.header(); }},
    {"header-only", [](Pop3Client& client) { return client.header_only(); }},
    {"body", [](Pop3Client& client) { return client.body(); }},
    {"part-header", [](Pop3Client& client) { return client.part_header(); }},
    {"part-body", [](Pop3Client& client) { return client.part_body(); }},
    {"skip-part", [](Pop3Client& client) { return client.skip_part(); }},
    {"skip-mail", [](Pop3Client& client) { return client.skip_mail(); }},
    {"delete", [](Pop3Client& client) { return client.remove(); }},
    {"delete-by-uid", [](Pop3Client& client) { return client.remove_by_uid(); }},
    {"close", [](Pop3Client& client) { return client.close(); }},
    {"noop", [](Pop3Client& client) { return client.noop(); }},
    {"destroy", [](Pop3Client& client) { return client.destroy(); }},
};

std::string text_of(const Info& info)
{
    return std::to_string(info.n_id()) + ":" + info.c_uniq_id() + ":" + std::to_string(info.n_status());
}

// The same script from a server that sends every octet for itself. What stands behind !repeat goes whole.
Script one_octet_at_a_time(Script script)
{
    using Act = Script::Act;
    for (auto& commands : script.connections) {
        std::vector<Script::Command> slow;
        int interval = 0;
        const auto set_interval = [&](int line, int value) {
            slow.push_back({line, Act::kTrickle, {}, value, {}});
        };
        set_interval(0, interval);
        bool repeated = false;
        for (const Script::Command& command : commands) {
            if (command.act == Act::kTrickle) interval = command.number;
            if (command.act == Act::kRepeat) set_interval(command.line, -1);
            slow.push_back(command);
            if (repeated) set_interval(command.line, interval);
            repeated = command.act == Act::kRepeat;
        }
        commands = std::move(slow);
    }
    return script;
}

class Pop3Player {
public:
    explicit Pop3Player(Script script)
        : server_(std::move(script)), service_(quick_options()), client_(pop3_directly(service_))
    {
        client_.settings.set_n_port(server_.port());
    }

    void play()
    {
        for (const std::string& note : server_.notes())
            obey(note);
        expect_service_is_well();
        service_.shut_down(0);
        const std::string mismatch = server_.mismatch(kSoon);
        if (client_goes_) {
            EXPECT_NE(std::string::npos, mismatch.find("cannot send: the client ")) << mismatch;
        } else {
            EXPECT_EQ("", mismatch) << server_.transcript();
        }
    }

private:
    void obey(const std::string& note)
    {
        std::istringstream words(note);
        std::string word;
        words >> word;
        if (const auto found = operations.find(word); found != operations.end()) {
            std::string arrow, code;
            words >> arrow >> code;
            expect_code(note, code, found->second);
            return;
        }
        const std::string text = note.size() > word.size() ? note.substr(word.size() + 1) : "";
        if (note == "the client goes") {
            client_goes_ = true;
            return;
        }
        if (word == "set") return set(words);
        if (word == "reply") return expect_reply(text);
        if (word == "subject") {
            EXPECT_EQ(from_printable(text), client_.mail.c_subject());
            return;
        }
        if (word == "piece") {
            EXPECT_EQ("", octet_difference(from_printable(text), client_.part().p_buffer()));
            return;
        }
        if (word == "info") {
            EXPECT_EQ(text, text_of(client_.info));
            return;
        }
        if (word == "entries") return expect_entries(text);
        obey_numbers(note, word, words);
    }

    // Only the last reply of an operation keeps a script's client waiting: no operation takes longer than that
    // reply may, and what a busy machine adds.
    void expect_code(const std::string& note, const std::string& code, Operation operation)
    {
        constexpr auto kQuick = std::chrono::seconds(8);
        const std::uint32_t own = client_.settings.n_timeout();
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(code, name_of(operation(client_))) << note;
        const std::chrono::seconds timeout(own != 0 ? own : quick_options().command_timeout);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, timeout + kQuick) << note;
    }

    void obey_numbers(const std::string& note, const std::string& word, std::istringstream& words)
    {
        std::int32_t number = 0;
        ASSERT_TRUE(words >> number) << note;
        std::string uid;
        if (word == "count") {
            EXPECT_EQ(number, client_.count);
        } else if (word == "mean") {
            words >> uid;
            client_.mean(number, uid);
        } else if (word == "entry") {
            std::int32_t status = 0;
            ASSERT_TRUE(words >> uid >> status) << note;
            Info& entry = *client_.list.add_c_list();
            entry.set_n_id(number);
            entry.set_c_uniq_id(uid);
            entry.set_n_size(1);
            entry.set_n_status(status);
        } else if (word == "mark" || word == "size") {
            std::uint32_t value = 0;
            ASSERT_TRUE(words >> value) << note;
            Info* const entry = entry_of(number);
            ASSERT_NE(nullptr, entry) << note;
            if (word == "mark")
                entry->set_n_status(static_cast<std::int32_t>(value));
            else
                EXPECT_EQ(value, entry->n_size());
        } else if (word == "flags") {
            int next = 0, boundary = 0, last = 0;
            ASSERT_TRUE(words >> next >> boundary >> last) << note;
            EXPECT_EQ(number, client_.mail.n_part_depth()) << note;
            EXPECT_EQ(next != 0, client_.mail.is_has_next()) << note;
            EXPECT_EQ(boundary != 0, client_.mail.is_boundary_detected()) << note;
            EXPECT_EQ(last != 0, client_.part().is_terminate()) << note;
        } else {
            ADD_FAILURE() << "no such note: " << note;
        }
    }

    Info* entry_of(std::int32_t number)
    {
        for (Info& entry : *client_.list.mutable_c_list())
            if (entry.n_id() == number) return &entry;
        return nullptr;
    }

    void set(std::istringstream& words)
    {
        std::string field, value;
        words >> field >> value;
        if (field == "user") return client_.settings.set_c_user_id(value);
        if (field == "password") return client_.settings.set_c_passwd(value);
        const auto number = static_cast<std::uint32_t>(std::stoul(value));
        if (field == "n_timeout") return client_.settings.set_n_timeout(number);
        if (field == "is_apop") return client_.settings.set_is_apop(number != 0);
        if (field == "n_tls_mode") return client_.settings.set_n_tls_mode(number);
        if (field == "n_ssl_auth") return client_.settings.set_n_ssl_auth(number);
        ADD_FAILURE() << "no such setting: " << field;
    }

    void expect_entries(const std::string& expected)
    {
        std::string found;
        for (const Info& entry : client_.list.c_list())
            found += (found.empty() ? "" : " ") + text_of(entry);
        EXPECT_EQ(expected, found);
    }

    void expect_reply(const std::string& expected)
    {
        EXPECT_EQ(expected, velorin_test::last_reply_of(service_));
    }

    void expect_service_is_well()
    {
        const LoopbackPop3 server(with_mails(small_mails(1)));
        Pop3Client other(pop3_directly(service_), 2);
        std::vector<ReceivedPart> parts;
        EXPECT_EQ("ok", name_of(other.open(server.port())));
        EXPECT_EQ("ok", name_of(other.receive(parts)));
        EXPECT_EQ("mail 1", other.mail.c_subject());
        EXPECT_EQ("ok", name_of(other.close()));
    }

    ScriptedServer server_;
    MailService service_;
    Pop3Client client_;
    bool client_goes_ = false;
};

class Pop3ScriptedCase : public testing::TestWithParam<std::string> {};

// Both ways at once: most of the time one waits for the other side.
TEST_P(Pop3ScriptedCase, IsPlayedAsWritten)
{
    const Script script = Script::read(std::string(VELORIN_POP3_CASES) + "/" + GetParam() + ".txt");
    Pop3Player by_line(script);
    Pop3Player by_octet(one_octet_at_a_time(script));
    std::thread octets([&] {
        SCOPED_TRACE("octet by octet");
        by_octet.play();
    });
    {
        SCOPED_TRACE("line by line");
        by_line.play();
    }
    octets.join();
}

std::vector<std::string> names_of_cases()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(VELORIN_POP3_CASES)) {
        if (entry.path().extension() == ".txt") names.push_back(entry.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

INSTANTIATE_TEST_SUITE_P(Pop3, Pop3ScriptedCase, testing::ValuesIn(names_of_cases()),
                         [](const auto& test) { return test.param; });

}  // namespace
}  // namespace velorin::service
