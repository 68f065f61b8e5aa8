#ifndef OTHERPROGRAM_H
#define OTHERPROGRAM_H

#include "literals.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QString>

/// Another program at work on a database file. It never waits for a lock.
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

    /// Nobody else can write from here on, until unlock() or the end of this object.
    bool lock() { return run("BEGIN IMMEDIATE"); }

    bool unlock() { return run("COMMIT"); }
};

#endif // OTHERPROGRAM_H
