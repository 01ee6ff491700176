// The header of a received mail: its fields, their texts, what it says about the body.
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "CntsMLUTLMailAddress.h"
#include "header_block.h"
#include "header_text.h"
#include "mime_header.h"

namespace velorin::service {
namespace {

using Type = CntsMLUTLMailType;

constexpr Type::eCharSet kNoCharSet = static_cast<Type::eCharSet>(12);
constexpr Type::eCharSet kShiftJis = static_cast<Type::eCharSet>(7);
constexpr Type::eCharSet kLatin2 = static_cast<Type::eCharSet>(4);

// Feeds a header in slices as the dialogue gives them; `width` octets of a line at most in one.
//   result  what was left for the body
std::string feed(HeaderBlock& block, std::string_view octets, std::size_t width = 4096)
{
    while (!octets.empty()) {
        const std::size_t end = std::min(octets.find('\n'), octets.size() - 1) + 1;
        for (std::size_t at = 0; at < end;) {
            LineSlice slice;
            const std::size_t count = std::min(width, end - at);
            slice.text = octets.substr(at, count);
            slice.starts = at == 0;
            slice.ends = slice.text.back() == '\n';
            const HeaderBlock::Taken taken = block.feed(slice);
            if (taken == HeaderBlock::Taken::not_header) return std::string(octets.substr(at));
            at += count;
            if (taken == HeaderBlock::Taken::blank_line) return std::string(octets.substr(at));
        }
        octets.remove_prefix(end);
    }
    return {};
}

std::string value_of(const HeaderBlock& block, const char* name)
{
    return std::string(block.find(name).value_or("(none)"));
}

TEST(HeaderBlock, KeepsFieldsUnfolded)
{
    for (const char* const end : {"\r\n", "\n"}) {
        std::string octets;
        for (const char* line : {"Received: whatever", "SUBJECT:  a", "\tb ", " c  ", "From : x@y", "To: one",
                                 "To: two", "Subject: second", "", "body"}) {
            octets += line;
            octets += end;
        }
        HeaderBlock block;
        EXPECT_EQ("body" + std::string(end), feed(block, octets));
        EXPECT_EQ("a\tb  c", value_of(block, "subject"));
        EXPECT_EQ("x@y", value_of(block, "from"));
        std::string joined;
        EXPECT_TRUE(block.join("to", joined));
        EXPECT_EQ("one, two", joined);
        EXPECT_FALSE(block.join("cc", joined));
        EXPECT_EQ("(none)", value_of(block, "received"));
        EXPECT_FALSE(block.cut());
    }
}

struct EndCase {
    const char* label;
    const char* octets;
    const char* subject;
    const char* body;
};

const EndCase end_cases[] = {
    {"blank line", "Subject: a\r\n\r\nx: y\r\n", "a", "x: y\r\n"},
    {"no blank line", "Subject: a\r\nHello there\r\nx: y\r\n", "a", "Hello there\r\nx: y\r\n"},
    {"nothing but text", "Hello\r\n", "(none)", "Hello\r\n"},
    {"no body", "Subject: a\r\n", "a", ""},
    {"blank line with a CR too many", "Subject: a\r\r\n\r\r\nx: y\r\n", "a", "x: y\r\n"},
    {"blank line first", "\r\nSubject: a\r\n", "(none)", "Subject: a\r\n"},
    {"envelope line first", "From a@b Thu Jan 1 00:00:00 1970\r\nSubject: a\r\n\r\n", "a", ""},
    {"continuation first", " lost\r\nSubject: a\r\n\r\n", "a", ""},
    {"blank in a name", "Sub ject: a\r\n", "(none)", "Sub ject: a\r\n"},
    {"8-bit name", "S\xE3: a\r\n", "(none)", "S\xE3: a\r\n"},
    {"no name", ": a\r\n", "(none)", ": a\r\n"},
    {"empty value", "Subject:\r\n\r\n", "", ""},
    {"blanks only", "Subject: \t\r\n \r\n\r\n", "", ""},
};

TEST(HeaderBlock, EndsWhereTheHeaderEnds)
{
    for (const EndCase& one : end_cases) {
        HeaderBlock block;
        EXPECT_EQ(one.body, feed(block, one.octets)) << one.label;
        EXPECT_EQ(one.subject, value_of(block, "subject")) << one.label;
    }
}

TEST(HeaderBlock, TakesLinesOfAnyLength)
{
    HeaderBlock block;
    const std::string text(48000, 'x');
    const std::string more(8000, 'y');
    const std::string octets =
        "X-Other: " + text + "\r\nSubject: " + text + "\r\n y\r\nX-More: " + more + "\r\nTo: z\r\n\r\nbody";
    EXPECT_EQ("body", feed(block, octets, 100));
    EXPECT_EQ(text + " y", value_of(block, "subject"));
    EXPECT_TRUE(block.cut());
    EXPECT_EQ("(none)", value_of(block, "to")) << "behind 100 KiB";
}

// A header that never ends is no header: what follows is read as the body, so that the reading goes on.
TEST(HeaderBlock, ThatNeverEndsBecomesBody)
{
    HeaderBlock block;
    const std::string line = "X-Field: " + std::string(4000, 'x') + "\r\n";
    std::size_t taken = 0;
    LineSlice slice;
    slice.text = line;
    slice.starts = slice.ends = true;
    while (block.feed(slice) == HeaderBlock::Taken::yes) {
        taken += line.size();
        ASSERT_LT(taken, HeaderBlock::kEndless + HeaderBlock::kEndless / 100);
    }
    slice.starts = slice.ends = false;
    EXPECT_EQ(HeaderBlock::Taken::not_header, block.feed(slice));
}

TEST(HeaderBlock, IsBounded)
{
    HeaderBlock block;
    std::string octets;
    for (int line = 0; line < 100000; ++line)
        octets += "To: x\r\n";
    EXPECT_EQ("body", feed(block, octets + "\r\nbody"));
    std::string joined;
    EXPECT_TRUE(block.join("to", joined));
    EXPECT_LE(joined.size(), HeaderBlock::kMaxOctets);
    EXPECT_TRUE(block.cut());
}

struct TextCase {
    const char* label;
    std::string text;
    const char* decoded;
    Type::eCharSet own = kNoCharSet;
};

const TextCase text_cases[] = {
    {"plain", "Hello, world", "Hello, world"},
    {"B", "=?utf-8?B?44GC44GE?=", "\xE3\x81\x82\xE3\x81\x84"},
    {"Q", "=?UTF-8?q?=E3=81=82_a=5Fb?=", "\xE3\x81\x82 a_b"},
    {"ISO-2022-JP", "=?ISO-2022-JP?B?GyRCJCIkJBsoQg==?=", "\xE3\x81\x82\xE3\x81\x84"},
    {"Shift_JIS", "=?Shift_JIS?B?gqCCog==?=", "\xE3\x81\x82\xE3\x81\x84"},
    {"ISO 8859-1", "Re: =?ISO-8859-1?Q?caf=E9?= au lait", "Re: caf\xC3\xA9 au lait"},
    {"ISO 8859-2", "=?iso-8859-2?Q?=B1?=", "\xC4\x85"},
    {"language", "=?utf-8*en?Q?a?=", "a"},
    {"two words, blank between them goes", "=?utf-8?Q?a?= \t =?utf-8?Q?b?=", "ab"},
    {"two character sets", "=?utf-8?Q?a?= =?iso-8859-1?Q?=E9?=", "a\xC3\xA9"},
    {"text between words stays", "=?utf-8?Q?a?= and =?utf-8?Q?b?=", "a and b"},
    {"a character cut between words", "=?utf-8?B?44E=?= =?utf-8?B?gg==?=", "\xE3\x81\x82"},
    {"a character cut between B and Q", "=?utf-8?B?44E=?= =?UTF-8?Q?=82?=", "\xE3\x81\x82"},
    {"a mode that goes on in the next word",
     "=?iso-2022-jp?B?GyRCJCI=?= =?iso-2022-jp?B?JCQbKEI=?=", "\xE3\x81\x82\xE3\x81\x84"},
    {"unknown character set", "x =?euc-xx?Q?a?= y", "x =?euc-xx?Q?a?= y"},
    {"a name that only begins like one", "=?iso-8859-15?Q?=A4?=", "=?iso-8859-15?Q?=A4?="},
    {"unknown encoding", "=?utf-8?X?a?=", "=?utf-8?X?a?="},
    {"not of its character set", "=?utf-8?B?gg==?=", "=?utf-8?B?gg==?="},
    {"one good, one bad", "=?utf-8?Q?a?= =?utf-8?Q?=82?=", "a =?utf-8?Q?=82?="},
    {"one bad, one good", "=?utf-8?Q?=82?= =?utf-8?Q?a?=", "=?utf-8?Q?=82?= a"},
    {"unknown character set between others", "=?utf-8?Q?a?= =?x-y?Q?b?= =?utf-8?Q?c?=", "a =?x-y?Q?b?= c"},
    {"no end", "=?utf-8?Q?abc", "=?utf-8?Q?abc"},
    {"no end, then a word", "=?utf-8?X =?utf-8?Q?abc?=", "=?utf-8?X abc"},
    {"empty word", "a=?utf-8?Q?\?=b", "ab"},
    {"line end inside a word", "=?utf-8?Q?a=0D=0ABcc:_b?=", "a  Bcc: b"},
    {"NUL inside a word", "=?utf-8?B?YQBi?=", "a b"},
    {"raw UTF-8", "\xE3\x81\x82", "\xE3\x81\x82"},
    {"raw ISO-2022-JP", "\x1B$B$\"$$\x1B(B!", "\xE3\x81\x82\xE3\x81\x84!"},
    {"raw Shift_JIS", "\x82\xA0\x82\xA2", "\xE3\x81\x82\xE3\x81\x84"},
    {"raw Shift_JIS of a mail that says so", "\x83\x5C", "\xE3\x82\xBD", kShiftJis},
    {"raw ISO 8859-2 of a mail that says so", "\xB1x\xB1", "\xC4\x85x\xC4\x85", kLatin2},
    {"raw ISO 8859-1", "caf\xE9 au lait", "caf\xC3\xA9 au lait"},
    {"raw and encoded", "\xE3\x81\x82 =?utf-8?Q?b?=", "\xE3\x81\x82 b"},
    {"raw NUL and line end", std::string("a\0b\rc\nd", 7), "a b c d"},
};

TEST(HeaderText, IsDecoded)
{
    for (const TextCase& one : text_cases)
        EXPECT_EQ(one.decoded, decoded_text(one.text, one.own)) << one.label;
}

TEST(HeaderText, IsDecodedInLinearTime)
{
    const std::clock_t begin = std::clock();  // the process's own time, however busy the machine is
    for (const char* unit :
         {"=?", "=?a?B?", "=?a?B? ", "=?a?Q?x?= ", "?=", "=?=", "\x1B$B", "\xE3", "(", "\"", "<"}) {
        std::string text;
        while (text.size() < 100 * 1024)
            text += unit;
        decoded_text(text, kNoCharSet);
        decoded_addresses(text, kNoCharSet);
        cut_text(text, 5000);
        cut_addresses(text, 5000);
    }
    constexpr std::clock_t kSeconds = 10;
    EXPECT_LT(std::clock() - begin, kSeconds * CLOCKS_PER_SEC);
}

struct AddressCase {
    const char* label;
    const char* text;
    const char* decoded;
};

const AddressCase address_cases[] = {
    {"plain", "a@b, C D <e@f>; g@h", "a@b, C D <e@f>; g@h"},
    {"name", "=?utf-8?B?44GC?= <a@b>", "\xE3\x81\x82 <a@b>"},
    {"name with a separator", "=?utf-8?Q?One=2C_Two?= <a@b>, c@d", "\"One, Two\" <a@b>, c@d"},
    {"name with a bracket", "=?utf-8?Q?x_=3Cevil=40e=3E?= <a@b>", "\"x <evil@e>\" <a@b>"},
    {"name with quotes", "=?utf-8?Q?a_=22b=22_=5C?= <a@b>", "\"a \\\"b\\\" \\\\\" <a@b>"},
    {"name in quotes", "\"=?utf-8?B?44GC?=\" <a@b>", "\"\xE3\x81\x82\" <a@b>"},
    {"two words and text", "X =?utf-8?Q?a?= =?utf-8?Q?=3B?= Y <a@b>", "\"X a; Y\" <a@b>"},
    {"only one entry has words", "A B <a@b>,=?utf-8?Q?c?= <d@e>", "A B <a@b>, c <d@e>"},
    {"separator in quotes", "\"a, =?utf-8?Q?b?=\" <c@d>, e@f", "\"a, b\" <c@d>, e@f"},
    {"no name", "=?utf-8?Q?\?= <a@b>", "<a@b>"},
    {"8-bit name", "\xE3\x81\x82 <a@b>", "\xE3\x81\x82 <a@b>"},
    {"raw ISO-2022-JP that looks like separators", "\x1B$B%\"%,!(<\\\x1B(B <a@b>, c@d",
     "\xE3\x82\xA2\xE3\x82\xAC\xEF\xBC\x9B\xE5\xB0\xBA <a@b>, c@d"},
    {"the same in quotes", "\"\x1B$B%\"%,<\\\x1B(B, x\" <a@b>, c@d",
     "\"\xE3\x82\xA2\xE3\x82\xAC\xE5\xB0\xBA, x\" <a@b>, c@d"},
    {"raw half-width kana", "\"\x1B(I\",\\\x1B(B\" <a@b>, c@d",
     "\"\xEF\xBD\xA2\xEF\xBD\xAC\xEF\xBE\x9C\" <a@b>, c@d"},
    {"raw Shift_JIS that ends like an escape", "\"\x95\x5C\" <a@b>, c@d", "\"\xE8\xA1\xA8\" <a@b>, c@d"},
    {"escape behind UTF-8", "\"\xE3\x81\x82\\\"\" <a@b>, c@d", "\"\xE3\x81\x82\\\"\" <a@b>, c@d"},
    {"line end in a name", "=?utf-8?Q?a=0D=0Ab?= <a@b>", "a  b <a@b>"},
};

TEST(HeaderText, OfAddressesKeepsTheirEntries)
{
    for (const AddressCase& one : address_cases)
        EXPECT_EQ(one.decoded, decoded_addresses(one.text, kNoCharSet)) << one.label;
    // As the library takes them apart.
    const CntsMLUTLMailAddress list(
        decoded_addresses("=?utf-8?Q?One=2C_Two?= <a@b>, c@d", kNoCharSet).c_str());
    int position = 0;
    std::vector<std::string> found;
    for (CutlCPLBMString entry; list.GetAddress(entry, position, ";,") != 0;)
        found.emplace_back(entry.GetString());
    EXPECT_EQ((std::vector<std::string>{"\"One, Two\" <a@b>", "c@d"}), found);
}

TEST(HeaderText, IsCutWhereItHarmsNothing)
{
    EXPECT_EQ("abc", cut_text("abcdef", 3));
    EXPECT_EQ("abc", cut_text("abc", 3));
    EXPECT_EQ("", cut_text("abc", 0));
    EXPECT_EQ("a\xE3\x81\x82", cut_text("a\xE3\x81\x82\xE3\x81\x84", 6));
    EXPECT_EQ("a\xE3\x81\x82", cut_text("a\xE3\x81\x82\xE3\x81\x84", 4));
    EXPECT_EQ("a ", cut_text("a =?utf-8?Q?abc?= b", 10));
    EXPECT_EQ("a =?utf-8?Q?abc?=", cut_text("a =?utf-8?Q?abc?= b", 17));
    EXPECT_EQ("a", cut_text("a\x1B$B$\"\x1B(B", 3));
    EXPECT_EQ("a@b, c@d", cut_addresses("a@b, c@d, e@f", 12));
    EXPECT_EQ("a@b, c@d", cut_addresses("a@b, c@d, e@f", 8));
    EXPECT_EQ("a@b", cut_addresses("a@b, c@d, e@f", 7));
    EXPECT_EQ("", cut_addresses("a@b, c@d", 2));
    EXPECT_EQ("", cut_addresses("\"a, b\" <c@d>", 8));
}

struct FactCase {
    const char* label;
    const char* header;
    std::int32_t content_type, encoding, disposition, char_set;
    const char* type_text;
    const char* file_name;  // with conversion
    const char* extension;
};

const FactCase fact_cases[] = {
    {"nothing", "X: y\n", 0, 5, 3, 12, "-", "-", "-"},
    {"text", "Content-Type: Text/HTML; charset=UTF-8\nContent-Transfer-Encoding: Base64\n", 1, 2, 3, 10,
     "Text/HTML", "-", "-"},
    {"quoted charset", "Content-Type: text/plain; charset=\"iso-2022-jp\"\n", 0, 5, 3, 5, "text/plain", "-",
     "-"},
    {"unknown", "Content-Type: x/y\nContent-Transfer-Encoding: x-uu\nContent-Disposition: x\n", 14, 4, 2, 12,
     "x/y", "-", "-"},
    {"comment", "Content-Type: application/pdf (a pdf)\n", 7, 5, 3, 12, "application/pdf", "-", "-"},
    {"file", "Content-Disposition: attachment; filename=\"a b.pdf\"\n", 0, 5, 1, 12, "-", "a b.pdf", "pdf"},
    {"name of the type", "Content-Type: image/tiff; name=scan.tif\n", 10, 5, 3, 12, "image/tiff", "scan.tif",
     "tif"},
    {"the disposition's goes first",
     "Content-Type: image/tiff; name=n.tif\nContent-Disposition: inline; filename=f.tif\n", 10, 5, 0, 12,
     "image/tiff", "f.tif", "tif"},
    {"encoded word", "Content-Disposition: attachment; filename=\"=?utf-8?B?44GCLnBkZg==?=\"\n", 0, 5, 1, 12,
     "-", "\xE3\x81\x82.pdf", "pdf"},
    {"extended", "Content-Disposition: attachment; filename*=UTF-8''%E3%81%82%2Epdf\n", 0, 5, 1, 12, "-",
     "\xE3\x81\x82.pdf", "pdf"},
    {"extended goes before plain", "Content-Disposition: x; filename=\"p\"; filename*=utf-8'en'e.x\n", 0, 5,
     2, 12, "-", "e.x", "x"},
    {"pieces",
     "Content-Disposition: attachment; filename*1*=%82.; filename*0*=utf-8''%E3%81; filename*2=\"p%64f\"\n",
     0, 5, 1, 12, "-", "\xE3\x81\x82.p%64f", "p%64f"},
    {"plain pieces", "Content-Type: x/y; name*0=\"a;\"; name*1=b.c\n", 14, 5, 3, 12, "x/y", "a;b.c", "c"},
    {"extended in ISO-2022-JP",
     "Content-Disposition: attachment; filename*=iso-2022-jp''%1B%24B%24%22%1B%28B.txt\n", 0, 5, 1, 12, "-",
     "\xE3\x81\x82.txt", "txt"},
    {"8-bit name", "Content-Disposition: attachment; filename=\"\x82\xA0.txt\"\n", 0, 5, 1, 12, "-",
     "\xE3\x81\x82.txt", "txt"},
    {"a path", "Content-Disposition: attachment; filename=\"C:\\dir\\a.txt\"\n", 0, 5, 1, 12, "-",
     "C:\\dir\\a.txt", "txt"},
    {"escaped quote", "Content-Disposition: attachment; filename=\"a\\\"b\\\\c.d\"\n", 0, 5, 1, 12, "-",
     "a\"b\\c.d", "d"},
    {"line end in a name", "Content-Disposition: attachment; filename*=utf-8''a%0D%0Ab%00c\n", 0, 5, 1, 12,
     "-", "a  b c", "-"},
    {"no extension", "Content-Disposition: attachment; filename=.profile\n", 0, 5, 1, 12, "-", ".profile",
     "-"},
    {"dot at the end", "Content-Disposition: attachment; filename=\"name.\"\n", 0, 5, 1, 12, "-", "name.",
     "-"},
    {"folded", "Content-Type: text/plain;\n\tcharset=\"utf-8\";\n name=x.y\n", 0, 5, 3, 10, "text/plain",
     "x.y", "y"},
    {"blanks around", "Content-Type: text/plain ; charset = utf-8 ; name = \"x.y\" \n", 0, 5, 3, 10,
     "text/plain", "x.y", "y"},
    {"empty parameters", "Content-Type: text/plain;;;charset;=x;name=\n", 0, 5, 3, 12, "text/plain", "", "-"},
    {"comments",
     "Content-Type: (a \\) b) text (c) / (d) html (e); (f) charset=utf-8 (g)\nContent-Transfer-Encoding: (h) "
     "base64 "
     "(i)\nContent-Disposition: (j) inline\n",
     1, 2, 0, 10, "text/html", "-", "-"},
    {"a word without a semicolon", "Content-Type: text/html charset=utf-8\n", 1, 5, 3, 12, "text/html", "-",
     "-"},
    {"no type at all", "Content-Type:\nContent-Transfer-Encoding:\n", 0, 4, 3, 12, "", "-", "-"},
    {"no subtype", "Content-Type: html\n", 0, 5, 3, 12, "html", "-", "-"},
    {"escapes cut between pieces",
     "Content-Disposition: attachment; filename*0*=utf-8''%E; filename*1*=3%8; filename*2*=1%82.x\n", 0, 5, 1,
     12, "-", "\xE3\x81\x82.x", "x"},
    {"raw ISO-2022-JP that looks like quotes",
     "Content-Disposition: attachment; filename=\"\x1B$B%\"<\\\x1B(B.x\"; y=z\n", 0, 5, 1, 12, "-",
     "\xE3\x82\xA2\xE5\xB0\xBA.x", "x"},
    {"raw ISO-2022-JP without quotes", "Content-Disposition: attachment; filename=\x1B$B%;<;\x1B(B.x; y=z\n",
     0, 5, 1, 12, "-", "\xE3\x82\xBB\xE5\xAB\x89.x", "x"},
    {"raw Shift_JIS that ends like an escape", "Content-Disposition: inline; filename=\"\x95\x5C\"; y=z\n", 0,
     5, 0, 12, "-", "\xE8\xA1\xA8", "-"},
    {"no closing quote", "Content-Type: text/plain; name=\"x.y; charset=utf-8\n", 0, 5, 3, 12, "text/plain",
     "x.y; charset=utf-8", "y; charset=utf-8"},
};

std::string or_dash(const std::optional<std::string>& text)
{
    return text.value_or("-");
}

TEST(PartFacts, AreRead)
{
    for (const FactCase& one : fact_cases) {
        HeaderBlock block;
        feed(block, one.header);
        const PartFacts facts = read_facts(block, true, false);
        EXPECT_EQ(one.content_type, facts.content_type) << one.label;
        EXPECT_EQ(one.encoding, facts.transfer_encoding) << one.label;
        EXPECT_EQ(one.disposition, facts.disposition) << one.label;
        EXPECT_EQ(one.char_set, facts.char_set) << one.label;
        EXPECT_EQ(one.type_text, or_dash(facts.type_text)) << one.label;
        EXPECT_EQ(one.file_name, or_dash(facts.file_name)) << one.label;
        EXPECT_EQ(one.extension, or_dash(facts.extension)) << one.label;
    }
}

TEST(PartFacts, WithoutConversionStayAsTheyCame)
{
    HeaderBlock block;
    feed(block, "Content-Type: text/plain; name=\"=?utf-8?Q?a?=\"\n"
                "Content-Disposition: attachment; filename*0*=utf-8''%E3; filename*1*=%81%82\n");
    const PartFacts facts = read_facts(block, false, false);
    EXPECT_EQ("utf-8''%E3%81%82", or_dash(facts.file_name));
    EXPECT_EQ("text/plain; name=\"=?utf-8?Q?a?=\"", or_dash(facts.type_value));
    HeaderBlock other;
    feed(other, "Content-Type: text/plain; name=\"=?utf-8?Q?a?=\"\n");
    EXPECT_EQ("=?utf-8?Q?a?=", or_dash(read_facts(other, false, false).file_name));
}

TEST(PartFacts, TellAMultipart)
{
    const struct {
        const char* header;
        bool multipart;
        const char* boundary;
    } cases[] = {
        {"Content-Type: multipart/mixed; boundary=abc\n", true, "abc"},
        {"Content-Type: MULTIPART/Mixed; Boundary=\"a b \"\n", true, "a b"},
        {"Content-Type: multipart/mixed; boundary*0=a; boundary*1=b\n", true, "ab"},
        {"Content-Type: multipart/mixed\n", true, ""},
        {"Content-Type: multipart/mixed; boundary=\"\"\n", true, ""},
        {"Content-Type: multipart/mixed; boundary*=utf-8''a%0Ab\n", true, ""},
        {"Content-Type: text/plain; boundary=abc\n", false, ""},
    };
    for (const auto& one : cases) {
        HeaderBlock block;
        feed(block, one.header);
        const PartFacts facts = read_facts(block, false, false);
        EXPECT_EQ(one.multipart, facts.is_multipart) << one.header;
        EXPECT_EQ(one.boundary, facts.boundary) << one.header;
    }
    HeaderBlock block;
    feed(block, "Content-Type: multipart/mixed; boundary=" + std::string(201, 'x') + "\n");
    EXPECT_EQ("", read_facts(block, false, false).boundary);
}

TEST(PartFacts, InADigestAreOfAMail)
{
    HeaderBlock block;
    feed(block, "X: y\n");
    EXPECT_EQ("message/rfc822", or_dash(read_facts(block, false, true).type_text));
    EXPECT_EQ(14, read_facts(block, false, true).content_type);
}

TEST(PartFacts, HoldTheFaxMarker)
{
    HeaderBlock block;
    feed(block, "Content-X-CIAJWNETFAX: IGNORE\n");
    EXPECT_EQ("IGNORE", or_dash(read_facts(block, false, false).fax_marker));
}

}  // namespace
}  // namespace velorin::service
