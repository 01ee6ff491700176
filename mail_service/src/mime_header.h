#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "header_block.h"

namespace velorin::service {

// A header value with parameters (RFC 2045, 5.1; RFC 2231).
class ParameterValue {
public:
    explicit ParameterValue(std::string_view value);

    // What stands before the parameters, without blanks: "text/plain".
    const std::string& token() const { return token_; }
    bool has(const char* name) const;

    // A parameter as plain text: quotes and escapes taken away, pieces joined; octets of an extended one
    // without their character set.
    //   result  empty when there is none
    std::string text(const char* name) const;
    // A parameter for people: with `convert` in UTF-8, extended ones and encoded words decoded; without it as
    // it came, pieces joined.
    std::string readable(const char* name, bool convert, std::int32_t own_char_set) const;

private:
    struct Piece {
        std::string name;  // lower case, without number and star
        std::uint32_t number = 0;
        bool numbered = false;
        bool extended = false;
        std::string value;
    };
    // The pieces of a parameter in their order: those of its extended form where it has one.
    std::vector<const Piece*> pieces_of(const char* name) const;
    void add(std::string_view name, std::string value);

    std::string token_;
    std::vector<Piece> pieces_;
};

// What a header says about the body behind it. The numbers are those of the vocabulary.
struct PartFacts {
    std::int32_t content_type = 0;  // text/plain where the header says nothing (RFC 2045, 5.2)
    std::int32_t transfer_encoding = 5;
    std::int32_t disposition = 3;
    std::int32_t char_set = 12;
    std::optional<std::string> type_text;   // "text/plain"
    std::optional<std::string> type_value;  // the whole Content-Type
    std::optional<std::string> encoding_text;
    std::optional<std::string> file_name;
    std::optional<std::string> extension;
    std::optional<std::string> fax_marker;
    bool is_text = true;
    bool is_multipart = false;
    bool is_digest = false;
    std::string boundary;  // empty: none that can be used
};

// Reads the facts.
//   in      convert: texts for people in UTF-8
//           in_digest: the part of a multipart/digest, where a type that is not given is message/rfc822
PartFacts read_facts(const HeaderBlock& header, bool convert, bool in_digest);

}  // namespace velorin::service
