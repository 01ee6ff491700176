#pragma once

#include "CutlCPLBMString.h"
#include "CutlCPLBObject.h"

#include "ntc_email_export.h"

namespace velorin {

// One mail in the mailbox of a server. A plain value.
class NTC_EMAIL_API CntsPOP3MailInfo : public CutlCPLBObject {
public:
    // What m_nStatus says; other numbers are carried through.
    enum eStatus : int {
        eStatusNotSet = 0,
        eStatusRegistered = 1,  // to be fetched
        eStatusToRemove = 2,
    };

    CntsPOP3MailInfo();  // not on the server: id 0, empty unique id, size 0, status not set
    CntsPOP3MailInfo(int id, const char* uid, long size, int status);  // a null uid becomes empty
    CntsPOP3MailInfo(const CntsPOP3MailInfo&) = default;
    CntsPOP3MailInfo& operator=(const CntsPOP3MailInfo&) = default;
    ~CntsPOP3MailInfo() override;

    int m_nId;                  // message number in this session; 0: not, or no longer, on the server
    CutlCPLBMString m_cUniqId;  // what UIDL says; empty when the server has no UIDL
    long m_nSize;               // octets, as the server reports them, in 32 bits
    int m_nStatus;
};

}  // namespace velorin
