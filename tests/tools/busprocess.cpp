#include "busprocess.h"

#include "literals.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QVariant>

BusProcess::BusProcess(Storage storage) : m_storage(storage)
{
    // A killed bus leaves its control socket behind. Therefore the socket is in a folder that is deleted with this
    // object. The program finds it by the same variable.
    qputenv("XDG_RUNTIME_DIR", m_folder.path().toUtf8());
    start();
}

BusProcess::~BusProcess()
{
    killHard();
}

bool BusProcess::start()
{
    const QStringList arguments =
        m_storage == InMemory ? QStringList{u"--memory"_s} : QStringList{u"--storage"_s, storagePath()};
    m_process = std::make_unique<ChildProcess>(QStringLiteral(DEVBUS), arguments);
    return m_process->start() && m_process->waitForLine(u"tarvex-devbus: ready on"_s);
}

void BusProcess::killHard()
{
    m_process->killHard();
}

void BusProcess::hang()
{
    m_process->hang();
}

void BusProcess::goOn()
{
    m_process->resume();
}

QStringList BusProcess::subscriptions() const
{
    return rows(u"SELECT client || ' ' || publisher || ' ' || goals FROM subscriptions ORDER BY client, publisher"_s);
}

QStringList BusProcess::messages() const
{
    return rows(u"SELECT * FROM messages"_s);
}

QStringList BusProcess::rows(const QString& query) const
{
    QStringList rows;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"look"_s);
        database.setDatabaseName(storagePath());
        database.setConnectOptions(u"QSQLITE_OPEN_READONLY"_s);
        QSqlQuery answer(database);
        if (!database.open() || !answer.exec(query)) {
            rows.append(u"the storage cannot be read"_s);
        }
        while (answer.next()) {
            rows.append(answer.value(0).toString());
        }
    }
    QSqlDatabase::removeDatabase(u"look"_s);
    return rows;
}

ScriptedClient::ScriptedClient(const QString& name)
    : m_name(name), m_query(BusClient::QUERY_PORT, name), m_receiver(BusClient::RECEIVER_PORT, name)
{
}

bool ScriptedClient::send(const QString& receiver, const QString& text, const QString& uid)
{
    const BusClient::Frame reply = m_query.ask(u"sendMessage"_s,
                                               {{u"sender"_s, m_name},
                                                {u"reciever"_s, receiver},
                                                {u"date"_s, someDate()},
                                                {u"message"_s, text},
                                                {u"UID"_s, uid}});
    return reply.code == 0;
}

bool ScriptedClient::saveState(const QString& state, int type, const QString& description, const QString& date)
{
    const BusClient::Frame reply = m_query.ask(u"saveState"_s,
                                               {{u"owner"_s, m_name},
                                                {u"date"_s, date},
                                                {u"description"_s, description},
                                                {u"state"_s, state},
                                                {u"type"_s, type}});
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
    return u"2026-03-01T10:11:%1.345"_s.arg(second, 2, 10, QLatin1Char('0'));
}
