#ifndef DATABASE_H
#define DATABASE_H

#include "fileinfo.h"
#include "records/tarvexerror.h"

#include <QHash>
#include <QList>
#include <QSqlQuery>
#include <QString>
#include <QVariantList>

#include <functional>
#include <optional>

namespace tarvex::devbus {

/// The SQLite file of the bus's storage. Opens it without harm to files of others, runs the transactions, and gives the
/// error codes.
///
/// Used in the thread that opened it. A statement waits for another program's lock for up to 500 ms.
class Database
{
public:
    /// An empty \a path means memory. Nothing is opened yet.
    explicit Database(const QString& path);
    ~Database();
    Q_DISABLE_COPY_MOVE(Database)

    /// Opens the file, and creates it when it does not exist or is empty. A file that is damaged, or no database of
    /// this program, is left byte for byte as it is. A symbolic link stays one; the file that it leads to is opened or
    /// created.
    /// \return why it cannot be used, or NoError.
    TarvexError open();
    void close();

    /// Called with the reason of each transaction that fails from now on.
    void setFailureHandler(const std::function<void(const QString&)>& handler) { m_failureHandler = handler; }

    /// Runs \a work in one transaction, which is committed when it returns true and undone otherwise. \a work uses the
    /// statements below.
    /// \return NoError once it is committed; InvalidDataStorage or StorageAccessError, with the texts that these have
    /// on the bus, when a statement failed.
    TarvexError read(const std::function<bool()>& work);
    TarvexError write(const std::function<bool()>& work);

    using Rows = QList<QVariantList>;

    /// One statement that gives no rows. Null strings are stored as empty ones.
    /// \return false on failure, which read() and write() then report.
    bool run(const QString& sql, const QVariantList& values = {}, int* affectedRows = nullptr);
    /// One statement that gives rows; \a rows is complete or untouched.
    bool select(const QString& sql, const QVariantList& values, Rows& rows);
    /// Reports that the content of the file makes no sense. \return false
    bool reportDamage(const QString& what);

private:
    bool openInMemory();
    bool openFile();
    bool findPlace();
    bool checkFile();
    bool createFile();
    bool openConnection(const QString& fileName, const QString& options);
    bool checkIdentity();
    bool checkContents();
    bool createTables();
    bool configure();
    bool noteFile();
    bool isFileInPlace();
    TarvexError transact(const QString& begin, const std::function<bool()>& work);
    QSqlQuery* execute(const QString& sql, const QVariantList& values);
    QSqlQuery* prepared(const QString& sql);
    void finish(const QString& sql, const QVariantList& values);
    bool fail(TarvexError::Error code, const QString& text);

    bool isInMemory() const { return m_path.isEmpty(); }

    QString m_path;
    const QString m_connectionName;
    std::optional<programs::FileIdentity> m_file; ///< Only once it is open; empty for one in memory.
    QHash<QString, QSqlQuery> m_queries;          ///< By their text, of which there are few.
    TarvexError m_failure; ///< What failed last in the present transaction or in opening, and the reason.
    std::function<void(const QString&)> m_failureHandler;
};

} // namespace tarvex::devbus

#endif // DATABASE_H
