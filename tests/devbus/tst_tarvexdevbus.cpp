#include "busclient.h"
#include "client/tarvexqueryhandler.h"
#include "literals.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <memory>
#include <sys/prctl.h>
#include <sys/syscall.h>

using namespace tarvex;

namespace {

constexpr int PATIENCE_MS = 30000;

/// A process that file modes bind like any other user's even when root starts it, as in a namespace of the test's own.
class BoundProcess : public QProcess
{
protected:
    // Between fork and exec, so a system call and nothing else. It fails for who is not root, and has no need of it.
    void setupChildProcess() override { ::prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE); }
};

/// A process to which the system gives no descriptor for signals. A limit for all descriptors would disturb the
/// sanitizers, which open some for their checks.
class ProcessWithoutSignalDescriptor : public QProcess
{
protected:
    void setupChildProcess() override
    {
        sock_filter instructions[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_signalfd4, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EMFILE),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        const sock_fprog program{4, instructions};
        ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0); // or only root could set a filter
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
    }
};

/// The program, from the test's build.
class Program
{
public:
    explicit Program(const QStringList& arguments, const QString& home = QString())
    {
        setHome(home);
        m_process.start(QStringLiteral(TARVEX_DEVBUS), arguments);
    }

    /// Runs it by way of a shell, where a limit has been set.
    Program(const QString& limit, const QStringList& arguments)
    {
        m_process.start(u"/bin/sh"_s,
                        QStringList{u"-c"_s, limit + u"; exec \"$0\" \"$@\""_s, QStringLiteral(TARVEX_DEVBUS)}
                            + arguments);
    }

    ~Program()
    {
        m_process.kill();
        m_process.waitForFinished(PATIENCE_MS);
    }

    Q_DISABLE_COPY_MOVE(Program)

    /// \return the line that says that it is ready, or nothing.
    QByteArray readyLine()
    {
        while (!m_process.canReadLine() && m_process.waitForReadyRead(PATIENCE_MS)) { }
        return m_process.canReadLine() ? m_process.readLine() : QByteArray();
    }

    bool isReady() { return readyLine().contains("ready"); }

    qint64 processId() const { return m_process.processId(); }

    void signal(int number) { ::kill(static_cast<pid_t>(m_process.processId()), number); }

    bool kill()
    {
        m_process.kill();
        return m_process.waitForFinished(PATIENCE_MS);
    }

    /// \return the exit status, or -1.
    int wait()
    {
        m_process.waitForFinished(PATIENCE_MS);
        const bool hasExited =
            m_process.state() == QProcess::NotRunning && m_process.exitStatus() == QProcess::NormalExit;
        return hasExited ? m_process.exitCode() : -1;
    }

    QByteArray output() { return m_process.readAllStandardOutput(); }

    QByteArray errors() { return m_process.readAllStandardError(); }

private:
    void setHome(const QString& home)
    {
        m_process.setReadChannel(QProcess::StandardOutput);
        if (!home.isEmpty()) {
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(u"HOME"_s, home);
            environment.remove(u"XDG_STATE_HOME"_s);
            m_process.setProcessEnvironment(environment);
        }
    }

    BoundProcess m_process;
};

QStringList storing(const QString& path)
{
    return {u"--storage"_s, path};
}

QVariantMap owned(const QString& owner)
{
    return {{u"owner"_s, owner}};
}

QVariantMap messageTo(const QString& addressee, const QString& uid)
{
    return {{u"reciever"_s, addressee}, {u"message"_s, u"text"_s}, {u"UID"_s, uid}};
}

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

bool isOneLine(const QByteArray& text)
{
    return text.endsWith('\n') && text.count('\n') == 1 && text.startsWith("tarvex-devbus: ");
}

} // namespace

class TstTarvexDevbus : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void commandLine_wrongUse_exitsWithTwo_data();
    void commandLine_wrongUse_exitsWithTwo();
    void commandLine_wrongUse_saysWhat_data();
    void commandLine_wrongUse_saysWhat();
    void commandLine_notText_isRefused();
    void commandLine_help_fitsTerminalAndTellsStatuses();
    void commandLine_questions_exitWithZero_data();
    void commandLine_questions_exitWithZero();
    void commandLine_questions_stdoutFull_exitWithOne_data();
    void commandLine_questions_stdoutFull_exitWithOne();
    void commandLine_questions_stdoutClosed_exitWithOne();
    void readyLine_notWritten_exitsWithOne_data();
    void readyLine_notWritten_exitsWithOne();
    void stderrClosed_nothingElseTakesItsPlace();
    void readyLine_saysWhereItStores();
    void readyLine_memory_saysSo();
    void defaultStorage_isMadeInStateFolder();
    void defaultStorage_followsStateHome();
    void signals_endItCleanly_data();
    void signals_endItCleanly();
    void start_signalsNotToBeWatched_exitsWithOne();
    void start_portInUse_exitsWithOne();
    void start_badStorage_exitsWithOne_data();
    void start_badStorage_exitsWithOne();
    void start_readOnlyFile_exitsWithOne();
    void start_damagedFile_isLeftAsItIs();
    void killed_rightAfterReplies_keepsEverything();
    void killed_inTheMidst_keepsWhatWasConfirmed();
    void killed_unacknowledgedMessages_comeAgain();
    void acknowledgements_beforeReset_areTakenLate_data();
    void acknowledgements_beforeReset_areTakenLate();
    void diskFull_isReportedAndServiceGoesOn();
    void keep_isObeyed_data();
    void keep_isObeyed();
    void trace_showsFrames();
    void sameServiceTwice_isWarnedOf();
    void controlSocket_answersUntilTheEnd();
    void controlSocket_ofKilledBus_isReplaced();
    void controlSocket_ofRunningBus_isLeftToIt();
    void controlSocket_impossible_isAWordOnly();

private:
    QString storage() const { return m_folder->filePath(u"bus.sqlite"_s); }

    /// The files in the folder of the control socket.
    QStringList controlSockets() const { return QDir(m_runtimeFolder->path()).entryList(QDir::Files | QDir::System); }

    /// What the control socket answers first; empty when nobody does.
    QByteArray askControlSocket(const QByteArray& request) const;

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<QTemporaryDir> m_runtimeFolder;
};

void TstTarvexDevbus::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    m_runtimeFolder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_runtimeFolder->isValid());
    qputenv("XDG_RUNTIME_DIR", m_runtimeFolder->path().toUtf8());
}

QByteArray TstTarvexDevbus::askControlSocket(const QByteArray& request) const
{
    QLocalSocket socket;
    socket.connectToServer(m_runtimeFolder->filePath(controlSockets().value(0)));
    socket.write(request + '\n');
    while (!socket.canReadLine() && socket.waitForReadyRead(PATIENCE_MS)) { }
    return socket.readLine();
}

void TstTarvexDevbus::commandLine_wrongUse_exitsWithTwo_data()
{
    QTest::addColumn<QStringList>("arguments");
    const auto row = [](const char* arguments) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments).split(QLatin1Char(' '));
    };
    row("--nonsense");
    row("file");
    row("--memory file");
    row("--storage");
    row("--storage=");
    row("--storage /tmp/x --memory");
    row("--memory --keep");
    row("--memory --keep many");
    row("--memory --keep -1");
    row("--memory --keep 2147483648");
    row("--memory=yes");
    row("--memory --memory");
    row("--memory --keep 1 --keep 2");
    row("--version -V");
    row("--version file");
    row("-v");
}

void TstTarvexDevbus::commandLine_wrongUse_exitsWithTwo()
{
    QFETCH(QStringList, arguments);
    Program program(arguments);
    QCOMPARE(program.wait(), 2);
    const QByteArray errors = program.errors();
    QVERIFY2(isOneLine(errors), errors.constData());
    QCOMPARE(program.output(), QByteArray());
}

void TstTarvexDevbus::commandLine_wrongUse_saysWhat_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("words");
    const auto row = [](const char* arguments, const char* words) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments).split(QLatin1Char(' ')) << QByteArray(words);
    };
    row("--nonsense", "unknown option \"--nonsense\"; see --help");
    row("-x", "unknown option \"-x\"; see --help");
    row("file", "unexpected argument \"file\"; see --help");
    row("--memory --memory", "--memory is given more than once; see --help");
    row("--memory --keep 1 --keep 2", "--keep is given more than once; see --help");
    row("-V --version", "--version is given more than once; see --help");
    row("--memory --keep 2147483648",
        "--keep must be a whole number from 0 to 2147483647, not \"2147483648\"; see --help");
}

void TstTarvexDevbus::commandLine_wrongUse_saysWhat()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, words);
    Program program(arguments);
    QCOMPARE(program.wait(), 2);
    QCOMPARE(program.errors(), "tarvex-devbus: " + words + '\n');
}

void TstTarvexDevbus::commandLine_notText_isRefused()
{
    // Through the shell, because QProcess itself passes nothing but text.
    Program program(u"cd '%1'; set -- --storage \"$(printf 'a\\377')\""_s.arg(m_folder->path()), {});
    QCOMPARE(program.wait(), 2);
    QCOMPARE(program.errors(), QByteArray("tarvex-devbus: an argument is no text; see --help\n"));
    QVERIFY(QDir(m_folder->path()).isEmpty());
}

void TstTarvexDevbus::commandLine_help_fitsTerminalAndTellsStatuses()
{
    // The name of the default storage stands on a line of its own, and whole.
    const QString home = QLatin1Char('/') + QString(100, QLatin1Char('h'));
    Program program({u"--help"_s}, home);
    QCOMPARE(program.wait(), 0);
    const QString help = QString::fromUtf8(program.output());
    const QString storage = home + QLatin1String("/.local/state/tarvex-devbus/bus.sqlite");
    const QStringList lines = help.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        QVERIFY2(line.size() <= 80 || line == storage, qPrintable(line));
    }
    QVERIFY(help.contains(QLatin1Char('\n') + storage + QLatin1Char('\n')));
    QVERIFY(help.simplified().contains(u"it is created when it does not exist, its folder is not."_s));
    const QString statuses = help.section(u"\nExit status:\n"_s, 1);
    for (const char* const status : {"  0  ", "  1  ", "  2  "}) {
        QVERIFY2(statuses.contains(QLatin1String(status)), status);
    }
}

void TstTarvexDevbus::commandLine_questions_exitWithZero_data()
{
    QTest::addColumn<QString>("argument");
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("help") << u"--help"_s << QByteArray("--storage");
    QTest::newRow("help, short") << u"-h"_s << QByteArray("--storage");
    QTest::newRow("version, short") << u"-V"_s << QByteArray("tarvex-devbus 5.0.28\n");
    QTest::newRow("version") << u"--version"_s << QByteArray("tarvex-devbus 5.0.28\n");
}

void TstTarvexDevbus::commandLine_questions_exitWithZero()
{
    QFETCH(QString, argument);
    QFETCH(QByteArray, answer);
    Program program({argument});
    QCOMPARE(program.wait(), 0);
    QVERIFY(program.output().contains(answer));
    QCOMPARE(program.errors(), QByteArray());
}

void TstTarvexDevbus::commandLine_questions_stdoutFull_exitWithOne_data()
{
    QTest::addColumn<QString>("argument");
    QTest::newRow("help") << u"--help"_s;
    QTest::newRow("version") << u"--version"_s;
}

void TstTarvexDevbus::commandLine_questions_stdoutClosed_exitWithOne()
{
    Program program(u"exec >&-"_s, {u"--version"_s});
    QCOMPARE(program.wait(), 1);
    QCOMPARE(program.errors(), QByteArray("tarvex-devbus: cannot write to stdout: it is closed\n"));
}

void TstTarvexDevbus::readyLine_notWritten_exitsWithOne_data()
{
    QTest::addColumn<QString>("stream");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("full") << u"exec >/dev/full"_s << QByteArray("No space left on device");
    QTest::newRow("closed") << u"exec >&-"_s << QByteArray("it is closed");
}

/// Whoever waits for the line would wait for ever.
void TstTarvexDevbus::readyLine_notWritten_exitsWithOne()
{
    QFETCH(QString, stream);
    QFETCH(QByteArray, reason);
    Program program(stream, {u"--memory"_s});
    QCOMPARE(program.wait(), 1);
    QCOMPARE(program.errors(), "tarvex-devbus: cannot write to stdout: " + reason + '\n');
}

/// The next thing to be opened would have the number, and get what is meant for stderr.
void TstTarvexDevbus::stderrClosed_nothingElseTakesItsPlace()
{
    Program program(u"exec 2>&-"_s, {u"--memory"_s, u"--trace"_s});
    QVERIFY(program.isReady());
    const QString place = u"/proc/%1/fd/2"_s.arg(program.processId());
    QCOMPARE(QFile::symLinkTarget(place), u"/dev/null"_s);
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    QCOMPARE(client.ask(u"saveState"_s, owned(u"a"_s)).code, 0);
    program.signal(SIGTERM);
    QCOMPARE(program.wait(), 0);
}

void TstTarvexDevbus::commandLine_questions_stdoutFull_exitWithOne()
{
    QFETCH(QString, argument);
    Program program(u"exec >/dev/full"_s, {argument});
    QCOMPARE(program.wait(), 1);
    QCOMPARE(program.errors(), QByteArray("tarvex-devbus: cannot write to stdout: No space left on device\n"));
}

void TstTarvexDevbus::readyLine_saysWhereItStores()
{
    Program program(storing(storage()));
    QCOMPARE(program.readyLine(),
             "tarvex-devbus: ready on 127.0.0.1 ports 45535 and 45537, storing in " + storage().toUtf8() + '\n');
    QVERIFY(BusClient(BusClient::QUERY_PORT, u"a"_s).isConnected());
    QVERIFY(BusClient(BusClient::RECEIVER_PORT, u"a"_s).isConnected());
    QVERIFY(QFileInfo::exists(storage()));
}

void TstTarvexDevbus::readyLine_memory_saysSo()
{
    Program program({u"--memory"_s}, m_folder->path());
    QVERIFY(program.readyLine().endsWith(" storing in memory\n"));
    QVERIFY(BusClient(BusClient::QUERY_PORT, u"a"_s).isConnected());
    QVERIFY(QDir(m_folder->path()).isEmpty());
}

void TstTarvexDevbus::defaultStorage_isMadeInStateFolder()
{
    Program program({}, m_folder->path());
    const QString path = m_folder->filePath(u".local/state/tarvex-devbus/bus.sqlite"_s);
    QVERIFY(program.readyLine().contains(path.toUtf8()));
    QVERIFY(QFileInfo::exists(path));
}

void TstTarvexDevbus::defaultStorage_followsStateHome()
{
    qputenv("XDG_STATE_HOME", m_folder->filePath(u"state"_s).toUtf8());
    Program program(QStringList{});
    const bool isReady = program.isReady();
    qunsetenv("XDG_STATE_HOME");
    QVERIFY(isReady);
    QVERIFY(QFileInfo::exists(m_folder->filePath(u"state/tarvex-devbus/bus.sqlite"_s)));
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
    Program program(storing(storage()));
    QVERIFY(program.isReady());
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    BusClient half(BusClient::RECEIVER_PORT);
    QVERIFY(half.send("[-REQ"));
    QCOMPARE(client.ask(u"saveState"_s, owned(u"a"_s)).code, 0);
    program.signal(number);
    QCOMPARE(program.wait(), 0);
    QVERIFY(client.waitForClose());
    QCOMPARE(program.errors(), QByteArray());
    QVERIFY(!QFileInfo::exists(storage() + u"-wal"_s));
}

void TstTarvexDevbus::start_signalsNotToBeWatched_exitsWithOne()
{
    ProcessWithoutSignalDescriptor program;
    program.start(QStringLiteral(TARVEX_DEVBUS), {u"--memory"_s});
    if (!program.waitForFinished(PATIENCE_MS)) {
        program.kill();
        program.waitForFinished(PATIENCE_MS);
    }
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 1);
    QCOMPARE(program.readAllStandardError(),
             QByteArray("tarvex-devbus: cannot watch for SIGTERM and SIGINT: Too many open files\n"));
    QCOMPARE(program.readAllStandardOutput(), QByteArray());
    QCOMPARE(controlSockets(), QStringList());
}

void TstTarvexDevbus::start_portInUse_exitsWithOne()
{
    Program first(storing(storage()));
    QVERIFY(first.isReady());
    Program second({u"--memory"_s});
    QCOMPARE(second.wait(), 1);
    const QByteArray errors = second.errors();
    QCOMPARE(
        errors,
        QByteArray("tarvex-devbus: port 45535 of 127.0.0.1 is taken: is another bus running there? Stop it, then try "
                   "again\n"));
    QCOMPARE(second.output(), QByteArray());
}

void TstTarvexDevbus::start_badStorage_exitsWithOne_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("reason");
    QTest::newRow("folder") << u"/tmp"_s << QByteArray("it is no regular file");
    QTest::newRow("missing folder") << u"/no such folder/bus.sqlite"_s << QByteArray("its folder does not exist");
    QTest::newRow("no folder at all") << u"/dev/null/bus.sqlite"_s << QByteArray("its folder does not exist");
    QTest::newRow("cannot be written") << u"/proc/bus.sqlite"_s << QByteArray();
}

void TstTarvexDevbus::start_badStorage_exitsWithOne()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, reason);
    Program program(storing(path));
    QCOMPARE(program.wait(), 1);
    const QByteArray errors = program.errors();
    QVERIFY2(isOneLine(errors) && errors.contains(path.toUtf8()), errors.constData());
    QVERIFY2(errors.contains(reason), errors.constData());
    QCOMPARE(program.output(), QByteArray());
}

void TstTarvexDevbus::start_readOnlyFile_exitsWithOne()
{
    {
        Program program(storing(storage()));
        QVERIFY(program.isReady());
        program.signal(SIGTERM);
        QCOMPARE(program.wait(), 0);
    }
    QVERIFY(QFile::setPermissions(storage(), QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther));
    const QByteArray before = contents(storage());
    Program program(storing(storage()));
    QCOMPARE(program.wait(), 1);
    const QByteArray errors = program.errors();
    QVERIFY2(isOneLine(errors) && errors.contains(storage().toUtf8()), errors.constData());
    QCOMPARE(program.output(), QByteArray());
    QVERIFY(contents(storage()) == before);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), QStringList{u"bus.sqlite"_s});
}

void TstTarvexDevbus::start_damagedFile_isLeftAsItIs()
{
    {
        Program program(storing(storage()));
        QVERIFY(program.isReady());
        program.signal(SIGTERM);
        QCOMPARE(program.wait(), 0);
    }
    QFile file(storage());
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.seek(4096));
    file.write(QByteArray(4096, 'x'));
    file.close();
    const QByteArray before = contents(storage());
    Program program(storing(storage()));
    QCOMPARE(program.wait(), 1);
    const QByteArray errors = program.errors();
    QVERIFY2(isOneLine(errors), errors.constData());
    QVERIFY(contents(storage()) == before);
}

void TstTarvexDevbus::killed_rightAfterReplies_keepsEverything()
{
    Program program(storing(storage()));
    QVERIFY(program.isReady());
    TarvexQueryHandler handler(u"printer"_s);
    QVERIFY(handler.open());
    ClientState state;
    state.setStateType(static_cast<ClientState::EStateType>(9));
    ClientSettings settings;
    settings.setOwner(u"printer"_s);
    ClientSettings removed;
    removed.setOwner(u"removed"_s);
    QVERIFY(handler.saveSettings(QList<ClientSettings>{settings, removed}));
    QVERIFY(handler.subscribe(u"cashbox"_s, 2));
    QVERIFY(handler.saveState(state));
    Message message;
    message.setReciever(u"cashbox"_s);
    message.setMessage(u"hello"_s);
    QVERIFY(handler.sendMessage(message));
    QVERIFY(handler.removeSettings(u"removed"_s));
    QVERIFY(program.kill());

    Program again(storing(storage()));
    QVERIFY(again.isReady());
    TarvexQueryHandler reader(u"printer"_s);
    QVERIFY(reader.open());
    ClientState foundState;
    QVERIFY(reader.loadState(QString(), foundState));
    QCOMPARE(static_cast<int>(foundState.stateType()), 9);
    ClientSettings foundSettings;
    QVERIFY(reader.loadSettings(QString(), foundSettings));
    QVERIFY(foundSettings == settings);
    QVERIFY(!reader.loadSettings(u"removed"_s, foundSettings));
    BusClient cashbox(BusClient::RECEIVER_PORT, u"cashbox"_s);
    QCOMPARE(cashbox.read().data.value(u"message"_s).toString(), u"hello"_s);
    BusClient publisher(BusClient::QUERY_PORT, u"cashbox"_s);
    QCOMPARE(publisher.ask(u"sendMessage"_s, messageTo(QString(), u"to all"_s)).code, 0);
    BusClient subscriber(BusClient::RECEIVER_PORT, u"printer"_s);
    QVERIFY(subscriber.acknowledge(subscriber.read())); // the announcement of its settings
    QCOMPARE(subscriber.read().data.value(u"UID"_s).toString(), u"to all"_s);
}

void TstTarvexDevbus::killed_inTheMidst_keepsWhatWasConfirmed()
{
    int confirmed = 0;
    for (int round = 0; round < 5; ++round) {
        Program program(storing(storage()));
        QVERIFY(program.isReady());
        BusClient client(BusClient::QUERY_PORT, u"a"_s);
        for (int number = 0; number < confirmed; ++number) {
            QCOMPARE(client.ask(u"loadState"_s, owned(QString::number(number))).code, 0);
        }
        QByteArray requests;
        for (int number = 0; number < 300; ++number) {
            QVariantMap state = owned(QString::number(confirmed + number));
            state.insert(u"state"_s, QString(5000, QLatin1Char('x')));
            requests += FakeBus::requestFrame(u"saveState"_s, state);
        }
        QVERIFY(client.send(requests));
        for (int number = 0; number < 20 * round + 1; ++number) {
            QCOMPARE(client.read().code, 0);
            ++confirmed;
        }
        QVERIFY(program.kill());
    }
}

void TstTarvexDevbus::killed_unacknowledgedMessages_comeAgain()
{
    auto program = std::make_unique<Program>(storing(storage()));
    QVERIFY(program->isReady());
    {
        BusClient sender(BusClient::QUERY_PORT, u"a"_s);
        BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
        for (const char* const uid : {"1", "2", "3"}) {
            const QVariantMap message = messageTo(u"b"_s, QString::fromLatin1(uid));
            QCOMPARE(sender.ask(u"sendMessage"_s, message).code, 0);
        }
        const BusClient::Frame first = receiver.read();
        QVERIFY(receiver.read().isValid);
        QVERIFY(receiver.acknowledge(first));
        // Answered after the acknowledgement, so that has been dealt with.
        QCOMPARE(receiver.read().data.value(u"UID"_s).toString(), u"3"_s);
        QCOMPARE(receiver.ask(u"dance"_s, {}).code, 4);
        QVERIFY(program->kill());
    }
    program = std::make_unique<Program>(storing(storage()));
    QVERIFY(program->isReady());
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QCOMPARE(receiver.read().data.value(u"UID"_s).toString(), u"2"_s);
    QCOMPARE(receiver.read().data.value(u"UID"_s).toString(), u"3"_s);
}

void TstTarvexDevbus::acknowledgements_beforeReset_areTakenLate_data()
{
    QTest::addColumn<bool>("hasMoreToPush");
    QTest::newRow("nothing new") << false;
    QTest::newRow("more to push") << true;
}

/// A client that ends leaves what it has not read, and the system tells the bus of that by a reset. What the client has
/// sent before counts all the same, even when the bus finds both at once.
void TstTarvexDevbus::acknowledgements_beforeReset_areTakenLate()
{
    QFETCH(bool, hasMoreToPush);
    constexpr int ACKNOWLEDGED = 40;
    constexpr int SENT = 60;
    Program program(storing(storage()));
    QVERIFY(program.isReady());
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    {
        BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
        for (int number = 1; number <= SENT; ++number) {
            const QVariantMap message = messageTo(u"b"_s, QString::number(number));
            QCOMPARE(sender.ask(u"sendMessage"_s, message).code, 0);
        }
        QList<BusClient::Frame> pushed;
        for (int number = 1; number <= ACKNOWLEDGED; ++number) {
            pushed.append(receiver.read());
            QVERIFY(pushed.last().isValid);
        }
        QVERIFY(receiver.hasBytes());
        program.signal(SIGSTOP);
        if (hasMoreToPush) {
            QVERIFY(sender.sendRequest(u"sendMessage"_s, messageTo(u"b"_s, u"new"_s)));
        }
        for (const BusClient::Frame& frame : qAsConst(pushed)) {
            QVERIFY(receiver.acknowledge(frame));
        }
        // A reset takes back what has not left this side yet.
        QTRY_VERIFY_WITH_TIMEOUT(receiver.hasSentAll(), PATIENCE_MS);
    }
    program.signal(SIGCONT);
    if (hasMoreToPush) {
        QCOMPARE(sender.read().code, 0);
    }
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    for (int number = ACKNOWLEDGED + 1; number <= SENT; ++number) {
        QCOMPARE(receiver.read().data.value(u"UID"_s).toString(), QString::number(number));
    }
}

void TstTarvexDevbus::diskFull_isReportedAndServiceGoesOn()
{
    // 400 blocks of 512 bytes are the largest file it may write.
    Program program(u"trap '' XFSZ; ulimit -f 400"_s, storing(storage()));
    QVERIFY(program.isReady());
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    QVERIFY(client.isConnected());
    QVariantMap state = owned(u"a"_s);
    state.insert(u"state"_s, QString(1024 * 1024, QLatin1Char('x')));
    QCOMPARE(client.ask(u"saveState"_s, state).code, 512);
    QCOMPARE(client.ask(u"saveState"_s, state).code, 512);
    state.insert(u"state"_s, u"small"_s);
    QCOMPARE(client.ask(u"saveState"_s, state).code, 0);
    const BusClient::Frame loaded = client.ask(u"loadState"_s, owned(u"a"_s));
    QCOMPARE(loaded.data.value(u"state"_s).toString(), u"small"_s);
    program.signal(SIGTERM);
    QCOMPARE(program.wait(), 0);
    // Not once for each request.
    const QByteArray errors = program.errors();
    QVERIFY2(isOneLine(errors) && errors.startsWith("tarvex-devbus: the storage fails: "), errors.constData());
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
    Program program(QStringList{u"--memory"_s} + options);
    QVERIFY(program.isReady());
    BusClient sender(BusClient::QUERY_PORT, u"a"_s);
    for (int number = 1; number <= keep + 1; ++number) {
        const QVariantMap message = messageTo(u"b"_s, QString::number(number));
        QCOMPARE(sender.ask(u"sendMessage"_s, message).code, 0);
    }
    BusClient receiver(BusClient::RECEIVER_PORT, u"b"_s);
    QCOMPARE(receiver.read().data.value(u"UID"_s).toString(), u"2"_s);
    program.signal(SIGTERM);
    QCOMPARE(program.wait(), 0);
    const QByteArray errors = program.errors();
    const QByteArray told = "the oldest 1 of more than " + QByteArray::number(keep) + " messages that wait for \"b\"";
    QVERIFY2(isOneLine(errors) && errors.contains(told), errors.constData());
}

void TstTarvexDevbus::trace_showsFrames()
{
    Program program({u"--memory"_s, u"--trace"_s});
    QVERIFY(program.isReady());
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    QCOMPARE(client.ask(u"loadState"_s, owned(u"a"_s)).code, 5);
    program.signal(SIGTERM);
    QCOMPARE(program.wait(), 0);
    const QList<QByteArray> lines = program.errors().trimmed().split('\n');
    QCOMPARE(lines.size(), 4);
    const QRegularExpression time(u"^\\d\\d:\\d\\d:\\d\\d\\.\\d{3} $"_s);
    QVERIFY2(time.match(QString::fromLatin1(lines.at(0).left(13))).hasMatch(), lines.at(0).constData());
    QCOMPARE(lines.at(0).mid(13), QByteArray("in  query/- REQUEST handshake {\"name\":\"a\"}"));
    QCOMPARE(lines.at(1).mid(13), QByteArray("out query/a REPLY handshake {} 0"));
    QCOMPARE(lines.at(2).mid(13), QByteArray("in  query/a REQUEST loadState {\"owner\":\"a\"}"));
    QCOMPARE(lines.at(3).mid(13), QByteArray("out query/a REPLY loadState {} 5"));
}

void TstTarvexDevbus::sameServiceTwice_isWarnedOf()
{
    Program program({u"--memory"_s});
    QVERIFY(program.isReady());
    for (int round = 0; round < 3; ++round) {
        BusClient first(BusClient::RECEIVER_PORT, u"printer"_s);
        const BusClient second(BusClient::RECEIVER_PORT, u"printer"_s);
        QVERIFY(second.isConnected());
        QVERIFY(first.waitForClose());
    }
    program.signal(SIGTERM);
    QCOMPARE(program.wait(), 0);
    QCOMPARE(program.errors(),
             QByteArray("tarvex-devbus: a second receiver connection took the name \"printer\", and the first one was "
                        "closed; does this service run twice?\n"));
}

void TstTarvexDevbus::controlSocket_answersUntilTheEnd()
{
    Program program({u"--memory"_s});
    QVERIFY(program.isReady());
    QCOMPARE(controlSockets().size(), 1);
    QCOMPARE(QFile::permissions(m_runtimeFolder->filePath(controlSockets().constFirst()))
                 & (QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther),
             QFile::Permissions());
    const BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    const QByteArray item = askControlSocket("{\"request\":\"clients\"}");
    QVERIFY2(item.startsWith("{\"item\":{") && item.contains("\"name\":\"printer\""), item.constData());
    program.signal(SIGTERM);
    QCOMPARE(program.wait(), 0);
    QCOMPARE(program.errors(), QByteArray());
    QCOMPARE(controlSockets(), QStringList());
}

void TstTarvexDevbus::controlSocket_ofKilledBus_isReplaced()
{
    {
        Program program({u"--memory"_s});
        QVERIFY(program.isReady());
        QVERIFY(program.kill());
    }
    QCOMPARE(controlSockets().size(), 1);
    QCOMPARE(askControlSocket("{\"request\":\"clients\"}"), QByteArray());
    Program program({u"--memory"_s});
    QVERIFY(program.isReady());
    QCOMPARE(controlSockets().size(), 1);
    QCOMPARE(askControlSocket("{\"request\":\"clients\"}"), QByteArray("{\"done\":true}\n"));
}

void TstTarvexDevbus::controlSocket_ofRunningBus_isLeftToIt()
{
    Program program({u"--memory"_s});
    QVERIFY(program.isReady());
    Program second({u"--memory"_s});
    QCOMPARE(second.wait(), 1);
    QCOMPARE(askControlSocket("{\"request\":\"clients\"}"), QByteArray("{\"done\":true}\n"));
}

void TstTarvexDevbus::controlSocket_impossible_isAWordOnly()
{
    // Longer than the address of a socket may be.
    const QString folder = m_folder->filePath(QString(150, QLatin1Char('x')));
    QVERIFY(QDir().mkdir(folder));
    QVERIFY(QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    qputenv("XDG_RUNTIME_DIR", folder.toUtf8());
    Program program({u"--memory"_s});
    QVERIFY(program.isReady());
    QVERIFY(BusClient(BusClient::QUERY_PORT, u"a"_s).isConnected());
    program.signal(SIGTERM);
    QCOMPARE(program.wait(), 0);
    const QByteArray errors = program.errors();
    QVERIFY2(isOneLine(errors) && errors.contains("cannot open the control socket: " + folder.toUtf8()),
             errors.constData());
}

QTEST_GUILESS_MAIN(TstTarvexDevbus)
#include "tst_tarvexdevbus.moc"
