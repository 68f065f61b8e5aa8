#ifndef LOGTOOLS_H
#define LOGTOOLS_H

#include "wexcorcore_export.h"

#include <QByteArray>
#include <QDebug>
#include <QStringList>
#include <QTextStream>
#include <QVariant>

/// \file
/// Helpers for the fields of a log line.
///
/// <!-- quote: docs/snippets/reference/loglines.cpp#tools -->
/// \code
/// qCWarning(LOGGER()).noquote() << 5 << logtab << "no paper" << logtab << logvariant(data) << logtab
///                               << logbinary(reply, "UTF-8");
/// \endcode
///
/// What they write is bounded, so that one bad frame of many megabytes cannot flood the log. Of a value that is longer
/// than 65536 characters they write the beginning, and then how much was left out.

/// Stream manipulator: a tab between the fields of a line.
WEXCORCORE_EXPORT QTextStream& logtab(QTextStream& stream);

/// Bytes as text, decoded with a codec. Control characters are written as "\xNN". If the codec cannot decode all bytes,
/// every byte is written as "\xNN", and none as text.
///
/// <!-- quote: docs/snippets/reference/loglines.cpp#binary -->
/// \code
/// qCWarning(LOGGER()).noquote() << "reply" << logbinary(reply, "UTF-8"); // reply \x02OK
/// \endcode
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

/// Writes the bytes. \relates logbinary
WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const logbinary& binary);

/// A list of strings. Each item after the first stands on a line of its own.
///
/// <!-- quote: docs/snippets/reference/loglines.cpp#list -->
/// \code
/// qCWarning(LOGGER()).noquote() << loglist({QStringLiteral("cover"), QStringLiteral("lamp")}); // two lines
/// \endcode
class WEXCORCORE_EXPORT loglist
{
public:
    /// Copies the list.
    explicit loglist(const QStringList& list);

private:
    friend WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const loglist& list);
    QStringList m_list;
};

/// Writes the items. \relates loglist
WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const loglist& list);

/// A variant's value. Maps and lists are written as compact JSON, anything else as text, an invalid variant as
/// "<invalid>".
///
/// <!-- quote: docs/snippets/reference/loglines.cpp#variant -->
/// \code
/// qCWarning(LOGGER()).noquote() << "data" << logvariant(data); // data {"roll":2}
/// \endcode
class WEXCORCORE_EXPORT logvariant
{
public:
    /// Copies the value.
    explicit logvariant(const QVariant& value);

private:
    friend WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const logvariant& variant);
    QVariant m_value;
};

/// Writes the value. \relates logvariant
WEXCORCORE_EXPORT QDebug operator<<(QDebug debug, const logvariant& variant);

#endif // LOGTOOLS_H
