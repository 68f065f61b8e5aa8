#ifndef VALUES_H
#define VALUES_H

#include <QVariant>

/// Clients send JSON, in which a value may be of any type. These functions look at the type, because QVariant would
/// convert the value.
namespace tarvex::devbus {

inline bool isText(const QVariant& value)
{
    return value.userType() == QMetaType::QString;
}

/// A text that can name a client.
inline bool isName(const QVariant& value)
{
    return isText(value) && !value.toString().isEmpty();
}

} // namespace tarvex::devbus

#endif // VALUES_H
