// The trace of a program that is fed with hostile frames: its lines are looked at, not written.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "emwGEN.h"
#include "fuzz_property.h"

void emwGENTrcPrintf(std::uint32_t module, std::uint32_t, std::uint32_t, const char* format, ...)
{
    char line[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    velorin_fuzz::require(module == 0x2106, "a line is the channel's");
    velorin_fuzz::require(length > 0 && static_cast<std::size_t>(length) < sizeof line, "a line is short");
    velorin_fuzz::require(std::strchr(line, '\n') == line + length - 1, "a line is one line");
}
