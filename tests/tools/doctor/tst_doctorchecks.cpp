#include "doctor/checks.h"

#include "literals.h"
#include "records/clientsettings.h"
#include "tarvexlib.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

Q_DECLARE_METATYPE(tarvexctl::Socket)

using namespace tarvexctl;
using namespace tarvexctl::doctor;
using tarvex::ClientSettings;

namespace {

constexpr quint16 QUERY_PORT = 45535;
constexpr quint16 RECEIVER_PORT = 45537;
const char* const OK = "ok";
const char* const UNSEEN = "unseen";
const char* const NOTE = "note";
const char* const WRONG = "wrong";

QString severity(const Finding& finding)
{
    static const QMap<Severity, const char*> names{
        {Severity::Ok, OK}, {Severity::Unseen, UNSEEN}, {Severity::Note, NOTE}, {Severity::Wrong, WRONG}};
    return QLatin1String(names.value(finding.severity));
}

/// "wrong ports.none" for each finding. A finding that is not ok must have an advice.
QStringList shortForm(const Findings& findings)
{
    QStringList texts;
    for (const Finding& finding : findings) {
        const bool hasAdvice = !finding.advice.isEmpty();
        texts.append(severity(finding) + u' ' + finding.check
                     + (hasAdvice == (finding.severity == Severity::Ok) ? u" (advice)"_s : QString()));
    }
    return texts;
}

Process process(qint64 pid, const QString& name = u"tarvex-devbus"_s)
{
    Process process;
    process.pid = pid;
    process.name = name;
    process.user = u"me"_s;
    process.commandLine = u"/usr/bin/"_s + name;
    return process;
}

Socket socket(quint16 port, const QList<Process>& holders)
{
    Socket socket;
    socket.port = port;
    socket.user = 0;
    socket.holders = holders;
    return socket;
}

QVariantMap client(const QString& name, bool receives, int waiting = 0, int takeovers = 0, int subscriptions = 0)
{
    return {{u"name"_s, name},
            {u"querySince"_s, receives ? u"2026-03-01T10:11:12.345"_s : QString()},
            {u"receiverSince"_s, receives ? u"2026-03-01T10:11:12.345"_s : QString()},
            {u"waiting"_s, waiting},
            {u"takeovers"_s, takeovers},
            {u"subscriptions"_s, subscriptions}};
}

ControlAnswers answersWith(const QList<QVariantMap>& clients)
{
    ControlAnswers answers;
    answers.isThere = true;
    answers.clients = clients;
    return answers;
}

ControlAnswers answersAbout(const QVariantMap& about)
{
    ControlAnswers answers;
    answers.isThere = true;
    answers.about = about;
    return answers;
}

QDateTime now()
{
    return QDateTime(QDate(2026, 3, 1), QTime(12, 0));
}

QVariantMap stateRecord(const QString& owner, const QDateTime& date, const QVariant& type = 1,
                        const QVariant& state = u"ready"_s)
{
    return {{u"owner"_s, owner},
            {u"date"_s, date.toString(u"yyyy-MM-ddThh:mm:ss.zzz"_s)},
            {u"description"_s, QString()},
            {u"state"_s, state},
            {u"type"_s, type}};
}

QVariantMap entry(const QString& group, const QString& key, const QVariant& value = 1)
{
    return {{u"group"_s, group}, {u"key"_s, key}, {u"value"_s, value}};
}

BusAnswers answersWith(const QList<QVariant>& entries, const QDateTime& date = now())
{
    ClientSettings settings;
    settings.setOwner(u"printer"_s);
    settings.setDt(date);
    settings.setSettings(entries);
    BusAnswers answers;
    answers.isQueryDone = true;
    answers.settings.append(settings);
    return answers;
}

QVariantMap startedAt(qint64 shiftMs)
{
    const qint64 pid = QCoreApplication::applicationPid();
    const QDateTime noted = processOf(pid)->startedAt.addMSecs(shiftMs);
    return {{u"pid"_s, pid}, {u"startedAtUtc"_s, noted.toUTC().toString(Qt::ISODateWithMs)}};
}

/// Without what is known about this machine's NTP.
QStringList clockFindings(const QVariantMap& about, qint64 jumpMs)
{
    QStringList texts = shortForm(checkClock(answersAbout(about), jumpMs));
    texts.removeAll(u"note clock.unsynchronised"_s);
    texts.removeAll(u"ok clock"_s);
    return texts;
}

} // namespace

class TstDoctorChecks : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void ports_data();
    void ports();
    void ports_holder_isNamed();
    void bus_advice_isByWhatFailed_data();
    void bus_advice_isByWhatFailed();
    void speed_data();
    void speed();
    void versions();
    void versions_replacedFiles_areTold();
    void clients_data();
    void clients();
    void clients_mistyped_isAdvisedSo();
    void clients_usualOnDesk_areNotes();
    void clients_manyMissing_areOneFinding();
    void faults_areTold();
    void names_data();
    void names();
    void names_silence_isTold();
    void names_sameCommandLine();
    void settings_data();
    void settings();
    void settings_leftOut_areTold();
    void states_data();
    void states();
    void storage();
    void clock();
};

void TstDoctorChecks::ports_data()
{
    QTest::addColumn<QList<Socket>>("listeners");
    QTest::addColumn<QStringList>("findings");
    const Process bus = process(10);
    Process stopped = bus;
    stopped.isStopped = true;
    Socket open = socket(QUERY_PORT, {bus});
    open.isOpenToAll = true;
    const Socket receiver = socket(RECEIVER_PORT, {bus});
    QTest::newRow("none") << QList<Socket>{} << QStringList{u"wrong ports.none"_s};
    QTest::newRow("one process") << QList<Socket>{socket(QUERY_PORT, {bus}), receiver}
                                 << QStringList{u"ok ports.holders"_s};
    QTest::newRow("two processes") << QList<Socket>{socket(QUERY_PORT, {process(9, u"sshd"_s)}), receiver}
                                   << QStringList{u"wrong ports.holders"_s};
    QTest::newRow("with a child") << QList<Socket>{socket(QUERY_PORT, {bus, process(11)}), receiver}
                                  << QStringList{u"note ports.holders"_s};
    const Process systemd = process(1, u"systemd"_s);
    QTest::newRow("with systemd") << QList<Socket>{socket(QUERY_PORT, {systemd, bus}),
                                                   socket(RECEIVER_PORT, {systemd, bus})}
                                  << QStringList{u"ok ports.holders"_s};
    QTest::newRow("with systemd and a child")
        << QList<Socket>{socket(QUERY_PORT, {systemd, bus, process(11)}), receiver}
        << QStringList{u"note ports.holders"_s};
    QTest::newRow("systemd alone") << QList<Socket>{socket(QUERY_PORT, {systemd}), socket(RECEIVER_PORT, {systemd})}
                                   << QStringList{u"ok ports.holders"_s};
    QTest::newRow("one port") << QList<Socket>{receiver}
                              << QStringList{u"wrong ports.missing"_s, u"wrong ports.holders"_s};
    QTest::newRow("one seen") << QList<Socket>{socket(QUERY_PORT, {}), receiver}
                              << QStringList{u"unseen ports.unseen"_s, u"ok ports.holders"_s};
    QTest::newRow("another user's") << QList<Socket>{socket(QUERY_PORT, {}), socket(RECEIVER_PORT, {})}
                                    << QStringList{u"unseen ports.unseen"_s, u"unseen ports.unseen"_s};
    QTest::newRow("stopped") << QList<Socket>{socket(QUERY_PORT, {stopped}), socket(RECEIVER_PORT, {stopped})}
                             << QStringList{u"ok ports.holders"_s, u"wrong ports.stopped"_s};
    QTest::newRow("open to all") << QList<Socket>{open, receiver}
                                 << QStringList{u"ok ports.holders"_s, u"note ports.open"_s};
}

void TstDoctorChecks::ports()
{
    QFETCH(QList<Socket>, listeners);
    QTEST(shortForm(checkPorts(listeners)), "findings");
}

void TstDoctorChecks::ports_holder_isNamed()
{
    const Findings findings = checkPorts({socket(QUERY_PORT, {process(10)}), socket(RECEIVER_PORT, {process(10)})});
    QCOMPARE(findings.at(0).what, u"tarvex-devbus (process 10 of me) holds the ports"_s);
    QCOMPARE(checkPorts({socket(RECEIVER_PORT, {process(10)})}).at(1).what,
             u"tarvex-devbus (process 10 of me) holds the receiver port 45537 only"_s);
    const QList<Process> both = {process(1, u"systemd"_s), process(10)};
    const Findings shared = checkPorts({socket(QUERY_PORT, both), socket(RECEIVER_PORT, both)});
    QCOMPARE(shared.at(0).what, findings.at(0).what);
    QCOMPARE(shared.at(0).facts.value(u"processes"_s).toList().size(), 2);
    const QVariantMap fact = findings.at(0).facts.value(u"processes"_s).toList().value(0).toMap();
    QCOMPARE(fact.value(u"pid"_s).toInt(), 10);
    QCOMPARE(fact.value(u"user"_s).toString(), u"me"_s);
    const Findings unseen = checkPorts({socket(QUERY_PORT, {})});
    QVERIFY2(unseen.at(0).what.contains(u"of the user root"_s), qPrintable(unseen.at(0).what));
    QCOMPARE(unseen.at(0).advice, u"Run doctor as root to see which process it is."_s);
}

void TstDoctorChecks::bus_advice_isByWhatFailed_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("advice");
    QTest::newRow("refused") << int(Refused)
                             << u"Read what the bus has written to its stderr, and see storage below."_s;
    QTest::newRow("lost") << int(NoBus) << u"See whether the bus has ended, and run doctor again."_s;
    QTest::newRow("silence") << int(TimedOut)
                             << u"See what the process that holds the port waits for (strace -p, gdb -p), and start it "
                                "again if it hangs."_s;
}

void TstDoctorChecks::bus_advice_isByWhatFailed()
{
    QFETCH(int, status);
    BusAnswers answers;
    answers.handshakeMs = 1;
    answers.isQueryDone = true;
    answers.queryFailure = Failure(static_cast<ExitStatus>(status), u"words"_s);
    const Findings findings = checkBus(answers, {}, u"10 s"_s);
    QCOMPARE(shortForm(findings), (QStringList{u"ok bus.query"_s, u"wrong bus.exchange"_s}));
    QTEST(findings.at(1).advice, "advice");
}

void TstDoctorChecks::speed_data()
{
    QTest::addColumn<QVector<double>>("times");
    QTest::addColumn<QStringList>("findings");
    QTest::newRow("none") << QVector<double>{} << QStringList{};
    QTest::newRow("fast") << QVector<double>{12, 11, 100} << QStringList{u"ok speed"_s};
    QTest::newRow("one slow") << QVector<double>{101, 11, 12} << QStringList{u"note speed"_s};
    QTest::newRow("slow") << QVector<double>{101, 102, 12} << QStringList{u"wrong speed"_s};
}

void TstDoctorChecks::speed()
{
    QFETCH(QVector<double>, times);
    BusAnswers answers;
    answers.exchangesMs = times;
    QTEST(shortForm(checkSpeed(answers, 100)), "findings");
}

void TstDoctorChecks::versions()
{
    const QString ours = bus::TarvexLib::version().version();
    const auto check = [](const QString& version) {
        return shortForm(
            checkVersions(answersAbout({{u"version"_s, version}}), {}, {socket(QUERY_PORT, {process(5)})}));
    };
    QCOMPARE(check(ours), QStringList{u"ok versions"_s});
    QCOMPARE(check(u"1.2.3"_s), QStringList{u"note versions"_s});
    QCOMPARE(check(QString()), QStringList{});
}

void TstDoctorChecks::versions_replacedFiles_areTold()
{
    Process bus = process(10);
    bus.isReplaced = true;
    Process service = process(5, u"echo"_s);
    service.isLibraryReplaced = true;
    const Findings findings = checkVersions(ControlAnswers(), {socket(QUERY_PORT, {bus}), socket(RECEIVER_PORT, {bus})},
                                            {socket(QUERY_PORT, {service}), socket(QUERY_PORT, {process(6)})});
    QCOMPARE(shortForm(findings), QStringList{u"note versions.replaced"_s});
    QVERIFY2(findings.at(0).what.endsWith(u"since the start of echo (5), tarvex-devbus (10)"_s),
             qPrintable(findings.at(0).what));
}

void TstDoctorChecks::clients_data()
{
    QTest::addColumn<QVariantMap>("who");
    QTest::addColumn<QStringList>("findings");
    QTest::newRow("there") << client(u"a"_s, true, 3) << QStringList{u"ok clients"_s};
    QTest::newRow("absent, nothing waits") << client(u"a"_s, false) << QStringList{u"ok clients"_s};
    QTest::newRow("absent, messages wait") << client(u"a"_s, false, 1) << QStringList{u"wrong clients.missing"_s};
    QTest::newRow("there, many wait") << client(u"a"_s, true, 64) << QStringList{u"note clients.behind"_s};
    QTest::newRow("absent, subscribed") << client(u"a"_s, false, 0, 0, 1) << QStringList{u"note clients.subscribed"_s};
}

void TstDoctorChecks::clients()
{
    QFETCH(QVariantMap, who);
    QTEST(shortForm(checkClients(answersWith(QList<QVariantMap>{who}))), "findings");
    QCOMPARE(shortForm(checkClients(ControlAnswers())), QStringList{});
}

void TstDoctorChecks::clients_mistyped_isAdvisedSo()
{
    ControlAnswers answers = answersWith(QList<QVariantMap>{client(u"printre"_s, false, 2)});
    QVERIFY(!checkClients(answers).at(0).advice.contains(u"mistyped"_s));
    answers.unknown.append(u"printre"_s);
    const Finding finding = checkClients(answers).at(0);
    QCOMPARE(finding.what, u"\"printre\" has never been there, and 2 messages wait for it"_s);
    QVERIFY2(finding.advice.contains(u"mistyped"_s), qPrintable(finding.advice));
    QCOMPARE(finding.facts, (QVariantMap{{u"client"_s, u"printre"_s}, {u"waiting"_s, 2}}));
}

void TstDoctorChecks::clients_usualOnDesk_areNotes()
{
    const QList<QVariantMap> who{client(u"logger"_s, false, 12), client(u"tarvexctl"_s, false, 1),
                                 client(u"tarvexctl-4711"_s, false, 2)};
    const Findings findings = checkClients(answersWith(who));
    QCOMPARE(shortForm(findings), (QStringList{u"note clients.log"_s, u"note clients.answers"_s}));
    QCOMPARE(findings.at(0).what, u"nobody receives the log, and 12 messages wait for \"logger\""_s);
    QVERIFY2(findings.at(0).advice.contains(u"tarvexctl log --stand-in"_s), qPrintable(findings.at(0).advice));
    QCOMPARE(findings.at(1).what, u"3 messages wait for tarvexctl itself, which has ended"_s);
    QCOMPARE(shortForm(checkClients(answersWith(QList<QVariantMap>{client(u"tarvexctl-gui"_s, false, 1)}))),
             QStringList{u"wrong clients.missing"_s});
}

void TstDoctorChecks::clients_manyMissing_areOneFinding()
{
    QList<QVariantMap> who;
    for (const QString& name : {u"a"_s, u"b"_s, u"c"_s}) {
        who.append(client(name, false, 2));
    }
    QCOMPARE(checkClients(answersWith(who)).size(), 3);
    who.append(client(u"d"_s, false, 1));
    ControlAnswers answers = answersWith(who);
    answers.unknown.append(u"d"_s);
    const Findings findings = checkClients(answers);
    QCOMPARE(shortForm(findings), QStringList{u"wrong clients.missing"_s});
    QCOMPARE(findings.at(0).what, u"7 messages wait for 4 clients that do not receive: a, b, c and 1 more"_s);
    QCOMPARE(findings.at(0).facts.value(u"waiting"_s).toInt(), 7);
    QCOMPARE(findings.at(0).facts.value(u"clients"_s).toList().value(3).toMap(),
             (QVariantMap{{u"client"_s, u"d"_s}, {u"waiting"_s, 1}}));
    QVERIFY2(findings.at(0).advice.contains(u"d may be mistyped"_s), qPrintable(findings.at(0).advice));
}

void TstDoctorChecks::faults_areTold()
{
    ControlAnswers answers = answersWith(QList<QVariantMap>{});
    QCOMPARE(shortForm(checkFaults(answers)), QStringList{});
    answers.faults.append({{u"number"_s, 1}, {u"rule"_s, u"do=silence"_s}});
    QCOMPARE(checkFaults(answers).value(0).what, u"1 fault on purpose is set"_s);
    answers.faults.append({{u"number"_s, 2}, {u"rule"_s, u"once do=drop"_s}});
    const Findings findings = checkFaults(answers);
    QCOMPARE(shortForm(findings), QStringList{u"note faults"_s});
    QCOMPARE(findings.at(0).what, u"2 faults on purpose are set"_s);
    QCOMPARE(findings.at(0).facts.value(u"rules"_s).toStringList(), (QStringList{u"do=silence"_s, u"once do=drop"_s}));
}

void TstDoctorChecks::names_data()
{
    QTest::addColumn<int>("before");
    QTest::addColumn<int>("after");
    QTest::addColumn<QStringList>("findings");
    QTest::newRow("never") << 0 << 0 << QStringList{u"ok names"_s};
    QTest::newRow("once") << 1 << 1 << QStringList{u"note names.taken"_s};
    QTest::newRow("again") << 1 << 2 << QStringList{u"wrong names.fight"_s};
}

void TstDoctorChecks::names()
{
    QFETCH(int, before);
    QFETCH(int, after);
    const QList<QVariantMap> former{client(u"printer"_s, true, 0, before)};
    const QList<QVariantMap> later{client(u"printer"_s, true, 0, after)};
    QCOMPARE(wasNameTaken(former), before > 0);
    QCOMPARE(isNameTakenAgain(former, later), after > before);
    QTEST(shortForm(checkNames(answersWith(former), {later, 7000, 0}, {})), "findings");
}

void TstDoctorChecks::names_silence_isTold()
{
    const QList<QVariantMap> clients{client(u"printer"_s, true, 0, 1)};
    const Findings findings = checkNames(answersWith(clients), {clients, 1500, 5500}, {});
    QCOMPARE(shortForm(findings), (QStringList{u"unseen names.unseen"_s, u"note names.taken"_s}));
    QVERIFY2(findings.at(0).what.contains(u"for 5.5 s"_s), qPrintable(findings.at(0).what));
    QVERIFY2(findings.at(1).what.contains(u"not within the last 1.5 s"_s), qPrintable(findings.at(1).what));
    QCOMPARE(shortForm(checkNames(answersWith(clients), {clients, 6500, 500}, {})), QStringList{u"note names.taken"_s});
}

void TstDoctorChecks::names_sameCommandLine()
{
    const Process one = process(5, u"echo"_s);
    const Process two = process(6, u"echo"_s);
    const QList<Socket> twice{socket(QUERY_PORT, {one}), socket(QUERY_PORT, {two}), socket(RECEIVER_PORT, {two})};
    QCOMPARE(shortForm(checkNames(ControlAnswers(), {}, twice)), QStringList{u"note names.twins"_s});
    const QList<Socket> forked{socket(QUERY_PORT, {two, one}), socket(RECEIVER_PORT, {two, one})};
    QCOMPARE(shortForm(checkNames(ControlAnswers(), {}, forked)), QStringList{});
    const QList<Socket> others{socket(QUERY_PORT, {one}), socket(QUERY_PORT, {process(6, u"logger"_s)})};
    QCOMPARE(shortForm(checkNames(ControlAnswers(), {}, others)), QStringList{});
}

void TstDoctorChecks::settings_data()
{
    QTest::addColumn<QList<QVariant>>("entries");
    QTest::addColumn<QDateTime>("date");
    QTest::addColumn<QStringList>("findings");
    QTest::addColumn<QString>("words");
    const QStringList wrong{u"wrong settings.convert"_s};
    const QString none;
    const QVariant good = entry(u"paper"_s, u"width"_s);
    QTest::newRow("good") << QList<QVariant>{good, entry(QString(), u"width"_s)} << now()
                          << QStringList{u"ok settings"_s} << none;
    QTest::newRow("date") << QList<QVariant>{good} << QDateTime() << wrong << u"the date cannot be read"_s;
    QTest::newRow("twice") << QList<QVariant>{good, good} << now() << wrong << u"paper/width is there twice"_s;
    QTest::newRow("same path") << QList<QVariant>{entry(u"a/b"_s, u"c"_s), entry(u"a"_s, u"b/c"_s)} << now() << wrong
                               << u"a/b/c is there twice"_s;
    QTest::newRow("no object") << QList<QVariant>{7} << now() << wrong << u"an entry is no object"_s;
    QTest::newRow("no key") << QList<QVariant>{QVariantMap{{u"value"_s, 1}}} << now() << wrong << u"has no key"_s;
    QTest::newRow("no value") << QList<QVariant>{QVariantMap{{u"key"_s, u"k"_s}}} << now() << wrong
                              << u"/k has no value"_s;
    QTest::newRow("group") << QList<QVariant>{QVariantMap{{u"key"_s, u"k"_s}, {u"group"_s, 5}, {u"value"_s, 1}}}
                           << now() << wrong << u"the group of \"k\" is no text"_s;
    QTest::newRow("inexact") << QList<QVariant>{entry(u"a"_s, u"b"_s, 9007199254740994.0)} << now()
                             << QStringList{u"note settings.inexact"_s} << u"a/b holds"_s;
    QTest::newRow("inexact within") << QList<QVariant>{entry(u"a"_s, u"b"_s,
                                                             QVariantList{QVariantMap{{u"n"_s, -1e16}}})}
                                    << now() << QStringList{u"note settings.inexact"_s} << u"a/b holds"_s;
    QTest::newRow("large and no integer")
        << QList<QVariant>{entry(u"a"_s, u"b"_s, 1e300)} << now() << QStringList{u"ok settings"_s} << none;
    // 2^53 + 1 arrives as 2^53.
    QTest::newRow("inexact, the first") << QList<QVariant>{entry(u"a"_s, u"b"_s, 9007199254740992.0)} << now()
                                        << QStringList{u"note settings.inexact"_s} << u"a/b holds"_s;
    QTest::newRow("exact") << QList<QVariant>{entry(u"a"_s, u"b"_s, 9007199254740991.0)} << now()
                           << QStringList{u"ok settings"_s} << none;
    QTest::newRow("future") << QList<QVariant>{good} << now().addSecs(61) << QStringList{u"wrong settings.future"_s}
                            << u"61 s in the future"_s;
    QTest::newRow("a little ahead") << QList<QVariant>{good} << now().addSecs(60) << QStringList{u"ok settings"_s}
                                    << none;
}

void TstDoctorChecks::settings()
{
    QFETCH(QList<QVariant>, entries);
    QFETCH(QDateTime, date);
    QFETCH(QString, words);
    const Findings findings = checkSettings(answersWith(entries, date), now());
    QTEST(shortForm(findings), "findings");
    QVERIFY2(findings.at(0).what.contains(words), qPrintable(findings.at(0).what));
}

void TstDoctorChecks::settings_leftOut_areTold()
{
    BusAnswers answers = answersWith(QList<QVariant>{entry(u"a"_s, u"b"_s)});
    answers.skippedCount = 3;
    QCOMPARE(shortForm(checkSettings(answers, now())), QStringList{u"unseen settings.unseen"_s});
}

void TstDoctorChecks::states_data()
{
    QTest::addColumn<QVariantMap>("record");
    QTest::addColumn<bool>("connected");
    QTest::addColumn<bool>("given");
    QTest::addColumn<QStringList>("findings");
    const QStringList ok{u"ok states"_s};
    const QStringList convert{u"wrong states.convert"_s};
    const QString name = u"printer"_s;
    const QDateTime old = now().addSecs(-61);
    QTest::newRow("young") << stateRecord(name, now().addSecs(-60)) << true << true << ok;
    QTest::newRow("old") << stateRecord(name, old) << true << false << QStringList{u"note states.old"_s};
    QTest::newRow("older than said") << stateRecord(name, old) << true << true << QStringList{u"wrong states.old"_s};
    QTest::newRow("of an absent one") << stateRecord(name, old) << false << true
                                      << QStringList{u"ok states"_s, u"note states.absent"_s};
    QTest::newRow("no state") << stateRecord(name, old, -1) << true << true << ok;
    QTest::newRow("future") << stateRecord(name, now().addSecs(61)) << true << true
                            << QStringList{u"wrong states.future"_s};
    QTest::newRow("no date") << stateRecord(name, QDateTime()) << true << true << convert;
    QTest::newRow("type too large") << stateRecord(name, now(), 300) << true << true << convert;
    QTest::newRow("type no number") << stateRecord(name, now(), u"1"_s) << true << true << convert;
    QTest::newRow("type no integer") << stateRecord(name, now(), 1.5) << true << true << convert;
    QTest::newRow("type missing") << stateRecord(name, now(), QVariant()) << true << true << convert;
    QTest::newRow("state no text") << stateRecord(name, now(), 1, 5) << true << true << convert;
    QTest::newRow("broken JSON") << stateRecord(name, now(), 1, u"{\"a\""_s) << true << true << convert;
    QTest::newRow("JSON") << stateRecord(name, now(), 1, u"{\"a\":1}"_s) << true << true << ok;
}

void TstDoctorChecks::states()
{
    QFETCH(QVariantMap, record);
    QFETCH(bool, connected);
    QFETCH(bool, given);
    const ControlAnswers control = answersWith(QList<QVariantMap>{client(u"printer"_s, connected)});
    QTEST(shortForm(checkStates({record}, control, {60, given}, now())), "findings");
}

void TstDoctorChecks::storage()
{
    const auto check = [](const QVariantMap& about) {
        return shortForm(checkStorage(answersAbout(about), BusAnswers()));
    };
    QCOMPARE(check({}), QStringList{});
    QCOMPARE(check({{u"storage"_s, QString()}}), QStringList{u"note storage.memory"_s});
    const QTemporaryDir folder;
    QCOMPARE(check({{u"storage"_s, folder.filePath(u"gone.sqlite"_s)}}), QStringList{u"wrong storage.gone"_s});
    QCOMPARE(check({{u"storage"_s, folder.filePath(u"no/folder.sqlite"_s)}}), QStringList{u"wrong storage.gone"_s});
    QCOMPARE(check({{u"storage"_s, QString()}, {u"storageError"_s, u"512 disk full"_s}}),
             (QStringList{u"wrong storage.failing"_s, u"note storage.memory"_s}));
    const QString file = folder.filePath(u"bus.sqlite"_s);
    QVERIFY(QFile(file).open(QIODevice::WriteOnly));
    const Finding size =
        checkStorage(answersAbout({{u"storage"_s, file}, {u"storageBytes"_s, 5120}}), BusAnswers()).value(0);
    QCOMPARE(size.facts.value(u"bytes"_s).toInt(), 5120); // as the bus tells, and as status shows
    BusAnswers refused;
    refused.refusals.append({u"printer"_s, u"refused by the bus: 256 Invalid data storage"_s});
    const Findings findings = checkStorage(ControlAnswers(), refused);
    QCOMPARE(shortForm(findings), QStringList{u"wrong storage.failing"_s});
    QVERIFY(findings.at(0).what.contains(u"\"printer\" cannot be loaded: refused by the bus: 256"_s));
}

void TstDoctorChecks::clock()
{
    QCOMPARE(clockFindings(startedAt(0), 0), QStringList{});
    QCOMPARE(clockFindings(startedAt(10000), 0), QStringList{}); // it was slow to be ready
    QCOMPARE(clockFindings(startedAt(3600000), 0), QStringList{u"wrong clock.jump"_s});
    QCOMPARE(clockFindings(startedAt(-3600000), 0), QStringList{u"wrong clock.jump"_s});
    QCOMPARE(clockFindings({}, 501), QStringList{u"wrong clock.jump"_s});
    QCOMPARE(clockFindings({}, -499), QStringList{});
    const Findings back = checkClock(answersAbout(startedAt(3600000)), 0);
    QCOMPARE(back.at(0).what, u"since the bus was started the clock was set back by 3600 s"_s);
}

QTEST_GUILESS_MAIN(TstDoctorChecks)
#include "tst_doctorchecks.moc"
