#include "programs.h"

#include "client/tarvexmessagesreciever.h"
#include "client/tarvexqueryhandler.h"
#include "cmdlayer/tarvexcommand.h"

#include <QSignalSpy>

#include <memory>

using tarvex::Message;

namespace {

constexpr int PATIENCE_MS = 30000;

const QString GATE = u"gate"_s;
const QString CASHBOX = u"cashbox"_s;

TarvexCommand command(const QString& name, const QVariantMap& data = {})
{
    static int count = 0;
    TarvexCommand command;
    command.setAgent(GATE);
    command.setUid(u"cashbox-%1"_s.arg(++count));
    command.setName(name);
    command.setData(data);
    return command;
}

QString text(const TarvexCommand& answer)
{
    return answer.toOutgoingMessage().message();
}

/// The text of an answer that refuses a command.
QString refusal(const char* command, const char* data, const char* errorText)
{
    return uR"({"cmd":"commandError","data":{"command":"%1","data":%2,"errorText":"%3"}})"_s.arg(
        QLatin1String(command), QLatin1String(data), QLatin1String(errorText));
}

} // namespace

/// The service of examples/commands, as a client on the bus sees it.
class TstCommandsExample : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void command_isAnswered_data();
    void command_isAnswered();
    void command_sentTwice_isCarriedOutOnce();

private:
    TarvexCommand answerTo(const TarvexCommand& command, int timeoutMs = PATIENCE_MS);

    std::unique_ptr<BusProgram> m_bus;
    std::unique_ptr<ChildProcess> m_gate;
    std::unique_ptr<tarvex::TarvexQueryHandler> m_sender;
    std::unique_ptr<tarvex::TarvexMessagesReciever> m_receiver;
    std::unique_ptr<QSignalSpy> m_incoming;
};

void TstCommandsExample::initTestCase()
{
    m_bus = std::make_unique<BusProgram>();
    m_gate = std::make_unique<ChildProcess>(QStringLiteral(GATE_SERVICE), QStringList{GATE});
    m_gate->start();
    m_sender = std::make_unique<tarvex::TarvexQueryHandler>(CASHBOX);
    m_receiver = std::make_unique<tarvex::TarvexMessagesReciever>(CASHBOX);
    m_incoming = std::make_unique<QSignalSpy>(m_receiver.get(), SIGNAL(incomingMessage(Message)));
    QVERIFY(m_sender->open());
    QVERIFY(m_receiver->open());
    // If the gate has an answer before its query connection is open, the answer is dropped. So the test asks until one
    // comes.
    constexpr int ATTEMPT_MS = 1000;
    bool answered = false;
    for (int i = 0; i < PATIENCE_MS / ATTEMPT_MS && !answered; ++i) {
        answered = !answerTo(command(u"status"_s), ATTEMPT_MS).name().isEmpty();
    }
    QVERIFY(answered);
}

void TstCommandsExample::cleanupTestCase()
{
    m_receiver.reset();
    m_sender.reset();
    QCOMPARE(m_gate->terminate(), 0);
    QCOMPARE(m_bus->terminate(), 0);
}

/// \return the answer with the command's uid; an empty command if none comes in time.
TarvexCommand TstCommandsExample::answerTo(const TarvexCommand& command, int timeoutMs)
{
    TarvexCommand answer;
    if (!m_sender->sendMessage(command.toOutgoingMessage())) {
        return answer;
    }
    const auto takeAnswer = [&] {
        while (!m_incoming->isEmpty()) {
            const auto message = m_incoming->takeFirst().constFirst().value<Message>();
            if (message.uid() == command.uid() && message.sender() == GATE) {
                return TarvexCommand::incomingMessageToCmd(message, answer);
            }
        }
        return false;
    };
    return QTest::qWaitFor(takeAnswer, timeoutMs) ? answer : TarvexCommand();
}

void TstCommandsExample::command_isAnswered_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("data");
    QTest::addColumn<QString>("answer");
    const QVariantMap none;
    const QVariantMap fiveSeconds{{u"seconds"_s, 5}};
    // All rows are one talk: each command finds the state that the commands before it have left.
    const auto says = [](const char* step, const char* name, const QVariantMap& data, const QString& answer) {
        QTest::newRow(step) << QString::fromLatin1(name) << data << answer;
    };
    const auto isNoMethod = [&](const char* step, const char* name) {
        says(step, name, none, refusal(name, "{}", qPrintable(u"No such method (%1)"_s.arg(QLatin1String(name)))));
    };
    says("status", "status", none, uR"({"cmd":"statusReport","data":{"timesOpened":0}})"_s);
    says("open", "open", fiveSeconds, uR"({"cmd":"opened","data":{"seconds":5}})"_s);
    says("status has changed", "status", none, uR"({"cmd":"statusReport","data":{"timesOpened":1}})"_s);
    says("open for no time", "open", {{u"seconds"_s, 0}},
         refusal("open", R"({"seconds":0})", "1 to 60 seconds, please"));
    isNoMethod("open without data", "open");
    isNoMethod("unlock when not locked", "unlock");
    says("lock", "lock", none, uR"({"cmd":"locked","data":{}})"_s);
    says("lock again", "lock", none, uR"({"cmd":"locked","data":{}})"_s);
    says("open when locked", "open", fiveSeconds, refusal("open", R"({"seconds":5})", "The gate is locked"));
    says("status when locked", "status", none, uR"({"cmd":"statusReport","data":{"timesOpened":1}})"_s);
    says("unlock", "unlock", none, uR"({"cmd":"unlocked","data":{}})"_s);
    isNoMethod("unlock again", "unlock");
    says("open when unlocked", "open", fiveSeconds, uR"({"cmd":"opened","data":{"seconds":5}})"_s);
    isNoMethod("hostile", "deleteLater");
    isNoMethod("a public function that is no slot", "answer");
}

void TstCommandsExample::command_isAnswered()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, data);
    QFETCH(QString, answer);
    QCOMPARE(text(answerTo(command(name, data))), answer);
}

void TstCommandsExample::command_sentTwice_isCarriedOutOnce()
{
    const QString count = u"timesOpened"_s;
    const int before = answerTo(command(u"status"_s)).data().value(count).toInt();
    const TarvexCommand open = command(u"open"_s, {{u"seconds"_s, 1}});
    QCOMPARE(answerTo(open).name(), u"opened"_s);
    QVERIFY(m_sender->sendMessage(open.toOutgoingMessage()));
    // Messages keep their order, so the gate has handled the second copy before it answers this command.
    QCOMPARE(answerTo(command(u"status"_s)).data().value(count).toInt(), before + 1);
}

QTEST_GUILESS_MAIN(TstCommandsExample)
#include "tst_commandsexample.moc"
