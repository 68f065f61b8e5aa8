#ifndef STANDARDSTREAMS_H
#define STANDARDSTREAMS_H

#include <QByteArray>
#include <QString>

namespace tarvex::programs {

/// Takes the numbers of the standard streams that the program was started without. Otherwise the next file or
/// connection would get one of these numbers, and with it what is written to stdout or stderr. Call it before anything
/// is opened.
///
/// SIGPIPE is ignored from then on. When a reader goes away, the program is not ended, and the write fails. Qt ignores
/// the signal as well, but only after the first socket is made.
void holdStandardStreams();

/// Writes all of \a bytes, without a buffer.
/// \return why it could not; empty on success
QString writeAll(int descriptor, const QByteArray& bytes);

} // namespace tarvex::programs

#endif // STANDARDSTREAMS_H
