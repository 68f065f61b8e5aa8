#include "wire/busframe_p.h"

#include "literals.h"
#include "logcapture.h"
#include "memoryuse.h"

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>
#include <QtEndian>

#include <zlib.h>

#include <sys/resource.h>

using namespace tarvex;

namespace {

/// Made with Python's json, zlib and base64.
const QByteArray GOLDEN_REPLY =
    "AAAAdHicq1ZKSSxJVLKqVspLzE1VslJyOrwnOSO1SOFR0xqlWh2l/ILUosSSzPw8oFSFko5SUWpxaU4JSH1yfgpQvamOUkpq"
    "cXJRZgFUUQhQc6pCIhDn5SsUp5aUZOalFyuk5RcpJOdkpuaVKNXWAgBlFik7";

QByteArray block(quint32 prefix, const QByteArray& zlibStream)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(prefix, bytes.data());
    return bytes + zlibStream;
}

/// A zlib stream of \a size bytes of \a fill. It is made piece by piece, so that the inflated text is never in memory.
QByteArray zlibRun(qint64 size, char fill)
{
    z_stream stream{};
    deflateInit(&stream, 9);
    const QByteArray piece(1 << 20, fill);
    QByteArray compressed;
    QByteArray room(1 << 16, '\0');
    int result = Z_OK;
    for (qint64 left = size; result != Z_STREAM_END;) {
        if (stream.avail_in == 0 && left > 0) {
            stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(piece.constData()));
            stream.avail_in = static_cast<uInt>(qMin<qint64>(left, piece.size()));
            left -= stream.avail_in;
        }
        stream.next_out = reinterpret_cast<Bytef*>(room.data());
        stream.avail_out = static_cast<uInt>(room.size());
        result = deflate(&stream, left == 0 ? Z_FINISH : Z_NO_FLUSH);
        compressed.append(room.constData(), room.size() - static_cast<int>(stream.avail_out));
    }
    deflateEnd(&stream);
    return compressed;
}

QByteArray zlibStream(const QByteArray& text)
{
    return qCompress(text).mid(4);
}

/// Makes an allocation fail that is much larger than what is in use. Without the limit, memory that is allocated and
/// never touched would not be noticed. The sanitizers reserve address space of their own, so there is no limit with
/// them.
class AddressSpaceLimit
{
public:
    explicit AddressSpaceLimit(rlim_t room)
    {
        getrlimit(RLIMIT_AS, &m_former);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
        QFile statm(u"/proc/self/statm"_s);
        if (statm.open(QIODevice::ReadOnly)) {
            const rlim_t used = statm.readLine().split(' ').constFirst().toULong() * 4096;
            const rlimit limit{used + room, m_former.rlim_max};
            setrlimit(RLIMIT_AS, &limit);
        }
#else
        Q_UNUSED(room);
#endif
    }

    ~AddressSpaceLimit()
    {
        setrlimit(RLIMIT_AS, &m_former);
    }
    Q_DISABLE_COPY_MOVE(AddressSpaceLimit)

private:
    rlimit m_former{};
};

long peakMemoryKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

/// Text that cannot be compressed, and that is valid inside a JSON string.
QString noise(int length)
{
    QString text;
    text.reserve(length);
    quint32 state = 12345;
    for (int i = 0; i < length; ++i) {
        state = state * 1664525U + 1013904223U;
        text += QLatin1Char(static_cast<char>('0' + (state >> 16) % 75));
    }
    return text.replace(QLatin1Char('\\'), QLatin1Char('-'));
}

QByteArray runPython(const QStringList& arguments, const QByteArray& input)
{
    QProcess python;
    python.start(u"python3"_s, QStringList(QStringLiteral(BUSFRAME_PY)) + arguments);
    python.write(input);
    python.closeWriteChannel();
    if (!python.waitForFinished() || python.exitCode() != 0) {
        qWarning().noquote() << python.errorString() << python.readAllStandardError();
        return {};
    }
    return python.readAllStandardOutput();
}

QByteArray payloadOf(const QByteArray& frame)
{
    return frame.mid(frame.indexOf("\r\n", frame.indexOf("\r\n") + 2) + 2);
}

/// If the system does not let a process reset its peak, the figure includes the peak of the tests before.
qint64 peakLimitKiB(const memoryuse::Peak& peak)
{
    return (peak.isKnown() ? 150 : 400) * 1024LL;
}

} // namespace

class TstBusframe : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void encodeRequest_hasTheThreeParts();
    void encodeRequest_withoutData_writesEmptyObject();
    void encodeReply_carriesResult();
    void encode_isReadByPython_data();
    void encode_isReadByPython();
    void decode_readsPython_data();
    void decode_readsPython();
    void decode_literalPayload();
    void decode_notAnObject_givesEmptyEnvelope();
    void decode_undecodable_saysWhy_data();
    void decode_undecodable_saysWhy();
    void decode_lyingPrefix_isSeenThrough_data();
    void decode_lyingPrefix_isSeenThrough();
    void decode_atTheBound_data();
    void decode_atTheBound();
    void decode_bombOfOneGiB_isRefusedCheaply();
    void decode_largeBlock_trailingBytesAreIgnored();
    void decode_tooManyValues_isRefusedCheaply();
    void decode_manyValues_staysWithinBounds_data();
    void decode_manyValues_staysWithinBounds();
    void decode_repeatedKey_lastCounts();
    void decode_repeatedKey_leavesNothingBehind();
    void lineText_isSimplified();
    void resultCode_keepsLow16Bits_data();
    void resultCode_keepsLow16Bits();
};

void TstBusframe::encodeRequest_hasTheThreeParts()
{
    const QByteArray frame = busframe::encodeRequest(u"handshake"_s, {{u"name"_s, u"printer"_s}});
    const QByteArray payload = payloadOf(frame);
    QCOMPARE(frame, "[-REQUEST-]\r\n" + QByteArray::number(payload.size()) + "\r\n" + payload);
    const QByteArray json = R"({"data":{"name":"printer"},"operation":"handshake"})";
    const QByteArray unpacked = QByteArray::fromBase64(payload);
    QCOMPARE(qFromBigEndian<quint32>(unpacked.constData()), quint32(json.size()));
    QCOMPARE(qUncompress(unpacked), json);
    // The first bytes of a zlib stream tell the level. These are those of the default level.
    QCOMPARE(unpacked.mid(4, 2), QByteArray("\x78\x9c"));
    QCOMPARE(unpacked.toBase64(), payload);
}

void TstBusframe::encodeRequest_withoutData_writesEmptyObject()
{
    const QByteArray payload = payloadOf(busframe::encodeRequest(u"x"_s, {}));
    QCOMPARE(qUncompress(QByteArray::fromBase64(payload)), QByteArray(R"({"data":{},"operation":"x"})"));
}

void TstBusframe::encodeReply_carriesResult()
{
    const QByteArray frame = busframe::encodeReply(u"saveState"_s, 65535, u"Incorret request size"_s, {});
    QVERIFY(frame.startsWith("[-REPLY-]\r\n"));
    QCOMPARE(qUncompress(QByteArray::fromBase64(payloadOf(frame))),
             QByteArray(R"({"data":{},"operation":"saveState",)"
                        R"("result":{"code":65535,"description":"Incorret request size"}})"));
}

void TstBusframe::encode_isReadByPython_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("one byte") << u"a"_s;
    QTest::newRow("not ASCII") << u"B\u00fccher \u20ac \U0001f3ab \"quoted\" \\ \n\t"_s;
    QTest::newRow("64 KiB") << noise(65536);
    QTest::newRow("200 kB") << noise(200000);
    QTest::newRow("5 MB") << noise(5000000);
}

void TstBusframe::encode_isReadByPython()
{
    QFETCH(QString, text);
    const QVariantMap data{{u"text"_s, text}, {u"number"_s, 7}};
    const QByteArray output = runPython({u"decode"_s}, busframe::encodeReply(u"op"_s, 512, text.left(9), data));
    const QVariantMap read = QJsonDocument::fromJson(output).object().toVariantMap();
    QCOMPARE(read.value(u"header"_s).toString(), u"[-REPLY-]"_s);
    const QVariantMap result{{u"code"_s, 512.0}, {u"description"_s, text.left(9)}};
    const QVariantMap envelope{{u"operation"_s, u"op"_s}, {u"data"_s, data}, {u"result"_s, result}};
    QCOMPARE(read.value(u"envelope"_s).toMap(), envelope);
}

void TstBusframe::decode_readsPython_data()
{
    encode_isReadByPython_data();
}

void TstBusframe::decode_readsPython()
{
    QFETCH(QString, text);
    const QVariantMap envelope{{u"operation"_s, u"op"_s}, {u"data"_s, QVariantMap{{u"text"_s, text}}}};
    const QByteArray frame =
        runPython({u"encode"_s, u"request"_s},
                  QJsonDocument(QJsonObject::fromVariantMap(envelope)).toJson(QJsonDocument::Compact));
    QVERIFY(frame.startsWith("[-REQUEST-]\r\n"));
    const busframe::Decoded decoded = busframe::decodePayload(payloadOf(frame));
    QVERIFY(decoded.isValid);
    QCOMPARE(decoded.errorText, QString());
    QCOMPARE(decoded.envelope, envelope);
}

void TstBusframe::decode_literalPayload()
{
    const busframe::Decoded decoded = busframe::decodePayload(GOLDEN_REPLY);
    QVERIFY(decoded.isValid);
    const QVariantMap result{{u"code"_s, 5.0}, {u"description"_s, u"There are no settings for client"_s}};
    QCOMPARE(decoded.envelope.value(u"result"_s).toMap(), result);
    QCOMPARE(decoded.envelope.value(u"data"_s).toMap().value(u"name"_s).toString(), u"B\u00fccher \u20ac"_s);
}

void TstBusframe::decode_notAnObject_givesEmptyEnvelope()
{
    const busframe::Decoded decoded = busframe::decodePayload(qCompress("[1,2]").toBase64());
    QVERIFY(decoded.isValid);
    QVERIFY(decoded.envelope.isEmpty());
}

void TstBusframe::decode_undecodable_saysWhy_data()
{
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<QString>("errorText");
    QTest::addColumn<QByteArray>("json");
    const QString nothing = u"illegal value"_s;
    const QByteArray truncated = zlibStream(QJsonDocument(QJsonObject{{u"x"_s, noise(90000)}}).toJson());
    QTest::newRow("empty") << QByteArray() << nothing << QByteArray();
    QTest::newRow("no base64") << QByteArray("\x01\x02!!") << nothing << QByteArray();
    QTest::newRow("shorter than a prefix") << QByteArray("AAA=") << nothing << QByteArray();
    QTest::newRow("prefix alone") << block(9, {}).toBase64() << nothing << QByteArray();
    QTest::newRow("no zlib stream") << block(9, "no zlib stream").toBase64() << nothing << QByteArray();
    QTest::newRow("truncated") << block(100, zlibStream("{\"a\":1}").chopped(3)).toBase64() << nothing << QByteArray();
    QTest::newRow("large, no zlib stream") << block(9, QByteArray(100000, 'x')).toBase64() << nothing << QByteArray();
    QTest::newRow("large, truncated") << block(90000, truncated.chopped(100)).toBase64() << nothing << QByteArray();
    QTest::newRow("empty text") << qCompress(QByteArray("")).toBase64() << nothing << QByteArray();
    QTest::newRow("no JSON") << qCompress("plain words").toBase64() << u"illegal value"_s << QByteArray("plain words");
    QTest::newRow("unterminated") << qCompress("{\"a\":[]").toBase64() << u"unterminated object"_s
                                  << QByteArray("{\"a\":[]");
}

void TstBusframe::decode_undecodable_saysWhy()
{
    QFETCH(QByteArray, payload);
    QFETCH(QString, errorText);
    QFETCH(QByteArray, json);
    const busframe::Decoded decoded = busframe::decodePayload(payload);
    QVERIFY(!decoded.isValid);
    QCOMPARE(decoded.errorText, errorText);
    QCOMPARE(decoded.json, json);
    QVERIFY(decoded.envelope.isEmpty());
}

void TstBusframe::decode_lyingPrefix_isSeenThrough_data()
{
    QTest::addColumn<quint32>("prefix");
    QTest::addColumn<int>("length");
    for (const int length : {10, 20000, 200000, 2000000}) {
        for (const quint32 prefix : {0U, 1U, 100U, 0x7fffffffU, 0xffffffffU}) {
            QTest::addRow("%d as %u", length, prefix) << prefix << length;
        }
    }
}

// Only the stream itself counts. The reader never allocates what the length prefix claims.
void TstBusframe::decode_lyingPrefix_isSeenThrough()
{
    QFETCH(quint32, prefix);
    QFETCH(int, length);
    const QByteArray json = QJsonDocument(QJsonObject{{u"x"_s, noise(length)}}).toJson();
    const QByteArray payload = block(prefix, zlibStream(json)).toBase64();
    const AddressSpaceLimit limit(100UL << 20);
    const busframe::Decoded decoded = busframe::decodePayload(payload);
    QVERIFY(decoded.isValid);
    QCOMPARE(decoded.envelope, QJsonDocument::fromJson(json).object().toVariantMap());
}

void TstBusframe::decode_atTheBound_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("valid");
    QTest::newRow("below") << busframe::MAX_ENVELOPE_SIZE - 1 << true;
    QTest::newRow("at") << busframe::MAX_ENVELOPE_SIZE << true;
    QTest::newRow("above") << busframe::MAX_ENVELOPE_SIZE + 1 << false;
}

void TstBusframe::decode_atTheBound()
{
    QFETCH(int, size);
    QFETCH(bool, valid);
    // Blanks around an object are valid JSON of any size. The noise in front makes the block so large that it could
    // inflate beyond the bound.
    const QByteArray head = QJsonDocument(QJsonObject{{u"x"_s, noise(60000)}}).toJson();
    const QByteArray json = head + QByteArray(size - head.size(), ' ');
    const busframe::Decoded decoded = busframe::decodePayload(block(quint32(json.size()), zlibStream(json)).toBase64());
    QCOMPARE(decoded.isValid, valid);
    QCOMPARE(decoded.envelope.value(u"x"_s).toString().size(), valid ? 60000 : 0);
    QCOMPARE(decoded.json, QByteArray());
}

void TstBusframe::decode_bombOfOneGiB_isRefusedCheaply()
{
    const QByteArray stream = zlibRun(qint64(1) << 30, ' ');
    const QByteArray payload = block(1U << 30, stream).toBase64();
    const long before = peakMemoryKiB();
    QElapsedTimer timer;
    timer.start();
    const busframe::Decoded decoded = busframe::decodePayload(payload);
    const qint64 elapsed = timer.elapsed();
    const long grown = peakMemoryKiB() - before;
    QVERIFY(!decoded.isValid);
    QCOMPARE(decoded.errorText, u"illegal value"_s);
    qInfo("a bomb of 1 GiB in %d bytes: %lld ms, %ld KiB", payload.size(), elapsed, grown);
    QVERIFY2(grown < 256L * 1024, "inflated beyond the bound");
}

void TstBusframe::decode_largeBlock_trailingBytesAreIgnored()
{
    const QByteArray json = QJsonDocument(QJsonObject{{u"x"_s, noise(90000)}}).toJson();
    const busframe::Decoded decoded =
        busframe::decodePayload(block(quint32(json.size()), zlibStream(json) + "trailing").toBase64());
    QVERIFY(decoded.isValid);
    QCOMPARE(decoded.envelope, QJsonDocument::fromJson(json).object().toVariantMap());
}

// The payload has 42 kB. As variants it would take a gigabyte.
void TstBusframe::decode_tooManyValues_isRefusedCheaply()
{
    QByteArray json = "[" + QByteArray("0,").repeated(busframe::MAX_ENVELOPE_SIZE / 2 - 2) + "0]";
    const QByteArray payload = block(quint32(json.size()), zlibStream(json)).toBase64();
    QVERIFY(payload.size() < 50000);
    json.clear();
    const memoryuse::Peak peak;
    const busframe::Decoded decoded = busframe::decodePayload(payload);
    const qint64 grown = peak.grown();
    QVERIFY(!decoded.isValid);
    QCOMPARE(decoded.errorText, u"too large document"_s);
    QVERIFY(decoded.envelope.isEmpty());
    QVERIFY(decoded.json.startsWith("[0,0,"));
    qInfo("%lld KiB", grown);
    QVERIFY(grown < peakLimitKiB(peak));
}

void TstBusframe::decode_manyValues_staysWithinBounds_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::newRow("numbers") << "{\"a\":[" + QByteArray("0,").repeated(990000) + "0]}";
    QTest::newRow("numbers, key twice") << "{\"a\":[" + QByteArray("0,").repeated(990000) + "0],\"a\":0}";
    QTest::newRow("text of 30 MiB") << "{\"a\":\"" + QByteArray(30 << 20, 'x') + "\"}";
}

void TstBusframe::decode_manyValues_staysWithinBounds()
{
    QFETCH(QByteArray, json);
    const QByteArray payload = block(quint32(json.size()), zlibStream(json)).toBase64();
    const memoryuse::Peak peak;
    const busframe::Decoded decoded = busframe::decodePayload(payload);
    const qint64 grown = peak.grown();
    QVERIFY(decoded.isValid);
    QCOMPARE(decoded.envelope.size(), 1);
    qInfo("%lld KiB", grown);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    QVERIFY(grown < peakLimitKiB(peak));
#endif
}

void TstBusframe::decode_repeatedKey_lastCounts()
{
    const QByteArray json = R"({"data":{"a":[1]},"operation":"x","data":{"b":2},"\u0064ata":{"c":{"d":[3],"d":[4]}}})";
    const busframe::Decoded decoded = busframe::decodePayload(qCompress(json).toBase64());
    QVERIFY(decoded.isValid);
    const QVariantMap counting{{u"d"_s, QVariantList{4}}};
    const QVariantMap envelope{{u"data"_s, QVariantMap{{u"c"_s, counting}}}, {u"operation"_s, u"x"_s}};
    QCOMPARE(decoded.envelope, envelope);
}

// Qt's parser alone would leak 16 kB each time.
void TstBusframe::decode_repeatedKey_leavesNothingBehind()
{
    const QByteArray json = R"({"data":[)" + QByteArray("1,").repeated(1000) + R"(1],"operation":"x","data":{}})";
    const QByteArray payload = qCompress(json).toBase64();
    QVERIFY(busframe::decodePayload(payload).isValid);
    const qint64 before = memoryuse::allocated();
    for (int i = 0; i < 2000; ++i) {
        busframe::decodePayload(payload);
    }
    const qint64 grown = memoryuse::allocated() - before;
    QVERIFY2(grown < 500000, QByteArray::number(grown).constData());
}

void TstBusframe::lineText_isSimplified()
{
    QCOMPARE(busframe::lineText("  [-REPLY-] \r\n"), u"[-REPLY-]"_s);
    QCOMPARE(busframe::lineText("\xe9 \t b\r\n"), u"\u00e9 b"_s);
    QCOMPARE(busframe::lineText({}), QString());
}

void TstBusframe::resultCode_keepsLow16Bits_data()
{
    QTest::addColumn<QVariantMap>("result");
    QTest::addColumn<int>("code");
    const QString key = u"code"_s;
    QTest::newRow("missing") << QVariantMap() << 0;
    QTest::newRow("zero") << QVariantMap{{key, 0}} << 0;
    QTest::newRow("number from JSON") << QVariantMap{{key, 512.0}} << 512;
    QTest::newRow("text") << QVariantMap{{key, u"5"_s}} << 5;
    QTest::newRow("words") << QVariantMap{{key, u"five"_s}} << 0;
    QTest::newRow("32773") << QVariantMap{{key, 32773}} << 32773;
    QTest::newRow("65536") << QVariantMap{{key, 65536}} << 0;
    QTest::newRow("65541") << QVariantMap{{key, 65541}} << 5;
}

void TstBusframe::resultCode_keepsLow16Bits()
{
    QFETCH(QVariantMap, result);
    QFETCH(int, code);
    QCOMPARE(int(busframe::resultCode(result)), code);
}

QTEST_GUILESS_MAIN(TstBusframe)
#include "tst_busframe.moc"
