#pragma once

#include "emwGEN.h"

// Trace lines of the channel itself carry its own module number and the level of a failure.
#define CHANNEL_TRACE(...) emwGENTrcPrintf(0x2106, 0x102, 0, __VA_ARGS__)
