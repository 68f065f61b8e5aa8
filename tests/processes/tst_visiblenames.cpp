#include "childprocess.h"
#include "client/supportedclients.h"
#include "client/tarvexmessagesreciever.h"
#include "client/tarvexqueryhandler.h"

#include <QElapsedTimer>
#include <QTest>

#include <functional>
#include <memory>
#include <vector>

using namespace tarvex;

namespace {

constexpr int PATIENCE_MS = 30000;

/// Clears the screen and goes on with a line of its own, and clears the screen once more in another way.
const QString HOSTILE = QStringLiteral("\x1b[2J\nfaked line\u009b2J");
/// The same within a JSON text.
const QString HOSTILE_JSON = QStringLiteral(R"(\u001b[2J\nfaked line\u009b2J)");
/// How the command-line client and the examples show it, and how the bus does.
const QString ESCAPED = QStringLiteral(R"(\x1b[2J\nfaked line\x9b2J)");
const QString MASKED = QStringLiteral("?[2J?faked line?2J");

const QString MONITOR = QStringLiteral("monitor");

/// \return the first line that is not what the program meant to print; empty when there is none.
QString spoiltLine(const QStringList& lines)
{
    for (const QString& line : lines) {
        bool isSpoilt = line.startsWith(QLatin1String("faked line"));
        for (const QChar character : line) {
            // Programs set fields apart by tabs.
            isSpoilt = isSpoilt || (character.category() == QChar::Other_Control && character != QLatin1Char('\t'));
        }
        if (isSpoilt) {
            return line;
        }
    }
    return {};
}

/// Waits until a line of \a lines holds \a text. \return what is wrong with the lines; empty when nothing is.
QString problem(const std::function<QStringList()>& lines, const QString& text)
{
    QElapsedTimer timer;
    timer.start();
    while (lines().filter(text).isEmpty() && spoiltLine(lines()).isEmpty() && timer.elapsed() < PATIENCE_MS) {
        QTest::qWait(20);
    }
    const QStringList seen = lines();
    const QString spoilt = spoiltLine(seen);
    if (!spoilt.isEmpty()) {
        return QLatin1String("spoilt: ") + spoilt;
    }
    return seen.filter(text).isEmpty()
        ? QStringLiteral("\"%1\" is missing in:\n%2").arg(text, seen.join(QLatin1Char('\n')))
        : QString();
}

QString problemOnOutput(ChildProcess& process, const QString& text)
{
    return problem([&process] { return process.lines(); }, text);
}

QString problemOnErrors(ChildProcess& process, const QString& text)
{
    return problem([&process] { return process.errorLines(); }, text);
}

QString commandText(const QString& command, const QString& key)
{
    return QStringLiteral(R"({"cmd":"%1","data":{"%2":"%3"}})").arg(command, key, HOSTILE_JSON);
}

Message messageTo(const QString& receiver, const QString& text, const QString& uid)
{
    Message message;
    message.setReciever(receiver);
    message.setMessage(text);
    message.setUid(uid);
    return message;
}

ClientState hostileState()
{
    ClientState state;
    state.setStateType(ClientState::EStateType(1));
    state.setDescription(HOSTILE);
    state.setState(HOSTILE);
    return state;
}

} // namespace

/// A client's name, and whatever else it sends, can hold line ends and sequences that steer a terminal. No program
/// prints them as they are.
class TstVisibleNames : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    /// Answers a message of the hostile client's.
    void answer(Message message);

private Q_SLOTS:
    void cleanup();
    void bus_traces();
    void bus_warns();
    void listen_showsMessages();
    void call_tellsOfStrays();
    void call_showsReply();
    void call_tellsOfRefusal();
    void state_isShownAndWatched();
    void states_areRefused();
    void settings_areSetAndShown();
    void logger_printsLines();
    void logger_logsOnItsConsole();
    void stateWatcher_printsStates();
    void gate_logsOnItsConsole();
    void echo_logsOnItsConsole();
    void ticketPrinter_prints();

private:
    ChildProcess& start(const char* program, const QStringList& arguments = {});
    /// A bus, and on it the hostile client.
    ChildProcess& startBus(const QStringList& arguments = {QStringLiteral("--memory")});
    /// The hostile client sends a message, which the bus keeps for a receiver that is not there yet.
    bool send(const QString& receiver, const QString& text, const QString& uid = HOSTILE);
    /// The hostile client answers its next message with \a text.
    void replyWith(const QString& text);

    std::vector<std::unique_ptr<ChildProcess>> m_programs;
    std::unique_ptr<TarvexQueryHandler> m_sender;
    std::unique_ptr<TarvexMessagesReciever> m_receiver;
    QString m_reply;
};

void TstVisibleNames::cleanup()
{
    m_receiver.reset();
    m_sender.reset();
    m_programs.clear();
}

void TstVisibleNames::bus_traces()
{
    ChildProcess& bus = startBus({QStringLiteral("--memory"), QStringLiteral("--trace")});
    QVERIFY(send(HOSTILE, HOSTILE));
    QVERIFY(m_sender->saveState(hostileState()));
    const QString problem = problemOnErrors(bus, QStringLiteral("query/%1 REPLY saveState").arg(MASKED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::bus_warns()
{
    ChildProcess& bus = startBus({QStringLiteral("--memory"), QStringLiteral("--keep"), QStringLiteral("0")});
    QVERIFY(send(HOSTILE, HOSTILE));
    const QString problem = problemOnErrors(bus, QStringLiteral("wait for \"%1\"").arg(MASKED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::listen_showsMessages()
{
    startBus();
    QVERIFY(send(MONITOR, HOSTILE));
    ChildProcess& listen = start(TARVEXCTL, {QStringLiteral("--as"), MONITOR, QStringLiteral("listen")});
    const QString problem =
        problemOnOutput(listen, QStringLiteral("%1  %2  %1").arg(ESCAPED, MONITOR)); // sender, receiver, text
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::call_tellsOfStrays()
{
    startBus();
    QVERIFY(send(MONITOR, HOSTILE));
    ChildProcess& call = start(
        TARVEXCTL,
        {QStringLiteral("--as"), MONITOR, QStringLiteral("call"), QStringLiteral("nobody"), QStringLiteral("print")});
    const QString problem = problemOnErrors(call, QStringLiteral("from %1, UID %1: %1").arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::call_showsReply()
{
    startBus();
    replyWith(commandText(HOSTILE_JSON, HOSTILE_JSON));
    ChildProcess& call = start(TARVEXCTL, {QStringLiteral("call"), HOSTILE, QStringLiteral("print")});
    QString problem = problemOnOutput(call, QStringLiteral("From     ") + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    problem = problemOnOutput(call, QStringLiteral("Command  ") + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    QCOMPARE(call.errorLines(), QStringList());
}

void TstVisibleNames::call_tellsOfRefusal()
{
    startBus();
    replyWith(commandText(QStringLiteral("commandError"), QStringLiteral("errorText")));
    ChildProcess& call = start(TARVEXCTL, {QStringLiteral("call"), HOSTILE, QStringLiteral("print")});
    const QString problem = problemOnErrors(call, QStringLiteral("refused by %1: %1").arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::state_isShownAndWatched()
{
    startBus();
    QVERIFY(m_sender->saveState(hostileState()));
    ChildProcess& get = start(TARVEXCTL, {QStringLiteral("state"), QStringLiteral("get"), HOSTILE});
    QString problem = problemOnOutput(get, QStringLiteral("State        ") + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    ChildProcess& watch = start(TARVEXCTL, {QStringLiteral("state"), QStringLiteral("watch"), HOSTILE});
    problem = problemOnOutput(watch, QStringLiteral("  %1  1     %1  %1").arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::states_areRefused()
{
    startBus();
    ChildProcess& get =
        start(TARVEXCTL, {QStringLiteral("state"), QStringLiteral("get"), HOSTILE, QStringLiteral("nobody")});
    const QString problem = problemOnErrors(get, ESCAPED + QStringLiteral(": refused by the bus"));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::settings_areSetAndShown()
{
    startBus();
    ChildProcess& set =
        start(TARVEXCTL, {QStringLiteral("settings"), QStringLiteral("set"), HOSTILE, HOSTILE, HOSTILE, HOSTILE});
    QString problem = problemOnErrors(set, QStringLiteral("in the settings of ") + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    ChildProcess& get = start(TARVEXCTL, {QStringLiteral("settings"), QStringLiteral("get"), HOSTILE});
    problem = problemOnOutput(get, QStringLiteral("%1  %1  ").arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::logger_printsLines()
{
    startBus();
    QVERIFY(send(BUSNAME_LOGGER, commandText(QStringLiteral("saveLog"), QStringLiteral("text"))));
    QVERIFY(send(BUSNAME_LOGGER, commandText(QStringLiteral("saveLog"), QStringLiteral("prefix")),
                 QStringLiteral("another")));
    ChildProcess& logger = start(LOG_SERVICE);
    QString problem = problemOnOutput(logger, QStringLiteral("\t%1\t\t%1").arg(ESCAPED)); // sender, prefix, text
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    problem = problemOnOutput(logger, QStringLiteral("\t%1\t%1\t").arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

/// A service shows on its console what the library logs, here that a message repeats.
void TstVisibleNames::logger_logsOnItsConsole()
{
    startBus();
    QVERIFY(send(BUSNAME_LOGGER, HOSTILE));
    QVERIFY(send(BUSNAME_LOGGER, HOSTILE));
    ChildProcess& logger = start(LOG_SERVICE);
    const QString problem = problemOnErrors(logger, ESCAPED + QStringLiteral(R"(\tlogger\t)"));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::stateWatcher_printsStates()
{
    startBus();
    TarvexQueryHandler door(BUSNAME_DOOR_SENSOR);
    QVERIFY(door.open());
    QVERIFY(door.saveState(hostileState()));
    ChildProcess& watcher = start(WATCHER);
    const QString problem = problemOnOutput(watcher, QStringLiteral("\tdoor_sensor\t") + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::gate_logsOnItsConsole()
{
    startBus();
    QVERIFY(send(QStringLiteral("gate"), commandText(QStringLiteral("status"), QStringLiteral("none"))));
    ChildProcess& gate = start(GATE_SERVICE);
    const QString problem = problemOnErrors(gate, QStringLiteral("status %1 %1").arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::echo_logsOnItsConsole()
{
    startBus();
    ClientSettings settings;
    settings.setOwner(QStringLiteral("echo"));
    settings.setFormattedSettings({{QStringLiteral("echo"), QVariantMap{{QStringLiteral("prefix"), HOSTILE}}}}, true);
    QVERIFY(m_sender->saveSettings(settings));
    ChildProcess& echo = start(ECHO_SERVICE);
    const QString problem = problemOnErrors(echo, QStringLiteral("prefix is now ") + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::ticketPrinter_prints()
{
    startBus();
    QVERIFY(send(BUSNAME_TICKET_PRINTER, commandText(QStringLiteral("print"), QStringLiteral("text"))));
    ChildProcess& printer = start(TICKET_PRINTER);
    // It prints on one line by itself, with a space for each line end.
    QString problem = problemOnOutput(printer, QStringLiteral(R"([ \x1b[2J faked line\x9b2J ])"));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    problem = problemOnErrors(printer, QStringLiteral("print %1 %1").arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

ChildProcess& TstVisibleNames::start(const char* program, const QStringList& arguments)
{
    m_programs.push_back(std::make_unique<ChildProcess>(QString::fromUtf8(program), arguments));
    m_programs.back()->start();
    return *m_programs.back();
}

ChildProcess& TstVisibleNames::startBus(const QStringList& arguments)
{
    ChildProcess& bus = start(DEVBUS, arguments);
    bus.waitForLine(QString());
    m_sender = std::make_unique<TarvexQueryHandler>(HOSTILE);
    m_sender->open();
    return bus;
}

bool TstVisibleNames::send(const QString& receiver, const QString& text, const QString& uid)
{
    return m_sender->sendMessage(messageTo(receiver, text, uid));
}

void TstVisibleNames::replyWith(const QString& text)
{
    m_reply = text;
    m_receiver = std::make_unique<TarvexMessagesReciever>(HOSTILE);
    connect(m_receiver.get(), SIGNAL(incomingMessage(Message)), this, SLOT(answer(Message)));
    m_receiver->open();
}

void TstVisibleNames::answer(Message message)
{
    send(message.sender(), m_reply, message.uid());
}

QTEST_GUILESS_MAIN(TstVisibleNames)
#include "tst_visiblenames.moc"
