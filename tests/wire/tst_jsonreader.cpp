#include "wire/jsonreader_p.h"

#include "memoryuse.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

#include <array>
#include <random>

#ifdef __SANITIZE_ADDRESS__
#    include <sanitizer/lsan_interface.h>
#endif

using namespace tarvex;

namespace {

struct Parsed
{
    QVariant value;
    QByteArray json; ///< Tells 1 from "1", which variants compare equal.
    QString errorText;
};

Parsed parsed(const QJsonDocument& document, const QJsonParseError& error)
{
    return {document.toVariant(), document.toJson(QJsonDocument::Compact), error.errorString()};
}

Parsed byReader(const QByteArray& text)
{
    QJsonParseError error{};
    const QJsonDocument document = jsonreader::parseJson(text, error);
    return parsed(document, error);
}

/// What Qt's parser alone makes of \a text. What it leaks is not our reader's.
Parsed byQt(const QByteArray& text)
{
#ifdef __SANITIZE_ADDRESS__
    const __lsan::ScopedDisabler leaksAllowed;
#endif
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    return parsed(document, error);
}

template <std::size_t size>
QByteArray bytes(const char (&literal)[size])
{
    return {literal, size - 1}; // NUL bytes included
}

/// Random JSON text, with keys that come twice, and random damage to it.
class Generator
{
public:
    explicit Generator(quint32 seed) : m_engine(seed) { }

    QByteArray text()
    {
        m_left = 40;
        // In front of the text, so that the text begins anywhere in a block.
        return QByteArray(below(70), ' ') + (below(8) == 0 ? array() : object());
    }

    QByteArray damaged(QByteArray text)
    {
        for (int times = 1 + below(2); times > 0 && !text.isEmpty(); --times) {
            const int at = below(text.size());
            const QByteArray piece = pick(DAMAGE);
            switch (below(5)) {
            case 0:
                text.truncate(at);
                break;
            case 1:
                text.remove(at, 1);
                break;
            case 2:
                text.insert(at, piece);
                break;
            case 3:
                text.replace(at, 1, piece);
                break;
            default:
                text.insert(below(text.size()), text.mid(at, below(20)));
            }
        }
        return text;
    }

private:
    // The reader works in blocks of 64 bytes. The longer keys lie across the borders of the blocks.
    static inline const std::array<QByteArray, 22> KEYS = {"a",
                                                           "b",
                                                           "a",
                                                           "b",
                                                           "ab",
                                                           "",
                                                           R"(\u0061)",
                                                           R"(\a)",
                                                           R"(a\"b)",
                                                           R"(a\"b)",
                                                           R"(a\\)",
                                                           R"(\\)",
                                                           R"(\\\")",
                                                           "\xc3\xa9",
                                                           R"(\u00e9)",
                                                           R"(\ud800)",
                                                           "{[}]:,",
                                                           bytes("a\0b"),
                                                           bytes("a\0c"),
                                                           QByteArray(61, 'k'),
                                                           QByteArray(61, 'k') + R"(\n)",
                                                           QByteArray(130, '\\')};
    static inline const std::array<QByteArray, 12> SCALARS = {
        "1",       "-2.5e3",          "9007199254740993",  "true", "false", "null", R"("text")", R"("\\")", R"("")",
        R"("}{")", R"("\",\"a\":[")", R"("a\ud83c\udfab")"};
    static inline const std::array<QByteArray, 6> SPACES = {"", "", "", " ", "\n\t", "\r\n    "};
    static inline const std::array<QByteArray, 22> DAMAGE = {
        "\"",           "\\",   "{",    "}", "[",     "]",           ":",          ",",   "x",
        "\xff",         "\xc3", "0",    "-", "\\u00", R"("a":[1],)", R"(,"a":{})", "\"a", "/**/",
        "\xef\xbb\xbf", "nul",  "true", "\v"};

    int below(int bound) { return static_cast<int>(m_engine() % static_cast<quint32>(bound)); }

    template <std::size_t size>
    QByteArray pick(const std::array<QByteArray, size>& choices)
    {
        return choices[m_engine() % size];
    }

    QByteArray value()
    {
        --m_left;
        const int kind = m_left > 0 ? below(4) : 0;
        return pick(SPACES) + (kind < 2 ? pick(SCALARS) : kind == 2 ? array() : object()) + pick(SPACES);
    }

    QByteArray array()
    {
        QByteArrayList elements;
        for (int count = below(4); count > 0; --count) {
            elements.append(value());
        }
        return '[' + elements.join(',') + ']';
    }

    QByteArray object()
    {
        QByteArrayList members;
        for (int count = below(6); count > 0; --count) {
            members.append(pick(SPACES) + '"' + pick(KEYS) + '"' + pick(SPACES) + ':' + value());
        }
        return '{' + members.join(',') + '}';
    }

    std::mt19937 m_engine;
    int m_left = 0;
};

/// \a head, then \a piece as often as it takes for a text of \a values values, then \a tail, and blanks up to a size at
/// which values are counted.
QByteArray textOfValues(int values, const QByteArray& head, const QByteArray& piece, int valuesOfPiece,
                        const QByteArray& tail)
{
    const QByteArray text = head + piece.repeated((values - 2) / valuesOfPiece) + tail;
    return text + QByteArray(qMax(0, jsonreader::MAX_UNCOUNTED_SIZE + 1 - text.size()), ' ');
}

} // namespace

class TstJsonReader : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void parse_readsAsQt_data();
    void parse_readsAsQt();
    void parse_randomTexts_readsAsQt();
    void parse_mistake_tellsItsOffset();
    void parse_repeatedKey_lastCounts_data();
    void parse_repeatedKey_lastCounts();
    void parse_repeatedKey_leavesNothingBehind_data();
    void parse_repeatedKey_leavesNothingBehind();
    void parse_atTheBoundOfValues_data();
    void parse_atTheBoundOfValues();
    void parse_valuesBehindAnEscapedKey_areCounted();
    void parse_shortText_isNotCounted();
    void parse_manyKeys_takesNoSquareOfTheTime_data();
    void parse_manyKeys_takesNoSquareOfTheTime();
};

void TstJsonReader::parse_readsAsQt_data()
{
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char* name, const QByteArray& text) { QTest::newRow(name) << text; };
    row("null", {});
    row("empty", "");
    row("blank", "  \n ");
    row("scalar", "1");
    row("string", "\"a\"");
    row("empty object", "{}");
    row("empty array", "[]");
    row("numbers", "[0,-0,1.0,1e3,1e400,9007199254740993,9223372036854775808]");
    row("byte order mark", "\xef\xbb\xbf{\"a\":1}");
    row("two byte order marks", "\xef\xbb\xbf\xef\xbb\xbf{\"a\":1}");
    row("NUL after the text", bytes("{}\0"));
    row("NUL before the text", bytes("\0{}"));
    row("NUL in a string", bytes("{\"a\":\"b\0c\"}"));
    row("NUL in a key", bytes("{\"a\0b\":[1],\"c\":2}"));
    row("invalid UTF-8 in a string", "{\"a\":\"\xff\"}");
    row("invalid UTF-8 in a key", "{\"a\":[],\"\xff\":1}");
    row("half a surrogate pair in UTF-8", "{\"a\":[],\"\xed\xa0\x80\":1}");
    row("UTF-8 that the quote cuts", "{\"a\":[],\"\xc3\":1}");
    row("unterminated string", "{\"a\":\"b");
    row("unterminated key", R"({"a":1,"a)");
    row("no colon", R"({"a":1,"a")");
    row("no colon after a container", R"({"a":[],"a")");
    row("no value", R"({"a":[],"a":)");
    row("no member", R"({"a":[],})");
    row("no quote", R"({"a":[],a:1})");
    row("escaped quote at the end", R"({"a":[],"a\")");
    row("backslash at the end", "{\"a\":[],\"a\\");
    row("escape cut", R"({"a":[],"\u00)");
    row("escape outside a string", R"({"a":[],\"a":1})");
    row("letters where a bracket may be", R"({"a":[],y,_,Y:1})");
    row("brackets crossed", R"({"a":[1,{"b":[2}]]})");
    row("brackets in strings", R"({"a]}":["}","]"],"b{[":"\"}"})");
    row("one bracket too many", R"({"a":[]}})");
    row("comma in front", R"({,"a":[]})");
    row("colon twice", R"({"a"::[],"b":1})");
    row("colon in an array", R"([{"a":[]},"b":1])");
    row("container without a key", R"({"a":[],{"b":1}})");
    row("container without a key, first", R"({[],"b":1})");
    row("garbage at the end", R"({"a":[]} {"a":[]})");
    row("null cut at the end", "[null");
    for (const int depth : {1, 512, 1023, 1024, 1025, 1026, 5000, 100000}) {
        QTest::addRow("arrays, %d deep", depth) << QByteArray(depth, '[') + QByteArray(depth, ']');
        QTest::addRow("arrays, %d deep, not closed", depth) << QByteArray(depth, '[');
        QTest::addRow("objects, %d deep", depth)
            << QByteArray("{\"a\":").repeated(depth - 1) + "{}" + QByteArray(depth - 1, '}');
    }
    for (int length = 55; length <= 70; ++length) {
        // Strings, escapes and the end of the text, on each side of a border.
        const QByteArray run(length, 'x');
        QTest::addRow("%d before a quote", length) << R"({"a":[")" + run + R"("],"b":2})";
        QTest::addRow("%d before a backslash", length) << R"({"a":[")" + run + R"(\"],\"a\":[\\"],"b":2})";
        QTest::addRow("%d backslashes", length) << R"({"a":[")" + QByteArray(length, '\\') + R"(],"b":2})";
        QTest::addRow("%d blanks", length) << R"({"a")" + QByteArray(length, ' ') + ":" + QByteArray(length, ' ') + "[]"
                + QByteArray(length, ' ') + R"(,"b":1})";
    }
}

void TstJsonReader::parse_readsAsQt()
{
    QFETCH(QByteArray, text);
    const Parsed read = byReader(text);
    const Parsed expected = byQt(text);
    QCOMPARE(read.errorText, expected.errorText);
    QCOMPARE(read.json, expected.json);
    QCOMPARE(read.value, expected.value);
}

// Qt's result is the right one for texts with repeated keys too, because a leak does not change the result.
void TstJsonReader::parse_randomTexts_readsAsQt()
{
    const QByteArray given = qgetenv("TARVEX_TEST_SEED");
    const quint32 seed = given.isEmpty() ? std::random_device()() : given.toUInt();
    qInfo("TARVEX_TEST_SEED=%u gives the same texts", seed);
    Generator generator(seed);
    int valid = 0;
    int invalid = 0;
    for (int i = 0; i < 20000; ++i) {
        const QByteArray whole = generator.text();
        for (const QByteArray& text : {whole, generator.damaged(whole)}) {
            const Parsed read = byReader(text);
            const Parsed expected = byQt(text);
            if (read.errorText != expected.errorText || read.json != expected.json || read.value != expected.value) {
                qWarning().noquote() << text.toPercentEncoding(" {}[]\":,\\");
            }
            QCOMPARE(read.errorText, expected.errorText);
            QCOMPARE(read.json, expected.json);
            QCOMPARE(read.value, expected.value);
            ++(read.json.isEmpty() ? invalid : valid);
        }
    }
    QVERIFY(valid > 10000);
    QVERIFY(invalid > 5000);
}

void TstJsonReader::parse_mistake_tellsItsOffset()
{
    // The same keys in two different objects are no repeat.
    QJsonParseError error{};
    QVERIFY(jsonreader::parseJson(R"([{"a":[1],"b":[2]},{"a":[1],"b":x}])", error).isNull());
    QCOMPARE(error.error, QJsonParseError::IllegalNumber);
    QCOMPARE(error.offset, 32);
}

void TstJsonReader::parse_repeatedKey_lastCounts_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("expected"); // empty when the text is refused
    const auto row = [](const char* name, const QByteArray& text, const QByteArray& expected) {
        QTest::newRow(name) << text << expected;
    };
    row("arrays", R"({"a":[1],"a":[2]})", R"({"a":[2]})");
    row("objects", R"({"a":{"b":1},"a":{"c":2}})", R"({"a":{"c":2}})");
    row("three times", R"({"a":[1],"a":[2],"a":[3]})", R"({"a":[3]})");
    row("array, then number", R"({"a":[1],"a":2})", R"({"a":2})");
    row("number, then array", R"({"a":1,"a":[2]})", R"({"a":[2]})");
    row("array, number, array", R"({"a":[1],"a":2,"a":[3]})", R"({"a":[3]})");
    row("not one after the other", R"({"a":[1],"b":[2],"c":3,"a":[4]})", R"({"a":[4],"b":[2],"c":3})");
    row("two keys", R"({"a":[1],"b":[2],"a":[3],"b":[4]})", R"({"a":[3],"b":[4]})");
    row("same key at two depths", R"({"a":{"a":[1]},"b":{"a":[2]}})", R"({"a":{"a":[1]},"b":{"a":[2]}})");
    row("repeat in a value that counts", R"({"a":[1],"a":{"b":[2],"b":[3]}})", R"({"a":{"b":[3]}})");
    row("repeat in a value that does not", R"({"a":{"b":[2],"b":[3]},"a":[1]})", R"({"a":[1]})");
    row("repeat in an array", R"([[1],{"a":[2],"a":[3]},[4]])", R"([[1],{"a":[3]},[4]])");
    row("empty key", R"({"":[1],"":[2]})", R"({"":[2]})");
    row("key of brackets", R"({"{]":[1],"{]":[2]})", R"({"{]":[2]})");
    row("UTF-8", "{\"\xc3\xa9\":[1],\"\xc3\xa9\":[2]}", "{\"\xc3\xa9\":[2]}");
    row("escape second", R"({"a":[1],"\u0061":[2]})", R"({"a":[2]})");
    row("escape first", R"({"\u0061":[1],"a":[2]})", R"({"a":[2]})");
    row("needless escape", R"({"\a":[1],"a":[2]})", R"({"a":[2]})");
    row("escaped quote", R"({"\"":[1],"\"":[2]})", R"({"\"":[2]})");
    row("escaped backslash", R"({"\\":[1],"\\":[2]})", R"({"\\":[2]})");
    row("surrogates, UTF-8", "{\"\\ud83c\\udfab\":[1],\"\xf0\x9f\x8e\xab\":[2]}", "{\"\xf0\x9f\x8e\xab\":[2]}");
    row("half a surrogate pair", R"({"\ud800":[1],"\ud800":[2],"\ud801":[3]})", R"({"\ud800":[2],"\ud801":[3]})");
    row("blanks", "{ \"a\" : [ 1 ] ,\n\t\"a\"\r:\n{ } }", R"({"a":{}})");
    row("behind a byte order mark", "\xef\xbb\xbf{\"a\":[1],\"a\":[2]}", R"({"a":[2]})");
    row("integer beyond doubles", R"({"a":[1],"a":[9007199254740993]})", R"({"a":[9007199254740993]})");
    row("mistake in the former value", R"({"a":[1,],"a":2})", {});
    row("mistake in a string of the former value", "{\"a\":[\"\xff\"],\"a\":2}", {});
    row("former value not closed", R"({"a":[1,"a":2})", {});
    row("former value closed wrongly", R"({"a":[1},"a":2})", {});
    row("mistake behind", R"({"a":[1],"a":[2]}x)", {});
    row("mistake in the last value", R"({"a":[1],"a":[2,]})", {});
    row("no comma", R"({"a":[1] "a":[2]})", {});
    row("no value the second time", R"({"a":[1],"a"})", {});
    row("former value too deep", R"({"a":)" + QByteArray(1024, '[') + QByteArray(1024, ']') + R"(,"a":2})", {});
}

void TstJsonReader::parse_repeatedKey_lastCounts()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, expected);
    const Parsed read = byReader(text);
    QCOMPARE(read.value, byQt(expected).value);
    QCOMPARE(read.errorText, byQt(text).errorText);
}

void TstJsonReader::parse_repeatedKey_leavesNothingBehind_data()
{
    QTest::addColumn<QByteArray>("text");
    const QByteArray array = "[" + QByteArray("1,").repeated(1000) + "1]";
    const auto row = [](const char* name, const QByteArray& text) { QTest::newRow(name) << text; };
    row("array", "{\"a\":" + array + ",\"a\":1}");
    row("object", "{\"a\":{\"b\":" + array + "},\"a\":1}");
    row("three times", "{\"a\":" + array + ",\"a\":" + array + ",\"a\":1}");
    row("not one after the other", "{\"x\":1,\"a\":" + array + ",\"b\":2,\"c\":{},\"a\":1}");
    row("inside", "[{},{\"b\":[{\"a\":" + array + ",\"a\":1}]}]");
    row("inside both", "{\"a\":{\"a\":" + array + ",\"a\":{}},\"a\":{\"a\":" + array + ",\"a\":{}}}");
    row("after an object with that key", "{\"b\":{\"a\":1},\"a\":" + array + ",\"a\":1}");
    row("empty key", "{\"\":" + array + ",\"\":1}");
    row("escape second", "{\"a\":" + array + R"(,"\u0061":1})");
    row("escape first", R"({"\u0061":)" + array + ",\"a\":1}");
    row("escapes twice", R"({"\u0061":)" + array + R"(,"\u0061":1})");
    row("escaped quotes", R"({"\"":)" + array + R"(,"\"":1})");
    row("NUL", bytes("{\"a\0b\":") + array + bytes(",\"a\0b\":1}"));
    row("different behind a NUL", bytes("{\"a\0b\":") + array + bytes(",\"a\0c\":1}"));
    row("half a surrogate pair, U+FFFD", R"({"\ud800":)" + array + ",\"\xef\xbf\xbd\":1}");
    row("blanks", "{ \"a\" : " + array + " , \"a\" : 1 }");
    row("long key", "{\"" + QByteArray(200, 'k') + "\":" + array + ",\"" + QByteArray(200, 'k') + "\":1}");
    row("more keys than fit at first", "{\"a\":" + array + QByteArray(",\"b\":1").repeated(100) + ",\"a\":1}");
    row("garbage behind", "{\"a\":" + array + ",\"a\":1}x");
    row("not closed", "[{\"a\":" + array + ",\"a\":1}");
    row("brackets crossed behind", "[{\"a\":" + array + ",\"a\":1}}");
    row("too deep behind", "[{\"a\":" + array + ",\"a\":1}," + QByteArray(2000, '['));
    row("as deep as may be", QByteArray(1022, '[') + "{\"a\":" + array + ",\"a\":1}" + QByteArray(1022, ']'));
    row("long", "{\"a\":" + array + ",\"a\":1}" + QByteArray(jsonreader::MAX_UNCOUNTED_SIZE, ' '));
}

void TstJsonReader::parse_repeatedKey_leavesNothingBehind()
{
    QFETCH(QByteArray, text);
    const int times = text.size() > 100000 ? 100 : 2000;
    byReader(text); // allocates what is allocated only once
    const qint64 before = memoryuse::allocated();
    for (int i = 0; i < times; ++i) {
        QJsonParseError error{};
        jsonreader::parseJson(text, error);
    }
    const qint64 grown = memoryuse::allocated() - before;
    // Each leaked array would have 16 kB.
    QVERIFY2(grown < 500000, QByteArray::number(grown).constData());
}

void TstJsonReader::parse_atTheBoundOfValues_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("valid");

    struct Shape
    {
        const char* name;
        QByteArray head;
        QByteArray piece;
        int values;
        QByteArray tail;
        QByteArray longerTail; // one value more
    };

    const std::array<Shape, 6> shapes = {{{"numbers", "[", "0,", 1, "0]", "0,0]"},
                                          {"arrays", "[", "[ ],", 1, "[]]", "[],[]]"},
                                          {"arrays of one", "[", "[0],", 2, "0]", "0,0]"},
                                          {"members", "{", R"("a,[":0,)", 1, R"("a":0})", R"("a":0,"b":0})"},
                                          {"objects", "[", R"({"a":"\",{"},)", 2, "{}]", "{},0]"},
                                          {"empty objects", "[ ", "{\n\t}\r, ", 1, "{ } ]", "{ } , 0 ]"}}};
    for (const Shape& shape : shapes) {
        QTest::addRow("%s, at", shape.name)
            << textOfValues(jsonreader::MAX_VALUES, shape.head, shape.piece, shape.values, shape.tail) << true;
        QTest::addRow("%s, above", shape.name)
            << textOfValues(jsonreader::MAX_VALUES, shape.head, shape.piece, shape.values, shape.longerTail) << false;
    }
}

void TstJsonReader::parse_atTheBoundOfValues()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, valid);
    QJsonParseError error{};
    const QJsonDocument document = jsonreader::parseJson(text, error);
    QCOMPARE(error.error, valid ? QJsonParseError::NoError : QJsonParseError::DocumentTooLarge);
    QCOMPARE(document.isNull(), !valid);
    QCOMPARE(error.errorString(), QString::fromLatin1(valid ? "no error occurred" : "too large document"));
}

void TstJsonReader::parse_valuesBehindAnEscapedKey_areCounted()
{
    const QByteArray text = R"({"\n":[],"\n":[],"a":[)" + QByteArray("0,").repeated(jsonreader::MAX_VALUES) + R"(0]})";
    QJsonParseError error{};
    QVERIFY(jsonreader::parseJson(text, error).isNull());
    QCOMPARE(error.error, QJsonParseError::DocumentTooLarge);
}

void TstJsonReader::parse_shortText_isNotCounted()
{
    const QByteArray text = '[' + QByteArray("0,").repeated(jsonreader::MAX_UNCOUNTED_SIZE / 2 - 1) + "0]";
    QCOMPARE(text.size(), jsonreader::MAX_UNCOUNTED_SIZE + 1);
    QJsonParseError error{};
    QCOMPARE(jsonreader::parseJson(text, error).array().size(), jsonreader::MAX_UNCOUNTED_SIZE / 2);
}

void TstJsonReader::parse_manyKeys_takesNoSquareOfTheTime_data()
{
    QTest::addColumn<QByteArray>("text");
    const auto object = [](const char* name, const QByteArray& value, const QByteArray& prefix, int repeats) {
        QByteArray text = "{";
        for (int i = 0; i < 200000; ++i) {
            text.append('"').append(prefix).append(QByteArray::number(i / repeats)).append("\":").append(value);
            text.append(',');
        }
        QTest::newRow(name) << text.append("\"last\":0}");
    };
    object("arrays", "[]", {}, 1);
    object("arrays, escapes", "[]", "\\n", 1);
    object("arrays, each twice", "[0]", {}, 2);
    object("arrays, all the same", "[0]", {}, 1000000);
    QTest::newRow("repeats in repeats") << QByteArray("{\"a\":").repeated(1000) + '['
            + QByteArray("0,").repeated(400000) + "0]" + QByteArray(",\"a\":0}").repeated(1000);
    QTest::newRow("quotes without an end") << "{\"a\\n\":[]," + QByteArray("\"\\\"").repeated(1000000);
    QTest::newRow("backslashes") << "{\"a\\n\":[],\"" + QByteArray(4000000, '\\');
    QTest::newRow("blanks") << "{\"a\\n\":[]," + QByteArray("\"b\"" + QByteArray(1000, ' ')).repeated(4000);
    QTest::newRow("colons") << "{\"a\":[],\"b\"" + QByteArray(4000000, ':');
    QTest::newRow("brackets") << "{\"a\\n\":[]," + QByteArray("{\"a\":").repeated(800000);
}

void TstJsonReader::parse_manyKeys_takesNoSquareOfTheTime()
{
    QFETCH(QByteArray, text);
    QElapsedTimer timer;
    timer.start();
    const Parsed read = byReader(text);
    const qint64 elapsed = timer.restart();
    const Parsed expected = byQt(text);
    qInfo("%lld ms, by Qt alone %lld ms", elapsed, timer.elapsed());
    QCOMPARE(read.errorText, expected.errorText);
    QCOMPARE(read.json, expected.json);
    // Time that grows with the square would be minutes.
    QVERIFY(elapsed < 20000);
}

QTEST_GUILESS_MAIN(TstJsonReader)
#include "tst_jsonreader.moc"
