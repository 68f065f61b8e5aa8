#include "kit.h"

#include "client/supportedclients.h"

namespace {

/// A line of errorString() after a failed wait; line 0 is the first request in it.
QString toldLine(const TestBus& bus, int number)
{
    return bus.errorString().split(QLatin1Char('\n')).value(number + 2);
}

bool isNever(const ClientState& /*state*/)
{
    return false;
}

/// Sends a message as the cashbox. \return its uid.
QString sent(TestBus& bus, const QString& reciever)
{
    return bus.sendMessage(samples::someMessage(reciever, u"hello"_s, u"u1"_s));
}

} // namespace

/// The errorString() of a wait that has failed.
class TstWaitReport : public KitTest
{
    Q_OBJECT
private Q_SLOTS:
    void everyWait_tellsFirstWhatItWasFor_data();
    void everyWait_tellsFirstWhatItWasFor();
    void saysWhatCame();
    void tellsWhatTheWaitHasSkipped();
    void tellsNoiseLast();
    void cutsWhatIsLong();
    void isShortInBytes_data();
    void isShortInBytes();
    void showsNoControlCharacters();
};

void TstWaitReport::everyWait_tellsFirstWhatItWasFor_data()
{
    QTest::addColumn<Act>("wait");
    QTest::addColumn<QString>("beginning");
    QTest::addColumn<QString>("nearest");
    const auto row = [](const QString& beginning, const QString& nearest, const Act& wait) {
        QTest::newRow(qPrintable(beginning)) << wait << beginning << nearest;
    };
    const QString handshake = u"\"printer\", handshake: {\"name\":\"printer\"} (refused: 3 Unregisterd client)"_s;
    const QString toCashbox = u"\"cashbox\" to \"cashbox\": to itself"_s;
    const QString latest = u"\"cashbox\" to \"printer\": the latest"_s;
    const QString state = u"\"cashbox\", saveState: {..."_s;
    row(u"\"printer\" has not joined the bus"_s, handshake,
        [](TestBus& bus) { return bus.waitForClient(printer(), SHORT_MS); });
    row(u"\"cashbox\" has not left the bus"_s, latest,
        [](TestBus& bus) { return bus.waitForDisconnected(cashbox(), SHORT_MS); });
    row(u"the message \"u1\" was not acknowledged"_s, handshake,
        [](TestBus& bus) { return bus.waitForAcknowledged(sent(bus, printer()), SHORT_MS); });
    row(u"a reply to \"cashbox\" with the uid \"u1\" has not come"_s, toCashbox,
        [](TestBus& bus) { return bus.waitForReply(sent(bus, printer()), SHORT_MS).has_value(); });
    row(u"the command \"print\" to \"cashbox\" has not come"_s, toCashbox,
        [](TestBus& bus) { return bus.waitForCommand(cashbox(), print(), SHORT_MS).has_value(); });
    row(u"a command to \"cashbox\" has not come"_s, toCashbox,
        [](TestBus& bus) { return bus.waitForCommand(cashbox(), QString(), SHORT_MS).has_value(); });
    row(u"a message to \"monitoring\" has not come"_s, latest,
        [](TestBus& bus) { return bus.waitForMessage(tarvex::BUSNAME_MONITORING, SHORT_MS).has_value(); });
    row(u"a state of \"printer\" has not come"_s, latest,
        [](TestBus& bus) { return bus.waitForState(printer(), SHORT_MS).has_value(); });
    row(u"the state of \"cashbox\" that was wanted has not come"_s, state,
        [](TestBus& bus) { return bus.waitForState(cashbox(), isNever, SHORT_MS).has_value(); });
    row(u"settings of \"cashbox\" have not come"_s,
        u"\"cashbox\", saveSettings: {... (refused: 512 Storage access error)"_s,
        [](TestBus& bus) { return bus.waitForSettings(cashbox(), SHORT_MS).has_value(); });
    row(u"the request \"loadState\" of \"printer\" has not come"_s, handshake,
        [](TestBus& bus) { return bus.waitForRequest(printer(), u"loadState"_s, SHORT_MS).has_value(); });
}

void TstWaitReport::everyWait_tellsFirstWhatItWasFor()
{
    QFETCH(Act, wait);
    QFETCH(QString, beginning);
    QFETCH(QString, nearest);
    m_bus->failRequests(u"handshake"_s, TarvexError::UnregisteredClient, printer());
    const BusClient refused(BusClient::QUERY_PORT, printer());
    OpenClient client(cashbox());
    QVERIFY(client.saveState(stateOf(QString(), u"1"_s)));
    QVERIFY(client.sendMessage(plainMessage(cashbox(), u"to itself"_s)));
    m_bus->failRequests(u"saveSettings"_s, TarvexError::StorageAccessError);
    QVERIFY(!client.saveSettings(samples::someSettings(QString())));
    QCOMPARE(client.lastOutcome().toString(),
             u"refused: 512 Storage access error"_s); // the kit says it as the client does
    QVERIFY(client.sendMessage(plainMessage(printer(), u"the latest"_s)));

    QVERIFY(!wait(*m_bus));
    const QString told = m_bus->errorString();
    QVERIFY2(told.startsWith(beginning
                             + u" within 100 ms. There: cashbox on the query port; nobody on the receiver "
                               "port.\nCame and was not taken, 6 in all:\n"_s),
             qPrintable(told));
    const QString line = told.section(QLatin1Char('\n'), 2, 2);
    const QStringList ends = nearest.split(u"..."_s);
    QVERIFY2(line.startsWith(u"  "_s + ends.first()) && line.endsWith(ends.last()), qPrintable(told));
}

void TstWaitReport::saysWhatCame()
{
    OpenClient client;
    QVERIFY(client.sendMessage(commandMessage(cashbox(), print(), u"A"_s)));
    QVERIFY(client.subscribe(QStringList{cashbox()}));
    m_bus->ignoreRequests(u"handshake"_s);
    BusClient unheard(BusClient::QUERY_PORT);
    QVERIFY(unheard.sendRequest(u"handshake"_s, {{u"name"_s, cashbox()}}));
    QVERIFY(!m_bus->waitForCommand(cashbox(), u"printed"_s, SHORT_MS));
    const QString expected = u"the command \"printed\" to \"cashbox\" has not come within 100 ms. "
                             "There: printer on the query port; nobody on the receiver port.\n"
                             "Came and was not taken, 4 in all:\n"
                             "  \"printer\" to \"cashbox\": {\"cmd\":\"print\",\"data\":{\"text\":\"A\"}}\n"
                             "  \"cashbox\", handshake: {\"name\":\"cashbox\"} (not answered)\n"
                             "  \"printer\", subscribe: {\"publishers\":[{\"goal\":3,\"name\":\"cashbox\"}]}\n"
                             "  \"printer\", handshake: {\"name\":\"printer\"}"_s;
    QCOMPARE(m_bus->errorString(), expected);
    m_bus->clear();
    QVERIFY(!m_bus->waitForCommand(cashbox(), QString(), 0));
    QCOMPARE(m_bus->errorString(),
             u"a command to \"cashbox\" has not come within 0 ms. There: printer on the query port; "
             "nobody on the receiver port.\nNothing came that was not taken."_s);
}

void TstWaitReport::tellsWhatTheWaitHasSkipped()
{
    OpenClient client(cashbox());
    QVERIFY(client.saveState(stateOf(QString(), u"1"_s)));
    QVERIFY(client.saveState(stateOf(QString(), u"2"_s)));
    QVERIFY(client.sendMessage(plainMessage(printer(), u"later"_s)));
    QVERIFY(!m_bus->waitForState(cashbox(), isNever, 0));
    const QByteArray told = m_bus->errorString().toUtf8();
    QVERIFY2(told.contains("\nCame and was not taken, 4 in all:\n"), told.constData());
    QVERIFY2(toldLine(*m_bus, 0).contains(QLatin1String(R"("state":"2")")), told.constData());
    QVERIFY2(toldLine(*m_bus, 1).contains(QLatin1String(R"("state":"1")")), told.constData());
    QCOMPARE(toldLine(*m_bus, 2), u"  \"cashbox\" to \"printer\": later"_s);
}

void TstWaitReport::tellsNoiseLast()
{
    OpenClient client;
    QVERIFY(client.sendMessage(commandMessage(cashbox(), u"commandError"_s)));
    QVERIFY(client.saveState(stateOf(QString(), u"idle"_s)));
    QVERIFY(client.sendMessage(commandMessage(tarvex::BUSNAME_LOGGER, u"saveLog"_s, u"line"_s)));
    QVERIFY(client.sendMessage(commandMessage(tarvex::BUSNAME_LOGGER, u"rotate"_s)));
    QVERIFY(client.sendMessage(commandMessage(tarvex::BUSNAME_TERMINAL_GUI, u"showLogMessage"_s, u"line"_s)));
    QVERIFY(!m_bus->waitForCommand(cashbox(), u"printed"_s, 0));
    QStringList lines = m_bus->errorString().split(QLatin1Char('\n'));
    QVERIFY(lines.value(4).startsWith(QLatin1String("  \"printer\", saveState: {")));
    lines.removeAt(4); // it holds the time
    QCOMPARE(lines.mid(1),
             (QStringList{u"Came and was not taken, 6 in all:"_s,
                          u"  \"printer\" to \"cashbox\": {\"cmd\":\"commandError\",\"data\":{\"text\":\"\"}}"_s,
                          u"  \"printer\" to \"logger\": {\"cmd\":\"rotate\",\"data\":{\"text\":\"\"}}"_s,
                          u"  \"printer\" to \"terminal_gui\": "
                          "{\"cmd\":\"showLogMessage\",\"data\":{\"text\":\"line\"}}"_s,
                          u"  \"printer\" to \"logger\": {\"cmd\":\"saveLog\",\"data\":{\"text\":\"line\"}}"_s,
                          u"  \"printer\", handshake: {\"name\":\"printer\"}"_s}));
}

void TstWaitReport::cutsWhatIsLong()
{
    OpenClient client;
    for (int number = 1; number <= 30; ++number) {
        const QString text = u"number %1 "_s.arg(number) + QString(100000, QLatin1Char('x'));
        QVERIFY(client.sendMessage(plainMessage(cashbox(), text + u" end"_s)));
    }
    QVERIFY(!m_bus->waitForCommand(cashbox(), print(), 0));
    const QString begin(53, QLatin1Char('x'));
    const QString end(59, QLatin1Char('x'));
    QString expected = u"the command \"print\" to \"cashbox\" has not come within 0 ms. "
                       "There: printer on the query port; nobody on the receiver port.\n"
                       "Came and was not taken, 31 in all:\n"_s;
    for (const int number : {30, 29, 28, 27}) {
        // The text has 100014 characters, 126 of which are shown.
        expected += u"  \"printer\" to \"cashbox\": number %1 %2...(+99888)...%3 end\n"_s.arg(QString::number(number),
                                                                                              begin, end);
    }
    QCOMPARE(m_bus->errorString(), expected + u"  and 27 more"_s);
}

/// QtTest cuts a message at 1024 bytes, and the tested expression is part of the message.
void TstWaitReport::isShortInBytes_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("one byte") << u"x"_s;
    QTest::newRow("two bytes") << u"\u0436"_s;
    QTest::newRow("three bytes") << u"\u20ac"_s;
    QTest::newRow("four bytes") << u"\U0001f39f"_s;
    QTest::newRow("escaped in JSON") << u"\u0001"_s;
}

void TstWaitReport::isShortInBytes()
{
    QFETCH(QString, text);
    const QString name = text.repeated(100);
    OpenClient client(name);
    const BusClient receiver(BusClient::RECEIVER_PORT, name);
    const BusClient second(BusClient::QUERY_PORT, name + cashbox());
    for (int number = 1; number <= 12; ++number) {
        QVERIFY(client.sendMessage(commandMessage(name, text.repeated(number * 20))));
    }
    QVERIFY(!m_bus->waitForCommand(name, text.repeated(1000), 0));
    const QByteArray told = m_bus->errorString().toUtf8();
    QVERIFY2(told.size() <= 900, told.constData());
    QVERIFY2(told.contains("\nCame and was not taken, 15 in all:\n  \""), told.constData());
    const int shown = told.count("\n  \"");
    QVERIFY2(told.endsWith(u"\n  and %1 more"_s.arg(15 - shown).toUtf8()), told.constData());
    QVERIFY2(!told.contains("\ufffd"), told.constData()); // no character was cut in two
}

void TstWaitReport::showsNoControlCharacters()
{
    const QString hostile = u"\x1b[2J\nfaked line"_s;
    OpenClient client(hostile);
    QVERIFY(client.sendMessage(plainMessage(hostile, hostile)));
    QVERIFY(!m_bus->waitForCommand(cashbox(), print(), 0));
    QCOMPARE(m_bus->errorString(),
             u"the command \"print\" to \"cashbox\" has not come within 0 ms. There: ?[2J?faked line on the "
             "query port; nobody on the receiver port.\n"
             "Came and was not taken, 2 in all:\n"
             "  \"?[2J?faked line\" to \"?[2J?faked line\": ?[2J?faked line\n"
             "  \"?[2J?faked line\", handshake: {\"name\":\"\\u001b[2J\\nfaked line\"}"_s);
}

QTEST_GUILESS_MAIN(TstWaitReport)
#include "tst_waitreport.moc"
