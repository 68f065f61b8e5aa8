#ifndef MOCKFILE_H
#define MOCKFILE_H

#include "mockdescription.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace tarvex::mock {

/// The description of stand-ins, as a file holds it.
struct MockFile
{
    QList<ServiceDescription> services; ///< In the order of their names. Not to be used when there are errors.
    QList<FileError> errors;            ///< In the order of their lines.

    /// "FILE:LINE: words" for each error. \a fileName is shown as it is.
    QStringList errorLines(const QString& fileName) const;

    int commandCount() const;
};

/// Reads a description and checks it as a whole.
MockFile mockFileFrom(const QByteArray& text);

/// The same for a file. One that cannot be read is an error without a line.
MockFile readMockFile(const QString& fileName);

} // namespace tarvex::mock

#endif // MOCKFILE_H
