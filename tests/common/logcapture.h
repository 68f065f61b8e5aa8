#ifndef LOGCAPTURE_H
#define LOGCAPTURE_H

#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

/// Catches every log line of the process from its construction to its destruction. One at a time.
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
    /// "warning: text" and the like, one a line; what most tests compare.
    QStringList texts() const;
    void clear();

private:
    QtMessageHandler m_previous;
};

#endif // LOGCAPTURE_H
