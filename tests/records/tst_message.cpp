#include "records/message.h"

#include "heldclock.h"
#include "literals.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QSet>
#include <QTest>
#include <QTimeZone>

#include <cstdlib>
#include <ctime>
#include <functional>
#include <type_traits>

using tarvex::Message;

static_assert(std::is_nothrow_move_constructible_v<Message>);
static_assert(std::is_nothrow_move_assignable_v<Message>);
static_assert(std::is_copy_constructible_v<Message> && std::is_copy_assignable_v<Message>);
static_assert(std::has_virtual_destructor_v<Message>);

namespace {

using Change = std::function<void(Message&)>;

QDateTime someTime()
{
    return QDateTime(QDate(2024, 3, 5), QTime(7, 8, 9, 10));
}

Message someMessage()
{
    Message message;
    message.setSender(u"cashbox"_s);
    message.setReciever(u"terminal_gui"_s);
    message.setDt(someTime());
    message.setMessage(u"{\"cmd\":\"open\"}"_s);
    message.setUid(u"u-1"_s);
    return message;
}

/// A moment of the wall clock, and the random part that the bus's other clients put into an identifier then: a third of
/// the sum, in 32 bits with sign, of what the C library's generator draws first with the second for a seed.
struct Moment
{
    qint64 clockMs;
    const char* randomPart;
};

/// What the sum does: it stays below 2^31; goes beyond and comes out negative, with a rest when it is divided; goes
/// beyond 2^32 and comes out positive again.
constexpr Moment PLAIN_SUM = {1700000004123, "544011776"};
constexpr Moment NEGATIVE_SUM = {1700000003123, "-231766546"};
constexpr Moment WRAPPED_SUM = {1700000023123, "474430852"};

/// Holds the wall clock.
class HeldMoment : public HeldClock
{
public:
    explicit HeldMoment(const Moment& moment) { setWallClock(QDateTime::fromMSecsSinceEpoch(moment.clockMs)); }
};

/// The identifier as the bus's other clients make it.
QString expectedUid(const Message& message, const QString& isoTime, const Moment& moment)
{
    const QString text = u"MESSAGE"_s + message.sender() + message.reciever() + isoTime + message.message()
        + QString::number(moment.clockMs) + QLatin1String(moment.randomPart);
    return QString::fromLatin1(QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Md5).toBase64());
}

/// The identifiers of all messages, made within one millisecond.
QStringList uidsOfOneMillisecond(const QList<Message>& messages)
{
    const HeldMoment clock(PLAIN_SUM);
    QStringList uids;
    for (const Message& message : messages) {
        uids.append(message.genUid());
    }
    return uids;
}

/// What the process was given; null when nothing.
const QByteArray ZONE = qgetenv("TZ");

void setZone(const QByteArray& zone)
{
    if (zone.isNull()) {
        qunsetenv("TZ");
    } else {
        qputenv("TZ", zone);
    }
    tzset();
}

const QChar* messageDataOfCopy(Message copy)
{
    return copy.message().constData();
}

} // namespace

Q_DECLARE_METATYPE(Change)

class TstMessage : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void construct_withoutArguments_isNowAndEmpty();
    void setters_changeTheirFieldAlone_data();
    void setters_changeTheirFieldAlone();
    void toVariantMap_hasExactKeysAndValues();
    void toVariantMap_default_hasFiveTexts();
    void toVariantMap_asJson_listsCapitalsFirst();
    void toVariantMap_invalidDate_isEmptyText();
    void toVariantMap_dropsTheZone_data();
    void toVariantMap_dropsTheZone();
    void fromVariantMap_literalMap_fillsEveryField();
    void fromVariantMap_emptyMap_isEmptyWithInvalidDate();
    void fromVariantMap_lowerCaseUid_isIgnored();
    void fromVariantMap_valuesWithoutText_areEmpty();
    void fromVariantMap_numbersAsText();
    void fromVariantMap_date_data();
    void fromVariantMap_date();
    void roundTrip_localTime_isEqual();
    void roundTrip_textsOfAllKinds_data();
    void roundTrip_textsOfAllKinds();
    void dates_withOtherDefaultLocale_data();
    void dates_withOtherDefaultLocale();
    void dates_hourThatComesTwice_keepTheirText();
    void dates_hourThatIsSkipped_data();
    void dates_hourThatIsSkipped();
    void genUid_form();
    void genUid_isMadeOfTheIngredients_data();
    void genUid_isMadeOfTheIngredients();
    void genUid_ignoresUidField();
    void genUid_leavesMessageAsItWas();
    void genUid_withinOneMillisecond_isTheSame();
    void genUid_ofDifferentMessages_differs();
    void genUid_laterMillisecond_differs();
    void genUid_reseedsTheGenerator();
    void msgKey_ofLongFields_isNotFilledIn();
    void msgKey_data();
    void msgKey();
    void msgKey_ignoresDateAndText();
    void compare_singleField_data();
    void compare_singleField();
    void compare_sameMomentInAnotherZone_isEqual();
    void copy_sharesTexts();
    void move_keepsValues();
};

void TstMessage::cleanup()
{
    QLocale::setDefault(QLocale::c());
    setZone(ZONE);
}

void TstMessage::construct_withoutArguments_isNowAndEmpty()
{
    const QDateTime before = QDateTime::currentDateTime();
    const Message message;
    const QDateTime after = QDateTime::currentDateTime();
    QVERIFY(message.dt().isValid());
    QVERIFY(before <= message.dt() && message.dt() <= after);
    QCOMPARE(message.dt().timeSpec(), Qt::LocalTime);
    QVERIFY(message.sender().isNull());
    QVERIFY(message.reciever().isNull());
    QVERIFY(message.message().isNull());
    QVERIFY(message.uid().isNull());
}

void TstMessage::setters_changeTheirFieldAlone_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value");
    const QString text = u"new"_s;
    QTest::newRow("sender") << Change([](Message& m) { m.setSender(u"new"_s); }) << u"sender"_s << text;
    QTest::newRow("reciever") << Change([](Message& m) { m.setReciever(u"new"_s); }) << u"reciever"_s << text;
    QTest::newRow("message") << Change([](Message& m) { m.setMessage(u"new"_s); }) << u"message"_s << text;
    QTest::newRow("uid") << Change([](Message& m) { m.setUid(u"new"_s); }) << u"UID"_s << text;
    QTest::newRow("dt") << Change([](Message& m) { m.setDt(QDateTime(QDate(1999, 12, 31), QTime(23, 59, 59, 999))); })
                        << u"date"_s << u"1999-12-31T23:59:59.999"_s;
}

void TstMessage::setters_changeTheirFieldAlone()
{
    QFETCH(Change, change);
    QFETCH(QString, key);
    QFETCH(QString, value);
    Message message = someMessage();
    QVariantMap expected = message.toVariantMap();
    QVERIFY(expected.contains(key));
    change(message);
    expected[key] = value;
    QCOMPARE(message.toVariantMap(), expected);
}

void TstMessage::toVariantMap_hasExactKeysAndValues()
{
    const QVariantMap expected{
        {u"date"_s, u"2024-03-05T07:08:09.010"_s},
        {u"message"_s, u"{\"cmd\":\"open\"}"_s},
        {u"reciever"_s, u"terminal_gui"_s},
        {u"sender"_s, u"cashbox"_s},
        {u"UID"_s, u"u-1"_s},
    };
    QCOMPARE(someMessage().toVariantMap(), expected);
}

void TstMessage::toVariantMap_default_hasFiveTexts()
{
    const QVariantMap map = Message().toVariantMap();
    QCOMPARE(map.keys(), QStringList({u"UID"_s, u"date"_s, u"message"_s, u"reciever"_s, u"sender"_s}));
    for (const QVariant& value : map) {
        QCOMPARE(value.type(), QVariant::String);
    }
    QCOMPARE(map.value(u"UID"_s).toString(), QString());
    QCOMPARE(map.value(u"date"_s).toString().size(), 23);
}

void TstMessage::toVariantMap_asJson_listsCapitalsFirst()
{
    const QByteArray json =
        QJsonDocument(QJsonObject::fromVariantMap(someMessage().toVariantMap())).toJson(QJsonDocument::Compact);
    QCOMPARE(
        json,
        QByteArray("{\"UID\":\"u-1\",\"date\":\"2024-03-05T07:08:09.010\",\"message\":\"{\\\"cmd\\\":\\\"open\\\"}\","
                   "\"reciever\":\"terminal_gui\",\"sender\":\"cashbox\"}"));
}

void TstMessage::toVariantMap_invalidDate_isEmptyText()
{
    Message message = someMessage();
    message.setDt(QDateTime());
    const QVariant date = message.toVariantMap().value(u"date"_s);
    QCOMPARE(date.type(), QVariant::String);
    QCOMPARE(date.toString(), QString());
}

void TstMessage::toVariantMap_dropsTheZone_data()
{
    QTest::addColumn<QDateTime>("dt");
    const QDate date(2024, 3, 5);
    const QTime time(7, 8, 9, 10);
    QTest::newRow("local") << QDateTime(date, time);
    QTest::newRow("UTC") << QDateTime(date, time, Qt::UTC);
    QTest::newRow("offset") << QDateTime(date, time, Qt::OffsetFromUTC, 3 * 3600);
    QTest::newRow("zone") << QDateTime(date, time, QTimeZone(-5 * 3600));
}

void TstMessage::toVariantMap_dropsTheZone()
{
    QFETCH(QDateTime, dt);
    Message message;
    message.setDt(dt);
    QCOMPARE(message.toVariantMap().value(u"date"_s).toString(), u"2024-03-05T07:08:09.010"_s);
}

void TstMessage::fromVariantMap_literalMap_fillsEveryField()
{
    const Message message = Message::fromVariantMap({
        {u"date"_s, u"2024-03-05T07:08:09.010"_s},
        {u"message"_s, u"text"_s},
        {u"reciever"_s, u"to"_s},
        {u"sender"_s, u"from"_s},
        {u"UID"_s, u"id"_s},
        {u"priority"_s, 3},
    });
    QCOMPARE(message.dt(), someTime());
    QCOMPARE(message.dt().timeSpec(), Qt::LocalTime);
    QCOMPARE(message.message(), u"text"_s);
    QCOMPARE(message.reciever(), u"to"_s);
    QCOMPARE(message.sender(), u"from"_s);
    QCOMPARE(message.uid(), u"id"_s);
}

void TstMessage::fromVariantMap_emptyMap_isEmptyWithInvalidDate()
{
    const Message message = Message::fromVariantMap({});
    QVERIFY(!message.dt().isValid());
    QVERIFY(message.sender().isEmpty());
    QVERIFY(message.reciever().isEmpty());
    QVERIFY(message.message().isEmpty());
    QVERIFY(message.uid().isEmpty());
    QCOMPARE(message.toVariantMap().value(u"date"_s).toString(), QString());
}

void TstMessage::fromVariantMap_lowerCaseUid_isIgnored()
{
    const Message message =
        Message::fromVariantMap({{u"uid"_s, u"id"_s}, {u"receiver"_s, u"to"_s}, {u"Sender"_s, u"from"_s}});
    QVERIFY(message.uid().isEmpty());
    QVERIFY(message.reciever().isEmpty());
    QVERIFY(message.sender().isEmpty());
}

void TstMessage::fromVariantMap_valuesWithoutText_areEmpty()
{
    const QVariantMap object{{u"a"_s, 1}};
    const Message message = Message::fromVariantMap({
        {u"date"_s, object},
        {u"message"_s, object},
        {u"reciever"_s, QVariantList{1, 2}},
        {u"sender"_s, QVariant()},
        {u"UID"_s, QVariant::fromValue(nullptr)},
    });
    QVERIFY(!message.dt().isValid());
    QVERIFY(message.message().isEmpty());
    QVERIFY(message.reciever().isEmpty());
    QVERIFY(message.sender().isEmpty());
    QVERIFY(message.uid().isEmpty());
}

void TstMessage::fromVariantMap_numbersAsText()
{
    const Message message = Message::fromVariantMap({{u"UID"_s, 17}, {u"message"_s, true}});
    QCOMPARE(message.uid(), u"17"_s);
    QCOMPARE(message.message(), u"true"_s);
}

void TstMessage::fromVariantMap_date_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QDateTime>("dt");
    const QDateTime none;
    const auto valid = [](const char* text, const QDateTime& dt) {
        QTest::newRow(text) << QString::fromLatin1(text) << dt;
    };
    const auto malformed = [&none](const char* text) { QTest::newRow(text) << QString::fromLatin1(text) << none; };
    valid("2024-03-05T07:08:09.010", someTime());
    valid("2024-02-29T00:00:00.000", QDateTime(QDate(2024, 2, 29), QTime(0, 0)));
    valid("1969-12-31T23:59:59.999", QDateTime(QDate(1969, 12, 31), QTime(23, 59, 59, 999)));
    valid("9999-12-31T23:59:59.999", QDateTime(QDate(9999, 12, 31), QTime(23, 59, 59, 999)));
    malformed("");
    malformed("2024-03-05T07:08:09");
    malformed("2024-03-05T07:08:09.");
    malformed("2024-03-05 07:08:09.010");
    malformed("2024-03-05T07:08:09.010Z");
    malformed("2024-03-05T07:08:09.010+03:00");
    malformed(" 2024-03-05T07:08:09.010");
    malformed("2024-03-05T07:08:09.010 ");
    malformed("2023-02-29T00:00:00.000");
    malformed("2024-13-01T00:00:00.000");
    malformed("2024-03-05T24:00:00.000");
    malformed("2024-03-05T07:60:09.010");
    malformed("24-03-05T07:08:09.010");
    malformed("05.03.2024 07:08:09.010");
    malformed("2024-03-05T07:08:09.1");
    malformed("2024-03-05T07:08:09.01");
    malformed("2024-03-05T07:08:09.0100");
    malformed("2024-3-5T7:8:9.010");
    malformed("2024-03-05t07:08:09.010");
    malformed("2024-03-05T07:08:09,010");
    malformed("-024-03-05T07:08:09.010");
    malformed("+2024-03-05T07:08:09.010");
    malformed("12024-03-05T07:08:09.010");
    malformed("2024-03-05T07:08:60.010");
    malformed("0000-03-05T07:08:09.010");
    malformed("2024-03-05T07:08:-9.010");
    malformed("2024-03-05T07:08: 9.010");
    malformed("2024-03-05T07:08:09. 10");
    malformed("yesterday");
}

void TstMessage::fromVariantMap_date()
{
    QFETCH(QString, text);
    QFETCH(QDateTime, dt);
    const Message message = Message::fromVariantMap({{u"date"_s, text}});
    QCOMPARE(message.dt().isValid(), dt.isValid());
    QCOMPARE(message.dt(), dt);
}

void TstMessage::roundTrip_localTime_isEqual()
{
    QCOMPARE(Message::fromVariantMap(someMessage().toVariantMap()), someMessage());
    Message current = someMessage();
    current.setDt(QDateTime::currentDateTime());
    QCOMPARE(Message::fromVariantMap(current.toVariantMap()), current);
}

void TstMessage::roundTrip_textsOfAllKinds_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("blank") << u" "_s;
    QTest::newRow("lines") << u"a\r\nb\tc"_s;
    QTest::newRow("beyond Latin-1") << QString::fromUtf8("\u0416\u20ac");
    QTest::newRow("beyond 16 bits") << QString::fromUcs4(U"\U0001F3AB", 1);
    QTest::newRow("zero") << QString(QChar(u'\0'));
    QTest::newRow("long") << QString(1000000, QLatin1Char('x'));
}

void TstMessage::roundTrip_textsOfAllKinds()
{
    QFETCH(QString, text);
    Message message = someMessage();
    message.setSender(text);
    message.setReciever(text);
    message.setMessage(text);
    message.setUid(text);
    const QByteArray json = QJsonDocument(QJsonObject::fromVariantMap(message.toVariantMap())).toJson();
    const Message read = Message::fromVariantMap(QJsonDocument::fromJson(json).object().toVariantMap());
    QVERIFY(read == message);
}

void TstMessage::dates_withOtherDefaultLocale_data()
{
    QTest::addColumn<QString>("locale");
    QTest::newRow("Egypt") << u"ar_EG"_s;
    QTest::newRow("Iran") << u"fa_IR"_s;
    QTest::newRow("Nepal") << u"ne_NP"_s;
    QTest::newRow("Germany") << u"de_DE"_s;
}

void TstMessage::dates_withOtherDefaultLocale()
{
    QFETCH(QString, locale);
    QLocale::setDefault(QLocale(locale));
    QCOMPARE(QLocale().name(), locale);
    QCOMPARE(someMessage().toVariantMap().value(u"date"_s).toString(), u"2024-03-05T07:08:09.010"_s);
    const QVariantMap map{{u"date"_s, u"2024-03-05T07:08:09.010"_s}};
    QCOMPARE(Message::fromVariantMap(map).dt(), someTime());
}

void TstMessage::dates_hourThatComesTwice_keepTheirText()
{
    setZone("Europe/Berlin");
    const QVariantMap map{{u"date"_s, u"2023-10-29T02:30:00.000"_s}};
    const Message message = Message::fromVariantMap(map);
    QVERIFY(message.dt().isValid());
    QCOMPARE(message.toVariantMap().value(u"date"_s), map.first());
    QCOMPARE(Message::fromVariantMap(message.toVariantMap()), message);
}

void TstMessage::dates_hourThatIsSkipped_data()
{
    QTest::addColumn<QString>("zone");
    QTest::addColumn<bool>("valid");
    QTest::newRow("skipped here") << u"Europe/Berlin"_s << false;
    QTest::newRow("not skipped here") << u"UTC"_s << true;
}

// There is no such local time, so there is no valid date-time for it either, and it must not turn into another hour.
void TstMessage::dates_hourThatIsSkipped()
{
    QFETCH(QString, zone);
    QFETCH(bool, valid);
    setZone(zone.toLatin1());
    const QVariantMap map{{u"date"_s, u"2023-03-26T02:30:00.000"_s}};
    const Message message = Message::fromVariantMap(map);
    QCOMPARE(message.dt().isValid(), valid);
    QCOMPARE(message.toVariantMap().value(u"date"_s).toString(), valid ? map.first().toString() : QString());
}

void TstMessage::genUid_form()
{
    for (const Message& message : {Message(), someMessage(), Message::fromVariantMap({})}) {
        const QString uid = message.genUid();
        QCOMPARE(uid.size(), 24);
        QVERIFY(uid.endsWith(QLatin1String("==")));
        QCOMPARE(QByteArray::fromBase64(uid.toLatin1()).size(), 16);
        QCOMPARE(QByteArray::fromBase64(uid.toLatin1()).toBase64(), uid.toLatin1());
    }
}

void TstMessage::genUid_isMadeOfTheIngredients_data()
{
    QTest::addColumn<QDateTime>("dt");
    QTest::addColumn<QString>("isoTime");
    QTest::addColumn<QString>("text");
    const QDate date(2024, 3, 5);
    const QTime time(7, 8, 9, 999);
    const QString text = u"text"_s;
    QTest::newRow("local") << QDateTime(date, time) << u"2024-03-05T07:08:09"_s << text;
    QTest::newRow("UTC") << QDateTime(date, time, Qt::UTC) << u"2024-03-05T07:08:09Z"_s << text;
    QTest::newRow("east") << QDateTime(date, time, Qt::OffsetFromUTC, 3 * 3600 + 1800) << u"2024-03-05T07:08:09+03:30"_s
                          << text;
    QTest::newRow("west") << QDateTime(date, time, Qt::OffsetFromUTC, -5 * 3600) << u"2024-03-05T07:08:09-05:00"_s
                          << text;
    QTest::newRow("no date") << QDateTime() << QString() << text;
    QTest::newRow("beyond Latin-1") << QDateTime(date, time) << u"2024-03-05T07:08:09"_s
                                    << QString::fromUtf8("\u0416\u20ac");
    QTest::newRow("placeholder") << QDateTime(date, time) << u"2024-03-05T07:08:09"_s << u"%1%2"_s;
}

void TstMessage::genUid_isMadeOfTheIngredients()
{
    QFETCH(QDateTime, dt);
    QFETCH(QString, isoTime);
    QFETCH(QString, text);
    QLocale::setDefault(QLocale(u"ar_EG"_s));
    Message message = someMessage();
    message.setDt(dt);
    message.setMessage(text);
    for (const Moment& moment : {PLAIN_SUM, NEGATIVE_SUM, WRAPPED_SUM}) {
        const HeldMoment clock(moment);
        QCOMPARE(message.genUid(), expectedUid(message, isoTime, moment));
    }
}

void TstMessage::genUid_ignoresUidField()
{
    Message named = someMessage();
    named.setUid(u"another"_s);
    const QStringList uids = uidsOfOneMillisecond({someMessage(), named});
    QCOMPARE(uids.first(), uids.last());
}

void TstMessage::genUid_leavesMessageAsItWas()
{
    const Message message = someMessage();
    QVERIFY(message.genUid() != message.uid());
    QCOMPARE(message, someMessage());
}

void TstMessage::genUid_withinOneMillisecond_isTheSame()
{
    const QStringList uids = uidsOfOneMillisecond({someMessage(), someMessage(), someMessage()});
    QCOMPARE(QSet<QString>(uids.cbegin(), uids.cend()).size(), 1);
}

void TstMessage::genUid_ofDifferentMessages_differs()
{
    QList<Message> messages{someMessage(), someMessage(), someMessage(), someMessage(), someMessage()};
    messages[1].setSender(u"printer"_s);
    messages[2].setReciever(u"printer"_s);
    messages[3].setMessage(u"printer"_s);
    messages[4].setDt(someTime().addSecs(1));
    const QStringList uids = uidsOfOneMillisecond(messages);
    QCOMPARE(QSet<QString>(uids.cbegin(), uids.cend()).size(), messages.size());
}

void TstMessage::genUid_laterMillisecond_differs()
{
    HeldMoment clock(PLAIN_SUM);
    const Message message = someMessage();
    const QString uid = message.genUid();
    clock.advance(1);
    QVERIFY(message.genUid() != uid);
}

// Whatever the generator was set to before, afterwards it stands behind the third draw of the current second.
void TstMessage::genUid_reseedsTheGenerator()
{
    std::srand(static_cast<unsigned int>(PLAIN_SUM.clockMs / 1000));
    for (int draw = 0; draw < 3; ++draw) {
        std::rand();
    }
    const int fourthDraw = std::rand();
    std::srand(1);
    const HeldMoment clock(PLAIN_SUM);
    someMessage().genUid();
    QCOMPARE(std::rand(), fourthDraw);
}

void TstMessage::msgKey_data()
{
    QTest::addColumn<QString>("sender");
    QTest::addColumn<QString>("reciever");
    QTest::addColumn<QString>("uid");
    QTest::addColumn<QString>("key");
    const auto row = [](const char* name, const char* sender, const char* reciever, const char* uid, const char* key) {
        QTest::newRow(name) << QString::fromUtf8(sender) << QString::fromUtf8(reciever) << QString::fromUtf8(uid)
                            << QString::fromUtf8(key);
    };
    row("plain", "from", "to", "id", "from.to.id");
    row("all empty", "", "", "", "..");
    row("no uid", "from", "to", "", "from.to.");
    row("points inside", "a.b", "c", "d.e", "a.b.c.d.e");
    row("sender holds %2", "a%2", "r", "u", "ar.r.u");
    row("sender holds %3", "a%3", "r", "u", "au.r.u");
    row("reciever holds %3", "s", "r%3", "u", "s.ru.u");
    // The lowest number that is left is replaced, so that a "%1" in the reciever takes the uid's place.
    row("reciever holds %1", "s", "r%1", "u", "s.ru.%3");
    row("uid holds %1", "s", "r", "%1", "s.r.%1");
}

void TstMessage::msgKey()
{
    QFETCH(QString, sender);
    QFETCH(QString, reciever);
    QFETCH(QString, uid);
    QFETCH(QString, key);
    Message message;
    message.setSender(sender);
    message.setReciever(reciever);
    message.setUid(uid);
    QCOMPARE(message.msgKey(), key);
}

void TstMessage::msgKey_ignoresDateAndText()
{
    Message later = someMessage();
    later.setDt(someTime().addMSecs(1));
    QVERIFY(later != someMessage());
    QCOMPARE(later.msgKey(), someMessage().msgKey());
    Message otherText = someMessage();
    otherText.setMessage(u"other"_s);
    QVERIFY(otherText != someMessage());
    QCOMPARE(otherText.msgKey(), someMessage().msgKey());
}

void TstMessage::compare_singleField_data()
{
    QTest::addColumn<Change>("change");
    QTest::newRow("sender") << Change([](Message& m) { m.setSender(u"x"_s); });
    QTest::newRow("reciever") << Change([](Message& m) { m.setReciever(u"x"_s); });
    QTest::newRow("dt") << Change([](Message& m) { m.setDt(m.dt().addMSecs(1)); });
    QTest::newRow("no dt") << Change([](Message& m) { m.setDt(QDateTime()); });
    QTest::newRow("message") << Change([](Message& m) { m.setMessage(u"x"_s); });
    QTest::newRow("uid") << Change([](Message& m) { m.setUid(u"x"_s); });
}

void TstMessage::compare_singleField()
{
    QFETCH(Change, change);
    Message changed = someMessage();
    QVERIFY(changed == someMessage());
    QVERIFY(!(changed != someMessage()));
    change(changed);
    QVERIFY(changed != someMessage());
    QVERIFY(!(changed == someMessage()));
}

void TstMessage::compare_sameMomentInAnotherZone_isEqual()
{
    Message utc = someMessage();
    utc.setDt(someTime().toUTC());
    QVERIFY(utc == someMessage());
}

void TstMessage::copy_sharesTexts()
{
    Message message = someMessage();
    const QChar* const data = message.message().constData();
    QCOMPARE(messageDataOfCopy(message), data);
    Message assigned;
    assigned = message;
    QCOMPARE(assigned.message().constData(), data);
    assigned.setMessage(u"changed"_s);
    QCOMPARE(message, someMessage());
    QCOMPARE(message.toVariantMap().value(u"message"_s).toString().constData(), data);
}

void TstMessage::move_keepsValues()
{
    Message message = someMessage();
    Message moved(std::move(message));
    QCOMPARE(moved, someMessage());
    Message assigned;
    assigned = std::move(moved);
    QCOMPARE(assigned, someMessage());
}

// What is filled in is multiplied: a compressed frame of some hundred bytes would take all memory there is.
void TstMessage::msgKey_ofLongFields_isNotFilledIn()
{
    Message message;
    message.setSender(u"%2"_s.repeated(64));
    message.setReciever(u"r"_s.repeated(128));
    QCOMPARE(message.msgKey(), u"r"_s.repeated(64 * 128) + QLatin1Char('.') + message.reciever() + QLatin1Char('.'));
    message.setUid(u"u"_s);
    QCOMPARE(message.msgKey(), message.sender() + QLatin1Char('.') + message.reciever() + u".u"_s);
    message.setSender(u"%2"_s.repeated(65536));
    message.setReciever(u"r"_s.repeated(65537));
    QCOMPARE(message.msgKey(), message.sender() + QLatin1Char('.') + message.reciever() + u".u"_s);
}

QTEST_GUILESS_MAIN(TstMessage)
#include "tst_message.moc"
