#pragma once

#include <cstdint>

#include "platform_api.h"

// Why the Linux channel failed. Callers behind platform/inc know "nonzero is a failure" only; these numbers
// are for traces, tools and whoever tells a person what to do about it.
namespace velorin_channel {

enum ChannelCode : std::uint32_t {
    kChannelDone = 0,
    kNoSuchEndpoint = 0x21060001,  // no handler in this process and no socket of that name: nobody serves it
    kRefused = 0x21060002,         // a socket is there, but nobody listens on it: its server has gone
    kNoPermission = 0x21060003,    // directory or socket without rights for this user
    kPeerGone = 0x21060004,        // the peer closed, died or let this caller go before the answer was whole
    kBadFrame = 0x21060005,        // what came back is no answer frame, or more than one
    kAnswerTooLong = 0x21060006,   // the answer is longer than the receive buffer
    kTimeout = 0x21060007,         // the time was over
    kBadHandle = 0x21060008,       // a handle that is not open
    kNoMemory = 0x21060009,        // memory or descriptors ran out
    kBadArgument = 0x2106000A,     // a null pointer or a name that no endpoint can have
    kBusy = 0x2106000B,            // another thread is in a call on the same handle
    kSystemError = 0x2106000C      // anything else the system reported; a trace line says what
};

// A sentence without full stop for a person, in English: "nobody serves that name". Never null; static.
NTC_PLATFORM_API const char* channel_code_text(std::uint32_t code);

}  // namespace velorin_channel
