// What Message, ClientSettings and ClientState have in common: copies, comparison, the wire form and its dates.

#include "literals.h"
#include "localzone.h"
#include "samples.h"

#include <QJsonDocument>
#include <QLocale>
#include <QTest>
#include <QTimeZone>

#include <functional>
#include <type_traits>
#include <vector>

using samples::someMessage;
using samples::someState;
using samples::someTime;
using tarvex::ClientSettings;
using tarvex::ClientState;
using tarvex::Message;

namespace {

const QString DATE = u"date"_s;
const QString SOME_TIME = u"2024-03-05T07:08:09.010"_s;

QByteArray jsonOf(const QVariantMap& map)
{
    return QJsonDocument::fromVariant(map).toJson(QJsonDocument::Compact);
}

QVariantMap mapOf(const QByteArray& json)
{
    return QJsonDocument::fromJson(json).toVariant().toMap();
}

QVariantMap entry(const QString& group, const QString& key, const QVariant& value)
{
    return {{u"group"_s, group}, {u"key"_s, key}, {u"value"_s, value}};
}

ClientSettings someSettings()
{
    ClientSettings settings = samples::someSettings();
    settings.setSettings({entry(u"net"_s, u"port"_s, 9100), entry(QString(), u"name"_s, u"box"_s)});
    return settings;
}

/// One of the records, seen through its wire form, so that a table can hold all of them.
struct Kind
{
    QByteArray json;             ///< The sample.
    QByteArray empty;            ///< The record that an empty map gives.
    QVariantMap misspelt;        ///< Keys that this record does not know.
    QStringList textKeys;        ///< Without the date.
    QVariantMap sample;          ///< As the record writes it.
    QVariantMap madeNew;         ///< A default-constructed record, as it writes it.
    QVector<QVariantMap> copies; ///< Copies of the sample, made and moved in every way.
    QVariantMap (*reread)(const QVariantMap& map) = nullptr;
    QDateTime (*dateRead)(const QVariantMap& map) = nullptr;
    QVariant (*dateWritten)(const QDateTime& dt) = nullptr;
    bool (*areEqual)(const QVariantMap& left, const QVariantMap& right) = nullptr;
};

template <typename Record>
QVector<QVariantMap> copiesOf(const Record& sample)
{
    static_assert(std::is_nothrow_move_constructible_v<Record> && std::is_nothrow_move_assignable_v<Record>);
    Record assigned;
    assigned = sample;
    Record source(sample);
    const Record moved(std::move(source));
    source = sample;
    Record moveAssigned;
    moveAssigned = std::move(source);
    return {Record(sample).toVariantMap(), assigned.toVariantMap(), moved.toVariantMap(), moveAssigned.toVariantMap()};
}

template <typename Record>
Kind kindOf(const Record& sample, const QByteArray& json, const QByteArray& empty, const QVariantMap& misspelt)
{
    Kind kind{json, empty, misspelt, {}, sample.toVariantMap(), Record().toVariantMap(), copiesOf(sample)};
    for (auto field = kind.sample.cbegin(); field != kind.sample.cend(); ++field) {
        if (field->type() == QVariant::String && field.key() != DATE) {
            kind.textKeys.append(field.key());
        }
    }
    kind.reread = [](const QVariantMap& map) { return Record::fromVariantMap(map).toVariantMap(); };
    kind.dateRead = [](const QVariantMap& map) { return Record::fromVariantMap(map).dt(); };
    kind.dateWritten = [](const QDateTime& dt) {
        Record record;
        record.setDt(dt);
        return record.toVariantMap().value(DATE);
    };
    kind.areEqual = [](const QVariantMap& left, const QVariantMap& right) {
        return Record::fromVariantMap(left) == Record::fromVariantMap(right);
    };
    return kind;
}

/// Single quotes stand for double ones.
QByteArray quoted(QByteArray json)
{
    return json.replace('\'', '"');
}

std::vector<Kind> allKinds()
{
    return {
        kindOf(someMessage(),
               quoted("{'UID':'u1','date':'2024-03-05T07:08:09.010','message':'text','reciever':'printer',"
                      "'sender':'cashbox'}"),
               quoted("{'UID':'','date':'','message':'','reciever':'','sender':''}"),
               {{u"uid"_s, u"id"_s}, {u"receiver"_s, u"to"_s}, {u"Sender"_s, u"from"_s}, {u"priority"_s, 3}}),
        kindOf(
            someSettings(),
            quoted("{'date':'2024-03-05T07:08:09.010','description':'The cash box','mailOwner':1,'owner':'cashbox',"
                   "'settings':[{'group':'net','key':'port','value':9100},{'group':'','key':'name','value':'box'}]}"),
            quoted("{'date':'','description':'','mailOwner':1,'owner':'','settings':[]}"),
            {{u"Owner"_s, u"me"_s}, {u"mailowner"_s, 0}, {u"version"_s, 3}}),
        kindOf(someState(),
               quoted("{'date':'2024-03-05T07:08:09.010','description':'The cash box','owner':'cashbox',"
                      "'state':'{\\'open\\':true}','type':3}"),
               quoted("{'date':'','description':'','owner':'','state':'','type':0}"),
               {{u"Owner"_s, u"me"_s}, {u"stateType"_s, 5}}),
    };
}

/// The result when a copy of a sample is changed.
struct Outcome
{
    QVariantMap before;
    QVariantMap after;
    QVariantMap sample; ///< After the change.
    bool wasEqual = false;
    bool isEqual = false;
    bool isUnequal = false;
};

using Change = std::function<Outcome()>;

template <typename Record, typename Function>
Change changeOf(const Record& sample, Function change)
{
    return [sample, change] {
        Outcome outcome;
        Record changed = sample;
        outcome.before = changed.toVariantMap();
        outcome.wasEqual = changed == sample && !(changed != sample);
        change(changed);
        outcome.after = changed.toVariantMap();
        outcome.sample = sample.toVariantMap();
        outcome.isEqual = changed == sample;
        outcome.isUnequal = changed != sample;
        return outcome;
    };
}

Change inMessage(void (*change)(Message& message))
{
    return changeOf(someMessage(), change);
}

Change inSettings(void (*change)(ClientSettings& settings))
{
    return changeOf(someSettings(), change);
}

Change inState(void (*change)(ClientState& state))
{
    return changeOf(someState(), change);
}

/// The zone with which the process was started; null when there was none.
const QByteArray ZONE = qgetenv("TZ");

} // namespace

Q_DECLARE_METATYPE(Change)

class TstRecords : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void change_ofOneField_data();
    void change_ofOneField();
    void copies_shareTheirData();
    void wireForm_isTheLiteralText();
    void wireForm_ofANewRecord_hasAllKeys();
    void missingKeys_areEmpty();
    void valueOfAnotherType_data();
    void valueOfAnotherType();
    void text_ofAnyKind_staysAsItIs_data();
    void text_ofAnyKind_staysAsItIs();
    void date_isRead_data();
    void date_isRead();
    void date_isWrittenWithoutItsZone_data();
    void date_isWrittenWithoutItsZone();
    void date_ofNow_keepsItsMilliseconds();
    void date_withOtherDefaultLocale_data();
    void date_withOtherDefaultLocale();
    void date_inTheHourThatComesTwice_keepsItsText();
    void date_inTheHourThatIsSkipped_data();
    void date_inTheHourThatIsSkipped();
};

void TstRecords::cleanup()
{
    QLocale::setDefault(QLocale::c());
    localzone::set(ZONE);
}

void TstRecords::change_ofOneField_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<bool>("isCompared");
    const auto row = [](const char* record, const Change& change, const char* key, const QVariant& value,
                        const char* how = "", bool isCompared = true) {
        QTest::addRow("%s %s %s", record, key, how) << change << QString::fromLatin1(key) << value << isCompared;
    };
    const QString text = u"new"_s;
    const QString later = u"2024-03-05T07:08:09.011"_s;
    row("Message", inMessage([](Message& m) { m.setSender(u"new"_s); }), "sender", text);
    row("Message", inMessage([](Message& m) { m.setReciever(u"new"_s); }), "reciever", text);
    row("Message", inMessage([](Message& m) { m.setMessage(u"new"_s); }), "message", text);
    row("Message", inMessage([](Message& m) { m.setUid(u"new"_s); }), "UID", text);
    row("Message", inMessage([](Message& m) { m.setDt(m.dt().addMSecs(1)); }), "date", later);
    row("Message", inMessage([](Message& m) { m.setDt(QDateTime()); }), "date", QString(), "none");

    row("ClientSettings", inSettings([](ClientSettings& s) { s.setOwner(u"new"_s); }), "owner", text);
    row("ClientSettings", inSettings([](ClientSettings& s) { s.setDescription(u"new"_s); }), "description", text);
    row("ClientSettings", inSettings([](ClientSettings& s) { s.setDt(s.dt().addMSecs(1)); }), "date", later);
    row("ClientSettings", inSettings([](ClientSettings& s) { s.setDt(QDateTime()); }), "date", QString(), "none");
    row("ClientSettings", inSettings([](ClientSettings& s) { s.setMailOwner(false); }), "mailOwner", 0, "", false);
    const QVariantList entries = someSettings().settings();
    const QVariantMap other = entry(u"net"_s, u"port"_s, 9101);
    row("ClientSettings", inSettings([](ClientSettings& s) { s.setSettings({}); }), "settings", QVariantList(), "none");
    row("ClientSettings", inSettings([](ClientSettings& s) { s.setSettings(s.settings().mid(0, 1)); }), "settings",
        entries.mid(0, 1), "one less");
    row("ClientSettings", inSettings([](ClientSettings& s) {
            s.setSettings({s.settings().constLast(), s.settings().constFirst()});
        }),
        "settings", QVariantList{entries.constLast(), entries.constFirst()}, "another order");
    row("ClientSettings", inSettings([](ClientSettings& s) {
            s.setSettings({entry(u"net"_s, u"port"_s, 9101), s.settings().constLast()});
        }),
        "settings", QVariantList{other, entries.constLast()}, "another value");

    row("ClientState", inState([](ClientState& s) { s.setOwner(u"new"_s); }), "owner", text);
    row("ClientState", inState([](ClientState& s) { s.setState(u"new"_s); }), "state", text);
    row("ClientState", inState([](ClientState& s) { s.setDescription(u"new"_s); }), "description", text);
    row("ClientState", inState([](ClientState& s) { s.setStateType(ClientState::EStateType(127)); }), "type", 127);
    row("ClientState", inState([](ClientState& s) { s.setDt(s.dt().addMSecs(1)); }), "date", later);
    row("ClientState", inState([](ClientState& s) { s.setDt(QDateTime()); }), "date", QString(), "none");
}

void TstRecords::change_ofOneField()
{
    QFETCH(Change, change);
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(bool, isCompared);
    const Outcome outcome = change();
    QVERIFY(outcome.wasEqual);
    QVariantMap expected = outcome.before;
    QVERIFY(expected.contains(key));
    QVERIFY(expected.value(key) != value);
    expected[key] = value;
    QCOMPARE(jsonOf(outcome.after), jsonOf(expected));
    QCOMPARE(jsonOf(outcome.sample), jsonOf(outcome.before));
    QCOMPARE(outcome.isEqual, !isCompared);
    QCOMPARE(outcome.isUnequal, isCompared);
}

void TstRecords::copies_shareTheirData()
{
    for (const Kind& kind : allKinds()) {
        for (const QVariantMap& copy : kind.copies) {
            QCOMPARE(jsonOf(copy), kind.json);
            for (const QString& key : kind.textKeys) {
                QCOMPARE(copy.value(key).toString().constData(), kind.sample.value(key).toString().constData());
            }
            const QVariantList list = kind.sample.value(u"settings"_s).toList();
            QVERIFY(list.isEmpty() || copy.value(u"settings"_s).toList().isSharedWith(list));
        }
    }
}

void TstRecords::wireForm_isTheLiteralText()
{
    for (const Kind& kind : allKinds()) {
        QCOMPARE(jsonOf(kind.sample), kind.json);
        QCOMPARE(jsonOf(kind.reread(mapOf(kind.json))), kind.json);
        QVERIFY(kind.areEqual(mapOf(kind.json), kind.sample));
        QCOMPARE(kind.dateRead(mapOf(kind.json)), someTime());
    }
}

void TstRecords::wireForm_ofANewRecord_hasAllKeys()
{
    for (const Kind& kind : allKinds()) {
        QCOMPARE(kind.madeNew.keys(), kind.sample.keys());
        for (auto field = kind.sample.cbegin(); field != kind.sample.cend(); ++field) {
            QCOMPARE(kind.madeNew.value(field.key()).type(), field->type());
        }
    }
}

void TstRecords::missingKeys_areEmpty()
{
    for (const Kind& kind : allKinds()) {
        QCOMPARE(jsonOf(kind.reread({})), kind.empty);
        QCOMPARE(jsonOf(kind.reread(kind.misspelt)), kind.empty);
        QVERIFY(kind.dateRead({}).isNull());
    }
}

void TstRecords::valueOfAnotherType_data()
{
    QTest::addColumn<QVariant>("given");
    QTest::addColumn<QString>("text");
    QTest::newRow("object") << QVariant(QVariantMap{{u"a"_s, 1}}) << QString();
    QTest::newRow("list") << QVariant(QVariantList{1, 2}) << QString();
    QTest::newRow("invalid variant") << QVariant() << QString();
    QTest::newRow("JSON null") << QVariant::fromValue(nullptr) << QString();
    QTest::newRow("number") << QVariant(20240305) << u"20240305"_s;
    QTest::newRow("boolean") << QVariant(true) << u"true"_s;
}

void TstRecords::valueOfAnotherType()
{
    QFETCH(QVariant, given);
    QFETCH(QString, text);
    for (const Kind& kind : allKinds()) {
        const QStringList keys = kind.textKeys + QStringList(DATE);
        for (const QString& key : keys) {
            QVariantMap expected = kind.sample;
            expected[key] = key == DATE ? QString() : text;
            QVariantMap map = kind.sample;
            map[key] = given;
            QCOMPARE(jsonOf(kind.reread(map)), jsonOf(expected));
        }
    }
}

void TstRecords::text_ofAnyKind_staysAsItIs_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("blank") << u" "_s;
    QTest::newRow("lines") << u"a\r\nb\tc"_s;
    QTest::newRow("beyond Latin-1") << u"\u0416\u20ac"_s;
    QTest::newRow("beyond 16 bits") << u"\U0001F3AB"_s;
    QTest::newRow("zero") << QString(QChar(u'\0'));
    QTest::newRow("long") << QString(1000000, QLatin1Char('x'));
}

void TstRecords::text_ofAnyKind_staysAsItIs()
{
    QFETCH(QString, text);
    for (const Kind& kind : allKinds()) {
        QVariantMap map = kind.sample;
        for (const QString& key : kind.textKeys) {
            map[key] = text;
        }
        const QVariantMap read = kind.reread(mapOf(jsonOf(kind.reread(map))));
        QVERIFY(read == map);
        QVERIFY(kind.areEqual(read, map));
    }
}

void TstRecords::date_isRead_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDateTime>("dt");
    const auto valid = [](const char* text, const QDateTime& dt) {
        QTest::newRow(text) << QString::fromLatin1(text) << dt;
    };
    valid("2024-03-05T07:08:09.010", someTime());
    valid("2024-02-29T00:00:00.000", QDateTime(QDate(2024, 2, 29), QTime(0, 0)));
    valid("1969-12-31T23:59:59.999", QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59, 999)));
    valid("9999-12-31T23:59:59.999", QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59, 999)));
    for (const char* const malformed : {"",
                                        "2024-03-05T07:08:09",
                                        "2024-03-05T07:08:09.",
                                        "2024-03-05 07:08:09.010",
                                        "2024-03-05T07:08:09.010Z",
                                        "2024-03-05T07:08:09.010+03:00",
                                        " 2024-03-05T07:08:09.010",
                                        "2024-03-05T07:08:09.010 ",
                                        "2023-02-29T00:00:00.000",
                                        "2024-13-01T00:00:00.000",
                                        "2024-03-05T24:00:00.000",
                                        "2024-03-05T07:60:09.010",
                                        "24-03-05T07:08:09.010",
                                        "05.03.2024 07:08:09.010",
                                        "2024-03-05T07:08:09.1",
                                        "2024-03-05T07:08:09.01",
                                        "2024-03-05T07:08:09.0100",
                                        "2024-3-5T7:8:9.010",
                                        "2024-03-05t07:08:09.010",
                                        "2024-03-05T07:08:09,010",
                                        "-024-03-05T07:08:09.010",
                                        "+2024-03-05T07:08:09.010",
                                        "12024-03-05T07:08:09.010",
                                        "2024-03-05T07:08:60.010",
                                        "0000-03-05T07:08:09.010",
                                        "2024-03-05T07:08:-9.010",
                                        "2024-03-05T07:08: 9.010",
                                        "2024-03-05T07:08:09. 10",
                                        "yesterday"}) {
        valid(malformed, QDateTime());
    }
}

void TstRecords::date_isRead()
{
    QFETCH(QString, text);
    QFETCH(QDateTime, dt);
    for (const Kind& kind : allKinds()) {
        const QVariantMap map{{DATE, text}};
        const QDateTime read = kind.dateRead(map);
        QCOMPARE(read.isValid(), dt.isValid());
        QCOMPARE(read, dt);
        QCOMPARE(read.timeSpec(), Qt::LocalTime);
        QCOMPARE(kind.reread(map).value(DATE).toString(), dt.isValid() ? text : QString());
    }
}

void TstRecords::date_isWrittenWithoutItsZone_data()
{
    QTest::addColumn<QDateTime>("dt");
    QTest::addColumn<QString>("text");
    const QDate date(2024, 3, 5);
    const QTime time(7, 8, 9, 10);
    QTest::newRow("local") << QDateTime(date, time) << SOME_TIME;
    QTest::newRow("UTC") << QDateTime(date, time, Qt::UTC) << SOME_TIME;
    QTest::newRow("offset") << QDateTime(date, time, Qt::OffsetFromUTC, 3 * 3600) << SOME_TIME;
    QTest::newRow("zone") << QDateTime(date, time, QTimeZone(-5 * 3600)) << SOME_TIME;
    QTest::newRow("invalid") << QDateTime() << QString();
}

void TstRecords::date_isWrittenWithoutItsZone()
{
    QFETCH(QDateTime, dt);
    QFETCH(QString, text);
    for (const Kind& kind : allKinds()) {
        const QVariant written = kind.dateWritten(dt);
        QCOMPARE(written.type(), QVariant::String);
        QCOMPARE(written.toString(), text);
    }
}

void TstRecords::date_ofNow_keepsItsMilliseconds()
{
    const QDateTime now = QDateTime::currentDateTime();
    for (const Kind& kind : allKinds()) {
        QCOMPARE(kind.dateRead({{DATE, kind.dateWritten(now)}}), now);
    }
}

void TstRecords::date_withOtherDefaultLocale_data()
{
    QTest::addColumn<QString>("locale");
    QTest::newRow("Egypt") << u"ar_EG"_s;
    QTest::newRow("Iran") << u"fa_IR"_s;
    QTest::newRow("Nepal") << u"ne_NP"_s;
    QTest::newRow("Germany") << u"de_DE"_s;
}

void TstRecords::date_withOtherDefaultLocale()
{
    QFETCH(QString, locale);
    QLocale::setDefault(QLocale(locale));
    QCOMPARE(QLocale().name(), locale);
    for (const Kind& kind : allKinds()) {
        QCOMPARE(kind.dateWritten(someTime()).toString(), SOME_TIME);
        QCOMPARE(kind.dateRead({{DATE, SOME_TIME}}), someTime());
    }
}

void TstRecords::date_inTheHourThatComesTwice_keepsItsText()
{
    localzone::set("Europe/Berlin");
    const QVariantMap map{{DATE, u"2023-10-29T02:30:00.000"_s}};
    for (const Kind& kind : allKinds()) {
        QVERIFY(kind.dateRead(map).isValid());
        QCOMPARE(kind.reread(map).value(DATE), map.first());
        QVERIFY(kind.areEqual(map, kind.reread(map)));
    }
}

void TstRecords::date_inTheHourThatIsSkipped_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<bool>("valid");
    QTest::newRow("skipped here") << QByteArray("Europe/Berlin") << false;
    QTest::newRow("not skipped here") << QByteArray("UTC") << true;
}

// There is no such local time, so the date-time is not valid. It must not become another hour.
void TstRecords::date_inTheHourThatIsSkipped()
{
    QFETCH(QByteArray, zone);
    QFETCH(bool, valid);
    localzone::set(zone);
    const QVariantMap map{{DATE, u"2023-03-26T02:30:00.000"_s}};
    for (const Kind& kind : allKinds()) {
        QCOMPARE(kind.dateRead(map).isValid(), valid);
        QCOMPARE(kind.reread(map).value(DATE).toString(), valid ? map.first().toString() : QString());
    }
}

QTEST_GUILESS_MAIN(TstRecords)
#include "tst_records.moc"
