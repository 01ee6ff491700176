// Transfer encodings.
#include <cstring>
#include <functional>
#include <memory>
#include <string>

#include "CntsMLUTLMimeUtility.h"

#include "blocks.h"
#include "scenario.h"

namespace velorin_test::sweep {

namespace {

using Utility = velorin::CntsMLUTLMimeUtility;

// A codec that asks for a block, and shrinks it when it decodes.
Scenario codec(const char* name, const char* covered, int (*run)(OwnedBlock<>&), const std::string& octets,
               long reported, const char* allocation_failed, const char* shrinking_failed)
{
    return {name, {covered}, [=](PlatformDouble&) {
                Trial trial;
                trial.run = [=](Outcome& given) {
                    OwnedBlock<> block;
                    given.add("result", run(block));
                    given.add("length", block.length);
                    given.add_block("octets", block.data,
                                    block.data != nullptr ? static_cast<long>(octets.size()) : 0);
                };
                trial.model = [=](Replay& replay, Outcome& expected) {
                    const char* line = nullptr;
                    if (replay.fails(Call::allocate)) {
                        line = allocation_failed;
                    } else if (shrinking_failed != nullptr && replay.fails(Call::reallocate)) {
                        line = shrinking_failed;
                    }
                    if (line != nullptr) replay.line(std::string("<Error> : CntsMLUTLMimeUtility::") + line);
                    expected.add("result", line == nullptr ? 1 : 0);
                    expected.add("length", line == nullptr ? reported : 0);
                    expected.add_block("octets", line == nullptr ? octets.data() : nullptr,
                                       line == nullptr ? static_cast<long>(octets.size()) : 0);
                };
                trial.may_throw = false;
                return trial;
            }};
}

template <typename Decode>
int decode(Decode decoder, const char* text, OwnedBlock<>& block)
{
    void* octets = nullptr;
    const int result = decoder(text, static_cast<long>(std::strlen(text)), octets, block.length);
    block.data = static_cast<char*>(octets);
    return result;
}

Scenario appended()
{
    return {"encoding, ReallocationBuffer",
            {"CntsMLUTLMimeUtility::ReallocationBuffer(char*&, long&, void const*, long)"},
            [](PlatformDouble&) {
                const auto block = std::make_shared<OwnedBlock<>>();
                block->fill("there before");
                Trial trial;
                trial.run = [=](Outcome& given) {
                    given.add("result",
                              Utility::ReallocationBuffer(block->data, block->length, "[added]", 7));
                    given.add_block("block", block->data, block->length);
                };
                trial.model = [](Replay& replay, Outcome& expected) {
                    const bool fails = replay.fails(Call::reallocate);
                    if (fails) {
                        replay.line("<Error> : CntsMLUTLMimeUtility::ReallocationBuffer()  failed to "
                                    "reallocate memory\n");
                    }
                    const std::string text = fails ? "there before" : "there before[added]";
                    expected.add("result", fails ? 0 : 1);
                    expected.add_block("block", text.data(), static_cast<long>(text.size()));
                };
                trial.may_throw = false;
                return trial;
            },
            Again::after_failure};
}

// Characters and codes: nothing of the platform is asked for.
Scenario characters()
{
    return {"encoding, characters and codes",
            {"CntsMLUTLMimeUtility::Base64Seed2Index(char)", "CntsMLUTLMimeUtility::EscapeDecode(char)",
             "CntsMLUTLMimeUtility::EscapeStringDecode(char const*, int, char*)",
             "CntsMLUTLMimeUtility::CodeConvertJis2Sjis(unsigned short)",
             "CntsMLUTLMimeUtility::Jis2Sjis(char const*, long, char*&, long&)"},
            [](PlatformDouble&) {
                Trial trial;
                trial.run = [](Outcome& given) {
                    given.add("index", Utility::Base64Seed2Index('/'));
                    given.add("digit", Utility::EscapeDecode('F'));
                    char text[8] = {};
                    Utility::EscapeStringDecode("%41b%43", 7, text);
                    given.add("text", static_cast<const char*>(text));
                    given.add("code", Utility::CodeConvertJis2Sjis(0x2422));
                    char* none = nullptr;
                    long length = 0;
                    given.add("place", Utility::Jis2Sjis("x", 1, none, length));
                };
                trial.model = [](Replay&, Outcome& expected) {
                    expected.add("index", 63);
                    expected.add("digit", 15);
                    expected.add("text", "AbC");
                    expected.add("code", 0x82A0);
                    expected.add("place", 1);
                };
                trial.may_throw = false;
                return trial;
            }};
}

}  // namespace

Scenarios encoding_scenarios()
{
    return {
        codec(
            "encoding, to base64", "CntsMLUTLMimeUtility::ToB64(void const*, long, char*&, long&, int)",
            [](OwnedBlock<>& block) { return Utility::ToB64("abcdefg", 7, block.data, block.length, 8); },
            "YWJjZGVm\r\nZw==", 14, "FromQP() failed to allocate memory\n", nullptr),
        codec(
            "encoding, from base64", "CntsMLUTLMimeUtility::FromB64(char const*, long, void*&, long&)",
            [](OwnedBlock<>& block) { return decode(Utility::FromB64, "YWJj\r\nZA==", block); }, "abcd", 4,
            "FromB64() failed to allocate memory: Line122\n",
            "FromB64() failed to reallocate memory[NG]: Line161\n"),
        codec(
            "encoding, to quoted-printable",
            "CntsMLUTLMimeUtility::ToQB(void const*, long, char*&, long&, int)",
            [](OwnedBlock<>& block) { return Utility::ToQB("a=b", 3, block.data, block.length, 76); },
            "a=3Db=\r\n", 10, "ToQB() failed to allocate memory\n", nullptr),
        codec(
            "encoding, from quoted-printable",
            "CntsMLUTLMimeUtility::FromQP(char const*, long, void*&, long&)",
            [](OwnedBlock<>& block) { return decode(Utility::FromQP, "A=3D=\r\nB", block); }, "A=B", 3,
            "FromQP() failed to allocate memory: Line221\n",
            "FromQP() failed to reallocate memory: Line257\n"),
        appended(),
        characters(),
    };
}

}  // namespace velorin_test::sweep
