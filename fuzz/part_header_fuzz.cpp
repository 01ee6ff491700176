// The header of a part, made of whatever values and texts; and the texts that part headers carry.
//   input   the allocation that fails (0: none), type, encoding, disposition, character set, marker, the file name
#include <algorithm>
#include <string>

#include "CntsMLUTLMailPart.h"
#include "fuzz_input.h"
#include "fuzz_result.h"

namespace {

using velorin::CntsMLUTLMailPart;
using Type = velorin::CntsMLUTLMailType;
using namespace velorin_fuzz;

std::string file_name_of(const CntsMLUTLMailPart& part)
{
    return part.m_cFIleName.GetString() != nullptr ? part.m_cFIleName.GetString() : "";
}

// The lines as the rules tell; nothing for a part without a type.
std::optional<std::string> expected_header(CntsMLUTLMailPart& part)
{
    if (part.m_eContentType == 13 || part.m_eContentType == 14) return std::nullopt;
    const std::string type = Type::GetContentType(part.m_eContentType);
    std::string header = "Content-Type: " + type;
    if (type.compare(0, 4, "text") == 0 && part.m_eCharSet != 11 && part.m_eCharSet != 12)
        header += std::string("; charset=\"") + Type::GetCharSet(part.m_eCharSet) + "\"";
    const std::string disposition = Type::GetContentDisposition(part.m_eContentDisposition);
    const std::string name = file_name_of(part);
    if (part.m_eContentDisposition == 1 && !name.empty()) {
        header += ";\r\n\tname=\"" + name + "\"\r\nContent-Disposition: " + disposition;
        header += ";\r\n\tfilename=\"" + name + "\"";
    } else if (part.m_eContentDisposition != 2 && part.m_eContentDisposition != 3) {
        header += "\r\nContent-Disposition: " + disposition;
    }
    if (part.m_eTransferEncoding != 4 && part.m_eTransferEncoding != 5) {
        header += "\r\nContent-Transfer-Encoding: ";
        header += Type::GetTransferEncoding(part.m_eTransferEncoding);
    }
    if (part.IsIgnoreContentCIAJWNETFAX() != 0) header += "\r\nContent-X-CIAJWNETFAX: IGNORE";
    return header + "\r\n\r\n";
}

void check_header(CntsMLUTLMailPart& part, unsigned failing)
{
    const std::optional<std::string> expected = expected_header(part);
    const Platform platform(failing);
    const std::optional<std::string> header =
        result_of([&](char*& out, long& length) { return part.MakeHeader(out, length); });
    require(header.has_value() == (expected && !platform.has_failed()), "a part with a type has a header");
    require(header.has_value() == (platform.lines() == 0), "a failure is traced, a success is not");
    if (header) require(*header == *expected, "the lines are those that the rules tell");
}

// Lines of 64 octets, unfolded again.
void check_folded(const ExactText& text, unsigned failing)
{
    const Platform platform(failing);
    CntsMLUTLMailPart part;
    char* const folded = part.MakeMultiLine(text.data());
    require((folded != nullptr) == (text.length() > 0 && !platform.has_failed()),
            "a text that is not empty has lines");
    if (folded == nullptr) return;
    std::string rest;
    const std::string lines = folded;
    const Block freed(folded, static_cast<long>(lines.size()));
    for (std::size_t at = 0; at < lines.size(); at += 67) {
        rest += lines.substr(at, 64);
        require(at + 64 >= lines.size() || lines.compare(at + 64, 3, "\r\n\t") == 0,
                "lines are of 64 octets");
    }
    require(rest == text.view(), "folding loses nothing");
}

void check_extension(CntsMLUTLMailPart& part)
{
    const Platform platform;
    const char* const extension = part.GetFileExtension();
    const bool has_name = part.m_cFIleName.GetString() != nullptr;
    require((extension != nullptr) == has_name, "a part with a name has an extension, perhaps an empty one");
    if (!has_name) return;
    const std::string name = file_name_of(part);
    const std::size_t dot = name.rfind('.');
    require(extension == (dot == std::string::npos ? "" : name.substr(dot + 1)),
            "it is what follows the last dot");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size)
{
    Input input(octets, size);
    const unsigned failing = input.below(8);
    CntsMLUTLMailPart part;
    part.m_eContentType = static_cast<Type::eContentType>(static_cast<int>(input.below(17)) - 1);
    part.m_eTransferEncoding = static_cast<Type::eTransferEncoding>(static_cast<int>(input.below(8)) - 1);
    part.m_eContentDisposition = static_cast<Type::eContentDisposition>(static_cast<int>(input.below(6)) - 1);
    part.m_eCharSet = static_cast<Type::eCharSet>(static_cast<int>(input.below(15)) - 1);
    part.SetContentCIAJWNETFAX(static_cast<int>(input.below(2)));
    const ExactText name(input.rest());
    if (name.length() > 0) part.m_cFIleName.CopyString(name.data(), -1);

    check_header(part, failing);
    check_folded(name, failing);
    check_extension(part);
    return 0;
}
