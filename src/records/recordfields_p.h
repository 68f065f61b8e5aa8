#ifndef RECORDFIELDS_P_H
#define RECORDFIELDS_P_H

#include <QVariantMap>

namespace tarvex::recordfields {

/// The same as map.value(key).toString(), without a copy of the value.
inline QString text(const QVariantMap& map, QLatin1String key)
{
    const auto found = map.constFind(key);
    return found == map.constEnd() ? QString() : found->toString();
}

} // namespace tarvex::recordfields

#endif // RECORDFIELDS_P_H
