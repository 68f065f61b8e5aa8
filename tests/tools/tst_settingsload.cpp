#include "busprocess.h"
#include "fakebus.h"
#include "programrun.h"

#include <QDateTime>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

QStringList get(const QStringList& owners)
{
    return QStringList{QStringLiteral("--json"), QStringLiteral("settings"), QStringLiteral("get")} + owners;
}

bool setSetting(const QStringList& arguments)
{
    ProgramRun run(QStringList{QStringLiteral("settings"), QStringLiteral("set")} + arguments);
    return run.status() == 0;
}

bool removeSettings(const QString& owner)
{
    ProgramRun run({QStringLiteral("settings"), QStringLiteral("remove"), owner});
    return run.status() == 0;
}

} // namespace

/// The verb "settings load".
class TstSettingsLoad : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void load_whatGetWrote_bringsTheSameBack();
    void load_replacesWhatWasThere();
    void load_fromPipe_isTheSame();
    void load_groupNull_asGetWritesIt_isTaken();
    void load_leastRecord_isCompleted();
    void load_asJson_tellsWhatWasDone();
    void load_wrongInput_savesNothing_data();
    void load_wrongInput_savesNothing();
    void load_noFile_isTold_data();
    void load_noFile_isTold();
    void load_refusedRecord_isToldAndOthersAreSaved();
    void load_stdoutFull_savesAllAndTellsWhich();

private:
    QStringList load(const QByteArray& text, const QStringList& more = {});

    QTemporaryDir m_folder;
};

/// The arguments that load a file with this text.
QStringList TstSettingsLoad::load(const QByteArray& text, const QStringList& more)
{
    QFile file(m_folder.filePath(QStringLiteral("settings.jsonl")));
    file.open(QIODevice::WriteOnly);
    file.write(text);
    return QStringList{QStringLiteral("settings"), QStringLiteral("load"), file.fileName()} + more;
}

void TstSettingsLoad::load_whatGetWrote_bringsTheSameBack()
{
    const BusProcess bus;
    const QString printer = QStringLiteral("printer");
    const QString cashbox = QStringLiteral("cash box\n\"€\"");
    QVERIFY(setSetting({printer, QStringLiteral("paper"), QStringLiteral("width"), QStringLiteral("80"),
                        QStringLiteral("--description"), QStringLiteral("At the door\t")}));
    QVERIFY(setSetting({printer, QString(), QStringLiteral("list"), QStringLiteral("[1.5,null,{\"a\":\"b\"},true]")}));
    QVERIFY(setSetting({printer, QStringLiteral("a"), QStringLiteral("big"), QStringLiteral("9007199254740992")}));
    QVERIFY(setSetting({cashbox, QStringLiteral("a/b"), QStringLiteral("c"), QStringLiteral("-0.1")}));
    ProgramRun before(get({printer, cashbox}));
    QCOMPARE(before.status(), 0);
    QCOMPARE(before.objects().size(), 2);
    QVERIFY(removeSettings(printer));
    QVERIFY(removeSettings(cashbox));
    ProgramRun run(load(before.out()));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: saved the settings of printer: 3 values\n"
                        "tarvexctl: saved the settings of cash box\\n\"€\": 1 value\n"));
    ProgramRun after(get({printer, cashbox}));
    QCOMPARE(after.status(), 0);
    QCOMPARE(after.out(), before.out());
}

void TstSettingsLoad::load_replacesWhatWasThere()
{
    const BusProcess bus;
    QVERIFY(setSetting({QStringLiteral("printer"), QStringLiteral("a"), QStringLiteral("old"), QStringLiteral("1"),
                        QStringLiteral("--description"), QStringLiteral("Old")}));
    const QByteArray record("{\"date\":\"2026-03-01T10:11:12.345\",\"description\":\"\",\"mailOwner\":0,\"owner\":"
                            "\"printer\",\"settings\":[{\"group\":\"a\",\"key\":\"new\",\"value\":2}]}\n");
    ProgramRun run(load(record));
    QCOMPARE(run.status(), 0);
    ProgramRun after(get({QStringLiteral("printer")}));
    QCOMPARE(after.status(), 0);
    QCOMPARE(after.out(), record);
}

void TstSettingsLoad::load_fromPipe_isTheSame()
{
    const BusProcess bus;
    const QByteArray record("\n{\"date\":\"2026-03-01T10:11:12.345\",\"description\":\"\",\"mailOwner\":1,\"owner\":"
                            "\"printer\",\"settings\":[]}\r\n\n");
    for (const QStringList& arguments : {QStringList(), QStringList(QStringLiteral("-"))}) {
        QProcess process;
        process.start(ProgramRun::program(),
                      QStringList{QStringLiteral("settings"), QStringLiteral("load")} + arguments);
        process.write(record);
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 0);
        ProgramRun after(get({QStringLiteral("printer")}));
        QCOMPARE(after.status(), 0);
        QCOMPARE(after.out(), record.trimmed() + '\n');
        QVERIFY(removeSettings(QStringLiteral("printer")));
    }
}

// When a record is changed, the library writes null for each group that is missing in it.
void TstSettingsLoad::load_groupNull_asGetWritesIt_isTaken()
{
    const BusProcess bus;
    ProgramRun first(load("{\"owner\":\"printer\",\"settings\":[{\"key\":\"id\",\"value\":1}]}"));
    QCOMPARE(first.status(), 0);
    QVERIFY(setSetting({QStringLiteral("printer"), QString(), QStringLiteral("other"), QStringLiteral("2")}));
    ProgramRun before(get({QStringLiteral("printer")}));
    QCOMPARE(before.status(), 0);
    QVERIFY2(before.out().contains("\"group\":null"), before.out().constData());
    ProgramRun run(load(before.out()));
    QCOMPARE(run.status(), 0);
    ProgramRun after(get({QStringLiteral("printer")}));
    QCOMPARE(after.status(), 0);
    QCOMPARE(after.out(), before.out());
}

void TstSettingsLoad::load_leastRecord_isCompleted()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("saveSettings"));
    const QDateTime before = QDateTime::currentDateTime();
    ProgramRun run(load("{\"owner\":\"printer\",\"settings\":[{\"key\":\"id\",\"value\":null}]}"));
    QCOMPARE(run.status(), 0);
    QCOMPARE(bus.requests().size(), 1);
    QVariantMap saved = bus.requests().constFirst().data;
    const QDateTime date = QDateTime::fromString(saved.take(QStringLiteral("date")).toString(), Qt::ISODateWithMs);
    QVERIFY(before.msecsTo(date) >= 0 && date.msecsTo(QDateTime::currentDateTime()) >= 0);
    const QVariantMap entry{{QStringLiteral("key"), QStringLiteral("id")},
                            {QStringLiteral("value"), QVariant::fromValue(nullptr)}};
    QCOMPARE(saved,
             (QVariantMap{{QStringLiteral("owner"), QStringLiteral("printer")},
                          {QStringLiteral("description"), QString()},
                          {QStringLiteral("mailOwner"), 1},
                          {QStringLiteral("settings"), QVariantList{entry}}}));
}

void TstSettingsLoad::load_asJson_tellsWhatWasDone()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("saveSettings"));
    ProgramRun run(load("{\"owner\":\"printer\",\"settings\":[]}\n", {QStringLiteral("--json")}));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{{{QStringLiteral("done"), QStringLiteral("settings load")},
                                  {QStringLiteral("owner"), QStringLiteral("printer")},
                                  {QStringLiteral("count"), 0}}}));
}

void TstSettingsLoad::load_wrongInput_savesNothing_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("words");
    const auto withEntries = [](const QByteArray& entries) {
        return QByteArray("{\"owner\":\"b\",\"settings\":[" + entries + "]}");
    };
    const QByteArray entry("{\"group\":\"g\",\"key\":\"k\",\"value\":1}");
    QTest::newRow("no JSON") << QByteArray("{\"owner\":\"b\"") << QByteArray("no JSON: ");
    QTest::newRow("table") << QByteArray("Owner  printer") << QByteArray("no JSON: ");
    QTest::newRow("not UTF-8") << QByteArray("{\"owner\":\"\xff\",\"settings\":[]}") << QByteArray("no JSON: ");
    QTest::newRow("array") << QByteArray("[]") << QByteArray("a settings record must be a JSON object");
    QTest::newRow("no owner") << QByteArray("{\"settings\":[]}") << QByteArray("\"owner\" is needed");
    QTest::newRow("empty owner") << QByteArray("{\"owner\":\"\",\"settings\":[]}") << QByteArray("\"owner\" is needed");
    QTest::newRow("owner number") << QByteArray("{\"owner\":5,\"settings\":[]}") << QByteArray("\"owner\" is needed");
    QTest::newRow("no settings") << QByteArray("{\"owner\":\"b\"}") << QByteArray("\"settings\" is needed");
    QTest::newRow("settings object") << QByteArray("{\"owner\":\"b\",\"settings\":{}}")
                                     << QByteArray("\"settings\" is needed");
    QTest::newRow("date number") << QByteArray("{\"owner\":\"b\",\"settings\":[],\"date\":5}")
                                 << QByteArray("\"date\" must be a text");
    QTest::newRow("no date") << QByteArray("{\"owner\":\"b\",\"settings\":[],\"date\":\"today\"}")
                             << QByteArray("\"today\" is no date");
    QTest::newRow("description list") << QByteArray("{\"owner\":\"b\",\"settings\":[],\"description\":[]}")
                                      << QByteArray("\"description\" must be a text");
    QTest::newRow("mailOwner 2") << QByteArray("{\"owner\":\"b\",\"settings\":[],\"mailOwner\":2}")
                                 << QByteArray("\"mailOwner\" must be 0 or 1");
    QTest::newRow("mailOwner text") << QByteArray("{\"owner\":\"b\",\"settings\":[],\"mailOwner\":\"1\"}")
                                    << QByteArray("\"mailOwner\" must be 0 or 1");
    QTest::newRow("unknown part") << QByteArray("{\"owner\":\"b\",\"settings\":[],\"descripton\":\"\"}")
                                  << QByteArray("\"descripton\" is no part of a settings record");
    QTest::newRow("mailOwner true") << QByteArray("{\"owner\":\"b\",\"settings\":[],\"mailOwner\":true}")
                                    << QByteArray("\"mailOwner\" must be 0 or 1");
    QTest::newRow("mailOwner null") << QByteArray("{\"owner\":\"b\",\"settings\":[],\"mailOwner\":null}")
                                    << QByteArray("\"mailOwner\" must be 0 or 1");
    QTest::newRow("mailOwner 0.5") << QByteArray("{\"owner\":\"b\",\"settings\":[],\"mailOwner\":0.5}")
                                   << QByteArray("\"mailOwner\" must be 0 or 1");
    QTest::newRow("date null") << QByteArray("{\"owner\":\"b\",\"settings\":[],\"date\":null}")
                               << QByteArray("\"date\" must be a text");
    QTest::newRow("description null") << QByteArray("{\"owner\":\"b\",\"settings\":[],\"description\":null}")
                                      << QByteArray("\"description\" must be a text");
    QTest::newRow("unknown part of an entry") << withEntries("{\"Group\":\"paper\",\"key\":\"width\",\"value\":80}")
                                              << QByteArray("\"Group\" is no part of a setting");
    QTest::newRow("entry text") << withEntries("\"a\"") << QByteArray("must be an object");
    QTest::newRow("entry without key") << withEntries("{\"group\":\"g\",\"value\":1}") << QByteArray("needs a \"key\"");
    QTest::newRow("key empty") << withEntries("{\"key\":\"\",\"value\":1}") << QByteArray("needs a \"key\"");
    QTest::newRow("key number") << withEntries("{\"key\":1,\"value\":1}") << QByteArray("needs a \"key\"");
    QTest::newRow("group number") << withEntries("{\"group\":1,\"key\":\"k\",\"value\":1}")
                                  << QByteArray("the \"group\" of a setting must be a text");
    QTest::newRow("no value") << withEntries("{\"group\":\"g\",\"key\":\"k\"}")
                              << QByteArray("the setting g/k has no \"value\"");
    QTest::newRow("too large") << withEntries("{\"group\":\"g\",\"key\":\"k\",\"value\":[{\"a\":9007199254740993}]}")
                               << QByteArray("line 3: 9007199254740993 is too large");
    QTest::newRow("far too large") << withEntries("{\"group\":\"g\",\"key\":\"k\",\"value\":-12345678901234567890}")
                                   << QByteArray("line 3: -12345678901234567890 is too large");
    QTest::newRow("path twice") << withEntries(entry + ',' + entry) << QByteArray("the setting g/k is there twice");
    QTest::newRow("path cut elsewhere") << withEntries(
        "{\"group\":\"a/b\",\"key\":\"c\",\"value\":1},{\"group\":\"a\",\"key\":\"b/c\",\"value\":1}")
                                        << QByteArray("the setting a/b/c is there twice");
    QTest::newRow("owner twice") << QByteArray("{\"owner\":\"a\",\"settings\":[]}")
                                 << QByteArray("a has a record in line 1 already");
}

void TstSettingsLoad::load_wrongInput_savesNothing()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, words);
    FakeBus bus;
    ProgramRun run(load("{\"owner\":\"a\",\"settings\":[]}\n\n" + line + "\n{\"owner\":\"c\",\"settings\":[]}\n"));
    QCOMPARE(run.status(), 2);
    QCOMPARE(run.out(), QByteArray());
    QVERIFY2(run.err().startsWith("tarvexctl: line 3: "), run.err().constData());
    QVERIFY2(run.err().contains(words), run.err().constData());
    QCOMPARE(bus.connectionCount(), 0);
}

void TstSettingsLoad::load_noFile_isTold_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("missing") << QStringLiteral("/no such file")
                             << QByteArray("cannot read /no such file: No such file");
    QTest::newRow("folder") << QStringLiteral("/tmp") << QByteArray("cannot read /tmp: ");
    QTest::newRow("empty") << QStringLiteral("/dev/null") << QByteArray("there is no settings record in /dev/null");
    QTest::newRow("stdin empty") << QStringLiteral("-") << QByteArray("there is no settings record in stdin");
}

void TstSettingsLoad::load_noFile_isTold()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, words);
    QProcess process;
    process.start(ProgramRun::program(), {QStringLiteral("settings"), QStringLiteral("load"), name});
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 2);
    const QByteArray errors = process.readAllStandardError();
    QVERIFY2(errors.startsWith("tarvexctl: " + words), errors.constData());
}

void TstSettingsLoad::load_refusedRecord_isToldAndOthersAreSaved()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("saveSettings"));
    bus.willReply(QStringLiteral("saveSettings"), 512, QStringLiteral("Storage access error"));
    bus.willReply(QStringLiteral("saveSettings"));
    ProgramRun run(load("{\"owner\":\"a\",\"settings\":[]}\n{\"owner\":\"b\",\"settings\":[]}\n"
                        "{\"owner\":\"c\",\"settings\":[]}\n"));
    QCOMPARE(run.status(), 1);
    QCOMPARE(run.err(),
             QByteArray("tarvexctl: saved the settings of a: 0 values\n"
                        "tarvexctl: b: refused by the bus: 512 Storage access error\n"
                        "tarvexctl: saved the settings of c: 0 values\n"));
    QCOMPARE(bus.requests().size(), 3);
}

// The records are independent of each other, as when the bus refuses one of them.
void TstSettingsLoad::load_stdoutFull_savesAllAndTellsWhich()
{
    FakeBus bus;
    bus.willReply(QStringLiteral("saveSettings"));
    bus.willReply(QStringLiteral("saveSettings"), 512, QStringLiteral("Storage access error"));
    bus.willReply(QStringLiteral("saveSettings"));
    QProcess process;
    process.setStandardOutputFile(QStringLiteral("/dev/full"));
    process.start(ProgramRun::program(),
                  load("{\"owner\":\"a\",\"settings\":[]}\n{\"owner\":\"b\",\"settings\":[]}\n"
                       "{\"owner\":\"c\",\"settings\":[{\"key\":\"id\",\"value\":1}]}\n",
                       {QStringLiteral("--json")}));
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 1);
    QCOMPARE(process.readAllStandardError(),
             QByteArray("tarvexctl: saved the settings of a: 0 values, but cannot write to stdout: No space left on "
                        "device\n"
                        "tarvexctl: b: refused by the bus: 512 Storage access error\n"
                        "tarvexctl: saved the settings of c: 1 value\n"));
    QCOMPARE(bus.requests().size(), 3);
}

QTEST_GUILESS_MAIN(TstSettingsLoad)
#include "tst_settingsload.moc"
