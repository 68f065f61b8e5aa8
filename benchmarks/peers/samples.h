#ifndef SAMPLES_H
#define SAMPLES_H

#include "framecodec.h"
#include "records/message.h"

/// What all ways carry. The identifiers are different each time, because a client drops repeats.
namespace samples {

constexpr const char* CLIENT = "ticket_printer";

/// A message from another service whose text is a command of exactly \a bytes bytes.
MessageFields message(int bytes);
tarvex::Message record(const MessageFields& fields);

/// The data of a reply: settings whose request would have \a bytes bytes of JSON.
QVariantMap settings(int bytes);

// The frames that the server sends.

QByteArray resultReply();
QByteArray settingsReply(int bytes);
QByteArray push(int bytes);

} // namespace samples

#endif // SAMPLES_H
