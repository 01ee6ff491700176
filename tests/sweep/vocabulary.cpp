// The vocabulary of types, and conversion between character sets.
#include <cstring>
#include <memory>
#include <string>

#include "CntsMLUTLMailType.h"

#include "scenario.h"

namespace velorin_test::sweep {

namespace {

using Type = velorin::CntsMLUTLMailType;

Scenario texts()
{
    return {"vocabulary, texts of values",
            {"CntsMLUTLMailType::GetContentType(CntsMLUTLMailType::eContentType)",
             "CntsMLUTLMailType::GetTransferEncoding(CntsMLUTLMailType::eTransferEncoding)",
             "CntsMLUTLMailType::GetContentDisposition(CntsMLUTLMailType::eContentDisposition)",
             "CntsMLUTLMailType::GetCharSet(CntsMLUTLMailType::eCharSet)",
             "CntsMLUTLMailType::GetContetXCiajwnetfax(CntsMLUTLMailType::eContetXCiajwnetfax)"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    given.add("type", Type::GetContentType(Type::eContentTypeMultipartReport));
                    given.add("encoding", Type::GetTransferEncoding(Type::eTransferEncodingBase64));
                    given.add("disposition",
                              Type::GetContentDisposition(Type::eContentDispositionAttachment));
                    given.add("set", Type::GetCharSet(Type::eCharSetMsKanji));
                    given.add("marker", Type::GetContetXCiajwnetfax(Type::eContetXCiajwnetfaxIgnore));
                    given.add("none", Type::GetCharSet(static_cast<Type::eCharSet>(4711)));
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("type", "multipart/report;\r\n\treport-type=disposition-notification");
                    expected.add("encoding", "base64");
                    expected.add("disposition", "attachment");
                    expected.add("set", "ms-kanji");
                    expected.add("marker", "IGNORE");
                    expected.add("none", "");
                };
                trial.may_throw = false;
                return trial;
            }};
}

Scenario values()
{
    return {"vocabulary, values of texts",
            {"CntsMLUTLMailType::TestContentType(char const*)",
             "CntsMLUTLMailType::TestTransferEncoding(char const*)",
             "CntsMLUTLMailType::TestContentDisposition(char const*)",
             "CntsMLUTLMailType::TestCharSet(char const*)",
             "CntsMLUTLMailType::TestContetXCiajwnetfax(char const*)",
             "CntsMLUTLMailType::ConvertUtilLibEncodeType(CntsMLUTLMailType::eCharSet, int&)"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    given.add("type", static_cast<int>(Type::TestContentType("Multipart/Alternative; x=y")));
                    given.add("encoding", static_cast<int>(Type::TestTransferEncoding("Quoted-Printable")));
                    given.add("disposition", static_cast<int>(Type::TestContentDisposition("form-data")));
                    given.add("set", static_cast<int>(Type::TestCharSet("ISO-8859-15")));
                    given.add("marker", static_cast<int>(Type::TestContetXCiajwnetfax("ignore")));
                    UTL_LIB_CHGC_ENCODE_TYPE type = -5;
                    given.add("converts", Type::ConvertUtilLibEncodeType(Type::eCharSetXSjis, type));
                    given.add("as", type);
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("type", 2);
                    expected.add("encoding", 3);
                    expected.add("disposition", 2);
                    expected.add("set", 3);
                    expected.add("marker", 0);
                    expected.add("converts", 0);
                    expected.add("as", 5);
                };
                trial.may_throw = false;
                return trial;
            }};
}

// Converts the UTF-8 of one hiragana.
Scenario conversion(const char* name, Type::eCharSet to, const char* converted, const char* line)
{
    return {name,
            {"CntsMLUTLMailType::ConvertEncodedString(CntsMLUTLMailType::ENCODED_STRING const&, "
             "CntsMLUTLMailType::ENCODED_STRING&, int&)"},
            [=](PlatformDouble&) {
                Trial trial;
                trial.run = [=](Outcome& given) {
                    char from[] = "\xE3\x81\x93";
                    char buffer[16] = {};
                    const Type::ENCODED_STRING source = {Type::eCharSetUtf8, from, 3};
                    Type::ENCODED_STRING destination = {to, buffer, sizeof buffer};
                    int consumed = -1;
                    given.add("result", Type::ConvertEncodedString(source, destination, consumed));
                    given.add("consumed", consumed);
                    given.add_block("octets", buffer, destination.m_nLength);
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    const bool is_known = line == nullptr;
                    const bool is_other = to != Type::eCharSetUtf8;
                    bool fails = !is_known;
                    if (!is_known) replay.line(line);
                    if (is_known && is_other) {
                        fails = replay.fails(Call::allocate);
                        if (!fails && replay.fails(Call::convert)) {
                            fails = true;
                            replay.line("CntsMLUTLMailType::ConvertEncodedString(): utl_lib_convert_encode "
                                        "return 0xbad[Error]\n");
                        }
                    }
                    const std::string untouched(16, '\0');
                    expected.add("result", fails ? -1 : 0);
                    expected.add("consumed", fails ? -1 : 3);
                    expected.add_block("octets", fails ? untouched.data() : converted,
                                       fails ? 16 : static_cast<long>(std::strlen(converted)));
                };
                trial.may_throw = false;
                return trial;
            }};
}

}  // namespace

Scenarios vocabulary_scenarios()
{
    return {texts(),
            values(),
            conversion("vocabulary, converted to JIS", Type::eCharSetIso2022Jp, "\x1B$B$3\x1B(B", nullptr),
            conversion("vocabulary, converted to Shift_JIS", Type::eCharSetShiftJis, "\x82\xB1", nullptr),
            conversion("vocabulary, the same set", Type::eCharSetUtf8, "\xE3\x81\x93", nullptr),
            conversion("vocabulary, an unknown set", Type::eCharSetEnd, "",
                       "CntsMLUTLMailType::ConvertEncodedString(): unknown encode(12)[Error]\n")};
}

}  // namespace velorin_test::sweep
