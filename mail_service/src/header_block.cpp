#include "header_block.h"

#include <algorithm>

namespace velorin::service {
namespace {

constexpr const char* kKept[] = {
    "to",
    "from",
    "cc",
    "subject",
    "date",
    "message-id",
    "reply-to",
    "in-reply-to",
    "references",
    "return-path",
    "content-type",
    "content-transfer-encoding",
    "content-disposition",
    "content-x-ciajwnetfax",
    "disposition-notification-to",
};

char lower(char octet)
{
    return octet >= 'A' && octet <= 'Z' ? static_cast<char>(octet - 'A' + 'a') : octet;
}

bool is_blank(char octet)
{
    return octet == ' ' || octet == '\t';
}

// Somebody's line ends are CR CR LF.
std::string_view without_line_end(std::string_view line)
{
    if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
    while (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line;
}

bool begins(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

// The name of a header line, which its colon follows, perhaps behind blanks (RFC 5322, 4.5).
//   result  empty when the line is no header line
std::string_view name_of(std::string_view line, std::size_t& value_at)
{
    std::size_t end = 0;
    while (end < line.size() && line[end] > 0x20 && line[end] < 0x7F && line[end] != ':')
        ++end;
    std::size_t colon = end;
    while (colon < line.size() && is_blank(line[colon]))
        ++colon;
    if (colon == line.size() || line[colon] != ':') return {};
    value_at = colon + 1;
    return line.substr(0, end);
}

}  // namespace

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && is_blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && is_blank(text.back()))
        text.remove_suffix(1);
    return text;
}

bool equal_ignoring_case(std::string_view one, std::string_view other)
{
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char left, char right) { return lower(left) == lower(right); });
}

std::string lower_case(std::string_view text)
{
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(), lower);
    return out;
}

HeaderBlock::Taken HeaderBlock::feed(const LineSlice& slice)
{
    if (octets_ > kEndless) return Taken::not_header;
    if (slice.starts) return begin_line(slice);
    append(slice.ends ? without_line_end(slice.text) : slice.text);
    return Taken::yes;
}

HeaderBlock::Taken HeaderBlock::begin_line(const LineSlice& slice)
{
    const std::string_view line = slice.ends ? without_line_end(slice.text) : slice.text;
    const bool first = first_line_;
    if (line.empty()) return Taken::blank_line;
    if (is_blank(line.front())) {
        first_line_ = false;
        append(line);  // to nothing, where no field came before
        return Taken::yes;
    }
    std::size_t value_at = 0;
    const std::string_view name = name_of(line, value_at);
    if (name.empty()) {
        // The envelope line that some mailboxes leave in front.
        const bool envelope = first && (begins(line, "From ") || begins(line, ">From "));
        if (!envelope) return Taken::not_header;
        first_line_ = false;
        open_ = false;
        return Taken::yes;
    }
    first_line_ = false;
    const auto kept = std::find_if(std::begin(kKept), std::end(kKept),
                                   [&](const char* each) { return equal_ignoring_case(each, name); });
    open_ = kept != std::end(kKept) && octets_ < kMaxOctets;
    if (octets_ >= kMaxOctets) cut_ = true;
    if (open_) fields_.emplace_back(*kept, std::string());
    octets_ += value_at;
    append(line.substr(value_at));
    return Taken::yes;
}

void HeaderBlock::append(std::string_view text)
{
    const std::size_t room = kMaxOctets - std::min(octets_, kMaxOctets);
    if (text.size() > room) cut_ = true;
    octets_ += text.size();
    if (open_) fields_.back().second += text.substr(0, room);
}

std::optional<std::string_view> HeaderBlock::find(const char* name) const
{
    for (const auto& field : fields_) {
        if (equal_ignoring_case(field.first, name)) return trimmed(field.second);
    }
    return std::nullopt;
}

bool HeaderBlock::join(const char* name, std::string& value) const
{
    bool found = false;
    value.clear();
    for (const auto& field : fields_) {
        if (!equal_ignoring_case(field.first, name)) continue;
        if (found) value += ", ";
        value += trimmed(field.second);
        found = true;
    }
    return found;
}

}  // namespace velorin::service
