#ifndef CONTROLCONNECTION_H
#define CONTROLCONNECTION_H

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include <functional>
#include <memory>

namespace tarvex::devbus {

class ControlStream;

/// One connection of the control socket: takes lines in, in order, and writes an answer to each.
///
/// When the client closes its sending direction, the complete lines that came before are still answered. Then the
/// connection ends. A QLocalSocket cannot do this: it closes both directions as soon as it sees that one is closed.
class ControlConnection : public QObject
{
    Q_OBJECT
public:
    /// In bytes, without the line end.
    static constexpr int MAX_REQUEST_LENGTH = 65536;
    /// While more than this waits for the client, no further line is answered.
    static constexpr int MAX_WAITING_BYTES = 1 << 20;

    struct Reply
    {
        QByteArray lines;
        /// What comes after the lines, without an end. No further line of the client is answered then. It ends when the
        /// client closes its sending direction.
        std::shared_ptr<ControlStream> stream = nullptr;
    };

    /// Gives the answer to a line, which comes without its end. A line of more than MAX_REQUEST_LENGTH bytes comes as
    /// soon as that is known, so it may be cut. Its answer is the last one, and the connection ends after it.
    using Answerer = std::function<Reply(const QByteArray& line)>;

    /// Owns \a descriptor, a connected stream socket, from now on.
    ControlConnection(int descriptor, const Answerer& answerer, QObject* parent = nullptr);
    ~ControlConnection() override;

Q_SIGNALS:
    void ended(); ///< Once. Nothing is read or written after it.

private:
    void takeIn();
    void takeTurn();
    void answerNext();
    void beginStream(const std::shared_ptr<ControlStream>& stream);
    void streamNext();
    void append(const QByteArray& lines);
    bool writeOut();

    int waitingBytes() const { return m_output.size() - m_writtenBytes; }

    const int m_descriptor;
    const Answerer m_answerer;
    QSocketNotifier m_readable;
    QSocketNotifier m_writable;
    QTimer m_nextTurn;
    QByteArray m_input;
    std::shared_ptr<ControlStream> m_stream;
    QByteArray m_output;
    int m_writtenBytes = 0; ///< Of m_output, from its beginning.
    bool m_isInputOver = false;
    bool m_isLastAnswered = false;
};

} // namespace tarvex::devbus

#endif // CONTROLCONNECTION_H
