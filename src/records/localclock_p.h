#ifndef LOCALCLOCK_P_H
#define LOCALCLOCK_P_H

#include <QDateTime>

#include <optional>

/// Local date-times without the system calls that Qt makes for each of them.
///
/// Whenever Qt makes or converts a local QDateTime, it lets the C library check the time zone. Unless the variable TZ
/// is set, each check asks the system about the zone's file: three times for the current time, and nine times for a
/// text that is read. Here Qt is asked once a second in each thread, and the results are bit for bit those of Qt. A new
/// value of TZ counts at once. A change of the system's zone file counts within a second.
///
/// What is remembered takes less than 400 bytes in each thread. All functions may be called in any thread.
namespace tarvex::localclock {

/// The same as QDateTime::currentDateTime().
QDateTime now();

/// The same as QDateTime(date, time). Returns nothing for what the caller has to leave to Qt: an invalid date or time,
/// a year before 1971, and the hours near a change of the clocks, when a time may be missing or come twice.
std::optional<QDateTime> at(const QDate& date, const QTime& time);

} // namespace tarvex::localclock

#endif // LOCALCLOCK_P_H
