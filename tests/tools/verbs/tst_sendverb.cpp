#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QFile>
#include <QJsonDocument>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <vector>

class TstSendVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void send_text_isSentAsItIs_data();
    void send_text_isSentAsItIs();
    void send_commandDataFromFile_isSent_data();
    void send_commandDataFromFile_isSent();
    void send_commandDataFromStdin_isSent();
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
    QTest::newRow("JSON text that looks like a pair") << u"a=1"_s << u"a=1"_s;
    const auto command = [](const char* name, const QString& arguments, const QString& data) {
        QTest::newRow(name) << u"--command beep "_s + arguments << uR"({"cmd":"beep","data":%1})"_s.arg(data);
    };
    command("texts", u"a=5 'b=two words' c="_s, uR"({"a":"5","b":"two words","c":""})"_s);
    command("values", u"a:=5 b:=null c:=[1,true] 'd:={\"e\": \"f\"}' g:=\"h\""_s,
            uR"({"a":5,"b":null,"c":[1,true],"d":{"e":"f"},"g":"h"})"_s);
    command("signs in keys and values", u"a.b=c a:b=d=e url=http://x:=y 'a b=1'"_s,
            uR"({"a b":"1","a.b":"c","a:b":"d=e","url":"http://x:=y"})"_s);
    command("brackets", u"a=[1 b:=[]"_s, uR"({"a":"[1","b":[]})"_s);
    command("after --", u"-- -a=-1 -b:=-1"_s, uR"({"-a":"-1","-b":-1})"_s);
    command("option", uR"(--data '{"a":1}')"_s, uR"({"a":1})"_s);
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

void TstSendVerb::send_commandDataFromFile_isSent_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("object") << QByteArray("{\n  \"name\": \"Münze\"\n}\n") << 0 << QByteArray();
    QTest::newRow("large") << QByteArray("{\"name\":\"" + QByteArray(1 << 20, 'a') + "\"}") << 0 << QByteArray();
    QTest::newRow("cut") << QByteArray("{\"name\":") << 2
                         << QByteArray("the content of %1 is no JSON: unterminated object at byte 8");
    QTest::newRow("list") << QByteArray("[1]") << 2 << QByteArray("the content of %1 must be a JSON object");
    QTest::newRow("other bytes") << QByteArray("{\"name\":\"\xff\"}") << 2 << QByteArray("%1 holds no UTF-8 text");
    QTest::newRow("inexact") << QByteArray("{\"name\":9007199254740993}") << 2
                             << QByteArray("9007199254740993 is too large to travel exactly as a number");
}

void TstSendVerb::send_commandDataFromFile_isSent()
{
    QFETCH(QByteArray, content);
    QFETCH(int, status);
    QFETCH(QByteArray, words);
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"data.json"_s));
    QVERIFY(file.open(QFile::WriteOnly) && file.write(content) == content.size() && file.flush());
    FakeBus bus;
    bus.willAlwaysDo(FakeBus::answer);
    ProgramRun run(u"--json send gui --command beep --data @"_s + file.fileName());
    QCOMPARE(run.status(), status);
    if (status == 0) {
        const QString data = QString::fromUtf8(QJsonDocument::fromJson(content).toJson(QJsonDocument::Compact));
        QCOMPARE(requested(bus).value(u"message"_s).toString(), uR"({"cmd":"beep","data":%1})"_s.arg(data));
    } else {
        QCOMPARE(run.ending(), ended(status, {words.replace("%1", file.fileName().toUtf8())}));
        QCOMPARE(bus.connectionCount(), 0);
    }
}

void TstSendVerb::send_commandDataFromStdin_isSent()
{
    FakeBus bus;
    bus.willReply(u"sendMessage"_s);
    // A shell gives the program what it reads.
    ChildProcess shell(
        u"/bin/sh"_s,
        {u"-c"_s, uR"(printf '{"a":%d}' 5 | "$0" send gui --command beep --data -)"_s, ProgramRun::program()});
    QVERIFY(shell.start());
    QCOMPARE(shell.status(), 0);
    QCOMPARE(requested(bus).value(u"message"_s).toString(), uR"({"cmd":"beep","data":{"a":5}})"_s);
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
