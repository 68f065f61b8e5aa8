#include "busprocess.h"
#include "fakebus.h"
#include "literals.h"
#include "programrun.h"

#include <QDateTime>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

QStringList get(const QStringList& owners)
{
    return QStringList{u"--json"_s, u"settings"_s, u"get"_s} + owners;
}

bool setSetting(const QStringList& arguments)
{
    ProgramRun run(QStringList{u"settings"_s, u"set"_s} + arguments);
    return run.status() == 0;
}

bool removeSettings(const QString& owner)
{
    ProgramRun run({u"settings"_s, u"remove"_s, owner});
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
    QFile file(m_folder.filePath(u"settings.jsonl"_s));
    file.open(QIODevice::WriteOnly);
    file.write(text);
    return QStringList{u"settings"_s, u"load"_s, file.fileName()} + more;
}

void TstSettingsLoad::load_whatGetWrote_bringsTheSameBack()
{
    const BusProcess bus;
    const QString printer = u"printer"_s;
    const QString cashbox = u"cash box\n\"€\""_s;
    QVERIFY(setSetting({printer, u"paper"_s, u"width"_s, u"80"_s, u"--description"_s, u"At the door\t"_s}));
    QVERIFY(setSetting({printer, QString(), u"list"_s, u"[1.5,null,{\"a\":\"b\"},true]"_s}));
    QVERIFY(setSetting({printer, u"a"_s, u"big"_s, u"9007199254740992"_s}));
    QVERIFY(setSetting({cashbox, u"a/b"_s, u"c"_s, u"-0.1"_s}));
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
    QVERIFY(setSetting({u"printer"_s, u"a"_s, u"old"_s, u"1"_s, u"--description"_s, u"Old"_s}));
    const QByteArray record("{\"date\":\"2026-03-01T10:11:12.345\",\"description\":\"\",\"mailOwner\":0,\"owner\":"
                            "\"printer\",\"settings\":[{\"group\":\"a\",\"key\":\"new\",\"value\":2}]}\n");
    ProgramRun run(load(record));
    QCOMPARE(run.status(), 0);
    ProgramRun after(get({u"printer"_s}));
    QCOMPARE(after.status(), 0);
    QCOMPARE(after.out(), record);
}

void TstSettingsLoad::load_fromPipe_isTheSame()
{
    const BusProcess bus;
    const QByteArray record("\n{\"date\":\"2026-03-01T10:11:12.345\",\"description\":\"\",\"mailOwner\":1,\"owner\":"
                            "\"printer\",\"settings\":[]}\r\n\n");
    for (const QStringList& arguments : {QStringList(), QStringList(u"-"_s)}) {
        QProcess process;
        process.start(ProgramRun::program(), QStringList{u"settings"_s, u"load"_s} + arguments);
        process.write(record);
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 0);
        ProgramRun after(get({u"printer"_s}));
        QCOMPARE(after.status(), 0);
        QCOMPARE(after.out(), record.trimmed() + '\n');
        QVERIFY(removeSettings(u"printer"_s));
    }
}

// When a record is changed, the library writes null for each group that is missing in it.
void TstSettingsLoad::load_groupNull_asGetWritesIt_isTaken()
{
    const BusProcess bus;
    ProgramRun first(load("{\"owner\":\"printer\",\"settings\":[{\"key\":\"id\",\"value\":1}]}"));
    QCOMPARE(first.status(), 0);
    QVERIFY(setSetting({u"printer"_s, QString(), u"other"_s, u"2"_s}));
    ProgramRun before(get({u"printer"_s}));
    QCOMPARE(before.status(), 0);
    QVERIFY2(before.out().contains("\"group\":null"), before.out().constData());
    ProgramRun run(load(before.out()));
    QCOMPARE(run.status(), 0);
    ProgramRun after(get({u"printer"_s}));
    QCOMPARE(after.status(), 0);
    QCOMPARE(after.out(), before.out());
}

void TstSettingsLoad::load_leastRecord_isCompleted()
{
    FakeBus bus;
    bus.willReply(u"saveSettings"_s);
    const QDateTime before = QDateTime::currentDateTime();
    ProgramRun run(load("{\"owner\":\"printer\",\"settings\":[{\"key\":\"id\",\"value\":null}]}"));
    QCOMPARE(run.status(), 0);
    QCOMPARE(bus.requests().size(), 1);
    QVariantMap saved = bus.requests().constFirst().data;
    const QDateTime date = QDateTime::fromString(saved.take(u"date"_s).toString(), Qt::ISODateWithMs);
    QVERIFY(before.msecsTo(date) >= 0 && date.msecsTo(QDateTime::currentDateTime()) >= 0);
    const QVariantMap entry{{u"key"_s, u"id"_s}, {u"value"_s, QVariant::fromValue(nullptr)}};
    QCOMPARE(saved,
             (QVariantMap{{u"owner"_s, u"printer"_s},
                          {u"description"_s, QString()},
                          {u"mailOwner"_s, 1},
                          {u"settings"_s, QVariantList{entry}}}));
}

void TstSettingsLoad::load_asJson_tellsWhatWasDone()
{
    FakeBus bus;
    bus.willReply(u"saveSettings"_s);
    ProgramRun run(load("{\"owner\":\"printer\",\"settings\":[]}\n", {u"--json"_s}));
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.err(), QByteArray());
    QCOMPARE(run.objects(),
             (QList<QVariantMap>{{{u"done"_s, u"settings load"_s}, {u"owner"_s, u"printer"_s}, {u"count"_s, 0}}}));
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
    QTest::newRow("missing") << u"/no such file"_s << QByteArray("cannot read /no such file: No such file");
    QTest::newRow("folder") << u"/tmp"_s << QByteArray("cannot read /tmp: ");
    QTest::newRow("empty") << u"/dev/null"_s << QByteArray("there is no settings record in /dev/null");
    QTest::newRow("stdin empty") << u"-"_s << QByteArray("there is no settings record in stdin");
}

void TstSettingsLoad::load_noFile_isTold()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, words);
    QProcess process;
    process.start(ProgramRun::program(), {u"settings"_s, u"load"_s, name});
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 2);
    const QByteArray errors = process.readAllStandardError();
    QVERIFY2(errors.startsWith("tarvexctl: " + words), errors.constData());
}

void TstSettingsLoad::load_refusedRecord_isToldAndOthersAreSaved()
{
    FakeBus bus;
    bus.willReply(u"saveSettings"_s);
    bus.willReply(u"saveSettings"_s, 512, u"Storage access error"_s);
    bus.willReply(u"saveSettings"_s);
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
    bus.willReply(u"saveSettings"_s);
    bus.willReply(u"saveSettings"_s, 512, u"Storage access error"_s);
    bus.willReply(u"saveSettings"_s);
    QProcess process;
    process.setStandardOutputFile(u"/dev/full"_s);
    process.start(ProgramRun::program(),
                  load("{\"owner\":\"a\",\"settings\":[]}\n{\"owner\":\"b\",\"settings\":[]}\n"
                       "{\"owner\":\"c\",\"settings\":[{\"key\":\"id\",\"value\":1}]}\n",
                       {u"--json"_s}));
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
