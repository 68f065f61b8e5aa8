#include "literals.h"
#include "newservice/maintainer.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace tarvexctl;

class TstMaintainer : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void person_data();
    void person();
    void noGit_isNobody();

private:
    QTemporaryDir m_folder;
};

/// In a folder that belongs to no repository, with a configuration of git of its own.
void TstMaintainer::initTestCase()
{
    QVERIFY(QDir::setCurrent(m_folder.path()));
    qputenv("HOME", m_folder.path().toUtf8());
    qputenv("GIT_CONFIG_NOSYSTEM", "1");
    for (const char* const variable : {"GIT_CONFIG_GLOBAL", "GIT_DIR", "XDG_CONFIG_HOME"}) {
        qunsetenv(variable);
    }
}

void TstMaintainer::person_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("address");
    QTest::addColumn<QByteArray>("git");
    QTest::addColumn<QString>("maintainer");
    const QByteArray git("[user]\nname = Jan Git\nemail = git@example.com\n");
    const QByteArray none;
    const QString nobody;
    QTest::newRow("environment") << QByteArray("Ann Müller") << QByteArray("ann@example.com") << git
                                 << u"Ann Müller <ann@example.com>"_s;
    QTest::newRow("git") << none << none << git << u"Jan Git <git@example.com>"_s;
    QTest::newRow("each from where it is") << QByteArray("Ann") << none << git << u"Ann <git@example.com>"_s;
    QTest::newRow("unknown") << none << none << none << nobody;
    QTest::newRow("no name") << none << QByteArray("ann@example.com") << none << nobody;
    QTest::newRow("no address") << QByteArray("Ann") << none << none << nobody;
    QTest::newRow("no address, but a word") << QByteArray("Ann") << QByteArray("ann") << none << nobody;
    QTest::newRow("address with a name") << QByteArray("Ann") << QByteArray("Ann <a@example.com>") << none << nobody;
    QTest::newRow("line end") << QByteArray("Ann\nBob") << QByteArray("a@example.com") << none << nobody;
    QTest::newRow("comma") << QByteArray("Müller, Ann") << QByteArray("a@example.com") << none << nobody;
}

void TstMaintainer::person()
{
    QFETCH(QByteArray, name);
    QFETCH(QByteArray, address);
    QFETCH(QByteArray, git);
    qputenv("DEBFULLNAME", name);
    qputenv("DEBEMAIL", address);
    QFile file(m_folder.filePath(u".gitconfig"_s));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(git) == git.size());
    file.close();
    QTEST(maintainer().value_or(QString()), "maintainer");
}

void TstMaintainer::noGit_isNobody()
{
    qputenv("DEBFULLNAME", "");
    qputenv("DEBEMAIL", "");
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", "/nonexistent");
    const auto person = maintainer();
    qputenv("PATH", path);
    QVERIFY(!person);
}

QTEST_GUILESS_MAIN(TstMaintainer)
#include "tst_maintainer.moc"
