#include "busprocess.h"
#include "fakebuses.h"
#include "settingsruns.h"

#include <QDir>
#include <QMap>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <future>
#include <mutex>

namespace {

/// What the file of the tests holds: the records of a, b and c, each with another value than before.
const QByteArray NEW_RECORDS =
    recordLine("a", entryText("k", "1")) + recordLine("b", entryText("k", "2")) + recordLine("c", entryText("k", "3"));

QVariantMap storedRecord(const QString& owner, int value)
{
    const QVariantMap entry{{u"group"_s, u"g"_s}, {u"key"_s, u"k"_s}, {u"value"_s, value}};
    return {{u"owner"_s, owner},
            {u"date"_s, u"2026-01-01T00:00:00.000"_s},
            {u"description"_s, u"old"_s},
            {u"mailOwner"_s, 1},
            {u"settings"_s, QVariantList{entry}}};
}

/// What ThreeOwnersBus knows. It is a base of it, and the first one, so that it outlives the threads of the bus.
struct ThreeOwners
{
    mutable std::mutex m_ownersMutex;
    QMap<QString, QVariantMap> m_stored;
    QMap<QPair<QString, int>, FakeBus::Action> m_actionsAt;
    QMap<QString, int> m_counts;
};

/// A bus that has settings of a and c, and none of b. It stores what is saved, unless the test tells it otherwise.
class ThreeOwnersBus : private ThreeOwners, public FakeBus
{
public:
    ThreeOwnersBus()
    {
        store(storedRecord(u"a"_s, 10));
        store(storedRecord(u"c"_s, 30));
        willAlwaysDo([this](Peer& peer, const Request& request) {
            const QString text = textOf(request);
            const Action action = takeAction(text);
            action ? action(peer, request) : obey(peer, request);
        });
    }

    void store(const QVariantMap& record)
    {
        const std::lock_guard<std::mutex> lock(m_ownersMutex);
        m_stored.insert(record.value(u"owner"_s).toString(), record);
    }

    void remove(const QString& owner)
    {
        const std::lock_guard<std::mutex> lock(m_ownersMutex);
        m_stored.remove(owner);
    }

    QVariantMap stored(const QString& owner) const
    {
        const std::lock_guard<std::mutex> lock(m_ownersMutex);
        return m_stored.value(owner);
    }

    bool hasStored(const QString& owner) const
    {
        const std::lock_guard<std::mutex> lock(m_ownersMutex);
        return m_stored.contains(owner);
    }

    /// What to do with a request of this text when it comes for the time that \a count says. See textOf().
    void at(const QString& text, int count, const Action& action)
    {
        const std::lock_guard<std::mutex> lock(m_ownersMutex);
        m_actionsAt.insert({text, count}, action);
    }

    /// The same: it refuses the request.
    void willRefuse(const QString& text, int count = 1)
    {
        at(text, count, [](Peer& peer, const Request& request) {
            peer.send(replyFrame(request.operation, 512, u"Storage access error"_s));
        });
    }

    /// The same: it does this before it obeys.
    void before(const QString& text, int count, const std::function<void()>& step)
    {
        at(text, count, [this, step](Peer& peer, const Request& request) {
            step();
            obey(peer, request);
        });
    }

    /// Does what the request asks for, and answers.
    void obey(Peer& peer, const Request& request)
    {
        const QString owner = request.data.value(u"owner"_s).toString();
        if (request.operation == u"loadSettings"_s && !hasStored(owner)) {
            peer.send(replyFrame(request.operation, 5));
            return;
        }
        if (request.operation == u"saveSettings"_s) {
            store(request.data);
        } else if (request.operation == u"removeSettings"_s) {
            remove(owner);
        }
        const bool isLoading = request.operation == u"loadSettings"_s;
        peer.send(replyFrame(request.operation, 0, QString(), isLoading ? stored(owner) : QVariantMap()));
    }

    /// What was asked for, without the loading: the textOf() each request.
    QStringList changes() const
    {
        QStringList changes;
        const QList<Request> all = requests();
        for (const Request& request : all) {
            if (request.operation != u"loadSettings"_s) {
                changes.append(textOf(request));
            }
        }
        return changes;
    }

private:
    /// The operation with the owner and, of a record that is saved, the date's year and month.
    static QString textOf(const Request& request)
    {
        const QString text = request.operation + u' ' + request.data.value(u"owner"_s).toString();
        const bool isSaving = request.operation == u"saveSettings"_s;
        return isSaving ? text + u' ' + request.data.value(u"date"_s).toString().left(7) : text;
    }

    /// What to do with a request of this text, which comes now.
    Action takeAction(const QString& text)
    {
        const std::lock_guard<std::mutex> lock(m_ownersMutex);
        return m_actionsAt.value({text, ++m_counts[text]});
    }
};

} // namespace

/// The verb "settings import".
class TstSettingsImport : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();

    void import_savesWhatDiffers();
    void import_irregularRecord_isReplaced_data();
    void import_irregularRecord_isReplaced();
    void import_asJson();
    void import_fromStdin();
    void import_dryRun_savesNothing_data();
    void import_dryRun_savesNothing();
    void import_refusedInTheMiddle_putsBack();
    void import_firstRefused_changesNothing();
    void import_connectionLost_putsBack_data();
    void import_connectionLost_putsBack();
    void import_notPutBack_keepsWhatWas();
    void import_changedMeanwhile_isLeftAsItIs_data();
    void import_changedMeanwhile_isLeftAsItIs();
    void import_changedAfterwards_isNotPutBack();
    void import_interrupted_putsBack();
    void import_interrupted_quiet_tellsOfFile();
    void import_interruptedAtTheEnd_isTold();
    void import_interruptIgnored_goesOn();
    void import_wrongFile_asksNothing_data();
    void import_wrongFile_asksNothing();
    void import_loadRefused_savesNothing();
    void import_noFile_is2();
    void import_stdoutFull_tellsThatItWasSaved_data();
    void import_stdoutFull_tellsThatItWasSaved();

private:
    QString file(const QByteArray& text = NEW_RECORDS) const;
    QByteArray keptText() const;

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TstSettingsImport::init()
{
    qunsetenv("TMPDIR"); // otherwise the new folder would be inside the one that is deleted
    m_folder = std::make_unique<QTemporaryDir>();
    qputenv("TMPDIR", m_folder->path().toUtf8());
}

/// Writes a file. \return the command line that imports it
QString TstSettingsImport::file(const QByteArray& text) const
{
    return u"settings import "_s + written(m_folder->filePath(u"s.jsonl"_s), text);
}

/// What the program has left in its own folder. Empty when there is no such folder.
QByteArray TstSettingsImport::keptText() const
{
    const QStringList folders = QDir(m_folder->path()).entryList({u"tarvexctl-*"_s}, QDir::Dirs);
    return folders.size() == 1 ? contents(m_folder->filePath(folders.first() + u"/settings-before.json"_s))
                               : QByteArray();
}

void TstSettingsImport::import_savesWhatDiffers()
{
    const BusProcess bus;
    QVERIFY(does(file(recordLine("a", entryText("k", "1") + ',' + entryText("old", "true"))
                      + recordLine("b", entryText("k", "2")))));
    QVERIFY(does(u"settings set b g k 2 --description ''"_s)); // nothing but another date
    const QByteArray otherDate = stored(u"b"_s);
    ProgramRun run(file());
    QCOMPARE(run.ending(),
             ended(0,
                   {"1 of 3 records is stored like this already", "saved the settings of a: 1 change",
                    "saved the settings of c: 1 change"},
                   "a\n- g/old = true\n\nc\n+ a first record\n+ g/k = 3\n"));
    QCOMPARE(stored(u"a c"_s), recordLine("a", entryText("k", "1")) + recordLine("c", entryText("k", "3")));
    QCOMPARE(stored(u"b"_s), otherDate);
}

void TstSettingsImport::import_irregularRecord_isReplaced_data()
{
    QTest::addColumn<QVariantList>("settings");
    const QVariantMap right{{u"group"_s, u"g"_s}, {u"key"_s, u"k"_s}, {u"value"_s, 1}};
    QVariantMap other = right;
    other.insert(u"value"_s, 2);
    QVariantMap longer = right;
    longer.insert(u"unit"_s, u"mm"_s);
    QTest::newRow("entry twice") << QVariantList{other, right};
    QTest::newRow("unknown part") << QVariantList{longer};
    QTest::newRow("no setting") << QVariantList{right, 5};
}

// The values alone would be the same.
void TstSettingsImport::import_irregularRecord_isReplaced()
{
    QFETCH(QVariantList, settings);
    ThreeOwnersBus bus;
    QVariantMap record = storedRecord(u"a"_s, 1);
    record.insert(u"description"_s, u""_s);
    record.insert(u"settings"_s, settings);
    bus.store(record);
    ProgramRun run(file(recordLine("a", entryText("k", "1"))));
    const QByteArray out = run.ending().out;
    QVERIFY2(out.startsWith("a\n- settings = [{"), out.constData());
    QVERIFY2(out.contains("\n+ settings = [{\"group\":\"g\",\"key\":\"k\",\"value\":1}]\n"), out.constData());
    QCOMPARE(bus.changes(), QStringList{u"saveSettings a 2026-03"_s});
}

void TstSettingsImport::import_asJson()
{
    const BusProcess bus;
    ProgramRun run(u"--json "_s + file());
    const QByteArray line("{\"changes\":[{\"after\":%2,\"group\":\"g\",\"key\":\"k\"}],\"done\":\"settings import\","
                          "\"owner\":\"%1\",\"record\":\"first\"}\n");
    QByteArray expected;
    for (const QByteArray& owner : {QByteArray("a1"), QByteArray("b2"), QByteArray("c3")}) {
        expected += QByteArray(line).replace("%1", owner.left(1)).replace("%2", owner.mid(1));
    }
    QCOMPARE(run.ending(), ended(0, {}, expected));
}

void TstSettingsImport::import_fromStdin()
{
    const BusProcess bus;
    QProcess process;
    process.start(ProgramRun::program(), words(u"settings import -"_s));
    process.write(NEW_RECORDS);
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished());
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(stored(u"a b c"_s), NEW_RECORDS);
}

void TstSettingsImport::import_dryRun_savesNothing_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QByteArray>("out");
    QTest::addColumn<QByteArrayList>("words");
    QTest::newRow("text") << u" --dry-run"_s
                          << QByteArray("a\n- description = \"old\"\n+ description = \"\"\n- g/k = 10\n+ g/k = 1\n\n"
                                        "b\n+ a first record\n+ g/k = 2\n\n"
                                        "c\n- description = \"old\"\n+ description = \"\"\n- g/k = 30\n+ g/k = 3\n")
                          << QByteArrayList{"nothing is saved, because of --dry-run"};
    const QByteArray description("{\"changes\":[{\"after\":\"\",\"before\":\"old\",\"part\":\"description\"},");
    const QByteArray end("\",\"record\":\"changed\"}\n");
    const QByteArray done("\"group\":\"g\",\"key\":\"k\"}],\"done\":\"settings import --dry-run\",\"owner\":\"");
    QTest::newRow("json") << u" --dry-run --json"_s
                          << description + "{\"after\":1,\"before\":10," + done + 'a' + end
            + "{\"changes\":[{\"after\":2," + done + "b\",\"record\":\"first\"}\n" + description
            + "{\"after\":3,\"before\":30," + done + 'c' + end
                          << QByteArrayList{"nothing is saved, because of --dry-run"};
}

void TstSettingsImport::import_dryRun_savesNothing()
{
    QFETCH(QString, options);
    QFETCH(QByteArray, out);
    QFETCH(QByteArrayList, words);
    const ThreeOwnersBus bus;
    ProgramRun run(file() + options);
    QCOMPARE(run.ending(), ended(0, words, out));
    QCOMPARE(bus.changes(), QStringList());
}

void TstSettingsImport::import_refusedInTheMiddle_putsBack()
{
    ThreeOwnersBus bus;
    bus.willRefuse(u"saveSettings c 2026-03"_s);
    ProgramRun run(file());
    QCOMPARE(run.ending(),
             ended(1,
                   {"c: refused by the bus: 512 Storage access error; what was saved before that is put back: all is "
                    "as it was"}));
    QCOMPARE(bus.changes(),
             (QStringList{u"saveSettings a 2026-03"_s, u"saveSettings b 2026-03"_s, u"saveSettings c 2026-03"_s,
                          u"removeSettings b"_s, u"saveSettings a 2026-01"_s}));
    QCOMPARE(bus.stored(u"a"_s), storedRecord(u"a"_s, 10));
}

void TstSettingsImport::import_firstRefused_changesNothing()
{
    ThreeOwnersBus bus;
    bus.willRefuse(u"saveSettings a 2026-03"_s);
    ProgramRun run(file());
    QCOMPARE(run.ending(), ended(1, {"a: refused by the bus: 512 Storage access error; nothing was saved"}));
    QCOMPARE(bus.changes(), QStringList{u"saveSettings a 2026-03"_s});
}

// The bus may have saved the record whose answer is lost, so that one is put back as well.
void TstSettingsImport::import_connectionLost_putsBack_data()
{
    QTest::addColumn<bool>("isSaved");
    QTest::addColumn<QStringList>("putBack");
    const QString first = u"saveSettings a 2026-01"_s;
    QTest::newRow("saved") << true << QStringList{u"removeSettings b"_s, first};
    QTest::newRow("not saved") << false << QStringList{first};
}

void TstSettingsImport::import_connectionLost_putsBack()
{
    QFETCH(bool, isSaved);
    QFETCH(QStringList, putBack);
    ThreeOwnersBus bus;
    bus.at(u"saveSettings b 2026-03"_s, 1, [&bus, isSaved](FakeBus::Peer& peer, const FakeBus::Request& request) {
        if (isSaved) {
            bus.store(request.data);
        }
        peer.close();
    });
    ProgramRun run(file());
    QCOMPARE(run.ending(),
             ended(3, {"b: the bus closed the connection; what was saved before that is put back: all is as it was"}));
    QCOMPARE(bus.changes(), (QStringList{u"saveSettings a 2026-03"_s, u"saveSettings b 2026-03"_s} + putBack));
}

void TstSettingsImport::import_notPutBack_keepsWhatWas()
{
    ThreeOwnersBus bus;
    bus.willRefuse(u"saveSettings c 2026-03"_s);
    bus.willRefuse(u"saveSettings a 2026-01"_s);
    ProgramRun run(file());
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 1);
    const QByteArray beginning = "c: refused by the bus: 512 Storage access error; not all could be put back (refused "
                                 "by the bus: 512 Storage access error): the settings of a may not be what they were; "
                                 "what was stored before is in ";
    QVERIFY2(ending.err.startsWith("tarvexctl: " + beginning + m_folder->path().toUtf8()), ending.err.constData());
    const QByteArray text = keptText();
    QVERIFY2(text.contains("\"date\": \"2026-01-01T00:00:00.000\"") && text.contains("\"value\":10}"),
             text.constData());

    // The same file puts it back later.
    const QString kept = QString::fromUtf8(ending.err).section(u" is in "_s, 1).section(u", for"_s, 0, 0);
    QVERIFY(does(u"settings import "_s + kept));
    QCOMPARE(bus.stored(u"a"_s), storedRecord(u"a"_s, 10));
}

void TstSettingsImport::import_changedMeanwhile_isLeftAsItIs_data()
{
    QTest::addColumn<bool>("isRemoved");
    QTest::addColumn<QByteArray>("change");
    QTest::newRow("saved") << false << QByteArray("saved");
    QTest::newRow("removed") << true << QByteArray("removed");
}

// Somebody else changes the last record while the first ones are saved.
void TstSettingsImport::import_changedMeanwhile_isLeftAsItIs()
{
    QFETCH(bool, isRemoved);
    QFETCH(QByteArray, change);
    ThreeOwnersBus bus;
    bus.before(u"saveSettings a 2026-03"_s, 1,
               [&] { isRemoved ? bus.remove(u"c"_s) : bus.store(storedRecord(u"c"_s, 31)); });
    ProgramRun run(file());
    QCOMPARE(run.ending(),
             ended(1,
                   {"c: " + change
                    + " meanwhile; what is stored is left as it is; what was saved before that is put back: all is as "
                      "it was"}));
    QCOMPARE(bus.changes(),
             (QStringList{u"saveSettings a 2026-03"_s, u"saveSettings b 2026-03"_s, u"removeSettings b"_s,
                          u"saveSettings a 2026-01"_s}));
    QCOMPARE(bus.stored(u"c"_s), isRemoved ? QVariantMap() : storedRecord(u"c"_s, 31));
}

// Somebody else changes the first two records once they are imported. They must not be put back then.
void TstSettingsImport::import_changedAfterwards_isNotPutBack()
{
    ThreeOwnersBus bus;
    bus.at(u"saveSettings c 2026-03"_s, 1, [&bus](FakeBus::Peer& peer, const FakeBus::Request& request) {
        bus.store(storedRecord(u"a"_s, 11));
        bus.store(storedRecord(u"b"_s, 21));
        peer.send(FakeBus::replyFrame(request.operation, 512, u"Storage access error"_s));
    });
    ProgramRun run(file());
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 1);
    QVERIFY2(ending.err.startsWith("tarvexctl: c: refused by the bus: 512 Storage access error; not all could be put "
                                   "back (b was saved meanwhile, a was saved meanwhile): the settings of a, b may not "
                                   "be what they were; what was stored before is in "),
             ending.err.constData());
    QVERIFY2(keptText().contains("\"value\":10}"), keptText().constData());
    QCOMPARE(bus.stored(u"a"_s), storedRecord(u"a"_s, 11));
    QCOMPARE(bus.stored(u"b"_s), storedRecord(u"b"_s, 21));
}

void TstSettingsImport::import_interrupted_putsBack()
{
    ThreeOwnersBus bus;
    std::promise<qint64> processId;
    // The signal comes while the first record is being saved.
    bus.before(u"saveSettings a 2026-03"_s, 1,
               [&] { ::kill(static_cast<pid_t>(processId.get_future().get()), SIGINT); });
    ProgramRun run(file());
    processId.set_value(run.processId());
    QCOMPARE(
        run.ending(),
        ended(130,
              {"b: not saved, because of an interruption; what was saved before that is put back: all is as it was",
               "interrupted"}));
    QCOMPARE(bus.changes(), (QStringList{u"saveSettings a 2026-03"_s, u"saveSettings a 2026-01"_s}));
}

// It is the only word about the file.
void TstSettingsImport::import_interrupted_quiet_tellsOfFile()
{
    ThreeOwnersBus bus;
    std::promise<qint64> processId;
    bus.before(u"saveSettings a 2026-03"_s, 1,
               [&] { ::kill(static_cast<pid_t>(processId.get_future().get()), SIGINT); });
    bus.willRefuse(u"saveSettings a 2026-01"_s);
    ProgramRun run(u"--quiet "_s + file());
    processId.set_value(run.processId());
    const Ending ending = run.ending();
    QCOMPARE(ending.status, 130);
    QVERIFY(!keptText().isEmpty());
    QVERIFY2(ending.err.contains("/settings-before.json, for settings import\n"), ending.err.constData());
}

void TstSettingsImport::import_interruptedAtTheEnd_isTold()
{
    ThreeOwnersBus bus;
    std::promise<qint64> processId;
    bus.before(u"saveSettings c 2026-03"_s, 1,
               [&] { ::kill(static_cast<pid_t>(processId.get_future().get()), SIGINT); });
    ProgramRun run(file());
    processId.set_value(run.processId());
    QCOMPARE(run.ending(), ended(130, {"all records were saved before the interruption", "interrupted"}));
    QCOMPARE(bus.changes().size(), 3);
}

// A background job of a shell has the signal ignored, and keeps it so.
void TstSettingsImport::import_interruptIgnored_goesOn()
{
    ThreeOwnersBus bus;
    std::promise<qint64> processId;
    bus.before(u"saveSettings a 2026-03"_s, 1,
               [&] { ::kill(static_cast<pid_t>(processId.get_future().get()), SIGINT); });
    ProgramRun run(file(), ProgramRun::InterruptIgnored);
    processId.set_value(run.processId());
    QCOMPARE(run.status(), 0);
    QCOMPARE(bus.changes().size(), 3);
}

void TstSettingsImport::import_wrongFile_asksNothing_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("words");
    const QByteArray head("{\n\"format\":\"tarvex-settings\",\n\"version\":1,\n\"records\":[\n");
    QTest::newRow("second record") << recordLine("a", "") + recordLine("b", entryText("k", "9007199254740993"))
                                   << QByteArray("line 2: 9007199254740993 is too large");
    QTest::newRow("byte order mark") << "\xef\xbb\xbf" + recordLine("a", "")
                                     << QByteArray("line 1: no JSON: it begins with a byte order mark; save the file");
    QTest::newRow("path twice") << recordLine("a",
                                              "{\"group\":\"a/b\",\"key\":\"c\",\"value\":1},"
                                              "{\"group\":\"a\",\"key\":\"b/c\",\"value\":1}")
                                << QByteArray("line 1: the setting a/b/c is there twice");
    QTest::newRow("owner twice") << head + recordLine("a", "") + ',' + recordLine("a", "") + "]}"
                                 << QByteArray("line 6: a has a record in line 5 already");
    QTest::newRow("setting in document") << head + recordLine("a", "") + ','
            + recordLine("b", entryText("k", "{\"{\":[]}") + ",\n\n{\"key\":\"\"}")
            + "]}" << QByteArray("line 8: a setting needs a \"key\"");
    QTest::newRow("name twice") << recordLine("a", "") + recordLine("b", "{\"key\":\"k\",\"value\":1,\"value\" :2}")
                                << QByteArray("line 2: the name \"value\" is there twice in one object");
    QTest::newRow("name twice in document")
        << head + recordLine("a", entryText("k", "{\"a\":{\"b\":1},\n\"b\":2,\"a\":3}")) + "]}"
        << QByteArray("line 6: the name \"a\" is there twice in one object");
    QTest::newRow("another format") << QByteArray("{\"format\":\"tarvex\",\"version\":1,\"records\":[]}")
                                    << QByteArray("line 1: the \"format\" is not \"tarvex-settings\"");
    QTest::newRow("another version") << QByteArray(
        "\n{\"format\":\"tarvex-settings\",\"version\":2,\"more\":1,\"records\":[]}")
                                     << QByteArray("line 2: the \"version\" of the format is not 1");
    QTest::newRow("unknown part") << QByteArray("{\"format\":\"tarvex-settings\",\"version\":1,\"recods\":[]}")
                                  << QByteArray("line 1: \"recods\" is no part of a document of settings");
    QTest::newRow("no records") << QByteArray("{\"format\":\"tarvex-settings\",\"version\":1}")
                                << QByteArray("line 1: \"records\" is needed, a list");
    QTest::newRow("cut off") << head + recordLine("a", "") << QByteArray("line 5: no JSON: unterminated array");
    QTest::newRow("more after it") << head + "]}\n" + recordLine("a", "") << QByteArray("line 5: no JSON: garbage");
    QTest::newRow("empty document") << head + "]}" << QByteArray("there is no settings record in ");
}

void TstSettingsImport::import_wrongFile_asksNothing()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, words);
    const FakeBus bus;
    ProgramRun run(file(text));
    QCOMPARE(run.status(), 2);
    QVERIFY2(run.err().startsWith("tarvexctl: " + words), run.err().constData());
    QCOMPARE(run.out(), QByteArray());
    QCOMPARE(bus.connectionCount(), 0);
}

void TstSettingsImport::import_loadRefused_savesNothing()
{
    FakeBus bus;
    bus.willReply(u"loadSettings"_s, 0, QString(), storedRecord(u"a"_s, 10));
    bus.willReply(u"loadSettings"_s, 512, u"Storage access error"_s);
    ProgramRun run(file());
    QCOMPARE(run.ending(), ended(1, {"refused by the bus: 512 Storage access error"}));
    QCOMPARE(bus.requests().size(), 2);
}

void TstSettingsImport::import_noFile_is2()
{
    ProgramRun missing(u"settings import /none.json"_s);
    QCOMPARE(missing.ending(), ended(2, {"cannot read /none.json: No such file or directory"}));
    ProgramRun empty(u"settings import ''"_s);
    QCOMPARE(empty.ending(), ended(2, {"FILE must not be empty"}));
    ProgramRun none(u"settings import"_s);
    QCOMPARE(none.ending(), ended(2, {"FILE is required; see --help"}));
}

void TstSettingsImport::import_stdoutFull_tellsThatItWasSaved_data()
{
    QTest::addColumn<QString>("option");
    QTest::newRow("with words") << QString();
    QTest::newRow("quiet") << u"--quiet "_s;
}

void TstSettingsImport::import_stdoutFull_tellsThatItWasSaved()
{
    QFETCH(QString, option);
    const BusProcess bus;
    ProgramRun run(option + file(), ProgramRun::StdoutFull);
    QCOMPARE(run.ending(),
             ended(1,
                   {"saved the settings of a: 1 change, but cannot write to stdout: No space left on device",
                    "saved the settings of b: 1 change", "saved the settings of c: 1 change"}));
    QCOMPARE(stored(u"a b c"_s), NEW_RECORDS);
}

QTEST_GUILESS_MAIN(TstSettingsImport)
#include "tst_settingsimport.moc"
