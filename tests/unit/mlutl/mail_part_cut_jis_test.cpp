#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "mail_part_cut.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

// Where AdjustMultiByteCode puts a cut in ISO-2022-JP: against a model, and as callers use it.
namespace velorin_test {
namespace {

Cut cut_jis(std::string_view text, long wanted, Use use)
{
    return cut_in_part(5, 0, text, wanted, use);
}

struct Sequence {
    const char* octets;
    int index;
    int width;  // octets a character; 0: as before
};

const Sequence kSequences[] = {
    {"\x1b(B", 0, 1}, {"\x1b(J", 1, 1},       {"\x1b(I", 2, 1}, {"\x1b$@", 3, 2},
    {"\x1b$B", 4, 2}, {"\x1b&@\x1b$B", 5, 0}, {"\x1b&@", 5, 0}, {"\x1b$(D", 6, 2},
};

bool stands_at(std::string_view text, std::size_t at, std::string_view what)
{
    return text.substr(at < text.size() ? at : text.size(), what.size()) == what;
}

bool ends_with(std::string_view text, std::string_view what)
{
    return text.size() >= what.size() && text.substr(text.size() - what.size()) == what;
}

// What the rules leave open: a pair of octets that an ESC & @ splits.
struct Scan {
    Cut cut;
    bool open;
};

Scan model_jis(std::string_view text, long wanted, Use use)
{
    const long length = static_cast<long>(text.size());
    if (use == Use::piece) {
        if (length < 3) return {{0, 0}, false};
        if (wanted >= length - 2 && ends_with(text, "\x1b(B")) return {{length, 0}, false};
        if (wanted >= length - 2) wanted = length - 3;
    }
    long at = 0;
    int mode = 0;
    int mode_before = 0;
    bool pairs = false;
    int phase = 0;
    bool open = false;
    bool cut_short = false;     // by an ESC without its two octets
    long last_escape_end = -1;  // none yet
    while (at < wanted && at < length && !cut_short) {
        if (text[static_cast<std::size_t>(at)] != '\x1b') {
            ++at;
            phase = !pairs ? 0 : phase == 1 ? 2 : 1;
            continue;
        }
        if (at + 2 >= length) {
            at = length;
            cut_short = true;
            continue;
        }
        mode_before = mode;
        mode = 0;
        long step = 3;
        int width = 1;
        for (const Sequence& sequence : kSequences) {
            if (!stands_at(text, static_cast<std::size_t>(at), sequence.octets)) continue;
            mode = sequence.index;
            width = sequence.width;
            step = static_cast<long>(std::string_view(sequence.octets).size());
            break;
        }
        at += step;
        last_escape_end = at;
        if (width == 0) {
            open = open || phase == 1;
        } else {
            pairs = width == 2;
            phase = 0;
        }
    }
    if (!cut_short && at >= wanted && phase == 1) --at;
    const std::string_view piece = text.substr(0, static_cast<std::size_t>(at));
    if (stands_at(text, piece.size(), "\x1b(B")) return {{at + 3, 0}, open};
    if (at == length && ends_with(text, "\x1b(B")) return {{at, 0}, open};
    if (last_escape_end != at) return {{at, mode}, open};
    if (mode == 6) return {{at - 4, mode_before}, open};
    if (mode != 5) return {{at - 3, mode_before}, open};
    if (ends_with(piece, "\x1b&@\x1b$B")) at -= 6;
    if (ends_with(text.substr(0, static_cast<std::size_t>(at)), "\x1b&@")) at -= 3;
    return {{at, mode_before}, open};
}

struct JisCase {
    const char* label;
    const char* text;
    long wanted;
    Use use;
    Cut cut;
};

TEST(AdjustJis, PutsTheCutWhereTheTableSays)
{
    // "\x1b$B" is three octets; 4A and ;z are two characters of two octets each.
    const JisCase cases[] = {
        {"ASCII", "abcdef", 3, Use::any_text, {3, 0}},
        {"ASCII, all of it", "abc", 3, Use::any_text, {3, 0}},
        {"ASCII, more than there is", "abc", 10, Use::any_text, {3, 0}},
        {"empty", "", 5, Use::any_text, {0, 0}},
        {"nothing wanted", "abc", 0, Use::any_text, {0, 0}},
        {"less than nothing wanted", "abc", -5, Use::any_text, {0, 0}},
        {"between two characters", "\x1b$B4A;z\x1b(B", 5, Use::any_text, {5, 4}},
        {"inside a character", "\x1b$B4A;z\x1b(B", 6, Use::any_text, {5, 4}},
        {"inside the first character", "\x1b$B4A;z\x1b(B", 4, Use::any_text, {0, 0}},
        {"just behind the switch", "ab\x1b$B4A\x1b(B", 5, Use::any_text, {2, 0}},
        {"inside the switch", "ab\x1b$B4A\x1b(B", 3, Use::any_text, {2, 0}},
        {"inside the switch, later", "ab\x1b$B4A\x1b(B", 4, Use::any_text, {2, 0}},
        {"before the switch", "ab\x1b$B4A\x1b(B", 2, Use::any_text, {2, 0}},
        {"the way back is taken along", "\x1b$B4A\x1b(Bcd", 5, Use::any_text, {8, 0}},
        {"inside the way back", "\x1b$B4A\x1b(Bcd", 6, Use::any_text, {5, 4}},
        {"just behind the way back", "\x1b$B4A\x1b(Bcd", 8, Use::any_text, {5, 4}},
        {"behind the way back and one", "\x1b$B4A\x1b(Bcd", 9, Use::any_text, {9, 0}},
        {"the way back at the end is taken", "\x1b$B4A\x1b(B", 8, Use::any_text, {8, 0}},
        {"inside it at the end", "\x1b$B4A\x1b(B", 7, Use::any_text, {8, 0}},
        {"only the way back", "\x1b(B", 3, Use::any_text, {3, 0}},
        {"from one switch to another", "\x1b$B4A\x1b$@4A\x1b(B", 8, Use::any_text, {5, 4}},
        {"old JIS", "\x1b$@4A;z\x1b(B", 5, Use::any_text, {5, 3}},
        {"JIS Roman", "\x1b(Jabc\x1b(B", 5, Use::any_text, {5, 1}},
        {"JIS Roman, just behind", "x\x1b(Jabc\x1b(B", 4, Use::any_text, {1, 0}},
        {"kana", "\x1b(I123\x1b(B", 5, Use::any_text, {5, 2}},
        {"kana, odd number of octets", "\x1b(I123\x1b(B", 4, Use::any_text, {4, 2}},
        {"back to kana", "\x1b(I1\x1b$B4A\x1b(B", 7, Use::any_text, {4, 2}},
        {"supplementary set", "\x1b$(D4A;z\x1b(B", 6, Use::any_text, {6, 6}},
        {"supplementary set, inside a character", "\x1b$(D4A;z\x1b(B", 7, Use::any_text, {6, 6}},
        {"supplementary set, just behind", "ab\x1b$(D4A;z\x1b(B", 6, Use::any_text, {2, 0}},
        {"supplementary set, inside", "ab\x1b$(D4A;z\x1b(B", 4, Use::any_text, {2, 0}},
        {"announcer keeps the width", "\x1b$B4A\x1b&@;z\x1b(B", 9, Use::any_text, {5, 4}},
        {"announcer, a character behind", "\x1b$B4A\x1b&@;z;z\x1b(B", 10, Use::any_text, {10, 5}},
        {"announcer, inside a character behind", "\x1b$B4A\x1b&@;z;z\x1b(B", 11, Use::any_text, {10, 5}},
        {"long announcer keeps the width", "ab\x1b&@\x1b$Bcde", 9, Use::any_text, {9, 5}},
        {"long announcer, just behind", "ab\x1b&@\x1b$Bcde", 8, Use::any_text, {2, 0}},
        {"long announcer, inside", "ab\x1b&@\x1b$Bcde", 4, Use::any_text, {2, 0}},
        {"two announcers, just behind", "ab\x1b&@\x1b&@\x1b$Bcde", 11, Use::any_text, {2, 5}},
        {"unknown sequence is single-octet", "\x1b$B4A\x1b$Zcde", 9, Use::any_text, {9, 0}},
        {"ESC at the end", "ab\x1b", 3, Use::any_text, {3, 0}},
        {"ESC and one octet at the end", "ab\x1b$", 3, Use::any_text, {4, 0}},
        {"ESC and one octet, in two-octet text", "\x1b$B4A\x1b$", 6, Use::any_text, {7, 4}},
        {"text ends inside a character, before the cut", "\x1b$B4A;", 9, Use::any_text, {6, 4}},
        {"text ends inside a character, at the cut", "\x1b$B4A;", 6, Use::any_text, {5, 4}},

        {"piece: three octets are kept", "abcdef", 6, Use::piece, {3, 0}},
        {"piece: three octets are kept from five", "abcdef", 5, Use::piece, {3, 0}},
        {"piece: three octets are kept from four", "abcdef", 4, Use::piece, {3, 0}},
        {"piece: a smaller cut stays", "abcdef", 2, Use::piece, {2, 0}},
        {"piece: below three octets", "ab", 2, Use::piece, {0, 0}},
        {"piece: nothing there", "", 2, Use::piece, {0, 0}},
        {"piece: exactly three octets", "abc", 3, Use::piece, {0, 0}},
        {"piece: more wanted than there is", "abcdef", 100, Use::piece, {3, 0}},
        {"piece: kept in front of a character", "\x1b$B4A;z;z", 9, Use::piece, {5, 4}},
        {"piece: the way back at its end is taken", "\x1b$B4A\x1b(B", 8, Use::piece, {8, 0}},
        {"piece: only the way back", "\x1b(B", 3, Use::piece, {3, 0}},

        {"last piece: the whole text", "\x1b$B4A\x1b(B", 8, Use::last_piece, {8, 0}},
        {"last piece: inside a character", "\x1b$B4A;z\x1b(B", 6, Use::last_piece, {5, 4}},
        {"last piece: two octets", "ab", 2, Use::last_piece, {2, 0}},
    };
    PlatformDouble platform;
    for (const JisCase& c : cases) {
        EXPECT_EQ(c.cut, cut_jis(c.text, c.wanted, c.use)) << c.label;
        EXPECT_EQ(c.cut, model_jis(c.text, c.wanted < 0 ? 0 : c.wanted, c.use).cut) << c.label << ", model";
        EXPECT_EQ(c.cut, cut_in_part(6, 1, c.text, c.wanted, c.use)) << c.label << ", x-jis in HTML";
    }
}

void compare_at_every_cut(std::string_view text)
{
    for (const Use use : kUses) {
        for (long wanted = 0; wanted <= static_cast<long>(text.size()) + 2; ++wanted) {
            const Scan expected = model_jis(text, wanted, use);
            const Cut got = cut_jis(text, wanted, use);
            if (expected.open) {
                ASSERT_LE(0, got.at) << printable(text);
                ASSERT_GE(static_cast<long>(text.size()), got.at) << printable(text);
            } else {
                ASSERT_EQ(expected.cut, got)
                    << printable(text) << " wanted " << wanted << ", use " << static_cast<int>(use);
            }
        }
    }
}

TEST(AdjustJis, AgreesWithTheModelOnEveryShortText)
{
    PlatformDouble platform;
    const std::string alphabet = "\x1b(B$@&D1";
    for (std::size_t length = 0; length <= 5; ++length) {
        std::vector<std::size_t> digits(length, 0);
        for (bool more = true; more;) {
            std::string text;
            for (const std::size_t digit : digits)
                text += alphabet[digit];
            compare_at_every_cut(text);
            if (testing::Test::HasFatalFailure()) return;
            more = false;
            for (std::size_t& digit : digits) {
                digit = (digit + 1) % alphabet.size();
                more = digit != 0;
                if (more) break;
            }
        }
    }
}

TEST(AdjustJis, AgreesWithTheModelOnAnySequenceOfSwitches)
{
    PlatformDouble platform;
    PseudoRandom random(19970101);
    for (int round = 0; round < 6000; ++round) {
        std::string text;
        const std::uint32_t elements = random.below(9);
        for (std::uint32_t i = 0; i < elements; ++i) {
            const std::uint32_t kind = random.below(12);
            if (kind < std::size(kSequences))
                text += kSequences[kind].octets;
            else if (kind == 8)
                text += std::string("\x1b") + random.text("$(&BJZ", 2);
            else
                text += random.text("0AZa~", 1 + random.below(4));
        }
        compare_at_every_cut(text);
        if (testing::Test::HasFatalFailure()) return;
    }
}

struct Character {
    int mode;
    std::string octets;
};

bool operator==(const Character& a, const Character& b)
{
    return a.mode == b.mode && a.octets == b.octets;
}

const char* const kSwitches[] = {"\x1b(B", "\x1b(J", "\x1b(I", "\x1b$@", "\x1b$B", nullptr, "\x1b$(D"};

std::string random_japanese(PseudoRandom& random, std::uint32_t runs)
{
    std::string text;
    int mode = 0;
    for (std::uint32_t run = 0; run < runs; ++run) {
        const int modes[] = {0, 0, 1, 2, 3, 4, 4, 4, 6};
        mode = modes[random.below(9)];
        text += kSwitches[mode];
        const std::uint32_t count = 1 + random.below(20);
        text += random.text("0123456789ABCDEFabcdef", mode >= 3 ? 2 * count : count);
    }
    if (mode != 0) text += "\x1b(B";
    return text;
}

// Reads valid text; a character that is cut in two fails.
std::vector<Character> characters_of(std::string_view text)
{
    std::vector<Character> characters;
    int mode = 0;
    while (!text.empty()) {
        if (text[0] == '\x1b') {
            int found = -1;
            for (int i = 0; i <= 6; ++i)
                if (kSwitches[i] != nullptr && stands_at(text, 0, kSwitches[i])) found = i;
            if (found < 0) {
                ADD_FAILURE() << "no switch at " << printable(text);
                return characters;
            }
            mode = found;
            text.remove_prefix(std::string_view(kSwitches[mode]).size());
            continue;
        }
        const std::size_t width = mode >= 3 ? 2 : 1;
        if (text.size() < width || text[width - 1] == '\x1b') {
            ADD_FAILURE() << "half a character at " << printable(text);
            return characters;
        }
        characters.push_back({mode, std::string(text.substr(0, width))});
        text.remove_prefix(width);
    }
    return characters;
}

// As a sender takes a text apart: each piece begins with the switch into the mode in which the last one
// ended.
TEST(AdjustJis, PiecesOfJapaneseTextHoldWholeCharacters)
{
    PlatformDouble platform;
    PseudoRandom random(20061115);
    for (int round = 0; round < 1500; ++round) {
        const std::string text = random_japanese(random, 1 + random.below(8));
        const std::vector<Character> expected = characters_of(text);
        const long wanted = 16 + static_cast<long>(random.below(30));
        const bool in_body = random.below(2) == 0;
        std::string rest = text;
        std::vector<Character> got;
        while (!rest.empty()) {
            // In a body a window of the text is known; elsewhere all of it.
            const std::size_t window =
                in_body ? static_cast<std::size_t>(wanted) + random.below(12) : rest.size();
            const bool last = window >= rest.size();
            const Use use = !in_body ? Use::any_text : last ? Use::last_piece : Use::piece;
            const Cut cut = cut_jis(std::string_view(rest).substr(0, window), wanted, use);
            ASSERT_LT(0, cut.at) << printable(rest);
            ASSERT_GE(static_cast<long>(rest.size()), cut.at) << printable(rest);
            const std::size_t taken = static_cast<std::size_t>(cut.at);
            for (Character& character : characters_of(std::string_view(rest).substr(0, taken)))
                got.push_back(std::move(character));
            const std::string begin = cut.mode == 0 ? "" : kSwitches[cut.mode];
            ASSERT_GT(taken, begin.size()) << "no progress at " << printable(rest);
            rest = (taken < rest.size() ? begin : "") + rest.substr(taken);
        }
        ASSERT_EQ(expected.size(), got.size()) << printable(text);
        ASSERT_TRUE(expected == got) << printable(text);
    }
}

// As a sender that does not care about modes takes it apart: it comes to an end, and nothing is lost.
TEST(AdjustJis, EveryCallerComesToTheEndOfTheText)
{
    PlatformDouble platform;
    PseudoRandom random(42);
    for (int round = 0; round < 3000; ++round) {
        std::string text = random_japanese(random, random.below(7));
        if (round % 3 == 0) text += "\x1b(B";
        if (round % 5 == 0 && !text.empty()) text.insert(0, "\x1b&@\x1b$B");
        const long wanted = 16 + static_cast<long>(random.below(20));
        for (const bool in_body : {false, true}) {
            std::string rest = text;
            std::string joined;
            for (std::size_t calls = 0; !rest.empty(); ++calls) {
                const std::size_t window = in_body ? static_cast<std::size_t>(wanted) + 4 : rest.size();
                const Use use = !in_body                ? Use::any_text
                                : window >= rest.size() ? Use::last_piece
                                                        : Use::piece;
                const Cut cut = cut_jis(std::string_view(rest).substr(0, window), wanted, use);
                ASSERT_LT(0, cut.at) << printable(rest) << " wanted " << wanted;
                ASSERT_GE(static_cast<long>(rest.size()), cut.at) << printable(rest);
                joined += rest.substr(0, static_cast<std::size_t>(cut.at));
                rest.erase(0, static_cast<std::size_t>(cut.at));
                ASSERT_GE(text.size(), calls);
            }
            ASSERT_EQ("", octet_difference(text, joined));
        }
    }
}

TEST(AdjustJis, TakesATextThatEndsInTheWayBackWhole)
{
    PlatformDouble platform;
    PseudoRandom random(8);
    for (int round = 0; round < 500; ++round) {
        const std::string text = random_japanese(random, 1 + random.below(5)) + "\x1b(B";
        const long length = static_cast<long>(text.size());
        for (const Use use : kUses)
            for (const long wanted : {length, length + 1, length + 1000})
                ASSERT_EQ((Cut{length, 0}), cut_jis(text, wanted, use)) << printable(text);
    }
}

TEST(AdjustMultiByteCode, LeavesTheBodyOfOtherPartsAlone)
{
    PlatformDouble platform;
    const std::string jis = "\x1b$B4A;z\x1b(B";
    const std::string sjis = "\x82\xa0\x82";
    for (const int content : {2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 99, -1}) {
        for (const Use use : {Use::piece, Use::last_piece}) {
            for (const long wanted : {0L, 1L, 3L, 4L, 6L, 100L}) {
                EXPECT_EQ((Cut{wanted, 0}), cut_in_part(5, content, jis, wanted, use)) << content;
                EXPECT_EQ((Cut{wanted, 0}), cut_in_part(7, content, sjis, wanted, use)) << content;
            }
            EXPECT_EQ((Cut{0, 0}), cut_in_part(5, content, jis, -3, use)) << content;
        }
        // Texts that are not the body are cut by the same rules whatever the part.
        EXPECT_EQ((Cut{5, 4}), cut_in_part(5, content, jis, 6, Use::any_text)) << content;
        EXPECT_EQ((Cut{2, 0}), cut_in_part(7, content, sjis, 3, Use::any_text)) << content;
    }
}

TEST(AdjustMultiByteCode, KeepsTheCutInOtherCharacterSets)
{
    PlatformDouble platform;
    for (const int charset : {0, 1, 2, 3, 4, 10, 11, 12, 99, -1}) {
        for (const Use use : kUses) {
            for (const char* const text : {"", "abc", "\x1b$B4A;z\x1b(B", "\x82\xa0\x82", "\xe3\x81\x82"}) {
                for (const long wanted : {0L, 1L, 4L, 6L, 100L, 2147483647L})
                    EXPECT_EQ((Cut{wanted, 0}), cut_in_part(charset, 0, text, wanted, use)) << charset;
                EXPECT_EQ((Cut{0, 0}), cut_in_part(charset, 0, text, -1, use)) << charset;
                EXPECT_EQ((Cut{0, 0}), cut_in_part(charset, 0, text, -2147483647L - 1L, use)) << charset;
            }
        }
    }
}

}  // namespace
}  // namespace velorin_test
