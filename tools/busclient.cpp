#include "busclient.h"

#include "liblog.h"
#include "records/tarvexerror.h"

namespace tarvexctl {

namespace {

/// How much of what came instead of a reply is worth showing.
constexpr int MAX_SHOWN_LENGTH = 200;

Failure notUnderstood(const LibLog& log)
{
    const QString line = log.complaint().isEmpty() ? QStringLiteral("unknown") : log.complaint();
    return Failure(NoBus,
                   QStringLiteral("what answered is no reply of the bus: %1")
                       .arg(line.section(QLatin1Char('\n'), 0, 0).left(MAX_SHOWN_LENGTH)));
}

Failure openFailure(const QString& name, const LibLog& log)
{
    if (log.hasFailedWait()) {
        return log.hasTimeOut() ? silence()
                                : Failure(NoBus, QStringLiteral("the bus closed the connection during the handshake"));
    }
    // A connection lost in the middle of the answer leaves the socket's words too: there was somebody.
    if (!log.complaint().isEmpty()) {
        return notUnderstood(log);
    }
    if (!log.socketErrorText().isEmpty()) {
        return unreachable(log);
    }
    // The library says nothing about a refused handshake, and something about everything else.
    return handshakeRefused(name);
}

Failure askFailure(bool stillOpen, const LibLog& log)
{
    if (const auto refusal = log.refusal()) {
        const QString answer = QStringLiteral("%1 %2").arg(QString::number(refusal->code), refusal->description);
        return Failure(Refused, QStringLiteral("refused by the bus: %1").arg(answer.trimmed()), refusal->code);
    }
    if (log.hasFailedWait() || log.lines().isEmpty()) {
        return stillOpen ? silence() : Failure(NoBus, QStringLiteral("the bus closed the connection"));
    }
    return notUnderstood(log);
}

} // namespace

Failure unreachable(const LibLog& log)
{
    return Failure(NoBus, QStringLiteral("no bus to be reached on 127.0.0.1: %1").arg(log.socketErrorText()));
}

Failure handshakeRefused(const QString& name)
{
    return Failure(NoBus, QStringLiteral("the bus refused the handshake of \"%1\"").arg(name));
}

Failure silence()
{
    return Failure(TimedOut, QStringLiteral("the bus is there, but nothing came within 30 s"));
}

BusClient::BusClient(const QString& name) : m_handler(name)
{
    const LibLog log;
    // A reply that is none to a handshake, yet is no refusal, opens the connection without introducing us.
    if (!m_handler.open() || !m_handler.handshaked()) {
        throw openFailure(name, log);
    }
}

void BusClient::ask(const Operation& operation)
{
    const LibLog log;
    if (!operation(m_handler)) {
        throw askFailure(m_handler.isOpen(), log);
    }
}

bool BusClient::askForStored(const Operation& operation)
{
    try {
        ask(operation);
    } catch (const Failure& failure) {
        if (failure.code() != tarvex::TarvexError::NoSettingsForClient) {
            throw;
        }
        return false;
    }
    return true;
}

} // namespace tarvexctl
