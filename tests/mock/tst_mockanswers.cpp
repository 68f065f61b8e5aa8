#include "mockanswers.h"

#include "literals.h"
#include "mockfile.h"

#include <QTest>

using namespace tarvex::mock;

namespace {

/// The answers of a service whose command "print" has this description.
MockAnswers answersOf(const QByteArray& print)
{
    const MockFile file = mockFileFrom(R"({"services": {"printer": {"commands": {"other": {"silence": true}, "print": )"
                                       + print + "}}}}");
    return MockAnswers(file.services.value(0).commands);
}

TarvexCommand command(const QVariantMap& data = {}, const QString& name = u"print"_s)
{
    TarvexCommand command;
    command.setName(name);
    command.setAgent(u"cashbox"_s);
    command.setUid(u"uid 1"_s);
    command.setData(data);
    return command;
}

/// The errors that the next \a count commands get.
QStringList errorsOf(MockAnswers& answers, int count)
{
    QStringList errors;
    for (int index = 0; index < count; ++index) {
        const auto answer = answers.next(command());
        errors.append(answer ? answer->errorText : QString());
    }
    return errors;
}

} // namespace

/// Which answer comes next.
class TstMockAnswers : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void unknownCommand_hasNone();
    void reply_hasTheCommandsName();
    void reply_isFilledIn();
    void dataFromRequest_isAnObject_data();
    void dataFromRequest_isAnObject();
    void sequence_repeatsLast();
    void sequence_cycles();
    void sequence_endsWithError();
    void cases_firstThatFits();
    void cases_noneFits_isAnError();
    void cases_haveTheirOwnSequences();
    void count_isThatOfTheCommand();
    void everything_isFilledIn();
    void receiverMissing_isNotSent();
};

void TstMockAnswers::unknownCommand_hasNone()
{
    MockAnswers answers = answersOf(R"({"silence": true})");
    QVERIFY(!answers.knows(u"Print"_s));
    QVERIFY(!answers.next(command({}, u"Print"_s)));
    QVERIFY(answers.knows(u"print"_s));
}

void TstMockAnswers::reply_hasTheCommandsName()
{
    MockAnswers answers = answersOf(R"({"reply": {}})");
    const auto answer = answers.next(command());
    QCOMPARE(answer.value().kind, Answer::Reply);
    QCOMPARE(answer->name, u"print"_s);
    QCOMPARE(answer->data, QVariant(QVariantMap()));
}

void TstMockAnswers::reply_isFilledIn()
{
    MockAnswers answers = answersOf(R"({"reply": {"name": "printed", "data": {"text": "${data.text}"}}})");
    const auto answer = answers.next(command({{u"text"_s, u"zone A"_s}}));
    QCOMPARE(answer.value().name, u"printed"_s);
    QCOMPARE(answer->data, QVariant(QVariantMap{{u"text"_s, u"zone A"_s}}));
}

void TstMockAnswers::dataFromRequest_isAnObject_data()
{
    QTest::addColumn<QByteArray>("pattern");
    QTest::addColumn<QVariantMap>("expected");
    const QVariantMap inner{{u"b"_s, 1LL}};
    QTest::newRow("all") << QByteArray("${data}") << QVariantMap{{u"a"_s, inner}};
    QTest::newRow("part") << QByteArray("${data.a}") << inner;
    QTest::newRow("number") << QByteArray("${data.a.b}") << QVariantMap();
}

void TstMockAnswers::dataFromRequest_isAnObject()
{
    QFETCH(QByteArray, pattern);
    MockAnswers answers = answersOf(R"({"reply": {"data": ")" + pattern + "\"}}");
    const auto answer = answers.next(command({{u"a"_s, QVariantMap{{u"b"_s, 1LL}}}}));
    QVERIFY(answer);
    QTEST(answer->data.toMap(), "expected");
}

void TstMockAnswers::sequence_repeatsLast()
{
    MockAnswers answers = answersOf(R"({"sequence": [{"error": "1"}, {"error": "2"}]})");
    QCOMPARE(errorsOf(answers, 4), (QStringList{u"1"_s, u"2"_s, u"2"_s, u"2"_s}));
}

void TstMockAnswers::sequence_cycles()
{
    MockAnswers answers = answersOf(R"({"sequence": [{"error": "1"}, {"error": "2"}], "then": "cycle"})");
    QCOMPARE(errorsOf(answers, 5), (QStringList{u"1"_s, u"2"_s, u"1"_s, u"2"_s, u"1"_s}));
}

void TstMockAnswers::sequence_endsWithError()
{
    MockAnswers answers = answersOf(R"({"sequence": [{"error": "1"}], "then": "error"})");
    const QString over = u"The stand-in has no more answers"_s;
    QCOMPARE(errorsOf(answers, 3), (QStringList{u"1"_s, over, over}));
}

void TstMockAnswers::cases_firstThatFits()
{
    MockAnswers answers = answersOf(
        R"([{"when": {"a": 1, "b": 2}, "error": "both"}, {"when": {"a": 1}, "error": "one"}, {"error": "any"}])");
    QCOMPARE(answers.next(command({{u"a"_s, 1LL}, {u"b"_s, 2.0}}))->errorText, u"both"_s);
    QCOMPARE(answers.next(command({{u"a"_s, 1LL}, {u"b"_s, 3LL}}))->errorText, u"one"_s);
    QCOMPARE(answers.next(command({{u"b"_s, 2LL}}))->errorText, u"any"_s);
}

void TstMockAnswers::cases_noneFits_isAnError()
{
    MockAnswers answers = answersOf(R"({"when": {"a": 1}, "reply": {}})");
    const auto answer = answers.next(command());
    QCOMPARE(answer.value().kind, Answer::Error);
    QCOMPARE(answer->errorText, u"The stand-in has no answer for this data"_s);
}

void TstMockAnswers::cases_haveTheirOwnSequences()
{
    MockAnswers answers = answersOf(R"([{"when": {"a": 1}, "sequence": [{"error": "a1"}, {"error": "a2"}]},
                                        {"sequence": [{"error": "1"}, {"error": "2"}]}])");
    QCOMPARE(errorsOf(answers, 1), QStringList(u"1"_s));
    QCOMPARE(answers.next(command({{u"a"_s, 1LL}}))->errorText, u"a1"_s);
    QCOMPARE(errorsOf(answers, 1), QStringList(u"2"_s));
    QCOMPARE(answers.next(command({{u"a"_s, 1LL}}))->errorText, u"a2"_s);
}

void TstMockAnswers::count_isThatOfTheCommand()
{
    MockAnswers answers = answersOf(R"([{"when": {"a": 1}, "silence": true}, {"error": "${count}"}])");
    answers.next(command({}, u"other"_s));
    answers.next(command({{u"a"_s, 1LL}}));
    QCOMPARE(errorsOf(answers, 2), (QStringList{u"2"_s, u"3"_s}));
}

void TstMockAnswers::everything_isFilledIn()
{
    MockAnswers answers = answersOf(
        R"({"error": "for ${sender}",
            "state": {"text": {"last": "${data.text}"}, "description": "${count} printed"},
            "send": {"to": "${sender}", "name": "note", "data": {"uid": "${uid}"}}})");
    const auto answer = answers.next(command({{u"text"_s, u"zone A"_s}}));
    QCOMPARE(answer.value().errorText, u"for cashbox"_s);
    QCOMPARE(answer->state.text, QVariant(QVariantMap{{u"last"_s, u"zone A"_s}}));
    QCOMPARE(answer->state.description, std::optional<QString>(u"1 printed"_s));
    QCOMPARE(answer->sent.size(), 1);
    QCOMPARE(answer->sent.at(0).receiver, u"cashbox"_s);
    QCOMPARE(answer->sent.at(0).data, QVariant(QVariantMap{{u"uid"_s, u"uid 1"_s}}));
}

void TstMockAnswers::receiverMissing_isNotSent()
{
    MockAnswers answers = answersOf(R"({"silence": true, "send": [{"to": "${data.to}", "name": "a"},
                                                                  {"to": "", "name": "b"}]})");
    const auto answer = answers.next(command());
    QCOMPARE(answer.value().sent.size(), 1);
    QCOMPARE(answer->sent.at(0).name, u"b"_s);
}

QTEST_GUILESS_MAIN(TstMockAnswers)

#include "tst_mockanswers.moc"
