#ifndef MOCKEVENTS_H
#define MOCKEVENTS_H

#include "cmdlayer/tarvexcommand.h"
#include "mockdescription.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <mutex>

class QObject;

namespace tarvex::mock {

/// What a stand-in tells.
struct MockEvent
{
    enum Kind {
        Ready,   ///< Both connections are accepted; the settings and the state are stored.
        Lost,    ///< A connection was not made, not accepted, or lost. The stand-in tries again.
        Refused, ///< The bus has refused something. The stand-in goes on.
        Handled, ///< A command has got its answer.
        Missing  ///< Events were dropped before this one, because nobody took them.
    };

    Kind kind;
    QString service;
    QString words; ///< What was lost, refused or dropped.

    // The rest is that of a command.
    QDateTime time;
    TarvexCommand command;
    Answer answer; ///< With its values filled in.
};

/// Takes the events of stand-ins, which come from their threads. Outlives them, because a stand-in that is blocked by
/// the bus ends later than its owner. Of the events that nobody takes, it keeps a bounded number.
class MockEvents
{
public:
    /// When so many wait, further ones are dropped, except Ready, which comes once for each connection.
    static constexpr int MAX_EVENTS = 10000;

    /// \a receiver gets a QEvent::User when there is something new. It lives in the thread that calls take().
    explicit MockEvents(QObject* receiver) : m_receiver(receiver) { }

    void add(const MockEvent& event);

    /// The events since the last call. The last one is Missing when there were too many.
    QList<MockEvent> take();

    /// To be called before the receiver is destroyed. Later events are dropped.
    void detach();

private:
    std::mutex m_mutex; // of the standard library: see support/threadsanitizer_p.h
    QObject* m_receiver;
    QList<MockEvent> m_events;
    qint64 m_dropped = 0;
};

} // namespace tarvex::mock

#endif // MOCKEVENTS_H
