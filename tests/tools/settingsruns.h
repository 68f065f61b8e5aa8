#ifndef SETTINGSRUNS_H
#define SETTINGSRUNS_H

#include "literals.h"
#include "programrun.h"

#include <QFile>

// What the tests of the verbs for settings share.

/// Runs the program. \return whether it ends with status 0
inline bool does(const QString& line)
{
    ProgramRun run(line);
    return run.status() == 0;
}

/// What is stored for these owners, as "settings get" writes it. Empty when that fails.
inline QByteArray stored(const QString& owners)
{
    ProgramRun run(u"--json settings get "_s + owners);
    const Ending ending = run.ending();
    return ending.status == 0 ? ending.out : QByteArray();
}

/// The record of an owner as it travels, on one line.
inline QByteArray recordLine(const QByteArray& owner, const QByteArray& entries)
{
    return "{\"date\":\"2026-03-01T10:11:12.345\",\"description\":\"\",\"mailOwner\":1,\"owner\":\"" + owner
        + "\",\"settings\":[" + entries + "]}\n";
}

/// One setting, in the group "g".
inline QByteArray entryText(const QByteArray& key, const QByteArray& value)
{
    return "{\"group\":\"g\",\"key\":\"" + key + "\",\"value\":" + value + '}';
}

/// Writes a file. \return its name
inline QString written(const QString& fileName, const QByteArray& text)
{
    QFile file(fileName);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size() ? fileName : QString();
}

inline QByteArray contents(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

#endif // SETTINGSRUNS_H
