#include "wire/busterms_p.h"

#include "literals.h"
#include "logcapture.h"

#include <QTest>

namespace busterms = tarvex::busterms;

class TstBusTerms : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void commandText_isCompactJson_data();
    void commandText_isCompactJson();
    void readCommandText_command_givesNameAndData_data();
    void readCommandText_command_givesNameAndData();
    void readCommandText_noCommand_saysWhy_data();
    void readCommandText_noCommand_saysWhy();
};

void TstBusTerms::commandText_isCompactJson_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("data");
    QTest::addColumn<QString>("text");
    QTest::newRow("without data") << u"open"_s << QVariantMap() << uR"({"cmd":"open","data":{}})"_s;
    QTest::newRow("without a name") << QString() << QVariantMap() << uR"({"cmd":"","data":{}})"_s;
    QTest::newRow("data") << u"print"_s << QVariantMap{{u"copies"_s, 2}, {u"text"_s, u"a \"b\""_s}}
                          << uR"({"cmd":"print","data":{"copies":2,"text":"a \"b\""}})"_s;
    QTest::newRow("not ASCII") << u"печать"_s << QVariantMap() << uR"({"cmd":"печать","data":{}})"_s;
}

void TstBusTerms::commandText_isCompactJson()
{
    QFETCH(QString, name);
    QFETCH(QVariantMap, data);
    QTEST(busterms::commandText(name, data), "text");
}

void TstBusTerms::readCommandText_command_givesNameAndData_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariantMap>("data");
    const QVariantMap nested{{u"a"_s, QVariantMap{{u"b"_s, 1.5}}}};
    QTest::newRow("with data") << uR"({"cmd":"open","data":{"a":{"b":1.5}}})"_s << u"open"_s << nested;
    QTest::newRow("other keys and white space")
        << u" { \"x\":1, \"cmd\" : \"open\" }\n"_s << u"open"_s << QVariantMap();
    QTest::newRow("no data") << uR"({"cmd":"open"})"_s << u"open"_s << QVariantMap();
    QTest::newRow("data is no object") << uR"({"cmd":"open","data":[1]})"_s << u"open"_s << QVariantMap();
    QTest::newRow("a number") << uR"({"cmd":5})"_s << u"5"_s << QVariantMap();
    QTest::newRow("a truth value") << uR"({"cmd":true})"_s << u"true"_s << QVariantMap();
    QTest::newRow("null") << uR"({"cmd":null})"_s << QString() << QVariantMap();
    QTest::newRow("an object") << uR"({"cmd":{"a":1}})"_s << QString() << QVariantMap();
    QTest::newRow("empty") << uR"({"cmd":""})"_s << QString() << QVariantMap();
    QTest::newRow("twice: the last counts") << uR"({"cmd":"a","cmd":"b"})"_s << u"b"_s << QVariantMap();
}

void TstBusTerms::readCommandText_command_givesNameAndData()
{
    QFETCH(QString, text);
    const LogCapture log;
    const busterms::CommandText command = busterms::readCommandText(text);
    QVERIFY(command.isJson && command.isCommand);
    QTEST(command.name, "name");
    QTEST(command.data, "data");
    QCOMPARE(log.texts(), QStringList());
}

void TstBusTerms::readCommandText_noCommand_saysWhy_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("isJson");
    QTest::addColumn<QString>("errorText");
    QTest::newRow("words") << u"hello"_s << false << u"illegal value"_s;
    QTest::newRow("empty") << QString() << false << u"illegal value"_s;
    QTest::newRow("cut short") << u"{\"cmd\":{}"_s << false << u"unterminated object"_s;
    QTest::newRow("a list") << uR"(["cmd"])"_s << true << u"no error occurred"_s;
    QTest::newRow("another object") << uR"({"Cmd":"open"})"_s << true << u"no error occurred"_s;
}

void TstBusTerms::readCommandText_noCommand_saysWhy()
{
    QFETCH(QString, text);
    const LogCapture log;
    const busterms::CommandText command = busterms::readCommandText(text);
    QVERIFY(!command.isCommand);
    QTEST(command.isJson, "isJson");
    QTEST(command.errorText, "errorText");
    QCOMPARE(command.name, QString());
    QCOMPARE(command.data, QVariantMap());
    QCOMPARE(log.texts(), QStringList());
}

QTEST_GUILESS_MAIN(TstBusTerms)
#include "tst_busterms.moc"
