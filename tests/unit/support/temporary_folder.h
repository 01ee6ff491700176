// A folder of a test's own, removed with everything in it when the object goes.
#pragma once

#include <string>

namespace velorin_test {

class TemporaryFolder {
public:
    TemporaryFolder();  // throws std::runtime_error
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string path;
};

// The octets of the file; none when it cannot be read.
std::string file_content(const std::string& path);

}  // namespace velorin_test
