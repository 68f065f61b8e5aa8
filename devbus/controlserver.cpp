#include "controlserver.h"

#include "wire/jsonreader_p.h"

#include <QDir>
#include <QFile>
#include <QJsonObject>
#include <QLocalSocket>

#include <sys/stat.h>
#include <unistd.h>

namespace tarvex::devbus {

namespace {

/// Whether \a path is a folder, no link to one, that only this user can look into.
bool isPrivateFolder(const QString& path)
{
    struct stat status
    {
    };

    return ::lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISDIR(status.st_mode)
        && status.st_uid == ::geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

QString runtimeFolder()
{
    QString folder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (QDir::isAbsolutePath(folder) && isPrivateFolder(folder)) {
        return folder;
    }
    const QString own = QStringLiteral("%1/tarvex-devbus-%2").arg(QDir::tempPath()).arg(::geteuid());
    ::mkdir(QFile::encodeName(own).constData(), S_IRWXU);
    return isPrivateFolder(own) ? own : QString();
}

/// A number that tells the network namespaces of this machine apart; 0 when the system does not tell.
quint64 networkNamespace()
{
    struct stat status
    {
    };

    return ::stat("/proc/self/ns/net", &status) == 0 ? status.st_ino : 0;
}

void writeLine(QLocalSocket* client, const QVariantMap& object)
{
    client->write(QJsonDocument(QJsonObject::fromVariantMap(object)).toJson(QJsonDocument::Compact) + '\n');
}

void writeError(QLocalSocket* client, const QString& text)
{
    writeLine(client, {{QStringLiteral("error"), text}});
}

} // namespace

ControlServer::ControlServer(const Responder& responder, QObject* parent) : QObject(parent), m_responder(responder)
{
    connect(&m_server, &QLocalServer::newConnection, this, &ControlServer::accept);
}

ControlServer::~ControlServer()
{
    const QList<QLocalSocket*> clients = m_server.findChildren<QLocalSocket*>();
    for (QLocalSocket* const client : clients) {
        client->disconnect(); // they end with the server, later than this object
    }
    m_server.close(); // removes the socket
}

QString ControlServer::defaultPath()
{
    const QString folder = runtimeFolder();
    return folder.isEmpty() ? QString()
                            : QStringLiteral("%1/tarvex-devbus-%2.sock").arg(folder).arg(networkNamespace());
}

bool ControlServer::open(const QString& path)
{
    if (path.isEmpty()) {
        m_errorString = QStringLiteral("there is no folder for it that belongs to this user alone");
        return false;
    }
    // With this option Qt makes the socket beside its place and moves it there, over one that was left behind.
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(path)) {
        m_errorString = QStringLiteral("%1: %2").arg(path, m_server.errorString());
        return false;
    }
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner); // Qt lets it be executed as well
    return true;
}

void ControlServer::accept()
{
    while (QLocalSocket* const client = m_server.nextPendingConnection()) {
        if (m_clientCount < MAX_CLIENTS) {
            addClient(client);
        } else {
            delete client;
        }
    }
}

void ControlServer::addClient(QLocalSocket* client)
{
    ++m_clientCount;
    client->setReadBufferSize(MAX_REQUEST_LENGTH + 1);
    connect(client, &QLocalSocket::readyRead, client, [this, client] { answerNext(client); });
    // Later, because it may be emitted in the middle of the answer's writing.
    connect(
        client, &QLocalSocket::bytesWritten, client, [this, client] { answerNext(client); }, Qt::QueuedConnection);
    connect(client, &QLocalSocket::disconnected, client, [this, client] {
        --m_clientCount;
        client->disconnect();
        client->deleteLater();
    });
    answerNext(client); // its first request may have come with it
}

/// One request in a turn of the event loop, so that the bus goes on between them. The bytes of the answer, once
/// written, bring on the next.
void ControlServer::answerNext(QLocalSocket* client)
{
    if (client->state() != QLocalSocket::ConnectedState || client->bytesToWrite() > MAX_WAITING_BYTES) {
        return;
    }
    if (client->canReadLine()) {
        answerLine(client, client->readLine());
        client->flush(); // a client that has closed its own direction already would lose what still waits here
    } else if (client->bytesAvailable() > MAX_REQUEST_LENGTH) {
        writeError(client, QStringLiteral("a request must not be longer than %1 bytes").arg(MAX_REQUEST_LENGTH));
        client->disconnectFromServer(); // once the error is written
    }
}

void ControlServer::answerLine(QLocalSocket* client, const QByteArray& line)
{
    QJsonParseError error{};
    const QJsonDocument document = jsonreader::parseJson(line, error);
    if (!document.isObject()) {
        writeError(client, QStringLiteral("a request must be a JSON object on one line"));
        return;
    }
    const Answer answer = m_responder(document.object().toVariantMap());
    if (!answer.error.isEmpty()) {
        writeError(client, answer.error);
        return;
    }
    for (const QVariantMap& item : answer.items) {
        writeLine(client, {{QStringLiteral("item"), item}});
    }
    writeLine(client, {{QStringLiteral("done"), true}});
}

} // namespace tarvex::devbus
