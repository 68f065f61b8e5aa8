#ifndef METRICS_H
#define METRICS_H

#include "traffic/seenframe.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QMap>
#include <QObject>
#include <QVariantMap>

#include <array>

namespace tarvex::devbus {

class BusServer;
class ControlService;

/// Counts what passes, and tells it in the text form that Prometheus reads.
///
/// What the clients can make it hold is bounded: an operation or a code that the bus does not have counts as "other",
/// and of the clients only some have a line of their own. Lives in the bus's thread.
class Metrics : public QObject
{
    Q_OBJECT
public:
    /// This many clients at most have a line of their own, those for which most messages wait.
    static constexpr int MAX_CLIENT_LINES = 50;
    /// A client with a longer name has no line of its own, in characters.
    static constexpr int MAX_NAME = 64;

    Metrics(BusServer& server, ControlService& controlService);

    QByteArray text() const;

private:
    /// The times of one port's exchanges, in the form of a histogram.
    struct Times
    {
        std::array<qint64, 8> counts{}; ///< One for each limit, and one for what is longer. Not summed up.
        qint64 sumUs = 0;
    };

    void onFrame(const traffic::SeenFrame& frame);
    void addCounters(QByteArray& text) const;
    void addTimes(QByteArray& text) const;
    void addPresent(QByteArray& text) const;
    void addWaiting(QByteArray& text) const;

    BusServer& m_server;
    ControlService& m_controlService;
    QElapsedTimer m_clock;
    QMap<QByteArray, qint64> m_frames; ///< By labels.
    QMap<traffic::Port, Times> m_times;
    qint64 m_opened = 0;
    qint64 m_bad = 0;
    qint64 m_faults = 0;
};

} // namespace tarvex::devbus

#endif // METRICS_H
