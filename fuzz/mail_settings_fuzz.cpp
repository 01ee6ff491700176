// The configuration file of the command line, up to the account that it describes.
//   input   the file
#include <algorithm>
#include <string>

#include "account.h"
#include "fuzz_input.h"
#include "fuzz_property.h"
#include "settings.h"

namespace {

using namespace velorin::cli;
using namespace velorin_fuzz;

void check_failure(const Failure& failure)
{
    require(failure.exit_code != 0, "a failure has an exit code");
    require(!failure.sentence.empty(), "a failure has a sentence");
}

void check_text(const std::string& text)
{
    const auto is_control = [](char octet) {
        const auto value = static_cast<unsigned char>(octet);
        return value < 0x20 || value == 0x7F;
    };
    require(std::none_of(text.begin(), text.end(), is_control),
            "no text of an account holds a control character");
}

void check_account(const Account& account)
{
    for (const std::string* const text :
         {&account.server, &account.ca_file, &account.user, &account.password.command, &account.password.file,
          &account.host_name, &account.pop_server, &account.pop_user, &account.pop_password.command,
          &account.pop_password.file, &account.from, &account.sender, &account.reply_to, &account.charset})
        check_text(*text);
    require(account.port >= 0 && account.port <= 65535, "a port is one");
    require(account.pop_port >= 0 && account.pop_port <= 65535, "a POP3 port is one");
    require(account.timeout <= 86400 && account.data_timeout <= 86400 && account.pop_wait <= 86400,
            "nobody waits longer than a day");
    require(account.size_limit >= 0 && account.pop_wait >= 0, "a limit is none below 0");
    require(account.password.command.empty() || account.password.file.empty(), "a password has one source");
    require(account.recipients.kind != DomainRule::Kind::kNone || account.recipients.items.empty(),
            "a list of domains has a meaning");
}

// In clear only where somebody says so.
void check_secrecy(const Settings& settings, const Account& account)
{
    const bool logs_in = account.auth != AuthKind::kNone;
    if (logs_in && settings.count("tls") == 0)
        require(account.tls != TlsMode::kNone, "a password goes out in clear on demand only");
}

std::string text_of(const Settings& settings)
{
    std::string text;
    for (const auto& [name, value] : settings)
        text += name + " = " + value + "\n";
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    const std::string text = Input(octets, size).rest();
    Settings settings = {{"server", "before"}};
    Failure failure;
    if (!parse_config("mail.conf", text, settings, failure)) {
        check_failure(failure);
        require(settings.size() == 1 && settings["server"] == "before", "a file with a fault sets nothing");
        require(failure.sentence.find("mail.conf, line ") != std::string::npos,
                "a sentence names file and line");
        return 0;
    }
    for (const auto& [name, value] : settings) {
        const SettingRow* const row = find_setting(name);
        require(row != nullptr, "every setting is known");
        require(row->placeholder != nullptr || value == "true" || value == "false", "a switch is on or off");
        require(value.find('\n') == std::string::npos, "a value is one line");
    }
    require(settings.count("password") == 0 && settings.count("pop-password") == 0,
            "a password stands in no file");
    Settings again;
    require(parse_config("mail.conf", text_of(settings), again, failure),
            "what was read can be written down");
    require(again == settings, "and says the same");

    Account account;
    if (make_account(settings, account, failure)) {
        require(!account.server.empty(), "an account has a server");
        check_account(account);
        check_secrecy(settings, account);
    } else {
        check_failure(failure);
    }
    if (make_mailbox_account(settings, account, failure)) {
        require(!account.pop_server.empty() && !account.pop_user.empty() && account.pop_port > 0,
                "a mailbox has a server, a port and a user");
        check_account(account);
    } else {
        check_failure(failure);
    }
    return 0;
}
