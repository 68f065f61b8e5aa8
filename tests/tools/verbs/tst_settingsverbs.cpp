#include "fakebuses.h"
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

QVariantList printerEntries()
{
    return {entry(u"network"_s, u"host"_s, u"10.0.0.1"_s), entry(u"network"_s, u"port"_s, 9100),
            entry(QString(), u"id"_s, QVariant::fromValue(nullptr))};
}

/// A bus that answers the requests to load with these records, in this order. For an empty record it says that nothing
/// is stored. It accepts every other request.
class SettingsBus : public FakeBus
{
public:
    explicit SettingsBus(const QList<QVariantMap>& records)
    {
        for (const QVariantMap& loaded : records) {
            if (loaded.isEmpty()) {
                willReply(u"loadSettings"_s, 5, u"There are no settings for client"_s);
            } else {
                willReply(u"loadSettings"_s, 0, QString(), loaded);
            }
        }
        willAlwaysDo(answer);
    }
};

QStringList loadAndSave()
{
    return {u"loadSettings"_s, u"saveSettings"_s};
}

/// The saved record without its date. Empty when the date is not between \a before and now.
QVariantMap savedSince(const QDateTime& before, const FakeBus& bus)
{
    QVariantMap saved = requested(bus, 1);
    const QDateTime date = QDateTime::fromString(saved.take(u"date"_s).toString(), Qt::ISODateWithMs);
    const bool isNow = before.msecsTo(date) >= 0 && date.msecsTo(QDateTime::currentDateTime()) >= 0;
    return isNow ? saved : QVariantMap();
}

QVariantMap withoutDate(QVariantMap record)
{
    record.remove(u"date"_s);
    return record;
}

/// The command line that sets network/port of the printer.
QStringList setting(const QString& value, bool asText = false)
{
    const QStringList line{u"settings"_s, u"set"_s, u"printer"_s, u"network"_s, u"port"_s, value};
    return asText ? line + QStringList{u"--string"_s} : line;
}

} // namespace

class TstSettingsVerbs : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void get_writesAlignedTable_data();
    void get_writesAlignedTable();
    void get_asJson_writesOneRecordALine();
    void get_severalOneMissing_writesOthersAndEndsWithRefusal();
    void get_severalConnectionLost_stopsThere();
    void set_mergesIntoStored();
    void set_description_replacesStored();
    void set_value_data();
    void set_value();
    void set_ownerWithoutSettings_startsRecord();
    void set_loadRefusedOtherwise_savesNothing();
    void set_samePathCutElsewhere_isRefused();
    void set_brokenJson_isTakenAsTextWithAWord_data();
    void set_brokenJson_isTakenAsTextWithAWord();
    void unset_removesOneAndKeepsTheRest();
    void unset_noSuchSetting_savesNothing_data();
    void unset_noSuchSetting_savesNothing();
    void remove_asksBusToRemove();
    void change_asJson_tellsWhatWasDone_data();
    void change_asJson_tellsWhatWasDone();
};

void TstSettingsVerbs::get_writesAlignedTable_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("owner");
    QTest::addColumn<QVariantMap>("stored");
    QTest::addColumn<QString>("shown");
    QTest::newRow("settings") << u"settings get printer"_s << u"printer"_s << record(u"printer"_s, printerEntries())
                              << u"Owner        printer\n"
                                 "Written      2026-03-01T10:11:12.345\n"
                                 "Description  Printer at the door\n"
                                 "Mail owner   no\n"
                                 "GROUP    KEY   VALUE\n"
                                 "network  host  \"10.0.0.1\"\n"
                                 "network  port  9100\n"
                                 "-        id    null\n"_s;
    QTest::newRow("own name, nothing") << u"--as cashbox settings get"_s << u"cashbox"_s << QVariantMap{{u"a"_s, 1}}
                                       << u"Owner        -\n"
                                          "Written      -\n"
                                          "Description  -\n"
                                          "Mail owner   yes\n"
                                          "GROUP  KEY  VALUE\n"_s;
    QTest::newRow("name in brackets, control characters")
        << u"settings get [a,b]"_s << u"[a,b]"_s
        << record(u"a\tb\nc\x1b[2J"_s, {entry(u"g\x7f"_s, u"k"_s, u"x\x1b\n"_s)})
        << u"Owner        a\\tb\\nc\\x1b[2J\n"
           "Written      2026-03-01T10:11:12.345\n"
           "Description  Printer at the door\n"
           "Mail owner   no\n"
           "GROUP  KEY  VALUE\n"
           "g\\x7f  k    \"x\\u001b\\n\"\n"_s;
    // Columns are aligned by the cells on a terminal: a wide character takes two, a combining accent takes none.
    QTest::newRow("wide and combining characters")
        << u"settings get printer"_s << u"printer"_s
        << record(u"printer"_s,
                  {entry(u"abcd"_s, u"1"_s, 1), entry(u"\u4e2d\u6587"_s, u"2"_s, 2),
                   entry(u"e\u0301\u00e9ab"_s, u"3"_s, 3), entry(u"\U0001F600ab"_s, u"4"_s, 4)})
        << u"Owner        printer\n"
           "Written      2026-03-01T10:11:12.345\n"
           "Description  Printer at the door\n"
           "Mail owner   no\n"
           "GROUP  KEY  VALUE\n"
           "abcd   1    1\n"
           "\u4e2d\u6587   2    2\n"
           "e\u0301\u00e9ab   3    3\n"
           "\U0001F600ab   4    4\n"_s;
}

void TstSettingsVerbs::get_writesAlignedTable()
{
    QFETCH(QString, line);
    QFETCH(QString, owner);
    QFETCH(QVariantMap, stored);
    QFETCH(QString, shown);
    SettingsBus bus({stored});
    ProgramRun run(line);
    QCOMPARE(run.ending(), ended(0, {}, shown.toUtf8()));
    QCOMPARE(operations(bus), QStringList{u"loadSettings"_s});
    QCOMPARE(requested(bus), (QVariantMap{{u"owner"_s, owner}}));
    const QString name = line.startsWith(u"--as"_s) ? owner : u"tarvexctl"_s;
    QCOMPARE(bus.handshakes().constFirst().data, (QVariantMap{{u"name"_s, name}}));
}

void TstSettingsVerbs::get_asJson_writesOneRecordALine()
{
    const QList<QVariantMap> records{record(u"printer"_s, printerEntries()), record(u"cashbox"_s, {})};
    SettingsBus bus(records);
    ProgramRun run(u"--json settings get printer cashbox"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), records);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(bus.connectionCount(), 1);
}

void TstSettingsVerbs::get_severalOneMissing_writesOthersAndEndsWithRefusal()
{
    SettingsBus bus({record(u"printer"_s, {}), {}, record(u"cashbox"_s, {})});
    ProgramRun run(u"settings get printer nobody cashbox"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending, ended(1, {"nobody: refused by the bus: 5 There are no settings for client"}, ending.out));
    QVERIFY2(ending.out.startsWith("Owner        printer\n"), ending.out.constData());
    QVERIFY2(ending.out.contains("VALUE\n\nOwner        cashbox\n"), ending.out.constData());
}

void TstSettingsVerbs::get_severalConnectionLost_stopsThere()
{
    SettingsBus bus({record(u"printer"_s, {})});
    bus.willClose();
    ProgramRun run(u"--json settings get printer gui cashbox"_s);
    QCOMPARE(run.status(), 3);
    QCOMPARE(run.objects(), QList<QVariantMap>{record(u"printer"_s, {})});
    QCOMPARE(run.err(), told("the bus closed the connection"));
    QCOMPARE(bus.requests().size(), 2);
}

void TstSettingsVerbs::set_mergesIntoStored()
{
    SettingsBus bus({record(u"printer"_s, printerEntries())});
    const QDateTime before = QDateTime::currentDateTime();
    ProgramRun run(setting(u"9200"_s));
    QCOMPARE(run.ending(), ended(0, {"saved network/port = 9200 in the settings of printer"}));
    QCOMPARE(operations(bus), loadAndSave());
    QVariantList entries = printerEntries();
    entries[1] = entry(u"network"_s, u"port"_s, 9200);
    QCOMPARE(savedSince(before, bus), withoutDate(record(u"printer"_s, entries)));
}

void TstSettingsVerbs::set_description_replacesStored()
{
    SettingsBus bus({record(u"printer"_s, printerEntries())});
    ProgramRun run(u"settings set printer network port 1 --description 'Printer, new'"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(requested(bus, 1).value(u"description"_s).toString(), u"Printer, new"_s);
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
    SettingsBus bus({record(u"printer"_s, {})});
    ProgramRun run(setting(given, asText));
    QCOMPARE(run.status(), 0);
    const QVariantList entries = requested(bus, 1).value(u"settings"_s).toList();
    QCOMPARE(entries.size(), 1);
    const QVariant value = entries.first().toMap().value(u"value"_s);
    QCOMPARE(value, stored);
    // Comparing variants converts them, so the types are compared too: a text is not a number.
    QCOMPARE(value.type() == QVariant::String, stored.type() == QVariant::String);
}

void TstSettingsVerbs::set_ownerWithoutSettings_startsRecord()
{
    SettingsBus bus({QVariantMap()});
    const QDateTime before = QDateTime::currentDateTime();
    ProgramRun run(u"settings set printer network port 9100 --description New"_s);
    QCOMPARE(run.ending(), ended(0, {"saved network/port = 9100 in the settings of printer (its first)"}));
    QVariantMap expected = withoutDate(record(u"printer"_s, {entry(u"network"_s, u"port"_s, 9100)}));
    expected.insert(u"description"_s, u"New"_s);
    expected.insert(u"mailOwner"_s, 1);
    QCOMPARE(savedSince(before, bus), expected);
}

void TstSettingsVerbs::set_loadRefusedOtherwise_savesNothing()
{
    SettingsBus bus({});
    bus.willReply(u"loadSettings"_s, 512, u"Storage access error"_s);
    ProgramRun run(setting(u"1"_s));
    QCOMPARE(run.ending(), ended(1, {"refused by the bus: 512 Storage access error"}));
    QCOMPARE(bus.requests().size(), 1);
}

void TstSettingsVerbs::set_samePathCutElsewhere_isRefused()
{
    SettingsBus bus({record(u"printer"_s, {entry(u"a/b"_s, u"c"_s, 1)})});
    ProgramRun run(u"settings set printer a b/c 2"_s);
    QCOMPARE(run.ending(),
             ended(2, {"\"a/b/c\" is stored already, with the slash between group and key at another place"}));
    QCOMPARE(bus.requests().size(), 1);
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
    SettingsBus bus({record(u"printer"_s, {})});
    ProgramRun run(setting(value, asText));
    QCOMPARE(run.status(), 0);
    const QByteArray words =
        told(value.toUtf8() + " begins like JSON and is none: it is taken as a text, as with --string");
    QVERIFY2(run.err().startsWith((isTold ? words : QByteArray()) + "tarvexctl: saved network/port = "),
             run.err().constData());
}

void TstSettingsVerbs::unset_removesOneAndKeepsTheRest()
{
    SettingsBus bus({record(u"printer"_s, printerEntries())});
    const QDateTime before = QDateTime::currentDateTime();
    ProgramRun run(u"settings unset printer network port"_s);
    QCOMPARE(run.ending(), ended(0, {"removed network/port from the settings of printer"}));
    QCOMPARE(operations(bus), loadAndSave());
    QVariantList entries = printerEntries();
    entries.removeAt(1);
    QCOMPARE(savedSince(before, bus), withoutDate(record(u"printer"_s, entries)));
}

void TstSettingsVerbs::unset_noSuchSetting_savesNothing_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("shown");
    QTest::newRow("no such key") << u"network speed"_s << QByteArray("network/speed");
    QTest::newRow("no such group") << u"paper port"_s << QByteArray("paper/port");
    QTest::newRow("cut elsewhere") << u"'' network/port"_s << QByteArray("/network/port");
}

void TstSettingsVerbs::unset_noSuchSetting_savesNothing()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, shown);
    SettingsBus bus({record(u"printer"_s, printerEntries())});
    ProgramRun run(u"settings unset printer "_s + path);
    QCOMPARE(run.ending(), ended(1, {"there is no setting " + shown + " in the settings of printer"}));
    QCOMPARE(bus.requests().size(), 1);
}

void TstSettingsVerbs::remove_asksBusToRemove()
{
    SettingsBus bus({});
    ProgramRun run(u"settings remove printer"_s);
    QCOMPARE(run.ending(), ended(0, {"removed the settings of printer"}));
    QCOMPARE(operations(bus), QStringList{u"removeSettings"_s});
    QCOMPARE(requested(bus).value(u"owner"_s).toString(), u"printer"_s);
}

void TstSettingsVerbs::change_asJson_tellsWhatWasDone_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("isStored");
    QTest::addColumn<QByteArray>("object");
    QTest::newRow("set, first") << u"settings set printer network port [1] --json"_s << false
                                << QByteArray(R"({"done":"settings set","group":"network","key":"port",)"
                                              R"("newRecord":true,"owner":"printer","value":[1]})");
    QTest::newRow("set") << u"settings set printer network port 1 --json"_s << true
                         << QByteArray(R"({"done":"settings set","group":"network","key":"port",)"
                                       R"("newRecord":false,"owner":"printer","value":1})");
    QTest::newRow("unset") << u"settings unset printer '' id --json"_s << true
                           << QByteArray(R"({"done":"settings unset","group":"","key":"id","owner":"printer"})");
    QTest::newRow("remove") << u"settings remove printer --json"_s << true
                            << QByteArray(R"({"done":"settings remove","owner":"printer"})");
}

void TstSettingsVerbs::change_asJson_tellsWhatWasDone()
{
    QFETCH(QString, line);
    QFETCH(bool, isStored);
    QFETCH(QByteArray, object);
    SettingsBus bus({isStored ? record(u"printer"_s, printerEntries()) : QVariantMap()});
    ProgramRun run(line);
    QCOMPARE(run.ending(), ended(0, {}, object + '\n'));
}

QTEST_GUILESS_MAIN(TstSettingsVerbs)
#include "tst_settingsverbs.moc"
