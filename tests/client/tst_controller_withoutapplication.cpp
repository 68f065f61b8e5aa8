#include "client/supportedclients.h"
#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryhandler.h"
#include "client/tarvexqueryworker.h"
#include "cmdlayer/tarvexcommand.h"
#include "fakebus.h"
#include "literals.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDebug>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>

using namespace tarvex;

// Each case runs in a process of its own, which is this program again, because a test that has an application object
// cannot see what happens without one.

namespace {

const QString PRINTER = BUSNAME_TICKET_PRINTER;

/// An interval after which no report is due during a test.
constexpr int NEVER_MS = 1000000;
constexpr int PATIENCE_MS = 60000;
/// What the end of a process may take. A worker that is given up takes 1500 ms. Closing the connections takes 100 ms.
constexpr int BOUND_MS = 1200;
constexpr int LINES = 3;
/// The threads that a process has without any worker.
#if defined(__SANITIZE_THREAD__)
constexpr int OWN_THREADS = 2; // the sanitizer's
#else
constexpr int OWN_THREADS = 1;
#endif

// What runs in the cases' processes.

/// Called by several threads.
void say(const char* who, const char* what)
{
    std::printf("%s %s\n", who, what);
    std::fflush(stdout);
}

/// Tells what is left when it is destroyed, after everything that was made later than it.
class End
{
public:
    End() = default;

    ~End()
    {
        const qint64 elapsed = m_clock.elapsed();
        // A thread that has ended stays in the system's list for a moment.
        const QDeadlineTimer deadline(1000);
        while (threadCount() > OWN_THREADS && !deadline.hasExpired()) {
            QThread::msleep(1);
        }
        std::printf("threads: %d\n", threadCount());
        std::printf("milliseconds: %d\n", static_cast<int>(elapsed));
        std::fflush(stdout);
    }
    Q_DISABLE_COPY_MOVE(End)

    /// The end begins now.
    void begin() { m_clock.start(); }

private:
    static int threadCount() { return QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(); }

    QElapsedTimer m_clock;
};

/// Tells whether a worker is stopped and deleted in the thread in which it was started.
class Witness
{
public:
    explicit Witness(const char* name) : m_name(name) { }

    ~Witness() { say(m_name, isHome() ? "deleted" : "deleted elsewhere"); }
    Q_DISABLE_COPY_MOVE(Witness)

    void seeStart() { m_thread = std::this_thread::get_id(); }

    void seeStop() const { say(m_name, isHome() ? "stopped" : "stopped elsewhere"); }

private:
    bool isHome() const { return m_thread == std::this_thread::get_id(); }

    const char* const m_name;
    std::thread::id m_thread;
};

std::atomic<int> startedWorkers{0};

class MsgWorker : public TarvexMsgWorker
{
public:
    MsgWorker() : TarvexMsgWorker(PRINTER) { }

    bool doStart() override
    {
        m_witness.seeStart();
        const bool isStarted = TarvexMsgWorker::doStart();
        ++startedWorkers;
        return isStarted;
    }

    bool doStop() override
    {
        m_witness.seeStop();
        return TarvexMsgWorker::doStop();
    }

private:
    Witness m_witness{"message worker"};
};

class QueryWorker : public TarvexQueryWorker
{
public:
    QueryWorker() : TarvexQueryWorker(NEVER_MS, PRINTER) { }

    bool doStart() override
    {
        m_witness.seeStart();
        const bool isStarted = TarvexQueryWorker::doStart();
        ++startedWorkers;
        return isStarted;
    }

    bool doStop() override
    {
        m_witness.seeStop();
        save(u"farewell"_s);
        return TarvexQueryWorker::doStop();
    }

    void doSendState() override { save(u"report"_s); }

    void doApplySettings(ClientSettings settings) override { Q_UNUSED(settings) }

private:
    void save(const QString& description)
    {
        ClientState state;
        state.setDescription(description);
        handler->saveState(state);
    }

    Witness m_witness{"query worker"};
};

class Service : public TarvexController
{
public:
    explicit Service(QObject* parent = nullptr) : TarvexController(0, PRINTER, parent) { }

    void doStart() override { initWorkers(new MsgWorker, new QueryWorker); }

    void startAndWait()
    {
        doStart();
        const QDeadlineTimer deadline(PATIENCE_MS);
        while (startedWorkers < 2) {
            if (deadline.hasExpired()) {
                std::_Exit(1);
            }
            QThread::msleep(1);
        }
    }

    /// Gives the workers something to do.
    void sayLastThings()
    {
        for (int i = 1; i <= LINES; ++i) {
            qWarning("last line %d", i);
        }
        Q_EMIT stateChanged();
    }
};

// The cases. In each of them the end object is made first and destroyed last.

int endAsChild(int argc, char** argv)
{
    End end;
    QCoreApplication application(argc, argv);
    auto* const service = new Service(&application);
    service->startAndWait();
    service->sayLastThings();
    end.begin();
    return 0;
}

int endBeforeStatic(int argc, char** argv)
{
    static End end;
    static Service service;
    const QCoreApplication application(argc, argv);
    service.startAndWait();
    service.sayLastThings();
    end.begin();
    return 0;
}

/// The application object is made before the service, and the end comes in the middle of the event loop.
int exitBeforeStatic(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    static End end;
    static Service service;
    service.startAndWait();
    QTimer::singleShot(0, &service, [] {
        service.sayLastThings();
        end.begin();
        std::exit(0);
    });
    return QCoreApplication::exec();
}

int endBeforeLocal(int argc, char** argv)
{
    End end;
    Service service;
    const QCoreApplication application(argc, argv);
    service.startAndWait();
    service.sayLastThings();
    end.begin();
    return 0;
}

int endInOrder(int argc, char** argv)
{
    End end;
    const QCoreApplication application(argc, argv);
    Service service;
    service.startAndWait();
    QTimer::singleShot(0, &service, [&] {
        service.sayLastThings();
        QCoreApplication::quit();
        end.begin();
    });
    return QCoreApplication::exec();
}

struct Case
{
    const char* name;
    int (*run)(int argc, char** argv);
};

constexpr Case CASES[] = {
    {"child of the application", endAsChild},       {"static, application on the stack", endBeforeStatic},
    {"static, exit() in a slot", exitBeforeStatic}, {"declared before the application", endBeforeLocal},
    {"declared after the application", endInOrder},
};

// What the test does with them.

struct Outcome
{
    int exitCode = -1;
    QStringList lines;
    QByteArray errors;

    /// \return the number that follows \a name in a line, -1 when there is none.
    int number(const QString& name) const
    {
        for (const QString& line : lines) {
            if (line.startsWith(name)) {
                return line.midRef(name.size()).toInt();
            }
        }
        return -1;
    }
};

Outcome runCase(const QString& name)
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {u"--case"_s, name});
    Outcome outcome;
    if (process.waitForFinished(PATIENCE_MS) && process.exitStatus() == QProcess::NormalExit) {
        outcome.exitCode = process.exitCode();
    }
    outcome.lines = QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'));
    outcome.errors = process.readAllStandardError();
    return outcome;
}

QString lineIn(const Message& message)
{
    TarvexCommand cmd;
    TarvexCommand::incomingMessageToCmd(message, cmd);
    return cmd.data().value(u"text"_s).toString();
}

/// The last lines, and the states, in the order in which they came to the bus.
QStringList lastThings(const FakeBus& bus)
{
    QStringList things;
    const QList<FakeBus::Request> requests = bus.requests();
    for (const FakeBus::Request& request : requests) {
        if (request.operation == QLatin1String("saveState")) {
            things.append(ClientState::fromVariantMap(request.data).description());
        } else if (request.operation == QLatin1String("sendMessage")) {
            const QString line = lineIn(Message::fromVariantMap(request.data));
            if (line.startsWith(QLatin1String("last line"))) {
                things.append(line);
            }
        }
    }
    return things;
}

} // namespace

/// Controllers that outlive the application object, or go with it.
class TstControllerWithoutApplication : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void processEnds_workersAreStoppedSavedAndDeleted_data();
    void processEnds_workersAreStoppedSavedAndDeleted();
};

void TstControllerWithoutApplication::processEnds_workersAreStoppedSavedAndDeleted_data()
{
    QTest::addColumn<QString>("name");
    for (const Case& each : CASES) {
        QTest::newRow(each.name) << QString::fromLatin1(each.name);
    }
}

void TstControllerWithoutApplication::processEnds_workersAreStoppedSavedAndDeleted()
{
    QFETCH(QString, name);
    FakeBus query(FakeBus::QUERY_PORT);
    FakeBus receiver(FakeBus::RECEIVER_PORT);
    query.willAlwaysDo(FakeBus::answer);
    const Outcome outcome = runCase(name);
    std::printf("%s\n", outcome.lines.join(QLatin1String("; ")).toUtf8().constData());
    QVERIFY2(outcome.exitCode == 0, outcome.errors.constData());
    for (const char* const line :
         {"message worker stopped", "message worker deleted", "query worker stopped", "query worker deleted"}) {
        QVERIFY2(outcome.lines.count(QString::fromLatin1(line)) == 1, line);
    }
    QCOMPARE(lastThings(query),
             QStringList({u"last line 1"_s, u"last line 2"_s, u"last line 3"_s, u"report"_s, u"farewell"_s}));
    QCOMPARE(outcome.number(u"threads: "_s), OWN_THREADS);
    const int milliseconds = outcome.number(u"milliseconds: "_s);
    QVERIFY2(milliseconds >= 0 && milliseconds < BOUND_MS, qPrintable(QString::number(milliseconds)));
}

int main(int argc, char** argv)
{
    for (const Case& each : CASES) {
        if (argc == 3 && std::strcmp(argv[1], "--case") == 0 && std::strcmp(argv[2], each.name) == 0) {
            return each.run(argc, argv);
        }
    }
    const QCoreApplication application(argc, argv);
    TstControllerWithoutApplication test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_controller_withoutapplication.moc"
