#include "controlclient.h"
#include "follower.h"
#include "framesource.h"
#include "framewatch.h"
#include "logline.h"
#include "messages.h"
#include "output.h"
#include "programwords.h"
#include "supportedclients.h"
#include "traffic/operations.h"
#include "verbs/frameoptions.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

namespace tarvexctl {

using tarvex::traffic::SeenFrame;

namespace {

/// Which lines are shown, and how.
struct LogView
{
    std::optional<LogLevel> level;
    std::optional<QString> client;
    Output& output;
    Palette palette;

    bool wants(const LogLine& line) const
    {
        return (!level || line.isAtLeast(*level)) && (!client || line.client == *client);
    }

    void show(const LogLine& line) const
    {
        if (output.isJson()) {
            output.writeObject(line.toVariantMap());
        } else {
            output.writeText(line.shown(palette));
        }
    }
};

/// Takes the lines as the log service would: they are acknowledged, so the bus does not keep them.
class LogService : public FollowerTask
{
public:
    LogService(const LogView& view, const Limits& limits) : m_view(view), m_tally(limits) { }

    void onConnected(Follower& follower, BusClient&, bool isFirst) override
    {
        if (isFirst) {
            complain(Words::tr("standing in as %1").arg(follower.clientName()));
        }
    }

    void onMessage(Follower& follower, const Message& message) override
    {
        const QVariantMap object = messageObject(message);
        auto line = LogLine::fromCommand(object.value(QStringLiteral("cmd")).toString(),
                                         object.value(QStringLiteral("data")).toMap());
        if (!line) {
            tellOfStray(message);
            return;
        }
        line->time = message.dt();
        line->client = message.sender();
        if (m_view.wants(*line)) {
            m_view.show(*line);
            follower.count(m_tally);
        }
    }

    QString timeOutWords() const override { return m_tally.missingWords(Words::tr("no log line came")); }

private:
    const LogView& m_view;
    Tally m_tally;
};

/// Refuses to take the log service's place. The words depend on what the bus can tell.
void requireNoLogService(const QString& name)
{
    const auto clients = askControlSocket({{QStringLiteral("request"), QStringLiteral("clients")}});
    if (!clients) {
        throw Failure(
            Refused,
            Words::tr("this bus cannot tell whether %1 is there; --replace takes its place in any case").arg(name));
    }
    for (const QVariantMap& client : *clients) {
        if (client.value(QStringLiteral("name")).toString() == name
            && !client.value(QStringLiteral("receiverSince")).toString().isEmpty()) {
            throw Failure(Refused,
                          Words::tr("%1 is there, and would lose its lines; without --stand-in its lines are shown "
                                    "beside it, and --replace takes its place")
                              .arg(name));
        }
    }
}

class Log : public Verb
{
public:
    Log() : Verb("log", Words::mark("Shows the log lines of all services, until interrupted")) { }

    void addOptions(CLI::App& parser) override
    {
        m_level.addTo(parser);
        m_client.addTo(parser);
        addFlag(parser, "--screen", m_isScreen,
                Words::mark("The lines for the screen in place of those for the log service"));
        m_last.addTo(parser);
        m_source.addTo(parser);
        addFlag(parser, "--stand-in", m_standsIn,
                Words::mark("Takes the place of the log service: the lines are acknowledged and gone"));
        addFlag(parser, "--replace", m_replaces, Words::mark("With --stand-in: also when a log service is there"));
        m_limits.addTo(parser);
        addFooter(parser,
                  Words::mark("The lines are seen on their way to the bus, so a log service gets them as well."));
        addExample(parser, "tarvexctl log --level warning --last 20");
    }

    void run(const Context& context) const override
    {
        const Limits limits = m_limits.limits();
        const LogView view{levelFrom(), m_client.text(), context.output, context.palette};
        const int last = m_last.count();
        if (m_replaces && !m_standsIn) {
            throw Failure(WrongUse, Words::tr("--replace needs --stand-in"));
        }
        if (m_standsIn && (last > 0 || m_source.isCapture())) {
            throw Failure(WrongUse,
                          Words::tr("--stand-in takes neither --last nor --capture: it gets the lines "
                                    "that the bus has kept, and those that come"));
        }
        FrameCriteria criteria;
        criteria.client = view.client;
        if (m_standsIn) {
            checkClients(criteria);
            standIn(view, limits);
        } else {
            FramePast past;
            const auto source = m_source.make(last, past);
            checkClients(criteria);
            watch(*source, view, limits, past);
        }
    }

private:
    std::optional<LogLevel> levelFrom() const
    {
        const auto word = m_level.text();
        const std::optional<LogLevel> level = word ? logLevelFrom(*word) : std::nullopt;
        if (word && !level) {
            throw Failure(WrongUse, Words::tr("--level must be info, warning or error, not \"%1\"").arg(*word));
        }
        return level;
    }

    void standIn(const LogView& view, const Limits& limits) const
    {
        const QString name = m_isScreen ? tarvex::BUSNAME_TERMINAL_GUI : tarvex::BUSNAME_LOGGER;
        if (!m_replaces) {
            requireNoLogService(name);
        }
        LogService service(view, limits);
        follow(name, service, limits.timeoutMs);
    }

    void watch(FrameSource& source, const LogView& view, const Limits& limits, const FramePast& past) const
    {
        const QString command =
            m_isScreen ? tarvex::traffic::commands::showLogMessage() : tarvex::traffic::commands::saveLog();
        FrameTask task;
        task.wants = [&](const SeenFrame& frame) {
            const auto line = LogLine::fromFrame(frame);
            return frame.kind == tarvex::traffic::Kind::Gap
                || (line && frame.command() == command && view.wants(*line));
        };
        task.show = [&](const SeenFrame& frame) {
            if (frame.kind == tarvex::traffic::Kind::Gap) {
                tellFailure(frame.problem); // lines may be missing
            } else {
                view.show(*LogLine::fromFrame(frame));
            }
        };
        task.nothingWords = Words::tr("no log line came");
        FrameWatch(source, task, limits, past).run();
    }

    OptionalText m_level{"--level", Words::mark("Only lines of this level or a higher one: info, warning or error"),
                         "LEVEL"};
    OptionalText m_client{"--client", Words::mark("Only lines of this client"), "NAME"};
    bool m_isScreen = false;
    LastOption m_last{Words::mark("Begins with the last N lines that fit, as far as the bus has kept them")};
    FrameSourceOptions m_source;
    bool m_standsIn = false;
    bool m_replaces = false;
    LimitOptions m_limits{Words::mark("Ends after so many lines")};
};

} // namespace

std::unique_ptr<Verb> makeLog()
{
    return std::make_unique<Log>();
}

} // namespace tarvexctl
