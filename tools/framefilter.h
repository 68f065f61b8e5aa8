#ifndef FRAMEFILTER_H
#define FRAMEFILTER_H

#include "requestmemory.h"

#include <QString>

#include <optional>

namespace tarvexctl {

/// Which frames somebody wants to see. All that is set must hold.
struct FrameCriteria
{
    std::optional<QString> client;  ///< Frames of its connections, from it or to it.
    std::optional<QString> from;    ///< "bus" is the bus itself.
    std::optional<QString> to;      ///< The same.
    std::optional<QString> command; ///< Messages that carry this command.
    std::optional<QString> operation;
    bool errors = false;          ///< SeenFrame::isError(), and the command that says that a command failed.
    std::optional<double> slowMs; ///< Replies, acknowledgements and answers to commands that took at least this time.

    /// Whether anything is set.
    bool isSet() const { return client || from || to || command || operation || errors || slowMs; }
};

/// Throws Failure with WrongUse for an operation that does not exist.
void checkOperation(const FrameCriteria& criteria);

/// Throws Failure with WrongUse for a name of a client that neither the library nor the development bus knows. With a
/// bus that cannot tell, every name may be there.
void checkClients(const FrameCriteria& criteria);

/// Chooses frames while they pass in their order.
///
/// A reply, or an acknowledgement, counts like the request that it answers: its client, sender, addressee, command and
/// operation are those of the request. Whether it is an error, and how long it took, are its own. A gap is always
/// shown, because the frames that are missing might have been wanted.
class FrameFilter
{
public:
    /// The name of the bus itself in \a criteria.
    static QString busName() { return QStringLiteral("bus"); }

    explicit FrameFilter(FrameCriteria criteria) : m_criteria(std::move(criteria)) { }

    /// To be called for every frame, once. \return whether it is wanted
    bool takes(const tarvex::traffic::SeenFrame& frame);

private:
    bool fitsNames(const RequestMemory::Request& request) const;

    const FrameCriteria m_criteria;
    RequestMemory m_requests;
};

} // namespace tarvexctl

#endif // FRAMEFILTER_H
