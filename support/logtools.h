#ifndef LOGTOOLS_H
#define LOGTOOLS_H

#include "wexcorcore_export.h"

#include <QByteArray>
#include <QDebug>
#include <QStringList>
#include <QTextStream>
#include <QVariant>

/// Helpers for the fields of a log line.
///
/// \code
/// qCritical().noquote() << code << logtab << description << logtab << logvariant(data);
/// \endcode
///
/// What they write is bounded: of a value longer than 65536 characters the beginning is shown, followed by how much was
/// left out, so that one bad frame of many megabytes cannot flood the log.

/// Stream manipulator: a tab that sets the fields of a line apart.
WEXCORCORE_EXPORT QTextStream& logtab(QTextStream& stream);

/// Bytes as text: decoded with a codec, control characters written as "\xNN". When the codec cannot decode them all,
/// every byte is written so, and none as text.
class WEXCORCORE_EXPORT logbinary
{
public:
    /// \a codec is the name of a text codec ("UTF-8"); with a name that Qt does not know the bytes are taken as
    /// Latin-1. The name is not copied.
    logbinary(const QByteArray& data, const char* codec);

private:
    friend WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const logbinary& binary);
    QByteArray m_data;
    const char* m_codec;
};

WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const logbinary& binary);

/// A list of strings, one item after the other, each on a line of its own after the first.
class WEXCORCORE_EXPORT loglist
{
public:
    explicit loglist(const QStringList& list);

private:
    friend WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const loglist& list);
    QStringList m_list;
};

WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const loglist& list);

/// A variant's value: maps and lists as compact JSON, anything else as text; an invalid variant as "<invalid>".
class WEXCORCORE_EXPORT logvariant
{
public:
    explicit logvariant(const QVariant& value);

private:
    friend WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const logvariant& variant);
    QVariant m_value;
};

WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const logvariant& variant);

#endif // LOGTOOLS_H
