#ifndef TALLY_H
#define TALLY_H

#include <QString>

#include <optional>

namespace tarvexctl {

/// When a verb that follows the bus has had enough.
struct Limits
{
    std::optional<int> count;     ///< So many of what it shows.
    std::optional<int> timeoutMs; ///< From the beginning, everything included.
};

inline QString secondsText(int milliseconds)
{
    return QStringLiteral("%1 s").arg(QString::number(milliseconds / 1000.0));
}

/// Counts what a verb that follows the bus has shown.
class Tally
{
public:
    explicit Tally(const Limits& limits) : m_limits(limits) { }

    void add() { ++m_shown; }

    /// Whether so many were wanted and have come.
    bool isFull() const { return m_limits.count && m_shown >= *m_limits.count; }

    /// Whether it is no failure when the time is over now: without a wanted number anything is enough.
    bool isEnough() const { return m_limits.count ? isFull() : m_shown > 0; }

    /// What to say when the time is over without enough; \a nothing when there was nothing at all.
    QString missingWords(const QString& nothing) const
    {
        const QString what = m_shown == 0
            ? nothing
            : QStringLiteral("only %1 of %2 came").arg(QString::number(m_shown), QString::number(*m_limits.count));
        return QStringLiteral("%1 within %2").arg(what, secondsText(m_limits.timeoutMs.value_or(0)));
    }

private:
    const Limits m_limits;
    int m_shown = 0;
};

} // namespace tarvexctl

#endif // TALLY_H
