#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QSet>
#include <QTest>

#include <memory>
#include <vector>

class TstSendVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void send_text_isSentAsItIs_data();
    void send_text_isSentAsItIs();
    void send_asJson_tellsUidThatWasSent();
    void send_sameTextSideBySide_hasUidsOfItsOwn();
    void send_refused_leavesStdoutClean();
};

void TstSendVerb::send_text_isSentAsItIs_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("text");
    QTest::newRow("words") << u"'paper is low'"_s << u"paper is low"_s;
    QTest::newRow("JSON") << u"'{ \"a\" : 1 }'"_s << u"{ \"a\" : 1 }"_s;
    QTest::newRow("empty") << u"''"_s << QString();
    QTest::newRow("number") << u"-12.5"_s << u"-12.5"_s;
    QTest::newRow("option") << u"-- --json"_s << u"--json"_s;
    QTest::newRow("other letters") << u"'Münzen fehlen €'"_s << u"Münzen fehlen €"_s;
    QTest::newRow("command") << u"--command beep"_s << uR"({"cmd":"beep","data":{}})"_s;
    QTest::newRow("command with data") << uR"(--command beep '{ "times" : 2, "tone": "a\u0062" }')"_s
                                       << uR"({"cmd":"beep","data":{"times":2,"tone":"ab"}})"_s;
}

void TstSendVerb::send_text_isSentAsItIs()
{
    QFETCH(QString, arguments);
    QFETCH(QString, text);
    FakeBus bus;
    bus.willReply(u"sendMessage"_s);
    ProgramRun run(u"--as printer send gui "_s + arguments);
    const Ending ending = run.ending();
    QCOMPARE(operations(bus), QStringList{u"sendMessage"_s});
    const QVariantMap sent = requested(bus);
    QCOMPARE(sent.value(u"sender"_s).toString(), u"printer"_s);
    QCOMPARE(sent.value(u"reciever"_s).toString(), u"gui"_s);
    QCOMPARE(sent.value(u"message"_s).toString(), text);
    const QByteArray uid = sent.value(u"UID"_s).toString().toUtf8();
    QCOMPARE(uid.size(), 24);
    QCOMPARE(ending, ended(0, {"sent to gui, UID " + uid}));
}

void TstSendVerb::send_asJson_tellsUidThatWasSent()
{
    FakeBus bus;
    bus.willReply(u"sendMessage"_s);
    ProgramRun run(u"--json send gui hello"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{{{u"done"_s, u"send"_s},
                                  {u"sender"_s, u"tarvexctl"_s},
                                  {u"reciever"_s, u"gui"_s},
                                  {u"message"_s, u"hello"_s},
                                  {u"UID"_s, requested(bus).value(u"UID"_s)}}}));
}

// The background jobs of a script send like this. Uids made of content and time would mostly repeat among so many.
void TstSendVerb::send_sameTextSideBySide_hasUidsOfItsOwn()
{
    constexpr int BATCHES = 6;
    constexpr int BATCH = 14; // runs at once, because the fake bus's queue of new connections holds 16
    FakeBus bus;
    bus.willAlwaysDo(FakeBus::answer);
    for (int batch = 0; batch < BATCHES; ++batch) {
        std::vector<std::unique_ptr<ProgramRun>> runs;
        for (int i = 0; i < BATCH; ++i) {
            runs.push_back(std::make_unique<ProgramRun>(u"send gui 'paper is low'"_s));
        }
        for (const auto& run : runs) {
            QCOMPARE(run->status(), 0);
        }
    }
    QSet<QString> uids;
    for (int index = 0; index < bus.requests().size(); ++index) {
        uids.insert(requested(bus, index).value(u"UID"_s).toString());
    }
    QCOMPARE(uids.size(), BATCHES * BATCH);
}

void TstSendVerb::send_refused_leavesStdoutClean()
{
    FakeBus bus;
    bus.willReply(u"sendMessage"_s, 3, u"Unregisterd client"_s);
    ProgramRun run(u"--json send gui hello"_s);
    QCOMPARE(run.ending(), ended(1, {"refused by the bus: 3 Unregisterd client"}));
}

QTEST_GUILESS_MAIN(TstSendVerb)
#include "tst_sendverb.moc"
