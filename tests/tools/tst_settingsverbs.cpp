#include "fakebus.h"
#include "literals.h"
#include "programrun.h"

#include <QDateTime>
#include <QTest>

namespace {

QVariantMap entry(const QString& group, const QString& key, const QVariant& value)
{
    return {{u"group"_s, group}, {u"key"_s, key}, {u"value"_s, value}};
}

QVariantMap record(const QString& owner, const QVariantList& entries)
{
    return {{u"owner"_s, owner},
            {u"date"_s, u"2026-03-01T10:11:12.345"_s},
            {u"description"_s, u"Printer at the door"_s},
            {u"mailOwner"_s, 0},
            {u"settings"_s, entries}};
}

QVariantMap printerRecord()
{
    return record(u"printer"_s,
                  {entry(u"network"_s, u"host"_s, u"10.0.0.1"_s), entry(u"network"_s, u"port"_s, 9100),
                   entry(QString(), u"id"_s, QVariant::fromValue(nullptr))});
}

void willLoad(FakeBus& bus, const QVariantMap& data)
{
    bus.willReply(u"loadSettings"_s, 0, QString(), data);
}

void willMiss(FakeBus& bus)
{
    bus.willReply(u"loadSettings"_s, 5, u"There are no settings for client"_s);
}

QStringList setting(const QString& value, const QStringList& more = {})
{
    return QStringList{u"settings"_s, u"set"_s, u"printer"_s, u"network"_s, u"port"_s, value} + more;
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
    ProgramRun run({u"settings"_s, u"get"_s, u"printer"_s});
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
    QCOMPARE(bus.requests().constFirst().operation, u"loadSettings"_s);
    QCOMPARE(sent(bus, 0), (QVariantMap{{u"owner"_s, u"printer"_s}}));
    QCOMPARE(bus.handshakes().constFirst().data, (QVariantMap{{u"name"_s, u"tarvexctl"_s}}));
}

void TstSettingsVerbs::get_withoutOwner_asksForOwnName()
{
    FakeBus bus;
    willLoad(bus, QVariantMap());
    ProgramRun run({u"--as"_s, u"cashbox"_s, u"settings"_s, u"get"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(sent(bus, 0).value(u"owner"_s).toString(), u"cashbox"_s);
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
    willLoad(bus, record(u"cashbox"_s, {}));
    ProgramRun run({u"--json"_s, u"settings"_s, u"get"_s, u"printer"_s, u"cashbox"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{printerRecord(), record(u"cashbox"_s, {})}));
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(bus.connectionCount(), 1);
}

void TstSettingsVerbs::get_severalOneMissing_writesOthersAndEndsWithRefusal()
{
    FakeBus bus;
    willLoad(bus, record(u"printer"_s, {}));
    willMiss(bus);
    willLoad(bus, record(u"cashbox"_s, {}));
    ProgramRun run({u"settings"_s, u"get"_s, u"printer"_s, u"nobody"_s, u"cashbox"_s});
    QCOMPARE(run.status(), 1);
    QVERIFY2(run.out().startsWith("Owner        printer\n"), run.out().constData());
    QVERIFY2(run.out().contains("VALUE\n\nOwner        cashbox\n"), run.out().constData());
    QCOMPARE(run.err(), QByteArray("tarvexctl: nobody: refused by the bus: 5 There are no settings for client\n"));
}

void TstSettingsVerbs::get_severalConnectionLost_stopsThere()
{
    FakeBus bus;
    willLoad(bus, record(u"printer"_s, {}));
    bus.willClose();
    willLoad(bus, record(u"cashbox"_s, {}));
    ProgramRun run({u"--json"_s, u"settings"_s, u"get"_s, u"printer"_s, u"gui"_s, u"cashbox"_s});
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.objects(), QList<QVariantMap>{record(u"printer"_s, {})});
    QCOMPARE(run.err(), QByteArray("tarvexctl: the bus closed the connection\n"));
    QCOMPARE(bus.requests().size(), 2);
}

void TstSettingsVerbs::get_ownerInBrackets_isOneName()
{
    FakeBus bus;
    willLoad(bus, QVariantMap());
    ProgramRun run({u"settings"_s, u"get"_s, u"[a,b]"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(sent(bus, 0).value(u"owner"_s).toString(), u"[a,b]"_s);
}

void TstSettingsVerbs::get_controlCharacters_areShownAsEscapes()
{
    FakeBus bus;
    willLoad(bus, record(u"a\tb\nc\x1b[2J"_s, {entry(u"g\x7f"_s, u"k"_s, u"x\x1b\n"_s)}));
    ProgramRun run({u"settings"_s, u"get"_s, u"printer"_s});
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.out().contains("Owner        a\\tb\\nc\\x1b[2J\n"), run.out().constData());
    QVERIFY2(run.out().contains("g\\x7f  k    \"x\\u001b\\n\"\n"), run.out().constData());
}

// By the cells that they take on a terminal: two for the wide ones, none for an accent of its own.
void TstSettingsVerbs::get_wideAndCombiningCharacters_stayAligned()
{
    FakeBus bus;
    willLoad(bus,
             record(u"printer"_s,
                    {entry(u"abcd"_s, u"1"_s, 1), entry(QString::fromUtf8("\u4e2d\u6587"), u"2"_s, 2),
                     entry(QString::fromUtf8("e\u0301\u00e9ab"), u"3"_s, 3),
                     entry(QString::fromUtf8("\U0001F600ab"), u"4"_s, 4)}));
    ProgramRun run({u"settings"_s, u"get"_s, u"printer"_s});
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
    bus.willReply(u"saveSettings"_s);
    const QDateTime before = QDateTime::currentDateTime();
    ProgramRun run(setting(u"9200"_s));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: saved network/port = 9200 in the settings of printer\n"));
    QCOMPARE(bus.requests().size(), 2);
    QCOMPARE(bus.requests().at(1).operation, u"saveSettings"_s);
    QVariantMap saved = sent(bus, 1);
    const QDateTime date = QDateTime::fromString(saved.take(u"date"_s).toString(), Qt::ISODateWithMs);
    QVERIFY(before.msecsTo(date) >= 0 && date.msecsTo(QDateTime::currentDateTime()) >= 0);
    QVariantMap expected = printerRecord();
    expected.remove(u"date"_s);
    QVariantList entries = expected.value(u"settings"_s).toList();
    entries[1] = entry(u"network"_s, u"port"_s, 9200);
    expected.insert(u"settings"_s, entries);
    QCOMPARE(saved, expected);
}

void TstSettingsVerbs::set_description_replacesStored()
{
    FakeBus bus;
    willLoad(bus, printerRecord());
    bus.willReply(u"saveSettings"_s);
    ProgramRun run(setting(u"1"_s, {u"--description"_s, u"Printer, new"_s}));
    QCOMPARE(run.status(), 0);
    QCOMPARE(sent(bus, 1).value(u"description"_s).toString(), u"Printer, new"_s);
}

void TstSettingsVerbs::set_value_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<bool>("asText");
    QTest::addColumn<QVariant>("stored");
    QTest::newRow("number") << u"2.5"_s << false << QVariant(2.5);
    QTest::newRow("negative") << u"-5"_s << false << QVariant(-5);
    QTest::newRow("large") << u"-9007199254740992"_s << false << QVariant(-9007199254740992LL);
    QTest::newRow("too large as text") << u"9007199254740993"_s << true << QVariant(u"9007199254740993"_s);
    QTest::newRow("with blanks") << u" 9100 "_s << false << QVariant(9100);
    QTest::newRow("truth") << u"true"_s << false << QVariant(true);
    QTest::newRow("null") << u"null"_s << false << QVariant::fromValue(nullptr);
    QTest::newRow("list") << u"[1, \"a\"]"_s << false << QVariant(QVariantList{1, u"a"_s});
    QTest::newRow("object") << u"{\"a\": {}}"_s << false << QVariant(QVariantMap{{u"a"_s, QVariantMap()}});
    QTest::newRow("quoted") << u"\"9100\""_s << false << QVariant(u"9100"_s);
    QTest::newRow("word") << u"off"_s << false << QVariant(u"off"_s);
    QTest::newRow("empty") << QString() << false << QVariant(QString());
    QTest::newRow("no JSON") << u"{a}"_s << false << QVariant(u"{a}"_s);
    QTest::newRow("two values") << u"1,2"_s << false << QVariant(u"1,2"_s);
    QTest::newRow("leading zero") << u"007"_s << false << QVariant(u"007"_s);
    QTest::newRow("other letters") << u"Größe"_s << false << QVariant(u"Größe"_s);
    QTest::newRow("number as text") << u"9100"_s << true << QVariant(u"9100"_s);
    QTest::newRow("negative as text") << u"-5"_s << true << QVariant(u"-5"_s);
    QTest::newRow("quoted as text") << u"\"a\""_s << true << QVariant(u"\"a\""_s);
}

void TstSettingsVerbs::set_value()
{
    QFETCH(QString, given);
    QFETCH(bool, asText);
    QFETCH(QVariant, stored);
    FakeBus bus;
    willLoad(bus, record(u"printer"_s, {}));
    bus.willReply(u"saveSettings"_s);
    ProgramRun run(setting(given, asText ? QStringList{u"--string"_s} : QStringList()));
    QCOMPARE(run.status(), 0);
    const QVariantList entries = sent(bus, 1).value(u"settings"_s).toList();
    QCOMPARE(entries.size(), 1);
    const QVariant value = entries.first().toMap().value(u"value"_s);
    QCOMPARE(value, stored);
    // Comparing variants converts: a text is no number here.
    QCOMPARE(value.type() == QVariant::String, stored.type() == QVariant::String);
}

void TstSettingsVerbs::set_ownerWithoutSettings_startsRecord()
{
    FakeBus bus;
    willMiss(bus);
    bus.willReply(u"saveSettings"_s);
    ProgramRun run(setting(u"9100"_s, {u"--description"_s, u"New"_s}));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray("tarvexctl: saved network/port = 9100 in the settings of printer (its first)\n"));
    QVariantMap saved = sent(bus, 1);
    QVERIFY(!saved.take(u"date"_s).toString().isEmpty());
    QVariantMap expected = record(u"printer"_s, {entry(u"network"_s, u"port"_s, 9100)});
    expected.remove(u"date"_s);
    expected.insert(u"description"_s, u"New"_s);
    expected.insert(u"mailOwner"_s, 1);
    QCOMPARE(saved, expected);
}

void TstSettingsVerbs::set_loadRefusedOtherwise_savesNothing()
{
    FakeBus bus;
    bus.willReply(u"loadSettings"_s, 512, u"Storage access error"_s);
    bus.willReply(u"saveSettings"_s);
    ProgramRun run(setting(u"1"_s));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.err(), QByteArray("tarvexctl: refused by the bus: 512 Storage access error\n"));
    QCOMPARE(bus.requests().size(), 1);
}

void TstSettingsVerbs::set_samePathCutElsewhere_isRefused()
{
    FakeBus bus;
    willLoad(bus, record(u"printer"_s, {entry(u"a/b"_s, u"c"_s, 1)}));
    bus.willReply(u"saveSettings"_s);
    ProgramRun run({u"settings"_s, u"set"_s, u"printer"_s, u"a"_s, u"b/c"_s, u"2"_s});
    QCOMPARE(run.status(), 2);
    QVERIFY2(run.err().contains("\"a/b/c\" is stored already"), run.err().constData());
    QCOMPARE(bus.requests().size(), 1);
}

void TstSettingsVerbs::set_asJson_tellsWhatWasDone()
{
    FakeBus bus;
    willMiss(bus);
    bus.willReply(u"saveSettings"_s);
    ProgramRun run(setting(u"[1]"_s, {u"--json"_s}));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{{{u"done"_s, u"settings set"_s},
                                  {u"owner"_s, u"printer"_s},
                                  {u"group"_s, u"network"_s},
                                  {u"key"_s, u"port"_s},
                                  {u"value"_s, QVariantList{1}},
                                  {u"newRecord"_s, true}}}));
}

void TstSettingsVerbs::set_brokenJson_isTakenAsTextWithAWord_data()
{
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("asText");
    QTest::addColumn<bool>("isTold");
    QTest::newRow("object") << u"{\"a\":1"_s << false << true;
    QTest::newRow("list") << u"[1"_s << false << true;
    QTest::newRow("text") << u"\"a"_s << false << true;
    QTest::newRow("after a blank") << u" {"_s << false << true;
    QTest::newRow("meant") << u"{\"a\":1"_s << true << false;
    QTest::newRow("JSON") << u"{\"a\":1}"_s << false << false;
    QTest::newRow("word") << u"a{"_s << false << false;
    QTest::newRow("empty") << QString() << false << false;
}

void TstSettingsVerbs::set_brokenJson_isTakenAsTextWithAWord()
{
    QFETCH(QString, value);
    QFETCH(bool, asText);
    QFETCH(bool, isTold);
    FakeBus bus;
    willLoad(bus, record(u"printer"_s, {}));
    bus.willReply(u"saveSettings"_s);
    ProgramRun run(setting(value, asText ? QStringList{u"--string"_s} : QStringList()));
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
    bus.willReply(u"saveSettings"_s);
    const QDateTime before = QDateTime::currentDateTime();
    ProgramRun run({u"settings"_s, u"unset"_s, u"printer"_s, u"network"_s, u"port"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: removed network/port from the settings of printer\n"));
    QCOMPARE(bus.requests().size(), 2);
    QCOMPARE(bus.requests().at(1).operation, u"saveSettings"_s);
    QVariantMap saved = sent(bus, 1);
    const QDateTime date = QDateTime::fromString(saved.take(u"date"_s).toString(), Qt::ISODateWithMs);
    QVERIFY(before.msecsTo(date) >= 0 && date.msecsTo(QDateTime::currentDateTime()) >= 0);
    QVariantMap expected = printerRecord();
    expected.remove(u"date"_s);
    QVariantList entries = expected.value(u"settings"_s).toList();
    entries.removeAt(1);
    expected.insert(u"settings"_s, entries);
    QCOMPARE(saved, expected);
}

void TstSettingsVerbs::unset_noSuchSetting_savesNothing_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QString>("key");
    QTest::newRow("no such key") << u"network"_s << u"speed"_s;
    QTest::newRow("no such group") << u"paper"_s << u"port"_s;
    QTest::newRow("cut elsewhere") << QString() << u"network/port"_s;
}

void TstSettingsVerbs::unset_noSuchSetting_savesNothing()
{
    QFETCH(QString, group);
    QFETCH(QString, key);
    FakeBus bus;
    willLoad(bus, printerRecord());
    ProgramRun run({u"settings"_s, u"unset"_s, u"printer"_s, group, key});
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(),
             u"tarvexctl: there is no setting %1/%2 in the settings of printer\n"_s.arg(group, key).toUtf8());
    QCOMPARE(bus.requests().size(), 1);
}

void TstSettingsVerbs::unset_asJson_tellsWhatWasDone()
{
    FakeBus bus;
    willLoad(bus, printerRecord());
    bus.willReply(u"saveSettings"_s);
    ProgramRun run({u"settings"_s, u"unset"_s, u"printer"_s, QString(), u"id"_s, u"--json"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{{{u"done"_s, u"settings unset"_s},
                                  {u"owner"_s, u"printer"_s},
                                  {u"group"_s, QString()},
                                  {u"key"_s, u"id"_s}}}));
}

void TstSettingsVerbs::remove_asksBusToRemove()
{
    FakeBus bus;
    bus.willReply(u"removeSettings"_s);
    ProgramRun run({u"settings"_s, u"remove"_s, u"printer"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: removed the settings of printer\n"));
    QCOMPARE(bus.requests().size(), 1);
    QCOMPARE(bus.requests().constFirst().operation, u"removeSettings"_s);
    QCOMPARE(sent(bus, 0).value(u"owner"_s).toString(), u"printer"_s);
}

void TstSettingsVerbs::remove_asJson_tellsWhatWasDone()
{
    FakeBus bus;
    bus.willReply(u"removeSettings"_s);
    ProgramRun run({u"settings"_s, u"remove"_s, u"printer"_s, u"--json"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{{{u"done"_s, u"settings remove"_s}, {u"owner"_s, u"printer"_s}}}));
}

QTEST_GUILESS_MAIN(TstSettingsVerbs)
#include "tst_settingsverbs.moc"
