#include "busclient.h"

#include "programwords.h"
#include "queryoutcome.h"
#include "records/tarvexerror.h"

#include <QStringList>
#include <QTcpSocket>

using tarvex::ClientSettings;
using tarvex::QueryOutcome;

namespace tarvexctl {

namespace {

/// At most this many bytes are shown of what came instead of a reply.
constexpr int MAX_SHOWN_LENGTH = 200;
/// The first line of every reply.
const QLatin1String REPLY_HEADER("[-REPLY-]");

/// The text with its zero bytes. Converting the byte array at once would stop at the first of them.
QString textOf(const QByteArray& bytes)
{
    QStringList parts;
    const QList<QByteArray> pieces = bytes.split('\0');
    for (const QByteArray& piece : pieces) {
        parts.append(QString::fromUtf8(piece));
    }
    return parts.join(QChar(QChar::Null));
}

/// Keeps the beginning of what comes on the connection, before the library reads it. It is shown when it is not a
/// reply.
class Witness
{
public:
    enum Patience {
        Any,
        /// Ends the connection when the server sends something before the request is sent, which no bus does. The
        /// library would read it while it writes, and would then wait for more until its time-out.
        EndsEarlyWords
    };

    Witness(const tarvex::TarvexQueryHandler& handler, Patience patience) : m_patience(patience)
    {
        QTcpSocket* const socket = socketOf(handler);
        m_connection = QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { look(*socket); });
    }

    ~Witness() { QObject::disconnect(m_connection); }

    Q_DISABLE_COPY_MOVE(Witness)

    /// Whether this object has ended the connection.
    bool hasEndedIt() const { return m_hasEndedIt; }

    /// Says that what came is not a reply, and shows the first line of it that is not blank.
    Failure failure() const
    {
        const QString line = textOf(m_beginning).trimmed().section(QLatin1Char('\n'), 0, 0).trimmed();
        if (line == REPLY_HEADER) {
            return notUnderstood(Words::tr("a reply that is damaged, or not to what was asked"));
        }
        return notUnderstood(line.isEmpty() ? Words::tr("nothing but blanks") : line);
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

/// Says why an exchange has failed. \a ifLost is the failure for a connection that was closed or broke off.
Failure failureOf(const tarvex::TarvexQueryHandler& handler, const Witness& witness, const Failure& ifLost)
{
    if (witness.hasEndedIt()) {
        return witness.failure();
    }
    const QueryOutcome outcome = handler.lastOutcome();
    switch (outcome.kind()) {
    case QueryOutcome::Unreachable:
        return unreachable(handler);
    case QueryOutcome::HandshakeRefused:
        return handshakeRefused(handler.clientName());
    case QueryOutcome::Refused: {
        const QString answer = QStringLiteral("%1 %2").arg(QString::number(outcome.code()), outcome.text().trimmed());
        return Failure(Refused, Words::tr("refused by the bus: %1").arg(answer.trimmed()), outcome.code());
    }
    case QueryOutcome::TimedOut:
        return silence();
    case QueryOutcome::NotUnderstood:
        return witness.failure();
    default:
        return ifLost;
    }
}

} // namespace

BusClient::BusClient(const QString& name) : m_handler(name)
{
    const Witness witness(m_handler, Witness::EndsEarlyWords);
    // When the server answers the handshake with a reply to something else, open() succeeds and the bus does not know
    // us.
    if (!m_handler.open() || !m_handler.handshaked()) {
        throw failureOf(m_handler, witness, closedInHandshake());
    }
}

void BusClient::ask(const Operation& operation)
{
    const Witness witness(m_handler, Witness::Any);
    if (!operation(m_handler)) {
        throw failureOf(m_handler, witness, closed());
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

std::optional<ClientSettings> BusClient::loadSettings(const QString& owner)
{
    ClientSettings settings;
    const bool isStored =
        askForStored([&](tarvex::TarvexQueryHandler& handler) { return handler.loadSettings(owner, settings); });
    return isStored ? std::optional<ClientSettings>(settings) : std::nullopt;
}

void BusClient::saveSettings(const ClientSettings& settings)
{
    ask([&](tarvex::TarvexQueryHandler& handler) { return handler.saveSettings(settings); });
}

} // namespace tarvexctl
