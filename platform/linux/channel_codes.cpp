#include "channel_codes.h"

namespace velorin_channel {

const char* channel_code_text(std::uint32_t code)
{
    switch (code) {
    case kChannelDone:
        return "done";
    case kNoSuchEndpoint:
        return "nobody serves that endpoint";
    case kRefused:
        return "the service of that endpoint is not running";
    case kNoPermission:
        return "no permission to use that endpoint";
    case kPeerGone:
        return "the peer closed the channel before its answer was whole";
    case kBadFrame:
        return "the peer answered with something that is no answer";
    case kAnswerTooLong:
        return "the answer is longer than the receive buffer";
    case kTimeout:
        return "no answer in time";
    case kBadHandle:
        return "the channel is not open";
    case kNoMemory:
        return "memory or descriptors ran out";
    case kBadArgument:
        return "an argument that no exchange can have";
    case kBusy:
        return "the channel is in use by another thread";
    case kSystemError:
        return "the system refused";
    default:
        return "unknown code";
    }
}

}  // namespace velorin_channel
