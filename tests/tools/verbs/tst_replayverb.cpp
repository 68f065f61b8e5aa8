#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"
#include "someframes.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace someframes;

namespace {

const QString BEEP = uR"({"cmd":"beep","data":{"times":2}})"_s;

QByteArray lineOf(const QVariantMap& object)
{
    return QJsonDocument(QJsonObject::fromVariantMap(object)).toJson(QJsonDocument::Compact) + '\n';
}

/// A recording in a file.
class Tape
{
public:
    explicit Tape(const QList<SeenFrame>& frames, const QByteArray& rest = QByteArray())
    {
        QByteArray text = lineOf({{u"tarvexRecording"_s, 1}});
        for (const SeenFrame& frame : frames) {
            text += lineOf(frame.toVariantMap());
        }
        QFile file(path());
        m_isWritten = file.open(QIODevice::WriteOnly) && file.write(text + rest) > 0;
    }

    bool isWritten() const { return m_isWritten; }

    QString path() const { return m_folder.filePath(u"tape.jsonl"_s); }

    QString replay(const QString& options) const { return u"replay %1 %2"_s.arg(path(), options); }

private:
    QTemporaryDir m_folder;
    bool m_isWritten = false;
};

/// The same frame that much later.
SeenFrame later(SeenFrame frame, int ms)
{
    frame.timeUs += ms * 1000LL;
    return frame;
}

/// gui asks for the state of the door.
QList<SeenFrame> question(const QVariantMap& answer)
{
    const SeenFrame load = request(3, u"gui"_s, u"loadState"_s, {{u"owner"_s, u"door"_s}});
    return {load, reply(4, load, 800, answer)};
}

QVariantMap doorState(const QString& state, const QString& date)
{
    return {{u"owner"_s, u"door"_s}, {u"state"_s, state}, {u"date"_s, date}, {u"type"_s, 0}, {u"description"_s, u""_s}};
}

/// gui introduces itself on its receiving connection.
QList<SeenFrame> receiverHandshake()
{
    SeenFrame handshake = request(10, QString(), u"handshake"_s, {{u"name"_s, u"gui"_s}});
    handshake.port = Port::Receiver;
    handshake.connection = 2;
    SeenFrame accepted = reply(11, handshake);
    accepted.client = u"gui"_s;
    return {handshake, accepted};
}

} // namespace

class TstReplayVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void requests_arePlayed();
    void commands_onlyWhenWanted();
    void spacing_isKept();
    void difference_isShown_data();
    void difference_isShown();
    void push_isAcknowledgedAndCompared();
    void only_playsThatClient();
    void replyMissing_is4_orADifference();
    void badFrames_areLeftOut();
    void connectionLost_is3_orADifference_data();
    void connectionLost_is3_orADifference();
    void connectionClosedAsRecorded_isNoDifference();
    void connectedClient_isRefused();
    void noBus_is3();
    void step_waitsForEnter_data();
    void step_waitsForEnter();
    void step_takesOneFrameForEachLine();
    void lastLineCut_isTold();
    void wrongRecording_isRefusedBeforeConnecting();
    void wrongUse_isRefused_data();
    void wrongUse_isRefused();
    void asBus_answersAndPushes();
    void asBus_commandsOnlyWhenWanted();
    void asBus_logLineIsPushed();
    void asBus_otherOrder_getsTheRecordedReplies();
    void asBus_tellsOfOtherRequests();
    void asBus_badFrame_isADifference();
    void asBus_badFrameOfTheBus_isLeftOut();
    void asBus_stepsLeft_is1();
    void asBus_lateLastReply_isSent();
    void asBus_portTaken_is1();
    void asBus_timeOut_is4();
};

void TstReplayVerb::requests_arePlayed()
{
    FakeBuses buses;
    buses.query.willReply(u"loadState"_s, 0, QString(), doorState(u"open"_s, u"another date"_s));
    const Tape tape(question(doorState(u"open"_s, u"a date"_s)));
    ProgramRun run(u"--json "_s + tape.replay(u"--speed max"_s));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects(), (QList<QVariantMap>{{{u"done"_s, u"replay"_s}, {u"sent"_s, 2}, {u"differences"_s, 0}}}));
    QCOMPARE(operations(buses.query), QStringList{u"loadState"_s});
    QCOMPARE(requested(buses.query), (QVariantMap{{u"owner"_s, u"door"_s}}));
    QCOMPARE(buses.query.handshakes().value(0).data.value(u"name"_s).toString(), u"gui"_s);
}

void TstReplayVerb::commands_onlyWhenWanted()
{
    FakeBuses buses;
    buses.query.willAlwaysDo(FakeBus::answer);
    const SeenFrame text = message(1, u"gui"_s, u"printer"_s, u"hello"_s);
    const SeenFrame command = message(3, u"gui"_s, u"printer"_s, BEEP);
    const Tape tape({text, reply(2, text), command, reply(4, command)});
    ProgramRun careful(tape.replay(u"--speed max"_s));
    QCOMPARE(careful.ending(),
             ended(0,
                   {"left out 1 command; --with-commands plays them too",
                    "played 2 frames; everything came back as recorded"}));
    QCOMPARE(buses.query.requests().size(), 1);
    ProgramRun run(tape.replay(u"--speed max --with-commands"_s));
    QCOMPARE(run.ending(), ended(0, {"played 3 frames; everything came back as recorded"}));
    QCOMPARE(buses.query.requests().size(), 3);
    const QVariantMap sent = requested(buses.query, 2);
    QCOMPARE(sent.value(u"message"_s).toString(), BEEP);
    // The receiver would drop a uid that it has seen before.
    QVERIFY(sent.value(u"UID"_s).toString() != u"uid"_s && !sent.value(u"UID"_s).toString().isEmpty());
}

void TstReplayVerb::spacing_isKept()
{
    FakeBuses buses;
    buses.query.willAlwaysDo(FakeBus::answer);
    const SeenFrame first = request(1, u"gui"_s, u"loadState"_s, {});
    const SeenFrame second = later(request(3, u"gui"_s, u"loadState"_s, {}), 800);
    const Tape tape({first, reply(2, first), second, later(reply(4, second), 800)});
    QElapsedTimer timer;
    timer.start();
    ProgramRun run(tape.replay(u"--speed 2"_s));
    QCOMPARE(run.status(), 0);
    QVERIFY(timer.elapsed() >= 400);
    QCOMPARE(buses.query.requests().size(), 2);
}

void TstReplayVerb::difference_isShown_data()
{
    QTest::addColumn<QVariantMap>("answer");
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("out");
    QTest::newRow("none") << doorState(u"open"_s, u"another"_s) << QString() << 0 << QByteArray();
    QTest::newRow("value") << doorState(u"shut"_s, u"another"_s) << QString() << 1
                           << QByteArray("#4  gui  reply to loadState: data.state: \"open\" was recorded, \"shut\" "
                                         "came\n");
    QTest::newRow("control character")
        << doorState(u"\x1b"_s, u"another"_s) << QString() << 1
        << QByteArray("#4  gui  reply to loadState: data.state: \"open\" was recorded, \"\\u001b\" came\n");
    QTest::newRow("strict") << doorState(u"open"_s, u"another"_s) << u"--strict"_s << 1
                            << QByteArray("#4  gui  reply to loadState: data.date: \"a date\" was recorded, "
                                          "\"another\" came\n");
}

void TstReplayVerb::difference_isShown()
{
    QFETCH(QVariantMap, answer);
    QFETCH(QString, options);
    FakeBuses buses;
    buses.query.willReply(u"loadState"_s, 0, QString(), answer);
    const Tape tape(question(doorState(u"open"_s, u"a date"_s)));
    ProgramRun run(tape.replay(u"--speed max --diff "_s + options));
    QTEST(run.status(), "status");
    QTEST(run.out(), "out");
}

void TstReplayVerb::push_isAcknowledgedAndCompared()
{
    BusProcess bus;
    ScriptedClient door(u"door"_s);
    QVERIFY(door.send(u"gui"_s, u"open"_s, u"1"_s));
    QCOMPARE(bus.messages().size(), 1);
    const SeenFrame pushed = push(12, u"door"_s, u"gui"_s, u"open"_s);
    const Tape tape(receiverHandshake() << pushed << reply(13, pushed));
    ProgramRun run(tape.replay(u"--speed max --diff"_s));
    QCOMPARE(run.ending(), ended(0, {"played 1 frame; everything came back as recorded"}));
    QTRY_COMPARE_WITH_TIMEOUT(bus.messages(), QStringList(), ChildProcess::PATIENCE_MS);
    // It does not come a second time.
    ProgramRun again(tape.replay(u"--speed max --diff --patience 0.3"_s));
    QCOMPARE(again.status(), 1);
    QVERIFY2(again.out().startsWith("#12  gui  pushed message: {"), again.out().constData());
}

void TstReplayVerb::only_playsThatClient()
{
    FakeBuses buses;
    buses.query.willAlwaysDo(FakeBus::answer);
    SeenFrame other = request(5, u"door"_s, u"saveState"_s, {});
    other.connection = 7;
    const Tape tape(question({}) << other << reply(6, other));
    ProgramRun run(tape.replay(u"--speed max --only door"_s));
    QCOMPARE(run.status(), 0);
    QCOMPARE(operations(buses.query), QStringList{u"saveState"_s});
    ProgramRun unknown(tape.replay(u"--only nobody"_s));
    QCOMPARE(unknown.ending(),
             ended(2, {"--only: there is no client \"nobody\" in the recording; there are gui, door"}));
}

void TstReplayVerb::replyMissing_is4_orADifference()
{
    FakeBuses buses;
    const Tape tape(question({}));
    ProgramRun run(tape.replay(u"--speed max --patience 0.3"_s));
    QCOMPARE(run.ending(), ended(4, {"the bus has not replied to #3, loadState of gui, in time"}));
    ProgramRun diff(tape.replay(u"--speed max --patience 0.3 --diff"_s));
    QCOMPARE(diff.status(), 1);
    QVERIFY2(diff.out().contains("#4  gui  reply to loadState: {") && diff.out().contains("nothing came"),
             diff.out().constData());
}

void TstReplayVerb::badFrames_areLeftOut()
{
    FakeBuses buses;
    buses.query.willAlwaysDo(FakeBus::answer);
    const Tape tape(question({}) << incident(5, Kind::Bad, u"gui"_s, u"no envelope"_s)
                                 << incident(6, Kind::Bad, u"gui"_s, u"no envelope"_s));
    ProgramRun run(tape.replay(u"--speed max"_s));
    QCOMPARE(run.ending(), ended(0, {"left out 2 bad frames", "played 2 frames; everything came back as recorded"}));
}

void TstReplayVerb::connectionLost_is3_orADifference_data()
{
    QTest::addColumn<QByteArray>("last");
    QTest::addColumn<QByteArray>("why");
    QTest::newRow("closed") << QByteArray() << QByteArray("The remote host closed the connection");
    QTest::newRow("rubbish") << QByteArray("[-RUBBISH-]\r\n")
                             << QByteArray("a line that begins no frame: \"[-RUBBISH-]");
}

void TstReplayVerb::connectionLost_is3_orADifference()
{
    QFETCH(QByteArray, last);
    QFETCH(QByteArray, why);
    FakeBuses buses;
    buses.query.willAlwaysDo(sends(last, true));
    // The bus ends the connection instead of the first reply, so the second request cannot be sent.
    const SeenFrame second = request(5, u"gui"_s, u"saveState"_s, {});
    const Tape tape(question({}) << second);
    ProgramRun run(tape.replay(QString()));
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 3);
    QVERIFY2(ending.err.startsWith(told("a connection of gui to the bus was lost: " + why).trimmed()),
             ending.err.constData());
    ProgramRun diff(u"--quiet "_s + tape.replay(u"--diff"_s));
    const Ending compared = diff.ending();
    QCOMPARE(compared.status, 1);
    QVERIFY2(compared.err.startsWith(told("a connection of gui to the bus was lost: " + why).trimmed()),
             compared.err.constData());
    QCOMPARE(compared.out.count('\n'), 3);
    QVERIFY2(compared.out.startsWith("-  gui  end of the query connection: nothing was recorded, "),
             compared.out.constData());
    QVERIFY2(compared.out.contains("\n#5  gui  request saveState, which was not sent: "), compared.out.constData());
}

void TstReplayVerb::connectionClosedAsRecorded_isNoDifference()
{
    FakeBuses buses;
    buses.query.willAlwaysDo(sends(FakeBus::replyFrame(u"loadState"_s, 0), true));
    SeenFrame closed = later(incident(5, Kind::Closed, u"gui"_s), 700);
    const Tape tape(question({}) << closed);
    const Ending done = ended(0, {"played 2 frames; everything came back as recorded"});
    ProgramRun run(tape.replay(QString()));
    QCOMPARE(run.ending(), done);
    ProgramRun diff(tape.replay(u"--diff"_s));
    QCOMPARE(diff.ending(), done);
}

void TstReplayVerb::connectedClient_isRefused()
{
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    const Tape tape(question({}));
    ProgramRun run(tape.replay(QString()));
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 1);
    QVERIFY2(ending.err.startsWith("tarvexctl: gui is connected, and would lose its connections"),
             ending.err.constData());
    ProgramRun forced(tape.replay(u"--force --speed max"_s));
    QCOMPARE(forced.status(), 0);
}

void TstReplayVerb::noBus_is3()
{
    const Tape tape(question({}));
    ProgramRun run(tape.replay(QString()));
    QCOMPARE(run.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
}

void TstReplayVerb::step_waitsForEnter_data()
{
    QTest::addColumn<QString>("options");
    QTest::newRow("played") << QString();
    QTest::newRow("compared") << u" --diff"_s;
}

void TstReplayVerb::step_waitsForEnter()
{
    QFETCH(QString, options);
    FakeBuses buses;
    buses.query.willAlwaysDo(FakeBus::answer);
    const SeenFrame second = request(5, u"gui"_s, u"saveState"_s, {});
    const Tape tape(question({}) << second << reply(6, second));
    ProgramRun run(u"--quiet "_s + tape.replay(u"--step"_s + options), ProgramRun::StdinEmpty);
    QCOMPARE(run.ending(), ended(1, {"the input ended, so 2 steps were not played"}));
    QCOMPARE(buses.query.requests().size(), 0);
}

void TstReplayVerb::step_takesOneFrameForEachLine()
{
    FakeBuses buses;
    buses.query.willAlwaysDo(FakeBus::answer);
    SeenFrame second = request(5, u"gui"_s, u"saveState"_s, {});
    const Tape tape(question({}) << second << reply(6, second));
    ChildProcess run(u"/bin/sh"_s, {u"-c"_s, u"echo | %1 %2"_s.arg(ProgramRun::program(), tape.replay(u"--step"_s))});
    QVERIFY(run.start());
    QCOMPARE(run.status(), 1);
    QCOMPARE(operations(buses.query), QStringList{u"loadState"_s});
    QVERIFY2(run.err().endsWith(told("the input ended, so 1 step was not played")), run.err().constData());
    ProgramRun fromStdin(u"replay - --step"_s);
    QCOMPARE(fromStdin.ending(), ended(2, {"--step reads stdin, so the recording must be a file"}));
}

void TstReplayVerb::lastLineCut_isTold()
{
    FakeBuses buses;
    buses.query.willAlwaysDo(FakeBus::answer);
    const Tape tape(question({}), R"({"kind":"requ)");
    ProgramRun run(tape.replay(u"--speed max"_s));
    QCOMPARE(run.ending(),
             ended(0,
                   {"the last line is cut and was left out: the recorder was killed, most likely",
                    "played 2 frames; everything came back as recorded"}));
}

void TstReplayVerb::wrongRecording_isRefusedBeforeConnecting()
{
    FakeBuses buses;
    const Tape tape(question({}), "{\"kind\":\"dance\"}\n{}\n");
    ProgramRun run(tape.replay(u"--speed max"_s));
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 2);
    QVERIFY2(ending.err.startsWith("tarvexctl: line 4: this is no frame"), ending.err.constData());
    QCOMPARE(buses.query.connectionCount(), 0);
}

void TstReplayVerb::wrongUse_isRefused_data()
{
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("--speed fast") << QByteArray("--speed must be a number from 0.001 to 1000000, or max");
    QTest::newRow("--speed 0") << QByteArray("--speed must be");
    QTest::newRow("--patience -1") << QByteArray("--patience must be");
    QTest::newRow("--timeout x") << QByteArray("--timeout must be");
    QTest::newRow("--strict") << QByteArray("--strict needs --diff");
}

void TstReplayVerb::wrongUse_isRefused()
{
    QFETCH(QByteArray, words);
    const Tape tape(question({}));
    ProgramRun run(tape.replay(QString::fromUtf8(QTest::currentDataTag())));
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 2);
    QVERIFY2(ending.err.startsWith("tarvexctl: " + words), ending.err.constData());
}

void TstReplayVerb::asBus_answersAndPushes()
{
    const SeenFrame save = request(3, u"gui"_s, u"saveState"_s, {{u"state"_s, u"ready"_s}});
    const SeenFrame pushed = push(12, u"door"_s, u"gui"_s, u"open"_s);
    const SeenFrame acknowledged =
        reply(13, pushed, 800, {{u"sender"_s, u"door"_s}, {u"reciever"_s, u"gui"_s}, {u"uid"_s, u"uid"_s}});
    const Tape tape((QList<SeenFrame>{save, refusal(4, save, 5, u"no room"_s)} << receiverHandshake())
                    << later(pushed, 5) << later(acknowledged, 5));
    QVERIFY(tape.isWritten());
    ProgramRun run(tape.replay(u"--as-bus --diff"_s));
    QVERIFY(run.waitForWords(told("playing the bus to gui")));
    BusClient query(BusClient::QUERY_PORT, u"gui"_s);
    const BusClient::Frame refused = query.ask(u"saveState"_s, {{u"state"_s, u"ready"_s}});
    QCOMPARE(refused.code, 5);
    QCOMPARE(refused.description, u"no room"_s);
    BusClient receiver(BusClient::RECEIVER_PORT, u"gui"_s);
    const BusClient::Frame came = receiver.read();
    QCOMPARE(came.data.value(u"message"_s).toString(), u"open"_s);
    QVERIFY(came.uid() != u"uid"_s);
    receiver.acknowledge(came);
    const Ending ending = run.ending();
    QVERIFY2(ending.out.isEmpty(), ending.out.constData());
    QCOMPARE(ending.status, 0);
}

void TstReplayVerb::asBus_commandsOnlyWhenWanted()
{
    const SeenFrame beep = push(12, u"door"_s, u"gui"_s, BEEP);
    SeenFrame changed = push(13, u"door"_s, u"gui"_s, u"{\"cmd\":\"stateChanged\",\"data\":{}}"_s);
    changed.data.insert(u"UID"_s, u"2"_s);
    const Tape tape(receiverHandshake() << beep << changed);
    ProgramRun run(tape.replay(u"--as-bus --speed max"_s));
    QVERIFY(run.waitForWords("left out 1 command"));
    QVERIFY(run.waitForWords(told("playing the bus to gui")));
    BusClient receiver(BusClient::RECEIVER_PORT, u"gui"_s);
    QCOMPARE(receiver.read().data.value(u"message"_s).toString(), u"{\"cmd\":\"stateChanged\",\"data\":{}}"_s);
    QCOMPARE(run.status(), 0);
}

void TstReplayVerb::asBus_logLineIsPushed()
{
    const QString line = u"{\"cmd\":\"saveLog\",\"data\":{}}"_s;
    const Tape tape(receiverHandshake() << push(12, u"door"_s, u"gui"_s, line));
    ProgramRun run(tape.replay(u"--as-bus --with-commands"_s));
    QVERIFY(run.waitForWords(told("playing the bus to gui")));
    BusClient receiver(BusClient::RECEIVER_PORT, u"gui"_s);
    QCOMPARE(receiver.read().data.value(u"message"_s).toString(), line);
    QCOMPARE(run.status(), 0);
}

void TstReplayVerb::asBus_otherOrder_getsTheRecordedReplies()
{
    QList<SeenFrame> frames;
    for (const QString& owner : {u"a"_s, u"b"_s, u"c"_s}) {
        const qint64 number = frames.size() + 1;
        const SeenFrame load = request(number, u"gui"_s, u"loadState"_s, {{u"owner"_s, owner}});
        frames << load << reply(number + 1, load, 0, {{u"state"_s, u"state of "_s + owner}});
    }
    const Tape tape(frames);
    ProgramRun run(tape.replay(u"--as-bus --diff"_s));
    QVERIFY(run.waitForWords(told("playing the bus to gui")));
    BusClient query(BusClient::QUERY_PORT, u"gui"_s);
    for (const QString& owner : {u"c"_s, u"a"_s, u"b"_s}) {
        QCOMPARE(query.ask(u"loadState"_s, {{u"owner"_s, owner}}).data.value(u"state"_s).toString(),
                 u"state of "_s + owner);
    }
    QCOMPARE(run.ending(), ended(0, {"playing the bus to gui", "played 3 frames; everything came back as recorded"}));
}

void TstReplayVerb::asBus_tellsOfOtherRequests()
{
    const SeenFrame save = request(3, u"gui"_s, u"saveState"_s, {{u"state"_s, u"ready"_s}});
    const Tape tape(receiverHandshake() << save << reply(14, save));
    ProgramRun run(tape.replay(u"--as-bus --diff --speed max --patience 1"_s));
    QVERIFY(run.waitForWords(told("playing the bus to gui")));
    BusClient stranger(BusClient::QUERY_PORT);
    QCOMPARE(stranger.ask(u"handshake"_s, {{u"name"_s, u"nobody"_s}}).code, 4);
    BusClient query(BusClient::QUERY_PORT, u"gui"_s);
    QCOMPARE(query.ask(u"loadState"_s, {{u"owner"_s, u"door"_s}}).code, 4);
    QCOMPARE(query.ask(u"saveState"_s, {{u"state"_s, u"busy"_s}}).code, 0);
    BusClient receiver(BusClient::RECEIVER_PORT, u"gui"_s);
    QCOMPARE(run.status(), 1);
    QVERIFY2(run.out().contains("-  gui  request loadState: nothing was recorded, {"), run.out().constData());
    QVERIFY2(run.out().contains("#3  gui  request saveState: data.state: \"ready\" was recorded, \"busy\" came"),
             run.out().constData());
    QVERIFY(run.err().contains("\"nobody\" is not played; its handshake is refused"));
}

void TstReplayVerb::asBus_badFrame_isADifference()
{
    const Tape tape(question({}));
    ProgramRun run(tape.replay(u"--as-bus --diff --patience 30"_s));
    QVERIFY(run.waitForWords(told("playing the bus to gui")));
    BusClient spoilt(BusClient::QUERY_PORT, u"gui"_s);
    QVERIFY(spoilt.send("[-RUBBISH-]\r\n"));
    QVERIFY(spoilt.waitForClose());
    BusClient query(BusClient::QUERY_PORT, u"gui"_s);
    QCOMPARE(query.ask(u"loadState"_s, {{u"owner"_s, u"door"_s}}).code, 0);
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 1);
    QVERIFY2(ending.out.startsWith("-  gui  bad frame: nothing was recorded, \"a line that begins no frame: "),
             ending.out.constData());
}

void TstReplayVerb::asBus_badFrameOfTheBus_isLeftOut()
{
    SeenFrame bad = incident(12, Kind::Bad, u"gui"_s, u"no envelope"_s);
    bad.direction = Direction::Out;
    const Tape tape(receiverHandshake() << bad);
    ProgramRun run(tape.replay(u"--as-bus"_s));
    QVERIFY(run.waitForWords(told("playing the bus to gui")));
    BusClient receiver(BusClient::RECEIVER_PORT, u"gui"_s);
    QCOMPARE(
        run.ending(),
        ended(0,
              {"left out 1 bad frame", "playing the bus to gui", "played 1 frame; everything came back as recorded"}));
}

void TstReplayVerb::asBus_stepsLeft_is1()
{
    const Tape tape(receiverHandshake() << push(12, u"door"_s, u"gui"_s, u"open"_s));
    ProgramRun run(tape.replay(u"--as-bus --step"_s), ProgramRun::StdinEmpty);
    QVERIFY(run.waitForWords(told("playing the bus to gui")));
    BusClient receiver(BusClient::RECEIVER_PORT, u"gui"_s);
    QCOMPARE(run.ending(), ended(1, {"playing the bus to gui", "the input ended, so 1 step was not played"}));
}

void TstReplayVerb::asBus_lateLastReply_isSent()
{
    const SeenFrame load = request(3, u"gui"_s, u"loadState"_s, {});
    const Tape tape({load, reply(4, load, 500000, {{u"state"_s, u"open"_s}})});
    // Nothing else is left to do when the request has come.
    ProgramRun run(tape.replay(u"--as-bus --diff --patience 30"_s));
    QVERIFY(run.waitForWords(told("playing the bus to gui")));
    BusClient query(BusClient::QUERY_PORT, u"gui"_s);
    QCOMPARE(query.ask(u"loadState"_s, {}).data.value(u"state"_s).toString(), u"open"_s);
    QCOMPARE(run.ending(), ended(0, {"playing the bus to gui", "played 1 frame; everything came back as recorded"}));
}

void TstReplayVerb::asBus_portTaken_is1()
{
    FakeBuses buses;
    const Tape tape(question({}));
    ProgramRun run(tape.replay(u"--as-bus"_s));
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 1);
    QVERIFY2(ending.err.startsWith("tarvexctl: cannot play the bus on port 45535: "), ending.err.constData());
}

void TstReplayVerb::asBus_timeOut_is4()
{
    const Tape tape(question({}));
    ProgramRun run(tape.replay(u"--as-bus --timeout 0.5"_s));
    QCOMPARE(run.ending(), ended(4, {"playing the bus to gui", "not everything was played within 0.5 s"}));
}

QTEST_GUILESS_MAIN(TstReplayVerb)
#include "tst_replayverb.moc"
