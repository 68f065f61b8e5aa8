#include "doctor/controllook.h"

#include "controlclient.h"

#include "failure.h"

namespace tarvexctl::doctor {

namespace {

std::optional<QList<QVariantMap>> ask(const QString& request, const QDeadlineTimer& deadline)
{
    return askControlSocket({{QStringLiteral("request"), request}}, static_cast<int>(deadline.remainingTime()));
}

} // namespace

ControlAnswers askControl(const QDeadlineTimer& deadline)
{
    ControlAnswers answers;
    const QList<QPair<QString, QList<QVariantMap>*>> lists{{QStringLiteral("clients"), &answers.clients},
                                                           {QStringLiteral("settings"), &answers.settings},
                                                           {QStringLiteral("states"), &answers.states}};
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
    } catch (const Failure& failure) {
        answers.isThere = true;
        answers.failure = failure.status() == TimedOut ? QStringLiteral("it did not answer in time") : failure.words();
    }
    return answers;
}

QList<QVariantMap> askForClients(const QDeadlineTimer& deadline)
{
    try {
        return ask(QStringLiteral("clients"), deadline).value_or(QList<QVariantMap>());
    } catch (const Failure&) {
        return {};
    }
}

} // namespace tarvexctl::doctor
