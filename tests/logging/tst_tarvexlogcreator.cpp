#include "logging/tarvexlogcreator.h"

#include "client/supportedclients.h"
#include "cmdlayer/tarvexcommand.h"
#include "heldclock.h"
#include "literals.h"
#include "logcapture.h"

#include <QDateTime>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QTest>

#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

using namespace tarvex;

namespace {

const QString CLIENT = u"ticket_printer"_s;
const QMessageLogContext CONTEXT;

TarvexCommand commandIn(const Message& message)
{
    TarvexCommand cmd;
    TarvexCommand::incomingMessageToCmd(message, cmd);
    return cmd;
}

QString textIn(const Message& message)
{
    return commandIn(message).data().value(u"text"_s).toString();
}

QString prefixIn(const Message& message)
{
    return commandIn(message).data().value(u"prefix"_s).toString();
}

void logInThread(const QString& text)
{
    std::thread([text] { TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, text); }).join();
}

} // namespace

class Receiver : public QObject
{
    Q_OBJECT
public:
    QList<Message> messages;
    QList<QPointer<QObject>> creators;

Q_SIGNALS:
    void forwarded(Message msg);

public Q_SLOTS:

    void onMessage(Message msg)
    {
        messages.append(msg);
        creators.append(QPointer<QObject>(sender()));
    }

    void onText(QString text) { Q_UNUSED(text) }

    void onAnything() { ++calls; }

public:
    int calls = 0;
};

class TstTarvexLogCreator : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void metaObject_hasItsMethodsInOrder();
    void untilInit_nothingIsSent();
    void consoleLine_isStored();
    void guiLine_isShownAndStored();
    void level_hasItsText_data();
    void level_hasItsText();
    void lineBreaks_becomeTabs_data();
    void lineBreaks_becomeTabs();
    void creator_emitsByItself();
    void method_mayBeASignal();
    void method_mayTakeNoArguments();
    void method_mayBeSpelledWithBlanks();
    void lineFromAnotherThread_crossesToTheReceiversThread();
    void badInit_staysSilent_data();
    void badInit_staysSilent();
    void badInit_replacesAGoodOne();
    void receiverGone_isSilent();
    void release_isSilent();
    void release_turnsTheFilterOff();
    void filter_isOffUpToASecond_data();
    void filter_isOffUpToASecond();
    void filter_isOnAboveASecond();
    void filter_holdsRepeatsBack();
    void filter_intervalGrows();
    void filter_intervalIsCapped();
    void filter_baseIsCapped_data();
    void filter_baseIsCapped();
    void filter_differentLine_setsTheIntervalBack();
    void filter_alternatingLines_pass();
    void filter_comparesExactly();
    void filter_emptyLineFirst_passes();
    void filter_initForgets();
    void filter_runsWhileTheBridgeIsDown();
    void filter_isSharedByBothOutputs();
    void filter_guiLineCountsOnce();
    void filter_wallClockJumps_countsTheTimeGoneBy_data();
    void filter_wallClockJumps_countsTheTimeGoneBy();
    void creators_areDeletedByTheEventLoop();
    void creators_areDeletedAtThreadExit();
    void createCreator_isForTheCallerToDelete();
    void bridge_neverLogs();
    void linesFromManyThreads_whileTheBridgeComesAndGoes();
    void linesFromManyThreads_allArrive();

private:
    std::unique_ptr<Receiver> m_receiver;
};

void TstTarvexLogCreator::init()
{
    m_receiver = std::make_unique<Receiver>();
}

void TstTarvexLogCreator::cleanup()
{
    TarvexLogCreator::release();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_receiver.reset();
}

void TstTarvexLogCreator::metaObject_hasItsMethodsInOrder()
{
    const QMetaObject& meta = TarvexLogCreator::staticMetaObject;
    QStringList actual;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        actual.append(QString::fromLatin1(meta.method(i).methodSignature()));
    }
    QCOMPARE(actual,
             QStringList(
                 {u"sendMessage(Message)"_s, u"sendMessage(QString,QString)"_s, u"sendGuiMessage(QString,QString)"_s}));
    QCOMPARE(meta.method(meta.methodOffset()).methodType(), QMetaMethod::Signal);
    QCOMPARE(meta.className(), "tarvex::TarvexLogCreator");
    QVERIFY(static_cast<TarvexLogCreator*>(nullptr) == static_cast<::TarvexLogCreator*>(nullptr));
}

void TstTarvexLogCreator::untilInit_nothingIsSent()
{
    QVERIFY(TarvexLogCreator::createCreator().isNull());
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    TarvexLogCreator::guiKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
}

void TstTarvexLogCreator::consoleLine_isStored()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    const QDateTime before = QDateTime::currentDateTime();
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"paper is low"_s);
    QCOMPARE(m_receiver->messages.size(), 1);
    const Message message = m_receiver->messages.constFirst();
    QCOMPARE(message.message(), uR"({"cmd":"saveLog","data":{"prefix":"WARNING","text":"paper is low"}})"_s);
    QCOMPARE(message.reciever(), BUSNAME_LOGGER);
    QVERIFY(message.sender().isNull());
    QVERIFY(message.uid().isEmpty());
    QVERIFY(message.dt() >= before && message.dt() <= QDateTime::currentDateTime());
}

void TstTarvexLogCreator::guiLine_isShownAndStored()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    TarvexLogCreator::guiKivLog(QtCriticalMsg, CONTEXT, u"paper\nis out"_s);
    QCOMPARE(m_receiver->messages.size(), 2);
    QCOMPARE(m_receiver->messages.at(0).message(),
             uR"({"cmd":"showLogMessage","data":{"prefix":"ERROR","text":"paper\tis out"}})"_s);
    QCOMPARE(m_receiver->messages.at(0).reciever(), BUSNAME_TERMINAL_GUI);
    QCOMPARE(m_receiver->messages.at(1).message(),
             uR"({"cmd":"saveLog","data":{"prefix":"ERROR","text":"paper\tis out"}})"_s);
    QCOMPARE(m_receiver->messages.at(1).reciever(), BUSNAME_LOGGER);
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
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    TarvexLogCreator::humanKivLog(static_cast<QtMsgType>(type), CONTEXT, u"line"_s);
    TarvexLogCreator::guiKivLog(static_cast<QtMsgType>(type), CONTEXT, u"line"_s);
    QCOMPARE(m_receiver->messages.size(), 3);
    for (const Message& message : qAsConst(m_receiver->messages)) {
        QVERIFY(commandIn(message).data().contains(u"prefix"_s));
        QCOMPARE(prefixIn(message), prefix);
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
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    TarvexLogCreator::guiKivLog(QtInfoMsg, CONTEXT, text);
    QCOMPARE(m_receiver->messages.size(), 2);
    QCOMPARE(textIn(m_receiver->messages.at(0)), sent);
    QCOMPARE(textIn(m_receiver->messages.at(1)), sent);
}

void TstTarvexLogCreator::creator_emitsByItself()
{
    TarvexLogCreator creator(CLIENT, nullptr);
    QSignalSpy sent(&creator, SIGNAL(sendMessage(Message)));
    QVERIFY(QMetaObject::invokeMethod(&creator, "sendMessage", Q_ARG(QString, u"any"_s), Q_ARG(QString, u"a\nb"_s)));
    QVERIFY(QMetaObject::invokeMethod(&creator, "sendGuiMessage", Q_ARG(QString, u"any"_s), Q_ARG(QString, u"a\nb"_s)));
    QCOMPARE(sent.count(), 2);
    QCOMPARE(commandIn(sent.at(0).constFirst().value<Message>()).name(), u"saveLog"_s);
    QCOMPARE(commandIn(sent.at(1).constFirst().value<Message>()).name(), u"showLogMessage"_s);
    QCOMPARE(prefixIn(sent.at(1).constFirst().value<Message>()), u"any"_s);
    QCOMPARE(textIn(sent.at(0).constFirst().value<Message>()), u"a\tb"_s);
}

void TstTarvexLogCreator::method_mayBeASignal()
{
    const QSignalSpy forwarded(m_receiver.get(), SIGNAL(forwarded(Message)));
    TarvexLogCreator::init(m_receiver.get(), SIGNAL(forwarded(Message)), CLIENT, 0);
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    QCOMPARE(forwarded.count(), 1);
}

void TstTarvexLogCreator::method_mayTakeNoArguments()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onAnything()), CLIENT, 0);
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    QCOMPARE(m_receiver->calls, 1);
}

void TstTarvexLogCreator::method_mayBeSpelledWithBlanks()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(const Message&)), CLIENT, 0);
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    QCOMPARE(m_receiver->messages.size(), 1);
}

void TstTarvexLogCreator::lineFromAnotherThread_crossesToTheReceiversThread()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    logInThread(u"from elsewhere"_s);
    QCOMPARE(m_receiver->messages.size(), 0);
    QTRY_COMPARE(m_receiver->messages.size(), 1);
    QCOMPARE(textIn(m_receiver->messages.constFirst()), u"from elsewhere"_s);
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
    const QSignalSpy forwarded(m_receiver.get(), SIGNAL(forwarded(Message)));
    const LogCapture log;
    TarvexLogCreator::init(alive ? m_receiver.get() : nullptr, method, name, 5000);
    QVERIFY(TarvexLogCreator::createCreator().isNull());
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    TarvexLogCreator::guiKivLog(QtWarningMsg, CONTEXT, u"another"_s);
    QCOMPARE(m_receiver->messages.size(), 0);
    QCOMPARE(forwarded.count(), 0);
    QCOMPARE(log.texts(), QStringList());
    // The filter was set up all the same.
    QVERIFY(!TarvexLogCreator::checkMessage(u"another"_s));
}

void TstTarvexLogCreator::badInit_replacesAGoodOne()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    TarvexLogCreator::init(m_receiver.get(), QByteArray(), CLIENT, 0);
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    QCOMPARE(m_receiver->messages.size(), 0);
}

void TstTarvexLogCreator::receiverGone_isSilent()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    m_receiver = std::make_unique<Receiver>();
    const LogCapture log;
    QVERIFY(TarvexLogCreator::createCreator().isNull());
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    QCOMPARE(log.texts(), QStringList());
}

void TstTarvexLogCreator::release_isSilent()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    TarvexLogCreator::release();
    QVERIFY(TarvexLogCreator::createCreator().isNull());
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    TarvexLogCreator::guiKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    QCOMPARE(m_receiver->messages.size(), 0);
    TarvexLogCreator::release();
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    QCOMPARE(m_receiver->messages.size(), 1);
}

void TstTarvexLogCreator::release_turnsTheFilterOff()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 300000);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    QVERIFY(!TarvexLogCreator::checkMessage(u"line"_s));
    TarvexLogCreator::release();
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
}

void TstTarvexLogCreator::filter_isOffUpToASecond_data()
{
    QTest::addColumn<int>("interval");
    QTest::newRow("1000") << 1000;
    QTest::newRow("0") << 0;
    QTest::newRow("negative") << -5;
    QTest::newRow("smallest") << std::numeric_limits<int>::min();
}

void TstTarvexLogCreator::filter_isOffUpToASecond()
{
    QFETCH(int, interval);
    const HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, interval);
    for (int i = 0; i < 10; ++i) {
        TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    }
    QCOMPARE(m_receiver->messages.size(), 10);
}

void TstTarvexLogCreator::filter_isOnAboveASecond()
{
    HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 1001);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    clock.advance(1000);
    QVERIFY(!TarvexLogCreator::checkMessage(u"line"_s));
    clock.advance(1);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
}

void TstTarvexLogCreator::filter_holdsRepeatsBack()
{
    HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 2000);
    const auto log = [this] {
        TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
        return m_receiver->messages.size();
    };
    QCOMPARE(log(), 1);
    clock.advance(500);
    QCOMPARE(log(), 1);
    clock.advance(1600);
    QCOMPARE(log(), 2);
    clock.advance(1000);
    QCOMPARE(log(), 2);
    clock.advance(1599);
    QCOMPARE(log(), 2);
    clock.advance(1);
    QCOMPARE(log(), 3);
}

void TstTarvexLogCreator::filter_intervalGrows()
{
    HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 2000);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    // The integer part of 1.3 times the one before.
    for (const int interval : {2000, 2600, 3380, 4394, 5712, 7425, 9652, 12547}) {
        clock.advance(interval - 1);
        QVERIFY2(!TarvexLogCreator::checkMessage(u"line"_s), qPrintable(QString::number(interval)));
        clock.advance(1);
        QVERIFY2(TarvexLogCreator::checkMessage(u"line"_s), qPrintable(QString::number(interval)));
    }
}

void TstTarvexLogCreator::filter_intervalIsCapped()
{
    HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 230000);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    for (const int interval : {230000, 299000, 300000, 300000, 300000}) {
        clock.advance(interval - 1);
        QVERIFY2(!TarvexLogCreator::checkMessage(u"line"_s), qPrintable(QString::number(interval)));
        clock.advance(1);
        QVERIFY2(TarvexLogCreator::checkMessage(u"line"_s), qPrintable(QString::number(interval)));
    }
}

void TstTarvexLogCreator::filter_baseIsCapped_data()
{
    QTest::addColumn<int>("interval");
    QTest::newRow("300000") << 300000;
    QTest::newRow("300001") << 300001;
    QTest::newRow("400000") << 400000;
    QTest::newRow("largest") << std::numeric_limits<int>::max();
}

void TstTarvexLogCreator::filter_baseIsCapped()
{
    QFETCH(int, interval);
    HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, interval);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    clock.advance(299999);
    QVERIFY(!TarvexLogCreator::checkMessage(u"line"_s));
    clock.advance(1);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
}

void TstTarvexLogCreator::filter_differentLine_setsTheIntervalBack()
{
    HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 2000);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    clock.advance(2000);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    QVERIFY(TarvexLogCreator::checkMessage(u"another"_s));
    clock.advance(1999);
    QVERIFY(!TarvexLogCreator::checkMessage(u"another"_s));
    clock.advance(1);
    QVERIFY(TarvexLogCreator::checkMessage(u"another"_s));
}

void TstTarvexLogCreator::filter_alternatingLines_pass()
{
    const HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 300000);
    for (int i = 0; i < 10; ++i) {
        TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, QString::number(i % 2));
    }
    QCOMPARE(m_receiver->messages.size(), 10);
}

void TstTarvexLogCreator::filter_comparesExactly()
{
    const HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 2000);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    QVERIFY(TarvexLogCreator::checkMessage(u"Line"_s));
    QVERIFY(TarvexLogCreator::checkMessage(u"Line "_s));
    QVERIFY(!TarvexLogCreator::checkMessage(u"Line "_s));
}

void TstTarvexLogCreator::filter_emptyLineFirst_passes()
{
    const HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 2000);
    QVERIFY(TarvexLogCreator::checkMessage(QString()));
    QVERIFY(!TarvexLogCreator::checkMessage(QLatin1String("")));
}

void TstTarvexLogCreator::filter_initForgets()
{
    HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 2000);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    clock.advance(2000);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 2000);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    clock.advance(2000);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
}

void TstTarvexLogCreator::filter_runsWhileTheBridgeIsDown()
{
    const HeldClock clock;
    TarvexLogCreator::init(nullptr, QByteArray(), CLIENT, 2000);
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    QVERIFY(!TarvexLogCreator::checkMessage(u"line"_s));
}

void TstTarvexLogCreator::filter_isSharedByBothOutputs()
{
    const HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 2000);
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    // Another level, the same text.
    TarvexLogCreator::guiKivLog(QtCriticalMsg, CONTEXT, u"line"_s);
    QCOMPARE(m_receiver->messages.size(), 1);
}

void TstTarvexLogCreator::filter_guiLineCountsOnce()
{
    HeldClock clock;
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 2000);
    TarvexLogCreator::guiKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    clock.advance(2000);
    TarvexLogCreator::guiKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    clock.advance(2600);
    TarvexLogCreator::guiKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    QCOMPARE(m_receiver->messages.size(), 6);
}

void TstTarvexLogCreator::filter_wallClockJumps_countsTheTimeGoneBy_data()
{
    QTest::addColumn<QTime>("start");
    QTest::addColumn<int>("jumpS");
    const QTime noon(12, 0);
    const QTime beforeMidnight(23, 59, 59, 500);
    QTest::newRow("none") << noon << 0;
    QTest::newRow("back by 2 s") << noon << -2;
    QTest::newRow("back by an hour") << noon << -3600;
    QTest::newRow("forward by 2 s") << noon << 2;
    QTest::newRow("forward by an hour") << noon << 3600;
    QTest::newRow("back by a day") << noon << -86400;
    QTest::newRow("forward by a day") << noon << 86400;
    QTest::newRow("midnight in between") << beforeMidnight << 0;
    QTest::newRow("midnight in between, back before it") << beforeMidnight << -60;
    QTest::newRow("back over midnight") << QTime(0, 0, 0, 500) << -3600;
    QTest::newRow("forward over midnight") << beforeMidnight << 3600;
}

void TstTarvexLogCreator::filter_wallClockJumps_countsTheTimeGoneBy()
{
    QFETCH(QTime, start);
    QFETCH(int, jumpS);
    HeldClock clock;
    const QDateTime before(QDate(2024, 3, 5), start);
    clock.setWallClock(before);
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 2000);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    clock.advance(1000);
    clock.setWallClock(before.addSecs(1 + jumpS));
    QVERIFY(!TarvexLogCreator::checkMessage(u"line"_s));
    clock.advance(999);
    QVERIFY(!TarvexLogCreator::checkMessage(u"line"_s));
    clock.advance(1);
    QCOMPARE(QDateTime::currentDateTime(), before.addSecs(2 + jumpS));
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
    // The same for the interval that has grown.
    clock.setWallClock(before);
    clock.advance(2599);
    QVERIFY(!TarvexLogCreator::checkMessage(u"line"_s));
    clock.advance(1);
    QVERIFY(TarvexLogCreator::checkMessage(u"line"_s));
}

void TstTarvexLogCreator::creators_areDeletedByTheEventLoop()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    TarvexLogCreator::guiKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    QCOMPARE(m_receiver->creators.size(), 3);
    QVERIFY(m_receiver->creators.at(0));
    QVERIFY(m_receiver->creators.at(1));
    QCOMPARE(m_receiver->creators.at(1), m_receiver->creators.at(2));
    QVERIFY(m_receiver->creators.at(0)->parent() == nullptr);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(!m_receiver->creators.at(0));
    QVERIFY(!m_receiver->creators.at(1));
}

// The leak checker sees those that the outputs make.
void TstTarvexLogCreator::creators_areDeletedAtThreadExit()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    QPointer<TarvexLogCreator> creator;
    std::thread([&creator] {
        creator = TarvexLogCreator::createCreator();
        creator->deleteLater();
        for (int i = 0; i < 100; ++i) {
            TarvexLogCreator::guiKivLog(QtWarningMsg, CONTEXT, QString::number(i));
        }
    }).join();
    QVERIFY(creator.isNull());
    QTRY_COMPARE(m_receiver->messages.size(), 200);
    for (int i = 0; i < 200; ++i) {
        QCOMPARE(textIn(m_receiver->messages.at(i)), QString::number(i / 2));
    }
}

void TstTarvexLogCreator::createCreator_isForTheCallerToDelete()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    const QPointer<TarvexLogCreator> creator = TarvexLogCreator::createCreator();
    QVERIFY(creator);
    QVERIFY(creator->parent() == nullptr);
    creator->sendMessage(u"INFO"_s, u"line"_s);
    QCOMPARE(m_receiver->messages.size(), 1);
    delete creator.data();
}

void TstTarvexLogCreator::bridge_neverLogs()
{
    const LogCapture log;
    for (const int interval : {0, 2000, 400000}) {
        TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, interval);
        for (int i = 0; i < 4; ++i) {
            TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, QString::number(i / 2));
            TarvexLogCreator::guiKivLog(QtFatalMsg, CONTEXT, QString::number(i / 2));
        }
        logInThread(u"from elsewhere"_s);
        QCoreApplication::sendPostedEvents();
        TarvexLogCreator::release();
        TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, u"line"_s);
    }
    QCOMPARE(log.texts(), QStringList());
    QVERIFY(!m_receiver->messages.isEmpty());
}

void TstTarvexLogCreator::linesFromManyThreads_whileTheBridgeComesAndGoes()
{
    std::atomic<bool> done{false};
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([&done, number] {
            for (int i = 0; !done; ++i) {
                const QString text = u"%1/%2"_s.arg(number).arg(i % 3);
                TarvexLogCreator::humanKivLog(QtWarningMsg, CONTEXT, text);
                TarvexLogCreator::guiKivLog(QtWarningMsg, CONTEXT, text);
                // On a loaded machine eight threads without a pause would post faster than one thread can take.
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
        });
    }
    int received = 0;
    int strange = 0;
    // It goes on until enough lines have come, however loaded the machine is.
    for (int round = 0; round < 300 || received < 1000; ++round) {
        TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, round % 2 == 0 ? 0 : 1500);
        QCoreApplication::sendPostedEvents();
        for (const Message& message : qAsConst(m_receiver->messages)) {
            strange += prefixIn(message) == QLatin1String("WARNING") ? 0 : 1;
        }
        received += m_receiver->messages.size();
        m_receiver->messages.clear();
        m_receiver->creators.clear();
        TarvexLogCreator::release();
        if (round % 10 == 0) {
            // The receiver goes, as a controller does, while lines are on their way to it.
            m_receiver = std::make_unique<Receiver>();
        }
    }
    done = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    QCOMPARE(strange, 0);
    QCoreApplication::sendPostedEvents();
    m_receiver->messages.clear();
    logInThread(u"after all"_s);
    QCoreApplication::sendPostedEvents();
    QCOMPARE(m_receiver->messages.size(), 0);
}

void TstTarvexLogCreator::linesFromManyThreads_allArrive()
{
    TarvexLogCreator::init(m_receiver.get(), SLOT(onMessage(Message)), CLIENT, 0);
    std::vector<std::thread> threads;
    for (int number = 0; number < 8; ++number) {
        threads.emplace_back([number] {
            for (int i = 0; i < 100; ++i) {
                TarvexLogCreator::humanKivLog(QtInfoMsg, CONTEXT, u"%1/%2"_s.arg(number).arg(i));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    QTRY_COMPARE(m_receiver->messages.size(), 800);
    QHash<QString, int> next;
    for (const Message& message : qAsConst(m_receiver->messages)) {
        const QStringList parts = textIn(message).split(QLatin1Char('/'));
        QCOMPARE(parts.at(1).toInt(), next[parts.at(0)]++);
    }
}

QTEST_GUILESS_MAIN(TstTarvexLogCreator)
#include "tst_tarvexlogcreator.moc"
