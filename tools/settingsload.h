#ifndef SETTINGSLOAD_H
#define SETTINGSLOAD_H

#include "records/clientsettings.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace tarvexctl {

class Output;

/// Saves the settings records of \a fileName, or of stdin when that is "-", each whole: what the owner had before is
/// replaced. See settingsFrom() for the form. Connects as \a clientName. Throws Failure, before anything is saved when
/// the input is not in order. A record that the bus refuses is told of, and the others are still saved. So they are
/// when stdout does not take what it is told.
void loadSettings(const QString& clientName, const QString& fileName, Output& output);

/// The records in \a text: one JSON object a line, as "--json settings get" writes them; empty lines are skipped.
/// "owner" and "settings" are needed. Without "date" it is the present time, without "description" it is empty, without
/// "mailOwner" it is 1. Throws Failure with WrongUse, and the number of the line.
QList<tarvex::ClientSettings> settingsFrom(const QByteArray& text);

} // namespace tarvexctl

#endif // SETTINGSLOAD_H
