// A folder that lasts as long as the test, and what stands in folders.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

class TemporaryFolder {
public:
    TemporaryFolder() : TemporaryFolder(std::filesystem::temp_directory_path()) {}
    explicit TemporaryFolder(const std::filesystem::path& where)
    {
        std::string name = (where / "velorin-cli-XXXXXX").string();
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

inline std::string file_octets(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// What stands in a folder, by name; of a folder in it, "name/" and then "name/inner". Hidden ones too. A
// folder that is not there is empty.
using Tree = std::map<std::string, std::string>;

inline Tree tree_of(const std::string& folder)
{
    Tree tree;
    if (!std::filesystem::exists(folder)) return tree;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::string name = std::filesystem::relative(entry.path(), folder).string();
        if (entry.is_directory())
            tree[name + "/"] = "";
        else
            tree[name] = file_octets(entry.path().string());
    }
    return tree;
}
