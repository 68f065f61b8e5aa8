#ifndef LIBLOG_H
#define LIBLOG_H

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <optional>

namespace tarvexctl {

/// Takes in what the library logs from construction to destruction, instead of letting it go to stderr. One at a time,
/// and only one thread of the program may have the library at work meanwhile.
///
/// The library's operations return only whether they succeeded. Why one did not stands in its log lines, whose texts
/// and fields are fixed.
class LibLog
{
public:
    /// What the bus answered when it refused a request.
    struct Refusal
    {
        quint16 code;
        QString description;
    };

    LibLog();
    ~LibLog();
    Q_DISABLE_COPY_MOVE(LibLog)

    /// The lines so far, in order.
    QStringList lines() const;

    /// Empty when no line tells of a refusal.
    std::optional<Refusal> refusal() const;

    /// A wait ended without what was waited for, by time-out or because the connection was lost.
    bool hasFailedWait() const;

    /// The first line that is not the socket's own: what was wrong with the exchange. Empty when there is none.
    QString complaint() const;

    /// The first line that tells of something else than a reply before a handshake of the receiver was answered; empty
    /// when there is none. A refusal leaves a line too, which is not it.
    QString strangeLine() const;

    /// The socket's own words on its last error, such as "Connection refused"; empty when it had none.
    QString socketErrorText() const;

    /// A wait came to the end of its time.
    bool hasTimeOut() const;

private:
    QtMessageHandler m_previous;
    QtMessageHandler m_formerPrevious; ///< Of the one around it, if there is one.
};

/// Keeps what the library logs from stderr, from construction to destruction. A LibLog may be made meanwhile.
class LibSilence
{
public:
    LibSilence();
    ~LibSilence();
    Q_DISABLE_COPY_MOVE(LibSilence)

private:
    QtMessageHandler m_previous;
};

} // namespace tarvexctl

#endif // LIBLOG_H
