#include "exchange.h"

#include "busclient.h"
#include "programwords.h"
#include "records/clientstate.h"

#include <QElapsedTimer>
#include <QTcpSocket>

#include <cmath>
#include <optional>

namespace tarvexctl {

namespace {

constexpr double NS_PER_MS = 1e6;

/// Measures the time until the first bytes come on a socket. It does not change what is read there.
class FirstBytes
{
public:
    explicit FirstBytes(QTcpSocket* socket)
    {
        m_timer.start();
        m_connection = QObject::connect(socket, &QTcpSocket::readyRead, socket, [this] { note(); });
    }

    ~FirstBytes() { QObject::disconnect(m_connection); }

    Q_DISABLE_COPY_MOVE(FirstBytes)

    /// Until the first bytes, or until now when none have come.
    double milliseconds()
    {
        note();
        return static_cast<double>(*m_nanoseconds) / NS_PER_MS;
    }

private:
    void note() { m_nanoseconds = m_nanoseconds.value_or(m_timer.nsecsElapsed()); }

    QElapsedTimer m_timer;
    std::optional<qint64> m_nanoseconds;
    QMetaObject::Connection m_connection;
};

} // namespace

double measureExchange(BusClient& bus, const QString& clientName)
{
    double milliseconds = 0;
    try {
        bus.ask([&](tarvex::TarvexQueryHandler& handler) {
            tarvex::ClientState state;
            FirstBytes firstBytes(socketOf(handler));
            const bool isLoaded = handler.loadState(clientName, state);
            milliseconds = firstBytes.milliseconds();
            return isLoaded;
        });
    } catch (const Failure& failure) {
        if (failure.code() == 0) {
            throw;
        }
    }
    return milliseconds;
}

QString millisecondsText(double milliseconds)
{
    const int integerDigits = milliseconds >= 1 ? static_cast<int>(std::floor(std::log10(milliseconds))) + 1 : 0;
    return Words::tr("%1 ms").arg(QString::number(milliseconds, 'f', qMax(3 - integerDigits, 0)));
}

} // namespace tarvexctl
