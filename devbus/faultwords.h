#ifndef FAULTWORDS_H
#define FAULTWORDS_H

#include "faultrule.h"

#include <QStringList>

/// The words of the text form of a fault rule, in one place for the reader, the writer and the checks.
namespace tarvex::devbus::faultwords {

constexpr int MAX_GAP_MS = 60000;

struct EffectWord
{
    FaultRule::Effect effect = FaultRule::Effect::Silence;
    QLatin1String name;
    QLatin1String form; ///< What may follow the name, such as ":MS".
    int minParameters = 0;
    int maxParameters = 0;
    const char* outOfBounds = nullptr; ///< Says what the number must be, see Words::mark().
    qint64 min = 0;
    qint64 max = 0;
};

const EffectWord& effectWord(FaultRule::Effect effect);
/// \return nullptr when there is none of this name.
const EffectWord* findEffect(const QString& name);

// What is possible, to be shown.

/// "client=NAME", "port=query|receiver", and so on.
QStringList wordForms();
/// "error:CODE[:TEXT]", "silence", and so on.
QStringList effectForms();

QString damageLevelName(FaultRule::DamageLevel level);

} // namespace tarvex::devbus::faultwords

#endif // FAULTWORDS_H
