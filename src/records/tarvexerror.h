#ifndef TARVEXERROR_H
#define TARVEXERROR_H

#include "tarvexlib_export.h"

#include <QMap>
#include <QMetaType>
#include <QString>

namespace tarvex {

/// Says whether a bus request succeeded and, if not, why: a code shared with the bus server, and a text.
///
/// A plain value; registered with the meta-type system as "TarvexError" and "tarvex::TarvexError". On the wire it is
/// the "result" of a reply: a JSON object with the keys "code" (a number) and "description".
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

    /// Takes the description from the code table; a code that is not in the table gets an empty description and is
    /// entered into the table with it. May be called from any thread.
    TarvexError(Error code);

    /// Keeps both as given; the table is not consulted.
    TarvexError(Error code, const QString& description);

    Error error() const;
    /// Replaces the code alone; the description stays as it was.
    void setError(const Error& error);

    QString description() const;
    void setDescription(const QString& description);

    /// Compares the codes only, never the descriptions. Not const, so the left operand must not be either: that is how
    /// they were published, and adding it would change their symbols.
    bool operator==(const TarvexError& other);
    bool operator!=(const TarvexError& other);

    /// Builds the code table, unless it has been built before. The constructor from a code does so by itself; a service
    /// calls it only to fix the moment at which the texts are translated.
    static void prepareErrors();

protected:
    /// The code table: empty until the first use. Read and written under a lock of its own by the operations above.
    static QMap<Error, QString> _errors;

private:
    Error m_error;
    QString m_description;
};

} // namespace tarvex

Q_DECLARE_METATYPE(tarvex::TarvexError)

#endif // TARVEXERROR_H
