#include "records/tarvexerror.h"

#include "markingtranslator.h"

#include <QTest>

#include <thread>
#include <type_traits>
#include <vector>

using tarvex::TarvexError;

static_assert(std::is_nothrow_move_constructible_v<TarvexError>);
static_assert(std::is_nothrow_move_assignable_v<TarvexError>);
static_assert(std::is_copy_constructible_v<TarvexError> && std::is_copy_assignable_v<TarvexError>);
static_assert(!std::is_polymorphic_v<TarvexError>);
static_assert(std::is_same_v<std::underlying_type_t<TarvexError::Error>, quint16>);
// Without const: so they were published, and so services are linked against them.
static_assert(std::is_same_v<decltype(&TarvexError::operator==), bool (TarvexError::*)(const TarvexError&)>);
static_assert(std::is_same_v<decltype(&TarvexError::operator!=), bool (TarvexError::*)(const TarvexError&)>);

namespace {

/// Opens the protected code table to the tests.
class ErrorTable : public TarvexError
{
public:
    static int size() { return _errors.size(); }

    static void clear() { _errors.clear(); }

    static bool contains(int code) { return _errors.contains(static_cast<TarvexError::Error>(code)); }
};

} // namespace

class TstTarvexError : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void table_beforeFirstUse_isEmpty();
    void construct_withoutArguments_isNoError();
    void construct_fromCode_takesTextFromTable_data();
    void construct_fromCode_takesTextFromTable();
    void table_isTranslatedWhenItIsBuilt_data();
    void table_isTranslatedWhenItIsBuilt();
    void construct_fromCodeAndText_keepsText();
    void construct_fromUnknownCode_entersItIntoTable();
    void setError_leavesDescription();
    void setDescription_leavesCode();
    void compare_ignoresDescription();
    void construct_fromManyThreads_isSafe();
    void metaType_isKnownUnderBothNames();
};

// Must stay the first: nothing has used the table yet.
void TstTarvexError::table_beforeFirstUse_isEmpty()
{
    QCOMPARE(ErrorTable::size(), 0);
    const TarvexError given(TarvexError::UnsupportedRequest, QStringLiteral("own text"));
    QCOMPARE(ErrorTable::size(), 0);
    TarvexError::prepareErrors();
    QCOMPARE(ErrorTable::size(), 8);
    TarvexError::prepareErrors();
    QCOMPARE(ErrorTable::size(), 8);
}

void TstTarvexError::construct_withoutArguments_isNoError()
{
    const TarvexError error;
    QCOMPARE(error.error(), TarvexError::NoError);
    QCOMPARE(error.description(), QString());
    TarvexError fromCode(TarvexError::NoError);
    QVERIFY(fromCode == error);
    QCOMPARE(fromCode.description(), QString());
}

void TstTarvexError::construct_fromCode_takesTextFromTable_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << 0 << QString();
    QTest::newRow("size") << 1 << QStringLiteral("Incorret request size");
    QTest::newRow("data") << 2 << QStringLiteral("Incorrect request data");
    QTest::newRow("client") << 3 << QStringLiteral("Unregisterd client");
    QTest::newRow("request") << 4 << QStringLiteral("Unsupported request");
    QTest::newRow("settings") << 5 << QStringLiteral("There are no settings for client");
    QTest::newRow("storage") << 256 << QStringLiteral("Invalid data storage");
    QTest::newRow("access") << 512 << QStringLiteral("Storage access error");
}

void TstTarvexError::construct_fromCode_takesTextFromTable()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    const TarvexError error(static_cast<TarvexError::Error>(code));
    QCOMPARE(static_cast<int>(error.error()), code);
    QCOMPARE(error.description(), text);
}

void TstTarvexError::table_isTranslatedWhenItIsBuilt_data()
{
    construct_fromCode_takesTextFromTable_data();
}

void TstTarvexError::table_isTranslatedWhenItIsBuilt()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    const QString expected = text.isEmpty() ? text : MarkingTranslator::marked("QObject", text);
    ErrorTable::clear();
    {
        const MarkingTranslator translator;
        const TarvexError error(static_cast<TarvexError::Error>(code));
        QCOMPARE(error.description(), expected);
    }
    // And not again, whatever is installed or removed later.
    const TarvexError later(static_cast<TarvexError::Error>(code));
    ErrorTable::clear();
    QCOMPARE(later.description(), expected);
}

void TstTarvexError::construct_fromCodeAndText_keepsText()
{
    const TarvexError error(TarvexError::UnsupportedRequest, QStringLiteral("own text"));
    QCOMPARE(error.error(), TarvexError::UnsupportedRequest);
    QCOMPARE(error.description(), QStringLiteral("own text"));
}

void TstTarvexError::construct_fromUnknownCode_entersItIntoTable()
{
    TarvexError::prepareErrors();
    QVERIFY(!ErrorTable::contains(7));
    const TarvexError error(static_cast<TarvexError::Error>(7));
    QCOMPARE(static_cast<int>(error.error()), 7);
    QCOMPARE(error.description(), QString());
    QVERIFY(ErrorTable::contains(7));
    QCOMPARE(ErrorTable::size(), 9);
}

void TstTarvexError::setError_leavesDescription()
{
    TarvexError error(TarvexError::IncorrectRequestData);
    error.setError(TarvexError::UnregisteredClient);
    QCOMPARE(error.error(), TarvexError::UnregisteredClient);
    QCOMPARE(error.description(), QStringLiteral("Incorrect request data"));
}

void TstTarvexError::setDescription_leavesCode()
{
    TarvexError error(TarvexError::StorageAccessError);
    error.setDescription(QStringLiteral("disk full"));
    QCOMPARE(error.error(), TarvexError::StorageAccessError);
    QCOMPARE(error.description(), QStringLiteral("disk full"));
}

void TstTarvexError::compare_ignoresDescription()
{
    TarvexError plain(TarvexError::IncorrectRequestSize);
    const TarvexError other(TarvexError::IncorrectRequestSize, QStringLiteral("another text"));
    QVERIFY(plain == other);
    QVERIFY(!(plain != other));
    QVERIFY(plain != TarvexError(TarvexError::IncorrectRequestData));
    QVERIFY(!(plain == TarvexError(TarvexError::IncorrectRequestData)));
}

void TstTarvexError::construct_fromManyThreads_isSafe()
{
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([thread] {
            for (int code = 0; code < 500; ++code) {
                const TarvexError error(static_cast<TarvexError::Error>(1000 + (code + thread) % 500));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (int code = 1000; code < 1500; ++code) {
        QVERIFY(ErrorTable::contains(code));
    }
}

void TstTarvexError::metaType_isKnownUnderBothNames()
{
    QVERIFY(QMetaType::type("TarvexError") != QMetaType::UnknownType);
    QCOMPARE(QMetaType::type("tarvex::TarvexError"), QMetaType::type("TarvexError"));
}

QTEST_GUILESS_MAIN(TstTarvexError)
#include "tst_tarvexerror.moc"
