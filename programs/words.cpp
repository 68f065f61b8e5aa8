#include "words.h"

#include <limits>

namespace tarvex::programs {

QString Words::counted(qint64 count, const QString& one, const char* many)
{
    if (count == 1) {
        return one;
    }
    return tr(many, nullptr, static_cast<int>(qMin<qint64>(count, std::numeric_limits<int>::max())));
}

} // namespace tarvex::programs
