#include "replayscript.h"

#include "someframes.h"

#include <QTest>

using namespace someframes;
using namespace tarvexctl;

namespace {

const QString PRINT = u"{\"cmd\":\"print\",\"data\":{\"copies\":1}}"_s;

Recording recordingOf(const QList<SeenFrame>& frames)
{
    Recording recording;
    for (const SeenFrame& frame : frames) {
        recording.frames.append({frame, recording.frames.size() + 2});
    }
    return recording;
}

/// "send handshake gui" for each step.
QStringList steps(const ReplayScript& script)
{
    static const char* const names[] = {"open", "send", "reply", "push", "close"};
    QStringList texts;
    for (const ReplayStep& step : script.steps) {
        const bool isConnection = step.type == ReplayStep::Open || step.type == ReplayStep::Close;
        texts.append(QLatin1String(names[step.type]) + (isConnection ? QString() : u' ' + step.frame.operation) + u' '
                     + script.sessions.at(step.session).client);
    }
    return texts;
}

QList<SeenFrame> introduction(qint64 number, const QString& name)
{
    const SeenFrame handshake = request(number, QString(), u"handshake"_s, {{u"name"_s, name}});
    SeenFrame accepted = reply(number + 1, handshake);
    accepted.client = name;
    return {handshake, accepted};
}

} // namespace

class TstReplayScript : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void recordedHandshake_isPlayed();
    void handshakeNotRecorded_isAdded();
    void command_isLeftOutWithWhatItLedTo();
    void command_isPlayedWhenWanted();
    void only_leavesOthersOut();
    void nameless_isLeftOut();
    void dataLeftOut_isLeftOut();
    void busStartedAgain_hasNewConnections();
    void gapWithoutNumber_beginsNewConnections();
    void offsets_neverGoBack();
    void busTells_areNoRealCommands();
};

void TstReplayScript::recordedHandshake_isPlayed()
{
    const SeenFrame load = request(4, u"gui"_s, u"loadState"_s, {});
    const ReplayScript script = clientScript(recordingOf(QList<SeenFrame>{incident(1, Kind::Opened)}
                                                         << introduction(2, u"gui"_s) << load << reply(5, load)
                                                         << incident(6, Kind::Closed, u"gui"_s)),
                                             {});
    QCOMPARE(steps(script),
             (QStringList{u"open gui"_s, u"send handshake gui"_s, u"reply handshake gui"_s, u"send loadState gui"_s,
                          u"reply loadState gui"_s, u"close gui"_s}));
    QCOMPARE(script.clients(), QStringList{u"gui"_s});
}

void TstReplayScript::handshakeNotRecorded_isAdded()
{
    const SeenFrame load = request(1, u"gui"_s, u"loadState"_s, {});
    const ReplayScript script = clientScript(recordingOf({load}), {});
    QCOMPARE(steps(script),
             (QStringList{u"open gui"_s, u"send handshake gui"_s, u"reply handshake gui"_s, u"send loadState gui"_s}));
    QCOMPARE(script.steps.at(1).frame.data, (QVariantMap{{u"name"_s, u"gui"_s}}));
}

void TstReplayScript::command_isLeftOutWithWhatItLedTo()
{
    const SeenFrame send = message(1, u"gui"_s, u"printer"_s, PRINT);
    const SeenFrame pushed = push(2, u"gui"_s, u"printer"_s, PRINT);
    const ReplayScript script = clientScript(recordingOf({send, pushed, reply(3, send), reply(4, pushed)}), {});
    QCOMPARE(steps(script), QStringList());
    QCOMPARE(script.commands, 1);
}

void TstReplayScript::command_isPlayedWhenWanted()
{
    const SeenFrame send = message(1, u"gui"_s, u"printer"_s, PRINT);
    const SeenFrame pushed = push(2, u"gui"_s, u"printer"_s, PRINT);
    const ReplayScript script = clientScript(recordingOf({send, pushed, reply(3, send), reply(4, pushed)}), {{}, true});
    QCOMPARE(steps(script),
             (QStringList{u"open gui"_s, u"send handshake gui"_s, u"reply handshake gui"_s, u"send sendMessage gui"_s,
                          u"open printer"_s, u"send handshake printer"_s, u"reply handshake printer"_s,
                          u"push sendMessage printer"_s, u"reply sendMessage gui"_s}));
    QCOMPARE(script.commands, 0);
}

void TstReplayScript::only_leavesOthersOut()
{
    SeenFrame other = request(2, u"door"_s, u"saveState"_s, {});
    other.connection = 3;
    const ReplayScript script =
        clientScript(recordingOf({request(1, u"gui"_s, u"loadState"_s, {}), other}), {{u"door"_s}, false});
    QCOMPARE(script.clients(), QStringList{u"door"_s});
    QCOMPARE(script.steps.size(), 4);
}

void TstReplayScript::nameless_isLeftOut()
{
    const ReplayScript script = clientScript(recordingOf({request(1, QString(), u"loadState"_s, {})}), {});
    QCOMPARE(steps(script), QStringList());
    QCOMPARE(script.nameless, 1);
}

void TstReplayScript::dataLeftOut_isLeftOut()
{
    SeenFrame large = request(1, u"gui"_s, u"saveState"_s, {});
    large.isDataLeftOut = true;
    const ReplayScript script = clientScript(recordingOf({large, reply(2, large)}), {});
    QCOMPARE(steps(script), QStringList());
    QCOMPARE(script.withoutData, 1);
}

void TstReplayScript::busStartedAgain_hasNewConnections()
{
    const ReplayScript script = clientScript(
        recordingOf({request(7, u"gui"_s, u"loadState"_s, {}), request(1, u"door"_s, u"loadState"_s, {})}), {});
    QCOMPARE(script.clients(), (QStringList{u"gui"_s, u"door"_s}));
}

void TstReplayScript::gapWithoutNumber_beginsNewConnections()
{
    // The recorder writes such a gap when the bus was away. The numbers after it may be greater than those before.
    const ReplayScript script =
        clientScript(recordingOf({request(1, u"gui"_s, u"loadState"_s, {}), incident(0, Kind::Gap),
                                  request(7, u"door"_s, u"loadState"_s, {})}),
                     {});
    QCOMPARE(script.clients(), (QStringList{u"gui"_s, u"door"_s}));
}

void TstReplayScript::offsets_neverGoBack()
{
    SeenFrame second = request(2, u"gui"_s, u"loadState"_s, {});
    second.timeUs += 5000;
    SeenFrame third = request(3, u"gui"_s, u"loadState"_s, {});
    third.timeUs -= 3600000000;
    const ReplayScript script =
        clientScript(recordingOf({request(1, u"gui"_s, u"loadState"_s, {}), second, third}), {});
    QCOMPARE(script.steps.at(3).offsetUs, 0);
    QCOMPARE(script.steps.at(4).offsetUs, 5000);
    QCOMPARE(script.steps.at(5).offsetUs, 5000);
}

void TstReplayScript::busTells_areNoRealCommands()
{
    QVERIFY(isRealCommand(message(1, u"gui"_s, u"printer"_s, PRINT)));
    QVERIFY(!isRealCommand(message(1, u"gui"_s, u"printer"_s, u"hello"_s)));
    for (const char* const name : {"updateSettings", "stateChanged"}) {
        QVERIFY(!isRealCommand(push(1, u"gui"_s, u"printer"_s, u"{\"cmd\":\"%1\"}"_s.arg(QLatin1String(name)))));
    }
}

QTEST_APPLESS_MAIN(TstReplayScript)
#include "tst_replayscript.moc"
