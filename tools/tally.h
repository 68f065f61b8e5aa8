#ifndef TALLY_H
#define TALLY_H

#include "programwords.h"

#include <QString>

#include <optional>

namespace tarvexctl {

/// When a verb that follows the bus ends.
struct Limits
{
    std::optional<int> count;     ///< After it has shown this many items.
    std::optional<int> timeoutMs; ///< After this time, counted from the start of the program.
};

inline QString secondsText(int milliseconds)
{
    return Words::tr("%1 s").arg(QString::number(milliseconds / 1000.0));
}

/// Counts the items that a verb has shown while it follows the bus.
class Tally
{
public:
    explicit Tally(const Limits& limits) : m_limits(limits) { }

    void add() { ++m_shown; }

    /// Whether a number was wanted and has come.
    bool isFull() const { return m_limits.count && m_shown >= *m_limits.count; }

    /// Whether it is a success when the time is over now. Without a wanted number one item is enough.
    bool isEnough() const { return m_limits.count ? isFull() : m_shown > 0; }

    /// What to say when the time is over and the items are not enough. \a nothing is said when there was none.
    QString missingWords(const QString& nothing) const
    {
        const QString what = m_shown == 0
            ? nothing
            : Words::tr("only %1 of %2 came").arg(QString::number(m_shown), QString::number(*m_limits.count));
        return Words::tr("%1 within %2").arg(what, secondsText(m_limits.timeoutMs.value_or(0)));
    }

private:
    const Limits m_limits;
    int m_shown = 0;
};

} // namespace tarvexctl

#endif // TALLY_H
