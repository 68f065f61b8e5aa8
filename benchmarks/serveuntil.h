#ifndef SERVEUNTIL_H
#define SERVEUNTIL_H

#include <QCoreApplication>

/// Serves this thread's event loop, as a service does, until \a holds returns true.
template <typename Condition>
void serveUntil(const Condition& holds)
{
    while (!holds()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

#endif // SERVEUNTIL_H
