// A folder that lasts as long as the test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "velorin-cli-XXXXXX").string();
        if (::mkdtemp(&name[0]) == nullptr) throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }

    //   result  the file's path
    std::string write(const std::string& name, const std::string& octets) const
    {
        const std::string file = path_ + "/" + name;
        std::ofstream stream(file, std::ios::binary);
        stream << octets;
        stream.close();
        if (!stream) throw std::runtime_error("cannot write " + file);
        return file;
    }

private:
    std::string path_;
};
