#include "pageservice.h"

#include "busserver.h"
#include "controlservice.h"
#include "delivery.h"
#include "failure.h"
#include "framecursor.h"
#include "records/message.h"
#include "values.h"
#include "wire/busterms_p.h"
#include "wire/jsonreader_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace tarvex::devbus {

namespace {

using Reply = PageService::Reply;

constexpr int OK = 200;
constexpr int BAD_REQUEST = 400;
constexpr int NOT_FOUND = 404;
constexpr int UNPROCESSABLE = 422;
constexpr int UNAVAILABLE = 503;

/// Longer names are no use to anybody, in characters.
constexpr int MAX_NAME = 1024;

QByteArray jsonOf(const QVariantMap& object)
{
    return QJsonDocument(QJsonObject::fromVariantMap(object)).toJson(QJsonDocument::Compact);
}

Reply jsonReply(int status, const QByteArray& json)
{
    return {status, "application/json", json.toStdString()};
}

Reply errorReply(int status, const QString& text)
{
    return jsonReply(status, jsonOf({{QStringLiteral("error"), text}}));
}

/// \a otherwise when it is not the storage that fails.
int statusOf(const TarvexError& error, int otherwise)
{
    return error.error() >= TarvexError::InvalidDataStorage ? UNAVAILABLE : otherwise;
}

/// Only what says whose record it is.
QVariantMap withoutContent(const QVariantMap& item)
{
    QVariantMap rest{{QStringLiteral("isLeftOut"), true}};
    for (const char* const key : {"owner", "name", "date"}) {
        const QString name = QString::fromLatin1(key);
        if (item.contains(name)) {
            rest.insert(name, item.value(name).toString().left(MAX_NAME));
        }
    }
    return rest;
}

QByteArray listOf(const QList<QVariantMap>& items)
{
    QByteArray list;
    for (const QVariantMap& item : items) {
        const QByteArray json = jsonOf(item);
        list += (list.isEmpty() ? "" : ",")
            + (json.size() <= PageService::MAX_LISTED_BYTES ? json : jsonOf(withoutContent(item)));
    }
    return "{\"items\":[" + list + "]}";
}

/// Takes from \a budget what the texts in \a value need in JSON at least, and ends as soon as it is spent.
/// \return false when it is not enough
bool takeTexts(const QVariant& value, qint64& budget)
{
    if (value.userType() == QMetaType::QString) {
        budget -= value.toString().size();
    } else if (value.userType() == QMetaType::QVariantList) {
        const QVariantList list = value.toList();
        return std::all_of(list.begin(), list.end(), [&budget](const QVariant& item) {
            --budget; // for the comma
            return takeTexts(item, budget);
        });
    } else if (value.userType() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        for (auto entry = map.begin(); entry != map.end() && budget >= 0; ++entry) {
            budget -= entry.key().size();
            takeTexts(entry.value(), budget);
        }
    }
    return budget >= 0;
}

QByteArray frameLine(const traffic::SeenFrame& frame, bool isWhole)
{
    QVariantMap map = frame.toVariantMap();
    qint64 budget = PageService::MAX_LISTED_BYTES;
    // The data of a frame can be a thousand times larger than the frame. What is left out is not encoded first.
    const bool isFit = isWhole || takeTexts(map.value(QStringLiteral("data")), budget);
    QByteArray json = isFit ? jsonOf(map) : QByteArray();
    if (!isFit || (!isWhole && json.size() > PageService::MAX_LISTED_BYTES)) {
        map.remove(QStringLiteral("data"));
        map.insert(QStringLiteral("dataLeftOut"), true);
        json = jsonOf(map);
    }
    return json;
}

} // namespace

PageService::PageService(BusServer& server, ControlService& controlService)
    : m_server(server), m_controlService(controlService), m_metrics(server, controlService), m_changes(server)
{
}

void PageService::close()
{
    m_changes.close();
    m_access.close();
}

Reply PageService::list(const std::string& request)
{
    Reply reply;
    m_access.ask([&] {
        const auto answer = m_controlService.handle({{QStringLiteral("request"), QString::fromStdString(request)}});
        reply = answer.error.isEmpty() ? jsonReply(OK, listOf(answer.items)) : errorReply(UNAVAILABLE, answer.error);
    });
    return reply;
}

Reply PageService::settings(const std::string& owner)
{
    Reply reply;
    m_access.ask([&] {
        QVariantMap record;
        const TarvexError error = m_server.perform(QString(), busterms::OPERATION_LOAD_SETTINGS,
                                                   {{busterms::KEY_OWNER, QString::fromStdString(owner)}}, record);
        reply = isFailure(error) ? errorReply(statusOf(error, NOT_FOUND), error.description())
                                 : jsonReply(OK, jsonOf(record));
    });
    return reply;
}

Reply PageService::frame(std::int64_t number)
{
    Reply reply;
    m_access.ask([&] {
        const auto frame = m_server.frames().frame(number);
        reply = frame ? jsonReply(OK, frameLine(*frame, true))
                      : errorReply(NOT_FOUND, QStringLiteral("this frame is not kept any more"));
    });
    return reply;
}

Reply PageService::metrics()
{
    Reply reply;
    m_access.ask([&] { reply = {OK, "text/plain; version=0.0.4; charset=utf-8", m_metrics.text().toStdString()}; });
    return reply;
}

Reply PageService::health()
{
    Reply reply;
    m_access.ask([&] {
        const QVariantMap about =
            m_controlService.handle({{QStringLiteral("request"), QStringLiteral("about")}}).items.value(0);
        const QString error = about.value(QStringLiteral("storageError")).toString();
        reply.status = error.isEmpty() ? OK : UNAVAILABLE;
        reply.body = error.isEmpty() ? "ok\n" : "the storage fails: " + error.simplified().toStdString() + '\n';
    });
    return reply;
}

/// Reads \a body and does \a work with it, both in the bus's thread.
Reply PageService::change(const std::string& body, const std::function<void(const QVariantMap&, Reply&)>& work)
{
    Reply reply;
    m_access.ask([&] {
        QJsonParseError error{};
        const QJsonDocument document = jsonreader::parseJson(QByteArray::fromStdString(body), error);
        if (document.isObject()) {
            work(document.object().toVariantMap(), reply);
        } else {
            reply = errorReply(BAD_REQUEST, QStringLiteral("the request must be a JSON object"));
        }
    });
    return reply;
}

Reply PageService::sendCommand(const std::string& body)
{
    return change(body, [this](const QVariantMap& command, Reply& reply) { performCommand(command, reply); });
}

void PageService::performCommand(const QVariantMap& command, Reply& reply)
{
    const QVariant sender = command.value(QStringLiteral("sender"));
    const QVariant receiver = command.value(QStringLiteral("receiver"));
    const QVariant name = command.value(QStringLiteral("command"));
    const QVariant data = command.value(QStringLiteral("data"), QVariantMap());
    if (!isName(sender) || !isText(receiver) || !isName(name) || data.userType() != QMetaType::QVariantMap) {
        reply = errorReply(BAD_REQUEST,
                           QStringLiteral("a sender, a receiver, a command and, as its data, an object are needed"));
        return;
    }
    Message message;
    message.setSender(sender.toString());
    message.setReciever(receiver.toString());
    message.setMessage(busterms::commandText(name.toString(), data.toMap()));
    message.setUid(Delivery::freshUid());
    QVariantMap answer;
    const TarvexError error =
        m_server.perform(sender.toString(), busterms::OPERATION_SEND_MESSAGE, message.toVariantMap(), answer);
    m_changes.noteClients();
    reply = isFailure(error)
        ? errorReply(statusOf(error, UNPROCESSABLE),
                     QStringLiteral("%1 %2").arg(QString::number(error.error()), error.description()).trimmed())
        : jsonReply(OK, jsonOf({{QStringLiteral("uid"), message.uid()}}));
}

/// Passes \a request on, as a program at the control socket would make it.
void PageService::passOn(const QVariantMap& request, Reply& reply)
{
    const auto answer = m_controlService.handle(request);
    reply = answer.error.isEmpty() ? jsonReply(OK, listOf(answer.items)) : errorReply(UNPROCESSABLE, answer.error);
    m_changes.noteFaults();
}

Reply PageService::addFault(const std::string& body)
{
    return change(body, [this](QVariantMap fault, Reply& reply) {
        fault.insert(QStringLiteral("request"), QStringLiteral("addFault"));
        passOn(fault, reply);
    });
}

Reply PageService::clearFaults(const std::string& body)
{
    return change(body, [this](QVariantMap fault, Reply& reply) {
        fault.insert(QStringLiteral("request"), QStringLiteral("clearFaults"));
        passOn(fault, reply);
    });
}

bool PageService::positionBefore(std::int64_t last, Position& position)
{
    return m_access.ask([&] {
        position.next = FrameCursor::numberOfLast(m_server.frames(), last);
        position.end = m_server.frames().nextNumber();
    });
}

bool PageService::readFrames(Position& position, const char* separator, bool isWhole, std::string& text)
{
    return m_access.ask([&] {
        FrameCursor cursor(m_server.frames(), position.next);
        const std::size_t full = text.size() + TURN_BYTES;
        while (text.size() < full) {
            const auto frame = cursor.next();
            if (!frame) {
                break;
            }
            text += frameLine(*frame, isWhole).toStdString() + separator;
        }
        position.next = cursor.nextNumber();
        position.end = m_server.frames().nextNumber();
    });
}

} // namespace tarvex::devbus
