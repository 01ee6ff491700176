#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "header_block.h"
#include "mime_header.h"
#include "pop3_dialogue.h"

namespace velorin::service {

// Reads one mail from the lines of an answer, once and forward, whatever its size, without recursion.
//
// A mail is one body, or a multipart: then its parts come one after the other, each a body or a multipart
// again, whose parts come next. Broken mails are read as far as they go:
//   - a boundary of an outer multipart ends the inner ones; the end of the mail ends all
//   - a multipart without any boundary line, or with a closing one only, has one part: its text
//   - below 20 levels a multipart is a body; the 1,000th part goes on to the end of the mail
// A mail that goes on far beyond its size is not read for ever: kLimitReached, and the connection is dropped.
// Results are 0 or a return code of the dialogue.
class MimeReader {
public:
    static constexpr std::size_t kMaxDepth = 20;
    static constexpr std::size_t kMaxParts = 1000;

    // Behind the positive reply to RETR or TOP.
    //   in      size: octets, as the server listed it
    MimeReader(Pop3Dialogue& dialogue, std::uint32_t size);

    // The header of the mail; first of all.
    std::uint32_t read_header(HeaderBlock& header);
    // Steps into the body that the facts describe.
    void enter(const PartFacts& facts);

    // The next part's header, from behind the part before or the header of a multipart. Wants has_next().
    //   out     implied: the part has no header of its own; it is the text of a multipart without boundary
    //           lines
    std::uint32_t next_part(HeaderBlock& header, bool& implied);

    // Takes octets of the body under way until more than `wanted` are there or the body is over.
    //   in      stuffed: the dots that the server put in front of lines come, too
    std::uint32_t read_body(std::string& octets, std::size_t wanted, bool stuffed);
    bool body_over() const { return body_over_; }

    // Behind a body that is over: reads on until it is known whether another part follows.
    std::uint32_t finish_part();
    // Over the rest of the body under way, or of a multipart that was just entered; then as finish_part.
    std::uint32_t skip_part();
    // To the end of the mail.
    std::uint32_t skip_mail();

    bool has_next() const { return place_ != Place::end; }  // another part, or what is left of this one
    bool boundary_detected() const { return boundary_detected_; }  // a boundary line ended the last part
    bool in_digest() const { return !levels_.empty() && levels_.back().digest; }
    std::size_t depth() const { return levels_.size(); }
    const std::string& boundary(std::size_t level) const { return levels_[level].boundary; }

private:
    enum class Place { header, body, preamble, part_header, end };
    enum class Event { none, text, boundary, over };

    struct Level {
        std::string boundary;
        bool digest;
    };
    struct Boundary {
        std::size_t level;
        bool closing;
    };

    std::uint32_t look(Event& event);
    std::uint32_t pull(Event& event, std::string* octets, bool stuffed);
    bool is_boundary();
    void add_plain_lines(std::string& octets, std::size_t wanted);
    std::uint32_t read_preamble(bool& implied);
    std::uint32_t read_block(HeaderBlock& header);

    Pop3Dialogue& dialogue_;
    Place place_ = Place::header;
    std::vector<Level> levels_;
    std::size_t parts_ = 0;
    LineSlice slice_;
    bool has_slice_ = false;     // slice_ is looked at, but not taken
    Boundary boundary_ = {};     // the slice's
    std::string_view line_end_;  // of the last line: part of the body only if no boundary line follows
    std::string preamble_;       // of a multipart that has turned out to be a body
    bool body_over_ = false;
    bool boundary_detected_ = false;
};

}  // namespace velorin::service
