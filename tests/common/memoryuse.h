#ifndef MEMORYUSE_H
#define MEMORYUSE_H

#include "literals.h"

#include <QFile>

#include <malloc.h>

namespace memoryuse {

/// What this process has allocated and not freed, in bytes. Always 0 under a sanitizer, whose allocator does not say.
inline qint64 allocated()
{
    const struct mallinfo2 info = mallinfo2();
    return static_cast<qint64>(info.uordblks) + static_cast<qint64>(info.hblkhd);
}

/// A line of /proc/self/status, in KiB.
inline qint64 status(const QByteArray& name)
{
    QFile file(u"/proc/self/status"_s);
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (line.startsWith(name + ':')) {
            return line.mid(name.size() + 1).simplified().split(' ').constFirst().toLongLong();
        }
    }
    return 0;
}

/// How far the resident memory of this process rises from now on. An earlier, higher peak does not hide the rise.
class Peak
{
public:
    Peak()
    {
        // Memory that is free but still resident would be used again without a rise.
        malloc_trim(0);
        QFile file(u"/proc/self/clear_refs"_s);
        m_isReset = file.open(QIODevice::WriteOnly) && file.write("5") == 1 && file.flush();
        m_before = status("VmRSS");
    }

    /// False if the system does not let a process reset its former peak.
    bool isKnown() const { return m_isReset; }

    /// In KiB.
    qint64 grown() const { return status("VmHWM") - m_before; }

private:
    bool m_isReset = false;
    qint64 m_before = 0;
};

} // namespace memoryuse

#endif // MEMORYUSE_H
