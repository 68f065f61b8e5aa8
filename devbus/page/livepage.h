#ifndef LIVEPAGE_H
#define LIVEPAGE_H

#include "httpserver.h"
#include "pageservice.h"
#include "records/tarvexerror.h"

#include <QString>

#include <string>

namespace tarvex::devbus {

/// The page on which a developer sees what the bus does, in a browser on the same machine.
///
/// Lives in the bus's thread. Its destructor ends its threads at once.
class LivePage
{
public:
    /// \a server must run as long as this object is there.
    LivePage(BusServer& server, ControlService& controlService);
    ~LivePage();
    Q_DISABLE_COPY_MOVE(LivePage)

    /// \return NoError, or why it cannot listen on \a port, in one line. 0 lets the system choose the port.
    TarvexError start(quint16 port);

    /// What to open in a browser. It has the token, without which the page only shows.
    QString address() const;

private:
    const std::string m_token;
    PageService m_service;
    HttpServer m_httpServer;
};

} // namespace tarvex::devbus

#endif // LIVEPAGE_H
