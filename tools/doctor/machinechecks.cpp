#include "doctor/checks.h"

#include "fileinfo.h"
#include "programwords.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QStorageInfo>

#include <cerrno>
#include <cmath>
#include <sys/timex.h>

namespace tarvexctl::doctor {

namespace {

constexpr qint64 KIB = 1024;
constexpr qint64 MIB = 1024 * KIB;
/// With less the bus will soon be unable to store.
constexpr qint64 FULL_BYTES = 16 * MIB;
constexpr qint64 LOW_BYTES = 200 * MIB;
constexpr qint64 LARGE_BYTES = 1024 * MIB;
/// The bus notes its start when it is ready, so it may note it so much later than the kernel.
constexpr qint64 JUMP_TOLERANCE_MS = 20000;
/// The two readings around a look are exact.
constexpr qint64 SHORT_JUMP_TOLERANCE_MS = 500;

QString sizeText(qint64 bytes)
{
    return QLocale::c().formattedDataSize(bytes);
}

Finding failingStorage(const QString& words)
{
    return {QStringLiteral("storage.failing"),
            Severity::Wrong,
            Words::tr("the storage fails: %1").arg(words),
            Words::tr("Read the reason that the bus has written to its stderr; after damage, start it with an "
                      "undamaged file or with none."),
            {{QStringLiteral("reason"), words}}};
}

void addRefusals(const BusAnswers& answers, Findings& findings)
{
    if (!answers.refusals.isEmpty()) {
        const auto& [owner, words] = answers.refusals.first();
        findings.append(failingStorage(Words::tr("what is stored for \"%1\" cannot be loaded: %2").arg(owner, words)));
    }
}

/// How much room is left where the file is, and how much the storage takes, as the bus tells.
Finding roomFinding(const QString& path, qint64 bytes)
{
    const QStorageInfo place(QFileInfo(path).absolutePath());
    const qint64 freeBytes = place.bytesAvailable();
    Finding finding{
        QStringLiteral("storage"),
        Severity::Ok,
        Words::tr("%1 takes %2, and %3 are free").arg(path, sizeText(bytes), sizeText(freeBytes)),
        {},
        {{QStringLiteral("path"), path}, {QStringLiteral("bytes"), bytes}, {QStringLiteral("freeBytes"), freeBytes}}};
    if (freeBytes < FULL_BYTES) {
        finding.check = QStringLiteral("storage.full");
        finding.severity = Severity::Wrong;
        finding.advice = Words::tr("Make room there, because the bus refuses what it cannot store.");
    } else if (freeBytes < LOW_BYTES) {
        finding.check = QStringLiteral("storage.low");
        finding.severity = Severity::Note;
        finding.advice = Words::tr("Make room there before it is full.");
    } else if (bytes > LARGE_BYTES) {
        finding.check = QStringLiteral("storage.large");
        finding.severity = Severity::Note;
        finding.advice = Words::tr("See in tarvexctl clients for whom so many messages wait.");
    }
    return finding;
}

void addFile(const QString& path, qint64 bytes, Findings& findings)
{
    const bool isThere = tarvex::programs::fileIdentity(path).has_value();
    if (!isThere && errno == EACCES) {
        findings.append({QStringLiteral("storage.unseen"),
                         Severity::Unseen,
                         Words::tr("the storage %1 cannot be looked at by this user").arg(path),
                         Words::tr("Run doctor as the user who has started the bus."),
                         {{QStringLiteral("path"), path}}});
        return;
    }
    if (!isThere) {
        findings.append({QStringLiteral("storage.gone"),
                         Severity::Wrong,
                         Words::tr("the storage %1 is gone while the bus runs").arg(path),
                         Words::tr("Start the bus again, with a saved copy of the file or with none, because it "
                                   "cannot go on without the file."),
                         {{QStringLiteral("path"), path}}});
        return;
    }
    findings.append(roomFinding(path, bytes));
    const QFileInfo file(path);
    if (!file.isReadable() || !file.isWritable()) {
        findings.append({QStringLiteral("storage.rights"),
                         Severity::Note,
                         Words::tr("this user may not read and write %1").arg(path),
                         Words::tr("Check whose file it is, if the bus runs as this user."),
                         {{QStringLiteral("path"), path}}});
    }
}

/// The bus has noted by the clock when it was started, and the kernel knows how long ago that was. Both differ when the
/// clock was set in between.
void addJumpSinceStart(const QVariantMap& about, Findings& findings)
{
    // In UTC, because the bus may have another TZ.
    const auto noted = QDateTime::fromString(about.value(QStringLiteral("startedAtUtc")).toString(), Qt::ISODateWithMs);
    const std::optional<Process> process = processOf(about.value(QStringLiteral("pid")).toLongLong());
    if (!noted.isValid() || !process) {
        return;
    }
    const qint64 jumpMs = noted.msecsTo(process->startedAt);
    if (std::abs(jumpMs) > JUMP_TOLERANCE_MS) {
        findings.append({QStringLiteral("clock.jump"),
                         Severity::Wrong,
                         (jumpMs > 0 ? Words::tr("since the bus was started the clock was set forward by %1 s")
                                     : Words::tr("since the bus was started the clock was set back by %1 s"))
                             .arg(QString::number(qRound64(static_cast<double>(std::abs(jumpMs)) / 1000))),
                         Words::tr("Do not compare the dates of records across that jump, and let the clock be set "
                                   "before the bus is started."),
                         {{QStringLiteral("jumpMs"), jumpMs}}});
    }
}

} // namespace

Findings checkStorage(const ControlAnswers& control, const BusAnswers& answers)
{
    Findings findings;
    addRefusals(answers, findings);
    const QString error = control.about.value(QStringLiteral("storageError")).toString();
    if (findings.isEmpty() && !error.isEmpty()) {
        findings.append(failingStorage(error));
    }
    const QVariant path = control.about.value(QStringLiteral("storage"));
    if (path.isValid() && path.toString().isEmpty()) {
        findings.append({QStringLiteral("storage.memory"),
                         Severity::Note,
                         Words::tr("the bus stores in memory"),
                         Words::tr("Start it without --memory if something is to be kept."),
                         {}});
    } else if (path.isValid()) {
        addFile(path.toString(), control.about.value(QStringLiteral("storageBytes")).toLongLong(), findings);
    }
    return findings;
}

Findings checkClock(const ControlAnswers& control, qint64 jumpMs)
{
    Findings findings;
    addJumpSinceStart(control.about, findings);
    if (std::abs(jumpMs) > SHORT_JUMP_TOLERANCE_MS) {
        findings.append({QStringLiteral("clock.jump"),
                         Severity::Wrong,
                         Words::tr("the clock was set by %1 ms while doctor looked").arg(jumpMs),
                         Words::tr("Find out what sets the clock, because the dates of records jump with it."),
                         {{QStringLiteral("jumpMs"), jumpMs}}});
    }
    timex state{};
    const int answer = ::adjtimex(&state); // it changes nothing, because no mode is set
    if (answer == TIME_ERROR) {
        findings.append({QStringLiteral("clock.unsynchronised"),
                         Severity::Note,
                         Words::tr("nothing keeps the clock of this machine right, as far as the kernel knows"),
                         Words::tr("Set up NTP (timedatectl shows it), if dates are compared with those of other "
                                   "machines."),
                         {}});
    }
    if (findings.isEmpty()) {
        findings.append({QStringLiteral("clock"),
                         Severity::Ok,
                         control.about.isEmpty() ? Words::tr("the clock was not set while doctor looked")
                                                 : Words::tr("the clock was not set since the bus was started"),
                         {},
                         {}});
    }
    return findings;
}

} // namespace tarvexctl::doctor
