#include "control.h"
#include "dbusobjects.h"
#include "helperprocess.h"
#include "peer.h"
#include "require.h"
#include "samples.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QFile>
#include <QJsonDocument>
#include <QSocketNotifier>
#include <QTemporaryDir>

#include <unistd.h>

namespace {

constexpr int PATIENCE_MS = 30000;
constexpr int SHORT_TEXT = 64;

const QString SERVER_NAME = QStringLiteral("tarvex.BenchmarkServer");
const QString CLIENT_NAME = QStringLiteral("tarvex.BenchmarkClient");
const QString OBJECT_PATH = QStringLiteral("/bus");
const QString INTERFACE = QStringLiteral("tarvex.Benchmark");

QVariantList argumentsOf(const MessageFields& message)
{
    return {message.sender, message.reciever, message.date.toString(Qt::ISODateWithMs), message.text, message.uid};
}

QDBusConnection connectTo(const QByteArray& address, const QString& name, QObject& object)
{
    QDBusConnection connection = QDBusConnection::connectToBus(QString::fromUtf8(address), name);
    require(connection.isConnected() && connection.registerService(name)
                && connection.registerObject(OBJECT_PATH, &object, QDBusConnection::ExportAllSlots),
            "the D-Bus daemon does not take the connection");
    return connection;
}

/// The daemon, with a socket and settings of its own.
class Daemon
{
public:
    QByteArray address() const { return m_address; }

private:
    static QByteArray writeSettings(const QTemporaryDir& folder)
    {
        QFile file(folder.filePath(QStringLiteral("bus.conf")));
        require(folder.isValid() && file.open(QIODevice::WriteOnly), "there is no room for the daemon's settings");
        file.write("<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
                   " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                   "<busconfig><type>session</type><listen>unix:path="
                   + QFile::encodeName(folder.filePath(QStringLiteral("socket")))
                   + "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                     "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                     "<allow own=\"*\"/></policy></busconfig>\n");
        return QFile::encodeName(file.fileName());
    }

    QTemporaryDir m_folder;
    HelperProcess m_process{
        {DBUS_DAEMON, "--nofork", "--nopidfile", "--print-address=1", "--config-file=" + writeSettings(m_folder)}};
    QByteArray m_address = m_process.readLine();
};

/// A message is five strings. The settings are one string, their JSON text, which nobody reads: as values of D-Bus they
/// would cost more.
class DBusPeer : public Peer
{
public:
    DBusPeer()
        : m_server(HelperProcess::server("dbus", {m_daemon.address()}))
        , m_connection(connectTo(m_daemon.address(), CLIENT_NAME, m_object))
    {
        require(m_server.readLine() == "ready", "the other side on D-Bus does not start");
    }

    ~DBusPeer() override { QDBusConnection::disconnectFromBus(CLIENT_NAME); }
    Q_DISABLE_COPY_MOVE(DBusPeer)

    void prepare(Operation operation, int bytes, int count) override
    {
        m_operation = operation;
        m_bytes = bytes;
        const QVariantMap settings = samples::settings(operation == Operation::Down ? bytes : SHORT_TEXT);
        m_server.command("reply", QJsonDocument::fromVariant(settings).toJson(QJsonDocument::Compact));
        for (int number = 0; operation == Operation::Push && number < count; ++number) {
            m_server.command("push", samples::message(bytes).text.toUtf8());
        }
    }

    void makeReady() override
    {
        if (m_operation == Operation::Up) {
            m_message = samples::message(m_bytes);
        }
        m_object.forget();
    }

    void run() override
    {
        switch (m_operation) {
        case Operation::Up:
            require(call(QStringLiteral("sendMessage"), argumentsOf(m_message)).toInt() == 0, "a call fails");
            break;
        case Operation::Down:
            require(!call(QStringLiteral("loadSettings"), {QString::fromUtf8(samples::CLIENT)}).toString().isEmpty(),
                    "a call fails");
            break;
        case Operation::Push:
            m_server.send("go\n");
            while (!m_object.isPushed()) {
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            }
            require(m_object.textSize() >= m_bytes / 2, "what is pushed is too short");
            break;
        }
        pause();
    }

private:
    QVariant call(const QString& method, const QVariantList& arguments)
    {
        QDBusMessage request = QDBusMessage::createMethodCall(SERVER_NAME, OBJECT_PATH, INTERFACE, method);
        request.setArguments(arguments);
        const QDBusMessage reply = m_connection.call(request, QDBus::Block, PATIENCE_MS);
        require(reply.type() == QDBusMessage::ReplyMessage && reply.arguments().size() == 1, "a call fails");
        return reply.arguments().constFirst();
    }

    Daemon m_daemon;
    HelperProcess m_server;
    DBusClient m_object;
    QDBusConnection m_connection;
    Operation m_operation = Operation::Up;
    int m_bytes = 0;
    MessageFields m_message;
};

} // namespace

std::unique_ptr<Peer> makeDBusPeer()
{
    return std::make_unique<DBusPeer>();
}

int serveDBus(const QList<QByteArray>& arguments)
{
    require(arguments.size() == 1, "the server on D-Bus takes an address");
    DBusServer object;
    QDBusConnection connection = connectTo(arguments.at(0), SERVER_NAME, object);
    Control control;
    QSocketNotifier commands(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&commands, &QSocketNotifier::activated, &object, [&] {
        const bool isToPush = control.take();
        object.setSettings(QString::fromUtf8(control.reply()));
        if (isToPush) {
            MessageFields message = samples::message(SHORT_TEXT);
            message.text = QString::fromUtf8(control.takePush());
            QDBusMessage push =
                QDBusMessage::createMethodCall(CLIENT_NAME, OBJECT_PATH, INTERFACE, QStringLiteral("takeMessage"));
            push.setArguments(argumentsOf(message));
            connection.asyncCall(push, PATIENCE_MS);
        }
    });
    Control::say("ready");
    return QCoreApplication::exec();
}
