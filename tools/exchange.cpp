#include "exchange.h"

#include "busclient.h"
#include "records/clientstate.h"

#include <QElapsedTimer>
#include <QTcpSocket>

#include <cmath>

namespace tarvexctl {

namespace {

constexpr double NS_PER_MS = 1e6;

/// Runs loadState() and notes when the first bytes of the answer came. \return as loadState()
bool loadState(tarvex::TarvexQueryHandler& handler, const QString& owner, double& milliseconds)
{
    tarvex::ClientState state;
    QElapsedTimer timer;
    const auto elapsed = [&timer] { return static_cast<double>(timer.nsecsElapsed()) / NS_PER_MS; };
    QTcpSocket* const socket = socketOf(handler);
    milliseconds = -1;
    const auto connection = QObject::connect(socket, &QTcpSocket::readyRead, socket,
                                             [&] { milliseconds = milliseconds < 0 ? elapsed() : milliseconds; });
    timer.start();
    const bool isLoaded = handler.loadState(owner, state);
    QObject::disconnect(connection);
    milliseconds = milliseconds < 0 ? elapsed() : milliseconds;
    return isLoaded;
}

} // namespace

double measureExchange(BusClient& bus, const QString& clientName)
{
    double milliseconds = 0;
    try {
        bus.ask([&](tarvex::TarvexQueryHandler& handler) { return loadState(handler, clientName, milliseconds); });
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
    return QStringLiteral("%1 ms").arg(QString::number(milliseconds, 'f', qMax(3 - integerDigits, 0)));
}

} // namespace tarvexctl
