#ifndef FILLEDIN_H
#define FILLEDIN_H

#include <QMap>
#include <QString>
#include <QStringList>

namespace tarvexctl {

/// A template with its placeholders filled in: @NAME@ becomes words["NAME"]. The lines between a line "@EACH_COMMAND@"
/// and a line "@END@" are written once for each command, with its name for @COMMAND@. A placeholder without a word
/// stays.
QString filledIn(const QString& text, QMap<QString, QString> words, const QStringList& commands);

} // namespace tarvexctl

#endif // FILLEDIN_H
