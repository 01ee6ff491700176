#include "mime_reader.h"

#include <utility>

namespace velorin::service {
namespace {

// More text than this before the first boundary line is a body, not a hint to old mail programs.
constexpr std::size_t kMaxPreamble = 64u << 10;

// The size of a listing is what its server makes of RFC 1939: where line ends count as one octet, and the dots
// in front of lines not at all, up to twice as much comes. Where it is an estimate, or none, there is this.
constexpr std::uint64_t kBeyondSize = 64u << 20;

constexpr std::string_view kCrLf = "\r\n";
constexpr std::string_view kLf = "\n";

std::string_view line_end_of(std::string_view line)
{
    const bool cr = line.size() >= 2 && line[line.size() - 2] == '\r';
    return cr ? kCrLf : kLf;
}

// A CR, too: of a mail whose line ends somebody wrote as CR CR LF.
bool is_padding(std::string_view text)
{
    return text.find_first_not_of(" \t\r") == std::string_view::npos;
}

}  // namespace

MimeReader::MimeReader(Pop3Dialogue& dialogue, std::uint32_t size) : dialogue_(dialogue)
{
    dialogue_.begin_lines(2 * std::uint64_t{size} + kBeyondSize);
}

// "--", a boundary, perhaps "--", padding (RFC 2046, 5.1.1). The innermost multipart goes first.
bool MimeReader::is_boundary()
{
    if (levels_.empty() || parts_ >= kMaxParts || !slice_.starts || !slice_.ends) return false;
    std::string_view line = slice_.text;
    if (line.substr(0, 2) != "--") return false;
    line.remove_suffix(line_end_of(line).size());
    line.remove_prefix(2);
    for (std::size_t level = levels_.size(); level-- > 0;) {
        const std::string& boundary = levels_[level].boundary;
        if (line.substr(0, boundary.size()) != boundary) continue;
        const std::string_view rest = line.substr(boundary.size());
        const bool closing = rest.substr(0, 2) == "--";
        if (!is_padding(closing ? rest.substr(2) : rest)) continue;
        boundary_ = {level, closing};
        return true;
    }
    return false;
}

// Looks at the next slice without taking it.
std::uint32_t MimeReader::look(Event& event)
{
    if (!has_slice_) {
        if (const std::uint32_t code = dialogue_.next(slice_)) return code;
        if (dialogue_.over()) {
            event = Event::over;
            return 0;
        }
        has_slice_ = true;
    }
    event = is_boundary() ? Event::boundary : Event::text;
    return 0;
}

// Takes one slice of text, or meets what ends the text.
std::uint32_t MimeReader::pull(Event& event, std::string* octets, bool stuffed)
{
    if (const std::uint32_t code = look(event)) return code;
    if (event == Event::boundary) {
        line_end_ = {};  // the boundary's
        return 0;
    }
    if (octets != nullptr) *octets += line_end_;
    line_end_ = {};
    if (event == Event::over) return 0;
    has_slice_ = false;
    std::string_view text = slice_.text;
    if (slice_.ends && !levels_.empty()) {
        line_end_ = line_end_of(text);
        text.remove_suffix(line_end_.size());
    }
    if (octets != nullptr) {
        if (stuffed && slice_.stuffed) *octets += '.';
        *octets += text;
    }
    return 0;
}

std::uint32_t MimeReader::read_block(HeaderBlock& header)
{
    line_end_ = {};
    for (;;) {
        Event event = Event::none;
        if (const std::uint32_t code = look(event)) return code;
        if (event != Event::text) return 0;
        const HeaderBlock::Taken taken = header.feed(slice_);
        if (taken == HeaderBlock::Taken::not_header) return 0;
        has_slice_ = false;
        if (taken == HeaderBlock::Taken::blank_line) return 0;
    }
}

std::uint32_t MimeReader::read_header(HeaderBlock& header)
{
    return read_block(header);
}

void MimeReader::enter(const PartFacts& facts)
{
    body_over_ = false;
    boundary_detected_ = false;
    const bool multipart =
        facts.is_multipart && !facts.boundary.empty() && levels_.size() < kMaxDepth && parts_ < kMaxParts;
    place_ = multipart ? Place::preamble : Place::body;
    if (multipart) levels_.push_back({facts.boundary, facts.is_digest});
}

// Passes over what stands before the first boundary line of a multipart.
//   out     implied: there is none that begins a part: that text is the part
std::uint32_t MimeReader::read_preamble(bool& implied)
{
    preamble_.clear();
    line_end_ = {};
    const std::size_t own = levels_.size() - 1;
    for (;;) {
        Event event = Event::none;
        if (const std::uint32_t code = pull(event, &preamble_, false)) return code;
        const bool begins_part = event == Event::boundary && boundary_.level == own && !boundary_.closing;
        if (begins_part) {
            has_slice_ = false;
            preamble_.clear();
            implied = false;
            place_ = Place::part_header;
            return 0;
        }
        if (event != Event::text || preamble_.size() > kMaxPreamble) {
            implied = true;
            place_ = Place::body;
            return 0;
        }
    }
}

std::uint32_t MimeReader::next_part(HeaderBlock& header, bool& implied)
{
    implied = false;
    if (place_ == Place::body) {
        if (const std::uint32_t code = skip_part()) return code;
    }
    if (place_ == Place::end) return 0;
    if (place_ == Place::preamble) {
        if (const std::uint32_t code = read_preamble(implied)) return code;
    }
    body_over_ = false;
    boundary_detected_ = false;
    ++parts_;
    return implied ? 0 : read_block(header);
}

// Takes at one stroke what needs no look at each line: those without a hyphen in front are no boundary lines.
void MimeReader::add_plain_lines(std::string& octets, std::size_t wanted)
{
    if (has_slice_) return;
    std::string_view lines = dialogue_.take_plain_lines(wanted - octets.size());
    if (lines.empty()) return;
    octets += line_end_;
    line_end_ = {};
    if (!levels_.empty()) {
        line_end_ = kCrLf;
        lines.remove_suffix(kCrLf.size());
    }
    octets += lines;
}

std::uint32_t MimeReader::read_body(std::string& octets, std::size_t wanted, bool stuffed)
{
    if (!preamble_.empty()) {
        octets += preamble_;
        preamble_.clear();
    }
    while (!body_over_ && octets.size() <= wanted) {
        add_plain_lines(octets, wanted);
        if (octets.size() > wanted) break;
        Event event = Event::none;
        if (const std::uint32_t code = pull(event, &octets, stuffed)) return code;
        if (event != Event::text) body_over_ = true;
    }
    return 0;
}

std::uint32_t MimeReader::finish_part()
{
    preamble_.clear();
    boundary_detected_ = false;
    for (;;) {
        Event event = Event::none;
        if (const std::uint32_t code = pull(event, nullptr, false)) return code;
        if (event == Event::text) continue;  // behind a closing boundary
        if (event == Event::over) {
            place_ = Place::end;
            levels_.clear();
            return 0;
        }
        has_slice_ = false;
        boundary_detected_ = true;
        levels_.resize(boundary_.level + 1);
        if (!boundary_.closing) {
            place_ = Place::part_header;
            return 0;
        }
        levels_.pop_back();
        if (levels_.empty()) {
            place_ = Place::end;
            return dialogue_.drain();
        }
    }
}

std::uint32_t MimeReader::skip_part()
{
    // A multipart inside another goes whole.
    if (place_ == Place::preamble && levels_.size() > 1) levels_.pop_back();
    body_over_ = true;
    return finish_part();
}

std::uint32_t MimeReader::skip_mail()
{
    has_slice_ = false;
    place_ = Place::end;
    levels_.clear();
    boundary_detected_ = false;
    return dialogue_.drain();
}

}  // namespace velorin::service
