#include "verbs/frameoptions.h"

#include "arguments.h"
#include "capturesource.h"
#include "controlsource.h"
#include "failure.h"
#include "programwords.h"

#include <CLI/CLI.hpp>

#include <limits>

namespace tarvexctl {

namespace {

constexpr double MAX_SLOW_MS = 1e9;

double slowMsFrom(const QString& text)
{
    bool isNumber = false;
    const double ms = text.toDouble(&isNumber);
    // Written with "not", so that NaN is refused too.
    if (!isNumber || !(ms >= 0 && ms <= MAX_SLOW_MS)) {
        throw Failure(WrongUse,
                      Words::tr("--slow must be a number of milliseconds from 0 to 1000000000, not \"%1\"").arg(text));
    }
    return ms;
}

} // namespace

void FrameFilterOptions::addTo(CLI::App& parser)
{
    m_client.addTo(parser);
    m_from.addTo(parser);
    m_to.addTo(parser);
    m_command.addTo(parser);
    m_operation.addTo(parser);
    addFlag(parser, "--errors", m_errors, Words::mark("Only what is wrong: error codes, commandError, bad frames"));
    m_slow.addTo(parser);
}

FrameCriteria FrameFilterOptions::criteria() const
{
    FrameCriteria criteria;
    criteria.client = m_client.text();
    criteria.from = m_from.text();
    criteria.to = m_to.text();
    criteria.command = m_command.text();
    criteria.operation = m_operation.text();
    criteria.errors = m_errors;
    if (const auto slow = m_slow.text()) {
        criteria.slowMs = slowMsFrom(*slow);
    }
    if (criteria.command) {
        requireName(*criteria.command, QStringLiteral("--command"));
    }
    checkOperation(criteria);
    return criteria;
}

void FrameSourceOptions::addTo(CLI::App& parser)
{
    parser
        .add_option(
            "--capture", m_interface,
            Words::tr("Looks at the network, so any bus will do. INTERFACE is lo when it is not given").toStdString())
        ->type_name("[INTERFACE]")
        ->expected(0, 1);
}

std::unique_ptr<FrameSource> FrameSourceOptions::make(int pastCount, FramePast& past) const
{
    if (m_interface) {
        if (pastCount > 0) {
            throw Failure(WrongUse, Words::tr("--last needs the development bus: the network keeps no past"));
        }
        const QString interface = text(*m_interface);
        return std::make_unique<CaptureSource>(interface.isEmpty() ? QStringLiteral("lo") : interface);
    }
    const NewestFrame newest = newestFrame();
    past = {pastCount, pastCount > 0 ? newest.number : 0};
    // The filter decides which of the past are shown, so all of the past are asked for.
    return std::make_unique<ControlSource>(past.lastNumber, newest.run);
}

void LastOption::addTo(CLI::App& parser)
{
    parser.add_option("--last", m_count, Words::tr(m_help).toStdString())->type_name("N");
}

int LastOption::count() const
{
    if (!m_count) {
        return 0;
    }
    const QString words = text(*m_count);
    bool isNumber = false;
    const int count = words.toInt(&isNumber);
    if (!isNumber || count < 1) {
        throw Failure(WrongUse,
                      Words::tr("--last must be a whole number from 1 to %1, not \"%2\"")
                          .arg(QString::number(std::numeric_limits<int>::max()), words));
    }
    return count;
}

} // namespace tarvexctl
