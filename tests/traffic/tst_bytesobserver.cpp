#include "frames.h"
#include "traffic/bytesobserver.h"

#include "literals.h"

#include <QTest>

using namespace tarvex::traffic;
using namespace frames;

namespace {

QList<SeenFrame> seen(Port port, const QByteArray& bytes)
{
    QList<SeenFrame> frames;
    BytesObserver observer(port, [&](const SeenFrame& frame) { frames.append(frame); });
    observer.take(bytes.left(30));
    observer.take(bytes.mid(30));
    observer.finish();
    return frames;
}

} // namespace

class TstBytesObserver : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void queryPort_clientAsks();
    void receiverPort_busAsks();
    void badFrame_saysWhere();
    void cutBytes_areBad();
};

void TstBytesObserver::queryPort_clientAsks()
{
    const QList<SeenFrame> frames = seen(Port::Query, LOAD + REFUSED);
    QCOMPARE(frames.size(), 2);
    QCOMPARE(frames.at(0).kind, Kind::Request);
    QCOMPARE(frames.at(0).direction, Direction::In);
    QCOMPARE(frames.at(0).number, 1);
    QCOMPARE(frames.at(0).data, (QVariantMap{{u"owner"_s, u"cashbox"_s}}));
    QCOMPARE(frames.at(1).kind, Kind::Reply);
    QCOMPARE(frames.at(1).direction, Direction::Out);
    QCOMPARE(frames.at(1).code, quint16(5));
    QCOMPARE(frames.at(1).number, 2);
}

void TstBytesObserver::receiverPort_busAsks()
{
    const QList<SeenFrame> frames = seen(Port::Receiver, HANDSHAKE + ACCEPTED + LOAD + REFUSED);
    QCOMPARE(frames.size(), 4);
    QCOMPARE(frames.at(0).direction, Direction::In);
    QCOMPARE(frames.at(1).direction, Direction::Out);
    QCOMPARE(frames.at(2).direction, Direction::Out);
    QCOMPARE(frames.at(3).direction, Direction::In);
    QCOMPARE(frames.at(3).port, Port::Receiver);
}

void TstBytesObserver::badFrame_saysWhere()
{
    const QList<SeenFrame> frames = seen(Port::Query, HANDSHAKE + withSize(LOAD, "x") + ACCEPTED);
    QCOMPARE(frames.size(), 4);
    QCOMPARE(frames.at(1).kind, Kind::Bad);
    QCOMPARE(frames.at(1).problem, u"byte %1: the size line is \"x\", which is no number"_s.arg(HANDSHAKE.size()));
    QCOMPARE(frames.at(2).kind, Kind::Gap);
    QCOMPARE(frames.at(3).kind, Kind::Reply);
}

void TstBytesObserver::cutBytes_areBad()
{
    const QList<SeenFrame> frames = seen(Port::Query, HANDSHAKE.chopped(1));
    QCOMPARE(frames.size(), 1);
    QCOMPARE(frames.at(0).kind, Kind::Bad);
    QVERIFY(frames.at(0).problem.startsWith(u"byte 0: the bytes end in the middle of a frame: "_s));
}

QTEST_APPLESS_MAIN(TstBytesObserver)
#include "tst_bytesobserver.moc"
