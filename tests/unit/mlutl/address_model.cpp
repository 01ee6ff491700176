#include "address_model.h"

#include <algorithm>
#include <regex>

#include "mlutl_support.h"

namespace velorin_test {
namespace {

constexpr char kOneQuote[] = "<Warning>:SkipUserName:[Result]only one double quotation mark exists\n";
constexpr char kNoAddress[] = "<Error>:GetRealAddress:[Result]cRealAddress is empty(\"\")\n";
constexpr char kNoHalf[] = "<Error>:SplitAddress:[Result]cAccount or cDomain is empty(\"\")\n";

std::string text_from(const std::string& alphabet, int at_least, int at_most)
{
    std::string text;
    for (int count = *number(at_least, at_most); count > 0; --count)
        text += *rc::gen::elementOf(alphabet);
    return text;
}

const std::string kAtom = "ab.c+d_-9EXYz\xE3\x81";

// As RFC 5322 quotes a name: a backslash before each quote and backslash, and before others at will.
std::string quoted(const std::string& name)
{
    std::string text = "\"";
    for (const char c : name) {
        if (c == '"' || c == '\\' || *number(0, 9) == 0) text += '\\';
        text += c;
    }
    return text + "\"";
}

std::string any_display_name()
{
    static const std::string special = kAtom + ";,<>@\"\\ \t\r\n";
    if (*rc::gen::arbitrary<bool>()) return quoted(text_from(special, 0, 20));
    return text_from(kAtom, 1, 1) + text_from(kAtom + " \t@\"", 0, 12);
}

}  // namespace

namespace address_model {

std::size_t quoted_name(const std::string& text, Lines& traced)
{
    static const std::regex name("\"(\\\\[\\s\\S]|[^\"\\\\])*\"");
    std::smatch found;
    if (std::regex_search(text, found, name, std::regex_constants::match_continuous))
        return static_cast<std::size_t>(found.length());
    if (text[0] == '"') traced.push_back(kOneQuote);
    return 0;
}

std::string real_address(const std::string& entry, Lines& traced)
{
    const std::string text = entry.substr(quoted_name(entry, traced));
    // What stands in brackets, unless nothing does; else what stands before the bracket.
    static const std::regex brackets("([^<]*)<([^>]*)(>?)[\\s\\S]*");
    std::smatch found;
    std::string address;
    if (!std::regex_match(text, found, brackets))
        address = text.substr(0, text.find('>'));
    else if (found.length(2) == 0 && found.length(3) == 1)
        address = found[1];
    else
        address = found[2];
    address = trimmed(address);
    if (address.empty()) traced.push_back(kNoAddress);
    return address;
}

std::pair<std::string, std::string> halves(const std::string& address, Lines& traced)
{
    const std::size_t at = address.find('@');
    const bool is_whole = at == std::string::npos;
    const std::pair<std::string, std::string> both = {trimmed(address.substr(0, at)),
                                                      is_whole ? "" : trimmed(address.substr(at + 1))};
    if (both.first.empty() || both.second.empty()) traced.push_back(kNoHalf);
    return both;
}

Step step(const std::string& text, std::size_t position, const std::string& separators, Lines& traced)
{
    const std::string skipped = separators + " \t";
    const std::size_t begin = std::min(text.find_first_not_of(skipped, position), text.size());
    const std::string rest = text.substr(begin);
    const bool is_open = rest[0] == '"';
    Lines warned;
    std::size_t length = quoted_name(rest, warned);
    traced.insert(traced.end(), warned.begin(), warned.end());
    if (is_open && length == 0) length = rest.size();  // a name that never ends takes all
    length = std::min(rest.find_first_of(separators, length), rest.size());
    const std::size_t next = std::min(text.find_first_not_of(skipped, begin + length), text.size());
    return {length != 0, trimmed(rest.substr(0, length)), next};
}

std::vector<std::string> walk(const std::string& text, const std::string& separators, Lines& traced)
{
    std::vector<std::string> entries;
    for (Step at = step(text, 0, separators, traced); at.is_entry;
         at = step(text, at.position, separators, traced))
        entries.push_back(at.entry);
    return entries;
}

}  // namespace address_model

rc::Gen<MadeEntry> any_entry()
{
    return rc::gen::exec([] {
        MadeEntry entry;
        entry.account = text_from(kAtom, 1, 10);
        entry.domain = text_from(kAtom + "@", 1, 10);
        static const std::string blanks = " \t";
        switch (*number(0, 2)) {
        case 0:
            entry.text = entry.address();
            break;
        case 1:
            entry.text = "<" + text_from(blanks, 0, 2) + entry.address() + text_from(blanks, 0, 2) + ">";
            break;
        default:
            entry.text = any_display_name() + text_from(blanks, 0, 2) + "<" + entry.address() + ">" +
                         text_from(kAtom + "<>", 0, 2);
        }
        return entry;
    });
}

std::string any_list_of(const std::vector<MadeEntry>& entries)
{
    static const std::string gap = " \t;,";
    std::string text = text_from(gap, 0, 3);
    for (const MadeEntry& entry : entries)
        text += entry.text + text_from(" \t", 0, 2) + text_from(";,", 1, 1) + text_from(gap, 0, 3);
    if (*rc::gen::arbitrary<bool>()) text.erase(text.find_last_not_of(gap) + 1);
    return text;
}

rc::Gen<std::string> any_address_text()
{
    static const Characters pieces = {"\"",   "\\",      ";",   ",",  " ",  "\t", "<",  ">",
                                      "@",    "a",       "b@c", "\r", "\n", ".",  "<>", "\"a,b\" <c@d>",
                                      "\\\"", "\xE3\x81"};
    return rc::gen::map(rc::gen::container<Characters>(rc::gen::elementOf(pieces)),
                        [](const Characters& text) { return joined(text); });
}

}  // namespace velorin_test
