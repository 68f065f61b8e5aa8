#include "processload.h"

#include "literals.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

namespace {

int residentKiB(qint64 processId)
{
    QFile statm(u"/proc/%1/statm"_s.arg(processId));
    const int pages = statm.open(QIODevice::ReadOnly) ? statm.readLine().split(' ').value(1).toInt() : 0;
    return pages * static_cast<int>(::sysconf(_SC_PAGESIZE) / 1024);
}

int openFiles(qint64 processId)
{
    const QDir descriptors(u"/proc/%1/fd"_s.arg(processId));
    return descriptors.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

} // namespace

void ProcessLoad::note(qint64 processId)
{
    residentKiB = qMax(residentKiB, ::residentKiB(processId));
    openFiles = qMax(openFiles, ::openFiles(processId));
}

bool ProcessLoad::isKept(const char* who, const ProcessLoad& later, int belowKiB, int files) const
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr bool JUDGES_MEMORY = false;
#else
    constexpr bool JUDGES_MEMORY = true;
#endif
    qInfo("%s: resident %d -> %d KiB, open files %d -> %d", who, residentKiB, later.residentKiB, openFiles,
          later.openFiles);
    return (!JUDGES_MEMORY || later.residentKiB - residentKiB < belowKiB) && later.openFiles <= openFiles + files;
}
