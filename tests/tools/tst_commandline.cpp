#include "fakebus.h"
#include "literals.h"
#include "programrun.h"

#include <QDateTime>
#include <QMap>
#include <QTest>

#include <unistd.h>

namespace {

/// A process whose stdout is a pipe that nobody reads any more.
class RunWithoutReader : public QProcess
{
public:
    RunWithoutReader()
    {
        if (::pipe(m_pipe) == 0) {
            ::close(m_pipe[0]);
        }
    }

    ~RunWithoutReader() override { ::close(m_pipe[1]); }

    Q_DISABLE_COPY_MOVE(RunWithoutReader)

protected:
    void setupChildProcess() override { ::dup2(m_pipe[1], STDOUT_FILENO); }

private:
    int m_pipe[2] = {-1, -1};
};

} // namespace

/// What the program understands, and what it refuses before it has spoken to the bus.
class TstCommandLine : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void help_ofProgramAndVerbs_data();
    void help_ofProgramAndVerbs();
    void help_everywhere_fitsTerminalAndTellsStatuses();
    void version_isTheLibrarys_data();
    void version_isTheLibrarys();
    void version_asJson_isOneObject();
    void wrongUse_isRefusedBeforeConnecting_data();
    void wrongUse_isRefusedBeforeConnecting();
    void wrongLimitsAndGoals_areRefusedBeforeConnecting_data();
    void wrongLimitsAndGoals_areRefusedBeforeConnecting();
    void publisherGivenTwice_isRefused();
    void optionsOfProgram_afterVerb_areUnderstood();
    void argumentNotUtf8_isRefused();
    void stdoutFull_isTold();
    void readerGone_isTold_data();
    void readerGone_isTold();
    void stdoutFull_afterChange_isToldWithTheChange();
    void stdoutClosed_isToldAndNothingElseGetsTheData();
};

void TstCommandLine::help_ofProgramAndVerbs_data()
{
    QTest::addColumn<QStringList>("verb");
    QTest::addColumn<QByteArrayList>("mentioned");
    QTest::newRow("program") << QStringList()
                             << QByteArrayList{"--as",   "--json",  "settings", "state",        "send", "call",
                                               "listen", "clients", "wait",     "-V,--version", "130"};
    QTest::newRow("settings") << QStringList{u"settings"_s}
                              << QByteArrayList{"get", "set", "remove", "list", "unset", "load"};
    QTest::newRow("settings get") << QStringList{u"settings"_s, u"get"_s} << QByteArrayList{"OWNER..."};
    QTest::newRow("settings set") << QStringList{u"settings"_s, u"set"_s}
                                  << QByteArrayList{"OWNER GROUP KEY VALUE", "--string", "--description"};
    QTest::newRow("settings remove") << QStringList{u"settings"_s, u"remove"_s} << QByteArrayList{"OWNER"};
    QTest::newRow("settings unset") << QStringList{u"settings"_s, u"unset"_s} << QByteArrayList{"OWNER GROUP KEY"};
    QTest::newRow("settings load") << QStringList{u"settings"_s, u"load"_s} << QByteArrayList{"[FILE]", "stdin"};
    QTest::newRow("state") << QStringList{u"state"_s} << QByteArrayList{"get", "set", "watch", "list"};
    QTest::newRow("state get") << QStringList{u"state"_s, u"get"_s} << QByteArrayList{"OWNER..."};
    QTest::newRow("state set") << QStringList{u"state"_s, u"set"_s}
                               << QByteArrayList{"TEXT", "--type", "--description"};
    const QByteArray nameHint = "Without --as the name is";
    QTest::newRow("state watch") << QStringList{u"state"_s, u"watch"_s}
                                 << QByteArrayList{"OWNER...", "--count N", "--timeout S", nameHint};
    QTest::newRow("send") << QStringList{u"send"_s} << QByteArrayList{"RECEIVER [TEXT]", "--command NAME"};
    QTest::newRow("call") << QStringList{u"call"_s}
                          << QByteArrayList{"RECEIVER COMMAND [JSON]", "--timeout S=10", "--silence-ok", nameHint};
    QTest::newRow("wait") << QStringList{u"wait"_s} << QByteArrayList{"--timeout S=30"};
    QTest::newRow("listen") << QStringList{u"listen"_s}
                            << QByteArrayList{"--subscribe PUBLISHER[:GOAL]", "--count N", "--timeout S", nameHint};
}

void TstCommandLine::help_ofProgramAndVerbs()
{
    QFETCH(QStringList, verb);
    QFETCH(QByteArrayList, mentioned);
    ProgramRun run(verb + QStringList{u"--help"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    for (const QByteArray& word : qAsConst(mentioned)) {
        QVERIFY2(run.out().contains(word), word.constData());
    }
}

namespace {

/// The verbs that a help text names: the lines of the part "Verbs" up to the next empty one.
QStringList verbsIn(const QString& help)
{
    QStringList verbs;
    const QString part = help.section(u"\nVerbs:\n"_s, 1).section(u"\n\n"_s, 0, 0);
    const QStringList lines = part.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    for (const QString& line : lines) {
        // An explanation that goes on in the next line stands far to the right.
        if (line.startsWith(QLatin1String("  ")) && !line.startsWith(QLatin1String("   "))) {
            verbs.append(line.simplified().section(QLatin1Char(' '), 0, 0));
        }
    }
    return verbs;
}

/// The help of the program and, by what each help names, of all verbs within; keyed by the words before --help.
QMap<QString, QString> allHelps()
{
    QMap<QString, QString> helps;
    QList<QStringList> verbs{QStringList()};
    while (!verbs.isEmpty()) {
        const QStringList verb = verbs.takeFirst();
        ProgramRun run(verb + QStringList{u"--help"_s});
        const QString help = run.status() == 0 ? QString::fromUtf8(run.out()) : QString();
        helps.insert(verb.join(QLatin1Char(' ')), help);
        const QStringList inners = verbsIn(help);
        for (const QString& inner : inners) {
            verbs.append(verb + QStringList{inner});
        }
    }
    return helps;
}

} // namespace

void TstCommandLine::help_everywhere_fitsTerminalAndTellsStatuses()
{
    const QMap<QString, QString> helps = allHelps();
    for (const char* const known : {"", "settings set", "state watch", "call", "listen", "wait"}) {
        QVERIFY2(helps.contains(QLatin1String(known)), known);
    }
    for (auto help = helps.cbegin(); help != helps.cend(); ++help) {
        QVERIFY2(
            help->simplified().contains(QLatin1String("--as and --json may stand before the verb or after it; what "
                                                      "follows -- is never an option.")),
            qPrintable(help.key()));
        const QStringList lines = help->split(QLatin1Char('\n'));
        for (const QString& line : lines) {
            QVERIFY2(line.size() <= 80, qPrintable(help.key() + QLatin1String(": ") + line));
        }
        const QString statuses = help->section(u"\nExit status:\n"_s, 1);
        for (const char* const status : {"  0    ", "  1    ", "  2    ", "  3    ", "  4    ", "  130  "}) {
            QVERIFY2(statuses.contains(QLatin1String(status)), qPrintable(help.key() + QLatin1String(status)));
        }
    }
    // Long texts stand whole in several lines.
    QVERIFY(helps.value(u"listen"_s)
                .simplified()
                .contains(u"its messages to nobody in particular (2), or both (3, and without a goal); for "
                          "each publisher once more --count N"_s));
    QVERIFY(helps.value(u"call"_s).simplified().contains(
        u"that service loses its connection and its messages to this program. Exit"_s));
}

void TstCommandLine::version_isTheLibrarys_data()
{
    QTest::addColumn<QString>("option");
    QTest::newRow("long") << u"--version"_s;
    QTest::newRow("short") << u"-V"_s;
}

void TstCommandLine::version_isTheLibrarys()
{
    QFETCH(QString, option);
    ProgramRun run({option});
    QCOMPARE(run.status(), 0);
    const QString line = QString::fromUtf8(run.out());
    QVERIFY2(line.startsWith(QLatin1String("tarvexctl 5.0.28, built ")), run.out().constData());
    const QDateTime built = QDateTime::fromString(line.section(QLatin1Char(' '), -1).trimmed(), Qt::ISODate);
    QVERIFY2(built.isValid(), run.out().constData());
}

void TstCommandLine::version_asJson_isOneObject()
{
    ProgramRun run({u"--json"_s, u"--version"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 1);
    const QVariantMap object = run.objects().constFirst();
    QCOMPARE(object.keys(), (QStringList{u"buildTime"_s, u"program"_s, u"version"_s}));
    QCOMPARE(object.value(u"version"_s).toString(), u"5.0.28"_s);
}

void TstCommandLine::wrongUse_isRefusedBeforeConnecting_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("words");
    // "''" stands for an empty argument.
    QTest::newRow("nothing") << QString()
                             << QByteArray("needs a verb: settings, state, send, call, listen, clients or wait");
    QTest::newRow("unknown verb in a bracket") << u"[hearken"_s << QByteArray("unknown verb \"[hearken\";");
    QTest::newRow("load without a name") << u"settings load ''"_s << QByteArray("FILE must not be empty");
    QTest::newRow("unknown verb") << u"hearken"_s << QByteArray("unknown verb \"hearken\"; there are settings, ");
    QTest::newRow("unknown option") << u"state get --all"_s << QByteArray("unknown option \"--all\"");
    QTest::newRow("settings alone") << u"settings"_s
                                    << QByteArray("settings needs a verb: get, set, remove, list, unset or load");
    QTest::newRow("state alone") << u"state"_s << QByteArray("state needs a verb: get, set, watch or list");
    QTest::newRow("settings unknown") << u"settings show"_s
                                      << QByteArray(
                                             "unknown verb \"show\"; there are get, set, remove, list, unset and load");
    QTest::newRow("state unknown") << u"state show printer"_s
                                   << QByteArray("unknown verb \"show\"; there are get, set, watch and list");
    QTest::newRow("set unknown")
        << u"settings set a b c --text"_s
        << QByteArray("unknown option \"--text\"; an argument that begins with a minus stands after --");
    QTest::newRow("empty name") << u"--as '' state get"_s << QByteArray("--as must not be empty");
    QTest::newRow("empty name, with =") << u"--as= state get"_s << QByteArray("--as must not be empty");
    QTest::newRow("empty command, with =")
        << u"send gui --command= beep"_s << QByteArray("--command must not be empty");
    QTest::newRow("get empty") << u"settings get printer ''"_s << QByteArray("OWNER must not be empty");
    QTest::newRow("state get empty") << u"state get ''"_s << QByteArray("OWNER must not be empty");
    QTest::newRow("set without value") << u"settings set a b c"_s << QByteArray("VALUE is required");
    QTest::newRow("set too much") << u"settings set a b c 1 2"_s << QByteArray("unexpected argument \"2\"");
    QTest::newRow("set empty owner") << u"settings set '' b c 1"_s << QByteArray("OWNER must not be empty");
    QTest::newRow("set empty key") << u"settings set a b '' 1"_s << QByteArray("KEY must not be empty");
    QTest::newRow("set too large") << u"settings set a b c 9007199254740993"_s
                                   << QByteArray("9007199254740993 is too large");
    QTest::newRow("set far too large") << u"settings set a b c 123456789012345678901234567890"_s
                                       << QByteArray("123456789012345678901234567890 is too large");
    QTest::newRow("set too large within")
        << u"settings set a b c {\"id\":[1.5,9007199254740993]}"_s << QByteArray(": 9007199254740993 is too large");
    QTest::newRow("remove nobody") << u"settings remove"_s << QByteArray("OWNER is required");
    QTest::newRow("remove empty") << u"settings remove ''"_s << QByteArray("OWNER must not be empty");
    QTest::newRow("unset without key") << u"settings unset a b"_s << QByteArray("KEY is required");
    QTest::newRow("unset empty owner") << u"settings unset '' b c"_s << QByteArray("OWNER must not be empty");
    QTest::newRow("unset empty key") << u"settings unset a b ''"_s << QByteArray("KEY must not be empty");
    QTest::newRow("data inexact") << uR"(send a --command b {"id":9007199254740993})"_s
                                  << QByteArray("9007199254740993 is too large to travel exactly as a number");
    QTest::newRow("call's data inexact") << uR"(call a b {"id":[1,-9007199254740993]})"_s
                                         << QByteArray("-9007199254740993 is too large to travel exactly");
    QTest::newRow("load twice") << u"settings load a b"_s << QByteArray(R"(unexpected argument "b")");
    QTest::newRow("list whom") << u"settings list a"_s << QByteArray(R"(unexpected argument "a")");
    QTest::newRow("clients whom") << u"clients a"_s << QByteArray(R"(unexpected argument "a")");
    QTest::newRow("state without text") << u"state set"_s << QByteArray("TEXT is required");
    QTest::newRow("type -1") << u"state set ok --type -1"_s << QByteArray("from 0 to 127, not \"-1\"");
    QTest::newRow("type 128") << u"state set ok --type 128"_s << QByteArray("from 0 to 127, not \"128\"");
    QTest::newRow("type word") << u"state set ok --type big"_s << QByteArray("from 0 to 127, not \"big\"");
    QTest::newRow("send nothing") << u"send gui"_s << QByteArray("send needs a TEXT, or a --command");
    QTest::newRow("send to nobody") << u"send '' text"_s << QByteArray("RECEIVER must not be empty");
    QTest::newRow("empty command") << u"send gui --command ''"_s << QByteArray("--command must not be");
    QTest::newRow("bad JSON") << u"send gui --command beep {\"a\":"_s << QByteArray("no JSON: ");
    QTest::newRow("no JSON") << u"send gui --command beep loud"_s << QByteArray("no JSON: ");
    QTest::newRow("array") << u"send gui --command beep [1]"_s << QByteArray("must be a JSON object");
    QTest::newRow("number") << u"send gui --command beep 5"_s << QByteArray("must be a JSON object");
    QTest::newRow("call nobody") << u"call '' beep"_s << QByteArray("RECEIVER must not be empty");
    QTest::newRow("call nothing") << u"call gui"_s << QByteArray("COMMAND is required");
    QTest::newRow("call empty") << u"call gui ''"_s << QByteArray("COMMAND must not be empty");
    QTest::newRow("call bad JSON") << u"call gui beep {\"a\":"_s << QByteArray("no JSON: ");
    QTest::newRow("call array") << u"call gui beep [1]"_s << QByteArray("must be a JSON object");
    QTest::newRow("call count") << u"call gui beep --count 1"_s << QByteArray("--count");
    QTest::newRow("call timeout 0") << u"call gui beep --timeout 0"_s << QByteArray("not \"0\"");
    QTest::newRow("call empty name") << u"--as '' call gui beep"_s << QByteArray("--as must not be empty");
    QTest::newRow("watch nobody") << u"state watch"_s << QByteArray("OWNER is required");
    QTest::newRow("watch empty") << u"state watch a ''"_s << QByteArray("OWNER must not be empty");
    QTest::newRow("watch count") << u"state watch a --count 0"_s << QByteArray("not \"0\"");
    QTest::newRow("text with minus") << u"send gui -y"_s << QByteArray("begins with a minus stands after --");
    QTest::newRow("verb after --") << u"state -- get"_s << QByteArray("\"get\" stands after --");
    QTest::newRow("flag with value") << u"--json=1 --version"_s << QByteArray("--json takes no value");
    QTest::newRow("flag with empty value") << u"--json= --version"_s << QByteArray("--json takes no value; see");
    QTest::newRow("flag with empty value, no verb") << u"--json="_s << QByteArray("--json takes no value");
    QTest::newRow("verb's flag with empty value")
        << u"call gui beep --silence-ok="_s << QByteArray("--silence-ok takes no value");
    QTest::newRow("unknown with empty value") << u"state get --all="_s << QByteArray("\"--all\"");
    QTest::newRow("help with value") << u"state --help=1"_s << QByteArray("--help takes no value");
    QTest::newRow("verb's flag with value")
        << u"call gui beep --silence-ok=0"_s << QByteArray("--silence-ok takes no value");
    QTest::newRow("flag twice") << u"--json --json --version"_s << QByteArray("--json is given more than once");
    QTest::newRow("version twice") << u"--version -V"_s << QByteArray("--version is given more than once");
    QTest::newRow("name twice") << u"--as a state get --as b"_s << QByteArray("--as is given more than once");
    QTest::newRow("verb's option twice") << u"call gui beep --timeout 1 --timeout 2"_s
                                         << QByteArray("--timeout is given more than once");
    QTest::newRow("wait for") << u"wait bus"_s << QByteArray("unexpected argument \"bus\"");
    QTest::newRow("wait timeout 0") << u"wait --timeout 0"_s << QByteArray("not \"0\"");
    QTest::newRow("listen to") << u"listen gui"_s << QByteArray("gui");
}

void TstCommandLine::wrongLimitsAndGoals_areRefusedBeforeConnecting_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QByteArray>("words");
    const QStringList counts{u"0"_s, u"-1"_s, u"1.5"_s, u"two"_s, QString(), u"2147483648"_s};
    for (const QString& value : counts) {
        QTest::newRow(qPrintable(u"count "_s + value))
            << u"--count"_s << value
            << QByteArray("--count must be a whole number from 1 to 2147483647, not \"" + value.toUtf8() + '"');
    }
    const QStringList timeouts{u"0"_s, u"-1"_s, u"0.0001"_s, u"soon"_s, u"nan"_s, u"inf"_s, u"1e9"_s, QString()};
    for (const QString& value : timeouts) {
        QTest::newRow(qPrintable(u"timeout "_s + value))
            << u"--timeout"_s << value
            << QByteArray("--timeout must be a number of seconds from 0.001 to 2000000, not \"" + value.toUtf8() + '"');
    }
    for (const char* goal : {"0", "4", "-1", "12", "x", "", " 1"}) {
        QTest::newRow(qPrintable(u"goal "_s + QLatin1String(goal)))
            << u"--subscribe"_s << QLatin1String("a:b:") + QLatin1String(goal)
            << "the goal of a subscription must be 1, 2 or 3, not \"" + QByteArray(goal)
                + "\"; a name that holds a colon needs one after it: \"a:b:" + goal + ":3\"";
    }
    QTest::newRow("no publisher") << u"--subscribe"_s << QString() << QByteArray("PUBLISHER must not be empty");
    QTest::newRow("goal alone") << u"--subscribe"_s << u":1"_s << QByteArray("PUBLISHER must not be empty");
}

void TstCommandLine::wrongLimitsAndGoals_areRefusedBeforeConnecting()
{
    QFETCH(QString, option);
    QFETCH(QString, value);
    QFETCH(QByteArray, words);
    FakeBus bus;
    ProgramRun run({u"listen"_s, option, value});
    QCOMPARE(run.status(), 2);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), "tarvexctl: " + words + '\n');
    QCOMPARE(bus.connectionCount(), 0);
}

void TstCommandLine::publisherGivenTwice_isRefused()
{
    FakeBus bus;
    ProgramRun run({u"listen"_s, u"--subscribe"_s, u"a"_s, u"--subscribe"_s, u"a:1"_s});
    QCOMPARE(run.status(), 2);
    QCOMPARE(run.err(), QByteArray("tarvexctl: \"a\" is given twice with --subscribe\n"));
    QCOMPARE(bus.connectionCount(), 0);
}

void TstCommandLine::wrongUse_isRefusedBeforeConnecting()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, words);
    FakeBus bus;
    QVERIFY(bus.isListening());
    QStringList arguments = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
    arguments.replaceInStrings(u"''"_s, QString());
    ProgramRun run(arguments);
    QCOMPARE(run.status(), 2);
    QCOMPARE(run.out(), QByteArray());
    QVERIFY2(run.err().startsWith("tarvexctl: ") && run.err().count('\n') == 1, run.err().constData());
    QVERIFY2(run.err().contains(words), run.err().constData());
    QCOMPARE(bus.connectionCount(), 0);
}

void TstCommandLine::optionsOfProgram_afterVerb_areUnderstood()
{
    FakeBus bus;
    bus.willReply(u"loadState"_s, 0, QString(), {{u"owner"_s, u"printer"_s}});
    ProgramRun run({u"state"_s, u"get"_s, u"printer"_s, u"--as"_s, u"monitoring"_s, u"--json"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 1);
    QCOMPARE(bus.handshakes().size(), 1);
    QCOMPARE(bus.handshakes().constFirst().data.value(u"name"_s).toString(), u"monitoring"_s);
}

void TstCommandLine::argumentNotUtf8_isRefused()
{
    FakeBus bus;
    QProcess process;
    // Through a shell, because QProcess itself passes nothing but text.
    process.start(u"/bin/sh"_s, {u"-c"_s, u"\"$0\" state set \"$(printf 'a\\377')\""_s, ProgramRun::program()});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 2);
    QVERIFY(process.readAllStandardError().startsWith("tarvexctl: an argument is no UTF-8 text: a"));
    QCOMPARE(bus.connectionCount(), 0);
}

void TstCommandLine::stdoutFull_isTold()
{
    QProcess process;
    process.setStandardOutputFile(u"/dev/full"_s);
    process.start(ProgramRun::program(), {u"--version"_s});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
    QVERIFY(process.readAllStandardError().startsWith("tarvexctl: cannot write to stdout: "));
}

void TstCommandLine::readerGone_isTold_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("help") << QStringList{u"--help"_s};
    QTest::newRow("version") << QStringList{u"--version"_s};
    QTest::newRow("help of a verb") << QStringList{u"wait"_s, u"--help"_s};
}

// Before there is a connection: Qt ignores SIGPIPE only from the first one on.
void TstCommandLine::readerGone_isTold()
{
    QFETCH(QStringList, arguments);
    RunWithoutReader process;
    process.start(ProgramRun::program(), arguments);
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 1);
    QCOMPARE(process.readAllStandardError(), QByteArray("tarvexctl: cannot write to stdout: Broken pipe\n"));
}

// The change is made; who only looks at the status must find out.
void TstCommandLine::stdoutFull_afterChange_isToldWithTheChange()
{
    FakeBus bus;
    bus.willReply(u"saveState"_s);
    QProcess process;
    process.setStandardOutputFile(u"/dev/full"_s);
    process.start(ProgramRun::program(), {u"--json"_s, u"state"_s, u"set"_s, u"ready"_s});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
    QCOMPARE(
        process.readAllStandardError(),
        QByteArray("tarvexctl: saved the state of tarvexctl, but cannot write to stdout: No space left on device\n"));
}

// A program that is started without the stream gives its number to the next thing it opens: a connection, say.
void TstCommandLine::stdoutClosed_isToldAndNothingElseGetsTheData()
{
    FakeBus bus;
    bus.willReply(u"loadState"_s, 0, QString(), {{u"owner"_s, u"printer"_s}});
    QProcess process;
    process.start(u"/bin/sh"_s, {u"-c"_s, u"exec \"$0\" --json state get printer >&-"_s, ProgramRun::program()});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
    QCOMPARE(process.readAllStandardError(), QByteArray("tarvexctl: cannot write to stdout: it is closed\n"));
    QCOMPARE(bus.requests().size(), 1);
}

QTEST_GUILESS_MAIN(TstCommandLine)
#include "tst_commandline.moc"
