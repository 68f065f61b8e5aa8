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

} // namespace tarvexctl::doctor

#endif // FINDING_H
