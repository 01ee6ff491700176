#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "data_encoder.h"
#include "mail_envelope.h"
#include "server_connection.h"
#include "smtp_reply.h"

namespace velorin::service {

// The SMTP dialogue on a connection that is open and logged in: one mail after the other. Every result is 0
// or a return code. When a code leaves the connection open, the server is ready for the next mail; in every
// other case the connection has been dropped. A reply that nobody asked for ends the connection, so that no
// verdict is ever taken for that of another command.
class SmtpDialogue : private OctetSink {
public:
    SmtpDialogue(ServerConnection& connection, LastReply& last_reply, std::uint32_t command_timeout,
                 std::uint32_t data_timeout);

    // MAIL, RCPT for each recipient, DATA. A refused recipient refuses the mail.
    //   in      declared_size: octets, for SIZE where the server offers it; 0: not known
    std::uint32_t begin_mail(const MailEnvelope& envelope, std::uint64_t declared_size);
    // Octets of the mail, in any cut; line ends and dots are seen to.
    std::uint32_t write_mail(const char* octets, std::size_t count);
    // The end of the last line, the final dot.
    std::uint32_t send_end();
    // The server's verdict. kNotConfirmed when there is none: the mail may have been delivered.
    std::uint32_t await_verdict();

    // QUIT; its reply is waited for, but changes nothing. The connection is dropped.
    void quit(std::uint32_t timeout);

private:
    std::uint32_t write(const char* octets, std::size_t count) override;
    std::uint32_t flush();
    std::uint32_t fail_sending(std::uint32_t code);
    std::uint32_t check_silence();
    std::uint32_t send_commands(const std::string& commands);
    std::uint32_t read_reply(Deadline deadline);
    std::uint32_t exchange(const std::string& command);
    std::uint32_t send_envelope(const MailEnvelope& envelope, const std::string& mail_from);
    std::uint32_t send_group(const MailEnvelope& envelope, const std::string* mail_from, std::size_t from,
                             std::size_t until);
    void reset_mail();

    ServerConnection& connection_;
    LastReply& last_reply_;
    std::uint32_t command_timeout_;
    std::uint32_t data_timeout_;
    DataEncoder encoder_;
    SmtpReplyParser parser_;
    std::vector<char> out_;  // octets not sent yet
    std::vector<char> in_;   // octets received; those before in_at_ are used up
    std::size_t in_at_ = 0;
    std::size_t in_count_ = 0;
};

}  // namespace velorin::service
