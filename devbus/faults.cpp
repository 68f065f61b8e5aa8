#include "faults.h"

#include "failure.h"
#include "wire/busterms_p.h"

#include <QRandomGenerator>

#include <algorithm>

namespace tarvex::devbus {

namespace {

using Effect = FaultRule::Effect;
using Frames = FaultRule::Frames;
using Occasion = Faults::Occasion;
using Often = FaultRule::Often;

bool fitsKind(const FaultRule& rule, Occasion::Kind kind)
{
    switch (kind) {
    case Occasion::Reply:
        return rule.frames != Frames::Pushes && rule.effect != Effect::PushAgain;
    case Occasion::Push:
        return rule.frames != Frames::Replies && rule.effect != Effect::PushAgain && rule.effect != Effect::Error
            && rule.effect != Effect::OtherOperation;
    case Occasion::Acknowledged:
        return rule.effect == Effect::PushAgain;
    }
    return false;
}

/// The name of the command in the message. Read only when a rule wants to know it, because that costs time.
class Command
{
public:
    explicit Command(const Occasion& occasion) : m_occasion(occasion) { }

    bool is(const QString& name)
    {
        if (!m_name) {
            m_name = m_occasion.operation == busterms::OPERATION_SEND_MESSAGE
                ? busterms::readCommandText(m_occasion.data.value(busterms::KEY_MESSAGE).toString()).name
                : QString();
        }
        return *m_name == name;
    }

private:
    const Occasion& m_occasion;
    std::optional<QString> m_name;
};

bool fits(const FaultRule& rule, const Occasion& occasion, Command& command)
{
    return fitsKind(rule, occasion.kind) && (!rule.port || *rule.port == occasion.port)
        && (rule.client.isEmpty() || rule.client == occasion.client)
        && (rule.operation.isEmpty() || rule.operation == occasion.operation)
        && (rule.command.isEmpty() || command.is(rule.command));
}

} // namespace

QString Fault::words() const
{
    return QStringLiteral("fault %1: %2").arg(QString::number(number), rule.words());
}

TarvexError Faults::add(FaultRule rule)
{
    TarvexError error = rule.check();
    if (!isFailure(error) && m_rules.size() >= MAX_RULES) {
        error = {LocalFailure, QStringLiteral("there are %1 faults already, and no more are possible").arg(MAX_RULES)};
    }
    if (isFailure(error)) {
        return error;
    }
    if (rule.hasChance() && !rule.seed) {
        rule.seed = QRandomGenerator::global()->generate();
    }
    m_rules.push_back({++m_lastNumber, rule, std::mt19937(rule.seed.value_or(0))});
    return error;
}

TarvexError Faults::remove(const QList<int>& numbers)
{
    for (const int number : numbers) {
        if (std::none_of(m_rules.cbegin(), m_rules.cend(), [&](const Rule& rule) { return rule.number == number; })) {
            return {LocalFailure, QStringLiteral("there is no fault %1").arg(number)};
        }
    }
    const auto isMeant = [&](const Rule& rule) { return numbers.contains(rule.number); };
    m_rules.erase(std::remove_if(m_rules.begin(), m_rules.end(), isMeant), m_rules.end());
    return {};
}

void Faults::clear()
{
    m_rules.clear();
}

QList<Faults::Entry> Faults::entries() const
{
    QList<Entry> entries;
    for (const Rule& rule : m_rules) {
        entries.append({rule.number, rule.rule, rule.hits});
    }
    return entries;
}

std::optional<Fault> Faults::meet(const Occasion& occasion)
{
    Command command(occasion);
    Rule* met = nullptr;
    for (Rule& rule : m_rules) {
        if (fits(rule.rule, occasion, command) && isDue(rule)) {
            met = &rule;
        }
    }
    if (!met) {
        return std::nullopt;
    }
    ++met->hits;
    return Fault{met->number, met->rule, met->effectRandom};
}

bool Faults::hasPushAgain() const
{
    return std::any_of(m_rules.cbegin(), m_rules.cend(),
                       [](const Rule& rule) { return rule.rule.effect == Effect::PushAgain; });
}

/// Counts one more frame that fits. Chance is asked for each of them, so that its numbers do not depend on other rules.
bool Faults::isDue(Rule& rule)
{
    ++rule.fits;
    const double span = static_cast<double>(std::mt19937::max()) + 1;
    const double probability = rule.rule.probability.value_or(1);
    const bool isChosen = probability >= 1 || static_cast<double>(rule.random()) < probability * span;
    rule.effectRandom = rule.rule.effect == Effect::Damage ? static_cast<quint32>(rule.random()) : 0;
    switch (rule.rule.often) {
    case Often::Every:
        return isChosen;
    case Often::Nth:
        return isChosen && rule.fits == rule.rule.count;
    case Often::From:
        return isChosen && rule.fits >= rule.rule.count;
    case Often::Once:
        return isChosen && rule.hits == 0;
    }
    return false;
}

} // namespace tarvex::devbus
