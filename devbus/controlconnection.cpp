#include "controlconnection.h"

#include "controlstream.h"

#include <cerrno>
#include <sys/socket.h>
#include <unistd.h>

namespace tarvex::devbus {

namespace {

bool isTransient(int error)
{
    return error == EAGAIN || error == EINTR;
}

} // namespace

ControlConnection::ControlConnection(int descriptor, const Answerer& answerer, QObject* parent)
    : QObject(parent)
    , m_descriptor(descriptor)
    , m_answerer(answerer)
    , m_readable(descriptor, QSocketNotifier::Read)
    , m_writable(descriptor, QSocketNotifier::Write)
{
    m_writable.setEnabled(false);
    m_nextTurn.setSingleShot(true);
    connect(&m_readable, &QSocketNotifier::activated, this, [this] {
        takeIn();
        takeTurn();
    });
    connect(&m_writable, &QSocketNotifier::activated, this, &ControlConnection::takeTurn);
    connect(&m_nextTurn, &QTimer::timeout, this, &ControlConnection::takeTurn);
}

ControlConnection::~ControlConnection()
{
    m_readable.setEnabled(false);
    m_writable.setEnabled(false);
    ::close(m_descriptor);
}

/// Takes in up to one byte more than a request may have. That byte is the line end, or it shows that the request is too
/// long.
void ControlConnection::takeIn()
{
    const int size = m_input.size();
    m_input.resize(MAX_REQUEST_LENGTH + 1);
    const ssize_t count =
        ::recv(m_descriptor, m_input.data() + size, static_cast<std::size_t>(m_input.size() - size), MSG_DONTWAIT);
    m_isInputOver = count == 0 || (count < 0 && !isTransient(errno));
    m_input.resize(size + static_cast<int>(qMax<ssize_t>(count, 0)));
}

/// Answers one request in a turn of the event loop, so that the bus goes on between two requests.
void ControlConnection::takeTurn()
{
    bool isWritable = writeOut();
    if (isWritable && !m_isLastAnswered && waitingBytes() <= MAX_WAITING_BYTES) {
        m_stream ? streamNext() : answerNext();
        isWritable = writeOut();
    }
    const bool isOver = !isWritable || (m_isLastAnswered && m_output.isEmpty());
    m_readable.setEnabled(!isOver && !m_isInputOver && !m_isLastAnswered && m_input.size() <= MAX_REQUEST_LENGTH);
    m_writable.setEnabled(!isOver && !m_output.isEmpty());
    if (isOver) {
        m_nextTurn.stop();
        Q_EMIT ended();
    }
}

void ControlConnection::answerNext()
{
    const int length = m_input.indexOf('\n');
    if (length >= 0) {
        const Reply reply = m_answerer(m_input.left(length));
        append(reply.lines);
        m_input.remove(0, length + 1);
        m_nextTurn.start();
        if (reply.stream) {
            beginStream(reply.stream);
        }
    } else if (m_input.size() > MAX_REQUEST_LENGTH) {
        append(m_answerer(m_input).lines);
        m_isLastAnswered = true;
    } else {
        m_isLastAnswered = m_isInputOver;
    }
}

void ControlConnection::beginStream(const std::shared_ptr<ControlStream>& stream)
{
    m_stream = stream;
    connect(m_stream.get(), &ControlStream::ready, &m_nextTurn, QOverload<>::of(&QTimer::start));
}

/// What the client still sends is dropped.
void ControlConnection::streamNext()
{
    m_input.clear();
    const QByteArray lines = m_stream->next();
    append(lines);
    if (!lines.isEmpty()) {
        m_nextTurn.start();
    }
    m_isLastAnswered = m_isInputOver;
}

/// What is written already is removed first. Otherwise it would stay for as long as the client is a little late.
void ControlConnection::append(const QByteArray& lines)
{
    m_output.remove(0, m_writtenBytes);
    m_writtenBytes = 0;
    m_output += lines;
}

/// Writes what the system takes now. \return false when the client has gone
bool ControlConnection::writeOut()
{
    while (waitingBytes() > 0) {
        const ssize_t count = ::send(m_descriptor, m_output.constData() + m_writtenBytes,
                                     static_cast<std::size_t>(waitingBytes()), MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR) {
            return errno == EAGAIN;
        }
        m_writtenBytes += static_cast<int>(qMax<ssize_t>(count, 0));
    }
    m_output.clear();
    m_writtenBytes = 0;
    return true;
}

} // namespace tarvex::devbus
