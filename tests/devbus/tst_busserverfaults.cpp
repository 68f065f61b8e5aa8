// Every fault on purpose as it is seen on the wire, byte for byte.

#include "desk.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTest>

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

using samples::owned;
using tarvex::devbus::BusConnection;
using tarvex::devbus::BusServer;
using tarvex::traffic::Direction;
using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;

namespace {

constexpr int PATIENCE_MS = 20000;

/// What has come over a connection.
struct Bytes
{
    QByteArray bytes;
    int error = 0; ///< Of the read that got nothing more: 0 for an orderly end, or EAGAIN when nothing came in time.
};

/// Reads until there are \a size bytes, or nothing more comes.
Bytes readBytes(const BusClient& client, int size)
{
    Bytes read;
    while (read.bytes.size() < size) {
        pollfd entry{client.descriptor(), POLLIN, 0};
        QByteArray piece(size - read.bytes.size(), Qt::Uninitialized);
        const bool isReadable = ::poll(&entry, 1, PATIENCE_MS) == 1;
        const ssize_t count = isReadable
            ? ::recv(client.descriptor(), piece.data(), static_cast<size_t>(piece.size()), MSG_DONTWAIT)
            : -1;
        if (count <= 0) {
            read.error = count < 0 ? (isReadable ? errno : EAGAIN) : 0;
            return read;
        }
        read.bytes += piece.left(static_cast<int>(count));
    }
    return read;
}

/// What comes until the connection ends.
Bytes readAll(const BusClient& client)
{
    return readBytes(client, 1 << 20);
}

/// Asks for the state of "printer".
bool request(BusClient& client)
{
    return client.sendRequest(u"loadState"_s, owned(u"printer"_s));
}

QByteArray payloadOf(const QByteArray& frame)
{
    return frame.mid(frame.indexOf('\n', frame.indexOf('\n') + 1) + 1);
}

/// Both lines before the payload.
QByteArray linesOf(const QByteArray& frame)
{
    return frame.left(frame.size() - payloadOf(frame).size());
}

/// In how many places two texts of the same length differ; -1 when the lengths differ.
int differences(const QByteArray& one, const QByteArray& other)
{
    int count = one.size() == other.size() ? 0 : -1;
    for (int at = 0; count >= 0 && at < one.size(); ++at) {
        count += one.at(at) != other.at(at);
    }
    return count;
}

/// A bus with a state of "printer", and the reply for it as it is without faults.
class FaultyDesk : public Desk
{
public:
    explicit FaultyDesk(const BusServer::Options& options = {}) : Desk(options)
    {
        const QVariantMap state{{u"owner"_s, u"printer"_s}, {u"state"_s, noise(100)}, {u"type"_s, 1}};
        ask(u"saveState"_s, state);
        request(client);
        clean = linesAndPayload();
    }

    /// Adds a rule for replies to "loadState", and asks.
    bool askWith(const QString& words) { return addFault(bus, u"operation=loadState "_s + words) && request(client); }

    QByteArray clean;

private:
    QByteArray linesAndPayload() const
    {
        QByteArray frame;
        while (frame.count('\n') < 2) {
            frame += readBytes(client, 1).bytes;
        }
        return frame + readBytes(client, frame.split('\n').at(1).trimmed().toInt()).bytes;
    }
};

/// The last frame of this kind that the bus has seen; its number is 0 when there is none.
SeenFrame lastOf(BusThread& bus, Kind kind)
{
    SeenFrame last;
    bus.call([&](BusServer& server) {
        for (qint64 number = server.frames().firstNumber(); number < server.frames().nextNumber(); ++number) {
            const SeenFrame frame = *server.frames().frame(number);
            last = frame.kind == kind ? frame : last;
        }
    });
    return last;
}

/// Pushes are repeated soon.
BusServer::Options impatient()
{
    BusServer::Options options;
    options.resendMs = 50;
    return options;
}

} // namespace

class TstBusServerFaults : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void clean_isAReplyAsOnTheWire();
    void probabilityZero_changesNothing();
    void sizeLine_isReplaced_data();
    void sizeLine_isReplaced();
    void operation_isAnotherOne();
    void errorZero_saysDoneAndIsNot();
    void damage_changesThatManyBytes_data();
    void damage_changesThatManyBytes();
    void damage_ofSeed_isTheSameEachTime();
    void cut_resetsAfterThatManyBytes_data();
    void cut_resetsAfterThatManyBytes();
    void drop_closesAfterTheRequestWasCarriedOut();
    void pieces_comeOneAfterTheOther();
    void limit_isHeld_data();
    void limit_isHeld();
    void delay_isWaitedFor();
    void delay_holdsBackItsConnectionOnly();
    void delay_keepsTheOrder();
    void delay_manyReplies_stopTheReading();
    void delay_manySilencedReplies_stopTheReading();
    void delay_clientLeaves_isForgotten();
    void delay_clientIsToBeClosed_isStillAnswered();
    void handshake_onReceiver_isFaultedToo();
    void handshake_reset_leavesNobodyBehind();
    void silentPush_comesAgain();
    void pushAgain_comesOnceAfterItsAcknowledgement();
    void push_ofCommand_isDamagedAlone();
    void rules_stayWhenTheServerStops();
    void seen_tellsOfTheFault_data();
    void seen_tellsOfTheFault();
    void seen_keptBack_isNoFrame_data();
    void seen_keptBack_isNoFrame();
    void seen_delayed_tookThatLong();
    void seen_pushAgain_tellsWhichOne();
    void traced_tellsOfTheFault();
};

void TstBusServerFaults::clean_isAReplyAsOnTheWire()
{
    const FaultyDesk desk;
    QVERIFY(desk.clean.startsWith("[-REPLY-]\r\n"));
    QCOMPARE(desk.clean.split('\n').at(1), QByteArray::number(payloadOf(desk.clean).size()) + '\r');
    QVERIFY(payloadOf(desk.clean).size() > 100);
}

void TstBusServerFaults::probabilityZero_changesNothing()
{
    FaultyDesk desk;
    QVERIFY(desk.askWith(u"probability=0 do=cut:0"_s));
    QCOMPARE(readBytes(desk.client, desk.clean.size()).bytes, desk.clean);
    QCOMPARE(desk.ask(u"loadState"_s, owned(u"cashbox"_s)), 5);
}

void TstBusServerFaults::sizeLine_isReplaced_data()
{
    QTest::addColumn<QString>("words");
    QTest::addColumn<QByteArray>("line"); // empty: the size with the offset
    QTest::addColumn<int>("offset");
    QTest::newRow("text") << u"do=sizeline:abc"_s << QByteArray("abc") << 0;
    QTest::newRow("text with blanks") << u"do=\"sizeline: 1 2\""_s << QByteArray(" 1 2") << 0;
    QTest::newRow("huge") << u"do=sizeline:99999999999"_s << QByteArray("99999999999") << 0;
    QTest::newRow("one more") << u"do=size:+1"_s << QByteArray() << 1;
    QTest::newRow("one less") << u"do=size:-1"_s << QByteArray() << -1;
    QTest::newRow("many less") << u"do=size:-40000"_s << QByteArray() << -40000;
}

void TstBusServerFaults::sizeLine_isReplaced()
{
    QFETCH(QString, words);
    QFETCH(QByteArray, line);
    QFETCH(int, offset);
    FaultyDesk desk;
    const QByteArray payload = payloadOf(desk.clean);
    const QByteArray sizeLine = line.isNull() ? QByteArray::number(payload.size() + offset) : line;
    const QByteArray expected = "[-REPLY-]\r\n" + sizeLine + "\r\n" + payload;
    QVERIFY(desk.askWith(words));
    QCOMPARE(readBytes(desk.client, expected.size()).bytes, expected);
    QVERIFY(desk.client.send(QByteArray())); // the connection stays
}

void TstBusServerFaults::operation_isAnotherOne()
{
    FaultyDesk desk;
    QVERIFY(addFault(desk.bus, u"operation=loadState once do=operation:saveState"_s));
    const BusClient::Frame reply = desk.client.ask(u"loadState"_s, owned(u"printer"_s));
    QCOMPARE(reply.operation, u"saveState"_s);
    QCOMPARE(reply.code, 0);
    QCOMPARE(reply.data.value(u"owner"_s).toString(), u"printer"_s);
    QCOMPARE(desk.client.ask(u"loadState"_s, owned(u"printer"_s)).operation, u"loadState"_s);
}

void TstBusServerFaults::errorZero_saysDoneAndIsNot()
{
    FaultyDesk desk;
    QVERIFY(addFault(desk.bus, u"operation=saveState do=error:0"_s));
    QCOMPARE(desk.ask(u"saveState"_s, owned(u"cashbox"_s)), 0);
    QCOMPARE(desk.ask(u"loadState"_s, owned(u"cashbox"_s)), 5);
}

void TstBusServerFaults::damage_changesThatManyBytes_data()
{
    QTest::addColumn<int>("count");
    QTest::newRow("do=damage") << 3;
    QTest::newRow("do=damage:1") << 1;
    QTest::newRow("do=damage:20:base64") << 20;
    QTest::newRow("do=damage:1:block") << 1;
    QTest::newRow("do=damage:20:block") << 20;
}

void TstBusServerFaults::damage_changesThatManyBytes()
{
    QFETCH(int, count);
    const QString words = QString::fromLatin1(QTest::currentDataTag());
    const bool isBlock = words.endsWith(QLatin1String("block"));
    FaultyDesk desk;
    for (int turn = 0; turn < 20; ++turn) { // each with other bytes
        QVERIFY(desk.askWith(words));
        const QByteArray frame = readBytes(desk.client, desk.clean.size()).bytes;
        QCOMPARE(linesOf(frame), linesOf(desk.clean));
        const QByteArray payload = payloadOf(frame);
        const QByteArray clean = payloadOf(desk.clean);
        if (isBlock) {
            QCOMPARE(QByteArray::fromBase64(payload).toBase64(), payload);
            QCOMPARE(differences(QByteArray::fromBase64(payload), QByteArray::fromBase64(clean)), count);
        } else {
            QCOMPARE(differences(payload, clean), count);
        }
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^qUncompress: "_s));
        QVERIFY(qUncompress(QByteArray::fromBase64(payload)).isEmpty());
    }
}

void TstBusServerFaults::damage_ofSeed_isTheSameEachTime()
{
    FaultyDesk desk;
    QByteArrayList frames;
    for (const QString& words : {u"seed=1 do=damage:5"_s, u"seed=1 do=damage:5"_s, u"seed=2 do=damage:5"_s}) {
        QVERIFY(desk.askWith(words));
        frames.append(readBytes(desk.client, desk.clean.size()).bytes);
    }
    QCOMPARE(frames.at(0), frames.at(1));
    QVERIFY(frames.at(0) != frames.at(2));
}

void TstBusServerFaults::cut_resetsAfterThatManyBytes_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("at once") << 0;
    QTest::newRow("in the header") << 5;
    QTest::newRow("in the payload") << 40;
    QTest::newRow("after the frame") << 100000;
}

void TstBusServerFaults::cut_resetsAfterThatManyBytes()
{
    QFETCH(int, size);
    FaultyDesk desk;
    QVERIFY(desk.askWith(u"do=cut:%1"_s.arg(size)));
    const Bytes read = readAll(desk.client);
    QCOMPARE(read.bytes, desk.clean.left(size));
    QCOMPARE(read.error, ECONNRESET);
    QVERIFY(desk.bus.waitForClients(BusConnection::Port::Query, {}));
}

void TstBusServerFaults::drop_closesAfterTheRequestWasCarriedOut()
{
    FaultyDesk desk;
    QVERIFY(addFault(desk.bus, u"operation=saveState do=drop"_s));
    QVERIFY(desk.client.sendRequest(u"saveState"_s, owned(u"cashbox"_s)));
    const Bytes read = readAll(desk.client);
    QCOMPARE(read.bytes, QByteArray());
    QCOMPARE(read.error, 0);
    BusClient other(BusClient::QUERY_PORT, u"other"_s);
    QCOMPARE(other.ask(u"loadState"_s, owned(u"cashbox"_s)).code, 0);
    QVERIFY(desk.bus.waitForClients(BusConnection::Port::Query, {u"other"_s}));
}

void TstBusServerFaults::pieces_comeOneAfterTheOther()
{
    FaultyDesk desk;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(desk.askWith(u"do=pieces:50:20"_s));
    QCOMPARE(readBytes(desk.client, 50).bytes, desk.clean.left(50));
    QCOMPARE(readBytes(desk.client, desk.clean.size() - 50).bytes, desk.clean.mid(50));
    QVERIFY(clock.elapsed() >= (desk.clean.size() - 1) / 50 * 20);
    QVERIFY(desk.askWith(u"do=pieces:1:0"_s));
    QCOMPARE(readBytes(desk.client, desk.clean.size()).bytes, desk.clean);
}

void TstBusServerFaults::limit_isHeld_data()
{
    QTest::addColumn<int>("limit");
    QTest::newRow("frames in pieces") << 2000;
    QTest::newRow("frames at once") << 20000;
}

void TstBusServerFaults::limit_isHeld()
{
    QFETCH(int, limit);
    constexpr int COUNT = 10;
    FaultyDesk desk;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(addFault(desk.bus, u"client=a do=limit:%1"_s.arg(limit)));
    for (int number = 0; number < COUNT; ++number) {
        QVERIFY(request(desk.client));
    }
    const int size = COUNT * desk.clean.size();
    QCOMPARE(readBytes(desk.client, size).bytes, desk.clean.repeated(COUNT));
    // The last piece takes no time until it is there.
    const int elapsedSize = size - desk.clean.size();
    QVERIFY2(clock.elapsed() >= elapsedSize * 1000 / limit, qPrintable(QString::number(clock.elapsed())));
}

void TstBusServerFaults::delay_isWaitedFor()
{
    FaultyDesk desk;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(desk.askWith(u"do=delay:150"_s));
    QCOMPARE(readBytes(desk.client, desk.clean.size()).bytes, desk.clean);
    QVERIFY(clock.elapsed() >= 150);
}

void TstBusServerFaults::delay_holdsBackItsConnectionOnly()
{
    FaultyDesk desk;
    BusClient sameName(BusClient::QUERY_PORT, u"a"_s);
    BusClient other(BusClient::QUERY_PORT, u"other"_s);
    QVERIFY(desk.askWith(u"client=a nth=1 do=delay:600000"_s));
    QVERIFY(desk.client.sendRequest(u"saveState"_s, owned(u"cashbox"_s))); // no fault, but it waits behind the other
    QCOMPARE(sameName.ask(u"loadState"_s, owned(u"printer"_s)).code, 0);
    QTRY_COMPARE(other.ask(u"loadState"_s, owned(u"cashbox"_s)).code, 0); // it was carried out
    QVERIFY(!desk.client.hasBytes());
}

void TstBusServerFaults::delay_keepsTheOrder()
{
    FaultyDesk desk;
    QVERIFY(desk.askWith(u"nth=1 do=delay:100"_s));
    QVERIFY(desk.client.sendRequest(u"saveState"_s, owned(u"cashbox"_s)));
    QVERIFY(request(desk.client));
    QCOMPARE(desk.client.read().operation, u"loadState"_s);
    QCOMPARE(desk.client.read().operation, u"saveState"_s);
    QCOMPARE(desk.client.read().operation, u"loadState"_s);
}

void TstBusServerFaults::delay_manyReplies_stopTheReading()
{
    FaultyDesk desk;
    desk.ask(u"saveState"_s, {{u"owner"_s, u"large"_s}, {u"state"_s, noise(600000)}, {u"type"_s, 1}});
    const int before = desk.bus.handledCount(u"a"_s);
    QVERIFY(addFault(desk.bus, u"client=a do=delay:600000"_s));
    QByteArray requests;
    for (int number = 0; number < 50; ++number) {
        requests += FakeBus::requestFrame(u"loadState"_s, owned(u"large"_s));
    }
    QVERIFY(desk.client.send(requests));
    QTRY_VERIFY(desk.bus.handledCount(u"a"_s) > before);
    BusClient other(BusClient::QUERY_PORT, u"other"_s);
    for (int number = 0; number < 50; ++number) { // the bus has had its turns
        QCOMPARE(other.ask(u"loadState"_s, owned(u"printer"_s)).code, 0);
    }
    QVERIFY2(desk.bus.handledCount(u"a"_s) - before < 10,
             qPrintable(QString::number(desk.bus.handledCount(u"a"_s) - before)));
}

/// A frame that is not sent is held as well, behind a delayed one.
void TstBusServerFaults::delay_manySilencedReplies_stopTheReading()
{
    constexpr int REQUESTS = 3000;
    FaultyDesk desk;
    QVERIFY(addFault(desk.bus, u"client=a nth=1 do=delay:600000"_s));
    QVERIFY(addFault(desk.bus, u"client=a do=silence"_s));
    const auto seenCount = [&desk] {
        qint64 count = 0;
        desk.bus.call([&](BusServer& server) { count = server.frames().nextNumber(); });
        return count;
    };
    const qint64 before = seenCount();
    QByteArray requests;
    for (int number = 0; number < REQUESTS; ++number) {
        requests += FakeBus::requestFrame(u"loadState"_s, owned(u"printer"_s));
    }
    QVERIFY(desk.client.send(requests));
    QTRY_VERIFY(seenCount() > before + 200);
    BusClient other(BusClient::QUERY_PORT, u"other"_s);
    for (int number = 0; number < 50; ++number) { // the bus has had its turns
        QCOMPARE(other.ask(u"loadState"_s, owned(u"printer"_s)).code, 0);
    }
    QVERIFY2(seenCount() - before < REQUESTS / 2, qPrintable(QString::number(seenCount() - before)));
}

void TstBusServerFaults::delay_clientLeaves_isForgotten()
{
    FaultyDesk desk;
    {
        BusClient leaving(BusClient::QUERY_PORT, u"leaving"_s);
        QVERIFY(addFault(desk.bus, u"client=leaving do=pieces:1:200"_s));
        QVERIFY(request(leaving));
        QCOMPARE(readBytes(leaving, 1).bytes, QByteArray("["));
    }
    QVERIFY(desk.bus.waitForClients(BusConnection::Port::Query, {u"a"_s}));
    QCOMPARE(desk.ask(u"loadState"_s, owned(u"printer"_s)), 0);
}

/// The reply to what it could not understand waits behind the delayed one. The connection ends after both.
void TstBusServerFaults::delay_clientIsToBeClosed_isStillAnswered()
{
    FaultyDesk desk;
    QVERIFY(desk.askWith(u"do=delay:100"_s));
    QVERIFY(desk.client.send("nonsense\r\n"));
    QCOMPARE(readBytes(desk.client, desk.clean.size()).bytes, desk.clean);
    QCOMPARE(desk.client.read().code, 2);
    QVERIFY(desk.client.waitForClose());
}

void TstBusServerFaults::handshake_onReceiver_isFaultedToo()
{
    Desk desk;
    QVERIFY(addFault(desk.bus, u"port=receiver operation=handshake nth=2 do=error:3:no"_s));
    const BusClient first(BusClient::RECEIVER_PORT, u"printer"_s);
    QVERIFY(first.isConnected());
    BusClient second(BusClient::RECEIVER_PORT);
    const BusClient::Frame reply = second.ask(u"handshake"_s, named(u"cashbox"_s));
    QCOMPARE(reply.code, 3);
    QCOMPARE(reply.description, u"no"_s);
    QVERIFY(desk.bus.waitForClients(BusConnection::Port::Receiver, {u"printer"_s}));
}

void TstBusServerFaults::handshake_reset_leavesNobodyBehind()
{
    Desk desk;
    QVERIFY(desk.send(u"printer"_s, u"1"_s));
    QVERIFY(addFault(desk.bus, u"port=receiver operation=handshake once do=cut:3"_s));
    BusClient receiver(BusClient::RECEIVER_PORT);
    QVERIFY(receiver.sendRequest(u"handshake"_s, named(u"printer"_s)));
    QCOMPARE(readAll(receiver).bytes, QByteArray("[-R"));
    QVERIFY(desk.bus.waitForClients(BusConnection::Port::Receiver, {}));
    BusClient again(BusClient::RECEIVER_PORT, u"printer"_s);
    QCOMPARE(again.read().uid(), u"1"_s);
}

void TstBusServerFaults::silentPush_comesAgain()
{
    Desk desk(impatient());
    QVERIFY(addFault(desk.bus, u"frame=push once do=silence"_s));
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    QVERIFY(desk.send(u"printer"_s, u"1"_s));
    const BusClient::Frame pushed = receiver.read();
    QCOMPARE(pushed.uid(), u"1"_s);
    QVERIFY(receiver.acknowledge(pushed));
    QVERIFY(desk.bus.waitForAcknowledged(1));
}

void TstBusServerFaults::pushAgain_comesOnceAfterItsAcknowledgement()
{
    Desk desk;
    QVERIFY(addFault(desk.bus, u"client=printer command=print do=again"_s));
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    QVERIFY(desk.send(u"printer"_s, u"1"_s, u"{\"cmd\":\"print\"}"_s));
    QVERIFY(desk.send(u"printer"_s, u"2"_s, u"{\"cmd\":\"stop\"}"_s));
    const BusClient::Frame pushed = receiver.read();
    QCOMPARE(pushed.uid(), u"1"_s);
    QVERIFY(receiver.acknowledge(pushed));
    const BusClient::Frame other = receiver.read();
    QCOMPARE(other.uid(), u"2"_s);
    const BusClient::Frame again = receiver.read();
    QCOMPARE(again.envelope, pushed.envelope);
    QVERIFY(receiver.acknowledge(again) && receiver.acknowledge(other));
    QVERIFY(desk.bus.waitForAcknowledged(2));
    QVERIFY(receiver.isQuiet());
    QCOMPARE(desk.bus.acknowledgedUids(), (QStringList{u"1"_s, u"2"_s}));
}

void TstBusServerFaults::push_ofCommand_isDamagedAlone()
{
    Desk desk;
    QVERIFY(addFault(desk.bus, u"frame=push command=print do=sizeline:x"_s));
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    QVERIFY(desk.send(u"printer"_s, u"1"_s, u"{\"cmd\":\"stop\"}"_s));
    QCOMPARE(receiver.read().uid(), u"1"_s);
    QVERIFY(desk.send(u"printer"_s, u"2"_s, u"{\"cmd\":\"print\"}"_s)); // a reply, which is spared
    const QByteArray beginning = "[-REQUEST-]\r\nx\r\n";
    QCOMPARE(readBytes(receiver, beginning.size()).bytes, beginning);
}

void TstBusServerFaults::rules_stayWhenTheServerStops()
{
    Desk desk;
    QVERIFY(addFault(desk.bus, u"operation=handshake do=error:3"_s));
    desk.bus.call([](BusServer& server) {
        server.stop();
        QVERIFY(!tarvex::devbus::isFailure(server.start()));
    });
    BusClient client(BusClient::QUERY_PORT);
    QCOMPARE(client.ask(u"handshake"_s, named(u"a"_s)).code, 3);
}

void TstBusServerFaults::seen_tellsOfTheFault_data()
{
    QTest::addColumn<QString>("fault");
    QTest::newRow("do=delay:1") << u"fault 1: delay of 1 ms"_s;
    QTest::newRow("seed=1 do=damage:2:block") << u"fault 1: damage of 2 bytes (block)"_s;
    QTest::newRow("do=size:-1") << u"fault 1: size -1"_s;
    QTest::newRow("do=cut:20") << u"fault 1: cut after 20 bytes, then reset"_s;
}

/// What is damaged is seen as it was meant.
void TstBusServerFaults::seen_tellsOfTheFault()
{
    QFETCH(QString, fault);
    FaultyDesk desk;
    QVERIFY(desk.askWith(QString::fromLatin1(QTest::currentDataTag())));
    readBytes(desk.client, 20);
    const SeenFrame reply = lastOf(desk.bus, Kind::Reply);
    QCOMPARE(reply.fault, fault);
    QCOMPARE(reply.operation, u"loadState"_s);
    QCOMPARE(reply.data.value(u"owner"_s).toString(), u"printer"_s);
    QCOMPARE(reply.size, payloadOf(desk.clean).size());
    QVERIFY(reply.isError());
    QVERIFY(reply.answers > 0);
}

void TstBusServerFaults::seen_keptBack_isNoFrame_data()
{
    QTest::addColumn<QString>("fault");
    QTest::newRow("do=silence") << u"fault 1: silence"_s;
    QTest::newRow("do=drop") << u"fault 1: connection dropped"_s;
    QTest::newRow("do=cut:0") << u"fault 1: cut after 0 bytes, then reset"_s;
}

void TstBusServerFaults::seen_keptBack_isNoFrame()
{
    QFETCH(QString, fault);
    FaultyDesk desk;
    QVERIFY(desk.askWith(QString::fromLatin1(QTest::currentDataTag())));
    QTRY_VERIFY(lastOf(desk.bus, Kind::Gap).number > 0);
    const SeenFrame gap = lastOf(desk.bus, Kind::Gap);
    QCOMPARE(gap.fault, fault);
    QCOMPARE(gap.problem, u"the reply to loadState was not sent"_s);
    QCOMPARE(gap.client, u"a"_s);
    QVERIFY(gap.direction == Direction::Out);
    QVERIFY(gap.data.isEmpty());
    QVERIFY(lastOf(desk.bus, Kind::Reply).number < gap.number - 1); // the request is between them
}

void TstBusServerFaults::seen_delayed_tookThatLong()
{
    FaultyDesk desk;
    QVERIFY(desk.askWith(u"do=delay:100"_s));
    readBytes(desk.client, desk.clean.size());
    QVERIFY(lastOf(desk.bus, Kind::Reply).tookUs >= 100000);
}

void TstBusServerFaults::seen_pushAgain_tellsWhichOne()
{
    Desk desk;
    QVERIFY(addFault(desk.bus, u"do=again"_s));
    BusClient receiver(BusClient::RECEIVER_PORT, u"printer"_s);
    QVERIFY(desk.send(u"printer"_s, u"1"_s));
    const BusClient::Frame pushed = receiver.read();
    QCOMPARE(lastOf(desk.bus, Kind::Request).fault, QString());
    QVERIFY(receiver.acknowledge(pushed));
    QCOMPARE(receiver.read().uid(), u"1"_s);
    QCOMPARE(lastOf(desk.bus, Kind::Request).fault, u"fault 1: pushed again after its acknowledgement"_s);
}

void TstBusServerFaults::traced_tellsOfTheFault()
{
    BusServer::Options options;
    options.isTracing = true;
    FaultyDesk desk(options);
    QVERIFY(desk.askWith(u"do=delay:1"_s));
    QVERIFY(desk.bus.waitForTraceLine(u" 0 [fault 1: delay of 1 ms]"_s));
    QVERIFY(desk.askWith(u"do=silence"_s));
    QVERIFY(desk.bus.waitForTraceLine(u"out query/a the reply to loadState was not sent [fault 2: silence]"_s));
}

QTEST_GUILESS_MAIN(TstBusServerFaults)
#include "tst_busserverfaults.moc"
