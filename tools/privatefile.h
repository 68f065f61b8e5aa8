#ifndef PRIVATEFILE_H
#define PRIVATEFILE_H

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

namespace tarvexctl {

/// A file in a folder of its own that only this user can look into. Both are removed with this object, unless keep()
/// was called. They stay as well when the program is ended by a signal.
class PrivateFile
{
public:
    /// \a name is the file's name in its folder. Throws Failure when the file cannot be written.
    PrivateFile(const QString& name, const QByteArray& contents);

    /// The file with its path.
    QString path() const { return m_path; }

    /// What the file holds now. Throws Failure when it cannot be read.
    QByteArray contents() const;

    /// Leaves the file where it is.
    void keep() { m_folder.setAutoRemove(false); }

private:
    QTemporaryDir m_folder;
    const QString m_path;
};

} // namespace tarvexctl

#endif // PRIVATEFILE_H
