#include "icu_oracle.h"

#include <stdexcept>

#include <unicode/ucnv_err.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>

namespace {

void check(UErrorCode code, const std::string& what)
{
    if (U_FAILURE(code)) throw std::runtime_error(what + ": " + u_errorName(code));
}

}  // namespace

IcuOracle::IcuOracle(const char* name)
{
    UErrorCode code = U_ZERO_ERROR;
    converter_ = ucnv_open(name, &code);
    check(code, name);
    ucnv_setToUCallBack(converter_, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &code);
    ucnv_setFromUCallBack(converter_, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &code);
    check(code, name);
}

IcuOracle::~IcuOracle()
{
    ucnv_close(converter_);
}

std::optional<std::u16string> IcuOracle::read(const std::string& octets)
{
    std::u16string text(octets.size() * 2 + 2, u'\0');
    UErrorCode code = U_ZERO_ERROR;
    const int length = ucnv_toUChars(converter_, text.data(), static_cast<int>(text.size()), octets.data(),
                                     static_cast<int>(octets.size()), &code);
    if (U_FAILURE(code)) return std::nullopt;
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::optional<std::string> IcuOracle::write(const std::u16string& text)
{
    std::string octets(text.size() * 8 + 16, '\0');
    UErrorCode code = U_ZERO_ERROR;
    const int length = ucnv_fromUChars(converter_, octets.data(), static_cast<int>(octets.size()),
                                       text.data(), static_cast<int>(text.size()), &code);
    if (U_FAILURE(code)) return std::nullopt;
    if (length == 0 && !text.empty()) return std::nullopt;  // invisible characters are dropped without a word
    octets.resize(static_cast<std::size_t>(length));
    return octets;
}

std::string utf8_of(const std::u16string& text)
{
    std::string octets(text.size() * 3 + 1, '\0');
    UErrorCode code = U_ZERO_ERROR;
    int length = 0;
    u_strToUTF8(octets.data(), static_cast<int>(octets.size()), &length, text.data(),
                static_cast<int>(text.size()), &code);
    check(code, "to UTF-8");
    octets.resize(static_cast<std::size_t>(length));
    return octets;
}

std::u16string utf16_of(const std::string& octets)
{
    std::u16string text(octets.size() + 1, u'\0');
    UErrorCode code = U_ZERO_ERROR;
    int length = 0;
    u_strFromUTF8(text.data(), static_cast<int>(text.size()), &length, octets.data(),
                  static_cast<int>(octets.size()), &code);
    check(code, "from UTF-8");
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::u16string nfkc_of(const std::u16string& text)
{
    UErrorCode code = U_ZERO_ERROR;
    const UNormalizer2* const form = unorm2_getNFKCInstance(&code);
    check(code, "normalizer");
    std::u16string normal(text.size() * 4 + 4, u'\0');
    const int length = unorm2_normalize(form, text.data(), static_cast<int>(text.size()), normal.data(),
                                        static_cast<int>(normal.size()), &code);
    check(code, "normalize");
    normal.resize(static_cast<std::size_t>(length));
    return normal;
}
