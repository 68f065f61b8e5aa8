#include <QByteArray>

#include <cstdio>
#include <cstring>
#include <limits>

namespace {

int overflowHeap(int count)
{
    // Volatile, so that the compiler forgets the size. Otherwise the other sanitizer would stop the program first.
    char* volatile bytes = new char[16];
    std::memset(bytes, 1, 16);
    const int beyond = bytes[15 + count];
    delete[] bytes;
    return beyond;
}

int leak(int count)
{
    // Volatile, so that the compiler keeps the allocation. The pointer is gone when the function returns.
    char* volatile lost = new char[static_cast<size_t>(count) * 64];
    lost[0] = 1;
    lost = nullptr;
    return 0;
}

int overflowSign(int count)
{
    return std::numeric_limits<int>::max() + count;
}

} // namespace

int main(int argc, char** argv)
{
    // Always 1, but the compiler cannot know it.
    const int count = argc - 1;
    const QByteArray fault(count == 1 ? argv[1] : "");
    int result = 0;
    if (fault == "heap_overflow") {
        result = overflowHeap(count);
    } else if (fault == "leak") {
        result = leak(count);
    } else if (fault == "signed_overflow") {
        result = overflowSign(count);
    } else {
        std::puts("which fault?");
        return 2;
    }
    std::printf("%d: no fault was reported\n", result);
    return 0;
}
