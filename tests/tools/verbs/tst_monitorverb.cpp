#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTest>

#include <memory>
#include <sys/syscall.h>
#include <vector>

namespace {

const QString BEEP = uR"({"cmd":"beep","data":{"times":2}})"_s;

/// A bus and two clients of it. Each has connected with both connections, so there are 12 frames.
struct Device
{
    BusProcess bus;
    ScriptedClient gui{u"gui"_s};
    ScriptedClient printer{u"printer"_s};
};

/// The frames of one command from gui to printer: send, push and reply, and then the acknowledgement.
bool beep(Device& device, const QString& uid = u"uid-1"_s)
{
    return device.gui.send(u"printer"_s, BEEP, uid) && !device.printer.receive().isEmpty();
}

/// Without what differs from run to run: times and how long something took.
QByteArray settled(const QByteArray& out)
{
    QString text = QString::fromUtf8(out);
    text.replace(QRegularExpression(u"^\\d{4}-\\d\\d-\\d\\d$"_s, QRegularExpression::MultilineOption), u"DATE"_s);
    text.replace(QRegularExpression(u"\\d\\d:\\d\\d:\\d\\d\\.\\d{3}"_s), u"TIME"_s);
    text.replace(QRegularExpression(u"[0-9.]+ ms"_s), u"T ms"_s);
    return text.toUtf8();
}

/// Whether the main thread of a process is writing to stdout.
bool isWriting(qint64 process)
{
    QFile file(u"/proc/%1/syscall"_s.arg(process));
    return file.open(QIODevice::ReadOnly) && file.readAll().startsWith(QByteArray::number(SYS_write) + " 0x1 ");
}

/// One field of each object.
QStringList fields(ProgramRun& run, const QString& key)
{
    QStringList values;
    const QList<QVariantMap> objects = run.objects();
    for (const QVariantMap& object : objects) {
        values.append(object.value(key).toString());
    }
    return values;
}

} // namespace

class TstMonitorVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void talk_isShownLineByLine();
    void talk_asJson_hasTheKeysOfTheDocument();
    void frame_isShownAtOnce();
    void last_countsWhatFits();
    void filters_areCombined_data();
    void filters_areCombined();
    void slow_showsSlowAcknowledgements();
    void badFrame_isShown();
    void colours_onlyWhenWanted();
    void wrongUse_isRefused_data();
    void wrongUse_isRefused();
    void unknownClient_isRefused();
    void nothingWanted_is4();
    void notEnough_is4();
    void noBus_is3();
    void otherBus_is1WithAHint();
    void interrupted_is130();
    void readerStuck_interruptEndsInTime_data();
    void readerStuck_interruptEndsInTime();
    void stdoutFull_is1();
    void killedBus_isWaitedFor_data();
    void killedBus_isWaitedFor();
    void tooManyReaders_is1();
    void deepFrame_isShownWithoutItsData();
    void monitor_changesNothing();
};

void TstMonitorVerb::talk_isShownLineByLine()
{
    Device device;
    QVERIFY(beep(device));
    ProgramRun run(u"monitor --last 4 --count 4"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 0);
    QCOMPARE(settled(ending.out),
             QByteArray("DATE\n"
                        "TIME    #13  gui -> printer  send beep {\"times\":2}\n"
                        "TIME    #14  gui -> printer  push beep {\"times\":2}\n"
                        "TIME    #15  bus -> gui      <- #13 T ms ok send beep\n"
                        "TIME    #16  printer -> bus  <- #14 T ms ack push beep\n"));
    QCOMPARE(ending.err, QByteArray());
}

void TstMonitorVerb::talk_asJson_hasTheKeysOfTheDocument()
{
    Device device;
    QVERIFY(beep(device));
    ProgramRun run(u"--json monitor --last 1 --count 1 --operation sendMessage --from gui --slow 0 --client printer"_s);
    QCOMPARE(run.status(), 0);
    QVariantMap frame = run.objects().value(0);
    QVERIFY(QRegularExpression(u"^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{6}Z$"_s)
                .match(frame.take(u"time"_s).toString())
                .hasMatch());
    QVERIFY(frame.take(u"tookMs"_s).toDouble() >= 0);
    QVERIFY(frame.take(u"size"_s).toInt() > 0);
    QCOMPARE(
        frame,
        (QVariantMap{
            {u"number"_s, 16},
            {u"kind"_s, u"reply"_s},
            {u"port"_s, u"receiver"_s},
            {u"direction"_s, u"in"_s},
            {u"connection"_s, 4},
            {u"client"_s, u"printer"_s},
            {u"from"_s, u"printer"_s},
            {u"operation"_s, u"sendMessage"_s},
            {u"code"_s, 0},
            {u"answers"_s, 14},
            {u"data"_s, QVariantMap{{u"sender"_s, u"gui"_s}, {u"reciever"_s, u"printer"_s}, {u"uid"_s, u"uid-1"_s}}}}));
}

void TstMonitorVerb::frame_isShownAtOnce()
{
    Device device;
    ProgramRun run(u"--json monitor --last 1"_s);
    QVERIFY(run.waitForLines(1));
    for (int number = 1; number <= 3; ++number) {
        QVERIFY(beep(device, QString::number(number)));
        QVERIFY(run.waitForLines(1 + 4 * number));
    }
}

void TstMonitorVerb::last_countsWhatFits()
{
    Device device;
    for (int number = 1; number <= 5; ++number) {
        QVERIFY(beep(device, QString::number(number)));
        QVERIFY(device.gui.saveState(u"ready"_s, 0, QString(), someDate(number)));
    }
    ProgramRun run(u"--json monitor --last 3 --count 3 --operation saveState"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(fields(run, u"kind"_s), (QStringList{u"reply"_s, u"request"_s, u"reply"_s}));
    const QList<QVariantMap> frames = run.objects();
    QCOMPARE(frames.at(1).value(u"data"_s).toMap().value(u"date"_s).toString(), someDate(5));
    QCOMPARE(frames.at(2).value(u"answers"_s), frames.at(1).value(u"number"_s));
}

void TstMonitorVerb::filters_areCombined_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QStringList>("frames");
    QTest::newRow("command") << u"--command beep --count 4"_s
                             << QStringList{u"gui query request sendMessage"_s,
                                            u"printer receiver request sendMessage"_s, u"gui query reply sendMessage"_s,
                                            u"printer receiver reply sendMessage"_s};
    QTest::newRow("errors") << u"--errors --count 1"_s << QStringList{u"gui query reply loadState"_s};
    QTest::newRow("client and operation")
        << u"--client printer --operation handshake --count 4"_s
        << QStringList{u" query request handshake"_s, u"printer query reply handshake"_s,
                       u" receiver request handshake"_s, u"printer receiver reply handshake"_s};
    QTest::newRow("from and to") << u"--from gui --to bus --operation loadState --count 2"_s
                                 << QStringList{u"gui query request loadState"_s, u"gui query reply loadState"_s};
}

void TstMonitorVerb::filters_areCombined()
{
    QFETCH(QString, options);
    QFETCH(QStringList, frames);
    Device device;
    QVERIFY(beep(device));
    BusClient gui(BusClient::QUERY_PORT, u"gui"_s);
    QVERIFY(gui.ask(u"loadState"_s, {{u"owner"_s, u"door"_s}}).code > 0);
    ProgramRun run(u"--json monitor --last 100 "_s + options);
    QCOMPARE(run.status(), 0);
    QStringList shown;
    const QList<QVariantMap> objects = run.objects();
    for (const QVariantMap& object : objects) {
        QStringList words;
        for (const char* const key : {"client", "port", "kind", "operation"}) {
            words.append(object.value(QLatin1String(key)).toString());
        }
        shown.append(words.join(u' '));
    }
    QCOMPARE(shown, frames);
}

void TstMonitorVerb::slow_showsSlowAcknowledgements()
{
    Device device;
    ProgramRun run(u"monitor --last 100 --command beep --slow 300 --count 1"_s);
    QVERIFY(device.gui.send(u"printer"_s, BEEP, u"1"_s));
    // The machine may make the acknowledgement later still, but never earlier.
    QTest::qWait(400);
    QCOMPARE(device.printer.receive().value(u"UID"_s).toString(), u"1"_s);
    QCOMPARE(run.status(), 0);
    QVERIFY2(settled(run.out()).endsWith("printer -> bus  <- #14 T ms ack push beep\n"), run.out().constData());
}

void TstMonitorVerb::badFrame_isShown()
{
    Device device;
    BusClient stranger(BusClient::QUERY_PORT);
    QVERIFY(stranger.send("[-REQUEST-]\r\n1x\r\n"));
    ProgramRun run(u"monitor --last 10 --errors --count 1"_s);
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.out().contains("bad: "), run.out().constData());
}

void TstMonitorVerb::colours_onlyWhenWanted()
{
    Device device;
    QVERIFY(beep(device));
    ProgramRun plain(u"monitor --last 4 --count 4"_s);
    QCOMPARE(plain.status(), 0);
    QVERIFY(!plain.out().contains('\x1b'));
    ProgramRun coloured(u"--color always monitor --last 4 --count 4"_s);
    QCOMPARE(coloured.status(), 0);
    QVERIFY(coloured.out().contains("\x1b[32m<- #13"));
    ProgramRun json(u"--color always --json monitor --last 4 --count 4"_s);
    QCOMPARE(json.status(), 0);
    QCOMPARE(json.objects().size(), 4);
}

void TstMonitorVerb::wrongUse_isRefused_data()
{
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("monitor --operation saveStat") << QByteArray("--operation: there is no operation \"saveStat\"");
    QTest::newRow("monitor --slow soon") << QByteArray("--slow must be a number of milliseconds from 0");
    QTest::newRow("monitor --slow -1") << QByteArray("--slow must be a number of milliseconds from 0");
    QTest::newRow("monitor --slow nan") << QByteArray("--slow must be a number of milliseconds from 0");
    QTest::newRow("monitor --last 0") << QByteArray("--last must be a whole number from 1");
    QTest::newRow("monitor --count 0") << QByteArray("--count must be a whole number from 1");
    QTest::newRow("monitor --command ''") << QByteArray("--command must not be empty");
    QTest::newRow("--color red monitor") << QByteArray("--color must be auto, always or never, not \"red\"");
    QTest::newRow("monitor --client a --client b") << QByteArray("--client is given more than once");
}

void TstMonitorVerb::wrongUse_isRefused()
{
    QFETCH(QByteArray, words);
    ProgramRun run(QString::fromUtf8(QTest::currentDataTag()));
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 2);
    QCOMPARE(ending.out, QByteArray());
    QVERIFY2(ending.err.startsWith("tarvexctl: " + words), ending.err.constData());
}

void TstMonitorVerb::unknownClient_isRefused()
{
    Device device;
    for (const char* const option : {"--client", "--from", "--to"}) {
        ProgramRun run(u"monitor %1 pritner"_s.arg(QLatin1String(option)));
        const Ending ending = run.ending();
        QCOMPARE(ending.status, 2);
        QVERIFY2(ending.err.contains(QByteArray(option) + ": nobody has ever been \"pritner\" on this bus"),
                 ending.err.constData());
    }
    // A name of the library may connect later.
    ProgramRun run(u"monitor --client cashbox --timeout 0.5"_s);
    QCOMPARE(run.ending(), ended(4, {"nothing came within 0.5 s"}));
}

void TstMonitorVerb::nothingWanted_is4()
{
    Device device;
    ProgramRun run(u"monitor --timeout 0.5 --last 10 --command fold"_s);
    QCOMPARE(run.ending(), ended(4, {"nothing came within 0.5 s"}));
}

void TstMonitorVerb::notEnough_is4()
{
    Device device;
    ProgramRun run(u"--json monitor --timeout 10 --last 10 --operation handshake --count 9"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 4);
    QCOMPARE(ending.err, told("only 8 of 9 came within 10 s"));
}

void TstMonitorVerb::noBus_is3()
{
    ProgramRun run(u"monitor"_s);
    QCOMPARE(run.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
}

void TstMonitorVerb::otherBus_is1WithAHint()
{
    FakeBuses buses;
    ProgramRun run(u"monitor"_s);
    QCOMPARE(run.ending(),
             ended(1,
                   {"this bus does not show its frames: only a development bus of the same user does; --capture reads "
                    "those of any bus from the network"}));
}

void TstMonitorVerb::interrupted_is130()
{
    Device device;
    ProgramRun run(u"monitor --last 1"_s);
    QVERIFY(run.waitForLines(2));
    const Ending ending = run.interrupted();
    QCOMPARE(ending.status, 130);
    QCOMPARE(ending.err, told("interrupted"));
}

void TstMonitorVerb::readerStuck_interruptEndsInTime_data()
{
    QTest::addColumn<QString>("options");
    QTest::newRow("monitor") << u"monitor --full"_s;
    QTest::newRow("record") << u"record -"_s;
    QTest::newRow("log") << u"log"_s;
}

void TstMonitorVerb::readerStuck_interruptEndsInTime()
{
    QFETCH(QString, options);
    Device device;
    // The text is longer than a pipe takes.
    const QString text(500000, QLatin1Char('a'));
    QVERIFY(
        device.gui.send(u"logger"_s, uR"({"cmd":"saveLog","data":{"prefix":"INFO","text":"%1"}})"_s.arg(text), u"1"_s));
    QProcess reader;
    ProgramRun run(options + u" --last 10"_s, reader);
    reader.start(u"sleep"_s, {u"600"_s});
    QTRY_VERIFY_WITH_TIMEOUT(isWriting(run.processId()), ChildProcess::PATIENCE_MS);
    const Ending ending = run.interrupted();
    QCOMPARE(ending.status, 130);
    QVERIFY2(ending.err.endsWith(told("interrupted")), ending.err.constData());
    reader.kill();
    QVERIFY(reader.waitForFinished());
}

void TstMonitorVerb::stdoutFull_is1()
{
    Device device;
    ProgramRun run(u"monitor --last 1"_s, ProgramRun::StdoutFull);
    QCOMPARE(run.ending(), ended(1, {"cannot write to stdout: No space left on device"}));
}

void TstMonitorVerb::killedBus_isWaitedFor_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("monitor") << u"--json monitor"_s;
    QTest::newRow("monitor --last") << u"--json monitor --last 1"_s;
    QTest::newRow("record") << u"record -"_s;
}

void TstMonitorVerb::killedBus_isWaitedFor()
{
    QFETCH(QString, line);
    BusProcess bus;
    BusClient first(BusClient::QUERY_PORT, u"first"_s);
    ProgramRun run(line);
    int known = 0;
    QVERIFY(run.waitFor([&] {
        const BusClient client(BusClient::QUERY_PORT, u"early%1"_s.arg(++known)); // until it watches
        return fields(run, u"kind"_s).contains(u"request"_s);
    }));
    bus.killHard();
    QVERIFY(run.waitForWords(told("the bus has gone; waiting for it to come back")));
    QVERIFY(bus.start());
    BusClient second(BusClient::QUERY_PORT, u"second"_s);
    QVERIFY(run.waitForWords(told("the bus is back")));
    QVERIFY(run.waitFor([&] { return fields(run, u"client"_s).contains(u"second"_s); }));
    const QStringList kinds = fields(run, u"kind"_s);
    const int gap = kinds.indexOf(u"gap"_s);
    QVERIFY(gap > 0);
    // The frames of the new bus are shown from the first on.
    QCOMPARE(run.objects().value(gap + 1).value(u"number"_s).toInt(), 1);
    QCOMPARE(run.interrupted().status, 130);
}

void TstMonitorVerb::tooManyReaders_is1()
{
    Device device;
    std::vector<std::unique_ptr<ProgramRun>> readers;
    for (int number = 0; number < 16; ++number) {
        readers.push_back(std::make_unique<ProgramRun>(u"monitor --last 1"_s));
        QVERIFY(readers.back()->waitForLines(2));
    }
    ProgramRun late(u"monitor"_s);
    QCOMPARE(late.ending(), ended(1, {"refused by the bus: too many programs ask the bus at once"}));
}

void TstMonitorVerb::deepFrame_isShownWithoutItsData()
{
    Device device;
    QVERIFY(device.gui.saveState(u"ready"_s, 0, QString(), someDate()));
    BusClient stranger(BusClient::QUERY_PORT, u"gui"_s);
    // The bus takes 1024 levels, and the envelope is one.
    const QByteArray deep = QByteArray(1022, '[') + QByteArray(1022, ']');
    QVERIFY(stranger.send(
        FakeBus::frame("[-REQUEST-]", FakeBus::payload(R"({"operation":"saveState","data":{"a":)" + deep + "}}"))));
    ProgramRun run(u"--json monitor --last 2 --count 2 --operation saveState"_s);
    QCOMPARE(run.status(), 0);
    QVERIFY(run.objects().value(0).value(u"dataLeftOut"_s).toBool());
}

void TstMonitorVerb::monitor_changesNothing()
{
    Device device;
    ProgramRun run(u"--json monitor --last 100 --count 12"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 12);
    ProgramRun clients(u"--json clients"_s);
    QCOMPARE(clients.status(), 0);
    QCOMPARE(fields(clients, u"name"_s), (QStringList{u"gui"_s, u"printer"_s}));
}

QTEST_GUILESS_MAIN(TstMonitorVerb)
#include "tst_monitorverb.moc"
