#ifndef TARVEXERROR_H
#define TARVEXERROR_H

#include "tarvexlib_export.h"

#include <QMap>
#include <QMetaType>
#include <QString>

namespace tarvex {

/// Says whether a bus request succeeded and, if not, why: a code shared with the bus server, and a text.
///
/// A plain value. It is registered with the meta-type system as "TarvexError" and "tarvex::TarvexError". On the wire it
/// is the "result" of a reply: a JSON object with the keys "code" (a number) and "description".
///
/// <!-- quote: docs/snippets/reference/records.cpp#error -->
/// \code
/// TarvexError error(TarvexError::NoSettingsForClient);
/// if (error != TarvexError(TarvexError::NoError)) {
///     out << error.error() << ' ' << error.description() << '\n';
/// }
/// \endcode
class TARVEXLIB_EXPORT TarvexError
{
public:
    /// The numbers are fixed by the wire protocol.
    enum Error : quint16 {
        NoError = 0,              ///< Done.
        IncorrectRequestSize = 1, ///< The size line of a frame is no size.
        IncorrectRequestData = 2, ///< The payload, or the data in it, cannot be understood.
        UnregisteredClient = 3,   ///< The client has not introduced itself.
        UnsupportedRequest = 4,   ///< There is no such operation.
        NoSettingsForClient = 5,  ///< Nothing is stored for the client asked about.
        InvalidDataStorage = 256, ///< The server's storage is not usable.
        StorageAccessError = 512, ///< The server's storage could not be read or written.
    };

    /// The same as TarvexError(NoError).
    TarvexError();

    /// Takes the description from the code table. A code that is not in the table gets an empty description, and is
    /// added to the table with it. May be called from any thread.
    TarvexError(Error code);

    /// Keeps both as given. The table is not used.
    TarvexError(Error code, const QString& description);

    Error error() const; ///< The code.
    /// Changes the code only. The description stays as it was.
    void setError(const Error& error);

    QString description() const;                     ///< The text for people.
    void setDescription(const QString& description); ///< Sets description().

    /// Compares the codes only, never the descriptions. The operators are not const, so the left operand must not be
    /// const either: they were published this way, and const would change their symbols.
    bool operator==(const TarvexError& other);
    bool operator!=(const TarvexError& other); ///< The opposite of operator==().

    /// Builds the code table, unless it has been built before. The constructor from a code calls it by itself. A
    /// service calls it only to choose the moment at which the texts are translated.
    static void prepareErrors();

protected:
    /// The code table. It is empty until the first use. The operations above read and write it under a lock of its own.
    static QMap<Error, QString> _errors;

private:
    Error m_error;
    QString m_description;
};

} // namespace tarvex

Q_DECLARE_METATYPE(tarvex::TarvexError)

#endif // TARVEXERROR_H
