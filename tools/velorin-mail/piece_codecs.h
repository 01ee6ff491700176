#pragma once

#include <cstddef>
#include <functional>

#include "spool.h"

namespace velorin::cli {

// Takes octets on; false when they cannot be written, errno says why.
using OctetSink = std::function<bool(const char* octets, std::size_t length)>;

enum class CodecResult {
    kDone,
    kReadFailed,   // errno says why
    kWriteFailed,  // errno says why
    kNoMemory,
    kCutShort  // everything that can be decoded was written
};

// The transfer encodings of the library for texts of any size, with flat memory: the result is that of one call
// for the whole text.

// Base64 in lines of 76 characters, each ended by CR LF.
CodecResult encode_base64(OctetSource& source, const OctetSink& sink);
//   result  kCutShort for a single character left over
CodecResult decode_base64(OctetSource& source, const OctetSink& sink);

// Lines of at most 76 characters that all end in soft line breaks, the line ends of the text escaped. Where the
// text is cut, and around a NUL, which the library's encoder takes for the end, a soft line break more is due.
CodecResult encode_quoted_printable(OctetSource& source, const OctetSink& sink);
CodecResult decode_quoted_printable(OctetSource& source, const OctetSink& sink);

}  // namespace velorin::cli
