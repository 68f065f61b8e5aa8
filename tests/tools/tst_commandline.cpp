#include "fakebus.h"
#include "literals.h"
#include "programrun.h"

#include <QDateTime>
#include <QMap>
#include <QTest>

namespace {

/// Adds a row to wrongUse_isRefusedBeforeConnecting(): a command line, and the words that refuse it.
void refuses(const QString& line, const QByteArray& words)
{
    QTest::newRow(line.isEmpty() ? "nothing" : qPrintable(line)) << line << words;
}

void refuses(const char* line, const char* words)
{
    refuses(QString::fromUtf8(line), QByteArray(words));
}

/// The verbs that a help text names. They are in the part "Verbs", which ends at the next empty line.
QStringList verbsIn(const QString& help)
{
    QStringList verbs;
    const QString part = help.section(u"\nVerbs:\n"_s, 1).section(u"\n\n"_s, 0, 0);
    const QStringList lines = part.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        // The second line of a long explanation begins far to the right and names no verb.
        if (line.startsWith(QLatin1String("  ")) && !line.startsWith(QLatin1String("   "))) {
            verbs.append(line.simplified().section(QLatin1Char(' '), 0, 0));
        }
    }
    return verbs;
}

/// The help of the program, and of every verb that another help names. The key is the words before --help.
/// Whether \a verb is nothing that one can do: the program alone, or the name of a group.
bool isGroup(const QString& verb)
{
    return QStringList{QString(), u"settings"_s, u"state"_s, u"fault"_s}.contains(verb);
}

QMap<QString, QString> allHelps()
{
    QMap<QString, QString> helps;
    QStringList verbs{QString()};
    while (!verbs.isEmpty()) {
        const QString verb = verbs.takeFirst();
        ProgramRun run(verb + u" --help"_s);
        const Ending ending = run.ending();
        const QString help = ending.status == 0 && ending.err.isEmpty() ? QString::fromUtf8(ending.out) : QString();
        helps.insert(verb, help);
        const QStringList inners = verbsIn(help);
        for (const QString& inner : inners) {
            verbs.append((verb + QLatin1Char(' ') + inner).trimmed());
        }
    }
    return helps;
}

} // namespace

/// What the program understands, and what it refuses before it connects to the bus.
class TstCommandLine : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void help_mentions_data();
    void help_mentions();
    void help_everywhere_fitsTerminalAndTellsStatuses();
    void version_isTheLibrarys();
    void version_asJson_isOneObject();
    void wrongUse_isRefusedBeforeConnecting_data();
    void wrongUse_isRefusedBeforeConnecting();
    void optionsOfProgram_afterVerb_areUnderstood();
    void argumentNotUtf8_isRefused();
    void stdoutUseless_isTold_data();
    void stdoutUseless_isTold();
    void stdoutUseless_afterTalk_isTold_data();
    void stdoutUseless_afterTalk_isTold();
};

void TstCommandLine::help_mentions_data()
{
    QTest::addColumn<QByteArrayList>("mentioned");
    const QByteArray nameHint = "Without --as the name is";
    QTest::newRow("") << QByteArrayList{"--as",    "--json", "settings", "state", "send",    "call",         "listen",
                                        "clients", "wait",   "status",   "ping",  "--quiet", "-V,--version", "130"};
    QTest::newRow("settings") << QByteArrayList{"get", "set", "remove", "list", "unset", "load"};
    QTest::newRow("settings get") << QByteArrayList{"OWNER..."};
    QTest::newRow("settings set") << QByteArrayList{"OWNER GROUP KEY VALUE", "--string", "--description"};
    QTest::newRow("settings remove") << QByteArrayList{"OWNER"};
    QTest::newRow("settings unset") << QByteArrayList{"OWNER GROUP KEY"};
    QTest::newRow("settings load") << QByteArrayList{"[FILE]", "stdin"};
    QTest::newRow("state") << QByteArrayList{"get", "set", "watch", "list"};
    QTest::newRow("state get") << QByteArrayList{"OWNER..."};
    QTest::newRow("state set") << QByteArrayList{"TEXT", "--type", "--description"};
    QTest::newRow("state watch") << QByteArrayList{"OWNER...", "--diff", "--count N", "--timeout S", nameHint};
    QTest::newRow("send") << QByteArrayList{"RECEIVER [TEXT...]", "--command NAME", "--data JSON|@FILE|-"};
    QTest::newRow("call") << QByteArrayList{"RECEIVER COMMAND [DATA...]", "--data JSON|@FILE|-", "--timeout S=10",
                                            "--silence-ok", nameHint};
    QTest::newRow("status") << QByteArrayList{"also without a verb", "--timeout S=5", "Example: tarvexctl status"};
    QTest::newRow("ping") << QByteArrayList{"--count N", "--interval MS", "--timeout S", "Example: tarvexctl ping"};
    QTest::newRow("wait") << QByteArrayList{"--timeout S=30", "client", "state", "message"};
    QTest::newRow("wait client") << QByteArrayList{"NAME", "--timeout S=30", "Example: tarvexctl wait client"};
    QTest::newRow("wait state") << QByteArrayList{"--matches REGEX", "--is TEXT", "--type N", nameHint, "Example: "};
    QTest::newRow("wait message") << QByteArrayList{
        "--from NAME", "--command NAME", "--matches REGEX", "--subscribe PUBLISHER[:GOAL]", nameHint, "Example: "};
    QTest::newRow("fault") << QByteArrayList{"add", "list", "clear"};
    QTest::newRow("fault add") << QByteArrayList{"WORD...", "do=EFFECT", "Example: tarvexctl fault add client="};
    QTest::newRow("fault list") << QByteArrayList{"Example: tarvexctl fault list"};
    QTest::newRow("fault clear") << QByteArrayList{"[NUMBER...]", "Example: tarvexctl fault clear 2 3"};
    QTest::newRow("listen") << QByteArrayList{"--subscribe PUBLISHER[:GOAL]", "--count N", "--timeout S", nameHint};
}

void TstCommandLine::help_mentions()
{
    QFETCH(QByteArrayList, mentioned);
    ProgramRun run(QString::fromLatin1(QTest::currentDataTag()) + u" --help"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending, ended(0, {}, ending.out));
    for (const QByteArray& word : qAsConst(mentioned)) {
        QVERIFY2(ending.out.simplified().contains(word), word.constData());
    }
}

void TstCommandLine::help_everywhere_fitsTerminalAndTellsStatuses()
{
    const QMap<QString, QString> helps = allHelps();
    for (const char* const known : {"", "settings set", "state watch", "call", "listen", "wait"}) {
        QVERIFY2(helps.contains(QLatin1String(known)), known);
    }
    for (auto help = helps.cbegin(); help != helps.cend(); ++help) {
        QVERIFY2(
            help->simplified().contains(QLatin1String("--as, --json, --quiet and --wait-for-bus may stand before the "
                                                      "verb or after it; what follows -- is never an option.")),
            qPrintable(help.key()));
        QVERIFY2(isGroup(help.key()) || help->contains(u"Example: "_s), qPrintable(help.key()));
        const QStringList lines = help->split(QLatin1Char('\n'));
        for (const QString& line : lines) {
            QVERIFY2(line.size() <= 80, qPrintable(help.key() + QLatin1String(": ") + line));
        }
        const QString statuses = help->section(u"\nExit status:\n"_s, 1);
        for (const char* const status : {"  0    ", "  1    ", "  2    ", "  3    ", "  4    ", "  130  "}) {
            QVERIFY2(statuses.contains(QLatin1String(status)), qPrintable(help.key() + QLatin1String(status)));
        }
    }
    // A long text is complete, on several lines.
    QVERIFY(helps.value(u"listen"_s)
                .simplified()
                .contains(u"its messages to nobody in particular (2), or both (3, and without a goal); for "
                          "each publisher once more --count N"_s));
    QVERIFY(helps.value(u"call"_s).simplified().contains(
        u"that service loses its connection and its messages to this program. Example: tarvexctl call "_s));
}

void TstCommandLine::version_isTheLibrarys()
{
    for (const QString& option : {u"--version"_s, u"-V"_s}) {
        ProgramRun run(option);
        QCOMPARE(run.status(), 0);
        const QString line = QString::fromUtf8(run.out());
        QVERIFY2(line.startsWith(QLatin1String("tarvexctl 5.0.28, built ")), run.out().constData());
        const QDateTime built = QDateTime::fromString(line.section(QLatin1Char(' '), -1).trimmed(), Qt::ISODate);
        QVERIFY2(built.isValid(), run.out().constData());
    }
}

void TstCommandLine::version_asJson_isOneObject()
{
    ProgramRun run(u"--json --version"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 1);
    const QVariantMap object = run.objects().constFirst();
    QCOMPARE(object.keys(), (QStringList{u"buildTime"_s, u"program"_s, u"version"_s}));
    QCOMPARE(object.value(u"version"_s).toString(), u"5.0.28"_s);
}

namespace {

void refuseWrongVerbs()
{
    refuses("--timeout 1", "unknown option \"--timeout\"");
    refuses("[hearken", "unknown verb \"[hearken\";");
    refuses("hearken", "unknown verb \"hearken\"; there are settings, ");
    refuses("lisen", "unknown verb \"lisen\"; did you mean \"listen\"? There are settings, ");
    refuses("Wait", "did you mean \"wait\"? There");
    refuses("get printer",
            "unknown verb \"get\"; did you mean \"settings get\" or \"state get\"? There are settings, ");
    refuses("settings gt printer", "unknown verb \"gt\"; did you mean \"get\"? There are get, set, ");
    refuses("settings",
            "settings needs a verb: get, set, remove, list, unset, load, edit, export, import, diff or watch");
    refuses(
        "settings show",
        "unknown verb \"show\"; there are get, set, remove, list, unset, load, edit, export, import, diff and watch");
    refuses("state", "state needs a verb: get, set, watch or list");
    refuses("state show printer", "unknown verb \"show\"; there are get, set, watch and list");
    refuses("state -- get", "\"get\" stands after --");
}

void refuseWrongOptions()
{
    refuses("state get --all", "unknown option \"--all\"");
    refuses(
        "call gui beep --tiemout 3",
        "unknown option \"--tiemout\"; did you mean \"--timeout\"? An argument that begins with a minus stands after "
        "--; see");
    refuses("call gui beep -timeout=3", "unknown option \"-timeout=3\"; did you mean \"--timeout\"? An");
    refuses("state get printer --jsn", "\"--jsn\"; did you mean \"--json\"?");
    refuses("state get --all=", "\"--all\"");
    refuses("settings set a b c --text",
            "unknown option \"--text\"; an argument that begins with a minus stands after --");
    refuses("send gui -y", "begins with a minus stands after --");
    refuses("call gui beep --count 1", "--count");
    refuses("--json=1 --version", "--json takes no value");
    refuses("--json= --version", "--json takes no value; see");
    refuses("--json=", "--json takes no value");
    refuses("call gui beep --silence-ok=", "--silence-ok takes no value");
    refuses("call gui beep --silence-ok=0", "--silence-ok takes no value");
    refuses("state --help=1", "--help takes no value");
    refuses("--quiet --quiet --version", "--quiet is given more than once");
    refuses("--quiet=1 --version", "--quiet takes no value");
    refuses("--quiet listne", "did you mean \"listen\"?");
    refuses("--json --json --version", "--json is given more than once");
    refuses("--color green state get printer", "--color must be auto, always or never, not \"green\"; see --help");
    refuses("--version -V", "--version is given more than once");
    refuses("--as a state get --as b", "--as is given more than once");
    refuses("call gui beep --timeout 1 --timeout 2", "--timeout is given more than once");
    refuses("wait --timeout 1 client gui", "--timeout stands after \"wait client\"");
    refuses("listen --subscribe a --subscribe a:1", "tarvexctl: \"a\" is given twice with --subscribe\n");
}

void refuseEmptyNames()
{
    refuses("--as ''", "--as must not be empty");
    refuses("--as '' state get", "--as must not be empty");
    refuses("--as= state get", "--as must not be empty");
    refuses("--as '' call gui beep", "--as must not be empty");
    refuses("settings load ''", "FILE must not be empty");
    refuses("settings get printer ''", "OWNER must not be empty");
    refuses("settings set '' b c 1", "OWNER must not be empty");
    refuses("settings set a b '' 1", "KEY must not be empty");
    refuses("settings remove ''", "OWNER must not be empty");
    refuses("settings unset '' b c", "OWNER must not be empty");
    refuses("settings unset a b ''", "KEY must not be empty");
    refuses("state get ''", "OWNER must not be empty");
    refuses("state watch a ''", "OWNER must not be empty");
    refuses("send '' text", "RECEIVER must not be empty");
    refuses("send gui --command ''", "--command must not be");
    refuses("send gui --command= beep", "--command must not be empty");
    refuses("call '' beep", "RECEIVER must not be empty");
    refuses("call gui ''", "COMMAND must not be empty");
    refuses("wait client ''", "NAME must not be empty");
    refuses("wait state ''", "OWNER must not be empty");
    refuses("wait message --from ''", "--from must not be empty");
    refuses("wait message --command ''", "--command must not be empty");
    refuses("listen --subscribe ''", "tarvexctl: PUBLISHER must not be empty\n");
    refuses("listen --subscribe :1", "tarvexctl: PUBLISHER must not be empty\n");
}

void refuseWrongNumberOfArguments()
{
    refuses("settings set a b c", "VALUE is required");
    refuses("settings set a b c 1 2", "unexpected argument \"2\"");
    refuses("settings remove", "OWNER is required");
    refuses("settings unset a b", "KEY is required");
    refuses("settings load a b", "unexpected argument \"b\"");
    refuses("settings list a", "unexpected argument \"a\"");
    refuses("state set", "TEXT is required");
    refuses("state watch", "OWNER is required");
    refuses("send gui", "send needs a TEXT, or a --command");
    refuses("call gui", "COMMAND is required");
    refuses("call printer print --as printer", "tarvexctl: a call to oneself has nobody to answer it\n");
    refuses("status a", "unexpected argument \"a\"");
    refuses("ping a", "unexpected argument \"a\"");
    refuses("clients a", "unexpected argument \"a\"");
    refuses("wait bus", "unknown verb \"bus\"; there are client, state and message");
    refuses("wait client", "NAME is required");
    refuses("wait client a b", "unexpected argument \"b\"");
    refuses("wait state", "OWNER is required");
    refuses("wait message printed", "unexpected argument \"printed\"");
    refuses("listen gui", "gui");
}

void refuseWrongValues()
{
    refuses("settings set a b c 9007199254740993", "9007199254740993 is too large");
    refuses("settings set a b c 123456789012345678901234567890", "123456789012345678901234567890 is too large");
    refuses("settings set a b c {\"id\":[1.5,9007199254740993]}", ": 9007199254740993 is too large");
    refuses("send a --command b {\"id\":9007199254740993}",
            "9007199254740993 is too large to travel exactly as a number");
    refuses("call a b {\"id\":[1,-9007199254740993]}", "-9007199254740993 is too large to travel exactly");
    refuses("send gui --command beep {\"a\":", "no JSON: ");
    refuses("send gui --command beep loud", "a JSON object, or KEY=VALUE and KEY:=JSON; \"loud\" is neither");
    refuses("call gui beep loud", "a JSON object, or KEY=VALUE and KEY:=JSON; \"loud\" is neither");
    refuses("send gui --command beep [1]", "must be a JSON object");
    refuses("send gui --command beep 5", "must be a JSON object");
    refuses("call gui beep {\"a\":", "no JSON: ");
    refuses("call gui beep [1]", "must be a JSON object");
    refuses("call gui beep \"5\"", "must be a JSON object");
    refuses("call gui beep a=1 b=2 a:=3", "the key \"a\" is given twice");
    refuses("call gui beep =1", "there is no key in \"=1\"");
    refuses("send gui --command beep {\"x\":1,\"x\":2}", "the key \"x\" is given twice in one object");
    refuses("call gui beep a:=[{\"x\":1,\"x\":2}]", "the key \"x\" is given twice in one object");
    refuses("call gui beep :=1", "there is no key in \":=1\"");
    refuses("call gui beep a:=loud", "the value of \"a\" is no JSON: loud");
    refuses("call gui beep a:=1,2", "the value of \"a\" is no JSON: 1,2");
    refuses("call gui beep a:=", "the value of \"a\" is no JSON: ");
    refuses("call gui beep a:=[9007199254740993]", "9007199254740993 is too large to travel exactly");
    refuses("call gui beep a=1 {\"b\":2}", "a JSON object stands alone, without KEY=VALUE beside it: {\"b\":2}");
    refuses("call gui beep {\"b\":2} {\"c\":2}", "a JSON object stands alone");
    refuses("send gui hello world", "unexpected argument \"world\"");
    refuses("state set ok --type -1", "from 0 to 127, not \"-1\"");
    refuses("state set ok --type 128", "from 0 to 127, not \"128\"");
    refuses("state set ok --type big", "from 0 to 127, not \"big\"");
    refuses("state watch a --count 0", "not \"0\"");
    refuses("call gui beep --timeout 0", "not \"0\"");
    refuses("wait --timeout 0", "not \"0\"");
    refuses("status --timeout 0", "--timeout must be a number of seconds");
    refuses("ping --count 0", "--count must be a whole number");
    refuses("ping --timeout 0", "--timeout must be a number of seconds");
    for (const char* const interval : {"-1", "60001", "1.5", "long", "''"}) {
        refuses((QByteArray("ping --interval ") + interval).constData(),
                "--interval must be a whole number of milliseconds from 0 to 60000, not \"");
    }
    refuses("wait client gui --timeout 0", "--timeout must be a number of seconds");
    refuses("wait state gui --type 128", "from 0 to 127, not \"128\"");
    refuses("wait state gui --matches (", "--matches is no regular expression: ");
    refuses("wait message --matches [", "--matches is no regular expression: ");
    refuses("wait message --subscribe a:7", "the goal of a subscription must be 1, 2 or 3");
    refuses("--wait-for-bus 0 state get",
            "--wait-for-bus must be a number of seconds from 0.001 to 2000000, not \"0\"");
    refuses("--wait-for-bus soon state get", "not \"soon\"");
}

void refuseWrongDataOptions()
{
    refuses("call gui beep a=1 --data {}", "given twice: by --data and as \"a=1\"");
    refuses("call gui beep --data {} --data {}", "--data is given more than once");
    refuses("call gui beep --data a=1", "no JSON: ");
    refuses("call gui beep --data [1]", "must be a JSON object");
    refuses("call gui beep --data ''", "no JSON: ");
    refuses("call gui beep --data @", "FILE must not be empty");
    refuses("call gui beep --data @/nowhere/data.json", "cannot read /nowhere/data.json: No such file or directory");
    refuses("call gui beep --data @/", "cannot read /: ");
    refuses("call gui beep --data @/dev/zero", "/dev/zero is too large for a command: it has more than 8388608 bytes");
    refuses("call gui beep --data @/dev/null", "the content of /dev/null is no JSON: ");
    refuses("send gui --data {}", "--data is the data of a command: it needs --command");
    refuses("send gui hello --data {}", "--data is the data of a command: it needs --command");
}

void refuseWrongLimitsAndGoals()
{
    for (const QString& value : {u"0"_s, u"-1"_s, u"1.5"_s, u"two"_s, QString(), u"2147483648"_s}) {
        refuses(u"listen --count '%1'"_s.arg(value),
                told("--count must be a whole number from 1 to 2147483647, not \"" + value.toUtf8() + '"'));
    }
    for (const QString& value : {u"0"_s, u"-1"_s, u"0.0001"_s, u"soon"_s, u"nan"_s, u"inf"_s, u"1e9"_s, QString()}) {
        refuses(u"listen --timeout '%1'"_s.arg(value),
                told("--timeout must be a number of seconds from 0.001 to 2000000, not \"" + value.toUtf8() + '"'));
    }
    for (const QString& goal : {u"0"_s, u"4"_s, u"-1"_s, u"12"_s, u"x"_s, QString(), u" 1"_s}) {
        refuses(u"listen --subscribe 'a:b:%1'"_s.arg(goal),
                u"tarvexctl: the goal of a subscription must be 1, 2 or 3, not \"%1\"; a name that holds a colon needs "
                "one after it: \"a:b:%1:3\"\n"_s.arg(goal)
                    .toUtf8());
    }
}

} // namespace

void TstCommandLine::wrongUse_isRefusedBeforeConnecting_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("words");
    refuseWrongVerbs();
    refuseWrongOptions();
    refuseEmptyNames();
    refuseWrongNumberOfArguments();
    refuseWrongValues();
    refuseWrongDataOptions();
    refuseWrongLimitsAndGoals();
}

void TstCommandLine::wrongUse_isRefusedBeforeConnecting()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, words);
    FakeBus bus;
    QVERIFY(bus.isListening());
    ProgramRun run(line);
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 2);
    QCOMPARE(ending.out, QByteArray());
    QVERIFY2(ending.err.startsWith("tarvexctl: ") && ending.err.count('\n') == 1, ending.err.constData());
    QVERIFY2(ending.err.contains(words), ending.err.constData());
    QCOMPARE(bus.connectionCount(), 0);
}

void TstCommandLine::optionsOfProgram_afterVerb_areUnderstood()
{
    FakeBus bus;
    bus.willReply(u"loadState"_s, 0, QString(), {{u"owner"_s, u"printer"_s}});
    ProgramRun run(u"state get printer --as monitoring --json"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 1);
    QCOMPARE(bus.handshakes().size(), 1);
    QCOMPARE(bus.handshakes().constFirst().data.value(u"name"_s).toString(), u"monitoring"_s);
}

void TstCommandLine::argumentNotUtf8_isRefused()
{
    FakeBus bus;
    // A shell starts the program, because QProcess passes nothing but text.
    ChildProcess shell(u"/bin/sh"_s, {u"-c"_s, u"\"$0\" state set \"$(printf 'a\\377')\""_s, ProgramRun::program()});
    QVERIFY(shell.start());
    QCOMPARE(shell.status(), 2);
    QVERIFY(shell.err().startsWith("tarvexctl: an argument is no UTF-8 text: a"));
    QCOMPARE(bus.connectionCount(), 0);
}

void TstCommandLine::stdoutUseless_isTold_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("circumstances");
    QTest::addColumn<QByteArray>("words");
    const QByteArray unread = "cannot write to stdout: Broken pipe";
    QTest::newRow("full") << u"--version"_s << int(ProgramRun::StdoutFull)
                          << QByteArray("cannot write to stdout: No space left on device");
    // These lines make no connection, and Qt ignores SIGPIPE only after the first socket is made.
    QTest::newRow("unread, help") << u"--help"_s << int(ProgramRun::StdoutUnread) << unread;
    QTest::newRow("unread, version") << u"--version"_s << int(ProgramRun::StdoutUnread) << unread;
    QTest::newRow("unread, help of a verb") << u"wait --help"_s << int(ProgramRun::StdoutUnread) << unread;
}

void TstCommandLine::stdoutUseless_isTold()
{
    QFETCH(QString, line);
    QFETCH(int, circumstances);
    QFETCH(QByteArray, words);
    ProgramRun run(line, static_cast<ProgramRun::Circumstances>(circumstances));
    QCOMPARE(run.ending(), ended(1, {words}));
}

void TstCommandLine::stdoutUseless_afterTalk_isTold_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("circumstances");
    QTest::addColumn<QByteArray>("words");
    // The change is made, so the words must say both. A caller who looks only at the status sees the failure.
    QTest::newRow("change") << u"--json state set ready"_s << int(ProgramRun::StdoutFull)
                            << QByteArray("saved the state of tarvexctl, but cannot write to stdout: No space left on "
                                          "device");
    // When a program is started without the stream, the next file or connection that it opens could get the number.
    QTest::newRow("closed") << u"--json state get printer"_s << int(ProgramRun::StdoutClosed)
                            << QByteArray("cannot write to stdout: it is closed");
}

void TstCommandLine::stdoutUseless_afterTalk_isTold()
{
    QFETCH(QString, line);
    QFETCH(int, circumstances);
    QFETCH(QByteArray, words);
    FakeBus bus;
    bus.willAlwaysDo(FakeBus::answer);
    ProgramRun run(line, static_cast<ProgramRun::Circumstances>(circumstances));
    QCOMPARE(run.ending(), ended(1, {words}));
    QCOMPARE(bus.requests().size(), 1);
}

QTEST_GUILESS_MAIN(TstCommandLine)
#include "tst_commandline.moc"
