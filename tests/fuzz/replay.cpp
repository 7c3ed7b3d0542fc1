// Runs a fuzzer once over every file of the FOLDERs. Fails if fewer than MINIMUM inputs get past
// every check that can refuse an input:
//
//   replay MINIMUM FOLDER...
//
// Reads the files with C functions: MemorySanitizer does not see that functions of the C++ library
// write to memory.
#include "reached.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Runs the fuzzer on the file; returns false if it cannot be read to the end.
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
        std::printf("usage: replay MINIMUM FOLDER..., where MINIMUM is at least 1\n");
        return 2;
    }
    int files = 0;
    for (int i = 2; i < argumentCount; ++i) {
        DIR* const folder = opendir(arguments[i]);
        if (folder == nullptr) {
            std::printf("replay: error: cannot read %s\n", arguments[i]);
            return 1;
        }
        while (const dirent* const entry = readdir(folder)) {
            if (entry->d_name[0] == '.')
                continue;
            const std::string path = std::string(arguments[i]) + '/' + entry->d_name;
            if (!runOn(path)) {
                std::printf("replay: error: cannot read %s\n", path.c_str());
                return 1;
            }
            ++files;
        }
        closedir(folder);
    }
    std::printf("%d inputs; %zu got to the end, and %zu must\n", files, Fenlet::Fuzz::reached,
                minimum);
    return Fenlet::Fuzz::reached >= minimum ? 0 : 1;
}
