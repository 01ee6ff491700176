// Settings as fields, and the messages that carry them.
#pragma once

#include "CntsPOP3Settings.h"
#include "CntsSMTPSettings.h"

#include "ntc_email_esu_smtp.pb.h"
#include "outcome.h"

namespace velorin_test::sweep {

Fields fields_of(const velorin::CntsPOP3Settings& settings);
Fields fields_of(const velorin::CntsSMTPSettings& settings);
Fields fields_of(const velorin::ntc_email_esu_pop3_settings& message);
Fields fields_of(const velorin::ntc_email_esu_smtp_settings& message);

}  // namespace velorin_test::sweep
