#include "wire/jsonwriter_p.h"

#include "envelopegenerator.h"
#include "literals.h"

#include <QJsonDocument>
#include <QMultiMap>
#include <QTest>

#include <cmath>
#include <limits>

using namespace tarvex;

namespace {

constexpr quint32 SEED = 20240229;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers look at the code's accesses and not at its results, and make each envelope ten times slower.
constexpr int ENVELOPES = 5000;
#else
constexpr int ENVELOPES = 50000;
#endif

constexpr qlonglong EXACT = Q_INT64_C(1) << 53;

QByteArray written(const QVariantMap& object)
{
    QByteArray text;
    jsonwriter::append(text, object);
    return text;
}

QByteArray byQt(const QVariantMap& object)
{
    return QJsonDocument::fromVariant(object).toJson(QJsonDocument::Compact);
}

/// A value as the only member.
QVariantMap member(const QVariant& value)
{
    return {{u"a"_s, value}};
}

/// \a depth lists in one another, the outermost in an object.
QVariantMap nested(int depth, bool isList)
{
    QVariant value = 1;
    for (int i = 0; i < depth; ++i) {
        value = isList ? QVariant(QVariantList{value}) : QVariant(member(value));
    }
    return member(value);
}

} // namespace

class TstJsonWriter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void append_object_data();
    void append_object();
    void append_string_data();
    void append_string();
    void append_borrowedText_isLeftAlone();
    void append_everyUnit_isAsByQt();
    void append_everyLength_isAsByQt();
    void append_number_data();
    void append_number();
    void append_otherType_data();
    void append_otherType();
    void append_nested_data();
    void append_nested();
    void append_keepsWhatIsThere_data();
    void append_keepsWhatIsThere();
    void append_generated_isAsByQt();
};

void TstJsonWriter::append_object_data()
{
    QTest::addColumn<QVariantMap>("object");
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char* name, const QVariantMap& object, const QByteArray& text) {
        QTest::newRow(name) << object << text;
    };
    row("empty", {}, "{}");
    row("empty key", {{QString(), 1}}, R"({"":1})");
    row("keys in order", {{u"b"_s, 1}, {u"a"_s, 2}, {u"ab"_s, 3}}, R"({"a":2,"ab":3,"b":1})");
    row("keys in the order of UTF-16", {{u"\uffff"_s, 1}, {u"\U00010000"_s, 2}},
        "{\"\xf0\x90\x80\x80\":2,\"\xef\xbf\xbf\":1}");
    row("key with escapes", {{u"a\"\n"_s, 1}}, R"({"a\"\n":1})");
    row("truth", {{u"a"_s, true}, {u"b"_s, false}}, R"({"a":true,"b":false})");
    row("nothing", {{u"a"_s, QVariant()}, {u"b"_s, QVariant::fromValue(nullptr)}}, R"({"a":null,"b":null})");
    row("empty inside", {{u"a"_s, QVariantMap()}, {u"b"_s, QVariantList()}, {u"c"_s, QStringList()}},
        R"({"a":{},"b":[],"c":[]})");
    row("list", member(QVariantList{1, u"x"_s, QVariantList{true}, member(QVariant())}),
        R"({"a":[1,"x",[true],{"a":null}]})");
    row("list of strings", member(QStringList{u"x"_s, QString(), u"\""_s}), R"({"a":["x","","\""]})");
    QMultiMap<QString, QVariant> repeated;
    repeated.insert(u"a"_s, 1);
    repeated.insert(u"a"_s, 2);
    repeated.insert(u"b"_s, 3);
    row("key twice", QVariantMap(repeated), R"({"a":1,"b":3})");
    row("key twice, inside", member(QVariantMap(repeated)), R"({"a":{"a":1,"b":3}})");
}

void TstJsonWriter::append_object()
{
    QFETCH(QVariantMap, object);
    QFETCH(QByteArray, text);
    QCOMPARE(byQt(object), text);
    QCOMPARE(written(object), text);
}

void TstJsonWriter::append_string_data()
{
    QTest::addColumn<QString>("string");
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char* name, const QString& string, const QByteArray& text) {
        QTest::newRow(name) << string << text;
    };
    row("null", QString(), "");
    row("empty", u""_s, "");
    row("ASCII", u"Az09 ~!/'<>&"_s, "Az09 ~!/'<>&");
    row("quote", u"a\"b"_s, R"(a\"b)");
    row("backslash", u"\\"_s, R"(\\)");
    row("with a letter", u"\b\f\n\r\t"_s, R"(\b\f\n\r\t)");
    row("with a number", u"\u0000\u0001\u000b\u000e\u000f\u0010\u001f"_s,
        R"(\u0000\u0001\u000b\u000e\u000f\u0010\u001f)");
    row("DEL", u"\u007f"_s, "\x7f");
    row("two bytes", u"\u0080\u00e9\u07ff"_s, "\xc2\x80\xc3\xa9\xdf\xbf");
    row("three bytes", u"\u0800\u20ac\u2028\ud7ff\ue000\uffff"_s,
        "\xe0\xa0\x80\xe2\x82\xac\xe2\x80\xa8\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf");
    row("four bytes", u"\U00010000\U0001f3ab\U0010ffff"_s, "\xf0\x90\x80\x80\xf0\x9f\x8e\xab\xf4\x8f\xbf\xbf");
    row("byte order mark", u"\ufeffa\ufeff"_s,
        "\xef\xbb\xbf"
        "a\xef\xbb\xbf");
    row("high surrogate alone", QChar(0xd83c) + u"a"_s, R"(\ud83ca)");
    row("high surrogate at the end", u"a"_s + QChar(0xd83c), R"(a\ud83c)");
    row("low surrogate alone", QChar(0xdfab) + u"a"_s, R"(\udfaba)");
    row("surrogates the wrong way round", QString(QChar(0xdfab)) + QChar(0xd83c), R"(\udfab\ud83c)");
    row("high surrogate twice", QChar(0xd83c) + u"\U0001f3ab"_s, "\\ud83c\xf0\x9f\x8e\xab");
    row("long", QString(70000, u'\u0001'), QByteArray("\\u0001").repeated(70000));
}

void TstJsonWriter::append_string()
{
    QFETCH(QString, string);
    QFETCH(QByteArray, text);
    QCOMPARE(byQt(member(string)), "{\"a\":\"" + text + "\"}");
    QCOMPARE(written(member(string)), "{\"a\":\"" + text + "\"}");
    QCOMPARE(written({{string, 1}}), "{\"" + text + "\":1}");
    QCOMPARE(written(member(QStringList{string, string})), "{\"a\":[\"" + text + "\",\"" + text + "\"]}");
}

void TstJsonWriter::append_everyUnit_isAsByQt()
{
    for (int unit = 0; unit <= 0xffff; ++unit) {
        const QVariantMap object{{QString(QChar(unit)), QString(QChar(unit))}};
        QVERIFY2(written(object) == byQt(object), qPrintable(QString::number(unit, 16)));
    }
}

// A string is written in pieces. A pair of surrogates lies on the border of two, or only the first or the second half.
void TstJsonWriter::append_everyLength_isAsByQt()
{
    for (const QString& unit : {u"a"_s, u"\u0001"_s, u"\u00e9"_s, u"\u20ac"_s, u"\U0001f3ab"_s}) {
        for (int length = 0; length < 2100; length += length % 1024 < 1015 ? 7 : 1) {
            const QString text = unit.repeated(length).left(length);
            for (const QString& end : {QString(), u"b"_s, u"\U0001f3abc"_s, QChar(0xd83c) + u"c"_s}) {
                const QVariantMap object = member(text + end);
                QVERIFY2(written(object) == byQt(object), QByteArray::number(length).constData());
            }
        }
    }
}

void TstJsonWriter::append_number_data()
{
    QTest::addColumn<QVariant>("number");
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const QVariant& number, const QByteArray& text) {
        QTest::addRow("%s %s", number.typeName(), text.constData()) << number << text;
    };
    using Limits = std::numeric_limits<double>;
    row(0, "0");
    row(-7, "-7");
    row(std::numeric_limits<int>::min(), "-2147483648");
    row(std::numeric_limits<uint>::max(), "4294967295");
    row(QVariant(QVariant::Int), "0");
    row(EXACT - 1, "9007199254740991");
    row(EXACT, "9007199254740992");
    // What is no double is rounded.
    row(EXACT + 1, "9007199254740992");
    row(EXACT + 2, "9007199254740994");
    row(-EXACT - 1, "-9007199254740992");
    row(std::numeric_limits<qlonglong>::max(), "9223372036854776000");
    row(std::numeric_limits<qlonglong>::min(), "-9223372036854776000");
    row(std::numeric_limits<qulonglong>::max(), "18446744073709552000");
    row(0.0, "0");
    row(-0.0, "0");
    row(5.0, "5");
    row(1.5, "1.5");
    row(-0.1, "-0.1");
    row(0.1 + 0.2, "0.30000000000000004");
    row(1e-4, "0.0001");
    row(1e-5, "1e-05");
    row(1e15, "1000000000000000");
    row(123456789012345.67, "123456789012345.67");
    row(1e16, "10000000000000000");
    row(1e18, "1000000000000000000");
    row(1e19, "10000000000000000000");
    row(1e21, "1e+21");
    row(1e300, "1e+300");
    row(Limits::denorm_min(), "5e-324");
    row(Limits::max(), "1.7976931348623157e+308");
    row(static_cast<double>(EXACT), "9007199254740992");
    row(static_cast<double>(EXACT) / 4 + 0.5, "2251799813685248.5");
    row(Limits::infinity(), "null");
    row(-Limits::infinity(), "null");
    row(Limits::quiet_NaN(), "null");
    row(QVariant::fromValue(0.5F), "0.5");
    row(QVariant::fromValue<short>(-3), "-3");
}

void TstJsonWriter::append_number()
{
    QFETCH(QVariant, number);
    QFETCH(QByteArray, text);
    QCOMPARE(byQt(member(number)), "{\"a\":" + text + "}");
    QCOMPARE(written(member(number)), "{\"a\":" + text + "}");
}

void TstJsonWriter::append_otherType_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("bytes") << QVariant(QByteArray("a\"")) << QByteArray(R"("a\"")");
    QTest::newRow("character") << QVariant(QChar(u'c')) << QByteArray(R"("c")");
    QTest::newRow("date") << QVariant(QDate(2024, 2, 29)) << QByteArray(R"("2024-02-29")");
    QTest::newRow("hash") << QVariant(QVariantHash{{u"x"_s, 1}}) << QByteArray(R"({"x":1})");
    QTest::newRow("JSON") << QVariant(QJsonValue(1.5)) << QByteArray("1.5");
    QTest::newRow("own type") << QVariant::fromValue(Plain{1}) << QByteArray("null");
}

void TstJsonWriter::append_otherType()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, text);
    QCOMPARE(byQt(member(value)), "{\"a\":" + text + "}");
    QCOMPARE(written(member(value)), "{\"a\":" + text + "}");
    QCOMPARE(written(member(QVariantList{1, value})), "{\"a\":[1," + text + "]}");
}

void TstJsonWriter::append_nested_data()
{
    QTest::addColumn<int>("depth");
    for (const int depth : {1, 100, 254, 255, 256, 257, 258, 1000, 3000}) {
        QTest::addRow("%d", depth) << depth;
    }
}

void TstJsonWriter::append_nested()
{
    QFETCH(int, depth);
    QCOMPARE(written(nested(depth, true)), "{\"a\":" + QByteArray(depth, '[') + "1" + QByteArray(depth, ']') + "}");
    QCOMPARE(written(nested(depth, false)),
             QByteArray("{\"a\":").repeated(depth + 1) + "1" + QByteArray(depth + 1, '}'));
}

void TstJsonWriter::append_keepsWhatIsThere_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("usual") << QVariant(u"x"_s);
    QTest::newRow("left to Qt") << QVariant(QVariantList{u"x"_s, QDate(2024, 2, 29)});
}

void TstJsonWriter::append_keepsWhatIsThere()
{
    QFETCH(QVariant, value);
    QByteArray text = "before";
    const QByteArray copy = text;
    jsonwriter::append(text, member(value));
    jsonwriter::append(text, member(value));
    QCOMPARE(text, "before" + byQt(member(value)) + byQt(member(value)));
    QCOMPARE(copy, QByteArray("before"));
}

void TstJsonWriter::append_generated_isAsByQt()
{
    EnvelopeGenerator generator(SEED);
    for (int i = 0; i < ENVELOPES; ++i) {
        const QVariantMap object = generator.envelope();
        QVERIFY2(written(object) == byQt(object), qPrintable(u"seed %1, envelope %2"_s.arg(SEED).arg(i)));
    }
}

// Another thread may read the same text at the same time.
void TstJsonWriter::append_borrowedText_isLeftAlone()
{
    const QString whole = u"borrowed and more"_s;
    const QVariantMap object{{u"a"_s, QString::fromRawData(whole.constData(), 8)}};
    QCOMPARE(written(object), QByteArray(R"({"a":"borrowed"})"));
    const auto* const text = static_cast<const QString*>(object.constBegin()->constData());
    QCOMPARE(text->constData(), whole.constData());
}

QTEST_GUILESS_MAIN(TstJsonWriter)
#include "tst_jsonwriter.moc"
