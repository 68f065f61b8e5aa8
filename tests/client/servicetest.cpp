#include "servicetest.h"

#include "samples.h"

#include <QTest>

#include <algorithm>

using namespace tarvex;

TarvexCommand commandIn(const Message& message)
{
    TarvexCommand cmd;
    TarvexCommand::incomingMessageToCmd(message, cmd);
    return cmd;
}

QByteArray pushFrame(const QString& text, const QString& uid)
{
    return FakeBus::requestFrame(u"sendMessage"_s, samples::someMessage(PRINTER, text, uid).toVariantMap());
}

void ServiceTest::init()
{
    queryBus = std::make_unique<FakeBus>(FakeBus::QUERY_PORT);
    receiverBus = std::make_unique<FakeBus>(FakeBus::RECEIVER_PORT);
    queryBus->willAlwaysDo(FakeBus::answer);
}

void ServiceTest::cleanup()
{
    queryBus.reset();
    receiverBus.reset();
    // Some workers were blocked until the server went away.
    QTRY_COMPARE_WITH_TIMEOUT(livingWorkers.load(), 0, 20000);
}

bool ServiceTest::isStarted(Service& service, MsgWorker* msgWorker, QueryWorker* queryWorker) const
{
    service.initWorkers(msgWorker, queryWorker);
    return QTest::qWaitFor(
        [this, msgWorker, queryWorker] {
            return queryWorker->applied == 1 && (msgWorker == nullptr || receiverBus->handshakes().size() == 1);
        },
        20000);
}

QStringList ServiceTest::linesOnBus(const QString& text) const
{
    QStringList lines;
    const QList<FakeBus::Request> requests = queryBus->requests();
    for (const FakeBus::Request& request : requests) {
        // For anything else a line would be logged, because it is no command, and that line would come to the bus as
        // well.
        if (request.operation != QLatin1String("sendMessage")) {
            continue;
        }
        const Message message = Message::fromVariantMap(request.data);
        const TarvexCommand cmd = commandIn(message);
        if (cmd.data().value(u"text"_s).toString() == text) {
            lines.append(cmd.name() + QLatin1String(" to ") + message.reciever());
        }
    }
    return lines;
}

int ServiceTest::countOf(const QString& operation) const
{
    const QList<FakeBus::Request> requests = queryBus->requests();
    return static_cast<int>(
        std::count_if(requests.begin(), requests.end(),
                      [&operation](const FakeBus::Request& request) { return request.operation == operation; }));
}
