#include "childprocess.h"
#include "client/supportedclients.h"
#include "client/tarvexmessagesreciever.h"
#include "client/tarvexqueryhandler.h"
#include "literals.h"

#include <QElapsedTimer>
#include <QTest>

#include <functional>
#include <memory>
#include <vector>

using namespace tarvex;

namespace {

constexpr int PATIENCE_MS = 30000;

/// Clears the screen and goes on with a line of its own, and clears the screen once more in another way.
const QString HOSTILE = u"\x1b[2J\nfaked line\u009b2J"_s;
/// The same within a JSON text.
const QString HOSTILE_JSON = uR"(\u001b[2J\nfaked line\u009b2J)"_s;
/// How the command-line client and the examples show it, and how the bus does.
const QString ESCAPED = uR"(\x1b[2J\nfaked line\x9b2J)"_s;
const QString MASKED = u"?[2J?faked line?2J"_s;

const QString MONITOR = u"monitor"_s;

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
    return seen.filter(text).isEmpty() ? u"\"%1\" is missing in:\n%2"_s.arg(text, seen.join(QLatin1Char('\n')))
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
    return uR"({"cmd":"%1","data":{"%2":"%3"}})"_s.arg(command, key, HOSTILE_JSON);
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
    ChildProcess& startBus(const QStringList& arguments = {u"--memory"_s});
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
    ChildProcess& bus = startBus({u"--memory"_s, u"--trace"_s});
    QVERIFY(send(HOSTILE, HOSTILE));
    QVERIFY(m_sender->saveState(hostileState()));
    const QString problem = problemOnErrors(bus, u"query/%1 REPLY saveState"_s.arg(MASKED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::bus_warns()
{
    ChildProcess& bus = startBus({u"--memory"_s, u"--keep"_s, u"0"_s});
    QVERIFY(send(HOSTILE, HOSTILE));
    const QString problem = problemOnErrors(bus, u"wait for \"%1\""_s.arg(MASKED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::listen_showsMessages()
{
    startBus();
    QVERIFY(send(MONITOR, HOSTILE));
    ChildProcess& listen = start(TARVEXCTL, {u"--as"_s, MONITOR, u"listen"_s});
    const QString problem = problemOnOutput(listen, u"%1  %2  %1"_s.arg(ESCAPED, MONITOR)); // sender, receiver, text
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::call_tellsOfStrays()
{
    startBus();
    QVERIFY(send(MONITOR, HOSTILE));
    ChildProcess& call = start(TARVEXCTL, {u"--as"_s, MONITOR, u"call"_s, u"nobody"_s, u"print"_s});
    const QString problem = problemOnErrors(call, u"from %1, UID %1: %1"_s.arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::call_showsReply()
{
    startBus();
    replyWith(commandText(HOSTILE_JSON, HOSTILE_JSON));
    ChildProcess& call = start(TARVEXCTL, {u"call"_s, HOSTILE, u"print"_s});
    QString problem = problemOnOutput(call, u"From     "_s + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    problem = problemOnOutput(call, u"Command  "_s + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    QCOMPARE(call.errorLines(), QStringList());
}

void TstVisibleNames::call_tellsOfRefusal()
{
    startBus();
    replyWith(commandText(u"commandError"_s, u"errorText"_s));
    ChildProcess& call = start(TARVEXCTL, {u"call"_s, HOSTILE, u"print"_s});
    const QString problem = problemOnErrors(call, u"refused by %1: %1"_s.arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::state_isShownAndWatched()
{
    startBus();
    QVERIFY(m_sender->saveState(hostileState()));
    ChildProcess& get = start(TARVEXCTL, {u"state"_s, u"get"_s, HOSTILE});
    QString problem = problemOnOutput(get, u"State        "_s + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    ChildProcess& watch = start(TARVEXCTL, {u"state"_s, u"watch"_s, HOSTILE});
    problem = problemOnOutput(watch, u"  %1  1     %1  %1"_s.arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::states_areRefused()
{
    startBus();
    ChildProcess& get = start(TARVEXCTL, {u"state"_s, u"get"_s, HOSTILE, u"nobody"_s});
    const QString problem = problemOnErrors(get, ESCAPED + u": refused by the bus"_s);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::settings_areSetAndShown()
{
    startBus();
    ChildProcess& set = start(TARVEXCTL, {u"settings"_s, u"set"_s, HOSTILE, HOSTILE, HOSTILE, HOSTILE});
    QString problem = problemOnErrors(set, u"in the settings of "_s + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    ChildProcess& get = start(TARVEXCTL, {u"settings"_s, u"get"_s, HOSTILE});
    problem = problemOnOutput(get, u"%1  %1  "_s.arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::logger_printsLines()
{
    startBus();
    QVERIFY(send(BUSNAME_LOGGER, commandText(u"saveLog"_s, u"text"_s)));
    QVERIFY(send(BUSNAME_LOGGER, commandText(u"saveLog"_s, u"prefix"_s), u"another"_s));
    ChildProcess& logger = start(LOG_SERVICE);
    QString problem = problemOnOutput(logger, u"\t%1\t\t%1"_s.arg(ESCAPED)); // sender, prefix, text
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    problem = problemOnOutput(logger, u"\t%1\t%1\t"_s.arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

/// A service shows on its console what the library logs, here that a message repeats.
void TstVisibleNames::logger_logsOnItsConsole()
{
    startBus();
    QVERIFY(send(BUSNAME_LOGGER, HOSTILE));
    QVERIFY(send(BUSNAME_LOGGER, HOSTILE));
    ChildProcess& logger = start(LOG_SERVICE);
    const QString problem = problemOnErrors(logger, ESCAPED + uR"(\tlogger\t)"_s);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::stateWatcher_printsStates()
{
    startBus();
    TarvexQueryHandler door(BUSNAME_DOOR_SENSOR);
    QVERIFY(door.open());
    QVERIFY(door.saveState(hostileState()));
    ChildProcess& watcher = start(WATCHER);
    const QString problem = problemOnOutput(watcher, u"\tdoor_sensor\t"_s + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::gate_logsOnItsConsole()
{
    startBus();
    QVERIFY(send(u"gate"_s, commandText(u"status"_s, u"none"_s)));
    ChildProcess& gate = start(GATE_SERVICE);
    const QString problem = problemOnErrors(gate, u"status %1 %1"_s.arg(ESCAPED));
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::echo_logsOnItsConsole()
{
    startBus();
    ClientSettings settings;
    settings.setOwner(u"echo"_s);
    settings.setFormattedSettings({{u"echo"_s, QVariantMap{{u"prefix"_s, HOSTILE}}}}, true);
    QVERIFY(m_sender->saveSettings(settings));
    ChildProcess& echo = start(ECHO_SERVICE);
    const QString problem = problemOnErrors(echo, u"prefix is now "_s + ESCAPED);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
}

void TstVisibleNames::ticketPrinter_prints()
{
    startBus();
    QVERIFY(send(BUSNAME_TICKET_PRINTER, commandText(u"print"_s, u"text"_s)));
    ChildProcess& printer = start(TICKET_PRINTER);
    // It prints on one line by itself, with a space for each line end.
    QString problem = problemOnOutput(printer, uR"([ \x1b[2J faked line\x9b2J ])"_s);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    problem = problemOnErrors(printer, u"print %1 %1"_s.arg(ESCAPED));
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
