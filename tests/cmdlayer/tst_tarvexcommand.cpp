#include "cmdlayer/tarvexcommand.h"

#include "literals.h"
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
    cmd.setName(u"print"_s);
    cmd.setAgent(u"cashbox"_s);
    cmd.setUid(u"uid1"_s);
    cmd.setData({{u"copies"_s, 2}, {u"text"_s, u"ticket"_s}});
    return cmd;
}

Message someMessage(const QString& text)
{
    Message message;
    message.setSender(u"cashbox"_s);
    message.setReciever(u"printer"_s);
    message.setUid(u"uid7"_s);
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
    QCOMPARE(cmd.name(), u"print"_s);
    QCOMPARE(cmd.agent(), u"cashbox"_s);
    QCOMPARE(cmd.uid(), u"uid1"_s);
    QCOMPARE(cmd.data(), QVariantMap({{u"copies"_s, 2}, {u"text"_s, u"ticket"_s}}));
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
    assigned.setName(u"other"_s);
    QCOMPARE(original.name(), u"print"_s);
}

void TstTarvexCommand::equality_comparesAllFields_data()
{
    QTest::addColumn<TarvexCommand>("other");
    QTest::addColumn<bool>("equal");
    QTest::newRow("same") << someCommand() << true;
    TarvexCommand other = someCommand();
    other.setName(u"Print"_s);
    QTest::newRow("name") << other << false;
    other = someCommand();
    other.setAgent(u"logger"_s);
    QTest::newRow("agent") << other << false;
    other = someCommand();
    other.setUid(QString());
    QTest::newRow("uid") << other << false;
    other = someCommand();
    other.setData({{u"copies"_s, 2}});
    QTest::newRow("data: fewer keys") << other << false;
    other.setData({{u"copies"_s, 3}, {u"text"_s, u"ticket"_s}});
    QTest::newRow("data: another value") << other << false;
    other.setData({{u"Copies"_s, 2}, {u"text"_s, u"ticket"_s}});
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
    forwards.insert(u"a"_s, 1);
    forwards.insert(u"b"_s, 2);
    QVariantMap backwards;
    backwards.insert(u"b"_s, 2);
    backwards.insert(u"a"_s, 1);
    TarvexCommand one = someCommand();
    one.setData(forwards);
    TarvexCommand two = someCommand();
    two.setData(backwards);
    QVERIFY(one == two);
}

void TstTarvexCommand::cmdKey_startsWithTheAgent()
{
    TarvexCommand cmd;
    cmd.setAgent(u"a"_s);
    cmd.setName(u"b"_s);
    cmd.setUid(u"c"_s);
    QCOMPARE(cmd.cmdKey(), u"a.b.c"_s);
    QCOMPARE(TarvexCommand().cmdKey(), u".."_s);
}

// Existing parties compare keys that were made this way.
void TstTarvexCommand::cmdKey_substitutesOneArgumentAtATime()
{
    TarvexCommand cmd;
    cmd.setAgent(u"a%2"_s);
    cmd.setName(u"b"_s);
    cmd.setUid(u"c"_s);
    QCOMPARE(cmd.cmdKey(), u"ab.b.c"_s);
    cmd.setAgent(u"a"_s);
    cmd.setName(u"%3%1"_s);
    QCOMPARE(cmd.cmdKey(), u"a.%3c.%3"_s);
}

void TstTarvexCommand::toOutgoingMessage_carriesTheCommand()
{
    const Message message = someCommand().toOutgoingMessage();
    QCOMPARE(message.message(), uR"({"cmd":"print","data":{"copies":2,"text":"ticket"}})"_s);
    QCOMPARE(message.reciever(), u"cashbox"_s);
    QCOMPARE(message.uid(), u"uid1"_s);
    QVERIFY(message.sender().isNull());
}

void TstTarvexCommand::toOutgoingMessage_ofEmptyCommand_hasBothKeys()
{
    const Message message = TarvexCommand().toOutgoingMessage();
    QCOMPARE(message.message(), uR"({"cmd":"","data":{}})"_s);
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
    cmd.setName(u"grüße"_s);
    cmd.setData({{u"text"_s, u"a\n\"б\""_s}});
    QCOMPARE(cmd.toOutgoingMessage().message(),
             QString::fromUtf8("{\"cmd\":\"grüße\",\"data\":{\"text\":\"a\\n\\\"б\\\"\"}}"));
}

void TstTarvexCommand::incomingMessageToCmd_readsTheCommand_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("data");
    const QVariantMap none;
    QTest::newRow("name and data") << uR"({"cmd":"x","data":{"a":"b"}})"_s << u"x"_s << QVariantMap{{u"a"_s, u"b"_s}};
    QTest::newRow("no data") << uR"({"cmd":"x"})"_s << u"x"_s << none;
    QTest::newRow("number, array") << uR"({"cmd":5,"data":[1]})"_s << u"5"_s << none;
    QTest::newRow("boolean, null") << uR"({"cmd":true,"data":null})"_s << u"true"_s << none;
    QTest::newRow("data a string") << uR"({"cmd":"x","data":"y"})"_s << u"x"_s << none;
    QTest::newRow("empty name") << uR"({"cmd":""})"_s << QString() << none;
    QTest::newRow("other keys") << uR"({"agent":"z","uid":"9","cmd":"x","Data":{"a":1}})"_s << u"x"_s << none;
    QTest::newRow("blanks") << u"\r\n { \"data\" : {} ,\t\"cmd\" : \"x\" } "_s << u"x"_s << none;
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
    QCOMPARE(cmd.agent(), u"cashbox"_s);
    QCOMPARE(cmd.uid(), u"uid7"_s);
    QCOMPARE(cmd.data(), data);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexCommand::incomingMessageToCmd_replacesWhatTheRecordHeld()
{
    TarvexCommand cmd = someCommand();
    QVERIFY(TarvexCommand::incomingMessageToCmd(someMessage(uR"({"cmd":"x"})"_s), cmd));
    QCOMPARE(cmd.name(), u"x"_s);
    QVERIFY(cmd.data().isEmpty());
}

void TstTarvexCommand::incomingMessageToCmd_repeatedKey_leavesNothingBehind()
{
    const QString former = u"[1"_s + u",1"_s.repeated(1000) + QLatin1Char(']');
    const tarvex::Message message = someMessage(uR"({"cmd":"x","data":%1,"data":{"a":"b"}})"_s.arg(former));
    TarvexCommand cmd;
    QVERIFY(TarvexCommand::incomingMessageToCmd(message, cmd));
    const qint64 before = memoryuse::allocated();
    for (int i = 0; i < 1000; ++i) {
        TarvexCommand::incomingMessageToCmd(message, cmd);
    }
    const qint64 grown = memoryuse::allocated() - before;
    QVERIFY2(grown < 500000, QByteArray::number(grown).constData());
    QCOMPARE(cmd.data(), QVariantMap({{u"a"_s, u"b"_s}}));
}

void TstTarvexCommand::incomingMessageToCmd_badText_isReported_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("line");
    const QString noCommand = u"warning: Message is not tarvex command:  "_s;
    QTest::newRow("words") << u"plain words"_s << u"warning: illegal value"_s;
    QTest::newRow("empty") << QString() << u"warning: illegal value"_s;
    QTest::newRow("cut") << uR"({"cmd":"x" )"_s << u"warning: unterminated object"_s;
    QTest::newRow("more behind") << uR"({"cmd":"x"} y)"_s << u"warning: garbage at the end of the document"_s;
    QTest::newRow("array") << u"[1,2]"_s << noCommand + u"[1,2]"_s;
    QTest::newRow("no cmd") << uR"({"data":{}})"_s << noCommand + uR"({"data":{}})"_s;
    QTest::newRow("cmd in capitals") << uR"({"CMD":"x"})"_s << noCommand + uR"({"CMD":"x"})"_s;
}

void TstTarvexCommand::incomingMessageToCmd_badText_isReported()
{
    QFETCH(QString, text);
    QFETCH(QString, line);
    TarvexCommand cmd = someCommand();
    const LogCapture log;
    QVERIFY(!TarvexCommand::incomingMessageToCmd(someMessage(text), cmd));
    QCOMPARE(log.texts(), QStringList(line));
    QCOMPARE(log.lines().constFirst().category, u"default"_s);
    QCOMPARE(cmd.agent(), u"cashbox"_s);
    QCOMPARE(cmd.uid(), u"uid7"_s);
    QCOMPARE(cmd.name(), someCommand().name());
    QCOMPARE(cmd.data(), someCommand().data());
}

void TstTarvexCommand::incomingMessageToCmd_noCommand_isReportedTranslated()
{
    TarvexCommand cmd;
    const MarkingTranslator translator;
    const LogCapture log;
    QVERIFY(!TarvexCommand::incomingMessageToCmd(someMessage(u"{}"_s), cmd));
    QCOMPARE(log.texts(),
             QStringList(u"warning: "_s + MarkingTranslator::marked("QObject", u"Message is not tarvex command: "_s)
                         + u" {}"_s));
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
    cmd.setAgent(u"%2"_s.repeated(65536));
    cmd.setName(u"n"_s.repeated(65537));
    cmd.setUid(u"u"_s);
    QCOMPARE(cmd.cmdKey(), cmd.agent() + QLatin1Char('.') + cmd.name() + u".u"_s);
}

QTEST_GUILESS_MAIN(TstTarvexCommand)
#include "tst_tarvexcommand.moc"
