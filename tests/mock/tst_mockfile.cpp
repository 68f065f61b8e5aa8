#include "mockfile.h"

#include "literals.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace tarvex::mock;

namespace {

/// A description with one service, in which \a text stands in the third line.
QByteArray serviceWith(const QByteArray& text)
{
    return "{\"services\": {\n\"printer\": {\n" + text + "\n}}}";
}

/// The same for the answer to the command "print".
QByteArray answerWith(const QByteArray& text)
{
    return serviceWith("\"commands\": {\"print\": " + text + "}");
}

ServiceDescription serviceOf(const QByteArray& text)
{
    const MockFile file = mockFileFrom(text);
    return file.errors.isEmpty() ? file.services.value(0) : ServiceDescription();
}

AnswerCase caseOf(const QByteArray& text, int index = 0)
{
    return serviceOf(answerWith(text)).commands.value(u"print"_s).value(index);
}

} // namespace

/// What a description says, and what is wrong with one.
class TstMockFile : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void example_isRight();
    void state_isRead();
    void settings_areRead();
    void answer_isRead();
    void sequence_isRead_data();
    void sequence_isRead();
    void cases_keepTheirOrder();
    void sent_isRead();
    void numbers_keepTheirTypes();
    void byteOrderMark_isAccepted();
    void notJson_isToldWithItsLine_data();
    void notJson_isToldWithItsLine();
    void wrong_isToldWithItsLine_data();
    void wrong_isToldWithItsLine();
    void errors_areAllTold();
    void keyOfWrongMember_givesTheLine();
    void deepNesting_isRefused();
    void unreadableFile_isToldWithoutLine();
    void hugeFile_isRefused();
};

void TstMockFile::example_isRight()
{
    const QString name = QStringLiteral(EXAMPLE_FOLDER "/kiosk.json");
    const MockFile file = readMockFile(name);
    QCOMPARE(file.errorLines(name), QStringList());
    QCOMPARE(file.services.size(), 3);
    QCOMPARE(file.commandCount(), 5);
    QCOMPARE(file.services.at(0).name, u"barcode_scanner"_s);
}

void TstMockFile::state_isRead()
{
    const auto service = serviceOf(serviceWith(R"("state": {"text": "ready", "type": 7, "description": "is there"})"));
    QVERIFY(!service.state.isEmpty());
    QCOMPARE(service.state.text, QVariant(u"ready"_s));
    QCOMPARE(service.state.type, std::optional<int>(7));
    QCOMPARE(service.state.description, std::optional<QString>(u"is there"_s));
    QVERIFY(serviceOf(serviceWith("")).state.isEmpty());
}

void TstMockFile::settings_areRead()
{
    const auto service = serviceOf(serviceWith(
        R"("settings": [{"group": "net", "key": "port", "value": 9100}, {"group": null, "key": "x", "value": "${y"}],
           "replaceSettings": true)"));
    QVERIFY(service.replacesSettings);
    const QVariantMap first{{u"group"_s, u"net"_s}, {u"key"_s, u"port"_s}, {u"value"_s, 9100LL}};
    const QVariantMap second{{u"group"_s, QString()}, {u"key"_s, u"x"_s}, {u"value"_s, u"${y"_s}};
    QCOMPARE(service.settings, (QList<QVariant>{first, second}));
}

void TstMockFile::answer_isRead()
{
    const AnswerCase reply = caseOf(R"({"reply": {"name": "printed", "data": {"left": 3}}, "delay": 250})");
    QCOMPARE(reply.sequence.size(), 1);
    QCOMPARE(reply.sequence.at(0).kind, Answer::Reply);
    QCOMPARE(reply.sequence.at(0).name, u"printed"_s);
    QCOMPARE(reply.sequence.at(0).data, QVariant(QVariantMap{{u"left"_s, 3LL}}));
    QCOMPARE(reply.sequence.at(0).delayMs, 250);
    const AnswerCase error = caseOf(R"({"error": "Out of paper", "when": {"a.b": 1}})");
    QCOMPARE(error.sequence.value(0).kind, Answer::Error);
    QCOMPARE(error.sequence.value(0).errorText, u"Out of paper"_s);
    QCOMPARE(error.when, (QVariantMap{{u"a.b"_s, 1LL}}));
    const AnswerCase silence = caseOf(R"({"silence": true, "state": {"type": 3}})");
    QCOMPARE(silence.sequence.value(0).kind, Answer::Silence);
    QCOMPARE(silence.sequence.value(0).state.type, std::optional<int>(3));
}

void TstMockFile::sequence_isRead_data()
{
    QTest::addColumn<QByteArray>("then");
    QTest::addColumn<int>("expected");
    QTest::newRow("without") << QByteArray() << int(AnswerCase::RepeatLast);
    QTest::newRow("repeat-last") << QByteArray(R"(, "then": "repeat-last")") << int(AnswerCase::RepeatLast);
    QTest::newRow("cycle") << QByteArray(R"(, "then": "cycle")") << int(AnswerCase::Cycle);
    QTest::newRow("error") << QByteArray(R"(, "then": "error")") << int(AnswerCase::Fail);
}

void TstMockFile::sequence_isRead()
{
    QFETCH(QByteArray, then);
    const AnswerCase answers = caseOf(R"({"sequence": [{"error": "one"}, {"silence": true}])" + then + "}");
    QCOMPARE(answers.sequence.size(), 2);
    QCOMPARE(answers.sequence.at(0).errorText, u"one"_s);
    QTEST(int(answers.then), "expected");
}

void TstMockFile::cases_keepTheirOrder()
{
    const QByteArray cases(R"([{"when": {"b": 1}, "error": "1"}, {"when": {"a": 1}, "error": "2"}, {"error": "3"}])");
    for (int index = 0; index < 3; ++index) {
        QCOMPARE(caseOf(cases, index).sequence.value(0).errorText, QString::number(index + 1));
    }
}

void TstMockFile::sent_isRead()
{
    const auto one = caseOf(R"({"silence": true, "send": {"to": "a", "name": "go", "data": {"n": 1}}})");
    QCOMPARE(one.sequence.value(0).sent.size(), 1);
    QCOMPARE(one.sequence.at(0).sent.at(0).receiver, u"a"_s);
    QCOMPARE(one.sequence.at(0).sent.at(0).name, u"go"_s);
    QCOMPARE(one.sequence.at(0).sent.at(0).data, QVariant(QVariantMap{{u"n"_s, 1LL}}));
    const auto two = caseOf(R"({"silence": true, "send": [{"to": "a", "name": "x"}, {"to": "", "name": "y"}]})");
    QCOMPARE(two.sequence.value(0).sent.size(), 2);
    QCOMPARE(two.sequence.at(0).sent.at(1).name, u"y"_s);
}

void TstMockFile::numbers_keepTheirTypes()
{
    const QVariantMap data =
        caseOf(R"({"reply": {"data": {"i": -9007199254740992, "d": 1.5, "e": 1e3, "b": true, "n": null, "l": [1]}}})")
            .sequence.value(0)
            .data.toMap();
    QCOMPARE(data.value(u"i"_s), QVariant(-9007199254740992LL));
    QCOMPARE(data.value(u"d"_s), QVariant(1.5));
    QCOMPARE(data.value(u"e"_s).toDouble(), 1000.0);
    QCOMPARE(data.value(u"b"_s), QVariant(true));
    QCOMPARE(data.value(u"n"_s).userType(), int(QMetaType::Nullptr));
    QCOMPARE(data.value(u"l"_s), QVariant(QVariantList{1LL}));
}

void TstMockFile::byteOrderMark_isAccepted()
{
    QCOMPARE(serviceOf("\xEF\xBB\xBF" + serviceWith("")).name, u"printer"_s);
    const MockFile wrong = mockFileFrom("\xEF\xBB\xBF" + serviceWith("\"x\": 1"));
    QCOMPARE(wrong.errors.value(0).line, 3);
}

void TstMockFile::notJson_isToldWithItsLine_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("line");
    QTest::newRow("empty") << QByteArray() << 1;
    QTest::newRow("words") << QByteArray("services") << 1;
    QTest::newRow("comma missing") << serviceWith("\"state\": {}\n\"commands\": {}") << 4;
    QTest::newRow("comma at the end") << serviceWith("\"commands\": {},") << 4;
    QTest::newRow("brace missing") << QByteArray("{\"services\": {\n\n") << 3;
    QTest::newRow("text open") << serviceWith("\"commands") << 3;
    QTest::newRow("comment") << serviceWith("// nothing") << 3;
    QTest::newRow("key twice") << serviceWith("\"commands\": {},\n\"commands\": {}") << 4;
    QTest::newRow("something behind it") << serviceWith("") + "\n{}" << 5;
    QTest::newRow("zero before a number") << answerWith("{\"silence\": true,\n\"delay\": 01}") << 4;
    QTest::newRow("no UTF-8") << serviceWith("\n\"\xFF\": 1") << 4;
    QTest::newRow("not a number") << answerWith("{\"silence\": true, \"delay\": NaN}") << 3;
}

void TstMockFile::notJson_isToldWithItsLine()
{
    QFETCH(QByteArray, text);
    const MockFile file = mockFileFrom(text);
    QCOMPARE(file.errors.size(), 1);
    QTEST(file.errors.at(0).line, "line");
    QVERIFY2(file.errors.at(0).words.startsWith(u"this is no "_s), qPrintable(file.errors.at(0).words));
}

void TstMockFile::wrong_isToldWithItsLine_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("words");
    const auto add = [](const char* name, const QByteArray& text, int line, const QString& words) {
        QTest::newRow(name) << text << line << words;
    };
    const auto service = [add](const char* name, const QByteArray& text, const QString& words) {
        add(name, serviceWith(text), 3, words);
    };
    const auto answer = [add](const char* name, const QByteArray& text, const QString& words) {
        add(name, answerWith(text), 3, words);
    };
    add("list", "[]", 1, u"the description must be an object"_s);
    add("nothing", "{}", 1, u"\"services\" is needed"_s);
    add("no services", "{\"services\":\n{}}", 2, u"\"services\" is needed"_s);
    add("services list", "{\"services\":\n[]}", 2, u"\"services\" is needed"_s);
    add("unknown key", "{\"services\": {\"a\": {}},\n\"sevrices\": 1}", 2, u"did you mean \"services\"?"_s);
    add("far key", "{\"services\": {\"a\": {}},\n\"x\": 1}", 2, u"there are: services, comment"_s);
    add("name empty", "{\"services\": {\n\"\": {}}}", 2, u"the name of a service must not be empty"_s);
    add("service text", "{\"services\": {\n\"a\": \"b\"}}", 2, u"a service must be an object"_s);
    service("service key", R"("command": {})", u"\"command\" is no part of a service; did you mean \"commands\"?"_s);
    service("comment", R"("comment": 1)", u"\"comment\" must be a text"_s);
    service("state text", R"("state": "x")", u"a state must be an object"_s);
    service("state empty", R"("state": {})", u"a state needs"_s);
    service("state key", R"("state": {"txt": "x"})", u"did you mean \"text\"?"_s);
    service("state number", R"("state": {"text": 1})", u"the \"text\" of a state must be a text"_s);
    service("type too large", R"("state": {"type": 128})", u"must be a whole number from 0 to 127"_s);
    service("type fraction", R"("state": {"type": 1.5})", u"must be a whole number from 0 to 127"_s);
    service("description number", R"("state": {"description": 1})", u"the \"description\" of a state must be a text"_s);
    service("placeholder at start", R"("state": {"text": {"a": "${uid}"}})", u"nothing is filled in here"_s);
    service("settings object", R"("settings": {})", u"\"settings\" must be a list"_s);
    service("setting text", R"("settings": ["x"])", u"a setting must be an object"_s);
    service("setting without key", R"("settings": [{"value": 1}])", u"a setting needs a \"key\""_s);
    service("setting without value", R"("settings": [{"key": "a"}])", u"a setting needs a \"key\""_s);
    service("setting group", R"("settings": [{"group": 1, "key": "a", "value": 1}])", u"must be a text"_s);
    service("setting twice", R"("settings": [{"key": "a", "value": 1}, {"key": "a", "value": 2}])",
            u"the setting /a is there twice"_s);
    service("replace alone", R"("replaceSettings": true)", u"needs \"settings\" beside it"_s);
    service("replace text", R"("settings": [], "replaceSettings": "yes")", u"must be true or false"_s);
    service("commands list", R"("commands": [])", u"\"commands\" must be an object"_s);
    service("command empty", R"("commands": {"": {"silence": true}})", u"the name of a command must not be empty"_s);
    service("commandError", R"("commands": {"commandError": {"silence": true}})", u"is never answered"_s);
    answer("answer text", R"("printed")", u"an answer must be an object"_s);
    answer("no cases", "[]", u"a command needs at least one answer"_s);
    answer("no kind", "{}", u"an answer needs one of"_s);
    answer("two kinds", R"({"error": "x", "silence": true})", u"an answer needs one of"_s);
    answer("answer key", R"({"reply": {}, "dely": 1})", u"did you mean \"delay\"?"_s);
    answer("reply text", R"({"reply": "printed"})", u"a \"reply\" must be an object"_s);
    answer("reply name", R"({"reply": {"name": ""}})", u"must not be empty"_s);
    answer("reply pattern name", R"({"reply": {"name": "${command}"}})", u"nothing is filled in here"_s);
    answer("reply data", R"({"reply": {"data": [1]}})", u"the \"data\" of a reply must be an object"_s);
    answer("reply data text", R"({"reply": {"data": "a ${data}"}})", u"exactly one placeholder"_s);
    answer("error number", R"({"error": 5})", u"\"error\" must be a text"_s);
    answer("silence false", R"({"silence": false})", u"\"silence\" must be true"_s);
    answer("delay negative", R"({"silence": true, "delay": -1})", u"must be a whole number from 0 to 86400000"_s);
    answer("delay text", R"({"silence": true, "delay": "1 s"})", u"must be a whole number"_s);
    answer("placeholder", R"({"error": "${sendr}"})",
           u"there is no placeholder \"${sendr}\"; did you mean \"sender\"?"_s);
    answer("placeholder open", R"({"error": "${data.x"})", u"a placeholder has no \"}\""_s);
    answer("placeholder deep", R"({"reply": {"data": {"a": [{"b": "${data.}"}]}}})", u"there is no placeholder"_s);
    answer("large number", R"({"reply": {"data": {"n": 9007199254740993}}})",
           u"9007199254740993 is too large to travel exactly"_s);
    answer("larger number", R"({"reply": {"data": {"n": 99999999999999999999}}})", u"is too large"_s);
    answer("sequence empty", R"({"sequence": []})", u"a \"sequence\" must be a list of answers"_s);
    answer("sequence and reply", R"({"sequence": [{"silence": true}], "reply": {}})", u"\"reply\" is no part of"_s);
    answer("sequence nested", R"({"sequence": [{"silence": true, "sequence": []}]})",
           u"\"sequence\" is no part of an answer"_s);
    answer("then", R"({"sequence": [{"silence": true}], "then": "stop"})", u"\"then\" must be"_s);
    answer("then alone", R"({"silence": true, "then": "cycle"})", u"\"then\" is no part of an answer"_s);
    answer("when list", R"({"silence": true, "when": []})", u"\"when\" must be an object"_s);
    answer("when empty", R"({"silence": true, "when": {}})", u"\"when\" must be an object"_s);
    answer("never chosen", R"([{"silence": true}, {"error": "x"}])", u"can never be chosen"_s);
    answer("send text", R"({"silence": true, "send": "x"})", u"a command to \"send\" must be an object"_s);
    answer("send without name", R"({"silence": true, "send": {"to": "a"}})", u"needs \"to\" and \"name\""_s);
    answer("send without to", R"({"silence": true, "send": {"name": "a"}})", u"needs \"to\" and \"name\""_s);
    answer("send key", R"({"silence": true, "send": {"to": "a", "name": "b", "dat": {}}})",
           u"did you mean \"data\"?"_s);
}

void TstMockFile::wrong_isToldWithItsLine()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, words);
    const MockFile file = mockFileFrom(text);
    QVERIFY(!file.errors.isEmpty());
    QTEST(file.errors.at(0).line, "line");
    QVERIFY2(file.errors.at(0).words.contains(words), qPrintable(file.errors.at(0).words));
    QCOMPARE(file.errors.size(), 1);
}

void TstMockFile::errors_areAllTold()
{
    const QByteArray text = "{\"services\": {\n\"b\": {\"x\": 1},\n\"a\": {\n\"state\": 1,\n\"commands\": 2}}}";
    QCOMPARE(mockFileFrom(text).errorLines(u"f.json"_s),
             (QStringList{u"f.json:2: \"x\" is no part of a service; there are: state, settings, replaceSettings, "
                          "commands, comment"_s,
                          u"f.json:4: a state must be an object"_s,
                          u"f.json:5: \"commands\" must be an object with the names of the commands"_s}));
}

void TstMockFile::keyOfWrongMember_givesTheLine()
{
    const MockFile file = mockFileFrom(serviceWith("\"comands\"\n:\n\n{}"));
    QCOMPARE(file.errors.size(), 1);
    QCOMPARE(file.errors.at(0).line, 3);
}

void TstMockFile::deepNesting_isRefused()
{
    const MockFile file = mockFileFrom(QByteArray(100000, '['));
    QCOMPARE(file.errors.size(), 1);
    QVERIFY(file.errors.at(0).words.contains(u"nested too deeply"_s));
}

void TstMockFile::unreadableFile_isToldWithoutLine()
{
    const QTemporaryDir folder;
    const QString missing = folder.filePath(u"missing.json"_s);
    const QStringList lines = readMockFile(missing).errorLines(missing);
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.at(0).startsWith(missing + u": cannot be read: "_s), qPrintable(lines.at(0)));
    QCOMPARE(readMockFile(folder.path()).errors.size(), 1);
}

void TstMockFile::hugeFile_isRefused()
{
    const MockFile file = readMockFile(u"/dev/zero"_s);
    QCOMPARE(file.errorLines(u"/dev/zero"_s), QStringList(u"/dev/zero: is larger than 16 MiB"_s));
}

QTEST_GUILESS_MAIN(TstMockFile)

#include "tst_mockfile.moc"
