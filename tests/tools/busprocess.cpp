#include "busprocess.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

#include <csignal>

BusProcess::BusProcess(Storage storage) : m_storage(storage)
{
    // The control socket of a bus that is killed stays behind, so it is in a folder that goes with this object. The
    // program finds it by the same variable.
    qputenv("XDG_RUNTIME_DIR", m_folder.path().toUtf8());
    start();
}

BusProcess::~BusProcess()
{
    killHard();
}

bool BusProcess::start()
{
    const QStringList arguments = m_storage == InMemory
        ? QStringList{QStringLiteral("--memory")}
        : QStringList{QStringLiteral("--storage"), m_folder.filePath(QStringLiteral("bus.sqlite"))};
    m_process.start(QStringLiteral(DEVBUS), arguments, QIODevice::ReadOnly);
    // Its one line on stdout, which says that it is ready.
    return m_process.waitForReadyRead() && m_process.readAllStandardOutput().contains("ready on");
}

void BusProcess::killHard()
{
    m_process.kill();
    m_process.waitForFinished();
}

void BusProcess::hang()
{
    sendSignal(SIGSTOP);
}

void BusProcess::goOn()
{
    sendSignal(SIGCONT);
}

QStringList BusProcess::subscriptions() const
{
    return rows(QStringLiteral(
        "SELECT client || ' ' || publisher || ' ' || goals FROM subscriptions ORDER BY client, publisher"));
}

QStringList BusProcess::messages() const
{
    return rows(QStringLiteral("SELECT * FROM messages"));
}

QStringList BusProcess::rows(const QString& query) const
{
    QStringList rows;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("look"));
        database.setDatabaseName(m_folder.filePath(QStringLiteral("bus.sqlite")));
        database.setConnectOptions(QStringLiteral("QSQLITE_OPEN_READONLY"));
        QSqlQuery answer(database);
        if (!database.open() || !answer.exec(query)) {
            rows.append(QStringLiteral("the storage cannot be read"));
        }
        while (answer.next()) {
            rows.append(answer.value(0).toString());
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("look"));
    return rows;
}

void BusProcess::sendSignal(int signal)
{
    ::kill(static_cast<pid_t>(m_process.processId()), signal);
}

ScriptedClient::ScriptedClient(const QString& name)
    : m_name(name), m_query(BusClient::QUERY_PORT, name), m_receiver(BusClient::RECEIVER_PORT, name)
{
}

bool ScriptedClient::send(const QString& receiver, const QString& text, const QString& uid)
{
    const BusClient::Frame reply = m_query.ask(QStringLiteral("sendMessage"),
                                               {{QStringLiteral("sender"), m_name},
                                                {QStringLiteral("reciever"), receiver},
                                                {QStringLiteral("date"), someDate()},
                                                {QStringLiteral("message"), text},
                                                {QStringLiteral("UID"), uid}});
    return reply.code == 0;
}

bool ScriptedClient::saveState(const QString& state, int type, const QString& description, const QString& date)
{
    const BusClient::Frame reply = m_query.ask(QStringLiteral("saveState"),
                                               {{QStringLiteral("owner"), m_name},
                                                {QStringLiteral("date"), date},
                                                {QStringLiteral("description"), description},
                                                {QStringLiteral("state"), state},
                                                {QStringLiteral("type"), type}});
    return reply.code == 0;
}

QVariantMap ScriptedClient::receive()
{
    const BusClient::Frame pushed = m_receiver.read();
    m_receiver.acknowledge(pushed);
    return pushed.data;
}

QString someDate(int second)
{
    return QStringLiteral("2026-03-01T10:11:%1.345").arg(second, 2, 10, QLatin1Char('0'));
}
