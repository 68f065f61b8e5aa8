#include "allocations.h"

#include <cstddef>

namespace {

thread_local long counter = 0;

} // namespace

// The program's own malloc comes before the C library's in the search order of every shared library. So Qt's
// allocations pass through here too. free() needs no counterpart, because the blocks are the C library's own.
extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the C library's names for its own
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

// NOLINTEND(bugprone-reserved-identifier)

__attribute__((visibility("default"))) void* malloc(std::size_t size)
{
    ++counter;
    return __libc_malloc(size);
}

__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size)
{
    ++counter;
    return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size)
{
    ++counter;
    return __libc_realloc(block, size);
}
}

namespace allocations {

long count()
{
    return counter;
}

} // namespace allocations
