#ifndef CONNECTIONWATCH_P_H
#define CONNECTIONWATCH_P_H

#include <QBasicTimer>
#include <QObject>

#include <functional>
#include <utility>

namespace tarvex {

/// Looks after a connection: calls a function every 5000 ms while there is something to wait for. Otherwise no timer
/// runs, so that a worker at rest never wakes up.
///
/// It is a child of the worker, so that it moves to the worker's thread with it.
class ConnectionWatch : public QObject
{
public:
    ConnectionWatch(QObject* parent, std::function<void()> look) : QObject(parent), m_look(std::move(look)) { }

    /// From now on wake() has an effect.
    void start() { m_isStarted = true; }

    /// From now on wake() has no effect. No look follows.
    void stop()
    {
        m_isStarted = false;
        rest();
    }

    /// The function is called every 5000 ms until rest(). A further call does not put off the first look.
    void wake()
    {
        if (m_isStarted && !m_timer.isActive()) {
            m_timer.start(INTERVAL_MS, this);
        }
    }

    void rest() { m_timer.stop(); }

protected:
    void timerEvent(QTimerEvent* event) override
    {
        Q_UNUSED(event)
        m_look();
    }

private:
    static constexpr int INTERVAL_MS = 5000;

    const std::function<void()> m_look;
    QBasicTimer m_timer;
    bool m_isStarted = false;
};

} // namespace tarvex

#endif // CONNECTIONWATCH_P_H
