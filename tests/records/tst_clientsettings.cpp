#include "records/clientsettings.h"

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

const QString GROUP = QStringLiteral("group");
const QString KEY = QStringLiteral("key");
const QString VALUE = QStringLiteral("value");

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
    ClientSettings settings = settingsOf({entry("net", "port", 9100), entry("", "name", QStringLiteral("box"))});
    settings.setOwner(QStringLiteral("cashbox"));
    settings.setDt(someTime());
    settings.setDescription(QStringLiteral("The cash box"));
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
    QTest::newRow("owner") << Change([](ClientSettings& s) { s.setOwner(QStringLiteral("new")); })
                           << QStringLiteral("owner") << QVariant(QStringLiteral("new"));
    QTest::newRow("description") << Change([](ClientSettings& s) { s.setDescription(QStringLiteral("new")); })
                                 << QStringLiteral("description") << QVariant(QStringLiteral("new"));
    QTest::newRow("dt") << Change([](ClientSettings& s) { s.setDt(someTime().addMSecs(1)); }) << QStringLiteral("date")
                        << QVariant(QStringLiteral("2024-03-05T07:08:09.011"));
    QTest::newRow("settings") << Change([](ClientSettings& s) { s.setSettings({entry("a", "b", 1)}); })
                              << QStringLiteral("settings") << QVariant(QVariantList{entry("a", "b", 1)});
    QTest::newRow("mailOwner") << Change([](ClientSettings& s) { s.setMailOwner(false); })
                               << QStringLiteral("mailOwner") << QVariant(0);
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
    QTest::newRow("both") << QStringLiteral("cashbox") << someTime() << true;
    QTest::newRow("no owner") << QString() << someTime() << false;
    QTest::newRow("empty owner") << QString(QLatin1String("")) << someTime() << false;
    QTest::newRow("no date") << QStringLiteral("cashbox") << QDateTime() << false;
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
        {QStringLiteral("description"), QStringLiteral("The cash box")},
        {QStringLiteral("date"), QStringLiteral("2024-03-05T07:08:09.010")},
        {QStringLiteral("owner"), QStringLiteral("cashbox")},
        {QStringLiteral("settings"),
         QVariantList{entry("net", "port", 9100), entry("", "name", QStringLiteral("box"))}},
        {QStringLiteral("mailOwner"), 1},
    };
    QCOMPARE(someSettings().toVariantMap(), expected);
}

void TstClientSettings::toVariantMap_mailOwnerIsANumber()
{
    for (const bool mailOwner : {true, false}) {
        ClientSettings settings;
        settings.setMailOwner(mailOwner);
        const QVariant written = settings.toVariantMap().value(QStringLiteral("mailOwner"));
        QCOMPARE(written.type(), QVariant::Int);
        QCOMPARE(written.toInt(), mailOwner ? 1 : 0);
    }
}

void TstClientSettings::toVariantMap_invalidDate_isEmptyText()
{
    ClientSettings settings = someSettings();
    settings.setDt(QDateTime());
    const QVariant date = settings.toVariantMap().value(QStringLiteral("date"));
    QCOMPARE(date.type(), QVariant::String);
    QCOMPARE(date.toString(), QString());
}

void TstClientSettings::toVariantMap_default_hasEveryKey()
{
    const QVariantMap map = ClientSettings().toVariantMap();
    QCOMPARE(map.keys(),
             QStringList({QStringLiteral("date"), QStringLiteral("description"), QStringLiteral("mailOwner"),
                          QStringLiteral("owner"), QStringLiteral("settings")}));
    QCOMPARE(map.value(QStringLiteral("owner")).type(), QVariant::String);
    QCOMPARE(map.value(QStringLiteral("description")).type(), QVariant::String);
    QCOMPARE(map.value(QStringLiteral("settings")).type(), QVariant::List);
}

void TstClientSettings::fromVariantMap_literalMap_fillsEveryField()
{
    const ClientSettings settings = ClientSettings::fromVariantMap({
        {QStringLiteral("description"), QStringLiteral("words")},
        {QStringLiteral("date"), QStringLiteral("2024-03-05T07:08:09.010")},
        {QStringLiteral("owner"), QStringLiteral("me")},
        {QStringLiteral("settings"), QVariantList{entry("g", "k", 5)}},
        {QStringLiteral("mailOwner"), 0},
        {QStringLiteral("version"), 3},
    });
    QCOMPARE(settings.description(), QStringLiteral("words"));
    QCOMPARE(settings.dt(), someTime());
    QCOMPARE(settings.dt().timeSpec(), Qt::LocalTime);
    QCOMPARE(settings.owner(), QStringLiteral("me"));
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
    QTest::newRow("valid") << QVariant(QStringLiteral("2024-03-05T07:08:09.010")) << someTime();
    QTest::newRow("empty") << QVariant(QString()) << QDateTime();
    QTest::newRow("invalid variant") << QVariant() << QDateTime();
    QTest::newRow("JSON null") << QVariant::fromValue(nullptr) << QDateTime();
    QTest::newRow("no milliseconds") << QVariant(QStringLiteral("2024-03-05T07:08:09")) << QDateTime();
    QTest::newRow("zone") << QVariant(QStringLiteral("2024-03-05T07:08:09.010Z")) << QDateTime();
    QTest::newRow("no such day") << QVariant(QStringLiteral("2023-02-29T07:08:09.010")) << QDateTime();
    QTest::newRow("number") << QVariant(20240305) << QDateTime();
    QTest::newRow("object") << QVariant(keys("year", 2024)) << QDateTime();
}

void TstClientSettings::fromVariantMap_date()
{
    QFETCH(QVariant, given);
    QFETCH(QDateTime, dt);
    const ClientSettings settings = ClientSettings::fromVariantMap(
        {{QStringLiteral("date"), given}, {QStringLiteral("owner"), QStringLiteral("cashbox")}});
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
    QTest::newRow("text true") << QVariant(QStringLiteral("true")) << false;
    QTest::newRow("text 1") << QVariant(QStringLiteral("1")) << true;
    QTest::newRow("text 0") << QVariant(QStringLiteral("0")) << false;
    QTest::newRow("empty text") << QVariant(QString()) << false;
    QTest::newRow("null") << QVariant() << false;
    QTest::newRow("JSON null") << QVariant::fromValue(nullptr) << false;
    QTest::newRow("list") << QVariant(QVariantList{1}) << false;
}

void TstClientSettings::fromVariantMap_mailOwner()
{
    QFETCH(QVariant, given);
    QFETCH(bool, mailOwner);
    const ClientSettings settings = ClientSettings::fromVariantMap({{QStringLiteral("mailOwner"), given}});
    QCOMPARE(settings.mailOwner(), mailOwner);
    QCOMPARE(settings.toVariantMap().value(QStringLiteral("mailOwner")), QVariant(mailOwner ? 1 : 0));
}

void TstClientSettings::fromVariantMap_settingsThatAreNoList_areEmpty_data()
{
    QTest::addColumn<QVariant>("given");
    QTest::newRow("number") << QVariant(5);
    QTest::newRow("text") << QVariant(QStringLiteral("text"));
    QTest::newRow("object") << QVariant(keys("a", 1));
    QTest::newRow("null") << QVariant();
    QTest::newRow("JSON null") << QVariant::fromValue(nullptr);
}

void TstClientSettings::fromVariantMap_settingsThatAreNoList_areEmpty()
{
    QFETCH(QVariant, given);
    const ClientSettings settings = ClientSettings::fromVariantMap({{QStringLiteral("settings"), given}});
    QVERIFY(settings.settings().isEmpty());
}

void TstClientSettings::fromVariantMap_malformedTexts_areEmpty()
{
    const ClientSettings settings = ClientSettings::fromVariantMap(
        {{QStringLiteral("owner"), keys("a", 1)}, {QStringLiteral("description"), QVariantList{1, 2}}});
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
    settings.setSettings({entry("net", "hosts", QVariantList{QStringLiteral("a"), QStringLiteral("b")}),
                          entry("net", "on", true), entry("ui", "size", keys("width", 5.5)),
                          entry("ui", "none", QVariant::fromValue(nullptr))});
    const QByteArray json = QJsonDocument(QJsonObject::fromVariantMap(settings.toVariantMap())).toJson();
    QCOMPARE(ClientSettings::fromVariantMap(QJsonDocument::fromJson(json).object().toVariantMap()), settings);
}

void TstClientSettings::dates_withDigitsOfTheirOwn_stayPlain()
{
    QLocale::setDefault(QLocale(QStringLiteral("ar_EG")));
    const QVariantMap map = someSettings().toVariantMap();
    QCOMPARE(map.value(QStringLiteral("date")).toString(), QStringLiteral("2024-03-05T07:08:09.010"));
    QCOMPARE(ClientSettings::fromVariantMap(map), someSettings());
}

void TstClientSettings::compare_singleField_data()
{
    QTest::addColumn<Change>("change");
    QTest::newRow("owner") << Change([](ClientSettings& s) { s.setOwner(QStringLiteral("x")); });
    QTest::newRow("dt") << Change([](ClientSettings& s) { s.setDt(s.dt().addMSecs(1)); });
    QTest::newRow("no dt") << Change([](ClientSettings& s) { s.setDt(QDateTime()); });
    QTest::newRow("description") << Change([](ClientSettings& s) { s.setDescription(QStringLiteral("x")); });
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
        settingsOf({entry("ui", "lang", QStringLiteral("en")), entry("net", "port", 1),
                    entry("net", "hosts", QVariantList{1, 2}), entry("", "name", QStringLiteral("box"))});
    const QVariantMap expected{
        {QStringLiteral("net"),
         QVariantMap{{QStringLiteral("hosts"), QVariantList{1, 2}}, {QStringLiteral("port"), 1}}},
        {QStringLiteral("ui"), keys("lang", QStringLiteral("en"))},
        {QString(), keys("name", QStringLiteral("box"))},
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
    const QVariantMap expected{{QStringLiteral("net"), keys("port", 2)}, {QStringLiteral("ui"), keys("lang", 0)}};
    QCOMPARE(settings.formattedSettings(), expected);
}

void TstClientSettings::formattedSettings_groupWithSlash_staysOneGroup()
{
    QCOMPARE(settingsOf({entry("a/b", "c", 1)}).formattedSettings(), formatted("a/b", keys("c", 1)));
}

void TstClientSettings::formattedSettings_missingFields_readAsEmpty()
{
    QCOMPARE(settingsOf({QVariantMap{{KEY, QStringLiteral("k")}, {VALUE, 1}}}).formattedSettings(),
             formatted("", keys("k", 1)));
    QCOMPARE(settingsOf({QVariantMap{{GROUP, QStringLiteral("g")}, {VALUE, 1}}}).formattedSettings(),
             formatted("g", keys("", 1)));
    QCOMPARE(settingsOf({QVariantMap{{GROUP, QStringLiteral("g")}, {KEY, QStringLiteral("k")}}}).formattedSettings(),
             formatted("g", keys("k", QVariant())));
    QCOMPARE(settingsOf({QVariantMap{{GROUP, 5}, {KEY, 6}, {VALUE, 7}}}).formattedSettings(),
             formatted("5", keys("6", 7)));
}

void TstClientSettings::formattedSettings_entriesThatAreNoMaps_landUnderEmptyNames()
{
    QCOMPARE(settingsOf({5, QStringLiteral("text"), QVariant()}).formattedSettings(),
             formatted("", keys("", QVariant())));
}

void TstClientSettings::rebuild_makesEntriesInAscendingOrder()
{
    const QVariantMap map{
        {QStringLiteral("ui"), QVariantMap{{QStringLiteral("z"), 1}, {QStringLiteral("a"), QVariantList{2}}}},
        {QStringLiteral("net"), keys("port", 3)},
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
    const QVariantMap map{{QStringLiteral("a"), 5},
                          {QStringLiteral("b"), QStringLiteral("text")},
                          {QStringLiteral("c"), QVariantMap()},
                          {QStringLiteral("d"), QVariant()},
                          {QStringLiteral("e"), keys("k", 1)}};
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
    expected[QStringLiteral("settings")] = QVariantList{entry("g", "k", 1)};
    QCOMPARE(settings.toVariantMap(), expected);
    settings.setFormattedSettings(formatted("g", keys("k", 2)), false);
    expected[QStringLiteral("settings")] = QVariantList{entry("g", "k", 2)};
    QCOMPARE(settings.toVariantMap(), expected);
}

void TstClientSettings::merge_updatesInPlaceAndAppends()
{
    const QVariantMap map =
        formatted("net", QVariantMap{{QStringLiteral("port"), 5}, {QStringLiteral("host"), QStringLiteral("h")}});
    const QVariantList expected{entry("net", "port", 5), entry("ui", "lang", QStringLiteral("en")),
                                entry("net", "host", QStringLiteral("h"))};
    QCOMPARE(merged({entry("net", "port", 1), entry("ui", "lang", QStringLiteral("en"))}, map), expected);
}

void TstClientSettings::merge_appendsInAscendingOrder()
{
    const QVariantMap map{
        {QStringLiteral("ui"), QVariantMap{{QStringLiteral("z"), 1}, {QStringLiteral("a"), 2}}},
        {QStringLiteral("door"), keys("open", true)},
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
    QTest::newRow("no key") << QVariant(QVariantMap{{GROUP, QStringLiteral("g")}, {VALUE, 1}})
                            << QVariantMap{{GROUP, QStringLiteral("g")}, {KEY, null}, {VALUE, 1}};
    QTest::newRow("no group") << QVariant(QVariantMap{{KEY, QStringLiteral("k")}, {VALUE, 1}})
                              << QVariantMap{{GROUP, null}, {KEY, QStringLiteral("k")}, {VALUE, 1}};
    QTest::newRow("no value") << QVariant(QVariantMap{{GROUP, QStringLiteral("g")}, {KEY, QStringLiteral("k")}})
                              << QVariantMap{{GROUP, QStringLiteral("g")}, {KEY, QStringLiteral("k")}};
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
    QCOMPARE(
        merged({QVariantMap{{GROUP, QStringLiteral("g")}, {KEY, QStringLiteral("k")}}}, formatted("g", keys("k", 7))),
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
    const QVariantMap map{{QStringLiteral("a"), keys("b/c", 1)}, {QStringLiteral("a/b"), keys("c", 2)}};
    QCOMPARE(merged({}, map), QVariantList{entry("a", "b/c", 1)});
    QCOMPARE(rebuilt({}, map), QVariantList({entry("a", "b/c", 1), entry("a/b", "c", 2)}));
}

void TstClientSettings::merge_groupsThatAreNoMaps_changeNothing()
{
    const QVariantMap map{{QStringLiteral("net"), 5}, {QStringLiteral("ui"), QStringLiteral("text")}};
    QCOMPARE(merged({entry("net", "port", 1)}, map), QVariantList{entry("net", "port", 1)});
}

void TstClientSettings::merge_keepsFurtherFieldsOfAnEntry()
{
    QVariantMap withUnit = entry("net", "wait", 1);
    withUnit.insert(QStringLiteral("unit"), QStringLiteral("ms"));
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
