#include "framefilter.h"

#include "failure.h"
#include "someframes.h"

#include <QTest>

using namespace someframes;
using namespace tarvexctl;

namespace {

const QString PRINT = u"{\"cmd\":\"print\",\"data\":{\"copies\":1}}"_s;

/// A talk: gui sends a command to printer and a text to its subscribers, and asks for a state in vain.
QList<SeenFrame> talk()
{
    const SeenFrame send = message(2, u"gui"_s, u"printer"_s, PRINT);
    const SeenFrame pushed = push(4, u"gui"_s, u"printer"_s, PRINT);
    const SeenFrame open = message(6, u"gui"_s, QString(), u"hello"_s);
    const SeenFrame load = request(8, u"gui"_s, u"loadState"_s, {{u"owner"_s, u"door"_s}});
    const SeenFrame error =
        message(10, u"printer"_s, u"gui"_s, u"{\"cmd\":\"commandError\",\"data\":{\"errorText\":\"no\"}}"_s);
    return {incident(1, Kind::Opened),
            send,
            reply(3, send, 2000),
            pushed,
            reply(5, pushed, 9000),
            open,
            reply(7, open, 500),
            load,
            refusal(9, load, 5, u"There is no state"_s),
            error,
            reply(11, error, 100),
            incident(12, Kind::Closed, u"printer"_s),
            incident(13, Kind::Gap, QString(), u"7 frames are missing"_s)};
}

QList<qint64> wanted(const FrameCriteria& criteria)
{
    FrameFilter filter(criteria);
    QList<qint64> numbers;
    const QList<SeenFrame> frames = talk();
    for (const SeenFrame& frame : frames) {
        if (filter.takes(frame)) {
            numbers.append(frame.number);
        }
    }
    return numbers;
}

FrameCriteria client(const QString& name)
{
    FrameCriteria criteria;
    criteria.client = name;
    return criteria;
}

FrameCriteria from(const QString& name)
{
    FrameCriteria criteria;
    criteria.from = name;
    return criteria;
}

FrameCriteria to(const QString& name)
{
    FrameCriteria criteria;
    criteria.to = name;
    return criteria;
}

FrameCriteria command(const QString& name)
{
    FrameCriteria criteria;
    criteria.command = name;
    return criteria;
}

FrameCriteria operation(const QString& name)
{
    FrameCriteria criteria;
    criteria.operation = name;
    return criteria;
}

FrameCriteria errors(FrameCriteria criteria = {})
{
    criteria.errors = true;
    return criteria;
}

FrameCriteria slow(double ms, FrameCriteria criteria = {})
{
    criteria.slowMs = ms;
    return criteria;
}

} // namespace

class TstFrameFilter : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void takes_data();
    void takes();
    void slow_alsoTakesLateAnswersToCommands();
    void replyToForgottenRequest_countsByItself();
    void numbersBeginAgain_requestsAreForgotten();
    void operationUnknown_isRefused();
    void operationKnown_isTaken();
    void nameEmpty_isRefused();
};

Q_DECLARE_METATYPE(FrameCriteria)

void TstFrameFilter::takes_data()
{
    QTest::addColumn<FrameCriteria>("criteria");
    QTest::addColumn<QList<qint64>>("numbers");
    using Numbers = QList<qint64>;
    QTest::newRow("nothing set") << FrameCriteria() << Numbers{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};
    QTest::newRow("client") << client(u"printer"_s) << Numbers{2, 3, 4, 5, 10, 11, 12, 13};
    QTest::newRow("from") << from(u"gui"_s) << Numbers{2, 3, 4, 5, 6, 7, 8, 9, 13};
    QTest::newRow("to") << to(u"printer"_s) << Numbers{2, 3, 4, 5, 13};
    QTest::newRow("to the bus") << to(u"bus"_s) << Numbers{1, 8, 9, 12, 13};
    QTest::newRow("command") << command(u"print"_s) << Numbers{2, 3, 4, 5, 13};
    QTest::newRow("operation") << operation(u"loadState"_s) << Numbers{8, 9, 13};
    QTest::newRow("errors") << errors() << Numbers{9, 10, 13};
    QTest::newRow("slow") << slow(2) << Numbers{3, 5, 13};
    QTest::newRow("command and slow") << slow(3, command(u"print"_s)) << Numbers{5, 13};
    QTest::newRow("errors and client") << errors(client(u"printer"_s)) << Numbers{10, 13};
    QTest::newRow("slow and errors") << slow(2, errors()) << Numbers{13};
}

void TstFrameFilter::takes()
{
    QFETCH(FrameCriteria, criteria);
    QFETCH(QList<qint64>, numbers);
    QCOMPARE(wanted(criteria), numbers);
}

void TstFrameFilter::slow_alsoTakesLateAnswersToCommands()
{
    FrameFilter filter(slow(300));
    SeenFrame answer = request(1, u"printer"_s, u"sendMessage"_s, {});
    QVERIFY(!filter.takes(answer));
    answer.call = 5;
    answer.callUs = 299999;
    QVERIFY(!filter.takes(answer));
    answer.callUs = 300000;
    QVERIFY(filter.takes(answer));
}

void TstFrameFilter::replyToForgottenRequest_countsByItself()
{
    FrameFilter filter(command(u"print"_s));
    const SeenFrame first = message(1, u"gui"_s, u"printer"_s, PRINT);
    QVERIFY(filter.takes(first));
    qint64 number = 1;
    for (std::size_t count = 1; count < RequestMemory::MAX_REQUESTS; ++count) {
        QVERIFY(!filter.takes(request(++number, u"gui"_s, u"loadState"_s, {})));
    }
    QVERIFY(filter.takes(reply(++number, first)));
    QVERIFY(!filter.takes(request(++number, u"gui"_s, u"loadState"_s, {})));
    QVERIFY(!filter.takes(reply(++number, first)));
}

void TstFrameFilter::numbersBeginAgain_requestsAreForgotten()
{
    FrameFilter filter(command(u"print"_s));
    const SeenFrame sent = message(5, u"gui"_s, u"printer"_s, PRINT);
    QVERIFY(filter.takes(sent));
    QVERIFY(!filter.takes(incident(1, Kind::Opened)));
    QVERIFY(!filter.takes(reply(6, sent)));
}

void TstFrameFilter::operationUnknown_isRefused()
{
    try {
        checkOperation(operation(u"saveStat"_s));
        QFAIL("it was taken");
    } catch (const Failure& failure) {
        QCOMPARE(failure.status(), WrongUse);
        QVERIFY(
            failure.words().startsWith(u"--operation: there is no operation \"saveStat\"; there are handshake, "_s));
    }
}

void TstFrameFilter::operationKnown_isTaken()
{
    checkOperation(operation(u"sendMessage"_s));
    checkOperation(FrameCriteria());
}

void TstFrameFilter::nameEmpty_isRefused()
{
    QVERIFY_EXCEPTION_THROWN(checkClients(from(QString())), Failure);
}

QTEST_GUILESS_MAIN(TstFrameFilter)
#include "tst_framefilter.moc"
