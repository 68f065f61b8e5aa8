#include "busfault.h"

#include "faultdata_p.h"

using tarvex::devbus::FaultRule;

namespace tarvex::testing {

namespace {

FaultRule ruleOf(FaultRule::Effect effect, qint64 amount = 0, const QString& text = {})
{
    FaultRule rule;
    rule.effect = effect;
    rule.amount = amount;
    rule.text = text;
    return rule;
}

} // namespace

BusFault::BusFault(FaultData* data) : d(data) { }

BusFault::BusFault() : BusFault(silence()) { }

BusFault::BusFault(const BusFault& other) = default;

BusFault& BusFault::operator=(const BusFault& other) = default;

BusFault::~BusFault() = default;

BusFault BusFault::error(TarvexError::Error code, const QString& text)
{
    return BusFault(
        new FaultData(ruleOf(FaultRule::Effect::Error, code, text.isEmpty() ? TarvexError(code).description() : text)));
}

BusFault BusFault::silence()
{
    return BusFault(new FaultData(ruleOf(FaultRule::Effect::Silence)));
}

BusFault BusFault::delay(int ms)
{
    return BusFault(new FaultData(ruleOf(FaultRule::Effect::Delay, ms)));
}

BusFault BusFault::otherOperation(const QString& operation)
{
    return BusFault(new FaultData(ruleOf(FaultRule::Effect::OtherOperation, 0, operation)));
}

BusFault BusFault::sizeLine(const QString& text)
{
    return BusFault(new FaultData(ruleOf(FaultRule::Effect::SizeLine, 0, text)));
}

BusFault BusFault::sizeOffset(int bytes)
{
    return BusFault(new FaultData(ruleOf(FaultRule::Effect::SizeOffset, bytes)));
}

BusFault BusFault::pieces(int bytes, int gapMs)
{
    FaultRule rule = ruleOf(FaultRule::Effect::Pieces, bytes);
    rule.gapMs = gapMs;
    return BusFault(new FaultData(rule));
}

BusFault BusFault::cut(int bytes)
{
    return BusFault(new FaultData(ruleOf(FaultRule::Effect::Cut, bytes)));
}

BusFault BusFault::damage(int bytes, DamageLevel level)
{
    FaultRule rule = ruleOf(FaultRule::Effect::Damage, bytes);
    rule.damageLevel = level == DamageLevel::Block ? FaultRule::DamageLevel::Block : FaultRule::DamageLevel::Base64;
    return BusFault(new FaultData(rule));
}

BusFault BusFault::pushAgain()
{
    return BusFault(new FaultData(ruleOf(FaultRule::Effect::PushAgain)));
}

BusFault BusFault::drop()
{
    return BusFault(new FaultData(ruleOf(FaultRule::Effect::Drop)));
}

BusFault BusFault::limit(int bytesPerSecond)
{
    return BusFault(new FaultData(ruleOf(FaultRule::Effect::Limit, bytesPerSecond)));
}

BusFault BusFault::forClient(const QString& client) const
{
    BusFault fault(*this);
    fault.d->rule.client = client;
    return fault;
}

BusFault BusFault::forOperation(const QString& operation) const
{
    BusFault fault(*this);
    fault.d->rule.operation = operation;
    return fault;
}

BusFault BusFault::forCommand(const QString& command) const
{
    BusFault fault(*this);
    fault.d->rule.command = command;
    return fault;
}

BusFault BusFault::onQueryPort() const
{
    BusFault fault(*this);
    fault.d->rule.port = traffic::Port::Query;
    return fault;
}

BusFault BusFault::onReceiverPort() const
{
    BusFault fault(*this);
    fault.d->rule.port = traffic::Port::Receiver;
    return fault;
}

BusFault BusFault::forReplies() const
{
    BusFault fault(*this);
    fault.d->rule.frames = FaultRule::Frames::Replies;
    return fault;
}

BusFault BusFault::forPushes() const
{
    BusFault fault(*this);
    fault.d->rule.frames = FaultRule::Frames::Pushes;
    return fault;
}

BusFault BusFault::nth(int number) const
{
    BusFault fault(*this);
    fault.d->rule.often = FaultRule::Often::Nth;
    fault.d->rule.count = number;
    return fault;
}

BusFault BusFault::from(int number) const
{
    BusFault fault(*this);
    fault.d->rule.often = FaultRule::Often::From;
    fault.d->rule.count = number;
    return fault;
}

BusFault BusFault::once() const
{
    BusFault fault(*this);
    fault.d->rule.often = FaultRule::Often::Once;
    return fault;
}

BusFault BusFault::withProbability(double probability, quint32 seed) const
{
    BusFault fault(*this);
    fault.d->rule.probability = probability;
    fault.d->rule.seed = seed;
    return fault;
}

QString BusFault::text() const
{
    return d->rule.toText();
}

} // namespace tarvex::testing
