#ifndef REPLAYDIFFERENCE_H
#define REPLAYDIFFERENCE_H

#include <QHash>
#include <QList>
#include <QString>
#include <QVariant>

/// What differs between a recording and what came when it was played.
namespace tarvexctl {

/// One value that differs, or a frame that is missing or that nobody expected.
struct ReplayDifference
{
    qint64 number = 0; ///< Of the recorded frame; 0 when none was recorded.
    QString client;
    QString what;      ///< Such as "reply to loadState".
    QString path;      ///< Where the value is, such as "data.state"; empty for the whole frame.
    QVariant recorded; ///< Invalid when nothing was recorded there.
    QVariant came;     ///< Invalid when nothing came there.

    QVariantMap toVariantMap() const;
    /// For people, on one line. May hold control characters.
    QString words() const;
};

/// How strictly values are compared.
enum class Strictness {
    Ordinary, ///< Dates and uids differ from run to run and are left out; see isVolatile().
    Strict    ///< Everything is compared.
};

/// Whether the values under this key differ from run to run: "date", "UID", "uid".
bool isVolatile(const QString& key);

/// The parts of two values that differ: their path, and the values. Texts that hold JSON objects are compared like
/// objects, because the order of their keys means nothing.
QList<ReplayDifference> replayDifferences(const QString& path, const QVariant& recorded, const QVariant& came,
                                          Strictness strictness);

/// Gives each uid of a recording a new one, the same one each time. A client drops a message of which it has seen the
/// uid before, so a recording could be played once only.
class UidMap
{
public:
    /// The new uid for a recorded one.
    QString fresh(const QString& recorded);

    /// The data with new uids in place of the recorded ones.
    QVariantMap withFresh(QVariantMap data);
    /// The other way round; unknown uids stay.
    QVariantMap withRecorded(QVariantMap data) const;

private:
    QHash<QString, QString> m_fresh;
    QHash<QString, QString> m_recorded;
};

} // namespace tarvexctl

#endif // REPLAYDIFFERENCE_H
