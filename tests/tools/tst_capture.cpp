#include "busprocess.h"
#include "programrun.h"

#include "literals.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <fcntl.h>
#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

/// Takes the right to capture from a child between fork and exec.
void giveUpRights()
{
    ::prctl(PR_CAPBSET_DROP, CAP_NET_RAW, 0, 0, 0);
}

/// The value of a line in /proc/PID/status.
QByteArray statusLine(qint64 process, const QByteArray& name)
{
    QFile file(u"/proc/%1/status"_s.arg(process));
    if (!file.open(QIODevice::ReadOnly)) {
        return QByteArray();
    }
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith(name + ":\t")) {
            return line.mid(name.size() + 2);
        }
    }
    return QByteArray();
}

QStringList values(ProgramRun& run, const QString& key)
{
    QStringList values;
    const QList<QVariantMap> objects = run.objects();
    for (const QVariantMap& object : objects) {
        values.append(object.value(key).toString());
    }
    return values;
}

/// The monitor, when it captures.
bool isCapturing(ProgramRun& monitor)
{
    return monitor.waitForWords("capturing on lo\n");
}

const QString CAPTURE = QStringLiteral(TARVEX_CAPTURE);

} // namespace

/// Real packets on the loopback of a network of the test's own.
class TstCapture : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void talk_isSeen();
    void connectionUnderWay_isJoined();
    void capture_hasNoRightsLeft();
    void capture_endsOnSigterm_withAWholeFile();
    void capture_endsWithItsReader();
    void diskFull_is1_andCountsWhatIsWritten();
    void fileOfAnotherProgram_holdsTheSame();
    void monitor_leavesNoCaptureBehind();
    void withoutTheRight_is1_andSaysWhatToDo();
    void unknownInterface_is2();
    void pastOfTheNetwork_isRefused();
    void wrongUse_is2_data();
    void wrongUse_is2();
};

void TstCapture::talk_isSeen()
{
    BusProcess bus;
    ProgramRun monitor(u"--json monitor --capture"_s);
    QVERIFY(isCapturing(monitor));
    ScriptedClient gui(u"gui"_s);
    ScriptedClient printer(u"printer"_s);
    QVERIFY(gui.send(u"printer"_s, u"Hello"_s, u"uid-1"_s));
    QVERIFY(!printer.receive().isEmpty());
    QVERIFY(monitor.waitForLines(16));
    monitor.sendSignal(SIGTERM);
    const Ending ending = monitor.ending();
    QCOMPARE(ending.status, 130);
    QVERIFY2(ending.err.contains(", 0 more were lost\n"), ending.err.constData());
    const QList<QVariantMap> objects = monitor.objects();
    QCOMPARE(values(monitor, u"kind"_s).count(u"opened"_s), 4);
    QVERIFY(!values(monitor, u"kind"_s).contains(u"bad"_s));
    QVERIFY(!values(monitor, u"kind"_s).contains(u"gap"_s));
    const auto isPush = [](const QVariantMap& frame) {
        return frame.value(u"port"_s) == u"receiver"_s && frame.value(u"operation"_s) == u"sendMessage"_s;
    };
    QList<QVariantMap> pushes;
    std::copy_if(objects.begin(), objects.end(), std::back_inserter(pushes), isPush);
    QCOMPARE(pushes.size(), 2);
    QCOMPARE(pushes.at(0).value(u"from"_s).toString(), u"gui"_s);
    QCOMPARE(pushes.at(0).value(u"to"_s).toString(), u"printer"_s);
    QCOMPARE(pushes.at(1).value(u"answers"_s), pushes.at(0).value(u"number"_s));
    QVERIFY(pushes.at(1).value(u"tookMs"_s).toDouble() > 0);
}

void TstCapture::connectionUnderWay_isJoined()
{
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    ProgramRun monitor(u"--json monitor --capture --count 2"_s);
    QVERIFY(isCapturing(monitor));
    QVERIFY(gui.saveState(u"ready"_s, 1, u""_s, someDate()));
    QCOMPARE(monitor.ending().status, 0);
    QCOMPARE(values(monitor, u"kind"_s), (QStringList{u"gap"_s, u"request"_s, u"reply"_s}));
    QCOMPARE(values(monitor, u"client"_s), (QStringList{QString(), u"gui"_s, u"gui"_s}));
}

void TstCapture::capture_hasNoRightsLeft()
{
    ChildProcess capture(CAPTURE);
    QVERIFY(capture.start());
    QVERIFY(capture.waitForWords("capturing on lo\n"));
    for (const char* const set : {"CapInh", "CapPrm", "CapEff", "CapAmb"}) {
        QCOMPARE(statusLine(capture.processId(), set), QByteArray("0000000000000000"));
    }
    QCOMPARE(statusLine(capture.processId(), "NoNewPrivs"), QByteArray("1"));
}

void TstCapture::capture_endsOnSigterm_withAWholeFile()
{
    QTemporaryDir folder;
    ChildProcess capture(CAPTURE);
    QFile file(folder.filePath(u"pcap"_s));
    const int descriptor = ::open(QFile::encodeName(file.fileName()).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    capture.setStepBeforeProgram([descriptor] { ::dup2(descriptor, STDOUT_FILENO); });
    QVERIFY(capture.start());
    QVERIFY(capture.waitForWords("capturing on lo\n"));
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    QVERIFY(gui.isConnected());
    QTRY_VERIFY_WITH_TIMEOUT(ProgramRun({u"decode"_s, file.fileName()}).ending().out.count("handshake") == 4,
                             ChildProcess::PATIENCE_MS);
    QCOMPARE(capture.terminate(), 0);
    ::close(descriptor);
    QVERIFY2(capture.err().contains(" packets, 0 more were lost\n"), capture.err().constData());
    QCOMPARE(ProgramRun({u"decode"_s, file.fileName()}).ending().err, told("4 frames, 0 bad, 0 gaps"));
}

/// Also while nothing passes.
void TstCapture::capture_endsWithItsReader()
{
    QProcess reader;
    ChildProcess capture(CAPTURE);
    capture.pipeInto(reader);
    reader.start(u"sleep"_s, {u"600"_s});
    QVERIFY(capture.start());
    QVERIFY(capture.waitForWords("capturing on lo\n"));
    reader.kill();
    QVERIFY(reader.waitForFinished());
    QCOMPARE(capture.status(), 0);
}

void TstCapture::diskFull_is1_andCountsWhatIsWritten()
{
    QTemporaryDir folder;
    QFile file(folder.filePath(u"pcap"_s));
    const int descriptor = ::open(QFile::encodeName(file.fileName()).constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ChildProcess capture(CAPTURE);
    capture.setStepBeforeProgram([descriptor] {
        ::dup2(descriptor, STDOUT_FILENO);
        std::signal(SIGXFSZ, SIG_IGN); // the write fails, as on a full disk
        const rlimit room{1000, 1000};
        ::setrlimit(RLIMIT_FSIZE, &room);
    });
    QVERIFY(capture.start());
    QVERIFY(capture.waitForWords("capturing on lo\n"));
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    QCOMPARE(capture.status(), 1);
    ::close(descriptor);
    QVERIFY2(capture.err().contains("cannot write to stdout: File too large\n"), capture.err().constData());
    // What it counts is what the file holds, beside the part of a packet.
    ProgramRun decode({u"decode"_s, file.fileName()});
    QCOMPARE(decode.status(), 1);
    const QRegularExpression after(u"damaged after packet (\\d+)"_s);
    const QString packets = after.match(QString::fromUtf8(decode.err())).captured(1);
    QVERIFY2(packets.toInt() > 0, decode.err().constData());
    QVERIFY2(capture.err().contains(": " + packets.toUtf8() + " packets, "), capture.err().constData());
}

/// The capture of another program, in the form pcapng.
void TstCapture::fileOfAnotherProgram_holdsTheSame()
{
    QTemporaryDir folder;
    const QString file = folder.filePath(u"pcapng"_s);
    ChildProcess dumpcap(u"dumpcap"_s,
                         {u"-q"_s, u"-i"_s, u"lo"_s, u"-w"_s, file, u"-f"_s, u"port 45535 or port 45537"_s});
    QVERIFY(dumpcap.start());
    QVERIFY(dumpcap.waitForWords("File: "));
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    QVERIFY(gui.saveState(u"ready"_s, 1, u""_s, someDate()));
    QTRY_VERIFY_WITH_TIMEOUT(ProgramRun({u"decode"_s, file}).ending().out.contains("ok saveState"),
                             ChildProcess::PATIENCE_MS);
    QCOMPARE(dumpcap.terminate(), 0);
    const Ending ending = ProgramRun({u"decode"_s, file}).ending();
    QCOMPARE(ending.status, 0);
    QCOMPARE(ending.err, told("6 frames, 0 bad, 0 gaps"));
    QVERIFY(ending.out.contains("gui -> bus"));
}

void TstCapture::monitor_leavesNoCaptureBehind()
{
    ProgramRun monitor(u"monitor --capture"_s);
    QVERIFY(isCapturing(monitor));
    QFile children(u"/proc/%1/task/%1/children"_s.arg(monitor.processId()));
    QVERIFY(children.open(QIODevice::ReadOnly));
    const QByteArray child = children.readAll().trimmed();
    QVERIFY(child.toInt() > 0);
    QVERIFY(monitor.killHard());
    QTRY_VERIFY_WITH_TIMEOUT(statusLine(child.toInt(), "State").isEmpty()
                                 || statusLine(child.toInt(), "State").startsWith('Z'),
                             ChildProcess::PATIENCE_MS);
}

void TstCapture::withoutTheRight_is1_andSaysWhatToDo()
{
    const QByteArray words = "no right to capture: run as root, or let an administrator run `setcap cap_net_raw+ep "
        + CAPTURE.toUtf8() + "`\n";
    ChildProcess capture(CAPTURE);
    capture.setStepBeforeProgram(giveUpRights);
    QVERIFY(capture.start());
    QCOMPARE(capture.status(), 1);
    QCOMPARE(capture.err(), "tarvex-capture: " + words);
    QCOMPARE(capture.out(), QByteArray());
    ChildProcess monitor(ProgramRun::program(), {u"monitor"_s, u"--capture"_s});
    monitor.setStepBeforeProgram(giveUpRights);
    QVERIFY(monitor.start());
    QCOMPARE(monitor.status(), 1);
    QCOMPARE(monitor.err(), "tarvexctl: " + words);
}

void TstCapture::unknownInterface_is2()
{
    QCOMPARE(ProgramRun(u"monitor --capture nowhere0"_s).ending(), ended(2, {"there is no interface nowhere0"}));
}

void TstCapture::pastOfTheNetwork_isRefused()
{
    QCOMPARE(ProgramRun(u"monitor --capture --last 3"_s).ending(),
             ended(2, {"--last needs the development bus: the network keeps no past"}));
}

void TstCapture::wrongUse_is2_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("option") << QStringList{u"--all"_s} << QByteArray("--all is no INTERFACE; see --help");
    QTest::newRow("two") << QStringList{u"lo"_s, u"lo"_s} << QByteArray("at most one INTERFACE; see --help");
    QTest::newRow("empty") << QStringList{QString()} << QByteArray(" is no INTERFACE; see --help");
    QTest::newRow("unknown") << QStringList{u"nowhere0"_s} << QByteArray("there is no interface nowhere0");
    QTest::newRow("no interface of the network")
        << QStringList{u"dbus-session"_s} << QByteArray("there is no interface dbus-session");
}

void TstCapture::wrongUse_is2()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, words);
    ChildProcess capture(CAPTURE, arguments);
    QVERIFY(capture.start());
    QCOMPARE(capture.status(), 2);
    QCOMPARE(capture.err(), "tarvex-capture: " + words + '\n');
    QCOMPARE(capture.out(), QByteArray());
}

QTEST_GUILESS_MAIN(TstCapture)
#include "tst_capture.moc"
