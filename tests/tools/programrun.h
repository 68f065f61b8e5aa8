#ifndef PROGRAMRUN_H
#define PROGRAMRUN_H

#include "childprocess.h"

#include <QByteArrayList>

/// The result of a run: exit status, stdout and stderr.
struct Ending
{
    int status;
    QByteArray out;
    QByteArray err;

    bool operator==(const Ending& other) const
    {
        return status == other.status && out == other.out && err == other.err;
    }
};

/// For QCOMPARE.
char* toString(const Ending& ending);

/// An ending with these \a words on stderr, each on a line of its own that begins with the program's name.
Ending ended(int status, const QByteArrayList& words = {}, const QByteArray& out = {});

/// The words as the program writes them to stderr.
QByteArray told(const QByteArray& words);

/// The words of a command line. A word with blanks stands in single quotes, and '' is an empty word.
QStringList words(const QString& line);

/// One run of tarvexctl. The constructor starts it. SIGINT has its default meaning in it, however the test itself was
/// started, unless the circumstances say that it is ignored.
class ProgramRun : public ChildProcess
{
public:
    /// What differs from an ordinary run.
    enum Circumstances {
        Ordinary,
        StdoutFull,      ///< The device of its stdout is full.
        StdoutUnread,    ///< Its stdout is a pipe that nobody reads any more.
        StdoutClosed,    ///< It is started without stdout.
        StreamsTogether, ///< Its stderr goes where its stdout goes, as on a terminal.
        StdinEmpty,      ///< Its stdin is empty.
        InterruptIgnored ///< SIGINT is ignored, as in a background job of a shell.
    };

    explicit ProgramRun(const QStringList& arguments, Circumstances circumstances = Ordinary);
    /// The same with the words() of \a line.
    explicit ProgramRun(const QString& line, Circumstances circumstances = Ordinary);
    /// The same, and its stdout is piped into \a reader.
    ProgramRun(const QString& line, QProcess& reader);

    /// The program's file.
    static QString program();

    /// Waits for the end. The status is -1 when the program did not end in time or crashed.
    Ending ending(int patienceMs = PATIENCE_MS);

    /// Sends SIGINT and waits for the end. \return as ending()
    Ending interrupted();
};

#endif // PROGRAMRUN_H
