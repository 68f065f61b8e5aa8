#include "doctor/checks.h"

#include "jsonvalue.h"
#include "programwords.h"
#include "records/clientstate.h"

#include <QSet>
#include <QStringList>

#include <cmath>
#include <limits>

using tarvex::ClientSettings;
using tarvex::ClientState;

namespace tarvexctl::doctor {

namespace {

constexpr qint64 MS_PER_S = 1000;
/// A clock that differs by less is no finding.
constexpr qint64 FUTURE_TOLERANCE_MS = 60000;
/// From here on doubles do not hold every whole number. 2^53 itself may have been 2^53 + 1.
constexpr double MAX_EXACT = 9007199254740992.0;
/// A larger number was no integer of 64 bits.
constexpr double MAX_INTEGER = 18446744073709551616.0;

const QLatin1String KEY_OWNER("owner");
const QLatin1String KEY_TYPE("type");
const QLatin1String KEY_STATE("state");

QString ageText(qint64 milliseconds)
{
    constexpr qint64 S_PER_MINUTE = 60;
    constexpr qint64 MINUTES_PER_HOUR = 60;
    constexpr qint64 HOURS_SHOWN = 48;
    const qint64 seconds = milliseconds / MS_PER_S;
    const qint64 minutes = seconds / S_PER_MINUTE;
    const qint64 hours = minutes / MINUTES_PER_HOUR;
    if (minutes < 2) {
        return Words::tr("%1 s").arg(seconds);
    }
    if (hours < 2) {
        return Words::tr("%1 min").arg(minutes);
    }
    return hours < HOURS_SHOWN ? Words::tr("%1 h").arg(hours)
                               : Words::tr("%n days", nullptr, static_cast<int>(hours / 24));
}

/// What is wrong with one entry of the settings; empty when it is right. \a paths holds those of the entries before.
QString entryProblem(const QVariant& value, QSet<QString>& paths)
{
    const QVariantMap entry = value.toMap();
    if (value.userType() != QMetaType::QVariantMap) {
        return Words::tr("an entry is no object");
    }
    const QVariant key = entry.value(QStringLiteral("key"));
    const QVariant group = entry.value(QStringLiteral("group"));
    if (key.userType() != QMetaType::QString || key.toString().isEmpty()) {
        return Words::tr("an entry has no key");
    }
    if (group.isValid() && !group.isNull() && group.userType() != QMetaType::QString) {
        return Words::tr("the group of \"%1\" is no text").arg(key.toString());
    }
    const QString path = group.toString() + QLatin1Char('/') + key.toString();
    if (!entry.contains(QStringLiteral("value"))) {
        return Words::tr("%1 has no value").arg(path);
    }
    if (paths.contains(path)) {
        return Words::tr("%1 is there twice, and the last one counts").arg(path);
    }
    paths.insert(path);
    return QString();
}

/// Whether the value holds a number that was most likely an integer and is another one now.
bool isInexact(const QVariant& value)
{
    if (value.userType() == QMetaType::QVariantMap || value.userType() == QMetaType::QVariantList) {
        const QVariantList elements =
            value.userType() == QMetaType::QVariantMap ? value.toMap().values() : value.toList();
        for (const QVariant& element : elements) {
            if (isInexact(element)) {
                return true;
            }
        }
        return false;
    }
    const bool isNumber = value.userType() == QMetaType::Double || value.userType() == QMetaType::LongLong;
    const double number = std::abs(value.toDouble());
    return isNumber && number >= MAX_EXACT && number <= MAX_INTEGER;
}

QStringList problemsOf(const ClientSettings& settings)
{
    QStringList problems;
    if (!settings.dt().isValid()) {
        problems.append(Words::tr("the date cannot be read"));
    }
    QSet<QString> paths;
    const QList<QVariant> entries = settings.settings();
    for (const QVariant& entry : entries) {
        const QString problem = entryProblem(entry, paths);
        if (!problem.isEmpty() && !problems.contains(problem)) {
            problems.append(problem);
        }
    }
    return problems;
}

void addInexact(const ClientSettings& settings, Findings& findings)
{
    const QList<QVariant> entries = settings.settings();
    for (const QVariant& value : entries) {
        const QVariantMap entry = value.toMap();
        if (isInexact(entry.value(QStringLiteral("value")))) {
            const QString path = entry.value(QStringLiteral("group")).toString() + QLatin1Char('/')
                + entry.value(QStringLiteral("key")).toString();
            findings.append({QStringLiteral("settings.inexact"),
                             Severity::Note,
                             Words::tr("settings of \"%1\": %2 holds a number from 2^53 on, which has lost its last "
                                       "digits if it was an integer")
                                 .arg(settings.owner(), path),
                             Words::tr("Compare it with what it should be, and store such a number as a text."),
                             {{QStringLiteral("client"), settings.owner()}, {QStringLiteral("setting"), path}}});
        }
    }
}

void addFuture(const QString& check, const QString& pattern, const QString& owner, const QDateTime& date,
               const QDateTime& now, Findings& findings)
{
    const qint64 aheadMs = now.msecsTo(date);
    if (date.isValid() && aheadMs > FUTURE_TOLERANCE_MS) {
        findings.append({check,
                         Severity::Wrong,
                         pattern.arg(owner, ageText(aheadMs)),
                         Words::tr("Compare this machine's clock and the TZ of that service with the right time, "
                                   "because records hold local times."),
                         {{QStringLiteral("client"), owner}, {QStringLiteral("aheadMs"), aheadMs}}});
    }
}

/// What is lost when the stored record is read; empty when nothing is.
QString stateProblem(const QVariantMap& record)
{
    const QVariant type = record.value(KEY_TYPE);
    bool isNumber = false;
    const double number = type.toDouble(&isNumber);
    if (!isNumber || type.userType() == QMetaType::QString || number < std::numeric_limits<qint8>::min()
        || number > std::numeric_limits<qint8>::max() || number != std::floor(number)) {
        return Words::tr("its type is no number from -128 to 127");
    }
    if (record.value(KEY_STATE).userType() != QMetaType::QString) {
        return Words::tr("its state is no text");
    }
    const ClientState state = ClientState::fromVariantMap(record);
    if (!state.dt().isValid()) {
        return Words::tr("its date cannot be read");
    }
    const QString text = state.state().trimmed();
    const bool beginsLikeJson = text.startsWith(QLatin1Char('{')) || text.startsWith(QLatin1Char('['));
    return beginsLikeJson && !isJson(text) ? Words::tr("its state begins like JSON and is none") : QString();
}

Finding oldFinding(const ClientState& state, qint64 ageMs, const StateAge& age, bool isConnected)
{
    return {QStringLiteral("states.old"),
            age.isGiven ? Severity::Wrong : Severity::Note,
            (isConnected ? Words::tr("the state of \"%1\" is %2 old, and the client is connected")
                         : Words::tr("the state of \"%1\" is %2 old, and the client may be connected"))
                .arg(state.owner(), ageText(ageMs)),
            Words::tr("See whether its query worker hangs, because a service reports its state again and again; "
                      "--state-age says how old it may be."),
            {{QStringLiteral("client"), state.owner()}, {QStringLiteral("ageMs"), ageMs}}};
}

QSet<QString> connectedNames(const ControlAnswers& control)
{
    QSet<QString> names;
    for (const QVariantMap& client : control.clients) {
        if (!client.value(QStringLiteral("querySince")).toString().isEmpty()
            || !client.value(QStringLiteral("receiverSince")).toString().isEmpty()) {
            names.insert(client.value(QStringLiteral("name")).toString());
        }
    }
    return names;
}

/// With a bus that does not tell who is connected, a state is too old only by an age that the user has given.
void addState(const QVariantMap& record, const ControlAnswers& control, bool isConnected, const StateAge& age,
              const QDateTime& now, Findings& findings)
{
    const ClientState state = ClientState::fromVariantMap(record);
    const QString problem = stateProblem(record);
    if (!problem.isEmpty()) {
        findings.append({QStringLiteral("states.convert"),
                         Severity::Wrong,
                         Words::tr("the state of \"%1\" does not convert: %2").arg(state.owner(), problem),
                         Words::tr("Correct the service that has saved it, and let it report again."),
                         {{QStringLiteral("client"), state.owner()}, {QStringLiteral("problem"), problem}}});
    }
    addFuture(QStringLiteral("states.future"),
              Words::tr("the contents of the state of \"%1\" are dated %2 in the future"), state.owner(), state.dt(),
              now, findings);
    const qint64 ageMs = state.dt().isValid() ? state.dt().msecsTo(now) : 0;
    const bool mustBeYoung = isConnected || (!control.isThere && age.isGiven);
    if (mustBeYoung && state.isValid() && static_cast<double>(ageMs) > age.seconds * MS_PER_S) {
        findings.append(oldFinding(state, ageMs, age, isConnected));
    }
}

} // namespace

Findings checkSettings(const BusAnswers& answers, const QDateTime& now)
{
    Findings findings;
    for (const ClientSettings& settings : answers.settings) {
        const QStringList problems = problemsOf(settings);
        if (!problems.isEmpty()) {
            findings.append({QStringLiteral("settings.convert"),
                             Severity::Wrong,
                             Words::tr("the settings of \"%1\" do not convert: %2")
                                 .arg(settings.owner(), problems.join(QStringLiteral("; "))),
                             Words::tr("Write them to a file with --json settings get, correct it, and save it "
                                       "with settings load."),
                             {{QStringLiteral("client"), settings.owner()}, {QStringLiteral("problems"), problems}}});
        }
        addInexact(settings, findings);
        addFuture(QStringLiteral("settings.future"), Words::tr("the settings of \"%1\" are dated %2 in the future"),
                  settings.owner(), settings.dt(), now, findings);
    }
    if (answers.skippedCount > 0) {
        findings.append({QStringLiteral("settings.unseen"),
                         Severity::Unseen,
                         Words::counted(answers.skippedCount, Words::tr("the time was too short for 1 more record"),
                                        Words::markCount("the time was too short for %n more records")),
                         Words::tr("Give more time with --timeout."),
                         {{QStringLiteral("skipped"), answers.skippedCount}}});
    }
    if (findings.isEmpty() && answers.isQueryDone && !answers.queryFailure) {
        findings.append({QStringLiteral("settings"),
                         Severity::Ok,
                         Words::counted(answers.settings.size(), Words::tr("the settings of 1 owner convert"),
                                        Words::markCount("the settings of %n owners convert")),
                         {},
                         {{QStringLiteral("count"), answers.settings.size()}}});
    }
    return findings;
}

Findings checkStates(const QList<QVariantMap>& states, const ControlAnswers& control, const StateAge& age,
                     const QDateTime& now)
{
    Findings findings;
    const QSet<QString> connected = connectedNames(control);
    QStringList absent;
    for (const QVariantMap& record : states) {
        const QString owner = record.value(KEY_OWNER).toString();
        addState(record, control, connected.contains(owner), age, now, findings);
        if (control.isThere && !connected.contains(owner)) {
            absent.append(owner);
        }
    }
    if (findings.isEmpty()) {
        findings.append(
            {QStringLiteral("states"),
             Severity::Ok,
             Words::counted(states.size(), Words::tr("1 state, none of them damaged, too old or from the future"),
                            Words::markCount("%n states, none of them damaged, too old or from the future")),
             {},
             {{QStringLiteral("count"), states.size()}}});
    }
    if (!absent.isEmpty()) {
        findings.append({QStringLiteral("states.absent"),
                         Severity::Note,
                         Words::counted(absent.size(), Words::tr("1 state of clients that are not connected: %1"),
                                        Words::markCount("%n states of clients that are not connected: %1"))
                             .arg(absent.join(QStringLiteral(", "))),
                         Words::tr("Do not take these states for the present ones."),
                         {{QStringLiteral("clients"), absent}}});
    }
    return findings;
}

} // namespace tarvexctl::doctor
