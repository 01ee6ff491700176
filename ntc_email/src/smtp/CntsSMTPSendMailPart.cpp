#include "CntsSMTPSendMailPart.h"

namespace velorin {

CntsSMTPSendMailPart::CntsSMTPSendMailPart() = default;

CntsSMTPSendMailPart::~CntsSMTPSendMailPart() = default;

}  // namespace velorin
