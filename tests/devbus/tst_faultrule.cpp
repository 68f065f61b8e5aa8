#include "faultrule.h"

#include "failure.h"
#include "literals.h"

#include <QTest>

using tarvex::TarvexError;
using tarvex::devbus::FaultRule;
using tarvex::devbus::isFailure;
using tarvex::devbus::readFaultRule;
using tarvex::traffic::Port;

namespace {

/// The rule that \a text holds. A text that is wrong fails the test.
FaultRule ruleOf(const QString& text)
{
    FaultRule rule;
    const TarvexError error = readFaultRule(text, rule);
    if (isFailure(error)) {
        qCritical().noquote() << error.description();
    }
    return rule;
}

QString problemOf(const QString& text)
{
    FaultRule rule;
    return readFaultRule(text, rule).description();
}

} // namespace

class TstFaultRule : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void text_ofEveryWord_isRead();
    void text_separators_areBlanksAndCommas();
    void text_written_isReadAgain_data();
    void text_written_isReadAgain();
    void text_effect_isToldInWords_data();
    void text_effect_isToldInWords();
    void text_quoted_holdsAnything();
    void text_wrong_isRefusedInWords_data();
    void text_wrong_isRefusedInWords();
    void text_wrong_leavesRuleUntouched();
    void error_withoutText_hasTheBusWords();
    void check_numberOutOfRange_isRefused();
    void carriesOut_unlessRefusedOrSilent();
};

void TstFaultRule::text_ofEveryWord_isRead()
{
    const FaultRule rule = ruleOf(u"client=printer port=query frame=reply operation=sendMessage command=print nth=3 "
                                  "probability=0.25 seed=42 do=pieces:10:20"_s);
    QCOMPARE(rule.client, u"printer"_s);
    QVERIFY(rule.port == Port::Query);
    QVERIFY(rule.frames == FaultRule::Frames::Replies);
    QCOMPARE(rule.operation, u"sendMessage"_s);
    QCOMPARE(rule.command, u"print"_s);
    QVERIFY(rule.often == FaultRule::Often::Nth);
    QCOMPARE(rule.count, 3);
    QVERIFY(rule.probability == 0.25);
    QVERIFY(rule.seed == 42U);
    QVERIFY(rule.effect == FaultRule::Effect::Pieces);
    QCOMPARE(rule.amount, 10);
    QCOMPARE(rule.gapMs, 20);
}

void TstFaultRule::text_separators_areBlanksAndCommas()
{
    QCOMPARE(ruleOf(u" ,from=2,\tclient=a , do=drop\n"_s).toText(), u"client=a from=2 do=drop"_s);
}

/// The rows hold the form in which a rule is written.
void TstFaultRule::text_written_isReadAgain_data()
{
    QTest::addColumn<QString>("text");
    const QStringList texts{
        u"do=silence"_s,
        u"client=printer port=receiver operation=handshake once do=error:3:no"_s,
        u"do=error:9:"_s,
        u"do=error:9:a:b"_s,
        u"nth=2147483647 do=delay:1"_s,
        u"from=1 do=delay:600000"_s,
        u"frame=push do=delay:1"_s,
        u"port=query frame=reply do=operation:loadState"_s,
        u"do=sizeline:"_s,
        u"do=sizeline:a:b"_s,
        u"do=size:+1"_s,
        u"do=size:-1"_s,
        u"do=pieces:1:0"_s,
        u"do=cut:0"_s,
        u"probability=0 seed=0 do=cut:12"_s,
        u"probability=1 seed=7 do=drop"_s,
        u"probability=0.1 seed=4294967295 do=drop"_s,
        u"seed=7 do=damage:3:base64"_s,
        u"do=damage:1000:block"_s,
        u"command=print do=again"_s,
        u"do=limit:1000"_s,
        u"client=\"a b, \\\"c\\\" \\\\ \\n\\r\\t\" do=drop"_s,
        u"do=\"error:5:no paper\""_s,
    };
    for (const QString& text : texts) {
        QTest::newRow(qUtf8Printable(text)) << text;
    }
}

void TstFaultRule::text_written_isReadAgain()
{
    QFETCH(QString, text);
    QCOMPARE(ruleOf(text).toText(), text);
}

void TstFaultRule::text_effect_isToldInWords_data()
{
    QTest::addColumn<QString>("words");
    QTest::newRow("error:512:out of paper") << u"error 512 out of paper"_s;
    QTest::newRow("silence") << u"silence"_s;
    QTest::newRow("delay:500") << u"delay of 500 ms"_s;
    QTest::newRow("operation:loadState") << u"reply of another operation, loadState"_s;
    QTest::newRow("sizeline:abc") << u"size line \"abc\""_s;
    QTest::newRow("size:+1") << u"size +1"_s;
    QTest::newRow("size:-1") << u"size -1"_s;
    QTest::newRow("pieces:10:20") << u"pieces of 10 bytes with gaps of 20 ms"_s;
    QTest::newRow("cut:12") << u"cut after 12 bytes, then reset"_s;
    QTest::newRow("damage") << u"damage of 3 bytes (base64)"_s;
    QTest::newRow("damage:5") << u"damage of 5 bytes (base64)"_s;
    QTest::newRow("damage:1:block") << u"damage of 1 bytes (block)"_s;
    QTest::newRow("again") << u"pushed again after its acknowledgement"_s;
    QTest::newRow("drop") << u"connection dropped"_s;
    QTest::newRow("limit:1000") << u"limit of 1000 bytes a second"_s;
}

void TstFaultRule::text_effect_isToldInWords()
{
    QFETCH(QString, words);
    QCOMPARE(ruleOf(u"do=\"%1\""_s.arg(QLatin1String(QTest::currentDataTag()))).words(), words);
}

void TstFaultRule::text_quoted_holdsAnything()
{
    QCOMPARE(ruleOf(u"client=\"a b,c\\n\\\"=\\\\\" do=drop"_s).client, u"a b,c\n\"=\\"_s);
    QCOMPARE(ruleOf(u"do=error:5:\"no paper, none\""_s).text, u"no paper, none"_s);
}

void TstFaultRule::text_wrong_isRefusedInWords_data()
{
    QTest::addColumn<QString>("problem");
    const QString words = u"; possible are client=NAME, port=query|receiver, frame=reply|push, operation=NAME, "
                          "command=NAME, nth=N, from=N, once, every, probability=P, seed=N, do=EFFECT"_s;
    const QString effects = u"possible are error:CODE[:TEXT], silence, delay:MS, operation:NAME, sizeline:TEXT, "
                            "size:+N|-N, pieces:BYTES:MS, cut:BYTES, damage[:BYTES[:base64|block]], again, drop, "
                            "limit:BYTES"_s;
    const QString oneOf = u" exclude each other: only one of nth, from, once and every is possible"_s;
    QTest::newRow("") << u"\"do=\" is missing; "_s + effects;
    QTest::newRow("client=a") << u"\"do=\" is missing; "_s + effects;
    QTest::newRow("clinet=a do=drop") << u"unknown word \"clinet=a\""_s + words;
    QTest::newRow("always do=drop") << u"unknown word \"always\""_s + words;
    QTest::newRow("%2%1 do=drop") << u"unknown word \"%2%1\""_s + words;
    QTest::newRow("client do=drop") << u"unknown word \"client\""_s + words;
    QTest::newRow("once=1 do=drop") << u"unknown word \"once=1\""_s + words;
    QTest::newRow("client= do=drop") << u"\"client=\" needs a value"_s;
    QTest::newRow("client=\"a do=drop") << u"a double quote is missing at the end of \"client=a do=drop\""_s;
    QTest::newRow("do=drop do=drop") << u"\"do\" is given twice"_s;
    QTest::newRow("once once do=drop") << u"\"once\" is given twice"_s;
    QTest::newRow("nth=1 from=2 do=drop") << u"\"nth\" and \"from\""_s + oneOf;
    QTest::newRow("once every do=drop") << u"\"once\" and \"every\""_s + oneOf;
    QTest::newRow("nth=0 do=drop") << u"nth and from must be numbers from 1 on, not 0"_s;
    QTest::newRow("nth=x do=drop") << u"nth needs a whole number, not x"_s;
    QTest::newRow("from=2147483648 do=drop") << u"from needs a whole number, not 2147483648"_s;
    QTest::newRow("probability=1.5 do=drop") << u"probability must be a number from 0 to 1, not 1.5"_s;
    QTest::newRow("probability=nan do=drop") << u"probability must be a number from 0 to 1, not nan"_s;
    QTest::newRow("probability=x do=drop") << u"probability must be a number from 0 to 1, not x"_s;
    QTest::newRow("seed=-1 probability=0.5 do=drop") << u"seed needs a whole number, not -1"_s;
    QTest::newRow("seed=1 do=drop") << u"seed needs probability=P, or do=damage: nothing else is left to chance"_s;
    const QString large(1000, u'x');
    const QString cut = QString(100, u'x') + u"…"_s;
    QTest::newRow(qPrintable(u"do=delay:"_s + large)) << u"do=delay needs a whole number, not "_s + cut;
    QTest::newRow(qPrintable(u"operation="_s + large + u" do=drop"_s))
        << u"operation=%1 is not possible; possible are handshake, saveState, loadState, saveSettings, "
           "loadSettings, loadSettingsList, removeSettings, subscribe, unsubscribe, sendMessage"_s.arg(cut);
    QTest::newRow(qPrintable(large)) << u"unknown word \"%1\""_s.arg(cut) + words;
    QTest::newRow(qPrintable(u"do=\""_s + large))
        << u"a double quote is missing at the end of \"do=%1…\""_s.arg(large.left(97));
    QTest::newRow("port=45535 do=drop") << u"port must be query or receiver, not 45535"_s;
    QTest::newRow("frame=request do=drop") << u"frame must be reply or push, not request"_s;
    QTest::newRow("operation=loadSetings do=drop")
        << u"operation=loadSetings is not possible; possible are handshake, saveState, loadState, saveSettings, "
           "loadSettings, loadSettingsList, removeSettings, subscribe, unsubscribe, sendMessage"_s;
    QTest::newRow("do=dely:5") << u"do=dely:5 is not possible; "_s + effects;
    QTest::newRow("do=delay") << u"do=delay is not possible; it must be do=delay:MS"_s;
    QTest::newRow("do=delay:1:2") << u"do=delay:1:2 is not possible; it must be do=delay:MS"_s;
    QTest::newRow("do=delay:long") << u"do=delay needs a whole number, not long"_s;
    QTest::newRow("do=delay:0") << u"do=delay needs a time in ms from 1 to 600000, not 0"_s;
    QTest::newRow("do=error:65535") << u"do=error needs a code from 0 to 65534, not 65535"_s;
    QTest::newRow("do=error:-1") << u"do=error needs a code from 0 to 65534, not -1"_s;
    QTest::newRow("do=silence:1") << u"do=silence:1 is not possible; it must be do=silence"_s;
    QTest::newRow("do=operation:") << u"do=operation needs the name of an operation"_s;
    QTest::newRow("do=size:0") << u"do=size needs a number of bytes too many (+1) or too few (-1), not 0"_s;
    QTest::newRow("do=\"sizeline:1\\n2\"") << u"do=sizeline needs a text of one line"_s;
    QTest::newRow("do=pieces:1") << u"do=pieces:1 is not possible; it must be do=pieces:BYTES:MS"_s;
    QTest::newRow("do=pieces:0:1") << u"do=pieces needs a number of bytes from 1 to 2147483647, not 0"_s;
    QTest::newRow("do=pieces:1:60001") << u"do=pieces needs gaps from 0 to 60000 ms, not 60001"_s;
    QTest::newRow("do=damage:0") << u"do=damage needs a number of bytes from 1 to 1000, not 0"_s;
    QTest::newRow("do=damage:1:zlib") << u"the level of do=damage must be block or base64, not zlib"_s;
    QTest::newRow("do=limit:0") << u"do=limit needs a number of bytes a second from 1 to 2147483647, not 0"_s;
    // Contradictions.
    QTest::newRow("frame=push port=query do=drop")
        << u"frame=push excludes port=query: pushes are on the receiver port"_s;
    QTest::newRow("port=query do=again") << u"do=again applies to pushes only, which are on the receiver port"_s;
    QTest::newRow("frame=reply do=again") << u"do=again applies to pushes only, which are on the receiver port"_s;
    QTest::newRow("operation=saveState do=again") << u"a push is always operation=sendMessage, not saveState"_s;
    QTest::newRow("frame=push operation=handshake do=drop")
        << u"a push is always operation=sendMessage, not handshake"_s;
    QTest::newRow("frame=push do=error:5") << u"do=error applies to replies only, not with frame=push"_s;
    QTest::newRow("frame=push do=operation:x") << u"do=operation applies to replies only, not with frame=push"_s;
    QTest::newRow("command=print operation=loadState do=drop")
        << u"command applies to operation=sendMessage only, not to loadState"_s;
    QTest::newRow("port=receiver operation=saveState do=drop")
        << u"port=receiver has the operations handshake and sendMessage only, not saveState"_s;
    QTest::newRow("port=receiver operation=sendMessage do=error:5")
        << u"on port=receiver the bus replies to handshakes only"_s;
    QTest::newRow("port=receiver command=print frame=reply do=drop")
        << u"on port=receiver the bus replies to handshakes only"_s;
}

/// The name of each row is the rule.
void TstFaultRule::text_wrong_isRefusedInWords()
{
    QFETCH(QString, problem);
    QCOMPARE(problemOf(QString::fromUtf8(QTest::currentDataTag())), problem);
}

void TstFaultRule::text_wrong_leavesRuleUntouched()
{
    FaultRule rule = ruleOf(u"client=a do=cut:5"_s);
    QVERIFY(isFailure(readFaultRule(u"client=b do=delay:0"_s, rule)));
    QCOMPARE(rule.toText(), u"client=a do=cut:5"_s);
}

void TstFaultRule::error_withoutText_hasTheBusWords()
{
    QCOMPARE(ruleOf(u"do=error:512"_s).text, u"Storage access error"_s);
    QCOMPARE(ruleOf(u"do=error:77"_s).text, QString());
}

/// A rule that was not read from a text.
void TstFaultRule::check_numberOutOfRange_isRefused()
{
    FaultRule rule;
    rule.effect = FaultRule::Effect::Delay;
    QVERIFY(isFailure(rule.check()));
    rule.amount = 5;
    QVERIFY(!isFailure(rule.check()));
    rule.often = FaultRule::Often::Nth;
    QVERIFY(isFailure(rule.check()));
    rule = FaultRule();
    rule.effect = FaultRule::Effect::Drop;
    rule.amount = 5;
    QCOMPARE(rule.check().description(), u"do=drop takes no number, but there is 5"_s);
}

void TstFaultRule::carriesOut_unlessRefusedOrSilent()
{
    QVERIFY(!ruleOf(u"do=error:5"_s).carriesOut());
    QVERIFY(!ruleOf(u"do=silence"_s).carriesOut());
    QVERIFY(ruleOf(u"do=drop"_s).carriesOut());
    QVERIFY(ruleOf(u"do=damage"_s).carriesOut());
}

QTEST_GUILESS_MAIN(TstFaultRule)
#include "tst_faultrule.moc"
