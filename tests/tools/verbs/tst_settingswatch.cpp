#include "busprocess.h"
#include "fakebuses.h"
#include "settingsruns.h"

#include <QTemporaryDir>
#include <QTest>

namespace {

QString watch(const QString& options)
{
    return u"settings watch --interval 50 "_s + options;
}

/// What stderr says once the first look is done, for owners of whom each has one value.
QByteArray beginning(const QByteArray& owners)
{
    return "watching the settings of " + owners;
}

QVariantMap entry(int value)
{
    return {{u"group"_s, u"g"_s}, {u"key"_s, u"k"_s}, {u"value"_s, value}};
}

QVariantMap record(const QString& owner, int value, const QString& date = u"2026-03-01T10:11:12.345"_s)
{
    return {{u"owner"_s, owner},
            {u"date"_s, date},
            {u"description"_s, QString()},
            {u"mailOwner"_s, 1},
            {u"settings"_s, QVariantList{entry(value)}}};
}

FakeBus::Action records(const QVariantList& list)
{
    return sends(FakeBus::replyFrame(u"loadSettingsList"_s, 0, QString(), {{u"settingsList"_s, list}}));
}

} // namespace

/// The verb "settings watch".
class TstSettingsWatch : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void changes_areShownAsTheyHappen();
    void changes_asJson();
    void nothingButTheDate_isNoChange();
    void owners_areAskedForInOneExchange_onOneConnection();
    void ownerWithComma_isAskedForAlone();
    void refusedLater_is1();
    void timeOut_is4();
    void interrupted_is130();
    void killedBus_changesAfterwardsAreShown();
    void killedBus_isLookedAtWhenItIsBack();
    void wrongUse_is2_data();
    void wrongUse_is2();
    void noBus_is3();

private:
    /// Saves the record of an owner as a file has it.
    bool load(const QByteArray& text) const
    {
        return does(u"settings load "_s + written(m_folder.filePath(u"s.jsonl"_s), text));
    }

    QTemporaryDir m_folder;
};

void TstSettingsWatch::changes_areShownAsTheyHappen()
{
    const BusProcess bus;
    QVERIFY(load(recordLine("printer", entryText("a", "1"))));
    ProgramRun run(watch(u"printer 'the\ncashbox' printer"_s));
    QVERIFY(run.waitForWords(beginning("printer (1 value), the\\ncashbox (no settings)\n")));
    QVERIFY(load(recordLine("the\\ncashbox", "")));
    QVERIFY(run.waitForLines(2));
    QVERIFY(load(recordLine("printer", entryText("a", "2") + ',' + entryText("b", "\"x\""))));
    QVERIFY(run.waitForLines(7));
    QVERIFY(does(u"settings remove 'the\ncashbox'"_s));
    QVERIFY(run.waitForLines(10));
    QByteArray out = run.interrupted().out;
    const int removal = out.lastIndexOf("\n\n") + 2;
    QVERIFY(out.mid(removal, 2) == "20"); // the time of the look that has found it
    out.remove(removal, QByteArray("2026-03-01T10:11:12.345").size());
    QCOMPARE(out,
             QByteArray("2026-03-01T10:11:12.345  the\\ncashbox\n+ a first record\n\n"
                        "2026-03-01T10:11:12.345  printer\n- g/a = 1\n+ g/a = 2\n+ g/b = \"x\"\n\n"
                        "  the\\ncashbox\n- the whole record\n"));
}

void TstSettingsWatch::changes_asJson()
{
    const BusProcess bus;
    QVERIFY(load(recordLine("printer", entryText("a", "1"))));
    ProgramRun run(watch(u"printer --json --count 2"_s));
    QVERIFY(run.waitForWords(beginning("printer (1 value)")));
    QVERIFY(load(recordLine("printer", entryText("a", "2"))));
    QVERIFY(run.waitForLines(1));
    QVERIFY(load(recordLine("printer", entryText("a", "1"))));
    const QByteArray line("{\"changes\":[{\"after\":%2,\"before\":%1,\"group\":\"g\",\"key\":\"a\"}],\"date\":"
                          "\"2026-03-01T10:11:12.345\",\"owner\":\"printer\",\"record\":\"changed\"}\n");
    QCOMPARE(run.ending(),
             ended(0, {"watching the settings of printer (1 value)"},
                   QByteArray(line).replace("%1", "1").replace("%2", "2")
                       + QByteArray(line).replace("%1", "2").replace("%2", "1")));
}

void TstSettingsWatch::nothingButTheDate_isNoChange()
{
    FakeBuses buses;
    buses.query.willDo(records({record(u"a"_s, 1)}));
    buses.query.willDo(records({record(u"a"_s, 1, u"2026-03-02T00:00:00.000"_s)}));
    buses.query.willAlwaysDo(records({record(u"a"_s, 2, u"2026-03-03T00:00:00.000"_s)}));
    ProgramRun run(watch(u"a --count 1"_s));
    QCOMPARE(run.ending(),
             ended(0, {"watching the settings of a (1 value)"}, "2026-03-03T00:00:00.000  a\n- g/k = 1\n+ g/k = 2\n"));
}

void TstSettingsWatch::owners_areAskedForInOneExchange_onOneConnection()
{
    FakeBuses buses;
    for (int look = 0; look < 5; ++look) {
        buses.query.willDo(records({record(u"a"_s, 1)}));
    }
    buses.query.willAlwaysDo(records({record(u"b"_s, 1), record(u"a"_s, 2)}));
    ProgramRun run(watch(u"a b --count 2"_s));
    QCOMPARE(run.ending(),
             ended(0, {"watching the settings of a (1 value), b (no settings)"},
                   "2026-03-01T10:11:12.345  a\n- g/k = 1\n+ g/k = 2\n\n"
                   "2026-03-01T10:11:12.345  b\n+ a first record\n+ g/k = 1\n"));
    QCOMPARE(operations(buses.query).count(u"loadSettingsList"_s), 6);
    QCOMPARE(requested(buses.query).value(u"owners"_s).toString(), u"a,b"_s);
    // One for the first look, one for the further looks.
    QCOMPARE(buses.query.connectionCount(), 2);
}

void TstSettingsWatch::ownerWithComma_isAskedForAlone()
{
    const BusProcess bus;
    QVERIFY(load(recordLine("a,b", entryText("k", "1")) + recordLine("a", entryText("k", "5"))));
    ProgramRun run(watch(u"a,b --count 1"_s));
    QVERIFY(run.waitForWords(beginning("a,b (1 value)")));
    QVERIFY(load(recordLine("a,b", entryText("k", "2"))));
    QCOMPARE(run.ending().out, QByteArray("2026-03-01T10:11:12.345  a,b\n- g/k = 1\n+ g/k = 2\n"));
}

void TstSettingsWatch::refusedLater_is1()
{
    FakeBuses buses;
    buses.query.willDo(records({}));
    buses.query.willReply(u"loadSettingsList"_s, 512, u"Storage access error"_s);
    ProgramRun run(watch(u"a"_s));
    QCOMPARE(run.ending(),
             ended(1, {"watching the settings of a (no settings)", "refused by the bus: 512 Storage access error"}));
}

void TstSettingsWatch::timeOut_is4()
{
    const BusProcess bus;
    ProgramRun run(watch(u"a --timeout 5"_s));
    QCOMPARE(run.ending(), ended(4, {"watching the settings of a (no settings)", "no change came within 5 s"}));
}

void TstSettingsWatch::interrupted_is130()
{
    const BusProcess bus;
    ProgramRun run(watch(u"a"_s));
    QVERIFY(run.waitForWords(beginning("a")));
    QCOMPARE(run.interrupted(), ended(130, {"watching the settings of a (no settings)", "interrupted"}));
}

void TstSettingsWatch::killedBus_changesAfterwardsAreShown()
{
    BusProcess bus;
    QVERIFY(load(recordLine("a", entryText("k", "1"))));
    ProgramRun run(watch(u"a --count 2"_s));
    QVERIFY(run.waitForWords(beginning("a (1 value)")));
    bus.killHard();
    QVERIFY(run.waitForWords("the bus has gone; waiting for it to come back"));
    QVERIFY(bus.start());
    QVERIFY(load(recordLine("a", entryText("k", "2"))));
    QVERIFY(run.waitForWords("the bus is back"));
    QVERIFY(run.waitForLines(3));
    QVERIFY(load(recordLine("a", entryText("k", "3"))));
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 0);
    QCOMPARE(ending.out,
             QByteArray("2026-03-01T10:11:12.345  a\n- g/k = 1\n+ g/k = 2\n\n"
                        "2026-03-01T10:11:12.345  a\n- g/k = 2\n+ g/k = 3\n"));
}

// The next look would come after an hour.
void TstSettingsWatch::killedBus_isLookedAtWhenItIsBack()
{
    BusProcess bus;
    ProgramRun run(u"settings watch a --interval 3600000 --count 1"_s);
    QVERIFY(run.waitForWords(beginning("a (no settings)")));
    QVERIFY(load(recordLine("a", entryText("k", "1"))));
    bus.killHard();
    QVERIFY(run.waitForWords("the bus has gone; waiting for it to come back"));
    QVERIFY(bus.start());
    QCOMPARE(run.ending().out, QByteArray("2026-03-01T10:11:12.345  a\n+ a first record\n+ g/k = 1\n"));
}

void TstSettingsWatch::wrongUse_is2_data()
{
    QTest::addColumn<QByteArray>("words");
    const QByteArray interval("--interval must be a whole number of milliseconds from 50 to 3600000, not \"");
    QTest::newRow("a --interval 49") << interval + "49\"";
    QTest::newRow("a --interval 3600001") << interval + "3600001\"";
    QTest::newRow("a --interval 1.5") << interval + "1.5\"";
    QTest::newRow("a --interval ''") << interval + '"';
    QTest::newRow("a --count 0") << QByteArray("--count must be a whole number from 1 to 2147483647, not \"0\"");
    QTest::newRow("a ''") << QByteArray("OWNER must not be empty");
    QTest::newRow("") << QByteArray("OWNER is required; see --help");
}

void TstSettingsWatch::wrongUse_is2()
{
    QFETCH(QByteArray, words);
    ProgramRun run(u"settings watch "_s + QLatin1String(QTest::currentDataTag()));
    QCOMPARE(run.ending(), ended(2, {words}));
}

void TstSettingsWatch::noBus_is3()
{
    ProgramRun run(watch(u"a"_s));
    QCOMPARE(run.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
}

QTEST_GUILESS_MAIN(TstSettingsWatch)
#include "tst_settingswatch.moc"
