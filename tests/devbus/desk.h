#ifndef DESK_H
#define DESK_H

#include "busclient.h"
#include "busthread.h"
#include "samples.h"

#include <QString>
#include <QVariantMap>

/// A bus in a thread of its own, and a client "a" that asks and sends.
class Desk
{
public:
    explicit Desk(const tarvex::devbus::BusServer::Options& options = {});

    /// \return the code of the reply.
    int ask(const QString& operation, const QVariantMap& data = {}) { return client.ask(operation, data).code; }

    bool send(const QString& reciever, const QString& uid, const QString& text = u"text"_s);
    /// Sends messages with the uids \a first to \a last.
    bool sendMany(const QString& reciever, int first, int last, const QString& text = u"text"_s);

    BusThread bus;
    BusClient client;
};

/// Adds a fault on purpose. \return whether the bus accepts the rule
bool addFault(BusThread& bus, const QString& rule);

/// The options of a bus that stores in \a path.
tarvex::devbus::BusServer::Options storingIn(const QString& path);

/// The data of "handshake".
QVariantMap named(const QVariant& name);

/// The data of "subscribe" for one publisher.
QVariantMap subscription(const QString& publisher, int goal);

/// Random letters, which compression makes smaller by half at most.
QString noise(int size);

#endif // DESK_H
