#ifndef VALUES_H
#define VALUES_H

#include <QVariant>

/// What clients send is JSON and may be of any type. These look, where QVariant would convert.
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
