#include "newservice/servicename.h"

#include "failure.h"
#include "newservice/cppwords.h"
#include "programwords.h"

#include <QRegularExpression>
#include <QStringList>

namespace tarvexctl {

namespace {

/// Why the service cannot have this name; empty when it can.
QString problemOf(const QString& name)
{
    static const QRegularExpression form(QStringLiteral("^[a-z][a-z0-9]*([_-][a-z0-9]+)*\\z"));
    // Targets that CMake makes itself, and the folders that the build makes beside the program.
    static const QStringList taken{QStringLiteral("all"),     QStringLiteral("ci"),         QStringLiteral("clean"),
                                   QStringLiteral("depend"),  QStringLiteral("help"),       QStringLiteral("install"),
                                   QStringLiteral("package"), QStringLiteral("preinstall"), QStringLiteral("test"),
                                   QStringLiteral("tests")};
    if (!form.match(name).hasMatch()) {
        return Words::tr("it must begin with a small letter, and small letters and digits follow, with single "
                         "underscores or hyphens between them");
    }
    if (name.size() < 2 || name.size() > ServiceName::MAX_LENGTH) {
        return Words::tr("it must have 2 to %1 characters").arg(ServiceName::MAX_LENGTH);
    }
    if (name.startsWith(QLatin1String("tarvex")) || name.startsWith(QLatin1String("wexcor"))) {
        return Words::tr("names that begin like this belong to the library and its programs");
    }
    if (isCppWord(name)) {
        return Words::tr("it is a word of C++");
    }
    return taken.contains(name) ? Words::tr("the build has a target or a folder of this name") : QString();
}

} // namespace

ServiceName::ServiceName(const QString& name) : m_name(name)
{
    const QString problem = problemOf(name);
    if (!problem.isEmpty()) {
        throw Failure(WrongUse, Words::tr("no service can be called \"%1\": %2").arg(name, problem));
    }
}

QString ServiceName::package() const
{
    return QString(m_name).replace(QLatin1Char('_'), QLatin1Char('-'));
}

QString ServiceName::classPrefix() const
{
    QString prefix;
    const QStringList words = package().split(QLatin1Char('-'));
    for (const QString& word : words) {
        prefix += word.at(0).toUpper() + word.mid(1);
    }
    return prefix;
}

QString ServiceName::filePrefix() const
{
    return classPrefix().toLower();
}

} // namespace tarvexctl
