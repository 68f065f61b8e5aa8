#include "codecbyhand.h"
#include "envelopegenerator.h"

#include "codecsamples.h"
#include "literals.h"
#include "logcapture.h"
#include "wire/framestream_p.h"

#include <QDir>
#include <QRandomGenerator>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>
#include <vector>

#include <zlib.h>

using namespace tarvex;
using codecsamples::stored;

namespace {

constexpr quint32 SEED = 20240229;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers look at the code's accesses and not at its results, and make each envelope ten times slower.
constexpr int ENVELOPES = 5000;
constexpr int FRAMES_IN_A_ROW = 500;
#else
constexpr int ENVELOPES = 100000;
constexpr int FRAMES_IN_A_ROW = 5000;
#endif

/// Text that deflate cannot make much smaller.
QString noise(int size)
{
    QRandomGenerator random(SEED);
    QString text(size, Qt::Uninitialized);
    for (QChar& c : text) {
        c = QChar(random.bounded(0x20, 0x3000));
    }
    return text;
}

QVariantMap noiseMap(int size)
{
    return {{u"text"_s, noise(size)}};
}

QByteArray payloadOf(const QByteArray& frame)
{
    return frame.mid(frame.indexOf("\r\n", frame.indexOf("\r\n") + 2) + 2);
}

QByteArray truncatedBlock(const QByteArray& payload, int missing)
{
    return QByteArray::fromBase64(payload).chopped(missing).toBase64();
}

/// A payload, and what it decodes to by hand.
struct Sample
{
    QByteArray payload;
    busframe::Decoded expected;

    explicit Sample(const QByteArray& bytes) : payload(bytes), expected(byhand::decoded(bytes)) { }
};

/// Payloads that leave as much behind as a payload can.
std::vector<Sample> samples()
{
    const QByteArray small = byhand::payload({{u"operation"_s, u"handshake"_s}, {u"data"_s, QVariantMap()}});
    const QByteArray large = byhand::payload(noiseMap(100000));
    const QByteArray wide = stored("{\"a\":[" + QByteArray("1,").repeated(20000) + "1]}");
    QByteArrayList payloads = {small, small + small, {}, "====", "{}", large, large.chopped(1), large.left(1000), wide};
    for (const int missing : {1, 4, 5, 30}) {
        payloads << truncatedBlock(small, missing) << truncatedBlock(large, missing);
    }
    payloads << (QByteArray::fromBase64(large) + QByteArray::fromBase64(small)).toBase64()
             << qCompress(QByteArray(500000, ' ')).toBase64() << stored(QByteArray(2000, '['))
             << stored(R"({"a":[1],"a":{"b":[]}})") << stored(R"({"a":tru)") << stored(R"({"a":"\ud800","b":1e999})");
    std::vector<Sample> all;
    for (const QByteArray& payload : qAsConst(payloads)) {
        all.emplace_back(payload);
    }
    return all;
}

/// Samples that take long: above the bounds, or near them.
std::vector<Sample> heavySamples()
{
    const QByteArray values = "[" + QByteArray("0,").repeated(jsonreader::MAX_VALUES) + "0]";
    std::vector<Sample> all;
    all.emplace_back(qCompress(QByteArray(busframe::MAX_ENVELOPE_SIZE + 1, ' ')).toBase64());
    all.emplace_back(qCompress("{\"a\":" + values + "}").toBase64());
    all.emplace_back(byhand::payload(noiseMap(2000000)));
    return all;
}

/// \return how the frames of \a generator differ from those by hand, or how their contents do; empty if not at all.
QString nextDifference(EnvelopeGenerator& generator, busframe::Codec& codec)
{
    const QVariantMap data = generator.envelope();
    const QString words = generator.string();
    const QByteArray request = byhand::request(words, data);
    if (codec.encodeRequest(words, data) != request) {
        return u"the requests differ"_s;
    }
    const QByteArray payload = payloadOf(request);
    return byhand::difference(codec.decodePayload(payload), byhand::decoded(payload));
}

} // namespace

class TstCodecEquality : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void request_generated_isAsByHand();
    void reply_generated_isAsByHand();
    void payload_generated_isAsByHand();
    void request_everyLength_isAsByHand();
    void frames_inARow_doNotDependOnOneAnother();
    void frames_inThreads_doNotDependOnOneAnother();
    void corpus_isAsByHand_data();
    void corpus_isAsByHand();
};

void TstCodecEquality::request_generated_isAsByHand()
{
    EnvelopeGenerator generator(SEED);
    busframe::Codec codec;
    for (int i = 0; i < ENVELOPES; ++i) {
        const QString difference = nextDifference(generator, codec);
        QVERIFY2(difference.isEmpty(), qPrintable(u"seed %1, envelope %2: "_s.arg(SEED).arg(i) + difference));
    }
}

void TstCodecEquality::reply_generated_isAsByHand()
{
    EnvelopeGenerator generator(SEED + 1);
    busframe::Codec codec;
    for (int i = 0; i < ENVELOPES / 10; ++i) {
        const QVariantMap data = generator.envelope();
        const QString words = generator.string();
        const auto code = static_cast<quint16>(i * 7);
        QVERIFY2(codec.encodeReply(words, code, words, data) == byhand::reply(words, code, words, data),
                 qPrintable(u"seed %1, envelope %2"_s.arg(SEED + 1).arg(i)));
    }
}

void TstCodecEquality::payload_generated_isAsByHand()
{
    EnvelopeGenerator generator(SEED + 2);
    for (int i = 0; i < ENVELOPES / 10; ++i) {
        const QVariantMap envelope = generator.envelope();
        QVERIFY2(busframe::encodePayload(envelope) == byhand::payload(envelope),
                 qPrintable(u"seed %1, envelope %2"_s.arg(SEED + 2).arg(i)));
    }
}

// Beyond the sizes of deflate's window, of what is inflated at once, and of first buffers.
void TstCodecEquality::request_everyLength_isAsByHand()
{
    busframe::Codec codec;
    const QString text = noise(500000);
    for (int length = 0; length < text.size(); length += 1 + length / 40) {
        const QVariantMap data{{u"text"_s, text.left(length)}};
        const QByteArray request = byhand::request(u"x"_s, data);
        QVERIFY2(codec.encodeRequest(u"x"_s, data) == request, QByteArray::number(length).constData());
        const QByteArray payload = payloadOf(request);
        QCOMPARE(byhand::difference(codec.decodePayload(payload), byhand::decoded(payload)), QString());
    }
}

// A damaged frame, or a large one, leaves nothing behind that the next frame could meet.
void TstCodecEquality::frames_inARow_doNotDependOnOneAnother()
{
    const LogCapture silence; // of qUncompress about damaged blocks
    const std::vector<Sample> light = samples();
    const std::vector<Sample> heavy = heavySamples();
    const std::vector<QVariantMap> envelopes = {{}, {{u"a"_s, 1}}, noiseMap(10), noiseMap(40000), noiseMap(300000)};
    std::vector<QByteArray> requests;
    for (const QVariantMap& envelope : envelopes) {
        requests.push_back(byhand::request(u"x"_s, envelope));
    }
    QRandomGenerator random(SEED);
    busframe::Codec codec;
    for (int i = 0; i < FRAMES_IN_A_ROW; ++i) {
        const std::vector<Sample>& from = i % (FRAMES_IN_A_ROW / 8) == 0 ? heavy : light;
        const Sample& sample = from.at(random.bounded(quint32(from.size())));
        const QString difference = byhand::difference(codec.decodePayload(sample.payload), sample.expected);
        QVERIFY2(difference.isEmpty(), qPrintable(u"seed %1, frame %2: "_s.arg(SEED).arg(i) + difference));
        if (i % 50 == 0) {
            codec.release();
        }
        // Large requests are rare, because they take long.
        const std::size_t which = random.bounded(i % 20 == 0 ? 5U : 3U);
        QVERIFY2(codec.encodeRequest(u"x"_s, envelopes.at(which)) == requests.at(which),
                 qPrintable(u"seed %1, request %2"_s.arg(SEED).arg(i)));
    }
}

void TstCodecEquality::frames_inThreads_doNotDependOnOneAnother()
{
    std::atomic<int> different = 0;
    std::vector<std::unique_ptr<QThread>> threads;
    for (quint32 number = 0; number < 4; ++number) {
        threads.emplace_back(QThread::create([number, &different] {
            EnvelopeGenerator generator(SEED + 10 + number);
            busframe::Codec codec;
            for (int i = 0; i < ENVELOPES / 50; ++i) {
                different += nextDifference(generator, codec).isEmpty() ? 0 : 1;
            }
        }));
        threads.back()->start();
    }
    for (const std::unique_ptr<QThread>& thread : threads) {
        thread->wait();
    }
    QCOMPARE(different.load(), 0);
}

void TstCodecEquality::corpus_isAsByHand_data()
{
    QTest::addColumn<QString>("path");
    for (const QString& folder : {u"busframe"_s, u"framestream"_s}) {
        const QDir dir(QStringLiteral(FUZZ_CORPUS) + u"/"_s + folder);
        const QFileInfoList files = dir.entryInfoList(QDir::Files, QDir::Name);
        QVERIFY(!files.isEmpty());
        for (const QFileInfo& file : files) {
            QTest::addRow("%s: %s", qPrintable(folder), qPrintable(file.fileName())) << file.filePath();
        }
    }
}

// Each file as a payload, as the block inside one, as the JSON text inside a block, and as a stream of frames.
void TstCodecEquality::corpus_isAsByHand()
{
    QFETCH(QString, path);
    const LogCapture silence; // of qUncompress about damaged blocks
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    QByteArrayList payloads = {bytes, bytes.toBase64(), qCompress(bytes).toBase64(), stored(bytes)};
    FrameStream stream;
    stream.append(bytes.mid(1));
    for (Frame frame; stream.next(frame) == FrameStream::Complete;) {
        payloads.append(frame.payload);
    }
    busframe::Codec codec;
    for (const QByteArray& payload : qAsConst(payloads)) {
        QCOMPARE(byhand::difference(codec.decodePayload(payload), byhand::decoded(payload)), QString());
    }
}

QTEST_GUILESS_MAIN(TstCodecEquality)
#include "tst_codecequality.moc"
