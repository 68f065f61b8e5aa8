#include "client/supportedclients.h"
#include "client/tarvexmessagesreciever.h"
#include "client/tarvexqueryhandler.h"
#include "programs.h"
#include "samples.h"

#include <memory>
#include <vector>

using namespace tarvex;

namespace {

/// Clears the screen, begins a line of its own, and clears the screen once more in another way.
const QString HOSTILE = u"\x1b[2J\nfaked line\u009b2J"_s;
/// The same in a JSON text.
const QString HOSTILE_JSON = uR"(\u001b[2J\nfaked line\u009b2J)"_s;
/// How the command-line client and the examples show it, and how the bus shows it.
const QString ESCAPED = uR"(\x1b[2J\nfaked line\x9b2J)"_s;
const QString MASKED = u"?[2J?faked line?2J"_s;

const QString MONITOR = u"monitor"_s;

/// \return the first line that begins with the hostile text's own line or holds a control character other than a tab;
/// empty if there is none.
QString spoiltLine(const QStringList& lines)
{
    for (const QString& line : lines) {
        bool isSpoilt = line.startsWith(QLatin1String("faked line"));
        for (const QChar character : line) {
            // Programs separate fields by tabs.
            isSpoilt = isSpoilt || (character.category() == QChar::Other_Control && character != QLatin1Char('\t'));
        }
        if (isSpoilt) {
            return line;
        }
    }
    return {};
}

using Lines = QStringList (ChildProcess::*)();

constexpr Lines OUTPUT = &ChildProcess::lines;
constexpr Lines ERRORS = &ChildProcess::errorLines;

/// Fails the test unless the process prints a line that holds \a text, and none that is spoilt.
void expectLine(ChildProcess& process, Lines lines, const QString& text)
{
    QStringList seen;
    // The client that answers needs this thread's event loop.
    const auto isOver = [&] {
        seen = (process.*lines)();
        return !seen.filter(text).isEmpty() || !spoiltLine(seen).isEmpty();
    };
    static_cast<void>(QTest::qWaitFor(isOver, ChildProcess::PATIENCE_MS));
    QCOMPARE(spoiltLine(seen), QString());
    QVERIFY2(!seen.filter(text).isEmpty(),
             qPrintable(u"\"%1\" is missing in:\n%2"_s.arg(text, seen.join(QLatin1Char('\n')))));
}

QString commandText(const QString& command, const QString& key)
{
    return uR"({"cmd":"%1","data":{"%2":"%3"}})"_s.arg(command, key, HOSTILE_JSON);
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

/// A client's name and everything else that it sends may hold line ends and control sequences of a terminal. No program
/// prints them as they are.
class TstVisibleNames : public QObject
{
    Q_OBJECT
public Q_SLOTS:
    /// Answers a message to the hostile client.
    void answer(Message message);

private Q_SLOTS:
    void init();
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
    /// Starts the bus, and connects the hostile client to it.
    void startBus(const QStringList& arguments);
    /// The hostile client sends a message. The bus keeps it for a receiver that is not connected yet.
    bool send(const QString& receiver, const QString& text, const QString& uid = HOSTILE);
    /// The hostile client answers its next message with \a text.
    void replyWith(const QString& text);

    std::unique_ptr<BusProgram> m_bus;
    std::vector<std::unique_ptr<ChildProcess>> m_programs;
    std::unique_ptr<TarvexQueryHandler> m_sender;
    std::unique_ptr<TarvexMessagesReciever> m_receiver;
    QString m_reply;
};

void TstVisibleNames::init()
{
    startBus({u"--memory"_s, u"--trace"_s});
}

void TstVisibleNames::cleanup()
{
    m_receiver.reset();
    m_sender.reset();
    m_programs.clear();
    m_bus.reset();
}

void TstVisibleNames::bus_traces()
{
    QVERIFY(send(HOSTILE, HOSTILE));
    QVERIFY(m_sender->saveState(hostileState()));
    expectLine(*m_bus, ERRORS, u"query/%1 REPLY saveState"_s.arg(MASKED));
}

void TstVisibleNames::bus_warns()
{
    cleanup();
    startBus({u"--memory"_s, u"--keep"_s, u"0"_s});
    QVERIFY(send(HOSTILE, HOSTILE));
    expectLine(*m_bus, ERRORS, u"wait for \"%1\""_s.arg(MASKED));
}

void TstVisibleNames::listen_showsMessages()
{
    QVERIFY(send(MONITOR, HOSTILE));
    expectLine(start(TARVEXCTL, {u"--as"_s, MONITOR, u"listen"_s}), OUTPUT,
               u"%1  %2  %1"_s.arg(ESCAPED, MONITOR)); // sender, receiver, text
}

void TstVisibleNames::call_tellsOfStrays()
{
    QVERIFY(send(MONITOR, HOSTILE));
    expectLine(start(TARVEXCTL, {u"--as"_s, MONITOR, u"call"_s, u"nobody"_s, u"print"_s}), ERRORS,
               u"from %1, UID %1: %1"_s.arg(ESCAPED));
}

void TstVisibleNames::call_showsReply()
{
    replyWith(commandText(HOSTILE_JSON, HOSTILE_JSON));
    ChildProcess& call = start(TARVEXCTL, {u"call"_s, HOSTILE, u"print"_s});
    expectLine(call, OUTPUT, u"From     "_s + ESCAPED);
    expectLine(call, OUTPUT, u"Command  "_s + ESCAPED);
    QCOMPARE(call.errorLines(), QStringList());
}

void TstVisibleNames::call_tellsOfRefusal()
{
    replyWith(commandText(u"commandError"_s, u"errorText"_s));
    expectLine(start(TARVEXCTL, {u"call"_s, HOSTILE, u"print"_s}), ERRORS, u"refused by %1: %1"_s.arg(ESCAPED));
}

void TstVisibleNames::state_isShownAndWatched()
{
    QVERIFY(m_sender->saveState(hostileState()));
    ChildProcess& get = start(TARVEXCTL, {u"state"_s, u"get"_s, HOSTILE});
    expectLine(get, OUTPUT, u"State        "_s + ESCAPED);
    expectLine(start(TARVEXCTL, {u"state"_s, u"watch"_s, HOSTILE}), OUTPUT, u"  %1  1     %1  %1"_s.arg(ESCAPED));
}

void TstVisibleNames::states_areRefused()
{
    expectLine(start(TARVEXCTL, {u"state"_s, u"get"_s, HOSTILE, u"nobody"_s}), ERRORS,
               ESCAPED + u": refused by the bus"_s);
}

void TstVisibleNames::settings_areSetAndShown()
{
    ChildProcess& set = start(TARVEXCTL, {u"settings"_s, u"set"_s, HOSTILE, HOSTILE, HOSTILE, HOSTILE});
    expectLine(set, ERRORS, u"in the settings of "_s + ESCAPED);
    expectLine(start(TARVEXCTL, {u"settings"_s, u"get"_s, HOSTILE}), OUTPUT, u"%1  %1  "_s.arg(ESCAPED));
}

void TstVisibleNames::logger_printsLines()
{
    QVERIFY(send(BUSNAME_LOGGER, commandText(u"saveLog"_s, u"text"_s)));
    QVERIFY(send(BUSNAME_LOGGER, commandText(u"saveLog"_s, u"prefix"_s), u"another"_s));
    ChildProcess& logger = start(LOG_SERVICE);
    expectLine(logger, OUTPUT, u"\t%1\t\t%1"_s.arg(ESCAPED)); // sender, prefix, text
    expectLine(logger, OUTPUT, u"\t%1\t%1\t"_s.arg(ESCAPED));
}

/// A service shows on its console what the library logs. Here the line says that a message was repeated.
void TstVisibleNames::logger_logsOnItsConsole()
{
    QVERIFY(send(BUSNAME_LOGGER, HOSTILE));
    QVERIFY(send(BUSNAME_LOGGER, HOSTILE));
    expectLine(start(LOG_SERVICE), ERRORS, ESCAPED + uR"(\tlogger\t)"_s);
}

void TstVisibleNames::stateWatcher_printsStates()
{
    TarvexQueryHandler door(BUSNAME_DOOR_SENSOR);
    QVERIFY(door.open());
    QVERIFY(door.saveState(hostileState()));
    expectLine(start(WATCHER), OUTPUT, u"\tdoor_sensor\t"_s + ESCAPED);
}

void TstVisibleNames::gate_logsOnItsConsole()
{
    QVERIFY(send(u"gate"_s, commandText(u"status"_s, u"none"_s)));
    expectLine(start(GATE_SERVICE), ERRORS, u"status %1 %1"_s.arg(ESCAPED));
}

void TstVisibleNames::echo_logsOnItsConsole()
{
    ClientSettings settings;
    settings.setOwner(u"echo"_s);
    settings.setFormattedSettings({{u"echo"_s, QVariantMap{{u"prefix"_s, HOSTILE}}}}, true);
    QVERIFY(m_sender->saveSettings(settings));
    expectLine(start(ECHO_SERVICE), ERRORS, u"prefix is now "_s + ESCAPED);
}

void TstVisibleNames::ticketPrinter_prints()
{
    QVERIFY(send(BUSNAME_TICKET_PRINTER, commandText(u"print"_s, u"text"_s)));
    ChildProcess& printer = start(PRINTER_SERVICE);
    // The printer prints a ticket on one line, with a space for each line end.
    expectLine(printer, OUTPUT, uR"([ \x1b[2J faked line\x9b2J ])"_s);
    expectLine(printer, ERRORS, u"print %1 %1"_s.arg(ESCAPED));
}

ChildProcess& TstVisibleNames::start(const char* program, const QStringList& arguments)
{
    m_programs.push_back(std::make_unique<ChildProcess>(QString::fromUtf8(program), arguments));
    m_programs.back()->start();
    return *m_programs.back();
}

void TstVisibleNames::startBus(const QStringList& arguments)
{
    m_bus = std::make_unique<BusProgram>(arguments);
    m_sender = std::make_unique<TarvexQueryHandler>(HOSTILE);
    QVERIFY(m_sender->open());
}

bool TstVisibleNames::send(const QString& receiver, const QString& text, const QString& uid)
{
    return m_sender->sendMessage(samples::someMessage(receiver, text, uid));
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
