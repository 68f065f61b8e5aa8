#include "client/supportedclients.h"
#include "echoservice.h"
#include "testing/testbus.h"

#include <QTest>

#include <memory>

/// The service on a bus of the test's own.
class TstEcho : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void text_comesBack();
    void prefix_isPutBeforeTheText();

private:
    QString echoOf(const QString& text);

    const QString m_name = QStringLiteral("echo");
    tarvex::testing::TestBus m_bus;
    std::unique_ptr<EchoService> m_service; // ends before its bus, because it would try to come back
};

void TstEcho::initTestCase()
{
    QVERIFY2(m_bus.start(), qPrintable(m_bus.errorString()));
    m_service = std::make_unique<EchoService>(m_name); // here, because QtTest has its message handler in place by now
    m_service->doStart();
    QVERIFY2(m_bus.waitForClient(m_name), qPrintable(m_bus.errorString()));
    QVERIFY2(m_bus.waitForSettings(m_name), qPrintable(m_bus.errorString())); // the defaults that it stores
}

void TstEcho::text_comesBack()
{
    QCOMPARE(echoOf(QStringLiteral("hello")), QStringLiteral("hello"));
}

void TstEcho::prefix_isPutBeforeTheText()
{
    tarvex::ClientSettings settings;
    settings.setOwner(m_name);
    settings.setFormattedSettings(
        {{QStringLiteral("echo"), QVariantMap{{QStringLiteral("prefix"), QStringLiteral("loud: ")}}}}, true);
    QVERIFY2(m_bus.saveSettings(settings), qPrintable(m_bus.errorString()));
    const auto isApplied = [](const TarvexCommand& line) {
        return line.data().value(QStringLiteral("text")).toString() == QLatin1String("prefix is now loud: ");
    };
    QVERIFY2(m_bus.waitForCommand(tarvex::BUSNAME_LOGGER, QStringLiteral("saveLog"), isApplied),
             qPrintable(m_bus.errorString()));
    QCOMPARE(echoOf(QStringLiteral("hello")), QStringLiteral("loud: hello"));
}

/// Asks as the client "tester". \return the text of the answer, or why there is none.
QString TstEcho::echoOf(const QString& text)
{
    const QVariantMap data{{QStringLiteral("text"), text}};
    const QString uid = m_bus.sendCommand(QStringLiteral("tester"), m_name, QStringLiteral("echo"), data);
    const auto answer = m_bus.waitForReply(uid);
    return answer ? answer->data().value(QStringLiteral("text")).toString() : m_bus.errorString();
}

QTEST_GUILESS_MAIN(TstEcho)
#include "tst_echo.moc"
