#ifndef CAPTURESOURCE_H
#define CAPTURESOURCE_H

#include "framesource.h"

#include <QProcess>
#include <QThread>

namespace tarvexctl {

class PacketReader;

/// Frames from the network: what passes between the bus and its clients on an interface of this machine. The bus does
/// not take part in it, so it may be any bus.
///
/// The program tarvex-capture captures, because only it has the right to. It stands beside this program or on the PATH.
/// What it says is said on stderr. Its packets are read in a thread, which waits whenever the receiver of the frames
/// does not keep up.
class CaptureSource : public FrameSource
{
    Q_OBJECT
public:
    explicit CaptureSource(const QString& interface, QObject* parent = nullptr);
    /// Ends the capture, and says what it has missed.
    ~CaptureSource() override;

    void start() override;

private:
    class Program : public QProcess
    {
    public:
        int packets = -1; ///< Where its stdout goes.

    protected:
        void setupChildProcess() override;
    };

    void startReading(int descriptor);
    void takeFrame(const tarvex::traffic::SeenFrame& frame);
    void onReaderEnded();
    void begin();
    void readWords();
    void endWhenDone();
    void fail(int status, const QString& words);

    const QString m_interface;
    Program m_program;
    QString m_words; ///< The last line that it has said.
    QThread m_thread;
    PacketReader* m_reader = nullptr; ///< Belongs to the thread, until that has ended.
    QString m_readError;
    bool m_isCapturing = false;
    bool m_isRead = false;
    bool m_hasEnded = false;
};

} // namespace tarvexctl

#endif // CAPTURESOURCE_H
