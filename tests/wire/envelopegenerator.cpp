#include "envelopegenerator.h"

#include "literals.h"

#include <QBitArray>
#include <QCborArray>
#include <QCborMap>
#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QMultiMap>
#include <QPoint>
#include <QRegularExpression>
#include <QSize>
#include <QStringList>
#include <QTimeZone>
#include <QUrl>
#include <QUuid>

#include <array>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

/// The largest whole number up to which each whole number is a double.
constexpr qint64 EXACT = Q_INT64_C(1) << 53;

template <typename T>
QVariant lowest()
{
    return QVariant::fromValue(std::numeric_limits<T>::lowest());
}

template <typename T>
QVariant largest()
{
    return QVariant::fromValue(std::numeric_limits<T>::max());
}

QVariantList integers()
{
    QVariantList all{0,
                     1,
                     -1,
                     lowest<int>(),
                     largest<int>(),
                     0U,
                     largest<uint>(),
                     lowest<qlonglong>(),
                     lowest<qlonglong>().toLongLong() + 1,
                     largest<qlonglong>(),
                     largest<qlonglong>().toLongLong() - 1};
    for (const qint64 exact : {EXACT, -EXACT, 4 * EXACT}) {
        for (qint64 more = -2; more <= 2; ++more) {
            all.append(QVariant(static_cast<qlonglong>(exact + more)));
        }
    }
    return all;
}

QVariantList reals()
{
    using Limits = std::numeric_limits<double>;
    QVariantList all{0.0,
                     -0.0,
                     0.1,
                     -0.1,
                     1.5,
                     1.0 / 3.0,
                     0.1 + 0.2,
                     100.0,
                     1e-4,
                     1e-5,
                     1.5e-7,
                     123456.789,
                     1234567.125,
                     12345678901.5,
                     4294967296.0,
                     9223372036854775807.0,
                     9223372036854774784.0,
                     -9223372036854775808.0,
                     18446744073709551615.0,
                     1e300,
                     -1e300,
                     Limits::max(),
                     Limits::lowest(),
                     Limits::min(),
                     Limits::denorm_min(),
                     Limits::epsilon(),
                     Limits::infinity(),
                     -Limits::infinity(),
                     Limits::quiet_NaN()};
    for (int exponent = 14; exponent <= 23; ++exponent) {
        const double power = std::pow(10.0, exponent);
        all.append(QVariantList{power, -power, power + 1, power * 1.5, power + 0.5});
    }
    for (const auto exact : {static_cast<double>(EXACT), -static_cast<double>(EXACT)}) {
        all.append(QVariantList{exact - 1, exact, exact + 1, exact + 2, exact / 2 + 0.5, exact / 4 + 0.25});
    }
    return all;
}

QVariantList smallNumbers()
{
    return {lowest<short>(),
            largest<ushort>(),
            lowest<signed char>(),
            largest<uchar>(),
            QVariant::fromValue('c'),
            QVariant::fromValue('\0'),
            lowest<long>(),
            largest<ulong>(),
            largest<qulonglong>(),
            QVariant(static_cast<qulonglong>(EXACT + 1)),
            QVariant(7ULL),
            QVariant::fromValue(1.1F),
            QVariant::fromValue(3.0F),
            QVariant::fromValue(std::numeric_limits<float>::infinity()),
            QVariant::fromValue(Qt::Friday)};
}

QVariantList characters()
{
    return {QChar(u'c'),      QChar(u'"'),   QChar(u'\0'),  QChar(u'\u00e9'),
            QChar(u'\u20ac'), QChar(0xd800), QChar(0xdc00), QVariant(QVariant::Char)};
}

QVariantList nulls()
{
    return {QVariant(),
            QVariant::fromValue(nullptr),
            QVariant(QVariant::Int),
            QVariant(QVariant::LongLong),
            QVariant(QVariant::Double),
            QVariant(QVariant::Bool),
            QVariant(QVariant::String),
            QVariant(QVariant::Map),
            QVariant(QVariant::List),
            QVariant(QVariant::StringList),
            QVariant(QVariant::Date),
            QVariant(QVariant::ByteArray)};
}

QVariantList times()
{
    const QDate date(2024, 2, 29);
    const QTime time(23, 59, 58, 7);
    return {date,
            time,
            QDate(),
            QTime(),
            QDateTime(),
            QDate(-5, 1, 1),
            QDate(12345, 12, 31),
            QDateTime(date, time, Qt::UTC),
            QDateTime(date, time),
            QDateTime(date, QTime(1, 2), Qt::OffsetFromUTC, -5400),
            QDateTime(date, time, QTimeZone("Asia/Kathmandu"))};
}

QVariantList bytesAndNames()
{
    return {QByteArray("bytes"),
            QByteArray("\0\xff\xc3\xa9\"", 5),
            QByteArray(),
            QByteArray(""),
            QUrl(u"http://127.0.0.1/a b?c=\u00e9#\"d\""_s),
            QUrl(),
            QUrl(u"a\\b"_s),
            QUuid(u"{6ba7b810-9dad-11d1-80b4-00c04fd430c8}"_s),
            QUuid(),
            QLocale(QLocale::German, QLocale::Austria),
            QRegularExpression(u"a\"b"_s),
            QSize(1, 2),
            QPoint(3, 4),
            QBitArray(3, true)};
}

QVariantList containers()
{
    return {QStringList(),
            QStringList{u"a"_s, QString(), u"\"\n\u20ac"_s, u"b"_s + QChar(0xd83c)},
            QVariantHash(),
            QVariantHash{{u"b"_s, 1}, {u"a"_s, QVariantList{2, u"3"_s}}, {u"\""_s, QVariantHash{{QString(), 4}}}},
            QVariant::fromValue(QList<int>{1, 2}),
            QVariant::fromValue(QByteArrayList{"a", "b"}),
            QVariant::fromValue(QVector<double>{1.5}),
            QVariant::fromValue(QMap<QString, QString>{{u"a"_s, u"b"_s}}),
            QVariant::fromValue(qMakePair(QVariant(1), QVariant(2)))};
}

QVariantList jsonValues()
{
    const QJsonObject object{{u"b"_s, 1.5}, {u"a"_s, QJsonArray{QJsonValue(), true, u"\"x"_s}}, {QString(), -0.0}};
    const QJsonArray array{1, 2.25, QJsonObject{}, QJsonArray{}, 1e17};
    return {object,
            array,
            QJsonObject(),
            QJsonArray(),
            QJsonDocument(object),
            QJsonDocument(array),
            QJsonDocument(),
            QJsonValue(object),
            QJsonValue(array),
            QJsonValue(u"text"_s),
            QJsonValue(1.5),
            QJsonValue(true),
            QJsonValue(QJsonValue::Null),
            QJsonValue(QJsonValue::Undefined),
            QVariant::fromValue(QCborValue(5)),
            QVariant::fromValue(QCborValue(QByteArray("bytes"))),
            QVariant::fromValue(QCborMap{{u"a"_s, 1}, {2, u"b"_s}}),
            QVariant::fromValue(QCborArray{1, u"a"_s})};
}

QVariantList ownTypes()
{
    static const bool isRegistered =
        QMetaType::registerConverter<Worded, QString>([](const Worded& worded) { return worded.words; });
    Q_UNUSED(isRegistered)
    return {QVariant::fromValue(Plain{1}), QVariant::fromValue(Worded{u"words \u20ac"_s}),
            QVariant::fromValue(Worded{})};
}

/// What strings are made of.
const std::array<QString, 30>& pieces()
{
    static const std::array<QString, 30> all = {
        u"a"_s,          u"Z9 _-"_s,      u"printer"_s,      u"\""_s,          u"\\"_s,        u"/"_s,
        u"\b\f\n\r\t"_s, u"\u0001"_s,     u"\u001f"_s,       u"\u007f"_s,      u"\u0080"_s,    u"\u00e9"_s,
        u"\u00ff"_s,     u"\u0100"_s,     u"\u07ff"_s,       u"\u0800"_s,      u"\u20ac"_s,    u"\u2028"_s,
        u"\ufeff"_s,     u"\ufffd"_s,     u"\uffff"_s,       u"\ud7ff"_s,      u"\ue000"_s,    u"\U00010000"_s,
        u"\U0001f3ab"_s, u"\U0010ffff"_s, QString(QChar(0)), u"{\"a\":[1]}"_s, u"</script>"_s, u"\u0000a"_s};
    return all;
}

} // namespace

EnvelopeGenerator::EnvelopeGenerator(quint32 seed)
    : m_engine(seed)
    , m_integers(integers())
    , m_reals(reals())
    , m_unusual(smallNumbers() + characters() + nulls() + times() + bytesAndNames() + containers() + jsonValues()
                + ownTypes())
{
}

QVariantMap EnvelopeGenerator::envelope()
{
    m_left = 1 + below(30);
    m_hasUnusual = oneIn(2);
    QVariantMap envelope = map(1);
    if (oneIn(200)) {
        envelope.insert(string(), deep());
    }
    return envelope;
}

int EnvelopeGenerator::below(int bound)
{
    return static_cast<int>(m_engine() % static_cast<quint64>(bound));
}

QVariant EnvelopeGenerator::value(int depth)
{
    --m_left;
    return m_left > 0 && depth < 12 && oneIn(4) ? container(depth) : scalar();
}

QVariant EnvelopeGenerator::container(int depth)
{
    return oneIn(2) ? QVariant(map(depth + 1)) : QVariant(list(depth + 1));
}

QVariant EnvelopeGenerator::scalar()
{
    if (!m_hasUnusual || !oneIn(6)) {
        return usual();
    }
    if (oneIn(20)) {
        return repeatedKey();
    }
    return oneIn(8) ? QVariant(string() + QChar(0xd800 + below(0x800))) : oneOf(m_unusual);
}

QVariant EnvelopeGenerator::usual()
{
    switch (below(8)) {
    case 0:
    case 1:
    case 2:
        return string();
    case 3:
    case 4:
        return integer();
    case 5:
        return real();
    case 6:
        return oneIn(2);
    default:
        return oneIn(2) ? QVariant() : QVariant(QStringList{string(), string()});
    }
}

QVariant EnvelopeGenerator::integer()
{
    const auto number = static_cast<qint64>(m_engine());
    switch (below(5)) {
    case 0:
        return oneOf(m_integers);
    case 1:
        return static_cast<int>(number);
    case 2:
        return static_cast<uint>(number);
    case 3:
        return static_cast<qlonglong>(number >> below(64));
    default:
        return below(1000);
    }
}

QVariant EnvelopeGenerator::real()
{
    const quint64 bits = m_engine();
    double number = 0;
    switch (below(4)) {
    case 0:
        return oneOf(m_reals);
    case 1:
        std::memcpy(&number, &bits, sizeof number);
        return number;
    case 2:
        return std::ldexp(static_cast<double>(bits >> 11), below(100) - 90);
    default:
        return below(1000000) / 100.0;
    }
}

QString EnvelopeGenerator::string()
{
    QString text;
    for (int left = below(5); left > 0; --left) {
        text += oneIn(2) ? pieces()[0].repeated(below(20)) : pieces()[static_cast<std::size_t>(below(30))];
    }
    return oneIn(300) ? text.repeated(200) : text;
}

/// Nested around the depths at which Qt's parser, or a faster way, gives up.
QVariant EnvelopeGenerator::deep()
{
    static constexpr std::array<int, 4> DEPTHS = {250, 510, 1018, 2000};
    QVariant value = oneIn(2) ? usual() : QVariant(QVariantList());
    for (int left = DEPTHS[static_cast<std::size_t>(below(4))] + below(12); left > 0; --left) {
        value = oneIn(2) ? QVariant(QVariantList{value}) : QVariant(QVariantMap{{pieces()[0], value}});
    }
    return value;
}

QVariantMap EnvelopeGenerator::map(int depth)
{
    QVariantMap map;
    for (int left = below(7); left > 0; --left) {
        const bool isPlain = !m_hasUnusual || !oneIn(30);
        map.insert(isPlain ? string() : QString(QChar(0xdc00)) + string(), value(depth));
    }
    return map;
}

/// A map of a service may have been a QMultiMap.
QVariantMap EnvelopeGenerator::repeatedKey()
{
    QMultiMap<QString, QVariant> map;
    const QString key = string();
    map.insert(key, usual());
    map.insert(key, usual());
    map.insert(string(), usual());
    return map;
}

QVariantList EnvelopeGenerator::list(int depth)
{
    QVariantList list;
    for (int left = below(6); left > 0; --left) {
        list.append(value(depth));
    }
    return list;
}
