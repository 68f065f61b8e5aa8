#include "busprocess.h"
#include "fakebuses.h"
#include "settingsruns.h"

#include <QDateTime>
#include <QTemporaryDir>
#include <QTest>

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
    void load_someFail_othersAreSaved_data();
    void load_someFail_othersAreSaved();

private:
    QString load(const QByteArray& text);

    QTemporaryDir m_folder;
};

/// Writes \a text to a file. \return the command line that loads it
QString TstSettingsLoad::load(const QByteArray& text)
{
    return u"settings load "_s + written(m_folder.filePath(u"settings.jsonl"_s), text);
}

void TstSettingsLoad::load_whatGetWrote_bringsTheSameBack()
{
    const BusProcess bus;
    const QString owners = u"printer 'cash box\n\"€\"'"_s;
    QVERIFY(does(u"settings set printer paper width 80 --description 'At the door\t'"_s));
    QVERIFY(does(u"settings set printer '' list [1.5,null,{\"a\":\"b\"},true]"_s));
    QVERIFY(does(u"settings set printer a big 9007199254740992"_s));
    QVERIFY(does(u"settings set 'cash box\n\"€\"' a/b c -0.1"_s));
    const QByteArray before = stored(owners);
    QCOMPARE(before.count('\n'), 2);
    QVERIFY(does(u"settings remove printer"_s));
    QVERIFY(does(u"settings remove 'cash box\n\"€\"'"_s));
    ProgramRun run(load(before));
    QCOMPARE(run.ending(),
             ended(0, {"saved the settings of printer: 3 values", "saved the settings of cash box\\n\"€\": 1 value"}));
    QCOMPARE(stored(owners), before);
}

void TstSettingsLoad::load_replacesWhatWasThere()
{
    const BusProcess bus;
    QVERIFY(does(u"settings set printer a old 1 --description Old"_s));
    const QByteArray record("{\"date\":\"2026-03-01T10:11:12.345\",\"description\":\"\",\"mailOwner\":0,\"owner\":"
                            "\"printer\",\"settings\":[{\"group\":\"a\",\"key\":\"new\",\"value\":2}]}\n");
    QVERIFY(does(load(record)));
    QCOMPARE(stored(u"printer"_s), record);
}

void TstSettingsLoad::load_fromPipe_isTheSame()
{
    const BusProcess bus;
    const QByteArray record("\n{\"date\":\"2026-03-01T10:11:12.345\",\"description\":\"\",\"mailOwner\":1,\"owner\":"
                            "\"printer\",\"settings\":[]}\r\n\n");
    for (const QString& line : {u"settings load"_s, u"settings load -"_s}) {
        QProcess process;
        process.start(ProgramRun::program(), words(line));
        process.write(record);
        process.closeWriteChannel();
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 0);
        QCOMPARE(stored(u"printer"_s), record.trimmed() + '\n');
        QVERIFY(does(u"settings remove printer"_s));
    }
}

// When a record is changed, the library writes null for each missing group.
void TstSettingsLoad::load_groupNull_asGetWritesIt_isTaken()
{
    const BusProcess bus;
    QVERIFY(does(load("{\"owner\":\"printer\",\"settings\":[{\"key\":\"id\",\"value\":1}]}")));
    QVERIFY(does(u"settings set printer '' other 2"_s));
    const QByteArray before = stored(u"printer"_s);
    QVERIFY2(before.contains("\"group\":null"), before.constData());
    QVERIFY(does(load(before)));
    QCOMPARE(stored(u"printer"_s), before);
}

void TstSettingsLoad::load_leastRecord_isCompleted()
{
    FakeBus bus;
    bus.willReply(u"saveSettings"_s);
    const QDateTime before = QDateTime::currentDateTime();
    QVERIFY(does(load("{\"owner\":\"printer\",\"settings\":[{\"key\":\"id\",\"value\":null}]}")));
    QCOMPARE(bus.requests().size(), 1);
    QVariantMap saved = requested(bus);
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
    ProgramRun run(load("{\"owner\":\"printer\",\"settings\":[]}\n") + u" --json"_s);
    QCOMPARE(run.ending(), ended(0, {}, "{\"count\":0,\"done\":\"settings load\",\"owner\":\"printer\"}\n"));
}

namespace {

void refuses(const QByteArray& line, const QByteArray& words)
{
    QTest::newRow(line.constData()) << line << words;
}

/// Adds a row: a record in which only \a part is wrong.
void refusesPart(const QByteArray& part, const QByteArray& words)
{
    refuses("{\"owner\":\"b\",\"settings\":[]," + part + '}', words);
}

/// Adds a row: a record in which only \a entry is wrong.
void refusesEntry(const QByteArray& entry, const QByteArray& words)
{
    refuses("{\"owner\":\"b\",\"settings\":[" + entry + "]}", words);
}

} // namespace

void TstSettingsLoad::load_wrongInput_savesNothing_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::addColumn<QByteArray>("words");
    refuses(R"({"owner":"b")", "no JSON: ");
    refuses("Owner  printer", "no JSON: ");
    refuses("{\"owner\":\"\xff\",\"settings\":[]}", "no JSON: ");
    refuses("[]", "a settings record must be a JSON object");
    refuses(R"({"settings":[]})", "\"owner\" is needed");
    refuses(R"({"owner":"","settings":[]})", "\"owner\" is needed");
    refuses(R"({"owner":5,"settings":[]})", "\"owner\" is needed");
    refuses(R"({"owner":"a","settings":[]})", "a has a record in line 1 already");
    refuses(R"({"owner":"b"})", "\"settings\" is needed");
    refuses(R"({"owner":"b","settings":{}})", "\"settings\" is needed");
    refusesPart(R"("date":5)", "\"date\" must be a text");
    refusesPart(R"("date":null)", "\"date\" must be a text");
    refusesPart(R"("date":"today")", "\"today\" is no date");
    refusesPart(R"("description":[])", "\"description\" must be a text");
    refusesPart(R"("description":null)", "\"description\" must be a text");
    refusesPart(R"("mailOwner":2)", "\"mailOwner\" must be 0 or 1");
    refusesPart(R"("mailOwner":"1")", "\"mailOwner\" must be 0 or 1");
    refusesPart(R"("mailOwner":true)", "\"mailOwner\" must be 0 or 1");
    refusesPart(R"("mailOwner":null)", "\"mailOwner\" must be 0 or 1");
    refusesPart(R"("mailOwner":0.5)", "\"mailOwner\" must be 0 or 1");
    refusesPart(R"("descripton":"")", "\"descripton\" is no part of a settings record");
    refusesEntry(R"({"Group":"paper","key":"width","value":80})", "\"Group\" is no part of a setting");
    refusesEntry(R"("a")", "must be an object");
    refusesEntry(R"({"group":"g","value":1})", "needs a \"key\"");
    refusesEntry(R"({"key":"","value":1})", "needs a \"key\"");
    refusesEntry(R"({"key":1,"value":1})", "needs a \"key\"");
    refusesEntry(R"({"group":1,"key":"k","value":1})", "the \"group\" of a setting must be a text");
    refusesEntry(R"({"group":"g","key":"k"})", "the setting g/k has no \"value\"");
    refusesEntry(R"({"key":"k","value":[{"a":9007199254740993}]})", "line 3: 9007199254740993 is too large");
    refusesEntry(R"({"key":"k","value":-12345678901234567890})", "line 3: -12345678901234567890 is too large");
    refusesEntry(R"({"group":"g","key":"k","value":1},{"group":"g","key":"k","value":1})",
                 "the setting g/k is there twice");
    refusesEntry(R"({"group":"a/b","key":"c","value":1},{"group":"a","key":"b/c","value":1})",
                 "the setting a/b/c is there twice");
}

void TstSettingsLoad::load_wrongInput_savesNothing()
{
    QFETCH(QByteArray, line);
    QFETCH(QByteArray, words);
    FakeBus bus;
    ProgramRun run(load("{\"owner\":\"a\",\"settings\":[]}\n\n" + line + "\n{\"owner\":\"c\",\"settings\":[]}\n"));
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 2);
    QCOMPARE(ending.out, QByteArray());
    QVERIFY2(ending.err.startsWith("tarvexctl: line 3: "), ending.err.constData());
    QVERIFY2(ending.err.contains(words), ending.err.constData());
    QCOMPARE(bus.connectionCount(), 0);
}

void TstSettingsLoad::load_noFile_isTold_data()
{
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("'/no such file'") << QByteArray("cannot read /no such file: No such file");
    QTest::newRow("/tmp") << QByteArray("cannot read /tmp: ");
    QTest::newRow("/dev/null") << QByteArray("there is no settings record in /dev/null");
    QTest::newRow("-") << QByteArray("there is no settings record in stdin");
}

void TstSettingsLoad::load_noFile_isTold()
{
    QFETCH(QByteArray, words);
    ProgramRun run(u"settings load "_s + QLatin1String(QTest::currentDataTag()), ProgramRun::StdinEmpty);
    QCOMPARE(run.status(), 2);
    QVERIFY2(run.err().startsWith("tarvexctl: " + words), run.err().constData());
}

void TstSettingsLoad::load_someFail_othersAreSaved_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<int>("circumstances");
    QTest::addColumn<QByteArray>("first");
    QTest::newRow("refused record") << QString() << int(ProgramRun::Ordinary)
                                    << QByteArray("saved the settings of a: 0 values");
    // One failed record does not keep the program from saving the others, here as when the bus refuses one.
    QTest::newRow("stdout full") << u" --json"_s << int(ProgramRun::StdoutFull)
                                 << QByteArray("saved the settings of a: 0 values, but cannot write to stdout: No "
                                               "space left on device");
}

void TstSettingsLoad::load_someFail_othersAreSaved()
{
    QFETCH(QString, options);
    QFETCH(int, circumstances);
    QFETCH(QByteArray, first);
    FakeBus bus;
    bus.willReply(u"saveSettings"_s);
    bus.willReply(u"saveSettings"_s, 512, u"Storage access error"_s);
    bus.willReply(u"saveSettings"_s);
    const QString line = load("{\"owner\":\"a\",\"settings\":[]}\n{\"owner\":\"b\",\"settings\":[]}\n"
                              "{\"owner\":\"c\",\"settings\":[{\"key\":\"id\",\"value\":1}]}\n");
    ProgramRun run(line + options, static_cast<ProgramRun::Circumstances>(circumstances));
    QCOMPARE(run.ending(),
             ended(1, {first, "b: refused by the bus: 512 Storage access error", "saved the settings of c: 1 value"}));
    QCOMPARE(bus.requests().size(), 3);
}

QTEST_GUILESS_MAIN(TstSettingsLoad)
#include "tst_settingsload.moc"
