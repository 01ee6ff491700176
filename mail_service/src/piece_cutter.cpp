#include "piece_cutter.h"

#include <algorithm>
#include <cstdint>

namespace velorin::service {
namespace {

constexpr std::size_t kWholeLines = 6u << 10;  // a piece at least this long may end at the end of a line
constexpr char kEscape = '\x1B';

std::uint8_t flag(bool set)
{
    return set ? 1 : 0;
}

// 1 for what the library's base64 decoder takes for a sextet: the alphabet, and NUL. Without look-ups and
// branches, so that compilers take many octets at a time.
std::uint8_t is_sextet(char character)
{
    const auto octet = static_cast<std::uint8_t>(character);
    const auto letter = static_cast<std::uint8_t>((octet | 0x20) - 'a');
    const auto digit = static_cast<std::uint8_t>(octet - '0');
    return static_cast<std::uint8_t>(flag(letter < 26) | flag(digit < 10) | flag(octet == '+') |
                                     flag(octet == '/') | flag(octet == 0));
}

std::size_t count_sextets(std::string_view text)
{
    constexpr std::size_t kBlock = 128;  // few enough to be counted in an octet
    std::size_t sextets = 0;
    for (; text.size() >= kBlock; text.remove_prefix(kBlock)) {
        const char* const block = text.data();
        std::uint8_t count = 0;
        for (std::size_t at = 0; at < kBlock; ++at)
            count = static_cast<std::uint8_t>(count + is_sextet(block[at]));
        sextets += count;
    }
    for (const char octet : text)
        sextets += is_sextet(octet);
    return sextets;
}

std::size_t cut_base64(std::string_view body, std::size_t limit)
{
    std::size_t cut = limit;
    for (std::size_t over = count_sextets(body.substr(0, limit)) % 4; over > 0;)
        if (is_sextet(body[--cut]) != 0) --over;
    // Nothing but what the decoder skips, or fewer than four characters of it.
    return cut > 0 ? cut : limit;
}

bool is_line_end(char octet)
{
    return octet == '\r' || octet == '\n';
}

// A line break that the decoder takes whole must not be cut: "=" and one CR or LF, and one more of them.
bool ends_inside_soft_break(std::string_view body, std::size_t cut)
{
    if (body[cut - 1] == '=') return true;
    return cut >= 2 && body[cut - 2] == '=' &&
           (!is_line_end(body[cut - 1]) || (cut < body.size() && is_line_end(body[cut])));
}

// What the decoder takes whole where a text begins with "=".
std::size_t escape_step(std::string_view text)
{
    if (text.size() > 1 && is_line_end(text[1])) return text.size() > 2 && is_line_end(text[2]) ? 3 : 2;
    return std::min<std::size_t>(text.size(), 3);
}

// Behind the last thing that the decoder takes whole and that fits, not inside CR LF. The body, which is longer, begins
// such a thing.
std::size_t behind_last_step(std::string_view body, std::size_t limit)
{
    std::size_t last = 0;
    for (std::size_t at = 0; at <= limit; at += body[at] == '=' ? escape_step(body.substr(at)) : 1) {
        const bool in_line_end = at > 0 && body[at - 1] == '\r' && body[at] == '\n';
        if (!in_line_end) last = at;
    }
    return last > 0 ? last : limit;
}

std::size_t cut_quoted_printable(std::string_view body, std::size_t limit)
{
    const std::size_t line_end = body.substr(0, limit).rfind('\n');
    if (line_end != std::string_view::npos &&
        line_end + 1 >= (limit > kWholeLines ? kWholeLines : limit / 2) &&
        !ends_inside_soft_break(body, line_end + 1)) {
        return line_end + 1;
    }
    std::size_t cut = limit;
    while (cut > 1 && (ends_inside_soft_break(body, cut) || body[cut - 1] == '\r'))
        --cut;
    return cut > 1 ? cut : behind_last_step(body, limit);
}

bool is_continuation(char octet)
{
    return (static_cast<unsigned char>(octet) & 0xC0) == 0x80;
}

// In front of the character of UTF-8 that `cut` lies in; where there is none of it, `cut`.
std::size_t cut_utf8(std::string_view text, std::size_t cut)
{
    std::size_t begin = cut;
    for (int step = 0; step < 3 && begin > 0 && is_continuation(text[begin]); ++step)
        --begin;
    const auto lead = static_cast<unsigned char>(text[begin]);
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
    return begin + length > cut && begin > 0 ? begin : cut;
}

std::size_t cut_shift_jis(std::string_view text, std::size_t limit)
{
    std::size_t at = 0;
    while (at < limit) {
        const auto octet = static_cast<unsigned char>(text[at]);
        const bool lead = (octet >= 0x81 && octet <= 0x9F) || (octet >= 0xE0 && octet <= 0xFC);
        const bool pair = lead && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) >= 0x40;
        const std::size_t next = at + (pair ? 2u : 1u);
        if (next > limit) break;
        at = next;
    }
    return at > 0 ? at : limit;
}

// In front of the escape sequence that `cut` lies in.
std::size_t cut_escape(std::string_view text, std::size_t cut)
{
    for (std::size_t back = 1; back <= 5 && back <= cut; ++back) {
        if (text[cut - back] == kEscape && escape_length(text.substr(cut - back)) > back) return cut - back;
    }
    return cut;
}

bool is_jis(std::int32_t char_set)
{
    return char_set == 5 || char_set == 6;
}

bool is_shift_jis(std::int32_t char_set)
{
    return char_set >= 7 && char_set <= 9;
}

// How many octets of quoted-printable text go on as they are: up to the end of their line, or to what is
// encoded. A dot behind the first of them stands inside a line.
std::size_t plain_run(std::string_view text)
{
    std::size_t end = 0;
    while (end < text.size() && text[end] != '=') {
        if (text[end++] == '\n') break;
    }
    return end;
}

}  // namespace

std::size_t escape_length(std::string_view text)
{
    if (text.substr(0, 3) == "\x1B&@") return text.substr(3, 3) == "\x1B$B" ? 6 : 3;
    if (text.substr(0, 3) == "\x1B$(") return 4;
    return 3;
}

std::size_t character_cut(std::string_view text, std::size_t limit)
{
    if (limit == 0) return 0;
    return cut_escape(text, cut_utf8(text, limit));
}

// A piece in single-octet mode at both ends, where the text returns to it at all.
std::size_t PieceCutter::cut_jis(std::string_view body, std::size_t limit)
{
    std::size_t line = 0;       // behind the last line that ends in single-octet mode
    std::size_t single = 0;     // behind the last octet in US-ASCII
    std::size_t character = 0;  // behind the last character
    bool ascii = !double_octet_;
    bool wide = double_octet_;
    bool wide_at_character = wide;
    for (std::size_t at = 0; at < limit;) {
        std::size_t next = at + 1;
        if (body[at] == kEscape) {
            next = at + std::min(escape_length(body.substr(at)), body.size() - at);
            const std::string_view sequence = body.substr(at, next - at);
            if (sequence.substr(0, 3) != "\x1B&@") {
                ascii = sequence == "\x1B(B";
                wide = sequence.size() >= 2 && sequence[1] == '$';
            } else if (sequence.size() == 6) {
                ascii = false;
                wide = true;
            }
        } else if (is_line_end(body[at])) {
            ascii = true;
            wide = false;
        } else if (wide && at + 1 < body.size() && !is_line_end(body[at + 1]) && body[at + 1] != kEscape) {
            next = at + 2;
        }
        if (next > limit) break;
        character = next;
        wide_at_character = wide;
        const bool in_line_end = body[next - 1] == '\r' && next < body.size() && body[next] == '\n';
        if (ascii && !in_line_end) single = next;
        if (ascii && body[next - 1] == '\n') line = next;
        at = next;
    }
    double_octet_ = false;
    if (line >= kWholeLines) return line;
    if (single > 0) return single;
    double_octet_ = wide_at_character;
    return character > 0 ? character : limit;
}

std::size_t PieceCutter::cut_text(std::string_view body, std::size_t limit)
{
    const std::string_view front = body.substr(0, limit);
    const bool jis = is_jis(char_set_) || (!is_shift_jis(char_set_) && front.find(kEscape) != front.npos);
    if (jis || double_octet_) return cut_jis(body, limit);
    const std::size_t line_end = front.rfind('\n');
    if (line_end != front.npos && line_end + 1 >= kWholeLines) return line_end + 1;
    if (is_shift_jis(char_set_)) return cut_shift_jis(body, limit);
    const std::size_t cut = cut_utf8(body, limit);
    return cut > 1 && body[cut - 1] == '\r' ? cut - 1 : cut;
}

std::size_t PieceCutter::cut(std::string_view body, std::size_t limit, std::string& piece)
{
    std::size_t count = limit;
    switch (coding_) {
    case Coding::base64:
        count = cut_base64(body, limit);
        break;
    case Coding::quoted_printable:
        // Dots that are added make a piece longer than its text: then less of it is taken.
        for (std::size_t wanted = limit;;) {
            count = cut_quoted_printable(body, wanted);
            bool at_line_start = at_line_start_;
            piece = for_decoder(body.substr(0, count), lf_lines_, at_line_start);
            if (piece.size() <= limit || wanted == 1) {
                at_line_start_ = at_line_start;
                return count;
            }
            wanted = std::min(wanted - 1, limit - std::min(piece.size() - limit, limit / 2));
        }
    case Coding::text:
        count = cut_text(body, limit);
        break;
    case Coding::octets:
        if (count > 1 && body[count - 1] == '\r') --count;
        break;
    }
    piece.assign(body.data(), count);
    return count;
}

bool PieceCutter::take_rest(std::string_view body, std::size_t limit, std::string& piece)
{
    if (body.size() > limit) return false;
    if (coding_ != Coding::quoted_printable) {
        piece.assign(body.data(), body.size());
        return true;
    }
    bool at_line_start = at_line_start_;
    piece = for_decoder(body, lf_lines_, at_line_start);
    return piece.size() <= limit;
}

std::string for_decoder(std::string_view text, bool lf_lines, bool& at_line_start)
{
    std::string out;
    out.reserve(text.size() + 16);
    bool decoder_at_start = true;
    for (std::size_t at = 0; at < text.size();) {
        const char octet = text[at];
        std::size_t count = 1;
        if (octet == '.') {
            const bool two = at + 1 < text.size() && text[at + 1] == '.';
            if (at_line_start && !(decoder_at_start && two)) {
                ++at;  // the server's dot, which nobody else takes away
                at_line_start = false;
                continue;
            }
            if (at_line_start) {
                count = 2;  // the server's, and the text's behind it
            } else if (decoder_at_start && two) {
                out += '.';
            }
            decoder_at_start = false;
        } else if (octet == '=') {
            count = escape_step(text.substr(at));
        } else {
            count = plain_run(text.substr(at));
            decoder_at_start = text[at + count - 1] == '\n';
        }
        out.append(text.data() + at, count);
        at += count;
        at_line_start = text[at - 1] == '\n' && (lf_lines || (at >= 2 && text[at - 2] == '\r'));
    }
    return out;
}

}  // namespace velorin::service
