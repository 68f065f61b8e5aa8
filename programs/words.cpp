#include "words.h"

#include "support/translations.h"

#include <limits>

// The linker takes this out of the static library only if it is named. The macro does not work in a namespace.
static void initialiseResource()
{
    Q_INIT_RESOURCE(tarvexprograms_translations);
}

namespace tarvex::programs {

namespace {

QStringList catalogue()
{
    return {QStringLiteral("tarvexprograms")};
}

} // namespace

void Words::translate()
{
    initialiseResource();
    wexcor::Translations::install(catalogue());
}

void Words::leaveInEnglish()
{
    wexcor::Translations::remove(catalogue());
}

QString Words::counted(qint64 count, const QString& one, const char* many)
{
    if (count == 1) {
        return one;
    }
    return tr(many, nullptr, static_cast<int>(qMin<qint64>(count, std::numeric_limits<int>::max())));
}

} // namespace tarvex::programs
