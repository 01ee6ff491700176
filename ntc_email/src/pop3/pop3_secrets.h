#pragma once

#include "ntc_email_esu_pop3.pb.h"
#include "secret_text.h"

namespace velorin {

// Overwrite the log-in data of settings, and of what carries them.

inline void forget_secrets(ntc_email_esu_pop3_settings& settings)
{
    if (settings.has_c_passwd()) wipe(*settings.mutable_c_passwd());
}

inline void forget_secrets(ntc_email_esu_pop3_create_instance_req& request)
{
    if (request.has_c_settings()) forget_secrets(*request.mutable_c_settings());
}

}  // namespace velorin
