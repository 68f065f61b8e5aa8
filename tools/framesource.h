#ifndef FRAMESOURCE_H
#define FRAMESOURCE_H

#include <QObject>
#include <QString>

namespace tarvex::traffic {
struct SeenFrame;
}

namespace tarvexctl {

/// Where frames come from: the development bus, the network, or a file.
///
/// Lives in one thread and needs its event loop.
class FrameSource : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /// Begins. The signals come after this call, not from inside it.
    virtual void start() = 0;

Q_SIGNALS:
    /// Frames can be seen from now on. Emitted once, before the first frame; not when the source fails before.
    void started();
    /// The next frame, in the order in which they were seen. The receiver may delete the source later only.
    void seen(const tarvex::traffic::SeenFrame& frame);
    /// It cannot go on. \a status is the exit status of the program. No signal follows.
    void failed(int status, const QString& words);
    /// There are no further frames. No signal follows.
    void ended();
};

} // namespace tarvexctl

#endif // FRAMESOURCE_H
