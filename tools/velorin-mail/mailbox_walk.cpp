#include "mailbox_walk.h"

#include <algorithm>
#include <map>
#include <set>

#include "velorin_return_codes.h"

#include "interrupt.h"
#include "report.h"

namespace velorin::cli {

CntsPOP3MailInfo MailEntry::info() const
{
    return CntsPOP3MailInfo(number, uid.c_str(), size, CntsPOP3MailInfo::eStatusRegistered);
}

bool walk_mailbox(CntsPOP3Boundary& session, std::vector<MailEntry>& mails, Failure& failure)
{
    mails.clear();
    // The list travels with every call. One without entries makes the walk as fast as it can be.
    CntsPOP3MailInfoList none(0);
    CntsPOP3MailInfo info;
    std::map<std::string, unsigned> copies;
    for (;;) {
        const std::uint32_t code = session.ListNext(none, info);
        if (interrupting_signal() != 0)
            return fail(failure, kExitSignal + interrupting_signal(), "list", interrupted_sentence(stage()));
        if (code == return_code::kNoMoreMail) return true;
        if (code != 0) return fail_with_code(failure, "list", code);
        MailEntry mail;
        mail.number = info.m_nId;
        if (const char* const uid = info.m_cUniqId.GetString()) mail.uid = uid;
        mail.size = info.m_nSize;
        const unsigned copy = ++copies[mail.uid];
        mail.key = copy == 1 ? mail.uid : mail.uid + ' ' + std::to_string(copy);
        mails.push_back(mail);
    }
}

bool find_mails(const std::vector<MailEntry>& mails, const std::vector<std::string>& uids,
                std::vector<MailEntry>& found, Failure& failure)
{
    found.clear();
    const std::set<std::string> wanted(uids.begin(), uids.end());
    std::set<std::string> there;
    std::vector<MailEntry> chosen;
    for (const MailEntry& mail : mails) {
        if (mail.uid.empty() || wanted.count(mail.uid) == 0) continue;
        there.insert(mail.uid);
        chosen.push_back(mail);
    }
    if (there.size() < wanted.size()) {
        // The first one in the order in which they were given.
        const auto missing = std::find_if(uids.begin(), uids.end(),
                                          [&](const std::string& uid) { return there.count(uid) == 0; });
        fail(failure, kExitNoInput, "mail", "the server has no mail of this unique id");
        failure.where = *missing;
        return false;
    }
    found.swap(chosen);
    return true;
}

bool need_unique_ids(const std::vector<MailEntry>& mails, Failure& failure)
{
    const bool all =
        std::none_of(mails.begin(), mails.end(), [](const MailEntry& mail) { return mail.uid.empty(); });
    if (all) return true;
    return fail(failure, kExitProtocol, "list",
                "the server gives its mails no unique ids, so it cannot be told which were fetched");
}

bool delete_mails(CntsPOP3Boundary& session, const std::vector<MailEntry>& mails, Failure& failure)
{
    for (const MailEntry& mail : mails) {
        CntsPOP3ReceiveMail meant(mail.info());
        const std::uint32_t code = session.Delete(meant);
        if (interrupting_signal() != 0)
            return fail(failure, kExitSignal + interrupting_signal(), "delete",
                        interrupted_sentence(stage()));
        if (code == 0) continue;
        fail_with_code(failure, "delete", code);
        failure.where = mail.uid;
        return false;
    }
    const Stage before = stage();
    set_stage(Stage::kAwaitingDeletion);
    const std::uint32_t code = session.Close();
    set_stage(code == 0 ? Stage::kReceived : before);
    return code == 0 || fail_with_code(failure, "close", code);
}

void leave_mailbox(CntsPOP3Boundary& session)
{
    session.Close();
}

}  // namespace velorin::cli
