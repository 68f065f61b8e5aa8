#ifndef CONNECTIONWATCH_P_H
#define CONNECTIONWATCH_P_H

#include <QBasicTimer>
#include <QObject>

#include <functional>
#include <utility>

namespace tarvex {

/// Calls a function every 5000 ms while it runs. It is a child of the worker, so that it moves to the worker's thread
/// with it.
class ConnectionWatch : public QObject
{
public:
    ConnectionWatch(QObject* parent, std::function<void()> look) : QObject(parent), m_look(std::move(look)) { }

    void start() { m_timer.start(INTERVAL_MS, this); }

    void stop() { m_timer.stop(); }

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
};

} // namespace tarvex

#endif // CONNECTIONWATCH_P_H
