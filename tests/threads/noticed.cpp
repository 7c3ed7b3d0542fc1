// Two threads write to the same variable. ThreadSanitizer must report it.
#include <cstdio>
#include <thread>

int main() {
    int number = 0;
    std::thread other([&] { ++number; });
    ++number;
    other.join();
    std::printf("%d\n", number);
}
