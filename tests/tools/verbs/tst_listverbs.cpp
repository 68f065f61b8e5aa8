#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QTest>

namespace {

QVariantMap settingsRecord(const QString& owner)
{
    const QVariantMap entry{{u"group"_s, QString()}, {u"key"_s, u"id"_s}, {u"value"_s, 1}};
    return {{u"owner"_s, owner},
            {u"date"_s, someDate()},
            {u"description"_s, u"At the\ndoor"_s},
            {u"mailOwner"_s, 0},
            {u"settings"_s, QVariantList{entry}}};
}

/// The item that is listed for settingsRecord().
QVariantMap settingsObject(const QString& owner)
{
    return {{u"owner"_s, owner}, {u"count"_s, 1}, {u"date"_s, someDate()}, {u"description"_s, u"At the\ndoor"_s}};
}

QVariantMap stateRecord(const QString& owner)
{
    return {{u"owner"_s, owner},
            {u"date"_s, someDate()},
            {u"description"_s, QString()},
            {u"state"_s, u"ready"_s},
            {u"type"_s, 3}};
}

bool save(const QString& operation, const QVariantMap& record)
{
    return BusClient(BusClient::QUERY_PORT, u"gui"_s).ask(operation, record).code == 0;
}

/// How many names the program asks for when the bus cannot list the owners.
constexpr int NAMES = 15;

/// Lets the bus answer for all of these names: one has \a record, the others have none.
void willHaveOne(FakeBus& bus, const QString& operation, const QVariantMap& record)
{
    for (int number = 0; number < NAMES; ++number) {
        if (number == 4) {
            bus.willReply(operation, 0, QString(), record);
        } else {
            bus.willReply(operation, 5, u"There are no settings for client"_s);
        }
    }
}

} // namespace

/// The verbs "settings list" and "state list", with the development bus and with others.
class TstListVerbs : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void list_writesColumns();
    void list_asJson_writesOneObjectALine();
    void list_nothing_isTold();
    void otherBus_isAskedForKnownNames_data();
    void otherBus_isAskedForKnownNames();
    void otherBus_refusesOtherwise_endsThere();
    void noBus_is3();
};

void TstListVerbs::list_writesColumns()
{
    const BusProcess bus;
    QVERIFY(save(u"saveSettings"_s, settingsRecord(u"printer"_s)));
    QVERIFY(save(u"saveSettings"_s, settingsRecord(u"the other printer"_s)));
    QVERIFY(save(u"saveState"_s, stateRecord(u"printer"_s)));
    ProgramRun settings(u"settings list"_s);
    QCOMPARE(settings.ending(),
             ended(0, {},
                   "WRITTEN                  OWNER              VALUES  DESCRIPTION\n"
                   "2026-03-01T10:11:00.345  printer            1       At the\\ndoor\n"
                   "2026-03-01T10:11:00.345  the other printer  1       At the\\ndoor\n"));
    ProgramRun states(u"state list"_s);
    QCOMPARE(states.ending(),
             ended(0, {},
                   "TAKEN                    OWNER    TYPE  DESCRIPTION  STATE\n"
                   "2026-03-01T10:11:00.345  printer  3     -            ready\n"));
}

void TstListVerbs::list_asJson_writesOneObjectALine()
{
    const BusProcess bus;
    QVERIFY(save(u"saveSettings"_s, settingsRecord(u"printer"_s)));
    QVERIFY(save(u"saveState"_s, stateRecord(u"printer"_s)));
    ProgramRun settings(u"settings list --json"_s);
    QCOMPARE(settings.status(), 0);
    QCOMPARE(settings.objects(), QList<QVariantMap>{settingsObject(u"printer"_s)});
    ProgramRun states(u"state list --json"_s);
    QCOMPARE(states.status(), 0);
    QCOMPARE(states.objects(), QList<QVariantMap>{stateRecord(u"printer"_s)});
}

void TstListVerbs::list_nothing_isTold()
{
    const BusProcess bus;
    ProgramRun settings(u"settings list"_s);
    QCOMPARE(settings.ending(), ended(0, {"no settings are stored"}));
    ProgramRun states(u"state list"_s);
    QCOMPARE(states.ending(), ended(0, {"no states are stored"}));
}

void TstListVerbs::otherBus_isAskedForKnownNames_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantMap>("record");
    QTest::addColumn<QVariantMap>("object");
    const QString owner = u"coin_acceptor"_s; // the fifth of the names
    QTest::newRow("settings") << u"loadSettings"_s << settingsRecord(owner) << settingsObject(owner);
    QTest::newRow("state") << u"loadState"_s << stateRecord(owner) << stateRecord(owner);
}

void TstListVerbs::otherBus_isAskedForKnownNames()
{
    QFETCH(QString, operation);
    QFETCH(QVariantMap, record);
    QFETCH(QVariantMap, object);
    FakeBus bus;
    willHaveOne(bus, operation, record);
    ProgramRun run(QLatin1String(QTest::currentDataTag()) + u" list --json"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), QList<QVariantMap>{object});
    QCOMPARE(run.err(),
             told("this bus does not list what it stores; only the 15 names that the library knows are asked for"));
    QStringList asked;
    for (int index = 0; index < bus.requests().size(); ++index) {
        asked.append(requested(bus, index).value(u"owner"_s).toString());
    }
    QCOMPARE(asked.size(), NAMES);
    QCOMPARE(asked.at(4), u"coin_acceptor"_s);
    QVERIFY(asked.contains(u"service_menu"_s) && asked.contains(u"updater"_s));
    QCOMPARE(asked.removeDuplicates(), 0);
}

void TstListVerbs::otherBus_refusesOtherwise_endsThere()
{
    FakeBus bus;
    bus.willReply(u"loadSettings"_s, 512, u"Storage access error"_s);
    ProgramRun run(u"settings list"_s);
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.out(), QByteArray());
    QVERIFY2(run.err().endsWith(told("refused by the bus: 512 Storage access error")), run.err().constData());
    QCOMPARE(bus.requests().size(), 1);
}

void TstListVerbs::noBus_is3()
{
    for (const QString& line : {u"settings list"_s, u"state list"_s}) {
        ProgramRun run(line);
        QCOMPARE(run.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
    }
}

QTEST_GUILESS_MAIN(TstListVerbs)
#include "tst_listverbs.moc"
