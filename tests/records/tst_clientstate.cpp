#include "records/clientstate.h"

#include "literals.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QTest>

#include <functional>
#include <type_traits>

using tarvex::ClientState;

static_assert(std::is_nothrow_move_constructible_v<ClientState>);
static_assert(std::is_nothrow_move_assignable_v<ClientState>);
static_assert(!std::is_polymorphic_v<ClientState>);
static_assert(std::is_same_v<std::underlying_type_t<ClientState::EStateType>, qint8>);
static_assert(ClientState::NoStateType == -1);

namespace {

using Change = std::function<void(ClientState&)>;

QDateTime someTime()
{
    return QDateTime(QDate(2024, 3, 5), QTime(7, 8, 9, 10));
}

ClientState::EStateType typeOf(int number)
{
    return static_cast<ClientState::EStateType>(number);
}

ClientState someState()
{
    ClientState state;
    state.setOwner(u"cashbox"_s);
    state.setDt(someTime());
    state.setStateType(typeOf(3));
    state.setState(u"{\"open\":true}"_s);
    state.setDescription(u"The cash box"_s);
    return state;
}

const QChar* stateDataOfCopy(ClientState copy)
{
    return copy.state().constData();
}

} // namespace

Q_DECLARE_METATYPE(Change)

class TstClientState : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void construct_withoutArguments_holdsNoState();
    void setters_changeTheirFieldAlone_data();
    void setters_changeTheirFieldAlone();
    void isValid_dependsOnTypeAlone_data();
    void isValid_dependsOnTypeAlone();
    void toVariantMap_hasExactKeysAndValues();
    void toVariantMap_default_hasTypeMinusOneAndNoDate();
    void toVariantMap_typeIsANumber_data();
    void toVariantMap_typeIsANumber();
    void fromVariantMap_literalMap_fillsEveryField();
    void fromVariantMap_emptyMap_isValidWithTypeZero();
    void fromVariantMap_type_data();
    void fromVariantMap_type();
    void fromVariantMap_malformedValues_areEmpty();
    void fromVariantMap_date_data();
    void fromVariantMap_date();
    void roundTrip_isEqual();
    void roundTrip_throughJson_isEqual();
    void dates_withDigitsOfTheirOwn_stayPlain();
    void compare_singleField_data();
    void compare_singleField();
    void copy_sharesTexts();
    void move_keepsValues();
};

void TstClientState::cleanup()
{
    QLocale::setDefault(QLocale::c());
}

void TstClientState::construct_withoutArguments_holdsNoState()
{
    const ClientState state;
    QVERIFY(!state.isValid());
    QCOMPARE(state.stateType(), ClientState::NoStateType);
    QVERIFY(state.dt().isNull());
    QVERIFY(state.owner().isNull());
    QVERIFY(state.state().isNull());
    QVERIFY(state.description().isNull());
}

void TstClientState::setters_changeTheirFieldAlone_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    const QVariant text = u"new"_s;
    QTest::newRow("owner") << Change([](ClientState& s) { s.setOwner(u"new"_s); }) << u"owner"_s << text;
    QTest::newRow("state") << Change([](ClientState& s) { s.setState(u"new"_s); }) << u"state"_s << text;
    QTest::newRow("description") << Change([](ClientState& s) { s.setDescription(u"new"_s); }) << u"description"_s
                                 << text;
    QTest::newRow("type") << Change([](ClientState& s) { s.setStateType(typeOf(127)); }) << u"type"_s << QVariant(127);
    QTest::newRow("dt") << Change([](ClientState& s) { s.setDt(someTime().addMSecs(1)); }) << u"date"_s
                        << QVariant(u"2024-03-05T07:08:09.011"_s);
}

void TstClientState::setters_changeTheirFieldAlone()
{
    QFETCH(Change, change);
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    ClientState state = someState();
    QVariantMap expected = state.toVariantMap();
    QVERIFY(expected.contains(key));
    change(state);
    expected[key] = value;
    QCOMPARE(state.toVariantMap(), expected);
}

void TstClientState::isValid_dependsOnTypeAlone_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("valid");
    QTest::newRow("none") << -1 << false;
    QTest::newRow("zero") << 0 << true;
    QTest::newRow("one") << 1 << true;
    QTest::newRow("largest") << 127 << true;
    QTest::newRow("below none") << -2 << true;
}

void TstClientState::isValid_dependsOnTypeAlone()
{
    QFETCH(int, type);
    QFETCH(bool, valid);
    ClientState bare;
    bare.setStateType(typeOf(type));
    QCOMPARE(bare.isValid(), valid);
    ClientState full = someState();
    full.setStateType(typeOf(type));
    QCOMPARE(full.isValid(), valid);
}

void TstClientState::toVariantMap_hasExactKeysAndValues()
{
    const QVariantMap expected{
        {u"owner"_s, u"cashbox"_s},
        {u"description"_s, u"The cash box"_s},
        {u"date"_s, u"2024-03-05T07:08:09.010"_s},
        {u"state"_s, u"{\"open\":true}"_s},
        {u"type"_s, 3},
    };
    QCOMPARE(someState().toVariantMap(), expected);
}

void TstClientState::toVariantMap_default_hasTypeMinusOneAndNoDate()
{
    const QVariantMap map = ClientState().toVariantMap();
    QCOMPARE(map.size(), 5);
    QCOMPARE(map.value(u"type"_s), QVariant(-1));
    for (const char* const key : {"owner", "description", "date", "state"}) {
        const QVariant value = map.value(QString::fromLatin1(key), 0);
        QCOMPARE(value.type(), QVariant::String);
        QCOMPARE(value.toString(), QString());
    }
}

void TstClientState::toVariantMap_typeIsANumber_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("none") << -1 << QByteArray("{\"type\":-1}");
    QTest::newRow("zero") << 0 << QByteArray("{\"type\":0}");
    // A signed char by itself would become a character.
    QTest::newRow("letter") << 65 << QByteArray("{\"type\":65}");
    QTest::newRow("largest") << 127 << QByteArray("{\"type\":127}");
}

void TstClientState::toVariantMap_typeIsANumber()
{
    QFETCH(int, type);
    QFETCH(QByteArray, json);
    ClientState state;
    state.setStateType(typeOf(type));
    const QVariant written = state.toVariantMap().value(u"type"_s);
    QCOMPARE(written.type(), QVariant::Int);
    const QJsonObject object{{u"type"_s, QJsonValue::fromVariant(written)}};
    QCOMPARE(QJsonDocument(object).toJson(QJsonDocument::Compact), json);
}

void TstClientState::fromVariantMap_literalMap_fillsEveryField()
{
    const ClientState state = ClientState::fromVariantMap({
        {u"owner"_s, u"me"_s},
        {u"description"_s, u"words"_s},
        {u"date"_s, u"2024-03-05T07:08:09.010"_s},
        {u"state"_s, u"text"_s},
        {u"type"_s, 9},
        {u"stateType"_s, 5},
    });
    QCOMPARE(state.owner(), u"me"_s);
    QCOMPARE(state.description(), u"words"_s);
    QCOMPARE(state.dt(), someTime());
    QCOMPARE(state.dt().timeSpec(), Qt::LocalTime);
    QCOMPARE(state.state(), u"text"_s);
    QCOMPARE(static_cast<int>(state.stateType()), 9);
    QVERIFY(state.isValid());
}

void TstClientState::fromVariantMap_emptyMap_isValidWithTypeZero()
{
    const ClientState state = ClientState::fromVariantMap({});
    QVERIFY(state.isValid());
    QCOMPARE(static_cast<int>(state.stateType()), 0);
    QVERIFY(!state.dt().isValid());
    QVERIFY(state.owner().isEmpty());
    QVERIFY(state.state().isEmpty());
    QVERIFY(state.description().isEmpty());
}

void TstClientState::fromVariantMap_type_data()
{
    QTest::addColumn<QVariant>("given");
    QTest::addColumn<int>("type");
    QTest::newRow("zero") << QVariant(0) << 0;
    QTest::newRow("largest") << QVariant(127) << 127;
    QTest::newRow("just beyond") << QVariant(128) << -128;
    QTest::newRow("300") << QVariant(300) << 44;
    QTest::newRow("255") << QVariant(255) << -1;
    QTest::newRow("256") << QVariant(256) << 0;
    QTest::newRow("-1") << QVariant(-1) << -1;
    QTest::newRow("-2") << QVariant(-2) << -2;
    QTest::newRow("as JSON gives it") << QVariant(300.0) << 44;
    QTest::newRow("long") << QVariant(qint64(511)) << -1;
    QTest::newRow("number in a text") << QVariant(u"12"_s) << 12;
    QTest::newRow("text") << QVariant(u"busy"_s) << 0;
    QTest::newRow("empty text") << QVariant(QString()) << 0;
    QTest::newRow("truth") << QVariant(true) << 1;
    QTest::newRow("null") << QVariant() << 0;
    QTest::newRow("JSON null") << QVariant::fromValue(nullptr) << 0;
    QTest::newRow("list") << QVariant(QVariantList{5}) << 0;
}

void TstClientState::fromVariantMap_type()
{
    QFETCH(QVariant, given);
    QFETCH(int, type);
    const ClientState state = ClientState::fromVariantMap({{u"type"_s, given}});
    QCOMPARE(static_cast<int>(state.stateType()), type);
    QCOMPARE(state.isValid(), type != -1);
    QCOMPARE(state.toVariantMap().value(u"type"_s), QVariant(type));
}

void TstClientState::fromVariantMap_malformedValues_areEmpty()
{
    const QVariantMap object{{u"a"_s, 1}};
    const ClientState state = ClientState::fromVariantMap(
        {{u"owner"_s, object}, {u"description"_s, QVariantList{1, 2}}, {u"date"_s, object}, {u"state"_s, QVariant()}});
    QVERIFY(state.owner().isEmpty());
    QVERIFY(state.description().isEmpty());
    QVERIFY(!state.dt().isValid());
    QVERIFY(state.state().isEmpty());
}

void TstClientState::fromVariantMap_date_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDateTime>("dt");
    QTest::newRow("valid") << u"2024-03-05T07:08:09.010"_s << someTime();
    QTest::newRow("empty") << QString() << QDateTime();
    QTest::newRow("no milliseconds") << u"2024-03-05T07:08:09"_s << QDateTime();
    QTest::newRow("zone") << u"2024-03-05T07:08:09.010Z"_s << QDateTime();
    QTest::newRow("no such day") << u"2023-02-29T07:08:09.010"_s << QDateTime();
}

void TstClientState::fromVariantMap_date()
{
    QFETCH(QString, text);
    QFETCH(QDateTime, dt);
    const ClientState state = ClientState::fromVariantMap({{u"date"_s, text}});
    QCOMPARE(state.dt().isValid(), dt.isValid());
    QCOMPARE(state.dt(), dt);
    QCOMPARE(state.toVariantMap().value(u"date"_s).toString(), dt.isValid() ? text : QString());
}

void TstClientState::roundTrip_isEqual()
{
    QCOMPARE(ClientState::fromVariantMap(someState().toVariantMap()), someState());
    QCOMPARE(ClientState::fromVariantMap(ClientState().toVariantMap()), ClientState());
}

void TstClientState::roundTrip_throughJson_isEqual()
{
    const QByteArray json = QJsonDocument(QJsonObject::fromVariantMap(someState().toVariantMap())).toJson();
    QCOMPARE(ClientState::fromVariantMap(QJsonDocument::fromJson(json).object().toVariantMap()), someState());
}

void TstClientState::dates_withDigitsOfTheirOwn_stayPlain()
{
    QLocale::setDefault(QLocale(u"ar_EG"_s));
    const QVariantMap map = someState().toVariantMap();
    QCOMPARE(map.value(u"date"_s).toString(), u"2024-03-05T07:08:09.010"_s);
    QCOMPARE(ClientState::fromVariantMap(map), someState());
}

void TstClientState::compare_singleField_data()
{
    QTest::addColumn<Change>("change");
    QTest::newRow("owner") << Change([](ClientState& s) { s.setOwner(u"x"_s); });
    QTest::newRow("dt") << Change([](ClientState& s) { s.setDt(s.dt().addMSecs(1)); });
    QTest::newRow("no dt") << Change([](ClientState& s) { s.setDt(QDateTime()); });
    QTest::newRow("type") << Change([](ClientState& s) { s.setStateType(typeOf(4)); });
    QTest::newRow("state") << Change([](ClientState& s) { s.setState(u"x"_s); });
    QTest::newRow("description") << Change([](ClientState& s) { s.setDescription(u"x"_s); });
}

void TstClientState::compare_singleField()
{
    QFETCH(Change, change);
    ClientState changed = someState();
    QVERIFY(changed == someState());
    QVERIFY(!(changed != someState()));
    change(changed);
    QVERIFY(changed != someState());
    QVERIFY(!(changed == someState()));
}

void TstClientState::copy_sharesTexts()
{
    const ClientState state = someState();
    const QChar* const data = state.state().constData();
    QCOMPARE(stateDataOfCopy(state), data);
    ClientState assigned;
    assigned = state;
    QCOMPARE(assigned.state().constData(), data);
    assigned.setState(u"changed"_s);
    QCOMPARE(state, someState());
}

void TstClientState::move_keepsValues()
{
    ClientState state = someState();
    ClientState moved(std::move(state));
    QCOMPARE(moved, someState());
    ClientState assigned;
    assigned = std::move(moved);
    QCOMPARE(assigned, someState());
}

QTEST_GUILESS_MAIN(TstClientState)
#include "tst_clientstate.moc"
