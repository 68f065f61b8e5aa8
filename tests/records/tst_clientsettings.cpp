#include "records/clientsettings.h"

#include "literals.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QTest>

#include <functional>
#include <type_traits>

using tarvex::ClientSettings;

static_assert(std::is_nothrow_move_constructible_v<ClientSettings>);
static_assert(std::is_nothrow_move_assignable_v<ClientSettings>);
static_assert(!std::is_polymorphic_v<ClientSettings>);

namespace {

using Change = std::function<void(ClientSettings&)>;

const QString GROUP = u"group"_s;
const QString KEY = u"key"_s;
const QString VALUE = u"value"_s;

QDateTime someTime()
{
    return QDateTime(QDate(2024, 3, 5), QTime(7, 8, 9, 10));
}

QVariantMap entry(const char* group, const char* key, const QVariant& value)
{
    return {{GROUP, QString::fromLatin1(group)}, {KEY, QString::fromLatin1(key)}, {VALUE, value}};
}

/// A formatted map of one group.
QVariantMap formatted(const char* group, const QVariantMap& keys)
{
    return {{QString::fromLatin1(group), keys}};
}

QVariantMap keys(const char* key, const QVariant& value)
{
    return {{QString::fromLatin1(key), value}};
}

ClientSettings settingsOf(const QVariantList& entries)
{
    ClientSettings settings;
    settings.setSettings(entries);
    return settings;
}

QVariantList merged(const QVariantList& entries, const QVariantMap& map)
{
    ClientSettings settings = settingsOf(entries);
    settings.setFormattedSettings(map, false);
    return settings.settings();
}

QVariantList rebuilt(const QVariantList& entries, const QVariantMap& map)
{
    ClientSettings settings = settingsOf(entries);
    settings.setFormattedSettings(map, true);
    return settings.settings();
}

ClientSettings someSettings()
{
    ClientSettings settings = settingsOf({entry("net", "port", 9100), entry("", "name", u"box"_s)});
    settings.setOwner(u"cashbox"_s);
    settings.setDt(someTime());
    settings.setDescription(u"The cash box"_s);
    return settings;
}

const QChar* descriptionDataOfCopy(ClientSettings copy)
{
    return copy.description().constData();
}

} // namespace

Q_DECLARE_METATYPE(Change)

class TstClientSettings : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void construct_withoutArguments_isNowAndEmpty();
    void setters_changeTheirFieldAlone_data();
    void setters_changeTheirFieldAlone();
    void isValid_needsOwnerAndDate_data();
    void isValid_needsOwnerAndDate();
    void toVariantMap_hasExactKeysAndValues();
    void toVariantMap_mailOwnerIsANumber();
    void toVariantMap_invalidDate_isEmptyText();
    void toVariantMap_default_hasEveryKey();
    void fromVariantMap_literalMap_fillsEveryField();
    void fromVariantMap_emptyMap_hasDefaultsAndInvalidDate();
    void fromVariantMap_date_data();
    void fromVariantMap_date();
    void fromVariantMap_mailOwner_data();
    void fromVariantMap_mailOwner();
    void fromVariantMap_settingsThatAreNoList_areEmpty_data();
    void fromVariantMap_settingsThatAreNoList_areEmpty();
    void fromVariantMap_malformedTexts_areEmpty();
    void roundTrip_isEqual();
    void roundTrip_throughJson_isEqual();
    void dates_withDigitsOfTheirOwn_stayPlain();
    void compare_singleField_data();
    void compare_singleField();
    void compare_ignoresMailOwner();
    void formattedSettings_groupsEntries();
    void formattedSettings_empty_isEmpty();
    void formattedSettings_lastEntryWins();
    void formattedSettings_groupWithSlash_staysOneGroup();
    void formattedSettings_missingFields_readAsEmpty();
    void formattedSettings_entriesThatAreNoMaps_landUnderEmptyNames();
    void rebuild_makesEntriesInAscendingOrder();
    void rebuild_fromEmptyMap_emptiesTheList();
    void rebuild_groupsThatAreNoMaps_addNothing();
    void rebuild_ofFormattedView_isTheSameView();
    void rebuild_leavesTheOtherFields();
    void merge_updatesInPlaceAndAppends();
    void merge_appendsInAscendingOrder();
    void merge_intoEmptyList_isLikeRebuild();
    void merge_sameEntryTwice_updatesBoth();
    void merge_emptyMap_completesEntries_data();
    void merge_emptyMap_completesEntries();
    void merge_entryWithoutValue_getsOne();
    void merge_entryWithoutKey_matchesTheEmptyKey();
    void merge_comparesWholePaths();
    void merge_twoNewSettingsWithOnePath_addTheFirst();
    void merge_groupsThatAreNoMaps_changeNothing();
    void merge_keepsFurtherFieldsOfAnEntry();
    void merge_nullValue_replaces();
    void copy_sharesData();
    void move_keepsValues();
};

void TstClientSettings::cleanup()
{
    QLocale::setDefault(QLocale::c());
}

void TstClientSettings::construct_withoutArguments_isNowAndEmpty()
{
    const QDateTime before = QDateTime::currentDateTime();
    const ClientSettings settings;
    const QDateTime after = QDateTime::currentDateTime();
    QVERIFY(before <= settings.dt() && settings.dt() <= after);
    QCOMPARE(settings.dt().timeSpec(), Qt::LocalTime);
    QVERIFY(settings.owner().isNull());
    QVERIFY(settings.description().isNull());
    QVERIFY(settings.settings().isEmpty());
    QCOMPARE(settings.mailOwner(), true);
    QVERIFY(!settings.isValid());
}

void TstClientSettings::setters_changeTheirFieldAlone_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("owner") << Change([](ClientSettings& s) { s.setOwner(u"new"_s); }) << u"owner"_s
                           << QVariant(u"new"_s);
    QTest::newRow("description") << Change([](ClientSettings& s) { s.setDescription(u"new"_s); }) << u"description"_s
                                 << QVariant(u"new"_s);
    QTest::newRow("dt") << Change([](ClientSettings& s) { s.setDt(someTime().addMSecs(1)); }) << u"date"_s
                        << QVariant(u"2024-03-05T07:08:09.011"_s);
    QTest::newRow("settings") << Change([](ClientSettings& s) { s.setSettings({entry("a", "b", 1)}); }) << u"settings"_s
                              << QVariant(QVariantList{entry("a", "b", 1)});
    QTest::newRow("mailOwner") << Change([](ClientSettings& s) { s.setMailOwner(false); }) << u"mailOwner"_s
                               << QVariant(0);
}

void TstClientSettings::setters_changeTheirFieldAlone()
{
    QFETCH(Change, change);
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    ClientSettings settings = someSettings();
    QVariantMap expected = settings.toVariantMap();
    QVERIFY(expected.contains(key));
    QVERIFY(expected.value(key) != value);
    change(settings);
    expected[key] = value;
    QCOMPARE(settings.toVariantMap(), expected);
}

void TstClientSettings::isValid_needsOwnerAndDate_data()
{
    QTest::addColumn<QString>("owner");
    QTest::addColumn<QDateTime>("dt");
    QTest::addColumn<bool>("valid");
    QTest::newRow("both") << u"cashbox"_s << someTime() << true;
    QTest::newRow("no owner") << QString() << someTime() << false;
    QTest::newRow("empty owner") << QString(QLatin1String("")) << someTime() << false;
    QTest::newRow("no date") << u"cashbox"_s << QDateTime() << false;
    QTest::newRow("neither") << QString() << QDateTime() << false;
}

void TstClientSettings::isValid_needsOwnerAndDate()
{
    QFETCH(QString, owner);
    QFETCH(QDateTime, dt);
    QFETCH(bool, valid);
    ClientSettings settings;
    settings.setOwner(owner);
    settings.setDt(dt);
    QCOMPARE(settings.isValid(), valid);
}

void TstClientSettings::toVariantMap_hasExactKeysAndValues()
{
    const QVariantMap expected{
        {u"description"_s, u"The cash box"_s},
        {u"date"_s, u"2024-03-05T07:08:09.010"_s},
        {u"owner"_s, u"cashbox"_s},
        {u"settings"_s, QVariantList{entry("net", "port", 9100), entry("", "name", u"box"_s)}},
        {u"mailOwner"_s, 1},
    };
    QCOMPARE(someSettings().toVariantMap(), expected);
}

void TstClientSettings::toVariantMap_mailOwnerIsANumber()
{
    for (const bool mailOwner : {true, false}) {
        ClientSettings settings;
        settings.setMailOwner(mailOwner);
        const QVariant written = settings.toVariantMap().value(u"mailOwner"_s);
        QCOMPARE(written.type(), QVariant::Int);
        QCOMPARE(written.toInt(), mailOwner ? 1 : 0);
    }
}

void TstClientSettings::toVariantMap_invalidDate_isEmptyText()
{
    ClientSettings settings = someSettings();
    settings.setDt(QDateTime());
    const QVariant date = settings.toVariantMap().value(u"date"_s);
    QCOMPARE(date.type(), QVariant::String);
    QCOMPARE(date.toString(), QString());
}

void TstClientSettings::toVariantMap_default_hasEveryKey()
{
    const QVariantMap map = ClientSettings().toVariantMap();
    QCOMPARE(map.keys(), QStringList({u"date"_s, u"description"_s, u"mailOwner"_s, u"owner"_s, u"settings"_s}));
    QCOMPARE(map.value(u"owner"_s).type(), QVariant::String);
    QCOMPARE(map.value(u"description"_s).type(), QVariant::String);
    QCOMPARE(map.value(u"settings"_s).type(), QVariant::List);
}

void TstClientSettings::fromVariantMap_literalMap_fillsEveryField()
{
    const ClientSettings settings = ClientSettings::fromVariantMap({
        {u"description"_s, u"words"_s},
        {u"date"_s, u"2024-03-05T07:08:09.010"_s},
        {u"owner"_s, u"me"_s},
        {u"settings"_s, QVariantList{entry("g", "k", 5)}},
        {u"mailOwner"_s, 0},
        {u"version"_s, 3},
    });
    QCOMPARE(settings.description(), u"words"_s);
    QCOMPARE(settings.dt(), someTime());
    QCOMPARE(settings.dt().timeSpec(), Qt::LocalTime);
    QCOMPARE(settings.owner(), u"me"_s);
    QCOMPARE(settings.settings(), QVariantList{entry("g", "k", 5)});
    QCOMPARE(settings.mailOwner(), false);
    QVERIFY(settings.isValid());
}

void TstClientSettings::fromVariantMap_emptyMap_hasDefaultsAndInvalidDate()
{
    const ClientSettings settings = ClientSettings::fromVariantMap({});
    QVERIFY(!settings.dt().isValid());
    QVERIFY(settings.owner().isEmpty());
    QVERIFY(settings.description().isEmpty());
    QVERIFY(settings.settings().isEmpty());
    QCOMPARE(settings.mailOwner(), true);
    QVERIFY(!settings.isValid());
}

void TstClientSettings::fromVariantMap_date_data()
{
    QTest::addColumn<QVariant>("given");
    QTest::addColumn<QDateTime>("dt");
    QTest::newRow("valid") << QVariant(u"2024-03-05T07:08:09.010"_s) << someTime();
    QTest::newRow("empty") << QVariant(QString()) << QDateTime();
    QTest::newRow("invalid variant") << QVariant() << QDateTime();
    QTest::newRow("JSON null") << QVariant::fromValue(nullptr) << QDateTime();
    QTest::newRow("no milliseconds") << QVariant(u"2024-03-05T07:08:09"_s) << QDateTime();
    QTest::newRow("zone") << QVariant(u"2024-03-05T07:08:09.010Z"_s) << QDateTime();
    QTest::newRow("no such day") << QVariant(u"2023-02-29T07:08:09.010"_s) << QDateTime();
    QTest::newRow("number") << QVariant(20240305) << QDateTime();
    QTest::newRow("object") << QVariant(keys("year", 2024)) << QDateTime();
}

void TstClientSettings::fromVariantMap_date()
{
    QFETCH(QVariant, given);
    QFETCH(QDateTime, dt);
    const ClientSettings settings = ClientSettings::fromVariantMap({{u"date"_s, given}, {u"owner"_s, u"cashbox"_s}});
    QCOMPARE(settings.dt().isValid(), dt.isValid());
    QCOMPARE(settings.dt(), dt);
    QCOMPARE(settings.isValid(), dt.isValid());
}

void TstClientSettings::fromVariantMap_mailOwner_data()
{
    QTest::addColumn<QVariant>("given");
    QTest::addColumn<bool>("mailOwner");
    QTest::newRow("one") << QVariant(1) << true;
    QTest::newRow("zero") << QVariant(0) << false;
    QTest::newRow("two") << QVariant(2) << true;
    QTest::newRow("minus one") << QVariant(-1) << true;
    QTest::newRow("true") << QVariant(true) << true;
    QTest::newRow("false") << QVariant(false) << false;
    QTest::newRow("as JSON gives it") << QVariant(1.0) << true;
    QTest::newRow("text true") << QVariant(u"true"_s) << false;
    QTest::newRow("text 1") << QVariant(u"1"_s) << true;
    QTest::newRow("text 0") << QVariant(u"0"_s) << false;
    QTest::newRow("empty text") << QVariant(QString()) << false;
    QTest::newRow("null") << QVariant() << false;
    QTest::newRow("JSON null") << QVariant::fromValue(nullptr) << false;
    QTest::newRow("list") << QVariant(QVariantList{1}) << false;
}

void TstClientSettings::fromVariantMap_mailOwner()
{
    QFETCH(QVariant, given);
    QFETCH(bool, mailOwner);
    const ClientSettings settings = ClientSettings::fromVariantMap({{u"mailOwner"_s, given}});
    QCOMPARE(settings.mailOwner(), mailOwner);
    QCOMPARE(settings.toVariantMap().value(u"mailOwner"_s), QVariant(mailOwner ? 1 : 0));
}

void TstClientSettings::fromVariantMap_settingsThatAreNoList_areEmpty_data()
{
    QTest::addColumn<QVariant>("given");
    QTest::newRow("number") << QVariant(5);
    QTest::newRow("text") << QVariant(u"text"_s);
    QTest::newRow("object") << QVariant(keys("a", 1));
    QTest::newRow("null") << QVariant();
    QTest::newRow("JSON null") << QVariant::fromValue(nullptr);
}

void TstClientSettings::fromVariantMap_settingsThatAreNoList_areEmpty()
{
    QFETCH(QVariant, given);
    const ClientSettings settings = ClientSettings::fromVariantMap({{u"settings"_s, given}});
    QVERIFY(settings.settings().isEmpty());
}

void TstClientSettings::fromVariantMap_malformedTexts_areEmpty()
{
    const ClientSettings settings =
        ClientSettings::fromVariantMap({{u"owner"_s, keys("a", 1)}, {u"description"_s, QVariantList{1, 2}}});
    QVERIFY(settings.owner().isEmpty());
    QVERIFY(settings.description().isEmpty());
}

void TstClientSettings::roundTrip_isEqual()
{
    ClientSettings settings = someSettings();
    settings.setMailOwner(false);
    const ClientSettings read = ClientSettings::fromVariantMap(settings.toVariantMap());
    QCOMPARE(read, settings);
    QCOMPARE(read.mailOwner(), false);
}

void TstClientSettings::roundTrip_throughJson_isEqual()
{
    ClientSettings settings = someSettings();
    settings.setSettings({entry("net", "hosts", QVariantList{u"a"_s, u"b"_s}), entry("net", "on", true),
                          entry("ui", "size", keys("width", 5.5)), entry("ui", "none", QVariant::fromValue(nullptr))});
    const QByteArray json = QJsonDocument(QJsonObject::fromVariantMap(settings.toVariantMap())).toJson();
    QCOMPARE(ClientSettings::fromVariantMap(QJsonDocument::fromJson(json).object().toVariantMap()), settings);
}

void TstClientSettings::dates_withDigitsOfTheirOwn_stayPlain()
{
    QLocale::setDefault(QLocale(u"ar_EG"_s));
    const QVariantMap map = someSettings().toVariantMap();
    QCOMPARE(map.value(u"date"_s).toString(), u"2024-03-05T07:08:09.010"_s);
    QCOMPARE(ClientSettings::fromVariantMap(map), someSettings());
}

void TstClientSettings::compare_singleField_data()
{
    QTest::addColumn<Change>("change");
    QTest::newRow("owner") << Change([](ClientSettings& s) { s.setOwner(u"x"_s); });
    QTest::newRow("dt") << Change([](ClientSettings& s) { s.setDt(s.dt().addMSecs(1)); });
    QTest::newRow("no dt") << Change([](ClientSettings& s) { s.setDt(QDateTime()); });
    QTest::newRow("description") << Change([](ClientSettings& s) { s.setDescription(u"x"_s); });
    QTest::newRow("no settings") << Change([](ClientSettings& s) { s.setSettings({}); });
    QTest::newRow("one setting less") << Change([](ClientSettings& s) { s.setSettings(s.settings().mid(0, 1)); });
    QTest::newRow("another order") << Change([](ClientSettings& s) {
        s.setSettings({s.settings().constLast(), s.settings().constFirst()});
    });
    QTest::newRow("another value") << Change([](ClientSettings& s) {
        s.setSettings({entry("net", "port", 9101), s.settings().constLast()});
    });
}

void TstClientSettings::compare_singleField()
{
    QFETCH(Change, change);
    ClientSettings changed = someSettings();
    QVERIFY(changed == someSettings());
    QVERIFY(!(changed != someSettings()));
    change(changed);
    QVERIFY(changed != someSettings());
    QVERIFY(!(changed == someSettings()));
}

void TstClientSettings::compare_ignoresMailOwner()
{
    ClientSettings other = someSettings();
    other.setMailOwner(!other.mailOwner());
    QVERIFY(other == someSettings());
    QVERIFY(!(other != someSettings()));
}

void TstClientSettings::formattedSettings_groupsEntries()
{
    const ClientSettings settings =
        settingsOf({entry("ui", "lang", u"en"_s), entry("net", "port", 1), entry("net", "hosts", QVariantList{1, 2}),
                    entry("", "name", u"box"_s)});
    const QVariantMap expected{
        {u"net"_s, QVariantMap{{u"hosts"_s, QVariantList{1, 2}}, {u"port"_s, 1}}},
        {u"ui"_s, keys("lang", u"en"_s)},
        {QString(), keys("name", u"box"_s)},
    };
    QCOMPARE(settings.formattedSettings(), expected);
}

void TstClientSettings::formattedSettings_empty_isEmpty()
{
    QCOMPARE(ClientSettings().formattedSettings(), QVariantMap());
}

void TstClientSettings::formattedSettings_lastEntryWins()
{
    const ClientSettings settings =
        settingsOf({entry("net", "port", 1), entry("ui", "lang", 0), entry("net", "port", 2)});
    const QVariantMap expected{{u"net"_s, keys("port", 2)}, {u"ui"_s, keys("lang", 0)}};
    QCOMPARE(settings.formattedSettings(), expected);
}

void TstClientSettings::formattedSettings_groupWithSlash_staysOneGroup()
{
    QCOMPARE(settingsOf({entry("a/b", "c", 1)}).formattedSettings(), formatted("a/b", keys("c", 1)));
}

void TstClientSettings::formattedSettings_missingFields_readAsEmpty()
{
    QCOMPARE(settingsOf({QVariantMap{{KEY, u"k"_s}, {VALUE, 1}}}).formattedSettings(), formatted("", keys("k", 1)));
    QCOMPARE(settingsOf({QVariantMap{{GROUP, u"g"_s}, {VALUE, 1}}}).formattedSettings(), formatted("g", keys("", 1)));
    QCOMPARE(settingsOf({QVariantMap{{GROUP, u"g"_s}, {KEY, u"k"_s}}}).formattedSettings(),
             formatted("g", keys("k", QVariant())));
    QCOMPARE(settingsOf({QVariantMap{{GROUP, 5}, {KEY, 6}, {VALUE, 7}}}).formattedSettings(),
             formatted("5", keys("6", 7)));
}

void TstClientSettings::formattedSettings_entriesThatAreNoMaps_landUnderEmptyNames()
{
    QCOMPARE(settingsOf({5, u"text"_s, QVariant()}).formattedSettings(), formatted("", keys("", QVariant())));
}

void TstClientSettings::rebuild_makesEntriesInAscendingOrder()
{
    const QVariantMap map{
        {u"ui"_s, QVariantMap{{u"z"_s, 1}, {u"a"_s, QVariantList{2}}}},
        {u"net"_s, keys("port", 3)},
        {QString(), keys("name", QVariant())},
    };
    const QVariantList expected{entry("", "name", QVariant()), entry("net", "port", 3),
                                entry("ui", "a", QVariantList{2}), entry("ui", "z", 1)};
    QCOMPARE(rebuilt({entry("old", "gone", 1), entry("net", "port", 1)}, map), expected);
}

void TstClientSettings::rebuild_fromEmptyMap_emptiesTheList()
{
    QCOMPARE(rebuilt({entry("net", "port", 1)}, {}), QVariantList());
}

void TstClientSettings::rebuild_groupsThatAreNoMaps_addNothing()
{
    const QVariantMap map{
        {u"a"_s, 5}, {u"b"_s, u"text"_s}, {u"c"_s, QVariantMap()}, {u"d"_s, QVariant()}, {u"e"_s, keys("k", 1)}};
    QCOMPARE(rebuilt({}, map), QVariantList{entry("e", "k", 1)});
}

void TstClientSettings::rebuild_ofFormattedView_isTheSameView()
{
    ClientSettings settings;
    settings.setFormattedSettings(someSettings().formattedSettings(), true);
    QCOMPARE(settings.formattedSettings(), someSettings().formattedSettings());
}

void TstClientSettings::rebuild_leavesTheOtherFields()
{
    ClientSettings settings = someSettings();
    settings.setMailOwner(false);
    QVariantMap expected = settings.toVariantMap();
    settings.setFormattedSettings(formatted("g", keys("k", 1)), true);
    expected[u"settings"_s] = QVariantList{entry("g", "k", 1)};
    QCOMPARE(settings.toVariantMap(), expected);
    settings.setFormattedSettings(formatted("g", keys("k", 2)), false);
    expected[u"settings"_s] = QVariantList{entry("g", "k", 2)};
    QCOMPARE(settings.toVariantMap(), expected);
}

void TstClientSettings::merge_updatesInPlaceAndAppends()
{
    const QVariantMap map = formatted("net", QVariantMap{{u"port"_s, 5}, {u"host"_s, u"h"_s}});
    const QVariantList expected{entry("net", "port", 5), entry("ui", "lang", u"en"_s), entry("net", "host", u"h"_s)};
    QCOMPARE(merged({entry("net", "port", 1), entry("ui", "lang", u"en"_s)}, map), expected);
}

void TstClientSettings::merge_appendsInAscendingOrder()
{
    const QVariantMap map{
        {u"ui"_s, QVariantMap{{u"z"_s, 1}, {u"a"_s, 2}}},
        {u"door"_s, keys("open", true)},
    };
    const QVariantList expected{entry("zoo", "k", 0), entry("door", "open", true), entry("ui", "a", 2),
                                entry("ui", "z", 1)};
    QCOMPARE(merged({entry("zoo", "k", 0)}, map), expected);
}

void TstClientSettings::merge_intoEmptyList_isLikeRebuild()
{
    const QVariantMap map = someSettings().formattedSettings();
    QCOMPARE(merged({}, map), rebuilt({}, map));
    QCOMPARE(merged({}, {}), QVariantList());
}

void TstClientSettings::merge_sameEntryTwice_updatesBoth()
{
    QCOMPARE(merged({entry("net", "port", 1), entry("net", "port", 2)}, formatted("net", keys("port", 5))),
             QVariantList({entry("net", "port", 5), entry("net", "port", 5)}));
}

void TstClientSettings::merge_emptyMap_completesEntries_data()
{
    QTest::addColumn<QVariant>("before");
    QTest::addColumn<QVariantMap>("after");
    const QVariant null;
    const QVariantMap empty{{KEY, null}, {GROUP, null}};
    QTest::newRow("whole") << QVariant(entry("g", "k", 1)) << entry("g", "k", 1);
    QTest::newRow("no key") << QVariant(QVariantMap{{GROUP, u"g"_s}, {VALUE, 1}})
                            << QVariantMap{{GROUP, u"g"_s}, {KEY, null}, {VALUE, 1}};
    QTest::newRow("no group") << QVariant(QVariantMap{{KEY, u"k"_s}, {VALUE, 1}})
                              << QVariantMap{{GROUP, null}, {KEY, u"k"_s}, {VALUE, 1}};
    QTest::newRow("no value") << QVariant(QVariantMap{{GROUP, u"g"_s}, {KEY, u"k"_s}})
                              << QVariantMap{{GROUP, u"g"_s}, {KEY, u"k"_s}};
    QTest::newRow("nothing") << QVariant(QVariantMap()) << empty;
    QTest::newRow("no map") << QVariant(5) << empty;
    QTest::newRow("null") << QVariant() << empty;
}

void TstClientSettings::merge_emptyMap_completesEntries()
{
    QFETCH(QVariant, before);
    QFETCH(QVariantMap, after);
    const QVariantList list = merged({entry("a", "a", 0), before, entry("z", "z", 9)}, {});
    QCOMPARE(list.size(), 3);
    QCOMPARE(list.at(0).toMap(), entry("a", "a", 0));
    QCOMPARE(list.at(1).toMap(), after);
    QCOMPARE(list.at(2).toMap(), entry("z", "z", 9));
    // QVariant takes a null and an empty text for the same; what was added is no text.
    for (const QString& name : {KEY, GROUP}) {
        QCOMPARE(list.at(1).toMap().value(name).isValid(), after.value(name).isValid());
    }
}

void TstClientSettings::merge_entryWithoutValue_getsOne()
{
    QCOMPARE(merged({QVariantMap{{GROUP, u"g"_s}, {KEY, u"k"_s}}}, formatted("g", keys("k", 7))),
             QVariantList{entry("g", "k", 7)});
}

void TstClientSettings::merge_entryWithoutKey_matchesTheEmptyKey()
{
    const QVariantList list = merged({QVariantMap{{VALUE, 1}}}, formatted("", keys("", 7)));
    QCOMPARE(list, QVariantList({QVariantMap{{GROUP, QVariant()}, {KEY, QVariant()}, {VALUE, 7}}}));
}

void TstClientSettings::merge_comparesWholePaths()
{
    QCOMPARE(merged({entry("a/b", "c", 1)}, formatted("a", keys("b/c", 2))), QVariantList{entry("a/b", "c", 1)});
    QCOMPARE(merged({entry("a", "b/c", 1)}, formatted("a/b", keys("c", 2))), QVariantList{entry("a", "b/c", 1)});
    QCOMPARE(merged({entry("a", "b", 1)}, formatted("a", keys("b/c", 2))),
             QVariantList({entry("a", "b", 1), entry("a", "b/c", 2)}));
}

void TstClientSettings::merge_twoNewSettingsWithOnePath_addTheFirst()
{
    const QVariantMap map{{u"a"_s, keys("b/c", 1)}, {u"a/b"_s, keys("c", 2)}};
    QCOMPARE(merged({}, map), QVariantList{entry("a", "b/c", 1)});
    QCOMPARE(rebuilt({}, map), QVariantList({entry("a", "b/c", 1), entry("a/b", "c", 2)}));
}

void TstClientSettings::merge_groupsThatAreNoMaps_changeNothing()
{
    const QVariantMap map{{u"net"_s, 5}, {u"ui"_s, u"text"_s}};
    QCOMPARE(merged({entry("net", "port", 1)}, map), QVariantList{entry("net", "port", 1)});
}

void TstClientSettings::merge_keepsFurtherFieldsOfAnEntry()
{
    QVariantMap withUnit = entry("net", "wait", 1);
    withUnit.insert(u"unit"_s, u"ms"_s);
    QVariantMap expected = withUnit;
    expected[VALUE] = 2;
    QCOMPARE(merged({withUnit}, formatted("net", keys("wait", 2))), QVariantList{expected});
}

void TstClientSettings::merge_nullValue_replaces()
{
    QCOMPARE(merged({entry("net", "port", 1)}, formatted("net", keys("port", QVariant()))),
             QVariantList{entry("net", "port", QVariant())});
}

void TstClientSettings::copy_sharesData()
{
    const ClientSettings settings = someSettings();
    const QChar* const data = settings.description().constData();
    QCOMPARE(descriptionDataOfCopy(settings), data);
    ClientSettings assigned;
    assigned = settings;
    QCOMPARE(assigned.description().constData(), data);
    QVERIFY(assigned.settings().isSharedWith(settings.settings()));
    assigned.setFormattedSettings(formatted("net", keys("port", 5)), false);
    QCOMPARE(settings, someSettings());
}

void TstClientSettings::move_keepsValues()
{
    ClientSettings settings = someSettings();
    ClientSettings moved(std::move(settings));
    QCOMPARE(moved, someSettings());
    ClientSettings assigned;
    assigned = std::move(moved);
    QCOMPARE(assigned, someSettings());
}

QTEST_GUILESS_MAIN(TstClientSettings)
#include "tst_clientsettings.moc"
