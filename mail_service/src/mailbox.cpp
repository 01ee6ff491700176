#include "mailbox.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "pop3_dialogue.h"
#include "return_codes.h"

namespace velorin::service {
namespace {

constexpr std::uint64_t kMaxNumber = 0x7FFFFFFF;  // the wire has a signed 32-bit number
constexpr std::uint64_t kMaxSize = 0x7FFFFFFF;    // and the device a signed 32-bit size
constexpr std::size_t kMaxUid = 255;              // octets; RFC 1939 has 70
constexpr std::size_t kMaxKept = 8u << 20;        // octets of what a listing says
constexpr std::uint64_t kMaxListing = 8u << 20;   // octets of a listing on its way, whatever it says

std::string_view without_line_end(std::string_view line)
{
    if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    return line;
}

bool take_blank(std::string_view& line)
{
    if (line.empty() || line.front() != ' ') return false;
    while (!line.empty() && line.front() == ' ')
        line.remove_prefix(1);
    return true;
}

bool take_mail_number(std::string_view& line, std::uint32_t& number)
{
    std::uint64_t value = 0;
    if (!take_number(line, kMaxNumber, value) || value == 0) return false;
    number = static_cast<std::uint32_t>(value);
    return take_blank(line);
}

}  // namespace

bool read_uid_line(std::string_view line, std::uint32_t& number, std::string_view& uid)
{
    if (!take_mail_number(line, number)) return false;
    while (!line.empty() && line.back() == ' ')
        line.remove_suffix(1);
    if (line.empty() || line.size() > kMaxUid) return false;
    if (!std::all_of(line.begin(), line.end(), [](char octet) { return octet > 0x20 && octet < 0x7F; }))
        return false;
    uid = line;
    return true;
}

bool read_size_line(std::string_view line, std::uint32_t& number, std::uint32_t& size)
{
    if (!take_mail_number(line, number)) return false;
    std::uint64_t octets = 0;
    if (!take_number(line, UINT64_MAX, octets)) return false;
    if (!line.empty() && line.front() != ' ') return false;  // what follows a blank is the server's own
    size = static_cast<std::uint32_t>(std::min(octets, kMaxSize));
    return true;
}

void Mailbox::forget()
{
    *this = Mailbox();
}

std::uint32_t Mailbox::ask(Pop3Dialogue& dialogue)
{
    forget();
    std::uint32_t code = ask_uids(dialogue);
    if (code == 0) code = ask_sizes(dialogue);
    if (code != 0) {
        forget();
        return code;
    }
    by_uid_.resize(has_uids_ ? mails_.size() : 0);
    std::iota(by_uid_.begin(), by_uid_.end(), 0u);
    std::sort(by_uid_.begin(), by_uid_.end(), [this](std::uint32_t one, std::uint32_t other) {
        const int order = uid_of(mails_[one]).compare(uid_of(mails_[other]));
        return order != 0 ? order < 0 : one < other;
    });
    listed_ = true;
    return 0;
}

template <typename Take>
std::uint32_t Mailbox::read_listing(Pop3Dialogue& dialogue, Take take)
{
    dialogue.begin_lines(kMaxListing);
    LineSlice slice;
    bool sound = true;
    for (;;) {
        const std::uint32_t code = dialogue.next(slice);
        if (code != 0) return code == kLimitReached && !sound ? kReplyMalformed : code;
        if (dialogue.over()) return sound ? 0 : kReplyMalformed;
        // What does not fit, or is longer than a slice, is read on all the same: it belongs to this answer.
        sound = sound && slice.starts && slice.ends && take(without_line_end(slice.text));
        if (uids_.size() + mails_.size() * sizeof(Mail) > kMaxKept) return kLimitReached;
    }
}

// By number, each one once. A server that lists them in another order breaks no rule.
bool Mailbox::put_in_order()
{
    std::sort(mails_.begin(), mails_.end(),
              [](const Mail& one, const Mail& other) { return one.number < other.number; });
    return std::adjacent_find(mails_.begin(), mails_.end(), [](const Mail& one, const Mail& other) {
               return one.number == other.number;
           }) == mails_.end();
}

std::uint32_t Mailbox::ask_uids(Pop3Dialogue& dialogue)
{
    if (const std::uint32_t code = dialogue.command("UIDL", kCommandRefused)) {
        return code == kCommandRefused ? 0 : code;  // a server without unique ids
    }
    has_uids_ = true;
    const std::uint32_t code = read_listing(dialogue, [this](std::string_view line) {
        Mail mail;
        std::string_view uid;
        if (!read_uid_line(line, mail.number, uid)) return false;
        mail.uid_at = static_cast<std::uint32_t>(uids_.size());
        mail.uid_length = static_cast<std::uint16_t>(uid.size());
        uids_.insert(uids_.end(), uid.begin(), uid.end());
        mails_.push_back(mail);
        return true;
    });
    if (code != 0) return code;
    return put_in_order() ? 0 : kReplyMalformed;
}

std::uint32_t Mailbox::ask_sizes(Pop3Dialogue& dialogue)
{
    if (const std::uint32_t code = dialogue.command("LIST", kCommandRefused)) return code;
    const std::vector<Mail> with_uids = std::move(mails_);
    mails_.clear();
    const std::uint32_t code = read_listing(dialogue, [this](std::string_view line) {
        Mail mail;
        if (!read_size_line(line, mail.number, mail.size)) return false;
        mails_.push_back(mail);
        return true;
    });
    if (code != 0) return code;
    if (!put_in_order()) return kReplyMalformed;
    if (!has_uids_) return 0;
    if (mails_.size() != with_uids.size()) return kReplyMalformed;
    for (std::size_t index = 0; index < mails_.size(); ++index) {
        if (mails_[index].number != with_uids[index].number) return kReplyMalformed;
        mails_[index].uid_at = with_uids[index].uid_at;
        mails_[index].uid_length = with_uids[index].uid_length;
    }
    return 0;
}

Mailbox::Mail* Mailbox::find(std::uint32_t number)
{
    const auto found =
        std::lower_bound(mails_.begin(), mails_.end(), number,
                         [](const Mail& mail, std::uint32_t wanted) { return mail.number < wanted; });
    return found != mails_.end() && found->number == number ? &*found : nullptr;
}

const Mailbox::Mail* Mailbox::by_number(std::uint32_t number) const
{
    const Mail* const mail = const_cast<Mailbox*>(this)->find(number);
    return mail != nullptr && !mail->deleted ? mail : nullptr;
}

std::vector<const Mailbox::Mail*> Mailbox::by_uid(std::string_view uid) const
{
    std::vector<const Mail*> found;
    const auto first = std::lower_bound(
        by_uid_.begin(), by_uid_.end(), uid,
        [this](std::uint32_t index, std::string_view wanted) { return uid_of(mails_[index]) < wanted; });
    for (auto at = first; at != by_uid_.end() && uid_of(mails_[*at]) == uid; ++at) {
        if (!mails_[*at].deleted) found.push_back(&mails_[*at]);
    }
    return found;
}

const Mailbox::Mail* Mailbox::next_after(std::uint32_t number) const
{
    auto at =
        std::upper_bound(mails_.begin() + static_cast<std::ptrdiff_t>(first_left_), mails_.end(), number,
                         [](std::uint32_t wanted, const Mail& mail) { return wanted < mail.number; });
    while (at != mails_.end() && at->deleted)
        ++at;
    return at != mails_.end() ? &*at : nullptr;
}

void Mailbox::mark_deleted(std::uint32_t number)
{
    Mail* const mail = find(number);
    if (mail != nullptr) mail->deleted = true;
    while (first_left_ < mails_.size() && mails_[first_left_].deleted)
        ++first_left_;
}

void Mailbox::mark_handed_out(std::uint32_t number)
{
    Mail* const mail = find(number);
    if (mail != nullptr) mail->handed_out = true;
}

}  // namespace velorin::service
