#ifndef NOTIFYSOCKET_H
#define NOTIFYSOCKET_H

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// Where a service tells systemd how it is: stands in for systemd. It reads when it is asked, and needs no event loop.
class NotifySocket
{
public:
    enum class Kind {
        Path,
        Abstract
    };

    explicit NotifySocket(Kind kind = Kind::Path);
    ~NotifySocket();
    Q_DISABLE_COPY_MOVE(NotifySocket)

    /// For the environment variable NOTIFY_SOCKET.
    QString address() const { return m_address; }

    /// What has come so far: one text for each report, in their order. A report is a line, or several.
    QStringList reports();

    int count(const QString& report) { return reports().count(report); }

private:
    QTemporaryDir m_folder;
    QString m_address;
    int m_descriptor = -1;
    QStringList m_reports;
};

#endif // NOTIFYSOCKET_H
