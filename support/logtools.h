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
/// What they write is bounded, so that one bad frame of many megabytes cannot flood the log. Of a value that is longer
/// than 65536 characters they write the beginning, and then how much was left out.

/// Stream manipulator: a tab between the fields of a line.
WEXCORCORE_EXPORT QTextStream& logtab(QTextStream& stream);

/// Bytes as text, decoded with a codec. Control characters are written as "\xNN". If the codec cannot decode all bytes,
/// every byte is written as "\xNN", and none as text.
class WEXCORCORE_EXPORT logbinary
{
public:
    /// \a codec is the name of a text codec ("UTF-8"). If Qt does not know the name, the bytes are taken as Latin-1.
    /// The name is not copied.
    logbinary(const QByteArray& data, const char* codec);

private:
    friend WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const logbinary& binary);
    QByteArray m_data;
    const char* m_codec;
};

WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const logbinary& binary);

/// A list of strings. Each item after the first stands on a line of its own.
class WEXCORCORE_EXPORT loglist
{
public:
    explicit loglist(const QStringList& list);

private:
    friend WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const loglist& list);
    QStringList m_list;
};

WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const loglist& list);

/// A variant's value. Maps and lists are written as compact JSON, anything else as text, an invalid variant as
/// "<invalid>".
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
