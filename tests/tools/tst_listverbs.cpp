#include "busprocess.h"
#include "fakebus.h"
#include "programrun.h"

#include <QTest>

namespace {

QStringList list(const QString& what, const QStringList& more = {})
{
    return QStringList{what, QStringLiteral("list")} + more;
}

QVariantMap settingsRecord(const QString& owner)
{
    const QVariantMap entry{{QStringLiteral("group"), QString()},
                            {QStringLiteral("key"), QStringLiteral("id")},
                            {QStringLiteral("value"), 1}};
    return {{QStringLiteral("owner"), owner},
            {QStringLiteral("date"), someDate()},
            {QStringLiteral("description"), QStringLiteral("At the\ndoor")},
            {QStringLiteral("mailOwner"), 0},
            {QStringLiteral("settings"), QVariantList{entry}}};
}

QVariantMap stateRecord(const QString& owner)
{
    return {{QStringLiteral("owner"), owner},
            {QStringLiteral("date"), someDate()},
            {QStringLiteral("description"), QString()},
            {QStringLiteral("state"), QStringLiteral("ready")},
            {QStringLiteral("type"), 3}};
}

bool save(const QString& operation, const QVariantMap& record)
{
    return BusClient(BusClient::QUERY_PORT, QStringLiteral("gui")).ask(operation, record).code == 0;
}

/// The names that are asked for where the bus does not list them.
constexpr int NAMES = 15;

/// Answers for all of these names: one has a record, the others have none.
void willHaveOne(FakeBus& bus, const QString& operation, const QVariantMap& record)
{
    for (int number = 0; number < NAMES; ++number) {
        if (number == 4) {
            bus.willReply(operation, 0, QString(), record);
        } else {
            bus.willReply(operation, 5, QStringLiteral("There are no settings for client"));
        }
    }
}

} // namespace

/// The verbs "settings list" and "state list", with the development bus and with others.
class TstListVerbs : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void settings_areListed();
    void states_areListed();
    void list_asJson_writesOneObjectALine();
    void list_nothing_isTold_data();
    void list_nothing_isTold();
    void otherBus_isAskedForKnownNames_data();
    void otherBus_isAskedForKnownNames();
    void otherBus_refusesOtherwise_endsThere();
    void noBus_is3_data();
    void noBus_is3();
};

void TstListVerbs::settings_areListed()
{
    const BusProcess bus;
    QVERIFY(save(QStringLiteral("saveSettings"), settingsRecord(QStringLiteral("printer"))));
    QVERIFY(save(QStringLiteral("saveSettings"), settingsRecord(QStringLiteral("the other printer"))));
    ProgramRun run(list(QStringLiteral("settings")));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.out(),
             QByteArray("WRITTEN                  OWNER              VALUES  DESCRIPTION\n"
                        "2026-03-01T10:11:00.345  printer            1       At the\\ndoor\n"
                        "2026-03-01T10:11:00.345  the other printer  1       At the\\ndoor\n"));
}

void TstListVerbs::states_areListed()
{
    const BusProcess bus;
    QVERIFY(save(QStringLiteral("saveState"), stateRecord(QStringLiteral("printer"))));
    ProgramRun run(list(QStringLiteral("state")));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.out(),
             QByteArray("TAKEN                    OWNER    TYPE  DESCRIPTION  STATE\n"
                        "2026-03-01T10:11:00.345  printer  3     -            ready\n"));
}

void TstListVerbs::list_asJson_writesOneObjectALine()
{
    const BusProcess bus;
    QVERIFY(save(QStringLiteral("saveSettings"), settingsRecord(QStringLiteral("printer"))));
    QVERIFY(save(QStringLiteral("saveState"), stateRecord(QStringLiteral("printer"))));
    ProgramRun settings(list(QStringLiteral("settings"), {QStringLiteral("--json")}));
    QCOMPARE(settings.status(), 0);
    QCOMPARE(settings.objects(),
             (QList<QVariantMap>{{{QStringLiteral("owner"), QStringLiteral("printer")},
                                  {QStringLiteral("count"), 1},
                                  {QStringLiteral("date"), someDate()},
                                  {QStringLiteral("description"), QStringLiteral("At the\ndoor")}}}));
    ProgramRun states(list(QStringLiteral("state"), {QStringLiteral("--json")}));
    QCOMPARE(states.status(), 0);
    QCOMPARE(states.objects(), QList<QVariantMap>{stateRecord(QStringLiteral("printer"))});
}

void TstListVerbs::list_nothing_isTold_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("settings") << QStringLiteral("settings") << QByteArray("tarvexctl: no settings are stored\n");
    QTest::newRow("state") << QStringLiteral("state") << QByteArray("tarvexctl: no states are stored\n");
}

void TstListVerbs::list_nothing_isTold()
{
    QFETCH(QString, what);
    QFETCH(QByteArray, words);
    const BusProcess bus;
    ProgramRun run(list(what));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), words);
}

void TstListVerbs::otherBus_isAskedForKnownNames_data()
{
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QVariantMap>("record");
    QTest::addColumn<QVariantMap>("object");
    const QString owner = QStringLiteral("coin_acceptor"); // the fifth of the names
    QTest::newRow("settings") << QStringLiteral("settings") << QStringLiteral("loadSettings") << settingsRecord(owner)
                              << QVariantMap{{QStringLiteral("owner"), owner},
                                             {QStringLiteral("count"), 1},
                                             {QStringLiteral("date"), someDate()},
                                             {QStringLiteral("description"), QStringLiteral("At the\ndoor")}};
    QTest::newRow("state") << QStringLiteral("state") << QStringLiteral("loadState") << stateRecord(owner)
                           << stateRecord(owner);
}

void TstListVerbs::otherBus_isAskedForKnownNames()
{
    QFETCH(QString, what);
    QFETCH(QString, operation);
    QFETCH(QVariantMap, record);
    QFETCH(QVariantMap, object);
    FakeBus bus;
    willHaveOne(bus, operation, record);
    ProgramRun run(list(what, {QStringLiteral("--json")}));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), QList<QVariantMap>{object});
    QCOMPARE(
        run.err(),
        QByteArray("tarvexctl: this bus does not list what it stores; only the 15 names that the library knows are "
                   "asked for\n"));
    QStringList asked;
    const auto requests = bus.requests();
    for (const auto& request : requests) {
        asked.append(request.data.value(QStringLiteral("owner")).toString());
    }
    QCOMPARE(asked.size(), NAMES);
    QCOMPARE(asked.at(4), QStringLiteral("coin_acceptor"));
    QVERIFY(asked.contains(QStringLiteral("service_menu")) && asked.contains(QStringLiteral("updater")));
    QCOMPARE(asked.removeDuplicates(), 0);
}

void TstListVerbs::otherBus_refusesOtherwise_endsThere()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("loadSettings"), 512, QStringLiteral("Storage access error"));
    ProgramRun run(list(QStringLiteral("settings")));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.out(), QByteArray());
    QVERIFY2(run.err().endsWith("tarvexctl: refused by the bus: 512 Storage access error\n"), run.err().constData());
    QCOMPARE(bus.requests().size(), 1);
}

void TstListVerbs::noBus_is3_data()
{
    QTest::addColumn<QString>("what");
    QTest::newRow("settings") << QStringLiteral("settings");
    QTest::newRow("state") << QStringLiteral("state");
}

void TstListVerbs::noBus_is3()
{
    QFETCH(QString, what);
    ProgramRun run(list(what));
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err().count('\n'), 1);
}

QTEST_GUILESS_MAIN(TstListVerbs)
#include "tst_listverbs.moc"
