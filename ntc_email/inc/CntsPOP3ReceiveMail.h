#pragma once

#include "CutlCPLBMString.h"
#include "CutlCPLBMVector.h"

#include "CntsMLUTLMailAddress.h"
#include "CntsMLUTLMailPart.h"
#include "CntsPOP3MailInfo.h"
#include "CntsPOP3ReceiveMailPart.h"
#include "ntc_email_export.h"

namespace velorin {

// A mail under reception: its header fields, the part last received, and where the reading stands, which is
// all that the service knows between two calls. Texts and addresses that no answer filled are null. Owns the
// boundary stack and the current part. Used by one thread at a time. Results are 1 and 0; a failure leaves
// one trace line.
class NTC_EMAIL_API CntsPOP3ReceiveMail : public CntsMLUTLMailPart {
public:
    CntsPOP3ReceiveMail(const CntsPOP3MailInfo& info);
    CntsPOP3ReceiveMail(const CntsPOP3ReceiveMail&) = delete;
    CntsPOP3ReceiveMail& operator=(const CntsPOP3ReceiveMail&) = delete;
    ~CntsPOP3ReceiveMail() override;

    // The stack of the multiparts that the reading is inside; m_nPartDepth is its height.
    int UpBoundaryLevel(const char* boundary);  // pushes a copy
    int DownBoundaryLevel();                    // pops and destroys the innermost
    CutlCPLBMString* GetBoundaryString();       // the innermost, not a copy; null when there is none
    // Replaces the stack; `list`, of CutlCPLBMString*, is the mail's from here on. The depth stays as it is.
    void SetBoundaryStringList(CutlCPLBMVector* list);

    // The part last received. A part set before is destroyed, so pointers to it do not outlive the next call.
    void SetPart(CntsPOP3ReceiveMailPart* part);
    CntsPOP3ReceiveMailPart* GetPart();
    void DeletePart();

    CntsMLUTLMailAddress m_cTo;
    CntsMLUTLMailAddress m_cFrom;
    CntsMLUTLMailAddress m_cCc;
    CntsMLUTLMailAddress m_cNotificationTo;
    CntsMLUTLMailAddress m_cReplyTo;
    CutlCPLBMString m_cSubject;
    CutlCPLBMString m_cDate;
    CutlCPLBMString m_cMessageID;
    CutlCPLBMVector* m_cBoundaryString;  // of CutlCPLBMString*, outermost first; may be null
    CutlCPLBMString m_cInReplyTo;
    CutlCPLBMString m_cReferences;
    CntsMLUTLMailAddress m_cReturnPath;
    int m_nPartDepth;
    int m_bIsHasNext;  // 1: more parts or data follow
    CntsPOP3MailInfo m_cMailInfo;
    CntsPOP3ReceiveMailPart* m_pPart;
    int m_bIsBoundaryDetected;  // 1: the last read ended at a boundary line
};

}  // namespace velorin
