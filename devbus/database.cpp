#include "database.h"

#include "failure.h"
#include "words.h"

#include <QFile>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlRecord>
#include <QUrl>
#include <QUuid>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace tarvex::devbus {

using programs::Words;

namespace {

/// Both stand in the header of every file of ours. The id is the text "TxDB"; the version is that of the tables.
constexpr int APPLICATION_ID = 0x54784442;
constexpr int TABLES_VERSION = 1;

/// A statement waits for another program's lock for this long at most, in ms. The whole bus waits meanwhile.
constexpr int BUSY_TIMEOUT_MS = 500;

// SQLite's result codes that say that the file, not the access to it, is at fault.
constexpr int RESULT_CODE_MASK = 0xff;
constexpr int RESULT_ERROR = 1; // our statements are fixed, so this one means tables that are not ours
constexpr int RESULT_CORRUPT = 11;
constexpr int RESULT_NOT_A_DATABASE = 26;

const char* const TABLES[] = {
    "CREATE TABLE states (owner TEXT NOT NULL PRIMARY KEY, record BLOB NOT NULL) WITHOUT ROWID",
    "CREATE TABLE settings (owner TEXT NOT NULL PRIMARY KEY, record BLOB NOT NULL) WITHOUT ROWID",
    ("CREATE TABLE subscriptions (client TEXT NOT NULL, publisher TEXT NOT NULL, goals INTEGER NOT NULL, "
     "PRIMARY KEY (client, publisher)) WITHOUT ROWID"),
    "CREATE INDEX subscriptions_publisher ON subscriptions (publisher)",
    // AUTOINCREMENT: an id is never used again, so the order of ids is the order of arrival.
    "CREATE TABLE messages (id INTEGER PRIMARY KEY AUTOINCREMENT, client TEXT NOT NULL, record BLOB NOT NULL)",
    "CREATE INDEX messages_client ON messages (client, id)",
};
constexpr int TABLE_COUNT = 4;

TarvexError::Error errorCode(const QSqlError& error)
{
    const int code = error.nativeErrorCode().toInt() & RESULT_CODE_MASK;
    const bool isDamage = code == RESULT_ERROR || code == RESULT_CORRUPT || code == RESULT_NOT_A_DATABASE;
    return isDamage ? TarvexError::InvalidDataStorage : TarvexError::StorageAccessError;
}

/// A null string would be stored as NULL, which no column takes.
QVariant bindable(const QVariant& value)
{
    return value.userType() == QMetaType::QString && value.isNull() ? QVariant(QLatin1String("")) : value;
}

/// Of a value that may stay in memory with its statement, in characters or bytes.
constexpr int MAX_KEPT_LENGTH = 1 << 16;

bool isLong(const QVariant& value)
{
    return (value.userType() == QMetaType::QString && value.toString().size() > MAX_KEPT_LENGTH)
        || (value.userType() == QMetaType::QByteArray && value.toByteArray().size() > MAX_KEPT_LENGTH);
}

/// The system itself follows as many.
constexpr int MAX_LINKS = 40;

/// Follows \a path through all links, to the file at their end, which need not exist. Qt and the system give that name
/// only for a file that exists.
/// \return empty when the links lead nowhere
QString behindLinks(const QString& path)
{
    namespace fs = std::filesystem;
    std::error_code error;
    fs::path place = fs::absolute(QFile::encodeName(path).toStdString(), error);
    for (int links = 0; links <= MAX_LINKS; ++links) {
        // A relative link counts from the folder in which it really stands.
        const fs::path folder = fs::canonical(place.parent_path(), error);
        if (error) {
            return QFile::decodeName(place.c_str());
        }
        place = folder / place.filename();
        const fs::path target = fs::read_symlink(place, error);
        if (error) {
            return QFile::decodeName(place.c_str()); // it is no link
        }
        place = folder / target;
    }
    return QString();
}

QString journalPath(const QString& path)
{
    return path + QLatin1String("-wal");
}

} // namespace

Database::Database(const QString& path)
    : m_path(path)
    , m_connectionName(QLatin1String("tarvex-devbus-") + QUuid::createUuid().toString(QUuid::WithoutBraces))
{
}

Database::~Database()
{
    close();
}

TarvexError Database::open()
{
    m_file.reset();
    return (isInMemory() ? openInMemory() : openFile()) ? TarvexError() : m_failure;
}

bool Database::openInMemory()
{
    return openConnection(QStringLiteral(":memory:"), {}) && createTables();
}

bool Database::openFile()
{
    const QFileInfo file(m_path);
    if (file.exists() && !file.isFile()) {
        return fail(TarvexError::StorageAccessError, Words::tr("it is no regular file"));
    }
    if (!findPlace()) {
        return false;
    }
    const bool isNew = !file.exists() || file.size() == 0;
    // SQLite also opens a file that may only be read, and refuses nothing before the first change.
    if (!isNew && ::access(QFile::encodeName(m_path).constData(), W_OK) != 0) {
        return fail(TarvexError::StorageAccessError, qt_error_string());
    }
    return (isNew ? createFile() : checkFile()) && openConnection(m_path, {}) && configure() && noteFile();
}

/// Checks that the file's folder exists. Replaces the name of a link by the name of the file that it leads to, because
/// a new file is moved into place and would replace the link.
bool Database::findPlace()
{
    const bool isLink = QFileInfo(m_path).isSymLink();
    const QString place = isLink ? behindLinks(m_path) : m_path;
    if (place.isEmpty()) {
        return fail(TarvexError::StorageAccessError, Words::tr("it is a link that leads nowhere"));
    }
    if (!QFileInfo(QFileInfo(place).absolutePath()).isDir()) {
        const QString reason = isLink ? Words::tr("it is a link to \"%1\", whose folder does not exist").arg(place)
                                      : Words::tr("its folder does not exist");
        return fail(TarvexError::StorageAccessError, reason);
    }
    m_path = place;
    return true;
}

void Database::close()
{
    if (!QSqlDatabase::contains(m_connectionName)) {
        return;
    }
    m_queries.clear(); // they hold the connection
    QSqlDatabase::database(m_connectionName, false).close();
    QSqlDatabase::removeDatabase(m_connectionName);
}

/// Looks at an existing file through a connection that cannot write.
bool Database::checkFile()
{
    // A read-only connection still leaves files of its own beside a database with a write-ahead log. An immutable
    // connection does not, but it does not see the log. There is a log only when the last bus was killed.
    QString uri = QString::fromLatin1(QUrl::fromLocalFile(QFileInfo(m_path).absoluteFilePath()).toEncoded());
    uri += QLatin1String("?mode=ro");
    if (!QFile::exists(journalPath(m_path))) {
        uri += QLatin1String("&immutable=1");
    }
    const bool isGood = openConnection(uri, QStringLiteral("QSQLITE_OPEN_READONLY;QSQLITE_OPEN_URI;"))
        && checkIdentity() && checkContents();
    close();
    return isGood;
}

/// Makes the database beside its place and moves it there, so that a kill in between leaves no incomplete one there.
bool Database::createFile()
{
    const QString newPath = m_path + QLatin1String(".tarvex-devbus-new");
    QFile::remove(newPath);
    QFile::remove(journalPath(newPath));
    // A killed bus leaves these two. If somebody has then removed its database to begin anew, SQLite would replay the
    // log onto the new one.
    QFile::remove(journalPath(m_path));
    QFile::remove(m_path + QLatin1String("-shm"));
    const bool isMade = openConnection(newPath, {}) && createTables();
    close();
    if (!isMade || std::rename(QFile::encodeName(newPath).constData(), QFile::encodeName(m_path).constData()) != 0) {
        const QString reason = isMade ? qt_error_string() : m_failure.description();
        QFile::remove(newPath);
        return fail(TarvexError::StorageAccessError, reason);
    }
    return true;
}

bool Database::openConnection(const QString& fileName, const QString& options)
{
    close();
    QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connectionName);
    database.setDatabaseName(fileName);
    database.setConnectOptions(options + QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(BUSY_TIMEOUT_MS));
    if (!database.open()) {
        return fail(TarvexError::StorageAccessError, database.lastError().databaseText());
    }
    return true;
}

bool Database::checkIdentity()
{
    Rows id;
    Rows version;
    if (!select(QStringLiteral("PRAGMA application_id"), {}, id)
        || !select(QStringLiteral("PRAGMA user_version"), {}, version)) {
        return false;
    }
    if (id.value(0).value(0).toInt() != APPLICATION_ID) {
        return reportDamage(Words::tr("it is a database of another program"));
    }
    if (version.value(0).value(0).toInt() != TABLES_VERSION) {
        return reportDamage(Words::tr("it was made by another version of this program"));
    }
    return true;
}

bool Database::checkContents()
{
    Rows problems;
    Rows tables;
    if (!select(QStringLiteral("PRAGMA quick_check(1)"), {}, problems)
        || !select(QStringLiteral("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name IN "
                                  "('states', 'settings', 'subscriptions', 'messages')"),
                   {}, tables)) {
        return false;
    }
    const QString verdict = problems.value(0).value(0).toString();
    if (verdict != QLatin1String("ok")) {
        return reportDamage(Words::tr("it is damaged: %1").arg(verdict.simplified()));
    }
    if (tables.value(0).value(0).toInt() != TABLE_COUNT) {
        return reportDamage(Words::tr("it is damaged: tables are missing"));
    }
    return true;
}

bool Database::createTables()
{
    const TarvexError error = write([this] {
        bool isDone = run(QStringLiteral("PRAGMA application_id = %1").arg(APPLICATION_ID))
            && run(QStringLiteral("PRAGMA user_version = %1").arg(TABLES_VERSION));
        for (const char* const table : TABLES) {
            isDone = isDone && run(QString::fromLatin1(table));
        }
        return isDone;
    });
    return !isFailure(error);
}

bool Database::configure()
{
    // What is committed survives the death of this process; after a loss of power the last commits may be missing.
    // Without a page cache each transaction looks at the file anew, so damage done meanwhile shows at once.
    Rows mode;
    return select(QStringLiteral("PRAGMA journal_mode = WAL"), {}, mode)
        && run(QStringLiteral("PRAGMA synchronous = NORMAL")) && run(QStringLiteral("PRAGMA cache_size = 0"))
        && !isFailure(write([] { return true; }));
}

bool Database::noteFile()
{
    m_file = programs::fileIdentity(m_path);
    return m_file || fail(TarvexError::StorageAccessError, qt_error_string());
}

/// SQLite goes on with a file that was removed or replaced, and what it then commits is lost.
bool Database::isFileInPlace()
{
    return !m_file || programs::fileIdentity(m_path) == m_file
        || reportDamage(Words::tr("the file was removed or replaced"));
}

TarvexError Database::read(const std::function<bool()>& work)
{
    return transact(QStringLiteral("BEGIN"), work);
}

TarvexError Database::write(const std::function<bool()>& work)
{
    // IMMEDIATE: the wait for another program's lock happens here. A transaction that has read already cannot wait.
    return transact(QStringLiteral("BEGIN IMMEDIATE"), work);
}

TarvexError Database::transact(const QString& begin, const std::function<bool()>& work)
{
    m_failure = TarvexError(TarvexError::StorageAccessError, QStringLiteral("unknown"));
    if (isFileInPlace() && run(begin)) {
        if (work() && run(QStringLiteral("COMMIT"))) {
            return {};
        }
        // SQLite undoes some failed transactions by itself. Then this statement fails too, and must not hide the first
        // error.
        QSqlQuery(QSqlDatabase::database(m_connectionName, false)).exec(QStringLiteral("ROLLBACK"));
    }
    if (m_failureHandler) {
        m_failureHandler(m_failure.description());
    }
    return {m_failure.error()};
}

bool Database::run(const QString& sql, const QVariantList& values, int* affectedRows)
{
    QSqlQuery* const query = execute(sql, values);
    if (!query) {
        return false;
    }
    if (affectedRows) {
        *affectedRows = query->numRowsAffected();
    }
    finish(sql, values);
    return true;
}

bool Database::select(const QString& sql, const QVariantList& values, Rows& rows)
{
    QSqlQuery* const query = execute(sql, values);
    if (!query) {
        return false;
    }
    const int columns = query->record().count();
    Rows found;
    QVariantList seen = values;
    while (query->next()) {
        QVariantList row;
        for (int column = 0; column < columns; ++column) {
            row.append(query->value(column));
        }
        found.append(row);
        seen += row;
    }
    // next() also returns false when it meets damage.
    const QSqlError error = query->lastError();
    finish(sql, seen);
    if (error.isValid()) {
        return fail(errorCode(error), error.databaseText());
    }
    rows = found;
    return true;
}

bool Database::reportDamage(const QString& what)
{
    return fail(TarvexError::InvalidDataStorage, what);
}

/// \return the query, which the caller finishes, or nothing when it failed.
QSqlQuery* Database::execute(const QString& sql, const QVariantList& values)
{
    QSqlQuery* const query = prepared(sql);
    if (!query) {
        return nullptr;
    }
    for (int i = 0; i < values.size(); ++i) {
        query->bindValue(i, bindable(values.at(i)));
    }
    if (!query->exec()) {
        fail(errorCode(query->lastError()), query->lastError().databaseText());
        m_queries.remove(sql); // Qt may have lost the statement
        return nullptr;
    }
    return query;
}

/// Each statement is prepared once, because that takes longer than most of them run.
QSqlQuery* Database::prepared(const QString& sql)
{
    const auto known = m_queries.find(sql);
    if (known != m_queries.end()) {
        return &*known;
    }
    QSqlQuery query(QSqlDatabase::database(m_connectionName, false));
    query.setForwardOnly(true);
    if (!query.prepare(sql)) {
        fail(errorCode(query.lastError()), query.lastError().databaseText());
        return nullptr;
    }
    return &*m_queries.insert(sql, query);
}

/// Both Qt and SQLite keep the last values of a statement, so a statement with long ones is not kept.
void Database::finish(const QString& sql, const QVariantList& values)
{
    if (std::any_of(values.cbegin(), values.cend(), isLong)) {
        m_queries.remove(sql);
    } else {
        m_queries[sql].finish();
    }
}

bool Database::fail(TarvexError::Error code, const QString& text)
{
    m_failure = TarvexError(code, text);
    return false;
}

} // namespace tarvex::devbus
