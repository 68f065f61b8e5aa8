#ifndef ALLOCATIONS_H
#define ALLOCATIONS_H

/// Counts what the program takes from the heap: malloc, calloc, realloc and everything built on them, such as operator
/// new and Qt's containers, also inside the shared libraries.
namespace allocations {

/// Allocations of the calling thread since it started.
long count();

/// Allocations that one call of \a step makes.
template <typename Step>
long during(const Step& step)
{
    const long before = count();
    step();
    return count() - before;
}

} // namespace allocations

#endif // ALLOCATIONS_H
