#include "mockwords.h"

#include "nearest.h"
#include "words.h"

namespace tarvex::mock {

using programs::Words;

QString hint(const QString& name, const QStringList& known)
{
    const QString guess = programs::nearest(name, known);
    return guess.isEmpty() ? Words::tr("; there are: %1").arg(known.join(QLatin1String(", ")))
                           : programs::guessWords(guess);
}

} // namespace tarvex::mock
