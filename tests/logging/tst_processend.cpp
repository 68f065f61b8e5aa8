#include "literals.h"

#include <QProcess>
#include <QTest>

#include <cstdio>

namespace {

constexpr int PATIENCE_MS = 240000;

/// The same program, linked so that tarvexlib is unloaded after the library that logs, and before it.
const QStringList PROGRAMS{QStringLiteral(LEAVING_SERVICE_BEFORE), QStringLiteral(LEAVING_SERVICE_BEHIND)};

struct End
{
    int exitCode = -1;
    QStringList lines;
    QByteArray errors;

    /// \return whether nothing was found; otherwise shows what the process has said.
    bool isClean() const
    {
        if (exitCode != 0) {
            std::fprintf(stderr, "%s%s", errors.constData(), lines.join(QLatin1Char('\n')).toUtf8().constData());
        }
        return exitCode == 0;
    }
};

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

End run(const QStringList& command, const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    const QStringList whole = checked(command);
    process.start(whole.first(), whole.mid(1));
    End end;
    if (process.waitForFinished(PATIENCE_MS) && process.exitStatus() == QProcess::NormalExit) {
        end.exitCode = process.exitCode();
    }
    end.lines = QString::fromUtf8(process.readAllStandardOutput()).split(QLatin1Char('\n'));
    end.errors = process.readAllStandardError();
    return end;
}

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
        const End end = run({program, u"leaked"_s});
        orders.append(end.lines.value(0));
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
    const End end = run({program, how, QStringLiteral(LAST_WORDS_MODULE)});
    QVERIFY(end.isClean());
    // The console is there to the end.
    QVERIFY(end.lines.contains(u"console: last words"_s));
    QCOMPARE(end.lines.count(u"forwarded: goodbye"_s), goodbyes);
    const bool isOutlived = end.lines.first() == QLatin1String("made before tarvexlib");
    const bool isForwarded =
        lastWords == LastWords::Forwarded || (lastWords == LastWords::ForwardedIfLoaded && !isOutlived);
    QCOMPARE(end.lines.contains(u"forwarded: last words"_s), isForwarded);
    const QString inTurn = isOutlived ? u"the former"_s : u"ours"_s;
    const QString handler = how == QLatin1String("later-handler") ? u"the later"_s : inTurn;
    QVERIFY(end.lines.contains(u"handler: "_s + handler));
}

void TstProcessEnd::libraryUnloaded_controllerIsStillThere_logGoesOn()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    // What a library keeps to the end is out of the leak checker's reach once the library is unloaded.
    environment.insert(u"ASAN_OPTIONS"_s, environment.value(u"ASAN_OPTIONS"_s) + u":detect_leaks=0"_s);
    const End end = run({QStringLiteral(UNLOADING_HOST), QStringLiteral(UNLOADED_SERVICE)}, environment);
    QVERIFY(end.isClean());
    QCOMPARE(end.lines.mid(0, 3), QStringList({u"console: made"_s, u"unloaded"_s, u"console: after it"_s}));
}

QTEST_GUILESS_MAIN(TstProcessEnd)
#include "tst_processend.moc"
