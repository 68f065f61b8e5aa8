#include "frames.h"
#include "packets.h"

#include "literals.h"
#include "programrun.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace frames;
using namespace packets;

namespace {

constexpr quint16 CLIENT = 40000;
constexpr quint16 BUS = 45535;

/// A capture of a client that introduces itself and then asks with \a frame.
QByteArray capture(const QByteArray& frame)
{
    const auto in = static_cast<quint32>(1001 + HANDSHAKE.size());
    const auto out = static_cast<quint32>(5001 + ACCEPTED.size());
    QByteArray file = fileHeader(DLT_EN10MB);
    for (const QByteArray& segment :
         {tcp(CLIENT, BUS, 1000, 0, SYN), tcp(BUS, CLIENT, 5000, 1001, SYN | ACK),
          tcp(CLIENT, BUS, 1001, 5001, ACK, HANDSHAKE), tcp(BUS, CLIENT, 5001, in, ACK, ACCEPTED),
          tcp(CLIENT, BUS, in, out, ACK, frame)}) {
        file += record(ethernet(ipv4(segment)), 1000000000, 1000);
    }
    return file;
}

} // namespace

class TstDecodeVerb : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void capture_isShownLineByLine();
    void capture_asJson();
    void filters_areCombined();
    void clientThatIsNotInTheFile_is2();
    void badFrame_is1_andSaysWhereAndWhy();
    void cutCapture_is1_andShowsWhatIsThere();
    void captureOfSomethingElse_isTold();
    void tcpdumpsFile_isRead();
    void bytes_areShown();
    void bytesOfTheReceiverPort_areShown();
    void badBytes_are1_andSayWhere();
    void stdin_isRead();
    void bytesThatBeginNoFrame_needRaw();
    void wrongUse_is2_data();
    void wrongUse_is2();
    void stdoutFull_is1();
    void controlCharacters_areShownAsEscapes();

private:
    QString fileWith(const QByteArray& bytes);

    QTemporaryDir m_folder;
};

/// The name of a new file.
QString TstDecodeVerb::fileWith(const QByteArray& bytes)
{
    static int count = 0;
    QFile file(m_folder.filePath(u"file%1"_s.arg(++count)));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()) {
        return QString();
    }
    return file.fileName();
}

void TstDecodeVerb::capture_isShownLineByLine()
{
    const Ending ending = ProgramRun({u"decode"_s, fileWith(capture(LOAD))}).ending();
    QCOMPARE(ending,
             ended(0, {"3 frames, 0 bad, 0 gaps"},
                   "2001-09-09\n" // in Kathmandu
                   "07:31:40.001     #1  connection 1 opened (query)\n"
                   "07:31:40.001     #2  printer -> bus  handshake printer\n"
                   "07:31:40.001     #3  bus -> printer  <- #2 0.0 ms ok handshake\n"
                   "07:31:40.001     #4  printer -> bus  loadState cashbox\n"));
}

void TstDecodeVerb::capture_asJson()
{
    ProgramRun run({u"--json"_s, u"decode"_s, fileWith(capture(LOAD))});
    QCOMPARE(run.status(), 0);
    const QList<QVariantMap> objects = run.objects();
    QCOMPARE(objects.size(), 4);
    QCOMPARE(objects.at(3),
             (QVariantMap{{u"number"_s, 4},
                          {u"time"_s, u"2001-09-09T01:46:40.001000Z"_s},
                          {u"kind"_s, u"request"_s},
                          {u"port"_s, u"query"_s},
                          {u"direction"_s, u"in"_s},
                          {u"connection"_s, 1},
                          {u"client"_s, u"printer"_s},
                          {u"from"_s, u"printer"_s},
                          {u"operation"_s, u"loadState"_s},
                          {u"data"_s, QVariantMap{{u"owner"_s, u"cashbox"_s}}},
                          {u"size"_s, payload(LOAD).size()}}));
}

void TstDecodeVerb::filters_areCombined()
{
    const QString file = fileWith(capture(LOAD));
    ProgramRun run({u"--json"_s, u"decode"_s, file, u"--client"_s, u"printer"_s, u"--operation"_s, u"loadState"_s});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().size(), 1);
}

void TstDecodeVerb::clientThatIsNotInTheFile_is2()
{
    const QString file = fileWith(capture(LOAD));
    for (const QString& option : {u"--client"_s, u"--from"_s, u"--to"_s}) {
        QCOMPARE(ProgramRun({u"decode"_s, file, option, u"pritner"_s}).ending(),
                 ended(2, {"3 frames, 0 bad, 0 gaps", "nobody is called \"pritner\" in this file"}));
        QCOMPARE(ProgramRun({u"decode"_s, file, option, u"bus"_s}).status(), 0);
    }
    // It is there, and none of its frames fits.
    ProgramRun run({u"decode"_s, file, u"--from"_s, u"printer"_s, u"--errors"_s});
    QCOMPARE(run.ending(), ended(0, {"3 frames, 0 bad, 0 gaps"}));
}

void TstDecodeVerb::badFrame_is1_andSaysWhereAndWhy()
{
    const int size = payload(LOAD).size();
    const QByteArray bad = withSize(LOAD, QByteArray::number(size + 4));
    const Ending ending = ProgramRun({u"decode"_s, fileWith(capture(bad + LOAD))}).ending();
    QCOMPARE(ending.status, 1);
    QCOMPARE(ending.err, told("3 frames, 1 bad, 0 gaps"));
    const QByteArray words = "bad: byte " + QByteArray::number(HANDSHAKE.size())
        + " of 127.0.0.1:40000 -> 127.0.0.1:45535 (packet 5): the size line says " + QByteArray::number(size + 4)
        + " bytes, but a header follows after " + QByteArray::number(size) + ": the size is too big by 4 ";
    QVERIFY2(ending.out.contains(words), ending.out.constData());
}

void TstDecodeVerb::cutCapture_is1_andShowsWhatIsThere()
{
    const Ending ending = ProgramRun({u"decode"_s, fileWith(capture(LOAD).chopped(5))}).ending();
    QCOMPARE(ending.status, 1);
    QVERIFY(ending.out.contains("handshake printer"));
    QVERIFY2(ending.err.startsWith("tarvexctl: 2 frames, 0 bad, 0 gaps; the capture is damaged after packet 4: "),
             ending.err.constData());
}

void TstDecodeVerb::captureOfSomethingElse_isTold()
{
    const QByteArray other = fileHeader() + record(ethernet(ipv4(tcp(CLIENT, 80, 1, 1, ACK, "GET /"))));
    QCOMPARE(ProgramRun({u"decode"_s, fileWith(other)}).ending(),
             ended(0, {"none of its 1 packet belongs to the bus", "0 frames, 0 bad, 0 gaps"}));
}

/// tcpdump has recorded it from a development bus, while tarvexctl stored a state, sent a command and received it.
void TstDecodeVerb::tcpdumpsFile_isRead()
{
    const Ending ending = ProgramRun({u"decode"_s, QStringLiteral(TRAFFIC_DATA "/tcpdump.pcap")}).ending();
    QCOMPARE(ending.status, 0);
    QCOMPARE(ending.err, told("16 frames, 0 bad, 0 gaps"));
    for (const char* const words :
         {"cashbox -> bus    saveState cashbox: ready\n", "gui -> cashbox    send print {\"text\":\"A\"}\n",
          "gui -> cashbox    push print {\"text\":\"A\"}\n", "cashbox -> bus    <- #23 20.4 ms ack push print\n"}) {
        QVERIFY2(ending.out.contains(words), words);
    }
}

void TstDecodeVerb::bytes_areShown()
{
    ProgramRun run({u"--json"_s, u"decode"_s, fileWith(LOAD + HANDSHAKE)});
    QCOMPARE(run.status(), 0);
    const QList<QVariantMap> objects = run.objects();
    QCOMPARE(objects.size(), 2);
    QCOMPARE(objects.at(0).value(u"operation"_s).toString(), u"loadState"_s);
    QCOMPARE(objects.at(0).value(u"port"_s).toString(), u"query"_s);
    QCOMPARE(objects.at(0).value(u"direction"_s).toString(), u"in"_s);
}

void TstDecodeVerb::bytesOfTheReceiverPort_areShown()
{
    ProgramRun run({u"--json"_s, u"decode"_s, u"--receiver"_s, fileWith(LOAD)});
    QCOMPARE(run.status(), 0);
    QCOMPARE(run.objects().value(0).value(u"port"_s).toString(), u"receiver"_s);
    QCOMPARE(run.objects().value(0).value(u"direction"_s).toString(), u"out"_s);
}

void TstDecodeVerb::badBytes_are1_andSayWhere()
{
    ProgramRun run({u"--json"_s, u"decode"_s, fileWith(HANDSHAKE + LOAD.chopped(4))});
    QCOMPARE(run.ending().status, 1);
    const QVariantMap bad = run.objects().value(1);
    QCOMPARE(bad.value(u"kind"_s).toString(), u"bad"_s);
    const int size = payload(LOAD).size();
    QCOMPARE(bad.value(u"problem"_s).toString(),
             u"byte %1: the bytes end in the middle of a frame: %2 of its %3 bytes of payload were there"_s
                 .arg(HANDSHAKE.size())
                 .arg(size - 4)
                 .arg(size));
}

void TstDecodeVerb::stdin_isRead()
{
    for (const QByteArray& bytes : {capture(LOAD), LOAD}) {
        QProcess process;
        process.setStandardInputFile(fileWith(bytes));
        process.start(ProgramRun::program(), {u"decode"_s, u"-"_s});
        QVERIFY(process.waitForFinished());
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(process.readAllStandardOutput().contains("loadState cashbox"));
    }
}

void TstDecodeVerb::bytesThatBeginNoFrame_needRaw()
{
    const QString file = fileWith("rubbish" + LOAD);
    QCOMPARE(ProgramRun({u"decode"_s, file}).ending(),
             ended(2,
                   {file.toUtf8()
                    + ": it is no capture, and its bytes do not begin with a frame; --raw decodes them anyway"}));
    ProgramRun raw({u"--json"_s, u"decode"_s, u"--raw"_s, file});
    QCOMPARE(raw.ending().status, 1);
    const QList<QVariantMap> objects = raw.objects();
    QCOMPARE(objects.last().value(u"operation"_s).toString(), u"loadState"_s);
}

void TstDecodeVerb::wrongUse_is2_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("words");
    const QString empty = fileWith({});
    const QString damaged = fileWith(fileHeader().left(10));
    const QString pcap = fileWith(capture(LOAD));
    QTest::newRow("no file") << QStringList() << QByteArray("FILE is required");
    QTest::newRow("missing file") << QStringList{u"/nowhere/file"_s}
                                  << QByteArray("/nowhere/file: No such file or directory");
    QTest::newRow("folder") << QStringList{u"/"_s} << QByteArray("/: Is a directory");
    QTest::newRow("empty file") << QStringList{empty} << empty.toUtf8() + ": it is empty";
    QTest::newRow("header is cut") << QStringList{damaged} << damaged.toUtf8() + ": truncated dump file";
    QTest::newRow("port of a capture") << QStringList{pcap, u"--receiver"_s}
                                       << pcap.toUtf8() + ": it is a capture, which tells the port";
    QTest::newRow("unknown operation") << QStringList{pcap, u"--operation"_s, u"fly"_s} << QByteArray();
}

void TstDecodeVerb::wrongUse_is2()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, words);
    const Ending ending = ProgramRun(QStringList{u"decode"_s} + arguments).ending();
    QCOMPARE(ending.status, 2);
    QCOMPARE(ending.out, QByteArray());
    QVERIFY2(ending.err.startsWith("tarvexctl: " + words), ending.err.constData());
}

void TstDecodeVerb::stdoutFull_is1()
{
    const Ending ending = ProgramRun({u"decode"_s, fileWith(LOAD)}, ProgramRun::StdoutFull).ending();
    QCOMPARE(ending, ended(1, {"cannot write to stdout: No space left on device"}));
}

void TstDecodeVerb::controlCharacters_areShownAsEscapes()
{
    const Ending ending = ProgramRun({u"decode"_s, fileWith(HANDSHAKE + withSize(LOAD, "\x1b[31m"))}).ending();
    QCOMPARE(ending.status, 1);
    QVERIFY(!ending.out.contains('\x1b'));
    QVERIFY(ending.out.contains("the size line is \"\\x1b[31m\""));
}

QTEST_GUILESS_MAIN(TstDecodeVerb)
#include "tst_decodeverb.moc"
