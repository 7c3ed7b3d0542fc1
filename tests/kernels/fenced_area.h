// Memory with a fence: an access beyond it ends the program.
#pragma once

#include <cstddef>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace Fenlet {

/// An area of `size` zero bytes. The memory right after it, or right before it, is protected: an
/// access there ends the test program.
class FencedArea {
  public:
    enum class Fence { After, Before };

    FencedArea(std::size_t size, Fence fence)
        : pageBytes(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
          roomBytes((size + pageBytes - 1) / pageBytes * pageBytes),
          mapping(mmap(nullptr, roomBytes + 2 * pageBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS,
                       -1, 0)) {
        if (mapping == MAP_FAILED)
            throw std::bad_alloc();
        unsigned char* const room = static_cast<unsigned char*>(mapping) + pageBytes;
        if (roomBytes > 0 && mprotect(room, roomBytes, PROT_READ | PROT_WRITE) != 0)
            throw std::bad_alloc();
        start = fence == Fence::Before ? room : room + roomBytes - size;
    }
    ~FencedArea() { munmap(mapping, roomBytes + 2 * pageBytes); }
    FencedArea(const FencedArea&) = delete;
    FencedArea& operator=(const FencedArea&) = delete;

    /// The area's first byte. If the area has no bytes, any access to it ends the test program.
    unsigned char* data() const { return start; }

  private:
    std::size_t pageBytes;
    std::size_t roomBytes;
    void* mapping;
    unsigned char* start;
};

} // namespace Fenlet
