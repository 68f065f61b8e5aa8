#include "logging/tarvexloggingcategory.h"

namespace tarvex {

const QLoggingCategory& LOGGER()
{
    static const QLoggingCategory category("tarvexLogger");
    return category;
}

const QLoggingCategory& GUILOGGER()
{
    static const QLoggingCategory category("guiLogger");
    return category;
}

} // namespace tarvex
