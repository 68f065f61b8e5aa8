#include "fakebus.h"
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
    void send_command_isCompactJson_data();
    void send_command_isCompactJson();
    void send_asJson_tellsUidThatWasSent();
    void send_sameTextSideBySide_hasUidsOfItsOwn();
    void send_refused_leavesStdoutClean();
};

void TstSendVerb::send_text_isSentAsItIs_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("text");
    QTest::newRow("words") << QStringList{QStringLiteral("paper is low")} << QStringLiteral("paper is low");
    QTest::newRow("JSON") << QStringList{QStringLiteral("{ \"a\" : 1 }")} << QStringLiteral("{ \"a\" : 1 }");
    QTest::newRow("empty") << QStringList{QString()} << QString();
    QTest::newRow("number") << QStringList{QStringLiteral("-12.5")} << QStringLiteral("-12.5");
    QTest::newRow("option") << QStringList{QStringLiteral("--"), QStringLiteral("--json")} << QStringLiteral("--json");
    QTest::newRow("other letters") << QStringList{QStringLiteral("Münzen fehlen €")}
                                   << QStringLiteral("Münzen fehlen €");
}

void TstSendVerb::send_text_isSentAsItIs()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, text);
    FakeBus bus;
    bus.willReply(QStringLiteral("sendMessage"));
    ProgramRun run(
        QStringList{QStringLiteral("--as"), QStringLiteral("printer"), QStringLiteral("send"), QStringLiteral("gui")}
        + arguments);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(bus.requests().size(), 1);
    QCOMPARE(bus.requests().constFirst().operation, QStringLiteral("sendMessage"));
    const QVariantMap sent = bus.requests().constFirst().data;
    QCOMPARE(sent.value(QStringLiteral("sender")).toString(), QStringLiteral("printer"));
    QCOMPARE(sent.value(QStringLiteral("reciever")).toString(), QStringLiteral("gui"));
    QCOMPARE(sent.value(QStringLiteral("message")).toString(), text);
    const QByteArray uid = sent.value(QStringLiteral("UID")).toString().toUtf8();
    QCOMPARE(uid.size(), 24);
    QCOMPARE(run.err(), QByteArray("tarvexctl: sent to gui, UID " + uid + '\n'));
}

void TstSendVerb::send_command_isCompactJson_data()
{
    QTest::addColumn<QString>("data");
    QTest::addColumn<QString>("text");
    QTest::newRow("without data") << QString() << QStringLiteral(R"({"cmd":"beep","data":{}})");
    QTest::newRow("with data") << QStringLiteral(R"({ "times" : 2, "tone": "a\u0062" })")
                               << QStringLiteral(R"({"cmd":"beep","data":{"times":2,"tone":"ab"}})");
}

void TstSendVerb::send_command_isCompactJson()
{
    QFETCH(QString, data);
    QFETCH(QString, text);
    FakeBus bus;
    bus.willReply(QStringLiteral("sendMessage"));
    QStringList arguments{QStringLiteral("send"), QStringLiteral("gui"), QStringLiteral("--command"),
                          QStringLiteral("beep")};
    if (!data.isEmpty()) {
        arguments.append(data);
    }
    ProgramRun run(arguments);
    QCOMPARE(run.status(), 0);
    QCOMPARE(bus.requests().constFirst().data.value(QStringLiteral("message")).toString(), text);
}

void TstSendVerb::send_asJson_tellsUidThatWasSent()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("sendMessage"));
    ProgramRun run({QStringLiteral("--json"), QStringLiteral("send"), QStringLiteral("gui"), QStringLiteral("hello")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(
        run.objects(),
        (QList<QVariantMap>{{{QStringLiteral("done"), QStringLiteral("send")},
                             {QStringLiteral("sender"), QStringLiteral("tarvexctl")},
                             {QStringLiteral("reciever"), QStringLiteral("gui")},
                             {QStringLiteral("message"), QStringLiteral("hello")},
                             {QStringLiteral("UID"), bus.requests().constFirst().data.value(QStringLiteral("UID"))}}}));
}

// As a script's background jobs do. A uid of the content and the time would come twice among so many, mostly.
void TstSendVerb::send_sameTextSideBySide_hasUidsOfItsOwn()
{
    constexpr int BATCHES = 4;
    constexpr int BATCH = 20;
    FakeBus bus;
    bus.willAlwaysDo(FakeBus::answer);
    for (int batch = 0; batch < BATCHES; ++batch) {
        std::vector<std::unique_ptr<ProgramRun>> runs;
        for (int i = 0; i < BATCH; ++i) {
            runs.push_back(std::make_unique<ProgramRun>(
                QStringList{QStringLiteral("send"), QStringLiteral("gui"), QStringLiteral("paper is low")}));
        }
        for (const auto& run : runs) {
            QCOMPARE(run->status(), 0);
        }
    }
    QSet<QString> uids;
    const QList<FakeBus::Request> requests = bus.requests();
    for (const FakeBus::Request& request : requests) {
        uids.insert(request.data.value(QStringLiteral("UID")).toString());
    }
    QCOMPARE(uids.size(), BATCHES * BATCH);
}

void TstSendVerb::send_refused_leavesStdoutClean()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("sendMessage"), 3, QStringLiteral("Unregisterd client"));
    ProgramRun run({QStringLiteral("--json"), QStringLiteral("send"), QStringLiteral("gui"), QStringLiteral("hello")});
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), QByteArray("tarvexctl: refused by the bus: 3 Unregisterd client\n"));
}

QTEST_GUILESS_MAIN(TstSendVerb)
#include "tst_sendverb.moc"
