#include "mockwords.h"

#include "nearest.h"

namespace tarvex::mock {

QString hint(const QString& name, const QStringList& known)
{
    const QString guess = programs::nearest(name, known);
    return guess.isEmpty() ? QStringLiteral("; there are: %1").arg(known.join(QLatin1String(", ")))
                           : programs::guessWords(guess);
}

} // namespace tarvex::mock
