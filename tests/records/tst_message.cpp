#include "records/message.h"

#include "heldclock.h"
#include "literals.h"
#include "samples.h"

#include <QCryptographicHash>
#include <QLocale>
#include <QTest>

#include <cstdlib>
#include <type_traits>

using samples::someMessage;
using samples::someTime;
using tarvex::Message;

static_assert(std::has_virtual_destructor_v<Message>);

namespace {

/// A moment of the wall clock, and the random part that the bus's other clients put into an identifier at that moment.
/// The random part is a third of a sum in 32 bits with sign. The sum is made of the first three numbers that the C
/// library's generator draws when the second of the clock is its seed.
struct Moment
{
    qint64 clockMs;
    const char* randomPart;
};

/// The first sum is below 2^31. The second is above it, so it is negative, and its division leaves a rest. The third is
/// above 2^32, so it is positive again.
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

} // namespace

/// What this record has of its own. tst_records tests what it shares with the other records.
class TstMessage : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void construct_withoutArguments_isNowAndEmpty();
    void getters_returnTheirField();
    void compare_sameMomentInAnotherZone_isEqual();
    void genUid_isMadeOfTheIngredients_data();
    void genUid_isMadeOfTheIngredients();
    void genUid_ofAnEmptyMessage();
    void genUid_reseedsTheGenerator();
    void msgKey_data();
    void msgKey();
    void msgKey_ofLongFields_isNotFilledIn();
};

void TstMessage::cleanup()
{
    QLocale::setDefault(QLocale::c());
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

void TstMessage::getters_returnTheirField()
{
    const Message message = someMessage();
    QCOMPARE(message.sender(), u"cashbox"_s);
    QCOMPARE(message.reciever(), u"printer"_s);
    QCOMPARE(message.dt(), someTime());
    QCOMPARE(message.message(), u"text"_s);
    QCOMPARE(message.uid(), u"u1"_s);
}

void TstMessage::compare_sameMomentInAnotherZone_isEqual()
{
    Message utc = someMessage();
    utc.setDt(someTime().toUTC());
    QVERIFY(utc == someMessage());
}

void TstMessage::genUid_isMadeOfTheIngredients_data()
{
    QTest::addColumn<QDateTime>("dt");
    QTest::addColumn<QString>("isoTime");
    QTest::addColumn<QString>("text");
    const QDate date(2024, 3, 5);
    const QTime time(7, 8, 9, 999);
    const QString iso = u"2024-03-05T07:08:09"_s;
    const QString text = u"text"_s;
    QTest::newRow("local") << QDateTime(date, time) << iso << text;
    QTest::newRow("UTC") << QDateTime(date, time, Qt::UTC) << iso + u"Z"_s << text;
    QTest::newRow("east") << QDateTime(date, time, Qt::OffsetFromUTC, 3 * 3600 + 1800) << iso + u"+03:30"_s << text;
    QTest::newRow("west") << QDateTime(date, time, Qt::OffsetFromUTC, -5 * 3600) << iso + u"-05:00"_s << text;
    QTest::newRow("year 9") << QDateTime(QDate(9, 3, 5), time) << u"0009-03-05T07:08:09"_s << text;
    QTest::newRow("year 10000") << QDateTime(QDate(10000, 3, 5), time) << QString() << text;
    QTest::newRow("no date") << QDateTime() << QString() << text;
    QTest::newRow("beyond Latin-1") << QDateTime(date, time) << iso << u"\u0416\u20ac"_s;
    QTest::newRow("placeholder") << QDateTime(date, time) << iso << u"%1%2"_s;
}

// The clock is held, so both calls come within one millisecond. The message's uid is no ingredient.
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
        QCOMPARE(message.genUid(), expectedUid(message, isoTime, moment));
    }
    QCOMPARE(message.uid(), u"u1"_s);
}

void TstMessage::genUid_ofAnEmptyMessage()
{
    const HeldMoment clock(PLAIN_SUM);
    const Message message = Message::fromVariantMap({});
    const QString uid = message.genUid();
    QCOMPARE(uid, expectedUid(message, QString(), PLAIN_SUM));
    QCOMPARE(uid.size(), 24);
}

// Whatever seed the generator had before, its next number is the fourth one of the current second.
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
    // The lowest number that is left is replaced, so the uid is put in for a "%1" in the reciever.
    row("reciever holds %1", "s", "r%1", "u", "s.ru.%3");
    row("uid holds %1", "s", "r", "%1", "s.r.%1");
}

void TstMessage::msgKey()
{
    QFETCH(QString, sender);
    QFETCH(QString, reciever);
    QFETCH(QString, uid);
    QFETCH(QString, key);
    Message message = someMessage(reciever, u"text that is no part of it"_s, uid);
    message.setSender(sender);
    QCOMPARE(message.msgKey(), key);
}

// Filling multiplies the length: a compressed frame of some hundred bytes could take all memory.
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
