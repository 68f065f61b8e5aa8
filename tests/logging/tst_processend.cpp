#include "childprocess.h"
#include "literals.h"

#include <QTest>

#include <cstdio>

namespace {

constexpr int PATIENCE_MS = 240000;

/// The same program, linked so that tarvexlib is unloaded after the library that logs, and before it.
const QStringList PROGRAMS{QStringLiteral(LEAVING_SERVICE_BEFORE), QStringLiteral(LEAVING_SERVICE_BEHIND)};

/// Qt's code makes the access that is looked for, and the compiler's sanitizers do not look there. Valgrind does. Only
/// reads and writes of memory that is gone count.
QStringList checked(const QStringList& command)
{
#ifdef VALGRIND
    const QStringList valgrind{QStringLiteral(VALGRIND),     u"--quiet"_s,
                               u"--error-exitcode=99"_s,     u"--leak-check=no"_s,
                               u"--undef-value-errors=no"_s, QStringLiteral("--suppressions=" VALGRIND_SUPPRESSIONS)};
    return valgrind + command;
#else
    return command;
#endif
}

/// A program that runs to its end, checked.
class Run
{
public:
    explicit Run(const QStringList& command) : m_process(checked(command).first(), checked(command).mid(1)) { }

    ChildProcess& process() { return m_process; }

    /// \return whether nothing was found; otherwise shows what the process has said.
    bool isClean()
    {
        const bool isClean = m_process.start() && m_process.status(PATIENCE_MS) == 0;
        if (!isClean) {
            std::fprintf(stderr, "%s%s", m_process.err().constData(), m_process.out().constData());
        }
        return isClean;
    }

private:
    ChildProcess m_process;
};

} // namespace

/// Processes that end while a controller is still there, and the log goes on.
class TstProcessEnd : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void programs_goInEitherOrder();
    void processEnds_controllerIsStillThere_touchesNothingThatIsGone_data();
    void processEnds_controllerIsStillThere_touchesNothingThatIsGone();
    void libraryUnloaded_controllerIsStillThere_logGoesOn();
};

enum class LastWords {
    Dropped,
    ForwardedIfLoaded, ///< Unless tarvexlib is gone by then.
    Forwarded
};
Q_DECLARE_METATYPE(LastWords)

void TstProcessEnd::programs_goInEitherOrder()
{
    QStringList orders;
    for (const QString& program : PROGRAMS) {
        Run run({program, u"leaked"_s});
        QVERIFY(run.isClean());
        orders.append(run.process().lines().value(0));
    }
    orders.sort();
    QCOMPARE(orders, QStringList({u"made after tarvexlib"_s, u"made before tarvexlib"_s}));
}

void TstProcessEnd::processEnds_controllerIsStillThere_touchesNothingThatIsGone_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("how");
    QTest::addColumn<int>("goodbyes");
    QTest::addColumn<LastWords>("lastWords");
    for (int i = 0; i < PROGRAMS.size(); ++i) {
        const auto row = [i](const char* how, int goodbyes, LastWords lastWords) {
            QTest::addRow("%s, %s", how, i == 0 ? "linked before" : "linked behind")
                << PROGRAMS.at(i) << QString::fromLatin1(how) << goodbyes << lastWords;
        };
        row("leaked", 1, LastWords::ForwardedIfLoaded);
        row("exit-in-slot", 1, LastWords::ForwardedIfLoaded);
        row("workers", 1, LastWords::ForwardedIfLoaded);
        row("workers-exit-in-slot", 1, LastWords::ForwardedIfLoaded);
        row("thread-in-output", 1, LastWords::ForwardedIfLoaded);
        row("library-opened", 1, LastWords::Forwarded);
        row("later-handler", 1, LastWords::ForwardedIfLoaded);
        row("two", 0, LastWords::Dropped);
        row("static", 1, LastWords::Dropped);
        row("owned", 1, LastWords::Dropped);
    }
}

void TstProcessEnd::processEnds_controllerIsStillThere_touchesNothingThatIsGone()
{
    QFETCH(QString, program);
    QFETCH(QString, how);
    QFETCH(int, goodbyes);
    QFETCH(LastWords, lastWords);
    Run run({program, how, QStringLiteral(LAST_WORDS_MODULE)});
    QVERIFY(run.isClean());
    const QStringList lines = run.process().lines();
    // The console is there to the end.
    QVERIFY(lines.contains(u"console: last words"_s));
    QCOMPARE(lines.count(u"forwarded: goodbye"_s), goodbyes);
    const bool isOutlived = lines.first() == QLatin1String("made before tarvexlib");
    const bool isForwarded =
        lastWords == LastWords::Forwarded || (lastWords == LastWords::ForwardedIfLoaded && !isOutlived);
    QCOMPARE(lines.contains(u"forwarded: last words"_s), isForwarded);
    const QString inTurn = isOutlived ? u"the former"_s : u"ours"_s;
    const QString handler = how == QLatin1String("later-handler") ? u"the later"_s : inTurn;
    QVERIFY(lines.contains(u"handler: "_s + handler));
}

void TstProcessEnd::libraryUnloaded_controllerIsStillThere_logGoesOn()
{
    Run run({QStringLiteral(UNLOADING_HOST), QStringLiteral(UNLOADED_SERVICE)});
    // What a library keeps to the end is out of the leak checker's reach once the library is unloaded.
    run.process().setVariable(u"ASAN_OPTIONS"_s, qEnvironmentVariable("ASAN_OPTIONS") + u":detect_leaks=0"_s);
    QVERIFY(run.isClean());
    QCOMPARE(run.process().lines(), QStringList({u"console: made"_s, u"unloaded"_s, u"console: after it"_s}));
}

QTEST_GUILESS_MAIN(TstProcessEnd)
#include "tst_processend.moc"
