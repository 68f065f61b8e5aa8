#ifndef OUTBOX_H
#define OUTBOX_H

#include "busconnection.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <deque>

namespace tarvex::devbus {

class Storage;

/// Brings the stored messages to one client that is present. Pushes them in order over its receiver connection, and
/// removes each when the client has acknowledged it.
///
/// The client recognises a message that comes again only while it is among the last REMEMBERED_MESSAGES that it got.
/// Therefore only a few are under way at a time, and none falls so far behind that the client has forgotten it: see
/// busterms_p.h.
class Outbox : public QObject
{
    Q_OBJECT
public:
    /// Starts from the oldest message that is stored for the client. An unacknowledged message is pushed again after
    /// \a resendMs.
    Outbox(BusConnection* connection, Storage& storage, int resendMs, QObject* parent);

    BusConnection* connection() const { return m_connection; }

    /// Pushes the messages for which there is room.
    void push();
    /// Pushes nothing more. The messages under way stay stored.
    void stop();
    /// Takes the client's reply to a pushed message.
    void acknowledge(const QVariantMap& envelope);

Q_SIGNALS:
    void acknowledged(const QString& client, const QString& uid);

private:
    /// A message under way.
    struct Pushed
    {
        qint64 id;
        QString sender;
        QString reciever;
        QString uid;
        qint64 pushedAtMs;
        bool isAcknowledged;
    };

    enum Result {
        Done,
        NothingLeft,
        Failed, ///< The storage could not be read; tried again later.
    };

    bool hasRoom() const;
    bool isLate(const Pushed& pushed) const;
    bool pushLate();
    Result pushAgain(Pushed& pushed);
    Result pushNext();
    void send(const QVariantMap& message);
    void pushAcknowledgedAgain(const QVariantMap& message);
    void settle(const QList<qint64>& ids);
    void scheduleNextPush(bool hasFailed);

    QPointer<BusConnection> m_connection;
    const QString m_client;
    Storage& m_storage;
    const int m_resendMs;
    QElapsedTimer m_clock;
    QTimer m_timer;
    std::deque<Pushed> m_pushed; ///< In the order of the ids. The first one is always unacknowledged.
    int m_unacknowledged = 0;
    qint64 m_lastId = 0;
};

} // namespace tarvex::devbus

#endif // OUTBOX_H
