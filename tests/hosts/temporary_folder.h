// A folder for the files of one test. It is removed at the end of the test.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace Fenlet::Hosts {

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "fenletXXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("no temporary folder can be made");
        place = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(place, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// The path of a file in the folder.
    std::string path(const std::string& name = ".") const { return (place / name).string(); }

    /// Writes a file and returns its path.
    std::string write(const std::string& name, const std::string& content) const {
        // Removes the file first: on some file systems it takes long to truncate a file and write
        // it again.
        std::filesystem::remove(place / name);
        std::ofstream file(place / name, std::ios::binary);
        file << content;
        if (!file.flush())
            throw std::runtime_error(name + " cannot be written");
        return path(name);
    }

    /// A file's content. Throws if there is no such file.
    std::string read(const std::string& name) const {
        std::ifstream file(place / name, std::ios::binary);
        if (!file)
            throw std::runtime_error(name + " is not there");
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    /// The sorted names of everything in the folder.
    std::vector<std::string> names() const {
        std::vector<std::string> all;
        for (const auto& entry : std::filesystem::directory_iterator(place))
            all.push_back(entry.path().filename().string());
        std::sort(all.begin(), all.end());
        return all;
    }

  private:
    std::filesystem::path place;
};

} // namespace Fenlet::Hosts
