#include "busprocess.h"
#include "fakebuses.h"
#include "literals.h"
#include "programrun.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

namespace {

/// What this machine is told to be slow with. A busy machine is not what these tests look for.
const QString PATIENT = u" --slow 100000 --timeout 25"_s;

/// One run of the verb with --json: its status, and the findings by their checks.
class Doctor
{
public:
    explicit Doctor(const QString& options = PATIENT) : m_run(u"--json doctor "_s + options) { }

    int status() { return m_run.status(60000); }

    ProgramRun& run() { return m_run; }

    /// All findings of a check.
    QList<QVariantMap> findings(const QString& check)
    {
        QList<QVariantMap> found;
        const QList<QVariantMap> objects = m_run.objects();
        for (const QVariantMap& object : objects) {
            if (object.value(u"check"_s) == check) {
                found.append(object);
            }
        }
        return found;
    }

    /// The severities of a check's findings, joined by blanks; empty when there is none.
    QString severity(const QString& check)
    {
        QStringList severities;
        const QList<QVariantMap> found = findings(check);
        for (const QVariantMap& finding : found) {
            severities.append(finding.value(u"severity"_s).toString());
        }
        return severities.join(QLatin1Char(' '));
    }

    QString what(const QString& check) { return findings(check).value(0).value(u"what"_s).toString(); }

    QVariantMap facts(const QString& check) { return findings(check).value(0).value(u"facts"_s).toMap(); }

private:
    ProgramRun m_run;
};

QByteArray outputOf(const QString& line)
{
    ProgramRun run(line);
    run.status();
    return run.out();
}

/// Everything that the bus tells about its clients, and every byte of its storage.
QByteArrayList traces()
{
    QByteArrayList traces{outputOf(u"--json clients"_s), outputOf(u"--json settings list"_s),
                          outputOf(u"--json state list"_s)};
    const QDir folder(qEnvironmentVariable("XDG_RUNTIME_DIR"));
    for (const QString& name : {u"bus.sqlite"_s, u"bus.sqlite-wal"_s}) {
        QFile file(folder.filePath(name));
        traces.append(file.open(QIODevice::ReadOnly) ? file.readAll() : "unreadable");
    }
    return traces;
}

void answerNothingStored(FakeBus::Peer& peer, const FakeBus::Request& request)
{
    peer.send(FakeBus::replyFrame(request.operation, 5, u"There are no settings for client"_s));
}

} // namespace

/// The verb "doctor", on a bus with a planted fault each, and on servers that are no bus.
class TstDoctorVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void noBus_isWrong();
    void healthyBus_isOk();
    void faultOnPurpose_isTold();
    void otherTimeZone_isNoJump();
    void help_tellsOfItsStatus();
    void aLook_changesNothing();
    void text_saysWhatToDo();
    void missingClient_isWrong();
    void mistypedName_isTold();
    void fightForAName_isWrong();
    void staleState_isWrong();
    void damagedSettings_areWrong();
    void stoppedBus_endsInTime();
    void stoppedBus_quiet_isSummarised();
    void stoppedBus_pipeClosed_isTold_data();
    void stoppedBus_pipeClosed_isTold();
    void replacedProgram_isTold();
    void busThatFallsSilent_isWrong();
    void otherBus_isLookedAtAsFarAsPossible();
    void slowBus_isWrong();
    void noBusAtAll_isToldByWhatCame();
    void refusedHandshake_isWrong();
    void onePortMissing_isWrong();
    void wrongUse_data();
    void wrongUse();
    void controlCharacters_areShownAsEscapes();
};

void TstDoctorVerb::noBus_isWrong()
{
    Doctor doctor;
    QCOMPARE(doctor.status(), 1);
    QCOMPARE(doctor.severity(u"ports.none"_s), u"wrong"_s);
    QVERIFY2(doctor.run().err().startsWith("tarvexctl: 1 wrong"), doctor.run().err().constData());
}

void TstDoctorVerb::healthyBus_isOk()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.saveState(u"{\"paperLeft\":97}"_s, 1, QString(),
                              QDateTime::currentDateTime().toString(u"yyyy-MM-ddThh:mm:ss.zzz"_s)));
    Doctor doctor;
    QVERIFY2(doctor.status() == 0, doctor.run().out().constData());
    for (const QString& check : {u"ports.holders"_s, u"bus.query"_s, u"bus.receiver"_s, u"speed"_s, u"versions"_s,
                                 u"clients"_s, u"settings"_s, u"states"_s, u"names"_s}) {
        QVERIFY2(doctor.severity(check) == u"ok"_s, qPrintable(check));
    }
    const QVariantMap holder = doctor.facts(u"ports.holders"_s).value(u"processes"_s).toList().value(0).toMap();
    QCOMPARE(holder.value(u"name"_s).toString(), u"tarvex-devbus"_s);
    QCOMPARE(doctor.facts(u"speed"_s).value(u"count"_s).toInt() > 0, true);
    const QList<QVariantMap> objects = doctor.run().objects();
    for (const QVariantMap& object : objects) {
        QCOMPARE(object.keys(), (QStringList{u"advice"_s, u"check"_s, u"facts"_s, u"severity"_s, u"what"_s}));
        QCOMPARE(object.value(u"advice"_s).toString().isEmpty(), object.value(u"severity"_s) == u"ok"_s);
    }
}

void TstDoctorVerb::faultOnPurpose_isTold()
{
    const BusProcess bus;
    QCOMPARE(outputOf(u"fault add client=printer do=silence"_s), QByteArray());
    Doctor doctor;
    QCOMPARE(doctor.status(), 0);
    QCOMPARE(doctor.severity(u"faults"_s), u"note"_s);
    QCOMPARE(doctor.what(u"faults"_s), u"1 fault on purpose is set"_s);
    QCOMPARE(doctor.facts(u"faults"_s), (QVariantMap{{u"rules"_s, QVariantList{u"client=printer do=silence"_s}}}));
}

void TstDoctorVerb::otherTimeZone_isNoJump()
{
    const BusProcess bus;
    const QByteArray before = qgetenv("TZ");
    qputenv("TZ", "NTZ-13:37"); // nobody's time zone, so that it differs from the bus's
    Doctor doctor;
    ProgramRun status(u"status"_s);
    before.isNull() ? qunsetenv("TZ") : qputenv("TZ", before);
    QVERIFY(doctor.status() >= 0);
    QVERIFY2(doctor.severity(u"clock.jump"_s).isEmpty(), doctor.run().out().constData());
    QCOMPARE(status.status(), 0);
    const QString ageInHours = u"h "_s;
    QVERIFY2(!status.lines().value(1).section(u'(', 1).contains(ageInHours), status.out().constData());
}

void TstDoctorVerb::help_tellsOfItsStatus()
{
    ProgramRun run(u"doctor --help"_s);
    QCOMPARE(run.status(), 0);
    QVERIFY2(run.out().simplified().contains("The status is 1 when something is wrong, also when there is no bus"),
             run.out().constData());
    QVERIFY2(run.out().simplified().contains("Example: tarvexctl doctor --state-age 60"), run.out().constData());
}

void TstDoctorVerb::aLook_changesNothing()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.saveState(u"ready"_s, 1, QString(), someDate()));
    QVERIFY(printer.send(u"gui"_s, u"hello"_s, u"1"_s));
    QCOMPARE(outputOf(u"settings set printer a b 1"_s), QByteArray());
    const QByteArrayList before = traces();
    QVERIFY(!before.contains("unreadable"));
    Doctor doctor;
    QCOMPARE(doctor.status(), 1); // a message waits for the gui
    QCOMPARE(traces(), before);
    QVERIFY(printer.send(u"printer"_s, u"still there"_s, u"2"_s));
    const QString update = u"{\"cmd\":\"updateSettings\",\"data\":{}}"_s;
    QString text = printer.receive().value(u"message"_s).toString();
    QCOMPARE(text, update);
    while (text == update) { // the bus pushes it again when the look has taken longer than 5 s
        text = printer.receive().value(u"message"_s).toString();
    }
    QCOMPARE(text, u"still there"_s);
}

void TstDoctorVerb::text_saysWhatToDo()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.send(u"gui"_s, u"hello"_s, u"1"_s));
    ProgramRun run(u"doctor"_s + PATIENT);
    QCOMPARE(run.status(), 1);
    const QStringList lines = run.lines();
    const int line =
        lines.indexOf(u"wrong  clients.missing      \"gui\" has never been there, and 1 message waits for it"_s);
    QVERIFY2(line >= 0, run.out().constData());
    QVERIFY2(lines.value(line + 1).startsWith(u"                            -> Look for this name"_s),
             run.out().constData());
    QVERIFY2(run.err().startsWith("tarvexctl: 1 wrong"), run.err().constData());
}

void TstDoctorVerb::missingClient_isWrong()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.send(u"terminal_gui"_s, u"hello"_s, u"1"_s));
    QVERIFY(printer.send(u"terminal_gui"_s, u"hello"_s, u"2"_s));
    Doctor doctor;
    QCOMPARE(doctor.status(), 1);
    QCOMPARE(doctor.what(u"clients.missing"_s),
             u"\"terminal_gui\" has no receiving connection, and 2 messages wait for it"_s);
    QCOMPARE(doctor.facts(u"clients.missing"_s), (QVariantMap{{u"client"_s, u"terminal_gui"_s}, {u"waiting"_s, 2}}));
}

void TstDoctorVerb::mistypedName_isTold()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.send(u"terminal_giu"_s, u"hello"_s, u"1"_s));
    Doctor doctor;
    QCOMPARE(doctor.status(), 1);
    QCOMPARE(doctor.what(u"clients.missing"_s), u"\"terminal_giu\" has never been there, and 1 message waits for it"_s);
}

void TstDoctorVerb::fightForAName_isWrong()
{
    const BusProcess bus;
    const BusClient first(BusClient::RECEIVER_PORT, u"printer"_s);
    auto holder = std::make_unique<BusClient>(BusClient::RECEIVER_PORT, u"printer"_s);
    Doctor doctor;
    while (doctor.run().isRunning()) {
        holder = std::make_unique<BusClient>(BusClient::RECEIVER_PORT, u"printer"_s);
        doctor.run().waitForMore(50);
    }
    QCOMPARE(doctor.status(), 1);
    QCOMPARE(doctor.severity(u"names.fight"_s), u"wrong"_s);
    QCOMPARE(doctor.facts(u"names.fight"_s).value(u"client"_s).toString(), u"printer"_s);
}

void TstDoctorVerb::staleState_isWrong()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.saveState(u"ready"_s, 1, QString(), someDate()));
    Doctor worthKnowing;
    QCOMPARE(worthKnowing.status(), 0);
    QCOMPARE(worthKnowing.severity(u"states.old"_s), u"note"_s);
    Doctor wrong(u"--state-age 60"_s + PATIENT);
    QCOMPARE(wrong.status(), 1);
    QCOMPARE(wrong.severity(u"states.old"_s), u"wrong"_s);
    QCOMPARE(wrong.facts(u"states.old"_s).value(u"client"_s).toString(), u"printer"_s);
    Doctor young(u"--state-age 900000000"_s + PATIENT);
    QCOMPARE(young.status(), 0);
    QCOMPARE(young.severity(u"states.old"_s), QString());
}

void TstDoctorVerb::damagedSettings_areWrong()
{
    const BusProcess bus;
    BusClient client(BusClient::QUERY_PORT, u"printer"_s);
    const QVariantMap entry{{u"group"_s, u"paper"_s}, {u"key"_s, u"width"_s}, {u"value"_s, 80}};
    const BusClient::Frame reply = client.ask(u"saveSettings"_s,
                                              {{u"owner"_s, u"printer"_s},
                                               {u"date"_s, someDate()},
                                               {u"mailOwner"_s, 0},
                                               {u"settings"_s, QVariantList{entry, entry, 7}}});
    QCOMPARE(reply.code, 0);
    Doctor doctor;
    QCOMPARE(doctor.status(), 1);
    QCOMPARE(doctor.facts(u"settings.convert"_s).value(u"problems"_s).toStringList(),
             (QStringList{u"paper/width is there twice, and the last one counts"_s, u"an entry is no object"_s}));
}

void TstDoctorVerb::stoppedBus_endsInTime()
{
    BusProcess bus;
    bus.hang();
    Doctor doctor(u"--timeout 2"_s);
    QCOMPARE(doctor.run().status(), 1); // within the patience of a test, which is less than the library's time-outs
    bus.goOn();
    QCOMPARE(doctor.severity(u"ports.stopped"_s), u"wrong"_s);
    QVERIFY(doctor.findings(u"ports.stopped"_s).at(0).value(u"advice"_s).toString().contains(u"kill -CONT "_s));
    QCOMPARE(doctor.severity(u"bus.query"_s), u"wrong"_s);
    QCOMPARE(doctor.what(u"bus.receiver"_s),
             u"something listens on the receiver port and does not answer the handshake within 2 s"_s);
    QCOMPARE(doctor.severity(u"control"_s), u"wrong"_s);
}

void TstDoctorVerb::stoppedBus_quiet_isSummarised()
{
    BusProcess bus;
    bus.hang();
    ProgramRun run(u"--quiet doctor --timeout 2"_s);
    QCOMPARE(run.status(), 1);
    bus.goOn();
    QCOMPARE(run.errorLines().size(), 1);
    QVERIFY2(run.err().contains(" wrong"), run.err().constData());
}

void TstDoctorVerb::stoppedBus_pipeClosed_isTold_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("with words") << u"doctor --timeout 6"_s;
    QTest::newRow("quiet") << u"--quiet doctor --timeout 6"_s;
}

/// The first findings are written before the bus is asked, so the reader has gone while the threads wait for the bus.
void TstDoctorVerb::stoppedBus_pipeClosed_isTold()
{
    QFETCH(QString, line);
    BusProcess bus;
    bus.hang();
    QProcess reader;
    ProgramRun run(line, reader);
    reader.start(u"head"_s, {u"-n"_s, u"1"_s});
    QVERIFY(reader.waitForFinished(ChildProcess::PATIENCE_MS));
    const Ending ending = run.ending();
    bus.goOn();
    QCOMPARE(ending, ended(1, {"cannot write to stdout: Broken pipe"}));
}

void TstDoctorVerb::replacedProgram_isTold()
{
    const BusProcess bus;
    const QTemporaryDir folder;
    const QString copy = folder.filePath(u"tarvexctl"_s);
    QVERIFY(QFile::copy(ProgramRun::program(), copy));
    ChildProcess listener(copy, {u"listen"_s});
    listener.setVariable(u"LD_LIBRARY_PATH"_s, QFileInfo(ProgramRun::program()).absolutePath() + u"/../lib"_s);
    QVERIFY(listener.start());
    QVERIFY(listener.waitForWords("listening as"));
    QVERIFY(QFile::remove(copy));
    Doctor doctor;
    QCOMPARE(doctor.status(), 0);
    QCOMPARE(doctor.facts(u"versions.replaced"_s), (QVariantMap{{u"pids"_s, QVariantList{listener.processId()}}}));
}

void TstDoctorVerb::busThatFallsSilent_isWrong()
{
    const FakeBuses bus;              // it answers handshakes only
    Doctor doctor(u"--timeout 12"_s); // long enough for the handshakes on a busy machine
    QCOMPARE(doctor.run().status(), 1);
    QCOMPARE(doctor.severity(u"bus.query"_s), u"ok"_s);
    QCOMPARE(doctor.severity(u"bus.receiver"_s), u"ok"_s);
    QCOMPARE(doctor.what(u"bus.exchange"_s),
             u"the bus accepts the handshake, and has not answered all that was asked after it within 12 s"_s);
}

void TstDoctorVerb::otherBus_isLookedAtAsFarAsPossible()
{
    FakeBuses bus;
    bus.query.willAlwaysDo(answerNothingStored);
    Doctor doctor;
    QCOMPARE(doctor.status(), 0);
    QCOMPARE(doctor.severity(u"control"_s), u"unseen"_s);
    QCOMPARE(doctor.severity(u"settings"_s), u"ok"_s);
    const QVariantMap holder = doctor.facts(u"ports.holders"_s).value(u"processes"_s).toList().value(0).toMap();
    QCOMPARE(holder.value(u"pid"_s).toLongLong(), QCoreApplication::applicationPid());
    QStringList asked = operations(bus.query);
    asked.removeDuplicates();
    QCOMPARE(asked, (QStringList{u"loadState"_s, u"loadSettings"_s}));
    QCOMPARE(operations(bus.receiver), QStringList());
    QCOMPARE(bus.receiver.handshakes().size(), 1);
    const QString name = bus.receiver.handshakes().at(0).data.value(u"name"_s).toString();
    QCOMPARE(name, u"tarvexctl-doctor-%1"_s.arg(name.section(u'-', 2).toInt()));
    QCOMPARE(bus.query.handshakes().at(0).data.value(u"name"_s).toString(), name);
}

void TstDoctorVerb::slowBus_isWrong()
{
    FakeBuses bus;
    bus.query.willAlwaysDo(answerNothingStored);
    Doctor doctor(u"--slow 0.001"_s);
    QCOMPARE(doctor.status(), 1);
    QCOMPARE(doctor.severity(u"speed"_s), u"wrong"_s);
}

void TstDoctorVerb::noBusAtAll_isToldByWhatCame()
{
    FakeBuses bus;
    bus.query.willGreet("SSH-2.0-sshd\r\n");
    bus.receiver.willAnswerHandshake(closeConnection);
    Doctor doctor;
    QCOMPARE(doctor.status(), 1);
    QCOMPARE(doctor.what(u"bus.query"_s), u"on the query port: what answered is no reply of the bus: SSH-2.0-sshd"_s);
    QCOMPARE(doctor.what(u"bus.receiver"_s),
             u"on the receiver port: the bus closed the connection during the handshake"_s);
}

void TstDoctorVerb::refusedHandshake_isWrong()
{
    FakeBuses bus;
    bus.query.willRefuseHandshake(3);
    bus.receiver.willAnswerHandshake(refuses());
    Doctor doctor;
    QCOMPARE(doctor.status(), 1);
    QVERIFY(doctor.what(u"bus.query"_s).contains(u"refused the handshake"_s));
    QVERIFY(doctor.what(u"bus.receiver"_s).contains(u"refused the handshake"_s));
}

void TstDoctorVerb::onePortMissing_isWrong()
{
    FakeBus query;
    query.willAlwaysDo(answerNothingStored);
    Doctor doctor;
    QCOMPARE(doctor.status(), 1);
    QCOMPARE(doctor.what(u"ports.missing"_s), u"nobody listens on the receiver port 45537"_s);
    QCOMPARE(doctor.severity(u"bus.query"_s), u"ok"_s);
    QCOMPARE(doctor.severity(u"bus.receiver"_s), QString()); // told already
}

void TstDoctorVerb::wrongUse_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("words");
    const QByteArray number = " must be a number above 0, not ";
    QTest::newRow("slow") << u"doctor --slow fast"_s << "--slow" + number + "\"fast\"";
    QTest::newRow("slow 0") << u"doctor --slow 0"_s << "--slow" + number + "\"0\"";
    QTest::newRow("age nan") << u"doctor --state-age nan"_s << "--state-age" + number + "\"nan\"";
    QTest::newRow("age negative") << u"doctor --state-age=-1"_s << "--state-age" + number + "\"-1\"";
    QTest::newRow("timeout") << u"doctor --timeout 0"_s
                             << QByteArray("--timeout must be a number of seconds from 0.001 to 2000000, not \"0\"");
    QTest::newRow("as") << u"--as printer doctor"_s
                        << QByteArray("--as is not for doctor, which has a name of its own and takes nobody's");
}

void TstDoctorVerb::wrongUse()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, words);
    const FakeBuses bus;
    ProgramRun run(line);
    QCOMPARE(run.ending(), ended(2, {words}));
    QCOMPARE(bus.query.connectionCount() + bus.receiver.connectionCount(), 0);
}

void TstDoctorVerb::controlCharacters_areShownAsEscapes()
{
    const BusProcess bus;
    ScriptedClient printer(u"printer"_s);
    QVERIFY(printer.send(u"a\nb\x1b[2J"_s, u"hello"_s, u"1"_s));
    ProgramRun run(u"doctor"_s + PATIENT);
    QCOMPARE(run.status(), 1);
    QVERIFY2(run.out().contains("\"a\\nb\\x1b[2J\" has never been there"), run.out().constData());
}

QTEST_GUILESS_MAIN(TstDoctorVerb)
#include "tst_doctorverb.moc"
