#include "wire/socketreader_p.h"

#include "fakebus.h"
#include "heldclock.h"
#include "literals.h"
#include "logcapture.h"
#include "wire/busframe_p.h"

#include <QElapsedTimer>
#include <QHostAddress>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <functional>
#include <future>
#include <limits>
#include <memory>
#include <mutex>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>

using namespace tarvex;

namespace {

/// The pauses that this thread has made, in ns.
thread_local QList<qint64> pauses;
/// Called at the beginning of each pause.
thread_local std::function<void()> onPause;
/// The pause of one round, in ns.
constexpr qint64 ROUND_NS = 10000000;

} // namespace

// Replaces the function of the C library, which Qt calls for each pause, and records how long the pause is.
extern "C" __attribute__((visibility("default"))) int nanosleep(const timespec* time, timespec* left)
{
    pauses.append(time->tv_sec * 1000000000LL + time->tv_nsec);
    if (onPause && pauses.constLast() == ROUND_NS) {
        onPause();
    }
    const int error = ::clock_nanosleep(CLOCK_MONOTONIC, 0, time, left);
    errno = error;
    return error == 0 ? 0 : -1;
}

namespace {

QByteArray patternedBytes(int size)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>('A' + (i * 7 + i / 251) % 58);
    }
    return bytes;
}

/// Waits until nothing is left in the system's buffer of the client's socket \a descriptor. The descriptor is negative
/// until the client has made the socket.
bool waitUntilTaken(const std::atomic<int>& descriptor)
{
    for (int i = 0; i < 20000; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        int waiting = 1;
        if (descriptor >= 0 && ::ioctl(descriptor, FIONREAD, &waiting) == 0 && waiting == 0) {
            return true;
        }
    }
    return false;
}

using Script = std::function<void(FakeBus::Peer&)>;

Script sends(const QByteArray& bytes)
{
    return [bytes](FakeBus::Peer& peer) { peer.send(bytes); };
}

Script sendsAndStays(const QByteArray& bytes = {})
{
    return [bytes](FakeBus::Peer& peer) {
        peer.send(bytes);
        peer.waitForClose();
    };
}

Script sendsAndCloses(const QByteArray& bytes = {})
{
    return [bytes](FakeBus::Peer& peer) {
        peer.send(bytes);
        peer.close();
    };
}

/// Runs \a work in a thread of its own. \return whether it has ended within 20 s.
bool runInThread(const std::function<void(QThread& thread)>& work)
{
    const std::unique_ptr<QThread> thread(QThread::create([&work] { work(*QThread::currentThread()); }));
    thread->start();
    return thread->wait(20000);
}

/// For a peer that lets two thirds of the longest silence go by, by a clock that is moved on while the reader waits.
/// \return false when the reader has not taken what was sent before.
bool letTimePass(HeldClock& clock, const std::atomic<int>& descriptor)
{
    // The reader counts its silence from here, and from the beginning if it does not count anew.
    if (!waitUntilTaken(descriptor)) {
        return false;
    }
    clock.advance(busframe::PAYLOAD_SILENCE_TIMEOUT_MS * 2 / 3);
    // The reader looks at the clock in one of its next rounds.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    return true;
}

/// A socket whose peer runs a script as soon as it is connected.
class Connection
{
public:
    explicit Connection(const Script& script)
    {
        m_bus.willDo([script](FakeBus::Peer& peer, const FakeBus::Request&) { script(peer); });
        m_socket = std::make_unique<QTcpSocket>();
        m_socket->connectToHost(QHostAddress(QHostAddress::LocalHost), FakeBus::QUERY_PORT);
        if (m_socket->waitForConnected()) {
            m_socket->write(FakeBus::requestFrame(u"start"_s, {}));
            m_socket->flush();
        }
    }

    QPointer<QTcpSocket> socket() const { return m_socket.get(); }

    void destroySocket() { m_socket.reset(); }

    /// Waits until the system holds bytes for the socket, without letting Qt take any in.
    bool waitUntilSystemHoldsBytes() const
    {
        QElapsedTimer timer;
        timer.start();
        char byte;
        while (timer.elapsed() < 20000) {
            if (::recv(int(m_socket->socketDescriptor()), &byte, 1, MSG_PEEK | MSG_DONTWAIT) >= 0) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }

private:
    FakeBus m_bus;
    std::unique_ptr<QTcpSocket> m_socket;
};

} // namespace

class TstSocketreader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void readPayload_ofAnySize_isComplete_data();
    void readPayload_ofAnySize_isComplete();
    void readPayload_cutAnywhere_isComplete();
    void readPayload_cutAtRandom_withPauses_isComplete();
    void readPayload_takesNoMoreThanItsSize();
    void readPayload_ofNoSize_readsNothing_data();
    void readPayload_ofNoSize_readsNothing();
    void readPayload_thatNeverComes_usesAllRounds_data();
    void readPayload_thatNeverComes_usesAllRounds();
    void readPayload_afterItsRounds_isShort();
    void readPayload_aboveTheBound_isNotWaitedFor();
    void readPayload_allocatesWhatHasCome();
    void readPayload_peerGone_skipsRounds();
    void readPayload_interrupted_isGivenUp();
    void readPayload_interrupted_takesWhatIsHere();
    void readPayload_silentForTheWholeTimeout_isGivenUp();
    void readPayload_neverSilentForLong_isComplete();
    void readPayload_thatTrickles_isGivenUp();
    void readPayload_thatPauses_isComplete_data();
    void readPayload_thatPauses_isComplete();
    void readPayload_comesInTheLastPause_isComplete();
    void readPayload_whenItsReaderIsIndifferent_isGivenUp();
    void readPayload_interrupted_keepsTheFirstRounds();
    void hasUnaskedBytes_data();
    void hasUnaskedBytes();
    void readPayload_isQuiet();
    void readPayload_blockedSocket_staysBlocked();
    void readPayload_peerGone_emitsErrorThenDisconnectedOnce();
    void readPayload_socketGoesWithTheError_isShort();
    void readPayload_large_takesFewRounds();
    void readLine_takesOneLine_data();
    void readLine_takesOneLine();
    void readLine_incomplete_getsMoreRounds();
    void readLine_thatNeverEnds_isTakenAsItIs();
    void readLine_peerGone_isTakenAsItIs();
    void withoutSocket_nothingIsRead();
};

void TstSocketreader::readPayload_ofAnySize_isComplete_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("closes");
    for (const int size : {1, 99, 100, 101, 65535, 65536, 65537, 200000, 5000000}) {
        QTest::addRow("%d", size) << size << false;
        QTest::addRow("%d, and the peer goes", size) << size << true;
    }
}

void TstSocketreader::readPayload_ofAnySize_isComplete()
{
    QFETCH(int, size);
    QFETCH(bool, closes);
    const QByteArray bytes = patternedBytes(size);
    const Connection connection(closes ? sendsAndCloses(bytes) : sends(bytes));
    QVERIFY(connection.waitUntilSystemHoldsBytes());
    QCOMPARE(connection.socket()->bytesAvailable(), 0);
    QVERIFY(socketreader::readPayload(connection.socket(), size) == bytes);
}

// One part waits in Qt's buffer, the other in the system's. read() alone would see only the first part.
void TstSocketreader::readPayload_cutAnywhere_isComplete()
{
    const QByteArray bytes = patternedBytes(40);
    for (int cut = 1; cut < bytes.size(); ++cut) {
        std::mutex gate;
        gate.lock();
        const Connection connection([&](FakeBus::Peer& peer) {
            peer.send(bytes.left(cut));
            const std::lock_guard<std::mutex> opened(gate);
            peer.send(bytes.mid(cut));
        });
        QVERIFY(connection.socket()->waitForReadyRead());
        QCOMPARE(connection.socket()->bytesAvailable(), qint64(cut));
        gate.unlock();
        QVERIFY(connection.waitUntilSystemHoldsBytes());
        QCOMPARE(connection.socket()->bytesAvailable(), qint64(cut));
        QCOMPARE(socketreader::readPayload(connection.socket(), bytes.size()), bytes);
    }
}

// A failure shows the seed. 51 rounds of 10 ms are enough for ten short pauses, also on a loaded machine.
void TstSocketreader::readPayload_cutAtRandom_withPauses_isComplete()
{
    const QByteArray bytes = patternedBytes(20000);
    for (unsigned seed = 1; seed <= 10; ++seed) {
        std::srand(seed);
        QList<QByteArray> pieces;
        int from = 0;
        for (int piece = 0; piece < 10 && from < bytes.size(); ++piece) {
            const int length = 1 + std::rand() % 3000;
            pieces.append(bytes.mid(from, length));
            from += length;
        }
        pieces.append(bytes.mid(from));
        const Connection connection([pieces](FakeBus::Peer& peer) { peer.sendInPieces(pieces, 12); });
        QVERIFY2(socketreader::readPayload(connection.socket(), bytes.size()) == bytes,
                 qPrintable(QString::number(seed)));
    }
}

void TstSocketreader::readPayload_takesNoMoreThanItsSize()
{
    const Connection connection(sends("0123456789next frame"));
    QVERIFY(connection.waitUntilSystemHoldsBytes());
    QCOMPARE(socketreader::readPayload(connection.socket(), 10), QByteArray("0123456789"));
    QCOMPARE(connection.socket()->readAll(), QByteArray("next frame"));
}

void TstSocketreader::readPayload_ofNoSize_readsNothing_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("zero") << 0;
    QTest::newRow("negative") << -1;
    QTest::newRow("lowest") << std::numeric_limits<qint32>::min();
}

void TstSocketreader::readPayload_ofNoSize_readsNothing()
{
    QFETCH(int, size);
    const Connection connection(sends("bytes"));
    QVERIFY(connection.waitUntilSystemHoldsBytes());
    QCOMPARE(socketreader::readPayload(connection.socket(), size), QByteArray());
    QVERIFY(connection.socket()->waitForReadyRead());
    QCOMPARE(connection.socket()->readAll(), QByteArray("bytes"));
}

void TstSocketreader::readPayload_thatNeverComes_usesAllRounds_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<int>("rounds");
    QTest::newRow("1") << 1 << 20;
    QTest::newRow("99") << 99 << 20;
    QTest::newRow("250") << 250 << 20;
    QTest::newRow("1999") << 1999 << 20;
    QTest::newRow("2000") << 2000 << 21;
    QTest::newRow("5000") << 5000 << 51;
}

void TstSocketreader::readPayload_thatNeverComes_usesAllRounds()
{
    QFETCH(int, size);
    QFETCH(int, rounds);
    const Connection connection(sendsAndStays());
    pauses.clear();
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(socketreader::readPayload(connection.socket(), size), QByteArray());
    QVERIFY(timer.elapsed() >= rounds * 10 - 1);
    QCOMPARE(pauses, QVector<qint64>(rounds, ROUND_NS).toList());
}

void TstSocketreader::readPayload_afterItsRounds_isShort()
{
    const Connection connection([](FakeBus::Peer& peer) {
        peer.sendInPieces({QByteArray(150, 'a'), QByteArray(100, 'b')}, 500);
    });
    QVERIFY(connection.waitUntilSystemHoldsBytes());
    QCOMPARE(socketreader::readPayload(connection.socket(), 250), QByteArray(150, 'a'));
}

void TstSocketreader::readPayload_aboveTheBound_isNotWaitedFor()
{
    const Connection connection(sendsAndStays());
    rusage before{};
    getrusage(RUSAGE_SELF, &before);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(socketreader::readPayload(connection.socket(), std::numeric_limits<qint32>::max()), QByteArray());
    QCOMPARE(socketreader::readPayload(connection.socket(), busframe::MAX_PAYLOAD_SIZE + 1), QByteArray());
    const qint64 elapsed = timer.elapsed();
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    QVERIFY(elapsed < 5000);
    QVERIFY(after.ru_maxrss - before.ru_maxrss < 16 * 1024);
    qInfo("a size line of 2147483647: %lld ms, %ld KiB", elapsed, after.ru_maxrss - before.ru_maxrss);
}

void TstSocketreader::readPayload_allocatesWhatHasCome()
{
    const Connection connection(sendsAndCloses(QByteArray(1000, 'a')));
    const QByteArray payload = socketreader::readPayload(connection.socket(), busframe::MAX_PAYLOAD_SIZE);
    QCOMPARE(payload.size(), 1000);
    QVERIFY2(payload.capacity() < 100000, qPrintable(QString::number(payload.capacity())));
}

void TstSocketreader::readPayload_peerGone_skipsRounds()
{
    const Connection connection(sendsAndCloses("half"));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(socketreader::readPayload(connection.socket(), 10000000), QByteArray("half"));
    QVERIFY(timer.elapsed() < 20000); // all rounds would be 1000 s
}

void TstSocketreader::readPayload_interrupted_isGivenUp()
{
    QVERIFY(runInThread([](QThread& thread) {
        const Connection connection(sendsAndStays());
        thread.requestInterruption();
        socketreader::readPayload(connection.socket(), 10000000);
    })); // all rounds would be 1000 s, the silence 30 s
}

// When a worker makes its last exchange, in doStop(), its thread has been asked to end already.
void TstSocketreader::readPayload_interrupted_takesWhatIsHere()
{
    const QByteArray bytes = patternedBytes(5000);
    QByteArray payload;
    QVERIFY(runInThread([&](QThread& thread) {
        const Connection connection(sends(bytes));
        if (connection.waitUntilSystemHoldsBytes()) {
            thread.requestInterruption();
            payload = socketreader::readPayload(connection.socket(), bytes.size());
        }
    }));
    QCOMPARE(payload, bytes);
}

void TstSocketreader::readPayload_silentForTheWholeTimeout_isGivenUp()
{
    const Connection connection(sendsAndStays("a"));
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(socketreader::readPayload(connection.socket(), 10000000), QByteArray("a"));
    QVERIFY(timer.elapsed() >= busframe::PAYLOAD_SILENCE_TIMEOUT_MS - 1);
    QVERIFY(timer.elapsed() < 2 * busframe::PAYLOAD_SILENCE_TIMEOUT_MS);
}

void TstSocketreader::readPayload_neverSilentForLong_isComplete()
{
    const QByteArray bytes = patternedBytes(100000);
    HeldClock clock;
    std::atomic<int> descriptor{-1};
    const Connection connection([&](FakeBus::Peer& peer) {
        for (int piece = 0; piece < 2; ++piece) {
            peer.send(bytes.mid(piece * 100, 100));
            if (!letTimePass(clock, descriptor)) {
                return;
            }
        }
        peer.send(bytes.mid(200));
    });
    descriptor = int(connection.socket()->socketDescriptor());
    QVERIFY(socketreader::readPayload(connection.socket(), bytes.size()) == bytes);
}

// The same pauses, but four of them: the peer is never silent for long, but takes longer than a payload may take.
void TstSocketreader::readPayload_thatTrickles_isGivenUp()
{
    HeldClock clock;
    std::atomic<int> descriptor{-1};
    const Connection connection([&](FakeBus::Peer& peer) {
        for (int sent = 0; sent < 10 && peer.send("a") && letTimePass(clock, descriptor); ++sent) { }
    });
    descriptor = int(connection.socket()->socketDescriptor());
    const QByteArray payload = socketreader::readPayload(connection.socket(), 1000000);
    QVERIFY2(payload.size() >= 3 && payload.size() <= 4, payload.constData());
}

// The delayed acknowledgements of our own system hold up a server that writes a frame in several calls.
void TstSocketreader::readPayload_thatPauses_isComplete_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("1 byte") << 1;
    QTest::newRow("250 bytes") << 250;
    QTest::newRow("10000 bytes") << 10000;
}

// One successful try is enough, because a loaded machine may sleep longer than it was asked to. A reader that gives a
// small payload fewer rounds succeeds in no try.
void TstSocketreader::readPayload_thatPauses_isComplete()
{
    QFETCH(int, size);
    const QByteArray bytes = patternedBytes(size);
    bool isComplete = false;
    for (int attempt = 0; attempt < 10 && !isComplete; ++attempt) {
        const Connection connection([&](FakeBus::Peer& peer) {
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
            peer.send(bytes);
        });
        isComplete = socketreader::readPayload(connection.socket(), size) == bytes;
    }
    QVERIFY(isComplete);
}

// A reader makes 20 pauses for a small payload. What comes during the last pause is part of the payload.
void TstSocketreader::readPayload_comesInTheLastPause_isComplete()
{
    std::promise<void> lastPause;
    const Connection connection([begun = lastPause.get_future().share()](FakeBus::Peer& peer) {
        begun.wait();
        peer.send("bytes");
    });
    pauses.clear();
    onPause = [&] {
        if (pauses.count(ROUND_NS) == 20) {
            lastPause.set_value();
            QVERIFY(connection.waitUntilSystemHoldsBytes());
        }
    };
    const QByteArray payload = socketreader::readPayload(connection.socket(), 5);
    onPause = {};
    QCOMPARE(pauses.count(ROUND_NS), 20);
    QCOMPARE(payload, QByteArray("bytes"));
}

void TstSocketreader::readPayload_whenItsReaderIsIndifferent_isGivenUp()
{
    const Connection connection(sendsAndStays("begun"));
    QVERIFY(connection.waitUntilSystemHoldsBytes());
    pauses.clear();
    int asked = 0;
    // The reader takes what there is without asking. It asks only in a round that brings nothing.
    QCOMPARE(socketreader::readPayload(connection.socket(), 100000, [&asked] { return ++asked == 3; }),
             QByteArray("begun"));
    QCOMPARE(asked, 3);
    QCOMPARE(pauses.size(), 3);
}

// A worker that is being stopped saves its last state. The answer may come in pieces too.
void TstSocketreader::readPayload_interrupted_keepsTheFirstRounds()
{
    QByteArray payload;
    int pauseCount = 0;
    QVERIFY(runInThread([&](QThread& thread) {
        thread.requestInterruption();
        std::promise<void> tenthPause;
        const Connection connection([begun = tenthPause.get_future().share()](FakeBus::Peer& peer) {
            begun.wait();
            peer.send("bytes");
            peer.waitForClose();
        });
        pauses.clear();
        onPause = [&] {
            if (pauses.count(ROUND_NS) == 10) {
                tenthPause.set_value();
                connection.waitUntilSystemHoldsBytes();
            }
        };
        payload = socketreader::readPayload(connection.socket(), 1000000);
        pauseCount = pauses.count(ROUND_NS);
    }));
    QCOMPARE(payload, QByteArray("bytes"));
    QCOMPARE(pauseCount, 20);
}

void TstSocketreader::hasUnaskedBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("isTakenIn");
    QTest::newRow("none") << QByteArray() << false;
    QTest::newRow("in the system") << QByteArray("a") << false;
    QTest::newRow("in the buffer") << QByteArray("a") << true;
}

void TstSocketreader::hasUnaskedBytes()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, isTakenIn);
    const Connection connection(sendsAndStays(bytes));
    if (!bytes.isEmpty()) {
        QVERIFY(connection.waitUntilSystemHoldsBytes());
    }
    if (isTakenIn) {
        QVERIFY(connection.socket()->waitForReadyRead(0));
    }
    const QSignalSpy readyRead(connection.socket(), SIGNAL(readyRead()));
    const QSignalSpy error(connection.socket(), SIGNAL(error(QAbstractSocket::SocketError)));
    QCOMPARE(socketreader::hasUnaskedBytes(connection.socket()), !bytes.isEmpty());
    QCOMPARE(readyRead.count(), 0);
    QCOMPARE(error.count(), 0);
}

// Between the pieces there is nothing to take in. Qt reports this as a time-out error.
void TstSocketreader::readPayload_isQuiet()
{
    const QByteArray bytes = patternedBytes(5000);
    const Connection connection([bytes](FakeBus::Peer& peer) {
        peer.sendInPieces({bytes.left(1000), bytes.mid(1000)}, 100);
    });
    const QSignalSpy readyRead(connection.socket(), SIGNAL(readyRead()));
    const QSignalSpy error(connection.socket(), SIGNAL(error(QAbstractSocket::SocketError)));
    const QSignalSpy disconnected(connection.socket(), SIGNAL(disconnected()));
    const LogCapture log;
    QVERIFY(socketreader::readPayload(connection.socket(), bytes.size()) == bytes);
    QCOMPARE(readyRead.count(), 0);
    QCOMPARE(error.count(), 0);
    QCOMPARE(disconnected.count(), 0);
    QCOMPARE(log.texts(), QStringList());
    QVERIFY(!connection.socket()->signalsBlocked());
}

void TstSocketreader::readPayload_blockedSocket_staysBlocked()
{
    const Connection connection(sendsAndCloses());
    const QSignalSpy error(connection.socket(), SIGNAL(error(QAbstractSocket::SocketError)));
    const QSignalSpy disconnected(connection.socket(), SIGNAL(disconnected()));
    connection.socket()->blockSignals(true);
    socketreader::readPayload(connection.socket(), 5000);
    QVERIFY(connection.socket()->signalsBlocked());
    QCOMPARE(error.count(), 0);
    QCOMPARE(disconnected.count(), 0);
}

void TstSocketreader::readPayload_peerGone_emitsErrorThenDisconnectedOnce()
{
    const Connection connection(sendsAndCloses());
    const QPointer<QTcpSocket> socket = connection.socket();
    QStringList emitted;
    // Connected by name, as the connections do. Qt emits this signal whenever it emits the one that replaced it.
    QSignalSpy error(socket, SIGNAL(error(QAbstractSocket::SocketError)));
    connect(socket, &QTcpSocket::errorOccurred, socket, [&] { emitted.append(u"error"_s); });
    connect(socket, &QTcpSocket::disconnected, socket, [&] { emitted.append(u"disconnected"_s); });
    QCOMPARE(socketreader::readPayload(socket, 5000), QByteArray());
    const QStringList expected{u"error"_s, u"disconnected"_s};
    QCOMPARE(emitted, expected);
    QCOMPARE(error.count(), 1);
    QCOMPARE(error.constFirst().constFirst().value<QAbstractSocket::SocketError>(),
             QAbstractSocket::RemoteHostClosedError);
    QCOMPARE(socketreader::readPayload(socket, 5000), QByteArray());
    QTest::qWait(50);
    QCOMPARE(emitted, expected);
}

void TstSocketreader::readPayload_socketGoesWithTheError_isShort()
{
    Connection connection(sendsAndCloses("half"));
    connect(connection.socket(), &QTcpSocket::errorOccurred, this, [&] { connection.destroySocket(); });
    QCOMPARE(socketreader::readPayload(connection.socket(), 5000), QByteArray("half"));
    QVERIFY(connection.socket().isNull());
}

// A round takes in everything that the peer has sent by the time it reads, so there are as few rounds as the socket's
// buffers allow.
void TstSocketreader::readPayload_large_takesFewRounds()
{
    const QByteArray bytes = patternedBytes(5000000);
    const Connection connection(sends(bytes));
    QVERIFY(connection.waitUntilSystemHoldsBytes());
    QElapsedTimer timer;
    timer.start();
    QVERIFY(socketreader::readPayload(connection.socket(), bytes.size()) == bytes);
    qInfo("5 MB in %lld ms", timer.elapsed());
    QVERIFY(timer.elapsed() < 10000); // one round for 64 KiB would be 0.8 s, one for 100 bytes 500 s
}

void TstSocketreader::readLine_takesOneLine_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<QByteArray>("second");
    QTest::newRow("header and size") << QByteArray("[-REPLY-]\r\n12\r\nrest") << QByteArray("[-REPLY-]\r\n")
                                     << QByteArray("12\r\n");
    QTest::newRow("longer than the limit")
        << QByteArray("12345678901234567890\r\n") << QByteArray("123456789012345") << QByteArray("67890\r\n");
}

void TstSocketreader::readLine_takesOneLine()
{
    QFETCH(QByteArray, bytes);
    const Connection connection(sends(bytes));
    QVERIFY(connection.waitUntilSystemHoldsBytes());
    QVERIFY(socketreader::awaitLine(connection.socket()));
    QTEST(socketreader::readLine(connection.socket()), "first");
    QTEST(socketreader::readLine(connection.socket()), "second");
}

// One successful try is enough, because on a loaded machine the second piece may come too late. A reader that does not
// wait for it succeeds in no try.
void TstSocketreader::readLine_incomplete_getsMoreRounds()
{
    int complete = 0;
    for (int attempt = 0; attempt < 20 && complete == 0; ++attempt) {
        std::atomic<bool> reading{false};
        const Connection connection([&](FakeBus::Peer& peer) {
            peer.send("12");
            while (!reading) {
                std::this_thread::yield();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(150));
            peer.send("34\r\n");
        });
        QVERIFY(connection.waitUntilSystemHoldsBytes());
        reading = true;
        complete += socketreader::readLine(connection.socket()) == "1234\r\n" ? 1 : 0;
    }
    QCOMPARE(complete, 1);
}

void TstSocketreader::readLine_thatNeverEnds_isTakenAsItIs()
{
    const Connection connection(sendsAndStays("12"));
    QVERIFY(connection.waitUntilSystemHoldsBytes());
    const QSignalSpy error(connection.socket(), SIGNAL(error(QAbstractSocket::SocketError)));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(!socketreader::awaitLine(connection.socket()));
    QVERIFY(timer.elapsed() >= 199);
    QCOMPARE(socketreader::readLine(connection.socket()), QByteArray("12"));
    QCOMPARE(error.count(), 0);
}

void TstSocketreader::readLine_peerGone_isTakenAsItIs()
{
    const Connection connection(sendsAndCloses("12"));
    const QSignalSpy disconnected(connection.socket(), SIGNAL(disconnected()));
    QVERIFY(connection.waitUntilSystemHoldsBytes());
    QCOMPARE(socketreader::readLine(connection.socket()), QByteArray("12"));
    QTRY_COMPARE(disconnected.count(), 1);
}

void TstSocketreader::withoutSocket_nothingIsRead()
{
    const QPointer<QTcpSocket> none;
    QCOMPARE(socketreader::readPayload(none, 1000), QByteArray());
    QVERIFY(!socketreader::hasUnaskedBytes(none));
    QVERIFY(!socketreader::awaitLine(none));
    QCOMPARE(socketreader::readLine(none), QByteArray());
}

QTEST_GUILESS_MAIN(TstSocketreader)
#include "tst_socketreader.moc"
