#include "busprocess.h"
#include "fakebus.h"
#include "literals.h"
#include "programrun.h"

#include <QDateTime>
#include <QTest>

namespace {

QStringList clients()
{
    return {u"clients"_s};
}

bool isTime(const QString& text)
{
    return QDateTime::fromString(text, Qt::ISODateWithMs).isValid();
}

} // namespace

/// The verb clients, with the development bus and with others.
class TstClientsVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void clients_showsWhoIsThereAndWhatIsStored();
    void clients_severalConnections_areCounted();
    void clients_asJson_writesOneClientALine();
    void clients_controlCharacters_areShownAsEscapes();
    void clients_nobody_isTold();
    void clients_askingLeavesNoTrace();
    void clients_otherBus_cannotTell();
    void clients_noBus_is3();
};

void TstClientsVerb::clients_showsWhoIsThereAndWhatIsStored()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.saveState(u"ready"_s, 1, QString(), someDate()));
    QVERIFY(printer.send(u"gui"_s, u"hello"_s, u"1"_s));
    ProgramRun run(clients());
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    const QStringList lines = QString::fromUtf8(run.out()).split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 4);
    QCOMPARE(lines.at(0).simplified(), u"NAME QUERY SINCE RECEIVER SINCE TAKEN WAITING SUBSCRIBED SETTINGS STATE"_s);
    QCOMPARE(lines.at(1).simplified(), u"gui - - - 1 - - -"_s);
    const QStringList cells = lines.at(2).simplified().split(QLatin1Char(' '));
    QCOMPARE(cells.mid(0, 1) + cells.mid(3), (QStringList{u"printer"_s, u"-"_s, u"-"_s, u"-"_s, u"-"_s, u"yes"_s}));
    QVERIFY2(isTime(cells.at(1)) && isTime(cells.at(2)), run.out().constData());
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
    ProgramRun run(clients());
    QCOMPARE(run.status(), 0);
    const QString row = QString::fromUtf8(run.out()).section(QLatin1Char('\n'), 1, 1).simplified();
    QCOMPARE(row.section(QLatin1Char(' '), 2, 2), u"(2)"_s);
    QCOMPARE(row.section(QLatin1Char(' '), 4, 4), u"1"_s);
}

void TstClientsVerb::clients_asJson_writesOneClientALine()
{
    const BusProcess bus;
    const BusClient query(BusClient::QUERY_PORT, u"printer"_s);
    const BusClient receiver(BusClient::RECEIVER_PORT, u"cashbox"_s);
    ProgramRun run(QStringList{u"--json"_s} + clients());
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
}

void TstClientsVerb::clients_controlCharacters_areShownAsEscapes()
{
    const BusProcess bus;
    const BusClient query(BusClient::QUERY_PORT, u"a\nb\x1b[2J"_s);
    ProgramRun run(clients());
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.out().contains("\na\\nb\\x1b[2J  "), run.out().constData());
}

void TstClientsVerb::clients_nobody_isTold()
{
    const BusProcess bus;
    ProgramRun run(clients());
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: nobody is there, and nothing is stored\n"));
}

void TstClientsVerb::clients_askingLeavesNoTrace()
{
    const BusProcess bus;
    const BusClient query(BusClient::QUERY_PORT, u"printer"_s);
    ProgramRun first(QStringList{u"--json"_s} + clients());
    QCOMPARE(first.status(), 0);
    ProgramRun second(QStringList{u"--json"_s} + clients());
    QCOMPARE(second.status(), 0);
    QVERIFY(!first.out().isEmpty());
    QCOMPARE(second.out(), first.out());
}

void TstClientsVerb::clients_otherBus_cannotTell()
{
    const FakeBus bus;
    ProgramRun run(clients());
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.out(), QByteArray());
    QVERIFY2(run.err().startsWith("tarvexctl: this bus cannot tell who is there"), run.err().constData());
}

void TstClientsVerb::clients_noBus_is3()
{
    {
        const BusProcess killed; // leaves its socket behind
    }
    ProgramRun run(clients());
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QVERIFY2(run.err().contains("no bus to be reached"), run.err().constData());
}

QTEST_GUILESS_MAIN(TstClientsVerb)
#include "tst_clientsverb.moc"
