#include "busclient.h"

#include "queryoutcome.h"
#include "records/tarvexerror.h"

#include <QStringList>
#include <QTcpSocket>

using tarvex::QueryOutcome;

namespace tarvexctl {

namespace {

/// How much of what came instead of a reply is worth showing.
constexpr int MAX_SHOWN_LENGTH = 200;
/// The first line of every reply.
const QLatin1String REPLY_HEADER("[-REPLY-]");

/// A byte array as a whole would be taken up to its first zero byte.
QString textOf(const QByteArray& bytes)
{
    QStringList parts;
    const QList<QByteArray> pieces = bytes.split('\0');
    for (const QByteArray& piece : pieces) {
        parts.append(QString::fromUtf8(piece));
    }
    return parts.join(QChar(QChar::Null));
}

/// Looks at what comes on the connection before the library takes it in, to tell of it when it is no reply.
class Witness
{
public:
    enum Patience {
        Any,
        /// Ends the connection of a server that speaks before the request is sent, which no bus does. The library would
        /// take in what came while it writes, and then wait for the whole of its time-out for more.
        EndsEarlyWords
    };

    Witness(const tarvex::TarvexQueryHandler& handler, Patience patience) : m_patience(patience)
    {
        QTcpSocket* const socket = socketOf(handler);
        m_connection = QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { look(*socket); });
    }

    ~Witness() { QObject::disconnect(m_connection); }

    Q_DISABLE_COPY_MOVE(Witness)

    /// Whether the connection was ended because of early words.
    bool hasEndedIt() const { return m_hasEndedIt; }

    /// That what came is no reply: its first line that is not blank.
    Failure failure() const
    {
        const QString line = textOf(m_beginning).trimmed().section(QLatin1Char('\n'), 0, 0).trimmed();
        if (line == REPLY_HEADER) {
            return notUnderstood(QStringLiteral("a reply that is damaged, or not to what was asked"));
        }
        return notUnderstood(line.isEmpty() ? QStringLiteral("nothing but blanks") : line);
    }

private:
    void look(QTcpSocket& socket)
    {
        if (m_beginning.isEmpty()) {
            m_beginning = socket.peek(MAX_SHOWN_LENGTH);
        }
        if (m_patience == EndsEarlyWords && socket.bytesToWrite() > 0) {
            m_hasEndedIt = true;
            socket.abort();
        }
    }

    const Patience m_patience;
    bool m_hasEndedIt = false;
    QByteArray m_beginning;
    QMetaObject::Connection m_connection;
};

Failure openFailure(const tarvex::TarvexQueryHandler& handler, const Witness& witness)
{
    if (witness.hasEndedIt()) {
        return witness.failure();
    }
    switch (handler.lastOutcome().kind()) {
    case QueryOutcome::Unreachable:
        return unreachable(handler);
    case QueryOutcome::HandshakeRefused:
        return handshakeRefused(handler.clientName());
    case QueryOutcome::TimedOut:
        return silence();
    case QueryOutcome::NotUnderstood:
        return witness.failure();
    default:
        return closedInHandshake();
    }
}

Failure askFailure(const tarvex::TarvexQueryHandler& handler, const Witness& witness)
{
    const QueryOutcome outcome = handler.lastOutcome();
    const QString answer = QStringLiteral("%1 %2").arg(QString::number(outcome.code()), outcome.text().trimmed());
    switch (outcome.kind()) {
    case QueryOutcome::Refused:
        return Failure(Refused, QStringLiteral("refused by the bus: %1").arg(answer.trimmed()), outcome.code());
    case QueryOutcome::HandshakeRefused:
        return handshakeRefused(handler.clientName());
    case QueryOutcome::TimedOut:
        return silence();
    case QueryOutcome::NotUnderstood:
        return witness.failure();
    default:
        return closed();
    }
}

} // namespace

BusClient::BusClient(const QString& name) : m_handler(name)
{
    const Witness witness(m_handler, Witness::EndsEarlyWords);
    // A reply that is none to a handshake, yet is no refusal, opens the connection without introducing us.
    if (!m_handler.open() || !m_handler.handshaked()) {
        throw openFailure(m_handler, witness);
    }
}

void BusClient::ask(const Operation& operation)
{
    const Witness witness(m_handler, Witness::Any);
    if (!operation(m_handler)) {
        throw askFailure(m_handler, witness);
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
