// Texts of a received header: encoded words, address lists, parameters, and how they are cut to fit.
//   input   the character set of the mail, the limit, the name of a character set in a line, the text
#include <algorithm>
#include <string>
#include <string_view>

#include "CntsMLUTLMailType.h"
#include "fuzz_input.h"
#include "fuzz_platform.h"
#include "fuzz_property.h"
#include "header_block.h"
#include "header_text.h"
#include "mime_header.h"

namespace {

using namespace velorin::service;
using namespace velorin_fuzz;
using CharSet = velorin::CntsMLUTLMailType::eCharSet;

void check_line(std::string_view text)
{
    const auto ends_line = [](char octet) { return octet == '\r' || octet == '\n' || octet == '\0'; };
    require(std::none_of(text.begin(), text.end(), ends_line), "a text is one line");
}

bool is_ascii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char octet) {
        return static_cast<unsigned char>(octet) < 0x80 && octet != '\x1B';
    });
}

void check_cut(std::string_view text, std::string_view cut, std::size_t limit)
{
    require(cut.size() <= limit || text.size() <= limit, "what is cut fits");
    require(text.size() > limit || cut == text, "what fits is not cut");
    require(cut.empty() ||
                (cut.data() >= text.data() && cut.data() + cut.size() <= text.data() + text.size()),
            "a cut text is the front of the text");
}

void check_parameters(const std::string& value, CharSet own)
{
    const ParameterValue parameters(value);
    for (const char* const name : {"boundary", "charset", "name", "filename", "x"}) {
        for (const bool convert : {false, true})
            check_line(parameters.readable(name, convert, own));
        require(parameters.has(name) || parameters.text(name).empty(),
                "a parameter that is not there has no text");
    }
}

// A header made of one field: what it says about its body.
void check_facts(const std::string& value, const char* field)
{
    const std::string line = std::string(field) + ": " + raw_text(value) + "\r\n";
    HeaderBlock header;
    LineSlice slice;
    slice.text = line;
    slice.starts = slice.ends = true;
    require(header.feed(slice) == HeaderBlock::Taken::yes, "a field is a line of a header");
    for (const bool convert : {false, true}) {
        const PartFacts facts = read_facts(header, convert, false);
        for (const auto* const text : {&facts.type_text, &facts.type_value, &facts.encoding_text,
                                       &facts.file_name, &facts.extension, &facts.fax_marker})
            if (*text) check_line(**text);
        check_line(facts.boundary);
        require(facts.boundary.size() <= 200, "a boundary is short");
        require(!facts.extension || facts.extension->find('.') == std::string::npos,
                "an extension has no dot");
        require(facts.boundary.empty() || facts.is_multipart, "a boundary is a multipart's");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const auto own = static_cast<CharSet>(input.below(13));
    const std::size_t limit = input.octet();
    const std::string name = input.line();
    const std::string text = input.rest();

    const Platform platform;
    const Exact exact(text);
    const std::string_view view(exact.data(), text.size());
    const std::string raw = raw_text(view);
    require(raw.size() == text.size(), "a raw text is as long as it came");
    const std::string decoded = decoded_text(view, own);
    const std::string addresses = decoded_addresses(view, own);
    for (const std::string& each : {raw, decoded, addresses, guessed_utf8(view, own)})
        check_line(each);
    if (is_ascii(text) && text.find("=?") == std::string::npos) {
        require(decoded == raw, "a plain text stays as it is");
        require(addresses == raw, "plain addresses stay as they are");
    }
    std::string converted;
    if (to_utf8(view, name, converted)) check_line(converted);

    for (const std::string& each : {raw, decoded}) {
        const Exact block(each);
        const std::string_view line(block.data(), each.size());
        check_cut(line, cut_text(line, limit), limit);
        check_cut(line, cut_addresses(line, limit), limit);
    }
    check_parameters(text, own);
    for (const char* const field : {"Content-Type", "Content-Disposition", "Content-Transfer-Encoding"})
        check_facts(text, field);
    return 0;
}
