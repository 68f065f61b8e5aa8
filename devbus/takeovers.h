#ifndef TAKEOVERS_H
#define TAKEOVERS_H

#include <QElapsedTimer>
#include <QHash>
#include <QString>

namespace tarvex::devbus {

/// How often a second receiver connection has taken a client's name from one that was there, and when to warn of it.
/// Two processes of one name take it from each other every few seconds, for as long as they run.
class Takeovers
{
public:
    /// For each name a warning comes at most this often, in ms.
    static constexpr qint64 WARNING_INTERVAL_MS = 30000;
    /// Further names are not counted, and there is no warning of them.
    static constexpr int MAX_NAMES = 1000;

    Takeovers();

    /// \return the warning; empty when the last one for this name is too recent.
    QString add(const QString& name);
    /// The same at the time \a nowMs of any clock that never goes back.
    QString add(const QString& name, qint64 nowMs);

    int count(const QString& name) const { return m_entries.value(name).count; }

private:
    struct Entry
    {
        int count = 0;
        int warnedCount = 0;
        qint64 warnedAtMs = 0;
    };

    QElapsedTimer m_clock;
    QHash<QString, Entry> m_entries;
};

} // namespace tarvex::devbus

#endif // TAKEOVERS_H
