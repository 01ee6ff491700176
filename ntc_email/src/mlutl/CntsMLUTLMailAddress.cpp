#include "CntsMLUTLMailAddress.h"

#include <cstring>
#include <string>

#include "trace.h"
#include "wire_text.h"

namespace velorin {

namespace {

bool is_blank(char c)
{
    return c == ' ' || c == '\t';
}

bool is_in(const char* set, char c)
{
    for (; *set != '\0'; ++set) {  // of a few characters: no call is worth it
        if (*set == c) return true;
    }
    return false;
}

}  // namespace

CntsMLUTLMailAddress::CntsMLUTLMailAddress() : m_cAddress(nullptr) {}

CntsMLUTLMailAddress::CntsMLUTLMailAddress(const char* pAddress) : m_cAddress(pAddress) {}

CntsMLUTLMailAddress::CntsMLUTLMailAddress(const CntsMLUTLMailAddress& other)
    : CutlCPLBObject(other), m_cAddress(other.m_cAddress)
{
}

CntsMLUTLMailAddress::~CntsMLUTLMailAddress() = default;

int CntsMLUTLMailAddress::GetAddress(CutlCPLBMString& out, int& pos, const char* delims) const
{
    const char* const text = m_cAddress.GetString();
    if (text == nullptr) {
        out.CopyString("", -1);
        NTC_TRACE("<Error>:%s:[Result]m_cAddress is null\n", "GetAddress");
        return 0;
    }
    if (pos < 0 || pos > m_cAddress.GetLength()) {
        out.CopyString("", -1);
        return 0;
    }
    if (delims == nullptr) delims = "";

    while (is_in(delims, text[pos]) || is_blank(text[pos])) {
        ++pos;
    }
    const int start = pos;
    SkipUserName(text, pos);
    pos += static_cast<int>(std::strcspn(text + pos, delims));
    const int end = pos;
    while (is_in(delims, text[pos]) || is_blank(text[pos])) {
        ++pos;
    }
    out.CopyString(text + start, end - start);
    if (end == start) return 0;
    trim(out);
    return 1;
}

int CntsMLUTLMailAddress::GetRealAddress(CutlCPLBMString& cRealAddress, const char* pAddress)
{
    if (pAddress == nullptr) {
        cRealAddress.CopyString(nullptr, -1);
        NTC_TRACE("<Error>:%s:[Result]pAddress is null\n", "GetRealAddress");
        return 0;
    }
    int after_name = 0;
    const char* const entry = SkipUserName(pAddress, after_name) != 0 ? pAddress + after_name : pAddress;

    const char* begin = entry;
    const char* end = nullptr;  // null: up to the terminator
    const char* const open = std::strchr(entry, '<');
    if (open != nullptr) {
        const char* const close = std::strchr(open, '>');
        if (close == open + 1) {
            end = open;  // nothing in the brackets: the name has to do
        } else {
            begin = open + 1;
            end = close;
        }
    } else {
        end = std::strchr(entry, '>');
    }
    const std::size_t length = end != nullptr ? static_cast<std::size_t>(end - begin) : std::strlen(begin);
    cRealAddress.CopyString(begin, static_cast<long>(length));  // may be the text of cRealAddress itself
    trim(cRealAddress);
    if (!has_octets(cRealAddress)) {
        NTC_TRACE("<Error>:%s:[Result]cRealAddress is empty(\"\")\n", "GetRealAddress");
        return 0;
    }
    return 1;
}

int CntsMLUTLMailAddress::SplitAddress(CutlCPLBMString& cAccount, CutlCPLBMString& cDomain,
                                       const char* pAddress)
{
    if (pAddress == nullptr) {
        cAccount.CopyString(nullptr, -1);
        cDomain.CopyString("", -1);
        NTC_TRACE("<Error>:%s:[Result]pAddress is null\n", "SplitAddress");
        return 0;
    }
    const std::string address(pAddress);  // the caller may have passed the text of an output itself
    const std::size_t at = address.find('@');
    if (at == std::string::npos) {
        cAccount.CopyString(address.c_str(), -1);
        cDomain.CopyString("", -1);
    } else {
        cAccount.CopyString(address.c_str(), static_cast<long>(at));
        cDomain.CopyString(address.c_str() + at + 1, -1);
    }
    trim(cAccount);
    trim(cDomain);
    if (!has_octets(cAccount) || !has_octets(cDomain)) {
        NTC_TRACE("<Error>:%s:[Result]cAccount or cDomain is empty(\"\")\n", "SplitAddress");
        return 0;
    }
    return 1;
}

int CntsMLUTLMailAddress::SkipUserName(const char* text, int& pos)
{
    if (text == nullptr || pos < 0 || text[pos] != '"') return 0;
    ++pos;
    while (text[pos] != '\0') {
        if (text[pos] == '\\') {
            ++pos;
            if (text[pos] != '\0') ++pos;  // a backslash at the very end quotes nothing
        } else if (text[pos] == '"') {
            ++pos;
            return 1;
        } else {
            ++pos;
        }
    }
    NTC_TRACE("<Warning>:%s:[Result]only one double quotation mark exists\n", "SkipUserName");
    return 0;
}

}  // namespace velorin
