#ifndef STANDINS_P_H
#define STANDINS_P_H

#include "mockservices.h"

#include <QList>
#include <QObject>
#include <QSet>
#include <QString>

#include <memory>

namespace tarvex::testing {

/// The stand-ins of one file, from construction to destruction. Lives in the thread of the test.
class StandIns
{
public:
    explicit StandIns(const QList<mock::ServiceDescription>& services);
    ~StandIns();
    Q_DISABLE_COPY_MOVE(StandIns)

    /// Whether all of them have been accepted by the bus. What they tell wakes the thread's event loop up.
    bool areReady();

private:
    const int m_count;
    QObject m_alarm; ///< Gets the events that wake the loop up, and does nothing with them.
    const std::shared_ptr<mock::MockEvents> m_events;
    mock::MockServices m_services;
    QSet<QString> m_ready;
};

} // namespace tarvex::testing

#endif // STANDINS_P_H
