// Pieces of a body: each decodes by itself, and joined they are the body, wherever the cuts fall.
#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "loopback_body.h"
#include "octets.h"
#include "piece_cutter.h"
#include "pop3_client.h"
#include "utl_lib_convert.h"

namespace velorin::service {
namespace {

using velorin_test::add_dot_stuffing;
using velorin_test::decode_piece;
using velorin_test::octet_difference;
using Coding = PieceCutter::Coding;

constexpr std::int32_t kBase64 = 2;
constexpr std::int32_t kQuotedPrintable = 3;
constexpr std::int32_t kIso2022Jp = 5;
constexpr std::int32_t kShiftJis = 7;
constexpr std::int32_t kUtf8 = 10;
constexpr std::int32_t kNone = 12;

// As the session cuts: `limit` octets at most, the rest in one when it fits.
std::vector<std::string> pieces_of(std::string body, Coding coding, std::int32_t char_set, std::size_t limit)
{
    PieceCutter cutter(coding, char_set, false);
    std::vector<std::string> pieces;
    std::string piece;
    while (!cutter.take_rest(body, limit, piece)) {
        const std::size_t taken = cutter.cut(body, std::min(limit, body.size() - 1), piece);
        EXPECT_GE(taken, 1u);
        EXPECT_LE(piece.size(), limit);
        if (taken == 0) return pieces;
        body.erase(0, taken);
        pieces.push_back(piece);
    }
    EXPECT_LE(piece.size(), limit);
    pieces.push_back(piece);
    return pieces;
}

std::string joined(const std::vector<std::string>& pieces)
{
    std::string out;
    for (const std::string& piece : pieces)
        out += piece;
    return out;
}

std::string decoded(const std::vector<std::string>& pieces, std::int32_t encoding)
{
    std::string out;
    for (const std::string& piece : pieces)
        out += decode_piece(encoding, piece);
    return out;
}

std::string base64_of(std::string_view octets, std::size_t line)
{
    constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    std::size_t column = 0;
    for (std::size_t at = 0; at < octets.size(); at += 3) {
        std::uint32_t group = 0;
        for (std::size_t index = 0; index < 3; ++index) {
            group <<= 8;
            if (at + index < octets.size()) group |= static_cast<unsigned char>(octets[at + index]);
        }
        for (int shift = 18; shift >= 0; shift -= 6)
            out += kAlphabet[(group >> shift) & 0x3F];
        column += 4;
        if (line != 0 && column >= line && at + 3 < octets.size()) {
            out += "\r\n";
            column = 0;
        }
    }
    const std::size_t pads = (3 - octets.size() % 3) % 3;
    for (std::size_t pad = 0; pad < pads; ++pad)
        out[out.size() - 1 - pad] = '=';
    return out;
}

std::string random_octets(std::mt19937& random, std::size_t count)
{
    std::string out(count, '\0');
    for (char& octet : out)
        octet = static_cast<char>(random() & 0xFF);
    return out;
}

TEST(Pieces, OfBase64DecodeByThemselves)
{
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 120; ++size) {
        const std::string octets = random_octets(random, size);
        for (const std::size_t line : {std::size_t{0}, std::size_t{4}, std::size_t{60}, std::size_t{76}}) {
            const std::string body = base64_of(octets, line);
            for (std::size_t limit = 16; limit <= 100; ++limit) {
                const auto pieces = pieces_of(body, Coding::base64, kNone, limit);
                ASSERT_EQ("", octet_difference(body, joined(pieces))) << size << " " << line << " " << limit;
                ASSERT_EQ("", octet_difference(octets, decoded(pieces, kBase64)))
                    << size << " " << line << " " << limit;
            }
        }
    }
}

// What the decoder skips is no character of the four.
TEST(Pieces, OfBase64WithForeignCharactersDecodeByThemselves)
{
    const std::string octets = "The quick brown fox jumps over the lazy dog, and so on and so forth.";
    const std::string clean = base64_of(octets, 0);
    std::string body;
    for (std::size_t at = 0; at < clean.size(); ++at) {
        body += clean[at];
        if (at % 3 == 1) body += " ";
        if (at % 7 == 4) body += "\xFF-\n";
    }
    for (std::size_t limit = 16; limit <= body.size() + 1; ++limit) {
        const auto pieces = pieces_of(body, Coding::base64, kNone, limit);
        ASSERT_EQ("", octet_difference(body, joined(pieces))) << limit;
        ASSERT_EQ("", octet_difference(octets, decoded(pieces, kBase64))) << limit;
    }
    const std::string nothing(200, '-');
    EXPECT_EQ(nothing, joined(pieces_of(nothing, Coding::base64, kNone, 16)));
}

// Encodes text whose lines end in CR LF; every octet that `escape` wants stands escaped.
std::string quoted_printable_of(std::string_view text, std::size_t width, bool (*escape)(char))
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string out;
    std::size_t column = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text.substr(at, 2) == "\r\n") {
            out += "\r\n";
            column = 0;
            ++at;
            continue;
        }
        const auto octet = static_cast<unsigned char>(text[at]);
        const bool plain = octet >= 0x20 && octet < 0x7F && octet != '=' && !escape(text[at]);
        const std::size_t length = plain ? 1 : 3;
        if (width != 0 && column + length >= width) {
            out += "=\r\n";
            column = 0;
        }
        if (plain) {
            out += text[at];
        } else {
            out += '=';
            out += kDigits[octet >> 4];
            out += kDigits[octet & 15];
        }
        column += length;
    }
    return out;
}

struct QuotedCase {
    const char* label;
    std::string text;
};

const QuotedCase quoted_cases[] = {
    {"plain lines", "one\r\ntwo\r\nthree and a half\r\n\r\nfive\r\n"},
    {"dots at line starts", ".\r\n..\r\n...\r\n.a\r\n..b\r\na.\r\na..\r\n.\r\n"},
    {"dots alone", "................................................................................"},
    {"dots in lines", "a..b..c..d..e..f..g..h..i..j..k..l..m..n..o..p..q..r..s..t..u..v..w..x..y..z\r\n"},
    {"8-bit text", "\xE3\x81\x82..\xE3\x81\x84.\xE3\x81\x86\r\n\xE3\x81\x88..\r\n..\xE3\x81\x8A"},
    {"equals signs", "====..====\r\n=.=..\r\n..="},
    {"no line end at all", std::string(300, 'x') + std::string(40, '.') + std::string(300, '=')},
};

TEST(Pieces, OfQuotedPrintableDecodeByThemselves)
{
    for (const QuotedCase& one : quoted_cases) {
        for (const auto escape : {+[](char) { return false; }, +[](char octet) { return octet == 'a'; },
                                  +[](char octet) { return octet != '.'; }}) {
            for (std::size_t width = 0; width < 30; width = width == 0 ? 4 : width + 1) {
                const std::string wire = add_dot_stuffing(quoted_printable_of(one.text, width, escape));
                for (std::size_t limit = 16; limit <= 80; ++limit) {
                    const auto pieces = pieces_of(wire, Coding::quoted_printable, kNone, limit);
                    ASSERT_EQ("", octet_difference(one.text, decoded(pieces, kQuotedPrintable)))
                        << one.label << " width " << width << " limit " << limit;
                }
            }
        }
    }
}

// At the start of a line the server's dot stays: the library's decoder takes it away.
TEST(Pieces, OfQuotedPrintableKeepDoubledDots)
{
    const std::string wire = "a\r\n..b\r\n...c=\r\n..d\r\n";
    EXPECT_EQ("a\r\n..b\r\n...c=\r\n.d\r\n", joined(pieces_of(wire, Coding::quoted_printable, kNone, 1000)));
}

// A server that does not double its dots loses them: in every kind of text alike, whatever stands in front.
TEST(Pieces, OfQuotedPrintableLoseADotThatWasNotDoubled)
{
    const std::string wire = ".a=\r\n.b\r\n.c\r\n..d\r\n";
    EXPECT_EQ("a=\r\nb\r\nc\r\n..d\r\n", joined(pieces_of(wire, Coding::quoted_printable, kNone, 1000)));
    for (std::size_t limit = 16; limit <= wire.size(); ++limit) {
        const auto pieces = pieces_of(wire, Coding::quoted_printable, kNone, limit);
        EXPECT_EQ("ab\r\nc\r\n.d\r\n", decoded(pieces, kQuotedPrintable)) << limit;
    }
}

// The decoder drops three characters at once where an "=" stands for nothing: a run of them is cut between threes.
TEST(Pieces, OfQuotedPrintableKeepWhatIsDroppedTogether)
{
    const std::string wire =
        std::string(78, '=') + ".a" + std::string(31, '=') + "41\r\n" + std::string(40, '\r') + "\n";
    const std::string whole =
        decoded(pieces_of(wire, Coding::quoted_printable, kNone, 1000), kQuotedPrintable);
    for (std::size_t limit = 16; limit <= wire.size(); ++limit) {
        const auto pieces = pieces_of(wire, Coding::quoted_printable, kNone, limit);
        EXPECT_EQ("", octet_difference(whole, decoded(pieces, kQuotedPrintable))) << limit;
    }
}

// Where nothing but CR fits a piece, the last one of them stays with its LF: it decides about the dot behind it.
TEST(Pieces, OfQuotedPrintableKeepLineEndsWhole)
{
    for (std::size_t count = 1; count < 90; ++count) {
        const std::string wire =
            "a" + std::string(count, '\r') + "\n..b" + std::string(count, '\r') + "\n..\r\n";
        const std::string text =
            "a" + std::string(count, '\r') + "\n.b" + std::string(count, '\r') + "\n.\r\n";
        for (const std::size_t limit : {16, 17, 40}) {
            const auto pieces = pieces_of(wire, Coding::quoted_printable, kNone, limit);
            EXPECT_EQ("", octet_difference(text, decoded(pieces, kQuotedPrintable))) << count << " " << limit;
        }
    }
}

// Bare LF and soft breaks at which dots are added for the decoder: a piece is no longer than it may be.
TEST(Pieces, OfQuotedPrintableFitWhereDotsAreAdded)
{
    std::string wire = "x=\n";
    for (int line = 0; line < 40; ++line)
        wire += "..\n..a\n=\r=....\n";
    const std::string whole =
        decoded(pieces_of(wire, Coding::quoted_printable, kNone, 10000), kQuotedPrintable);
    for (std::size_t limit = 16; limit <= 80; ++limit) {
        const auto pieces = pieces_of(wire, Coding::quoted_printable, kNone, limit);
        EXPECT_EQ("", octet_difference(whole, decoded(pieces, kQuotedPrintable))) << limit;
    }
}

TEST(Pieces, OfQuotedPrintableEndAtLineEnds)
{
    std::string wire;
    for (int line = 0; line < 400; ++line)
        wire += "A line of some length, with =3D in it and a soft break at its end=\r\n";
    for (const std::string& piece : pieces_of(wire, Coding::quoted_printable, kNone, 7000))
        EXPECT_EQ("\r\n", piece.substr(piece.size() - 2));
}

std::string to_utf8(UTL_LIB_CHGC_ENCODE_TYPE from, const std::string& text, bool& done)
{
    std::string out(text.size() * 4 + 16, '\0');
    UTL_LIB_CHGC_REQUEST request = {text.c_str(), out.data(), static_cast<std::uint32_t>(out.size()), 0};
    done = utl_lib_convert_encode(from, 7, &request) == 0;
    return out.substr(0, request.output_length);
}

// Every piece converts by itself, and the results joined are the whole converted.
void expect_pieces_convert(const std::string& label, const std::string& body, std::int32_t char_set,
                           UTL_LIB_CHGC_ENCODE_TYPE type, std::size_t from)
{
    bool done = false;
    const std::string whole = to_utf8(type, body, done);
    ASSERT_TRUE(done) << label;
    for (std::size_t limit = from; limit <= body.size(); ++limit) {
        const auto pieces = pieces_of(body, Coding::text, char_set, limit);
        ASSERT_EQ("", octet_difference(body, joined(pieces))) << label << " " << limit;
        std::string text;
        for (const std::string& piece : pieces) {
            text += to_utf8(type, piece, done);
            ASSERT_TRUE(done) << label << " by " << limit << ": " << velorin_test::printable(piece);
        }
        ASSERT_EQ("", octet_difference(whole, text)) << label << " " << limit;
    }
}

TEST(Pieces, OfTextNeverEndInsideACharacter)
{
    expect_pieces_convert(
        "UTF-8",
        "a\xC3\xA9z\xE3\x81\x82\xE3\x81\x84\xF0\xA0\xAE\x9F and \xE6\x97\xA5\xE6\x9C\xAC\r\n"
        "\xE3\x81\x82\xE3\x81\x84\xE3\x81\x86\xE3\x81\x88\xE3\x81\x8A\r\n",
        kUtf8, 7, 16);
    expect_pieces_convert("Shift_JIS",
                          "\x83\x5C\x83\x5C\x82\xA0 ab \xB1\xB2\xB3 \x95\x5C\x8E\xA6\r\n\x82\xA0\x82\xA2\x82"
                          "\xA4\x82\xA6\x82\xA8\x82\xA9",
                          kShiftJis, 5, 16);
}

TEST(Pieces, OfTextNeverEndInsideAJisMode)
{
    const std::string body =
        "abc \x1B$B$\"$$\x1B(B def \x1B$B$&\x1B(B\r\n\x1B$B$($*\x1B(B\r\nx\x1B(J~\x1B(By "
        "\x1B$@0!\x1B(B end of it\r\n";
    expect_pieces_convert("ISO-2022-JP", body, kIso2022Jp, 3, 16);
    // Where nobody said so, an escape sequence does.
    expect_pieces_convert("ISO-2022-JP without a name", body, kNone, 3, 16);
}

// Nothing but one mode: the cut goes between characters, and the next piece goes on there.
TEST(Pieces, OfOneLongJisModeEndBetweenCharacters)
{
    std::string body = "\x1B$B";
    for (int count = 0; count < 200; ++count)
        body += "$\"";
    body += "\x1B(B";
    for (std::size_t limit = 16; limit < 60; ++limit) {
        const auto pieces = pieces_of(body, Coding::text, kIso2022Jp, limit);
        ASSERT_EQ("", octet_difference(body, joined(pieces)));
        for (std::size_t index = 0; index + 1 < pieces.size(); ++index) {
            const std::size_t length = pieces[index].size() - (index == 0 ? 3 : 0);
            ASSERT_EQ(0u, length % 2) << limit << " piece " << index;
        }
    }
}

TEST(Pieces, OfRandomOctetsAreWhole)
{
    std::mt19937 random(2);
    for (int round = 0; round < 200; ++round) {
        const std::string body = random_octets(random, random() % 400);
        for (const Coding coding : {Coding::base64, Coding::text, Coding::octets}) {
            for (const std::int32_t char_set : {kIso2022Jp, kShiftJis, kUtf8, kNone}) {
                for (const std::size_t limit : {std::size_t{16}, std::size_t{17}, std::size_t{100}}) {
                    ASSERT_EQ("", octet_difference(body, joined(pieces_of(body, coding, char_set, limit))));
                }
            }
        }
    }
}

// A long body is cut into pieces of a useful size.
TEST(Pieces, AreLong)
{
    constexpr std::size_t kLimit = 7000;
    constexpr std::size_t kAtLeast = 6 * 1024;
    std::string lines;
    while (lines.size() < 100000)
        lines += "A line of text that is neither long nor short, as most of them are.\r\n";
    const std::string line(100000, 'x');
    std::string jis;
    while (jis.size() < 100000)
        jis += "\x1B$B$\"$$$&$($*\x1B(B\r\n";
    const struct {
        std::string body;
        Coding coding;
        std::int32_t char_set;
    } bodies[] = {
        {lines, Coding::text, kNone},    {lines, Coding::quoted_printable, kNone},
        {lines, Coding::base64, kNone},  {lines, Coding::octets, kNone},
        {line, Coding::text, kUtf8},     {line, Coding::quoted_printable, kNone},
        {line, Coding::base64, kNone},   {jis, Coding::text, kIso2022Jp},
        {line, Coding::text, kShiftJis},
    };
    for (const auto& one : bodies) {
        const auto pieces = pieces_of(one.body, one.coding, one.char_set, kLimit);
        for (std::size_t index = 0; index + 1 < pieces.size(); ++index)
            EXPECT_GE(pieces[index].size(), kAtLeast);
    }
}

}  // namespace
}  // namespace velorin::service
