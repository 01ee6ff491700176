// What the scenarios of the sending side share.
#pragma once

#include <memory>

#include "CntsSMTPBoundary.h"
#include "CntsSMTPSendMail.h"
#include "CntsSMTPSettings.h"

#include "platform_double.h"

namespace velorin_test::sweep {

// An account with every text and number set, and POP3 settings.
velorin::nts_smtp_settings smtp_record();
velorin::SPOP3Setting pop3_record();

// A session that was created.
std::shared_ptr<velorin::CntsSMTPBoundary> open_smtp_session(PlatformDouble& platform);

// Every member set, octets queued, and a further part with octets of its own.
std::shared_ptr<velorin::CntsSMTPSendMail> send_mail();

// Appends octets to the queue of a part.
void queue(velorin::CntsMLUTLMailPart& part, const char* octets);

}  // namespace velorin_test::sweep
