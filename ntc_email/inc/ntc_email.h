#pragma once

// Brings all public headers of the e-mail client library.
#include "CntsMLUTLDomainFilter.h"
#include "CntsMLUTLMailAddress.h"
#include "CntsMLUTLMailException.h"
#include "CntsMLUTLMailPart.h"
#include "CntsMLUTLMailType.h"
#include "CntsMLUTLMimeUtility.h"
#include "CntsPOP3Boundary.h"
#include "CntsPOP3MailInfo.h"
#include "CntsPOP3MailInfoList.h"
#include "CntsPOP3ReceiveMail.h"
#include "CntsPOP3ReceiveMailPart.h"
#include "CntsPOP3Settings.h"
#include "CntsSMTPBoundary.h"
#include "CntsSMTPSendMail.h"
#include "CntsSMTPSendMailPart.h"
#include "CntsSMTPSettings.h"
