#ifndef CONTROLSOURCE_H
#define CONTROLSOURCE_H

#include "framesource.h"

#include <QLocalSocket>
#include <QTimer>

namespace tarvexctl {

/// The newest frame that the development bus has seen.
struct NewestFrame
{
    QString run;       ///< Names this run of the bus.
    qint64 number = 0; ///< 0 when it has seen none.
};

/// Asks for it. Throws Failure: NoBus when there is no bus at all, Refused when the bus cannot tell.
NewestFrame newestFrame();

/// The frames of the development bus, from its control socket.
///
/// When the bus goes away, it says so on stderr and waits for it to come back. Then the frames of the new bus follow
/// after a gap with the number 0, from the first that it still has. If it was the same bus all the time, its frames go
/// on where they have stopped. What cannot be read becomes a gap.
class ControlSource : public FrameSource
{
    Q_OBJECT
public:
    /// Begins with the last \a last frames that the bus has kept. \a run is the run of the bus that these numbers are
    /// about; if another one answers, a gap comes first.
    explicit ControlSource(qint64 last, const QString& run, QObject* parent = nullptr);

    void start() override;

private:
    void connectToBus();
    void readLines();
    void take(const QByteArray& line);
    void takeRun(const QString& run);
    void takeFrame(const tarvex::traffic::SeenFrame& frame);
    void waitForBus();
    void fail(int status, const QString& words);

    QLocalSocket m_socket{this};
    QTimer m_retryTimer{this};
    qint64 m_last;
    QString m_run;
    bool m_isStarted = false;
    bool m_isAway = false; ///< The bus has gone.
    bool m_hasEnded = false;
    bool m_isResuming = false; ///< The same bus is back, and no new frame has come since.
    qint64 m_position = 0;     ///< The number of the last frame of this connection.
    qint64 m_lastNumber = 0;   ///< Of the last frame that was given on.
};

} // namespace tarvexctl

#endif // CONTROLSOURCE_H
