// Reads any bytes as a .npy file. Both readers must give the same array or the same error.
#include "reached.h"

#include <fenlethosts/npy.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace {

/// A file in memory that can be opened by a name.
class MemoryFile {
  public:
    MemoryFile(const std::uint8_t* data, std::size_t size) : descriptor(memfd_create("npy", 0)) {
        if (descriptor < 0 || write(descriptor, data, size) != static_cast<ssize_t>(size))
            std::abort();
    }
    ~MemoryFile() { close(descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

  private:
    int descriptor;
};

/// Whether the view's elements, read as the array's kind, are those of the array.
bool areSame(const Fenlet::ArrayView& view, const Fenlet::NpyArray& array) {
    Fenlet::ArrayField field(view);
    const auto size = static_cast<std::size_t>(elementSize(array.kind));
    for (std::int64_t i = 0; i < view.count(); ++i) {
        unsigned char value[8];
        unsigned char validity = 1;
        Fenlet::FieldRead request;
        request.values = value;
        request.validity = &validity;
        request.kind = array.kind;
        request.indices = &i;
        request.count = 1;
        if (!field.read(request) || validity != 1 ||
            std::memcmp(value, array.bytes.data() + static_cast<std::size_t>(i) * size, size) != 0)
            return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Fenlet;
    const MemoryFile file(data, size);
    NpyArray array;
    std::string error;
    try {
        array = readNpy(file.path());
    } catch (const FileError& refusal) {
        error = refusal.what();
    }
    if (error.find('\n') != std::string::npos)
        std::abort();
    try {
        const NpyFile mapped(file.path());
        const ArrayView view = mapped.view();
        if (!error.empty() || mapped.kind() != array.kind || mapped.shape() != array.shape ||
            view.count() != array.entryCount() || !areSame(view, array))
            std::abort();
        ++Fuzz::reached;
    } catch (const FileError& refusal) {
        if (error != refusal.what())
            std::abort();
    }
    return 0;
}
