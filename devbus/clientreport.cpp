#include "clientreport.h"

#include "words.h"

#include <QSet>

namespace tarvex::devbus {

namespace {

constexpr int REPORT_DELAY_MS = 1000;

} // namespace

ClientReport::ClientReport(const BusServer& server, wexcor::SystemdNotifier& notifier)
    : m_server(server), m_notifier(notifier)
{
    m_delay.setSingleShot(true);
    m_delay.setInterval(REPORT_DELAY_MS);
    connect(&m_delay, &QTimer::timeout, this, &ClientReport::report);
    connect(&server, &BusServer::clientsChanged, this, [this] {
        if (!m_delay.isActive()) {
            m_delay.start();
        }
    });
    report();
}

void ClientReport::report()
{
    QSet<QString> names;
    const QList<BusServer::Presence> presences = m_server.presences();
    for (const BusServer::Presence& presence : presences) {
        names.insert(presence.client);
    }
    m_notifier.setStatus(programs::Words::counted(names.size(), programs::Words::tr("1 client"),
                                                  programs::Words::markCount("%n clients")));
}

} // namespace tarvex::devbus
