#include "boundedwork.h"
#include "doctor/buslook.h"
#include "doctor/checks.h"
#include "doctor/controllook.h"
#include "doctor/finding.h"
#include "output.h"
#include "owners.h"
#include "processes.h"
#include "programwords.h"
#include "tally.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <CLI/CLI.hpp>
#include <QCoreApplication>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QThread>

#include <optional>

namespace tarvexctl {

namespace {

using namespace doctor;

/// The name of every verb without --as.
const QLatin1String DEFAULT_NAME("tarvexctl");
/// A service that has lost its name tries to get it back after five seconds.
constexpr int NAME_LOOK_MS = 7000;
constexpr int NAME_LOOK_PAUSE_MS = 200;
/// The control socket may take this part of the time: a bus that hangs does not answer there either.
constexpr int CONTROL_SHARE = 3;
/// Loading records may take this part of what is left.
constexpr int LOAD_SHARE_PERCENT = 75;

QString severityName(Severity severity)
{
    switch (severity) {
    case Severity::Ok:
        return QStringLiteral("ok");
    case Severity::Unseen:
        return QStringLiteral("unseen");
    case Severity::Note:
        return QStringLiteral("note");
    default:
        return QStringLiteral("wrong");
    }
}

/// Writes the findings as they come, and counts them.
class Report
{
public:
    explicit Report(Output& output) : m_output(output) { }

    void add(const Findings& findings)
    {
        for (const Finding& finding : findings) {
            m_counts[static_cast<int>(finding.severity)] += 1;
            write(finding);
        }
    }

    int wrongCount() const { return count(Severity::Wrong); }

    /// "2 things are wrong, 1 is worth knowing, 1 could not be looked at"
    QString summary() const
    {
        QStringList parts{wrongCount() == 0 ? Words::tr("nothing is wrong") : Words::tr("%1 wrong").arg(wrongCount())};
        if (count(Severity::Note) > 0) {
            parts.append(Words::tr("%1 worth knowing").arg(count(Severity::Note)));
        }
        if (count(Severity::Unseen) > 0) {
            parts.append(Words::tr("%1 could not be looked at").arg(count(Severity::Unseen)));
        }
        return parts.join(QStringLiteral(", "));
    }

private:
    int count(Severity severity) const { return m_counts[static_cast<int>(severity)]; }

    void write(const Finding& finding)
    {
        if (m_output.isJson()) {
            m_output.writeObject({{QStringLiteral("check"), finding.check},
                                  {QStringLiteral("severity"), severityName(finding.severity)},
                                  {QStringLiteral("what"), finding.what},
                                  {QStringLiteral("advice"), finding.advice},
                                  {QStringLiteral("facts"), finding.facts}});
            return;
        }
        static const QString line = QStringLiteral("%1 %2 %3\n");
        QString text = line.arg(severityName(finding.severity), -6).arg(finding.check, -20).arg(visible(finding.what));
        if (!finding.advice.isEmpty()) {
            text += line.arg(QString(), -6).arg(QString(), -20).arg(QLatin1String("-> ") + visible(finding.advice));
        }
        m_output.writeText(text);
    }

    Output& m_output;
    int m_counts[4] = {};
};

/// Wall clock against a clock that nobody sets.
class ClockWatch
{
public:
    ClockWatch() { m_steady.start(); }

    qint64 jumpMs() const { return m_began.msecsTo(QDateTime::currentDateTimeUtc()) - m_steady.elapsed(); }

private:
    const QDateTime m_began = QDateTime::currentDateTimeUtc();
    QElapsedTimer m_steady;
};

struct Thresholds
{
    double slowMs;
    StateAge stateAge;
    int timeoutMs;
};

/// One examination, step by step, in the order in which one would look.
class Examination
{
public:
    Examination(const Thresholds& thresholds, Output& output)
        : m_thresholds(thresholds), m_deadline(thresholds.timeoutMs), m_report(output)
    {
    }

    /// Throws Failure when stdout does not take what is written.
    void run();

    /// When they have not, the program must end by leaveAtOnce(), because they wait inside the library.
    bool haveThreadsEnded() const { return m_haveThreadsEnded; }

    const Report& report() const { return m_report; }

private:
    void lookAtNames();
    Questions questions() const;

    const Thresholds m_thresholds;
    const QDeadlineTimer m_deadline;
    Report m_report;
    ControlAnswers m_control;
    QList<Socket> m_connections;
    bool m_haveThreadsEnded = true;
};

void Examination::run()
{
    const QList<quint16> ports{45535, 45537};
    const ClockWatch clock;
    const QList<Socket> listeners = listenersOn(ports);
    m_connections = connectionsTo(ports);
    m_report.add(checkPorts(listeners));

    // The bus is asked who is there before this program is there itself.
    m_control = askControl(QDeadlineTimer(m_thresholds.timeoutMs / CONTROL_SHARE));
    BusLook bus(questions());
    bus.wait(m_deadline);
    const BusAnswers answers = bus.answers();
    m_haveThreadsEnded = answers.isDone();
    m_report.add(checkBus(answers, listeners, secondsText(m_thresholds.timeoutMs)));
    m_report.add(checkSpeed(answers, m_thresholds.slowMs));
    m_report.add(checkControl(m_control, answers));
    m_report.add(checkFaults(m_control));
    m_report.add(checkVersions(m_control, listeners, m_connections));
    m_report.add(checkClients(m_control));
    if (answers.handshakeMs) {
        const QDateTime now = QDateTime::currentDateTime();
        m_report.add(checkSettings(answers, now));
        m_report.add(
            checkStates(m_control.isThere ? m_control.states : answers.states, m_control, m_thresholds.stateAge, now));
        lookAtNames();
    }
    m_report.add(checkStorage(m_control, answers));
    m_report.add(checkClock(m_control, clock.jumpMs()));
}

/// A name that was taken once may be fought for: then it is taken again within seconds.
void Examination::lookAtNames()
{
    LaterLook later;
    QElapsedTimer elapsed;
    elapsed.start();
    if (wasNameTaken(m_control.clients)) {
        const QDeadlineTimer end(qMin<qint64>(NAME_LOOK_MS, m_deadline.remainingTime()));
        do {
            QThread::msleep(NAME_LOOK_PAUSE_MS);
            if (const auto clients = askForClients(end)) {
                later.clients = *clients;
                later.afterMs = elapsed.elapsed();
            }
        } while (!isNameTakenAgain(m_control.clients, later.clients) && !end.hasExpired());
        later.silenceMs = elapsed.elapsed() - later.afterMs;
    }
    m_report.add(checkNames(m_control, later, m_connections));
}

Questions Examination::questions() const
{
    Questions questions;
    questions.clientName = QStringLiteral("tarvexctl-doctor-%1").arg(QCoreApplication::applicationPid());
    questions.loadDeadline = QDeadlineTimer(m_deadline.remainingTime() * LOAD_SHARE_PERCENT / 100);
    if (!m_control.isThere) {
        questions.settingsOwners = supportedClients();
        questions.stateOwners = supportedClients();
    }
    for (const QVariantMap& item : m_control.settings) {
        questions.settingsOwners.append(item.value(QStringLiteral("owner")).toString());
    }
    return questions;
}

class Doctor : public Verb
{
public:
    Doctor() : Verb("doctor", Words::mark("Says what is wrong with the bus here, and what to do about it")) { }

    void addOptions(CLI::App& parser) override
    {
        m_slow.addTo(parser);
        m_stateAge.addTo(parser);
        m_timeout.addTo(parser);
        parser.footer(
            "It changes nothing, and has a name of its own: --as is not for it. The status is 1 when something "
            "is wrong, also when there is no bus or nothing comes in time, where other verbs end with 3 and "
            "4. "
            + parser.get_footer());
        addExample(parser, "tarvexctl doctor --state-age 60");
    }

    void run(const Context& context) const override
    {
        if (context.clientName != DEFAULT_NAME) {
            throw Failure(WrongUse,
                          Words::tr("--as is not for doctor, which has a name of its own and takes nobody's"));
        }
        const Thresholds thresholds{
            numberOf(m_slow, QStringLiteral("--slow"), 100),
            {numberOf(m_stateAge, QStringLiteral("--state-age"), 180), m_stateAge.text().has_value()},
            m_timeout.milliseconds()};
        Examination examination(thresholds, context.output);
        std::optional<Failure> failure;
        try {
            examination.run();
            if (examination.report().wrongCount() > 0) {
                failure = Failure(Refused, examination.report().summary());
            }
        } catch (const Failure& thrown) {
            failure = thrown;
        }
        end(failure, examination);
    }

private:
    static void end(const std::optional<Failure>& failure, const Examination& examination)
    {
        if (failure && examination.haveThreadsEnded()) {
            throw *failure;
        }
        if (failure) {
            tellFailure(failure->words());
        } else {
            complain(examination.report().summary());
        }
        if (!examination.haveThreadsEnded()) {
            leaveAtOnce(failure ? failure->status() : Done);
        }
    }

    static double numberOf(const OptionalText& option, const QString& name, double otherwise)
    {
        constexpr double MAX_NUMBER = 1e9;
        const std::optional<QString> text = option.text();
        bool isNumber = true;
        const double number = text ? text->toDouble(&isNumber) : otherwise;
        if (!isNumber || !(number > 0 && number <= MAX_NUMBER)) { // "not", so that NaN is refused too
            throw Failure(WrongUse, Words::tr("%1 must be a number above 0, not \"%2\"").arg(name, *text));
        }
        return number;
    }

    OptionalText m_slow{"--slow", Words::mark("An exchange that takes more milliseconds is too slow; 100 without it"),
                        "MS"};
    OptionalText m_stateAge{
        "--state-age",
        Words::mark("A state of a connected client that is older than so many seconds is wrong; without it, "
                    "one older than 180 is worth knowing"),
        "S"};
    TimeoutOption m_timeout{Words::mark("How many seconds the whole examination may take"), "10"};
};

} // namespace

std::unique_ptr<Verb> makeDoctor()
{
    return std::make_unique<Doctor>();
}

} // namespace tarvexctl
