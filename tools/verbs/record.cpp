#include "controlclient.h"
#include "framesource.h"
#include "framewatch.h"
#include "output.h"
#include "programwords.h"
#include "recording.h"
#include "verbs/frameoptions.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QFile>

#include <optional>

namespace tarvexctl {

using tarvex::traffic::SeenFrame;

namespace {

/// Refuses an existing file at once. The writer looks again when it opens the file, which is later.
void requireNoFile(const QString& path)
{
    if (path != QLatin1String("-") && QFile::exists(path)) {
        throw Failure(WrongUse, Words::tr("%1 is there already; --force replaces it").arg(path));
    }
}

/// The clients that are there at the beginning. Empty when the bus cannot tell.
QStringList clientsNow()
{
    QStringList names;
    const auto clients = askControlSocket({{QStringLiteral("request"), QStringLiteral("clients")}});
    for (const QVariantMap& client : clients ? *clients : QList<QVariantMap>()) {
        names.append(client.value(QStringLiteral("name")).toString());
    }
    return names;
}

class Record : public Verb
{
public:
    Record() : Verb("record", Words::mark("Writes every frame of every client to a file, until interrupted")) { }

    void addOptions(CLI::App& parser) override
    {
        m_file.addTo(parser);
        addFlag(parser, "--force", m_isForced, Words::mark("Replaces a file that is there already"));
        m_filter.addTo(parser);
        m_last.addTo(parser);
        m_source.addTo(parser);
        m_limits.addTo(parser);
        addFooter(parser,
                  Words::mark("The file holds one JSON object a line; \"tarvexctl replay\" plays it. A filter takes "
                              "the frames away that a replay may need."));
        addExample(parser, "tarvexctl record fault.jsonl");
    }

    void run(const Context& context) const override
    {
        const QString path = m_file.nonEmptyText();
        const Limits limits = m_limits.limits();
        const FrameCriteria criteria = m_filter.criteria();
        FramePast past;
        const auto source = m_source.make(m_last.count(), past);
        checkClients(criteria);
        if (!m_isForced) {
            requireNoFile(path);
        }
        const QStringList clients = clientsNow();
        std::optional<RecordingWriter> writer;
        FrameFilter filter(criteria);
        FrameTask task;
        // The file is not touched before the source runs: one that cannot start must not cost an old recording.
        task.start = [&] {
            writer.emplace(path, m_isForced ? RecordingWriter::Replaced : RecordingWriter::Kept);
            writer->writeHeader(sourceName(), clients);
            complain(Words::tr("recording to %1").arg(path));
        };
        task.wants = [&](const SeenFrame& frame) { return filter.takes(frame); };
        task.show = [&](const SeenFrame& frame) { writer->write(frame); };
        try {
            FrameWatch(*source, task, limits, past).run();
        } catch (const Failure& failure) {
            if (writer) {
                end(*writer, failure);
            }
            throw;
        }
        if (writer) {
            writer->writeEnd(QStringLiteral("done"));
            report(context, path, *writer);
        }
    }

private:
    QString sourceName() const
    {
        return m_source.isCapture() ? QStringLiteral("capture") : QStringLiteral("development bus");
    }

    /// The end of a recording that ends otherwise than it was meant to.
    static void end(RecordingWriter& writer, const Failure& failure)
    {
        try {
            writer.writeEnd(failure.status() == Interrupted ? QStringLiteral("interrupted") : failure.words());
            complain(countWords(writer));
        } catch (const Failure&) {
            // The failure says already what is wrong with the file.
        }
    }

    static QString countWords(const RecordingWriter& writer)
    {
        return Words::counted(writer.frameCount(), Words::tr("recorded 1 frame"),
                              Words::markCount("recorded %n frames"));
    }

    static void report(const Context& context, const QString& path, const RecordingWriter& writer)
    {
        if (writer.isStdout()) {
            complain(countWords(writer)); // stdout holds the recording
            return;
        }
        context.output.report({{QStringLiteral("done"), QStringLiteral("record")},
                               {QStringLiteral("file"), path},
                               {QStringLiteral("frames"), writer.frameCount()}},
                              countWords(writer));
    }

    Argument m_file{"FILE", Words::mark("The file; - is stdout")};
    bool m_isForced = false;
    FrameFilterOptions m_filter;
    LastOption m_last{Words::mark("Begins with the last N of the past that fit, as far as the bus has kept them")};
    FrameSourceOptions m_source;
    LimitOptions m_limits{Words::mark("Ends after so many frames")};
};

} // namespace

std::unique_ptr<Verb> makeRecord()
{
    return std::make_unique<Record>();
}

} // namespace tarvexctl
