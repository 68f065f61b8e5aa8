#ifndef CLIENTREPORT_H
#define CLIENTREPORT_H

#include "busserver.h"
#include "support/systemdnotifier.h"

#include <QObject>
#include <QTimer>

namespace tarvex::devbus {

/// Shows in "systemctl status" how many clients the bus has. Nothing is done without systemd.
class ClientReport : public QObject
{
    Q_OBJECT
public:
    ClientReport(const BusServer& server, wexcor::SystemdNotifier& notifier);

private:
    void report();

    const BusServer& m_server;
    wexcor::SystemdNotifier& m_notifier;
    QTimer m_delay; ///< Scripts join and leave many times a second, and systemd need not hear of each.
};

} // namespace tarvex::devbus

#endif // CLIENTREPORT_H
