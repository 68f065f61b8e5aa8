#ifndef PAYLOADPROBLEM_H
#define PAYLOADPROBLEM_H

#include <QByteArray>
#include <QString>

namespace tarvex {
namespace busframe {
struct Decoded;
}

namespace traffic {

/// Why a payload holds no envelope, in words: the step that fails, and where. \a decoded is what the codec has made of
/// it. Empty when nothing is wrong.
QString payloadProblem(const QByteArray& payload, const busframe::Decoded& decoded);

} // namespace traffic
} // namespace tarvex

#endif // PAYLOADPROBLEM_H
