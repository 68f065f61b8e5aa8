#include "busprocess.h"
#include "literals.h"
#include "programrun.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

namespace {

/// A folder for the recording.
struct Place
{
    QTemporaryDir folder;
    QString file = folder.filePath(u"talk.jsonl"_s);

    QList<QVariantMap> objects() const
    {
        QList<QVariantMap> objects;
        QFile recording(file);
        if (recording.open(QIODevice::ReadOnly)) {
            const QList<QByteArray> lines = recording.readAll().split('\n');
            for (const QByteArray& line : lines) {
                if (!line.isEmpty()) {
                    objects.append(QJsonDocument::fromJson(line).object().toVariantMap());
                }
            }
        }
        return objects;
    }
};

} // namespace

class TstRecordVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void talk_isWrittenAsMonitorShowsIt();
    void live_isWrittenAtOnce();
    void interrupted_endsTheFileWell();
    void killed_keepsWhatWasWritten();
    void existingFile_isRefused();
    void captureThatCannotStart_keepsTheOldFile();
    void stdout_holdsTheRecording();
    void filter_isApplied();
    void nothing_is4();
    void diskFull_is1();
    void noBus_leavesNoFile();
};

void TstRecordVerb::talk_isWrittenAsMonitorShowsIt()
{
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    QVERIFY(gui.saveState(u"ready"_s, 0, QString(), someDate()));
    const Place place;
    ProgramRun record(u"--json record --last 8 --count 8 "_s + place.file);
    QCOMPARE(record.status(), 0);
    QCOMPARE(record.objects().value(0),
             (QVariantMap{{u"done"_s, u"record"_s}, {u"file"_s, place.file}, {u"frames"_s, 8}}));
    ProgramRun monitor(u"--json monitor --last 8 --count 8"_s);
    QCOMPARE(monitor.status(), 0);
    QList<QVariantMap> objects = place.objects();
    QCOMPARE(objects.size(), 10);
    const QVariantMap header = objects.takeFirst();
    QCOMPARE(header.value(u"tarvexRecording"_s).toInt(), 1);
    QCOMPARE(header.value(u"clients"_s).toStringList(), QStringList{u"gui"_s});
    QCOMPARE(objects.takeLast().value(u"end"_s).toString(), u"done"_s);
    QCOMPARE(objects, monitor.objects());
}

void TstRecordVerb::live_isWrittenAtOnce()
{
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    const Place place;
    ProgramRun record(u"record --last 1 "_s + place.file);
    QVERIFY(record.waitFor([&] { return place.objects().size() == 2; }));
    QVERIFY(gui.saveState(u"ready"_s, 0, QString(), someDate()));
    QVERIFY(record.waitFor([&] { return place.objects().size() == 4; }));
}

void TstRecordVerb::interrupted_endsTheFileWell()
{
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    const Place place;
    ProgramRun record(u"record --last 1 "_s + place.file);
    QVERIFY(record.waitFor([&] { return place.objects().size() == 2; }));
    QCOMPARE(record.interrupted(),
             ended(130, {"recording to " + place.file.toUtf8(), "recorded 1 frame", "interrupted"}));
    const QVariantMap last = place.objects().constLast();
    QCOMPARE(last.value(u"end"_s).toString(), u"interrupted"_s);
    QCOMPARE(last.value(u"frames"_s).toInt(), 1);
}

void TstRecordVerb::killed_keepsWhatWasWritten()
{
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    const Place place;
    ProgramRun record(u"record --last 6 "_s + place.file);
    QVERIFY(record.waitFor([&] { return place.objects().size() == 7; }));
    QVERIFY(record.killHard());
    QCOMPARE(place.objects().size(), 7);
}

void TstRecordVerb::existingFile_isRefused()
{
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    const Place place;
    QFile file(place.file);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("mine\n") == 5);
    file.close();
    ProgramRun refused(u"record "_s + place.file);
    QCOMPARE(refused.ending(), ended(2, {place.file.toUtf8() + " is there already; --force replaces it"}));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("mine\n"));
    ProgramRun forced(u"record --force --last 1 --count 1 "_s + place.file);
    QCOMPARE(forced.status(), 0);
    QCOMPARE(place.objects().size(), 3);
}

void TstRecordVerb::captureThatCannotStart_keepsTheOldFile()
{
    const Place place;
    QFile file(place.file);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("mine\n") == 5);
    file.close();
    ProgramRun record(u"record --force --capture nowhere0 "_s + place.file);
    QCOMPARE(record.ending(), ended(2, {"there is no interface nowhere0"}));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("mine\n"));
}

void TstRecordVerb::stdout_holdsTheRecording()
{
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    ProgramRun record(u"--json record --last 2 --count 2 -"_s);
    QCOMPARE(record.status(), 0);
    const QList<QVariantMap> objects = record.objects();
    QCOMPARE(objects.size(), 4);
    QCOMPARE(objects.first().value(u"tarvexRecording"_s).toInt(), 1);
    QCOMPARE(objects.last().value(u"frames"_s).toInt(), 2);
    QCOMPARE(record.err(), told("recording to -") + told("recorded 2 frames"));
}

void TstRecordVerb::filter_isApplied()
{
    BusProcess bus;
    ScriptedClient gui(u"gui"_s);
    QVERIFY(gui.saveState(u"ready"_s, 0, QString(), someDate()));
    const Place place;
    ProgramRun record(u"record --last 9 --operation saveState --count 2 "_s + place.file);
    QCOMPARE(record.status(), 0);
    const QList<QVariantMap> objects = place.objects();
    QCOMPARE(objects.size(), 4);
    QCOMPARE(objects.at(1).value(u"operation"_s).toString(), u"saveState"_s);
    QCOMPARE(objects.at(2).value(u"kind"_s).toString(), u"reply"_s);
}

void TstRecordVerb::nothing_is4()
{
    BusProcess bus;
    const Place place;
    ProgramRun record(u"record --timeout 0.5 "_s + place.file);
    QCOMPARE(record.status(), 4);
    QCOMPARE(place.objects().size(), 2);
    QCOMPARE(place.objects().constLast().value(u"end"_s).toString(), u"nothing came within 0.5 s"_s);
}

void TstRecordVerb::diskFull_is1()
{
    BusProcess bus;
    ProgramRun record(u"record --force /dev/full"_s);
    QCOMPARE(record.ending(), ended(1, {"cannot write to /dev/full: No space left on device"}));
}

void TstRecordVerb::noBus_leavesNoFile()
{
    const Place place;
    ProgramRun record(u"record "_s + place.file);
    QCOMPARE(record.ending(), ended(3, {"no bus to be reached on 127.0.0.1: Connection refused"}));
    QVERIFY(!QFile::exists(place.file));
}

QTEST_GUILESS_MAIN(TstRecordVerb)
#include "tst_recordverb.moc"
