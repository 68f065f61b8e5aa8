#include "doctor/controllook.h"

#include "controlclient.h"
#include "failure.h"
#include "owners.h"
#include "programwords.h"

namespace tarvexctl::doctor {

namespace {

std::optional<QList<QVariantMap>> ask(const QString& request, const QDeadlineTimer& deadline)
{
    return askControlSocket({{QStringLiteral("request"), request}}, static_cast<int>(deadline.remainingTime()));
}

/// A name that the library knows may be absent without being mistyped.
bool isUnknown(const QString& name, const QDeadlineTimer& deadline)
{
    if (supportedClients().contains(name)) {
        return false;
    }
    const auto answer =
        askControlSocket({{QStringLiteral("request"), QStringLiteral("known")}, {QStringLiteral("name"), name}},
                         static_cast<int>(deadline.remainingTime()));
    const QVariant isKnown = answer ? answer->value(0).value(QStringLiteral("isKnown")) : QVariant();
    return isKnown.isValid() && !isKnown.toBool();
}

} // namespace

bool isMissing(const QVariantMap& client)
{
    return client.value(QStringLiteral("waiting")).toInt() > 0
        && client.value(QStringLiteral("receiverSince")).toString().isEmpty();
}

ControlAnswers askControl(const QDeadlineTimer& deadline)
{
    ControlAnswers answers;
    const QList<QPair<QString, QList<QVariantMap>*>> lists{{QStringLiteral("clients"), &answers.clients},
                                                           {QStringLiteral("settings"), &answers.settings},
                                                           {QStringLiteral("states"), &answers.states},
                                                           {QStringLiteral("faults"), &answers.faults}};
    try {
        const auto about = ask(QStringLiteral("about"), deadline);
        if (!about) {
            return answers;
        }
        answers.isThere = true;
        answers.about = about->value(0);
        for (const auto& list : lists) {
            *list.second = ask(list.first, deadline).value_or(QList<QVariantMap>());
        }
        for (const QVariantMap& client : qAsConst(answers.clients)) {
            const QString name = client.value(QStringLiteral("name")).toString();
            if (isMissing(client) && isUnknown(name, deadline)) {
                answers.unknown.append(name);
            }
        }
    } catch (const Failure& failure) {
        answers.isThere = true;
        answers.failure = failure.status() == TimedOut ? Words::tr("it did not answer in time") : failure.words();
    }
    return answers;
}

std::optional<QList<QVariantMap>> askForClients(const QDeadlineTimer& deadline)
{
    try {
        return ask(QStringLiteral("clients"), deadline);
    } catch (const Failure&) {
        return std::nullopt;
    }
}

} // namespace tarvexctl::doctor
