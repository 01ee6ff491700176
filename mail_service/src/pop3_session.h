#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "account.h"
#include "mailbox.h"
#include "mime_reader.h"
#include "piece_cutter.h"
#include "pop3_dialogue.h"
#include "server_connection.h"
#include "session.h"
#include "session_rules.h"

namespace velorin {
class ntc_email_esu_pop3_mail_info;
class ntc_email_esu_pop3_mail_info_list;
class ntc_email_esu_pop3_receive_mail;
class ntc_email_esu_pop3_settings;
}  // namespace velorin

namespace velorin::service {

class LastReply;

// One POP3 session: the operations of the service, each for whoever has the session's turn. Every result is 0
// or a return code. Where the reading of a mail stands is kept here: of what a caller sends, only which mail
// is meant is looked at. Whatever breaks the connection leaves the session as before Connect and nothing
// deleted; what the server merely refuses leaves it connected.
//
// Answers are written into `answer` and never take more than `room` octets there.
class Pop3Session : public Session {
public:
    static constexpr SessionKind kKind = SessionKind::pop3;

    using Info = ntc_email_esu_pop3_mail_info;
    using List = ntc_email_esu_pop3_mail_info_list;
    using Mail = ntc_email_esu_pop3_receive_mail;

    Pop3Session(const SessionRules& rules, const ntc_email_esu_pop3_settings& settings,
                std::shared_ptr<LastReply> last_reply);
    ~Pop3Session() override;

    std::uint32_t test();
    std::uint32_t connect();
    std::uint32_t stat(std::int32_t& count);
    std::uint32_t noop();
    std::uint32_t list(const List& list, List& answer, std::size_t room);
    //   in      answer: the list, as much of it as fits
    std::uint32_t list_next(const List& list, const Info& info, List& answer, Info& next, std::size_t room);
    std::uint32_t receive_header(const Mail& mail, bool convert, Mail& answer, std::size_t room);
    std::uint32_t receive_header_only(const Mail& mail, bool convert, Mail& answer, std::size_t room);
    std::uint32_t receive_body(const Mail& mail, Mail& answer, std::size_t room);
    std::uint32_t receive_part_header(const Mail& mail, bool convert, Mail& answer, std::size_t room);
    std::uint32_t receive_part_body(const Mail& mail, Mail& answer, std::size_t room);
    std::uint32_t skip_mail(const Mail& mail, Mail& answer);
    std::uint32_t skip_part(const Mail& mail, Mail& answer, std::size_t room);
    std::uint32_t remove(const Mail& mail);
    std::uint32_t remove_by_uid(const List& list, List& answer, std::size_t room);
    std::uint32_t close();
    const std::string& own_address() const { return own_address_; }

    void quit() override;  // politely, when nothing is marked for deletion; then dropped

private:
    // Apart; connected, no mail under way; inside a mail.
    enum class State { apart, connected, reading };
    // Before the first part; inside a body; behind it; a multipart whose parts come next.
    enum class PartState { none, body, over, multipart };

    struct CurrentPart {
        PartFacts facts;
        PartState state = PartState::none;
        std::optional<PieceCutter> cutter;
        std::string pending;     // octets of the body that did not go into a piece yet
        bool last_sent = false;  // all octets went; what is left to tell is that it was the last piece
    };

    void drop() noexcept override;
    std::uint32_t open(ServerConnection& connection);
    std::uint32_t settle(std::uint32_t code);
    void mail_over();

    std::uint32_t look_up(const Info& info, const Mailbox::Mail*& mail);
    bool may_be_deleted(const Info& info, const Mailbox::Mail& mail) const;
    bool is_current(const Mail& mail) const;
    std::uint32_t retrieve(const Mail& mail, bool convert, Mail& answer, std::size_t room, bool top_only);
    void begin_body();
    std::uint32_t next_piece(Mail& answer, std::size_t room);
    std::uint32_t confirm(const Mailbox::Mail& mail);
    std::uint32_t delete_number(std::uint32_t number);

    const SessionRules& rules_;
    std::shared_ptr<LastReply> last_reply_;
    ServerAccount account_;
    std::string own_address_;
    std::uint32_t account_code_;  // 0, or why the settings cannot be used
    State state_ = State::apart;
    const std::unique_ptr<ServerConnection> connection_;
    std::optional<Pop3Dialogue> dialogue_;
    Mailbox mailbox_;
    bool deleted_ = false;  // something is marked on this connection

    std::optional<MimeReader> reader_;  // of the mail under way
    std::uint32_t number_ = 0;          // its number
    std::string uid_;                   // and unique id
    bool multipart_ = false;            // it has parts
    CurrentPart part_;
};

}  // namespace velorin::service
