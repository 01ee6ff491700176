#pragma once

#include "emwGEN.h"

// One line of the service's log: what happened, to whom, by number and name. Never a password, an address or
// a text of a mail.
#define NTC_SERVICE_LOG(...) emwGENTrcPrintf(0x2108u, 0x102u, 0u, __VA_ARGS__)
