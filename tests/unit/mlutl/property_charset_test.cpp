// What holds of conversions and of cut texts whatever the characters and the character sets.
#include <algorithm>
#include <iterator>

#include "CntsMLUTLMailPart.h"
#include "CntsMLUTLMimeUtility.h"
#include "mail_part_cut.h"
#include "mlutl_support.h"
#include "property_support.h"

namespace velorin_test {
namespace {

bool is_jis(CharSet set)
{
    return set == 5 || set == 6;
}

Characters common_alphabet(CharSet first, CharSet second)
{
    Characters common;
    std::set_intersection(alphabet_of(first).begin(), alphabet_of(first).end(), alphabet_of(second).begin(),
                          alphabet_of(second).end(), std::back_inserter(common));
    return common;
}

RC_GTEST_PROP(ConversionProperty, EverySetToEverySetAndBackIsTheIdentity, ())
{
    const CharSet first = *any_set();
    const CharSet second = *any_set();
    Characters alphabet = common_alphabet(first, second);
    alphabet.emplace_back("\r\n");
    const std::string text = joined(*any_characters(alphabet));
    const std::string there = *converted(kUtf8, text, first);
    RC_ASSERT(to_utf8(first, there) == text);
    RC_ASSERT(converted(first, there, second) == converted(kUtf8, text, second));
    RC_ASSERT(to_utf8(second, *converted(first, there, second)) == text);
}

RC_GTEST_PROP(ConversionProperty, AnyCutBetweenCharactersConvertsToTheWhole, ())
{
    const CharSet set = *any_set();
    const Characters text = *any_characters(alphabet_of(set));
    const auto middle = text.begin() + static_cast<std::ptrdiff_t>(any_cut(text.size()));
    const std::string parts = *converted(kUtf8, joined(Characters(text.begin(), middle)), set) +
                              *converted(kUtf8, joined(Characters(middle, text.end())), set);
    RC_ASSERT(to_utf8(set, parts) == joined(text));
    // The sets with modes return to ASCII at the cut.
    if (!is_jis(set)) RC_ASSERT(parts == *converted(kUtf8, joined(text), set));
}

// As a body is sent: each piece begins with the switch into the mode in which the piece before it ended.
RC_GTEST_PROP(CutProperty, PiecesOfAnyLengthOfAJapaneseTextConvertToTheWhole, ())
{
    static const char* const switches[] = {"", "\x1B(J", "\x1B(I", "\x1B$@", "\x1B$B"};
    const CharSet set = *any_japanese_set();
    Characters alphabet = alphabet_of(set);
    alphabet.emplace_back("\r\n");
    const std::string text = joined(*any_characters(alphabet));
    const long wanted = *number(16, 60);
    std::string rest = *converted(kUtf8, text, set);
    std::string utf8;
    while (!rest.empty()) {
        const Cut cut =
            cut_in_part(set, 0, rest, std::min(wanted, static_cast<long>(rest.size())), Use::any_text);
        RC_ASSERT(cut.at > 0 && cut.at <= static_cast<long>(rest.size()));
        RC_ASSERT(cut.mode >= 0 && cut.mode <= 4);
        const std::size_t taken = static_cast<std::size_t>(cut.at);
        utf8 += to_utf8(set, std::string_view(rest).substr(0, taken));
        const std::string begin = switches[cut.mode];
        RC_ASSERT(taken > begin.size());
        rest = (taken < rest.size() ? begin : "") + rest.substr(taken);
    }
    RC_ASSERT(utf8 == text);
}

// Octets escaped as a writer of file names may: some that need not be, with digits of either case.
std::string escaped(const std::string& octets)
{
    std::string text;
    for (const char c : octets) {
        const char* const digits = *number(0, 1) == 0 ? "0123456789ABCDEF" : "0123456789abcdef";
        const unsigned char octet = static_cast<unsigned char>(c);
        if (c != '%' && c != ';' && octet >= ' ' && octet < 0x7F && *number(0, 1) == 0)
            text += c;
        else
            text += {'%', digits[octet >> 4], digits[octet & 15]};
    }
    return text;
}

std::string unescaped(const std::string& text)
{
    const ExactText in(text);
    std::string octets(text.size(), '\0');
    velorin::CntsMLUTLMimeUtility::EscapeStringDecode(in.data(), static_cast<int>(in.length()),
                                                      octets.data());
    return octets;
}

RC_GTEST_PROP(EscapeProperty, DecodeOfEncodeIsTheIdentityWhereverItIsCut, ())
{
    const std::string octets = *any_octets();
    const std::size_t cut = any_cut(octets.size());
    const std::string first = escaped(octets.substr(0, cut));
    const std::string second = escaped(octets.substr(cut));
    RC_ASSERT(unescaped(first + second).substr(0, octets.size()) == octets);
    RC_ASSERT(unescaped(first).substr(0, cut) + unescaped(second).substr(0, octets.size() - cut) == octets);
}

RC_GTEST_PROP(EscapeProperty, AFileNameInAnySetComesBackWithItsExtension, ())
{
    const CharSet set = *any_set();
    const std::string name = *converted(kUtf8, joined(*any_characters(alphabet_of(set))), set);
    const std::string whole = name + ".pdf";
    const ExactText value("any'thing'" + escaped(whole) + *rc::gen::elementOf(Characters{"", ";", "; b=c"}));
    velorin::CntsMLUTLMailPart part;
    velorin::CntsMLUTLMimeUtility::DecodeAndSetEscapeString(part, value.data());
    RC_ASSERT(text_of(part.m_cFIleName) == trimmed(whole));
    RC_ASSERT(text_of(part.m_cExtension) == (name.empty() ? "(null)" : "pdf"));
}

}  // namespace
}  // namespace velorin_test
