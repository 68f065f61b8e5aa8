// The lock of the state: what holds it, what releases it, and how threads and processes behave with it.

#include "childprocess.h"
#include "literals.h"
#include "states.h"
#include "statewrapper/statecatcher.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QPointer>
#include <QTest>
#include <QThread>

#include <atomic>
#include <functional>
#include <future>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

/// Accessors that do what accessors should not do.
class UnrulyState : public PlainState
{
    Q_OBJECT
    Q_PROPERTY(int throwing READ readThrowing WRITE writeThrowing)
    Q_PROPERTY(int releasing READ releasing WRITE release)
public:
    explicit UnrulyState(std::function<void()> release) : m_release(std::move(release)) { }

    int readThrowing() const { throw std::runtime_error("read"); }

    void writeThrowing(int value)
    {
        Q_UNUSED(value)
        throw std::runtime_error("write");
    }

    int releasing() const { return 0; }

    void release(int value)
    {
        Q_UNUSED(value)
        const auto release = m_release; // A copy, because the object may be destroyed during the call.
        release();
    }

private:
    std::function<void()> m_release;
};

/// Used by many threads. Values that belong together stand in one property, or one setter writes them.
class SharedState : public PlainState
{
    Q_OBJECT
    Q_PROPERTY(Pair pair MEMBER m_pair)
    Q_PROPERTY(int both READ left WRITE setBoth)
    Q_PROPERTY(int left READ left)
    Q_PROPERTY(int right READ right)
    Q_PROPERTY(QString text MEMBER m_text)
public:
    int left() const { return m_left; }

    int right() const { return m_right; }

    void setBoth(int value)
    {
        m_left = value;
        m_right = -value;
        ++m_sets;
    }

    int m_sets = 0; ///< Only the state's lock guards it.

private:
    Pair m_pair;
    int m_left = 0;
    int m_right = 0;
    QString m_text;
};

namespace {

/// A thread that need not wait for the lock is done within this time. A test that expects a thread to wait cannot fail
/// on a busy machine, because the thread only takes longer there.
constexpr std::chrono::milliseconds MOMENT{200};

/// Whether another thread can read \a state now. \a reader is that thread. If it cannot, it still waits.
bool canBeRead(AbstractStateWrapper& state, std::thread& reader)
{
    std::promise<void> done;
    std::future<void> isDone = done.get_future();
    reader = std::thread([&state, promise = std::move(done)]() mutable {
        state.value(u"a"_s);
        promise.set_value();
    });
    return isDone.wait_for(MOMENT) == std::future_status::ready;
}

/// If the lock were still taken, a read in this thread would block until the test's time limit. So another thread
/// reads.
bool isUnlocked()
{
    TwoState state;
    std::thread reader;
    const bool unlocked = canBeRead(state, reader);
    if (unlocked) {
        reader.join();
    } else {
        reader.detach();
    }
    return unlocked;
}

/// Looks from another thread whether the lock of all wrappers is taken.
class LockProbe
{
public:
    void look() { m_couldRead = canBeRead(m_state, m_reader); }

    /// Whether it has looked, and the lock was taken then and is free now.
    bool hasSeenTheLock()
    {
        if (!m_reader.joinable()) {
            return false;
        }
        m_reader.join(); // It can read now, because the lock is free.
        return !m_couldRead && isUnlocked();
    }

private:
    TwoState m_state;
    std::thread m_reader;
    bool m_couldRead = true;
};

/// Calls a function of the test for every log line, like a log output.
class DuringLog
{
public:
    explicit DuringLog(std::function<void()> call) : m_previous(qInstallMessageHandler(handle))
    {
        whatToCall() = std::move(call);
    }

    ~DuringLog()
    {
        qInstallMessageHandler(m_previous);
        whatToCall() = {};
    }
    Q_DISABLE_COPY_MOVE(DuringLog)

private:
    static std::function<void()>& whatToCall()
    {
        static std::function<void()> call;
        return call;
    }

    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& text)
    {
        Q_UNUSED(type)
        Q_UNUSED(context)
        Q_UNUSED(text)
        whatToCall()();
    }

    QtMessageHandler m_previous;
};

} // namespace

class TstStateLock : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();

    void commit_emitsUnderTheLockOfAllWrappers();
    void setValue_callsTheSetterUnderTheLock();
    void setValue_ofOtherName_isReportedUnderTheLock();
    void throwingAccessor_leavesTheLockFree();
    void wrapperThatIsReleasedMeanwhile_leavesTheLockFree();

    void setValue_callsTheSetterInTheCallingThread();
    void commit_emitsOnceInTheCallingThread();
    void commit_toReceiverInAnotherThread_showsTheCommittedValues();
    void init_replacesAndReleasesTheFormerWrapper();
    void init_whileDestroyed_formerWrapperFindsItsSuccessor();
    void manyThreads_neverSeeAValueHalfWritten();

    void directReceiver_thatReads_blocksForever_data();
    void directReceiver_thatReads_blocksForever();
    void otherUses_comeToTheirEnd_data();
    void otherUses_comeToTheirEnd();
};

void TstStateLock::cleanup()
{
    AbstractStateWrapper::init({});
}

void TstStateLock::commit_emitsUnderTheLockOfAllWrappers()
{
    TwoState state;
    LockProbe probe;
    connect(&state, &AbstractStateWrapper::stateChanged, this, [&probe] { probe.look(); });
    state.commit();
    QVERIFY(probe.hasSeenTheLock());
}

void TstStateLock::setValue_callsTheSetterUnderTheLock()
{
    LockProbe probe;
    UnrulyState state([&probe] { probe.look(); });
    state.setValue(u"releasing"_s, 1);
    QVERIFY(probe.hasSeenTheLock());
}

void TstStateLock::setValue_ofOtherName_isReportedUnderTheLock()
{
    TwoState state;
    LockProbe probe;
    {
        const DuringLog output([&probe] { probe.look(); });
        state.setValue(u"unknown"_s, 5);
    }
    QVERIFY(probe.hasSeenTheLock());
}

void TstStateLock::throwingAccessor_leavesTheLockFree()
{
    UnrulyState state([] {});
    QVERIFY_EXCEPTION_THROWN(state.value(u"throwing"_s), std::runtime_error);
    QVERIFY(isUnlocked());
    QVERIFY_EXCEPTION_THROWN(state.setValue(u"throwing"_s, 1), std::runtime_error);
    QVERIFY(isUnlocked());
    QVERIFY_EXCEPTION_THROWN(state.toMap(), std::runtime_error);
    QVERIFY(isUnlocked());
}

void TstStateLock::wrapperThatIsReleasedMeanwhile_leavesTheLockFree()
{
    QPointer<UnrulyState> state = new UnrulyState([&state] { delete state; });
    state->setValue(u"releasing"_s, 1);
    QVERIFY(state.isNull());
    QVERIFY(isUnlocked());

    QPointer<TwoState> committed = new TwoState;
    connect(committed, &AbstractStateWrapper::stateChanged, this, [&committed] { delete committed; });
    committed->commit();
    QVERIFY(committed.isNull());
    QVERIFY(isUnlocked());
}

void TstStateLock::setValue_callsTheSetterInTheCallingThread()
{
    std::thread::id caller;
    std::thread::id setter;
    UnrulyState unruly([&setter] { setter = std::this_thread::get_id(); });
    std::thread([&unruly, &caller] {
        caller = std::this_thread::get_id();
        unruly.setValue(u"releasing"_s, 1);
    }).join();
    QVERIFY(setter != std::thread::id());
    QVERIFY(setter == caller);
}

void TstStateLock::commit_emitsOnceInTheCallingThread()
{
    TwoState state;
    int commits = 0;
    QThread* emitter = nullptr;
    connect(
        &state, &AbstractStateWrapper::stateChanged, &state,
        [&commits, &emitter] {
            ++commits;
            emitter = QThread::currentThread();
        },
        Qt::DirectConnection);

    QThread* committer = nullptr;
    std::thread([&state, &committer] {
        committer = QThread::currentThread();
        QVERIFY(QMetaObject::invokeMethod(&state, "commit", Qt::DirectConnection));
    }).join();

    QCOMPARE(commits, 1);
    QVERIFY(emitter == committer && emitter != thread());
}

void TstStateLock::commit_toReceiverInAnotherThread_showsTheCommittedValues()
{
    TwoState state;
    QThread thread;
    QObject receiver;
    receiver.moveToThread(&thread);
    std::promise<QByteArray> seen;
    std::future<QByteArray> isSeen = seen.get_future();
    // The default connection is queued here, because the receiver lives in another thread.
    connect(&state, &AbstractStateWrapper::stateChanged, &receiver,
            [&state, &seen] { seen.set_value(state.toByteArray()); });
    thread.start();

    state.setValue(u"a"_s, 2);
    state.commit();

    QCOMPARE(isSeen.get(), QByteArray(R"({"a":2,"b":"x"})"));
    thread.quit();
    QVERIFY(thread.wait());
}

void TstStateLock::init_replacesAndReleasesTheFormerWrapper()
{
    const QPointer<TwoState> first = new TwoState;
    const QSharedPointer<TwoState> second(new TwoState);
    AbstractStateWrapper::init(QSharedPointer<AbstractStateWrapper>(first.data()));
    QVERIFY(first);

    AbstractStateWrapper::init(second);
    QVERIFY(first.isNull());

    AbstractStateWrapper::init({});
    second->commit(); // Still held here.
}

void TstStateLock::init_whileDestroyed_formerWrapperFindsItsSuccessor()
{
    // The destruction of a wrapper sets a value: the lock is free at that moment.
    const QSharedPointer<TwoState> second(new TwoState);
    QObject* const first = new TwoState;
    connect(first, &QObject::destroyed, this, [second] { second->setValue(u"a"_s, 9); });
    AbstractStateWrapper::init(QSharedPointer<AbstractStateWrapper>(static_cast<TwoState*>(first)));

    AbstractStateWrapper::init(second);

    QCOMPARE(second->m_a, 9);
}

void TstStateLock::manyThreads_neverSeeAValueHalfWritten()
{
    constexpr int ROUNDS = 400;
    const auto state = QSharedPointer<SharedState>::create();
    AbstractStateWrapper::init(state);
    int commits = 0; // Only the lock under which the signal is emitted guards it.
    connect(
        state.data(), &AbstractStateWrapper::stateChanged, this, [&commits] { ++commits; }, Qt::DirectConnection);
    std::atomic<int> halfWritten{0};
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([number] {
            for (int i = 1; i <= ROUNDS; ++i) {
                const int value = 4 * i + number;
                const QString text(100, QLatin1Char(static_cast<char>('a' + number)));
                StateCatcher() << catchvalue(u"pair"_s, QVariant::fromValue(Pair{value, -value}))
                               << catchvalue(u"both"_s, value) << catchvalue(u"text"_s, text) << commitstate();
            }
        });
        threads.emplace_back([&state, &halfWritten] {
            for (int i = 0; i < ROUNDS; ++i) {
                const Pair pair = StateCatcher().property(u"pair"_s).value<Pair>();
                const QVariantMap map = state->toMap();
                const QString text = state->value(u"text"_s).toString();
                const QJsonObject json = QJsonDocument::fromJson(state->toByteArray()).object();
                const bool whole = pair.first == -pair.second
                    && map.value(u"left"_s).toInt() == -map.value(u"right"_s).toInt()
                    && (text.isEmpty() || text == QString(100, text.at(0)))
                    && json.value(QLatin1String("left")).toInt() == -json.value(QLatin1String("right")).toInt();
                halfWritten += whole ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    QCOMPARE(halfWritten.load(), 0);
    QCOMPARE(state->m_sets, 4 * ROUNDS);
    QCOMPARE(commits, 4 * ROUNDS);
    QCOMPARE(StateCatcher().wrapper().data(), state.data());
}

void TstStateLock::directReceiver_thatReads_blocksForever_data()
{
    QTest::addColumn<QString>("connection");

    QTest::newRow("direct") << u"direct"_s;
    QTest::newRow("default, in the committing thread") << u"default"_s;
}

void TstStateLock::directReceiver_thatReads_blocksForever()
{
    QFETCH(QString, connection);
    ChildProcess child(QStringLiteral(STATE_CHILD), {connection});
    QVERIFY(child.start());
    QVERIFY(child.waitForLine(u"called"_s));
    // A test cannot wait forever. A process that is not blocked continues at once.
    QVERIFY(!child.waitForMore(2000));
    QVERIFY(child.killHard());
    QCOMPARE(child.out(), QByteArray("called\n"));
}

void TstStateLock::otherUses_comeToTheirEnd_data()
{
    QTest::addColumn<QString>("use");
    QTest::addColumn<QByteArray>("out");
    QTest::addColumn<QByteArray>("err");
    QTest::newRow("queued receiver that reads")
        << u"queued"_s << QByteArray("committed\ncalled\n{\"number\":5}\n") << QByteArray();
    QTest::newRow("static object before main()") << u"before-main"_s << QByteArray("{\"number\":1}\n") << QByteArray();
    QTest::newRow("destructor at the library's end, finds no wrapper")
        << u"at-exit"_s << QByteArray("leaving main\ngoing\n3\ngone\n")
        << QByteArray("There is no any state wrapper\nThere is no any state wrapper\n");
}

void TstStateLock::otherUses_comeToTheirEnd()
{
    QFETCH(QString, use);
    QFETCH(QByteArray, out);
    QFETCH(QByteArray, err);
    ChildProcess child(QStringLiteral(STATE_CHILD), {use});
    QVERIFY(child.start());
    QCOMPARE(child.status(), 0);
    QCOMPARE(child.out(), out);
    QCOMPARE(child.err(), err);
}

QTEST_GUILESS_MAIN(TstStateLock)

#include "tst_statelock.moc"
