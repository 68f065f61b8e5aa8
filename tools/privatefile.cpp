#include "privatefile.h"

#include "failure.h"
#include "programwords.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <fcntl.h>

namespace tarvexctl {

namespace {

Failure failureOf(const QString& what, const QString& path, const QString& error)
{
    return Failure(WrongUse, Words::tr("cannot %1 %2: %3").arg(what, path, error));
}

} // namespace

PrivateFile::PrivateFile(const QString& name, const QByteArray& contents)
    : m_folder(QDir::temp().filePath(QStringLiteral("tarvexctl-XXXXXX"))), m_path(m_folder.filePath(name))
{
    const QString what = QStringLiteral("write");
    if (!m_folder.isValid()) {
        throw failureOf(what, QDir::tempPath(), m_folder.errorString());
    }
    QFile file;
    const int descriptor = ::open(QFile::encodeName(m_path).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        throw failureOf(what, m_path, qt_error_string(errno));
    }
    file.open(descriptor, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle);
    if (file.write(contents) != contents.size() || !file.flush()) {
        throw failureOf(what, m_path, file.errorString());
    }
}

QByteArray PrivateFile::contents() const
{
    QFile file(m_path);
    const bool isOpen = file.open(QIODevice::ReadOnly);
    QByteArray text = isOpen ? file.readAll() : QByteArray();
    if (!isOpen || file.error() != QFileDevice::NoError) {
        throw failureOf(QStringLiteral("read"), m_path, file.errorString());
    }
    return text;
}

} // namespace tarvexctl
