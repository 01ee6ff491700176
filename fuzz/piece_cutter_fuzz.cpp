// Bodies of parts cut into pieces: whatever the body and the limit, each piece decodes by itself, and joined they are
// the body.
//   input   the coding, the character set, whether lines end in LF, the limit, the body
#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "CntsMLUTLMimeUtility.h"
#include "CutlCPLBOSBoundary.h"
#include "fuzz_input.h"
#include "fuzz_platform.h"
#include "fuzz_property.h"
#include "piece_cutter.h"

namespace {

using namespace velorin::service;
using namespace velorin_fuzz;
using velorin::CntsMLUTLMimeUtility;
using Coding = PieceCutter::Coding;

constexpr std::int32_t kShiftJis = 7;
constexpr std::int32_t kUtf8 = 10;

struct Case {
    Coding coding = Coding::octets;
    std::int32_t char_set = 0;
    bool lf_lines = false;
    std::string body;
};

std::string decoded(Coding coding, std::string_view piece)
{
    if (coding != Coding::base64 && coding != Coding::quoted_printable) return std::string(piece);
    void* octets = nullptr;
    long length = 0;
    const Exact in(piece);
    const int done = coding == Coding::base64
                         ? CntsMLUTLMimeUtility::FromB64(in.data(), in.length(), octets, length)
                         : CntsMLUTLMimeUtility::FromQP(in.data(), in.length(), octets, length);
    require(done == 1, "any piece can be decoded");
    const Block block(octets, length);
    return {block.data(), static_cast<std::size_t>(length)};
}

std::vector<std::string> cut(const Case& given, std::size_t limit)
{
    PieceCutter cutter(given.coding, given.char_set, given.lf_lines);
    std::vector<std::string> pieces;
    std::string left = given.body;
    std::string piece;
    while (!cutter.take_rest(left, limit, piece)) {
        const Exact body(left);
        const std::string_view view(body.data(), left.size());
        const std::size_t taken = cutter.cut(view, std::min(limit, left.size() - 1), piece);
        require(taken >= 1 && taken <= left.size(), "a cut takes something, and no more than there is");
        require(piece.size() <= limit, "a piece fits its limit");
        pieces.push_back(piece);
        left.erase(0, taken);
    }
    require(piece.size() <= limit, "the rest fits its limit");
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

std::string decoded(Coding coding, const std::vector<std::string>& pieces)
{
    std::string out;
    for (const std::string& piece : pieces)
        out += decoded(coding, piece);
    return out;
}

// A group of base64 that is strewn over more octets than the limit fits no piece: then its octets stay as they are.
bool holds_part_of_group(const Case& given, const std::vector<std::string>& pieces)
{
    if (given.coding != Coding::base64) return false;
    const auto is_sextet = [](char octet) {
        return (octet >= 'A' && octet <= 'Z') || (octet >= 'a' && octet <= 'z') ||
               (octet >= '0' && octet <= '9') || octet == '+' || octet == '/' || octet == '\0';
    };
    return std::any_of(pieces.begin(), pieces.end() - 1, [&](const std::string& piece) {
        const auto sextets = std::count_if(piece.begin(), piece.end(), is_sextet);
        return sextets > 0 && sextets < 4 && is_sextet(piece.front());
    });
}

// RFC 3629, without looking at ranges that no character has.
bool is_utf8(std::string_view text)
{
    for (std::size_t at = 0; at < text.size();) {
        const auto lead = static_cast<unsigned char>(text[at++]);
        int more = lead < 0x80 ? 0 : lead >= 0xC2 && lead < 0xE0 ? 1 : lead >= 0xE0 && lead < 0xF0 ? 2 : 3;
        if (lead >= 0x80 && (lead < 0xC2 || lead > 0xF4)) return false;
        for (; more > 0; --more) {
            if (at == text.size() || (static_cast<unsigned char>(text[at++]) & 0xC0) != 0x80) return false;
        }
    }
    return true;
}

// Whole characters of CP932.
bool is_shift_jis(std::string_view text)
{
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto lead = static_cast<unsigned char>(text[at]);
        if (!((lead >= 0x81 && lead <= 0x9F) || (lead >= 0xE0 && lead <= 0xFC))) continue;
        if (++at == text.size()) return false;
        const auto trail = static_cast<unsigned char>(text[at]);
        if (trail < 0x40 || trail == 0x7F || trail > 0xFC) return false;
    }
    return true;
}

void check_characters(const Case& given, const std::vector<std::string>& pieces)
{
    if (given.coding != Coding::text || given.body.find('\x1B') != std::string::npos) return;
    if (given.char_set == kUtf8 && is_utf8(given.body)) {
        for (const std::string& piece : pieces)
            require(is_utf8(piece), "no character of UTF-8 is cut");
    }
    if (given.char_set == kShiftJis && is_shift_jis(given.body)) {
        for (const std::string& piece : pieces)
            require(is_shift_jis(piece), "no character of Shift_JIS is cut");
    }
}

// A dot alone at the start of a line would have been the end of the answer: it is doubled, as servers do.
std::string without_end(const std::string& body, bool lf_lines)
{
    std::string out;
    bool at_start = true;
    for (std::size_t at = 0; at < body.size(); ++at) {
        const bool lone = at + 1 == body.size() || body[at + 1] == '\r' || body[at + 1] == '\n';
        if (at_start && body[at] == '.' && lone) out += '.';
        out += body[at];
        at_start = body[at] == '\n' && (lf_lines || (at > 0 && body[at - 1] == '\r'));
    }
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    Case given;
    given.coding = static_cast<Coding>(input.below(4));
    given.char_set = static_cast<std::int32_t>(input.below(13));
    given.lf_lines = input.below(2) != 0;
    const std::size_t limit = 16 + input.octet();
    given.body = without_end(input.rest(), given.lf_lines);

    const Platform platform;
    const std::vector<std::string> pieces = cut(given, limit);
    // Dots that are added make quoted-printable longer, but never by more than itself.
    const std::vector<std::string> whole = cut(given, 2 * given.body.size() + 16);
    require(whole.size() == 1, "what fits is one piece");
    require(holds_part_of_group(given, pieces) ||
                decoded(given.coding, pieces) == decoded(given.coding, whole),
            "pieces that are decoded are the whole");
    if (given.coding != Coding::quoted_printable)
        require(joined(pieces) == given.body, "pieces joined are the body");
    check_characters(given, pieces);
    return 0;
}
