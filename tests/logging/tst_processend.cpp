#include "childprocess.h"
#include "literals.h"

#include <QTest>

#include <cstdio>

namespace {

constexpr int PATIENCE_MS = 240000;

/// The same program, linked so that tarvexlib is unloaded after the library that logs, and before it.
const QStringList PROGRAMS{QStringLiteral(LEAVING_SERVICE_BEFORE), QStringLiteral(LEAVING_SERVICE_BEHIND)};

/// The test looks for reads and writes of freed memory, and for nothing else. Qt's code would make them. The compiler's
/// sanitizers do not check that code, but Valgrind does.
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

/// Runs a program to its end under the check.
class Run
{
public:
    explicit Run(const QStringList& command) : m_process(checked(command).constFirst(), checked(command).mid(1)) { }

    ChildProcess& process() { return m_process; }

    /// \return whether nothing was found. If something was, it shows what the process has printed.
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

/// Processes end while a controller still exists and lines are still logged.
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
    ForwardedIfLoaded, ///< Forwarded unless tarvexlib is unloaded already.
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
    // The console gets lines to the end.
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
    // The leak checker cannot see what a library keeps to the end once that library is unloaded.
    run.process().setVariable(u"ASAN_OPTIONS"_s, qEnvironmentVariable("ASAN_OPTIONS") + u":detect_leaks=0"_s);
    QVERIFY(run.isClean());
    QCOMPARE(run.process().lines(), QStringList({u"console: made"_s, u"unloaded"_s, u"console: after it"_s}));
}

QTEST_GUILESS_MAIN(TstProcessEnd)
#include "tst_processend.moc"
