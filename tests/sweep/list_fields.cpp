// Entries and lists as text, and what a message makes of them.
#include "mail_fields.h"

#include <cstdint>

namespace velorin_test::sweep {

std::string text_of(const ListModel::Entry& entry)
{
    return std::to_string(entry.id) + " " + entry.uid + " " + std::to_string(entry.size) + " " +
           std::to_string(entry.status);
}

ListModel::Entry model_of(const velorin::CntsPOP3MailInfo& info)
{
    return {info.m_nId, printable(info.m_cUniqId), info.m_nSize, info.m_nStatus};
}

std::string text_of_info(const velorin::CntsPOP3MailInfo& info)
{
    return text_of(model_of(info));
}

ListModel model_of(const velorin::CntsPOP3MailInfoList& list)
{
    ListModel model;
    model.most = list.m_nMaxListSize;
    for (long i = 0; i < list.m_cList.GetCount(); ++i)
        model.entries.push_back(model_of(*static_cast<velorin::CntsPOP3MailInfo*>(list.m_cList.GetAt(i))));
    return model;
}

std::string ListModel::text() const
{
    std::string text = "of " + std::to_string(most) + ":";
    for (const Entry& entry : entries)
        text += " (" + text_of(entry) + ")";
    return text;
}

std::string text_of_list(const velorin::CntsPOP3MailInfoList& list)
{
    return model_of(list).text();
}

void apply(const velorin::ntc_email_esu_pop3_mail_info& message, ListModel::Entry& entry)
{
    if (!message.has_n_id() || !message.has_c_uniq_id() || !message.has_n_size() || !message.has_n_status())
        return;
    entry = {message.n_id(), printable(std::string(message.c_uniq_id().c_str())),
             static_cast<std::int32_t>(message.n_size()), message.n_status()};
}

bool apply(const velorin::ntc_email_esu_pop3_mail_info_list& message, ListModel& list, Replay& replay)
{
    for (ListModel::Entry& entry : list.entries)
        entry.id = 0;
    while (!list.entries.empty()) {
        if (replay.fails(Call::vector_remove)) {
            replay.line("<ERR> CntsPOP3MailInfoList::ClearList() cannnot remove info.\n");
            break;
        }
        list.entries.erase(list.entries.begin());
    }
    if (message.has_n_max_list_size()) list.most = message.n_max_list_size();
    for (const velorin::ntc_email_esu_pop3_mail_info& wire : message.c_list()) {
        const char* line = nullptr;
        if (static_cast<long>(list.entries.size()) >= list.most) {
            line = "<ERR> CntsPOP3MailInfoList::AddMailInfo() no room.\n";
        } else if (replay.fails(Call::vector_add)) {
            line = "<ERR> CntsPOP3MailInfoList::AddMailInfo() cannot add info.\n";
        }
        if (line != nullptr) {
            replay.line(line);
            replay.line(
                "ntc_email_esu_pop3_helper::convert_pop3_mail_info_list():AddMailInfo() returns NG\n");
            return false;
        }
        ListModel::Entry entry;
        apply(wire, entry);
        list.entries.push_back(entry);
    }
    return true;
}

}  // namespace velorin_test::sweep
