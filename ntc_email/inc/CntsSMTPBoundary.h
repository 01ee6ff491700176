#pragma once

#include <cstdint>

#include "CutlCPLBObject.h"

#include "CntsSMTPSendMail.h"
#include "CntsSMTPSettings.h"
#include "ntc_email_export.h"

namespace velorin {

class ntc_email_esu_smtp_main_communicator;

// One SMTP session of the mail service. Every operation is one exchange with the service; the order of the
// operations is the service's to enforce. Used by one thread at a time, AdjustBuffLenM3 excepted, which
// touches nothing of the session; sessions in other threads wait for each other's exchanges.
//   result  0; the service's code unchanged; 0x21077103 when the exchange failed or the session could not be
//           created (no exchange then)
class NTC_EMAIL_API CntsSMTPBoundary : public CutlCPLBObject {
public:
    // Creates the session at the service. A refusal shows in the trace and in every later operation.
    CntsSMTPBoundary(const CntsSMTPSettings& settings);
    CntsSMTPBoundary(const CntsSMTPBoundary&) = delete;
    CntsSMTPBoundary& operator=(const CntsSMTPBoundary&) = delete;
    ~CntsSMTPBoundary() override;  // ends the session at the service

    std::uint32_t Connect();
    std::uint32_t Test();
    std::uint32_t Abort();
    // Asks whether a mail of `size` octets is acceptable; more than 32 bits hold is judged as 4 GiB - 1.
    std::uint32_t JudgeSizeofData(unsigned long size);

    // The steps of a mail: header, body, for each further part its header and body, close. The whole mail
    // travels at each step; nothing is written back into it.
    std::uint32_t SendHeader(CntsSMTPSendMail& mail);
    std::uint32_t SendBody(CntsSMTPSendMail& mail);
    std::uint32_t SendPartHeader(CntsSMTPSendMail& mail);
    std::uint32_t SendPartBody(CntsSMTPSendMail& mail);
    std::uint32_t Close(CntsSMTPSendMail& mail);

    // Cuts body octets to a multiple of three, so that chunks encoded one by one in base64 join without
    // padding.
    //   in      buffer: platform-heap block; length: its octets; carryCount, carry: the 0 to 2 octets held
    //           back by the call before, carryCount 0 at first; carry holds two octets
    //   out     buffer: may be a new block, the old one freed; length: a multiple of three; carryCount,
    //           carry: held back now. The caller sends them after the last chunk: a length of 0 changes
    //           nothing
    //   result  0; 0x21077101 when memory runs out and 0x2107720F for a carry count other than 0, 1, 2:
    //           nothing changed; 0x2107720F for a negative length, which with octets carried replaces the
    //           buffer and with none is let pass when it is a multiple of three; traced
    std::uint32_t AdjustBuffLenM3(void*& buffer, long& length, long& carryCount, char* carry);

private:
    // Owned; null when the session could not be created.
    ntc_email_esu_smtp_main_communicator* m_pCommunicator;
};

}  // namespace velorin
