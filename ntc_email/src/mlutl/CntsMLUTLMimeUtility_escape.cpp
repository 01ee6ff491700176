// Escaped file names and the arithmetic of Japanese codes.
#include "CntsMLUTLMimeUtility.h"

#include <climits>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "CntsMLUTLMailPart.h"
#include "heap_block.h"
#include "trace.h"
#include "wire_text.h"

namespace velorin {

namespace {

char upper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// The escaped text of an extended parameter value: behind charset and language, up to the next parameter.
//   result  its beginning; null when the value has no two single quotes
const char* find_escaped(const char* value, std::size_t& length)
{
    const char* const charset_end = std::strchr(value, '\'');
    const char* const language_end = charset_end != nullptr ? std::strchr(charset_end + 1, '\'') : nullptr;
    if (language_end == nullptr) return nullptr;
    const char* const escaped = language_end + 1;
    length = std::strcspn(escaped, ";");
    return escaped;
}

}  // namespace

int CntsMLUTLMimeUtility::Jis2Sjis(const char*, long, char*&, long&)
{
    return 1;
}

unsigned short CntsMLUTLMimeUtility::CodeConvertJis2Sjis(unsigned short jis)
{
    unsigned high = (jis >> 8) & 0xFFu;
    const unsigned low = jis & 0xFFu;
    if (low < 0x21) return 0;
    unsigned trail = low >= 0x60 ? low + 0x20 : low + 0x1F;
    if (high % 2 == 0) {  // the upper half of a Shift_JIS row; only here is the end of the cells looked at
        if (low > 0x7F) return 0;
        trail = low + 0x7E;
        --high;
    }
    unsigned lead = (((high - 0x1Fu) >> 1) & 0x7FFFu) + 0x80u;
    if (lead > 0x9F) lead += 0x40;  // over the half-width kana
    const bool is_lead = (lead >= 0x81 && lead <= 0x9F) || (lead >= 0xE0 && lead <= 0xEF);
    if (!is_lead) return 0;
    return static_cast<unsigned short>(((lead << 8) + trail) & 0xFFFFu);
}

unsigned char CntsMLUTLMimeUtility::EscapeDecode(char c)
{
    if (c >= '0' && c <= '9') return static_cast<unsigned char>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<unsigned char>(c - 'A' + 10);
    return 0;
}

void CntsMLUTLMimeUtility::EscapeStringDecode(const char* in, int len, char* out)
{
    for (long i = 0; i < len; ++out) {
        if (in[i] != '%') {
            *out = in[i++];
            continue;
        }
        const char first = in[i + 1];
        const bool is_readable = first != '\0' || i + 2 < len;  // behind the length there is a NUL at the end
        const char second = is_readable ? in[i + 2] : '\0';
        *out = static_cast<char>(EscapeDecode(upper(first)) * 16 + EscapeDecode(upper(second)));
        i += 3;
    }
}

void CntsMLUTLMimeUtility::DecodeAndSetEscapeString(CntsMLUTLMailPart& part, char* value)
{
    if (value == nullptr) {
        NTC_TRACE("CntsMLUTLMimeUtility::DecodeAndSetEscapeString() was passed in a NULL pointer\n");
        return;
    }
    std::size_t length = 0;
    const char* const escaped = find_escaped(value, length);
    if (escaped == nullptr) return;
    HeapBlock decoded;
    if (length >= INT_MAX || !allocate_zeroed(decoded, static_cast<long>(length))) {
        NTC_TRACE("CntsMLUTLMimeUtility::DecodeAndSetEscapeString() new failed\n");
        return;
    }
    EscapeStringDecode(escaped, static_cast<int>(length), decoded.data);

    part.m_cFIleName.CopyString(decoded.data, -1);
    trim(part.m_cFIleName);
    const std::string_view name(decoded.data);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0 || dot + 1 == name.size()) return;
    part.m_cExtension.CopyString(decoded.data + dot + 1, -1);
}

}  // namespace velorin
