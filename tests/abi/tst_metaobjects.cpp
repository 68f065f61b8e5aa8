#include "client/tarvexcontroller.h"
#include "client/tarvexmessagesreciever.h"
#include "client/tarvexmsgworker.h"
#include "client/tarvexqueryhandler.h"
#include "client/tarvexqueryworker.h"
#include "cmdlayer/abstracttarvexcommandexecutor.h"
#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "logging/tarvexlogcreator.h"
#include "statewrapper/abstractstatewrapper.h"
#include "support/abstractworker.h"
#include "support/abstractworkercontroller.h"

#include "literals.h"

#include <QMetaMethod>
#include <QTest>

#include <initializer_list>

namespace {

const char* kindOf(const QMetaMethod& method)
{
    switch (method.methodType()) {
    case QMetaMethod::Signal:
        return "signal";
    case QMetaMethod::Slot:
        return "slot";
    case QMetaMethod::Constructor:
        return "constructor";
    case QMetaMethod::Method:
        break;
    }
    return "invokable";
}

const char* accessOf(const QMetaMethod& method)
{
    switch (method.access()) {
    case QMetaMethod::Private:
        return "private";
    case QMetaMethod::Protected:
        return "protected";
    case QMetaMethod::Public:
        break;
    }
    return "public";
}

/// As the header declares it: "public slot bool removeSettings(QString owner, bool mailOwner)".
QString asText(const QMetaMethod& method)
{
    QStringList parameters;
    for (int i = 0; i < method.parameterCount(); ++i) {
        parameters.append(QString::fromLatin1(method.parameterTypes().at(i) + ' ' + method.parameterNames().at(i)));
    }
    return u"%1 %2 %3 %4(%5)"_s.arg(QLatin1String(accessOf(method)), QLatin1String(kindOf(method)),
                                    QLatin1String(method.typeName()), QLatin1String(method.name()),
                                    parameters.join(QLatin1String(", ")));
}

/// The class as in the header: first itself with its base, then signals, slots and invokable methods in their order.
template <typename Class>
void row(std::initializer_list<const char*> lines)
{
    QStringList expected;
    for (const char* line : lines) {
        expected.append(QString::fromLatin1(line));
    }
    QTest::newRow(Class::staticMetaObject.className()) << &Class::staticMetaObject << expected;
}

} // namespace

Q_DECLARE_METATYPE(const QMetaObject*)

/// Services that were built against an earlier library call signals, slots and invokable methods by number.
class TstMetaObjects : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void class_hasItsMethodsInOrder_data();
    void class_hasItsMethodsInOrder();
};

/// A new signal stands behind the last signal and a new slot behind the last slot of a class from which no other class
/// derives.
void TstMetaObjects::class_hasItsMethodsInOrder_data()
{
    QTest::addColumn<const QMetaObject*>("meta");
    QTest::addColumn<QStringList>("expected");
    row<wexcor::AbstractWorker>({"class wexcor::AbstractWorker : QObject", "public slot void restart()"});
    row<wexcor::AbstractWorkerController>({"class wexcor::AbstractWorkerController : QObject"});
    row<tarvex::TarvexController>({
        "class tarvex::TarvexController : wexcor::AbstractWorkerController",
        "public signal void stateChanged()",
        "public signal void settingsChanged()",
        "public signal void sendLogMessage(Message msg)",
    });
    row<tarvex::TarvexMessagesReciever>({
        "class tarvex::TarvexMessagesReciever : QObject",
        "public signal void incomingMessage(Message msg)",
        "public signal void busDisconnected()",
        "public signal void tarvexConnected()",
        "public slot bool open()",
        "public slot void close()",
        "private slot void socketConnected()",
        "private slot void socketDisconnected()",
        "private slot void socketError(QAbstractSocket::SocketError error)",
        "private slot void onSocketReadyRead()",
        "public slot bool handshake()",
        "public slot bool request(QString cmd, QVariantMap data)",
        "public slot bool reply(QString cmd, TarvexError error, QVariantMap data)",
    });
    row<tarvex::TarvexMsgWorker>({
        "class tarvex::TarvexMsgWorker : wexcor::AbstractWorker",
        "public signal void updateSettings()",
        "public signal void stateChanged(ClientState state)",
        "public signal void unprocessedMessage(Message msg)",
        "public signal void workerConnected()",
        "public slot void processMessage(Message msg)",
    });
    row<tarvex::TarvexQueryHandler>({
        "class tarvex::TarvexQueryHandler : QObject",
        "public signal void busDisconnected()",
        "public signal void tarvexConnected()",
        "public slot bool open()",
        "public slot void close()",
        "public slot bool saveState(ClientState state)",
        "public slot bool saveSettings(ClientSettings settings)",
        "public slot bool saveSettings(QList<ClientSettings> settings)",
        "public slot bool removeSettings(ClientSettings settings)",
        "public slot bool removeSettings(QString owner, bool mailOwner)",
        "public slot bool removeSettings(QString owner)",
        "public slot bool sendMessage(Message message)",
        "public slot bool subscribe(QList<QPair<QString,qint32> > pubs)",
        "public slot bool subscribe(QStringList pubs)",
        "public slot bool subscribe(QString publisher, int goals)",
        "public slot bool unsubscribe(QStringList pubs)",
        "private slot void socketConnected()",
        "private slot void socketDisconnected()",
        "private slot void socketError(QAbstractSocket::SocketError error)",
    });
    row<tarvex::TarvexQueryWorker>({
        "class tarvex::TarvexQueryWorker : wexcor::AbstractWorker",
        "public signal void settingsChanged()",
        "public signal void workerConnected()",
        "public slot void updateSettings()",
        "public slot void sendState()",
        "public slot void sendMessage(Message message)",
    });
    row<AbstractTarvexCommandExecutor>({"class AbstractTarvexCommandExecutor : QObject"});
    row<AbstractTarvexCommandsWorker>({
        "class AbstractTarvexCommandsWorker : wexcor::AbstractWorker",
        "public signal void sendCommand(TarvexCommand cmd)",
        "public slot void exec(TarvexCommand cmd)",
    });
    row<AbstractStateWrapper>({
        "class AbstractStateWrapper : QObject",
        "public signal void stateChanged()",
        "public slot void commit()",
    });
    row<tarvex::TarvexLogCreator>({
        "class tarvex::TarvexLogCreator : QObject",
        "public signal void sendMessage(Message msg)",
        "public invokable void sendMessage(QString prefix, QString text)",
        "public invokable void sendGuiMessage(QString prefix, QString text)",
    });
}

void TstMetaObjects::class_hasItsMethodsInOrder()
{
    QFETCH(const QMetaObject*, meta);
    QFETCH(QStringList, expected);
    QStringList actual{
        u"class %1 : %2"_s.arg(QLatin1String(meta->className()), QLatin1String(meta->superClass()->className()))};
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        actual.append(asText(meta->method(i)));
    }
    QCOMPARE(actual, expected);
    QCOMPARE(meta->propertyCount(), QObject::staticMetaObject.propertyCount());
    QCOMPARE(meta->enumeratorCount(), 0);
    QCOMPARE(meta->classInfoCount(), 0);
    QCOMPARE(meta->constructorCount(), 0);
}

QTEST_GUILESS_MAIN(TstMetaObjects)
#include "tst_metaobjects.moc"
