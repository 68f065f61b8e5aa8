#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

namespace {

/// A bus and two services that log.
struct Device
{
    BusProcess bus;
    ScriptedClient printer{u"printer"_s};
    ScriptedClient door{u"door"_s};
};

bool log(ScriptedClient& client, const QString& level, const QString& text, const QString& uid)
{
    const QJsonObject data{{u"prefix"_s, level}, {u"text"_s, text}};
    const QJsonDocument command(QJsonObject{{u"cmd"_s, u"saveLog"_s}, {u"data"_s, data}});
    return client.send(u"logger"_s, QString::fromUtf8(command.toJson(QJsonDocument::Compact)), uid);
}

/// Three lines of two services, one for the screen, and a message that is none.
bool logSome(Device& device)
{
    const QString screen = uR"({"cmd":"showLogMessage","data":{"prefix":"WARNING","text":"Out of paper"}})"_s;
    return log(device.printer, u"INFO"_s, u"paper roll changed"_s, u"1"_s)
        && log(device.door, u"WARNING"_s, u"open \x1b[2J"_s, u"2"_s)
        && device.printer.send(u"terminal_gui"_s, screen, u"3"_s)
        && device.printer.send(u"logger"_s, u"{\"cmd\":\"dance\"}"_s, u"4"_s)
        && log(device.printer, u"ERROR"_s, u"no paper\tsecond\tthird"_s, u"5"_s);
}

QStringList texts(ProgramRun& run)
{
    QStringList texts;
    const QList<QVariantMap> objects = run.objects();
    for (const QVariantMap& object : objects) {
        texts.append(object.value(u"text"_s).toString());
    }
    return texts;
}

QByteArray withoutTimes(const QByteArray& out)
{
    QString text = QString::fromUtf8(out);
    text.replace(QRegularExpression(u"\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}"_s), u"TIME"_s);
    return text.toUtf8();
}

} // namespace

class TstLogVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void lines_areReadable();
    void line_isShownAtOnceAndStaysForTheService();
    void filters_data();
    void filters();
    void json_hasFourKeys();
    void falseSender_isNotShown();
    void colours_markLevels();
    void wrongUse_isRefused_data();
    void wrongUse_isRefused();
    void nothing_is4();
    void otherBus_is1();
    void standIn_takesTheLines();
    void standIn_refusesAConnectedService();
};

void TstLogVerb::lines_areReadable()
{
    Device device;
    ScriptedClient logger(u"logger"_s); // the bus pushes each line to it, and no line is shown twice
    QVERIFY(logSome(device));
    ProgramRun run(u"log --last 10 --count 3"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 0);
    QCOMPARE(withoutTimes(ending.out),
             QByteArray("TIME  INFO     printer  paper roll changed\n"
                        "TIME  WARNING  door  open \\x1b[2J\n"
                        "TIME  ERROR    printer  no paper\n"
                        "                second\n"
                        "                third\n"));
    QCOMPARE(ending.err, QByteArray());
}

void TstLogVerb::line_isShownAtOnceAndStaysForTheService()
{
    Device device;
    QVERIFY(log(device.printer, u"INFO"_s, u"first"_s, u"1"_s));
    ProgramRun run(u"--json log --last 1"_s);
    QVERIFY(run.waitForLines(1));
    QVERIFY(log(device.printer, u"INFO"_s, u"second"_s, u"2"_s));
    QVERIFY(run.waitForLines(2));
    QCOMPARE(texts(run), (QStringList{u"first"_s, u"second"_s}));
    QCOMPARE(run.interrupted().status, 130);
    // The log service still gets both.
    QCOMPARE(device.bus.messages().size(), 2);
}

void TstLogVerb::filters_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QStringList>("shown");
    const QString changed = u"paper roll changed"_s;
    const QString open = u"open \x1b[2J"_s;
    const QString none = u"no paper\tsecond\tthird"_s;
    QTest::newRow("level") << u"--level warning --count 2"_s << QStringList{open, none};
    QTest::newRow("highest level") << u"--level ERROR --count 1"_s << QStringList{none};
    QTest::newRow("client") << u"--client printer --count 2"_s << QStringList{changed, none};
    QTest::newRow("both") << u"--client door --level info --count 1"_s << QStringList{open};
    QTest::newRow("last") << u"--last 1 --count 1"_s << QStringList{none};
    QTest::newRow("screen") << u"--screen --count 1"_s << QStringList{u"Out of paper"_s};
}

void TstLogVerb::filters()
{
    QFETCH(QString, options);
    QFETCH(QStringList, shown);
    Device device;
    QVERIFY(logSome(device));
    const QString last = options.contains(u"--last"_s) ? QString() : u"--last 10 "_s;
    ProgramRun run(u"--json log "_s + last + options);
    QCOMPARE(run.status(), 0);
    QCOMPARE(texts(run), shown);
}

void TstLogVerb::json_hasFourKeys()
{
    Device device;
    QVERIFY(log(device.printer, u"strange"_s, u"text"_s, u"1"_s));
    // A level that the bus does not know is not hidden.
    ProgramRun run(u"--json log --last 1 --count 1 --level error"_s);
    QCOMPARE(run.status(), 0);
    QVariantMap object = run.objects().value(0);
    QVERIFY(!object.take(u"time"_s).toString().isEmpty());
    QCOMPARE(object, (QVariantMap{{u"client"_s, u"printer"_s}, {u"level"_s, u"strange"_s}, {u"text"_s, u"text"_s}}));
}

void TstLogVerb::falseSender_isNotShown()
{
    Device device;
    BusClient thief(BusClient::QUERY_PORT, u"thief"_s);
    const QString text = uR"({"cmd":"saveLog","data":{"prefix":"INFO","text":"all is well"}})"_s;
    thief.ask(u"sendMessage"_s,
              {{u"sender"_s, u"printer"_s}, {u"reciever"_s, u"logger"_s}, {u"message"_s, text}, {u"UID"_s, u"1"_s}});
    ProgramRun run(u"--json log --last 1 --count 1"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().value(0).value(u"client"_s).toString(), u"thief"_s);
}

void TstLogVerb::colours_markLevels()
{
    Device device;
    QVERIFY(logSome(device));
    ProgramRun run(u"--color always log --last 10 --count 3"_s);
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.out().contains("\x1b[33mWARNING\x1b[0m  door") && run.out().contains("\x1b[31mERROR\x1b[0m  "),
             run.out().constData());
}

void TstLogVerb::wrongUse_isRefused_data()
{
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("log --level loud") << QByteArray("--level must be info, warning or error, not \"loud\"");
    QTest::newRow("log --last x") << QByteArray("--last must be");
    QTest::newRow("log --replace") << QByteArray("--replace needs --stand-in");
    QTest::newRow("log --stand-in --last 1") << QByteArray("--stand-in takes neither --last nor --capture");
}

void TstLogVerb::wrongUse_isRefused()
{
    QFETCH(QByteArray, words);
    ProgramRun run(QString::fromUtf8(QTest::currentDataTag()));
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 2);
    QVERIFY2(ending.err.startsWith("tarvexctl: " + words), ending.err.constData());
}

void TstLogVerb::nothing_is4()
{
    Device device;
    ProgramRun run(u"log --timeout 0.5"_s);
    QCOMPARE(run.ending(), ended(4, {"no log line came within 0.5 s"}));
}

void TstLogVerb::otherBus_is1()
{
    FakeBuses buses;
    ProgramRun run(u"log"_s);
    QCOMPARE(run.status(), 1);
    QVERIFY(run.err().contains("this bus does not show its frames"));
    ProgramRun standIn(u"log --stand-in"_s);
    QCOMPARE(standIn.ending(),
             ended(1, {"this bus cannot tell whether logger is there; --replace takes its place in any case"}));
}

void TstLogVerb::standIn_takesTheLines()
{
    Device device;
    QVERIFY(log(device.printer, u"INFO"_s, u"kept"_s, u"1"_s));
    ProgramRun run(u"--json log --stand-in --count 2"_s);
    QVERIFY(run.waitForWords(told("standing in as logger")));
    QVERIFY(log(device.printer, u"INFO"_s, u"new"_s, u"2"_s));
    QCOMPARE(run.status(), 0);
    QCOMPARE(texts(run), (QStringList{u"kept"_s, u"new"_s}));
    QTRY_COMPARE_WITH_TIMEOUT(device.bus.messages(), QStringList(), ChildProcess::PATIENCE_MS);
}

void TstLogVerb::standIn_refusesAConnectedService()
{
    Device device;
    ScriptedClient logger(u"logger"_s);
    ProgramRun run(u"log --stand-in"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 1);
    QVERIFY2(ending.err.startsWith("tarvexctl: logger is there, and would lose its lines"), ending.err.constData());
    ProgramRun replacing(u"--json log --stand-in --replace --count 1"_s);
    QVERIFY(replacing.waitForWords(told("standing in as logger")));
    QVERIFY(log(device.printer, u"INFO"_s, u"mine"_s, u"1"_s));
    QCOMPARE(replacing.status(), 0);
    QCOMPARE(texts(replacing), QStringList{u"mine"_s});
}

QTEST_GUILESS_MAIN(TstLogVerb)
#include "tst_logverb.moc"
