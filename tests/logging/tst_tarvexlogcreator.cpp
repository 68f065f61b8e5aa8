#include "logging/tarvexlogcreator.h"

#include "bridgeend.h"
#include "client/supportedclients.h"
#include "literals.h"
#include "logcapture.h"

#include <QAbstractEventDispatcher>
#include <QDateTime>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

using namespace tarvex;

static_assert(std::is_same_v<tarvex::TarvexLogCreator, ::TarvexLogCreator>);

namespace {

void storeInThread(const QString& text)
{
    std::thread([text] { store(text); }).join();
}

std::vector<std::thread> eightThreads(const std::function<void(int number)>& work)
{
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([work, number] { work(number); });
    }
    return threads;
}

void join(std::vector<std::thread>& threads)
{
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace

/// The bridge without its filter of repeats, which tst_repeatfilter tests.
class TstTarvexLogCreator : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void untilInit_nothingIsSent();
    void consoleLine_isStored();
    void guiLine_isShownAndStored();
    void level_hasItsText_data();
    void level_hasItsText();
    void lineBreaks_becomeTabs_data();
    void lineBreaks_becomeTabs();
    void creator_emitsByItself();
    void method_mayBeWhatCanBeConnected();
    void lineFromAnotherThread_crossesToTheReceiversThread();
    void guiLineFromAnotherThread_isShownAndStored();
    void lineFromAnotherThread_leavesNothingInIt();
    void guiLine_ofAReceiverThatGoesWithTheFirstMessage();
    void guiLine_isStoredThoughTheBridgeGoesDownWithTheFirstMessage();
    void badInit_staysSilent_data();
    void badInit_staysSilent();
    void badInit_replacesAGoodOne();
    void receiverGone_isSilent();
    void release_isSilent();
    void creators_areDeletedByTheEventLoop();
    void creators_areDeletedAtThreadExit();
    void createCreator_isForTheCallerToDelete();
    void bridge_neverLogs();
    void linesFromManyThreads_whileTheBridgeComesAndGoes();
    void linesFromManyThreads_allArrive();
};

void TstTarvexLogCreator::cleanup()
{
    TarvexLogCreator::release();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TstTarvexLogCreator::untilInit_nothingIsSent()
{
    QVERIFY(TarvexLogCreator::createCreator().isNull());
    store(u"line"_s);
    show(u"line"_s);
    QVERIFY(passes(u"line"_s));
}

void TstTarvexLogCreator::consoleLine_isStored()
{
    Receiver receiver;
    receiver.setUp();
    const QDateTime before = QDateTime::currentDateTime();
    store(u"paper is low"_s);
    QCOMPARE(receiver.messages.size(), 1);
    const Message message = receiver.messages.constFirst();
    QCOMPARE(message.message(), uR"({"cmd":"saveLog","data":{"prefix":"WARNING","text":"paper is low"}})"_s);
    QCOMPARE(message.reciever(), BUSNAME_LOGGER);
    QVERIFY(message.sender().isNull());
    QVERIFY(message.uid().isEmpty());
    QVERIFY(message.dt() >= before && message.dt() <= QDateTime::currentDateTime());
}

void TstTarvexLogCreator::guiLine_isShownAndStored()
{
    Receiver receiver;
    receiver.setUp();
    show(u"paper\nis out"_s, QtCriticalMsg);
    QCOMPARE(receiver.messages.size(), 2);
    QCOMPARE(receiver.messages.at(0).message(),
             uR"({"cmd":"showLogMessage","data":{"prefix":"ERROR","text":"paper\tis out"}})"_s);
    QCOMPARE(receiver.messages.at(0).reciever(), BUSNAME_TERMINAL_GUI);
    QCOMPARE(receiver.messages.at(1).message(),
             uR"({"cmd":"saveLog","data":{"prefix":"ERROR","text":"paper\tis out"}})"_s);
    QCOMPARE(receiver.messages.at(1).reciever(), BUSNAME_LOGGER);
}

void TstTarvexLogCreator::level_hasItsText_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("prefix");
    QTest::newRow("debug") << int(QtDebugMsg) << u"INFO"_s;
    QTest::newRow("info") << int(QtInfoMsg) << u"INFO"_s;
    QTest::newRow("warning") << int(QtWarningMsg) << u"WARNING"_s;
    QTest::newRow("critical") << int(QtCriticalMsg) << u"ERROR"_s;
    QTest::newRow("fatal") << int(QtFatalMsg) << u"ERROR"_s;
    QTest::newRow("unknown") << 7 << QString();
}

void TstTarvexLogCreator::level_hasItsText()
{
    QFETCH(int, type);
    QFETCH(QString, prefix);
    Receiver receiver;
    receiver.setUp();
    store(u"line"_s, static_cast<QtMsgType>(type));
    show(u"line"_s, static_cast<QtMsgType>(type));
    QCOMPARE(receiver.messages.size(), 3);
    for (const Message& message : qAsConst(receiver.messages)) {
        QVERIFY(message.message().contains(u"\"prefix\":\"%1\""_s.arg(prefix)));
    }
}

void TstTarvexLogCreator::lineBreaks_becomeTabs_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("sent");
    QTest::newRow("none") << u"a b"_s << u"a b"_s;
    QTest::newRow("CR LF, LF") << u"a\r\nb\nc"_s << u"a\tb\tc"_s;
    QTest::newRow("CR") << u"a\rb"_s << u"a\tb"_s;
    QTest::newRow("CR CR LF") << u"a\r\r\nb"_s << u"a\t\tb"_s;
    QTest::newRow("LF CR") << u"a\n\rb"_s << u"a\t\tb"_s;
    QTest::newRow("at both ends") << u"\na\r\n"_s << u"\ta\t"_s;
    QTest::newRow("tab stays") << u"a\tb"_s << u"a\tb"_s;
    QTest::newRow("empty") << QString() << QString();
}

void TstTarvexLogCreator::lineBreaks_becomeTabs()
{
    QFETCH(QString, text);
    QFETCH(QString, sent);
    Receiver receiver;
    receiver.setUp();
    show(text);
    QCOMPARE(receiver.messages.size(), 2);
    QCOMPARE(textIn(receiver.messages.at(0)), sent);
    QCOMPARE(textIn(receiver.messages.at(1)), sent);
}

void TstTarvexLogCreator::creator_emitsByItself()
{
    TarvexLogCreator creator(CLIENT, nullptr);
    QSignalSpy sent(&creator, SIGNAL(sendMessage(Message)));
    for (const char* const method : {"sendMessage", "sendGuiMessage"}) {
        QVERIFY(QMetaObject::invokeMethod(&creator, method, Q_ARG(QString, u"any"_s), Q_ARG(QString, u"a\nb"_s)));
    }
    QCOMPARE(sent.count(), 2);
    QCOMPARE(sent.at(0).constFirst().value<Message>().message(),
             uR"({"cmd":"saveLog","data":{"prefix":"any","text":"a\tb"}})"_s);
    QCOMPARE(sent.at(1).constFirst().value<Message>().message(),
             uR"({"cmd":"showLogMessage","data":{"prefix":"any","text":"a\tb"}})"_s);
}

void TstTarvexLogCreator::method_mayBeWhatCanBeConnected()
{
    Receiver receiver;
    const QSignalSpy forwarded(&receiver, SIGNAL(forwarded(Message)));
    receiver.setUp(SIGNAL(forwarded(Message)));
    store(u"a signal"_s);
    QCOMPARE(forwarded.count(), 1);
    receiver.setUp(SLOT(onAnything()));
    store(u"a slot without arguments"_s);
    QCOMPARE(receiver.calls, 1);
    receiver.setUp(SLOT(onMessage(const Message&)));
    store(u"a slot in other words"_s);
    QCOMPARE(receiver.messages.size(), 1);
}

void TstTarvexLogCreator::lineFromAnotherThread_crossesToTheReceiversThread()
{
    Receiver receiver;
    receiver.setUp();
    storeInThread(u"from elsewhere"_s);
    QCOMPARE(receiver.messages.size(), 0);
    QTRY_COMPARE(receiver.messages.size(), 1);
    QCOMPARE(textIn(receiver.messages.constFirst()), u"from elsewhere"_s);
}

void TstTarvexLogCreator::guiLineFromAnotherThread_isShownAndStored()
{
    for (const char* const method : {SIGNAL(forwarded(Message)), SLOT(onMessage(Message))}) {
        Receiver receiver;
        connect(&receiver, SIGNAL(forwarded(Message)), &receiver, SLOT(onMessage(Message)));
        receiver.setUp(method);
        std::thread([] { show(u"paper\nis out"_s, QtCriticalMsg); }).join();
        QTRY_COMPARE(receiver.messages.size(), 2);
        QCOMPARE(receiver.messages.at(0).message(),
                 uR"({"cmd":"showLogMessage","data":{"prefix":"ERROR","text":"paper\tis out"}})"_s);
        QCOMPARE(receiver.messages.at(0).reciever(), BUSNAME_TERMINAL_GUI);
        QCOMPARE(receiver.messages.at(1).message(),
                 uR"({"cmd":"saveLog","data":{"prefix":"ERROR","text":"paper\tis out"}})"_s);
        QCOMPARE(receiver.messages.at(1).reciever(), BUSNAME_LOGGER);
    }
}

// A thread without an event loop would keep to its end what is to be deleted later.
void TstTarvexLogCreator::lineFromAnotherThread_leavesNothingInIt()
{
    Receiver receiver;
    receiver.setUp();
    bool hasEvents = true;
    const std::unique_ptr<QThread> thread(QThread::create([&hasEvents] {
        QCoreApplication::processEvents(); // what the thread itself began with
        store(u"line"_s);
        show(u"line"_s);
        hasEvents = QAbstractEventDispatcher::instance()->hasPendingEvents();
    }));
    thread->start();
    thread->wait();
    QVERIFY(!hasEvents);
    QTRY_COMPARE(receiver.messages.size(), 3);
}

void TstTarvexLogCreator::guiLine_ofAReceiverThatGoesWithTheFirstMessage()
{
    auto receiver = std::make_unique<Receiver>();
    int messages = 0;
    connect(receiver.get(), &Receiver::forwarded, this, [&] {
        ++messages;
        receiver.reset();
    });
    receiver->setUp(SIGNAL(forwarded(Message)));
    show(u"line"_s);
    QCOMPARE(messages, 1);
}

void TstTarvexLogCreator::guiLine_isStoredThoughTheBridgeGoesDownWithTheFirstMessage()
{
    Receiver receiver;
    const QSignalSpy forwarded(&receiver, SIGNAL(forwarded(Message)));
    connect(&receiver, &Receiver::forwarded, this, [] { TarvexLogCreator::release(); });
    receiver.setUp(SIGNAL(forwarded(Message)));
    show(u"line"_s);
    QCOMPARE(forwarded.count(), 2);
}

void TstTarvexLogCreator::badInit_staysSilent_data()
{
    QTest::addColumn<bool>("alive");
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QString>("name");
    const QByteArray good(SLOT(onMessage(Message)));
    QTest::newRow("dead sender") << false << good << CLIENT;
    QTest::newRow("null method") << true << QByteArray() << CLIENT;
    QTest::newRow("empty method") << true << QByteArray("") << CLIENT;
    QTest::newRow("code only") << true << QByteArray("1") << CLIENT;
    QTest::newRow("unknown method") << true << QByteArray(SLOT(onMassage(Message))) << CLIENT;
    QTest::newRow("no parentheses") << true << QByteArray("1onMessage") << CLIENT;
    QTest::newRow("no code") << true << QByteArray("onMessage(Message)") << CLIENT;
    QTest::newRow("slot taken for a signal") << true << QByteArray(SIGNAL(onMessage(Message))) << CLIENT;
    QTest::newRow("signal taken for a slot") << true << QByteArray(SLOT(forwarded(Message))) << CLIENT;
    QTest::newRow("other argument") << true << QByteArray(SLOT(onText(QString))) << CLIENT;
    QTest::newRow("empty name") << true << good << QString();
}

void TstTarvexLogCreator::badInit_staysSilent()
{
    QFETCH(bool, alive);
    QFETCH(QByteArray, method);
    QFETCH(QString, name);
    Receiver receiver;
    const QSignalSpy forwarded(&receiver, SIGNAL(forwarded(Message)));
    const LogCapture log;
    TarvexLogCreator::init(alive ? &receiver : nullptr, method, name, 5000);
    QVERIFY(TarvexLogCreator::createCreator().isNull());
    store(u"line"_s);
    show(u"another"_s);
    QCOMPARE(receiver.messages.size(), 0);
    QCOMPARE(forwarded.count(), 0);
    QCOMPARE(log.texts(), QStringList());
    // But the filter was set up.
    QVERIFY(!passes(u"another"_s));
}

void TstTarvexLogCreator::badInit_replacesAGoodOne()
{
    Receiver receiver;
    receiver.setUp();
    receiver.setUp(QByteArray());
    store(u"line"_s);
    QCOMPARE(receiver.messages.size(), 0);
}

void TstTarvexLogCreator::receiverGone_isSilent()
{
    std::make_unique<Receiver>()->setUp();
    const LogCapture log;
    QVERIFY(TarvexLogCreator::createCreator().isNull());
    store(u"line"_s);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexLogCreator::release_isSilent()
{
    Receiver receiver;
    receiver.setUp();
    TarvexLogCreator::release();
    QVERIFY(TarvexLogCreator::createCreator().isNull());
    store(u"line"_s);
    show(u"line"_s);
    QCOMPARE(receiver.messages.size(), 0);
    TarvexLogCreator::release();
    receiver.setUp();
    store(u"line"_s);
    QCOMPARE(receiver.messages.size(), 1);
}

void TstTarvexLogCreator::creators_areDeletedByTheEventLoop()
{
    Receiver receiver;
    receiver.setUp();
    store(u"line"_s);
    show(u"line"_s);
    QCOMPARE(receiver.creators.size(), 3);
    QVERIFY(receiver.creators.at(0));
    QVERIFY(receiver.creators.at(1));
    QCOMPARE(receiver.creators.at(1), receiver.creators.at(2));
    QVERIFY(receiver.creators.at(0)->parent() == nullptr);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!receiver.creators.at(0));
    QVERIFY(!receiver.creators.at(1));
}

// The leak checker notices the creators that the outputs make and nobody deletes.
void TstTarvexLogCreator::creators_areDeletedAtThreadExit()
{
    Receiver receiver;
    receiver.setUp();
    QPointer<TarvexLogCreator> creator;
    std::thread([&creator] {
        creator = TarvexLogCreator::createCreator();
        creator->deleteLater();
        for (int i = 0; i < 100; ++i) {
            show(QString::number(i));
        }
    }).join();
    QVERIFY(creator.isNull());
    QTRY_COMPARE(receiver.messages.size(), 200);
    for (int i = 0; i < 200; ++i) {
        QCOMPARE(textIn(receiver.messages.at(i)), QString::number(i / 2));
    }
}

void TstTarvexLogCreator::createCreator_isForTheCallerToDelete()
{
    Receiver receiver;
    receiver.setUp();
    const QPointer<TarvexLogCreator> creator = TarvexLogCreator::createCreator();
    QVERIFY(creator);
    QVERIFY(creator->parent() == nullptr);
    creator->sendMessage(u"INFO"_s, u"line"_s);
    QCOMPARE(receiver.messages.size(), 1);
    delete creator.data();
}

void TstTarvexLogCreator::bridge_neverLogs()
{
    Receiver receiver;
    const LogCapture log;
    for (const int interval : {0, 2000, 400000}) {
        receiver.setUp(interval);
        for (int i = 0; i < 4; ++i) {
            store(QString::number(i / 2));
            show(QString::number(i / 2), QtFatalMsg);
        }
        storeInThread(u"from elsewhere"_s);
        QCoreApplication::sendPostedEvents();
        TarvexLogCreator::release();
        store(u"line"_s);
    }
    QCOMPARE(log.texts(), QStringList());
    QVERIFY(!receiver.messages.isEmpty());
}

void TstTarvexLogCreator::linesFromManyThreads_whileTheBridgeComesAndGoes()
{
    std::atomic<bool> done{false};
    std::vector<std::thread> threads = eightThreads([&done](int number) {
        for (int i = 0; !done; ++i) {
            const QString text = u"%1/%2"_s.arg(number).arg(i % 3);
            store(text);
            show(text);
            // On a loaded machine eight threads without a pause would post faster than one thread can take.
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    });
    auto receiver = std::make_unique<Receiver>();
    int received = 0;
    int strange = 0;
    // It continues until enough lines have come, however loaded the machine is.
    for (int round = 0; round < 300 || received < 1000; ++round) {
        receiver->setUp(round % 2 == 0 ? 0 : 1500);
        QCoreApplication::sendPostedEvents();
        for (const Message& message : qAsConst(receiver->messages)) {
            strange += prefixIn(message) == QLatin1String("WARNING") ? 0 : 1;
        }
        received += receiver->messages.size();
        receiver->messages.clear();
        receiver->creators.clear();
        TarvexLogCreator::release();
        if (round % 10 == 0) {
            // The receiver is destroyed while lines are on their way to it, as a controller may be.
            receiver = std::make_unique<Receiver>();
        }
    }
    done = true;
    join(threads);
    QCOMPARE(strange, 0);
    QCoreApplication::sendPostedEvents();
    receiver->messages.clear();
    storeInThread(u"after all"_s);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(receiver->messages.size(), 0);
}

void TstTarvexLogCreator::linesFromManyThreads_allArrive()
{
    Receiver receiver;
    receiver.setUp();
    std::vector<std::thread> threads = eightThreads([](int number) {
        for (int i = 0; i < 100; ++i) {
            store(u"%1/%2"_s.arg(number).arg(i), QtInfoMsg);
        }
    });
    join(threads);
    QTRY_COMPARE(receiver.messages.size(), 800);
    QHash<QString, int> next;
    for (const Message& message : qAsConst(receiver.messages)) {
        const QStringList parts = textIn(message).split(QLatin1Char('/'));
        QCOMPARE(parts.at(1).toInt(), next[parts.at(0)]++);
    }
}

QTEST_GUILESS_MAIN(TstTarvexLogCreator)
#include "tst_tarvexlogcreator.moc"
