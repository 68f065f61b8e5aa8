#ifndef CONTROLSOURCE_H
#define CONTROLSOURCE_H

#include "framesource.h"

#include <QLocalSocket>
#include <QTimer>

namespace tarvexctl {

/// The number of the newest frame that the development bus has seen; 0 when it has seen none. Throws Failure: NoBus
/// when there is no bus at all, Refused when the bus cannot tell. \a clientName is used to find that out.
qint64 newestFrameNumber(const QString& clientName);

/// The frames of the development bus, from its control socket.
///
/// When the bus goes away, it says so on stderr and waits for it to come back. Then the frames of the new bus follow
/// after a gap, from the first that it still has.
class ControlSource : public FrameSource
{
    Q_OBJECT
public:
    /// Begins with the last \a last frames that the bus has kept.
    explicit ControlSource(qint64 last = 0, QObject* parent = nullptr);

    void start() override;

private:
    void connectToBus();
    void readLines();
    void take(const QByteArray& line);
    void waitForBus();
    void fail(int status, const QString& words);

    QLocalSocket m_socket{this};
    QTimer m_retryTimer{this};
    qint64 m_last;
    bool m_isStarted = false;
    bool m_isBack = false; ///< The bus had gone.
    bool m_hasEnded = false;
    qint64 m_lastNumber = 0; ///< Of the last frame.
    qint64 m_lastTimeUs = 0;
};

} // namespace tarvexctl

#endif // CONTROLSOURCE_H
