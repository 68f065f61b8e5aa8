#include "faultwords.h"

#include "wire/busframe_p.h"
#include "words.h"

#include <algorithm>
#include <array>
#include <limits>

namespace tarvex::devbus::faultwords {

namespace {

using Effect = FaultRule::Effect;

constexpr qint64 MAX_CODE = 65534; // the next one is LocalFailure, which never crosses the wire
constexpr qint64 MAX_DELAY_MS = 600000;
constexpr qint64 MAX_SIZE_OFFSET = busframe::MAX_PAYLOAD_SIZE;
constexpr qint64 MAX_BYTES = std::numeric_limits<int>::max();
constexpr qint64 MAX_DAMAGED_BYTES = 1000;

// The arguments are the name of the effect, the bounds, and the wrong number.
constexpr const char* NO_NUMBER = programs::Words::mark("%1 takes no number, but there is %4");
constexpr const char* CODE = programs::Words::mark("%1 needs a code from %2 to %3, not %4");
constexpr const char* TIME = programs::Words::mark("%1 needs a time in ms from %2 to %3, not %4");
constexpr const char* BYTES = programs::Words::mark("%1 needs a number of bytes from %2 to %3, not %4");
constexpr const char* BYTES_A_SECOND =
    programs::Words::mark("%1 needs a number of bytes a second from %2 to %3, not %4");

constexpr int MANY = std::numeric_limits<int>::max(); // a text may hold colons

/// In the order of the enumeration.
const std::array<EffectWord, 12>& effectWords()
{
    using L1 = QLatin1String;
    static const std::array<EffectWord, 12> words{{
        {Effect::Error, L1("error"), L1(":CODE[:TEXT]"), 1, MANY, CODE, 0, MAX_CODE},
        {Effect::Silence, L1("silence"), {}, 0, 0, NO_NUMBER, 0, 0},
        {Effect::Delay, L1("delay"), L1(":MS"), 1, 1, TIME, 1, MAX_DELAY_MS},
        {Effect::OtherOperation, L1("operation"), L1(":NAME"), 1, MANY, NO_NUMBER, 0, 0},
        {Effect::SizeLine, L1("sizeline"), L1(":TEXT"), 1, MANY, NO_NUMBER, 0, 0},
        {Effect::SizeOffset, L1("size"), L1(":+N|-N"), 1, 1, BYTES, -MAX_SIZE_OFFSET, MAX_SIZE_OFFSET},
        {Effect::Pieces, L1("pieces"), L1(":BYTES:MS"), 2, 2, BYTES, 1, MAX_BYTES},
        {Effect::Cut, L1("cut"), L1(":BYTES"), 1, 1, BYTES, 0, MAX_BYTES},
        {Effect::Damage, L1("damage"), L1("[:BYTES[:base64|block]]"), 0, 2, BYTES, 1, MAX_DAMAGED_BYTES},
        {Effect::PushAgain, L1("again"), {}, 0, 0, NO_NUMBER, 0, 0},
        {Effect::Drop, L1("drop"), {}, 0, 0, NO_NUMBER, 0, 0},
        {Effect::Limit, L1("limit"), L1(":BYTES"), 1, 1, BYTES_A_SECOND, 1, MAX_BYTES},
    }};
    return words;
}

} // namespace

const EffectWord& effectWord(Effect effect)
{
    return effectWords().at(static_cast<std::size_t>(effect));
}

const EffectWord* findEffect(const QString& name)
{
    const auto& words = effectWords();
    const auto word =
        std::find_if(words.begin(), words.end(), [&](const EffectWord& candidate) { return candidate.name == name; });
    return word == words.end() ? nullptr : &*word;
}

QStringList wordForms()
{
    return {QStringLiteral("client=NAME"),
            QStringLiteral("port=query|receiver"),
            QStringLiteral("frame=reply|push"),
            QStringLiteral("operation=NAME"),
            QStringLiteral("command=NAME"),
            QStringLiteral("nth=N"),
            QStringLiteral("from=N"),
            QStringLiteral("once"),
            QStringLiteral("every"),
            QStringLiteral("probability=P"),
            QStringLiteral("seed=N"),
            QStringLiteral("do=EFFECT")};
}

QStringList effectForms()
{
    QStringList forms;
    for (const EffectWord& word : effectWords()) {
        forms.append(word.name + word.form);
    }
    return forms;
}

QString damageLevelName(FaultRule::DamageLevel level)
{
    return level == FaultRule::DamageLevel::Block ? QStringLiteral("block") : QStringLiteral("base64");
}

} // namespace tarvex::devbus::faultwords
