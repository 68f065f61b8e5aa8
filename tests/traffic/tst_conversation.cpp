#include "traffic/conversation.h"

#include "literals.h"

#include <QTest>

Q_DECLARE_METATYPE(tarvex::traffic::Port)
Q_DECLARE_METATYPE(tarvex::traffic::Direction)

using namespace tarvex::traffic;

namespace {

FrameObserver::Finding finding(bool isReply, const QString& operation, const QVariantMap& data = {}, int code = 0)
{
    FrameObserver::Finding finding;
    finding.isReply = isReply;
    finding.size = 12;
    finding.envelope = {{u"operation"_s, operation}, {u"data"_s, data}};
    if (isReply) {
        finding.envelope.insert(u"result"_s, QVariantMap{{u"code"_s, code}, {u"description"_s, u"why"_s}});
    }
    return finding;
}

FrameObserver::Finding request(const QString& operation, const QVariantMap& data = {})
{
    return finding(false, operation, data);
}

FrameObserver::Finding reply(const QString& operation, int code = 0)
{
    return finding(true, operation, {}, code);
}

const QVariantMap PRINTER{{u"name"_s, u"printer"_s}};

} // namespace

class TstConversation : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void reply_hasItsResult();
    void acceptedHandshake_namesTheClient();
    void refusedHandshake_namesNobody();
    void secondHandshake_renamesTheClient();
    void bad_andGap_haveTheirProblem();
    void notSeenBeginning_isGuessed_data();
    void notSeenBeginning_isGuessed();
    void seenBeginning_isNotGuessed();
    void handshake_countsMoreThanAGuess();
};

void TstConversation::reply_hasItsResult()
{
    Conversation conversation(3, Port::Query, Conversation::Seen);
    const SeenFrame frame = conversation.frame(reply(u"loadState"_s, 5), Direction::Out);
    QCOMPARE(frame.kind, Kind::Reply);
    QCOMPARE(frame.port, Port::Query);
    QCOMPARE(frame.direction, Direction::Out);
    QCOMPARE(frame.connection, 3);
    QCOMPARE(frame.operation, u"loadState"_s);
    QCOMPARE(frame.code, quint16(5));
    QCOMPARE(frame.description, u"why"_s);
    QCOMPARE(frame.size, 12);
}

void TstConversation::acceptedHandshake_namesTheClient()
{
    Conversation conversation(1, Port::Receiver, Conversation::Seen);
    QCOMPARE(conversation.frame(request(u"handshake"_s, PRINTER), Direction::In).client, QString());
    QCOMPARE(conversation.frame(reply(u"handshake"_s), Direction::Out).client, u"printer"_s);
    QCOMPARE(conversation.frame(request(u"sendMessage"_s), Direction::Out).client, u"printer"_s);
    QCOMPARE(conversation.event(Kind::Closed).client, u"printer"_s);
}

void TstConversation::refusedHandshake_namesNobody()
{
    Conversation conversation(1, Port::Query, Conversation::Seen);
    conversation.frame(request(u"handshake"_s, PRINTER), Direction::In);
    conversation.frame(reply(u"handshake"_s, 3), Direction::Out);
    QCOMPARE(conversation.frame(request(u"loadState"_s), Direction::In).client, QString());
}

void TstConversation::secondHandshake_renamesTheClient()
{
    Conversation conversation(1, Port::Query, Conversation::Seen);
    for (const QString& name : {u"printer"_s, u"cashbox"_s}) {
        conversation.frame(request(u"handshake"_s, {{u"name"_s, name}}), Direction::In);
        conversation.frame(reply(u"handshake"_s), Direction::Out);
        QCOMPARE(conversation.frame(request(u"loadState"_s), Direction::In).client, name);
    }
}

void TstConversation::bad_andGap_haveTheirProblem()
{
    Conversation conversation(1, Port::Query, Conversation::Seen);
    FrameObserver::Finding finding;
    finding.problem = u"why"_s;
    finding.kind = FrameObserver::Finding::Bad;
    QCOMPARE(conversation.frame(finding, Direction::Out).kind, Kind::Bad);
    QCOMPARE(conversation.frame(finding, Direction::Out).direction, Direction::Out);
    finding.kind = FrameObserver::Finding::Gap;
    QCOMPARE(conversation.frame(finding, Direction::Out).kind, Kind::Gap);
    QCOMPARE(conversation.frame(finding, Direction::Out).problem, u"why"_s);
}

void TstConversation::notSeenBeginning_isGuessed_data()
{
    QTest::addColumn<Port>("port");
    QTest::addColumn<Direction>("direction");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantMap>("data");
    QTest::addColumn<QString>("client");
    const QVariantMap message{{u"sender"_s, u"gui"_s}, {u"reciever"_s, u"printer"_s}};
    QTest::newRow("sender") << Port::Query << Direction::In << u"sendMessage"_s << message << u"gui"_s;
    QTest::newRow("owner of a state") << Port::Query << Direction::In << u"saveState"_s
                                      << QVariantMap{{u"owner"_s, u"gui"_s}} << u"gui"_s;
    QTest::newRow("receiver") << Port::Receiver << Direction::Out << u"sendMessage"_s << message << u"printer"_s;
    QTest::newRow("message to all") << Port::Receiver << Direction::Out << u"sendMessage"_s
                                    << QVariantMap{{u"sender"_s, u"gui"_s}} << QString();
    QTest::newRow("somebody's settings") << Port::Query << Direction::In << u"loadSettings"_s
                                         << QVariantMap{{u"owner"_s, u"gui"_s}} << QString();
}

void TstConversation::notSeenBeginning_isGuessed()
{
    QFETCH(Port, port);
    QFETCH(Direction, direction);
    QFETCH(QString, operation);
    QFETCH(QVariantMap, data);
    QFETCH(QString, client);
    Conversation conversation(1, port, Conversation::NotSeen);
    QCOMPARE(conversation.frame(request(operation, data), direction).client, client);
    QCOMPARE(conversation.event(Kind::Closed).client, client);
}

/// A client that has not introduced itself has no name, whatever it says.
void TstConversation::seenBeginning_isNotGuessed()
{
    Conversation conversation(1, Port::Query, Conversation::Seen);
    const auto message = request(u"sendMessage"_s, {{u"sender"_s, u"gui"_s}});
    QCOMPARE(conversation.frame(message, Direction::In).client, QString());
}

void TstConversation::handshake_countsMoreThanAGuess()
{
    Conversation conversation(1, Port::Query, Conversation::NotSeen);
    conversation.frame(request(u"sendMessage"_s, {{u"sender"_s, u"gui"_s}}), Direction::In);
    conversation.frame(request(u"handshake"_s, PRINTER), Direction::In);
    conversation.frame(reply(u"handshake"_s), Direction::Out);
    QCOMPARE(conversation.frame(request(u"loadState"_s), Direction::In).client, u"printer"_s);
}

QTEST_APPLESS_MAIN(TstConversation)
#include "tst_conversation.moc"
