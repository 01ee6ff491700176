// Encoded words, and names in extended parameters.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "CntsMLUTLMailPart.h"
#include "CntsMLUTLMimeUtility.h"

#include "blocks.h"
#include "scenario.h"

namespace velorin_test::sweep {

namespace {

using Utility = velorin::CntsMLUTLMimeUtility;
using CharSet = velorin::CntsMLUTLMailType;

bool append_fails(Replay& replay, const char* operation, int line)
{
    if (!replay.fails(Call::reallocate)) return false;
    replay.line("<Error> : CntsMLUTLMimeUtility::ReallocationBuffer()  failed to reallocate memory\n");
    replay.line(std::string("<Error> : CntsMLUTLMimeUtility::") + operation +
                "() ReallocationBuffer[NG]: Line" + std::to_string(line) + "\n");
    return true;
}

// One word: its text as it goes into the word, converted and encoded.
struct Word {
    std::string base64;
    std::string raw;  // what goes in instead when there is no memory for the base64
};

// ToMimeEncode of text that is cut into these words.
//   result  whether it succeeded; `text` is then what it made
bool replay_words(Replay& replay, const std::string& name, bool is_converted, const std::vector<Word>& words,
                  std::string& text)
{
    if (replay.fails(Call::allocate) || replay.fails(Call::allocate)) {  // work buffer, then chunk
        replay.line("<Error> : CntsMLUTLMimeUtility::ToMimeEncode() failed to allocate memory\n");
        return false;
    }
    if (append_fails(replay, "ToMimeEncode", 1439)) return false;
    text = "=?" + name + "?B?";
    for (std::size_t i = 0; i < words.size(); ++i) {
        const bool no_copy = is_converted && replay.fails(Call::allocate);
        const bool not_converted = is_converted && !no_copy && replay.fails(Call::convert);
        if (not_converted)
            replay.line(
                "CntsMLUTLMailType::ConvertEncodedString(): utl_lib_convert_encode return 0xbad[Error]\n");
        if (no_copy || not_converted) {
            replay.line(
                "<Error>: CntsMLUTLMimeUtility::ToMimeEncode() ConvertEncodedString return 0xffffffff "
                "[NG]: Line1474\n");
            return false;
        }
        const bool is_raw = replay.fails(Call::allocate);
        if (is_raw) replay.line("<Error> : CntsMLUTLMimeUtility::FromQP() failed to allocate memory\n");
        text += is_raw ? words[i].raw : words[i].base64;
        const bool is_last = i + 1 == words.size();
        if (append_fails(replay, "ToMimeEncode", is_last ? 1522 : 1509)) return false;
        if (!is_last) text += "?=\r\n\t=?" + name + "?B?";
    }
    if (append_fails(replay, "ToMimeEncode", 1539)) return false;
    text += "?=";
    return true;
}

void expect_block(Outcome& expected, const char* what, bool is_made, const std::string& text)
{
    expected.add("result", is_made ? 1 : 0);
    expected.add_block(what, is_made ? text.data() : nullptr, is_made ? static_cast<long>(text.size()) : 0);
}

Scenario encode(const char* name, CharSet::eCharSet set, const char* set_name, const char* text, int line,
                const std::vector<Word>& words)
{
    return {
        name,
        {"CntsMLUTLMimeUtility::ToMimeEncode(CntsMLUTLMailType::eCharSet, void const*, long, char*&, long&, "
         "int)"},
        [=](PlatformDouble&) {
            Trial trial;
            trial.run = [=](Outcome& given) {
                OwnedBlock<> block;
                given.add("result", Utility::ToMimeEncode(set, text, static_cast<long>(std::strlen(text)),
                                                          block.data, block.length, line));
                given.add_block("words", block.data, block.length);
            };
            trial.model = [=](Replay& replay, Outcome& expected) {
                std::string made;
                const bool is_made =
                    replay_words(replay, set_name, set != CharSet::eCharSetUtf8, words, made);
                expect_block(expected, "words", is_made, made);
            };
            trial.may_throw = false;
            return trial;
        }};
}

// A header with a name in quotes and a subject: where a word cannot be made the text stays as it is.
Scenario encode_header()
{
    return {
        "words, header encoded",
        {"CntsMLUTLMimeUtility::InlineEncode(char const*, long, char*&, long&, CntsMLUTLMailType::eCharSet)"},
        [](PlatformDouble&) {
            const char* const header = "X: y\r\nTo: \xC3\xA9 <a@b>\r\nSubject: \xC3\xA8\r\n";
            Trial trial;
            trial.run = [=](Outcome& given) {
                OwnedBlock<> block;
                given.add("result", Utility::InlineEncode(header, static_cast<long>(std::strlen(header)),
                                                          block.data, block.length, CharSet::eCharSetUtf8));
                given.add_block("header", block.data, block.length);
            };
            trial.model = [](Replay& replay, Outcome& expected) {
                struct Stretch {
                    const char* before;
                    const char* plain;
                    const char* base64;
                };
                const Stretch stretches[] = {{"X: y\r\nTo: ", "\xC3\xA9 ", "w6kg"},
                                             {"<a@b>\r\nSubject: ", "\xC3\xA8", "w6g="}};
                if (replay.fails(Call::allocate)) {
                    replay.line("<Error> : CntsMLUTLMimeUtility::InlineEncode() failed to allocate memory: "
                                "Line633\n");
                    return expect_block(expected, "header", false, "");
                }
                std::string text;
                for (const Stretch& stretch : stretches) {
                    if (append_fails(replay, "InlineEncode", 725))
                        return expect_block(expected, "header", false, "");
                    text += stretch.before;
                    std::string words;
                    const bool is_encoded =
                        replay_words(replay, "utf-8", false, {{stretch.base64, stretch.plain}}, words);
                    if (append_fails(replay, "InlineEncode", is_encoded ? 742 : 754))
                        return expect_block(expected, "header", false, "");
                    text += is_encoded ? words : stretch.plain;
                }
                const bool fails = append_fails(replay, "InlineEncode", 765);
                expect_block(expected, "header", !fails, text + "\r\n");
            };
            trial.may_throw = false;
            return trial;
        }};
}

// A word in base64, one in quoted-printable, and one that nobody decodes.
Scenario decode_header()
{
    return {
        "words, header decoded",
        {"CntsMLUTLMimeUtility::InlineDecode(char const*, long, char*&, long&, CntsMLUTLMailType::eCharSet&, "
         "int)"},
        [](PlatformDouble&) {
            const char* const header =
                "a =?iso-2022-jp?B?GyRCJDMbKEI=?= b =?utf-8?Q?caf=C3=A9?= =?utf-8?X?c?= d";
            Trial trial;
            trial.run = [=](Outcome& given) {
                OwnedBlock<> block;
                CharSet::eCharSet set = CharSet::eCharSetEnd;
                given.add("result", Utility::InlineDecode(header, static_cast<long>(std::strlen(header)),
                                                          block.data, block.length, set, 0));
                given.add_block("text", block.data, block.length);
                given.add("set", static_cast<int>(set));
            };
            trial.model = [](Replay& replay, Outcome& expected) {
                struct Encoded {
                    const char* before;
                    const char* word;
                    const char* decoded;
                    int set;
                    const char* codec;
                    const char* allocation_line;
                    const char* shrinking_line;
                };
                const Encoded words[] = {{"a ", "=?iso-2022-jp?B?GyRCJDMbKEI=?=", "\x1B$B$3\x1B(B", 5,
                                          "FromB64", "Line122\n", "[NG]: Line161\n"},
                                         {" b ", "=?utf-8?Q?caf=C3=A9?=", "caf\xC3\xA9", 10, "FromQP",
                                          "Line221\n", ": Line257\n"}};
                int set = 12;
                const auto give = [&](bool is_made, const std::string& text) {
                    expect_block(expected, "text", is_made, text);
                    expected.add("set", set);
                };
                if (replay.fails(Call::allocate)) {
                    replay.line("<Error> : CntsMLUTLMimeUtility::InlineDecode() failed to allocate memory\n");
                    return give(false, "");
                }
                std::string text;
                for (const Encoded& word : words) {
                    const std::string codec = std::string("<Error> : CntsMLUTLMimeUtility::") + word.codec;
                    bool is_decoded = true;
                    if (replay.fails(Call::allocate)) {
                        is_decoded = false;
                        replay.line(codec + "() failed to allocate memory: " + word.allocation_line);
                    } else if (replay.fails(Call::reallocate)) {
                        is_decoded = false;
                        replay.line(codec + "() failed to reallocate memory" + word.shrinking_line);
                    }
                    if (!is_decoded) {
                        if (append_fails(replay, "InlineDecode", 561)) return give(false, "");
                        text += std::string(word.before) + word.word;
                        continue;
                    }
                    if (append_fails(replay, "InlineDecode", 524)) return give(false, "");
                    set = word.set;
                    if (append_fails(replay, "InlineDecode", 550)) return give(false, "");
                    text += std::string(word.before) + word.decoded;
                }
                if (append_fails(replay, "InlineDecode", 507)) return give(false, "");
                if (append_fails(replay, "InlineDecode", 572)) return give(false, "");
                give(true, text + " =?utf-8?X?c?= d");
            };
            trial.may_throw = false;
            return trial;
        }};
}

Scenario file_name()
{
    return {"words, name in an extended parameter",
            {"CntsMLUTLMimeUtility::DecodeAndSetEscapeString(CntsMLUTLMailPart&, char*)"},
            [](PlatformDouble&) {
                const auto part = std::make_shared<velorin::CntsMLUTLMailPart>();
                Trial trial;
                trial.run = [=](Outcome& given) {
                    char value[] =
                        "iso-2022-jp''a%20name%20that%20needs%20a%20block.an%20extension%20that%20does";
                    Utility::DecodeAndSetEscapeString(*part, value);
                    given.add("name", part->m_cFIleName);
                    given.add("extension", part->m_cExtension);
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const bool fails = replay.fails(Call::allocate);
                    if (fails) replay.line("CntsMLUTLMimeUtility::DecodeAndSetEscapeString() new failed\n");
                    expected.add("name",
                                 fails ? "(null)" : "a name that needs a block.an extension that does");
                    expected.add("extension", fails ? "(null)" : "an extension that does");
                };
                return trial;
            }};
}

}  // namespace

Scenarios word_scenarios()
{
    return {
        encode("words, one without folding", CharSet::eCharSetUtf8, "utf-8", "ab", 0, {{"YWI=", "ab"}}),
        encode("words, folded", CharSet::eCharSetUtf8, "utf-8", "abcdefgh", 18,
               {{"YWJj", "abc"}, {"ZGVm", "def"}, {"Z2g=", "gh"}}),
        encode("words, converted", CharSet::eCharSetShiftJis, "shift_jis", "\xE3\x81\x93", 0,
               {{"grE=", "\x82\xB1"}}),
        encode_header(),
        decode_header(),
        file_name(),
    };
}

}  // namespace velorin_test::sweep
