#include "storage.h"

#include "failure.h"
#include "memoryuse.h"
#include "otherprogram.h"
#include "samples.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using samples::someState;
using tarvex::ClientState;
using tarvex::Message;
using tarvex::TarvexError;
using tarvex::devbus::isFailure;
using tarvex::devbus::Storage;

namespace {

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

/// Creates the file if it does not exist.
void overwrite(const QString& path, qint64 offset, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.seek(offset));
    QCOMPARE(file.write(bytes), bytes.size());
}

Message someMessage(const QString& uid)
{
    return samples::someMessage(u"b"_s, u"text of "_s + uid, uid);
}

/// An open storage, and what most tests do with it. It stores in memory unless it gets a path.
struct OpenStorage : Storage
{
    explicit OpenStorage(const QString& path = QString()) : Storage(path)
    {
        const TarvexError error = open();
        if (isFailure(error)) {
            qWarning("cannot open the storage: %s", qPrintable(error.description()));
        }
    }

    int readCode(const std::function<bool()>& work) { return read(work).error(); }

    int writeCode(const std::function<bool()>& work) { return write(work).error(); }

    /// Saves someState(). \return the code
    int save()
    {
        return writeCode([this] { return saveState(someState()); });
    }

    /// Loads the state of its owner. \return the code
    int load(QVariantMap& state)
    {
        return readCode([&] { return loadState(someState().owner(), state); });
    }

    /// Adds messages with the uids \a first to \a last for the client "b". \return the code
    int add(int first, int last)
    {
        return writeCode([=] {
            bool isDone = true;
            for (int uid = first; uid <= last; ++uid) {
                isDone = isDone && addMessage(u"b"_s, someMessage(QString::number(uid)));
            }
            return isDone;
        });
    }

    /// Keeps this many messages of that client. \return how many were dropped, or -1
    int trim(int keep)
    {
        int dropped = -1;
        write([&] { return trimMessages(u"b"_s, keep, dropped); });
        return dropped;
    }

    /// The uids of its messages.
    QStringList uids()
    {
        QStringList uids;
        StoredMessage message;
        while (readCode([&] { return nextMessage(u"b"_s, message.id, message); }) == 0 && message.id != 0) {
            uids.append(message.message.uid());
        }
        return uids;
    }

    /// Whether that state is in the storage.
    bool hasState()
    {
        QVariantMap state;
        return load(state) == 0 && state == someState().toVariantMap();
    }
};

} // namespace

class TstStorage : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void open_newFile_bearsOurMark_data();
    void open_newFile_bearsOurMark();
    void open_logOfRemovedDatabase_isNotReplayed();
    void open_link_staysLink_data();
    void open_link_staysLink();
    void open_linkThatLeadsNowhere_staysAndFails_data();
    void open_linkThatLeadsNowhere_staysAndFails();
    void open_unusable_leavesItUntouched_data();
    void open_unusable_leavesItUntouched();
    void open_damagedPage_leavesItUntouched();
    void open_impossiblePlace_fails_data();
    void open_impossiblePlace_fails();
    void subscribers_areFoundByGoal();
    void messages_comeInOrder();
    void trimMessages_dropsOldest_data();
    void trimMessages_dropsOldest();
    void trimMessages_afterUndoneWrite_countsWhatIsThere();
    void trimMessages_afterRemoval_countsWhatIsThere();
    void trimMessages_removedByOther_countsWhatIsThere();
    void longValues_areGivenBack();
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
    void verifyRefused();

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TstStorage::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
}

/// A database of ours that has many pages.
void TstStorage::makeDatabase()
{
    OpenStorage storage(bus());
    QCOMPARE(storage.save(), 0);
    const int code = storage.writeCode([&] {
        bool isDone = true;
        for (int number = 0; number < 500; ++number) {
            isDone = isDone && storage.addMessage(u"b"_s, someMessage(QString::number(number)));
        }
        return isDone;
    });
    QCOMPARE(code, 0);
}

void TstStorage::verifyRefused()
{
    const QByteArray before = contents(bus());
    const QStringList filesBefore = QDir(m_folder->path()).entryList(QDir::Files);
    const TarvexError error = Storage(bus()).open();
    QVERIFY(isFailure(error));
    QVERIFY(!error.description().isEmpty());
    QVERIFY(contents(bus()) == before);
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files), filesBefore);
}

void TstStorage::open_newFile_bearsOurMark_data()
{
    QTest::addColumn<QString>("former"); // what is there before: the database, or a file beside it
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("nothing there") << QString() << QByteArray();
    QTest::newRow("empty file") << u"bus.sqlite"_s << QByteArray();
    QTest::newRow("killed creation") << u"bus.sqlite.tarvex-devbus-new"_s << QByteArray("half of something");
}

void TstStorage::open_newFile_bearsOurMark()
{
    QFETCH(QString, former);
    QFETCH(QByteArray, bytes);
    if (!former.isEmpty()) {
        overwrite(m_folder->filePath(former), 0, bytes);
    }
    OpenStorage storage(bus());
    QCOMPARE(contents(bus()).left(16), QByteArray("SQLite format 3\0", 16));
    QCOMPARE(contents(bus()).mid(68, 4), QByteArray("TxDB"));
    QCOMPARE(storage.save(), 0);
    QVERIFY(QFileInfo::exists(bus() + u"-wal"_s));
    QVERIFY(!QFileInfo::exists(path("bus.sqlite.tarvex-devbus-new")));
}

// To begin anew after a kill, a developer removes the database and may forget the log beside it.
void TstStorage::open_logOfRemovedDatabase_isNotReplayed()
{
    const QString logPath = bus() + u"-wal"_s;
    QByteArray log;
    {
        OpenStorage storage(bus());
        QCOMPARE(storage.save(), 0);
        log = contents(logPath);
        QVERIFY(log.size() > 0);
    }
    QVERIFY(QFile::remove(bus()));
    overwrite(logPath, 0, log);
    QVariantMap state;
    QCOMPARE(OpenStorage(bus()).load(state), 0);
    QVERIFY(state.isEmpty());
}

void TstStorage::open_link_staysLink_data()
{
    QTest::addColumn<QString>("link"); // %1 is the test's folder
    QTest::addColumn<bool>("isTargetThere");
    QTest::newRow("to a file") << u"%1/far/elsewhere.sqlite"_s << true;
    QTest::newRow("absolute") << u"%1/far/elsewhere.sqlite"_s << false;
    QTest::newRow("relative") << u"far/elsewhere.sqlite"_s << false;
    QTest::newRow("to a link") << u"far/next"_s << false;
    QTest::newRow("up from a linked folder") << u"shortcut/../elsewhere.sqlite"_s << false;
}

void TstStorage::open_link_staysLink()
{
    QFETCH(QString, link);
    QFETCH(bool, isTargetThere);
    QVERIFY(QDir().mkpath(path("far/folder")));
    if (isTargetThere) {
        overwrite(path("far/elsewhere.sqlite"), 0, QByteArray());
    }
    QVERIFY(QFile::link(u"elsewhere.sqlite"_s, path("far/next")));
    QVERIFY(QFile::link(path("far/folder"), path("shortcut")));
    QVERIFY(QFile::link(link.replace(QLatin1String("%1"), m_folder->path()), bus()));
    {
        OpenStorage storage(bus());
        QCOMPARE(storage.save(), 0);
        QVERIFY(QFileInfo(bus()).isSymLink());
        QVERIFY(QFileInfo(path("far/elsewhere.sqlite")).size() > 0);
    }
    QVERIFY(OpenStorage(bus()).hasState());
    QVERIFY(QFileInfo(bus()).isSymLink());
}

void TstStorage::open_linkThatLeadsNowhere_staysAndFails_data()
{
    QTest::addColumn<QString>("link");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing folder") << u"missing/bus.sqlite"_s
                                    << u"it is a link to \"%1/missing/bus.sqlite\", whose folder does not exist"_s;
    QTest::newRow("to itself") << u"bus.sqlite"_s << u"it is a link that leads nowhere"_s;
}

void TstStorage::open_linkThatLeadsNowhere_staysAndFails()
{
    QFETCH(QString, link);
    QFETCH(QString, reason);
    QVERIFY(QFile::link(link, bus()));
    QCOMPARE(Storage(bus()).open().description(), reason.replace(QLatin1String("%1"), m_folder->path()));
    QVERIFY(QFileInfo(bus()).isSymLink());
    QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size(), 1);
}

void TstStorage::open_unusable_leavesItUntouched_data()
{
    QTest::addColumn<QByteArray>("bytes");          // of the file, unless it is a database
    QTest::addColumn<bool>("isOurs");               // the database
    QTest::addColumn<QByteArrayList>("statements"); // what another program does with it
    const auto fileRow = [](const char* what, const QByteArray& bytes) {
        QTest::newRow(what) << bytes << false << QByteArrayList();
    };
    fileRow("one byte", "x");
    fileRow("text", QByteArray("hello, this is a letter\n").repeated(1000));
    fileRow("zeros", QByteArray(8192, '\0'));
    fileRow("header alone", QByteArray("SQLite format 3\0", 16));
    const auto databaseRow = [](const char* what, bool isOurs, const QByteArrayList& statements) {
        QTest::newRow(what) << QByteArray() << isOurs << statements;
    };
    databaseRow("table missing", true, {"DROP TABLE settings"});
    databaseRow("other version", true, {"PRAGMA user_version = 2"});
    databaseRow("no version", true, {"PRAGMA user_version = 0"});
    databaseRow("other program's mark", true, {"PRAGMA application_id = 5"});
    databaseRow("foreign", false, {"PRAGMA journal_mode = DELETE", "CREATE TABLE states (a)"});
    databaseRow("foreign, write-ahead log", false, {"PRAGMA journal_mode = WAL", "CREATE TABLE states (a)"});
}

void TstStorage::open_unusable_leavesItUntouched()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, isOurs);
    QFETCH(QByteArrayList, statements);
    if (isOurs) {
        makeDatabase();
    }
    if (!bytes.isEmpty()) {
        overwrite(bus(), 0, bytes);
    } else {
        OtherProgram other(bus());
        for (const QByteArray& statement : qAsConst(statements)) {
            QVERIFY(other.run(statement.constData()));
        }
    }
    verifyRefused();
}

void TstStorage::open_damagedPage_leavesItUntouched()
{
    makeDatabase();
    const qint64 middle = QFileInfo(bus()).size() / 2 / 4096 * 4096;
    overwrite(bus(), middle, QByteArray(4096, 'x'));
    verifyRefused();
}

void TstStorage::open_impossiblePlace_fails_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<QString>("reason"); // empty: the system's own words
    const QString noFolder = u"its folder does not exist"_s;
    QTest::newRow("folder") << QDir::tempPath() << u"it is no regular file"_s;
    QTest::newRow("missing folder") << QDir::tempPath() + u"/no such folder/bus.sqlite"_s << noFolder;
    QTest::newRow("device") << u"/dev/null"_s << u"it is no regular file"_s;
    QTest::newRow("no folder at all") << u"/dev/null/bus.sqlite"_s << noFolder;
    QTest::newRow("nothing can be written") << u"/proc/bus.sqlite"_s << QString();
}

void TstStorage::open_impossiblePlace_fails()
{
    QFETCH(QString, place);
    QFETCH(QString, reason);
    const TarvexError error = Storage(place).open();
    QVERIFY(isFailure(error));
    QVERIFY(!error.description().isEmpty());
    QVERIFY2(reason.isEmpty() || error.description() == reason, qPrintable(error.description()));
}

void TstStorage::subscribers_areFoundByGoal()
{
    OpenStorage storage;
    const QString publisher = u"p"_s;
    QStringList states;
    QStringList messages;
    const int code = storage.writeCode([&] {
        return storage.subscribe(u"c3"_s, publisher, 3) && storage.subscribe(u"c1"_s, publisher, 1)
            && storage.subscribe(u"c2"_s, publisher, 1) && storage.subscribe(u"c2"_s, publisher, 2) // replaces
            && storage.subscribe(u"c4"_s, publisher, 3) && storage.unsubscribe(u"c4"_s, publisher)
            && storage.unsubscribe(u"c4"_s, publisher) && storage.subscribe(u"c5"_s, u"another"_s, 3)
            && storage.subscribers(publisher, 1, states) && storage.subscribers(publisher, 2, messages);
    });
    QCOMPARE(code, 0);
    QCOMPARE(states, (QStringList{u"c1"_s, u"c3"_s}));
    QCOMPARE(messages, (QStringList{u"c2"_s, u"c3"_s}));
}

void TstStorage::messages_comeInOrder()
{
    OpenStorage storage;
    const QString client = u"b"_s;
    Storage::StoredMessage first;
    Storage::StoredMessage second;
    Storage::StoredMessage none;
    Storage::StoredMessage removed;
    const int code = storage.writeCode([&] {
        return storage.addMessage(client, someMessage(u"1"_s)) && storage.addMessage(u"another"_s, someMessage(u"x"_s))
            && storage.addMessage(client, someMessage(u"2"_s)) && storage.nextMessage(client, 0, first)
            && storage.nextMessage(client, first.id, second) && storage.nextMessage(client, second.id, none)
            && storage.removeMessages(client, {first.id}) && storage.messageById(first.id, removed);
    });
    QCOMPARE(code, 0);
    QCOMPARE(first.message.message(), u"text of 1"_s);
    QCOMPARE(second.message.uid(), u"2"_s);
    QCOMPARE(none.id, 0);
    QCOMPARE(removed.id, 0);
}

void TstStorage::trimMessages_dropsOldest_data()
{
    QTest::addColumn<int>("keep");
    QTest::addColumn<QStringList>("kept");
    QTest::newRow("all") << 3 << QStringList{u"1"_s, u"2"_s, u"3"_s};
    QTest::newRow("some") << 2 << QStringList{u"2"_s, u"3"_s};
    QTest::newRow("none") << 0 << QStringList();
}

void TstStorage::trimMessages_dropsOldest()
{
    QFETCH(int, keep);
    QFETCH(QStringList, kept);
    OpenStorage storage;
    QCOMPARE(storage.writeCode([&] { return storage.addMessage(u"a"_s, someMessage(u"x"_s)); }), 0);
    QCOMPARE(storage.add(1, 3), 0);
    QCOMPARE(storage.trim(keep), 3 - keep);
    QCOMPARE(storage.uids(), kept);
    Storage::StoredMessage another;
    QCOMPARE(storage.readCode([&] { return storage.nextMessage(u"a"_s, 0, another); }), 0);
    QCOMPARE(another.message.uid(), u"x"_s);
}

void TstStorage::trimMessages_afterUndoneWrite_countsWhatIsThere()
{
    OpenStorage storage;
    QCOMPARE(storage.add(1, 2), 0);
    QCOMPARE(storage.trim(2), 0); // counts
    QVERIFY(storage.writeCode([&] { return storage.addMessage(u"b"_s, someMessage(u"3"_s)) && false; }) != 0);
    QCOMPARE(storage.trim(2), 0);
    QCOMPARE(storage.uids(), (QStringList{u"1"_s, u"2"_s}));
}

void TstStorage::trimMessages_afterRemoval_countsWhatIsThere()
{
    OpenStorage storage;
    QCOMPARE(storage.add(1, 3), 0);
    QCOMPARE(storage.trim(3), 0); // counts
    Storage::StoredMessage first;
    QCOMPARE(storage.writeCode([&] {
        return storage.nextMessage(u"b"_s, 0, first) && storage.removeMessages(u"b"_s, {first.id, first.id});
    }),
             0);
    QCOMPARE(storage.add(4, 5), 0);
    QCOMPARE(storage.trim(3), 1);
    QCOMPARE(storage.uids(), (QStringList{u"3"_s, u"4"_s, u"5"_s}));
}

void TstStorage::trimMessages_removedByOther_countsWhatIsThere()
{
    OpenStorage storage(bus());
    QCOMPARE(storage.add(1, 3), 0);
    QCOMPARE(storage.trim(3), 0); // counts
    OtherProgram other(bus());
    QVERIFY(other.run("DELETE FROM messages"));
    QCOMPARE(storage.add(4, 4), 0);
    QCOMPARE(storage.trim(3), 0);
    QCOMPARE(storage.uids(), QStringList{u"4"_s});
}

void TstStorage::longValues_areGivenBack()
{
    OpenStorage storage(bus());
    const auto use = [&](const QString& text) {
        Message message = someMessage(u"1"_s);
        message.setMessage(text);
        Storage::StoredMessage found;
        QByteArray none;
        QCOMPARE(storage.writeCode([&] {
            return storage.addMessage(text, message) && storage.nextMessage(text, 0, found)
                && storage.messageById(found.id, found) && storage.loadSettings(text, none)
                && storage.removeMessages(text, {found.id});
        }),
                 0);
        QCOMPARE(found.message.message(), text);
    };
    use(u"short"_s);
    const qint64 before = memoryuse::allocated();
    use(QString(1 << 22, u'x'));
    const qint64 kept = memoryuse::allocated() - before;
    QVERIFY2(kept < 1 << 20, qPrintable(QString::number(kept)));
}

void TstStorage::nullStrings_areStored()
{
    OpenStorage storage;
    Storage::StoredMessage found;
    const int code = storage.writeCode([&] {
        return storage.addMessage(QString(), Message()) && storage.nextMessage(QString(), 0, found)
            && storage.saveState(ClientState());
    });
    QCOMPARE(code, 0);
    QVERIFY(found.id != 0);
}

void TstStorage::write_workFails_isUndone()
{
    OpenStorage storage;
    QCOMPARE(storage.writeCode([&] { return storage.saveState(someState()) && false; }), 512);
    QVariantMap state;
    QCOMPARE(storage.load(state), 0);
    QVERIFY(state.isEmpty());
}

void TstStorage::write_lockedByOther_isAccessErrorUntilItEnds()
{
    OpenStorage storage(bus());
    OtherProgram other(bus());
    QVERIFY(other.lock());
    QCOMPARE(storage.save(), 512);
    QVERIFY(other.unlock());
    QCOMPARE(storage.save(), 0);
}

void TstStorage::read_lockedByOther_goesOn()
{
    makeDatabase();
    OpenStorage storage(bus());
    OtherProgram other(bus());
    QVERIFY(other.lock());
    QVERIFY(storage.hasState());
}

void TstStorage::write_refusedByDatabase_isAccessError()
{
    OpenStorage storage(bus());
    OtherProgram other(bus());
    QVERIFY(other.run("CREATE TRIGGER no BEFORE INSERT ON states BEGIN SELECT RAISE(ABORT, 'no'); END"));
    QCOMPARE(storage.save(), 512);
    QVERIFY(other.run("DROP TRIGGER no"));
    QCOMPARE(storage.save(), 0);
}

void TstStorage::write_thatReadsFirst_isNotOvertaken()
{
    OpenStorage storage(bus());
    OtherProgram other(bus());
    const int code = storage.writeCode([&] {
        QVariantMap state;
        return storage.loadState(someState().owner(), state)
            && !other.run("INSERT INTO states (owner, record) VALUES ('other', '{}')")
            && storage.saveState(someState());
    });
    QCOMPARE(code, 0);
}

void TstStorage::read_tableDropped_isInvalidStorage()
{
    OpenStorage storage(bus());
    QVERIFY(OtherProgram(bus()).run("DROP TABLE states"));
    QVariantMap state;
    QCOMPARE(storage.load(state), 256);
    QCOMPARE(storage.save(), 256);
}

void TstStorage::read_fileOverwritten_isInvalidStorage()
{
    makeDatabase();
    OpenStorage storage(bus());
    QVERIFY(storage.hasState());
    overwrite(bus(), 0, QByteArray(static_cast<int>(QFileInfo(bus()).size()), 'x'));
    QVariantMap state;
    QCOMPARE(storage.load(state), 256);
    QCOMPARE(storage.save(), 256);
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
    OpenStorage storage(bus());
    QVERIFY(QFile::remove(bus()));
    QVERIFY(!isReplaced || QFile::rename(path("copy.sqlite"), bus()));
    QVariantMap state;
    QCOMPARE(storage.load(state), 256);
    QCOMPARE(storage.save(), 256);
}

void TstStorage::read_recordUnreadable_isInvalidStorage()
{
    makeDatabase();
    OpenStorage storage(bus());
    OtherProgram other(bus());
    QVERIFY(other.run("UPDATE states SET record = 'no json'"));
    QVERIFY(other.run("UPDATE messages SET record = 'no json'"));
    QVariantMap state;
    QCOMPARE(storage.load(state), 256);
    Storage::StoredMessage message;
    QCOMPARE(storage.readCode([&] { return storage.nextMessage(u"b"_s, 0, message); }), 256);
}

// Damage in the middle of a list must not count as the end of the list.
void TstStorage::read_damagedAnywhere_isNeverIncomplete()
{
    const int clients = 400;
    const QString publisher = u"p"_s;
    {
        OpenStorage storage(bus());
        const int code = storage.writeCode([&] {
            bool isDone = true;
            for (int number = 0; number < clients; ++number) {
                isDone = isDone && storage.subscribe(u"client %1"_s.arg(number, 100), publisher, 3);
            }
            return isDone;
        });
        QCOMPARE(code, 0);
    }
    const QByteArray sound = contents(bus());
    int damaged = 0;
    for (int offset = 4096; offset < sound.size(); offset += 4096) {
        overwrite(bus(), 0, sound);
        OpenStorage storage(bus());
        overwrite(bus(), offset, QByteArray(4096, 'x'));
        QStringList found;
        const int code = storage.readCode([&] { return storage.subscribers(publisher, 3, found); });
        QVERIFY2(code == 256 || (code == 0 && found.size() == clients), qPrintable(QString::number(found.size())));
        damaged += code == 256 ? 1 : 0;
    }
    QVERIFY(damaged > 2);
}

QTEST_GUILESS_MAIN(TstStorage)
#include "tst_storage.moc"
