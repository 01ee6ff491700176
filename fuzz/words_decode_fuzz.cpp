// Encoded words of headers, as others wrote them.
//   input   the allocation that fails (0: none), the header text
#include <array>
#include <string>

#include "CntsMLUTLMimeUtility.h"
#include "fuzz_input.h"
#include "fuzz_result.h"

namespace {

using velorin::CntsMLUTLMailType;
using velorin::CntsMLUTLMimeUtility;
using namespace velorin_fuzz;
using CharSet = CntsMLUTLMailType::eCharSet;

constexpr CharSet kNoWord = static_cast<CharSet>(77);  // of no word

struct Decoded {
    std::string octets;
    CharSet set = kNoWord;
    std::size_t first_end = 0;  // of the first thing that looks like a word
};

std::string decoded_word(const std::string& text, bool is_base64)
{
    const Exact in(text);
    return *result_of<void>([&](void*& out, long& length) {
        return is_base64 ? CntsMLUTLMimeUtility::FromB64(in.data(), in.length(), out, length)
                         : CntsMLUTLMimeUtility::FromQP(in.data(), in.length(), out, length);
    });
}

// Where the encoding of a word is told, and how.
struct Marker {
    std::size_t at = std::string::npos;
    bool is_base64 = false;
};

Marker find_marker(const std::string& text, std::size_t from, std::size_t end)
{
    for (const char* const marker : {"?B?", "?Q?", "?b?", "?q?"}) {
        const std::size_t at = text.find(marker, from);
        if (at != std::string::npos && at + 3 <= end) return {at, marker[1] == 'B' || marker[1] == 'b'};
    }
    return {};
}

// Step by step, as the rules are told.
Decoded read(const std::string& text)
{
    Decoded decoded;
    std::size_t at = 0;
    for (;;) {
        const std::size_t begin = text.find("=?", at);
        const std::size_t charset = begin + 2;
        const std::size_t second = begin == std::string::npos ? begin : text.find('?', charset);
        const std::size_t third = second == std::string::npos ? second : text.find('?', second + 1);
        const std::size_t end = third == std::string::npos ? third : text.find("?=", third + 1);
        if (end == std::string::npos) break;
        const Marker marker = find_marker(text, charset, end);
        if (marker.at == std::string::npos) {
            decoded.octets += text.substr(at, end + 2 - at);
        } else {
            decoded.octets += text.substr(at, begin - at);
            decoded.octets += decoded_word(text.substr(marker.at + 3, end - marker.at - 3), marker.is_base64);
            decoded.set = CntsMLUTLMailType::TestCharSet(text.substr(charset, marker.at - charset).c_str());
        }
        at = end + 2;
        if (decoded.first_end == 0) decoded.first_end = at;
    }
    decoded.octets += text.substr(at);
    return decoded;
}

// What the library decodes; nothing without memory.
std::optional<std::string> decoded(const std::string& text, unsigned failing, CharSet& set)
{
    const Platform platform(failing);
    const Exact in(text);
    const std::optional<std::string> octets = result_of([&](char*& out, long& length) {
        return CntsMLUTLMimeUtility::InlineDecode(in.data(), in.length(), out, length, set, 0);
    });
    require(octets || platform.has_failed(), "only memory stops the decoder");
    require(octets || platform.lines() > 0, "a failure is traced");
    require(!octets || platform.has_failed() || platform.lines() == 0, "a success is not traced");
    return octets;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned failing = input.below(16);
    const std::string text = input.rest();

    Decoded expected;
    {
        const Platform platform;
        expected = read(text);
    }
    CharSet set = kNoWord;
    require(decoded(text, 0, set) == expected.octets, "what is decoded is what the rules tell");
    require(set == expected.set, "the set is that of the last word");

    const std::size_t cut = expected.first_end;
    set = kNoWord;
    const std::optional<std::string> first = decoded(text.substr(0, cut), 0, set);
    require(*first + *decoded(text.substr(cut), 0, set) == expected.octets,
            "a cut behind a word changes nothing");
    require(set == expected.set, "the set is that of the last word");

    set = kNoWord;
    decoded(text, failing, set);
    return 0;
}
