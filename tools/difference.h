#ifndef DIFFERENCE_H
#define DIFFERENCE_H

#include <QJsonObject>
#include <QJsonValue>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace tarvexctl {

/// A value that differs between two JSON objects. A value that is missing in one of them is undefined there.
struct Change
{
    QStringList path; ///< The keys that lead to it, from the outside to the inside.
    QJsonValue before;
    QJsonValue after;
};

/// What differs between two objects, in the order of the keys. Objects inside are compared key by key, everything else
/// as a whole.
QList<Change> difference(const QJsonObject& before, const QJsonObject& after);

/// The change for programs: "path", and "before" and "after" where there is such a value.
QVariantMap changeObject(const Change& change);

/// The path for people: the keys with dots in between.
QString pathText(const Change& change);

} // namespace tarvexctl

#endif // DIFFERENCE_H
