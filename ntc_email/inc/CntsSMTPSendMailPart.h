#pragma once

#include "CntsMLUTLMailPart.h"
#include "ntc_email_export.h"

namespace velorin {

// A further part of an outgoing mail: what CntsSMTPSendMail::SetPart takes.
class NTC_EMAIL_API CntsSMTPSendMailPart : public CntsMLUTLMailPart {
public:
    CntsSMTPSendMailPart();
    ~CntsSMTPSendMailPart() override;
};

}  // namespace velorin
