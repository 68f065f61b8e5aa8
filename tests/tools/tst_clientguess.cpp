#include "busprocess.h"
#include "fakebus.h"
#include "literals.h"
#include "programrun.h"

#include <QTest>

namespace {

QByteArray nothingStored(const QByteArray& guess, const QByteArray& what = "are no settings")
{
    const QByteArray words = "refused by the bus: 5 There " + what + " for client";
    return guess.isEmpty() ? words : words + "; did you mean \"" + guess + "\"?";
}

} // namespace

/// What stderr says about a client's name that is mistyped, and what it does not say with --quiet.
class TstClientGuess : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void name_withoutRecord_isGuessed_data();
    void name_withoutRecord_isGuessed();
    void name_severalOwners_areGuessedOneByOne();
    void send_toMistypedName_goesThere();
    void otherBus_libraryNamesAreGuessed();
    void quiet_saysNothingOfWhatIsDone();
    void quiet_failure_isTold_data();
    void quiet_failure_isTold();
};

void TstClientGuess::name_withoutRecord_isGuessed_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("guess");
    QTest::newRow("connected, letter missing") << u"kiosk_guide"_s << QByteArray("kiosk_guider");
    QTest::newRow("connected, letters exchanged") << u"kiosk_gudier"_s << QByteArray("kiosk_guider");
    QTest::newRow("stored, other case") << u"LIFT"_s << QByteArray("lift");
    QTest::newRow("of the library, wrong letters") << u"card_raedet"_s << QByteArray("card_reader");
    QTest::newRow("too far") << u"kiosk"_s << QByteArray();
    QTest::newRow("itself") << u"kiosk_guider"_s << QByteArray();
    QTest::newRow("of the library itself") << u"cashbox"_s << QByteArray();
    QTest::newRow("near one that only others have written to") << u"windwo"_s << QByteArray();
}

void TstClientGuess::name_withoutRecord_isGuessed()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, guess);
    const BusProcess bus;
    ScriptedClient client(u"kiosk_guider"_s);
    QVERIFY(ScriptedClient(u"lift"_s).saveState(u"up"_s, 0, QString(), someDate()));
    QVERIFY(client.send(u"window"_s, u"hello"_s, u"1"_s));
    ProgramRun run(u"settings get "_s + name);
    QCOMPARE(run.ending(), ended(1, {nothingStored(guess)}));
}

void TstClientGuess::name_severalOwners_areGuessedOneByOne()
{
    const BusProcess bus;
    ProgramRun run(u"state get cashbux nobody_else"_s);
    QCOMPARE(run.ending(),
             ended(1,
                   {"cashbux: " + nothingStored("cashbox", "is no state"),
                    "nobody_else: " + nothingStored({}, "is no state")}));
}

void TstClientGuess::send_toMistypedName_goesThere()
{
    const BusProcess bus;
    ProgramRun run(u"send cashbux hello"_s);
    QCOMPARE(run.status(), 0);
    const QByteArray words = told("nobody has ever been \"cashbux\" on this bus, as far as it knows; it treats the "
                                  "message like one for any absent client; did you mean \"cashbox\"?");
    QVERIFY2(run.err().startsWith(words + "tarvexctl: sent to cashbux"), run.err().constData());
    ScriptedClient receiver(u"cashbux"_s);
    QCOMPARE(receiver.receive().value(u"message"_s).toString(), u"hello"_s);
}

void TstClientGuess::otherBus_libraryNamesAreGuessed()
{
    FakeBus bus;
    bus.willReply(u"loadState"_s, 5, u"There are no settings for client"_s);
    ProgramRun run(u"state get door_senser"_s);
    QCOMPARE(run.ending(), ended(1, {nothingStored("door_sensor")}));
}

void TstClientGuess::quiet_saysNothingOfWhatIsDone()
{
    const BusProcess bus;
    for (const char* const line : {"--quiet state set ready", "send cashbux hello --quiet", "--quiet settings list",
                                   "listen --quiet --count 1 --as cashbux"}) {
        ProgramRun run(QString::fromLatin1(line));
        QCOMPARE(run.status(), 0);
        QCOMPARE(run.err(), QByteArray());
    }
    ProgramRun json(u"--quiet --json state set ready"_s);
    QCOMPARE(json.status(), 0);
    QCOMPARE(json.objects().size(), 1);
}

void TstClientGuess::quiet_failure_isTold_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("--quiet settings get cashbux") << 1 << nothingStored("cashbox");
    QTest::newRow("--quiet settings set a '' '' 1") << 2 << QByteArray("KEY must not be empty");
    QTest::newRow("--quiet listen --timeout 0.5") << 4 << QByteArray("nothing came within 0.5 s");
}

void TstClientGuess::quiet_failure_isTold()
{
    QFETCH(int, status);
    QFETCH(QByteArray, words);
    const BusProcess bus;
    ProgramRun run(QString::fromLatin1(QTest::currentDataTag()));
    QCOMPARE(run.ending(), ended(status, {words}));
}

QTEST_GUILESS_MAIN(TstClientGuess)
#include "tst_clientguess.moc"
