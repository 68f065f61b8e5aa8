#include "logtools.h"

#include "literals.h"
#include "logcapture.h"

#include <QDebug>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaType>
#include <QTest>

namespace {

constexpr int BOUND = 65536;

/// A type that cannot be written as text.
struct Opaque
{
    int number = 0;
};

template <typename Value>
QString written(const Value& value)
{
    QString text;
    QDebug(&text).noquote().nospace() << value;
    return text;
}

QVariantMap someMap()
{
    return {{u"b"_s, QVariantList{1, u"two"_s, true}}, {u"a"_s, QVariantMap{{u"c"_s, QVariant()}}}};
}

} // namespace

Q_DECLARE_METATYPE(Opaque)

class TstLogTools : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void logtab_writesATab();
    void logtab_inTextStream_writesATab();
    void logbinary_text_data();
    void logbinary_text();
    void logbinary_unreadable_data();
    void logbinary_unreadable();
    void logbinary_latin1_data();
    void logbinary_latin1();
    void logbinary_keepsBytesOnOneLine();
    void logbinary_upToTheBound_isWhole();
    void logbinary_huge_isBounded_data();
    void logbinary_huge_isBounded();
    void loglist_data();
    void loglist();
    void loglist_huge_isBounded();
    void logvariant_data();
    void logvariant();
    void logvariant_huge_isBounded();
    void helpers_leaveTheStreamAsItWas_data();
    void helpers_leaveTheStreamAsItWas();
    void helpers_inALogLine();
};

void TstLogTools::logtab_writesATab()
{
    QString text;
    QDebug(&text).noquote().nospace() << u"a"_s << logtab << 5 << logtab << u"b"_s;
    QCOMPARE(text, u"a\t5\tb"_s);
}

void TstLogTools::logtab_inTextStream_writesATab()
{
    QString text;
    QTextStream stream(&text);
    stream << "a" << logtab << "b";
    stream.flush();
    QCOMPARE(text, u"a\tb"_s);
}

void TstLogTools::logbinary_text_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QByteArray("") << QString();
    QTest::newRow("null") << QByteArray() << QString();
    QTest::newRow("plain") << QByteArray("[-REPLY-]") << u"[-REPLY-]"_s;
    QTest::newRow("beyond Latin-1") << QByteArray("\xd0\x96 \xe2\x82\xac") << QString::fromUtf8("\u0416 \u20ac");
    QTest::newRow("beyond 16 bits") << QByteArray("\xf0\x9f\x8e\xab") << QString::fromUcs4(U"\U0001F3AB", 1);
    QTest::newRow("line ends") << QByteArray("a\r\nb") << u"a\\x0d\\x0ab"_s;
    QTest::newRow("tab") << QByteArray("a\tb") << u"a\\x09b"_s;
    QTest::newRow("zero") << QByteArray("a\0b", 3) << u"a\\x00b"_s;
    QTest::newRow("delete") << QByteArray("a\x7f") << u"a\\x7f"_s;
    QTest::newRow("escape") << QByteArray("\x1b[31m") << u"\\x1b[31m"_s;
    QTest::newRow("upper controls") << QByteArray("a\xc2\x85") << u"a\\x85"_s;
    QTest::newRow("quotes and backslash") << QByteArray("\"a\\\"") << u"\"a\\\""_s;
    QTest::newRow("placeholder") << QByteArray("%1%s") << u"%1%s"_s;
}

void TstLogTools::logbinary_text()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    QCOMPARE(written(logbinary(bytes, "UTF-8")), text);
}

void TstLogTools::logbinary_unreadable_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("no start") << QByteArray("\x80") << u"\\x80"_s;
    QTest::newRow("never used") << QByteArray("a\xff\xfe") << u"\\x61\\xff\\xfe"_s;
    QTest::newRow("cut short") << QByteArray("a\xe2\x82") << u"\\x61\\xe2\\x82"_s;
    QTest::newRow("overlong") << QByteArray("\xc0\xaf") << u"\\xc0\\xaf"_s;
    QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80") << u"\\xed\\xa0\\x80"_s;
}

void TstLogTools::logbinary_unreadable()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    QCOMPARE(written(logbinary(bytes, "UTF-8")), text);
}

void TstLogTools::logbinary_latin1_data()
{
    QTest::addColumn<QByteArray>("codec");
    QTest::newRow("unknown codec") << QByteArray("no-such-codec");
    QTest::newRow("empty name") << QByteArray("");
    QTest::newRow("no name") << QByteArray();
    QTest::newRow("Latin-1") << QByteArray("ISO-8859-1");
}

void TstLogTools::logbinary_latin1()
{
    QFETCH(QByteArray, codec);
    const char* const name = codec.isNull() ? nullptr : codec.constData();
    QCOMPARE(written(logbinary(QByteArray("a\xe4\n\0b", 5), name)), QString::fromUtf8("a\u00e4\\x0a\\x00b"));
}

void TstLogTools::logbinary_keepsBytesOnOneLine()
{
    QByteArray everyByte;
    for (int byte = 0; byte < 256; ++byte) {
        everyByte.append(static_cast<char>(byte));
    }
    for (const char* const codec : {"UTF-8", "no-such-codec"}) {
        const QString text = written(logbinary(everyByte, codec));
        QVERIFY(text.startsWith(u"\\x00\\x01"_s));
        QVERIFY(text.size() > everyByte.size());
        for (const QChar character : text) {
            QVERIFY(character.category() != QChar::Other_Control);
        }
    }
}

void TstLogTools::logbinary_upToTheBound_isWhole()
{
    const QByteArray bytes(BOUND, 'x');
    QCOMPARE(written(logbinary(bytes, "UTF-8")), QString::fromLatin1(bytes));
}

void TstLogTools::logbinary_huge_isBounded_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("codec");
    QTest::addColumn<QString>("beginning");
    const int size = 4 * 1024 * 1024;
    QTest::newRow("text") << QByteArray(size, 'x') << QByteArray("UTF-8") << u"xxxx"_s;
    QTest::newRow("unknown codec") << QByteArray(size, 'x') << QByteArray("no-such-codec") << u"xxxx"_s;
    QTest::newRow("no text") << QByteArray(size, '\xff') << QByteArray("UTF-8") << u"\\xff\\xff"_s;
    QTest::newRow("controls") << QByteArray(size, '\n') << QByteArray("UTF-8") << u"\\x0a\\x0a"_s;
    // The bound falls into the middle of a character, which does not make the rest unreadable.
    QTest::newRow("wide characters") << QByteArray("\xe2\x82\xac").repeated(size / 3) + 'x' << QByteArray("UTF-8")
                                     << QString::fromUtf8("\u20ac\u20ac");
}

void TstLogTools::logbinary_huge_isBounded()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, codec);
    QFETCH(QString, beginning);
    const QString text = written(logbinary(bytes, codec.constData()));
    QVERIFY(text.startsWith(beginning));
    QVERIFY(text.size() > BOUND / 4);
    QVERIFY(text.size() < BOUND + 100);
    QVERIFY2(text.endsWith(u" of %1 bytes"_s.arg(bytes.size())), qPrintable(text.right(100)));
}

void TstLogTools::loglist_data()
{
    QTest::addColumn<QStringList>("list");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QStringList() << QString();
    QTest::newRow("one") << QStringList{u"a"_s} << u"a"_s;
    QTest::newRow("two") << QStringList{u"a"_s, u"b \"c\""_s} << u"a\nb \"c\""_s;
    QTest::newRow("empty items") << QStringList{QString(), u"a"_s, QString()} << u"\na\n"_s;
}

void TstLogTools::loglist()
{
    QFETCH(QStringList, list);
    QFETCH(QString, text);
    QCOMPARE(written(::loglist(list)), text);
}

void TstLogTools::loglist_huge_isBounded()
{
    QStringList list;
    for (int item = 0; item < 100000; ++item) {
        list.append(u"item"_s);
    }
    const QString text = written(::loglist(list));
    QVERIFY(text.startsWith(u"item\nitem\n"_s));
    // 100000 items of four characters and 99999 line ends.
    QVERIFY(text.endsWith(u"... (%1 more)"_s.arg(499999 - BOUND)));
    QVERIFY(text.size() < BOUND + 100);
}

void TstLogTools::logvariant_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("invalid") << QVariant() << u"<invalid>"_s;
    QTest::newRow("text") << QVariant(u"a \"b\""_s) << u"a \"b\""_s;
    QTest::newRow("empty text") << QVariant(QString()) << QString();
    QTest::newRow("number") << QVariant(-5) << u"-5"_s;
    QTest::newRow("large number") << QVariant(qint64(9007199254740993)) << u"9007199254740993"_s;
    QTest::newRow("fraction") << QVariant(0.5) << u"0.5"_s;
    QTest::newRow("truth") << QVariant(true) << u"true"_s;
    QTest::newRow("bytes") << QVariant(QByteArray("abc")) << u"abc"_s;
    QTest::newRow("date") << QVariant(QDateTime(QDate(2024, 3, 5), QTime(7, 8, 9, 10))) << u"2024-03-05T07:08:09.010"_s;
    QTest::newRow("map") << QVariant(someMap()) << u"{\"a\":{\"c\":null},\"b\":[1,\"two\",true]}"_s;
    QTest::newRow("empty map") << QVariant(QVariantMap()) << u"{}"_s;
    QTest::newRow("hash") << QVariant(QVariantHash{{u"a"_s, 1}}) << u"{\"a\":1}"_s;
    QTest::newRow("list") << QVariant(QVariantList{1, QVariantList{2}}) << u"[1,[2]]"_s;
    QTest::newRow("empty list") << QVariant(QVariantList()) << u"[]"_s;
    QTest::newRow("texts") << QVariant(QStringList{u"a"_s, u"b"_s}) << u"[\"a\",\"b\"]"_s;
    QTest::newRow("JSON object") << QVariant(QJsonObject{{u"a"_s, 1}}) << u"{\"a\":1}"_s;
    QTest::newRow("JSON array") << QVariant(QJsonArray{1}) << u"[1]"_s;
    QTest::newRow("line end in a map") << QVariant(QVariantMap{{u"a"_s, u"x\ny"_s}}) << u"{\"a\":\"x\\ny\"}"_s;
    QTest::newRow("beyond Latin-1") << QVariant(QVariantList{QString::fromUtf8("\u20ac")})
                                    << QString::fromUtf8("[\"\u20ac\"]");
    QTest::newRow("null pointer") << QVariant::fromValue(nullptr) << QString();
    QTest::newRow("unknown type") << QVariant::fromValue(Opaque()) << u"<Opaque>"_s;
}

void TstLogTools::logvariant()
{
    QFETCH(QVariant, value);
    QFETCH(QString, text);
    QCOMPARE(written(::logvariant(value)), text);
}

void TstLogTools::logvariant_huge_isBounded()
{
    const QString longText(BOUND + 1000, QLatin1Char('x'));
    const QString shown = QString(BOUND, QLatin1Char('x'));
    QCOMPARE(written(::logvariant(shown)), shown);
    QCOMPARE(written(::logvariant(longText)), shown + u"... (1000 more)"_s);
    // The list itself has four characters: two brackets and two quotes.
    const QString list = written(::logvariant(QVariantList{longText}));
    QVERIFY(list.startsWith(u"[\"xxx"_s));
    QVERIFY(list.endsWith(u"... (1004 more)"_s));
}

void TstLogTools::helpers_leaveTheStreamAsItWas_data()
{
    QTest::addColumn<bool>("quote");
    QTest::addColumn<bool>("space");
    QTest::addColumn<QString>("text");
    const auto row = [](const char* name, bool quote, bool space, const char* text) {
        QTest::newRow(name) << quote << space << QString::fromLatin1(text);
    };
    row("quotes and spaces", true, true, "\"first\" bytes item 7 \"last\" 5 ");
    row("spaces", false, true, "first bytes item 7 last 5 ");
    row("quotes", true, false, "\"first\"bytesitem7\"last\"5");
    row("neither", false, false, "firstbytesitem7last5");
}

void TstLogTools::helpers_leaveTheStreamAsItWas()
{
    QFETCH(bool, quote);
    QFETCH(bool, space);
    QFETCH(QString, text);
    QString line;
    {
        QDebug debug(&line);
        debug = quote ? debug.quote() : debug.noquote();
        debug.setAutoInsertSpaces(space);
        debug << u"first"_s << logbinary("bytes", "UTF-8") << ::loglist({u"item"_s}) << ::logvariant(7) << u"last"_s
              << 5;
    }
    QCOMPARE(line, text);
}

void TstLogTools::helpers_inALogLine()
{
    const LogCapture log;
    qCritical().noquote() << 5 << logtab << u"bad"_s << logtab << ::logvariant(someMap());
    qWarning().noquote().nospace() << "got" << logtab << logbinary("a\n", "UTF-8");
    QCOMPARE(
        log.texts(),
        QStringList({u"critical: 5 \tbad \t{\"a\":{\"c\":null},\"b\":[1,\"two\",true]}"_s, u"warning: got\ta\\x0a"_s}));
}

QTEST_GUILESS_MAIN(TstLogTools)
#include "tst_logtools.moc"
