#include "traffic/correlator.h"

#include "literals.h"

#include <QTest>

using namespace tarvex::traffic;

namespace {

/// The frames of a talk, each a millisecond after the one before.
class Talk
{
public:
    SeenFrame query(Kind kind, const QString& operation, qint64 connection = 1)
    {
        SeenFrame frame;
        frame.kind = kind;
        frame.direction = kind == Kind::Request ? Direction::In : Direction::Out;
        frame.operation = operation;
        frame.connection = connection;
        return take(frame);
    }

    SeenFrame push(const QString& uid) { return receiver(Kind::Request, Direction::Out, {{u"UID"_s, uid}}); }

    /// A message of \a client to the bus, with the uid of what it answers.
    SeenFrame answer(const QString& uid, const QString& client = u"printer"_s)
    {
        SeenFrame frame;
        frame.operation = u"sendMessage"_s;
        frame.connection = 3;
        frame.client = client;
        frame.data = {{u"UID"_s, uid}};
        return take(frame);
    }

    SeenFrame acknowledgement(const QString& uid) { return receiver(Kind::Reply, Direction::In, {{u"uid"_s, uid}}); }

    SeenFrame take(SeenFrame frame)
    {
        frame.number = ++m_number;
        m_correlator.take(frame, m_number * 1000);
        return frame;
    }

private:
    SeenFrame receiver(Kind kind, Direction direction, const QVariantMap& data)
    {
        SeenFrame frame;
        frame.kind = kind;
        frame.port = Port::Receiver;
        frame.direction = direction;
        frame.operation = u"sendMessage"_s;
        frame.client = u"printer"_s;
        frame.connection = 2;
        frame.data = data;
        return take(frame);
    }

    Correlator m_correlator;
    qint64 m_number = 0;
};

} // namespace

class TstCorrelator : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void reply_answersItsRequest();
    void reply_afterAnUnansweredRequest_answersTheOneOfItsOperation();
    void reply_ofAnotherOperation_answersTheOldestRequest();
    void reply_ofAnotherConnection_answersNothing();
    void reply_withoutRequest_answersNothing();
    void reply_requestAnsweredAlready_answersNothing();
    void request_inTheSameDirection_isNotAnswered();
    void acknowledgement_answersThePushOfItsUid();
    void acknowledgement_ofARepeatedPush_answersTheOldestFirst();
    void acknowledgement_unknownUid_answersNothing();
    void message_withTheUidOfAPush_answersIt();
    void message_afterARepeatedPush_answersTheFirst();
    void message_ofAnotherClient_answersNothing();
    void message_withoutUid_answersNothing();
    void calls_areBounded();
    void closed_forgetsTheRequests();
    void requests_areBounded();
};

void TstCorrelator::reply_answersItsRequest()
{
    Talk talk;
    const SeenFrame request = talk.query(Kind::Request, u"loadState"_s);
    QCOMPARE(request.answers, 0);
    QCOMPARE(request.tookUs, -1);
    const SeenFrame reply = talk.query(Kind::Reply, u"loadState"_s);
    QCOMPARE(reply.answers, 1);
    QCOMPARE(reply.tookUs, 1000);
}

void TstCorrelator::reply_afterAnUnansweredRequest_answersTheOneOfItsOperation()
{
    Talk talk;
    talk.query(Kind::Request, u"loadState"_s);
    talk.query(Kind::Request, u"saveState"_s);
    QCOMPARE(talk.query(Kind::Reply, u"saveState"_s).answers, 2);
    QCOMPARE(talk.query(Kind::Reply, u"loadState"_s).answers, 1);
}

void TstCorrelator::reply_ofAnotherOperation_answersTheOldestRequest()
{
    Talk talk;
    talk.query(Kind::Request, u"loadState"_s);
    talk.query(Kind::Request, u"saveState"_s);
    QCOMPARE(talk.query(Kind::Reply, u"dance"_s).answers, 1);
}

void TstCorrelator::reply_ofAnotherConnection_answersNothing()
{
    Talk talk;
    talk.query(Kind::Request, u"loadState"_s, 1);
    QCOMPARE(talk.query(Kind::Reply, u"loadState"_s, 2).answers, 0);
    QCOMPARE(talk.query(Kind::Reply, u"loadState"_s, 1).answers, 1);
}

void TstCorrelator::reply_withoutRequest_answersNothing()
{
    Talk talk;
    const SeenFrame reply = talk.query(Kind::Reply, u"loadState"_s);
    QCOMPARE(reply.answers, 0);
    QCOMPARE(reply.tookUs, -1);
}

void TstCorrelator::reply_requestAnsweredAlready_answersNothing()
{
    Talk talk;
    talk.query(Kind::Request, u"loadState"_s);
    talk.query(Kind::Reply, u"loadState"_s);
    QCOMPARE(talk.query(Kind::Reply, u"loadState"_s).answers, 0);
}

void TstCorrelator::request_inTheSameDirection_isNotAnswered()
{
    Talk talk;
    talk.query(Kind::Request, u"loadState"_s);
    SeenFrame reply; // a client that answers on its own
    reply.kind = Kind::Reply;
    reply.operation = u"loadState"_s;
    reply.connection = 1;
    QCOMPARE(talk.take(reply).answers, 0);
}

void TstCorrelator::acknowledgement_answersThePushOfItsUid()
{
    Talk talk;
    talk.push(u"u1"_s);
    talk.push(u"u2"_s);
    QCOMPARE(talk.acknowledgement(u"u2"_s).answers, 2);
    QCOMPARE(talk.acknowledgement(u"u1"_s).answers, 1);
}

void TstCorrelator::acknowledgement_ofARepeatedPush_answersTheOldestFirst()
{
    Talk talk;
    talk.push(u"u1"_s);
    talk.push(u"u1"_s);
    QCOMPARE(talk.acknowledgement(u"u1"_s).answers, 1);
    QCOMPARE(talk.acknowledgement(u"u1"_s).answers, 2);
}

void TstCorrelator::acknowledgement_unknownUid_answersNothing()
{
    Talk talk;
    talk.push(u"u1"_s);
    QCOMPARE(talk.acknowledgement(u"u9"_s).answers, 0);
}

void TstCorrelator::message_withTheUidOfAPush_answersIt()
{
    Talk talk;
    const SeenFrame push = talk.push(u"u1"_s);
    QCOMPARE(push.call, 0);
    talk.acknowledgement(u"u1"_s);
    const SeenFrame answer = talk.answer(u"u1"_s);
    QCOMPARE(answer.call, 1);
    QCOMPARE(answer.callUs, 2000);
    QCOMPARE(talk.answer(u"u2"_s).call, 0);
}

void TstCorrelator::message_afterARepeatedPush_answersTheFirst()
{
    Talk talk;
    talk.push(u"u1"_s);
    talk.push(u"u1"_s);
    QCOMPARE(talk.answer(u"u1"_s).call, 1);
}

void TstCorrelator::message_ofAnotherClient_answersNothing()
{
    Talk talk;
    talk.answer(u"u1"_s, u"gui"_s); // the command itself, on its way to the bus
    talk.push(u"u1"_s);
    QCOMPARE(talk.answer(u"u1"_s, u"gui"_s).call, 0);
}

void TstCorrelator::message_withoutUid_answersNothing()
{
    Talk talk;
    talk.push(QString());
    QCOMPARE(talk.answer(QString()).call, 0);
}

void TstCorrelator::calls_areBounded()
{
    Talk talk;
    for (std::size_t number = 0; number <= Correlator::MAX_CALLS; ++number) {
        talk.push(QString::number(number));
    }
    QCOMPARE(talk.answer(u"0"_s).call, 0);
    QCOMPARE(talk.answer(u"1"_s).call, 2);
}

void TstCorrelator::closed_forgetsTheRequests()
{
    Talk talk;
    talk.query(Kind::Request, u"loadState"_s);
    talk.query(Kind::Closed, QString());
    QCOMPARE(talk.query(Kind::Reply, u"loadState"_s).answers, 0);
}

void TstCorrelator::requests_areBounded()
{
    Talk talk;
    for (std::size_t count = 0; count <= Correlator::MAX_OPEN; ++count) {
        talk.query(Kind::Request, u"loadState"_s);
    }
    QCOMPARE(talk.query(Kind::Reply, u"loadState"_s).answers, 2); // the first one is forgotten
}

QTEST_GUILESS_MAIN(TstCorrelator)
#include "tst_correlator.moc"
