#ifndef PAGEDESK_H
#define PAGEDESK_H

#include "busthread.h"
#include "controlservice.h"
#include "livepage.h"

#include <QByteArray>
#include <QList>
#include <QVariantMap>

#include <memory>

/// One connection to the page, as a browser makes it, without the page's HTTP library. Every call blocks, up to 20 s.
class PageConnection
{
public:
    explicit PageConnection(int port);
    ~PageConnection();
    Q_DISABLE_COPY_MOVE(PageConnection)

    /// Whether somebody listens there.
    static bool canConnect(const char* address, int port);

    /// Whether the page has not closed the connection so far. What has come is lost.
    bool isOpen() const;

    bool send(const QByteArray& bytes);
    /// Reads until \a part has come. \return all that has come so far; without \a part if it did not come.
    QByteArray readUntil(const QByteArray& part);
    /// Reads until the page closes the connection. \return all that has come; empty when it does not close it.
    QByteArray readAll();

private:
    bool readSome();

    int m_descriptor;
    QByteArray m_received;
};

/// An answer of the page.
struct PageAnswer
{
    int status = 0;
    QMap<QByteArray, QByteArray> headers; ///< The names in lower case.
    QByteArray body;

    QVariantMap object() const;

    QString error() const { return object().value(QStringLiteral("error")).toString(); }
};

PageAnswer readAnswer(const QByteArray& bytes);

/// A bus in a thread of its own, with its page.
class PageDesk
{
public:
    explicit PageDesk(const tarvex::devbus::BusServer::Options& options = {});
    ~PageDesk();
    Q_DISABLE_COPY_MOVE(PageDesk)

    int port() const { return m_port; }

    QByteArray token() const { return m_token; }

    /// "127.0.0.1:PORT"
    QByteArray host() const;

    PageAnswer get(const QByteArray& target, const QByteArray& moreHeaders = {}) const;
    /// With the token and the type, unless \a headers are given.
    PageAnswer post(const QByteArray& target, const QByteArray& body) const;
    PageAnswer post(const QByteArray& target, const QByteArray& body, const QByteArray& headers) const;
    /// A request for \a target that is to be answered by events, after its headers have come.
    std::unique_ptr<PageConnection> openEvents(const QByteArray& target, const QByteArray& moreHeaders = {}) const;

    BusThread bus;

    void closePage();

private:
    std::unique_ptr<tarvex::devbus::ControlService> m_controlService;
    std::unique_ptr<tarvex::devbus::LivePage> m_page;
    int m_port = 0;
    QByteArray m_token;
};

#endif // PAGEDESK_H
