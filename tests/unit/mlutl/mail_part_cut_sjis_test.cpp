#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "mail_part_cut.h"
#include "mlutl_support.h"
#include "octets.h"
#include "platform_double.h"

// Where AdjustMultiByteCode puts a cut in Shift_JIS: against a model, and as callers use it.
namespace velorin_test {
namespace {

bool is_lead(char c)
{
    const unsigned octet = static_cast<unsigned char>(c);
    return (octet >= 0x81 && octet <= 0x9f) || (octet >= 0xe0 && octet <= 0xfc);
}

bool is_trail(char c)
{
    const unsigned octet = static_cast<unsigned char>(c);
    return (octet >= 0x40 && octet <= 0x7e) || (octet >= 0x80 && octet <= 0xfc);
}

long model_sjis(std::string_view text, long wanted, Use use)
{
    if (wanted < 1) return 0;
    int state = 0;
    const std::size_t scanned = std::min(static_cast<std::size_t>(wanted), text.size());
    for (const char c : text.substr(0, scanned)) {
        if (state == 1)
            state = is_trail(c) ? 2 : 0;
        else
            state = is_lead(c) ? 1 : 0;
    }
    const bool whole = scanned == static_cast<std::size_t>(wanted);
    return state == 1 && (whole || use == Use::piece) ? wanted - 1 : wanted;
}

TEST(AdjustShiftJis, CutsInFrontOfALeadOctet)
{
    const struct {
        const char* label;
        const char* text;
        long wanted;
        Use use;
        long cut;
    } cases[] = {
        {"ASCII", "abcd", 3, Use::any_text, 3},
        {"nothing wanted", "\x82\xa0", 0, Use::any_text, 0},
        {"less than nothing", "\x82\xa0", -4, Use::any_text, 0},
        {"behind a lead octet", "ab\x82\xa0", 3, Use::any_text, 2},
        {"a lead octet alone", "\x82\xa0", 1, Use::any_text, 0},
        {"behind a character", "\x82\xa0\x82\xa2", 2, Use::any_text, 2},
        {"inside the second", "\x82\xa0\x82\xa2", 3, Use::any_text, 2},
        {"half-width kana", "\xb1\xb2\xb3", 2, Use::any_text, 2},
        {"a trail octet that looks like a lead", "\x82\x82\x82\x82", 2, Use::any_text, 2},
        {"the same, three", "\x82\x82\x82\x82", 3, Use::any_text, 2},
        {"a trail octet that is a letter", "\x83\x41\x83\x41", 3, Use::any_text, 2},
        {"no trail octet", "\x82\x20\x82\xa0", 2, Use::any_text, 2},
        {"0x7f is no trail octet", "\x82\x7f\x82\xa0", 2, Use::any_text, 2},
        {"0xfd is no trail octet", "\x82\xfd\x82\xa0", 3, Use::any_text, 2},
        {"0x80 is no lead octet", "a\x80", 2, Use::any_text, 2},
        {"0xa0 is no lead octet", "a\xa0", 2, Use::any_text, 2},
        {"0xfd is no lead octet", "a\xfd", 2, Use::any_text, 2},
        {"0x81 is a lead octet", "a\x81", 2, Use::any_text, 1},
        {"0x9f is a lead octet", "a\x9f", 2, Use::any_text, 1},
        {"0xe0 is a lead octet", "a\xe0", 2, Use::any_text, 1},
        {"0xfc is a lead octet", "a\xfc", 2, Use::any_text, 1},
        {"the text ends in a lead octet, more wanted", "ab\x82", 9, Use::any_text, 9},
        {"the same in the last piece", "ab\x82", 9, Use::last_piece, 9},
        {"the same when more pieces follow", "ab\x82", 9, Use::piece, 8},
        {"at the end of a piece", "ab\x82", 3, Use::piece, 2},
        {"at the end of the last piece", "ab\x82", 3, Use::last_piece, 2},
        {"more wanted, whole characters", "\x82\xa0", 9, Use::piece, 9},
    };
    PlatformDouble platform;
    for (const auto& c : cases) {
        for (const int charset : {7, 8, 9})
            EXPECT_EQ((Cut{c.cut, 0}), cut_in_part(charset, 0, c.text, c.wanted, c.use)) << c.label;
        EXPECT_EQ(c.cut, model_sjis(c.text, c.wanted, c.use)) << c.label << ", model";
    }
}

TEST(AdjustShiftJis, AgreesWithTheModelOnAnyOctets)
{
    PlatformDouble platform;
    PseudoRandom random(932);
    for (int round = 0; round < 4000; ++round) {
        std::string text = random.octets(random.below(24));
        for (char& c : text)
            if (c == '\0') c = '\x82';
        for (const Use use : kUses)
            for (long wanted = -1; wanted <= static_cast<long>(text.size()) + 2; ++wanted)
                ASSERT_EQ((Cut{model_sjis(text, wanted, use), 0}), cut_in_part(7, 1, text, wanted, use))
                    << printable(text) << " wanted " << wanted;
    }
}

TEST(AdjustShiftJis, PiecesHoldWholeCharacters)
{
    PlatformDouble platform;
    PseudoRandom random(933);
    for (int round = 0; round < 1000; ++round) {
        std::string text;
        for (std::uint32_t i = random.below(60); i > 0; --i)
            text += random.below(3) == 0 ? "a" : random.below(2) == 0 ? "\x83\x41" : "\x82\x82";
        const long wanted = 2 + static_cast<long>(random.below(9));
        for (std::string rest = text; !rest.empty();) {
            const long at_most = std::min(wanted, static_cast<long>(rest.size()));
            const Cut cut = cut_in_part(7, 0, rest, at_most, Use::last_piece);
            ASSERT_LT(0, cut.at);
            ASSERT_GE(at_most, cut.at);
            const std::string piece = rest.substr(0, static_cast<std::size_t>(cut.at));
            int state = 0;
            for (const char c : piece)
                state = state != 1 && is_lead(c) ? 1 : 0;
            ASSERT_NE(1, state) << printable(rest);
            rest.erase(0, piece.size());
        }
    }
}

}  // namespace
}  // namespace velorin_test
