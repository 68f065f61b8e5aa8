#ifndef STANDARDSTREAMS_H
#define STANDARDSTREAMS_H

#include <QByteArray>
#include <QString>

namespace tarvex::programs {

/// Takes the places of standard streams that the program was started without. Otherwise the next file or connection to
/// be opened would have one of their numbers, and get what is written to stdout or stderr. Called before anything is
/// opened.
///
/// From then on SIGPIPE is ignored: a reader that goes away does not end the program, the failed write tells of it. Qt
/// ignores the signal as well, but only from the first socket on.
void holdStandardStreams();

/// Writes all of \a bytes, without a buffer.
/// \return why it could not; empty when it is done.
QString writeAll(int descriptor, const QByteArray& bytes);

} // namespace tarvex::programs

#endif // STANDARDSTREAMS_H
