#pragma once

#include "ntc_email_esu_smtp.pb.h"
#include "pop3_secrets.h"
#include "secret_text.h"

namespace velorin {

// Overwrite the log-in data of settings, and of what carries them.

inline void forget_secrets(ntc_email_esu_smtp_settings& settings)
{
    if (settings.has_c_paswd()) wipe(*settings.mutable_c_paswd());
    if (settings.has_p_pop3_settings()) forget_secrets(*settings.mutable_p_pop3_settings());
}

inline void forget_secrets(ntc_email_esu_smtp_create_instance_req& request)
{
    if (request.has_psmtpset()) forget_secrets(*request.mutable_psmtpset());
}

}  // namespace velorin
