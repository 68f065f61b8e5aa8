#ifndef SAMPLEDATA_H
#define SAMPLEDATA_H

#include <QVariantMap>

/// What the benchmarks send: settings as the services of a terminal store them, the same in every run.
namespace sampledata {

/// The data of a request or a reply whose envelope, together with \a operation, takes exactly \a jsonSize bytes of
/// compact JSON: a settings record, or a single name where a record would be too long.
QVariantMap settings(const QString& operation, int jsonSize);

/// The same with one long value that cannot be compressed, such as an image in the settings. The payload on the wire is
/// as long as the JSON text.
QVariantMap image(const QString& operation, int jsonSize);

/// The text of a message: a command of exactly \a jsonSize bytes of compact JSON.
QString commandText(int jsonSize);

/// An identifier of 24 digits, as long as those of the library.
QString uid(int number);

/// The envelope of a request.
QVariantMap envelope(const QString& operation, const QVariantMap& data);

} // namespace sampledata

#endif // SAMPLEDATA_H
