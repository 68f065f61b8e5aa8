#include "fakebus.h"
#include "programrun.h"

#include <QDateTime>
#include <QTest>

namespace {

QVariantMap entry(const QString& group, const QString& key, const QVariant& value)
{
    return {{QStringLiteral("group"), group}, {QStringLiteral("key"), key}, {QStringLiteral("value"), value}};
}

QVariantMap record(const QString& owner, const QVariantList& entries)
{
    return {{QStringLiteral("owner"), owner},
            {QStringLiteral("date"), QStringLiteral("2026-03-01T10:11:12.345")},
            {QStringLiteral("description"), QStringLiteral("Printer at the door")},
            {QStringLiteral("mailOwner"), 0},
            {QStringLiteral("settings"), entries}};
}

QVariantMap printerRecord()
{
    return record(QStringLiteral("printer"),
                  {entry(QStringLiteral("network"), QStringLiteral("host"), QStringLiteral("10.0.0.1")),
                   entry(QStringLiteral("network"), QStringLiteral("port"), 9100),
                   entry(QString(), QStringLiteral("id"), QVariant::fromValue(nullptr))});
}

void willLoad(FakeBus& bus, const QVariantMap& data)
{
    bus.willReply(QStringLiteral("loadSettings"), 0, QString(), data);
}

void willMiss(FakeBus& bus)
{
    bus.willReply(QStringLiteral("loadSettings"), 5, QStringLiteral("There are no settings for client"));
}

QStringList setting(const QString& value, const QStringList& more = {})
{
    return QStringList{QStringLiteral("settings"), QStringLiteral("set"),  QStringLiteral("printer"),
                       QStringLiteral("network"),  QStringLiteral("port"), value}
    + more;
}

QVariantMap sent(const FakeBus& bus, int index)
{
    return bus.requests().value(index).data;
}

} // namespace

class TstSettingsVerbs : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void get_writesAlignedTable();
    void get_withoutOwner_asksForOwnName();
    void get_asJson_writesOneRecordALine();
    void get_severalOneMissing_writesOthersAndEndsWithRefusal();
    void get_severalConnectionLost_stopsThere();
    void get_ownerInBrackets_isOneName();
    void get_controlCharacters_areShownAsEscapes();
    void get_wideAndCombiningCharacters_stayAligned();
    void set_mergesIntoStored();
    void set_description_replacesStored();
    void set_value_data();
    void set_value();
    void set_ownerWithoutSettings_startsRecord();
    void set_loadRefusedOtherwise_savesNothing();
    void set_samePathCutElsewhere_isRefused();
    void set_asJson_tellsWhatWasDone();
    void set_brokenJson_isTakenAsTextWithAWord_data();
    void set_brokenJson_isTakenAsTextWithAWord();
    void unset_removesOneAndKeepsTheRest();
    void unset_noSuchSetting_savesNothing_data();
    void unset_noSuchSetting_savesNothing();
    void unset_asJson_tellsWhatWasDone();
    void remove_asksBusToRemove();
    void remove_asJson_tellsWhatWasDone();
};

void TstSettingsVerbs::get_writesAlignedTable()
{
    FakeBus bus;
    willLoad(bus, printerRecord());
    ProgramRun run({QStringLiteral("settings"), QStringLiteral("get"), QStringLiteral("printer")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(),
             QByteArray("Owner        printer\n"
                        "Written      2026-03-01T10:11:12.345\n"
                        "Description  Printer at the door\n"
                        "Mail owner   no\n"
                        "GROUP    KEY   VALUE\n"
                        "network  host  \"10.0.0.1\"\n"
                        "network  port  9100\n"
                        "-        id    null\n"));
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(bus.requests().size(), 1);
    QCOMPARE(bus.requests().constFirst().operation, QStringLiteral("loadSettings"));
    QCOMPARE(sent(bus, 0), (QVariantMap{{QStringLiteral("owner"), QStringLiteral("printer")}}));
    QCOMPARE(bus.handshakes().constFirst().data, (QVariantMap{{QStringLiteral("name"), QStringLiteral("tarvexctl")}}));
}

void TstSettingsVerbs::get_withoutOwner_asksForOwnName()
{
    FakeBus bus;
    willLoad(bus, QVariantMap());
    ProgramRun run(
        {QStringLiteral("--as"), QStringLiteral("cashbox"), QStringLiteral("settings"), QStringLiteral("get")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(sent(bus, 0).value(QStringLiteral("owner")).toString(), QStringLiteral("cashbox"));
    QCOMPARE(run.out(),
             QByteArray("Owner        -\n"
                        "Written      -\n"
                        "Description  -\n"
                        "Mail owner   yes\n"
                        "GROUP  KEY  VALUE\n"));
}

void TstSettingsVerbs::get_asJson_writesOneRecordALine()
{
    FakeBus bus;
    willLoad(bus, printerRecord());
    willLoad(bus, record(QStringLiteral("cashbox"), {}));
    ProgramRun run({QStringLiteral("--json"), QStringLiteral("settings"), QStringLiteral("get"),
                    QStringLiteral("printer"), QStringLiteral("cashbox")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{printerRecord(), record(QStringLiteral("cashbox"), {})}));
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(bus.connectionCount(), 1);
}

void TstSettingsVerbs::get_severalOneMissing_writesOthersAndEndsWithRefusal()
{
    FakeBus bus;
    willLoad(bus, record(QStringLiteral("printer"), {}));
    willMiss(bus);
    willLoad(bus, record(QStringLiteral("cashbox"), {}));
    ProgramRun run({QStringLiteral("settings"), QStringLiteral("get"), QStringLiteral("printer"),
                    QStringLiteral("nobody"), QStringLiteral("cashbox")});
    QCOMPARE(run.status(), 1);
    QVERIFY2(run.out().startsWith("Owner        printer\n"), run.out().constData());
    QVERIFY2(run.out().contains("VALUE\n\nOwner        cashbox\n"), run.out().constData());
    QCOMPARE(run.err(), QByteArray("tarvexctl: nobody: refused by the bus: 5 There are no settings for client\n"));
}

void TstSettingsVerbs::get_severalConnectionLost_stopsThere()
{
    FakeBus bus;
    willLoad(bus, record(QStringLiteral("printer"), {}));
    bus.willClose();
    willLoad(bus, record(QStringLiteral("cashbox"), {}));
    ProgramRun run({QStringLiteral("--json"), QStringLiteral("settings"), QStringLiteral("get"),
                    QStringLiteral("printer"), QStringLiteral("gui"), QStringLiteral("cashbox")});
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.objects(), QList<QVariantMap>{record(QStringLiteral("printer"), {})});
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus closed the connection\n"));
    QCOMPARE(bus.requests().size(), 2);
}

void TstSettingsVerbs::get_ownerInBrackets_isOneName()
{
    FakeBus bus;
    willLoad(bus, QVariantMap());
    ProgramRun run({QStringLiteral("settings"), QStringLiteral("get"), QStringLiteral("[a,b]")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(sent(bus, 0).value(QStringLiteral("owner")).toString(), QStringLiteral("[a,b]"));
}

void TstSettingsVerbs::get_controlCharacters_areShownAsEscapes()
{
    FakeBus bus;
    willLoad(bus,
             record(QStringLiteral("a\tb\nc\x1b[2J"),
                    {entry(QStringLiteral("g\x7f"), QStringLiteral("k"), QStringLiteral("x\x1b\n"))}));
    ProgramRun run({QStringLiteral("settings"), QStringLiteral("get"), QStringLiteral("printer")});
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.out().contains("Owner        a\\tb\\nc\\x1b[2J\n"), run.out().constData());
    QVERIFY2(run.out().contains("g\\x7f  k    \"x\\u001b\\n\"\n"), run.out().constData());
}

// By the cells that they take on a terminal: two for the wide ones, none for an accent of its own.
void TstSettingsVerbs::get_wideAndCombiningCharacters_stayAligned()
{
    FakeBus bus;
    willLoad(bus,
             record(QStringLiteral("printer"),
                    {entry(QStringLiteral("abcd"), QStringLiteral("1"), 1),
                     entry(QString::fromUtf8("\u4e2d\u6587"), QStringLiteral("2"), 2),
                     entry(QString::fromUtf8("e\u0301\u00e9ab"), QStringLiteral("3"), 3),
                     entry(QString::fromUtf8("\U0001F600ab"), QStringLiteral("4"), 4)}));
    ProgramRun run({QStringLiteral("settings"), QStringLiteral("get"), QStringLiteral("printer")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(QString::fromUtf8(run.out()).section(QLatin1Char('\n'), 4),
             QString::fromUtf8("GROUP  KEY  VALUE\n"
                               "abcd   1    1\n"
                               "\u4e2d\u6587   2    2\n"
                               "e\u0301\u00e9ab   3    3\n"
                               "\U0001F600ab   4    4\n"));
}

void TstSettingsVerbs::set_mergesIntoStored()
{
    FakeBus bus;
    willLoad(bus, printerRecord());
    bus.willReply(QStringLiteral("saveSettings"));
    const QDateTime before = QDateTime::currentDateTime();
    ProgramRun run(setting(QStringLiteral("9200")));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: saved network/port = 9200 in the settings of printer\n"));
    QCOMPARE(bus.requests().size(), 2);
    QCOMPARE(bus.requests().at(1).operation, QStringLiteral("saveSettings"));
    QVariantMap saved = sent(bus, 1);
    const QDateTime date = QDateTime::fromString(saved.take(QStringLiteral("date")).toString(), Qt::ISODateWithMs);
    QVERIFY(before.msecsTo(date) >= 0 && date.msecsTo(QDateTime::currentDateTime()) >= 0);
    QVariantMap expected = printerRecord();
    expected.remove(QStringLiteral("date"));
    QVariantList entries = expected.value(QStringLiteral("settings")).toList();
    entries[1] = entry(QStringLiteral("network"), QStringLiteral("port"), 9200);
    expected.insert(QStringLiteral("settings"), entries);
    QCOMPARE(saved, expected);
}

void TstSettingsVerbs::set_description_replacesStored()
{
    FakeBus bus;
    willLoad(bus, printerRecord());
    bus.willReply(QStringLiteral("saveSettings"));
    ProgramRun run(setting(QStringLiteral("1"), {QStringLiteral("--description"), QStringLiteral("Printer, new")}));
    QCOMPARE(run.status(), 0);
    QCOMPARE(sent(bus, 1).value(QStringLiteral("description")).toString(), QStringLiteral("Printer, new"));
}

void TstSettingsVerbs::set_value_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<bool>("asText");
    QTest::addColumn<QVariant>("stored");
    QTest::newRow("number") << QStringLiteral("2.5") << false << QVariant(2.5);
    QTest::newRow("negative") << QStringLiteral("-5") << false << QVariant(-5);
    QTest::newRow("large") << QStringLiteral("-9007199254740992") << false << QVariant(-9007199254740992LL);
    QTest::newRow("too large as text") << QStringLiteral("9007199254740993") << true
                                       << QVariant(QStringLiteral("9007199254740993"));
    QTest::newRow("with blanks") << QStringLiteral(" 9100 ") << false << QVariant(9100);
    QTest::newRow("truth") << QStringLiteral("true") << false << QVariant(true);
    QTest::newRow("null") << QStringLiteral("null") << false << QVariant::fromValue(nullptr);
    QTest::newRow("list") << QStringLiteral("[1, \"a\"]") << false << QVariant(QVariantList{1, QStringLiteral("a")});
    QTest::newRow("object") << QStringLiteral("{\"a\": {}}") << false
                            << QVariant(QVariantMap{{QStringLiteral("a"), QVariantMap()}});
    QTest::newRow("quoted") << QStringLiteral("\"9100\"") << false << QVariant(QStringLiteral("9100"));
    QTest::newRow("word") << QStringLiteral("off") << false << QVariant(QStringLiteral("off"));
    QTest::newRow("empty") << QString() << false << QVariant(QString());
    QTest::newRow("no JSON") << QStringLiteral("{a}") << false << QVariant(QStringLiteral("{a}"));
    QTest::newRow("two values") << QStringLiteral("1,2") << false << QVariant(QStringLiteral("1,2"));
    QTest::newRow("leading zero") << QStringLiteral("007") << false << QVariant(QStringLiteral("007"));
    QTest::newRow("other letters") << QStringLiteral("Größe") << false << QVariant(QStringLiteral("Größe"));
    QTest::newRow("number as text") << QStringLiteral("9100") << true << QVariant(QStringLiteral("9100"));
    QTest::newRow("negative as text") << QStringLiteral("-5") << true << QVariant(QStringLiteral("-5"));
    QTest::newRow("quoted as text") << QStringLiteral("\"a\"") << true << QVariant(QStringLiteral("\"a\""));
}

void TstSettingsVerbs::set_value()
{
    QFETCH(QString, given);
    QFETCH(bool, asText);
    QFETCH(QVariant, stored);
    FakeBus bus;
    willLoad(bus, record(QStringLiteral("printer"), {}));
    bus.willReply(QStringLiteral("saveSettings"));
    ProgramRun run(setting(given, asText ? QStringList{QStringLiteral("--string")} : QStringList()));
    QCOMPARE(run.status(), 0);
    const QVariantList entries = sent(bus, 1).value(QStringLiteral("settings")).toList();
    QCOMPARE(entries.size(), 1);
    const QVariant value = entries.first().toMap().value(QStringLiteral("value"));
    QCOMPARE(value, stored);
    // Comparing variants converts: a text is no number here.
    QCOMPARE(value.type() == QVariant::String, stored.type() == QVariant::String);
}

void TstSettingsVerbs::set_ownerWithoutSettings_startsRecord()
{
    FakeBus bus;
    willMiss(bus);
    bus.willReply(QStringLiteral("saveSettings"));
    ProgramRun run(setting(QStringLiteral("9100"), {QStringLiteral("--description"), QStringLiteral("New")}));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray("tarvexctl: saved network/port = 9100 in the settings of printer (its first)\n"));
    QVariantMap saved = sent(bus, 1);
    QVERIFY(!saved.take(QStringLiteral("date")).toString().isEmpty());
    QVariantMap expected =
        record(QStringLiteral("printer"), {entry(QStringLiteral("network"), QStringLiteral("port"), 9100)});
    expected.remove(QStringLiteral("date"));
    expected.insert(QStringLiteral("description"), QStringLiteral("New"));
    expected.insert(QStringLiteral("mailOwner"), 1);
    QCOMPARE(saved, expected);
}

void TstSettingsVerbs::set_loadRefusedOtherwise_savesNothing()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("loadSettings"), 512, QStringLiteral("Storage access error"));
    bus.willReply(QStringLiteral("saveSettings"));
    ProgramRun run(setting(QStringLiteral("1")));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.err(), QByteArray("tarvexctl: refused by the bus: 512 Storage access error\n"));
    QCOMPARE(bus.requests().size(), 1);
}

void TstSettingsVerbs::set_samePathCutElsewhere_isRefused()
{
    FakeBus bus;
    willLoad(bus, record(QStringLiteral("printer"), {entry(QStringLiteral("a/b"), QStringLiteral("c"), 1)}));
    bus.willReply(QStringLiteral("saveSettings"));
    ProgramRun run({QStringLiteral("settings"), QStringLiteral("set"), QStringLiteral("printer"), QStringLiteral("a"),
                    QStringLiteral("b/c"), QStringLiteral("2")});
    QCOMPARE(run.status(), 2);
    QVERIFY2(run.err().contains("\"a/b/c\" is stored already"), run.err().constData());
    QCOMPARE(bus.requests().size(), 1);
}

void TstSettingsVerbs::set_asJson_tellsWhatWasDone()
{
    FakeBus bus;
    willMiss(bus);
    bus.willReply(QStringLiteral("saveSettings"));
    ProgramRun run(setting(QStringLiteral("[1]"), {QStringLiteral("--json")}));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{{{QStringLiteral("done"), QStringLiteral("settings set")},
                                  {QStringLiteral("owner"), QStringLiteral("printer")},
                                  {QStringLiteral("group"), QStringLiteral("network")},
                                  {QStringLiteral("key"), QStringLiteral("port")},
                                  {QStringLiteral("value"), QVariantList{1}},
                                  {QStringLiteral("newRecord"), true}}}));
}

void TstSettingsVerbs::set_brokenJson_isTakenAsTextWithAWord_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("asText");
    QTest::addColumn<bool>("isTold");
    QTest::newRow("object") << QStringLiteral("{\"a\":1") << false << true;
    QTest::newRow("list") << QStringLiteral("[1") << false << true;
    QTest::newRow("text") << QStringLiteral("\"a") << false << true;
    QTest::newRow("after a blank") << QStringLiteral(" {") << false << true;
    QTest::newRow("meant") << QStringLiteral("{\"a\":1") << true << false;
    QTest::newRow("JSON") << QStringLiteral("{\"a\":1}") << false << false;
    QTest::newRow("word") << QStringLiteral("a{") << false << false;
    QTest::newRow("empty") << QString() << false << false;
}

void TstSettingsVerbs::set_brokenJson_isTakenAsTextWithAWord()
{
    QFETCH(QString, value);
    QFETCH(bool, asText);
    QFETCH(bool, isTold);
    FakeBus bus;
    willLoad(bus, record(QStringLiteral("printer"), {}));
    bus.willReply(QStringLiteral("saveSettings"));
    ProgramRun run(setting(value, asText ? QStringList{QStringLiteral("--string")} : QStringList()));
    QCOMPARE(run.status(), 0);
    const QByteArray words =
        "tarvexctl: " + value.toUtf8() + " begins like JSON and is none: it is taken as a text, as with --string\n";
    const QByteArray told = isTold ? words : QByteArray();
    QVERIFY2(run.err().startsWith(told + "tarvexctl: saved network/port = "), run.err().constData());
}

void TstSettingsVerbs::unset_removesOneAndKeepsTheRest()
{
    FakeBus bus;
    willLoad(bus, printerRecord());
    bus.willReply(QStringLiteral("saveSettings"));
    const QDateTime before = QDateTime::currentDateTime();
    ProgramRun run({QStringLiteral("settings"), QStringLiteral("unset"), QStringLiteral("printer"),
                    QStringLiteral("network"), QStringLiteral("port")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: removed network/port from the settings of printer\n"));
    QCOMPARE(bus.requests().size(), 2);
    QCOMPARE(bus.requests().at(1).operation, QStringLiteral("saveSettings"));
    QVariantMap saved = sent(bus, 1);
    const QDateTime date = QDateTime::fromString(saved.take(QStringLiteral("date")).toString(), Qt::ISODateWithMs);
    QVERIFY(before.msecsTo(date) >= 0 && date.msecsTo(QDateTime::currentDateTime()) >= 0);
    QVariantMap expected = printerRecord();
    expected.remove(QStringLiteral("date"));
    QVariantList entries = expected.value(QStringLiteral("settings")).toList();
    entries.removeAt(1);
    expected.insert(QStringLiteral("settings"), entries);
    QCOMPARE(saved, expected);
}

void TstSettingsVerbs::unset_noSuchSetting_savesNothing_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::newRow("no such key") << QStringLiteral("network") << QStringLiteral("speed");
    QTest::newRow("no such group") << QStringLiteral("paper") << QStringLiteral("port");
    QTest::newRow("cut elsewhere") << QString() << QStringLiteral("network/port");
}

void TstSettingsVerbs::unset_noSuchSetting_savesNothing()
{
    QFETCH(QString, group);
    QFETCH(QString, key);
    FakeBus bus;
    willLoad(bus, printerRecord());
    ProgramRun run({QStringLiteral("settings"), QStringLiteral("unset"), QStringLiteral("printer"), group, key});
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(
        run.err(),
        QStringLiteral("tarvexctl: there is no setting %1/%2 in the settings of printer\n").arg(group, key).toUtf8());
    QCOMPARE(bus.requests().size(), 1);
}

void TstSettingsVerbs::unset_asJson_tellsWhatWasDone()
{
    FakeBus bus;
    willLoad(bus, printerRecord());
    bus.willReply(QStringLiteral("saveSettings"));
    ProgramRun run({QStringLiteral("settings"), QStringLiteral("unset"), QStringLiteral("printer"), QString(),
                    QStringLiteral("id"), QStringLiteral("--json")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{{{QStringLiteral("done"), QStringLiteral("settings unset")},
                                  {QStringLiteral("owner"), QStringLiteral("printer")},
                                  {QStringLiteral("group"), QString()},
                                  {QStringLiteral("key"), QStringLiteral("id")}}}));
}

void TstSettingsVerbs::remove_asksBusToRemove()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("removeSettings"));
    ProgramRun run({QStringLiteral("settings"), QStringLiteral("remove"), QStringLiteral("printer")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: removed the settings of printer\n"));
    QCOMPARE(bus.requests().size(), 1);
    QCOMPARE(bus.requests().constFirst().operation, QStringLiteral("removeSettings"));
    QCOMPARE(sent(bus, 0).value(QStringLiteral("owner")).toString(), QStringLiteral("printer"));
}

void TstSettingsVerbs::remove_asJson_tellsWhatWasDone()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("removeSettings"));
    ProgramRun run(
        {QStringLiteral("settings"), QStringLiteral("remove"), QStringLiteral("printer"), QStringLiteral("--json")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{{{QStringLiteral("done"), QStringLiteral("settings remove")},
                                  {QStringLiteral("owner"), QStringLiteral("printer")}}}));
}

QTEST_GUILESS_MAIN(TstSettingsVerbs)
#include "tst_settingsverbs.moc"
