#include "literals.h"
#include "programrun.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

/// The verb "new-service". There is no bus: the verb needs none. What it writes is built in tests/package.
class TstNewServiceVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void service_isWritten();
    void asJson_isOneObject();
    void withoutCommands_hasTwo();
    void withoutFolder_isWrittenHere();
    void wrongUse_isRefused_data();
    void wrongUse_isRefused();
    void existingFolder_isKept();
    void fullDisk_leavesNothingBehind();
    void unknownMaintainer_isTold();
    void knownName_isTold();
    void nameOfProgramAndUser_isTold();

private:
    QStringList namesHere() const;
    QByteArray textOf(const QString& path) const;

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TstNewServiceVerb::initTestCase()
{
    qputenv("DEBFULLNAME", "Ann");
    qputenv("DEBEMAIL", "ann@example.com");
}

void TstNewServiceVerb::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(QDir::setCurrent(m_folder->path()));
}

void TstNewServiceVerb::service_isWritten()
{
    ProgramRun run(u"new-service my_gate --commands open,close,lock --in "_s + m_folder->path());
    const QByteArray place = m_folder->path().toUtf8() + "/my_gate";
    QCOMPARE(run.ending(),
             ended(0, {"wrote the service my_gate to " + place + "; its README.md has the first commands"}));
    QCOMPARE(namesHere(), QStringList(u"my_gate"_s));
    const QByteArray commands = textOf(u"src/mygatecommands.h"_s);
    for (const char* const name : {"open", "close", "lock"}) {
        const QByteArray slot = QByteArray("QVariant ") + name + "(QString agent, QString uid, QVariantMap data = {});";
        QVERIFY2(commands.contains(slot), name);
    }
    QVERIFY(textOf(u"debian/control"_s).contains("\nMaintainer: Ann <ann@example.com>\n"));
    QVERIFY(textOf(u"README.md"_s).contains("tarvexctl call my_gate open times:=2\n"));
}

void TstNewServiceVerb::asJson_isOneObject()
{
    ProgramRun run(u"--json new-service my_gate --commands open"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending, ended(0, {}, ending.out));
    QCOMPARE(run.objects().size(), 1);
    QVariantMap object = run.objects().constFirst();
    const QStringList files = object.take(u"files"_s).toStringList();
    const QVariantMap expected{{u"done"_s, u"new-service"_s},
                               {u"name"_s, u"my_gate"_s},
                               {u"package"_s, u"my-gate"_s},
                               {u"commands"_s, QVariantList{u"open"_s}},
                               {u"folder"_s, m_folder->filePath(u"my_gate"_s)}};
    QCOMPARE(object, expected);
    for (const QString& file : files) {
        QVERIFY2(!textOf(file).isEmpty(), qPrintable(file));
    }
    QVERIFY(files.contains(u"CMakeLists.txt"_s));
}

void TstNewServiceVerb::withoutCommands_hasTwo()
{
    ProgramRun run(u"--quiet new-service my_gate"_s);
    QCOMPARE(run.ending(), ended(0));
    QCOMPARE(textOf(u"src/mygatecommands.h"_s).count("    QVariant "), 2);
    QVERIFY(textOf(u"README.md"_s).contains("the commands `blink`, `beep`, each"));
}

void TstNewServiceVerb::withoutFolder_isWrittenHere()
{
    ProgramRun run(u"--quiet new-service my-gate"_s);
    QCOMPARE(run.ending(), ended(0));
    QCOMPARE(namesHere(), QStringList(u"my-gate"_s));
}

void TstNewServiceVerb::wrongUse_isRefused_data()
{
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("new-service") << QByteArray("NAME is required; see --help");
    QTest::newRow("new-service ''") << QByteArray("NAME must not be empty");
    QTest::newRow("new-service my_gate --in ''") << QByteArray("--in must not be empty");
    QTest::newRow("new-service my_gate --in none/here") << QByteArray("; nothing was written");
    QTest::newRow("new-service My_Gate") << QByteArray("no service can be called \"My_Gate\": ");
    QTest::newRow("new-service tarvexctl") << QByteArray("no service can be called \"tarvexctl\": ");
    QTest::newRow("new-service ../gate") << QByteArray("no service can be called \"../gate\": ");
    QTest::newRow("new-service my_gate --commands deleteLater")
        << QByteArray("no command can be called \"deleteLater\": ");
    QTest::newRow("new-service my_gate --commands ''") << QByteArray("no command can be called \"\": ");
}

void TstNewServiceVerb::wrongUse_isRefused()
{
    QFETCH(QByteArray, words);
    ProgramRun run(QString::fromLatin1(QTest::currentDataTag()));
    const Ending ending = run.ending();
    QCOMPARE(ending, (Ending{2, {}, ending.err}));
    QVERIFY2(ending.err.contains(words), ending.err.constData());
    QCOMPARE(namesHere(), QStringList());
}

void TstNewServiceVerb::existingFolder_isKept()
{
    ProgramRun first(u"--quiet new-service my_gate"_s);
    QCOMPARE(first.ending(), ended(0));
    const QByteArray before = textOf(u"src/mygatecommands.h"_s);
    ProgramRun second(u"new-service my_gate --commands open"_s);
    QCOMPARE(second.ending(), ended(1, {m_folder->path().toUtf8() + "/my_gate is there already and is left as it is"}));
    QCOMPARE(textOf(u"src/mygatecommands.h"_s), before);
    QCOMPARE(namesHere(), QStringList(u"my_gate"_s));
}

/// No file may have more than 1000 bytes, which fails in the middle as a full disk does.
void TstNewServiceVerb::fullDisk_leavesNothingBehind()
{
    ChildProcess run(ProgramRun::program(), words(u"new-service my_gate"_s));
    run.setStepBeforeProgram([] {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1000, 1000};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    });
    QVERIFY(run.start());
    QCOMPARE(run.status(), 2);
    QVERIFY2(run.err().endsWith(": File too large; nothing was written\n"), run.err().constData());
    QCOMPARE(namesHere(), QStringList());
}

void TstNewServiceVerb::unknownMaintainer_isTold()
{
    ChildProcess run(ProgramRun::program(), words(u"new-service my_gate"_s));
    run.setVariable(u"DEBFULLNAME"_s, u"no,name"_s);
    QVERIFY(run.start());
    QCOMPARE(run.status(), 0);
    const QByteArray place = m_folder->path().toUtf8() + "/my_gate/debian";
    const QByteArray words = told("your name and mail address are not known; write them for \"Your Name\" in " + place);
    QVERIFY2(run.err().endsWith(words), run.err().constData());
    QVERIFY(textOf(u"debian/control"_s).contains("\nMaintainer: Your Name <you@example.com>\n"));
}

void TstNewServiceVerb::knownName_isTold()
{
    ProgramRun run(u"new-service door_sensor"_s);
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 0);
    const QByteArray words =
        told("door_sensor is one of the names that the library knows: tarvex::BUSNAME_DOOR_SENSOR");
    QVERIFY2(ending.err.endsWith(words), ending.err.constData());
}

void TstNewServiceVerb::nameOfProgramAndUser_isTold()
{
    ProgramRun program(u"new-service env"_s);
    const Ending ending = program.ending();
    QCOMPARE(ending.status, 0);
    QVERIFY2(ending.err.contains("/bin/env is a program of this machine; "), ending.err.constData());
    ProgramRun user(u"new-service root"_s);
    QCOMPARE(user.status(), 0);
    QVERIFY2(user.err().contains("root is a user of this machine; "), user.err().constData());
}

QStringList TstNewServiceVerb::namesHere() const
{
    return QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

/// A file of the first service in the folder.
QByteArray TstNewServiceVerb::textOf(const QString& path) const
{
    QFile file(m_folder->filePath(namesHere().constFirst() + u'/' + path));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QTEST_GUILESS_MAIN(TstNewServiceVerb)
#include "tst_newserviceverb.moc"
