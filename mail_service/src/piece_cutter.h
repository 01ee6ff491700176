#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velorin::service {

// Cuts the body of a part into pieces that each decode by themselves and, joined, are the body.
class PieceCutter {
public:
    enum class Coding { base64, quoted_printable, text, octets };

    //   in      char_set: of the vocabulary; for text that is not transfer-encoded
    //           lf_lines: the server ends its lines in LF alone
    PieceCutter(Coding coding, std::int32_t char_set, bool lf_lines)
        : coding_(coding), char_set_(char_set), lf_lines_(lf_lines)
    {
    }

    // Takes one piece from the front of a body.
    //   in      body: what is left of it, longer than limit. Quoted-printable: with the dots that the server
    //           put in front of lines
    //           limit: octets, at least 16
    //   out     piece: at most limit octets
    //   result  octets of the body that the piece stands for: at least 1
    std::size_t cut(std::string_view body, std::size_t limit, std::string& piece);
    // The same for what fits whole, the end of a body.
    //   result  false when it does not fit: it is to be cut
    bool take_rest(std::string_view body, std::size_t limit, std::string& piece);

    bool keeps_stuffing() const { return coding_ == Coding::quoted_printable; }

private:
    std::size_t cut_text(std::string_view body, std::size_t limit);
    std::size_t cut_jis(std::string_view body, std::size_t limit);

    Coding coding_;
    std::int32_t char_set_;
    bool lf_lines_;
    bool at_line_start_ = true;  // quoted-printable: the next piece begins a line of the server's
    bool double_octet_ = false;  // ISO-2022-JP: the next piece begins in a double-octet mode
};

// Where to cut a text in front of `limit`, which lies inside it: between characters of UTF-8, never inside an
// escape sequence of ISO-2022-JP.
std::size_t character_cut(std::string_view text, std::size_t limit);

// The length of the ISO-2022-JP escape sequence that a text begins with; what is left of it may be shorter.
std::size_t escape_length(std::string_view text);

// A piece of quoted-printable text for the library's decoder, which takes a dot away from two at its line
// starts, and has its own idea of where those are: not behind a soft line break, but at the start of every
// piece and behind escapes that stand there. The server's dots stay where that decoder takes them away, go
// where it does not, and a dot is added where it would take one of the text.
//   in      lf_lines: the server ends its lines in LF alone
//           at_line_start: the text begins a line of the server's
//   out     at_line_start: what follows does
std::string for_decoder(std::string_view text, bool lf_lines, bool& at_line_start);

}  // namespace velorin::service
