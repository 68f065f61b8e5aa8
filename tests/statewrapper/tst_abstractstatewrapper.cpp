#include "statewrapper/abstractstatewrapper.h"

#include "literals.h"
#include "logcapture.h"
#include "markingtranslator.h"
#include "states.h"

#include <QDate>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <QUrl>
#include <QUuid>

#include <limits>
#include <type_traits>

static_assert(std::is_abstract_v<AbstractStateWrapper>, "only a service knows its record");

namespace {

/// A type that can be converted from and to a text.
struct Label
{
    QString text;

    bool operator!=(const Label& other) const { return text != other.text; }
};

} // namespace

Q_DECLARE_METATYPE(Label)

class DerivedState : public TwoState
{
    Q_OBJECT
    Q_PROPERTY(int c MEMBER m_c)
    Q_PROPERTY(int readOnly READ readOnly CONSTANT)
public:
    int readOnly() const { return 7; }

    int m_c = 3;
};

/// Declares properties again that its base classes have.
class RedeclaringState : public TwoState
{
    Q_OBJECT
    Q_PROPERTY(QString a MEMBER m_text)
    Q_PROPERTY(QString objectName MEMBER m_name)
public:
    QString m_text = u"own"_s;
    QString m_name = u"own name"_s;
};

/// One property of each kind.
class KindsState : public PlainState
{
    Q_OBJECT
    Q_PROPERTY(bool flag MEMBER m_flag)
    Q_PROPERTY(int number MEMBER m_number)
    Q_PROPERTY(int resettable READ resettable WRITE setResettable RESET reset)
    Q_PROPERTY(qlonglong large MEMBER m_large)
    Q_PROPERTY(double real MEMBER m_real)
    Q_PROPERTY(QString text MEMBER m_text)
    Q_PROPERTY(QByteArray bytes MEMBER m_bytes)
    Q_PROPERTY(QDateTime moment MEMBER m_moment)
    Q_PROPERTY(QDate day MEMBER m_day)
    Q_PROPERTY(QStringList texts MEMBER m_texts)
    Q_PROPERTY(QVariantList list MEMBER m_list)
    Q_PROPERTY(QVariantMap map MEMBER m_map)
    Q_PROPERTY(QList<int> numbers MEMBER m_numbers)
    Q_PROPERTY(QVariant any MEMBER m_any)
    Q_PROPERTY(QUuid uuid MEMBER m_uuid)
    Q_PROPERTY(QUrl url MEMBER m_url)
    Q_PROPERTY(Pair pair MEMBER m_pair)
    Q_PROPERTY(Label label MEMBER m_label)
public:
    int resettable() const { return m_resettable; }

    void setResettable(int value) { m_resettable = value; }

    void reset() { m_resettable = -1; }

    bool m_flag = false;
    int m_number = 1;
    int m_resettable = 0;
    qlonglong m_large = 1;
    double m_real = 0.5;
    QString m_text = u"text"_s;
    QByteArray m_bytes = "bytes";
    QDateTime m_moment{QDate(2024, 5, 1), QTime(1, 2, 3, 4)};
    QDate m_day{2024, 5, 1};
    QStringList m_texts{u"x"_s};
    QVariantList m_list{1};
    QVariantMap m_map{{u"k"_s, 1}};
    QList<int> m_numbers{1};
    QVariant m_any = 1;
    QUuid m_uuid{u"{67c8770b-44f1-410a-ab9a-f9b5446f13ee}"_s};
    QUrl m_url{u"http://127.0.0.1/a"_s};
    Pair m_pair{1, -1};
    Label m_label{u"label"_s};
};

class EnumState : public PlainState
{
    Q_OBJECT
    Q_PROPERTY(Cover cover MEMBER m_cover)
    Q_PROPERTY(Parts parts READ parts WRITE setParts)
public:
    enum Cover {
        Closed,
        Open = 4
    };
    Q_ENUM(Cover)

    enum Part {
        Head = 1,
        Cutter = 2
    };
    Q_DECLARE_FLAGS(Parts, Part)
    Q_FLAG(Parts)

    Parts parts() const { return m_parts; }

    void setParts(Parts parts) { m_parts = parts; }

    Cover m_cover = Open;
    Parts m_parts = Head;
};

/// Only this class uses the enumeration, so one test can see what its registration changes.
class LateEnumState : public PlainState
{
    Q_OBJECT
    Q_PROPERTY(Mode mode MEMBER m_mode)
public:
    enum class Mode {
        Idle,
        Busy
    };
    Q_ENUM(Mode)

    Mode m_mode = Mode::Busy;
};

/// The test sets its map and its bytes.
class OverridingState : public TwoState
{
    Q_OBJECT
public:
    QVariantMap toMap() const override { return m_map; }

    QByteArray toByteArray() const override { return m_useBytes ? m_bytes : TwoState::toByteArray(); }

    QVariantMap m_map{{u"own"_s, 1}};
    QByteArray m_bytes;
    bool m_useBytes = false;
};

/// How the values of a wrapper are set, read and written as JSON. tst_statelock tests how it is locked.
class TstAbstractStateWrapper : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();

    void setValue_declaredProperty_writesIt();
    void setValue_ofOtherName_isReportedAndChangesNothing_data();
    void setValue_ofOtherName_isReportedAndChangesNothing();
    void setValue_ofOtherName_isReportedTranslated();
    void setValue_redeclaredProperty_writesTheOwnOne();
    void setValue_convertsAsTheMetaPropertyDoes_data();
    void setValue_convertsAsTheMetaPropertyDoes();
    void setValue_enumerator_byNameNumberAndValue_data();
    void setValue_enumerator_byNameNumberAndValue();

    void value_findsEveryProperty_data();
    void value_findsEveryProperty();

    void toMap_hasTheOwnPropertiesOnly();
    void toByteArray_isCompactSortedJson();
    void toByteArray_writesEachKindAsJsonDoes_data();
    void toByteArray_writesEachKindAsJsonDoes();
    void toByteArray_enumerator_isANumberUntilItsTypeIsRegistered();
    void toString_isTheBytesAsUtf8();
    void toClientState_isTheDerivedClassesOwn();
};

void TstAbstractStateWrapper::initTestCase()
{
    qRegisterMetaType<Pair>();
    QMetaType::registerConverter<Label, QString>([](const Label& label) { return label.text; });
    QMetaType::registerConverter<QString, Label>([](const QString& text) { return Label{text}; });
    qRegisterMetaType<EnumState::Cover>();
    qRegisterMetaType<EnumState::Parts>();
}

void TstAbstractStateWrapper::setValue_declaredProperty_writesIt()
{
    const LogCapture log;
    DerivedState state;
    QCOMPARE(state.parent(), nullptr);
    state.setValue(u"c"_s, 4);
    state.setValue(u"a"_s, 5); // of the base class
    state.setValue(u"readOnly"_s, 8);
    QCOMPARE(state.m_c, 4);
    QCOMPARE(state.m_a, 5);
    QCOMPARE(state.m_b, u"x"_s);
    QCOMPARE(state.value(u"readOnly"_s), QVariant(7));
    QCOMPARE(log.texts(), QStringList());
}

void TstAbstractStateWrapper::setValue_ofOtherName_isReportedAndChangesNothing_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("unknown") << u"unknown"_s;
    QTest::newRow("empty") << QString();
    QTest::newRow("another case") << u"A"_s;
    QTest::newRow("a blank more") << u"a "_s;
    QTest::newRow("dynamic") << u"dynamic"_s;
    QTest::newRow("objectName") << u"objectName"_s;
    QTest::newRow("not Latin-1") << u"цена"_s;
    QTest::newRow("Latin-1 beyond ASCII") << u"größe"_s;
    QTest::newRow("a placeholder") << u"%1 %2"_s;
}

void TstAbstractStateWrapper::setValue_ofOtherName_isReportedAndChangesNothing()
{
    QFETCH(QString, name);
    DerivedState state;
    state.setObjectName(u"name"_s);
    state.setProperty("dynamic", 9);
    const QVariantMap before = state.toMap();
    const LogCapture log;

    state.setValue(name, 5);

    const QList<LogCapture::Line> lines = log.lines();
    QCOMPARE(lines.size(), 1);
    QCOMPARE(lines.first().type, QtWarningMsg);
    QCOMPARE(lines.first().category, u"default"_s);
    QCOMPARE(lines.first().text, u"There is no property "_s + name);
    QCOMPARE(state.toMap(), before);
    QCOMPARE(state.objectName(), u"name"_s);
    QCOMPARE(state.property("dynamic"), QVariant(9));
    QCOMPARE(state.dynamicPropertyNames(), QList<QByteArray>{"dynamic"});
}

void TstAbstractStateWrapper::setValue_ofOtherName_isReportedTranslated()
{
    TwoState state;
    const MarkingTranslator translator;
    const LogCapture log;
    state.setValue(u"unknown"_s, 5);
    const QString text = u"There is no property unknown"_s;
    QCOMPARE(log.texts(), QStringList(u"warning: "_s + MarkingTranslator::marked("AbstractStateWrapper", text)));
}

void TstAbstractStateWrapper::setValue_redeclaredProperty_writesTheOwnOne()
{
    RedeclaringState state;
    state.setValue(u"a"_s, u"new"_s);
    state.setValue(u"objectName"_s, u"new name"_s);
    QCOMPARE(state.m_text, u"new"_s);
    QCOMPARE(state.m_a, 1);
    QCOMPARE(state.m_name, u"new name"_s);
    QCOMPARE(state.objectName(), QString());
}

void TstAbstractStateWrapper::setValue_convertsAsTheMetaPropertyDoes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariant>("written");
    QTest::addColumn<QVariant>("expected");

    const QDateTime utc(QDate(2024, 5, 1), QTime(1, 2, 3, 456), Qt::UTC);
    const QDateTime before = KindsState().m_moment;
    const auto row = [](const char* tag, const char* name, const QVariant& written, const QVariant& expected) {
        QTest::newRow(tag) << QString::fromLatin1(name) << written << expected;
    };
    row("text of a number", "number", u"77"_s, 77);
    row("text of no number", "number", u"seven"_s, 1);
    row("real, rounded", "number", 3.7, 4);
    row("bool as number", "number", true, 1);
    row("map as number", "number", QVariantMap{{u"k"_s, 1}}, 1);
    row("invalid as number", "number", QVariant(), 0);
    row("invalid, with a reset", "resettable", QVariant(), -1);
    row("large number", "large", 9007199254740993LL, 9007199254740993LL);
    row("text false", "flag", u"false"_s, false);
    row("any other text", "flag", u"yes"_s, true);
    row("number as text", "text", 5, u"5"_s);
    row("map as text", "text", QVariantMap{{u"k"_s, 1}}, u"text"_s);
    row("invalid as text", "text", QVariant(), QString());
    row("text as bytes", "bytes", u"цена"_s, u"цена"_s.toUtf8());
    row("text as real", "real", u"1.25"_s, 1.25);
    row("comma in a real", "real", u"1,25"_s, 0.5);
    row("date-time, unchanged", "moment", utc, utc);
    row("date-time of a text", "moment", u"2024-05-01T01:02:03.456Z"_s, utc);
    row("date-time of no date", "moment", u"soon"_s, before);
    row("date-time of a date", "moment", QDate(2024, 5, 2), QDateTime(QDate(2024, 5, 2), QTime(0, 0)));
    row("invalid date-time", "moment", QVariant(), QDateTime());
    row("texts of a list", "texts", QVariantList{u"a"_s, 1}, QStringList{u"a"_s, u"1"_s});
    row("texts of a text", "texts", u"a"_s, QStringList{u"a"_s});
    row("list of texts", "list", QStringList{u"a"_s}, QVariantList{u"a"_s});
    row("list of a number", "list", 5, QVariantList{1});
    row("list of numbers, unchanged", "numbers", QVariant::fromValue(QList<int>{4, 5}),
        QVariant::fromValue(QList<int>{4, 5}));
    row("numbers of a list", "numbers", QVariantList{4, 5}, QVariant::fromValue(QList<int>{1}));
    row("map of a hash", "map", QVariantHash{{u"z"_s, 1}}, QVariantMap{{u"z"_s, 1}});
    row("anything", "any", QStringList{u"a"_s}, QStringList{u"a"_s});
    row("own type with converter, of a text", "label", u"new"_s, QVariant::fromValue(Label{u"new"_s}));
    row("own type with converter, of a number", "label", 5, QVariant::fromValue(Label{u"label"_s}));
    row("own type", "pair", QVariant::fromValue(Pair{2, -2}), QVariant::fromValue(Pair{2, -2}));
    row("own type, of a text", "pair", u"2"_s, QVariant::fromValue(Pair{1, -1}));
    row("own type, invalid", "pair", QVariant(), QVariant::fromValue(Pair{}));
}

void TstAbstractStateWrapper::setValue_convertsAsTheMetaPropertyDoes()
{
    QFETCH(QString, name);
    QFETCH(QVariant, written);
    QFETCH(QVariant, expected);
    const LogCapture log;
    KindsState state;

    state.setValue(name, written);

    const QVariant read = state.value(name);
    QCOMPARE(read.userType(), expected.userType());
    if (read.canConvert<Pair>()) {
        QVERIFY(!(read.value<Pair>() != expected.value<Pair>()));
    } else if (read.userType() == qMetaTypeId<Label>()) {
        QCOMPARE(read.value<Label>().text, expected.value<Label>().text);
    } else if (read.userType() == qMetaTypeId<QList<int>>()) {
        QCOMPARE(read.value<QList<int>>(), expected.value<QList<int>>());
    } else {
        QCOMPARE(read, expected);
    }
    if (read.type() == QVariant::DateTime) {
        QCOMPARE(read.toDateTime().timeSpec(), expected.toDateTime().timeSpec());
    }
    QCOMPARE(log.texts(), QStringList());
}

void TstAbstractStateWrapper::setValue_enumerator_byNameNumberAndValue_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariant>("written");
    QTest::addColumn<int>("expected");

    const QString cover = u"cover"_s;
    const QString parts = u"parts"_s;
    QTest::newRow("name") << cover << QVariant(u"Closed"_s) << int(EnumState::Closed);
    QTest::newRow("unknown name") << cover << QVariant(u"Ajar"_s) << int(EnumState::Open);
    QTest::newRow("number") << cover << QVariant(0) << int(EnumState::Closed);
    QTest::newRow("number of none") << cover << QVariant(3) << 3;
    QTest::newRow("value") << cover << QVariant::fromValue(EnumState::Closed) << int(EnumState::Closed);
    QTest::newRow("names of flags") << parts << QVariant(u"Head|Cutter"_s) << 3;
    QTest::newRow("number of flags") << parts << QVariant(2) << 2;
    QTest::newRow("flags") << parts << QVariant::fromValue(EnumState::Parts(EnumState::Cutter)) << 2;
}

void TstAbstractStateWrapper::setValue_enumerator_byNameNumberAndValue()
{
    QFETCH(QString, name);
    QFETCH(QVariant, written);
    QFETCH(int, expected);
    EnumState state;
    state.setValue(name, written);
    const int now = name == QLatin1String("cover") ? int(state.m_cover) : int(state.m_parts);
    QCOMPARE(now, expected);
}

void TstAbstractStateWrapper::value_findsEveryProperty_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("declared") << u"c"_s << QVariant(3);
    QTest::newRow("of the base class") << u"b"_s << QVariant(u"x"_s);
    QTest::newRow("objectName") << u"objectName"_s << QVariant(u"name"_s);
    QTest::newRow("dynamic") << u"dynamic"_s << QVariant(9);
    QTest::newRow("Latin-1 beyond ASCII") << u"größe"_s << QVariant(10);
    QTest::newRow("unknown") << u"unknown"_s << QVariant();
    QTest::newRow("empty") << QString() << QVariant();
    QTest::newRow("not Latin-1") << u"цена"_s << QVariant();
}

void TstAbstractStateWrapper::value_findsEveryProperty()
{
    QFETCH(QString, name);
    QFETCH(QVariant, value);
    DerivedState state;
    state.setObjectName(u"name"_s);
    state.setProperty("dynamic", 9);
    state.setProperty(u"größe"_s.toLatin1().constData(), 10);
    const LogCapture log;
    const QVariant read = state.value(name);
    QCOMPARE(read.isValid(), value.isValid());
    QCOMPARE(read, value);
    QCOMPARE(log.texts(), QStringList());
}

void TstAbstractStateWrapper::toMap_hasTheOwnPropertiesOnly()
{
    DerivedState state;
    state.setObjectName(u"name"_s);
    state.setProperty("dynamic", 9);
    QCOMPARE(state.toMap(), (QVariantMap{{u"c"_s, 3}, {u"readOnly"_s, 7}}));
    QCOMPARE(TwoState().toMap(), (QVariantMap{{u"a"_s, 1}, {u"b"_s, u"x"_s}}));
    QCOMPARE(PlainState().toMap(), QVariantMap());
    QCOMPARE(RedeclaringState().toMap(), (QVariantMap{{u"a"_s, u"own"_s}, {u"objectName"_s, u"own name"_s}}));
}

void TstAbstractStateWrapper::toByteArray_isCompactSortedJson()
{
    QCOMPARE(TwoState().toByteArray(), QByteArray(R"({"a":1,"b":"x"})"));
    QCOMPARE(PlainState().toByteArray(), QByteArray("{}"));
    QCOMPARE(OverridingState().toByteArray(), QByteArray(R"({"own":1})")); // of the overridden map
}

void TstAbstractStateWrapper::toByteArray_writesEachKindAsJsonDoes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("json");

    const QDateTime local(QDate(2024, 5, 1), QTime(1, 2, 3, 456));
    const auto row = [](const char* tag, const char* name, const QVariant& value, const char* json) {
        QTest::newRow(tag) << QString::fromLatin1(name) << value << QByteArray(json);
    };
    row("bool", "flag", true, "true");
    row("number", "number", -5, "-5");
    row("real", "real", 36.5, "36.5");
    row("not a number", "real", std::numeric_limits<double>::quiet_NaN(), "null");
    row("infinite", "real", std::numeric_limits<double>::infinity(), "null");
    row("beyond 2^53", "large", 9007199254740993LL, "9007199254740992");
    row("text", "text", u"a \"b\"\n\u20ac"_s, "\"a \\\"b\\\"\\n\xe2\x82\xac\"");
    row("null text", "text", QString(), "\"\"");
    row("bytes", "bytes", QByteArray("raw"), "\"raw\"");
    row("local date-time", "moment", local, "\"2024-05-01T01:02:03.456\"");
    row("UTC date-time", "moment", QDateTime(local.date(), local.time(), Qt::UTC), "\"2024-05-01T01:02:03.456Z\"");
    row("date-time with offset", "moment", QDateTime(local.date(), local.time(), Qt::OffsetFromUTC, 7200),
        "\"2024-05-01T01:02:03.456+02:00\"");
    row("invalid date-time", "moment", QDateTime(), "\"\"");
    row("date", "day", QDate(2024, 5, 1), "\"2024-05-01\"");
    row("invalid date", "day", QDate(), "null");
    row("texts", "texts", QStringList{u"b"_s, u"a"_s}, "[\"b\",\"a\"]");
    row("list", "list", QVariantList{1, u"two"_s, QVariantList{true}}, "[1,\"two\",[true]]");
    row("map", "map", QVariantMap{{u"z"_s, 1}, {u"y"_s, local}}, "{\"y\":\"2024-05-01T01:02:03.456\",\"z\":1}");
    row("list of a C++ type", "numbers", QVariant::fromValue(QList<int>{4, 5}), "null");
    row("invalid", "any", QVariant(), "null");
    row("variant", "any", QVariantMap{{u"k"_s, 1}}, "{\"k\":1}");
    row("identifier", "uuid", QUuid(u"{67c8770b-44f1-410a-ab9a-f9b5446f13ee}"_s),
        "\"67c8770b-44f1-410a-ab9a-f9b5446f13ee\"");
    row("address", "url", QUrl(u"http://127.0.0.1/a b"_s), "\"http://127.0.0.1/a%20b\"");
    row("own type", "pair", QVariant::fromValue(Pair{1, -1}), "null");
    row("own type with converter", "label", QVariant::fromValue(Label{u"new"_s}), "\"new\"");
    row("own type, converted to nothing", "label", QVariant::fromValue(Label{}), "null");
}

void TstAbstractStateWrapper::toByteArray_writesEachKindAsJsonDoes()
{
    QFETCH(QString, name);
    QFETCH(QVariant, value);
    QFETCH(QByteArray, json);
    KindsState state;
    state.setValue(name, value);

    const QByteArray whole = state.toByteArray();

    const QByteArray entry = "\"" + name.toLatin1() + "\":" + json;
    QVERIFY2(whole.contains("," + entry + ",") || whole.contains("{" + entry + ",")
                 || whole.contains("," + entry + "}"),
             whole.constData());
    QCOMPARE(QJsonDocument::fromJson(whole).object().size(), 18);
}

void TstAbstractStateWrapper::toByteArray_enumerator_isANumberUntilItsTypeIsRegistered()
{
    const LateEnumState state;
    QCOMPARE(state.toByteArray(), QByteArray(R"({"mode":1})"));

    qRegisterMetaType<LateEnumState::Mode>();

    QCOMPARE(state.toByteArray(), QByteArray(R"({"mode":"Busy"})"));
    // Flags have no text of their own.
    QCOMPARE(EnumState().toByteArray(), QByteArray(R"({"cover":"Open","parts":null})"));
}

void TstAbstractStateWrapper::toString_isTheBytesAsUtf8()
{
    TwoState state;
    state.m_b = u"цена €"_s;
    QCOMPARE(state.toString(), uR"({"a":1,"b":"цена €"})"_s);

    OverridingState overriding;
    overriding.m_useBytes = true;
    QVERIFY(overriding.toString().isNull());
    overriding.m_bytes = "";
    QVERIFY(!overriding.toString().isNull());
    overriding.m_bytes = "\xe2\x82\xac";
    QCOMPARE(overriding.toString(), u"€"_s);
}

void TstAbstractStateWrapper::toClientState_isTheDerivedClassesOwn()
{
    const TwoState state;
    const tarvex::ClientState record = static_cast<const AbstractStateWrapper&>(state).toClientState();
    QVERIFY(record.isValid());
    QCOMPARE(record.state(), uR"({"a":1,"b":"x"})"_s);
}

QTEST_GUILESS_MAIN(TstAbstractStateWrapper)

#include "tst_abstractstatewrapper.moc"
