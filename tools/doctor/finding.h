#ifndef FINDING_H
#define FINDING_H

#include <QList>
#include <QString>
#include <QVariantMap>

namespace tarvexctl::doctor {

enum class Severity {
    Ok,
    Unseen, ///< It could not be looked at.
    Note,   ///< Worth knowing.
    Wrong
};

/// What one look has shown.
struct Finding
{
    QString check; ///< Its name, which never changes its meaning: programs look for it.
    Severity severity = Severity::Ok;
    QString what;
    QString advice;    ///< What to do about it, in one sentence. Empty when all is well.
    QVariantMap facts; ///< The same for programs.
};

using Findings = QList<Finding>;

/// "1 message", "3 messages".
inline QString counted(qint64 count, const QString& noun)
{
    return QStringLiteral("%1 %2").arg(QString::number(count), count == 1 ? noun : noun + QLatin1Char('s'));
}

} // namespace tarvexctl::doctor

#endif // FINDING_H
