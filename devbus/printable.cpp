#include "printable.h"

namespace tarvex::devbus {

QString printable(QString text, int maxLength)
{
    const int excess = text.size() - maxLength;
    if (excess > 0) {
        text.truncate(maxLength);
    }
    for (QChar& character : text) {
        if (!character.isPrint() && !character.isSurrogate()) {
            character = QLatin1Char('?');
        }
    }
    return excess > 0 ? text + QStringLiteral("... (+%1)").arg(excess) : text;
}

} // namespace tarvex::devbus
