#include "emwCLB.h"

#include <time.h>

namespace {
unsigned char upper(char octet)
{
    const unsigned char value = static_cast<unsigned char>(octet);
    return value >= 'a' && value <= 'z' ? static_cast<unsigned char>(value - 'a' + 'A') : value;
}
}  // namespace

int emwCLBCompStrCaseN(const char* a, const char* b, std::uint32_t count)
{
    if (a == nullptr || b == nullptr) return (a != nullptr ? 1 : 0) - (b != nullptr ? 1 : 0);
    for (std::uint32_t index = 0; index < count; ++index) {
        if (a[index] != b[index]) {
            const int difference = upper(a[index]) - upper(b[index]);
            if (difference != 0) return difference;
        } else if (a[index] == '\0') {
            return 0;
        }
    }
    return 0;
}

struct tm* emwCLBLocalTime_r(const time_t* seconds, struct tm* out)
{
    if (seconds == nullptr || out == nullptr) return nullptr;
    // localtime_r need not look at TZ by itself; the C library does so once here and is cheap from then on.
    tzset();
    return localtime_r(seconds, out);
}

char* emwCLBConvertUpper(char* text)
{
    if (text == nullptr) return nullptr;
    for (char* octet = text; *octet != '\0'; ++octet)
        *octet = static_cast<char>(upper(*octet));
    return text;
}
