#pragma once

#include "CutlCPLBMVector.h"
#include "CutlCPLBObject.h"

#include "CntsPOP3MailInfo.h"
#include "ntc_email_export.h"

namespace velorin {

// The mails of a mailbox that the application keeps book of. Owns its entries; no slot below the count is
// null. Used by one thread at a time. Results are 1 and 0 unless said otherwise; a failure leaves one trace
// line, and a failure in a walk leaves what was changed before it.
class NTC_EMAIL_API CntsPOP3MailInfoList : public CutlCPLBObject {
public:
    CntsPOP3MailInfoList(int max);  // entries at most
    CntsPOP3MailInfoList(const CntsPOP3MailInfoList&) = delete;
    CntsPOP3MailInfoList& operator=(const CntsPOP3MailInfoList&) = delete;
    ~CntsPOP3MailInfoList() override;

    int IsHasRoom() const;  // 1 when another entry fits

    // Appends an entry. `info` is the list's from here on, also when it is refused and destroyed.
    //   in      force: 0 takes registered entries only
    int AddMailInfo(CntsPOP3MailInfo* info, int force);

    // Gives the entry with the unique id of `info` the id of `info`, and destroys `info`.
    //   result  1, also when nothing matches or `info` has no unique id; 0 for a null or unregistered `info`
    int UpdateMailInfo(CntsPOP3MailInfo* info);

    // The entry with the unique id of `info`; the first entry when that is empty.
    //   result  inside the list, not a copy; null when there is none
    CntsPOP3MailInfo* SearchMailInfo(const CntsPOP3MailInfo& info);

    // Copies the registered entry with the lowest id.
    int SearchNextMail(CntsPOP3MailInfo& out);
    int IsHasNextMail();  // 1 when an entry is registered

    int SetEntryStatus(CntsPOP3MailInfo& info, int status);  // of the first entry with the id of `info`
    int SetAllEntryStatus(int status);
    int GetNextId();  // the highest id plus 1, at least 1; -1 on failure
    int ClearId();    // every id becomes 0

    int ClearList();       // destroys and removes every entry whose id is 0
    int RemoveMailInfo();  // destroys and removes the entry to remove that has the lowest id; one a call
    void ShowList();       // walks the entries and prints nothing

    CutlCPLBMVector m_cList;  // of CntsPOP3MailInfo*, in the order in which they were added
    int m_nMaxListSize;
};

}  // namespace velorin
