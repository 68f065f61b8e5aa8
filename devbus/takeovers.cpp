#include "takeovers.h"

#include "printable.h"
#include "words.h"

namespace tarvex::devbus {

Takeovers::Takeovers()
{
    m_clock.start();
}

QString Takeovers::add(const QString& name)
{
    return add(name, m_clock.elapsed());
}

QString Takeovers::add(const QString& name, qint64 nowMs)
{
    if (!m_entries.contains(name) && m_entries.size() >= MAX_NAMES) {
        return {};
    }
    Entry& entry = m_entries[name];
    ++entry.count;
    if (entry.warnedCount > 0 && nowMs - entry.warnedAtMs < WARNING_INTERVAL_MS) {
        return {};
    }
    const int fresh = entry.count - entry.warnedCount;
    const QString shown = printable(name, MAX_SHOWN_NAME_LENGTH);

    entry.warnedCount = entry.count;
    entry.warnedAtMs = nowMs;
    return fresh == 1
        ? programs::Words::tr("a second receiver connection took the name \"%1\", and the first one was closed; "
                              "does this service run twice?")
              .arg(shown)
        : programs::Words::tr("a second receiver connection took the name \"%1\", and the first one was closed "
                              "(%n times since the last warning); does this service run twice?",
                              nullptr, fresh)
              .arg(shown);
}

} // namespace tarvex::devbus
