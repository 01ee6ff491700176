// Base64: what others wrote, decoded, and any octets there and back.
//   input   the allocation that fails (0: none), the line length and 8, the octets
#include <algorithm>
#include <string>

#include "CntsMLUTLMimeUtility.h"
#include "fuzz_input.h"
#include "fuzz_result.h"

namespace {

using velorin::CntsMLUTLMimeUtility;
using namespace velorin_fuzz;

// The sextets of a text: characters of the alphabet, and NUL as zero.
std::string sextets_of(const std::string& text)
{
    static const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string sextets;
    for (const char c : text) {
        const std::size_t at = c == '\0' ? 0 : alphabet.find(c);
        if (at != std::string::npos) sextets += static_cast<char>(at);
    }
    return sextets;
}

std::string octets_of(const std::string& sextets)
{
    std::string octets;
    unsigned bits = 0;
    for (std::size_t i = 0; i < sextets.size(); ++i) {
        bits = bits << 6 | static_cast<unsigned char>(sextets[i]);
        if (i % 4 > 0) octets += static_cast<char>(bits >> (6 - i % 4 * 2) & 0xFF);
    }
    return octets;
}

// What the library decodes; without memory, what it ought to have.
std::string decoded(const std::string& text, unsigned failing)
{
    const Platform platform(failing);
    const Exact in(text);
    const std::optional<std::string> octets = result_of<void>([&](void*& out, long& length) {
        return CntsMLUTLMimeUtility::FromB64(in.data(), in.length(), out, length);
    });
    require(octets.has_value() != platform.has_failed(), "only memory stops the decoder");
    require(platform.lines() == (octets ? 0u : 1u), "a failure is traced once");
    return octets ? *octets : octets_of(sextets_of(text));
}

// Lines as long as they may be, CR LF between them.
void check_lines(const std::string& text, std::size_t line)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find("\r\n", at), text.size());
        const bool is_last = end == text.size();
        require(is_last ? end - at <= line : end - at == line, "every line but the last is full");
        require(is_last || end + 2 < text.size(), "no line end is the last");
        at = end + 2;
    }
}

void encode_and_decode(const std::string& octets, int line, unsigned failing)
{
    std::optional<std::string> text;
    {
        const Platform platform(failing);
        const Exact in(octets);
        text = result_of([&](char*& out, long& length) {
            return CntsMLUTLMimeUtility::ToB64(in.data(), in.length(), out, length, line);
        });
        const bool is_refused = octets.empty() && line >= 4;
        require(text.has_value() != (platform.has_failed() || is_refused), "any octets can be encoded");
    }
    if (!text) return;
    require(text->find('\0') == std::string::npos, "base64 holds no NUL");
    if (line >= 4) check_lines(*text, static_cast<std::size_t>(line / 4 * 4));
    require(decoded(*text, 0) == octets, "decode of encode is the identity");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned failing = input.below(4);
    const int line = static_cast<int>(input.octet()) - 8;
    const std::string text = input.rest();

    const std::string whole = decoded(text, failing);
    require(whole == octets_of(sextets_of(text)), "what is decoded are the sextets");
    const std::string first = text.substr(0, text.size() / 2);
    if (sextets_of(first).size() % 4 == 0) {
        require(decoded(first, 0) + decoded(text.substr(first.size()), 0) == whole,
                "a cut behind a group changes nothing");
    }
    encode_and_decode(text, line, failing);
    return 0;
}
