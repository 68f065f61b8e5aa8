#ifndef OUTGOINGFRAMES_H
#define OUTGOINGFRAMES_H

#include "faults.h"
#include "traffic/seenframe.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <deque>
#include <optional>

class QTcpSocket;

namespace tarvex::devbus {

/// A whole frame on its way to the client.
struct OutgoingFrame
{
    QByteArray bytes; ///< As it is meant.
    traffic::SeenFrame seen;
    std::optional<Fault> fault; ///< What it has met.
};

/// Writes the frames of one connection to its socket, each as the fault that it has met wants it.
///
/// A frame without a fault is written at once, unless a frame before it is held back: the order stays. A frame with a
/// fault is never written in add(), because its end may be that of the connection.
class OutgoingFrames : public QObject
{
    Q_OBJECT
public:
    explicit OutgoingFrames(QTcpSocket& socket, QObject* parent = nullptr);

    void add(const OutgoingFrame& frame);
    /// Forgets what is held back.
    void clear();

    bool isEmpty() const { return m_held.empty(); }

    /// What is held back, in bytes: what is still to be written, and what is kept of each frame.
    qint64 heldBytes() const { return m_heldBytes; }

Q_SIGNALS:
    /// A frame begins to be written, or would have been written if its fault did not keep it back. \a frame tells of
    /// the fault. \a payload is as it is meant, and empty when nothing is written.
    void passed(const tarvex::traffic::SeenFrame& frame, const QByteArray& payload);
    /// Nothing is held back any more.
    void emptied();
    /// The connection is to be closed in place of a frame.
    void closeWanted();

private:
    struct Held
    {
        OutgoingFrame frame;
        QByteArray bytes; ///< As they are written.
        qint64 dueAtNs;
        int pieceSize;
        qint64 gapNs;          ///< Between two pieces.
        qint64 bytesPerSecond; ///< 0 when there is no limit.
        int writtenBytes = 0;
        bool isTold = false;
    };

    static Held hold(const OutgoingFrame& frame, qint64 nowNs);
    void run();
    void step();
    void tell();
    void writePiece();
    void endFrame();
    void reset();

    QTcpSocket& m_socket;
    QElapsedTimer m_clock;
    QTimer m_timer;
    std::deque<Held> m_held;
    qint64 m_heldBytes = 0;
    qint64 m_pauseEndNs = 0;
    bool m_isRunning = false;
};

} // namespace tarvex::devbus

#endif // OUTGOINGFRAMES_H
