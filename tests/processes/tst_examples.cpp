#include "childprocess.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {

struct Result
{
    int status;
    QByteArray output;
};

Result tarvexctl(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral(TARVEXCTL), arguments);
    process.waitForFinished();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1, process.readAllStandardOutput()};
}

QString echoState()
{
    const Result result =
        tarvexctl({QStringLiteral("--json"), QStringLiteral("state"), QStringLiteral("get"), QStringLiteral("echo")});
    return QJsonDocument::fromJson(result.output).object().value(QStringLiteral("state")).toString();
}

int sendEcho(const QString& text)
{
    return tarvexctl({QStringLiteral("send"), QStringLiteral("echo"), QStringLiteral("--command"),
                      QStringLiteral("echo"), QStringLiteral(R"({"text":"%1"})").arg(text)})
        .status;
}

int setPrefix(const QString& prefix)
{
    return tarvexctl({QStringLiteral("settings"), QStringLiteral("set"), QStringLiteral("echo"), QStringLiteral("echo"),
                      QStringLiteral("prefix"), prefix})
        .status;
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

/// The commands of this name that a client has sent, as the bus's trace shows them.
QList<SentCommand> tracedCommands(ChildProcess& bus, const QString& client, const QString& name)
{
    const QString mark = QStringLiteral(" in  query/%1 REQUEST sendMessage ").arg(client);
    QList<SentCommand> commands;
    const QStringList lines = bus.errorLines().filter(mark);
    for (const QString& line : lines) {
        const QVariantMap message = jsonObject(line.mid(line.indexOf(mark) + mark.size()));
        const QVariantMap command = jsonObject(message.value(QStringLiteral("message")).toString());
        if (command.value(QStringLiteral("cmd")).toString() == name) {
            commands.append({message.value(QStringLiteral("reciever")).toString(),
                             message.value(QStringLiteral("UID")).toString(),
                             command.value(QStringLiteral("data")).toMap()});
        }
    }
    return commands;
}

int countEchoRequests(ChildProcess& bus, const QString& operation)
{
    return bus.errorLines().filter(QStringLiteral(" in  query/echo REQUEST %1 ").arg(operation)).size();
}

bool hasLine(ChildProcess& process, const QStringList& parts)
{
    const QStringList lines = process.lines();
    for (const QString& line : lines) {
        bool hasAll = true;
        for (const QString& part : parts) {
            hasAll = hasAll && line.contains(part);
        }
        if (hasAll) {
            return true;
        }
    }
    return false;
}

} // namespace

/// The example services as their readers run them.
class TstExamples : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void echo_answersAndReportsItsState();
    void echo_answersTheSenderWithPrefixAndUid();
    void echo_storesItsDefaultsOnce();
    void echo_takesNewSettingsAndLogsThem();
    void services_comeBackAfterTheBusWasKilled();

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<ChildProcess> m_bus;
    std::unique_ptr<ChildProcess> m_logger;
    std::unique_ptr<ChildProcess> m_echo;
};

void TstExamples::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_bus = std::make_unique<ChildProcess>(QStringLiteral(DEVBUS),
                                           QStringList{QStringLiteral("--trace"), QStringLiteral("--storage"),
                                                       m_folder->filePath(QStringLiteral("bus.sqlite"))});
    m_logger = std::make_unique<ChildProcess>(QStringLiteral(LOG_SERVICE), QStringList());
    m_echo = std::make_unique<ChildProcess>(QStringLiteral(ECHO_SERVICE), QStringList());
    m_bus->start();
    QVERIFY(m_bus->waitForLine(QString()));
    m_logger->start();
    m_echo->start();
    // It finds no settings, says so, stores its defaults, and is told to load them.
    QTRY_VERIFY_WITH_TIMEOUT(hasLine(*m_logger, {QStringLiteral("\techo\t"), QStringLiteral("prefix is now ")}), 30000);
    QVERIFY(hasLine(*m_logger, {QStringLiteral("\techo\t"), QStringLiteral("Settings loading error")}));
}

void TstExamples::cleanup()
{
    QCOMPARE(m_echo->terminate(), 0);
    QCOMPARE(m_logger->terminate(), 0);
    QCOMPARE(m_bus->terminate(), 0);
}

void TstExamples::echo_answersAndReportsItsState()
{
    QCOMPARE(sendEcho(QStringLiteral("one")), 0);
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), QStringLiteral(R"({"answered":1})"), 20000);
    QCOMPARE(sendEcho(QStringLiteral("two")), 0);
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), QStringLiteral(R"({"answered":2})"), 20000);
}

void TstExamples::echo_answersTheSenderWithPrefixAndUid()
{
    QCOMPARE(setPrefix(QStringLiteral("loud: ")), 0);
    QTRY_VERIFY_WITH_TIMEOUT(hasLine(*m_logger, {QStringLiteral("prefix is now loud: ")}), 20000);
    QCOMPARE(sendEcho(QStringLiteral("one")), 0);
    const QString client = QStringLiteral("tarvexctl");
    QTRY_COMPARE_WITH_TIMEOUT(tracedCommands(*m_bus, QStringLiteral("echo"), QStringLiteral("echoed")).size(), 1,
                              20000);
    const QList<SentCommand> asked = tracedCommands(*m_bus, client, QStringLiteral("echo"));
    const SentCommand answer = tracedCommands(*m_bus, QStringLiteral("echo"), QStringLiteral("echoed")).constFirst();
    QCOMPARE(asked.size(), 1);
    QVERIFY(!asked.constFirst().uid.isEmpty());
    QCOMPARE(answer.uid, asked.constFirst().uid);
    QCOMPARE(answer.addressee, client);
    QCOMPARE(answer.data, (QVariantMap{{QStringLiteral("text"), QStringLiteral("loud: one")}}));
}

void TstExamples::echo_storesItsDefaultsOnce()
{
    const auto loads = [this] { return countEchoRequests(*m_bus, QStringLiteral("loadSettings")); };
    QCOMPARE(loads(), 2); // before they were stored and after
    QCOMPARE(m_echo->terminate(), 0);
    m_echo->start();
    QTRY_COMPARE_WITH_TIMEOUT(loads(), 3, 30000);
    QVERIFY(m_bus->killHard());
    m_bus->start();
    QTRY_VERIFY_WITH_TIMEOUT(loads() >= 4, 30000);
    // Its answer comes behind whatever it would have stored.
    QCOMPARE(sendEcho(QStringLiteral("one")), 0);
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), QStringLiteral(R"({"answered":1})"), 20000);
    QCOMPARE(countEchoRequests(*m_bus, QStringLiteral("saveSettings")), 1);
}

void TstExamples::echo_takesNewSettingsAndLogsThem()
{
    QCOMPARE(setPrefix(QStringLiteral("loud: ")), 0);
    QTRY_VERIFY_WITH_TIMEOUT(
        hasLine(*m_logger, {QStringLiteral("\techo\tINFO\t"), QStringLiteral("prefix is now loud: ")}), 20000);
}

void TstExamples::services_comeBackAfterTheBusWasKilled()
{
    QCOMPARE(sendEcho(QStringLiteral("before")), 0);
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), QStringLiteral(R"({"answered":1})"), 20000);
    QVERIFY(m_bus->killHard());
    m_bus->start();
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), QStringLiteral(R"({"answered":1})"), 20000);
    // Sent at once: whichever of the two connections comes back first, the command waits for the other.
    QCOMPARE(sendEcho(QStringLiteral("after")), 0);
    QTRY_COMPARE_WITH_TIMEOUT(echoState(), QStringLiteral(R"({"answered":2})"), 40000);
}

QTEST_GUILESS_MAIN(TstExamples)
#include "tst_examples.moc"
