#ifndef MOCKWORDS_H
#define MOCKWORDS_H

#include <QString>
#include <QStringList>

namespace tarvex::mock {

/// What to add to the words about an unknown \a name: the one that was meant, or all that there are.
QString hint(const QString& name, const QStringList& known);

} // namespace tarvex::mock

#endif // MOCKWORDS_H
