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

/// The way of the stored messages to one client that is present: pushes them in order over its receiver connection,
/// and removes each when the client has acknowledged it.
///
/// Only a few are under way at a time, because the client recognises a repeated message only as long as it remembers
/// it: see REMEMBERED_MESSAGES in busterms_p.h.
class Outbox : public QObject
{
    Q_OBJECT
public:
    /// Starts from the oldest message that is stored for the client. An unacknowledged message is pushed again after
    /// \a resendMs.
    Outbox(BusConnection* connection, Storage& storage, int resendMs, QObject* parent);

    BusConnection* connection() const { return m_connection; }

    /// Pushes what there is and what there is room for.
    void push();
    /// Pushes no more; what is under way stays stored.
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
    void settle(const QList<qint64>& ids);
    void scheduleNextPush(bool hasFailed);

    QPointer<BusConnection> m_connection;
    Storage& m_storage;
    const int m_resendMs;
    QElapsedTimer m_clock;
    QTimer m_timer;
    std::deque<Pushed> m_pushed; ///< In the order of the ids; the first is never an acknowledged one.
    int m_unacknowledged = 0;
    qint64 m_lastId = 0;
};

} // namespace tarvex::devbus

#endif // OUTBOX_H
