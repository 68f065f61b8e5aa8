#include "failure.h"
#include "literals.h"
#include "newservice/servicefiles.h"
#include "newservice/servicename.h"

#include <QDateTime>
#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

#include <sys/stat.h>

using namespace tarvexctl;

namespace {

Files filesOf(const QString& name, const QStringList& commands = {u"open"_s, u"close"_s})
{
    const QDateTime now(QDate(2026, 3, 1), QTime(9, 5, 7), QTimeZone("Asia/Kathmandu"));
    return serviceFiles(ServiceName(name), commands, u"Ann Müller <ann@example.com>"_s, now);
}

QByteArray sourceOf(const QString& path)
{
    QFile file(QStringLiteral(SOURCES "/") + path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The words of the failure; empty when there was none.
QString failureOf(const QString& folder, const Files& files)
{
    try {
        writeFolder(folder, files);
    } catch (const Failure& failure) {
        return QString::number(failure.status()) + u": "_s + failure.words();
    }
    return QString();
}

QStringList namesIn(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

bool write(const QString& path, const QByteArray& contents)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}

} // namespace

class TstServiceFiles : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void files_areNamedAfterTheService();
    void placeholders_areAllFilledIn();
    void changelog_hasMaintainerAndDate();
    void sharedFiles_areThoseOfTheTree();
    void unit_isThePackagedTemplate();
    void folder_isWritten();
    void emptyFolder_isTaken();
    void whatIsThere_isKept_data();
    void whatIsThere_isKept();
    void failure_leavesNothingBehind();
    void noFolderAround_isRefused();
};

void TstServiceFiles::files_areNamedAfterTheService()
{
    const QStringList names = filesOf(u"ticket_gate"_s).keys();
    QVERIFY(names.size() > 20);
    for (const auto& name : {u"src/ticketgatecommands.cpp"_s, u"tests/tst_ticketgate.cpp"_s, u".gitignore"_s,
                             u"debian/ticket-gate.service"_s, u"README.md"_s, u"ci/run"_s}) {
        QVERIFY2(names.contains(name), qPrintable(name));
    }
}

void TstServiceFiles::placeholders_areAllFilledIn()
{
    static const QRegularExpression placeholder(u"@[A-Z_]+@"_s);
    const Files files = filesOf(u"ticket_gate"_s);
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        QVERIFY2(!file.value().isEmpty(), qPrintable(file.key()));
        QVERIFY2(!file.key().contains(placeholder), qPrintable(file.key()));
        const auto found = placeholder.match(QString::fromUtf8(file.value()));
        QVERIFY2(!found.hasMatch(), qPrintable(file.key() + u": "_s + found.captured()));
    }
}

void TstServiceFiles::changelog_hasMaintainerAndDate()
{
    const QByteArray text = filesOf(u"ticket_gate"_s).value(u"debian/changelog"_s);
    QCOMPARE(text,
             QByteArray("ticket-gate (0.1.0) unstable; urgency=medium\n\n  * First version.\n\n"
                        " -- Ann Müller <ann@example.com>  Sun, 01 Mar 2026 09:05:07 +0545\n"));
}

void TstServiceFiles::sharedFiles_areThoseOfTheTree()
{
    const Files files = filesOf(u"ticket_gate"_s);
    QVERIFY(!sourceOf(u".clang-format"_s).isEmpty());
    QCOMPARE(files.value(u".clang-format"_s), sourceOf(u".clang-format"_s));
    QCOMPARE(files.value(u"src/visible.h"_s), sourceOf(u"examples/common/visible.h"_s));
    QCOMPARE(files.value(u"tests/isolated"_s), sourceOf(u"tests/common/isolated"_s));
}

void TstServiceFiles::unit_isThePackagedTemplate()
{
    QByteArray expected = sourceOf(u"packaging/systemd/service.service.in"_s);
    expected.remove(0, expected.indexOf("\n[Unit]\n") + 1); // the comment at its beginning
    expected.replace("@NAME@", "ticket-gate").replace("@DESCRIPTION@", "Service \"ticket_gate\"");
    QVERIFY(expected.contains("\nExecStart=/usr/bin/ticket-gate\n"));
    QCOMPARE(filesOf(u"ticket_gate"_s).value(u"debian/ticket-gate.service"_s), expected);
}

void TstServiceFiles::folder_isWritten()
{
    const QTemporaryDir around;
    const QString folder = around.filePath(u"gate"_s);
    const mode_t mask = ::umask(027);
    const QString failure = failureOf(folder, {{u"a"_s, "text"}, {u"b/c/d"_s, "#!/bin/sh\n"}});
    ::umask(mask);
    QCOMPARE(failure, QString());
    QCOMPARE(namesIn(around.path()), QStringList(u"gate"_s));
    QFile plain(folder + u"/a"_s);
    QVERIFY(plain.open(QIODevice::ReadOnly));
    QCOMPARE(plain.readAll(), QByteArray("text"));
    QVERIFY(!QFileInfo(folder + u"/a"_s).isExecutable());
    QVERIFY(QFileInfo(folder + u"/b/c/d"_s).isExecutable());
    struct stat status = {};
    QCOMPARE(::stat(QFile::encodeName(folder).constData(), &status), 0);
    QCOMPARE(status.st_mode & 0777, mode_t(0750));
}

void TstServiceFiles::emptyFolder_isTaken()
{
    const QTemporaryDir around;
    const QString folder = around.filePath(u"gate"_s);
    QVERIFY(QDir().mkdir(folder));
    QCOMPARE(failureOf(folder, {{u"a"_s, "text"}}), QString());
    QCOMPARE(namesIn(folder), QStringList(u"a"_s));
}

void TstServiceFiles::whatIsThere_isKept_data()
{
    QTest::addColumn<QString>("what");
    for (const char* const what : {"file", "folder with a hidden file", "link to nothing", "link to an empty folder"}) {
        QTest::newRow(what) << QString::fromLatin1(what);
    }
}

void TstServiceFiles::whatIsThere_isKept()
{
    QFETCH(QString, what);
    const QTemporaryDir around;
    const QTemporaryDir empty;
    const QString folder = around.filePath(u"gate"_s);
    if (what == u"file"_s) {
        QVERIFY(write(folder, "mine"));
    } else if (what == u"folder with a hidden file"_s) {
        QVERIFY(QDir().mkdir(folder) && write(folder + u"/.mine"_s, "mine"));
    } else {
        QVERIFY(QFile::link(what == u"link to nothing"_s ? u"nothing"_s : empty.path(), folder));
    }
    QCOMPARE(failureOf(folder, {{u"a"_s, "text"}}), u"1: %1 is there already and is left as it is"_s.arg(folder));
    QCOMPARE(namesIn(around.path()), QStringList(u"gate"_s));
    QVERIFY(!QFileInfo::exists(folder + u"/a"_s));
}

void TstServiceFiles::failure_leavesNothingBehind()
{
    const QTemporaryDir around;
    const QString folder = around.filePath(u"gate"_s);
    // "a" is a file, so no file can be in it.
    const QString failure = failureOf(folder, {{u"a"_s, "text"}, {u"a/b"_s, "text"}});
    QVERIFY2(failure.startsWith(u"2: cannot write %1/a/b: "_s.arg(folder)), qPrintable(failure));
    QVERIFY2(failure.endsWith(u"; nothing was written"_s), qPrintable(failure));
    QCOMPARE(namesIn(around.path()), QStringList());
}

void TstServiceFiles::noFolderAround_isRefused()
{
    const QTemporaryDir around;
    const QString folder = around.filePath(u"none/gate"_s);
    const QString failure = failureOf(folder, {{u"a"_s, "text"}});
    QVERIFY2(failure.startsWith(u"2: cannot write %1: "_s.arg(folder)), qPrintable(failure));
    QCOMPARE(namesIn(around.path()), QStringList());
}

QTEST_GUILESS_MAIN(TstServiceFiles)
#include "tst_servicefiles.moc"
