#include "busclient.h"
#include "controlclient.h"
#include "interrupts.h"
#include "mockevents.h"
#include "mockfile.h"
#include "mockservices.h"
#include "output.h"
#include "programwords.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QElapsedTimer>
#include <QEvent>
#include <QEventLoop>
#include <QHash>
#include <QSet>
#include <QTimer>

#include <memory>

using namespace tarvex::mock;

namespace tarvexctl {

namespace {

/// The library waits this long for each answer of the bus. The stand-ins need several, side by side.
constexpr int START_TIMEOUT_MS = 60000;
/// The words about a lost connection come once in this time, because two programs of one name may take it from each
/// other every second.
constexpr int LOSS_INTERVAL_MS = 60000;

QString answerName(const Answer& answer)
{
    switch (answer.kind) {
    case Answer::Reply:
        return QStringLiteral("reply");
    case Answer::Error:
        return QStringLiteral("error");
    default:
        return QStringLiteral("silence");
    }
}

/// The column ANSWER.
QString answerText(const Answer& answer)
{
    QString text = answerName(answer);
    if (answer.kind == Answer::Reply) {
        text = answer.name + QLatin1Char(' ') + jsonText(answer.data);
    } else if (answer.kind == Answer::Error) {
        text += QLatin1String(": ") + answer.errorText;
    }
    return answer.delayMs > 0 ? Words::tr("%1 (after %2 ms)").arg(text, QString::number(answer.delayMs)) : text;
}

QVariantMap handledObject(const MockEvent& event)
{
    QVariantMap object{
        {QStringLiteral("time"), timeText(event.time)},       {QStringLiteral("service"), event.service},
        {QStringLiteral("command"), event.command.name()},    {QStringLiteral("data"), event.command.data()},
        {QStringLiteral("from"), event.command.agent()},      {QStringLiteral("uid"), event.command.uid()},
        {QStringLiteral("answer"), answerName(event.answer)}, {QStringLiteral("delay"), event.answer.delayMs}};
    if (event.answer.kind == Answer::Reply) {
        object.insert(QStringLiteral("replyName"), event.answer.name);
        object.insert(QStringLiteral("replyData"), event.answer.data);
    } else if (event.answer.kind == Answer::Error) {
        object.insert(QStringLiteral("errorText"), event.answer.errorText);
    }
    return object;
}

QStringList namesOf(const MockFile& file)
{
    QStringList names;
    for (const ServiceDescription& service : file.services) {
        names.append(service.name);
    }
    return names;
}

/// Runs the stand-ins until there is a reason to end.
class Session : public QObject
{
public:
    Session(const MockFile& file, const Limits& limits, Output& output);

    ~Session() override { m_events->detach(); }
    Q_DISABLE_COPY_MOVE(Session)

    /// Throws Failure.
    void run();

    bool event(QEvent* event) override;

private:
    void take(const MockEvent& event);
    void noteReady(const QString& service);
    void noteLost(const QString& service, const QString& words);
    void noteHandled(const MockEvent& event);
    void onTimeUp();
    void end(const std::optional<Failure>& failure = std::nullopt);

    const QStringList m_names;
    const Limits m_limits;
    Tally m_tally;
    Output& m_output;
    const std::shared_ptr<MockEvents> m_events;
    MockServices m_services;
    InterruptWatcher m_interrupts;
    QTimer m_startTimer;
    QTimer m_deadline;
    QEventLoop m_loop;
    QSet<QString> m_ready;
    bool m_areAllReady = false;
    QHash<QString, QElapsedTimer> m_sinceLossTold;
    QSet<QString> m_told; ///< The services whose loss was told and whose return was not.
    std::optional<Failure> m_failure;
    bool m_hasEnded = false;
};

Session::Session(const MockFile& file, const Limits& limits, Output& output)
    : m_names(namesOf(file))
    , m_limits(limits)
    , m_tally(limits)
    , m_output(output)
    , m_events(std::make_shared<MockEvents>(this))
    , m_services(file.services, m_events)
{
    for (QTimer* const timer : {&m_startTimer, &m_deadline}) {
        timer->setSingleShot(true);
        timer->setTimerType(Qt::PreciseTimer); // other timers may fire up to 5 % too early
    }
    connect(&m_interrupts, &InterruptWatcher::interrupted, this,
            [this] { end(Failure(Interrupted, Words::tr("interrupted"))); });
    connect(&m_deadline, &QTimer::timeout, this, &Session::onTimeUp);
    connect(&m_startTimer, &QTimer::timeout, this, [this] {
        end(Failure(TimedOut,
                    Words::tr("the bus is there, but did not accept all services within %1")
                        .arg(secondsText(START_TIMEOUT_MS))));
    });
}

void Session::run()
{
    if (m_limits.timeoutMs) {
        m_deadline.start(*m_limits.timeoutMs);
    }
    m_startTimer.start(START_TIMEOUT_MS);
    m_services.doStart();
    m_loop.exec();
    m_events->detach();
    m_services.doKillThreads();
    if (m_failure) {
        throw *m_failure;
    }
}

/// Must not throw, because Qt calls it.
bool Session::event(QEvent* event)
{
    if (event->type() != QEvent::User) {
        return QObject::event(event);
    }
    const QList<MockEvent> events = m_events->take();
    for (const MockEvent& next : events) {
        if (m_hasEnded) {
            break;
        }
        try {
            take(next);
        } catch (const Failure& failure) {
            end(failure);
        }
    }
    return true;
}

void Session::take(const MockEvent& event)
{
    switch (event.kind) {
    case MockEvent::Ready:
        noteReady(event.service);
        break;
    case MockEvent::Lost:
        noteLost(event.service, event.words);
        break;
    case MockEvent::Refused:
        tellFailure(event.service + QLatin1String(": ") + event.words);
        break;
    case MockEvent::Missing:
        complain(event.words);
        break;
    default:
        noteHandled(event);
    }
}

void Session::noteReady(const QString& service)
{
    if (m_told.remove(service)) {
        complain(Words::tr("%1: connected again").arg(service));
    }
    m_ready.insert(service);
    if (!m_areAllReady && m_ready.size() == m_names.size()) {
        m_areAllReady = true;
        m_startTimer.stop();
        complain(Words::tr("standing in as %1").arg(m_names.join(QLatin1String(", "))));
    }
}

/// At the beginning it is a failure. Later the stand-in waits for the bus.
void Session::noteLost(const QString& service, const QString& words)
{
    if (!m_ready.contains(service)) {
        throw Failure(NoBus, service + QLatin1String(": ") + words);
    }
    QElapsedTimer& sinceTold = m_sinceLossTold[service];
    if (!sinceTold.isValid() || sinceTold.hasExpired(LOSS_INTERVAL_MS)) {
        complain(Words::tr("%1: %2; trying again every second").arg(service, words));
        m_told.insert(service);
        sinceTold.start();
    }
}

void Session::noteHandled(const MockEvent& event)
{
    if (m_output.isJson()) {
        m_output.writeObject(handledObject(event));
    } else {
        m_output.writeRow(
            {Words::tr("TIME"), Words::tr("SERVICE"), Words::tr("COMMAND"), Words::tr("FROM"), Words::tr("ANSWER")},
            {timeText(event.time), event.service, event.command.name(), event.command.agent(),
             answerText(event.answer)});
    }
    m_tally.add();
    if (m_tally.isFull()) {
        end();
    }
}

void Session::onTimeUp()
{
    if (!m_areAllReady) {
        end(Failure(TimedOut, Words::tr("the bus is there, but did not answer within the time-out")));
    } else if (m_tally.isEnough()) {
        end();
    } else {
        end(Failure(TimedOut, m_tally.missingWords(Words::tr("no command came"))));
    }
}

void Session::end(const std::optional<Failure>& failure)
{
    if (!m_hasEnded) {
        m_hasEnded = true;
        m_failure = failure;
        m_loop.quit();
    }
}

class Mock : public Verb
{
public:
    Mock() : Verb("mock", Words::mark("Stands in for services that a file describes, until interrupted")) { }

    void addOptions(CLI::App& parser) override
    {
        m_file.addTo(parser);
        addFlag(parser, "--check", m_isCheck, Words::mark("Only checks the file, and tells every error with its line"));
        addFlag(
            parser, "--replace", m_isReplacing,
            Words::mark("Takes the names of services that are on the bus. They lose their connections and messages"));
        m_limits.addTo(parser);
        addExample(parser,
                   "tarvexctl mock printer.json, with {\"services\": {\"ticket_printer\": {\"commands\": {\"print\": "
                   "{\"reply\": {\"name\": \"printed\"}}}}}} in the file.");
    }

    void run(const Context& context) const override;

private:
    MockFile readFile() const;
    void checkNames(const QStringList& names) const;

    Argument m_file{"FILE", Words::mark("The description of the services, a JSON file")};
    bool m_isCheck = false;
    bool m_isReplacing = false;
    LimitOptions m_limits{Words::mark("Ends after so many commands")};
};

void Mock::run(const Context& context) const
{
    const Limits limits = m_limits.limits();
    const MockFile file = readFile();
    if (m_isCheck) {
        const int services = file.services.size();
        const int commands = file.commandCount();
        context.output.report({{QStringLiteral("done"), QStringLiteral("mock --check")},
                               {QStringLiteral("services"), services},
                               {QStringLiteral("commands"), commands}},
                              Words::tr("%1 is right; services: %2, commands: %3")
                                  .arg(m_file.text(), QString::number(services), QString::number(commands)));
        return;
    }
    {
        const BusClient bus(context.clientName); // fails when there is no bus, or when it does not let us in
    }
    if (!m_isReplacing) {
        checkNames(namesOf(file));
    }
    Session(file, limits, context.output).run();
}

/// Throws a Failure without words after it has told every error.
MockFile Mock::readFile() const
{
    const QString fileName = m_file.nonEmptyText();
    MockFile file = readMockFile(fileName);
    const QStringList lines = file.errorLines(fileName);
    for (const QString& line : lines) {
        tellFailure(line);
    }
    if (!lines.isEmpty()) {
        throw Failure(WrongUse, QString());
    }
    return file;
}

/// Refuses names that are taken on the bus.
void Mock::checkNames(const QStringList& names) const
{
    const auto clients = askControlSocket({{QStringLiteral("request"), QStringLiteral("clients")}});
    if (!clients) {
        complain(Words::tr("this bus cannot tell who is there; a service with one of these names loses its "
                           "connection to its stand-in"));
        return;
    }
    QStringList taken;
    for (const QVariantMap& client : *clients) {
        const QString name = client.value(QStringLiteral("name")).toString();
        const bool isThere = !client.value(QStringLiteral("querySince")).toString().isEmpty()
            || !client.value(QStringLiteral("receiverSince")).toString().isEmpty();
        if (isThere && names.contains(name)) {
            taken.append(name);
        }
    }
    if (!taken.isEmpty()) {
        throw Failure(Refused,
                      Words::tr("on the bus already: %1; --replace takes the names from them")
                          .arg(taken.join(QLatin1String(", "))));
    }
}

} // namespace

std::unique_ptr<Verb> makeMock()
{
    return std::make_unique<Mock>();
}

} // namespace tarvexctl
