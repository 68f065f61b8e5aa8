// The dates of the records on the wire, compared with what Qt's own functions read and write.

#include "literals.h"
#include "localzone.h"
#include "records/message.h"

#include <QLocale>
#include <QRandomGenerator>
#include <QTest>
#include <QTimeZone>

#include <algorithm>
#include <initializer_list>
#include <limits>

using tarvex::Message;

namespace {

const QByteArray ZONE = qgetenv("TZ");
const QString DATE = u"date"_s;
const QString PATTERN = u"yyyy-MM-ddThh:mm:ss.zzz"_s;

QDateTime readByQt(const QString& text)
{
    return QLocale::c().toDateTime(text, PATTERN);
}

QDateTime readFromTheWire(const QString& text)
{
    return Message::fromVariantMap({{DATE, text}}).dt();
}

QString textOf(const QDate& date, int minute, int ms)
{
    return QLocale::c().toString(QDateTime(date, QTime(minute / 60, minute % 60), Qt::UTC).addMSecs(ms), PATTERN);
}

/// The clocks are changed so that they show another time, or so that the same time is called summer time or no longer.
bool areClocksChangedBefore(const QDate& date)
{
    const QDateTime noon(date, QTime(12, 0));
    const QDateTime before(date.addDays(-1), QTime(12, 0));
    return noon.offsetFromUtc() != before.offsetFromUtc() || noon.isDaylightTime() != before.isDaylightTime();
}

/// Every seventh minute of three days, in no order: how the C library takes a time that comes twice depends on the time
/// that it converted before.
QStringList textsAround(const QDate& date)
{
    QStringList texts;
    for (const QDate& day : {date.addDays(-1), date, date.addDays(1)}) {
        for (int minute = 0; minute < 24 * 60; minute += 7) {
            texts += textOf(day, minute, 30123);
        }
        texts += textOf(day, 0, 0);
        texts += textOf(day, 24 * 60 - 1, 59999);
    }
    std::shuffle(texts.begin(), texts.end(), QRandomGenerator(3)); // the same order at each run
    return texts;
}

/// The first and the last moment of a day.
QStringList edgesOf(const QDate& date)
{
    return {textOf(date, 0, 0), textOf(date, 24 * 60 - 1, 59999)};
}

/// \a text with other characters in one place, or two.
QStringList damaged(const QString& text)
{
    const QString others = u"0123456789 -+:.TtZ,/\u0660\u06f5\uff11\u2212\u00e9"_s + QChar(u'\0');
    QStringList texts;
    for (int place = 0; place < text.size(); ++place) {
        texts += text.left(place) + text.mid(place + 1);
        for (const QChar other : others) {
            texts += text.left(place) + other + text.mid(place + 1);
            texts += text.left(place) + other + text.mid(place);
            texts += text.left(place) + other + other + text.mid(place + 2);
        }
    }
    return texts;
}

} // namespace

class TstWireDate : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void usualText_inEveryZone_isReadAsByQt_data();
    void usualText_inEveryZone_isReadAsByQt();
    void textNearAChangeOfTheClocks_isReadAsByQt_data();
    void textNearAChangeOfTheClocks_isReadAsByQt();
    void textOfAnyNumbers_isReadAsByQt();
    void unusualText_isReadAsByQt_data();
    void unusualText_isReadAsByQt();
    void dateTime_isWrittenAsByQt_data();
    void dateTime_isWrittenAsByQt();

private:
    static void compareReading(const QStringList& texts);
    static void addZones();
};

void TstWireDate::cleanup()
{
    localzone::set(ZONE);
    QLocale::setDefault(QLocale::c());
}

void TstWireDate::compareReading(const QStringList& texts)
{
    for (const QString& text : texts) {
        const QDateTime read = readFromTheWire(text);
        QVERIFY2(localzone::isIdentical(read, readByQt(text)), qPrintable(text));
    }
}

void TstWireDate::addZones()
{
    QTest::addColumn<QByteArray>("zone");
    for (const char* const zone : localzone::ALL) {
        QTest::addRow("\"%s\"", zone) << QByteArray(zone);
    }
}

void TstWireDate::usualText_inEveryZone_isReadAsByQt_data()
{
    addZones();
}

void TstWireDate::usualText_inEveryZone_isReadAsByQt()
{
    QFETCH(QByteArray, zone);
    localzone::set(zone);
    QRandomGenerator random(1); // the same times at each run
    QStringList texts;
    for (QDate date(1965, 1, 1); date.year() < 2045; date = date.addDays(3)) {
        texts += textOf(date, random.bounded(24 * 60), random.bounded(60000));
    }
    for (const int year : {1, 2, 99, 100, 1582, 1899, 1900, 1901, 1969, 1970, 1971, 2036, 2037, 2038, 2039, 9999}) {
        texts += edgesOf(QDate(year, 1, 1));
        texts += edgesOf(QDate(year, 2, 28));
        texts += edgesOf(QDate(year, 12, 31));
    }
    compareReading(texts);
}

void TstWireDate::textNearAChangeOfTheClocks_isReadAsByQt_data()
{
    addZones();
}

void TstWireDate::textNearAChangeOfTheClocks_isReadAsByQt()
{
    QFETCH(QByteArray, zone);
    localzone::set(zone);
    for (QDate date(1970, 1, 2); date.year() < 2038; date = date.addDays(1)) {
        const bool isSampled = date.year() < 1975 || date.year() % 4 == 2 || date.year() == 2011;
        if (isSampled && areClocksChangedBefore(date)) {
            compareReading(textsAround(date));
        }
    }
    // Beyond these days Qt does not ask the C library.
    compareReading(textsAround(QDate(1970, 1, 1)));
    compareReading(textsAround(QDate(2038, 1, 1)));
    compareReading(textsAround(QDate(2038, 1, 19)));
}

// Numbers may be out of their range, and the day may be missing in its month.
void TstWireDate::textOfAnyNumbers_isReadAsByQt()
{
    localzone::set("Europe/Berlin");
    QRandomGenerator random(2);
    QStringList texts;
    const auto number = [&random](int below, int digits) {
        return QString::number(random.bounded(below)).rightJustified(digits, QLatin1Char('0'));
    };
    for (int count = 0; count < 20000; ++count) {
        const QString year = count % 4 == 0 ? number(10000, 4) : QString::number(1968 + random.bounded(73));
        texts += year + u'-' + number(14, 2) + u'-' + number(33, 2) + u'T' + number(25, 2) + u':' + number(61, 2) + u':'
            + number(61, 2) + u'.' + number(1000, 3);
    }
    compareReading(texts);
}

void TstWireDate::unusualText_isReadAsByQt_data()
{
    QTest::addColumn<QString>("locale");
    QTest::newRow("C") << u"C"_s;
    QTest::newRow("Egypt") << u"ar_EG"_s;
}

void TstWireDate::unusualText_isReadAsByQt()
{
    QFETCH(QString, locale);
    QLocale::setDefault(QLocale(locale));
    for (const QString& text :
         {u"2024-03-05T07:08:09.010"_s, u"1999-12-31T23:59:59.999"_s, u"0001-01-01T00:00:00.000"_s}) {
        compareReading(damaged(text));
        compareReading({text.left(19), text + u'Z', u' ' + text, text + u'\n', text + text, text.toLower()});
    }
    compareReading(
        {QString(), u""_s, u"T"_s, PATTERN, u"now"_s, QString(23, u' '), QString(23, u'0'), QString(23, u'9')});
}

void TstWireDate::dateTime_isWrittenAsByQt_data()
{
    QTest::addColumn<QDateTime>("dt");
    for (const int year : {-4713, -1, 1, 9, 99, 999, 1582, 1969, 1970, 2024, 2037, 2038, 9999, 10000, 123456}) {
        const QDate date(year, 2, 28);
        const QTime time(1, 2, 3, 4);
        QTest::addRow("%d, local", year) << QDateTime(date, time);
        QTest::addRow("%d, the day's end", year) << QDateTime(date, QTime(23, 59, 59, 999));
        QTest::addRow("%d, UTC", year) << QDateTime(date, time, Qt::UTC);
        QTest::addRow("%d, offset", year) << QDateTime(date, time, Qt::OffsetFromUTC, -12600);
        QTest::addRow("%d, zone", year) << QDateTime(date, time, QTimeZone("Australia/Lord_Howe"));
    }
    QTest::newRow("none") << QDateTime();
    QTest::newRow("no time") << QDateTime(QDate(2024, 3, 5), QTime());
    QTest::newRow("no day") << QDateTime(QDate(), QTime(7, 8));
    QTest::newRow("no such time") << QDateTime(QDate(2023, 3, 26), QTime(2, 30), QTimeZone("Europe/Berlin"));
    QTest::newRow("far in the past") << QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::min() / 2);
    QTest::newRow("far in the future") << QDateTime::fromMSecsSinceEpoch(std::numeric_limits<qint64>::max() / 2);
}

void TstWireDate::dateTime_isWrittenAsByQt()
{
    QFETCH(QDateTime, dt);
    QLocale::setDefault(QLocale(u"ar_EG"_s));
    Message message;
    message.setDt(dt);
    const QString written = message.toVariantMap().value(DATE).toString();
    QCOMPARE(written, QLocale::c().toString(dt, PATTERN));
    QCOMPARE(written.isNull(), QLocale::c().toString(dt, PATTERN).isNull());
}

QTEST_GUILESS_MAIN(TstWireDate)
#include "tst_wiredate.moc"
