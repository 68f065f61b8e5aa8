#include "busclient.h"
#include "devbusprogram.h"
#include "samples.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <memory>
#include <sys/syscall.h>

using samples::messageTo;
using samples::owned;

namespace {

/// From now on the system refuses this process a descriptor for signals. A limit for all descriptors would disturb the
/// sanitizers, which open some for their checks.
void refuseSignalDescriptors()
{
    sock_filter instructions[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_signalfd4, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EMFILE),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{4, instructions};
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0); // without this only root could set a filter
    ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
}

/// What ending() gives when a signal has ended the program and it has written \a errors to stderr.
QStringList endedBySignal(DevbusProgram& program, const QString& errors = QString())
{
    return {u"0"_s, program.lines().join(QLatin1Char('\n')) + QLatin1Char('\n'), errors};
}

} // namespace

class TstTarvexDevbus : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void commandLine_wrongUse_exitsWithTwo_data();
    void commandLine_wrongUse_exitsWithTwo();
    void commandLine_notText_isRefused();
    void commandLine_help_fitsTerminalAndTellsStatuses();
    void commandLine_questions_exitWithZero_data();
    void commandLine_questions_exitWithZero();
    void stdout_takesNothing_exitsWithOne_data();
    void stdout_takesNothing_exitsWithOne();
    void stderrClosed_nothingElseTakesItsPlace();
    void readyLine_saysWhereItStores_data();
    void readyLine_saysWhereItStores();
    void signals_endItCleanly_data();
    void signals_endItCleanly();
    void start_signalsNotToBeWatched_exitsWithOne();
    void start_portInUse_exitsWithOne();
    void start_badStorage_exitsWithOne();
    void start_readOnlyFile_exitsWithOne();
    void keep_isObeyed_data();
    void keep_isObeyed();
    void trace_showsFrames();
    void fault_happensFromTheFirstConnectionOn();
    void fault_withoutSeed_tellsTheChosenOne();
    void controlSocket_answersUntilTheEnd();
    void controlSocket_impossible_isAWordOnly();

private:
    QString storage() const { return m_folder->filePath(u"bus.sqlite"_s); }

    /// The files in the folder of the control socket.
    QStringList controlSockets() const { return QDir(m_runtimeFolder->path()).entryList(QDir::Files | QDir::System); }

    /// The first line that the control socket answers; empty when nobody answers.
    QByteArray askControlSocket() const;

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<QTemporaryDir> m_runtimeFolder;
};

void TstTarvexDevbus::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_runtimeFolder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid() && m_runtimeFolder->isValid());
    qputenv("XDG_RUNTIME_DIR", m_runtimeFolder->path().toUtf8());
}

QByteArray TstTarvexDevbus::askControlSocket() const
{
    QLocalSocket socket;
    socket.connectToServer(m_runtimeFolder->filePath(controlSockets().value(0)));
    socket.write("{\"request\":\"clients\"}\n");
    while (!socket.canReadLine() && socket.waitForReadyRead(ChildProcess::PATIENCE_MS)) { }
    return socket.readLine();
}

void TstTarvexDevbus::commandLine_wrongUse_exitsWithTwo_data()
{
    QTest::addColumn<QString>("words");
    const QString keep = u"--keep must be a whole number from 0 to 2147483647, not \"%1\""_s;
    const QString http = u"--http must be a port from 0 to 65535, not \"%1\""_s;
    QTest::newRow("--nonsense") << u"unknown option \"--nonsense\""_s;
    QTest::newRow("-x") << u"unknown option \"-x\""_s;
    QTest::newRow("-v") << u"unknown option \"-v\""_s;
    QTest::newRow("file") << u"unexpected argument \"file\""_s;
    QTest::newRow("--memory file") << u"unexpected argument \"file\""_s;
    QTest::newRow("--version file") << u"unexpected argument \"file\""_s;
    QTest::newRow("--storage") << u"Missing value after '--storage'"_s;
    QTest::newRow("--storage=") << u"--storage needs the name of a file"_s;
    QTest::newRow("--storage /tmp/x --memory") << u"--storage and --memory exclude each other"_s;
    QTest::newRow("--memory --keep") << u"Missing value after '--keep'"_s;
    QTest::newRow("--memory --keep many") << keep.arg(u"many"_s);
    QTest::newRow("--memory --keep -1") << keep.arg(-1);
    QTest::newRow("--memory --keep 2147483648") << keep.arg(2147483648LL);
    QTest::newRow("--memory=yes") << u"Unexpected value after '--memory'"_s;
    QTest::newRow("--memory --memory") << u"--memory is given more than once"_s;
    const QString frames = u"--frames must be a whole number from 1 to 1024, not \"%1\""_s;
    QTest::newRow("--memory --frames 0") << frames.arg(0);
    QTest::newRow("--memory --frames 1025") << frames.arg(1025);
    QTest::newRow("--memory --frames all") << frames.arg(u"all"_s);
    QTest::newRow("--memory --keep 1 --keep 2") << u"--keep is given more than once"_s;
    QTest::newRow("--memory --fault") << u"Missing value after '--fault'"_s;
    QTest::newRow("--memory --fault nth=0,do=drop")
        << u"--fault \"nth=0,do=drop\": nth and from must be numbers from 1 on, not 0"_s;
    QTest::newRow("--memory --fault do=drop --fault do=delay")
        << u"--fault \"do=delay\": do=delay is not possible; it must be do=delay:MS"_s;
    QTest::newRow("--memory --http") << u"Missing value after '--http'"_s;
    QTest::newRow("--memory --http page") << http.arg(u"page"_s);
    QTest::newRow("--memory --http 65536") << http.arg(65536);
    QTest::newRow("--memory --http -1") << http.arg(-1);
    QTest::newRow("--memory --http=") << http.arg(QString());
    QTest::newRow("--memory --http 0 --http 0") << u"--http is given more than once"_s;
    QTest::newRow("--version -V") << u"--version is given more than once"_s;
    QTest::newRow("-V --version") << u"--version is given more than once"_s;
}

/// The name of each row is the command line.
void TstTarvexDevbus::commandLine_wrongUse_exitsWithTwo()
{
    QFETCH(QString, words);
    DevbusProgram program(QString::fromLatin1(QTest::currentDataTag()).split(QLatin1Char(' ')));
    QCOMPARE(program.run(), complained(2, words + u"; see --help"_s));
}

void TstTarvexDevbus::commandLine_notText_isRefused()
{
    // The shell passes the argument, because QProcess passes nothing but text.
    DevbusProgram program(u"cd '%1'; set -- --storage \"$(printf 'a\\377')\""_s.arg(m_folder->path()), {});
    QCOMPARE(program.run(), complained(2, u"an argument is no text; see --help"_s));
    QVERIFY(QDir(m_folder->path()).isEmpty());
}

void TstTarvexDevbus::commandLine_help_fitsTerminalAndTellsStatuses()
{
    // The name of the default storage stands on a line of its own, at its full length.
    const QString home = QLatin1Char('/') + QString(100, QLatin1Char('h'));
    DevbusProgram program({u"--help"_s});
    program.setVariable(u"HOME"_s, home);
    program.removeVariable(u"XDG_STATE_HOME"_s);
    QCOMPARE(program.run().constFirst(), u"0"_s);
    const QString help = QString::fromUtf8(program.out());
    const QString storage = home + QLatin1String("/.local/state/tarvex-devbus/bus.sqlite");
    const QStringList lines = help.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        QVERIFY2(line.size() <= 80 || line == storage, qPrintable(line));
    }
    QVERIFY(help.contains(QLatin1Char('\n') + storage + QLatin1Char('\n')));
    QVERIFY(help.contains(u"pieces:BYTES:MS cut:BYTES damage[:BYTES[:base64|block]] again drop limit:BYTES"_s));
    QVERIFY(help.simplified().contains(u"it is created when it does not exist, its folder is not."_s));
    const QString statuses = help.section(u"\nExit status:\n"_s, 1);
    for (const char* const status : {"  0  ", "  1  ", "  2  "}) {
        QVERIFY2(statuses.contains(QLatin1String(status)), status);
    }
}

void TstTarvexDevbus::commandLine_questions_exitWithZero_data()
{
    QTest::addColumn<QString>("answer");
    QTest::newRow("--help") << u"--storage"_s;
    QTest::newRow("-h") << u"--storage"_s;
    QTest::newRow("-V") << u"tarvex-devbus 5.0.28\n"_s;
    QTest::newRow("--version") << u"tarvex-devbus 5.0.28\n"_s;
}

void TstTarvexDevbus::commandLine_questions_exitWithZero()
{
    QFETCH(QString, answer);
    DevbusProgram program({QString::fromLatin1(QTest::currentDataTag())});
    const QStringList ending = program.run();
    QCOMPARE(ending.at(0), u"0"_s);
    QVERIFY(ending.at(1).contains(answer));
    QCOMPARE(ending.at(2), QString());
}

void TstTarvexDevbus::stdout_takesNothing_exitsWithOne_data()
{
    QTest::addColumn<QString>("shell");
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QString>("reason");
    const QString full = u"exec >/dev/full"_s;
    const QString noSpace = u"No space left on device"_s;
    QTest::newRow("help, full") << full << u"--help"_s << noSpace;
    QTest::newRow("version, full") << full << u"--version"_s << noSpace;
    QTest::newRow("version, closed") << u"exec >&-"_s << u"--version"_s << u"it is closed"_s;
    // Otherwise a program that waits for the ready line would wait for ever.
    QTest::newRow("ready, full") << full << u"--memory"_s << noSpace;
    QTest::newRow("ready, closed") << u"exec >&-"_s << u"--memory"_s << u"it is closed"_s;
}

void TstTarvexDevbus::stdout_takesNothing_exitsWithOne()
{
    QFETCH(QString, shell);
    QFETCH(QString, argument);
    QFETCH(QString, reason);
    DevbusProgram program(shell, {argument});
    QCOMPARE(program.run(), complained(1, u"cannot write to stdout: "_s + reason));
}

/// Otherwise the next file or connection would get the number 2, and what is meant for stderr would go there.
void TstTarvexDevbus::stderrClosed_nothingElseTakesItsPlace()
{
    DevbusProgram program(u"exec 2>&-"_s, {u"--memory"_s, u"--trace"_s});
    QVERIFY(program.becomesReady());
    const QString place = u"/proc/%1/fd/2"_s.arg(program.processId());
    QCOMPARE(QFile::symLinkTarget(place), u"/dev/null"_s);
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    QCOMPARE(client.ask(u"saveState"_s, owned(u"a"_s)).code, 0);
    QCOMPARE(program.terminate(), 0);
}

void TstTarvexDevbus::readyLine_saysWhereItStores_data()
{
    QTest::addColumn<QStringList>("arguments"); // %1 is the home folder
    QTest::addColumn<QString>("stateHome");
    QTest::addColumn<QString>("file"); // empty: in memory
    const QStringList none;
    QTest::newRow("file") << QStringList{u"--storage"_s, u"%1/bus.sqlite"_s} << QString() << u"bus.sqlite"_s;
    QTest::newRow("memory") << QStringList{u"--memory"_s} << QString() << QString();
    QTest::newRow("by default") << none << QString() << u".local/state/tarvex-devbus/bus.sqlite"_s;
    QTest::newRow("relative folder") << none << u"state"_s << u".local/state/tarvex-devbus/bus.sqlite"_s;
    QTest::newRow("folder") << none << u"%1/state"_s << u"state/tarvex-devbus/bus.sqlite"_s;
}

void TstTarvexDevbus::readyLine_saysWhereItStores()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, stateHome);
    QFETCH(QString, file);
    const QString home = m_folder->path();
    DevbusProgram program(arguments.replaceInStrings(u"%1"_s, home));
    program.setVariable(u"HOME"_s, home);
    program.setVariable(u"XDG_STATE_HOME"_s, stateHome.replace(QLatin1String("%1"), home));
    QVERIFY(program.becomesReady());
    const QString place = file.isEmpty() ? u"memory"_s : m_folder->filePath(file);
    QCOMPARE(program.lines(),
             QStringList(u"tarvex-devbus: ready on 127.0.0.1 ports 45535 and 45537, storing in "_s + place));
    QVERIFY(BusClient(BusClient::QUERY_PORT, u"a"_s).isConnected());
    QVERIFY(BusClient(BusClient::RECEIVER_PORT, u"a"_s).isConnected());
    QCOMPARE(QDir(home).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).isEmpty(), file.isEmpty());
    QVERIFY(file.isEmpty() || QFileInfo::exists(place));
}

void TstTarvexDevbus::signals_endItCleanly_data()
{
    QTest::addColumn<int>("number");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void TstTarvexDevbus::signals_endItCleanly()
{
    QFETCH(int, number);
    DevbusProgram program({u"--storage"_s, storage()});
    QVERIFY(program.becomesReady());
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    BusClient half(BusClient::RECEIVER_PORT);
    QVERIFY(half.send("[-REQ"));
    QCOMPARE(client.ask(u"saveState"_s, owned(u"a"_s)).code, 0);
    program.sendSignal(number);
    QCOMPARE(program.ending(), endedBySignal(program));
    QVERIFY(client.waitForClose());
    QVERIFY(!QFileInfo::exists(storage() + u"-wal"_s));
}

void TstTarvexDevbus::start_signalsNotToBeWatched_exitsWithOne()
{
    DevbusProgram program({u"--memory"_s});
    program.setStepBeforeProgram(refuseSignalDescriptors);
    QCOMPARE(program.run(), complained(1, u"cannot watch for SIGTERM and SIGINT: Too many open files"_s));
    QCOMPARE(controlSockets(), QStringList());
}

void TstTarvexDevbus::start_portInUse_exitsWithOne()
{
    DevbusProgram first({u"--memory"_s});
    QVERIFY(first.becomesReady());
    DevbusProgram second({u"--memory"_s});
    QCOMPARE(
        second.run(),
        complained(1, u"port 45535 of 127.0.0.1 is taken: is another bus running there? Stop it, then try again"_s));
    // The second has not taken the first one's control socket.
    QCOMPARE(askControlSocket(), QByteArray("{\"done\":true}\n"));
}

void TstTarvexDevbus::start_badStorage_exitsWithOne()
{
    const QString path = u"/no such folder/bus.sqlite"_s;
    DevbusProgram program({u"--storage"_s, path});
    QCOMPARE(program.run(), complained(1, u"cannot use the storage \"%1\": its folder does not exist"_s.arg(path)));
}

void TstTarvexDevbus::start_readOnlyFile_exitsWithOne()
{
    DevbusProgram program({u"--storage"_s, storage()});
    QVERIFY(program.becomesReady());
    QCOMPARE(program.terminate(), 0);
    QFile file(storage());
    QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray before = file.readAll();
    DevbusProgram again({u"--storage"_s, storage()});
    QCOMPARE(again.run(), complained(1, u"cannot use the storage \"%1\": Permission denied"_s.arg(storage())));
    QVERIFY(file.seek(0));
    QVERIFY(file.readAll() == before);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList{u"bus.sqlite"_s});
}

void TstTarvexDevbus::keep_isObeyed_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("keep");
    QTest::newRow("two") << QStringList{u"--keep"_s, u"2"_s} << 2;
    QTest::newRow("by default") << QStringList() << 1000;
}

void TstTarvexDevbus::keep_isObeyed()
{
    QFETCH(QStringList, options);
    QFETCH(int, keep);
    DevbusProgram program(QStringList{u"--memory"_s} + options);
    QVERIFY(program.becomesReady());
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    for (int number = 1; number <= keep + 1; ++number) {
        QCOMPARE(sender.ask(u"sendMessage"_s, messageTo(u"b"_s, QString::number(number))).code, 0);
    }
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QCOMPARE(receiver.read().uid(), u"2"_s);
    program.terminate();
    const QString words = u"tarvex-devbus: dropped the oldest 1 of more than %1 messages that wait for \"b\"\n"_s;
    QCOMPARE(program.ending(), endedBySignal(program, words.arg(keep)));
}

void TstTarvexDevbus::trace_showsFrames()
{
    DevbusProgram program({u"--memory"_s, u"--trace"_s});
    QVERIFY(program.becomesReady());
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    QCOMPARE(client.ask(u"loadState"_s, owned(u"a"_s)).code, 5);
    QCOMPARE(program.terminate(), 0);
    const QStringList lines = program.errorLines();
    QCOMPARE(lines.size(), 4);
    const QRegularExpression time(u"^\\d\\d:\\d\\d:\\d\\d\\.\\d{3} $"_s);
    QVERIFY2(time.match(lines.at(0).left(13)).hasMatch(), qPrintable(lines.at(0)));
    QCOMPARE(lines.at(0).mid(13), u"in  query/- REQUEST handshake {\"name\":\"a\"}"_s);
    QCOMPARE(lines.at(3).mid(13), u"out query/a REPLY loadState {} 5"_s);
}

void TstTarvexDevbus::fault_happensFromTheFirstConnectionOn()
{
    DevbusProgram program({u"--memory"_s, u"--fault"_s, u"operation=handshake once do=\"error:3:not yet\""_s,
                           u"--fault"_s, u"operation=loadState,do=error:512"_s});
    QVERIFY(program.becomesReady());
    BusClient client(BusClient::QUERY_PORT);
    QCOMPARE(client.ask(u"handshake"_s, {{u"name"_s, u"printer"_s}}).description, u"not yet"_s);
    QCOMPARE(client.ask(u"handshake"_s, {{u"name"_s, u"printer"_s}}).code, 0);
    QCOMPARE(client.ask(u"loadState"_s, owned(u"cashbox"_s)).code, 512);
    QCOMPARE(program.terminate(), 0);
}

void TstTarvexDevbus::fault_withoutSeed_tellsTheChosenOne()
{
    DevbusProgram program({u"--memory"_s, u"--fault"_s, u"do=drop probability=0.5"_s});
    QVERIFY(program.becomesReady());
    QVERIFY(program.waitForWords("do=drop\n"));
    const QString errors = QString::fromUtf8(program.err());
    const QRegularExpression expected(u"^tarvex-devbus: fault 1: probability=0\\.5 seed=[0-9]+ do=drop\n$"_s);
    QVERIFY2(expected.match(errors).hasMatch(), qPrintable(errors));
}

void TstTarvexDevbus::controlSocket_answersUntilTheEnd()
{
    DevbusProgram program({u"--memory"_s});
    QVERIFY(program.becomesReady());
    QCOMPARE(controlSockets().size(), 1);
    const BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    const QByteArray item = askControlSocket();
    QVERIFY2(item.startsWith("{\"item\":{") && item.contains("\"name\":\"printer\""), item.constData());
    program.terminate();
    QCOMPARE(program.ending(), endedBySignal(program));
    QCOMPARE(controlSockets(), QStringList());
}

void TstTarvexDevbus::controlSocket_impossible_isAWordOnly()
{
    // Longer than the address of a socket may be.
    const QString folder = m_folder->filePath(QString(150, QLatin1Char('x')));
    QVERIFY(QDir().mkdir(folder));
    QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    DevbusProgram program({u"--memory"_s});
    program.setVariable(u"XDG_RUNTIME_DIR"_s, folder);
    QVERIFY(program.becomesReady());
    QVERIFY(BusClient(BusClient::QUERY_PORT, u"a"_s).isConnected());
    QCOMPARE(program.terminate(), 0);
    const QStringList errors = program.errorLines();
    QCOMPARE(errors.size(), 1);
    QVERIFY2(errors.constFirst().startsWith(u"tarvex-devbus: cannot open the control socket: "_s + folder),
             qPrintable(errors.constFirst()));
}

QTEST_GUILESS_MAIN(TstTarvexDevbus)
#include "tst_tarvexdevbus.moc"
