#include "settingsdifference.h"

#include "failure.h"
#include "output.h"
#include "programwords.h"
#include "settingsrecord.h"

#include <QHash>
#include <QPair>
#include <QStringList>

using tarvex::ClientSettings;

namespace tarvexctl {

namespace {

const QLatin1String KEY_GROUP("group");
const QLatin1String KEY_KEY("key");
const QLatin1String KEY_PART("part");
const QLatin1String KEY_BEFORE("before");
const QLatin1String KEY_AFTER("after");

/// A group and a key.
using Name = QPair<QString, QString>;

/// The settings of a record in their order. The last one counts when one is there twice.
class Values
{
public:
    explicit Values(const OptionalSettings& settings)
    {
        const QList<QVariant> entries = settings ? settings->settings() : QList<QVariant>();
        for (const QVariant& element : entries) {
            const QVariantMap entry = element.toMap();
            const Name name{entry.value(KEY_GROUP).toString(), entry.value(KEY_KEY).toString()};
            if (!m_values.contains(name)) {
                m_names.append(name);
            }
            m_values.insert(name, entry.value(QStringLiteral("value")));
        }
    }

    const QList<Name>& names() const { return m_names; }

    std::optional<QVariant> value(const Name& name) const
    {
        const auto found = m_values.constFind(name);
        return found == m_values.constEnd() ? std::nullopt : std::optional<QVariant>(*found);
    }

private:
    QList<Name> m_names;
    QHash<Name, QVariant> m_values;
};

bool areSame(const std::optional<QVariant>& one, const std::optional<QVariant>& other)
{
    // Comparing the variants themselves would find the number 80 and the text "80" to be the same.
    return one.has_value() == other.has_value() && (!one || jsonText(*one) == jsonText(*other));
}

SettingsDifference::Change settingChange(const Name& name, const Values& before, const Values& after)
{
    return {name.first + QLatin1Char('/') + name.second,
            {{KEY_GROUP, name.first}, {KEY_KEY, name.second}},
            before.value(name),
            after.value(name)};
}

/// A part of the record beside its settings. A record that is missing counts as one without special parts.
SettingsDifference::Change partChange(const QString& part, const OptionalSettings& before,
                                      const OptionalSettings& after)
{
    const ClientSettings ordinary;
    return {part,
            {{KEY_PART, part}},
            before.value_or(ordinary).toVariantMap().value(part),
            after.value_or(ordinary).toVariantMap().value(part)};
}

/// Whether entries repeat or are no settings. The values do not show all of such a record.
bool isIrregular(const OptionalSettings& settings)
{
    return settings && !entriesProblem(settings->settings()).isEmpty();
}

QVariantMap changeObject(const SettingsDifference::Change& change)
{
    QVariantMap object = change.place;
    if (change.before) {
        object.insert(KEY_BEFORE, *change.before);
    }
    if (change.after) {
        object.insert(KEY_AFTER, *change.after);
    }
    return object;
}

QString changeLine(QLatin1String sign, const QString& name, const std::optional<QVariant>& value)
{
    return value ? sign + visible(QStringLiteral("%1 = %2").arg(name, jsonText(*value))) + QLatin1Char('\n')
                 : QString();
}

} // namespace

SettingsDifference::SettingsDifference(const OptionalSettings& before, const OptionalSettings& after)
    : m_isFirst(!before && after), m_isLast(before && !after)
{
    const auto add = [this](const Change& change) {
        if (!areSame(change.before, change.after)) {
            m_changes.append(change);
        }
    };
    add(partChange(QStringLiteral("description"), before, after));
    add(partChange(QStringLiteral("mailOwner"), before, after));
    if (isIrregular(before) || isIrregular(after)) {
        add(partChange(QStringLiteral("settings"), before, after));
    }
    const Values old(before);
    const Values now(after);
    for (const Name& name : old.names()) {
        add(settingChange(name, old, now));
    }
    for (const Name& name : now.names()) {
        if (!old.value(name)) {
            add(settingChange(name, old, now));
        }
    }
}

QString SettingsDifference::count() const
{
    return Words::counted(m_changes.size(), Words::tr("1 change"), Words::markCount("%n changes"));
}

void SettingsDifference::write(Output& output, const QStringList& heading, QVariantMap object) const
{
    if (!output.isJson()) {
        QString text;
        for (const QString& line : heading) {
            text += visible(line) + QLatin1Char('\n');
        }
        output.writeRecord(text + lines());
        return;
    }
    QVariantList list;
    for (const Change& change : m_changes) {
        list.append(changeObject(change));
    }
    object.insert(QStringLiteral("record"), recordWord());
    object.insert(QStringLiteral("changes"), list);
    output.writeObject(object);
}

void SettingsDifference::report(Output& output, const QString& words, const QStringList& heading,
                                const QVariantMap& object) const
{
    try {
        if (output.isJson() || !isEmpty()) {
            write(output, heading, object);
        }
    } catch (const Failure& failure) {
        throw Failure(failure.status(), Words::tr("%1, but %2").arg(words, failure.words()));
    }
    if (!output.isJson()) {
        complain(words);
    }
}

QString SettingsDifference::recordWord() const
{
    if (m_isFirst) {
        return QStringLiteral("first");
    }
    if (m_isLast) {
        return QStringLiteral("removed");
    }
    return isEmpty() ? QStringLiteral("same") : QStringLiteral("changed");
}

QString SettingsDifference::lines() const
{
    QString text;
    if (m_isFirst) {
        text += Words::tr("+ a first record\n");
    } else if (m_isLast) {
        text += Words::tr("- the whole record\n");
    }
    for (const Change& change : m_changes) {
        text += changeLine(QLatin1String("- "), change.name, change.before);
        text += changeLine(QLatin1String("+ "), change.name, change.after);
    }
    return text;
}

} // namespace tarvexctl
