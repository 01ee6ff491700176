// Plays every script of the folder cases/: a conversation with a server, octet by octet, and what the
// operations of a session return.
//
// The notes of a script ("@ ...") are done in their order:
//   @ set FIELD VALUE          a setting: n_tmo, auth_kind, tlsmode, sslauth, n_size_limit, user, password
//   @ mail FIELD TEXT          a text of the mail: to, cc, bcc, sender, subject
//   @ multipart, @ part NAME   the mail has parts; the part under way is a file of that name
//   @ OPERATION [ARGUMENT] -> CODE
//                              create, test, connect, judge N, header, body TEXT, part-header, part-body
//                              TEXT, close, abort, destroy; CODE is a name of the table, or ok
//   @ reply TEXT               the last reply line that the service remembers; empty: none
// Texts hold escapes as the script's own lines do.
#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "loopback_script.h"
#include "octets.h"
#include "service_client.h"

namespace velorin::service {
namespace {

using velorin_test::directly;
using velorin_test::from_printable;
using velorin_test::kSoon;
using velorin_test::name_of;
using velorin_test::quick_options;
using velorin_test::Script;
using velorin_test::ScriptedServer;
using velorin_test::ServiceClient;

using Run = std::uint32_t (*)(ServiceClient&, const std::string& argument);

const std::map<std::string, Run> operations = {
    {"create", [](ServiceClient& client, const std::string&) { return client.create(); }},
    {"test", [](ServiceClient& client, const std::string&) { return client.test(); }},
    {"connect", [](ServiceClient& client, const std::string&) { return client.connect(); }},
    {"judge",
     [](ServiceClient& client, const std::string& size) {
         return client.judge(static_cast<std::uint32_t>(std::stoul(size)));
     }},
    {"header", [](ServiceClient& client, const std::string&) { return client.header(); }},
    {"body",
     [](ServiceClient& client, const std::string& text) { return client.body(from_printable(text)); }},
    {"part-header", [](ServiceClient& client, const std::string&) { return client.part_header(); }},
    {"part-body",
     [](ServiceClient& client, const std::string& text) { return client.part_body(from_printable(text)); }},
    {"close", [](ServiceClient& client, const std::string&) { return client.close(); }},
    {"abort", [](ServiceClient& client, const std::string&) { return client.abort(); }},
    {"destroy", [](ServiceClient& client, const std::string&) { return client.destroy(); }},
};

// The first word; `text` is left with what stands behind it.
std::string take_word(std::string& text)
{
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string word = text.substr(0, end);
    text.erase(0, std::min(end + 1, text.size()));
    return word;
}

class Player {
public:
    explicit Player(const std::string& path)
        : server_(Script::read(path)), service_(options()), client_(directly(service_))
    {
        client_.settings.set_n_port(server_.port());
    }

    void play()
    {
        for (const std::string& note : server_.notes())
            obey(note);
        service_.shut_down(0);
        EXPECT_EQ("", server_.mismatch(kSoon)) << server_.transcript();
    }

private:
    static MailServiceOptions options()
    {
        MailServiceOptions options = quick_options();
        options.data_timeout = 1;
        return options;
    }

    void obey(const std::string& note)
    {
        std::string rest = note;
        const std::string word = take_word(rest);
        if (word == "set") return set(rest);
        if (word == "mail") return set_mail(rest);
        if (word == "multipart") return client_.make_multipart();
        if (word == "part") return client_.set_part(rest);
        if (word == "reply") return expect_reply(rest);
        const auto found = operations.find(word);
        const std::size_t arrow = note.rfind("-> ");
        ASSERT_TRUE(found != operations.end() && arrow != std::string::npos) << note;
        std::string argument = rest.substr(0, rest.rfind("-> "));
        if (!argument.empty()) argument.pop_back();  // the blank before the arrow
        EXPECT_EQ(note.substr(arrow + 3), name_of(found->second(client_, argument))) << note;
    }

    void set(std::string value)
    {
        const std::string field = take_word(value);
        if (field == "user") return client_.settings.set_c_usr_id(value);
        if (field == "password") return client_.settings.set_c_paswd(value);
        const auto number = static_cast<std::uint32_t>(std::stoul(value));
        if (field == "n_tmo") return client_.settings.set_n_tmo(number);
        if (field == "auth_kind") return client_.settings.set_auth_kind(static_cast<std::int32_t>(number));
        if (field == "tlsmode") return client_.settings.set_tlsmode(number);
        if (field == "sslauth") return client_.settings.set_sslauth(number);
        if (field == "n_size_limit") return client_.settings.set_n_size_limit(number);
        ADD_FAILURE() << "no such setting: " << field;
    }

    void set_mail(std::string text)
    {
        const std::string field = take_word(text);
        text = from_printable(text);
        if (field == "to") return client_.mail.mutable_c_to()->set_c_address(text);
        if (field == "cc") return client_.mail.mutable_c_cc()->set_c_address(text);
        if (field == "bcc") return client_.mail.mutable_c_bcc()->set_c_address(text);
        if (field == "sender") return client_.mail.mutable_c_sender()->set_c_address(text);
        if (field == "subject") return client_.mail.set_c_subject(text);
        ADD_FAILURE() << "no such text: " << field;
    }

    void expect_reply(const std::string& expected)
    {
        EXPECT_EQ(expected, velorin_test::last_reply_of(service_));
    }

    ScriptedServer server_;
    MailService service_;
    ServiceClient client_;
};

class ScriptedCase : public testing::TestWithParam<std::string> {};

TEST_P(ScriptedCase, IsPlayedAsWritten)
{
    Player player(std::string(VELORIN_SERVICE_CASES) + "/" + GetParam() + ".txt");
    player.play();
}

std::vector<std::string> names_of_cases()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(VELORIN_SERVICE_CASES)) {
        if (entry.path().extension() == ".txt") names.push_back(entry.path().stem().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Without a parameter in the folder this fails, as GoogleTest does for a suite that is never instantiated.
INSTANTIATE_TEST_SUITE_P(Smtp, ScriptedCase, testing::ValuesIn(names_of_cases()),
                         [](const auto& test) { return test.param; });

}  // namespace
}  // namespace velorin::service
