#ifndef LOGCAPTURE_H
#define LOGCAPTURE_H

#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

/// Catches every log line of the process as long as the object lives. Only one object may exist.
class LogCapture
{
public:
    struct Line
    {
        QtMsgType type;
        QString category;
        QString text;
    };

    LogCapture();
    ~LogCapture();
    Q_DISABLE_COPY_MOVE(LogCapture)

    QList<Line> lines() const;
    /// Each line as "warning: text" and the like. Most tests compare these.
    QStringList texts() const;
    void clear();

private:
    QtMessageHandler m_previous;
};

#endif // LOGCAPTURE_H
