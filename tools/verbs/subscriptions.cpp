#include "verbs/subscriptions.h"

#include "arguments.h"
#include "failure.h"
#include "programwords.h"
#include "verbs/options.h"

#include <CLI/CLI.hpp>

namespace tarvexctl {

namespace {

/// State changes and messages to nobody in particular.
constexpr qint32 GOAL_ALL = 3;

QPair<QString, qint32> subscriptionFrom(const QString& text)
{
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    if (colon < 0) {
        return {text, GOAL_ALL};
    }
    static const QStringList goals{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3")};
    const QString goal = text.mid(colon + 1);
    if (!goals.contains(goal)) {
        throw Failure(WrongUse,
                      Words::tr("the goal of a subscription must be 1, 2 or 3, not \"%1\"; a name that holds a "
                                "colon needs one after it: \"%2:3\"")
                          .arg(goal, text));
    }
    return {text.left(colon), goal.toInt()};
}

/// What to subscribe to, from PUBLISHER or PUBLISHER:GOAL. Without a goal it is everything.
Subscriptions subscriptionsFrom(const QStringList& texts)
{
    Subscriptions subscriptions;
    QStringList names;
    for (const QString& text : texts) {
        subscriptions.append(subscriptionFrom(text));
        const QString name = subscriptions.last().first;
        requireName(name, QStringLiteral("PUBLISHER"));
        if (names.contains(name)) {
            throw Failure(WrongUse, Words::tr("\"%1\" is given twice with --subscribe").arg(name));
        }
        names.append(name);
    }
    return subscriptions;
}

} // namespace

void SubscribeOption::addTo(CLI::App& parser)
{
    parser
        .add_option(
            "--subscribe", m_values,
            Words::tr("Also what PUBLISHER publishes: its states (1), its messages to nobody in particular (2), or "
                      "both (3, and without a goal); for each publisher once more")
                .toStdString())
        ->type_name("PUBLISHER[:GOAL]")
        ->allow_extra_args(false);
}

Subscriptions SubscribeOption::subscriptions() const
{
    return subscriptionsFrom(texts(m_values));
}

} // namespace tarvexctl
