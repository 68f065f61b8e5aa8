#include "storage.h"

#include "literals.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace tarvex;
using devbus::Storage;

namespace {

/// Another program at work on a database file.
class OtherProgram
{
public:
    explicit OtherProgram(const QString& path)
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(u"QSQLITE"_s, u"other"_s);
        database.setDatabaseName(path);
        database.setConnectOptions(u"QSQLITE_BUSY_TIMEOUT=0"_s);
        database.open();
    }

    ~OtherProgram()
    {
        QSqlDatabase::database(u"other"_s, false).close();
        QSqlDatabase::removeDatabase(u"other"_s);
    }

    Q_DISABLE_COPY_MOVE(OtherProgram)

    bool run(const char* sql)
    {
        QSqlQuery query(QSqlDatabase::database(u"other"_s, false));
        return query.exec(QString::fromLatin1(sql));
    }
};

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

void overwrite(const QString& path, qint64 offset, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.seek(offset));
    QCOMPARE(file.write(bytes), bytes.size());
}

ClientState someState()
{
    ClientState state;
    state.setOwner(u"printer"_s);
    state.setStateType(static_cast<ClientState::EStateType>(7));
    state.setState(u"{\"paper\":\"low\"}"_s);
    return state;
}

Message someMessage(const QString& uid)
{
    Message message;
    message.setSender(u"a"_s);
    message.setReciever(u"b"_s);
    message.setMessage(u"text of "_s + uid);
    message.setUid(uid);
    return message;
}

int codeOf(const TarvexError& error)
{
    return error.error();
}

/// Why it failed; empty when it has not.
QString reasonOf(const TarvexError& error)
{
    return error.error() == TarvexError::NoError ? QString() : error.description();
}

int save(Storage& storage, const ClientState& state)
{
    return codeOf(storage.write([&] { return storage.saveState(state); }));
}

int load(Storage& storage, QVariantMap& state)
{
    return codeOf(storage.read([&] { return storage.loadState(u"printer"_s, state); }));
}

} // namespace

class TstStorage : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void open_newFile_bearsOurMark();
    void open_emptyFile_countsAsNew();
    void open_leftoverOfKilledCreation_isReplaced();
    void open_logOfRemovedDatabase_isNotReplayed();
    void open_link_staysLink();
    void open_linkToNothing_createsItsTarget_data();
    void open_linkToNothing_createsItsTarget();
    void open_linkThatLeadsNowhere_staysAndFails_data();
    void open_linkThatLeadsNowhere_staysAndFails();
    void open_again_findsEverything();
    void open_inMemory_needsNoFile();
    void open_noDatabase_leavesItUntouched_data();
    void open_noDatabase_leavesItUntouched();
    void open_foreignDatabase_leavesItUntouched_data();
    void open_foreignDatabase_leavesItUntouched();
    void open_damagedPage_leavesItUntouched();
    void open_missingTable_leavesItUntouched();
    void open_otherMark_leavesItUntouched_data();
    void open_otherMark_leavesItUntouched();
    void open_impossiblePlace_fails_data();
    void open_impossiblePlace_fails();
    void states_areKeptByOwner();
    void settings_areKeptByOwner();
    void subscribers_areFoundByGoal();
    void messages_comeInOrder();
    void trimMessages_dropsOldest();
    void holdings_countWhatThereIs();
    void nullStrings_areStored();
    void write_workFails_isUndone();
    void write_lockedByOther_isAccessErrorUntilItEnds();
    void read_lockedByOther_goesOn();
    void write_refusedByDatabase_isAccessError();
    void write_thatReadsFirst_isNotOvertaken();
    void read_tableDropped_isInvalidStorage();
    void read_fileOverwritten_isInvalidStorage();
    void read_fileReplaced_isInvalidStorage_data();
    void read_fileReplaced_isInvalidStorage();
    void read_recordUnreadable_isInvalidStorage();
    void read_damagedAnywhere_isNeverIncomplete();

private:
    QString path(const char* name) const { return m_folder->filePath(QString::fromLatin1(name)); }

    QString bus() const { return path("bus.sqlite"); }

    void makeDatabase();
    void verifyRefused(const QString& file);

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TstStorage::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

/// A database of ours with enough in it for many pages.
void TstStorage::makeDatabase()
{
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    QCOMPARE(save(storage, someState()), 0);
    const int code = codeOf(storage.write([&] {
        bool isDone = true;
        for (int number = 0; number < 500; ++number) {
            isDone = isDone && storage.addMessage(u"b"_s, someMessage(QString::number(number)));
        }
        return isDone;
    }));
    QCOMPARE(code, 0);
}

void TstStorage::verifyRefused(const QString& file)
{
    const QByteArray before = contents(file);
    const QStringList filesBefore = QDir(m_folder->path()).entryList(QDir::Files);
    {
        Storage storage(file);
        QVERIFY(!reasonOf(storage.open()).isEmpty());
    }
    QVERIFY(contents(file) == before);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), filesBefore);
}

void TstStorage::open_newFile_bearsOurMark()
{
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    QCOMPARE(contents(bus()).left(16), QByteArray("SQLite format 3\0", 16));
    QCOMPARE(contents(bus()).mid(68, 4), QByteArray("TxDB"));
    QCOMPARE(save(storage, someState()), 0);
    QVERIFY(QFileInfo::exists(bus() + u"-wal"_s));
}

void TstStorage::open_emptyFile_countsAsNew()
{
    QFile file(bus());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    QCOMPARE(save(storage, someState()), 0);
}

void TstStorage::open_leftoverOfKilledCreation_isReplaced()
{
    QFile leftover(path("bus.sqlite.tarvex-devbus-new"));
    QVERIFY(leftover.open(QIODevice::WriteOnly));
    leftover.write("half of something");
    leftover.close();
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    QVERIFY(!leftover.exists());
}

// What a developer does to begin afresh after a kill: remove the database, and not the log beside it.
void TstStorage::open_logOfRemovedDatabase_isNotReplayed()
{
    QByteArray log;
    {
        Storage storage(bus());
        QCOMPARE(codeOf(storage.open()), 0);
        QCOMPARE(save(storage, someState()), 0);
        log = contents(bus() + QLatin1String("-wal"));
        QVERIFY(log.size() > 0);
    }
    QVERIFY(QFile::remove(bus()));
    QFile leftover(bus() + QLatin1String("-wal"));
    QVERIFY(leftover.open(QIODevice::WriteOnly));
    leftover.write(log);
    leftover.close();

    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    QVariantMap state;
    QCOMPARE(load(storage, state), 0);
    QVERIFY(state.isEmpty());
}

void TstStorage::open_link_staysLink()
{
    const QString target = path("elsewhere.sqlite");
    QFile file(target);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.close();
    QVERIFY(QFile::link(target, bus()));
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    QVERIFY(QFileInfo(bus()).isSymLink());
    QVERIFY(QFileInfo(target).size() > 0);
}

void TstStorage::open_linkToNothing_createsItsTarget_data()
{
    QTest::addColumn<QString>("link"); // %1 is the test's folder
    QTest::newRow("absolute") << u"%1/far/elsewhere.sqlite"_s;
    QTest::newRow("relative") << u"far/elsewhere.sqlite"_s;
    QTest::newRow("to a link") << u"far/next"_s;
    QTest::newRow("up from a linked folder") << u"shortcut/../elsewhere.sqlite"_s;
}

void TstStorage::open_linkToNothing_createsItsTarget()
{
    QFETCH(QString, link);
    QVERIFY(QDir().mkpath(path("far/folder")));
    QVERIFY(QFile::link(u"elsewhere.sqlite"_s, path("far/next")));
    QVERIFY(QFile::link(path("far/folder"), path("shortcut")));
    QVERIFY(QFile::link(link.replace(QLatin1String("%1"), m_folder->path()), bus()));
    {
        Storage storage(bus());
        QCOMPARE(reasonOf(storage.open()), QString());
        QCOMPARE(save(storage, someState()), 0);
        QVERIFY(QFileInfo(bus()).isSymLink());
        QVERIFY(QFileInfo(path("far/elsewhere.sqlite")).size() > 0);
    }
    Storage again(bus());
    QCOMPARE(codeOf(again.open()), 0);
    QVariantMap state;
    QCOMPARE(load(again, state), 0);
    QCOMPARE(state, someState().toVariantMap());
    QVERIFY(QFileInfo(bus()).isSymLink());
}

void TstStorage::open_linkThatLeadsNowhere_staysAndFails_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing folder") << u"missing/bus.sqlite"_s
                                    << u"it is a link to \"%1/missing/bus.sqlite\", whose folder does not "
                                       "exist"_s;
    QTest::newRow("to itself") << u"bus.sqlite"_s << u"it is a link that leads nowhere"_s;
}

void TstStorage::open_linkThatLeadsNowhere_staysAndFails()
{
    QFETCH(QString, link);
    QFETCH(QString, reason);
    QVERIFY(QFile::link(link, bus()));
    Storage storage(bus());
    QCOMPARE(reasonOf(storage.open()), reason.replace(QLatin1String("%1"), m_folder->path()));
    QVERIFY(QFileInfo(bus()).isSymLink());
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size(), 1);
}

void TstStorage::open_again_findsEverything()
{
    makeDatabase();
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    QVariantMap state;
    QCOMPARE(load(storage, state), 0);
    QVERIFY(ClientState::fromVariantMap(state) == someState());
}

void TstStorage::open_inMemory_needsNoFile()
{
    Storage storage{QString()};
    QCOMPARE(codeOf(storage.open()), 0);
    QCOMPARE(save(storage, someState()), 0);
    QVariantMap state;
    QCOMPARE(load(storage, state), 0);
    QCOMPARE(state, someState().toVariantMap());
}

void TstStorage::open_noDatabase_leavesItUntouched_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("one byte") << QByteArray("x");
    QTest::newRow("text") << QByteArray("hello, this is a letter\n").repeated(1000);
    QTest::newRow("zeros") << QByteArray(8192, '\0');
    QTest::newRow("header alone") << QByteArray("SQLite format 3\0", 16);
}

void TstStorage::open_noDatabase_leavesItUntouched()
{
    QFETCH(QByteArray, bytes);
    QFile file(bus());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    verifyRefused(bus());
}

void TstStorage::open_foreignDatabase_leavesItUntouched_data()
{
    QTest::addColumn<QByteArray>("journal");
    QTest::newRow("rollback journal") << QByteArray("PRAGMA journal_mode = DELETE");
    QTest::newRow("write-ahead log") << QByteArray("PRAGMA journal_mode = WAL");
}

void TstStorage::open_foreignDatabase_leavesItUntouched()
{
    QFETCH(QByteArray, journal);
    {
        OtherProgram other(bus());
        QVERIFY(other.run(journal.constData()));
        QVERIFY(other.run("CREATE TABLE states (a)"));
    }
    verifyRefused(bus());
}

void TstStorage::open_damagedPage_leavesItUntouched()
{
    makeDatabase();
    const qint64 middle = QFileInfo(bus()).size() / 2 / 4096 * 4096;
    overwrite(bus(), middle, QByteArray(4096, 'x'));
    verifyRefused(bus());
}

void TstStorage::open_missingTable_leavesItUntouched()
{
    makeDatabase();
    {
        OtherProgram other(bus());
        QVERIFY(other.run("DROP TABLE settings"));
    }
    verifyRefused(bus());
}

void TstStorage::open_otherMark_leavesItUntouched_data()
{
    QTest::addColumn<QByteArray>("mark");
    QTest::newRow("version") << QByteArray("PRAGMA user_version = 2");
    QTest::newRow("no version") << QByteArray("PRAGMA user_version = 0");
    QTest::newRow("program") << QByteArray("PRAGMA application_id = 5");
}

void TstStorage::open_otherMark_leavesItUntouched()
{
    QFETCH(QByteArray, mark);
    makeDatabase();
    {
        OtherProgram other(bus());
        QVERIFY(other.run(mark.constData()));
    }
    verifyRefused(bus());
}

void TstStorage::open_impossiblePlace_fails_data()
{
    QTest::addColumn<QString>("place");
    QTest::newRow("folder") << QDir::tempPath();
    QTest::newRow("missing folder") << QDir::tempPath() + u"/no such folder/bus.sqlite"_s;
    QTest::newRow("device") << u"/dev/null"_s;
    QTest::newRow("no folder at all") << u"/dev/null/bus.sqlite"_s;
    QTest::newRow("nothing can be written") << u"/proc/bus.sqlite"_s;
}

void TstStorage::open_impossiblePlace_fails()
{
    QFETCH(QString, place);
    Storage storage(place);
    QVERIFY(!reasonOf(storage.open()).isEmpty());
}

void TstStorage::states_areKeptByOwner()
{
    Storage storage{QString()};
    QCOMPARE(codeOf(storage.open()), 0);
    QVariantMap state;
    QCOMPARE(load(storage, state), 0);
    QVERIFY(state.isEmpty());
    ClientState other = someState();
    other.setOwner(u"cashbox"_s);
    QCOMPARE(save(storage, other), 0);
    QCOMPARE(save(storage, other), 0);
    QCOMPARE(load(storage, state), 0);
    QVERIFY(state.isEmpty());
    ClientState none = someState();
    none.setStateType(ClientState::NoStateType);
    QCOMPARE(save(storage, none), 0);
    QCOMPARE(load(storage, state), 0);
    QCOMPARE(state, none.toVariantMap());
}

void TstStorage::settings_areKeptByOwner()
{
    Storage storage{QString()};
    QCOMPARE(codeOf(storage.open()), 0);
    ClientSettings settings;
    settings.setOwner(u"printer"_s);
    QByteArray found;
    bool wasThere = false;
    bool wasThereAgain = true;
    QByteArray afterwards("something");
    const TarvexError error = storage.write([&] {
        return storage.saveSettings(settings) && storage.loadSettings(settings.owner(), found)
            && storage.removeSettings(settings.owner(), wasThere)
            && storage.removeSettings(settings.owner(), wasThereAgain)
            && storage.loadSettings(settings.owner(), afterwards);
    });
    QCOMPARE(codeOf(error), 0);
    QVERIFY(found.contains("\"owner\":\"printer\""));
    QVERIFY(wasThere);
    QVERIFY(!wasThereAgain);
    QVERIFY(afterwards.isEmpty());
}

void TstStorage::subscribers_areFoundByGoal()
{
    Storage storage{QString()};
    QCOMPARE(codeOf(storage.open()), 0);
    const QString publisher = u"p"_s;
    QStringList states;
    QStringList messages;
    const TarvexError error = storage.write([&] {
        return storage.subscribe(u"c3"_s, publisher, 3) && storage.subscribe(u"c1"_s, publisher, 1)
            && storage.subscribe(u"c2"_s, publisher, 1) && storage.subscribe(u"c2"_s, publisher, 2) // replaces
            && storage.subscribe(u"c4"_s, publisher, 3) && storage.unsubscribe(u"c4"_s, publisher)
            && storage.unsubscribe(u"c4"_s, publisher) && storage.subscribe(u"c5"_s, u"another"_s, 3)
            && storage.subscribers(publisher, 1, states) && storage.subscribers(publisher, 2, messages);
    });
    QCOMPARE(codeOf(error), 0);
    QCOMPARE(states, (QStringList{u"c1"_s, u"c3"_s}));
    QCOMPARE(messages, (QStringList{u"c2"_s, u"c3"_s}));
}

void TstStorage::messages_comeInOrder()
{
    Storage storage{QString()};
    QCOMPARE(codeOf(storage.open()), 0);
    const QString client = u"b"_s;
    Storage::StoredMessage first;
    Storage::StoredMessage second;
    Storage::StoredMessage none;
    Storage::StoredMessage removed;
    const TarvexError error = storage.write([&] {
        return storage.addMessage(client, someMessage(u"1"_s)) && storage.addMessage(u"another"_s, someMessage(u"x"_s))
            && storage.addMessage(client, someMessage(u"2"_s)) && storage.nextMessage(client, 0, first)
            && storage.nextMessage(client, first.id, second) && storage.nextMessage(client, second.id, none)
            && storage.removeMessages({first.id}) && storage.messageById(first.id, removed);
    });
    QCOMPARE(codeOf(error), 0);
    QCOMPARE(first.message.message(), u"text of 1"_s);
    QCOMPARE(second.message.uid(), u"2"_s);
    QCOMPARE(none.id, 0);
    QCOMPARE(removed.id, 0);
}

void TstStorage::trimMessages_dropsOldest()
{
    Storage storage{QString()};
    QCOMPARE(codeOf(storage.open()), 0);
    const QString client = u"b"_s;
    int droppedNone = -1;
    int dropped = -1;
    int droppedAll = -1;
    Storage::StoredMessage first;
    Storage::StoredMessage other;
    const TarvexError error = storage.write([&] {
        bool isDone = storage.addMessage(u"another"_s, someMessage(u"x"_s));
        for (int number = 0; number < 5; ++number) {
            isDone = isDone && storage.addMessage(client, someMessage(QString::number(number)));
        }
        return isDone && storage.trimMessages(client, 5, droppedNone) && storage.trimMessages(client, 2, dropped)
            && storage.nextMessage(client, 0, first) && storage.trimMessages(client, 0, droppedAll)
            && storage.nextMessage(u"another"_s, 0, other);
    });
    QCOMPARE(codeOf(error), 0);
    QCOMPARE(droppedNone, 0);
    QCOMPARE(dropped, 3);
    QCOMPARE(first.message.uid(), u"3"_s);
    QCOMPARE(droppedAll, 2);
    QCOMPARE(other.message.uid(), u"x"_s);
}

void TstStorage::holdings_countWhatThereIs()
{
    Storage storage{QString()};
    QCOMPARE(codeOf(storage.open()), 0);
    ClientSettings settings;
    settings.setOwner(u"cashbox"_s);
    QCOMPARE(codeOf(storage.write([&] {
                 return storage.saveState(someState()) && storage.saveSettings(settings)
                     && storage.subscribe(u"gui"_s, u"printer"_s, 1) && storage.subscribe(u"gui"_s, u"cashbox"_s, 2)
                     && storage.addMessage(u"gui"_s, someMessage(u"1"_s))
                     && storage.addMessage(u"prnter"_s, someMessage(u"2"_s));
             })),
             0);
    QMap<QString, Storage::Holdings> holdings;
    QStringList known;
    QStringList settingsOwners;
    QStringList stateOwners;
    QCOMPARE(codeOf(storage.read([&] {
                 for (const char* const name : {"printer", "cashbox", "gui", "prnter"}) {
                     bool hasStored = false;
                     if (!storage.hasStored(QString::fromLatin1(name), hasStored)) {
                         return false;
                     }
                     known += hasStored ? QStringList(QString::fromLatin1(name)) : QStringList();
                 }
                 return storage.holdings(holdings) && storage.settingsOwners(settingsOwners)
                     && storage.stateOwners(stateOwners);
             })),
             0);
    QCOMPARE(holdings.keys(), (QStringList{u"cashbox"_s, u"gui"_s, u"printer"_s, u"prnter"_s}));
    QVERIFY(holdings.value(u"cashbox"_s).hasSettings);
    QVERIFY(!holdings.value(u"cashbox"_s).hasState);
    QVERIFY(holdings.value(u"printer"_s).hasState);
    QVERIFY(!holdings.value(u"printer"_s).hasSettings);
    QCOMPARE(holdings.value(u"gui"_s).subscriptions, 2);
    QCOMPARE(holdings.value(u"gui"_s).messages, 1);
    QCOMPARE(holdings.value(u"prnter"_s).messages, 1);
    // What only waits for a name says nothing about whether there ever was such a client.
    QCOMPARE(known, (QStringList{u"printer"_s, u"cashbox"_s, u"gui"_s}));
    QCOMPARE(settingsOwners, QStringList{u"cashbox"_s});
    QCOMPARE(stateOwners, QStringList{u"printer"_s});
}

void TstStorage::nullStrings_areStored()
{
    Storage storage{QString()};
    QCOMPARE(codeOf(storage.open()), 0);
    Storage::StoredMessage found;
    const TarvexError error = storage.write([&] {
        return storage.addMessage(QString(), Message()) && storage.nextMessage(QString(), 0, found)
            && storage.saveState(ClientState());
    });
    QCOMPARE(codeOf(error), 0);
    QVERIFY(found.id != 0);
}

void TstStorage::write_workFails_isUndone()
{
    Storage storage{QString()};
    QCOMPARE(codeOf(storage.open()), 0);
    const TarvexError error = storage.write([&] { return storage.saveState(someState()) && false; });
    QCOMPARE(codeOf(error), 512);
    QVariantMap state;
    QCOMPARE(load(storage, state), 0);
    QVERIFY(state.isEmpty());
}

void TstStorage::write_lockedByOther_isAccessErrorUntilItEnds()
{
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    OtherProgram other(bus());
    QVERIFY(other.run("BEGIN IMMEDIATE"));
    QCOMPARE(save(storage, someState()), 512);
    QVERIFY(other.run("COMMIT"));
    QCOMPARE(save(storage, someState()), 0);
}

void TstStorage::read_lockedByOther_goesOn()
{
    makeDatabase();
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    OtherProgram other(bus());
    QVERIFY(other.run("BEGIN IMMEDIATE"));
    QVariantMap state;
    QCOMPARE(load(storage, state), 0);
    QVERIFY(!state.isEmpty());
}

void TstStorage::write_refusedByDatabase_isAccessError()
{
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    OtherProgram other(bus());
    QVERIFY(other.run("CREATE TRIGGER no BEFORE INSERT ON states BEGIN SELECT RAISE(ABORT, 'no'); END"));
    QCOMPARE(save(storage, someState()), 512);
    QVERIFY(other.run("DROP TRIGGER no"));
    QCOMPARE(save(storage, someState()), 0);
}

void TstStorage::write_thatReadsFirst_isNotOvertaken()
{
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    OtherProgram other(bus());
    const TarvexError error = storage.write([&] {
        QVariantMap state;
        return storage.loadState(u"printer"_s, state)
            && !other.run("INSERT INTO states (owner, record) VALUES ('other', '{}')")
            && storage.saveState(someState());
    });
    QCOMPARE(codeOf(error), 0);
}

void TstStorage::read_tableDropped_isInvalidStorage()
{
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    OtherProgram other(bus());
    QVERIFY(other.run("DROP TABLE states"));
    QVariantMap state;
    QCOMPARE(load(storage, state), 256);
    QCOMPARE(save(storage, someState()), 256);
}

void TstStorage::read_fileOverwritten_isInvalidStorage()
{
    makeDatabase();
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    QVariantMap state;
    QCOMPARE(load(storage, state), 0);
    overwrite(bus(), 0, QByteArray(static_cast<int>(QFileInfo(bus()).size()), 'x'));
    QCOMPARE(load(storage, state), 256);
    QCOMPARE(save(storage, someState()), 256);
}

void TstStorage::read_fileReplaced_isInvalidStorage_data()
{
    QTest::addColumn<bool>("isReplaced");
    QTest::newRow("removed") << false;
    QTest::newRow("replaced") << true;
}

void TstStorage::read_fileReplaced_isInvalidStorage()
{
    QFETCH(bool, isReplaced);
    makeDatabase();
    QVERIFY(QFile::copy(bus(), path("copy.sqlite")));
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    QVERIFY(QFile::remove(bus()));
    if (isReplaced) {
        QVERIFY(QFile::rename(path("copy.sqlite"), bus()));
    }
    QVariantMap state;
    QCOMPARE(load(storage, state), 256);
    QCOMPARE(save(storage, someState()), 256);
}

void TstStorage::read_recordUnreadable_isInvalidStorage()
{
    makeDatabase();
    Storage storage(bus());
    QCOMPARE(codeOf(storage.open()), 0);
    OtherProgram other(bus());
    QVERIFY(other.run("UPDATE states SET record = 'no json'"));
    QVERIFY(other.run("UPDATE messages SET record = 'no json'"));
    QVariantMap state;
    QCOMPARE(load(storage, state), 256);
    Storage::StoredMessage message;
    QCOMPARE(codeOf(storage.read([&] { return storage.nextMessage(u"b"_s, 0, message); })), 256);
}

// Damage that is met in the middle of a list must not pass for the end of the list.
void TstStorage::read_damagedAnywhere_isNeverIncomplete()
{
    const int clients = 400;
    const QString publisher = u"p"_s;
    const auto find = [&publisher](Storage& storage, QStringList& found) {
        return codeOf(storage.read([&] { return storage.subscribers(publisher, 3, found); }));
    };
    {
        Storage storage(bus());
        QCOMPARE(codeOf(storage.open()), 0);
        const TarvexError error = storage.write([&] {
            bool isDone = true;
            for (int number = 0; number < clients; ++number) {
                const QString client = u"client %1"_s.arg(number, 100);
                isDone = isDone && storage.subscribe(client, publisher, 3);
            }
            return isDone;
        });
        QCOMPARE(codeOf(error), 0);
    }
    const QByteArray sound = contents(bus());
    int damaged = 0;
    for (int offset = 4096; offset < sound.size(); offset += 4096) {
        overwrite(bus(), 0, sound);
        Storage storage(bus());
        QCOMPARE(codeOf(storage.open()), 0);
        overwrite(bus(), offset, QByteArray(4096, 'x'));
        QStringList found;
        const int code = find(storage, found);
        QVERIFY2(code == 256 || (code == 0 && found.size() == clients), qPrintable(QString::number(found.size())));
        damaged += code == 256 ? 1 : 0;
    }
    QVERIFY(damaged > 2);
}

QTEST_GUILESS_MAIN(TstStorage)
#include "tst_storage.moc"
