#include "controlserver.h"

#include "controllines.h"
#include "controlplace.h"
#include "failure.h"
#include "fileinfo.h"
#include "wire/jsonreader_p.h"
#include "words.h"

#include <QFile>
#include <QJsonObject>
#include <QLocalServer>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tarvex::devbus {

namespace {

QString runtimeFolder()
{
    QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (programs::isPrivateFolder(folder)) {
        return folder;
    }
    const QString own = programs::ownTemporaryFolder();
    ::mkdir(QFile::encodeName(own).constData(), S_IRWXU);
    return programs::isPrivateFolder(own) ? own : QString();
}

} // namespace

/// Hands over the descriptors themselves; it makes no QLocalSocket from them.
class ControlServer::Listener : public QLocalServer
{
public:
    explicit Listener(ControlServer& server) : m_server(server) { }

protected:
    void incomingConnection(quintptr descriptor) override { m_server.accept(static_cast<int>(descriptor)); }

private:
    ControlServer& m_server;
};

ControlServer::ControlServer(const Responder& responder, QObject* parent)
    : QObject(parent), m_responder(responder), m_listener(std::make_unique<Listener>(*this))
{
}

ControlServer::~ControlServer()
{
    m_listener->close(); // removes the socket
}

QString ControlServer::defaultPath()
{
    const QString folder = runtimeFolder();
    return folder.isEmpty() ? QString() : folder + QLatin1Char('/') + programs::controlSocketName();
}

TarvexError ControlServer::open(const QString& path)
{
    if (path.isEmpty()) {
        return {LocalFailure, programs::Words::tr("there is no folder for it that belongs to this user alone")};
    }
    // With this option Qt makes the socket beside its place and moves it there. The move replaces a socket that was
    // left behind.
    m_listener->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_listener->listen(path)) {
        return {LocalFailure, QStringLiteral("%1: %2").arg(path, m_listener->errorString())};
    }
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner); // Qt also allows its execution
    return {};
}

void ControlServer::accept(int descriptor)
{
    if (m_clientCount >= MAX_CLIENTS) {
        // A connection that has just begun takes one line.
        const QByteArray line = controllines::error(QStringLiteral("too many programs ask the bus at once"));
        static_cast<void>(
            ::send(descriptor, line.constData(), static_cast<std::size_t>(line.size()), MSG_DONTWAIT | MSG_NOSIGNAL));
        ::close(descriptor);
        return;
    }
    ++m_clientCount;
    auto* const client = new ControlConnection(
        descriptor, [this](const QByteArray& line) { return replyTo(line); }, this);
    connect(client, &ControlConnection::ended, this, [this, client] {
        --m_clientCount;
        client->deleteLater();
    });
}

ControlConnection::Reply ControlServer::replyTo(const QByteArray& line) const
{
    if (line.size() > ControlConnection::MAX_REQUEST_LENGTH) {
        return {controllines::error(QStringLiteral("a request must not be longer than %1 bytes")
                                        .arg(ControlConnection::MAX_REQUEST_LENGTH)),
                nullptr};
    }
    QJsonParseError error{};
    const QJsonDocument document = jsonreader::parseJson(line, error);
    if (!document.isObject()) {
        return {controllines::error(QStringLiteral("a request must be a JSON object on one line"))};
    }
    const Answer answer = m_responder(document.object().toVariantMap());
    if (!answer.error.isEmpty()) {
        return {controllines::error(answer.error)};
    }
    QByteArray lines;
    for (const QVariantMap& item : answer.items) {
        lines += controllines::item(item);
    }
    return {answer.stream ? lines : lines + controllines::done(), answer.stream};
}

} // namespace tarvex::devbus
