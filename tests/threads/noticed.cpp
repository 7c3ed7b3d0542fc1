// Two threads that write one number, which ThreadSanitizer must notice.
#include <cstdio>
#include <thread>

int main() {
    int number = 0;
    std::thread other([&] { ++number; });
    ++number;
    other.join();
    std::printf("%d\n", number);
}
