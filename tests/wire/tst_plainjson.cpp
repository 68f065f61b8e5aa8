#include "wire/plainjson_p.h"

#include "codecbyhand.h"
#include "codecsamples.h"
#include "envelopegenerator.h"
#include "literals.h"

#include <QTest>

#include <limits>

using namespace tarvex;
using codecsamples::bytes;

namespace {

constexpr quint32 SEED = 20240229;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers look at the code's accesses and not at its results, and make each text ten times slower.
constexpr int ENVELOPES = 5000;
constexpr int BYTE_STEP = 16;
#else
constexpr int ENVELOPES = 50000;
constexpr int BYTE_STEP = 1;
#endif
constexpr int BYTES = 256;
constexpr int UNLIMITED = std::numeric_limits<int>::max();

QVariant longLong(qlonglong number)
{
    return number;
}

/// How \a text is read otherwise than by Qt; empty if not at all, and if the text is not plain.
QString difference(const QByteArray& text)
{
    QVariantMap object;
    if (!plainjson::readObject(text, UNLIMITED, object)) {
        return {};
    }
    const busframe::Decoded expected = byhand::decodedJson(text);
    return expected.isValid ? byhand::difference(object, expected.envelope) : expected.errorText;
}

} // namespace

class TstPlainJson : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void readObject_plain_data();
    void readObject_plain();
    void readObject_number_data();
    void readObject_number();
    void readObject_string_data();
    void readObject_string();
    void readObject_notPlain_data();
    void readObject_notPlain();
    void readObject_boundOfValues_data();
    void readObject_boundOfValues();
    void readObject_nested_data();
    void readObject_nested();
    void readObject_changedText_isNotReadOtherwise();
    void readObject_generated_isAsByQt();
};

void TstPlainJson::readObject_plain_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QVariantMap>("object");
    const auto row = [](const QByteArray& text, const QVariantMap& object) {
        QTest::newRow(text.simplified().constData()) << text << object;
    };
    row("{}", {});
    row(" \t\r\n{ \t\r\n} \t\r\n", {});
    row(R"({"a":true,"b":false,"c":null})", {{u"a"_s, true}, {u"b"_s, false}, {u"c"_s, QVariant::fromValue(nullptr)}});
    row(R"({"b":1,"a":2,"":3})", {{u"a"_s, longLong(2)}, {u"b"_s, longLong(1)}, {u""_s, longLong(3)}});
    row(R"({"a":{},"b":[],"c":[[],{}]})",
        {{u"a"_s, QVariantMap()},
         {u"b"_s, QVariantList()},
         {u"c"_s, QVariantList{QVariant(QVariantList()), QVariantMap()}}});
    row(R"({"a":{"b":{"c":[1,"x"]}}})",
        {{u"a"_s, QVariantMap{{u"b"_s, QVariantMap{{u"c"_s, QVariantList{longLong(1), u"x"_s}}}}}}});
    row("{ \"a\"\t:\r[\n1 , 2 ] , \"b\" : 3 }",
        {{u"a"_s, QVariantList{longLong(1), longLong(2)}}, {u"b"_s, longLong(3)}});
    row(R"({"a":"[{,:}]"})", {{u"a"_s, u"[{,:}]"_s}});
    row(R"({"a":1,"a":[2],"b":3,"\u0061":{"c":4,"c":5}})",
        {{u"a"_s, QVariantMap{{u"c"_s, longLong(5)}}}, {u"b"_s, longLong(3)}});
    // The keys that were read last are shared.
    const QVariantMap item{{u"ab"_s, longLong(1)}, {u"ac"_s, longLong(2)}};
    row(R"({"l":[{"ab":1,"ac":2},{"ab":1,"ac":2},{"ac":2,"ab":1}]})", {{u"l"_s, QVariantList{item, item, item}}});
}

void TstPlainJson::readObject_plain()
{
    QFETCH(QByteArray, text);
    QFETCH(QVariantMap, object);
    QVariantMap read;
    QVERIFY(plainjson::readObject(text, UNLIMITED, read));
    QCOMPARE(byhand::difference(read, object), QString());
    QCOMPARE(byhand::difference(byhand::decodedJson(text).envelope, object), QString());
}

void TstPlainJson::readObject_number_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QVariant>("number");
    const auto row = [](const QByteArray& text, const QVariant& number) {
        QTest::newRow(text.constData()) << text << number;
    };
    row("0", longLong(0));
    row("-0", longLong(0));
    row("7", longLong(7));
    row("-12", longLong(-12));
    row("2147483648", longLong(2147483648));
    row("9007199254740993", longLong(9007199254740993));
    row("-9007199254740993", longLong(-9007199254740993));
    row("999999999999999999", longLong(999999999999999999));
    row("1.5", 1.5);
    row("-0.25", -0.25);
    row("0.1", 0.1);
    row("0.30000000000000004", 0.30000000000000004);
    row("1e-05", 1e-05);
    row("5e-324", 5e-324);
    // Whole numbers are integers, however they are written.
    row("0.0", longLong(0));
    row("-0.0", longLong(0));
    row("5.0", longLong(5));
    row("1e3", longLong(1000));
    row("1E+3", longLong(1000));
    row("1.5e1", longLong(15));
    row("1200e-2", longLong(12));
    row("1e15", longLong(1000000000000000));
    row("9007199254740991.0", longLong(9007199254740991));
}

void TstPlainJson::readObject_number()
{
    QFETCH(QByteArray, text);
    QFETCH(QVariant, number);
    for (const QByteArray& json : {"{\"a\":" + text + "}", "{\"a\":" + text + " ,\"b\":0}"}) {
        QVariantMap read;
        QVERIFY(plainjson::readObject(json, UNLIMITED, read));
        QCOMPARE(byhand::difference(read.value(u"a"_s), number), QString());
        QCOMPARE(byhand::difference(byhand::decodedJson(json).envelope.value(u"a"_s), number), QString());
    }
}

void TstPlainJson::readObject_string_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("string");
    const auto row = [](const QByteArray& text, const QString& string) {
        QTest::newRow(text.toPercentEncoding("\\ ").constData()) << text << string;
    };
    row("", u""_s);
    row("printer 1", u"printer 1"_s);
    row(QByteArray(1000, 'x'), QString(1000, u'x'));
    row(R"(\"\\\/\b\f\n\r\t)", u"\"\\/\b\f\n\r\t"_s);
    row(R"(a\"b)", u"a\"b"_s);
    row(R"(\u0001\u001f\u007f)", u"\u0001\u001f\u007f"_s);
    row(R"(\u00e9\u00E9\u20aC\uffff)", u"\u00e9\u00e9\u20ac\uffff"_s);
    row(R"(x\ufeff)", u"x\ufeff"_s);
    row("\x01\n\t\x7f", u"\u0001\n\t\u007f"_s);
    row("\xc2\x80\xc3\xa9\xdf\xbf", u"\u0080\u00e9\u07ff"_s);
    row("\xe0\xa0\x80\xe2\x82\xac\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf", u"\u0800\u20ac\ud7ff\ue000\uffff"_s);
    row("\xf0\x90\x80\x80\xf0\x9f\x8e\xab\xf4\x8f\xbf\xbf", u"\U00010000\U0001f3ab\U0010ffff"_s);
    row("\xc3\xa9\\n\xf0\x9f\x8e\xab\\u20acx", u"\u00e9\n\U0001f3ab\u20acx"_s);
    row("x\xef\xbb\xbf", u"x\ufeff"_s);
}

void TstPlainJson::readObject_string()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, string);
    const QByteArray json = "{\"" + text + "\":[\"" + text + "\"]}";
    const QVariantMap object{{string, QVariantList{string}}};
    QVariantMap read;
    QVERIFY(plainjson::readObject(json, UNLIMITED, read));
    QCOMPARE(byhand::difference(read, object), QString());
    QCOMPARE(byhand::difference(byhand::decodedJson(json).envelope, object), QString());
}

void TstPlainJson::readObject_notPlain_data()
{
    QTest::addColumn<QByteArray>("text");
    const auto rows = [](const QByteArray& before, const QByteArrayList& texts, const QByteArray& after) {
        for (const QByteArray& text : texts) {
            const QByteArray json = before + text + after;
            QTest::newRow(json.toPercentEncoding(" {}[]\":,\\+/*").constData()) << json;
        }
    };
    rows({}, {"", " ", "[]", "[{}]", "null", "1", "\"a\"", "{", "}", "{]", "{},", "{}x", "{}{}", "\xef\xbb\xbf{}"}, {});
    rows({}, {"\v{}", "{}\f", bytes("{}\0"), bytes("\0{}"), "{\"a\":1", "{\"a\":[1}", "{\"a\":{\"b\":1}"}, {});
    rows("{",
         {"a:1", "'a':1", "1:1", "\"a\"", "\"a\":", "\"a\" 1", "\"a\"::1", "\"a\":1,", ",\"a\":1", ",",
          "\"a\":1 \"b\":2", "\"a\":1,,\"b\":2", "/**/", "\"a"},
         "}");
    rows("{\"a\":", {"tru", "True", "fals", "nul", "nullx", "NaN", "[1,]", "[,]", "[1 2]", "[", "]", "/**/1"}, "}");
    rows("{\"a\":", {"01", "-01", "00", "1.", ".5", "-", "+1", "--1", "1e", "1e+", "1e5x", "0x1"}, "}");
    // Numbers beyond 2^53, which are not integers, and integers that may not fit.
    rows("{\"a\":", {"9223372036854775808", "-9223372036854775809", "1e16", "1e308", "1e309", "9007199254740992.0"},
         "}");
    rows("{\"a\":\"", {"\\", "\\a", "\\u", "\\u12", "\\u12g4", "\\U0061"}, "\"}");
    rows("{\"a\":\"", {"\\u0000", "\\ud83c\\udfab", "\\ud83c", "\\udfab"}, "\"}");
    rows("{\"a\":\"",
         {bytes("\0"), "\x80", "\xc3", "\xc0\x80", "\xc3x", "\xe0\x80\x80", "\xe2\x82", "\xed\xa0\x80",
          "\xf0\x80\x80\x80", "\xf4\x90\x80\x80", "\xf8\x88\x80\x80\x80", "\xff"},
         "\"}");
    // Qt takes it for a byte order mark.
    rows("{\"a\":\"", {"\xef\xbb\xbf", "\xef\xbb\xbfx"}, "\"}");
}

void TstPlainJson::readObject_notPlain()
{
    QFETCH(QByteArray, text);
    QVariantMap read;
    QVERIFY(!plainjson::readObject(text, UNLIMITED, read));
}

void TstPlainJson::readObject_boundOfValues_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("values");
    const auto row = [](const QByteArray& text, int values) { QTest::newRow(text.constData()) << text << values; };
    row("{}", 1);
    row(R"({"a":1})", 2);
    row(R"({"a":"x","b":null})", 3);
    row(R"({"a":[]})", 2);
    row(R"({"a":[1,2]})", 4);
    row(R"({"a":{"b":[{}]}})", 4);
}

void TstPlainJson::readObject_boundOfValues()
{
    QFETCH(QByteArray, text);
    QFETCH(int, values);
    QVariantMap read;
    QVERIFY(plainjson::readObject(text, values, read));
    QVERIFY(!plainjson::readObject(text, values - 1, read));
    QCOMPARE(byhand::countValues(text), values);
}

void TstPlainJson::readObject_nested_data()
{
    QTest::addColumn<int>("depth");
    QTest::addColumn<bool>("plain");
    for (const int depth : {2, 255, 256, 257, 1024, 100000}) {
        QTest::addRow("%d", depth) << depth << (depth <= 256);
    }
}

void TstPlainJson::readObject_nested()
{
    QFETCH(int, depth);
    QFETCH(bool, plain);
    const QByteArray lists = "{\"a\":" + QByteArray(depth - 1, '[') + QByteArray(depth - 1, ']') + "}";
    const QByteArray objects = QByteArray("{\"a\":").repeated(depth) + "1" + QByteArray(depth, '}');
    for (const QByteArray& text : {lists, objects}) {
        QVariantMap read;
        QCOMPARE(plainjson::readObject(text, UNLIMITED, read), plain);
        QCOMPARE(difference(text), QString());
    }
}

// What is no longer plain is left to Qt. The rest must be as Qt reads it.
void TstPlainJson::readObject_changedText_isNotReadOtherwise()
{
    const QByteArray text =
        "{\"a\" : [1,-2.5e3,true,false,null,\"x\\n\\u00e9\"],\"b\":{\"\":[]},\"c\":\"\xc3\xa9\xe2\x82\xac"
        "\xf0\x9f\x8e\xab\"}";
    QVariantMap read;
    QVERIFY(plainjson::readObject(text, UNLIMITED, read));
    for (int at = 0; at < text.size(); ++at) {
        QVERIFY2(!plainjson::readObject(text.left(at), UNLIMITED, read), QByteArray::number(at).constData());
        QByteArray changed = text;
        for (int byte = at % BYTE_STEP; byte < BYTES; byte += BYTE_STEP) {
            changed[at] = static_cast<char>(byte);
            const QString found = difference(changed);
            QVERIFY2(found.isEmpty(), qPrintable(u"byte %1 as %2: "_s.arg(at).arg(byte) + found));
        }
        QCOMPARE(difference(QByteArray(text).remove(at, 1)), QString());
    }
}

void TstPlainJson::readObject_generated_isAsByQt()
{
    EnvelopeGenerator generator(SEED);
    int plain = 0;
    for (int i = 0; i < ENVELOPES; ++i) {
        const QByteArray text = QJsonDocument::fromVariant(generator.envelope()).toJson(QJsonDocument::Compact);
        QVariantMap read;
        plain += plainjson::readObject(text, UNLIMITED, read) ? 1 : 0;
        const QString found = difference(text);
        QVERIFY2(found.isEmpty(), qPrintable(u"seed %1, envelope %2: "_s.arg(SEED).arg(i) + found));
    }
    qInfo("%d of %d texts are plain", plain, ENVELOPES);
    QVERIFY(plain > ENVELOPES / 10);
}

QTEST_GUILESS_MAIN(TstPlainJson)
#include "tst_plainjson.moc"
