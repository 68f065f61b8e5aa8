#ifndef FAULTYFRAME_H
#define FAULTYFRAME_H

#include "faults.h"

#include <QByteArray>

namespace tarvex::devbus {

/// The payload of a whole frame. Nothing follows it, and two lines come before it.
QByteArray framePayload(const QByteArray& frame);

/// What is written in place of a whole \a frame that has met \a fault; empty when nothing is. Faults that concern the
/// time leave it as it is.
///
/// Damage never leaves a payload that can be read: it spares the first bytes, which a reader does not check.
QByteArray faultyFrame(const QByteArray& frame, const Fault& fault);

} // namespace tarvex::devbus

#endif // FAULTYFRAME_H
