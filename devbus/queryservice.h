#ifndef QUERYSERVICE_H
#define QUERYSERVICE_H

#include "records/tarvexerror.h"

#include <QString>
#include <QVariantMap>

namespace tarvex::devbus {

class Delivery;
class Storage;

/// The operations of the query port. Checks a request, carries it out in one transaction, and gives the answer.
/// Messages that are to be pushed to others because of it are stored in the same transaction.
class QueryService
{
public:
    struct Answer
    {
        TarvexError error;
        QVariantMap data;
    };

    /// A request with more names than this is malformed, because each name costs a statement and other clients wait
    /// meanwhile.
    static constexpr int MAX_NAMES = 4096;

    QueryService(Storage& storage, Delivery& delivery) : m_storage(storage), m_delivery(delivery) { }

    /// \a client is the one that asks. With code 0 everything is committed.
    Answer handle(const QString& client, const QString& operation, const QVariantMap& data);

private:
    Answer saveState(const QString& client, const QVariantMap& data);
    Answer loadState(const QString& client, const QVariantMap& data);
    Answer saveSettings(const QString& client, const QVariantMap& data);
    Answer loadSettings(const QString& client, const QVariantMap& data);
    Answer loadSettingsList(const QString& client, const QVariantMap& data);
    Answer removeSettings(const QString& client, const QVariantMap& data);
    Answer subscribe(const QString& client, const QVariantMap& data);
    Answer unsubscribe(const QString& client, const QVariantMap& data);
    Answer sendMessage(const QString& client, const QVariantMap& data);

    Storage& m_storage;
    Delivery& m_delivery;
};

} // namespace tarvex::devbus

#endif // QUERYSERVICE_H
