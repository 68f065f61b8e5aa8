#include "livepage.h"

#include "failure.h"
#include "requestguard.h"

namespace tarvex::devbus {

LivePage::LivePage(BusServer& server, ControlService& controlService)
    : m_token(newToken()), m_service(server, controlService), m_httpServer(m_service, m_token)
{
}

LivePage::~LivePage()
{
    m_service.close();
}

TarvexError LivePage::start(quint16 port)
{
    const std::string error = m_httpServer.start(port);
    return error.empty() ? TarvexError() : TarvexError(LocalFailure, QString::fromLocal8Bit(error.c_str()));
}

QString LivePage::address() const
{
    return QStringLiteral("http://127.0.0.1:%1/#token=%2")
        .arg(QString::number(m_httpServer.port()), QString::fromStdString(m_token));
}

} // namespace tarvex::devbus
