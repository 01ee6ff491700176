#pragma once

#include "ntc_email.h"

#include "new_file.h"
#include "spool.h"

namespace velorin::cli {

// A text that was received, decoded but in its own character set, on its way into a file in UTF-8 with LF as
// its line end. A text that is not what its character set says, or whose set nobody knows, is not changed at
// all. Of any size with flat memory.
//   in      octets: the text; file: open and empty
//   out     converted: whether the file is in UTF-8
//   result  false with errno when a file cannot be read or written
bool write_received_text(Spool& octets, CntsMLUTLMailType::eCharSet charset, NewFile& file, bool& converted);

}  // namespace velorin::cli
