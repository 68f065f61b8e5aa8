#include "busclient.h"

#include "liblog.h"
#include "records/tarvexerror.h"

#include <QStringList>
#include <QTcpSocket>

namespace tarvexctl {

namespace {

/// How much of what came instead of a reply is worth showing.
constexpr int MAX_SHOWN_LENGTH = 200;

Failure notUnderstood(const LibLog& log)
{
    return tarvexctl::notUnderstood(log.complaint().isEmpty() ? QStringLiteral("unknown") : log.complaint());
}

/// Notices a server that speaks before it was spoken to, which no bus does, and ends the connection then. The library
/// would take in what came while it writes, and then wait for the whole of its time-out for more.
class FirstWord
{
public:
    explicit FirstWord(const tarvex::TarvexQueryHandler& handler)
    {
        if (auto* const socket = handler.findChild<QTcpSocket*>()) {
            m_connection = QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { look(*socket); });
        }
    }

    ~FirstWord() { QObject::disconnect(m_connection); }

    Q_DISABLE_COPY_MOVE(FirstWord)

    /// Whether something came.
    bool hasCome() const { return !m_bytes.isEmpty(); }

    /// What came. With its length, because a text alone would end at the first zero byte.
    QString text() const
    {
        // A byte array as a whole would be taken up to its first zero byte.
        QStringList parts;
        const QList<QByteArray> pieces = m_bytes.split('\0');
        for (const QByteArray& piece : pieces) {
            parts.append(QString::fromUtf8(piece));
        }
        return parts.join(QChar(QChar::Null));
    }

private:
    void look(QTcpSocket& socket)
    {
        if (socket.bytesToWrite() > 0) {
            m_bytes = socket.peek(MAX_SHOWN_LENGTH);
            socket.abort();
        }
    }

    QByteArray m_bytes;
    QMetaObject::Connection m_connection;
};

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

Failure notUnderstood(const QString& shown)
{
    const QString line = shown.trimmed().section(QLatin1Char('\n'), 0, 0).left(MAX_SHOWN_LENGTH).trimmed();
    return Failure(NoBus,
                   QStringLiteral("what answered is no reply of the bus: %1")
                       .arg(line.isEmpty() ? QStringLiteral("nothing but blanks") : line));
}

BusClient::BusClient(const QString& name) : m_handler(name)
{
    const LibLog log;
    const FirstWord firstWord(m_handler);
    // A reply that is none to a handshake, yet is no refusal, opens the connection without introducing us.
    if (!m_handler.open() || !m_handler.handshaked()) {
        throw firstWord.hasCome() ? notUnderstood(firstWord.text()) : openFailure(name, log);
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
