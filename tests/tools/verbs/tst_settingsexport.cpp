#include "busprocess.h"
#include "fakebuses.h"
#include "settingsruns.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

namespace {

/// The text with XX for the date of the document, which must be a date.
QByteArray withoutDate(const QByteArray& text)
{
    const QByteArray name("\n  \"date\": \"");
    const int begin = text.indexOf(name) + name.size();
    const int end = text.indexOf('"', begin);
    const QString date = QString::fromUtf8(text.mid(begin, end - begin));
    const bool isDate = QDateTime::fromString(date, Qt::ISODateWithMs).isValid();
    return isDate ? QByteArray(text).replace(begin, end - begin, "XX") : text;
}

/// Saves the settings of two owners with the dates of recordLine().
bool saveTwo(const QTemporaryDir& folder)
{
    const QByteArray records = recordLine("printer", entryText("a", "80") + ',' + entryText("b", "{\"c\":[1.5,null]}"))
        + recordLine("cash\\n\\\"box\\\"", "");
    return does(u"settings load "_s + written(folder.filePath(u"two.jsonl"_s), records));
}

const QByteArray CASHBOX("    {\n"
                         "      \"owner\": \"cash\\n\\\"box\\\"\",\n"
                         "      \"date\": \"2026-03-01T10:11:12.345\",\n"
                         "      \"description\": \"\",\n"
                         "      \"mailOwner\": 1,\n"
                         "      \"settings\": []\n"
                         "    }");
const QByteArray PRINTER("    {\n"
                         "      \"owner\": \"printer\",\n"
                         "      \"date\": \"2026-03-01T10:11:12.345\",\n"
                         "      \"description\": \"\",\n"
                         "      \"mailOwner\": 1,\n"
                         "      \"settings\": [\n"
                         "        {\"group\":\"g\",\"key\":\"a\",\"value\":80},\n"
                         "        {\"group\":\"g\",\"key\":\"b\",\"value\":{\"c\":[1.5,null]}}\n"
                         "      ]\n"
                         "    }");

QByteArray documentWith(const QByteArray& records)
{
    return "{\n  \"format\": \"tarvex-settings\",\n  \"version\": 1,\n  \"date\": \"XX\",\n  \"records\": " + records
        + "\n}\n";
}

} // namespace

/// The verb "settings export".
class TstSettingsExport : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void export_all_isOneDocument();
    void export_namedOwner_asJson_isOneLine();
    void export_toFile_isTold();
    void export_ownerWithoutSettings_leavesFileAlone();
    void export_fileCannotBeWritten_is2();
    void export_toPipe_writesIntoIt();
    void export_nothingStored_isTold();
    void export_nothingStored_keepsFile();
    void export_otherBus_keepsFile();
    void export_wrongEntries_areTold();
    void export_otherBus_isAskedForKnownNames();
    void export_exported_loadsAndImports_data();
    void export_exported_loadsAndImports();
};

void TstSettingsExport::export_all_isOneDocument()
{
    const QTemporaryDir folder;
    const BusProcess bus;
    QVERIFY(saveTwo(folder));
    ProgramRun run(u"settings export"_s);
    const Ending ending = run.ending();
    QCOMPARE(withoutDate(ending.out), documentWith("[\n" + CASHBOX + ",\n" + PRINTER + "\n  ]"));
    QCOMPARE(ending.err, QByteArray());
    QCOMPARE(ending.status, 0);
}

void TstSettingsExport::export_namedOwner_asJson_isOneLine()
{
    const QTemporaryDir folder;
    const BusProcess bus;
    QVERIFY(saveTwo(folder));
    ProgramRun run(u"--json settings export printer printer"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 1);
    const QVariantMap document = run.objects().constFirst();
    QCOMPARE(document.keys(), (QStringList{u"date"_s, u"format"_s, u"records"_s, u"version"_s}));
    const QVariantMap record = QJsonDocument::fromJson(stored(u"printer"_s)).object().toVariantMap();
    QCOMPARE(document.value(u"records"_s).toList(), QVariantList{record});
}

void TstSettingsExport::export_toFile_isTold()
{
    const QTemporaryDir folder;
    const BusProcess bus;
    QVERIFY(saveTwo(folder));
    const QString file = written(folder.filePath(u"s.json"_s), "before");
    ProgramRun text(u"settings export printer --output "_s + file);
    QCOMPARE(text.ending(), ended(0, {"wrote the settings of printer to " + file.toUtf8()}));
    QCOMPARE(withoutDate(contents(file)), documentWith("[\n" + PRINTER + "\n  ]"));
    ProgramRun json(u"--json settings export printer --output "_s + file);
    QCOMPARE(
        json.ending(),
        ended(0, {}, "{\"done\":\"settings export\",\"file\":\"" + file.toUtf8() + "\",\"owners\":[\"printer\"]}\n"));
}

void TstSettingsExport::export_ownerWithoutSettings_leavesFileAlone()
{
    const QTemporaryDir folder;
    const BusProcess bus;
    QVERIFY(saveTwo(folder));
    const QString file = written(folder.filePath(u"s.json"_s), "before");
    ProgramRun run(u"settings export printer nobody --output "_s + file);
    QCOMPARE(run.ending(), ended(1, {"nobody has no settings; nothing is exported"}));
    QCOMPARE(contents(file), QByteArray("before"));
}

void TstSettingsExport::export_fileCannotBeWritten_is2()
{
    const QTemporaryDir folder;
    const BusProcess bus;
    QVERIFY(saveTwo(folder));
    const QString file = folder.filePath(u"none/s.json"_s);
    ProgramRun run(u"settings export --output "_s + file);
    QCOMPARE(run.ending(), ended(2, {"cannot write " + file.toUtf8() + ": No such file or directory"}));
    ProgramRun empty(u"settings export --output ''"_s);
    QCOMPARE(empty.ending(), ended(2, {"--output must not be empty"}));
    ProgramRun full(u"settings export"_s, ProgramRun::StdoutFull);
    QCOMPARE(full.ending(), ended(1, {"cannot write to stdout: No space left on device"}));
}

// A file in its place would be something else.
void TstSettingsExport::export_toPipe_writesIntoIt()
{
    const QTemporaryDir folder;
    const BusProcess bus;
    QVERIFY(saveTwo(folder));
    const QString pipe = folder.filePath(u"pipe"_s);
    QCOMPARE(::mkfifo(pipe.toUtf8().constData(), 0600), 0);
    QProcess reader;
    reader.start(u"cat"_s, {pipe});
    ProgramRun run(u"settings export printer --output "_s + pipe);
    QCOMPARE(run.ending(), ended(0, {"wrote the settings of printer to " + pipe.toUtf8()}));
    struct stat status = {};
    QCOMPARE(::stat(pipe.toUtf8().constData(), &status), 0);
    QVERIFY(S_ISFIFO(status.st_mode));
    QVERIFY(reader.waitForFinished());
    QCOMPARE(withoutDate(reader.readAllStandardOutput()), documentWith("[\n" + PRINTER + "\n  ]"));
}

void TstSettingsExport::export_nothingStored_isTold()
{
    const BusProcess bus;
    ProgramRun run(u"settings export"_s);
    const Ending ending = run.ending();
    QCOMPARE(withoutDate(ending.out), documentWith("[]"));
    QCOMPARE(ending.err, told("no settings are stored; the document holds no record"));
    QCOMPARE(ending.status, 0);
}

// The file may be the last backup.
void TstSettingsExport::export_nothingStored_keepsFile()
{
    const QTemporaryDir folder;
    const BusProcess bus;
    const QString file = written(folder.filePath(u"s.json"_s), "before");
    ProgramRun run(u"settings export --output "_s + file);
    QCOMPARE(run.ending(), ended(1, {"no settings are stored, so " + file.toUtf8() + " is left as it is"}));
    QCOMPARE(contents(file), QByteArray("before"));
    const QString newFile = folder.filePath(u"new.json"_s);
    QVERIFY(does(u"settings export --output "_s + newFile));
    QCOMPARE(withoutDate(contents(newFile)), documentWith("[]"));
}

void TstSettingsExport::export_otherBus_keepsFile()
{
    const QTemporaryDir folder;
    qputenv("XDG_RUNTIME_DIR", folder.path().toUtf8());
    const FakeBus bus;
    const QString file = written(folder.filePath(u"s.json"_s), "before");
    ProgramRun run(u"settings export --output "_s + file);
    QCOMPARE(run.ending(),
             ended(1, {"this bus does not list what it stores, so " + file.toUtf8() + " is left as it is"}));
    QCOMPARE(contents(file), QByteArray("before"));
}

// They are written, because a backup with them is better than none.
void TstSettingsExport::export_wrongEntries_areTold()
{
    const QTemporaryDir folder;
    FakeBus bus;
    const QVariantMap right{{u"group"_s, u"g"_s}, {u"key"_s, u"k"_s}, {u"value"_s, 1}};
    QVariantMap longer = right;
    longer.insert(u"unit"_s, u"mm"_s);
    const QList<QVariantList> settings{{right, right}, {longer}, {right}};
    const QString owners = u"abc"_s;
    for (int number = 0; number < owners.size(); ++number) {
        bus.willReply(u"loadSettings"_s, 0, QString(),
                      {{u"owner"_s, QString(owners.at(number))},
                       {u"date"_s, u"2026-03-01T10:11:12.345"_s},
                       {u"settings"_s, settings.at(number)}});
    }
    const QString file = folder.filePath(u"s.json"_s);
    ProgramRun run(u"--quiet settings export a b c --output "_s + file);
    const QByteArray end("; correct this in the document, because settings import refuses it");
    QCOMPARE(run.ending(),
             ended(1, {"a: the setting g/k is there twice" + end, "b: \"unit\" is no part of a setting" + end}));
    QCOMPARE(contents(file).count("\"owner\""), 3);
    QVERIFY(contents(file).contains("\"unit\":\"mm\""));
}

void TstSettingsExport::export_otherBus_isAskedForKnownNames()
{
    const QTemporaryDir runtimeFolder;
    qputenv("XDG_RUNTIME_DIR", runtimeFolder.path().toUtf8());
    FakeBus bus;
    int asked = 0;
    bus.willAlwaysDo([&asked](FakeBus::Peer& peer, const FakeBus::Request& request) {
        const QVariantMap record{{u"owner"_s, request.data.value(u"owner"_s)},
                                 {u"date"_s, u"2026-03-01T10:11:12.345"_s},
                                 {u"settings"_s, QVariantList()}};
        // Every second name has settings.
        const bool isStored = asked++ % 2 == 1;
        peer.send(
            FakeBus::replyFrame(request.operation, isStored ? 0 : 5, QString(), isStored ? record : QVariantMap()));
    });
    ProgramRun run(u"--json settings export"_s);
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().value(0).value(u"records"_s).toList().size(), 7);
    QCOMPARE(run.err(),
             told("this bus does not list what it stores; only the 15 names that the library knows are asked for"));
}

void TstSettingsExport::export_exported_loadsAndImports_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QString>("verb");
    QTest::newRow("import") << QString() << u"import"_s;
    QTest::newRow("import, one line") << u" --json"_s << u"import"_s;
    QTest::newRow("load") << QString() << u"load"_s;
    QTest::newRow("load, one line") << u" --json"_s << u"load"_s;
}

void TstSettingsExport::export_exported_loadsAndImports()
{
    QFETCH(QString, options);
    QFETCH(QString, verb);
    const QTemporaryDir folder;
    const BusProcess bus;
    QVERIFY(saveTwo(folder));
    const QString owners = u"printer 'cash\n\"box\"'"_s;
    const QByteArray before = stored(owners);
    QCOMPARE(before.count('\n'), 2);
    ProgramRun run(u"settings export"_s + options);
    const QString file = written(folder.filePath(u"s.json"_s), run.ending().out);
    QVERIFY(does(u"settings remove printer"_s));
    QVERIFY(does(u"settings remove 'cash\n\"box\"'"_s));
    QVERIFY(does(u"settings %1 "_s.arg(verb) + file));
    QCOMPARE(stored(owners), before);
}

QTEST_GUILESS_MAIN(TstSettingsExport)
#include "tst_settingsexport.moc"
