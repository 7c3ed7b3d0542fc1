// Runs a fuzzer once over every file of the folders that are named, and fails unless at least so
// many of them come to what the fuzzer is about:
//
//   replay MINIMUM FOLDER...
//
// Reads the files as C does, so that MemorySanitizer, which cannot look into the C++ library, sees
// what is read as written.
#include "reached.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Whether the path is that of a file that can be read.
static bool runOn(const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (file == nullptr)
        return false;
    std::vector<std::uint8_t> bytes(1 << 20);
    const std::size_t size = std::fread(bytes.data(), 1, bytes.size(), file);
    const bool isWhole = std::feof(file) != 0;
    std::fclose(file);
    bytes.resize(size);
    if (isWhole)
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    return isWhole;
}

int main(int argumentCount, char** arguments) {
    const std::size_t minimum = argumentCount > 2 ? std::strtoull(arguments[1], nullptr, 10) : 0;
    if (minimum == 0) {
        std::printf("usage: replay MINIMUM FOLDER..., with a minimum from 1 on\n");
        return 2;
    }
    int files = 0;
    for (int i = 2; i < argumentCount; ++i) {
        DIR* const folder = opendir(arguments[i]);
        if (folder == nullptr) {
            std::printf("cannot read %s\n", arguments[i]);
            return 1;
        }
        while (const dirent* const entry = readdir(folder)) {
            if (entry->d_name[0] == '.')
                continue;
            const std::string path = std::string(arguments[i]) + '/' + entry->d_name;
            if (!runOn(path)) {
                std::printf("cannot read %s\n", path.c_str());
                return 1;
            }
            ++files;
        }
        closedir(folder);
    }
    std::printf("%d inputs, of which %zu came to the end and %zu must\n", files,
                Fenlet::Fuzz::reached, minimum);
    return Fenlet::Fuzz::reached >= minimum ? 0 : 1;
}
