#include "programs.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <memory>

namespace {

QString echoState()
{
    const auto record = tarvexctl({u"--json"_s, u"state"_s, u"get"_s, u"echo"_s});
    return QJsonDocument::fromJson(record.value_or(QByteArray())).object().value(u"state"_s).toString();
}

bool sendEcho(const QString& text)
{
    return tarvexctl({u"send"_s, u"echo"_s, u"--command"_s, u"echo"_s, uR"({"text":"%1"})"_s.arg(text)}).has_value();
}

bool setPrefix(const QString& prefix)
{
    return tarvexctl({u"settings"_s, u"set"_s, u"echo"_s, u"echo"_s, u"prefix"_s, prefix}).has_value();
}

QVariantMap jsonObject(const QString& text)
{
    return QJsonDocument::fromJson(text.toUtf8()).object().toVariantMap();
}

struct SentCommand
{
    QString addressee;
    QString uid;
    QVariantMap data;
};

/// The commands of this name that a client has sent, read from the trace of the bus.
QList<SentCommand> tracedCommands(ChildProcess& bus, const QString& client, const QString& name)
{
    const QString mark = u" in  query/%1 REQUEST sendMessage "_s.arg(client);
    QList<SentCommand> commands;
    const QStringList lines = bus.errorLines().filter(mark);
    for (const QString& line : lines) {
        const QVariantMap message = jsonObject(line.mid(line.indexOf(mark) + mark.size()));
        const QVariantMap command = jsonObject(message.value(u"message"_s).toString());
        if (command.value(u"cmd"_s).toString() == name) {
            commands.append({message.value(u"reciever"_s).toString(), message.value(u"UID"_s).toString(),
                             command.value(u"data"_s).toMap()});
        }
    }
    return commands;
}

int countEchoRequests(ChildProcess& bus, const QString& operation)
{
    return bus.errorLines().filter(u" in  query/echo REQUEST %1 "_s.arg(operation)).size();
}

bool hasLine(ChildProcess& process, const QStringList& parts)
{
    QStringList lines = process.lines();
    for (const QString& part : parts) {
        lines = lines.filter(part);
    }
    return !lines.isEmpty();
}

} // namespace

/// The example services, started as a reader of the documents starts them.
class TstExamples : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void echo_answersAndReportsItsState();
    void echo_answersTheSenderWithPrefixAndUid();
    void echo_storesItsDefaultsOnce();
    void services_comeBackAfterTheBusWasKilled();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<BusProgram> m_bus;
    std::unique_ptr<ChildProcess> m_logger;
    std::unique_ptr<ChildProcess> m_echo;
};

void TstExamples::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_bus =
        std::make_unique<BusProgram>(QStringList{u"--trace"_s, u"--storage"_s, m_folder->filePath(u"bus.sqlite"_s)});
    m_logger = std::make_unique<ChildProcess>(QStringLiteral(LOG_SERVICE));
    m_echo = std::make_unique<ChildProcess>(QStringLiteral(ECHO_SERVICE));
    m_logger->start();
    m_echo->start();
    // The echo service finds no settings, logs this, stores its defaults, and the bus tells it to load them.
    QTRY_VERIFY_WITH_TIMEOUT(hasLine(*m_logger, {u"\techo\t"_s, u"prefix is now "_s}), 30000);
    QVERIFY(hasLine(*m_logger, {u"\techo\t"_s, u"Settings loading error"_s}));
}

void TstExamples::cleanup()
{
    QCOMPARE(m_echo->terminate(), 0);
    QCOMPARE(m_logger->terminate(), 0);
    QCOMPARE(m_bus->terminate(), 0);
}

void TstExamples::echo_answersAndReportsItsState()
{
    QVERIFY(sendEcho(u"one"_s));
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), uR"({"answered":1})"_s, 20000);
    QVERIFY(sendEcho(u"two"_s));
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), uR"({"answered":2})"_s, 20000);
}

void TstExamples::echo_answersTheSenderWithPrefixAndUid()
{
    QVERIFY(setPrefix(u"loud: "_s));
    QTRY_VERIFY_WITH_TIMEOUT(hasLine(*m_logger, {u"\techo\tINFO\t"_s, u"prefix is now loud: "_s}), 20000);
    QVERIFY(sendEcho(u"one"_s));
    const QString client = u"tarvexctl"_s;
    QTRY_COMPARE_WITH_TIMEOUT(tracedCommands(*m_bus, u"echo"_s, u"echoed"_s).size(), 1, 20000);
    const QList<SentCommand> asked = tracedCommands(*m_bus, client, u"echo"_s);
    const SentCommand answer = tracedCommands(*m_bus, u"echo"_s, u"echoed"_s).constFirst();
    QCOMPARE(asked.size(), 1);
    QVERIFY(!asked.constFirst().uid.isEmpty());
    QCOMPARE(answer.uid, asked.constFirst().uid);
    QCOMPARE(answer.addressee, client);
    QCOMPARE(answer.data, (QVariantMap{{u"text"_s, u"loud: one"_s}}));
}

void TstExamples::echo_storesItsDefaultsOnce()
{
    const auto loads = [this] { return countEchoRequests(*m_bus, u"loadSettings"_s); };
    QCOMPARE(loads(), 2); // one before the defaults were stored, one after
    QCOMPARE(m_echo->terminate(), 0);
    m_echo->start();
    QTRY_COMPARE_WITH_TIMEOUT(loads(), 3, 30000);
    QVERIFY(m_bus->killHard());
    m_bus->start();
    QTRY_VERIFY_WITH_TIMEOUT(loads() >= 4, 30000);
    // Requests keep their order, so its answer comes after anything that it might store.
    QVERIFY(sendEcho(u"one"_s));
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), uR"({"answered":1})"_s, 20000);
    QCOMPARE(countEchoRequests(*m_bus, u"saveSettings"_s), 1);
}

void TstExamples::services_comeBackAfterTheBusWasKilled()
{
    QVERIFY(sendEcho(u"before"_s));
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), uR"({"answered":1})"_s, 20000);
    QVERIFY(m_bus->killHard());
    m_bus->start();
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), uR"({"answered":1})"_s, 20000);
    // The command is sent at once. It waits until both connections of the service are back, in whatever order.
    QVERIFY(sendEcho(u"after"_s));
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), uR"({"answered":2})"_s, 40000);
}

QTEST_GUILESS_MAIN(TstExamples)
#include "tst_examples.moc"
