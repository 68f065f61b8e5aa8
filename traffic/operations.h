#ifndef OPERATIONS_H
#define OPERATIONS_H

#include <QString>
#include <QStringList>

namespace tarvex::traffic {

/// The names of all operations of the bus.
const QStringList& operations();

/// Whether a frame of this operation hands a message over.
bool isSendMessage(const QString& operation);

/// The words of the bus that an observer needs beside the operations.
namespace commands {
QString saveLog();
QString showLogMessage();
QString updateSettings();
QString stateChanged();
QString error();
} // namespace commands

} // namespace tarvex::traffic

#endif // OPERATIONS_H
