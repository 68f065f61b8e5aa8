#include "queryservice.h"

#include "delivery.h"
#include "failure.h"
#include "storage.h"
#include "values.h"
#include "wire/busframe_p.h"
#include "wire/busterms_p.h"

#include <QHash>

#include <limits>

namespace tarvex::devbus {

namespace {

/// Leaves room for the rest of the envelope beside the settings.
constexpr int MAX_SETTINGS_LIST_SIZE = busframe::MAX_ENVELOPE_SIZE - 1024;

QueryService::Answer malformed()
{
    return {TarvexError(TarvexError::IncorrectRequestData), {}};
}

bool isList(const QVariant& value)
{
    return value.userType() == QMetaType::QVariantList;
}

/// JSON's numbers arrive as 64-bit integers or as doubles.
bool isGoal(const QVariant& value)
{
    if (value.userType() != QMetaType::LongLong && value.userType() != QMetaType::Double) {
        return false;
    }
    const double number = value.toDouble();
    return number >= std::numeric_limits<qint32>::min() && number <= std::numeric_limits<qint32>::max()
        && number == static_cast<qint32>(number);
}

using Subscription = QPair<QString, int>;

bool readSubscriptions(const QVariant& value, QList<Subscription>& subscriptions)
{
    const QVariantList publishers = value.toList();
    if (!isList(value) || publishers.size() > QueryService::MAX_NAMES) {
        return false;
    }
    for (const QVariant& publisher : publishers) {
        const QVariantMap entry = publisher.toMap();
        if (!isName(entry.value(busterms::KEY_NAME)) || !isGoal(entry.value(busterms::KEY_GOAL))) {
            return false;
        }
        subscriptions.append({entry.value(busterms::KEY_NAME).toString(), entry.value(busterms::KEY_GOAL).toInt()});
    }
    return true;
}

bool readNames(const QVariant& value, QStringList& names)
{
    const QVariantList list = value.toList();
    if (!isList(value) || list.size() > QueryService::MAX_NAMES) {
        return false;
    }
    for (const QVariant& name : list) {
        if (!isText(name)) {
            return false;
        }
        names.append(name.toString());
    }
    return true;
}

bool readOwners(const QVariant& value, QStringList& owners)
{
    if (!isName(value) || value.toString().count(QLatin1Char(',')) >= QueryService::MAX_NAMES) {
        return false;
    }
    owners = value.toString().split(QLatin1Char(','), Qt::SkipEmptyParts);
    return !owners.isEmpty();
}

} // namespace

QueryService::Answer QueryService::handle(const QString& client, const QString& operation, const QVariantMap& data)
{
    using Handler = Answer (QueryService::*)(const QString&, const QVariantMap&);
    static const QHash<QString, Handler> handlers{
        {busterms::OPERATION_SAVE_STATE, &QueryService::saveState},
        {busterms::OPERATION_LOAD_STATE, &QueryService::loadState},
        {busterms::OPERATION_SAVE_SETTINGS, &QueryService::saveSettings},
        {busterms::OPERATION_LOAD_SETTINGS, &QueryService::loadSettings},
        {busterms::OPERATION_LOAD_SETTINGS_LIST, &QueryService::loadSettingsList},
        {busterms::OPERATION_REMOVE_SETTINGS, &QueryService::removeSettings},
        {busterms::OPERATION_SUBSCRIBE, &QueryService::subscribe},
        {busterms::OPERATION_UNSUBSCRIBE, &QueryService::unsubscribe},
        {busterms::OPERATION_SEND_MESSAGE, &QueryService::sendMessage},
    };
    const Handler handler = handlers.value(operation);
    if (!handler) {
        return {TarvexError(TarvexError::UnsupportedRequest), {}};
    }
    return (this->*handler)(client, data);
}

QueryService::Answer QueryService::saveState(const QString&, const QVariantMap& data)
{
    if (!isName(data.value(busterms::KEY_OWNER))) {
        return malformed();
    }
    const ClientState state = ClientState::fromVariantMap(data);
    return {m_delivery.write([&] { return m_storage.saveState(state) && m_delivery.postState(state); }), {}};
}

QueryService::Answer QueryService::loadState(const QString&, const QVariantMap& data)
{
    if (!isName(data.value(busterms::KEY_OWNER))) {
        return malformed();
    }
    QVariantMap state;
    TarvexError error =
        m_storage.read([&] { return m_storage.loadState(data.value(busterms::KEY_OWNER).toString(), state); });
    if (!isFailure(error) && state.isEmpty()) {
        error = TarvexError(TarvexError::NoSettingsForClient, QStringLiteral("There is no state for client"));
    }
    return {error, state};
}

QueryService::Answer QueryService::saveSettings(const QString& client, const QVariantMap& data)
{
    const ClientSettings settings = ClientSettings::fromVariantMap(data);
    const bool isListed = !data.contains(busterms::KEY_SETTINGS) || isList(data.value(busterms::KEY_SETTINGS));
    if (!isName(data.value(busterms::KEY_OWNER)) || !settings.isValid() || !isListed) {
        return malformed();
    }
    return {m_delivery.write(
                [&] { return m_storage.saveSettings(settings) && m_delivery.postSettingsChange(client, settings); }),
            {}};
}

QueryService::Answer QueryService::loadSettings(const QString&, const QVariantMap& data)
{
    if (!isName(data.value(busterms::KEY_OWNER))) {
        return malformed();
    }
    QByteArray settings;
    TarvexError error =
        m_storage.read([&] { return m_storage.loadSettings(data.value(busterms::KEY_OWNER).toString(), settings); });
    if (!isFailure(error) && settings.isEmpty()) {
        error = TarvexError(TarvexError::NoSettingsForClient);
    }
    return {error, !isFailure(error) ? Storage::fromJson(settings) : QVariantMap()};
}

QueryService::Answer QueryService::loadSettingsList(const QString&, const QVariantMap& data)
{
    QStringList owners;
    if (!readOwners(data.value(busterms::KEY_OWNERS), owners)) {
        return malformed();
    }
    QVariantList list;
    int size = 0;
    const TarvexError error = m_storage.read([&] {
        for (const QString& owner : qAsConst(owners)) {
            QByteArray settings;
            if (!m_storage.loadSettings(owner, settings)) {
                return false;
            }
            size += settings.size() + 1;
            if (size > MAX_SETTINGS_LIST_SIZE) {
                return false; // no client could decode it
            }
            if (!settings.isEmpty()) {
                list.append(Storage::fromJson(settings));
            }
        }
        return true;
    });
    if (isFailure(error)) {
        return {error, {}};
    }
    // If all owners are unknown, the list is empty and the code is 0, as when only some are unknown. So a client can
    // tell "there are none" from "they could not be read".
    return {error, {{busterms::KEY_SETTINGS_LIST, list}}};
}

QueryService::Answer QueryService::removeSettings(const QString&, const QVariantMap& data)
{
    if (!isName(data.value(busterms::KEY_OWNER))) {
        return malformed();
    }
    bool wasThere = false;
    const TarvexError error =
        m_storage.write([&] { return m_storage.removeSettings(data.value(busterms::KEY_OWNER).toString(), wasThere); });
    if (!isFailure(error) && !wasThere) {
        return {TarvexError(TarvexError::NoSettingsForClient), {}};
    }
    return {error, {}};
}

QueryService::Answer QueryService::subscribe(const QString& client, const QVariantMap& data)
{
    QList<Subscription> subscriptions;
    if (!readSubscriptions(data.value(busterms::KEY_PUBLISHERS), subscriptions)) {
        return malformed();
    }
    return {m_storage.write([&] {
                bool isDone = true;
                for (const Subscription& subscription : qAsConst(subscriptions)) {
                    isDone = isDone && m_storage.subscribe(client, subscription.first, subscription.second);
                }
                return isDone;
            }),
            {}};
}

QueryService::Answer QueryService::unsubscribe(const QString& client, const QVariantMap& data)
{
    QStringList publishers;
    if (!readNames(data.value(busterms::KEY_PUBLISHERS), publishers)) {
        return malformed();
    }
    return {m_storage.write([&] {
                bool isDone = true;
                for (const QString& publisher : qAsConst(publishers)) {
                    isDone = isDone && m_storage.unsubscribe(client, publisher);
                }
                return isDone;
            }),
            {}};
}

QueryService::Answer QueryService::sendMessage(const QString& client, const QVariantMap& data)
{
    // A missing identifier is filled in. The addressee's name must be there, but may be empty.
    const bool hasUid = !data.contains(busterms::KEY_UID) || isText(data.value(busterms::KEY_UID));
    if (!isText(data.value(busterms::KEY_RECIEVER)) || !isText(data.value(busterms::KEY_MESSAGE)) || !hasUid) {
        return malformed();
    }
    Message message = Message::fromVariantMap(data);
    message.setSender(client);
    return {m_delivery.write([&] { return m_delivery.postMessage(message); }), {}};
}

} // namespace tarvex::devbus
