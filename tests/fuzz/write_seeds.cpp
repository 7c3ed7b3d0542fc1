// Writes the seeds into the folders program_run and kernels of a given folder.
#include "seeds.h"

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>

/// Makes the folder. Returns whether it exists now.
static bool makeFolder(const std::string& path) {
    return mkdir(path.c_str(), 0777) == 0 || errno == EEXIST;
}

static bool write(const std::string& folder, const std::vector<Fenlet::Fuzz::Seed>& seeds) {
    if (!makeFolder(folder))
        return false;
    for (const Fenlet::Fuzz::Seed& seed : seeds) {
        std::FILE* const file = std::fopen((folder + '/' + seed.name).c_str(), "wb");
        if (file == nullptr)
            return false;
        const std::size_t written = std::fwrite(seed.bytes.data(), 1, seed.bytes.size(), file);
        if (std::fclose(file) != 0 || written != seed.bytes.size())
            return false;
    }
    return true;
}

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::printf("usage: write_seeds FOLDER\n");
        return 2;
    }
    const std::string folder = arguments[1];
    if (makeFolder(folder) && write(folder + "/program_run", Fenlet::Fuzz::programSeeds()) &&
        write(folder + "/kernels", Fenlet::Fuzz::kernelSeeds()))
        return 0;
    std::perror(arguments[1]);
    return 1;
}
