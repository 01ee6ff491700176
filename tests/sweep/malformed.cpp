#include "malformed.h"

#include <cstddef>
#include <optional>

#include "ntc_email_esu_pop3.pb.h"
#include "ntc_email_esu_smtp.pb.h"

namespace velorin_test::sweep {

namespace {

constexpr std::size_t kEveryOctet = 48;  // of an answer's beginning and end; between them a sample
constexpr std::size_t kSampleStep = 7;

template <typename Each>
void sample(std::size_t size, Each each)
{
    for (std::size_t at = 0; at < size;) {
        each(at);
        const bool is_inside = at >= kEveryOctet && at + kEveryOctet < size;
        at += is_inside ? kSampleStep : 1;
    }
}

// Tag and length of an answer's member, and an answer code in it.
std::string answer_of_field(int field, int type)
{
    std::string octets = {'\x08', static_cast<char>(type)};
    const int tag = field * 8 + 2;
    if (tag < 128) {
        octets += static_cast<char>(tag);
    } else {
        octets += static_cast<char>((tag & 0x7F) | 0x80);
        octets += static_cast<char>(tag >> 7);
    }
    return octets + std::string("\x02\x08\x07", 3);
}

}  // namespace

std::vector<Malformed> malformed_answers(const std::string& good, const std::string& endpoint,
                                         std::uint32_t buffer_size)
{
    std::vector<Malformed> all;
    const auto add = [&all](const std::string& name, const std::string& octets,
                            std::optional<std::uint32_t> reported = std::nullopt, std::uint32_t status = 0) {
        all.push_back(Malformed{name, Answer{octets, reported, status}});
    };
    sample(good.size(), [&](std::size_t at) { add("cut at " + std::to_string(at), good.substr(0, at)); });
    sample(good.size(), [&](std::size_t at) {
        for (const int flipped : {0x01, 0x80}) {
            std::string octets = good;
            octets[at] = static_cast<char>(static_cast<unsigned char>(octets[at]) ^ flipped);
            add("octet " + std::to_string(at) + " changed", octets);
        }
    });
    const auto length = static_cast<std::uint32_t>(good.size());
    for (const std::uint32_t reported :
         {length + 1, length + 2, buffer_size, buffer_size + 1, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
        add("reported as " + std::to_string(reported), good, reported);
    if (length > 0) add("reported one short", good, length - 1);
    // A field that nobody knows fills the buffer to its last octet, and beyond.
    const std::string tag_of_unknown = "\xFA\x7F";  // field 2047, length-delimited
    for (const std::uint32_t size : {buffer_size, buffer_size + 1, buffer_size + 4096}) {
        const std::size_t filling = size - good.size() - 4;
        std::string octets = good + tag_of_unknown;
        octets += static_cast<char>((filling & 0x7F) | 0x80);
        octets += static_cast<char>(filling >> 7);
        add("filled up to " + std::to_string(size), octets + std::string(filling, '\x5A'));
    }
    const bool is_smtp = endpoint.find("smtp") != std::string::npos;
    for (int method = is_smtp ? 0 : 1; method <= (is_smtp ? 10 : 19); ++method) {
        const int field = is_smtp ? 2 * method + 3 : 2 * method + 1;
        add("answer of method " + std::to_string(method), answer_of_field(field, method));
    }
    add("type alone", std::string("\x08\x03", 2));
    add("unknown type", std::string("\x08\x7F", 2) + good);
    add("twice", good + good);
    add("nothing but 0xFF", std::string(good.size() + 3, '\xFF'));
    add("nothing but NUL", std::string(good.size() + 3, '\0'));
    for (const std::uint32_t status : {1u, 0x1234u, 0xFFFFFFFFu})
        add("unanswered", std::string(), std::nullopt, status);
    return all;
}

}  // namespace velorin_test::sweep
