#include "childprocess.h"
#include "literals.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <memory>

namespace {

QByteArray tarvexctl(const QStringList& arguments)
{
    QProcess process;
    process.start(QStringLiteral(TARVEXCTL), arguments);
    process.waitForFinished();
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 ? process.readAllStandardOutput()
                                                                                   : QByteArray();
}

/// The stored state's text.
QString storedState()
{
    const QByteArray record = tarvexctl({u"--json"_s, u"state"_s, u"get"_s, u"door_sensor"_s});
    return QJsonDocument::fromJson(record).object().value(u"state"_s).toString();
}

QJsonObject parsed(const QString& state)
{
    return QJsonDocument::fromJson(state.toUtf8()).object();
}

bool sendCommand(const QString& command)
{
    return !tarvexctl({u"--json"_s, u"send"_s, u"door_sensor"_s, u"--command"_s, command}).isEmpty();
}

const QString CLOSED = uR"({"door":"Closed","lastOpened":"","openings":0})"_s;

} // namespace

/// The example of a state: the service that has it and the one that watches it, as their readers run them.
class TstStateExample : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void cleanup();
    void service_reportsItsStateOnceConnected();
    void committedState_isStoredAtOnce();
    void watcher_isShownTheStoredStateAndEachChange();

private:
    QString lastShown();

    std::unique_ptr<ChildProcess> m_bus;
    std::unique_ptr<ChildProcess> m_door;
    std::unique_ptr<ChildProcess> m_watcher;
};

void TstStateExample::init()
{
    m_bus = std::make_unique<ChildProcess>(QStringLiteral(DEVBUS), QStringList{u"--memory"_s});
    m_door = std::make_unique<ChildProcess>(QStringLiteral(DOOR_SERVICE), QStringList());
    m_watcher = std::make_unique<ChildProcess>(QStringLiteral(WATCHER), QStringList());
    m_bus->start();
    QVERIFY(m_bus->waitForLine(QString()));
    m_door->start();
    QTRY_COMPARE_WITH_TIMEOUT(storedState(), CLOSED, 30000);
}

void TstStateExample::cleanup()
{
    QCOMPARE(m_door->terminate(), 0);
    QCOMPARE(m_bus->terminate(), 0);
}

/// The state in the watcher's last line.
QString TstStateExample::lastShown()
{
    const QStringList lines = m_watcher->lines();
    return lines.isEmpty() ? QString() : lines.last().section(QLatin1Char('\t'), 2);
}

void TstStateExample::service_reportsItsStateOnceConnected()
{
    // Waited for in init(); and it is the door sensor's own.
    const QByteArray record = tarvexctl({u"--json"_s, u"state"_s, u"get"_s, u"door_sensor"_s});
    const QJsonObject state = QJsonDocument::fromJson(record).object();
    QCOMPARE(state.value(u"owner"_s).toString(), u"door_sensor"_s);
    QCOMPARE(state.value(u"type"_s).toInt(), 1);
}

void TstStateExample::committedState_isStoredAtOnce()
{
    QVERIFY(sendCommand(u"openDoor"_s));
    // Far within the report's interval of a minute.
    QTRY_COMPARE_WITH_TIMEOUT(parsed(storedState()).value(u"door"_s).toString(), u"Open"_s, 20000);
    const QJsonObject open = parsed(storedState());
    QCOMPARE(open.value(u"openings"_s).toInt(), 1);
    const QDateTime opened = QDateTime::fromString(open.value(u"lastOpened"_s).toString(), Qt::ISODateWithMs);
    QVERIFY(qAbs(opened.secsTo(QDateTime::currentDateTime())) < 60);

    QVERIFY(sendCommand(u"closeDoor"_s));
    QTRY_COMPARE_WITH_TIMEOUT(parsed(storedState()).value(u"door"_s).toString(), u"Closed"_s, 20000);
    QCOMPARE(parsed(storedState()).value(u"openings"_s).toInt(), 1);
}

void TstStateExample::watcher_isShownTheStoredStateAndEachChange()
{
    m_watcher->start();
    QTRY_COMPARE_WITH_TIMEOUT(lastShown(), CLOSED, 30000);
    QVERIFY(sendCommand(u"openDoor"_s));
    QTRY_COMPARE_WITH_TIMEOUT(parsed(lastShown()).value(u"door"_s).toString(), u"Open"_s, 20000);
    QCOMPARE(lastShown(), storedState());
    QVERIFY(m_watcher->lines().last().contains(u"\tdoor_sensor\t"_s));
    QCOMPARE(m_watcher->terminate(), 0);
}

QTEST_GUILESS_MAIN(TstStateExample)

#include "tst_stateexample.moc"
