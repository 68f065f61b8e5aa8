#include "mockpattern.h"

#include "literals.h"

#include <QTest>

using namespace tarvex::mock;

namespace {

Request someRequest()
{
    TarvexCommand command;
    command.setName(u"print"_s);
    command.setAgent(u"cashbox"_s);
    command.setUid(u"uid 1"_s);
    const QVariantMap ticket{{u"number"_s, 7LL}, {u"text"_s, u"zone A"_s}};
    command.setData({{u"ticket"_s, ticket},
                     {u"list"_s, QVariantList{u"first"_s, ticket}},
                     {u"a.b"_s, u"dotted"_s},
                     {u"nothing"_s, QVariant::fromValue(nullptr)},
                     {u"dollar"_s, u"${sender}"_s}});
    return {command, 3};
}

const QVariant jsonNull = QVariant::fromValue(nullptr);

} // namespace

/// Values of the request that stand in an answer, and conditions.
class TstMockPattern : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void filled_keepsTheType_data();
    void filled_keepsTheType();
    void filled_reachesEveryDepth();
    void filledText_data();
    void filledText();
    void fits_data();
    void fits();
};

void TstMockPattern::filled_keepsTheType_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("text") << u"plain"_s << QVariant(u"plain"_s);
    QTest::newRow("sender") << u"${sender}"_s << QVariant(u"cashbox"_s);
    QTest::newRow("uid") << u"${uid}"_s << QVariant(u"uid 1"_s);
    QTest::newRow("command") << u"${command}"_s << QVariant(u"print"_s);
    QTest::newRow("count") << u"${count}"_s << QVariant(3LL);
    QTest::newRow("number") << u"${data.ticket.number}"_s << QVariant(7LL);
    QTest::newRow("object") << u"${data.ticket}"_s << someRequest().command.data().value(u"ticket"_s);
    QTest::newRow("all") << u"${data}"_s << QVariant(someRequest().command.data());
    QTest::newRow("element") << u"${data.list.0}"_s << QVariant(u"first"_s);
    QTest::newRow("below an element") << u"${data.list.1.text}"_s << QVariant(u"zone A"_s);
    QTest::newRow("dotted key") << u"${data.a.b}"_s << QVariant(u"dotted"_s);
    QTest::newRow("missing") << u"${data.tickets}"_s << jsonNull;
    QTest::newRow("missing below") << u"${data.ticket.number.x}"_s << jsonNull;
    QTest::newRow("behind the list") << u"${data.list.2}"_s << jsonNull;
    QTest::newRow("before the list") << u"${data.list.-1}"_s << jsonNull;
    QTest::newRow("not filled twice") << u"${data.dollar}"_s << QVariant(u"${sender}"_s);
    QTest::newRow("mixed") << u"no. ${data.ticket.number}"_s << QVariant(u"no. 7"_s);
}

void TstMockPattern::filled_keepsTheType()
{
    QFETCH(QString, pattern);
    QTEST(tarvex::mock::filled(pattern, someRequest()), "value");
}

void TstMockPattern::filled_reachesEveryDepth()
{
    const QVariantMap pattern{{u"${uid}"_s, QVariantList{1LL, QVariantMap{{u"n"_s, u"${count}"_s}}}}};
    const QVariantMap expected{{u"${uid}"_s, QVariantList{1LL, QVariantMap{{u"n"_s, 3LL}}}}};
    QCOMPARE(tarvex::mock::filled(pattern, someRequest()), QVariant(expected));
}

void TstMockPattern::filledText_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("two") << u"${sender}: ${count}."_s << u"cashbox: 3."_s;
    QTest::newRow("object") << u"<${data.ticket}>"_s << u"<{\"number\":7,\"text\":\"zone A\"}>"_s;
    QTest::newRow("missing") << u"<${data.x}>"_s << u"<>"_s;
    QTest::newRow("null") << u"<${data.nothing}>"_s << u"<>"_s;
    QTest::newRow("escaped") << u"$${sender} costs 5 $"_s << u"${sender} costs 5 $"_s;
    QTest::newRow("not filled twice") << u"<${data.dollar}>"_s << u"<${sender}>"_s;
}

void TstMockPattern::filledText()
{
    QFETCH(QString, pattern);
    QTEST(tarvex::mock::filledText(pattern, someRequest()), "text");
}

void TstMockPattern::fits_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QVariant>("described");
    QTest::addColumn<bool>("expected");
    QTest::newRow("number") << u"ticket.number"_s << QVariant(7LL) << true;
    QTest::newRow("number as double") << u"ticket.number"_s << QVariant(7.0) << true;
    QTest::newRow("other number") << u"ticket.number"_s << QVariant(8LL) << false;
    QTest::newRow("number and text") << u"ticket.number"_s << QVariant(u"7"_s) << false;
    QTest::newRow("number and true") << u"ticket.number"_s << QVariant(true) << false;
    QTest::newRow("text") << u"ticket.text"_s << QVariant(u"zone A"_s) << true;
    QTest::newRow("other case") << u"ticket.text"_s << QVariant(u"zone a"_s) << false;
    QTest::newRow("missing") << u"ticket.x"_s << QVariant(u"zone A"_s) << false;
    QTest::newRow("missing and null") << u"ticket.x"_s << jsonNull << true;
    QTest::newRow("null") << u"nothing"_s << jsonNull << true;
    QTest::newRow("null and text") << u"nothing"_s << QVariant(QString()) << false;
    QTest::newRow("there and null") << u"ticket.number"_s << jsonNull << false;
    QTest::newRow("object") << u"ticket"_s << QVariant(QVariantMap{{u"number"_s, 7.0}, {u"text"_s, u"zone A"_s}})
                            << true;
    QTest::newRow("part of an object") << u"ticket"_s << QVariant(QVariantMap{{u"number"_s, 7LL}}) << false;
    QTest::newRow("list") << u"list"_s << QVariant(QVariantList{u"first"_s}) << false;
}

void TstMockPattern::fits()
{
    QFETCH(QString, path);
    QFETCH(QVariant, described);
    QTEST(tarvex::mock::fits(valueAt(someRequest().command.data(), path), described), "expected");
}

QTEST_GUILESS_MAIN(TstMockPattern)

#include "tst_mockpattern.moc"
