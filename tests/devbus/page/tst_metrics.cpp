#include "metrics.h"

#include "controlservice.h"
#include "desk.h"

#include <QTest>

using tarvex::devbus::BusServer;
using tarvex::devbus::ControlService;
using tarvex::devbus::Metrics;
using tarvex::traffic::Direction;
using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;

namespace {

/// What the frames count as, when they have passed through \a server's memory.
QByteArray textAfter(BusServer& server, const QList<SeenFrame>& frames)
{
    ControlService controlService(server);
    const Metrics metrics(server, controlService);
    for (const SeenFrame& frame : frames) {
        Q_EMIT const_cast<tarvex::traffic::FrameMemory&>(server.frames()).added(frame);
    }
    return metrics.text();
}

SeenFrame reply(const QString& operation, int code, qint64 tookUs)
{
    SeenFrame frame;
    frame.kind = Kind::Reply;
    frame.direction = Direction::Out;
    frame.operation = operation;
    frame.code = static_cast<quint16>(code);
    frame.tookUs = tookUs;
    return frame;
}

QList<QByteArray> linesOf(const QByteArray& text, const QByteArray& name)
{
    QList<QByteArray> lines;
    const QList<QByteArray> all = text.split('\n');
    for (const QByteArray& line : all) {
        if (line.startsWith(name + '{') || line.startsWith(name + ' ')) {
            lines.append(line);
        }
    }
    return lines;
}

} // namespace

class TstMetrics : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void frames_areCounted();
    void times_areSummedUp();
    void hostileOperationsAndCodes_makeNoNewLines();
    void hostileNames_areEscapedAndFew();
};

void TstMetrics::frames_areCounted()
{
    Desk desk;
    QByteArray text;
    desk.bus.call([&](BusServer& server) {
        SeenFrame request;
        request.operation = u"loadState"_s;
        SeenFrame bad;
        bad.kind = Kind::Bad;
        bad.fault = u"cut"_s;
        SeenFrame opened;
        opened.kind = Kind::Opened;
        text = textAfter(server, {request, request, reply(u"loadState"_s, 5, 10), bad, opened});
    });
    QCOMPARE(linesOf(text, "tarvex_bus_frames_total"),
             (QList<QByteArray>{"tarvex_bus_frames_total{port=\"query\",direction=\"in\",kind=\"request\",operation="
                                "\"loadState\",code=\"\"} 2",
                                "tarvex_bus_frames_total{port=\"query\",direction=\"out\",kind=\"reply\",operation="
                                "\"loadState\",code=\"5\"} 1"}));
    QCOMPARE(linesOf(text, "tarvex_bus_bad_frames_total"), QList<QByteArray>{"tarvex_bus_bad_frames_total 1"});
    QCOMPARE(linesOf(text, "tarvex_bus_faults_total"), QList<QByteArray>{"tarvex_bus_faults_total 1"});
    QCOMPARE(linesOf(text, "tarvex_bus_connections_total"), QList<QByteArray>{"tarvex_bus_connections_total 1"});
    QCOMPARE(linesOf(text, "tarvex_bus_connections"), QList<QByteArray>{"tarvex_bus_connections 1"});
    QCOMPARE(linesOf(text, "tarvex_bus_storage_up"), QList<QByteArray>{"tarvex_bus_storage_up 1"});
}

void TstMetrics::times_areSummedUp()
{
    Desk desk;
    QByteArray text;
    desk.bus.call([&](BusServer& server) {
        text = textAfter(server,
                         {reply(u"loadState"_s, 0, 1000), reply(u"loadState"_s, 0, 1001),
                          reply(u"loadState"_s, 0, 20000000), reply(u"loadState"_s, 0, -1)});
    });
    const QList<QByteArray> buckets = linesOf(text, "tarvex_bus_exchange_seconds_bucket");
    QCOMPARE(buckets.size(), 16);
    QCOMPARE(buckets.at(0), QByteArray("tarvex_bus_exchange_seconds_bucket{port=\"query\",le=\"0.001\"} 1"));
    QCOMPARE(buckets.at(1), QByteArray("tarvex_bus_exchange_seconds_bucket{port=\"query\",le=\"0.005\"} 2"));
    QCOMPARE(buckets.at(6), QByteArray("tarvex_bus_exchange_seconds_bucket{port=\"query\",le=\"10\"} 2"));
    QCOMPARE(buckets.at(7), QByteArray("tarvex_bus_exchange_seconds_bucket{port=\"query\",le=\"+Inf\"} 3"));
    QCOMPARE(linesOf(text, "tarvex_bus_exchange_seconds_sum").value(0),
             QByteArray("tarvex_bus_exchange_seconds_sum{port=\"query\"} 20.002001"));
    QCOMPARE(linesOf(text, "tarvex_bus_exchange_seconds_count").value(0),
             QByteArray("tarvex_bus_exchange_seconds_count{port=\"query\"} 3"));
}

void TstMetrics::hostileOperationsAndCodes_makeNoNewLines()
{
    Desk desk;
    QByteArray text;
    desk.bus.call([&](BusServer& server) {
        QList<SeenFrame> frames;
        for (int i = 0; i < 1000; ++i) {
            frames.append(reply(u"dance\"\n%1"_s.arg(i), 1000 + i, 0));
        }
        text = textAfter(server, frames);
    });
    QCOMPARE(linesOf(text, "tarvex_bus_frames_total"),
             (QList<QByteArray>{"tarvex_bus_frames_total{port=\"query\",direction=\"out\",kind=\"reply\",operation="
                                "\"other\",code=\"other\"} 1000"}));
}

void TstMetrics::hostileNames_areEscapedAndFew()
{
    Desk desk;
    const QString hostile = u"a\"b\\c\nd<script>"_s;
    for (int i = 0; i < 3; ++i) {
        QVERIFY(desk.send(hostile, QString::number(i)));
    }
    QVERIFY(desk.send(QString(Metrics::MAX_NAME, u'x'), u"1"_s));
    QVERIFY(desk.send(QString(Metrics::MAX_NAME + 1, u'y'), u"1"_s));
    for (int i = 0; i < Metrics::MAX_CLIENT_LINES + 10; ++i) {
        QVERIFY(desk.send(u"z%1"_s.arg(i), u"1"_s));
    }
    QByteArray text;
    desk.bus.call([&](BusServer& server) { text = textAfter(server, {}); });
    const QList<QByteArray> lines = linesOf(text, "tarvex_bus_waiting_messages");
    QCOMPARE(lines.size(), Metrics::MAX_CLIENT_LINES);
    QCOMPARE(lines.constFirst(), QByteArray("tarvex_bus_waiting_messages{client=\"a\\\"b\\\\c\\nd<script>\"} 3"));
    QVERIFY(text.contains(QByteArray(Metrics::MAX_NAME, 'x')) && !text.contains("yyy"));
    // Three and one have lines of their own; so have 48 of the 60.
    QCOMPARE(linesOf(text, "tarvex_bus_waiting_messages_of_others"),
             QList<QByteArray>{"tarvex_bus_waiting_messages_of_others 13"});
}

QTEST_GUILESS_MAIN(TstMetrics)
#include "tst_metrics.moc"
