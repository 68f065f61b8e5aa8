#include "cmdlayer/tarvexcommand.h"

#include "commandsender.h"
#include "literals.h"
#include "logcapture.h"
#include "markingtranslator.h"
#include "memoryuse.h"
#include "samples.h"

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

TarvexCommand printCommand()
{
    return someCommand(u"print"_s, u"uid1"_s, someData());
}

/// Neither from "cashbox" nor with the uid "uid7".
TarvexCommand formerCommand()
{
    TarvexCommand cmd = printCommand();
    cmd.setAgent(u"former"_s);
    return cmd;
}

/// From "cashbox", with the uid "uid7".
Message messageWith(const QString& text)
{
    return samples::someMessage(u"printer"_s, text, u"uid7"_s);
}

} // namespace

class TstTarvexCommand : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void defaults_areNull();
    void copyAndMove_keepAllFields();
    void getters_returnTheirField();
    void equality_comparesAllFields_data();
    void equality_comparesAllFields();
    void cmdKey_data();
    void cmdKey();
    void toOutgoingMessage_carriesTheCommand_data();
    void toOutgoingMessage_carriesTheCommand();
    void roundTrip_givesBackNameUidAndData();
    void incomingMessageToCmd_readsTheCommand_data();
    void incomingMessageToCmd_readsTheCommand();
    void incomingMessageToCmd_repeatedKey_leavesNothingBehind();
    void incomingMessageToCmd_badText_isReported_data();
    void incomingMessageToCmd_badText_isReported();
    void incomingMessageToCmd_noCommand_isReportedTranslated();
};

void TstTarvexCommand::defaults_areNull()
{
    const TarvexCommand cmd;
    QVERIFY(cmd.name().isNull());
    QVERIFY(cmd.agent().isNull());
    QVERIFY(cmd.uid().isNull());
    QVERIFY(cmd.data().isEmpty());
}

void TstTarvexCommand::copyAndMove_keepAllFields()
{
    const TarvexCommand original = printCommand();
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

void TstTarvexCommand::getters_returnTheirField()
{
    const TarvexCommand cmd = printCommand();
    QCOMPARE(cmd.name(), u"print"_s);
    QCOMPARE(cmd.agent(), u"cashbox"_s);
    QCOMPARE(cmd.uid(), u"uid1"_s);
    QCOMPARE(cmd.data(), someData());
}

void TstTarvexCommand::equality_comparesAllFields_data()
{
    QTest::addColumn<TarvexCommand>("other");
    QTest::addColumn<bool>("equal");
    TarvexCommand byLogger = printCommand();
    byLogger.setAgent(u"logger"_s);
    const auto withData = [](const QVariantMap& data) { return someCommand(u"print"_s, u"uid1"_s, data); };
    QTest::newRow("same") << printCommand() << true;
    QTest::newRow("name") << someCommand(u"Print"_s, u"uid1"_s, someData()) << false;
    QTest::newRow("agent") << byLogger << false;
    QTest::newRow("uid") << someCommand(u"print"_s, QString(), someData()) << false;
    QTest::newRow("data: fewer keys") << withData({{u"copies"_s, 2}}) << false;
    QTest::newRow("data: another value") << withData({{u"copies"_s, 3}, {u"text"_s, u"ticket"_s}}) << false;
    QTest::newRow("data: another key") << withData({{u"Copies"_s, 2}, {u"text"_s, u"ticket"_s}}) << false;
}

void TstTarvexCommand::equality_comparesAllFields()
{
    QFETCH(TarvexCommand, other);
    QFETCH(bool, equal);
    QCOMPARE(printCommand() == other, equal);
    QCOMPARE(printCommand() != other, !equal);
    QCOMPARE(other == printCommand(), equal);
}

void TstTarvexCommand::cmdKey_data()
{
    QTest::addColumn<QString>("agent");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("key");
    const QString longAgent = u"%2"_s.repeated(65536);
    const QString longName = u"n"_s.repeated(65537);
    QTest::newRow("starts with the agent") << u"a"_s << u"b"_s << u"a.b.c"_s;
    QTest::newRow("empty") << QString() << QString() << u"..c"_s;
    // Existing parties compare keys that were made this way.
    QTest::newRow("agent is filled in") << u"a%2"_s << u"b"_s << u"ab.b.c"_s;
    QTest::newRow("name is filled in") << u"a"_s << u"%3%1"_s << u"a.%3c.%3"_s;
    QTest::newRow("long fields are not") << longAgent << longName << longAgent + u'.' + longName + u".c"_s;
}

void TstTarvexCommand::cmdKey()
{
    QFETCH(QString, agent);
    QFETCH(QString, name);
    QFETCH(QString, key);
    TarvexCommand cmd = someCommand(name, u"c"_s);
    cmd.setAgent(agent);
    QCOMPARE(cmd.cmdKey(), key);
}

void TstTarvexCommand::toOutgoingMessage_carriesTheCommand_data()
{
    QTest::addColumn<TarvexCommand>("cmd");
    QTest::addColumn<QString>("text");
    QTest::newRow("name and data") << printCommand() << uR"({"cmd":"print","data":{"copies":2,"text":"ticket"}})"_s;
    QTest::newRow("empty") << TarvexCommand() << uR"({"cmd":"","data":{}})"_s;
    QTest::newRow("beyond ASCII") << someCommand(u"grüße"_s, u"u"_s, {{u"text"_s, u"a\n\"б\""_s}})
                                  << u"{\"cmd\":\"grüße\",\"data\":{\"text\":\"a\\n\\\"б\\\"\"}}"_s;
}

void TstTarvexCommand::toOutgoingMessage_carriesTheCommand()
{
    QFETCH(TarvexCommand, cmd);
    QFETCH(QString, text);
    const QDateTime before = QDateTime::currentDateTime();
    const Message message = cmd.toOutgoingMessage();
    QCOMPARE(message.message(), text);
    QCOMPARE(message.reciever(), cmd.agent());
    QCOMPARE(message.uid(), cmd.uid());
    QVERIFY(message.sender().isNull());
    QVERIFY(message.dt() >= before && message.dt() <= QDateTime::currentDateTime());
    QCOMPARE(message.dt().timeSpec(), Qt::LocalTime);
}

void TstTarvexCommand::roundTrip_givesBackNameUidAndData()
{
    const TarvexCommand sent = printCommand();
    TarvexCommand received;
    QVERIFY(TarvexCommand::incomingMessageToCmd(sent.toOutgoingMessage(), received));
    QVERIFY(received.agent().isNull());
    received.setAgent(sent.agent());
    QVERIFY(received == sent);
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
    TarvexCommand cmd = formerCommand(); // all of it is replaced
    const LogCapture log;
    QVERIFY(TarvexCommand::incomingMessageToCmd(messageWith(text), cmd));
    QCOMPARE(cmd.name(), name);
    QCOMPARE(cmd.agent(), u"cashbox"_s);
    QCOMPARE(cmd.uid(), u"uid7"_s);
    QCOMPARE(cmd.data(), data);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexCommand::incomingMessageToCmd_repeatedKey_leavesNothingBehind()
{
    const QString former = u"[1"_s + u",1"_s.repeated(1000) + QLatin1Char(']');
    const Message message = messageWith(uR"({"cmd":"x","data":%1,"data":{"a":"b"}})"_s.arg(former));
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
    TarvexCommand cmd = formerCommand();
    const LogCapture log;
    QVERIFY(!TarvexCommand::incomingMessageToCmd(messageWith(text), cmd));
    QCOMPARE(log.texts(), QStringList(line));
    QCOMPARE(log.lines().constFirst().category, u"default"_s);
    QCOMPARE(cmd.agent(), u"cashbox"_s);
    QCOMPARE(cmd.uid(), u"uid7"_s);
    QCOMPARE(cmd.name(), printCommand().name());
    QCOMPARE(cmd.data(), printCommand().data());
}

void TstTarvexCommand::incomingMessageToCmd_noCommand_isReportedTranslated()
{
    TarvexCommand cmd;
    const MarkingTranslator translator;
    const LogCapture log;
    QVERIFY(!TarvexCommand::incomingMessageToCmd(messageWith(u"{}"_s), cmd));
    QCOMPARE(log.texts(),
             QStringList(u"warning: "_s + MarkingTranslator::marked("QObject", u"Message is not tarvex command: "_s)
                         + u" {}"_s));
}
QTEST_GUILESS_MAIN(TstTarvexCommand)
#include "tst_tarvexcommand.moc"
