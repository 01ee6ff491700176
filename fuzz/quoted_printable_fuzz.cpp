// Quoted-printable: what others wrote, decoded, and any text there and back.
//   input   the allocation that fails (0: none), the line length and 2, the octets
#include <cstring>
#include <string>

#include "CntsMLUTLMimeUtility.h"
#include "fuzz_input.h"
#include "fuzz_result.h"

namespace {

using velorin::CntsMLUTLMimeUtility;
using namespace velorin_fuzz;

bool is_line_end(char c)
{
    return c == '\r' || c == '\n';
}

int hex_value(char c)
{
    const char* const digits = "0123456789ABCDEFabcdef";
    const char* const found = c != '\0' ? std::strchr(digits, c) : nullptr;
    if (found == nullptr) return -1;
    return static_cast<int>(found - digits < 16 ? found - digits : found - digits - 6);
}

// Octet by octet, as the rules are told.
class Reader {
public:
    explicit Reader(const std::string& text) : text_(text) {}

    // Where a line begins that nothing before it touches.
    std::size_t line_start() const { return line_start_; }

    std::string read()
    {
        while (at_ < text_.size()) {
            if (text_[at_] == '=')
                read_escape();
            else
                read_plain();
        }
        return octets_;
    }

private:
    void read_escape()
    {
        if (at_ + 1 < text_.size() && is_line_end(text_[at_ + 1])) {
            at_ += 2;
            if (at_ < text_.size() && is_line_end(text_[at_])) ++at_;
            return;
        }
        if (at_ + 2 < text_.size()) {
            const int high = hex_value(text_[at_ + 1]);
            const int low = hex_value(text_[at_ + 2]);
            if (high >= 0 && low >= 0) octets_ += static_cast<char>(high * 16 + low);
        }
        at_ += 3;
    }
    void read_plain()
    {
        if (text_[at_] == '.' && begins_line_ && at_ + 1 < text_.size() && text_[at_ + 1] == '.') ++at_;
        octets_ += text_[at_];
        begins_line_ = text_[at_] == '\n';
        ++at_;
        if (begins_line_) line_start_ = at_;
    }

    const std::string& text_;
    std::string octets_;
    std::size_t at_ = 0;
    std::size_t line_start_ = 0;
    bool begins_line_ = true;
};

std::string read(const std::string& text)
{
    return Reader(text).read();
}

// What the library decodes; without memory, what it ought to have.
std::string decoded(const std::string& text, unsigned failing)
{
    const Platform platform(failing);
    const Exact in(text);
    const std::optional<std::string> octets = result_of<void>([&](void*& out, long& length) {
        return CntsMLUTLMimeUtility::FromQP(in.data(), in.length(), out, length);
    });
    require(octets.has_value() != platform.has_failed(), "only memory stops the decoder");
    require(platform.lines() == (octets ? 0u : 1u), "a failure is traced once");
    return octets ? *octets : read(text);
}

struct Encoded {
    std::string text;
    long columns = 0;  // their running sum
};

Encoded written(const std::string& text, int line)
{
    Encoded encoded;
    long column = 0;
    for (const char c : text) {
        if (column >= line) {
            encoded.text += "=\r\n";
            column = 0;
        }
        const unsigned char octet = static_cast<unsigned char>(c);
        if (octet > 32 && octet < 127 && c != '=') {
            encoded.text += c;
            ++column;
        } else {
            const char* const digits = "0123456789ABCDEF";
            encoded.text += {'=', digits[octet / 16], digits[octet % 16]};
            column += 3;
        }
        encoded.columns += column;
    }
    encoded.text += "=\r\n";
    return encoded;
}

void encode_and_decode(const std::string& octets, int line, unsigned failing)
{
    std::string text;
    const ExactText in(octets);
    {
        const Platform platform(failing);
        char* out = stale();
        long length = LONG_MIN;
        const int result = CntsMLUTLMimeUtility::ToQB(in.data(), in.length(), out, length, line);
        require((result == 1) == (out != nullptr), "a result comes with a block, a failure without");
        require((result == 0) == platform.has_failed(), "only memory stops the encoder");
        require(result == 1 || length == 0, "without a block there is no length");
        require(platform.lines() == (result == 1 ? 0u : 1u), "a failure is traced once");
        if (result == 0) return;
        const Block block(out, static_cast<long>(std::strlen(out)));
        text = block.data();
        const Encoded expected = written(std::string(in.view()), line);
        require(text == expected.text, "what is encoded is the text");
        require(length == expected.columns, "the length is the sum of the columns");
    }
    // A doubled dot in front is one of SMTP's, as far as the decoder knows.
    if (in.view().find("..") == std::string_view::npos)
        require(decoded(text, 0) == in.view(), "decode of encode is the identity");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned failing = input.below(4);
    const int line = static_cast<int>(input.octet()) - 2;
    const std::string text = input.rest();

    Reader reader(text);
    const std::string expected = reader.read();
    require(decoded(text, failing) == expected, "what is decoded is what the rules tell");
    const std::size_t cut = reader.line_start();
    require(decoded(text.substr(0, cut), 0) + decoded(text.substr(cut), 0) == expected,
            "a cut at a line start changes nothing");
    encode_and_decode(text, line, failing);
    return 0;
}
