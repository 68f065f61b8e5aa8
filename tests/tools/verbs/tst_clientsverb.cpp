#include "busprocess.h"
#include "fakebus.h"
#include "literals.h"
#include "programrun.h"

#include <QDateTime>
#include <QTest>

namespace {

bool isTime(const QString& text)
{
    return QDateTime::fromString(text, Qt::ISODateWithMs).isValid();
}

/// The cells of a line. No cell may hold a blank.
QStringList cells(const QString& line)
{
    return line.simplified().split(QLatin1Char(' '));
}

} // namespace

/// The verb "clients", with the development bus and with others.
class TstClientsVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void clients_showsWhoIsThereAndWhatIsStored();
    void clients_severalConnections_areCounted();
    void clients_asJson_writesOneClientALineAndLeavesNoTrace();
    void clients_controlCharacters_areShownAsEscapes();
    void clients_nobody_isTold();
    void clients_otherBus_cannotTell();
    void clients_noBus_is3();
};

void TstClientsVerb::clients_showsWhoIsThereAndWhatIsStored()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.saveState(u"ready"_s, 1, QString(), someDate()));
    QVERIFY(printer.send(u"gui"_s, u"hello"_s, u"1"_s));
    ProgramRun run(u"clients"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    const QStringList lines = run.lines();
    QCOMPARE(lines.size(), 3);
    QCOMPARE(lines.at(0).simplified(), u"NAME QUERY SINCE RECEIVER SINCE TAKEN WAITING SUBSCRIBED SETTINGS STATE"_s);
    QCOMPARE(lines.at(1).simplified(), u"gui - - - 1 - - -"_s);
    const QStringList row = cells(lines.at(2));
    QCOMPARE(row.mid(0, 1) + row.mid(3), (QStringList{u"printer"_s, u"-"_s, u"-"_s, u"-"_s, u"-"_s, u"yes"_s}));
    QVERIFY2(isTime(row.at(1)) && isTime(row.at(2)), run.out().constData());
    QCOMPARE(lines.at(1).indexOf(QLatin1String("1")), lines.at(0).indexOf(QLatin1String("WAITING")));
}

void TstClientsVerb::clients_severalConnections_areCounted()
{
    const BusProcess bus;
    const BusClient query(BusClient::QUERY_PORT, u"printer"_s);
    const BusClient again(BusClient::QUERY_PORT, u"printer"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    const BusClient taker(BusClient::RECEIVER_PORT, u"printer"_s);
    QVERIFY(receiver.waitForClose());
    ProgramRun run(u"clients"_s);
    QCOMPARE(run.status(), 0);
    const QStringList row = cells(run.lines().value(1));
    QCOMPARE(row.value(2), u"(2)"_s);
    QCOMPARE(row.value(4), u"1"_s);
}

void TstClientsVerb::clients_asJson_writesOneClientALineAndLeavesNoTrace()
{
    const BusProcess bus;
    const BusClient query(BusClient::QUERY_PORT, u"printer"_s);
    const BusClient receiver(BusClient::RECEIVER_PORT, u"cashbox"_s);
    ProgramRun run(u"--json clients"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.objects().size(), 2);
    QVariantMap printer = run.objects().at(1);
    QVERIFY(isTime(printer.take(u"querySince"_s).toString()));
    QCOMPARE(printer,
             (QVariantMap{{u"name"_s, u"printer"_s},
                          {u"queryConnections"_s, 1},
                          {u"receiverSince"_s, QString()},
                          {u"takeovers"_s, 0},
                          {u"waiting"_s, 0},
                          {u"subscriptions"_s, 0},
                          {u"settings"_s, false},
                          {u"state"_s, false}}));
    QCOMPARE(run.objects().at(0).value(u"name"_s).toString(), u"cashbox"_s);
    ProgramRun again(u"--json clients"_s);
    QCOMPARE(again.ending(), ended(0, {}, run.out()));
}

void TstClientsVerb::clients_controlCharacters_areShownAsEscapes()
{
    const BusProcess bus;
    const BusClient query(BusClient::QUERY_PORT, u"a\nb\x1b[2J"_s);
    ProgramRun run(u"clients"_s);
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.out().contains("\na\\nb\\x1b[2J  "), run.out().constData());
}

void TstClientsVerb::clients_nobody_isTold()
{
    const BusProcess bus;
    ProgramRun run(u"clients"_s);
    QCOMPARE(run.ending(), ended(0, {"nobody is there, and nothing is stored"}));
}

void TstClientsVerb::clients_otherBus_cannotTell()
{
    const FakeBus bus;
    ProgramRun run(u"clients"_s);
    QCOMPARE(run.ending(),
             ended(1, {"this bus cannot tell who is there: only a development bus of the same user can"}));
}

void TstClientsVerb::clients_noBus_is3()
{
    {
        const BusProcess killed; // leaves its socket behind
    }
    ProgramRun run(u"clients"_s);
    QCOMPARE(run.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
}

QTEST_GUILESS_MAIN(TstClientsVerb)
#include "tst_clientsverb.moc"
