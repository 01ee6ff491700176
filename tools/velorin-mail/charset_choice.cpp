#include "charset_choice.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "utf8.h"

namespace velorin::cli {

namespace {

using Type = CntsMLUTLMailType;

constexpr char kEscape = '\x1B';
constexpr const char* kShifts = "\x1B\x0E\x0F";  // read as the begin of another mode in ISO-2022-JP
constexpr std::size_t kOctetsPerOctet = 4;  // "a" and a kanji by turns: 4 octets of UTF-8, 9 of ISO-2022-JP
constexpr std::size_t kEscapes = 16;        // the escapes around a single character

constexpr struct {
    const char* name;
    Type::eCharSet charset;
} kCharsets[] = {
    {"us-ascii", Type::eCharSetUsAscii},     {"iso-8859-1", Type::eCharSetIso8859_1},
    {"iso-8859-2", Type::eCharSetIso8859_2}, {"iso-2022-jp", Type::eCharSetIso2022Jp},
    {"shift_jis", Type::eCharSetShiftJis},   {"utf-8", Type::eCharSetUtf8},
};

bool is_japanese(std::uint32_t character)
{
    return (character >= 0x3000 && character <= 0x30FF) ||  // punctuation, hiragana, katakana
           (character >= 0x3400 && character <= 0x9FFF) ||  // kanji
           (character >= 0xFF00 && character <= 0xFFEF);    // full-width and half-width forms
}

bool is_half_width_kana(std::uint32_t character)
{
    return character >= 0xFF61 && character <= 0xFF9F;  // ISO-2022-JP makes them full-width
}

bool is_ascii(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// A cell of JIS X 0208 that converters agree about.
bool is_common_cell(unsigned row, unsigned cell)
{
    if ((row > 0x28 && row < 0x30) || row > 0x74) return false;
    switch (row << 8 | cell) {
    case 0x213D:  // dash, bar
    case 0x2140:  // backslash
    case 0x2141:  // wave dash, tilde
    case 0x2142:  // double bar
    case 0x215D:  // minus
    case 0x2171:  // cent
    case 0x2172:  // pound
    case 0x224C:  // not
        return false;
    default:
        return true;
    }
}

// Whether a text in ISO-2022-JP is one that every reader takes for the same.
bool is_common(const std::string& jis)
{
    bool is_double = false;
    for (std::size_t i = 0; i < jis.size();) {
        if (jis[i] == kEscape) {
            if (i + 2 >= jis.size()) return false;
            is_double = jis[i + 1] == '$';
            i += 3;
        } else if (!is_double) {
            ++i;
        } else {
            if (i + 1 >= jis.size()) return false;
            if (!is_common_cell(static_cast<unsigned char>(jis[i]), static_cast<unsigned char>(jis[i + 1])))
                return false;
            i += 2;
        }
    }
    return true;
}

}  // namespace

bool find_charset(const std::string& name, Type::eCharSet& charset)
{
    std::string lower = name;
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    for (const auto& row : kCharsets) {
        if (lower != row.name) continue;
        charset = row.charset;
        return true;
    }
    return false;
}

bool check_charset(const char* step, const std::string& name, Failure& failure)
{
    Type::eCharSet charset = Type::eCharSetUtf8;
    if (name.empty() || find_charset(name, charset)) return true;
    return fail(failure, kExitUsage, step,
                "charset must be us-ascii, iso-8859-1, iso-8859-2, iso-2022-jp, shift_jis or utf-8");
}

void CharsetSurvey::add(const char* octets, std::size_t length)
{
    if (!fits_) return;
    std::string whole = std::move(pending_);
    whole.append(octets, length);
    const std::size_t front = whole_utf8(whole);
    pending_ = whole.substr(front);
    whole.resize(front);
    if (whole.find_first_of(kShifts) != std::string::npos) fits_ = false;
    if (fits_ && !is_ascii(whole)) look_at(whole);
}

void CharsetSurvey::look_at(std::string& whole)
{
    for (std::size_t i = 0; i < whole.size();) {
        const std::size_t width = utf8_width(whole.data() + i, whole.size() - i);
        const std::uint32_t character = width > 0 ? utf8_character(whole.data() + i, width) : 0;
        fits_ = character != 0 && !is_half_width_kana(character);
        if (!fits_) return;
        japanese_ = japanese_ || is_japanese(character);
        i += width;
    }
    std::string jis;
    fits_ = convert_text(Type::eCharSetUtf8, whole, Type::eCharSetIso2022Jp, jis) && is_common(jis);
}

Type::eCharSet CharsetSurvey::charset() const
{
    return japanese_ && fits_ && pending_.empty() ? Type::eCharSetIso2022Jp : Type::eCharSetUtf8;
}

Type::eCharSet charset_for(const std::string& name, const std::string& text)
{
    Type::eCharSet charset = Type::eCharSetUtf8;
    if (find_charset(name, charset)) return charset;
    CharsetSurvey survey;
    survey.add(text.data(), text.size());
    return survey.charset();
}

bool convert_text(Type::eCharSet from, const std::string& text, Type::eCharSet to, std::string& converted)
{
    std::string source_octets = text;
    converted.resize(text.size() * kOctetsPerOctet + kEscapes);
    const Type::ENCODED_STRING source = {from, &source_octets[0], static_cast<int>(source_octets.size())};
    Type::ENCODED_STRING target = {to, &converted[0], static_cast<int>(converted.size())};
    int consumed = 0;
    if (Type::ConvertEncodedString(source, target, consumed) != 0) return false;
    converted.resize(static_cast<std::size_t>(target.m_nLength));
    return true;
}

std::size_t find_misfit(const std::string& text, Type::eCharSet charset)
{
    std::string converted;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t width = std::max<std::size_t>(utf8_width(text.data() + i, text.size() - i), 1);
        if (!convert_text(Type::eCharSetUtf8, text.substr(i, width), charset, converted)) return i;
        i += width;
    }
    return std::string::npos;
}

std::string misfit_clause(const std::string& text, std::size_t at, Type::eCharSet charset)
{
    const std::size_t width = utf8_width(text.data() + at, text.size() - at);
    char code[16];
    std::snprintf(code, sizeof code, "U+%04lX",
                  static_cast<unsigned long>(utf8_character(text.data() + at, width)));
    return std::string("the character ") + code + " has no place in " + Type::GetCharSet(charset);
}

}  // namespace velorin::cli
