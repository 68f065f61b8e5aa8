#include "busprocess.h"
#include "fakebuses.h"
#include "settingsruns.h"

#include <QTemporaryDir>
#include <QTest>

/// The verb "settings diff".
class TstSettingsDiff : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void files_everyDifference_isShown();
    void files_asJson_everyDifference_isShown();
    void files_sameContent_is0_data();
    void files_sameContent_is0();
    void values_areComparedAsJson_data();
    void values_areComparedAsJson();
    void files_severalRecords_areComparedByOwner();
    void owners_areCompared();
    void ownerAndFile_areCompared_data();
    void ownerAndFile_areCompared();
    void stdin_isAFile();
    void ownerWithoutSettings_is1();
    void optionOwners_takesAnyName();
    void wrongUse_is2_data();
    void wrongUse_is2();
    void noBus_is3_butFilesNeedNone();

private:
    QString file(const QString& name, const QByteArray& text) const
    {
        return written(m_folder.filePath(name), text) + u' ';
    }

    Ending diff(const QByteArray& before, const QByteArray& after, const QString& options = {}) const;

    QTemporaryDir m_folder;
};

/// Compares two files. In what it writes, A and B stand for the names.
Ending TstSettingsDiff::diff(const QByteArray& before, const QByteArray& after, const QString& options) const
{
    ProgramRun run(u"settings diff "_s + file(u"a.json"_s, before) + file(u"b.json"_s, after) + options);
    Ending ending = run.ending();
    const QByteArray folder = m_folder.path().toUtf8();
    ending.out.replace(folder + "/a.json", "A").replace(folder + "/b.json", "B");
    ending.err.replace(folder + "/a.json", "A").replace(folder + "/b.json", "B");
    return ending;
}

namespace {

const QByteArray BEFORE("{\"owner\":\"p\",\"description\":\"Old\\n\",\"mailOwner\":0,\"settings\":["
                        "{\"group\":\"g\",\"key\":\"gone\",\"value\":[1]},"
                        "{\"group\":\"g\",\"key\":\"other\",\"value\":{\"a\":1,\"b\":2}},"
                        "{\"group\":\"g\",\"key\":\"same\",\"value\":true}]}");
const QByteArray AFTER("{\"owner\":\"p\",\"settings\":["
                       "{\"group\":\"new\\u001b\",\"key\":\"k\",\"value\":null},"
                       "{\"group\":\"g\",\"key\":\"same\",\"value\":true},"
                       "{\"group\":\"g\",\"key\":\"other\",\"value\":{\"a\":1,\"b\":\"2\"}}]}");

} // namespace

void TstSettingsDiff::files_everyDifference_isShown()
{
    QCOMPARE(diff(BEFORE, AFTER),
             ended(1, {},
                   "--- p in A\n+++ p in B\n"
                   "- description = \"Old\\n\"\n+ description = \"\"\n"
                   "- mailOwner = 0\n+ mailOwner = 1\n"
                   "- g/gone = [1]\n"
                   "- g/other = {\"a\":1,\"b\":2}\n+ g/other = {\"a\":1,\"b\":\"2\"}\n"
                   "+ new\\x1b/k = null\n"));
}

void TstSettingsDiff::files_asJson_everyDifference_isShown()
{
    QCOMPARE(diff(BEFORE, AFTER, u"--json"_s),
             ended(1, {},
                   "{\"changes\":[{\"after\":\"\",\"before\":\"Old\\n\",\"part\":\"description\"},"
                   "{\"after\":1,\"before\":0,\"part\":\"mailOwner\"},"
                   "{\"before\":[1],\"group\":\"g\",\"key\":\"gone\"},"
                   "{\"after\":{\"a\":1,\"b\":\"2\"},\"before\":{\"a\":1,\"b\":2},\"group\":\"g\",\"key\":\"other\"},"
                   "{\"after\":null,\"group\":\"new\\u001b\",\"key\":\"k\"}],"
                   "\"from\":\"p in A\",\"record\":\"changed\",\"to\":\"p in B\"}\n"));
}

void TstSettingsDiff::files_sameContent_is0_data()
{
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("same") << recordLine("p", entryText("a", "1") + ',' + entryText("b", "2"));
    QTest::newRow("other order") << recordLine("p", entryText("b", "2") + ',' + entryText("a", "1"));
    QTest::newRow("other date") << QByteArray("{\"owner\":\"p\",\"settings\":[" + entryText("a", "1") + ','
                                              + entryText("b", "2") + "]}");
    QTest::newRow("other form") << "{\"format\":\"tarvex-settings\",\"version\":1,\n\"records\":["
            + recordLine("p", entryText("a", "1.0") + ",\n" + entryText("b", "2")) + "]}";
    QTest::newRow("other owner, one record each") << recordLine("q", entryText("a", "1") + ',' + entryText("b", "2"));
}

void TstSettingsDiff::files_sameContent_is0()
{
    QFETCH(QByteArray, after);
    const QByteArray before = recordLine("p", entryText("a", "1") + ',' + entryText("b", "2"));
    QCOMPARE(diff(before, after), ended(0));
    QCOMPARE(diff(before, after, u"--json"_s), ended(0));
}

void TstSettingsDiff::values_areComparedAsJson_data()
{
    QTest::addColumn<QByteArray>("one");
    QTest::addColumn<QByteArray>("other");
    QTest::newRow("number and text") << QByteArray("80") << QByteArray("\"80\"");
    QTest::newRow("flag and text") << QByteArray("true") << QByteArray("\"true\"");
    QTest::newRow("flag and number") << QByteArray("true") << QByteArray("1");
    QTest::newRow("null and empty text") << QByteArray("null") << QByteArray("\"\"");
    QTest::newRow("null and 0") << QByteArray("null") << QByteArray("0");
    QTest::newRow("inside a list") << QByteArray("[80]") << QByteArray("[\"80\"]");
    QTest::newRow("upper case") << QByteArray("\"A\"") << QByteArray("\"a\"");
    QTest::newRow("small fraction") << QByteArray("0.1") << QByteArray("0.10000000000000001e1");
}

void TstSettingsDiff::values_areComparedAsJson()
{
    QFETCH(QByteArray, one);
    QFETCH(QByteArray, other);
    const QByteArray before = recordLine("p", entryText("k", one));
    const QByteArray after = recordLine("p", entryText("k", other));
    QCOMPARE(diff(before, after).status, 1);
    QCOMPARE(diff(before, before).status, 0);
    QCOMPARE(diff(after, after).status, 0);
}

void TstSettingsDiff::files_severalRecords_areComparedByOwner()
{
    const QByteArray before =
        recordLine("c", entryText("k", "1")) + recordLine("b", entryText("k", "2")) + recordLine("empty", "");
    const QByteArray after = recordLine("a", entryText("k", "3")) + recordLine("b", entryText("k", "4"))
        + recordLine("c", entryText("k", "1"));
    QCOMPARE(diff(before, after),
             ended(1, {},
                   "--- a in A\n+++ a in B\n+ a first record\n+ g/k = 3\n\n"
                   "--- b in A\n+++ b in B\n- g/k = 2\n+ g/k = 4\n\n"
                   "--- empty in A\n+++ empty in B\n- the whole record\n"));
    QCOMPARE(diff(before, recordLine("c", entryText("k", "1")), u"--json"_s),
             ended(1, {},
                   "{\"changes\":[{\"before\":2,\"group\":\"g\",\"key\":\"k\"}],\"from\":\"b in A\","
                   "\"record\":\"removed\",\"to\":\"b in B\"}\n"
                   "{\"changes\":[],\"from\":\"empty in A\",\"record\":\"removed\",\"to\":\"empty in B\"}\n"));
}

void TstSettingsDiff::owners_areCompared()
{
    const BusProcess bus;
    QVERIFY(does(u"settings set printer paper width 80"_s));
    QVERIFY(does(u"settings set 'old printer' paper width 58"_s));
    ProgramRun different(u"settings diff 'old printer' printer"_s);
    QCOMPARE(different.ending(),
             ended(1, {}, "--- old printer\n+++ printer\n- paper/width = 58\n+ paper/width = 80\n"));
    ProgramRun same(u"settings diff printer printer"_s);
    QCOMPARE(same.ending(), ended(0));
}

void TstSettingsDiff::ownerAndFile_areCompared_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("shown");
    QTest::newRow("one record") << recordLine("printer", entryText("k", "2")) << QByteArray("printer");
    QTest::newRow("another owner's record") << recordLine("p", entryText("k", "2")) << QByteArray("p");
    QTest::newRow("several records") << recordLine("a", "") + recordLine("printer", entryText("k", "2"))
                                     << QByteArray("printer");
}

void TstSettingsDiff::ownerAndFile_areCompared()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, shown);
    const BusProcess bus;
    QVERIFY(does(u"settings set printer g k 1"_s));
    const QString name = file(u"a.jsonl"_s, text);
    const QByteArray inFile = shown + " in " + name.trimmed().toUtf8();
    ProgramRun there(u"settings diff printer "_s + name);
    QCOMPARE(there.ending(), ended(1, {}, "--- printer\n+++ " + inFile + "\n- g/k = 1\n+ g/k = 2\n"));
    ProgramRun back(u"settings diff %1 printer"_s.arg(name));
    QCOMPARE(back.ending(), ended(1, {}, "--- " + inFile + "\n+++ printer\n- g/k = 2\n+ g/k = 1\n"));
}

void TstSettingsDiff::stdin_isAFile()
{
    QProcess process;
    process.start(ProgramRun::program(), words(u"settings diff - "_s + file(u"a.json"_s, AFTER)));
    process.write(AFTER);
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 0);
}

void TstSettingsDiff::ownerWithoutSettings_is1()
{
    const BusProcess bus;
    ProgramRun run(u"settings diff nobody "_s + file(u"a.json"_s, AFTER));
    QCOMPARE(run.ending(), ended(1, {"nobody has no settings"}));
}

void TstSettingsDiff::optionOwners_takesAnyName()
{
    const BusProcess bus;
    QVERIFY(does(u"settings set a/b.json g k 1"_s));
    QVERIFY(does(u"settings set - g k 2"_s));
    ProgramRun run(u"settings diff --owners a/b.json -"_s);
    QCOMPARE(run.ending(), ended(1, {}, "--- a/b.json\n+++ -\n- g/k = 1\n+ g/k = 2\n"));
}

void TstSettingsDiff::wrongUse_is2_data()
{
    QTest::addColumn<QByteArray>("words");
    QTest::newRow("- -") << QByteArray("only one of FROM and TO can be stdin");
    QTest::newRow("a") << QByteArray("TO is required; see --help");
    QTest::newRow("'' a") << QByteArray("FROM must not be empty");
    QTest::newRow("/none a") << QByteArray("cannot read /none: No such file or directory");
    QTest::newRow("/dev/null a") << QByteArray("there is no settings record in /dev/null");
}

void TstSettingsDiff::wrongUse_is2()
{
    QFETCH(QByteArray, words);
    ProgramRun run(u"settings diff "_s + QLatin1String(QTest::currentDataTag()));
    QCOMPARE(run.ending(), ended(2, {words}));
}

void TstSettingsDiff::noBus_is3_butFilesNeedNone()
{
    ProgramRun run(u"settings diff a b"_s);
    QCOMPARE(run.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
    QCOMPARE(diff(BEFORE, BEFORE), ended(0));
    const BusProcess bus;
    QVERIFY(does(u"settings set b g k 1"_s));
    ProgramRun missing(u"settings diff b "_s + file(u"a.json"_s, recordLine("a", "") + recordLine("c", "")));
    QCOMPARE(missing.status(), 2);
    QVERIFY2(missing.err().startsWith("tarvexctl: there is no record of b in "), missing.err().constData());
}

QTEST_GUILESS_MAIN(TstSettingsDiff)
#include "tst_settingsdiff.moc"
