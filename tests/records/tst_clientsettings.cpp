#include "records/clientsettings.h"

#include "literals.h"
#include "samples.h"

#include <QJsonDocument>
#include <QTest>

using samples::someSettings;
using samples::someTime;
using tarvex::ClientSettings;

namespace {

const QString GROUP = u"group"_s;
const QString KEY = u"key"_s;
const QString VALUE = u"value"_s;

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
    ClientSettings settings = someSettings();
    settings.setSettings(entries);
    return settings;
}

/// Values are compared as JSON text, because for QVariant a null and an empty text are equal.
QByteArray jsonOf(const QVariant& value)
{
    return QJsonDocument::fromVariant(value).toJson(QJsonDocument::Compact);
}

} // namespace

/// What this record has of its own. tst_records tests what it shares with the other records.
class TstClientSettings : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void construct_withoutArguments_isNowAndEmpty();
    void getters_returnTheirField();
    void isValid_needsOwnerAndDate_data();
    void isValid_needsOwnerAndDate();
    void mailOwner_isWrittenAsANumber();
    void fromVariantMap_mailOwner_data();
    void fromVariantMap_mailOwner();
    void fromVariantMap_settingsThatAreNoList_areEmpty_data();
    void fromVariantMap_settingsThatAreNoList_areEmpty();
    void settings_ofAnyKind_surviveTheWire();
    void formattedSettings_data();
    void formattedSettings();
    void setFormattedSettings_data();
    void setFormattedSettings();
    void setFormattedSettings_emptyMap_completesEntries_data();
    void setFormattedSettings_emptyMap_completesEntries();
    void setFormattedSettings_ofTheView_isTheSameView();
};

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

void TstClientSettings::getters_returnTheirField()
{
    const ClientSettings settings = someSettings();
    QCOMPARE(settings.owner(), u"cashbox"_s);
    QCOMPARE(settings.dt(), someTime());
    QCOMPARE(settings.description(), u"The cash box"_s);
    QCOMPARE(settings.settings(), QVariantList{entry("net", "port", 9100)});
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

void TstClientSettings::mailOwner_isWrittenAsANumber()
{
    for (const bool mailOwner : {true, false}) {
        ClientSettings settings;
        settings.setMailOwner(mailOwner);
        const QVariant written = settings.toVariantMap().value(u"mailOwner"_s);
        QCOMPARE(written.type(), QVariant::Int);
        QCOMPARE(written.toInt(), mailOwner ? 1 : 0);
    }
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
    QVERIFY(ClientSettings::fromVariantMap({{u"settings"_s, given}}).settings().isEmpty());
}

void TstClientSettings::settings_ofAnyKind_surviveTheWire()
{
    const ClientSettings settings =
        settingsOf({entry("net", "hosts", QVariantList{u"a"_s, u"b"_s}), entry("net", "on", true),
                    entry("ui", "size", keys("width", 5.5)), entry("ui", "none", QVariant::fromValue(nullptr))});
    const QJsonDocument json = QJsonDocument::fromJson(jsonOf(settings.toVariantMap()));
    QCOMPARE(ClientSettings::fromVariantMap(json.toVariant().toMap()), settings);
}

void TstClientSettings::formattedSettings_data()
{
    QTest::addColumn<QVariantList>("entries");
    QTest::addColumn<QVariantMap>("view");
    const auto row = [](const char* name, const QVariantList& entries, const QVariantMap& view) {
        QTest::newRow(name) << entries << view;
    };
    row("groups",
        {entry("ui", "lang", u"en"_s), entry("net", "port", 1), entry("net", "hosts", QVariantList{1, 2}),
         entry("", "name", u"box"_s)},
        {{u"net"_s, QVariantMap{{u"hosts"_s, QVariantList{1, 2}}, {u"port"_s, 1}}},
         {u"ui"_s, keys("lang", u"en"_s)},
         {QString(), keys("name", u"box"_s)}});
    row("none", {}, {});
    row("the last entry wins", {entry("net", "port", 1), entry("ui", "lang", 0), entry("net", "port", 2)},
        {{u"net"_s, keys("port", 2)}, {u"ui"_s, keys("lang", 0)}});
    row("a group with a slash stays one", {entry("a/b", "c", 1)}, formatted("a/b", keys("c", 1)));
    row("no group", {QVariantMap{{KEY, u"k"_s}, {VALUE, 1}}}, formatted("", keys("k", 1)));
    row("no key", {QVariantMap{{GROUP, u"g"_s}, {VALUE, 1}}}, formatted("g", keys("", 1)));
    row("no value", {QVariantMap{{GROUP, u"g"_s}, {KEY, u"k"_s}}}, formatted("g", keys("k", QVariant())));
    row("numbers for names", {QVariantMap{{GROUP, 5}, {KEY, 6}, {VALUE, 7}}}, formatted("5", keys("6", 7)));
    row("no maps", {5, u"text"_s, QVariant()}, formatted("", keys("", QVariant())));
}

void TstClientSettings::formattedSettings()
{
    QFETCH(QVariantList, entries);
    QFETCH(QVariantMap, view);
    QCOMPARE(jsonOf(settingsOf(entries).formattedSettings()), jsonOf(view));
}

void TstClientSettings::setFormattedSettings_data()
{
    QTest::addColumn<bool>("replace");
    QTest::addColumn<QVariantList>("before");
    QTest::addColumn<QVariantMap>("map");
    QTest::addColumn<QVariantList>("after");
    const auto rebuild = [](const char* name, const QVariantList& before, const QVariantMap& map,
                            const QVariantList& after) {
        QTest::addRow("rebuild: %s", name) << true << before << map << after;
    };
    const auto merge = [](const char* name, const QVariantList& before, const QVariantMap& map,
                          const QVariantList& after) {
        QTest::addRow("merge: %s", name) << false << before << map << after;
    };
    rebuild("entries in ascending order", {entry("old", "gone", 1), entry("net", "port", 1)},
            {{u"ui"_s, QVariantMap{{u"z"_s, 1}, {u"a"_s, QVariantList{2}}}},
             {u"net"_s, keys("port", 3)},
             {QString(), keys("name", QVariant())}},
            {entry("", "name", QVariant()), entry("net", "port", 3), entry("ui", "a", QVariantList{2}),
             entry("ui", "z", 1)});
    rebuild("nothing", {entry("net", "port", 1)}, {}, {});
    rebuild("groups that are no maps", {},
            {{u"a"_s, 5}, {u"b"_s, u"text"_s}, {u"c"_s, QVariantMap()}, {u"d"_s, QVariant()}, {u"e"_s, keys("k", 1)}},
            {entry("e", "k", 1)});
    const QVariantMap onePath{{u"a"_s, keys("b/c", 1)}, {u"a/b"_s, keys("c", 2)}};
    rebuild("two settings with one path", {}, onePath, {entry("a", "b/c", 1), entry("a/b", "c", 2)});

    merge("two new settings with one path", {}, onePath, {entry("a", "b/c", 1)});
    merge("nothing into nothing", {}, {}, {});
    merge("updates in place, appends", {entry("net", "port", 1), entry("ui", "lang", u"en"_s)},
          formatted("net", {{u"port"_s, 5}, {u"host"_s, u"h"_s}}),
          {entry("net", "port", 5), entry("ui", "lang", u"en"_s), entry("net", "host", u"h"_s)});
    merge("appends in ascending order", {entry("zoo", "k", 0)},
          {{u"ui"_s, QVariantMap{{u"z"_s, 1}, {u"a"_s, 2}}}, {u"door"_s, keys("open", true)}},
          {entry("zoo", "k", 0), entry("door", "open", true), entry("ui", "a", 2), entry("ui", "z", 1)});
    merge("the same entry twice", {entry("net", "port", 1), entry("net", "port", 2)}, formatted("net", keys("port", 5)),
          {entry("net", "port", 5), entry("net", "port", 5)});
    merge("entry without value", {QVariantMap{{GROUP, u"g"_s}, {KEY, u"k"_s}}}, formatted("g", keys("k", 7)),
          {entry("g", "k", 7)});
    merge("entry without names matches the empty ones", {QVariantMap{{VALUE, 1}}}, formatted("", keys("", 7)),
          {QVariantMap{{GROUP, QVariant()}, {KEY, QVariant()}, {VALUE, 7}}});
    merge("same path, slash in the entry's group", {entry("a/b", "c", 1)}, formatted("a", keys("b/c", 2)),
          {entry("a/b", "c", 1)});
    merge("same path, slash in the entry's key", {entry("a", "b/c", 1)}, formatted("a/b", keys("c", 2)),
          {entry("a", "b/c", 1)});
    merge("a path that another begins with", {entry("a", "b", 1)}, formatted("a", keys("b/c", 2)),
          {entry("a", "b", 1), entry("a", "b/c", 2)});
    merge("groups that are no maps", {entry("net", "port", 1)}, {{u"net"_s, 5}, {u"ui"_s, u"text"_s}},
          {entry("net", "port", 1)});
    merge("null value", {entry("net", "port", 1)}, formatted("net", keys("port", QVariant())),
          {entry("net", "port", QVariant())});
    QVariantMap withUnit = entry("net", "wait", 1);
    withUnit.insert(u"unit"_s, u"ms"_s);
    QVariantMap updated = withUnit;
    updated[VALUE] = 2;
    merge("further fields of an entry stay", {withUnit}, formatted("net", keys("wait", 2)), {updated});
}

void TstClientSettings::setFormattedSettings()
{
    QFETCH(bool, replace);
    QFETCH(QVariantList, before);
    QFETCH(QVariantMap, map);
    QFETCH(QVariantList, after);
    ClientSettings settings = settingsOf(before);
    settings.setMailOwner(false);
    QVariantMap expected = settings.toVariantMap();
    expected[u"settings"_s] = after;
    settings.setFormattedSettings(map, replace);
    QCOMPARE(jsonOf(settings.toVariantMap()), jsonOf(expected));
}

void TstClientSettings::setFormattedSettings_emptyMap_completesEntries_data()
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

void TstClientSettings::setFormattedSettings_emptyMap_completesEntries()
{
    QFETCH(QVariant, before);
    QFETCH(QVariantMap, after);
    ClientSettings settings = settingsOf({entry("a", "a", 0), before, entry("z", "z", 9)});
    settings.setFormattedSettings({}, false);
    QCOMPARE(jsonOf(settings.settings()), jsonOf(QVariantList{entry("a", "a", 0), after, entry("z", "z", 9)}));
}

void TstClientSettings::setFormattedSettings_ofTheView_isTheSameView()
{
    const QVariantMap view = settingsOf({entry("net", "port", 9100), entry("", "name", u"box"_s)}).formattedSettings();
    for (const bool replace : {true, false}) {
        ClientSettings settings;
        settings.setFormattedSettings(view, replace);
        QCOMPARE(settings.formattedSettings(), view);
        QCOMPARE(settings.settings(), QVariantList({entry("", "name", u"box"_s), entry("net", "port", 9100)}));
    }
}

QTEST_GUILESS_MAIN(TstClientSettings)
#include "tst_clientsettings.moc"
