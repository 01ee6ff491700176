// A loopback server with mails, a service and a client of it.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "loopback_pop3.h"
#include "mail_service.h"
#include "pop3_client.h"

namespace velorin_test {

inline Pop3Options with_mails(const std::vector<std::string>& mails)
{
    Pop3Options options;
    options.users = {{kUser, kPassword}};
    options.maildrop = std::make_shared<Maildrop>();
    for (std::size_t index = 0; index < mails.size(); ++index)
        options.maildrop->add(mails[index], "uid-" + std::to_string(index + 1));
    return options;
}

// Mails that differ in their subjects: "mail 1" and so on.
inline std::vector<std::string> small_mails(int count)
{
    std::vector<std::string> mails;
    for (int number = 1; number <= count; ++number)
        mails.push_back("Subject: mail " + std::to_string(number) + "\r\n\r\ntext " + std::to_string(number) +
                        "\r\n");
    return mails;
}

struct Pop3Fixture {
    explicit Pop3Fixture(Pop3Options options, velorin::MailServiceOptions service_options = quick_options())
        : server(std::move(options)), service(service_options), client(pop3_directly(service))
    {
        client.settings.set_n_port(server.port());
    }

    LoopbackPop3 server;
    velorin::service::MailService service;
    Pop3Client client;
};

inline velorin::ntc_email_esu_pop3_mail_info info(std::int32_t number, const std::string& uid,
                                                  std::int32_t status, std::uint32_t size = 1)
{
    velorin::ntc_email_esu_pop3_mail_info out;
    out.set_n_id(number);
    out.set_c_uniq_id(uid);
    out.set_n_size(size);
    out.set_n_status(status);
    return out;
}

// "1:uid-1:1 2:uid-2:0", number, unique id and status of each.
inline std::string text_of(const velorin::ntc_email_esu_pop3_mail_info_list& list)
{
    std::string out;
    for (const auto& entry : list.c_list()) {
        if (!out.empty()) out += ' ';
        out +=
            std::to_string(entry.n_id()) + ":" + entry.c_uniq_id() + ":" + std::to_string(entry.n_status());
    }
    return out;
}

// What the client said on the last connection.
inline std::string client_lines(Pop3Fixture& fixture)
{
    return fixture.server.conversations().back().client_lines();
}

}  // namespace velorin_test
