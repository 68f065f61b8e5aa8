#include "control.h"

#include "require.h"

#include <cstdlib>
#include <unistd.h>

namespace {

/// Nothing is read ahead, so that poll() tells whether there is another command.
QByteArray readBytes(int count)
{
    QByteArray bytes(count, Qt::Uninitialized);
    for (int taken = 0; taken < count;) {
        const ssize_t next = ::read(STDIN_FILENO, bytes.data() + taken, static_cast<size_t>(count - taken));
        if (next <= 0) {
            std::_Exit(EXIT_SUCCESS);
        }
        taken += static_cast<int>(next);
    }
    return bytes;
}

QByteArray readLine()
{
    QByteArray line;
    for (QByteArray next = readBytes(1); next != "\n"; next = readBytes(1)) {
        line += next;
    }
    return line;
}

} // namespace

bool Control::take()
{
    const QByteArray line = readLine();
    if (line == "go") {
        return true;
    }
    const int space = line.indexOf(' ');
    const QByteArray bytes = readBytes(line.mid(space + 1).toInt());
    if (line.left(space) == "reply") {
        m_reply = bytes;
        m_pushes.clear();
    } else {
        require(line.left(space) == "push", "unknown command");
        m_pushes.push_back(bytes);
    }
    say("ok");
    return false;
}

QByteArray Control::takePush()
{
    require(!m_pushes.empty(), "there is nothing to push");
    QByteArray next = m_pushes.front();
    m_pushes.pop_front();
    return next;
}

void Control::say(const QByteArray& line)
{
    const QByteArray bytes = line + '\n';
    require(::write(STDOUT_FILENO, bytes.constData(), static_cast<size_t>(bytes.size())) == bytes.size(),
            "the client does not listen");
}
