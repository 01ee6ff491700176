#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace velorin {
class ntc_email_esu_mlutl_mail_part;
class ntc_email_esu_pop3_receive_mail;
}  // namespace velorin

namespace velorin::service {

class HeaderBlock;
class MimeReader;
struct PartFacts;

// What an envelope has around a mail, its method, its code and the lengths on the way included: octets.
constexpr std::size_t kAroundMail = 64;

// What is left of a room; none when more was taken.
inline std::size_t less(std::size_t room, std::size_t taken)
{
    return taken < room ? room - taken : 0;
}

// Texts on their way into an answer. When they do not fit, the long ones are cut, none below what the others
// leave to it.
class TextFitter {
public:
    enum class Kind { text, addresses };

    void add(std::string text, Kind kind, std::function<void(const std::string&)> set);
    // Hands out all texts.
    //   in      room: octets
    //   result  false when one was cut
    bool fit(std::size_t room);

private:
    struct Entry {
        std::string text;
        Kind kind;
        std::function<void(const std::string&)> set;
    };
    std::vector<Entry> entries_;
};

// The four numbers of a part: always present, so that those of the part before go.
void put_kinds(const PartFacts& facts, ntc_email_esu_mlutl_mail_part& part);
// The facts' texts.
void add_texts(const PartFacts& facts, ntc_email_esu_mlutl_mail_part& part, TextFitter& fitter);
// Those that every piece repeats, where they are short enough.
void put_short_texts(const PartFacts& facts, ntc_email_esu_mlutl_mail_part& part);
// The members of the mail that its header fills. Those without a field in it stay absent.
void add_header(const HeaderBlock& header, const PartFacts& facts, bool convert,
                ntc_email_esu_pop3_receive_mail& mail, TextFitter& fitter);

// Where the reading stands: depth and flags.
void put_place(const MimeReader& reader, ntc_email_esu_pop3_receive_mail& mail);
// The stack of boundaries.
void put_boundaries(const MimeReader& reader, ntc_email_esu_pop3_receive_mail& mail);
std::size_t size_of_boundaries(const MimeReader& reader);

}  // namespace velorin::service
