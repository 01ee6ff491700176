// Base64: what others wrote, decoded, and any octets there and back.
//   input   the allocation that fails (0: none), the line length, the octets
#include <algorithm>
#include <climits>
#include <string>

#include "CntsMLUTLMimeUtility.h"
#include "fuzz_input.h"
#include "fuzz_platform.h"
#include "fuzz_property.h"

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

std::string decoded(const std::string& text, unsigned failing)
{
    const Platform platform(failing);
    const Exact in(text);
    void* out = stale();
    long length = LONG_MIN;
    const int result = CntsMLUTLMimeUtility::FromB64(in.data(), in.length(), out, length);
    const Block block(out, length);
    require((result == 1) == (out != nullptr), "a result comes with a block, a failure without");
    require((result == 0) == platform.has_failed(), "only memory stops the decoder");
    require(platform.lines() == (result == 1 ? 0u : 1u), "a failure is traced once");
    if (result == 0) return octets_of(sextets_of(text));
    require(length <= in.length() / 4 * 3 + 2, "the result is no longer than its text allows");
    return {block.data(), static_cast<std::size_t>(length)};
}

// Lines as long as they may be, CR LF between them.
void check_lines(const std::string& text, std::size_t line)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find("\r\n", at), text.size());
        require(end - at == line || (end == text.size() && end - at < line),
                "every line but the last is full");
        require(end != text.size() - 2, "no line end is the last");
        at = end + 2;
    }
}

void encode_and_decode(const std::string& octets, int line, unsigned failing)
{
    std::string text;
    {
        const Platform platform(failing);
        const Exact in(octets);
        char* out = stale();
        long length = LONG_MIN;
        const int result = CntsMLUTLMimeUtility::ToB64(in.data(), in.length(), out, length, line);
        const Block block(out, length);
        const bool is_refused = octets.empty() && line >= 4;
        require((result == 1) == (out != nullptr), "a result comes with a block, a failure without");
        require((result == 0) == (platform.has_failed() || is_refused), "any octets can be encoded");
        if (result == 0) return;
        text.assign(block.data(), static_cast<std::size_t>(length));
    }
    require(text.find('\0') == std::string::npos, "base64 holds no NUL");
    if (line >= 4) check_lines(text, static_cast<std::size_t>(line / 4 * 4));
    require(decoded(text, 0) == octets, "decode of encode is the identity");
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
    // Cut where whole groups end, the pieces are the whole.
    const std::size_t cut = text.size() / 2;
    if (sextets_of(text.substr(0, cut)).size() % 4 == 0) {
        require(decoded(text.substr(0, cut), 0) + decoded(text.substr(cut), 0) == whole,
                "a cut behind a group changes nothing");
    }
    encode_and_decode(text, line, failing);
    return 0;
}
