#include "cmdlayer/tarvexcommand.h"

#include "logcapture.h"
#include "markingtranslator.h"
#include "memoryuse.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QSignalSpy>
#include <QTest>

#include <type_traits>
#include <utility>

using tarvex::Message;

static_assert(std::is_nothrow_move_constructible_v<TarvexCommand> && std::is_nothrow_move_assignable_v<TarvexCommand>,
              "a command is moved without throwing");
static_assert(std::is_copy_constructible_v<TarvexCommand> && std::is_copy_assignable_v<TarvexCommand>,
              "a command is a value");
static_assert(!std::is_polymorphic_v<TarvexCommand>, "a command has no virtual operations");

namespace {

TarvexCommand someCommand()
{
    TarvexCommand cmd;
    cmd.setName(QStringLiteral("print"));
    cmd.setAgent(QStringLiteral("cashbox"));
    cmd.setUid(QStringLiteral("uid1"));
    cmd.setData({{QStringLiteral("copies"), 2}, {QStringLiteral("text"), QStringLiteral("ticket")}});
    return cmd;
}

Message someMessage(const QString& text)
{
    Message message;
    message.setSender(QStringLiteral("cashbox"));
    message.setReciever(QStringLiteral("printer"));
    message.setUid(QStringLiteral("uid7"));
    message.setMessage(text);
    return message;
}

} // namespace

class CommandSource : public QObject
{
    Q_OBJECT
Q_SIGNALS:
    void sendCommand(TarvexCommand cmd);
};

class TstTarvexCommand : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void defaults_areNull();
    void setters_storeTheirField();
    void copyAndMove_keepAllFields();
    void equality_comparesAllFields_data();
    void equality_comparesAllFields();
    void equality_ignoresOrderOfInsertion();
    void cmdKey_ofLongFields_isNotFilledIn();
    void cmdKey_startsWithTheAgent();
    void cmdKey_substitutesOneArgumentAtATime();
    void toOutgoingMessage_carriesTheCommand();
    void toOutgoingMessage_ofEmptyCommand_hasBothKeys();
    void toOutgoingMessage_isDatedNow();
    void toOutgoingMessage_keepsUnicode();
    void incomingMessageToCmd_readsTheCommand_data();
    void incomingMessageToCmd_readsTheCommand();
    void incomingMessageToCmd_replacesWhatTheRecordHeld();
    void incomingMessageToCmd_repeatedKey_leavesNothingBehind();
    void incomingMessageToCmd_badText_isReported_data();
    void incomingMessageToCmd_badText_isReported();
    void incomingMessageToCmd_noCommand_isReportedTranslated();
    void roundTrip_givesBackNameUidAndData();
    void metaType_hasItsName();
    void metaType_crossesQueuedConnections();
};

void TstTarvexCommand::defaults_areNull()
{
    const TarvexCommand cmd;
    QVERIFY(cmd.name().isNull());
    QVERIFY(cmd.agent().isNull());
    QVERIFY(cmd.uid().isNull());
    QVERIFY(cmd.data().isEmpty());
}

void TstTarvexCommand::setters_storeTheirField()
{
    const TarvexCommand cmd = someCommand();
    QCOMPARE(cmd.name(), QStringLiteral("print"));
    QCOMPARE(cmd.agent(), QStringLiteral("cashbox"));
    QCOMPARE(cmd.uid(), QStringLiteral("uid1"));
    QCOMPARE(cmd.data(),
             QVariantMap({{QStringLiteral("copies"), 2}, {QStringLiteral("text"), QStringLiteral("ticket")}}));
}

void TstTarvexCommand::copyAndMove_keepAllFields()
{
    const TarvexCommand original = someCommand();
    TarvexCommand copy(original);
    QVERIFY(copy == original);
    TarvexCommand moved(std::move(copy));
    QVERIFY(moved == original);
    TarvexCommand assigned;
    assigned = original;
    QVERIFY(assigned == original);
    TarvexCommand moveAssigned;
    moveAssigned = std::move(moved);
    QVERIFY(moveAssigned == original);
    assigned.setName(QStringLiteral("other"));
    QCOMPARE(original.name(), QStringLiteral("print"));
}

void TstTarvexCommand::equality_comparesAllFields_data()
{
    QTest::addColumn<TarvexCommand>("other");
    QTest::addColumn<bool>("equal");
    QTest::newRow("same") << someCommand() << true;
    TarvexCommand other = someCommand();
    other.setName(QStringLiteral("Print"));
    QTest::newRow("name") << other << false;
    other = someCommand();
    other.setAgent(QStringLiteral("logger"));
    QTest::newRow("agent") << other << false;
    other = someCommand();
    other.setUid(QString());
    QTest::newRow("uid") << other << false;
    other = someCommand();
    other.setData({{QStringLiteral("copies"), 2}});
    QTest::newRow("data: fewer keys") << other << false;
    other.setData({{QStringLiteral("copies"), 3}, {QStringLiteral("text"), QStringLiteral("ticket")}});
    QTest::newRow("data: another value") << other << false;
    other.setData({{QStringLiteral("Copies"), 2}, {QStringLiteral("text"), QStringLiteral("ticket")}});
    QTest::newRow("data: another key") << other << false;
}

void TstTarvexCommand::equality_comparesAllFields()
{
    QFETCH(TarvexCommand, other);
    QFETCH(bool, equal);
    QCOMPARE(someCommand() == other, equal);
    QCOMPARE(someCommand() != other, !equal);
    QCOMPARE(other == someCommand(), equal);
}

void TstTarvexCommand::equality_ignoresOrderOfInsertion()
{
    QVariantMap forwards;
    forwards.insert(QStringLiteral("a"), 1);
    forwards.insert(QStringLiteral("b"), 2);
    QVariantMap backwards;
    backwards.insert(QStringLiteral("b"), 2);
    backwards.insert(QStringLiteral("a"), 1);
    TarvexCommand one = someCommand();
    one.setData(forwards);
    TarvexCommand two = someCommand();
    two.setData(backwards);
    QVERIFY(one == two);
}

void TstTarvexCommand::cmdKey_startsWithTheAgent()
{
    TarvexCommand cmd;
    cmd.setAgent(QStringLiteral("a"));
    cmd.setName(QStringLiteral("b"));
    cmd.setUid(QStringLiteral("c"));
    QCOMPARE(cmd.cmdKey(), QStringLiteral("a.b.c"));
    QCOMPARE(TarvexCommand().cmdKey(), QStringLiteral(".."));
}

// Existing parties compare keys that were made this way.
void TstTarvexCommand::cmdKey_substitutesOneArgumentAtATime()
{
    TarvexCommand cmd;
    cmd.setAgent(QStringLiteral("a%2"));
    cmd.setName(QStringLiteral("b"));
    cmd.setUid(QStringLiteral("c"));
    QCOMPARE(cmd.cmdKey(), QStringLiteral("ab.b.c"));
    cmd.setAgent(QStringLiteral("a"));
    cmd.setName(QStringLiteral("%3%1"));
    QCOMPARE(cmd.cmdKey(), QStringLiteral("a.%3c.%3"));
}

void TstTarvexCommand::toOutgoingMessage_carriesTheCommand()
{
    const Message message = someCommand().toOutgoingMessage();
    QCOMPARE(message.message(), QStringLiteral(R"({"cmd":"print","data":{"copies":2,"text":"ticket"}})"));
    QCOMPARE(message.reciever(), QStringLiteral("cashbox"));
    QCOMPARE(message.uid(), QStringLiteral("uid1"));
    QVERIFY(message.sender().isNull());
}

void TstTarvexCommand::toOutgoingMessage_ofEmptyCommand_hasBothKeys()
{
    const Message message = TarvexCommand().toOutgoingMessage();
    QCOMPARE(message.message(), QStringLiteral(R"({"cmd":"","data":{}})"));
    QVERIFY(message.uid().isEmpty());
    QVERIFY(message.reciever().isEmpty());
}

void TstTarvexCommand::toOutgoingMessage_isDatedNow()
{
    const QDateTime before = QDateTime::currentDateTime();
    const Message message = someCommand().toOutgoingMessage();
    QVERIFY(message.dt() >= before);
    QVERIFY(message.dt() <= QDateTime::currentDateTime());
    QCOMPARE(message.dt().timeSpec(), Qt::LocalTime);
}

void TstTarvexCommand::toOutgoingMessage_keepsUnicode()
{
    TarvexCommand cmd;
    cmd.setName(QStringLiteral("grüße"));
    cmd.setData({{QStringLiteral("text"), QStringLiteral("a\n\"б\"")}});
    QCOMPARE(cmd.toOutgoingMessage().message(),
             QString::fromUtf8("{\"cmd\":\"grüße\",\"data\":{\"text\":\"a\\n\\\"б\\\"\"}}"));
}

void TstTarvexCommand::incomingMessageToCmd_readsTheCommand_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("data");
    const QVariantMap none;
    QTest::newRow("name and data") << QStringLiteral(R"({"cmd":"x","data":{"a":"b"}})") << QStringLiteral("x")
                                   << QVariantMap{{QStringLiteral("a"), QStringLiteral("b")}};
    QTest::newRow("no data") << QStringLiteral(R"({"cmd":"x"})") << QStringLiteral("x") << none;
    QTest::newRow("number, array") << QStringLiteral(R"({"cmd":5,"data":[1]})") << QStringLiteral("5") << none;
    QTest::newRow("boolean, null") << QStringLiteral(R"({"cmd":true,"data":null})") << QStringLiteral("true") << none;
    QTest::newRow("data a string") << QStringLiteral(R"({"cmd":"x","data":"y"})") << QStringLiteral("x") << none;
    QTest::newRow("empty name") << QStringLiteral(R"({"cmd":""})") << QString() << none;
    QTest::newRow("other keys") << QStringLiteral(R"({"agent":"z","uid":"9","cmd":"x","Data":{"a":1}})")
                                << QStringLiteral("x") << none;
    QTest::newRow("blanks") << QStringLiteral("\r\n { \"data\" : {} ,\t\"cmd\" : \"x\" } ") << QStringLiteral("x")
                            << none;
    QTest::newRow("beyond Latin-1") << QString::fromUtf8("{\"cmd\":\"печать\"}") << QString::fromUtf8("печать") << none;
}

void TstTarvexCommand::incomingMessageToCmd_readsTheCommand()
{
    QFETCH(QString, text);
    QFETCH(QString, name);
    QFETCH(QVariantMap, data);
    TarvexCommand cmd;
    const LogCapture log;
    QVERIFY(TarvexCommand::incomingMessageToCmd(someMessage(text), cmd));
    QCOMPARE(cmd.name(), name);
    QCOMPARE(cmd.agent(), QStringLiteral("cashbox"));
    QCOMPARE(cmd.uid(), QStringLiteral("uid7"));
    QCOMPARE(cmd.data(), data);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexCommand::incomingMessageToCmd_replacesWhatTheRecordHeld()
{
    TarvexCommand cmd = someCommand();
    QVERIFY(TarvexCommand::incomingMessageToCmd(someMessage(QStringLiteral(R"({"cmd":"x"})")), cmd));
    QCOMPARE(cmd.name(), QStringLiteral("x"));
    QVERIFY(cmd.data().isEmpty());
}

void TstTarvexCommand::incomingMessageToCmd_repeatedKey_leavesNothingBehind()
{
    const QString former = QStringLiteral("[1") + QStringLiteral(",1").repeated(1000) + QLatin1Char(']');
    const tarvex::Message message =
        someMessage(QStringLiteral(R"({"cmd":"x","data":%1,"data":{"a":"b"}})").arg(former));
    TarvexCommand cmd;
    QVERIFY(TarvexCommand::incomingMessageToCmd(message, cmd));
    const qint64 before = memoryuse::allocated();
    for (int i = 0; i < 1000; ++i) {
        TarvexCommand::incomingMessageToCmd(message, cmd);
    }
    const qint64 grown = memoryuse::allocated() - before;
    QVERIFY2(grown < 500000, QByteArray::number(grown).constData());
    QCOMPARE(cmd.data(), QVariantMap({{QStringLiteral("a"), QStringLiteral("b")}}));
}

void TstTarvexCommand::incomingMessageToCmd_badText_isReported_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("line");
    const QString noCommand = QStringLiteral("warning: Message is not tarvex command:  ");
    QTest::newRow("words") << QStringLiteral("plain words") << QStringLiteral("warning: illegal value");
    QTest::newRow("empty") << QString() << QStringLiteral("warning: illegal value");
    QTest::newRow("cut") << QStringLiteral(R"({"cmd":"x" )") << QStringLiteral("warning: unterminated object");
    QTest::newRow("more behind") << QStringLiteral(R"({"cmd":"x"} y)")
                                 << QStringLiteral("warning: garbage at the end of the document");
    QTest::newRow("array") << QStringLiteral("[1,2]") << noCommand + QStringLiteral("[1,2]");
    QTest::newRow("no cmd") << QStringLiteral(R"({"data":{}})") << noCommand + QStringLiteral(R"({"data":{}})");
    QTest::newRow("cmd in capitals") << QStringLiteral(R"({"CMD":"x"})")
                                     << noCommand + QStringLiteral(R"({"CMD":"x"})");
}

void TstTarvexCommand::incomingMessageToCmd_badText_isReported()
{
    QFETCH(QString, text);
    QFETCH(QString, line);
    TarvexCommand cmd = someCommand();
    const LogCapture log;
    QVERIFY(!TarvexCommand::incomingMessageToCmd(someMessage(text), cmd));
    QCOMPARE(log.texts(), QStringList(line));
    QCOMPARE(log.lines().constFirst().category, QStringLiteral("default"));
    QCOMPARE(cmd.agent(), QStringLiteral("cashbox"));
    QCOMPARE(cmd.uid(), QStringLiteral("uid7"));
    QCOMPARE(cmd.name(), someCommand().name());
    QCOMPARE(cmd.data(), someCommand().data());
}

void TstTarvexCommand::incomingMessageToCmd_noCommand_isReportedTranslated()
{
    TarvexCommand cmd;
    const MarkingTranslator translator;
    const LogCapture log;
    QVERIFY(!TarvexCommand::incomingMessageToCmd(someMessage(QStringLiteral("{}")), cmd));
    QCOMPARE(log.texts(),
             QStringList(QStringLiteral("warning: ")
                         + MarkingTranslator::marked("QObject", QStringLiteral("Message is not tarvex command: "))
                         + QStringLiteral(" {}")));
}

void TstTarvexCommand::roundTrip_givesBackNameUidAndData()
{
    const TarvexCommand sent = someCommand();
    TarvexCommand received;
    QVERIFY(TarvexCommand::incomingMessageToCmd(sent.toOutgoingMessage(), received));
    QCOMPARE(received.name(), sent.name());
    QCOMPARE(received.uid(), sent.uid());
    QCOMPARE(received.data(), sent.data());
    QVERIFY(received.agent().isNull());
}

void TstTarvexCommand::metaType_hasItsName()
{
    const int type = QMetaType::type("TarvexCommand");
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(qMetaTypeId<TarvexCommand>(), type);
    QCOMPARE(QMetaType::typeName(type), "TarvexCommand");
}

void TstTarvexCommand::metaType_crossesQueuedConnections()
{
    CommandSource source;
    CommandSource target;
    QVERIFY(connect(&source, SIGNAL(sendCommand(TarvexCommand)), &target, SIGNAL(sendCommand(TarvexCommand)),
                    Qt::QueuedConnection));
    QSignalSpy arrived(&target, SIGNAL(sendCommand(TarvexCommand)));
    Q_EMIT source.sendCommand(someCommand());
    QCOMPARE(arrived.count(), 0);
    QTRY_COMPARE(arrived.count(), 1);
    QVERIFY(arrived.constFirst().constFirst().value<TarvexCommand>() == someCommand());
}

void TstTarvexCommand::cmdKey_ofLongFields_isNotFilledIn()
{
    TarvexCommand cmd;
    cmd.setAgent(QStringLiteral("%2").repeated(65536));
    cmd.setName(QStringLiteral("n").repeated(65537));
    cmd.setUid(QStringLiteral("u"));
    QCOMPARE(cmd.cmdKey(), cmd.agent() + QLatin1Char('.') + cmd.name() + QStringLiteral(".u"));
}

QTEST_GUILESS_MAIN(TstTarvexCommand)
#include "tst_tarvexcommand.moc"
