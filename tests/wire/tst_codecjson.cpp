#include "codecbyhand.h"
#include "envelopegenerator.h"

#include "codecsamples.h"
#include "literals.h"

#include <QRandomGenerator>
#include <QTest>

#include <zlib.h>

using namespace tarvex;
using codecsamples::bytes;
using codecsamples::REPLY_JSON;
using codecsamples::stored;

namespace {

constexpr quint32 SEED = 20240229;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers look at the code's accesses and not at its results, and make each text ten times slower.
constexpr int DAMAGED_TEXTS = 5000;
constexpr int BYTE_STEP = 16;
#else
constexpr int DAMAGED_TEXTS = 100000;
constexpr int BYTE_STEP = 1;
#endif
constexpr int BYTES = 256;

QByteArrayList words(const char* text)
{
    return QByteArray(text).simplified().split(' ');
}

QByteArrayList lines(const char* text)
{
    QByteArrayList all = QByteArray(text).split('\n');
    for (QByteArray& line : all) {
        line = line.trimmed();
    }
    return all;
}

QByteArrayList numbers()
{
    return words(R"(
        0 -0 -0.0 0.0 0e0 0e999 00 01 -01 1. 1.e5 .5 -.5 +1 - -- --1 1e 1e+ 1.5.5 1e5.5 1e5x 1f 0x10 1_0 -a 1, NaN
        Infinity -Infinity 1E5 1e5 1e+5 1e-5 1.0e1 1.50 100000.00 123e-2 1200e-2 9.999e3 4.35 0.1 0.30000000000000004
        1e15 1e16 1e18 1e19 1e22 1e23 1e308 1e309 1e999 -1e999 1e-400 5e-324 2e-324 1.7976931348623157e308
        1e1000000000000 2147483647 2147483648 -2147483649 4294967296 9007199254740991 9007199254740992
        9007199254740993 -9007199254740993 9007199254740991.5 9007199254740992.0 9007199254740993.0
        999999999999999999 -999999999999999999 1000000000000000000 9223372036854775807 9223372036854775808
        -9223372036854775808 -9223372036854775809 9223372036854775807.0 9223372036854775808.0
        -9223372036854775808.0 18446744073709551616 123456789012345678901234567890)")
        + QByteArrayList{"0 1", "1 ", ""};
}

/// What may stand between quotes, or may not.
QByteArrayList strings()
{
    QByteArrayList all = words(R"(
        \u0000 \u0061 \u00E9 \u00e9 \u20AC \ufeff \ufeffx x\ufeff \uFFFD \uffff \ud7ff \ue000
        \uD83C\uDFAB \ud83c \udfab \udfab\ud83c \ud83cx \ud83c\u0061 \ud83c\n \ud83c\ud83c\udfab
        \u \u1 \u12 \u123 \u123g \U0061 \u.061 \u+061 \/ \b\f\n\r\t\"\\ \a \0 \' \x41 \ \\\ \\ \\\\)");
    // UTF-8, and what is not: too long, cut, surrogates, beyond U+10FFFF, byte order marks. In hexadecimal digits.
    const QByteArrayList utf8 = words(R"(
        01 0102 1f 0a 090d 7f 80 bf c080 c1bf c2 c280 c3a9 c328 c3a9ff dfbf e08080 e09fbf e0a080 e282 e228a1 e280a8
        ed9fbf eda080 edbfbf eda0bcedbeab ee8080 efbbbf efbbbf78 78efbbbf efbbbfefbbbf efbbbf5c6e 5c6eefbbbf efbb
        efbfbd efbfbe efbfbf efb790 f0808080 f08fbfbf f0908080 f09f8e f09f8eab f09f8eab5c6e f48fbfbf f4908080 f5808080
        f888808080 fc8480808080 fe ff 61c3a9625c753230616363 00 610062)");
    for (const QByteArray& hex : utf8) {
        all.append(QByteArray::fromHex(hex));
    }
    return all;
}

QByteArrayList texts()
{
    return lines(R"(null
        true
        false
        1
        -1.5
        "a"
        "
        []
        [1,{}]
        [
        ]
        {
        }
        {]
        [}
        {}
        {}{}
        {},
        {}x
        {} 1
        {,}
        {"a"}
        {"a":}
        {"a":1,}
        {"a":,}
        {"a"::1}
        {"a" 1}
        {"a":1 "b":2}
        {a:1}
        {'a':1}
        {1:1}
        {null:1}
        {[]:1}
        [1,]
        [,1]
        [,]
        [1 2]
        [1,,2]
        [1}
        {"a":[1}
        {"a":{]}
        tru
        True
        truex
        nul
        nullnull
        fals
        undefined
        {/**/}
        {"a":1}//
        /*x*/{"a":1}
        {"a":/*x*/1}
        {"a":1}#)");
}

/// A row for each of the \a texts, between \a before and \a after.
void addRows(const QByteArray& before, const QByteArrayList& texts, const QByteArray& after)
{
    for (const QByteArray& text : texts) {
        const QByteArray json = before + text + after;
        QTest::newRow(json.toPercentEncoding(" {}[]\":,\\+/*").left(80).constData()) << json;
    }
}

/// \a text with some bytes removed, replaced, repeated or put in.
QByteArray damaged(QByteArray text, QRandomGenerator& random)
{
    static const QByteArrayList pieces =
        words(R"(" \ { } [ ] : , x 0 - . e9 \u00 \ud83c "a":[1], "a":1, "a /**/ null true \" \n [[[)")
        + QByteArrayList{"\xff", "\xc3", "\xef\xbb\xbf", "\xed\xa0\x80", "\xf0\x9f\x8e\xab", " "};
    for (int times = 1 + random.bounded(2); times > 0 && !text.isEmpty(); --times) {
        const int at = random.bounded(text.size());
        const QByteArray& piece = pieces.at(random.bounded(pieces.size()));
        switch (random.bounded(4)) {
        case 0:
            text.remove(at, 1 + random.bounded(3));
            break;
        case 1:
            text.insert(at, piece);
            break;
        case 2:
            text.replace(at, 1, piece);
            break;
        default:
            text.insert(random.bounded(text.size()), text.mid(at, random.bounded(30)));
        }
    }
    return text;
}

} // namespace

class TstCodecJson : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void json_numbers_areAsByHand_data();
    void json_numbers_areAsByHand();
    void json_strings_areAsByHand_data();
    void json_strings_areAsByHand();
    void json_keys_areAsByHand_data();
    void json_keys_areAsByHand();
    void json_texts_areAsByHand_data();
    void json_texts_areAsByHand();
    void json_depths_areAsByHand_data();
    void json_depths_areAsByHand();
    void json_everyPrefix_isAsByHand();
    void json_everyByte_isAsByHand();
    void json_randomDamage_isAsByHand();
    void json_atTheBoundOfValues_isAsByHand_data();
    void json_atTheBoundOfValues_isAsByHand();

private:
    /// How the codec decodes \a payload otherwise than the steps by hand; empty if it does not.
    QString difference(const QByteArray& payload)
    {
        return byhand::difference(m_codec.decodePayload(payload), byhand::decoded(payload));
    }

    void compareRow()
    {
        QFETCH(QByteArray, json);
        QCOMPARE(difference(stored(json)), QString());
    }

    busframe::Codec m_codec;
};

void TstCodecJson::json_numbers_areAsByHand_data()
{
    QTest::addColumn<QByteArray>("json");
    addRows("{\"a\":", numbers(), "}");
    addRows("{\"a\":[1,", numbers(), ",2]}");
}

void TstCodecJson::json_numbers_areAsByHand()
{
    compareRow();
}

void TstCodecJson::json_strings_areAsByHand_data()
{
    QTest::addColumn<QByteArray>("json");
    addRows("{\"a\":\"", strings(), "\"}");
    addRows("{\"a\":\"x", strings(), "y\"}");
    addRows("{\"a\":[\"", strings(), "\",\"b\"],\"c\":{\"d\":1}}");
}

void TstCodecJson::json_strings_areAsByHand()
{
    compareRow();
}

void TstCodecJson::json_keys_areAsByHand_data()
{
    QTest::addColumn<QByteArray>("json");
    addRows("{\"", strings(), "\":[1]}");
    addRows("{\"z\":0,\"", strings(), "\":[1],\"b\":2,\"a\":{}}");
    const QByteArrayList keys = strings();
    for (const QByteArray& key : keys) {
        addRows("{\"", {key}, "\":[1],\"" + key + "\":{\"x\":[2]}}");
    }
    addRows("{", lines(R"("a":1,"a":2
                     "a":1,"\u0061":2
                     "\u0061":1,"a":2
                     "":1,"":2
                     "a":[1],"a":2,"a":{"a":3,"a":4}
                     "b":1,"a":2,"b":3,"a":4
                     "\ud800":1,"\ud800":2
                     "\ud800":[1],"\ufffd":2)"),
            "}");
}

void TstCodecJson::json_keys_areAsByHand()
{
    compareRow();
}

void TstCodecJson::json_texts_areAsByHand_data()
{
    QTest::addColumn<QByteArray>("json");
    addRows({}, texts(), {});
    addRows("{\"a\":", texts(), "}");
    const QByteArray mark = "\xef\xbb\xbf";
    addRows({}, {mark, mark + "{}", mark + "{\"a\":1}", mark + mark + "{}", " " + mark + "{}", "{}" + mark}, {});
    addRows({}, {bytes("{}\0"), bytes("\0{}"), bytes("{\0}"), bytes("{\"a\":1\0}"), "\xc2\xa0{}"}, {});
    addRows({}, {"", " ", "\n", "\t\r\n ", "\v{}", "\f{}", "{}\v", "{\"a\"\v:1}", "\r\n\t {\r\n\t }\r\n\t "}, {});
    addRows({}, {" { \"a\"\n:\r1\t, \"b\" : [ ] ,\n\"c\" :{ } , \"d\":[ 1 , 2 ]}\n", "//\n{}"}, {});
}

void TstCodecJson::json_texts_areAsByHand()
{
    compareRow();
}

void TstCodecJson::json_depths_areAsByHand_data()
{
    QTest::addColumn<QByteArray>("json");
    for (const int depth : {1, 2, 254, 255, 256, 257, 258, 511, 512, 513, 1021, 1022, 1023, 1024, 1025, 1026, 5000}) {
        const QByteArray arrays = QByteArray(depth, '[') + QByteArray(depth, ']');
        const QByteArray objects = QByteArray("{\"a\":").repeated(depth) + "{}" + QByteArray(depth, '}');
        QTest::addRow("%d arrays", depth) << arrays;
        QTest::addRow("%d arrays in an object", depth) << "{\"a\":" + arrays + "}";
        QTest::addRow("%d arrays, twice", depth) << "{\"a\":" + arrays + ",\"b\":" + arrays + "}";
        QTest::addRow("%d objects", depth) << objects;
        QTest::addRow("%d objects, then a mistake", depth) << objects.chopped(1) + "]";
        QTest::addRow("%d objects and arrays", depth)
            << QByteArray("{\"a\":[").repeated(depth) + "1" + QByteArray("]}").repeated(depth);
    }
}

void TstCodecJson::json_depths_areAsByHand()
{
    compareRow();
}

void TstCodecJson::json_everyPrefix_isAsByHand()
{
    for (int size = 0; size <= REPLY_JSON.size(); ++size) {
        QCOMPARE(difference(stored(REPLY_JSON.left(size))), QString());
        QCOMPARE(difference(stored(REPLY_JSON.left(size) + '}')), QString());
        QCOMPARE(difference(stored(REPLY_JSON.left(size) + '"')), QString());
        QCOMPARE(difference(stored(REPLY_JSON.mid(size))), QString());
        QCOMPARE(difference(stored(QByteArray(REPLY_JSON).remove(size, 1))), QString());
    }
}

void TstCodecJson::json_everyByte_isAsByHand()
{
    for (int at = 0; at < REPLY_JSON.size(); ++at) {
        QByteArray json = REPLY_JSON;
        for (int byte = at % BYTE_STEP; byte < BYTES; byte += BYTE_STEP) {
            json[at] = static_cast<char>(byte);
            const QString found = difference(stored(json));
            QVERIFY2(found.isEmpty(), qPrintable(u"byte %1 as %2: "_s.arg(at).arg(byte) + found));
        }
    }
}

void TstCodecJson::json_randomDamage_isAsByHand()
{
    EnvelopeGenerator generator(SEED);
    QRandomGenerator random(SEED);
    QByteArray json;
    for (int i = 0; i < DAMAGED_TEXTS; ++i) {
        if (i % 10 == 0) {
            json = QJsonDocument::fromVariant(generator.envelope()).toJson(QJsonDocument::Compact);
        }
        const QString found = difference(stored(damaged(json, random)));
        QVERIFY2(found.isEmpty(), qPrintable(u"seed %1, text %2: "_s.arg(SEED).arg(i) + found));
    }
}

void TstCodecJson::json_atTheBoundOfValues_isAsByHand_data()
{
    QTest::addColumn<QByteArray>("json");
    const int most = jsonreader::MAX_VALUES;
    const QByteArray blanks(jsonreader::MAX_UNCOUNTED_SIZE, ' ');
    for (const int more : {-1, 0, 1}) {
        // The object and the array are values as well.
        const QByteArray numbers = "{\"a\":[" + QByteArray("0,").repeated(most - 3 + more) + "0]";
        QTest::addRow("%d numbers", most + more) << numbers + "}";
        QTest::addRow("%d numbers, then a key twice", most + more) << numbers.chopped(3) + "],\"a\":0}";
        const QByteArray small = "{\"a\":[" + QByteArray("0,").repeated(300) + "0]}";
        QTest::addRow("%d bytes", blanks.size() + more) << small + QByteArray(blanks.size() - small.size() + more, ' ');
        const QByteArray many = "{\"a\":[" + QByteArray("0,").repeated((blanks.size() - 10 + more) / 2) + "0]}";
        QTest::addRow("%d bytes of numbers", many.size()) << many;
    }
}

void TstCodecJson::json_atTheBoundOfValues_isAsByHand()
{
    QFETCH(QByteArray, json);
    QCOMPARE(difference(qCompress(json, Z_BEST_SPEED).toBase64()), QString());
}

QTEST_GUILESS_MAIN(TstCodecJson)
#include "tst_codecjson.moc"
