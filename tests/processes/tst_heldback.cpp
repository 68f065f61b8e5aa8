#include "childprocess.h"
#include "cmdlayer/tarvexcommand.h"
#include "fakebus.h"
#include "literals.h"
#include "records/message.h"

#include <QTest>

#include <future>

using tarvex::Message;

namespace {

/// A timer of 5000 ms may take this long on a loaded machine.
constexpr int LATEST_MS = 20000;

QByteArray pushedEcho(const QString& text, const QString& uid)
{
    TarvexCommand command;
    command.setName(u"echo"_s);
    command.setUid(uid);
    command.setData({{u"text"_s, text}});
    Message message = command.toOutgoingMessage();
    message.setSender(u"cashbox"_s);
    message.setReciever(u"echo"_s);
    message.setUid(uid);
    return FakeBus::requestFrame(u"sendMessage"_s, message.toVariantMap());
}

QVariantMap settingsWithPrefix(const QString& prefix)
{
    const QVariantMap entry{{u"group"_s, u"echo"_s}, {u"key"_s, u"prefix"_s}, {u"value"_s, prefix}};
    return {{u"owner"_s, u"echo"_s}, {u"settings"_s, QVariantList{entry}}};
}

/// The answers that have come to \a bus: "text to addressee". Its log lines are messages too.
QStringList answersOn(const FakeBus& bus)
{
    QStringList answers;
    const QList<FakeBus::Request> requests = bus.requests();
    for (const FakeBus::Request& request : requests) {
        const Message message = Message::fromVariantMap(request.data);
        TarvexCommand command;
        if (request.operation == QLatin1String("sendMessage") && TarvexCommand::incomingMessageToCmd(message, command)
            && command.name() == QLatin1String("echoed")) {
            answers.append(command.data().value(u"text"_s).toString() + QLatin1String(" to ") + message.reciever());
        }
    }
    return answers;
}

} // namespace

/// A service whose query connection is accepted long after its receiver connection.
class TstHeldBack : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void queryRefusedAtFirst_answersWhenItIsAccepted();
};

void TstHeldBack::queryRefusedAtFirst_answersWhenItIsAccepted()
{
    FakeBus query(FakeBus::QUERY_PORT);
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    std::promise<void> refused;
    query.willAnswerHandshake([&refused](FakeBus::Peer& peer, const FakeBus::Request& request) {
        peer.send(FakeBus::replyFrame(request.operation, 3, u"refused"_s));
        peer.waitForClose();
        refused.set_value();
    });
    query.willAlwaysDo([](FakeBus::Peer& peer, const FakeBus::Request& request) {
        const bool asksForSettings = request.operation == QLatin1String("loadSettings");
        peer.send(FakeBus::replyFrame(request.operation, 0, QString(),
                                      asksForSettings ? settingsWithPrefix(u"loud: "_s) : QVariantMap()));
    });
    receiver.willAnswerHandshake([&refused](FakeBus::Peer& peer, const FakeBus::Request& request) {
        FakeBus::answer(peer, request);
        refused.get_future().wait();
        peer.send(pushedEcho(u"one"_s, u"uid1"_s) + pushedEcho(u"two"_s, u"uid2"_s));
    });
    ChildProcess echo(QStringLiteral(ECHO_SERVICE), {});
    echo.start();
    // The service has acknowledged both messages and holds them back, because it has no query connection.
    QVERIFY(receiver.waitForRequests(2));
    QCOMPARE(query.handshakes().size(), 1);
    QCOMPARE(query.requests().size(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(answersOn(query), QStringList({u"loud: one to cashbox"_s, u"loud: two to cashbox"_s}),
                              LATEST_MS);
    QCOMPARE(query.handshakes().size(), 2);
    QCOMPARE(receiver.connectionCount(), 1);
    QCOMPARE(echo.terminate(), 0);
    QCOMPARE(answersOn(query).size(), 2);
}

QTEST_GUILESS_MAIN(TstHeldBack)
#include "tst_heldback.moc"
