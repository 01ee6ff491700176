#pragma once

#include "CntsMLUTLMailPart.h"
#include "ntc_email_export.h"

namespace velorin {

// A part of a mail under reception: what CntsPOP3ReceiveMail::GetPart gives.
class NTC_EMAIL_API CntsPOP3ReceiveMailPart : public CntsMLUTLMailPart {
public:
    CntsPOP3ReceiveMailPart();
    ~CntsPOP3ReceiveMailPart() override;
};

}  // namespace velorin
