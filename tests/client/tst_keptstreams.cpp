#include "client/tarvexmessagesreciever.h"
#include "pushes.h"
#include "queryside.h"

#include <QSignalSpy>

#include <dlfcn.h>
#include <memory>
#include <zlib.h>

using namespace tarvex;
using queryside::PRINTER;

namespace {

/// zlib's streams of this thread. The bus of a test runs in other threads.
thread_local int begunStreams = 0;
thread_local int liveStreams = 0;

template <typename... Arguments>
int callNext(const char* name, Arguments... arguments)
{
    return reinterpret_cast<int (*)(Arguments...)>(::dlsym(RTLD_NEXT, name))(arguments...);
}

int countBegin(int result)
{
    ++begunStreams;
    ++liveStreams;
    return result;
}

int countEnd(int result)
{
    --liveStreams;
    return result;
}

} // namespace

// These take the place of zlib's functions in the whole program.

extern "C" __attribute__((visibility("default"))) int deflateInit_(z_streamp stream, int level, const char* version,
                                                                   int size)
{
    return countBegin(callNext("deflateInit_", stream, level, version, size));
}

extern "C" __attribute__((visibility("default"))) int inflateInit_(z_streamp stream, const char* version, int size)
{
    return countBegin(callNext("inflateInit_", stream, version, size));
}

extern "C" __attribute__((visibility("default"))) int deflateEnd(z_streamp stream)
{
    return countEnd(callNext("deflateEnd", stream));
}

extern "C" __attribute__((visibility("default"))) int inflateEnd(z_streamp stream)
{
    return countEnd(callNext("inflateEnd", stream));
}

/// What the connections keep of zlib between two frames: one stream for each direction, as long as they are open.
class TstKeptStreams : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void query_exchanges_shareTwoStreams();
    void query_closed_keepsNothing();
    void query_dropped_keepsNothing_data();
    void query_dropped_keepsNothing();
    void receiver_messages_shareTwoStreams();
    void receiver_closed_keepsNothing();
    void receiver_dropped_keepsNothing_data();
    void receiver_dropped_keepsNothing();
};

void TstKeptStreams::init()
{
    QCOMPARE(liveStreams, 0);
    begunStreams = 0;
}

void TstKeptStreams::query_exchanges_shareTwoStreams()
{
    FakeBus bus(FakeBus::QUERY_PORT);
    bus.willAlwaysDo(&FakeBus::answer);
    {
        TarvexQueryHandler handler(PRINTER);
        QVERIFY(handler.open());
        for (int i = 0; i < 3; ++i) {
            QVERIFY(handler.saveState(ClientState()));
        }
        QCOMPARE(begunStreams, 2);
        QCOMPARE(liveStreams, 2);
    }
    QCOMPARE(liveStreams, 0);
}

void TstKeptStreams::query_closed_keepsNothing()
{
    FakeBus bus(FakeBus::QUERY_PORT);
    TarvexQueryHandler handler(PRINTER);
    for (int i = 0; i < 2; ++i) {
        QVERIFY(handler.open());
        QCOMPARE(liveStreams, 2);
        handler.close();
        QCOMPARE(liveStreams, 0);
    }
}

void TstKeptStreams::query_dropped_keepsNothing_data()
{
    QTest::addColumn<FakeBus::Action>("action");
    QTest::newRow("in the middle of an exchange") << queryside::sendsAndCloses(QByteArray());
    QTest::newRow("behind a reply") << queryside::sendsAndCloses(FakeBus::replyFrame(u"saveState"_s, 0));
}

void TstKeptStreams::query_dropped_keepsNothing()
{
    QFETCH(FakeBus::Action, action);
    FakeBus bus(FakeBus::QUERY_PORT);
    bus.willDo(action);
    TarvexQueryHandler handler(PRINTER);
    QVERIFY(handler.open());
    handler.saveState(ClientState());
    QTRY_VERIFY_WITH_TIMEOUT(!handler.isOpen(), 20000);
    QCOMPARE(liveStreams, 0);
}

void TstKeptStreams::receiver_messages_shareTwoStreams()
{
    FakeBus bus(FakeBus::RECEIVER_PORT);
    bus.willAnswerHandshake(pushes::acceptAndPush(pushes::pushFrames(1, 3)));
    begunStreams = 0; // those of the frames
    {
        TarvexMessagesReciever receiver(PRINTER);
        const QSignalSpy incoming(&receiver, SIGNAL(incomingMessage(Message)));
        QVERIFY(receiver.open());
        QTRY_COMPARE_WITH_TIMEOUT(incoming.count(), 3, 20000);
        QCOMPARE(begunStreams, 2);
        QCOMPARE(liveStreams, 2);
    }
    QCOMPARE(liveStreams, 0);
}

void TstKeptStreams::receiver_closed_keepsNothing()
{
    FakeBus bus(FakeBus::RECEIVER_PORT);
    TarvexMessagesReciever receiver(PRINTER);
    QVERIFY(receiver.open());
    QTRY_VERIFY_WITH_TIMEOUT(receiver.isOpen(), 20000);
    QCOMPARE(liveStreams, 2);
    receiver.close();
    QCOMPARE(liveStreams, 0);
}

void TstKeptStreams::receiver_dropped_keepsNothing_data()
{
    QTest::addColumn<QByteArray>("pushed");
    QTest::newRow("idle") << QByteArray();
    QTest::newRow("behind messages") << pushes::pushFrames(1, 3);
}

void TstKeptStreams::receiver_dropped_keepsNothing()
{
    QFETCH(QByteArray, pushed);
    FakeBus bus(FakeBus::RECEIVER_PORT);
    bus.willAnswerHandshake(pushes::acceptPushAndClose(pushed));
    TarvexMessagesReciever receiver(PRINTER);
    const QSignalSpy incoming(&receiver, SIGNAL(incomingMessage(Message)));
    const QSignalSpy lost(&receiver, SIGNAL(busDisconnected()));
    QVERIFY(receiver.open());
    QTRY_COMPARE_WITH_TIMEOUT(lost.count(), 1, 20000);
    QTRY_COMPARE_WITH_TIMEOUT(incoming.count(), pushed.isEmpty() ? 0 : 3, 20000);
    QTRY_COMPARE_WITH_TIMEOUT(liveStreams, 0, 20000);
}

QTEST_GUILESS_MAIN(TstKeptStreams)
#include "tst_keptstreams.moc"
