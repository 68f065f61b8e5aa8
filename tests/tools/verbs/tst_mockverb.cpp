#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace {

const QByteArray PRINTER_FILE(R"({"services": {"printer": {"commands": {
    "print": {"reply": {"name": "printed", "data": {"text": "${data.text}"}}},
    "slow": {"delay": 20, "reply": {}},
    "fail": {"error": "Out of paper"},
    "ignore": {"silence": true}
}}}})");

/// A file in a folder of its own.
class MockFileOnDisk
{
public:
    explicit MockFileOnDisk(const QByteArray& text = PRINTER_FILE)
    {
        QFile file(name());
        if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
            qFatal("the file cannot be written");
        }
    }

    QString name() const { return m_folder.filePath(u"mock.json"_s); }

    /// The verb with this file.
    QString mock(const QString& options = QString()) const { return u"mock %1 %2"_s.arg(name(), options); }

    /// What the verb says about the file.
    QByteArray told(const QByteArray& words) const { return name().toUtf8() + words; }

private:
    QTemporaryDir m_folder;
};

/// A bus and the verb, which stands in as the printer.
struct Desk
{
    explicit Desk(const QString& options = QString(), ProgramRun::Circumstances circumstances = ProgramRun::Ordinary)
        : mock(options.startsWith(u"--json"_s) ? u"--json "_s + file.mock(options.mid(6)) : file.mock(options),
               circumstances)
    {
    }

    bool isReady() { return mock.waitForWords("standing in as printer"); }

    BusProcess bus;
    MockFileOnDisk file;
    ProgramRun mock;
};

Ending call(const QString& rest)
{
    return ProgramRun(u"--as cashbox call printer "_s + rest).ending();
}

bool holds(const QByteArray& text, const QByteArray& part)
{
    return text.contains(part);
}

} // namespace

/// The verb "mock": its files, and its stand-ins on a real bus.
class TstMockVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void check_rightFile_is0();
    void check_json_isAnObject();
    void wrongFile_isTold_data();
    void wrongFile_isTold();
    void missingFile_is2();
    void noFileName_is2();
    void noBus_is3();
    void refusedHandshake_is3();
    void refusedSettings_areToldQuietly();
    void command_isAnsweredAndShown();
    void json_showsEverything();
    void error_reachesTheCaller();
    void unknownCommand_isNoSuchMethod();
    void controlCharacters_areShownAsEscapes();
    void count_ends();
    void timeout_withCommand_is0();
    void timeout_withoutCommand_is4();
    void interrupted_is130AndLeavesTheBus();
    void takenName_isRefused();
    void takenName_replaced();
    void silentControlSocket_isTold();
    void killedBus_isServedAgain();
    void hungBus_isNotWaitedFor();
    void stdoutFull_is1();
};

void TstMockVerb::check_rightFile_is0()
{
    const MockFileOnDisk file;
    ProgramRun run(file.mock(u"--check"_s));
    QCOMPARE(run.ending(), ended(0, {file.told(" is right; services: 1, commands: 4")}));
}

void TstMockVerb::check_json_isAnObject()
{
    const MockFileOnDisk file;
    ProgramRun run(u"--json "_s + file.mock(u"--check"_s));
    QCOMPARE(run.ending(), ended(0, {}, "{\"commands\":4,\"done\":\"mock --check\",\"services\":1}\n"));
}

void TstMockVerb::wrongFile_isTold_data()
{
    QTest::addColumn<QString>("options");
    QTest::newRow("checked") << u"--check"_s;
    QTest::newRow("quiet") << u"--quiet"_s;
    QTest::newRow("not connected") << QString(); // otherwise the status would be 3, because there is no bus
}

void TstMockVerb::wrongFile_isTold()
{
    QFETCH(QString, options);
    const MockFileOnDisk file("{\"services\": {\n\"a\": {\"comands\": {}},\n\n\"b\": 1}}");
    ProgramRun run(file.mock(options));
    QCOMPARE(run.ending(),
             ended(2,
                   {file.told(":2: \"comands\" is no part of a service; did you mean \"commands\"?"),
                    file.told(":4: a service must be an object")}));
}

void TstMockVerb::missingFile_is2()
{
    ProgramRun run(u"mock /nowhere/mock.json"_s);
    QCOMPARE(run.ending(), ended(2, {"/nowhere/mock.json: cannot be read: No such file or directory"}));
}

void TstMockVerb::noFileName_is2()
{
    QCOMPARE(ProgramRun(u"mock"_s).ending().status, 2);
    QCOMPARE(ProgramRun(u"mock ''"_s).ending(), ended(2, {"FILE must not be empty"}));
    const MockFileOnDisk file;
    QCOMPARE(ProgramRun(file.mock(u"--timeout x"_s)).ending().status, 2);
}

void TstMockVerb::noBus_is3()
{
    const MockFileOnDisk file;
    ProgramRun run(file.mock());
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 3);
    QVERIFY(holds(ending.err, "no bus to be reached"));
}

void TstMockVerb::refusedHandshake_is3()
{
    FakeBuses bus;
    bus.query.willAnswerHandshake(refuses());
    const MockFileOnDisk file;
    ProgramRun run(file.mock());
    QCOMPARE(run.ending().status, 3);
}

void TstMockVerb::refusedSettings_areToldQuietly()
{
    const BusProcess bus;
    ProgramRun fault(u"fault add client=printer operation=saveSettings do=error:256"_s);
    QCOMPARE(fault.ending().status, 0);
    const MockFileOnDisk file(
        R"({"services": {"printer": {"settings": [{"group": "paper", "key": "width", "value": 80}]}}})");
    ProgramRun run(file.mock(u"--quiet"_s));
    QVERIFY(run.waitForWords("to save the settings"));
    const Ending ending = run.interrupted();
    QCOMPARE(ending.status, 130);
    QVERIFY2(!holds(ending.err, "standing in"), ending.err.constData());
}

void TstMockVerb::command_isAnsweredAndShown()
{
    Desk desk;
    QVERIFY(desk.isReady());
    const Ending reply = call(u"print '{\"text\":\"zone A\"}'"_s);
    QCOMPARE(reply.status, 0);
    QVERIFY(holds(reply.out, "Command  printed\nData     {\"text\":\"zone A\"}\n"));
    QVERIFY(desk.mock.waitForLines(2));
    const QStringList header = desk.mock.lines().at(0).split(u' ', Qt::SkipEmptyParts);
    QCOMPARE(header, (QStringList{u"TIME"_s, u"SERVICE"_s, u"COMMAND"_s, u"FROM"_s, u"ANSWER"_s}));
    QVERIFY(desk.mock.lines().at(1).contains(u"  printer  print    cashbox  printed {\"text\":\"zone A\"}"_s));
    QCOMPARE(call(u"slow"_s).status, 0);
    QVERIFY(desk.mock.waitForLines(3));
    QVERIFY2(desk.mock.lines().at(2).endsWith(u"slow {} (after 20 ms)"_s), qPrintable(desk.mock.lines().at(2)));
}

void TstMockVerb::json_showsEverything()
{
    Desk desk(u"--json"_s);
    QVERIFY(desk.isReady());
    QCOMPARE(call(u"print '{\"text\":\"a\"}'"_s).status, 0);
    QCOMPARE(call(u"fail"_s).status, 1);
    QCOMPARE(call(u"ignore --timeout 0.1"_s).status, 4);
    QVERIFY(desk.mock.waitForLines(3));
    const QList<QVariantMap> objects = desk.mock.objects();
    QCOMPARE(objects.size(), 3);
    QVariantMap first = objects.at(0);
    QVERIFY(!first.take(u"time"_s).toString().isEmpty());
    QVERIFY(!first.take(u"uid"_s).toString().isEmpty());
    const QVariantMap text{{u"text"_s, u"a"_s}};
    const QVariantMap expected{{u"service"_s, u"printer"_s},   {u"command"_s, u"print"_s}, {u"data"_s, text},
                               {u"from"_s, u"cashbox"_s},      {u"answer"_s, u"reply"_s},  {u"delay"_s, 0},
                               {u"replyName"_s, u"printed"_s}, {u"replyData"_s, text}};
    QCOMPARE(first, expected);
    QCOMPARE(objects.at(1).value(u"answer"_s).toString(), u"error"_s);
    QCOMPARE(objects.at(1).value(u"errorText"_s).toString(), u"Out of paper"_s);
    QCOMPARE(objects.at(2).value(u"answer"_s).toString(), u"silence"_s);
}

void TstMockVerb::error_reachesTheCaller()
{
    Desk desk;
    QVERIFY(desk.isReady());
    QCOMPARE(call(u"fail"_s), ended(1, {"refused by printer: Out of paper"}));
}

void TstMockVerb::unknownCommand_isNoSuchMethod()
{
    Desk desk;
    QVERIFY(desk.isReady());
    QCOMPARE(call(u"nonsense"_s),
             ended(1, {"refused by printer: No such method (nonsense) for a command without data"}));
    QVERIFY(desk.mock.waitForLines(2));
    QVERIFY(desk.mock.lines().at(1).endsWith(u"error: No such method (nonsense)"_s));
}

void TstMockVerb::controlCharacters_areShownAsEscapes()
{
    Desk desk;
    QVERIFY(desk.isReady());
    ScriptedClient cashbox(u"cash\033box"_s);
    QVERIFY(cashbox.send(u"printer"_s, u"{\"cmd\":\"a\\u001bb\"}"_s, u"uid 1"_s));
    QVERIFY(desk.mock.waitForLines(2));
    QVERIFY(!desk.mock.out().contains('\033'));
    QVERIFY2(holds(desk.mock.out(), "a\\x1bb"), desk.mock.out().constData());
    QVERIFY(holds(desk.mock.out(), "cash\\x1bbox"));
}

void TstMockVerb::count_ends()
{
    Desk desk(u"--count 2"_s);
    QVERIFY(desk.isReady());
    call(u"fail"_s);
    QVERIFY(desk.mock.isRunning());
    call(u"fail"_s);
    QCOMPARE(desk.mock.status(), 0);
    QCOMPARE(desk.mock.lines().size(), 3);
}

void TstMockVerb::timeout_withCommand_is0()
{
    // The bus keeps the command until the stand-in comes.
    BusProcess bus;
    ScriptedClient cashbox(u"cashbox"_s);
    QVERIFY(cashbox.send(u"printer"_s, u"{\"cmd\":\"fail\"}"_s, u"uid 1"_s));
    const MockFileOnDisk file;
    ProgramRun run(file.mock(u"--timeout 15"_s));
    QCOMPARE(run.ending().status, 0);
    QCOMPARE(run.lines().size(), 2);
}

void TstMockVerb::timeout_withoutCommand_is4()
{
    BusProcess bus;
    const MockFileOnDisk file;
    ProgramRun run(file.mock(u"--timeout 3"_s));
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 4);
    QVERIFY2(holds(ending.err, told("no command came within 3 s")) || holds(ending.err, "did not answer within"),
             ending.err.constData());
}

void TstMockVerb::interrupted_is130AndLeavesTheBus()
{
    Desk desk;
    QVERIFY(desk.isReady());
    QCOMPARE(desk.mock.interrupted(), ended(130, {"standing in as printer", "interrupted"}));
    ProgramRun clients(u"--json clients"_s);
    const Ending ending = clients.ending();
    QVERIFY2(!holds(ending.out, "printer"), ending.out.constData());
}

void TstMockVerb::takenName_isRefused()
{
    BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.isConnected());
    const MockFileOnDisk file;
    ProgramRun run(file.mock());
    QCOMPARE(run.ending(), ended(1, {"on the bus already: printer; --replace takes the names from them"}));
    QVERIFY(printer.isConnected());
}

void TstMockVerb::takenName_replaced()
{
    BusProcess bus;
    const ScriptedClient printer(u"printer"_s);
    const MockFileOnDisk file;
    ProgramRun run(file.mock(u"--replace"_s));
    QVERIFY(run.waitForWords("standing in as printer"));
    QCOMPARE(call(u"fail"_s).status, 1);
}

void TstMockVerb::silentControlSocket_isTold()
{
    BusProcess bus;
    const QTemporaryDir elsewhere; // there is no control socket
    qputenv("XDG_RUNTIME_DIR", elsewhere.path().toUtf8());
    const MockFileOnDisk file;
    ProgramRun run(file.mock());
    QVERIFY(run.waitForWords("standing in as printer"));
    QVERIFY(holds(run.err(), "this bus cannot tell who is there"));
}

void TstMockVerb::killedBus_isServedAgain()
{
    Desk desk;
    QVERIFY(desk.isReady());
    desk.bus.killHard();
    QVERIFY(desk.mock.waitForWords("printer: the bus has closed the connection; trying again every second"));
    QVERIFY(desk.bus.start());
    QVERIFY(desk.mock.waitForWords("printer: connected again"));
    QCOMPARE(call(u"fail"_s).status, 1);
}

void TstMockVerb::hungBus_isNotWaitedFor()
{
    const QTemporaryDir empty; // there is no control socket
    qputenv("XDG_RUNTIME_DIR", empty.path().toUtf8());
    FakeBuses bus;
    const MockFileOnDisk file(R"({"services": {"printer": {"state": {"type": 1}}}})");
    ProgramRun run(file.mock());
    QVERIFY(bus.query.waitForRequests(1));
    QCOMPARE(operations(bus.query), QStringList(u"saveState"_s)); // it gets no reply, for which the library waits 30 s
    run.sendSignal(SIGINT);
    QCOMPARE(run.ending(20000).status, 130);
}

void TstMockVerb::stdoutFull_is1()
{
    Desk desk(QString(), ProgramRun::StdoutFull);
    QVERIFY(desk.isReady());
    call(u"fail"_s);
    QCOMPARE(desk.mock.status(), 1);
    QVERIFY(holds(desk.mock.err(), "cannot write to stdout"));
}

QTEST_GUILESS_MAIN(TstMockVerb)

#include "tst_mockverb.moc"
