#include "logtools.h"

#include "logcapture.h"

#include <QDebug>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaType>
#include <QTest>

namespace {

constexpr int BOUND = 65536;

/// A type that nobody can write.
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
    return {{QStringLiteral("b"), QVariantList{1, QStringLiteral("two"), true}},
            {QStringLiteral("a"), QVariantMap{{QStringLiteral("c"), QVariant()}}}};
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
    QDebug(&text).noquote().nospace() << QStringLiteral("a") << logtab << 5 << logtab << QStringLiteral("b");
    QCOMPARE(text, QStringLiteral("a\t5\tb"));
}

void TstLogTools::logtab_inTextStream_writesATab()
{
    QString text;
    QTextStream stream(&text);
    stream << "a" << logtab << "b";
    stream.flush();
    QCOMPARE(text, QStringLiteral("a\tb"));
}

void TstLogTools::logbinary_text_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QByteArray("") << QString();
    QTest::newRow("null") << QByteArray() << QString();
    QTest::newRow("plain") << QByteArray("[-REPLY-]") << QStringLiteral("[-REPLY-]");
    QTest::newRow("beyond Latin-1") << QByteArray("\xd0\x96 \xe2\x82\xac") << QString::fromUtf8("\u0416 \u20ac");
    QTest::newRow("beyond 16 bits") << QByteArray("\xf0\x9f\x8e\xab") << QString::fromUcs4(U"\U0001F3AB", 1);
    QTest::newRow("line ends") << QByteArray("a\r\nb") << QStringLiteral("a\\x0d\\x0ab");
    QTest::newRow("tab") << QByteArray("a\tb") << QStringLiteral("a\\x09b");
    QTest::newRow("zero") << QByteArray("a\0b", 3) << QStringLiteral("a\\x00b");
    QTest::newRow("delete") << QByteArray("a\x7f") << QStringLiteral("a\\x7f");
    QTest::newRow("escape") << QByteArray("\x1b[31m") << QStringLiteral("\\x1b[31m");
    QTest::newRow("upper controls") << QByteArray("a\xc2\x85") << QStringLiteral("a\\x85");
    QTest::newRow("quotes and backslash") << QByteArray("\"a\\\"") << QStringLiteral("\"a\\\"");
    QTest::newRow("placeholder") << QByteArray("%1%s") << QStringLiteral("%1%s");
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
    QTest::newRow("no start") << QByteArray("\x80") << QStringLiteral("\\x80");
    QTest::newRow("never used") << QByteArray("a\xff\xfe") << QStringLiteral("\\x61\\xff\\xfe");
    QTest::newRow("cut short") << QByteArray("a\xe2\x82") << QStringLiteral("\\x61\\xe2\\x82");
    QTest::newRow("overlong") << QByteArray("\xc0\xaf") << QStringLiteral("\\xc0\\xaf");
    QTest::newRow("surrogate") << QByteArray("\xed\xa0\x80") << QStringLiteral("\\xed\\xa0\\x80");
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
        QVERIFY(text.startsWith(QStringLiteral("\\x00\\x01")));
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
    QTest::newRow("text") << QByteArray(size, 'x') << QByteArray("UTF-8") << QStringLiteral("xxxx");
    QTest::newRow("unknown codec") << QByteArray(size, 'x') << QByteArray("no-such-codec") << QStringLiteral("xxxx");
    QTest::newRow("no text") << QByteArray(size, '\xff') << QByteArray("UTF-8") << QStringLiteral("\\xff\\xff");
    QTest::newRow("controls") << QByteArray(size, '\n') << QByteArray("UTF-8") << QStringLiteral("\\x0a\\x0a");
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
    QVERIFY2(text.endsWith(QStringLiteral(" of %1 bytes").arg(bytes.size())), qPrintable(text.right(100)));
}

void TstLogTools::loglist_data()
{
    QTest::addColumn<QStringList>("list");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QStringList() << QString();
    QTest::newRow("one") << QStringList{QStringLiteral("a")} << QStringLiteral("a");
    QTest::newRow("two") << QStringList{QStringLiteral("a"), QStringLiteral("b \"c\"")} << QStringLiteral("a\nb \"c\"");
    QTest::newRow("empty items") << QStringList{QString(), QStringLiteral("a"), QString()} << QStringLiteral("\na\n");
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
        list.append(QStringLiteral("item"));
    }
    const QString text = written(::loglist(list));
    QVERIFY(text.startsWith(QStringLiteral("item\nitem\n")));
    // 100000 items of four characters and 99999 line ends.
    QVERIFY(text.endsWith(QStringLiteral("... (%1 more)").arg(499999 - BOUND)));
    QVERIFY(text.size() < BOUND + 100);
}

void TstLogTools::logvariant_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("text");
    QTest::newRow("invalid") << QVariant() << QStringLiteral("<invalid>");
    QTest::newRow("text") << QVariant(QStringLiteral("a \"b\"")) << QStringLiteral("a \"b\"");
    QTest::newRow("empty text") << QVariant(QString()) << QString();
    QTest::newRow("number") << QVariant(-5) << QStringLiteral("-5");
    QTest::newRow("large number") << QVariant(qint64(9007199254740993)) << QStringLiteral("9007199254740993");
    QTest::newRow("fraction") << QVariant(0.5) << QStringLiteral("0.5");
    QTest::newRow("truth") << QVariant(true) << QStringLiteral("true");
    QTest::newRow("bytes") << QVariant(QByteArray("abc")) << QStringLiteral("abc");
    QTest::newRow("date") << QVariant(QDateTime(QDate(2024, 3, 5), QTime(7, 8, 9, 10)))
                          << QStringLiteral("2024-03-05T07:08:09.010");
    QTest::newRow("map") << QVariant(someMap()) << QStringLiteral("{\"a\":{\"c\":null},\"b\":[1,\"two\",true]}");
    QTest::newRow("empty map") << QVariant(QVariantMap()) << QStringLiteral("{}");
    QTest::newRow("hash") << QVariant(QVariantHash{{QStringLiteral("a"), 1}}) << QStringLiteral("{\"a\":1}");
    QTest::newRow("list") << QVariant(QVariantList{1, QVariantList{2}}) << QStringLiteral("[1,[2]]");
    QTest::newRow("empty list") << QVariant(QVariantList()) << QStringLiteral("[]");
    QTest::newRow("texts") << QVariant(QStringList{QStringLiteral("a"), QStringLiteral("b")})
                           << QStringLiteral("[\"a\",\"b\"]");
    QTest::newRow("JSON object") << QVariant(QJsonObject{{QStringLiteral("a"), 1}}) << QStringLiteral("{\"a\":1}");
    QTest::newRow("JSON array") << QVariant(QJsonArray{1}) << QStringLiteral("[1]");
    QTest::newRow("line end in a map") << QVariant(QVariantMap{{QStringLiteral("a"), QStringLiteral("x\ny")}})
                                       << QStringLiteral("{\"a\":\"x\\ny\"}");
    QTest::newRow("beyond Latin-1") << QVariant(QVariantList{QString::fromUtf8("\u20ac")})
                                    << QString::fromUtf8("[\"\u20ac\"]");
    QTest::newRow("null pointer") << QVariant::fromValue(nullptr) << QString();
    QTest::newRow("unknown type") << QVariant::fromValue(Opaque()) << QStringLiteral("<Opaque>");
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
    QCOMPARE(written(::logvariant(longText)), shown + QStringLiteral("... (1000 more)"));
    // Four characters of the list's own.
    const QString list = written(::logvariant(QVariantList{longText}));
    QVERIFY(list.startsWith(QStringLiteral("[\"xxx")));
    QVERIFY(list.endsWith(QStringLiteral("... (1004 more)")));
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
        debug << QStringLiteral("first") << logbinary("bytes", "UTF-8") << ::loglist({QStringLiteral("item")})
              << ::logvariant(7) << QStringLiteral("last") << 5;
    }
    QCOMPARE(line, text);
}

void TstLogTools::helpers_inALogLine()
{
    const LogCapture log;
    qCritical().noquote() << 5 << logtab << QStringLiteral("bad") << logtab << ::logvariant(someMap());
    qWarning().noquote().nospace() << "got" << logtab << logbinary("a\n", "UTF-8");
    QCOMPARE(log.texts(),
             QStringList({QStringLiteral("critical: 5 \tbad \t{\"a\":{\"c\":null},\"b\":[1,\"two\",true]}"),
                          QStringLiteral("warning: got\ta\\x0a")}));
}

QTEST_GUILESS_MAIN(TstLogTools)
#include "tst_logtools.moc"
