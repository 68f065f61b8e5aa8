#include "framefilter.h"

#include "controlclient.h"
#include "failure.h"
#include "programwords.h"
#include "traffic/operations.h"
#include "traffic/seenframe.h"

namespace tarvexctl {

using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;

namespace {

constexpr int US_PER_MS = 1000;

bool is(const QString& text, const QString& wanted)
{
    return text == wanted.left(RequestMemory::MAX_TEXT);
}

/// Whether a frame comes from or goes to \a wanted. An empty \a name is the bus.
bool isNamed(const QString& name, const QString& wanted)
{
    return name.isEmpty() ? wanted == FrameFilter::busName() : is(name, wanted);
}

bool isFailedCommand(const SeenFrame& frame)
{
    return frame.command() == tarvex::traffic::commands::error();
}

/// A reply, an acknowledgement, or the answer to a command.
bool isSlow(const SeenFrame& frame, double ms)
{
    const bool isLate = frame.answers > 0 && static_cast<double>(frame.tookUs) >= ms * US_PER_MS;
    return isLate || (frame.call > 0 && static_cast<double>(frame.callUs) >= ms * US_PER_MS);
}

void checkClient(const std::optional<QString>& name, const QString& option)
{
    if (name && name->isEmpty()) {
        throw Failure(WrongUse, Words::tr("%1 must not be empty").arg(option));
    }
    if (name && *name != FrameFilter::busName() && isUnknownToBus(*name)) {
        throw Failure(WrongUse,
                      Words::tr("%1: nobody has ever been \"%2\" on this bus, as far as it knows, and the library "
                                "does not know the name; see \"tarvexctl clients\"")
                          .arg(option, *name));
    }
}

} // namespace

void checkOperation(const FrameCriteria& criteria)
{
    const QStringList& known = tarvex::traffic::operations();
    if (criteria.operation && !known.contains(*criteria.operation)) {
        throw Failure(WrongUse,
                      Words::tr("--operation: there is no operation \"%1\"; there are %2")
                          .arg(*criteria.operation, known.join(QLatin1String(", "))));
    }
}

void checkClients(const FrameCriteria& criteria)
{
    checkClient(criteria.client, QStringLiteral("--client"));
    checkClient(criteria.from, QStringLiteral("--from"));
    checkClient(criteria.to, QStringLiteral("--to"));
}

bool FrameFilter::takes(const SeenFrame& frame)
{
    m_requests.take(frame);
    if (frame.kind == Kind::Gap) {
        return true;
    }
    if (m_criteria.errors && !frame.isError() && !isFailedCommand(frame)) {
        return false;
    }
    if (m_criteria.slowMs && !isSlow(frame, *m_criteria.slowMs)) {
        return false;
    }
    const RequestMemory::Request own = RequestMemory::summary(frame);
    const RequestMemory::Request* const answered = m_requests.requestOf(frame);
    return fitsNames(answered != nullptr ? *answered : own);
}

bool FrameFilter::fitsNames(const RequestMemory::Request& request) const
{
    if (m_criteria.client && !is(request.client, *m_criteria.client) && !is(request.from, *m_criteria.client)
        && !is(request.to, *m_criteria.client)) {
        return false;
    }
    if (m_criteria.from && !isNamed(request.from, *m_criteria.from)) {
        return false;
    }
    const bool isToSubscribers = request.isMessage && request.to.isEmpty();
    if (m_criteria.to && (isToSubscribers || !isNamed(request.to, *m_criteria.to))) {
        return false;
    }
    return (!m_criteria.command || is(request.command, *m_criteria.command))
        && (!m_criteria.operation || is(request.operation, *m_criteria.operation));
}

} // namespace tarvexctl
