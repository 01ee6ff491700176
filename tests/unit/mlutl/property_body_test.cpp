// What holds of the body encodings whatever the octets, the line and the cut.
#include "mlutl_support.h"
#include "property_support.h"

namespace velorin_test {
namespace {

bool is_base64(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

std::size_t sextets_of(std::string_view text)
{
    std::size_t count = 0;
    for (const char c : text)
        count += is_base64(c) ? 1 : 0;
    return count;
}

// The text with what a decoder skips at any place of it.
std::string with_noise(const std::string& text)
{
    static const std::string noise = "\r\n= \t-_.*\x80\xFF";
    std::string noisy;
    for (const char c : text) {
        for (int count = *rc::gen::elementOf(std::vector<int>{0, 0, 0, 0, 1, 3}); count > 0; --count)
            noisy += *rc::gen::elementOf(noise);
        noisy += c;
    }
    return noisy;
}

RC_GTEST_PROP(Base64Property, DecodeOfEncodeIsTheIdentityForEveryLine, ())
{
    const std::string octets = *any_octets();
    const int line = *number(-8, 160);
    RC_PRE(!octets.empty() || line < 4);  // nothing to put on a line
    const std::optional<std::string> text = to_base64(octets, line);
    RC_ASSERT(text.has_value());
    RC_ASSERT(from_base64(*text) == octets);
}

RC_GTEST_PROP(Base64Property, EveryLineButTheLastFillsItsBudgetInWholeGroups, ())
{
    const std::string octets = *rc::gen::nonEmpty(any_octets());
    const int budget = *number(4, 160);
    const std::vector<std::string> lines = lines_of(*to_base64(octets, budget));
    std::string text;
    for (const std::string& line : lines) {
        const std::size_t whole = static_cast<std::size_t>(budget / 4 * 4);
        RC_ASSERT(line.size() == whole || (&line == &lines.back() && line.size() < whole && !line.empty()));
        text += line;
    }
    RC_ASSERT(text == base64_of(octets));
}

RC_GTEST_PROP(Base64Property, PiecesOfWholeGroupsEncodeAsTheWhole, ())
{
    const std::string first = *octets_of_length(static_cast<std::size_t>(*number(0, 50)) * 3);
    const std::string second = *any_octets();
    RC_ASSERT(*to_base64(first, 0) + *to_base64(second, 0) == *to_base64(first + second, 0));
}

RC_GTEST_PROP(Base64Property, PiecesOfWholeLinesEncodeAsTheWhole, ())
{
    const int line = *number(4, 80);
    const std::string first = *octets_of_length(static_cast<std::size_t>(*number(1, 4) * (line / 4) * 3));
    const std::string second = *rc::gen::nonEmpty(any_octets());
    RC_ASSERT(*to_base64(first, line) + "\r\n" + *to_base64(second, line) ==
              *to_base64(first + second, line));
}

RC_GTEST_PROP(Base64Property, AnyCutOfATextDecodesToTheWhole, ())
{
    const std::string octets = *any_octets();
    const std::string text = with_noise(base64_of(octets));
    RC_ASSERT(from_base64(text) == octets);

    const std::size_t cut = any_cut(text.size());
    const std::string first = text.substr(0, cut);
    const std::size_t sextets = sextets_of(first);
    const std::size_t whole = sextets / 4 * 3;
    const std::string decoded = *from_base64(first);
    RC_ASSERT(decoded == octets.substr(0, whole + (sextets % 4 > 1 ? sextets % 4 - 1 : 0)));

    // The characters of the group that the cut has split go with the rest.
    std::string carried;
    for (std::size_t at = cut; carried.size() < sextets % 4; --at)
        if (is_base64(first[at - 1])) carried.insert(0, 1, first[at - 1]);
    RC_ASSERT(decoded.substr(0, whole) + *from_base64(carried + text.substr(cut)) == octets);
}

// A doubled dot at the start of a line counts once, and only a line feed that stands for itself begins a line
// anew: what is encoded here has none, so only the first character that is not escaped can be taken for one.
std::string with_first_dots_joined(std::string text, const std::string& encoded)
{
    for (std::size_t at = 0, octet = 0; at < encoded.size(); ++octet) {
        if (encoded.compare(at, 3, "=\r\n") == 0) {
            at += 3;
            --octet;
        } else if (encoded[at] == '=') {
            at += 3;
        } else {
            if (encoded.compare(at, 2, "..") == 0) text.erase(octet, 1);
            break;
        }
    }
    return text;
}

RC_GTEST_PROP(QuotedPrintableProperty, DecodeOfEncodeIsTheIdentityButForDotsThatBeginIt, ())
{
    const std::string text = *any_text();
    const std::string encoded = to_quoted_printable(text, *number(1, 120));
    RC_ASSERT(from_quoted_printable(encoded) == with_first_dots_joined(text, encoded));
}

RC_GTEST_PROP(QuotedPrintableProperty, NoLineIsLongerThanItsBudgetAndWhatEndsIt, ())
{
    const int budget = *number(1, 120);
    const std::string encoded = to_quoted_printable(*any_text(), budget);
    const std::vector<std::string> lines = lines_of(encoded);
    RC_ASSERT(lines.back().empty());
    for (const std::string& line : lines) {
        if (&line == &lines.back()) break;
        // A character that begins below the budget may be three wide; then the "=" of the soft break.
        RC_ASSERT(static_cast<int>(line.size()) <= budget - 1 + 3 + 1);
        RC_ASSERT(line.back() == '=');
        for (const char c : line)
            RC_ASSERT(c > ' ' && c < 0x7F);
    }
}

RC_GTEST_PROP(QuotedPrintableProperty, AnyCutOfATextEncodesToPartsThatDecodeToTheWhole, ())
{
    const std::string text = *any_text();
    const int line = *number(1, 120);
    const std::size_t cut = any_cut(text.size());
    const std::string encoded =
        to_quoted_printable(text.substr(0, cut), line) + to_quoted_printable(text.substr(cut), line);
    RC_ASSERT(from_quoted_printable(encoded) == with_first_dots_joined(text, encoded));
}

RC_GTEST_PROP(QuotedPrintableProperty, AnyCutBetweenItsElementsDecodesToTheWhole, ())
{
    static const Characters elements = {"a",  "b.", "=3D", "=e3=81", "=\r\n", "=\n\n", "\r\n",
                                        "\n", ".",  "=0A", "_",      "=4x",   "\t",    "\xE3"};
    const Characters text = *any_characters(elements);
    const std::size_t cut = any_cut(text.size());
    const auto middle = text.begin() + static_cast<std::ptrdiff_t>(cut);
    const std::string first = joined(Characters(text.begin(), middle));
    const std::string second = joined(Characters(middle, text.end()));
    // The second begins a line where the whole may not: no dots until its first character that is not escaped.
    RC_PRE(second.empty() || second[0] != '.');
    RC_PRE(second.empty() || second[0] != '=' || second.find("..") == std::string::npos);
    RC_ASSERT(from_quoted_printable(first) + from_quoted_printable(second) ==
              from_quoted_printable(first + second));
}

RC_GTEST_PROP(QuotedPrintableProperty, DotsDoubledAtLineStartsAreReadOnce, ())
{
    static const Characters elements = {".", "..", "a", "\r\n", "\n", "\r", "\t", "\xE3"};
    const std::string text = joined(*any_characters(elements));
    std::string doubled;  // RFC 5321, section 4.5.2
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '.' && (at == 0 || text[at - 1] == '\n')) doubled += '.';
        doubled += text[at];
    }
    RC_ASSERT(from_quoted_printable(doubled) == text);
}

}  // namespace
}  // namespace velorin_test
