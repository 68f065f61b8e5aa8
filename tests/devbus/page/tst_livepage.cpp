#include "devbusprogram.h"
#include "pagedesk.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

namespace {

const QString BEGINNING = u"tarvex-devbus: live page on "_s;

} // namespace

/// The page of the real program.
class TstLivePage : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void address_isToldBeforeTheReadyLine();
    void token_isAnotherOneEachTime();
    void sigterm_endsItAtOnce_whileEventsAreRead();
    void portTaken_exitsWithOne();
    void otherAddresses_areNotServed();

private:
    std::unique_ptr<DevbusProgram> start(const QString& port)
    {
        auto program = std::make_unique<DevbusProgram>(QStringList{u"--memory"_s, u"--http"_s, port});
        program->setVariable(u"XDG_RUNTIME_DIR"_s, m_folder->path());
        return program;
    }

    static QUrl addressOf(DevbusProgram& program) { return QUrl(program.lines().value(0).mid(BEGINNING.size())); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void TstLivePage::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
}

void TstLivePage::address_isToldBeforeTheReadyLine()
{
    const auto program = start(u"0"_s);
    QVERIFY(program->start());
    QVERIFY(program->waitForLines(2));
    QVERIFY2(program->lines().value(0).startsWith(BEGINNING), qPrintable(program->lines().value(0)));
    QVERIFY(program->lines().value(1).startsWith(u"tarvex-devbus: ready on "_s));
    const QUrl address = addressOf(*program);
    QCOMPARE(address.host(), u"127.0.0.1"_s);
    QVERIFY(address.port() > 0);
    QCOMPARE(address.fragment().size(), QStringLiteral("token=").size() + 32);
    QCOMPARE(program->terminate(), 0);
}

void TstLivePage::token_isAnotherOneEachTime()
{
    const auto program = start(u"0"_s);
    QVERIFY(program->start() && program->waitForLines(2));
    const QString token = addressOf(*program).fragment();
    QCOMPARE(program->terminate(), 0);
    const auto second = start(u"0"_s);
    QVERIFY(second->start() && second->waitForLines(2));
    QVERIFY(addressOf(*second).fragment() != token);
    QCOMPARE(second->terminate(), 0);
}

void TstLivePage::sigterm_endsItAtOnce_whileEventsAreRead()
{
    const auto program = start(u"0"_s);
    QVERIFY(program->start() && program->waitForLines(2));
    const int port = addressOf(*program).port();
    std::vector<std::unique_ptr<PageConnection>> readers;
    for (int i = 0; i < 4; ++i) {
        readers.push_back(std::make_unique<PageConnection>(port));
        readers.back()->send("GET /events HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port) + "\r\n\r\n");
        QVERIFY(readers.back()->readUntil("event: hello").contains("event: hello"));
    }
    QCOMPARE(program->terminate(), 0);
    QVERIFY(readers.front()->readAll().startsWith("HTTP/1.1 200 "));
    QCOMPARE(program->err(), QByteArray());
}

void TstLivePage::portTaken_exitsWithOne()
{
    // The bus's own port is one that is taken.
    const auto program = start(u"45535"_s);
    QCOMPARE(program->run(), complained(1, u"cannot listen on 127.0.0.1 port 45535: Address already in use"_s));
}

/// All addresses 127.x.y.z lead to this machine. The page is at one of them only.
void TstLivePage::otherAddresses_areNotServed()
{
    const auto program = start(u"0"_s);
    QVERIFY(program->start() && program->waitForLines(2));
    const int port = addressOf(*program).port();
    QVERIFY(PageConnection::canConnect("127.0.0.1", port));
    QVERIFY(!PageConnection::canConnect("127.0.0.2", port));
    QCOMPARE(program->terminate(), 0);
}

QTEST_GUILESS_MAIN(TstLivePage)
#include "tst_livepage.moc"
