#pragma once

#include <cstdint>

#include "CutlCPLBObject.h"

#include "CntsMLUTLMailAddress.h"
#include "CntsPOP3MailInfoList.h"
#include "CntsPOP3ReceiveMail.h"
#include "CntsPOP3Settings.h"
#include "ntc_email_export.h"

namespace velorin {

class ntc_email_esu_pop3_main_communicator;

// One POP3 session of the mail service. Every operation is one exchange with the service; the order of the
// operations is the service's to enforce. Used by one thread at a time; sessions in other threads wait for
// each other's exchanges.
//   result  0; the service's code unchanged; 0x21077103 when the exchange or a conversion failed
//           or the session could not be created (no exchange then)
class NTC_EMAIL_API CntsPOP3Boundary : public CutlCPLBObject {
public:
    // Creates the session at the service. A refusal shows in the trace and in every later operation.
    CntsPOP3Boundary(const CntsPOP3Settings& settings);
    CntsPOP3Boundary(const CntsPOP3Boundary&) = delete;
    CntsPOP3Boundary& operator=(const CntsPOP3Boundary&) = delete;
    ~CntsPOP3Boundary() override;  // ends the session at the service

    std::uint32_t Test();
    std::uint32_t Connect();
    std::uint32_t Close();
    std::uint32_t Noop();
    //   out     count: mails in the mailbox; overwritten whenever the exchange succeeded, also by an error's
    //           answer
    std::uint32_t Stat(int& count);
    // The account's own address, asked anew each time.
    //   result  the session's member; as it was when the exchange failed
    CntsMLUTLMailAddress& RefMailAddress();

    // Mirror the mailbox in the caller's list, which the answer replaces whole. The number of List and the
    // mail of DeleteByUID do not travel: what is to be deleted stands in the list.
    std::uint32_t List(CntsPOP3MailInfoList& list, int retry);
    std::uint32_t ListNext(CntsPOP3MailInfoList& list, CntsPOP3MailInfo& info);
    std::uint32_t DeleteByUID(CntsPOP3MailInfoList& list, CntsPOP3ReceiveMail& mail);

    // Read a mail: its header, then its body or part by part. The answer updates the mail, also an error's
    // answer.
    //   in      codeConv: nonzero asks the service to convert the codes of the header texts
    std::uint32_t ReceiveHeader(CntsPOP3ReceiveMail& mail, int codeConv);
    std::uint32_t ReceiveHeaderOnly(CntsPOP3ReceiveMail& mail, int codeConv);
    std::uint32_t ReceiveBody(CntsPOP3ReceiveMail& mail);
    std::uint32_t ReceivePartHeader(CntsPOP3ReceiveMail& mail, int codeConv);
    std::uint32_t ReceivePartBody(CntsPOP3ReceiveMail& mail);
    std::uint32_t SkipMail(CntsPOP3ReceiveMail& mail);
    std::uint32_t SkipPart(CntsPOP3ReceiveMail& mail);
    std::uint32_t Delete(CntsPOP3ReceiveMail& mail);

private:
    CntsMLUTLMailAddress m_cMailAddress;
    ntc_email_esu_pop3_main_communicator*
        m_pCommunicator;  // owned; null when the session could not be created
};

}  // namespace velorin
