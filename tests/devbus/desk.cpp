#include "desk.h"

#include <QRandomGenerator>

using tarvex::TarvexError;
using tarvex::devbus::BusServer;
using tarvex::devbus::FaultRule;
using tarvex::devbus::isFailure;
using tarvex::devbus::readFaultRule;

Desk::Desk(const BusServer::Options& options) : bus(options), client(BusClient::QUERY_PORT, u"a"_s) { }

bool Desk::send(const QString& reciever, const QString& uid, const QString& text)
{
    return ask(u"sendMessage"_s, samples::messageTo(reciever, uid, text)) == 0;
}

bool Desk::sendMany(const QString& reciever, int first, int last, const QString& text)
{
    bool isDone = true;
    for (int number = first; number <= last; ++number) {
        isDone = isDone && send(reciever, QString::number(number), text);
    }
    return isDone;
}

bool addFault(BusThread& bus, const QString& rule)
{
    FaultRule fault;
    TarvexError error = readFaultRule(rule, fault);
    if (!isFailure(error)) {
        bus.call([&](BusServer& server) { error = server.faults().add(fault); });
    }
    return !isFailure(error);
}

BusServer::Options storingIn(const QString& path)
{
    BusServer::Options options;
    options.storagePath = path;
    return options;
}

QVariantMap named(const QVariant& name)
{
    return {{u"name"_s, name}};
}

QVariantMap subscription(const QString& publisher, int goal)
{
    const QVariantMap entry{{u"name"_s, publisher}, {u"goal"_s, qlonglong(goal)}};
    return {{u"publishers"_s, QVariantList{entry}}};
}

QString noise(int size)
{
    QString text(size, Qt::Uninitialized);
    for (QChar& character : text) {
        character = QLatin1Char(static_cast<char>('a' + QRandomGenerator::global()->bounded(26)));
    }
    return text;
}
