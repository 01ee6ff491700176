#include "mail_list.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_set>

#include "ntc_email_esu_pop3.pb.h"

#include "return_codes.h"

namespace velorin::service {
namespace {

using Info = ntc_email_esu_pop3_mail_info;
using List = ntc_email_esu_pop3_mail_info_list;

std::uint32_t number_of(const Info& info)
{
    return info.n_id() > 0 ? static_cast<std::uint32_t>(info.n_id()) : 0;
}

std::size_t max_entries(const List& list)
{
    return list.n_max_list_size() > 0 ? static_cast<std::size_t>(list.n_max_list_size()) : 0;
}

std::unordered_set<std::uint32_t> numbers_of(const std::vector<const Mailbox::Mail*>& mails)
{
    std::unordered_set<std::uint32_t> numbers;
    for (const Mailbox::Mail* mail : mails) {
        if (mail != nullptr) numbers.insert(mail->number);
    }
    return numbers;
}

}  // namespace

std::size_t entry_size(const Info& info)
{
    const std::size_t size = info.ByteSizeLong();
    return size + (size < 128 ? 2 : 3);  // tag and length
}

std::uint32_t put_list(const List& list, std::size_t room, List& answer)
{
    if (list.ByteSizeLong() <= room) {
        answer = list;
        return 0;
    }
    answer.Clear();
    answer.set_n_max_list_size(list.n_max_list_size());
    room -= std::min(room, answer.ByteSizeLong());
    std::vector<bool> kept(static_cast<std::size_t>(list.c_list_size()), false);
    std::uint32_t code = 0;
    for (const bool registered : {false, true}) {
        for (int index = 0; index < list.c_list_size(); ++index) {
            const Info& info = list.c_list(index);
            if ((info.n_status() == kRegistered) != registered) continue;
            const std::size_t size = entry_size(info);
            if (size > room) {
                code = kAnswerCut;
                continue;
            }
            room -= size;
            kept[static_cast<std::size_t>(index)] = true;
        }
    }
    for (int index = 0; index < list.c_list_size(); ++index) {
        if (kept[static_cast<std::size_t>(index)]) *answer.add_c_list() = list.c_list(index);
    }
    return code;
}

std::vector<const Mailbox::Mail*> match_list(const List& list, const Mailbox& mailbox)
{
    const auto count = static_cast<std::size_t>(list.c_list_size());
    std::vector<const Mailbox::Mail*> mails(count, nullptr);
    std::unordered_set<std::uint32_t> taken;
    // Entries whose number still is theirs come first, so that copies of one mail keep apart.
    for (const bool by_number : {true, false}) {
        for (std::size_t index = 0; index < count; ++index) {
            const Info& info = list.c_list(static_cast<int>(index));
            const std::string& uid = info.c_uniq_id();
            if (mails[index] != nullptr) continue;
            const Mailbox::Mail* found = nullptr;
            if (by_number) {
                const Mailbox::Mail* const mail = mailbox.by_number(number_of(info));
                if (mail == nullptr || mailbox.uid_of(*mail) != uid) continue;
                // Without a unique id it is the same mail only while the connection lasts.
                const bool same = mailbox.has_uids() || (mail->handed_out && mail->size == info.n_size());
                if (same && taken.count(mail->number) == 0) found = mail;
            } else if (!uid.empty()) {
                for (const Mailbox::Mail* mail : mailbox.by_uid(uid)) {
                    if (taken.count(mail->number) != 0) continue;
                    found = mail;
                    break;
                }
            }
            if (found == nullptr) continue;
            taken.insert(found->number);
            mails[index] = found;
        }
    }
    return mails;
}

void put_info(const Mailbox& mailbox, const Mailbox::Mail& mail, std::int32_t status, Info& info)
{
    info.set_n_id(static_cast<std::int32_t>(mail.number));
    info.set_c_uniq_id(std::string(mailbox.uid_of(mail)));
    info.set_n_size(mail.size);
    info.set_n_status(status);
}

std::uint32_t update_list(const List& list, Mailbox& mailbox, std::size_t room, List& answer)
{
    const std::vector<const Mailbox::Mail*> mails = match_list(list, mailbox);
    List known;
    known.set_n_max_list_size(list.n_max_list_size());
    for (std::size_t index = 0; index < mails.size(); ++index) {
        if (mails[index] == nullptr) continue;
        put_info(mailbox, *mails[index], list.c_list(static_cast<int>(index)).n_status(),
                 *known.add_c_list());
    }
    const std::uint32_t code = put_list(known, room, answer);
    room -= std::min(room, answer.ByteSizeLong());
    // What was cut off comes with a later call: nothing else takes its place now.
    if (code == 0) {
        const std::unordered_set<std::uint32_t> taken = numbers_of(mails);
        std::uint32_t above = 0;
        while (static_cast<std::size_t>(answer.c_list_size()) < max_entries(list)) {
            const Mailbox::Mail* const mail = mailbox.next_after(above);
            if (mail == nullptr) break;
            above = mail->number;
            if (taken.count(above) != 0) continue;
            Info info;
            put_info(mailbox, *mail, kRegistered, info);
            const std::size_t size = entry_size(info);
            if (size > room) break;
            room -= size;
            *answer.add_c_list() = info;
        }
    }
    for (const Info& info : answer.c_list())
        mailbox.mark_handed_out(number_of(info));
    return code;
}

const Mailbox::Mail* next_unlisted(const List& list, const Mailbox& mailbox, std::uint32_t above)
{
    // Almost always no entry looks like the mail: then nothing needs to be matched.
    const auto resembles = [&](const Mailbox::Mail& mail) {
        const std::string_view uid = mailbox.uid_of(mail);
        return std::any_of(list.c_list().begin(), list.c_list().end(),
                           [&](const Info& entry) { return entry.c_uniq_id() == uid; });
    };
    const Mailbox::Mail* mail = mailbox.next_after(above);
    if (mail == nullptr || !resembles(*mail)) return mail;
    const std::unordered_set<std::uint32_t> taken = numbers_of(match_list(list, mailbox));
    while (mail != nullptr && taken.count(mail->number) != 0)
        mail = mailbox.next_after(mail->number);
    return mail;
}

}  // namespace velorin::service
