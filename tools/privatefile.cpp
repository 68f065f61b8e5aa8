#include "privatefile.h"

#include "failure.h"
#include "programwords.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <fcntl.h>

namespace tarvexctl {

namespace {

/// \a pattern is "cannot read %1: %2" or the like.
Failure failureOf(const QString& pattern, const QString& path, const QString& error)
{
    return Failure(WrongUse, pattern.arg(path, error));
}

} // namespace

PrivateFile::PrivateFile(const QString& name, const QByteArray& contents)
    : m_folder(QDir::temp().filePath(QStringLiteral("tarvexctl-XXXXXX"))), m_path(m_folder.filePath(name))
{
    const QString pattern = Words::tr("cannot write %1: %2");
    if (!m_folder.isValid()) {
        throw failureOf(pattern, QDir::tempPath(), m_folder.errorString());
    }
    QFile file;
    const int descriptor = ::open(QFile::encodeName(m_path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        throw failureOf(pattern, m_path, qt_error_string(errno));
    }
    file.open(descriptor, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle);
    if (file.write(contents) != contents.size() || !file.flush()) {
        throw failureOf(pattern, m_path, file.errorString());
    }
}

QByteArray PrivateFile::contents() const
{
    QFile file(m_path);
    const bool isOpen = file.open(QIODevice::ReadOnly);
    QByteArray text = isOpen ? file.readAll() : QByteArray();
    if (!isOpen || file.error() != QFileDevice::NoError) {
        throw failureOf(Words::tr("cannot read %1: %2"), m_path, file.errorString());
    }
    return text;
}

} // namespace tarvexctl
