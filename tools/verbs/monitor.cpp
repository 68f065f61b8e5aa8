#include "frameline.h"
#include "framesource.h"
#include "framewatch.h"
#include "output.h"
#include "programwords.h"
#include "verbs/frameoptions.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

namespace tarvexctl {

using tarvex::traffic::SeenFrame;

namespace {

class Monitor : public Verb
{
public:
    Monitor() : Verb("monitor", Words::mark("Shows every frame of every client, until interrupted")) { }

    void addOptions(CLI::App& parser) override
    {
        m_filter.addTo(parser);
        addFlag(parser, "--full", m_isFull, Words::mark("All of the data, on lines of its own"));
        m_last.addTo(parser);
        m_source.addTo(parser);
        m_limits.addTo(parser);
        addFooter(parser,
                  Words::mark("Filters are combined: a frame must fit all of them. A reply counts like its request."));
        addExample(parser, "tarvexctl monitor --client ticket_printer --slow 100");
    }

    void run(const Context& context) const override
    {
        const Limits limits = m_limits.limits();
        const FrameCriteria criteria = m_filter.criteria();
        FramePast past;
        const auto source = m_source.make(m_last.count(), past);
        checkClients(criteria);
        FrameFilter filter(criteria);
        FrameLines lines(context.palette, m_isFull ? FrameLines::Full : FrameLines::OneLine);
        Output& output = context.output;
        FrameTask task;
        task.wants = [&](const SeenFrame& frame) {
            lines.note(frame);
            return filter.takes(frame);
        };
        task.show = [&](const SeenFrame& frame) {
            if (output.isJson()) {
                output.writeObject(frame.toVariantMap());
            } else {
                output.writeText(lines.text(frame));
            }
        };
        FrameWatch(*source, task, limits, past).run();
    }

private:
    FrameFilterOptions m_filter;
    bool m_isFull = false;
    LastOption m_last{Words::mark("Begins with the last N of the past that fit, as far as the bus has kept them")};
    FrameSourceOptions m_source;
    LimitOptions m_limits{Words::mark("Ends after so many frames")};
};

} // namespace

std::unique_ptr<Verb> makeMonitor()
{
    return std::make_unique<Monitor>();
}

} // namespace tarvexctl
