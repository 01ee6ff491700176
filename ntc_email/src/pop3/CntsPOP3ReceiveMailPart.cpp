#include "CntsPOP3ReceiveMailPart.h"

namespace velorin {

CntsPOP3ReceiveMailPart::CntsPOP3ReceiveMailPart() = default;

CntsPOP3ReceiveMailPart::~CntsPOP3ReceiveMailPart() = default;

}  // namespace velorin
