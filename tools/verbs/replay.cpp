#include "arguments.h"
#include "busreplay.h"
#include "clientreplay.h"
#include "controlclient.h"
#include "interrupts.h"
#include "output.h"
#include "programwords.h"
#include "recording.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <CLI/CLI.hpp>
#include <QEventLoop>

#include <cmath>

namespace tarvexctl {

using tarvex::traffic::Direction;
using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;

namespace {

constexpr double MAX_SPEED = 1e6;
constexpr double MIN_SPEED = 1e-3;
constexpr int MS_PER_S = 1000;

double speedFrom(const QString& text)
{
    if (text == QLatin1String("max")) {
        return 0;
    }
    bool isNumber = false;
    const double speed = text.toDouble(&isNumber);
    // Written with "not", so that NaN is refused too.
    if (!isNumber || !(speed >= MIN_SPEED && speed <= MAX_SPEED)) {
        throw Failure(WrongUse,
                      Words::tr("--speed must be a number from 0.001 to 1000000, or max, not \"%1\"").arg(text));
    }
    return speed;
}

int patienceMsFrom(const QString& text)
{
    bool isNumber = false;
    const double seconds = text.toDouble(&isNumber);
    if (!isNumber || !(seconds >= 0.001 && seconds <= 3600)) {
        throw Failure(WrongUse,
                      Words::tr("--patience must be a number of seconds from 0.001 to 3600, not \"%1\"").arg(text));
    }
    return qRound(seconds * MS_PER_S);
}

QStringList clientsOf(const Recording& recording)
{
    QStringList names;
    for (const RecordedFrame& recorded : recording.frames) {
        for (const QString& name : {recorded.frame.client, recorded.frame.from()}) {
            if (!name.isEmpty() && !names.contains(name)) {
                names.append(name);
            }
        }
    }
    return names;
}

/// With which code each push was acknowledged, when it was not 0.
QHash<qint64, quint16> acknowledgementCodes(const Recording& recording)
{
    QHash<qint64, quint16> codes;
    for (const RecordedFrame& recorded : recording.frames) {
        const SeenFrame& frame = recorded.frame;
        if (frame.kind == Kind::Reply && frame.direction == Direction::In && frame.code != 0) {
            codes.insert(frame.answers, frame.code);
        }
    }
    return codes;
}

/// Refuses to play a client that is connected, because it would lose its connections. A bus that cannot tell is
/// trusted.
void requireAbsent(const QStringList& clients)
{
    const auto there = askControlSocket({{QStringLiteral("request"), QStringLiteral("clients")}});
    for (const QVariantMap& client : there ? *there : QList<QVariantMap>()) {
        const QString name = client.value(QStringLiteral("name")).toString();
        const bool isConnected = !client.value(QStringLiteral("querySince")).toString().isEmpty()
            || !client.value(QStringLiteral("receiverSince")).toString().isEmpty();
        if (isConnected && clients.contains(name)) {
            throw Failure(Refused,
                          Words::tr("%1 is connected, and would lose its connections; end it, or choose other "
                                    "clients with --only, or take its place with --force")
                              .arg(name));
        }
    }
}

/// Runs a replay until it ends, the time is over, or the program is interrupted.
class ReplayRun
{
public:
    explicit ReplayRun(Replay& replay) : m_replay(replay) { }

    void run(const std::optional<int>& timeoutMs)
    {
        QTimer deadline;
        deadline.setSingleShot(true);
        QObject::connect(&m_replay, &Replay::ended, &m_loop, &QEventLoop::quit);
        QObject::connect(&m_interrupts, &InterruptWatcher::interrupted, &m_loop,
                         [this] { end(Failure(Interrupted, Words::tr("interrupted"))); });
        QObject::connect(&deadline, &QTimer::timeout, &m_loop, [this, timeoutMs] {
            m_replay.giveUp();
            end(Failure(TimedOut, Words::tr("not everything was played within %1").arg(secondsText(*timeoutMs))));
        });
        if (timeoutMs) {
            deadline.start(*timeoutMs);
        }
        m_replay.start();
        m_loop.exec();
    }

    /// The first one counts.
    void end(const Failure& failure)
    {
        m_failure = m_failure ? m_failure : failure;
        m_loop.quit();
    }

    const std::optional<Failure>& failure() const { return m_failure ? m_failure : m_replay.failure(); }

private:
    Replay& m_replay;
    InterruptWatcher m_interrupts;
    QEventLoop m_loop;
    std::optional<Failure> m_failure;
};

class ReplayVerb : public Verb
{
public:
    ReplayVerb() : Verb("replay", Words::mark("Plays a recording: its clients to a bus, or its bus to a service")) { }

    void addOptions(CLI::App& parser) override
    {
        m_file.addTo(parser);
        addFlag(parser, "--as-bus", m_asBus,
                Words::mark("Plays the bus: takes its ports and answers the services that connect"));
        m_speed.addTo(parser);
        addFlag(parser, "--step", m_isByStep, Words::mark("Each frame waits for Enter"));
        parser.add_option("--only", m_only, Words::tr("Only this client; for each client once more").toStdString())
            ->type_name("CLIENT")
            ->allow_extra_args(false);
        addFlag(parser, "--with-commands", m_withCommands,
                Words::mark("Also commands, which are carried out once more"));
        addFlag(parser, "--diff", m_isDiff, Words::mark("Shows what comes back differently; the status is 1 then"));
        addFlag(parser, "--strict", m_isStrict, Words::mark("With --diff: dates and uids must be the same as well"));
        addFlag(parser, "--force", m_isForced,
                Words::mark("Also plays clients that are connected; they lose their connections"));
        m_patience.addTo(parser);
        m_timeout.addTo(parser);
        addFooter(
            parser,
            Words::mark(
                "A command that is played prints a ticket again, so commands are left out without --with-commands."));
        addExample(parser, "tarvexctl replay fault.jsonl --only gui --speed 10 --diff");
    }

    void run(const Context& context) const override
    {
        const ReplayPace pace = paceFrom();
        const std::optional<int> timeoutMs = m_timeout.milliseconds();
        if (m_isStrict && !m_isDiff) {
            throw Failure(WrongUse, Words::tr("--strict needs --diff"));
        }
        const QString path = m_file.nonEmptyText();
        if (m_isByStep && path == QLatin1String("-")) {
            throw Failure(WrongUse, Words::tr("--step reads stdin, so the recording must be a file"));
        }
        const Recording recording = readRecording(path);
        if (recording.isCut) {
            complain(Words::tr("the last line is cut and was left out: the recorder was killed, most likely"));
        }
        const ReplayChoice choice = choiceFrom(recording);
        const std::unique_ptr<Replay> replay =
            m_asBus ? busReplay(recording, choice, pace) : clientReplay(recording, choice, pace);
        show(*replay, context.output, timeoutMs);
    }

private:
    Strictness strictness() const { return m_isStrict ? Strictness::Strict : Strictness::Ordinary; }

    ReplayPace paceFrom() const
    {
        ReplayPace pace;
        pace.speed = speedFrom(m_speed.text().value_or(QStringLiteral("1")));
        pace.isByStep = m_isByStep;
        pace.patienceMs = patienceMsFrom(m_patience.text().value_or(QStringLiteral("5")));
        return pace;
    }

    ReplayChoice choiceFrom(const Recording& recording) const
    {
        const QStringList known = clientsOf(recording);
        const QStringList only = texts(m_only);
        for (const QString& name : only) {
            if (!known.contains(name)) {
                throw Failure(WrongUse,
                              Words::tr("--only: there is no client \"%1\" in the recording; there are %2")
                                  .arg(name, known.join(QLatin1String(", "))));
            }
        }
        return {only, m_withCommands};
    }

    std::unique_ptr<Replay> clientReplay(const Recording& recording, const ReplayChoice& choice,
                                         const ReplayPace& pace) const
    {
        const ReplayScript script = clientScript(recording, choice);
        if (script.steps.isEmpty()) {
            throw Failure(WrongUse, Words::tr("there is nothing to play in this recording"));
        }
        if (!m_isForced) {
            requireAbsent(script.clients());
        }
        tellOfLeftOut(script.commands, script.badFrames);
        if (script.withoutData > 0) {
            complain(Words::counted(script.withoutData,
                                    Words::tr("left out 1 request whose data was too large to be recorded"),
                                    Words::markCount("left out %n requests whose data was too large to be recorded")));
        }
        if (script.nameless > 0) {
            complain(Words::counted(script.nameless,
                                    Words::tr("left out 1 connection of which the client is not known"),
                                    Words::markCount("left out %n connections of which the client is not known")));
        }
        return std::make_unique<ClientReplay>(script, acknowledgementCodes(recording), pace, strictness());
    }

    std::unique_ptr<Replay> busReplay(const Recording& recording, const ReplayChoice& choice,
                                      const ReplayPace& pace) const
    {
        auto replay = std::make_unique<BusReplay>(recording, choice, pace, strictness());
        if (replay->clients().isEmpty()) {
            throw Failure(WrongUse, Words::tr("there is nothing to play in this recording"));
        }
        tellOfLeftOut(replay->leftOutCommands(), replay->leftOutBadFrames());
        complain(Words::tr("playing the bus to %1").arg(replay->clients().join(QLatin1String(", "))));
        return replay;
    }

    static void tellOfLeftOut(int commands, int badFrames)
    {
        if (commands > 0) {
            complain(Words::counted(commands, Words::tr("left out 1 command; --with-commands plays them too"),
                                    Words::markCount("left out %n commands; --with-commands plays them too")));
        }
        if (badFrames > 0) {
            complain(Words::counted(badFrames, Words::tr("left out 1 bad frame"),
                                    Words::markCount("left out %n bad frames")));
        }
    }

    /// Called from the event loop, through which no exception may pass.
    static void showDifference(const ReplayDifference& difference, Output& output, ReplayRun& run)
    {
        try {
            output.isJson() ? output.writeObject(difference.toVariantMap())
                            : output.writeText(visible(difference.words()) + QLatin1Char('\n'));
        } catch (const Failure& failure) {
            run.end(failure);
        }
    }

    void show(Replay& replay, Output& output, const std::optional<int>& timeoutMs) const
    {
        ReplayRun run(replay);
        if (m_isDiff) {
            QObject::connect(&replay, &Replay::differs, &replay,
                             [&](const ReplayDifference& difference) { showDifference(difference, output, run); });
        }
        run.run(timeoutMs);
        const int differences = replay.differenceCount();
        const std::optional<Failure>& failure = run.failure();
        const bool isEndedOtherwise =
            failure && (failure->status() == Interrupted || failure->status() == Refused || replay.sentCount() == 0);
        if (failure && (!m_isDiff || isEndedOtherwise || differences == 0)) {
            throw *failure;
        }
        if (failure) {
            tellFailure(failure->words());
        }
        const QString words = QStringLiteral("%1; %2").arg(
            Words::counted(replay.sentCount(), Words::tr("played 1 frame"), Words::markCount("played %n frames")),
            differences == 0 ? Words::tr("everything came back as recorded")
                             : Words::counted(differences, Words::tr("1 difference from the recording"),
                                              Words::markCount("%n differences from the recording")));
        output.report({{QStringLiteral("done"), QStringLiteral("replay")},
                       {QStringLiteral("sent"), replay.sentCount()},
                       {QStringLiteral("differences"), differences}},
                      words);
        if (m_isDiff && differences > 0) {
            throw Failure(Refused, QString());
        }
    }

    Argument m_file{"FILE", Words::mark("The recording; - is stdin")};
    bool m_asBus = false;
    OptionalText m_speed{"--speed", Words::mark("So many times as fast as recorded, or max"), "X"};
    bool m_isByStep = false;
    std::vector<std::string> m_only;
    bool m_withCommands = false;
    bool m_isDiff = false;
    bool m_isStrict = false;
    bool m_isForced = false;
    OptionalText m_patience{"--patience",
                            Words::mark("How many seconds to wait for each recorded answer; 5 without it"), "S"};
    OptionalTimeout m_timeout{
        Words::mark("Ends after so many seconds, with status 4 when not everything was played by then")};
};

} // namespace

std::unique_ptr<Verb> makeReplay()
{
    return std::make_unique<ReplayVerb>();
}

} // namespace tarvexctl
