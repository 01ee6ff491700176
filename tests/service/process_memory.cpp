#include "process_memory.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace velorin_test {
namespace {

constexpr std::uint64_t kMostOfARegion = std::uint64_t{1} << 32;  // octets; what sanitizers reserve is larger
constexpr std::size_t kPiece = 1 << 20;
// Octets of a password that are looked for: more than a register holds, since the dynamic linker saves those
// on the stack.
constexpr std::size_t kEnd = 72;
constexpr std::size_t kAround = 24;  // octets told before and behind a place

struct Region {
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
    std::string name;
};

std::string memory_path(pid_t process)
{
    return "/proc/" + std::to_string(process) + "/mem";
}

std::vector<Region> writable_regions(pid_t process)
{
    std::ifstream maps("/proc/" + std::to_string(process) + "/maps");
    std::vector<Region> out;
    for (std::string line; std::getline(maps, line);) {
        std::istringstream words(line);
        Region region;
        char hyphen = '\0';
        std::string rights, offset, device, inode;
        words >> std::hex >> region.begin >> hyphen >> region.end >> rights >> offset >> device >> inode;
        std::getline(words >> std::ws, region.name);
        if (rights.substr(0, 2) == "rw" && region.end - region.begin <= kMostOfARegion) out.push_back(region);
    }
    return out;
}

std::string printable(const std::string& octets)
{
    std::string out = octets;
    std::replace_if(
        out.begin(), out.end(),
        [](char octet) { return std::isprint(static_cast<unsigned char>(octet)) == 0; }, '.');
    return out;
}

void find_in(const std::string& octets, const Region& region, std::uint64_t first,
             const std::vector<std::string>& texts, std::vector<std::string>& places)
{
    for (const std::string& text : texts) {
        for (std::size_t at = octets.find(text); at != std::string::npos; at = octets.find(text, at + 1)) {
            std::ostringstream place;
            const std::size_t before = std::min(at, kAround);
            place << region.name << " at " << std::hex << first + at << " of " << region.begin << "-"
                  << region.end << ": " << printable(octets.substr(at - before, before)) << "*****"
                  << printable(octets.substr(at + text.size(), kAround));
            places.push_back(place.str());
        }
    }
}

std::string in_base64(const std::string& octets)
{
    constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t index = 0; index + 2 < octets.size(); index += 3) {
        const std::uint32_t group =
            static_cast<std::uint32_t>(static_cast<unsigned char>(octets[index])) << 16 |
            static_cast<std::uint32_t>(static_cast<unsigned char>(octets[index + 1])) << 8 |
            static_cast<std::uint32_t>(static_cast<unsigned char>(octets[index + 2]));
        for (int shift = 18; shift >= 0; shift -= 6)
            out += kAlphabet[group >> shift & 0x3F];
    }
    return out;
}

}  // namespace

bool may_look_into(pid_t process)
{
    const int memory = ::open(memory_path(process).c_str(), O_RDONLY | O_CLOEXEC);
    if (memory >= 0) ::close(memory);
    return memory >= 0;
}

std::vector<std::string> places_of(pid_t process, const std::vector<std::string>& texts)
{
    std::vector<std::string> places;
    const int memory = ::open(memory_path(process).c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_GE(memory, 0) << "no right to look into process " << process;
    std::size_t longest = 0;
    for (const std::string& text : texts)
        longest = std::max(longest, text.size());
    std::uint64_t seen = 0;
    for (const Region& region : writable_regions(process)) {
        std::string octets;
        for (std::uint64_t from = region.begin; memory >= 0 && from < region.end;) {
            const std::uint64_t wanted = std::min<std::uint64_t>(kPiece, region.end - from);
            const std::size_t kept = std::min(octets.size(), longest == 0 ? 0 : longest - 1);
            octets.erase(0, octets.size() - kept);
            octets.resize(kept + wanted);
            const ssize_t taken = ::pread64(memory, octets.data() + kept, wanted, static_cast<off64_t>(from));
            if (taken <= 0) break;  // a region that the system keeps to itself
            octets.resize(kept + static_cast<std::size_t>(taken));
            find_in(octets, region, from - kept, texts, places);
            seen += static_cast<std::uint64_t>(taken);
            from += static_cast<std::uint64_t>(taken);
        }
    }
    if (memory >= 0) ::close(memory);
    EXPECT_GT(seen, 0u) << "nothing of process " << process << " could be read";
    return places;
}

std::vector<std::string> forms_of(const std::string& password)
{
    // The heap writes over the beginning of a block that it gets back.
    const std::string end = password.substr(password.size() - std::min(password.size(), kEnd));
    std::vector<std::string> forms = {end};
    // A group of base64 holds three octets: what stands before decides which of them begins a group.
    for (std::size_t skipped = 0; skipped < 3; ++skipped)
        forms.push_back(in_base64(end.substr(skipped)));
    return forms;
}

}  // namespace velorin_test
