#include "caller.h"
#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "testing/testbus.h"

#include <QTest>

#include <memory>

using tarvex::TarvexError;
using tarvex::testing::TestBus;

namespace {

constexpr int LONG_MS = 60000;
constexpr int SHORT_MS = 200;
constexpr int LOG_REPEAT_INTERVAL_MS = 10000;

QString cashbox()
{
    return QStringLiteral("cashbox");
}

QString printer()
{
    return QStringLiteral("printer");
}

} // namespace

/// The service that calls. It records what its caller reports.
class CashboxService : public tarvex::TarvexController
{
    Q_OBJECT
public:
    explicit CashboxService(int replyTimeoutMs)
        : TarvexController(LOG_REPEAT_INTERVAL_MS, cashbox(), nullptr), m_replyTimeoutMs(replyTimeoutMs)
    {
    }

    void doStart() override
    {
        //! [connections]
        auto* const messages = new tarvex::TarvexMsgWorker(cashbox());
        auto* const caller = new Caller(cashbox(), m_replyTimeoutMs);
        connect(messages, SIGNAL(unprocessedMessage(Message)), caller, SLOT(take(Message)), Qt::QueuedConnection);
        connect(this, SIGNAL(callWanted(TarvexCommand)), caller, SLOT(call(TarvexCommand)), Qt::QueuedConnection);
        connect(caller, SIGNAL(succeeded(TarvexCommand, TarvexCommand)), this,
                SLOT(noteSuccess(TarvexCommand, TarvexCommand)), Qt::QueuedConnection);
        connect(caller, SIGNAL(failed(TarvexCommand, QString)), this, SLOT(noteFailure(TarvexCommand, QString)),
                Qt::QueuedConnection);
        connect(caller, SIGNAL(commandReceived(TarvexCommand)), this, SLOT(noteCommand(TarvexCommand)),
                Qt::QueuedConnection);
        initWorkers(messages, caller);
        //! [connections]
    }

    QStringList told() const { return m_told; }

Q_SIGNALS:
    void callWanted(TarvexCommand command);

private Q_SLOTS:

    void noteSuccess(TarvexCommand command, TarvexCommand reply)
    {
        m_told.append(QStringLiteral("%1: %2 %3")
                          .arg(command.name(), reply.name(), reply.data().value(QStringLiteral("left")).toString()));
    }

    void noteFailure(TarvexCommand command, QString why)
    {
        m_told.append(QStringLiteral("%1 failed: %2").arg(command.name(), why));
    }

    void noteCommand(TarvexCommand command) { m_told.append(QStringLiteral("received ") + command.name()); }

private:
    const int m_replyTimeoutMs;
    QStringList m_told;
};

/// The caller of docs/calling.md. The test plays the printer that is called.
class TstCaller : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void call_answered_succeeds();
    void call_refusedByTheOther_failsWithItsReason();
    void call_refusedByTheBus_fails();
    void call_notAnswered_fails_andTheLateAnswerIsNoCommand();
    void call_answeredBySomebodyElse_waitsOn();
    void call_whileTheBusIsAway_isSentLater();
    void otherCommands_areReceived_errorsAreNot();

private:
    void start(int replyTimeoutMs = LONG_MS);
    void wantCall();
    std::optional<TarvexCommand> call();
    bool answer(const TarvexCommand& command, const QString& name, const QVariantMap& data,
                const QString& from = printer());
    bool isToldInTheEnd(const QStringList& expected);

    std::unique_ptr<TestBus> m_bus;
    std::unique_ptr<CashboxService> m_service;
};

void TstCaller::cleanup()
{
    m_service.reset(); // before its bus, because it would try to connect again
    m_bus.reset();
}

void TstCaller::call_answered_succeeds()
{
    start();
    const auto command = call();
    QVERIFY2(command, qPrintable(m_bus->errorString()));
    QVERIFY(answer(*command, QStringLiteral("printed"), {{QStringLiteral("left"), 7}}));
    QVERIFY(isToldInTheEnd({QStringLiteral("print: printed 7")}));
}

void TstCaller::call_refusedByTheOther_failsWithItsReason()
{
    start();
    const auto command = call();
    QVERIFY2(command, qPrintable(m_bus->errorString()));
    QVERIFY(
        answer(*command, QStringLiteral("commandError"), {{QStringLiteral("errorText"), QStringLiteral("no ink")}}));
    QVERIFY(isToldInTheEnd({QStringLiteral("print failed: no ink")}));
}

void TstCaller::call_refusedByTheBus_fails()
{
    start();
    m_bus->failRequests(QStringLiteral("sendMessage"), TarvexError::StorageAccessError, cashbox());
    wantCall();
    QVERIFY(isToldInTheEnd({QStringLiteral("print failed: The bus has refused it")}));
}

void TstCaller::call_notAnswered_fails_andTheLateAnswerIsNoCommand()
{
    start(SHORT_MS);
    const auto command = call();
    QVERIFY2(command, qPrintable(m_bus->errorString()));
    QVERIFY(isToldInTheEnd({QStringLiteral("print failed: There is no answer")}));
    QVERIFY(answer(*command, QStringLiteral("printed"), {}));
    m_bus->sendCommand(printer(), cashbox(), QStringLiteral("status")); // comes after the answer
    QVERIFY(isToldInTheEnd({QStringLiteral("print failed: There is no answer"), QStringLiteral("received status")}));
}

void TstCaller::call_answeredBySomebodyElse_waitsOn()
{
    start();
    const auto command = call();
    QVERIFY2(command, qPrintable(m_bus->errorString()));
    QVERIFY(answer(*command, QStringLiteral("printed"), {{QStringLiteral("left"), 1}}, QStringLiteral("stranger")));
    QVERIFY(answer(*command, QStringLiteral("printed"), {{QStringLiteral("left"), 2}}));
    QVERIFY(isToldInTheEnd({QStringLiteral("print: printed 2")}));
}

void TstCaller::call_whileTheBusIsAway_isSentLater()
{
    start();
    m_bus->stop();
    wantCall();
    QVERIFY2(m_bus->start(), qPrintable(m_bus->errorString()));
    const auto command = m_bus->waitForCommand(printer(), QStringLiteral("print"));
    QVERIFY2(command, qPrintable(m_bus->errorString()));
    QVERIFY(answer(*command, QStringLiteral("printed"), {{QStringLiteral("left"), 7}}));
    QVERIFY(isToldInTheEnd({QStringLiteral("print: printed 7")}));
}

void TstCaller::otherCommands_areReceived_errorsAreNot()
{
    start();
    m_bus->sendCommand(printer(), cashbox(), QStringLiteral("commandError"));
    m_bus->sendCommand(printer(), cashbox(), QStringLiteral("status"));
    QVERIFY(isToldInTheEnd({QStringLiteral("received status")}));
}

void TstCaller::start(int replyTimeoutMs)
{
    m_bus = std::make_unique<TestBus>();
    QVERIFY2(m_bus->start(), qPrintable(m_bus->errorString()));
    m_service = std::make_unique<CashboxService>(replyTimeoutMs);
    m_service->doStart();
    QVERIFY2(m_bus->waitForClient(cashbox()), qPrintable(m_bus->errorString()));
}

void TstCaller::wantCall()
{
    TarvexCommand command;
    command.setAgent(printer());
    command.setName(QStringLiteral("print"));
    Q_EMIT m_service->callWanted(command);
}

/// \return what comes to the printer.
std::optional<TarvexCommand> TstCaller::call()
{
    wantCall();
    return m_bus->waitForCommand(printer(), QStringLiteral("print"));
}

bool TstCaller::answer(const TarvexCommand& command, const QString& name, const QVariantMap& data, const QString& from)
{
    TarvexCommand answer;
    answer.setAgent(cashbox());
    answer.setUid(command.uid());
    answer.setName(name);
    answer.setData(data);
    Message message = answer.toOutgoingMessage();
    message.setSender(from);
    return !m_bus->sendMessage(message).isEmpty();
}

bool TstCaller::isToldInTheEnd(const QStringList& expected)
{
    const bool isTold = QTest::qWaitFor([&] { return m_service->told().size() >= expected.size(); }, LONG_MS / 2);
    if (!isTold || m_service->told() != expected) {
        qWarning() << "told:" << m_service->told() << "expected:" << expected;
        return false;
    }
    return true;
}

QTEST_GUILESS_MAIN(TstCaller)
#include "tst_caller.moc"
