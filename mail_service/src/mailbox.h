#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velorin::service {

class Pop3Dialogue;

// The mails of a mailbox as the server listed them on this connection (RFC 1939 keeps numbers and unique ids
// as they are until QUIT). What was deleted on this connection is no longer there.
class Mailbox {
public:
    struct Mail {
        std::uint32_t number = 0;
        std::uint32_t size = 0;  // octets, at most 2^31 - 1
        std::uint32_t uid_at = 0;
        std::uint16_t uid_length = 0;
        bool deleted = false;
        bool handed_out = false;  // in a list, on this connection
    };

    void forget();
    bool listed() const { return listed_; }
    bool has_uids() const { return has_uids_; }

    // UIDL and LIST. Without UIDL no mail has a unique id.
    //   result  0, or a return code: nothing is listed then. kReplyMalformed for a line that is none or above
    //           4 KiB, and for numbers that come twice or are not the same in both; kLimitReached for a listing
    //           above 8 MiB, on its way or kept. Behind those two the answer may be half read: the connection
    //           is to be dropped
    std::uint32_t ask(Pop3Dialogue& dialogue);

    std::string_view uid_of(const Mail& mail) const { return {uids_.data() + mail.uid_at, mail.uid_length}; }
    const Mail* by_number(std::uint32_t number) const;  // null: no such mail, or deleted
    // The mails with that unique id; a server may have several copies of one mail. Lowest number first.
    std::vector<const Mail*> by_uid(std::string_view uid) const;
    const Mail* next_after(std::uint32_t number) const;  // null: there is none
    void mark_deleted(std::uint32_t number);
    void mark_handed_out(std::uint32_t number);

private:
    template <typename Take>
    std::uint32_t read_listing(Pop3Dialogue& dialogue, Take take);
    bool put_in_order();
    std::uint32_t ask_uids(Pop3Dialogue& dialogue);
    std::uint32_t ask_sizes(Pop3Dialogue& dialogue);
    Mail* find(std::uint32_t number);

    bool listed_ = false;
    bool has_uids_ = false;
    std::vector<Mail> mails_;  // by number
    std::vector<char> uids_;
    std::vector<std::uint32_t> by_uid_;  // indices into mails_, by unique id and number
    std::size_t first_left_ = 0;         // none before it is left
};

// One line of an answer to UIDL or LIST, without its line end.
//   result  false when it is none
bool read_uid_line(std::string_view line, std::uint32_t& number, std::string_view& uid);
bool read_size_line(std::string_view line, std::uint32_t& number, std::uint32_t& size);

}  // namespace velorin::service
