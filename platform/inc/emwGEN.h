#pragma once

#include <cstdint>

#include "platform_api.h"

// Packet channel, client end, and the trace sink.
// All functions may be called by any number of threads at once. A status is 0 for success; every other value
// is a failure code of the platform, good for tracing only.
extern "C" {

// Opens a client channel to a named service endpoint.
//   in      endpoint: ASCII, NUL-terminated, "pcie:" and the name of the endpoint
//   out     handle: set on success only, never 0 and not given out again soon; open until
//           emwGENPacketClntTerm
//   result  0; a failure code when nobody serves that name, access is refused or memory runs out
NTC_PLATFORM_API std::uint32_t emwGENPacketClntInit(const char* endpoint, std::uint32_t* handle);

// Sends one request and waits for its answer. One call at a time on one handle.
//   in      request: octets, untouched; null only with request_length 0
//           buffer_size: octets that `buffer` holds; no answer longer than this is ever delivered in part
//           timeout: milliseconds for the whole exchange, -1 waits without limit
//   out     received_length: octets of the answer in `buffer`, 0 for an empty answer; unchanged on failure
//   result  0; a failure code when the peer has gone, answers with anything but one whole answer, answers
//           with more than buffer_size, or when the time is over: what `buffer` holds then is undefined
NTC_PLATFORM_API std::uint32_t emwGENPacketClntCall(std::uint32_t handle, const void* request,
                                                    std::uint32_t request_length, void* buffer,
                                                    std::uint32_t buffer_size, std::uint32_t* received_length,
                                                    std::int32_t timeout);

// Closes a channel; the handle is void from then on, also when the peer has gone meanwhile.
//   result  0; a failure code for a handle that is not open
NTC_PLATFORM_API std::uint32_t emwGENPacketClntTerm(std::uint32_t handle);

// Writes one line to the trace sink: whole, whatever its length, and never mixed with the line of another
// thread.
//   in      module, level, option: numbers for the reader of the trace; option 0 is the plain line
//           format: printf's; a line end at its end is optional, other control characters are written visibly
// errno is left as it was.
NTC_PLATFORM_API void emwGENTrcPrintf(std::uint32_t module, std::uint32_t level, std::uint32_t option,
                                      const char* format, ...) __attribute__((format(printf, 4, 5)));

}  // extern "C"
