#ifndef VIRTUALTABLE_H
#define VIRTUALTABLE_H

#include <QObject>

#include <cstddef>
#include <cstring>
#include <type_traits>

/// Where virtual functions stand in their class's table: services that were built against an earlier library call them
/// by place.
namespace virtualtable {

constexpr std::ptrdiff_t ONE_PLACE = sizeof(void*);

/// In bytes. The compiler chooses where the count begins, so only the difference of two places has a meaning. The
/// function is of the type Signature, for example QString() const.
template <typename Signature, typename Class>
std::ptrdiff_t place(Signature Class::*function)
{
    std::ptrdiff_t place = 0;
    std::memcpy(&place, &function, sizeof place);
    return place;
}

struct LastOfQObject : public QObject
{
    static std::ptrdiff_t place() { return virtualtable::place(&LastOfQObject::disconnectNotify); }
};

/// A table in which one function follows the two entries of the destructor.
struct Smallest
{
    virtual ~Smallest() = default;

    virtual void first() { }
};

/// The place of a class's first virtual function of its own: behind those of QObject, or behind the destructor.
template <typename Class>
std::ptrdiff_t firstPlace()
{
    if constexpr (std::is_base_of_v<QObject, Class>) {
        return LastOfQObject::place() + ONE_PLACE;
    } else {
        return place(&Smallest::first);
    }
}

/// The place of the first virtual function that a service adds in a derived class.
template <typename Class>
std::ptrdiff_t placeBehind()
{
    struct Derived : public Class
    {
        virtual void added() { }
    };

    return place(&Derived::added);
}

} // namespace virtualtable

#endif // VIRTUALTABLE_H
