// Runs a target without libFuzzer: each file of the folders named, whole and every beginning of it, or files by
// themselves. What a fuzzer found is replayed with it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* octets, std::size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* count, char*** arguments);

namespace {

constexpr std::size_t kBeginnings = 300;  // of one file at most, evenly spread over its length

std::vector<std::uint8_t> content_of(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// In a block of exactly the length, where a sanitizer sees the octet behind it.
void run(const std::uint8_t* octets, std::size_t size)
{
    const std::vector<std::uint8_t> copy(octets, octets + size);
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

void run_file(const std::filesystem::path& file)
{
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);  // the last line names the file that ended the program
    const std::vector<std::uint8_t> content = content_of(file);
    const std::size_t step = content.size() / kBeginnings + 1;
    for (std::size_t size = 0; size < content.size(); size += step)
        run(content.data(), size);
    run(content.data(), content.size());
}

std::vector<std::filesystem::path> files_of(const std::filesystem::path& path)
{
    if (!std::filesystem::is_directory(path)) return {path};
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

int main(int count, char** arguments)
{
    if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&count, &arguments);
    std::size_t replayed = 0;
    for (int i = 1; i < count; ++i) {
        for (const std::filesystem::path& file : files_of(arguments[i])) {
            run_file(file);
            ++replayed;
        }
    }
    std::printf("%zu files\n", replayed);
    return replayed > 0 ? 0 : 1;
}
