#include "temporary_folder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace velorin_test {

TemporaryFolder::TemporaryFolder()
    : path((std::filesystem::temp_directory_path() / "loopback_XXXXXX").string())
{
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary folder");
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::string file_content(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

}  // namespace velorin_test
