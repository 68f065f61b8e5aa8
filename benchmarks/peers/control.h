#ifndef CONTROL_H
#define CONTROL_H

#include <QByteArray>

#include <deque>

/// What the client tells the other side on its standard input:
///
///     reply SIZE, and the bytes    what to answer from now on; forgets the pushes
///     push SIZE, and the bytes     one more to push later
///     go                           push the next one now
///
/// The first two are answered with "ok".
class Control
{
public:
    /// Takes one command in. Ends the process when there is none any more. \return whether to push.
    bool take();

    QByteArray reply() const { return m_reply; }

    /// The next one to push.
    QByteArray takePush();

    /// Tells the client a line, at first that everything is ready.
    static void say(const QByteArray& line);

private:
    QByteArray m_reply;
    std::deque<QByteArray> m_pushes;
};

#endif // CONTROL_H
