#include "faultrule.h"

#include "failure.h"
#include "faultwords.h"
#include "wire/busframe_p.h"
#include "wire/busterms_p.h"
#include "words.h"

#include <QStringList>

namespace tarvex::devbus {

namespace {

using programs::Reason;
using programs::Words;
using Effect = FaultRule::Effect;
using Frames = FaultRule::Frames;
using Often = FaultRule::Often;

bool isOfRepliesOnly(Effect effect)
{
    return effect == Effect::Error || effect == Effect::OtherOperation;
}

QString doWord(Effect effect)
{
    return QStringLiteral("do=%1").arg(faultwords::effectWord(effect).name);
}

Reason checkNumbers(const FaultRule& rule)
{
    const faultwords::EffectWord& word = faultwords::effectWord(rule.effect);
    if (rule.amount < word.min || rule.amount > word.max) {
        return {
            word.outOfBounds,
            {doWord(rule.effect), QString::number(word.min), QString::number(word.max), QString::number(rule.amount)}};
    }
    if (rule.gapMs < 0 || rule.gapMs > faultwords::MAX_GAP_MS) {
        return {Words::mark("%1 needs gaps from 0 to %2 ms, not %3"),
                {doWord(rule.effect), QString::number(faultwords::MAX_GAP_MS), QString::number(rule.gapMs)}};
    }
    const double probability = rule.probability.value_or(1);
    if (!(probability >= 0 && probability <= 1)) { // written so that NaN is refused too
        return {Words::mark("probability must be a number from 0 to 1, not %1"), {QString::number(probability)}};
    }
    if ((rule.often == Often::Nth || rule.often == Often::From) && rule.count < 1) {
        return {Words::mark("nth and from must be numbers from 1 on, not %1"), {QString::number(rule.count)}};
    }
    return {};
}

Reason checkTexts(const FaultRule& rule)
{
    if (rule.effect == Effect::SizeOffset && rule.amount == 0) {
        return Words::mark("do=size needs a number of bytes too many (+1) or too few (-1), not 0");
    }
    if (rule.effect == Effect::OtherOperation && rule.text.isEmpty()) {
        return Words::mark("do=operation needs the name of an operation");
    }
    if (rule.effect == Effect::SizeLine
        && (rule.text.contains(QLatin1Char('\n')) || rule.text.contains(QLatin1Char('\r')))) {
        return Words::mark("do=sizeline needs a text of one line");
    }
    // A seed beside a probability of 1 is possible, because a test may come to 1 step by step.
    if (rule.seed && !rule.probability && !rule.hasChance()) {
        return Words::mark("seed needs probability=P, or do=damage: nothing else is left to chance");
    }
    return {};
}

/// Whether the kinds of frames exclude each other.
Reason checkFrames(const FaultRule& rule)
{
    const bool isOnQueryPort = rule.port == traffic::Port::Query;
    if (rule.frames == Frames::Pushes && isOnQueryPort) {
        return Words::mark("frame=push excludes port=query: pushes are on the receiver port");
    }
    if (rule.effect == Effect::PushAgain && (rule.frames == Frames::Replies || isOnQueryPort)) {
        return Words::mark("do=again applies to pushes only, which are on the receiver port");
    }
    if (isOfRepliesOnly(rule.effect) && rule.frames == Frames::Pushes) {
        return {Words::mark("%1 applies to replies only, not with frame=push"), {doWord(rule.effect)}};
    }
    return {};
}

/// Whether frames of that operation exist there.
Reason checkOperation(const FaultRule& rule)
{
    const bool isMessage = rule.operation.isEmpty() || rule.operation == busterms::OPERATION_SEND_MESSAGE;
    const bool isHandshake = rule.operation.isEmpty() || rule.operation == busterms::OPERATION_HANDSHAKE;
    if ((rule.frames == Frames::Pushes || rule.effect == Effect::PushAgain) && !isMessage) {
        return {Words::mark("a push is always operation=sendMessage, not %1"), {rule.operation}};
    }
    if (!rule.command.isEmpty() && !isMessage) {
        return {Words::mark("command applies to operation=sendMessage only, not to %1"), {rule.operation}};
    }
    if (rule.port != traffic::Port::Receiver) {
        return {};
    }
    if (!isMessage && !isHandshake) {
        return {Words::mark("port=receiver has the operations handshake and sendMessage only, not %1"),
                {rule.operation}};
    }
    const bool isReply = rule.frames == Frames::Replies || isOfRepliesOnly(rule.effect);
    if (isReply && (!isHandshake || !rule.command.isEmpty())) {
        return Words::mark("on port=receiver the bus replies to handshakes only");
    }
    return {};
}

} // namespace

programs::Reason FaultRule::problem() const
{
    for (const auto& checkPart : {checkNumbers, checkTexts, checkFrames, checkOperation}) {
        Reason problem = checkPart(*this);
        if (!problem.isEmpty()) {
            return problem;
        }
    }
    return {};
}

TarvexError FaultRule::check() const
{
    const Reason reason = problem();
    return reason.isEmpty() ? TarvexError() : TarvexError(LocalFailure, reason.inEnglish());
}

QString FaultRule::words() const
{
    const QString number = QString::number(amount);
    switch (effect) {
    case Effect::Error:
        return QStringLiteral("error %1 %2").arg(number, text).trimmed();
    case Effect::Silence:
        return QStringLiteral("silence");
    case Effect::Delay:
        return QStringLiteral("delay of %1 ms").arg(number);
    case Effect::OtherOperation:
        return QStringLiteral("reply of another operation, %1").arg(text);
    case Effect::SizeLine:
        return QStringLiteral("size line \"%1\"").arg(text);
    case Effect::SizeOffset:
        return QStringLiteral("size %1%2").arg(amount > 0 ? QStringLiteral("+") : QString(), number);
    case Effect::Pieces:
        return QStringLiteral("pieces of %1 bytes with gaps of %2 ms").arg(number, QString::number(gapMs));
    case Effect::Cut:
        return QStringLiteral("cut after %1 bytes, then reset").arg(number);
    case Effect::Damage:
        return QStringLiteral("damage of %1 bytes (%2)").arg(number, faultwords::damageLevelName(damageLevel));
    case Effect::PushAgain:
        return QStringLiteral("pushed again after its acknowledgement");
    case Effect::Drop:
        return QStringLiteral("connection dropped");
    case Effect::Limit:
        return QStringLiteral("limit of %1 bytes a second").arg(number);
    }
    return QString();
}

} // namespace tarvex::devbus
