#include "kit.h"

#include <QFile>
#include <QTemporaryDir>

namespace {

const QByteArray PRINTER_FILE(R"({"services": {"printer": {
    "state": {"text": "ready", "type": 1},
    "settings": [{"group": "printer", "key": "copies", "value": 2}],
    "commands": {"print": {"reply": {"name": "printed", "data": {"text": "${data.text}"}}}}
}, "scanner": {}}})");

} // namespace

/// Stand-ins on the bus of a test.
class TstTestBusMock : public KitTest
{
    Q_OBJECT
private Q_SLOTS:
    void standIns_areThereAtOnce();
    void command_isAnsweredAndRecorded();
    void clientUnderTest_getsTheAnswer();
    void standIns_comeBackWithTheBus();
    void standIns_leaveWithTheBus();
    void wrongFile_isToldWithItsLine();
    void missingFile_isTold();
    void stoppedBus_isTold();
    void nameTaken_isTold();
    void sameFileTwice_isTold();
    void twoFiles_standSideBySide();
    void refusedHandshake_isToldAndNobodyStays();

private:
    /// Writes a file into the test's folder. \return its name
    QString file(const QByteArray& text = PRINTER_FILE, const QString& name = u"mock.json"_s);

    QTemporaryDir m_folder;
};

QString TstTestBusMock::file(const QByteArray& text, const QString& name)
{
    QFile file(m_folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size()) {
        qFatal("the file cannot be written");
    }
    return file.fileName();
}

void TstTestBusMock::standIns_areThereAtOnce()
{
    QVERIFY2(m_bus->mock(file()), qPrintable(m_bus->errorString()));
    QVERIFY(m_bus->waitForClient(printer(), 0));
    QVERIFY(m_bus->waitForClient(u"scanner"_s, 0));
    QCOMPARE(m_bus->state(printer()).value_or(ClientState()).state(), u"ready"_s);
    QCOMPARE(m_bus->settings(printer()).value_or(ClientSettings()).settings().size(), 1);
    QVERIFY(m_bus->waitForState(printer(), 0));
}

void TstTestBusMock::command_isAnsweredAndRecorded()
{
    QVERIFY2(m_bus->mock(file()), qPrintable(m_bus->errorString()));
    const auto reply = m_bus->waitForReply(m_bus->sendCommand(cashbox(), printer(), print(), {{u"text"_s, u"a"_s}}));
    QVERIFY2(reply, qPrintable(m_bus->errorString()));
    QCOMPARE(reply->name(), u"printed"_s);
    QCOMPARE(textOf(reply), u"a"_s);
}

void TstTestBusMock::clientUnderTest_getsTheAnswer()
{
    //! [mock]
    QVERIFY2(m_bus->mock(file()), qPrintable(m_bus->errorString()));
    OpenClient client(cashbox());
    const Message message = commandMessage(printer(), print(), u"zone A"_s);
    QVERIFY(client.sendMessage(message));
    const auto sent = m_bus->waitForCommand(printer(), print());
    QVERIFY2(sent, qPrintable(m_bus->errorString()));
    QCOMPARE(sent->agent(), cashbox());
    const auto answer = m_bus->waitForCommand(cashbox(), u"printed"_s);
    QVERIFY2(answer, qPrintable(m_bus->errorString()));
    QCOMPARE(answer->agent(), printer());
    QCOMPARE(answer->uid(), sent->uid());
    //! [mock]
}

void TstTestBusMock::standIns_comeBackWithTheBus()
{
    QVERIFY2(m_bus->mock(file()), qPrintable(m_bus->errorString()));
    QVERIFY(m_bus->restart());
    QVERIFY2(m_bus->waitForClient(printer()), qPrintable(m_bus->errorString()));
    QVERIFY2(m_bus->waitForReply(m_bus->sendCommand(cashbox(), printer(), print())), qPrintable(m_bus->errorString()));
}

void TstTestBusMock::standIns_leaveWithTheBus()
{
    QVERIFY2(m_bus->mock(file()), qPrintable(m_bus->errorString()));
    m_bus = std::make_unique<TestBus>();
    QVERIFY2(m_bus->start(), qPrintable(m_bus->errorString()));
    QVERIFY(!m_bus->waitForClient(printer(), 3000)); // a stand-in that was left behind tries again every second
}

void TstTestBusMock::wrongFile_isToldWithItsLine()
{
    const QString name = file("{\"services\": {\n\"a\": 1,\n\"b\": 2}}");
    QVERIFY(!m_bus->mock(name));
    QCOMPARE(m_bus->errorString(), u"%1:2: a service must be an object\n%1:3: a service must be an object"_s.arg(name));
}

void TstTestBusMock::missingFile_isTold()
{
    QVERIFY(!m_bus->mock(u"/nowhere/mock.json"_s));
    QCOMPARE(m_bus->errorString(), u"/nowhere/mock.json: cannot be read: No such file or directory"_s);
}

void TstTestBusMock::stoppedBus_isTold()
{
    m_bus->stop();
    const QString name = file();
    QVERIFY(!m_bus->mock(name));
    QCOMPARE(m_bus->errorString(), name + u": the bus is not running"_s);
}

void TstTestBusMock::nameTaken_isTold()
{
    const OpenClient client;
    QVERIFY2(m_bus->waitForClient(printer(), TestBus::DEFAULT_TIMEOUT_MS, TestBus::Connections::Query),
             qPrintable(m_bus->errorString()));
    const QString name = file();
    QVERIFY(!m_bus->mock(name));
    QCOMPARE(m_bus->errorString(), name + u": \"printer\" is on the bus already"_s);
    QVERIFY(client.isOpen());
    QVERIFY(!m_bus->waitForClient(u"scanner"_s, 0));
}

void TstTestBusMock::sameFileTwice_isTold()
{
    QVERIFY2(m_bus->mock(file()), qPrintable(m_bus->errorString()));
    QVERIFY(!m_bus->mock(file()));
    QVERIFY(m_bus->errorString().contains(u"is on the bus already"_s));
    QVERIFY2(m_bus->waitForReply(m_bus->sendCommand(cashbox(), printer(), print())), qPrintable(m_bus->errorString()));
}

void TstTestBusMock::twoFiles_standSideBySide()
{
    QVERIFY2(m_bus->mock(file()), qPrintable(m_bus->errorString()));
    QVERIFY2(m_bus->mock(file("{\"services\": {\"gate\": {}}}", u"gate.json"_s)), qPrintable(m_bus->errorString()));
    QVERIFY(m_bus->waitForClient(printer(), 0));
    QVERIFY(m_bus->waitForClient(u"gate"_s, 0));
}

void TstTestBusMock::refusedHandshake_isToldAndNobodyStays()
{
    m_bus->failRequests(u"handshake"_s, TarvexError::UnregisteredClient, printer());
    const QString name = file();
    QVERIFY(!m_bus->mock(name));
    QVERIFY2(m_bus->errorString().startsWith(name + u": the stand-ins have not all joined the bus within"_s),
             qPrintable(m_bus->errorString()));
    QVERIFY2(m_bus->waitForDisconnected(u"scanner"_s), qPrintable(m_bus->errorString()));
}

QTEST_GUILESS_MAIN(TstTestBusMock)

#include "tst_testbus_mock.moc"
