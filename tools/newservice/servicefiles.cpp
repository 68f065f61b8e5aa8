#include "newservice/servicefiles.h"

#include "failure.h"
#include "newservice/filledin.h"
#include "newservice/servicename.h"
#include "programwords.h"
#include "standardstreams.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QLocale>
#include <QTemporaryDir>

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>

namespace tarvexctl {

namespace {

/// The form of Debian's changelogs.
QString changelogDate(const QDateTime& time)
{
    return QLocale::c().toString(time, QStringLiteral("ddd, ")) + time.toString(Qt::RFC2822Date);
}

/// The template of a unit begins with a paragraph that tells how to fill it in.
QString withoutFirstParagraph(const QString& text)
{
    return text.section(QStringLiteral("\n\n"), 1);
}

QByteArray contentsOf(const QString& resource)
{
    QFile file(resource);
    file.open(QIODevice::ReadOnly);
    return file.readAll();
}

Failure cannotWrite(const QString& path, const QString& reason)
{
    return Failure(WrongUse, Words::tr("cannot write %1: %2; nothing was written").arg(path, reason));
}

/// Throws Failure when there is something that must not be overwritten.
void requireNew(const QString& folder)
{
    const QFileInfo place(folder);
    const bool isEmptyFolder = place.isDir() && !place.isSymLink()
        && QDir(folder).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    if ((place.exists() || place.isSymLink()) && !isEmptyFolder) {
        throw Failure(Refused, Words::tr("%1 is there already and is left as it is").arg(folder));
    }
}

/// \a shownPath is the path in the words of a failure.
void writeFile(const QString& path, const QByteArray& contents, const QString& shownPath)
{
    QFile file(path);
    const bool isOpen = QFileInfo(path).dir().mkpath(QStringLiteral(".")) && file.open(QIODevice::WriteOnly);
    const QString error = isOpen ? tarvex::programs::writeAll(file.handle(), contents) : file.errorString();
    if (!error.isEmpty()) {
        throw cannotWrite(shownPath, error);
    }
    if (contents.startsWith("#!")) {
        const QFileDevice::Permissions mayExecute =
            QFileDevice::ExeOwner | QFileDevice::ExeGroup | QFileDevice::ExeOther;
        file.setPermissions(file.permissions() | mayExecute);
    }
}

/// The permissions of a folder that mkdir makes.
mode_t folderMode()
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0777 & ~mask;
}

} // namespace

Files serviceFiles(const ServiceName& name, const QStringList& commands, const QString& maintainer,
                   const QDateTime& now)
{
    const QMap<QString, QString> words{
        {QStringLiteral("CLASS"), name.classPrefix()},
        {QStringLiteral("CLIENT"), name.client()},
        {QStringLiteral("COMMANDS"), QLatin1Char('`') + commands.join(QLatin1String("`, `")) + QLatin1Char('`')},
        {QStringLiteral("DATE"), changelogDate(now)},
        {QStringLiteral("DESCRIPTION"), QStringLiteral("Service \"%1\"").arg(name.client())},
        {QStringLiteral("FILE"), name.filePrefix()},
        {QStringLiteral("FIRST_COMMAND"), commands.first()},
        {QStringLiteral("GUARD"), name.filePrefix().toUpper()},
        {QStringLiteral("MAINTAINER"), maintainer},
        {QStringLiteral("NAME"), name.package()},
        {QStringLiteral("YEAR"), now.toString(QStringLiteral("yyyy"))}};
    Files files;
    const QDir templates(QStringLiteral(":/newservice"));
    QDirIterator found(templates.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (found.hasNext()) {
        const QString path = templates.relativeFilePath(found.next());
        const QString text = QString::fromUtf8(contentsOf(found.filePath()));
        const bool isUnit = path.endsWith(QLatin1String(".service"));
        files.insert(filledIn(path, words, commands),
                     filledIn(isUnit ? withoutFirstParagraph(text) : text, words, commands).toUtf8());
    }
    return files;
}

void writeFolder(const QString& folder, const Files& files)
{
    requireNew(folder);
    const QFileInfo place(folder);
    // All is written beside the place first. It gets there at once, and a failure removes it.
    QTemporaryDir temporary(place.dir().filePath(QLatin1Char('.') + place.fileName() + QLatin1Char('-')));
    if (!temporary.isValid()) {
        throw cannotWrite(folder, temporary.errorString());
    }
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        writeFile(temporary.filePath(file.key()), file.value(), QDir(folder).filePath(file.key()));
    }
    const QByteArray from = QFile::encodeName(temporary.path());
    if (::chmod(from.constData(), folderMode()) != 0
        || std::rename(from.constData(), QFile::encodeName(folder).constData())
            != 0) { // takes an empty folder's place only
        throw cannotWrite(folder, qt_error_string(errno));
    }
    temporary.setAutoRemove(false);
}

} // namespace tarvexctl
