#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "CntsMLUTLMailAddress.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

namespace velorin_test {
namespace {

using velorin::CntsMLUTLMailAddress;

const char kUnclosed[] = "<Warning>:SkipUserName:[Result]only one double quotation mark exists\n";
const char kNullAddress[] = "<Error>:GetAddress:[Result]m_cAddress is null\n";
const char kEmptyReal[] = "<Error>:GetRealAddress:[Result]cRealAddress is empty(\"\")\n";
const char kEmptyHalf[] = "<Error>:SplitAddress:[Result]cAccount or cDomain is empty(\"\")\n";

TEST(MailAddress, KeepsNullAndEmptyApart)
{
    PlatformDouble platform;
    const CntsMLUTLMailAddress none;
    const CntsMLUTLMailAddress also_none(nullptr);
    const CntsMLUTLMailAddress empty("");
    const CntsMLUTLMailAddress some("ab@cd");
    EXPECT_EQ(nullptr, none.m_cAddress.GetString());
    EXPECT_EQ(nullptr, also_none.m_cAddress.GetString());
    EXPECT_STREQ("", empty.m_cAddress.GetString());
    EXPECT_STREQ("ab@cd", some.m_cAddress.GetString());
    EXPECT_EQ(nullptr, CntsMLUTLMailAddress(none).m_cAddress.GetString());
    EXPECT_STREQ("", CntsMLUTLMailAddress(empty).m_cAddress.GetString());
    const CntsMLUTLMailAddress copy(some);
    EXPECT_STREQ("ab@cd", copy.m_cAddress.GetString());
    EXPECT_NE(some.m_cAddress.GetString(), copy.m_cAddress.GetString());
}

TEST(MailAddress, IsDestroyedThroughItsBase)
{
    EXPECT_TRUE(std::has_virtual_destructor<CntsMLUTLMailAddress>::value);
    EXPECT_TRUE((std::is_base_of<CutlCPLBObject, CntsMLUTLMailAddress>::value));
}

struct SkipCase {
    const char* label;
    const char* text;
    int from;
    int result;
    int to;
    bool warns;
};

TEST(MailAddressSkipUserName, StepsOverAQuotedName)
{
    const SkipCase cases[] = {
        {"no quote", "Name <ab@cd>", 0, 0, 0, false},
        {"empty text", "", 0, 0, 0, false},
        {"quoted", "\"Name\" <ab@cd>", 0, 1, 6, false},
        {"empty name", "\"\"x", 0, 1, 2, false},
        {"only the name", "\"ab\"", 0, 1, 4, false},
        {"separators inside", "\"a,b;c\" x", 0, 1, 7, false},
        {"escaped quote", "\"a\\\"b\"c", 0, 1, 6, false},
        {"escaped backslash closes", "\"a\\\\\"b", 0, 1, 5, false},
        {"not at the cursor", "a\"b\"", 0, 0, 0, false},
        {"at the cursor", "a\"b\"", 1, 1, 4, false},
        {"cursor at the terminator", "ab", 2, 0, 2, false},
        {"unclosed", "\"abc", 0, 0, 4, true},
        {"lone quote", "\"", 0, 0, 1, true},
        {"closing quote escaped", "\"ab\\\"", 0, 0, 5, true},
        {"backslash last", "\"ab\\", 0, 0, 4, true},
        {"quote and backslash", "\"\\", 0, 0, 2, true},
        {"closed by the last of three", "\"\\\"\"", 0, 1, 4, false},
    };
    for (const SkipCase& c : cases) {
        SCOPED_TRACE(c.label);
        PlatformDouble platform;
        if (c.warns) platform.expect_trace(kUnclosed);
        const ExactText text(c.text);
        int position = c.from;
        EXPECT_EQ(c.result, CntsMLUTLMailAddress::SkipUserName(text.data(), position));
        EXPECT_EQ(c.to, position);
    }
}

struct ListCase {
    const char* label;
    const char* text;
    std::vector<std::string> entries;
    int warnings;
};

// Walks the list as every caller does; the cursor must end on the terminator.
std::vector<std::string> entries_of(const CntsMLUTLMailAddress& address, const char* separators,
                                    int& position)
{
    std::vector<std::string> entries;
    CutlCPLBMString entry("before");
    while (address.GetAddress(entry, position, separators) == 1) {
        entries.push_back(text_of(entry));
        if (entries.size() > 1000) break;
    }
    EXPECT_EQ("", text_of(entry)) << "cleared at the end";
    return entries;
}

TEST(MailAddressGetAddress, WalksTheList)
{
    const ListCase cases[] = {
        {"one", "ab@cd", {"ab@cd"}, 0},
        {"empty", "", {}, 0},
        {"separators as one", "ab@cd; ,ef@gh", {"ab@cd", "ef@gh"}, 0},
        {"comma and semicolon", "a;b,c", {"a", "b", "c"}, 0},
        {"blanks and separators only", " \t ;", {}, 0},
        {"separators only", ";,;,", {}, 0},
        {"blanks only", "  ", {}, 0},
        {"leading separators", " ;,\tab@cd", {"ab@cd"}, 0},
        {"trailing separators", "ab@cd ; , ", {"ab@cd"}, 0},
        {"blanks inside do not separate", "Name Last <ab@cd>", {"Name Last <ab@cd>"}, 0},
        {"blanks around", "  ab@cd  ,  ef@gh  ", {"ab@cd", "ef@gh"}, 0},
        {"line ends are trimmed", "\r\nab@cd\r\n, ef@gh\r\n", {"ab@cd", "ef@gh"}, 0},
        {"quoted comma", "\"Name, First\" <ab@cd>, ef@gh", {"\"Name, First\" <ab@cd>", "ef@gh"}, 0},
        {"quoted comma in the second", "ab@cd,\"a;b\" <ef@gh>;x@y", {"ab@cd", "\"a;b\" <ef@gh>", "x@y"}, 0},
        {"quoted name alone", "\"only\"", {"\"only\""}, 0},
        {"quoted name, then separator", "\"on,ly\";ab@cd", {"\"on,ly\"", "ab@cd"}, 0},
        {"quoted name not at the start", "x \"a,b\" <ab@cd>", {"x \"a", "b\" <ab@cd>"}, 0},
        {"brackets do not protect", "<ab,cd>", {"<ab", "cd>"}, 0},
        {"escaped quote", "\"a\\\",b\" <ab@cd>,x@y", {"\"a\\\",b\" <ab@cd>", "x@y"}, 0},
        {"unclosed quote takes the rest", "\"ab@cd, ef@gh", {"\"ab@cd, ef@gh"}, 1},
        {"unclosed quote later", "x@y, \"ab@cd, ef@gh", {"x@y", "\"ab@cd, ef@gh"}, 1},
        {"backslash last", "\"ab\\", {"\"ab\\"}, 1},
        {"a lone quote", "\"", {"\""}, 1},
        {"an entry of line ends is empty", "a,\r\n,b", {"a", "", "b"}, 0},
        {"8-bit names", "\xe6\xbc\xa2 <ab@cd>,\xe5\xad\x97", {"\xe6\xbc\xa2 <ab@cd>", "\xe5\xad\x97"}, 0},
        {"percent signs", "%s%n@x,%d", {"%s%n@x", "%d"}, 0},
    };
    for (const ListCase& c : cases) {
        SCOPED_TRACE(c.label);
        PlatformDouble platform;
        for (int i = 0; i < c.warnings; ++i)
            platform.expect_trace(kUnclosed);
        const CntsMLUTLMailAddress address(c.text);
        int position = 0;
        EXPECT_EQ(c.entries, entries_of(address, ";,", position));
        EXPECT_EQ(static_cast<int>(std::string(c.text).size()), position);
    }
}

// Each entry costs its own length: were the whole list looked at for each, this would not end in time.
TEST(MailAddressGetAddress, WalksALongListToItsEnd)
{
    const PlatformDouble platform;
    constexpr int kEntries = 1000000;
    std::string list;
    for (int i = 0; i < kEntries; ++i) {
        list += "a@b,";
    }
    const CntsMLUTLMailAddress address(list.c_str());
    CutlCPLBMString entry;
    int position = 0;
    int count = 0;
    while (address.GetAddress(entry, position, ";,") != 0) {
        ++count;
    }
    EXPECT_EQ(count, kEntries);
    EXPECT_EQ(position, static_cast<int>(list.size()));
}

TEST(MailAddress, IsMadeOfATextWithoutBeingAsked)
{
    static_assert(std::is_convertible_v<const char*, CntsMLUTLMailAddress>, "applications assign texts");
    const PlatformDouble platform;
    CntsMLUTLMailAddress address;
    address = "ab@cd";
    EXPECT_STREQ(address.m_cAddress.GetString(), "ab@cd");
}

TEST(MailAddressGetAddress, MovesTheCursorToTheNextEntry)
{
    PlatformDouble platform;
    const CntsMLUTLMailAddress address("ab@cd; ,ef@gh");
    CutlCPLBMString entry;
    int position = 0;
    EXPECT_EQ(1, address.GetAddress(entry, position, ";,"));
    EXPECT_EQ(8, position);
    EXPECT_EQ("ab@cd", text_of(entry));
    EXPECT_EQ(1, address.GetAddress(entry, position, ";,"));
    EXPECT_EQ(13, position);
    EXPECT_EQ("ef@gh", text_of(entry));
    EXPECT_EQ(0, address.GetAddress(entry, position, ";,"));
    EXPECT_EQ(13, position);
    EXPECT_EQ("", text_of(entry));
    position = 1;  // any position is a start
    EXPECT_EQ(1, address.GetAddress(entry, position, ";,"));
    EXPECT_EQ("b@cd", text_of(entry));
}

TEST(MailAddressGetAddress, SeparatesOnlyAtTheGivenCharacters)
{
    PlatformDouble platform;
    const CntsMLUTLMailAddress address("a;b,c|d");
    int position = 0;
    EXPECT_EQ((std::vector<std::string>{"a", "b,c|d"}), entries_of(address, ";", position));
    position = 0;
    EXPECT_EQ((std::vector<std::string>{"a;b", "c|d"}), entries_of(address, ",", position));
    position = 0;
    EXPECT_EQ((std::vector<std::string>{"a;b,c", "d"}), entries_of(address, "|", position));
    position = 0;
    EXPECT_EQ((std::vector<std::string>{"a;b,c|d"}), entries_of(address, "", position));
    position = 0;
    EXPECT_EQ((std::vector<std::string>{"a;b", "c|d"}), entries_of(address, "%s,", position));
}

TEST(MailAddressGetAddress, RefusesANullAddress)
{
    PlatformDouble platform;
    const CntsMLUTLMailAddress address;
    CutlCPLBMString entry("before");
    int position = 3;
    platform.expect_trace(kNullAddress);
    EXPECT_EQ(0, address.GetAddress(entry, position, ";,"));
    EXPECT_EQ("", text_of(entry));
    EXPECT_EQ(3, position);
}

TEST(MailAddressGetAddress, EndsForACursorOutsideTheText)
{
    PlatformDouble platform;
    const CntsMLUTLMailAddress address("ab@cd");
    for (const int outside : {-1, -100, -2147483647 - 1, 6, 7, 1000, 2147483647}) {
        CutlCPLBMString entry("before");
        int position = outside;
        EXPECT_EQ(0, address.GetAddress(entry, position, ";,")) << outside;
        EXPECT_EQ("", text_of(entry)) << outside;
    }
}

// The walk step by step, over the text as a whole.
std::vector<std::string> model_entries(const std::string& text, int& warnings)
{
    std::vector<std::string> entries;
    std::size_t at = 0;
    for (;;) {
        at = text.find_first_not_of(";, \t", at);
        if (at == std::string::npos) return entries;
        std::size_t end = at;
        if (text[at] == '"') {
            for (end = at + 1; end < text.size() && text[end] != '"'; ++end)
                if (text[end] == '\\' && end + 1 < text.size()) ++end;
            if (end < text.size())
                ++end;
            else
                ++warnings;
        }
        end = text.find_first_of(";,", end);
        if (end == std::string::npos) end = text.size();
        entries.push_back(trimmed(std::string_view(text).substr(at, end - at)));
        at = end;
    }
}

TEST(MailAddressGetAddress, AgreesWithTheModelOnAnyList)
{
    PlatformDouble platform;
    PseudoRandom random(2024);
    for (int round = 0; round < 20000; ++round) {
        const std::string text = random.text("\"\\,; \tab@<>", random.below(16));
        int warnings = 0;
        const std::vector<std::string> expected = model_entries(text, warnings);
        const CntsMLUTLMailAddress address(text.c_str());
        int position = 0;
        ASSERT_EQ(expected, entries_of(address, ";,", position)) << printable(text);
        ASSERT_EQ(static_cast<int>(text.size()), position) << printable(text);
        for (int i = 0; i < warnings; ++i)
            platform.expect_trace(kUnclosed);
        ASSERT_TRUE(platform.verify()) << printable(text);
    }
}

struct RealCase {
    const char* label;
    const char* entry;
    const char* real;
    std::vector<std::string> traces;
};

TEST(MailAddressGetRealAddress, StripsNameAndBrackets)
{
    const RealCase cases[] = {
        {"bare", "ab@cd", "ab@cd", {}},
        {"blanks around", "  ab@cd  ", "ab@cd", {}},
        {"brackets", "<ab@cd>", "ab@cd", {}},
        {"blanks in brackets", "< ab@cd\t>", "ab@cd", {}},
        {"name", "Name <ab@cd>", "ab@cd", {}},
        {"quoted name", "\"Name, First\" <ab@cd>", "ab@cd", {}},
        {"bracket in the quoted name", "\"a<b>c\" <ab@cd>", "ab@cd", {}},
        {"quoted name without brackets", "\"Name\" ab@cd", "ab@cd", {}},
        {"quoted name touching", "\"Name\"<ab@cd>", "ab@cd", {}},
        {"text behind the bracket", "<ab@cd> (comment)", "ab@cd", {}},
        {"empty brackets give the name", "Name <>", "Name", {}},
        {"empty brackets behind a quoted name", "\"Name\" x <>", "x", {}},
        {"only opened", "<ab@cd", "ab@cd", {}},
        {"name, only opened", "Name <ab@cd", "ab@cd", {}},
        {"only closed", "ab@cd>", "ab@cd", {}},
        {"only closed, text behind", "ab@cd> x", "ab@cd", {}},
        {"closed before it is opened", ">x<ab@cd>", "ab@cd", {}},
        {"closed before, never again", "x>y<ab@cd", "ab@cd", {}},
        {"the first opening bracket", "<ab<cd>", "ab<cd", {}},
        {"the first closing bracket", "<ab>cd>", "ab", {}},
        {"two pairs", "<ab@cd><ef@gh>", "ab@cd", {}},
        {"percent signs", "<%s@%n>", "%s@%n", {}},
        {"an unclosed quote is taken as it is", "\"Name <ab@cd>", "ab@cd", {kUnclosed}},
        {"an unclosed quote alone", "\"ab", "\"ab", {kUnclosed}},
        {"empty", "", "", {kEmptyReal}},
        {"blanks", " \t ", "", {kEmptyReal}},
        {"empty brackets alone", "<>", "", {kEmptyReal}},
        {"blank brackets", "Name < >", "", {kEmptyReal}},
        {"a lone opening bracket", "<", "", {kEmptyReal}},
        {"a lone closing bracket", ">", "", {kEmptyReal}},
        {"closing bracket first", "> ab", "", {kEmptyReal}},
        {"quoted name alone", "\"Name\"", "", {kEmptyReal}},
        {"quoted name, empty brackets", "\"Name\" <>", "", {kEmptyReal}},
    };
    for (const RealCase& c : cases) {
        SCOPED_TRACE(c.label);
        PlatformDouble platform;
        for (const std::string& line : c.traces)
            platform.expect_trace(line);
        const ExactText entry(c.entry);
        CutlCPLBMString real("before");
        EXPECT_EQ(*c.real != '\0' ? 1 : 0, CntsMLUTLMailAddress::GetRealAddress(real, entry.data()));
        EXPECT_EQ(c.real, text_of(real));
    }
}

TEST(MailAddressGetRealAddress, RefusesANullEntry)
{
    PlatformDouble platform;
    CutlCPLBMString real("before");
    platform.expect_trace("<Error>:GetRealAddress:[Result]pAddress is null\n");
    EXPECT_EQ(0, CntsMLUTLMailAddress::GetRealAddress(real, nullptr));
    EXPECT_EQ("(null)", text_of(real));
}

std::string model_real(const std::string& entry, bool& warning)
{
    std::string text = entry;
    if (!text.empty() && text[0] == '"') {
        std::size_t end = 1;
        for (; end < text.size() && text[end] != '"'; ++end)
            if (text[end] == '\\' && end + 1 < text.size()) ++end;
        warning = end >= text.size();
        if (!warning) text = text.substr(end + 1);
    }
    const std::size_t open = text.find('<');
    if (open == std::string::npos) return trimmed(text.substr(0, text.find('>')));
    const std::size_t close = text.find('>', open);
    if (close == open + 1) return trimmed(text.substr(0, open));
    return trimmed(text.substr(open + 1, close == std::string::npos ? close : close - open - 1));
}

TEST(MailAddressGetRealAddress, AgreesWithTheModelOnAnyEntry)
{
    PlatformDouble platform;
    PseudoRandom random(1234567);
    for (int round = 0; round < 20000; ++round) {
        const std::string text = random.text("\"\\<> a@", random.below(12));
        bool warning = false;
        const std::string expected = model_real(text, warning);
        const ExactText entry(text);
        CutlCPLBMString real;
        ASSERT_EQ(expected.empty() ? 0 : 1, CntsMLUTLMailAddress::GetRealAddress(real, entry.data()))
            << printable(text);
        ASSERT_EQ(expected, text_of(real)) << printable(text);
        if (warning) platform.expect_trace(kUnclosed);
        if (expected.empty()) platform.expect_trace(kEmptyReal);
        ASSERT_TRUE(platform.verify()) << printable(text);
    }
}

TEST(MailAddressSplitAddress, CutsAtTheFirstAt)
{
    const struct {
        const char* label;
        const char* address;
        const char* account;
        const char* domain;
        int result;
    } cases[] = {
        {"both", "ab@cd", "ab", "cd", 1},
        {"two signs", "ab@cd@ef", "ab", "cd@ef", 1},
        {"blanks", " ab @ cd\t", "ab", "cd", 1},
        {"line ends", "\r\nab@cd\r\n", "ab", "cd", 1},
        {"none", "abc", "abc", "", 0},
        {"none, blanks", " abc ", "abc", "", 0},
        {"no account", "@cd", "", "cd", 0},
        {"no domain", "ab@", "ab", "", 0},
        {"blank account", " @cd", "", "cd", 0},
        {"blank domain", "ab@ \t", "ab", "", 0},
        {"only the sign", "@", "", "", 0},
        {"two signs only", "@@", "", "@", 0},
        {"empty", "", "", "", 0},
        {"blank", "  ", "", "", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.label);
        PlatformDouble platform;
        if (c.result == 0) platform.expect_trace(kEmptyHalf);
        const ExactText address(c.address);
        CutlCPLBMString account("before");
        CutlCPLBMString domain("before");
        EXPECT_EQ(c.result, CntsMLUTLMailAddress::SplitAddress(account, domain, address.data()));
        EXPECT_EQ(c.account, text_of(account));
        EXPECT_EQ(c.domain, text_of(domain));
    }
}

TEST(MailAddressSplitAddress, RefusesANullAddress)
{
    PlatformDouble platform;
    CutlCPLBMString account("before");
    CutlCPLBMString domain("before");
    platform.expect_trace("<Error>:SplitAddress:[Result]pAddress is null\n");
    EXPECT_EQ(0, CntsMLUTLMailAddress::SplitAddress(account, domain, nullptr));
    EXPECT_EQ("(null)", text_of(account));
    EXPECT_EQ("", text_of(domain));
}

}  // namespace
}  // namespace velorin_test
