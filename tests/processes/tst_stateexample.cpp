#include "programs.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

#include <memory>

namespace {

QJsonObject storedRecord()
{
    return QJsonDocument::fromJson(
               tarvexctl({u"--json"_s, u"state"_s, u"get"_s, u"door_sensor"_s}).value_or(QByteArray()))
        .object();
}

/// The text of the stored state.
QString storedState()
{
    return storedRecord().value(u"state"_s).toString();
}

QJsonObject parsed(const QString& state)
{
    return QJsonDocument::fromJson(state.toUtf8()).object();
}

bool sendCommand(const QString& command)
{
    return tarvexctl({u"--json"_s, u"send"_s, u"door_sensor"_s, u"--command"_s, command}).has_value();
}

const QString CLOSED = uR"({"door":"Closed","lastOpened":"","openings":0})"_s;

} // namespace

/// The example of a state, with the service that has it and the one that watches it, as a reader starts them.
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

    std::unique_ptr<BusProgram> m_bus;
    std::unique_ptr<ChildProcess> m_door;
    std::unique_ptr<ChildProcess> m_watcher;
};

void TstStateExample::init()
{
    m_bus = std::make_unique<BusProgram>();
    m_door = std::make_unique<ChildProcess>(QStringLiteral(DOOR_SERVICE));
    m_watcher = std::make_unique<ChildProcess>(QStringLiteral(WATCHER));
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
    // init() has waited for the state. This test sees that its owner is the door sensor.
    QCOMPARE(storedRecord().value(u"owner"_s).toString(), u"door_sensor"_s);
    QCOMPARE(storedRecord().value(u"type"_s).toInt(), 1);
}

void TstStateExample::committedState_isStoredAtOnce()
{
    QVERIFY(sendCommand(u"openDoor"_s));
    // The time-out is far shorter than the report's interval of a minute.
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
