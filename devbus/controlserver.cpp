#include "controlserver.h"

#include "programs/controlplace.h"
#include "wire/jsonreader_p.h"

#include <QFile>
#include <QJsonObject>
#include <QLocalSocket>

#include <sys/stat.h>

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
    return folder.isEmpty() ? QString() : folder + QLatin1Char('/') + programs::controlSocketName();
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
