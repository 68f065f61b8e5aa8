#include "records/tarvexerror.h"

#include "literals.h"
#include "markingtranslator.h"

#include <QTest>

#include <thread>
#include <type_traits>
#include <vector>

using tarvex::TarvexError;

static_assert(std::is_nothrow_move_constructible_v<TarvexError> && std::is_nothrow_move_assignable_v<TarvexError>);
static_assert(std::is_copy_constructible_v<TarvexError> && std::is_copy_assignable_v<TarvexError>);

namespace {

TarvexError::Error codeOf(int number)
{
    return static_cast<TarvexError::Error>(number);
}

/// Gives the tests access to the protected code table.
class ErrorTable : public TarvexError
{
public:
    static int size() { return _errors.size(); }

    static void clear() { _errors.clear(); }

    static bool contains(int code) { return _errors.contains(codeOf(code)); }
};

} // namespace

class TstTarvexError : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup();
    void table_beforeFirstUse_isEmpty();
    void construct_withoutArguments_isNoError();
    void construct_fromCode_takesTextFromTable_data();
    void construct_fromCode_takesTextFromTable();
    void table_isTranslatedWhenItIsBuilt();
    void construct_fromUnknownCode_entersItIntoTable();
    void setters_changeTheirFieldAlone();
    void compare_ignoresDescription();
    void construct_fromManyThreads_isSafe();
};

void TstTarvexError::cleanup()
{
    ErrorTable::clear();
}

// This must stay the first test, because nothing may have used the table before.
void TstTarvexError::table_beforeFirstUse_isEmpty()
{
    QCOMPARE(ErrorTable::size(), 0);
    const TarvexError given(TarvexError::UnsupportedRequest, u"own text"_s);
    QCOMPARE(given.error(), TarvexError::UnsupportedRequest);
    QCOMPARE(given.description(), u"own text"_s);
    QCOMPARE(ErrorTable::size(), 0);
    for (int call = 0; call < 2; ++call) {
        TarvexError::prepareErrors();
        QCOMPARE(ErrorTable::size(), 8);
    }
    const TarvexError inTable(TarvexError::UnsupportedRequest, u"own text"_s);
    QCOMPARE(inTable.description(), u"own text"_s);
}

void TstTarvexError::construct_withoutArguments_isNoError()
{
    const TarvexError error;
    QCOMPARE(error.error(), TarvexError::NoError);
    QCOMPARE(error.description(), QString());
}

void TstTarvexError::construct_fromCode_takesTextFromTable_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text");
    QTest::newRow("none") << 0 << QString();
    QTest::newRow("size") << 1 << u"Incorret request size"_s;
    QTest::newRow("data") << 2 << u"Incorrect request data"_s;
    QTest::newRow("client") << 3 << u"Unregisterd client"_s;
    QTest::newRow("request") << 4 << u"Unsupported request"_s;
    QTest::newRow("settings") << 5 << u"There are no settings for client"_s;
    QTest::newRow("storage") << 256 << u"Invalid data storage"_s;
    QTest::newRow("access") << 512 << u"Storage access error"_s;
}

void TstTarvexError::construct_fromCode_takesTextFromTable()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    const TarvexError error(codeOf(code));
    QCOMPARE(static_cast<int>(error.error()), code);
    QCOMPARE(error.description(), text);

    // The table has the texts as they were translated when it was built.
    ErrorTable::clear();
    const MarkingTranslator translator;
    const QString marked = text.isEmpty() ? text : MarkingTranslator::marked("QObject", text);
    QCOMPARE(TarvexError(codeOf(code)).description(), marked);
}

// The texts are not translated again when a translation is installed or removed later.
void TstTarvexError::table_isTranslatedWhenItIsBuilt()
{
    {
        const MarkingTranslator translator;
        TarvexError::prepareErrors();
    }
    const QString expected = MarkingTranslator::marked("QObject", u"Incorrect request data"_s);
    QCOMPARE(TarvexError(TarvexError::IncorrectRequestData).description(), expected);
    ErrorTable::clear();
    QCOMPARE(TarvexError(TarvexError::IncorrectRequestData).description(), u"Incorrect request data"_s);
}

void TstTarvexError::construct_fromUnknownCode_entersItIntoTable()
{
    TarvexError::prepareErrors();
    QVERIFY(!ErrorTable::contains(7));
    const TarvexError error(codeOf(7));
    QCOMPARE(static_cast<int>(error.error()), 7);
    QCOMPARE(error.description(), QString());
    QVERIFY(ErrorTable::contains(7));
    QCOMPARE(ErrorTable::size(), 9);
}

void TstTarvexError::setters_changeTheirFieldAlone()
{
    TarvexError error(TarvexError::IncorrectRequestData);
    error.setError(TarvexError::UnregisteredClient);
    QCOMPARE(error.error(), TarvexError::UnregisteredClient);
    QCOMPARE(error.description(), u"Incorrect request data"_s);
    error.setDescription(u"disk full"_s);
    QCOMPARE(error.error(), TarvexError::UnregisteredClient);
    QCOMPARE(error.description(), u"disk full"_s);
}

void TstTarvexError::compare_ignoresDescription()
{
    TarvexError plain(TarvexError::IncorrectRequestSize);
    const TarvexError other(TarvexError::IncorrectRequestSize, u"another text"_s);
    QVERIFY(plain == other);
    QVERIFY(!(plain != other));
    QVERIFY(plain != TarvexError(TarvexError::IncorrectRequestData));
    QVERIFY(!(plain == TarvexError(TarvexError::IncorrectRequestData)));
}

void TstTarvexError::construct_fromManyThreads_isSafe()
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([thread] {
            for (int code = 0; code < 500; ++code) {
                const TarvexError error(codeOf(1000 + (code + thread) % 500));
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

QTEST_GUILESS_MAIN(TstTarvexError)
#include "tst_tarvexerror.moc"
