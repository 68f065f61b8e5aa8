#include "control.h"
#include "helperprocess.h"
#include "peer.h"
#include "require.h"
#include "samples.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <arpa/inet.h>
#include <mosquitto.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int PATIENCE_MS = 30000;
constexpr int LOOP_WAIT_MS = 1000;
constexpr int QOS = 1;
constexpr int KEEP_ALIVE_S = 3600; // so that no ping comes in between
constexpr int SHORT_TEXT = 64;

constexpr char TOPIC_UP[] = "bus/messages";
constexpr char TOPIC_REQUEST[] = "bus/requests";
constexpr char TOPIC_ANSWER[] = "client/answers";
constexpr char TOPIC_PUSH[] = "client/messages";

/// A port that nobody listens on at this moment.
int freePort()
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    require(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), size) == 0
                && ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) == 0,
            "there is no free port");
    ::close(descriptor);
    return ntohs(address.sin_port);
}

QByteArray jsonOf(const MessageFields& message)
{
    return QJsonDocument::fromVariant(samples::record(message).toVariantMap()).toJson(QJsonDocument::Compact);
}

/// The broker, with settings of its own. Small packets are not held back on either side, which is best for it.
class Broker
{
public:
    int port() const { return m_port; }

private:
    static QByteArray writeSettings(const QTemporaryDir& folder, int port)
    {
        QFile file(folder.filePath(QStringLiteral("broker.conf")));
        require(folder.isValid() && file.open(QIODevice::WriteOnly), "there is no room for the broker's settings");
        // Root stays root, because a network namespace may have no other user.
        file.write("listener " + QByteArray::number(port)
                   + " 127.0.0.1\nallow_anonymous true\npersistence false\nset_tcp_nodelay true\nlog_dest none\n"
                     "user root\n");
        return QFile::encodeName(file.fileName());
    }

    const int m_port = freePort();
    QTemporaryDir m_folder;
    HelperProcess m_process{{MQTT_BROKER, "-c", writeSettings(m_folder, m_port)}};
};

/// To be made before the first client.
class MosquittoLibrary
{
public:
    MosquittoLibrary() { require(mosquitto_lib_init() == MOSQ_ERR_SUCCESS, "libmosquitto does not start"); }

    ~MosquittoLibrary() { mosquitto_lib_cleanup(); }
    Q_DISABLE_COPY_MOVE(MosquittoLibrary)
};

/// A client of the broker.
class Client
{
public:
    Client(const char* name, int port) : m_client(mosquitto_new(name, true, this))
    {
        mosquitto_int_option(m_client, MOSQ_OPT_TCP_NODELAY, 1);
        mosquitto_connect_callback_set(
            m_client, [](mosquitto*, void* self, int code) { static_cast<Client*>(self)->m_isAccepted = code == 0; });
        mosquitto_subscribe_callback_set(m_client, [](mosquitto*, void* self, int, int, const int*) {
            static_cast<Client*>(self)->m_isSubscribed = true;
        });
        mosquitto_publish_callback_set(
            m_client, [](mosquitto*, void* self, int number) { static_cast<Client*>(self)->m_published = number; });
        mosquitto_message_callback_set(m_client, [](mosquitto*, void* self, const mosquitto_message* message) {
            static_cast<Client*>(self)->m_comeSize = message->payloadlen;
        });
        connectTo(port);
        serveUntil([this] { return m_isAccepted; });
    }

    ~Client() { mosquitto_destroy(m_client); }
    Q_DISABLE_COPY_MOVE(Client)

    void subscribe(const char* topic)
    {
        m_isSubscribed = false;
        require(mosquitto_subscribe(m_client, nullptr, topic, QOS) == MOSQ_ERR_SUCCESS, "the broker has gone");
        serveUntil([this] { return m_isSubscribed; });
    }

    void publish(const char* topic, const QByteArray& payload)
    {
        require(mosquitto_publish(m_client, &m_publishing, topic, payload.size(), payload.constData(), QOS, false)
                    == MOSQ_ERR_SUCCESS,
                "the broker has gone");
    }

    /// Whether the broker has the message that was published last.
    bool isPublished() const { return m_published == m_publishing; }

    /// The size of the message that has come, or -1. It is forgotten by this.
    int takeComeSize() { return std::exchange(m_comeSize, -1); }

    bool hasCome() const { return m_comeSize >= 0; }

    void serve(int waitMs) { require(mosquitto_loop(m_client, waitMs, 1) == MOSQ_ERR_SUCCESS, "the broker has gone"); }

    template <typename Condition>
    void serveUntil(const Condition& holds)
    {
        while (!holds()) {
            serve(LOOP_WAIT_MS);
        }
    }

    int descriptor() const { return mosquitto_socket(m_client); }

private:
    /// The broker does not tell when it listens.
    void connectTo(int port)
    {
        QElapsedTimer clock;
        clock.start();
        while (mosquitto_connect(m_client, "127.0.0.1", port, KEEP_ALIVE_S) != MOSQ_ERR_SUCCESS) {
            require(!clock.hasExpired(PATIENCE_MS), "the broker does not start");
            QThread::msleep(10);
        }
    }

    mosquitto* const m_client;
    bool m_isAccepted = false;
    bool m_isSubscribed = false;
    int m_publishing = 0;
    int m_published = 0;
    int m_comeSize = -1;
};

/// A message is its JSON text, which nobody reads. The settings are asked for by one message and come as another one,
/// from another client. All of them have the quality of service 1: the broker acknowledges them, and so does a client.
class MqttPeer : public Peer
{
public:
    MqttPeer() : m_server(HelperProcess::server("mqtt", {QByteArray::number(m_broker.port())}))
    {
        require(m_server.readLine() == "ready", "the other side of the broker does not start");
        m_client.subscribe(TOPIC_ANSWER);
        m_client.subscribe(TOPIC_PUSH);
    }

    void prepare(Operation operation, int bytes, int count) override
    {
        m_operation = operation;
        m_bytes = bytes;
        // Made once, because a new record asks the system for the time zone, and run() is counted together with
        // makeReady() for the system calls. Only the identifier differs then.
        const MessageFields message = samples::message(bytes);
        m_message = jsonOf(message);
        m_uidAt = m_message.indexOf(message.uid.toLatin1());
        const QVariantMap settings = samples::settings(operation == Operation::Down ? bytes : SHORT_TEXT);
        m_server.command("reply", QJsonDocument::fromVariant(settings).toJson(QJsonDocument::Compact));
        for (int number = 0; operation == Operation::Push && number < count; ++number) {
            m_server.command("push", jsonOf(samples::message(bytes)));
        }
    }

    void makeReady() override
    {
        if (m_operation == Operation::Up) {
            const QByteArray uid = samples::message(m_bytes).uid.toLatin1();
            m_message.replace(m_uidAt, uid.size(), uid);
        }
        m_client.takeComeSize();
    }

    void run() override
    {
        switch (m_operation) {
        case Operation::Up:
            m_client.publish(TOPIC_UP, m_message);
            m_client.serveUntil([this] { return m_client.isPublished(); });
            break;
        case Operation::Down:
            m_client.publish(TOPIC_REQUEST, samples::CLIENT);
            m_client.serveUntil([this] { return m_client.hasCome() && m_client.isPublished(); });
            break;
        case Operation::Push:
            m_server.send("go\n");
            m_client.serveUntil([this] { return m_client.hasCome(); });
            require(m_client.takeComeSize() > m_bytes, "what is pushed is too short");
            break;
        }
        pause();
    }

private:
    MosquittoLibrary m_library;
    Broker m_broker;
    HelperProcess m_server;
    Client m_client{"client", m_broker.port()};
    Operation m_operation = Operation::Up;
    int m_bytes = 0;
    QByteArray m_message;
    int m_uidAt = 0;
};

} // namespace

std::unique_ptr<Peer> makeMqttPeer()
{
    return std::make_unique<MqttPeer>();
}

int serveMqtt(const QList<QByteArray>& arguments)
{
    require(arguments.size() == 1, "the other side of the broker takes a port");
    const MosquittoLibrary library;
    Client client("server", arguments.at(0).toInt());
    client.subscribe(TOPIC_REQUEST);
    Control control;
    Control::say("ready");
    for (;;) {
        pollfd entries[] = {{STDIN_FILENO, POLLIN, 0}, {client.descriptor(), POLLIN, 0}};
        require(::poll(entries, 2, -1) > 0, "poll() fails");
        if (entries[0].revents != 0 && control.take()) {
            client.publish(TOPIC_PUSH, control.takePush());
        }
        if (entries[1].revents != 0) {
            client.serve(0);
        }
        if (client.takeComeSize() >= 0) {
            client.publish(TOPIC_ANSWER, control.reply());
        }
    }
}
