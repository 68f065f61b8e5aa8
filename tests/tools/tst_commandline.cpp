#include "fakebus.h"
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
    QTest::newRow("settings") << QStringList{QStringLiteral("settings")}
                              << QByteArrayList{"get", "set", "remove", "list", "unset", "load"};
    QTest::newRow("settings get") << QStringList{QStringLiteral("settings"), QStringLiteral("get")}
                                  << QByteArrayList{"OWNER..."};
    QTest::newRow("settings set") << QStringList{QStringLiteral("settings"), QStringLiteral("set")}
                                  << QByteArrayList{"OWNER GROUP KEY VALUE", "--string", "--description"};
    QTest::newRow("settings remove") << QStringList{QStringLiteral("settings"), QStringLiteral("remove")}
                                     << QByteArrayList{"OWNER"};
    QTest::newRow("settings unset") << QStringList{QStringLiteral("settings"), QStringLiteral("unset")}
                                    << QByteArrayList{"OWNER GROUP KEY"};
    QTest::newRow("settings load") << QStringList{QStringLiteral("settings"), QStringLiteral("load")}
                                   << QByteArrayList{"[FILE]", "stdin"};
    QTest::newRow("state") << QStringList{QStringLiteral("state")} << QByteArrayList{"get", "set", "watch", "list"};
    QTest::newRow("state get") << QStringList{QStringLiteral("state"), QStringLiteral("get")}
                               << QByteArrayList{"OWNER..."};
    QTest::newRow("state set") << QStringList{QStringLiteral("state"), QStringLiteral("set")}
                               << QByteArrayList{"TEXT", "--type", "--description"};
    const QByteArray nameHint = "Without --as the name is";
    QTest::newRow("state watch") << QStringList{QStringLiteral("state"), QStringLiteral("watch")}
                                 << QByteArrayList{"OWNER...", "--count N", "--timeout S", nameHint};
    QTest::newRow("send") << QStringList{QStringLiteral("send")} << QByteArrayList{"RECEIVER [TEXT]", "--command NAME"};
    QTest::newRow("call") << QStringList{QStringLiteral("call")}
                          << QByteArrayList{"RECEIVER COMMAND [JSON]", "--timeout S=10", "--silence-ok", nameHint};
    QTest::newRow("wait") << QStringList{QStringLiteral("wait")} << QByteArrayList{"--timeout S=30"};
    QTest::newRow("listen") << QStringList{QStringLiteral("listen")}
                            << QByteArrayList{"--subscribe PUBLISHER[:GOAL]", "--count N", "--timeout S", nameHint};
}

void TstCommandLine::help_ofProgramAndVerbs()
{
    QFETCH(QStringList, verb);
    QFETCH(QByteArrayList, mentioned);
    ProgramRun run(verb + QStringList{QStringLiteral("--help")});
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
    const QString part = help.section(QStringLiteral("\nVerbs:\n"), 1).section(QStringLiteral("\n\n"), 0, 0);
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
        ProgramRun run(verb + QStringList{QStringLiteral("--help")});
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
        const QString statuses = help->section(QStringLiteral("\nExit status:\n"), 1);
        for (const char* const status : {"  0    ", "  1    ", "  2    ", "  3    ", "  4    ", "  130  "}) {
            QVERIFY2(statuses.contains(QLatin1String(status)), qPrintable(help.key() + QLatin1String(status)));
        }
    }
    // Long texts stand whole in several lines.
    QVERIFY(
        helps.value(QStringLiteral("listen"))
            .simplified()
            .contains(QStringLiteral("its messages to nobody in particular (2), or both (3, and without a goal); for "
                                     "each publisher once more --count N")));
    QVERIFY(helps.value(QStringLiteral("call"))
                .simplified()
                .contains(QStringLiteral("that service loses its connection and its messages to this program. Exit")));
}

void TstCommandLine::version_isTheLibrarys_data()
{
    QTest::addColumn<QString>("option");
    QTest::newRow("long") << QStringLiteral("--version");
    QTest::newRow("short") << QStringLiteral("-V");
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
    ProgramRun run({QStringLiteral("--json"), QStringLiteral("--version")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 1);
    const QVariantMap object = run.objects().constFirst();
    QCOMPARE(object.keys(),
             (QStringList{QStringLiteral("buildTime"), QStringLiteral("program"), QStringLiteral("version")}));
    QCOMPARE(object.value(QStringLiteral("version")).toString(), QStringLiteral("5.0.28"));
}

void TstCommandLine::wrongUse_isRefusedBeforeConnecting_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("words");
    // "''" stands for an empty argument.
    QTest::newRow("nothing") << QString()
                             << QByteArray("needs a verb: settings, state, send, call, listen, clients or wait");
    QTest::newRow("unknown verb in a bracket")
        << QStringLiteral("[hearken") << QByteArray("unknown verb \"[hearken\";");
    QTest::newRow("load without a name") << QStringLiteral("settings load ''") << QByteArray("FILE must not be empty");
    QTest::newRow("unknown verb") << QStringLiteral("hearken")
                                  << QByteArray("unknown verb \"hearken\"; there are settings, ");
    QTest::newRow("unknown option") << QStringLiteral("state get --all") << QByteArray("unknown option \"--all\"");
    QTest::newRow("settings alone") << QStringLiteral("settings")
                                    << QByteArray("settings needs a verb: get, set, remove, list, unset or load");
    QTest::newRow("state alone") << QStringLiteral("state")
                                 << QByteArray("state needs a verb: get, set, watch or list");
    QTest::newRow("settings unknown") << QStringLiteral(
        "settings show") << QByteArray("unknown verb \"show\"; there are get, set, remove, list, unset and load");
    QTest::newRow("state unknown") << QStringLiteral("state show printer")
                                   << QByteArray("unknown verb \"show\"; there are get, set, watch and list");
    QTest::newRow("set unknown")
        << QStringLiteral("settings set a b c --text")
        << QByteArray("unknown option \"--text\"; an argument that begins with a minus stands after --");
    QTest::newRow("empty name") << QStringLiteral("--as '' state get") << QByteArray("--as must not be empty");
    QTest::newRow("empty name, with =") << QStringLiteral("--as= state get") << QByteArray("--as must not be empty");
    QTest::newRow("empty command, with =")
        << QStringLiteral("send gui --command= beep") << QByteArray("--command must not be empty");
    QTest::newRow("get empty") << QStringLiteral("settings get printer ''") << QByteArray("OWNER must not be empty");
    QTest::newRow("state get empty") << QStringLiteral("state get ''") << QByteArray("OWNER must not be empty");
    QTest::newRow("set without value") << QStringLiteral("settings set a b c") << QByteArray("VALUE is required");
    QTest::newRow("set too much") << QStringLiteral("settings set a b c 1 2")
                                  << QByteArray("unexpected argument \"2\"");
    QTest::newRow("set empty owner") << QStringLiteral("settings set '' b c 1")
                                     << QByteArray("OWNER must not be empty");
    QTest::newRow("set empty key") << QStringLiteral("settings set a b '' 1") << QByteArray("KEY must not be empty");
    QTest::newRow("set too large") << QStringLiteral("settings set a b c 9007199254740993")
                                   << QByteArray("9007199254740993 is too large");
    QTest::newRow("set far too large") << QStringLiteral("settings set a b c 123456789012345678901234567890")
                                       << QByteArray("123456789012345678901234567890 is too large");
    QTest::newRow("set too large within") << QStringLiteral("settings set a b c {\"id\":[1.5,9007199254740993]}")
                                          << QByteArray(": 9007199254740993 is too large");
    QTest::newRow("remove nobody") << QStringLiteral("settings remove") << QByteArray("OWNER is required");
    QTest::newRow("remove empty") << QStringLiteral("settings remove ''") << QByteArray("OWNER must not be empty");
    QTest::newRow("unset without key") << QStringLiteral("settings unset a b") << QByteArray("KEY is required");
    QTest::newRow("unset empty owner") << QStringLiteral("settings unset '' b c")
                                       << QByteArray("OWNER must not be empty");
    QTest::newRow("unset empty key") << QStringLiteral("settings unset a b ''") << QByteArray("KEY must not be empty");
    QTest::newRow("data inexact") << QStringLiteral(R"(send a --command b {"id":9007199254740993})")
                                  << QByteArray("9007199254740993 is too large to travel exactly as a number");
    QTest::newRow("call's data inexact") << QStringLiteral(R"(call a b {"id":[1,-9007199254740993]})")
                                         << QByteArray("-9007199254740993 is too large to travel exactly");
    QTest::newRow("load twice") << QStringLiteral("settings load a b") << QByteArray(R"(unexpected argument "b")");
    QTest::newRow("list whom") << QStringLiteral("settings list a") << QByteArray(R"(unexpected argument "a")");
    QTest::newRow("clients whom") << QStringLiteral("clients a") << QByteArray(R"(unexpected argument "a")");
    QTest::newRow("state without text") << QStringLiteral("state set") << QByteArray("TEXT is required");
    QTest::newRow("type -1") << QStringLiteral("state set ok --type -1") << QByteArray("from 0 to 127, not \"-1\"");
    QTest::newRow("type 128") << QStringLiteral("state set ok --type 128") << QByteArray("from 0 to 127, not \"128\"");
    QTest::newRow("type word") << QStringLiteral("state set ok --type big") << QByteArray("from 0 to 127, not \"big\"");
    QTest::newRow("send nothing") << QStringLiteral("send gui") << QByteArray("send needs a TEXT, or a --command");
    QTest::newRow("send to nobody") << QStringLiteral("send '' text") << QByteArray("RECEIVER must not be empty");
    QTest::newRow("empty command") << QStringLiteral("send gui --command ''") << QByteArray("--command must not be");
    QTest::newRow("bad JSON") << QStringLiteral("send gui --command beep {\"a\":") << QByteArray("no JSON: ");
    QTest::newRow("no JSON") << QStringLiteral("send gui --command beep loud") << QByteArray("no JSON: ");
    QTest::newRow("array") << QStringLiteral("send gui --command beep [1]") << QByteArray("must be a JSON object");
    QTest::newRow("number") << QStringLiteral("send gui --command beep 5") << QByteArray("must be a JSON object");
    QTest::newRow("call nobody") << QStringLiteral("call '' beep") << QByteArray("RECEIVER must not be empty");
    QTest::newRow("call nothing") << QStringLiteral("call gui") << QByteArray("COMMAND is required");
    QTest::newRow("call empty") << QStringLiteral("call gui ''") << QByteArray("COMMAND must not be empty");
    QTest::newRow("call bad JSON") << QStringLiteral("call gui beep {\"a\":") << QByteArray("no JSON: ");
    QTest::newRow("call array") << QStringLiteral("call gui beep [1]") << QByteArray("must be a JSON object");
    QTest::newRow("call count") << QStringLiteral("call gui beep --count 1") << QByteArray("--count");
    QTest::newRow("call timeout 0") << QStringLiteral("call gui beep --timeout 0") << QByteArray("not \"0\"");
    QTest::newRow("call empty name") << QStringLiteral("--as '' call gui beep") << QByteArray("--as must not be empty");
    QTest::newRow("watch nobody") << QStringLiteral("state watch") << QByteArray("OWNER is required");
    QTest::newRow("watch empty") << QStringLiteral("state watch a ''") << QByteArray("OWNER must not be empty");
    QTest::newRow("watch count") << QStringLiteral("state watch a --count 0") << QByteArray("not \"0\"");
    QTest::newRow("text with minus") << QStringLiteral("send gui -y")
                                     << QByteArray("begins with a minus stands after --");
    QTest::newRow("verb after --") << QStringLiteral("state -- get") << QByteArray("\"get\" stands after --");
    QTest::newRow("flag with value") << QStringLiteral("--json=1 --version") << QByteArray("--json takes no value");
    QTest::newRow("flag with empty value")
        << QStringLiteral("--json= --version") << QByteArray("--json takes no value; see");
    QTest::newRow("flag with empty value, no verb") << QStringLiteral("--json=") << QByteArray("--json takes no value");
    QTest::newRow("verb's flag with empty value")
        << QStringLiteral("call gui beep --silence-ok=") << QByteArray("--silence-ok takes no value");
    QTest::newRow("unknown with empty value") << QStringLiteral("state get --all=") << QByteArray("\"--all\"");
    QTest::newRow("help with value") << QStringLiteral("state --help=1") << QByteArray("--help takes no value");
    QTest::newRow("verb's flag with value")
        << QStringLiteral("call gui beep --silence-ok=0") << QByteArray("--silence-ok takes no value");
    QTest::newRow("flag twice") << QStringLiteral("--json --json --version")
                                << QByteArray("--json is given more than once");
    QTest::newRow("version twice") << QStringLiteral("--version -V") << QByteArray("--version is given more than once");
    QTest::newRow("name twice") << QStringLiteral("--as a state get --as b")
                                << QByteArray("--as is given more than once");
    QTest::newRow("verb's option twice") << QStringLiteral("call gui beep --timeout 1 --timeout 2")
                                         << QByteArray("--timeout is given more than once");
    QTest::newRow("wait for") << QStringLiteral("wait bus") << QByteArray("unexpected argument \"bus\"");
    QTest::newRow("wait timeout 0") << QStringLiteral("wait --timeout 0") << QByteArray("not \"0\"");
    QTest::newRow("listen to") << QStringLiteral("listen gui") << QByteArray("gui");
}

void TstCommandLine::wrongLimitsAndGoals_areRefusedBeforeConnecting_data()
{
    QTest::addColumn<QString>("option");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QByteArray>("words");
    const QStringList counts{
        QStringLiteral("0"), QStringLiteral("-1"),        QStringLiteral("1.5"), QStringLiteral("two"),
        QString(),           QStringLiteral("2147483648")};
    for (const QString& value : counts) {
        QTest::newRow(qPrintable(QStringLiteral("count ") + value))
            << QStringLiteral("--count") << value
            << QByteArray("--count must be a whole number from 1 to 2147483647, not \"" + value.toUtf8() + '"');
    }
    const QStringList timeouts{
        QStringLiteral("0"),   QStringLiteral("-1"),  QStringLiteral("0.0001"), QStringLiteral("soon"),
        QStringLiteral("nan"), QStringLiteral("inf"), QStringLiteral("1e9"),    QString()};
    for (const QString& value : timeouts) {
        QTest::newRow(qPrintable(QStringLiteral("timeout ") + value))
            << QStringLiteral("--timeout") << value
            << QByteArray("--timeout must be a number of seconds from 0.001 to 2000000, not \"" + value.toUtf8() + '"');
    }
    for (const char* goal : {"0", "4", "-1", "12", "x", "", " 1"}) {
        QTest::newRow(qPrintable(QStringLiteral("goal ") + QLatin1String(goal)))
            << QStringLiteral("--subscribe") << QLatin1String("a:b:") + QLatin1String(goal)
            << "the goal of a subscription must be 1, 2 or 3, not \"" + QByteArray(goal)
                + "\"; a name that holds a colon needs one after it: \"a:b:" + goal + ":3\"";
    }
    QTest::newRow("no publisher") << QStringLiteral("--subscribe") << QString()
                                  << QByteArray("PUBLISHER must not be empty");
    QTest::newRow("goal alone") << QStringLiteral("--subscribe") << QStringLiteral(":1")
                                << QByteArray("PUBLISHER must not be empty");
}

void TstCommandLine::wrongLimitsAndGoals_areRefusedBeforeConnecting()
{
    QFETCH(QString, option);
    QFETCH(QString, value);
    QFETCH(QByteArray, words);
    FakeBus bus;
    ProgramRun run({QStringLiteral("listen"), option, value});
    QCOMPARE(run.status(), 2);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(), "tarvexctl: " + words + '\n');
    QCOMPARE(bus.connectionCount(), 0);
}

void TstCommandLine::publisherGivenTwice_isRefused()
{
    FakeBus bus;
    ProgramRun run({QStringLiteral("listen"), QStringLiteral("--subscribe"), QStringLiteral("a"),
                    QStringLiteral("--subscribe"), QStringLiteral("a:1")});
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
    arguments.replaceInStrings(QStringLiteral("''"), QString());
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
    bus.willReply(QStringLiteral("loadState"), 0, QString(), {{QStringLiteral("owner"), QStringLiteral("printer")}});
    ProgramRun run({QStringLiteral("state"), QStringLiteral("get"), QStringLiteral("printer"), QStringLiteral("--as"),
                    QStringLiteral("monitoring"), QStringLiteral("--json")});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 1);
    QCOMPARE(bus.handshakes().size(), 1);
    QCOMPARE(bus.handshakes().constFirst().data.value(QStringLiteral("name")).toString(), QStringLiteral("monitoring"));
}

void TstCommandLine::argumentNotUtf8_isRefused()
{
    FakeBus bus;
    QProcess process;
    // Through a shell, because QProcess itself passes nothing but text.
    process.start(
        QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"), QStringLiteral("\"$0\" state set \"$(printf 'a\\377')\""), ProgramRun::program()});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 2);
    QVERIFY(process.readAllStandardError().startsWith("tarvexctl: an argument is no UTF-8 text: a"));
    QCOMPARE(bus.connectionCount(), 0);
}

void TstCommandLine::stdoutFull_isTold()
{
    QProcess process;
    process.setStandardOutputFile(QStringLiteral("/dev/full"));
    process.start(ProgramRun::program(), {QStringLiteral("--version")});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
    QVERIFY(process.readAllStandardError().startsWith("tarvexctl: cannot write to stdout: "));
}

void TstCommandLine::readerGone_isTold_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("help") << QStringList{QStringLiteral("--help")};
    QTest::newRow("version") << QStringList{QStringLiteral("--version")};
    QTest::newRow("help of a verb") << QStringList{QStringLiteral("wait"), QStringLiteral("--help")};
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
    bus.willReply(QStringLiteral("saveState"));
    QProcess process;
    process.setStandardOutputFile(QStringLiteral("/dev/full"));
    process.start(ProgramRun::program(),
                  {QStringLiteral("--json"), QStringLiteral("state"), QStringLiteral("set"), QStringLiteral("ready")});
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
    bus.willReply(QStringLiteral("loadState"), 0, QString(), {{QStringLiteral("owner"), QStringLiteral("printer")}});
    QProcess process;
    process.start(
        QStringLiteral("/bin/sh"),
        {QStringLiteral("-c"), QStringLiteral("exec \"$0\" --json state get printer >&-"), ProgramRun::program()});
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
    QCOMPARE(process.readAllStandardError(), QByteArray("tarvexctl: cannot write to stdout: it is closed\n"));
    QCOMPARE(bus.requests().size(), 1);
}

QTEST_GUILESS_MAIN(TstCommandLine)
#include "tst_commandline.moc"
