#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "platform_api.h"

// Recording of the exchanges of this process's client side, in the file that VELORIN_CAPTURE names (read
// once, at the first exchange). The file is created with mode 0600 and appended to; several processes may
// share it.
//
// A file is a sequence of records, each written by one write. Integers are big-endian; offsets in octets:
//    0   4  magic "NTC" and the version, 1
//    4   4  length of the whole record, this header included
//    8   8  when the exchange began, microseconds since 1970 UTC
//   16   8  how long it took, nanoseconds
//   24   4  process id of the caller
//   28   4  code of emwGENPacketClntCall, 0 for success
//   32   4  flags: 1 the request is recorded, 2 the answer is recorded
//   36   4  length of the request as it was sent
//   40   4  length of the answer as it was received
//   44   4  E, length of the endpoint
//   48   4  Q, length of the request as recorded
//   52   4  A, length of the answer as recorded
//   56   E  endpoint, as given to emwGENPacketClntInit
//    .   Q  request envelope
//    .   A  answer envelope
// An envelope is rebuilt on its way into the file: passwords are replaced by "***", bodies by nothing, and a
// field that the schema does not know is left out. An envelope that is malformed, or of an endpoint whose
// schema is not known here, is not recorded; its length is.
namespace velorin_channel {

struct CaptureRecord {
    std::int64_t time_us = 0;       // microseconds since 1970 UTC
    std::uint64_t duration_ns = 0;  // nanoseconds
    std::uint32_t pid = 0;
    std::uint32_t code = 0;          // of emwGENPacketClntCall: 0, or a ChannelCode
    std::string endpoint;            // "pcie:ntc_email_smtp"
    std::uint32_t request_size = 0;  // octets as sent
    std::uint32_t answer_size = 0;   // octets as received
    bool has_request = false;        // false: malformed or of unknown schema, only the size is known
    bool has_answer = false;         // false: also when there was none
    std::string request;             // serialised envelope without passwords and bodies
    std::string answer;
};

// Reads the next record.
//   in      file: open for reading, at the start of a record
//   out     record: on true
//           error: empty at the end of the file, else a sentence; the file is then not worth reading on
//   result  true with a record; false at the end or on an error
NTC_PLATFORM_API bool read_capture_record(std::FILE* file, CaptureRecord& record, std::string& error);

// Which envelope an exchange carries.
enum class EnvelopeKind { kUnknown, kSmtp, kPop3 };

//   in      endpoint: with or without "pcie:"
EnvelopeKind envelope_kind(const std::string& endpoint);

// Rebuilds an envelope without what must not be recorded.
//   out     redacted: on true
//   result  false when it is malformed or its kind unknown
NTC_PLATFORM_API bool redact_envelope(EnvelopeKind kind, const char* octets, std::size_t length,
                                      std::string& redacted);

//   result  whether this process records; the first call reads the environment and opens the file
bool capture_enabled();

// Appends one record; a failure to write costs the record and one trace line, never the exchange.
//   in      answer: null when there was none
void capture_exchange(const std::string& endpoint, std::int64_t time_us, std::uint64_t duration_ns,
                      std::uint32_t code, const void* request, std::uint32_t request_length,
                      const void* answer, std::uint32_t answer_length);

}  // namespace velorin_channel
