#ifndef VIRTUALTABLE_H
#define VIRTUALTABLE_H

#include <QObject>

#include <cstddef>
#include <cstring>
#include <vector>

/// Where virtual functions stand in their class's table: services that were built against an earlier library call them
/// by place.
namespace virtualtable {

/// In bytes from wherever the compiler begins to count: only the difference of two says something.
template <typename Function>
std::ptrdiff_t place(Function function)
{
    std::ptrdiff_t place = 0;
    std::memcpy(&place, &function, sizeof place);
    return place;
}

struct LastOfQObject : public QObject
{
    static std::ptrdiff_t place() { return virtualtable::place(&LastOfQObject::disconnectNotify); }
};

/// Whether the functions stand one after the other, right behind those of QObject.
template <typename... Functions>
bool followQObject(Functions... functions)
{
    std::ptrdiff_t expected = LastOfQObject::place();
    for (const std::ptrdiff_t actual : std::vector<std::ptrdiff_t>{place(functions)...}) {
        expected += static_cast<std::ptrdiff_t>(sizeof(void*));
        if (actual != expected) {
            return false;
        }
    }
    return true;
}

} // namespace virtualtable

#endif // VIRTUALTABLE_H
