#ifndef QUERYSIDE_H
#define QUERYSIDE_H

#include "client/tarvexqueryworker.h"
#include "fakebus.h"
#include "literals.h"

#include <QTcpSocket>
#include <QTest>

/// What the tests of the asking side have in common.
namespace queryside {

const QString PRINTER = u"printer"_s;
const QString WAIT_ERROR = u"critical: Socket wait for ready read error"_s;
/// An interval after which no report is due during a test.
constexpr int NEVER_MS = 1000000;

inline FakeBus::Action sends(const QByteArray& bytes)
{
    return [bytes](FakeBus::Peer& peer, const FakeBus::Request&) { peer.send(bytes); };
}

inline FakeBus::Action sendsAndCloses(const QByteArray& bytes)
{
    return [bytes](FakeBus::Peer& peer, const FakeBus::Request&) {
        peer.send(bytes);
        peer.close();
    };
}

inline FakeBus::Action replies(const QString& operation, int code = 0, const QString& description = QString())
{
    return sends(FakeBus::replyFrame(operation, code, description));
}

/// The reply with the settings of \a owner, whose description is the owner's name as well.
inline QByteArray settingsReply(const QString& owner)
{
    tarvex::ClientSettings settings;
    settings.setOwner(owner);
    settings.setDescription(owner);
    return FakeBus::replyFrame(u"loadSettings"_s, 0, QString(), settings.toVariantMap());
}

/// Replies with the printer's settings, and with code 0 to everything else.
inline void serve(FakeBus::Peer& peer, const FakeBus::Request& request)
{
    if (request.operation == QLatin1String("loadSettings")) {
        peer.send(settingsReply(PRINTER));
    } else {
        FakeBus::answer(peer, request);
    }
}

/// Whether close() has closed the connection: there is none, and the socket's signals are blocked.
inline bool isClosed(const tarvex::TarvexQueryHandler& handler)
{
    const auto* const socket = handler.findChild<QTcpSocket*>();
    return socket->state() == QAbstractSocket::UnconnectedState && socket->signalsBlocked() && !handler.isOpen();
}

/// The printer's query worker. It remembers whose settings it was given.
class Worker : public tarvex::TarvexQueryWorker
{
public:
    Worker() : TarvexQueryWorker(NEVER_MS, PRINTER) { }

    bool doStart() override
    {
        ++starts;
        return TarvexQueryWorker::doStart();
    }

    void doSendState() override { }

    void doApplySettings(tarvex::ClientSettings settings) override { applied.append(settings.owner()); }

    tarvex::TarvexQueryHandler* connection() const { return handler; }

    tarvex::QueryOutcome lastOutcome() const { return handler->lastOutcome(); }

    bool saveState() { return handler->saveState(tarvex::ClientState()); }

    int starts = 0;
    QStringList applied;
};

} // namespace queryside

Q_DECLARE_METATYPE(FakeBus::Action)
Q_DECLARE_METATYPE(tarvex::QueryOutcome)

namespace tarvex {

/// What QCOMPARE shows.
inline char* toString(const QueryOutcome& outcome)
{
    return QTest::toString(outcome.toString());
}

} // namespace tarvex

#endif // QUERYSIDE_H
