#include "mime_header.h"

#include <algorithm>

#include "CntsMLUTLMailType.h"

#include "character_walk.h"
#include "header_text.h"

namespace velorin::service {
namespace {

using Type = CntsMLUTLMailType;

constexpr std::size_t kMaxBoundary = 200;  // octets; RFC 2046 has 70
constexpr std::size_t kMaxPieces = 1000;
constexpr std::uint32_t kMaxPieceNumber = 1000000;

bool is_blank(char octet)
{
    return octet == ' ' || octet == '\t';
}

int hex_value(char digit)
{
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

std::string without_percents(std::string_view text)
{
    std::string out;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '%' && at + 2 < text.size() && hex_value(text[at + 1]) >= 0 &&
            hex_value(text[at + 2]) >= 0) {
            out += static_cast<char>(hex_value(text[at + 1]) * 16 + hex_value(text[at + 2]));
            at += 2;
        } else {
            out += text[at];
        }
    }
    return out;
}

// A quoted text that begins at `at`. A backslash that escapes neither a quote nor itself stays: it is the
// separator of somebody's path.
std::string take_quoted(std::string_view text, std::size_t& at)
{
    std::string out;
    CharacterWalk walk(text, at + 1);
    for (; !walk.over() && walk.octet() != '"'; walk.step()) {
        const std::size_t next = walk.at() + 1;
        if (walk.octet() == '\\' && next < text.size() && (text[next] == '"' || text[next] == '\\'))
            walk.step();
        out += walk.character();
    }
    at = walk.at();
    if (at < text.size()) ++at;
    return out;
}

// Behind blanks and comments (RFC 5322, 3.2.2).
std::size_t behind_comments(std::string_view text, std::size_t at)
{
    std::size_t comments = 0;
    CharacterWalk walk(text, at);
    for (; !walk.over(); walk.step()) {
        const char octet = walk.octet();
        if (octet == '(')
            ++comments;
        else if (octet == ')' && comments > 0)
            --comments;
        else if (octet == '\\' && comments > 0)
            walk.step();
        else if (comments == 0 && !is_blank(octet))
            break;
    }
    return std::min(walk.at(), text.size());
}

// What a value says before its parameters: the first word, or two with a slash between them, without the blanks and
// comments that may stand around each (RFC 2045, 5.1).
std::string leading_token(std::string_view text)
{
    std::string out;
    for (std::size_t at = behind_comments(text, 0); at < text.size(); at = behind_comments(text, at)) {
        const bool goes_on = out.empty() || out.back() == '/' || text[at] == '/';
        if (!goes_on) break;
        const std::size_t end = std::min(text.find_first_of(" \t(", at), text.size());
        out += text.substr(at, end - at);
        at = end;
    }
    return out;
}

// RFC 2045, 5.2: a type that is none is text/plain.
bool is_type(const std::string& token)
{
    const std::size_t slash = token.find('/');
    return slash != token.npos && slash > 0;
}

// charset'language'octets
struct Extended {
    std::string_view charset;
    std::string_view rest;
};

Extended split_extended(std::string_view value)
{
    const std::size_t first = value.find('\'');
    const std::size_t second = first == value.npos ? value.npos : value.find('\'', first + 1);
    if (second == value.npos) return {{}, value};
    return {value.substr(0, first), value.substr(second + 1)};
}

}  // namespace

ParameterValue::ParameterValue(std::string_view value)
{
    std::size_t at = std::min(value.find(';'), value.size());
    token_ = leading_token(value.substr(0, at));
    while (at < value.size() && pieces_.size() < kMaxPieces) {
        at = behind_comments(value, at + 1);  // the semicolon
        const std::size_t end = std::min(value.find_first_of("=;", at), value.size());
        const std::string_view name = trimmed(value.substr(at, end - at));
        at = end;
        if (at == value.size() || value[at] == ';') continue;
        ++at;
        while (at < value.size() && is_blank(value[at]))
            ++at;
        std::string text;
        if (at < value.size() && value[at] == '"') {
            text = take_quoted(value, at);
            at = find_ascii(value, ';', at);
        } else {
            const std::size_t until = find_ascii(value, ';', at);
            text = std::string(trimmed(value.substr(at, until - at)));
            at = until;
        }
        if (!name.empty()) add(name, std::move(text));
    }
}

void ParameterValue::add(std::string_view name, std::string value)
{
    Piece piece;
    if (name.back() == '*') {
        piece.extended = true;
        name.remove_suffix(1);
    }
    const std::size_t star = name.find('*');
    if (star != std::string_view::npos) {
        std::string_view digits = name.substr(star + 1);
        std::uint64_t number = 0;
        if (!take_number(digits, kMaxPieceNumber, number) || !digits.empty()) return;
        piece.numbered = true;
        piece.number = static_cast<std::uint32_t>(number);
        name = name.substr(0, star);
    }
    piece.name = lower_case(name);
    piece.value = std::move(value);
    pieces_.push_back(std::move(piece));
}

std::vector<const ParameterValue::Piece*> ParameterValue::pieces_of(const char* name) const
{
    std::vector<const Piece*> whole, extended, numbered;
    for (const Piece& piece : pieces_) {
        if (piece.name != name) continue;
        (piece.numbered ? numbered : piece.extended ? extended : whole).push_back(&piece);
    }
    if (!extended.empty()) return {extended.front()};
    if (!numbered.empty()) {
        std::stable_sort(numbered.begin(), numbered.end(),
                         [](const Piece* one, const Piece* other) { return one->number < other->number; });
        return numbered;
    }
    if (!whole.empty()) return {whole.front()};
    return {};
}

bool ParameterValue::has(const char* name) const
{
    return std::any_of(pieces_.begin(), pieces_.end(),
                       [&](const Piece& piece) { return piece.name == name; });
}

std::string ParameterValue::text(const char* name) const
{
    std::string out;
    std::string extended;  // neighbours together: an escape may be cut between two
    bool first = true;
    for (const Piece* piece : pieces_of(name)) {
        if (piece->extended) {
            extended += first ? split_extended(piece->value).rest : std::string_view(piece->value);
        } else {
            out += without_percents(extended) + piece->value;
            extended.clear();
        }
        first = false;
    }
    return out + without_percents(extended);
}

std::string ParameterValue::readable(const char* name, bool convert, std::int32_t own_char_set) const
{
    const std::vector<const Piece*> pieces = pieces_of(name);
    std::string out;
    if (!convert) {
        for (const Piece* piece : pieces)
            out += piece->value;
        return raw_text(out);
    }
    const auto own = static_cast<Type::eCharSet>(own_char_set);
    if (pieces.size() == 1 && !pieces.front()->extended) return decoded_text(pieces.front()->value, own);
    const std::string octets = text(name);
    std::string charset;
    if (!pieces.empty() && pieces.front()->extended) {
        charset = std::string(split_extended(pieces.front()->value).charset);
        if (to_utf8(octets, charset, out)) return out;
    } else if (octets.find("=?") != std::string::npos) {
        return decoded_text(octets, own);
    }
    return guessed_utf8(octets, own);
}

PartFacts read_facts(const HeaderBlock& header, bool convert, bool in_digest)
{
    PartFacts facts;
    ParameterValue type("");
    if (const auto value = header.find("content-type")) {
        type = ParameterValue(*value);
        facts.type_text = raw_text(type.token());
        facts.type_value =
            convert ? decoded_text(*value, static_cast<Type::eCharSet>(facts.char_set)) : raw_text(*value);
        const bool known = is_type(type.token());
        if (known) facts.content_type = Type::TestContentType(facts.type_text->c_str());
        if (type.has("charset")) facts.char_set = Type::TestCharSet(raw_text(type.text("charset")).c_str());
        const std::string lower = lower_case(type.token());
        facts.is_text = !known || lower.compare(0, 5, "text/") == 0;
        facts.is_multipart = lower.compare(0, 10, "multipart/") == 0;
        facts.is_digest = lower == "multipart/digest";
        if (facts.is_multipart) {
            std::string boundary = type.text("boundary");
            while (!boundary.empty() && is_blank(boundary.back()))
                boundary.pop_back();
            if (boundary.size() <= kMaxBoundary &&
                boundary.find_first_of(std::string("\r\n\0", 3)) == boundary.npos)
                facts.boundary = boundary;
        }
    } else if (in_digest) {
        facts.type_text = "message/rfc822";
        facts.content_type = Type::TestContentType("message/rfc822");
        facts.is_text = false;
    }
    if (const auto value = header.find("content-transfer-encoding")) {
        facts.encoding_text = raw_text(*value);
        facts.transfer_encoding =
            Type::TestTransferEncoding(raw_text(ParameterValue(*value).token()).c_str());
    }
    ParameterValue disposition("");
    if (const auto value = header.find("content-disposition")) {
        disposition = ParameterValue(*value);
        facts.disposition = Type::TestContentDisposition(raw_text(disposition.token()).c_str());
    }
    if (disposition.has("filename")) {
        facts.file_name = disposition.readable("filename", convert, facts.char_set);
    } else if (type.has("name")) {
        facts.file_name = type.readable("name", convert, facts.char_set);
    }
    if (facts.file_name) {
        facts.file_name = std::string(trimmed(*facts.file_name));
        const std::size_t dot = facts.file_name->rfind('.');
        if (dot != std::string::npos && dot > 0 && dot + 1 < facts.file_name->size())
            facts.extension = facts.file_name->substr(dot + 1);
    }
    if (const auto value = header.find("content-x-ciajwnetfax")) facts.fax_marker = raw_text(*value);
    return facts;
}

}  // namespace velorin::service
