#include "cmdlayer/tarvexcommand.h"
#include "records/clientsettings.h"
#include "records/clientstate.h"
#include "records/message.h"
#include "records/tarvexerror.h"

#include "literals.h"
#include "logcapture.h"

#include <QAbstractSocket>
#include <QList>
#include <QMetaType>
#include <QPair>
#include <QTest>
#include <QThread>

#include <atomic>

// As a service sees them: signals and slots name the records by their short names.
using tarvex::ClientSettings;
using tarvex::ClientState;
using tarvex::Message;
using tarvex::TarvexError;

class Sender : public QObject
{
    Q_OBJECT
Q_SIGNALS:
    void messageMade(Message message);
    void settingsMade(ClientSettings settings);
    void settingsListMade(QList<ClientSettings> settings);
    void stateMade(ClientState state);
    void errorMade(TarvexError error);
    void pairsMade(QList<QPair<QString, qint32>> pairs);
    void socketErrorMade(QAbstractSocket::SocketError error);
};

class Receiver : public QObject
{
    Q_OBJECT
public:
    /// What has come, as text. Read it only when count says that something has come.
    QString text;
    QThread* thread = nullptr;
    std::atomic<int> count{0};

public Q_SLOTS:

    void takeMessage(Message message) { take(message.message()); }

    void takeSettings(ClientSettings settings) { take(settings.owner()); }

    void takeSettingsList(QList<ClientSettings> settings) { take(settings.last().owner()); }

    void takeState(ClientState state) { take(state.state()); }

    void takeError(TarvexError error) { take(error.description()); }

    void takePairs(QList<QPair<QString, qint32>> pairs)
    {
        take(pairs.last().first + QString::number(pairs.last().second));
    }

    void takeSocketError(QAbstractSocket::SocketError error) { take(QString::number(static_cast<int>(error))); }

private:
    void take(const QString& came)
    {
        text = came;
        thread = QThread::currentThread();
        ++count;
    }
};

class TstMetaTypes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void types_atLoad_areKnownByName_data();
    void types_atLoad_areKnownByName();
    void queuedConnection_byShortName_delivers_data();
    void queuedConnection_byShortName_delivers();
};

// This must stay the first test, because before it nothing of the library may be called, and no type may be asked for
// by its class.
void TstMetaTypes::types_atLoad_areKnownByName_data()
{
    QTest::addColumn<QByteArray>("shortName");
    QTest::addColumn<QByteArray>("fullName");
    QTest::addColumn<int>("size");
    const auto row = [](const char* shortName, const char* fullName, size_t size) {
        QTest::newRow(shortName) << QByteArray(shortName) << QByteArray(fullName) << static_cast<int>(size);
    };
    row("Message", "tarvex::Message", sizeof(Message));
    row("TarvexError", "tarvex::TarvexError", sizeof(TarvexError));
    row("ClientSettings", "tarvex::ClientSettings", sizeof(ClientSettings));
    row("ClientState", "tarvex::ClientState", sizeof(ClientState));
    row("QList<ClientSettings>", "QList<tarvex::ClientSettings>", sizeof(QList<ClientSettings>));
    row("QList<QPair<QString,qint32> >", "QList<QPair<QString,qint32>>", sizeof(QList<QPair<QString, qint32>>));
    row("TarvexCommand", "TarvexCommand", sizeof(TarvexCommand));
    row("QAbstractSocket::SocketError", "QAbstractSocket::SocketError", sizeof(QAbstractSocket::SocketError));
}

void TstMetaTypes::types_atLoad_areKnownByName()
{
    QFETCH(QByteArray, shortName);
    QFETCH(QByteArray, fullName);
    QFETCH(int, size);
    const int type = QMetaType::type(shortName.constData());
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(QMetaType::type(fullName.constData()), type);
    QCOMPARE(QMetaType::sizeOf(type), size);
}

void TstMetaTypes::queuedConnection_byShortName_delivers_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QByteArray>("slot");
    QTest::addColumn<QString>("text");
    // SIGNAL() and SLOT() return the normalised signature after a digit.
    const auto row = [](const char* name, const char* signal, const char* slot, const char* text) {
        QTest::newRow(name) << QByteArray(signal) << QByteArray(slot) << QString::fromLatin1(text);
    };
    row("message", SIGNAL(messageMade(Message)), SLOT(takeMessage(Message)), "hello");
    row("settings", SIGNAL(settingsMade(ClientSettings)), SLOT(takeSettings(ClientSettings)), "cashbox");
    row("settings list", SIGNAL(settingsListMade(QList<ClientSettings>)), SLOT(takeSettingsList(QList<ClientSettings>)),
        "cashbox");
    row("state", SIGNAL(stateMade(ClientState)), SLOT(takeState(ClientState)), "open");
    row("error", SIGNAL(errorMade(TarvexError)), SLOT(takeError(TarvexError)), "bad");
    row("pairs", SIGNAL(pairsMade(QList<QPair<QString, qint32>>)), SLOT(takePairs(QList<QPair<QString, qint32>>)),
        "printer3");
    row("socket error", SIGNAL(socketErrorMade(QAbstractSocket::SocketError)),
        SLOT(takeSocketError(QAbstractSocket::SocketError)), "1");
}

void TstMetaTypes::queuedConnection_byShortName_delivers()
{
    QFETCH(QByteArray, signal);
    QFETCH(QByteArray, slot);
    QFETCH(QString, text);
    const LogCapture log;
    QThread thread;
    Receiver receiver;
    receiver.moveToThread(&thread);
    Sender sender;
    // The call does not ask for a queued connection. Qt sees that it must be one when the signal is emitted.
    QVERIFY(QObject::connect(&sender, signal.constData(), &receiver, slot.constData()));

    Message message;
    message.setMessage(u"hello"_s);
    ClientSettings settings;
    settings.setOwner(u"cashbox"_s);
    ClientState state;
    state.setState(u"open"_s);
    Q_EMIT sender.messageMade(message);
    Q_EMIT sender.settingsMade(settings);
    Q_EMIT sender.settingsListMade({ClientSettings(), settings});
    Q_EMIT sender.stateMade(state);
    Q_EMIT sender.errorMade(TarvexError(TarvexError::NoError, u"bad"_s));
    Q_EMIT sender.pairsMade({{u"door"_s, 1}, {u"printer"_s, 3}});
    Q_EMIT sender.socketErrorMade(QAbstractSocket::RemoteHostClosedError);
    // The thread starts only now, because the thread sanitizer sees the start of a thread, but not Qt's queue.
    thread.start();

    QTRY_COMPARE(receiver.count.load(), 1);
    thread.quit();
    QVERIFY(thread.wait());
    QCOMPARE(receiver.text, text);
    QCOMPARE(receiver.thread, &thread);
    // If the types were unknown, "QObject::connect: Cannot queue arguments of type ..." would be here.
    QCOMPARE(log.texts(), QStringList());
}

QTEST_GUILESS_MAIN(TstMetaTypes)
#include "tst_metatypes.moc"
