// Branches on uninitialised memory. MemorySanitizer must report it.
#include <cstdio>
#include <memory>

int main() {
    const std::unique_ptr<volatile int[]> numbers(new volatile int[4]);
    if (numbers[2] == 1)
        std::puts("one");
}
