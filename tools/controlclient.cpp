#include "controlclient.h"

#include "clientguess.h"
#include "connectionfailures.h"
#include "controlplace.h"
#include "fileinfo.h"
#include "nearest.h"
#include "output.h"
#include "owners.h"
#include "programwords.h"

#include <QDeadlineTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocalSocket>

#include <unistd.h>

namespace tarvexctl {

namespace {

const QLatin1String KEY_ITEM("item");
const QLatin1String KEY_ERROR("error");

/// Ends by the deadline also when there is always more to read.
QVariantMap readObject(QLocalSocket& socket, const QDeadlineTimer& deadline)
{
    if (deadline.hasExpired()) {
        throw silence();
    }
    while (!socket.canReadLine()) {
        if (!socket.waitForReadyRead(static_cast<int>(deadline.remainingTime()))) {
            throw deadline.hasExpired() ? silence() : closed();
        }
    }
    const QJsonDocument document = QJsonDocument::fromJson(socket.readLine());
    if (!document.isObject()) {
        throw Failure(NoBus, Words::tr("what answered is no reply of the bus"));
    }
    return document.object().toVariantMap();
}

} // namespace

bool connectToControlSocket(QLocalSocket& socket, const QDeadlineTimer& deadline)
{
    // The bus may have been started with another environment than this program, so all places are tried.
    const QStringList folders{qEnvironmentVariable("XDG_RUNTIME_DIR"), QStringLiteral("/run/user/%1").arg(::geteuid()),
                              tarvex::programs::ownTemporaryFolder()};
    for (const QString& folder : folders) {
        if (!tarvex::programs::isPrivateFolder(folder)) {
            continue; // where others may write, anybody could have made the socket
        }
        socket.connectToServer(folder + QLatin1Char('/') + tarvex::programs::controlSocketName());
        if (socket.waitForConnected(static_cast<int>(deadline.remainingTime()))) {
            return true;
        }
        socket.abort();
    }
    return false;
}

std::optional<QList<QVariantMap>> askControlSocket(const QVariantMap& request, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    QLocalSocket socket;
    if (!connectToControlSocket(socket, deadline)) {
        return std::nullopt;
    }
    socket.write(jsonText(request).toUtf8() + '\n');
    QList<QVariantMap> items;
    QVariantMap object = readObject(socket, deadline);
    while (object.contains(KEY_ITEM)) {
        items.append(object.value(KEY_ITEM).toMap());
        object = readObject(socket, deadline);
    }
    if (object.contains(KEY_ERROR)) {
        throw Failure(Refused, Words::tr("refused by the bus: %1").arg(object.value(KEY_ERROR).toString()));
    }
    return items;
}

Failure cannotTellClients()
{
    return Failure(Refused,
                   Words::tr("this bus cannot tell who is there: only a development bus of the same user can"));
}

bool isUnknownToBus(const QString& client)
{
    if (supportedClients().contains(client)) {
        return false;
    }
    try {
        const auto items = askControlSocket(
            {{QStringLiteral("request"), QStringLiteral("known")}, {QStringLiteral("name"), client}}, HINT_TIMEOUT_MS);
        const QVariant isKnown = items ? items->value(0).value(QStringLiteral("isKnown")) : QVariant();
        return isKnown.isValid() && !isKnown.toBool();
    } catch (const Failure&) {
        return false;
    }
}

void tellOfUnknownReceiver(const QString& receiver)
{
    // Nothing is said about how many messages the bus keeps, because its options decide that.
    complain(Words::tr("nobody has ever been \"%1\" on this bus, as far as it knows; it treats the message like one "
                       "for any absent client%2")
                 .arg(receiver, tarvex::programs::guessWords(likelyClient(receiver))));
}

} // namespace tarvexctl
