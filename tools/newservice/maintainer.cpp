#include "newservice/maintainer.h"

#include <QProcess>
#include <QRegularExpression>

namespace tarvexctl {

namespace {

constexpr int GIT_TIMEOUT_MS = 5000;

/// Empty when there is no git, or when it does not know.
QString gitValue(const QString& key)
{
    QProcess git;
    git.start(QStringLiteral("git"), {QStringLiteral("config"), QStringLiteral("--get"), key}, QIODevice::ReadOnly);
    const bool isKnown =
        git.waitForFinished(GIT_TIMEOUT_MS) && git.exitStatus() == QProcess::NormalExit && git.exitCode() == 0;
    return isKnown ? QString::fromUtf8(git.readAllStandardOutput()).trimmed() : QString();
}

QString valueOf(const char* variable, const QString& gitKey)
{
    const QString value = QString::fromUtf8(qgetenv(variable)).trimmed();
    return value.isEmpty() ? gitValue(gitKey) : value;
}

} // namespace

std::optional<QString> maintainer()
{
    const QString person = QStringLiteral("%1 <%2>").arg(valueOf("DEBFULLNAME", QStringLiteral("user.name")),
                                                         valueOf("DEBEMAIL", QStringLiteral("user.email")));
    static const QRegularExpression form(
        QStringLiteral("^[^<>,@[:cntrl:]]+ <[^<>,@\\s[:cntrl:]]+@[^<>,@\\s[:cntrl:]]+>\\z"));
    return form.match(person).hasMatch() ? std::optional<QString>(person) : std::nullopt;
}

} // namespace tarvexctl
