#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QDir>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

namespace {

const QByteArray NO_BUS("no bus to be reached on 127.0.0.1: Connection refused; \"tarvex-devbus\" starts a development "
                        "bus, \"tarvexctl --help\" shows the verbs");

/// The value of a line "NAME  VALUE".
QString field(const QStringList& lines, const QString& name)
{
    for (const QString& line : lines) {
        if (line.startsWith(name + QLatin1Char(' '))) {
            return line.mid(name.size()).trimmed();
        }
    }
    return QString();
}

/// The rows of the table, each with single blanks.
QStringList table(const QStringList& lines)
{
    QStringList rows = lines.mid(lines.indexOf(QString()) + 1);
    for (QString& row : rows) {
        row = row.simplified();
    }
    return lines.contains(QString()) ? rows : QStringList();
}

bool matches(const QString& text, const QString& pattern)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern)).match(text).hasMatch();
}

/// Answers like a bus that has a state of the cashbox and of nobody else.
void answerWithOneState(FakeBus::Peer& peer, const FakeBus::Request& request)
{
    const QString owner = request.data.value(u"owner"_s).toString();
    if (owner == u"cashbox"_s) {
        peer.send(FakeBus::replyFrame(request.operation, 0, QString(),
                                      {{u"owner"_s, owner},
                                       {u"date"_s, someDate()},
                                       {u"description"_s, QString()},
                                       {u"state"_s, u"low"_s},
                                       {u"type"_s, 1}}));
    } else {
        peer.send(FakeBus::replyFrame(request.operation, 5));
    }
}

const QByteArray KNOWN_NAMES_ONLY("this bus does not tell who is there; only the states of the 15 names that the "
                                  "library knows are asked for");

} // namespace

/// The verb "status", which also runs without a verb.
class TstStatusVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void developmentBus_isShownAtAGlance();
    void developmentBus_inMemory_withoutClients();
    void developmentBus_asJson_isOneObject();
    void manyClients_fitOnAScreen();
    void controlCharactersAndLongStates_areMadeFit();
    void leavesNoTrace();
    void otherBus_showsWhatIsKnown();
    void otherBus_asJson_hasNoClients();
    void noBus_is3AndTellsWhatToDo_data();
    void noBus_is3AndTellsWhatToDo();
    void stranger_is3();
    void hungDevelopmentBus_is4();
    void hungOtherBus_is4();
    void storageFails_isShownAndIs1();
    void stdoutFull_is1();
};

void TstStatusVerb::developmentBus_isShownAtAGlance()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    const BusClient receiver(BusClient::RECEIVER_PORT, u"gui"_s);
    QVERIFY(printer.saveState(u"ready"_s, 2, QString(), someDate()));
    QVERIFY(printer.send(u"cashbox"_s, u"hello"_s, u"1"_s));
    QVERIFY(printer.send(u"cashbox"_s, u"hello"_s, u"2"_s));
    ProgramRun run(QString{});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    const QStringList lines = run.lines();
    QVERIFY2(matches(field(lines, u"Bus"_s), u"development bus 5\\.0\\.28, process \\d+"_s), run.out().constData());
    QVERIFY2(matches(field(lines, u"Running"_s), u"since 20\\d\\d-\\S+ \\(\\d+ (s|min)\\)"_s), run.out().constData());
    QVERIFY2(matches(field(lines, u"Storage"_s), u"/.*/bus\\.sqlite, \\d+\\.\\d KiB"_s), run.out().constData());
    QCOMPARE(field(lines, u"Traffic"_s), u"connections 3, requests so far 6, acknowledged messages 0"_s);
    QVERIFY2(matches(field(lines, u"Answer"_s), u"after [0-9.]+ ms"_s), run.out().constData());
    QCOMPARE(table(lines),
             (QStringList{u"CLIENT CONNECTIONS WAITING TAKEN STATE SINCE TYPE STATE"_s, u"cashbox - 2 - - - -"_s,
                          u"gui receiver only - - - - -"_s, u"printer both - - 2026-03-01T10:11:00.345 2 ready"_s}));
}

void TstStatusVerb::developmentBus_inMemory_withoutClients()
{
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun run(u"status"_s);
    QCOMPARE(run.status(), 0);
    QVERIFY2(matches(field(run.lines(), u"Storage"_s), u"in memory, \\d+\\.\\d KiB"_s), run.out().constData());
    QCOMPARE(table(run.lines()), QStringList());
}

void TstStatusVerb::developmentBus_asJson_isOneObject()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.saveState(u"ready"_s, 2, QString(), someDate()));
    ProgramRun run(u"--json"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.objects().size(), 1);
    const QVariantMap object = run.objects().constFirst();
    QCOMPARE(object.keys(), (QStringList{u"about"_s, u"answerMs"_s, u"bus"_s, u"clients"_s, u"states"_s}));
    QCOMPARE(object.value(u"bus"_s).toString(), u"development"_s);
    QVERIFY(object.value(u"answerMs"_s).toDouble() > 0);
    QCOMPARE(object.value(u"about"_s).toMap().value(u"program"_s).toString(), u"tarvex-devbus"_s);
    const QVariantList clients = object.value(u"clients"_s).toList();
    QCOMPARE(clients.size(), 1);
    QCOMPARE(clients.constFirst().toMap().value(u"name"_s).toString(), u"printer"_s);
    const QVariantList states = object.value(u"states"_s).toList();
    QCOMPARE(states.size(), 1);
    QCOMPARE(states.constFirst().toMap().value(u"state"_s).toString(), u"ready"_s);
}

void TstStatusVerb::manyClients_fitOnAScreen()
{
    constexpr int CLIENTS = 43;
    const BusProcess bus(BusProcess::InMemory);
    BusClient client(BusClient::QUERY_PORT, u"a"_s);
    for (int i = 1; i < CLIENTS; ++i) {
        const QVariantMap state{{u"owner"_s, u"n%1"_s.arg(i, 3, 10, QLatin1Char('0'))}};
        QCOMPARE(client.ask(u"saveState"_s, state).code, 0);
    }
    ProgramRun run(u"status"_s);
    QCOMPARE(run.status(), 0);
    const QStringList rows = table(run.lines());
    QCOMPARE(rows.size(), 42);
    QVERIFY2(rows.at(40).startsWith(u"n039 "_s), qPrintable(rows.at(40)));
    QCOMPARE(rows.at(41), u"and 3 more: see \"tarvexctl clients\" and \"tarvexctl state list\""_s);
    ProgramRun json(u"status --json"_s);
    QCOMPARE(json.status(), 0);
    QCOMPARE(json.objects().value(0).value(u"clients"_s).toList().size(), CLIENTS);
}

void TstStatusVerb::controlCharactersAndLongStates_areMadeFit()
{
    const BusProcess bus(BusProcess::InMemory);
    ScriptedClient client(u"a\x1b[2J"_s);
    QVERIFY(client.saveState(u"\n"_s + QString(60, QLatin1Char('x')), 0, QString(), someDate()));
    ProgramRun run(u"status"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(table(run.lines()).value(1),
             u"a\\x1b[2J both - - 2026-03-01T10:11:00.345 0 \\n%1…"_s.arg(QString(38, QLatin1Char('x'))));
}

void TstStatusVerb::leavesNoTrace()
{
    const BusProcess bus(BusProcess::InMemory);
    for (int round = 0; round < 2; ++round) {
        ProgramRun run(u"status"_s);
        QCOMPARE(run.status(), 0);
        QVERIFY2(field(run.lines(), u"Traffic"_s).startsWith(u"connections 0, "_s), run.out().constData());
        QCOMPARE(table(run.lines()), QStringList());
    }
}

void TstStatusVerb::otherBus_showsWhatIsKnown()
{
    FakeBus bus;
    bus.willAlwaysDo(answerWithOneState);
    ProgramRun run(u"--as monitor"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), told(KNOWN_NAMES_ONLY));
    QCOMPARE(field(run.lines(), u"Bus"_s), u"another one than a development bus of this user"_s);
    QVERIFY2(field(run.lines(), u"Answer"_s).startsWith(u"after "_s), run.out().constData());
    QCOMPARE(table(run.lines()),
             (QStringList{u"CLIENT STATE SINCE TYPE STATE"_s, u"cashbox 2026-03-01T10:11:00.345 1 low"_s}));
    QCOMPARE(bus.requests().size(), 16);
    QStringList asked = operations(bus);
    asked.removeDuplicates();
    QCOMPARE(asked, QStringList{u"loadState"_s}); // nothing is changed
    QCOMPARE(requested(bus).value(u"owner"_s).toString(), u"monitor"_s);
}

void TstStatusVerb::otherBus_asJson_hasNoClients()
{
    FakeBus bus;
    bus.willAlwaysDo(answerWithOneState);
    ProgramRun run(u"status --json --quiet"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.objects().size(), 1);
    const QVariantMap object = run.objects().constFirst();
    QCOMPARE(object.keys(), (QStringList{u"answerMs"_s, u"bus"_s, u"states"_s}));
    QCOMPARE(object.value(u"bus"_s).toString(), u"other"_s);
    QCOMPARE(object.value(u"states"_s).toList().size(), 1);
}

void TstStatusVerb::noBus_is3AndTellsWhatToDo_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("without a verb") << QString();
    QTest::newRow("with options only") << u"--json --quiet --as monitor"_s;
    QTest::newRow("verb") << u"status"_s;
}

void TstStatusVerb::noBus_is3AndTellsWhatToDo()
{
    QFETCH(QString, line);
    ProgramRun run(line);
    QCOMPARE(run.ending(), ended(3, {NO_BUS}));
}

void TstStatusVerb::stranger_is3()
{
    FakeBus bus;
    bus.willGreet("220 mail\r\n");
    ProgramRun run(u"status"_s);
    QCOMPARE(run.status(), 3);
    QVERIFY2(run.err().startsWith("tarvexctl: what answered is no reply of the bus: 220 mail"), run.err().constData());
    QCOMPARE(run.out(), QByteArray());
}

void TstStatusVerb::hungDevelopmentBus_is4()
{
    BusProcess bus(BusProcess::InMemory);
    bus.hang();
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(u"status --timeout 2"_s);
    QCOMPARE(run.ending(),
             ended(4, {"the bus is there, but did not answer within the time-out"},
                   "Bus     development bus\nAnswer  none\n"));
    QVERIFY(timer.elapsed() < 15000); // the library's own wait takes 30 s
    bus.goOn();
}

void TstStatusVerb::hungOtherBus_is4()
{
    FakeBus bus;
    bus.willAnswerHandshake(sayNothing);
    ProgramRun run(u"status --timeout 2"_s);
    QCOMPARE(run.ending(10000), ended(4, {"the bus is there, but did not answer within the time-out"}));
}

void TstStatusVerb::storageFails_isShownAndIs1()
{
    const BusProcess bus;
    const QString file = bus.storagePath();
    QVERIFY(QFile::remove(file));
    ProgramRun run(u"status"_s);
    QCOMPARE(run.status(), 1);
    QVERIFY2(run.err().startsWith("tarvexctl: refused by the bus: 256 "), run.err().constData());
    QVERIFY2(field(run.lines(), u"Storage"_s).startsWith(file + u" FAILS: 256 "_s), run.out().constData());
}

void TstStatusVerb::stdoutFull_is1()
{
    const BusProcess bus(BusProcess::InMemory);
    ProgramRun run(u"status"_s, ProgramRun::StdoutFull);
    QCOMPARE(run.ending(), ended(1, {"cannot write to stdout: No space left on device"}));
}

QTEST_GUILESS_MAIN(TstStatusVerb)
#include "tst_statusverb.moc"
