#include "records/clientstate.h"

#include "literals.h"
#include "samples.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using samples::someState;
using tarvex::ClientState;

/// What this record has of its own. tst_records tests what it shares with the other records.
class TstClientState : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void construct_withoutArguments_holdsNoState();
    void getters_returnTheirField();
    void isValid_dependsOnTypeAlone_data();
    void isValid_dependsOnTypeAlone();
    void toVariantMap_typeIsANumber_data();
    void toVariantMap_typeIsANumber();
    void fromVariantMap_type_data();
    void fromVariantMap_type();
};

void TstClientState::construct_withoutArguments_holdsNoState()
{
    const ClientState state;
    QVERIFY(!state.isValid());
    QCOMPARE(state.stateType(), ClientState::NoStateType);
    QVERIFY(state.dt().isNull());
    QVERIFY(state.owner().isNull());
    QVERIFY(state.state().isNull());
    QVERIFY(state.description().isNull());
    QCOMPARE(ClientState::fromVariantMap(state.toVariantMap()), state);
}

void TstClientState::getters_returnTheirField()
{
    const ClientState state = someState();
    QCOMPARE(state.owner(), u"cashbox"_s);
    QCOMPARE(state.description(), u"The cash box"_s);
    QCOMPARE(state.dt(), samples::someTime());
    QCOMPARE(state.state(), u"{\"open\":true}"_s);
    QCOMPARE(static_cast<int>(state.stateType()), 3);
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
    for (ClientState state : {ClientState(), someState()}) {
        state.setStateType(static_cast<ClientState::EStateType>(type));
        QCOMPARE(state.isValid(), valid);
    }
}

void TstClientState::toVariantMap_typeIsANumber_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("none") << -1 << QByteArray("{\"type\":-1}");
    QTest::newRow("zero") << 0 << QByteArray("{\"type\":0}");
    // A number, because the type is a signed char, which could be written as a character.
    QTest::newRow("letter") << 65 << QByteArray("{\"type\":65}");
    QTest::newRow("largest") << 127 << QByteArray("{\"type\":127}");
}

void TstClientState::toVariantMap_typeIsANumber()
{
    QFETCH(int, type);
    QFETCH(QByteArray, json);
    ClientState state;
    state.setStateType(static_cast<ClientState::EStateType>(type));
    const QVariant written = state.toVariantMap().value(u"type"_s);
    QCOMPARE(written.type(), QVariant::Int);
    const QJsonObject object{{u"type"_s, QJsonValue::fromVariant(written)}};
    QCOMPARE(QJsonDocument(object).toJson(QJsonDocument::Compact), json);
}

void TstClientState::fromVariantMap_type_data()
{
    QTest::addColumn<QVariant>("given");
    QTest::addColumn<int>("type");
    QTest::newRow("JSON null") << QVariant::fromValue(nullptr) << 0;
    QTest::newRow("null") << QVariant() << 0;
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

QTEST_GUILESS_MAIN(TstClientState)
#include "tst_clientstate.moc"
