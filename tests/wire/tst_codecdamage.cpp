#include "codecbyhand.h"

#include "codecsamples.h"
#include "literals.h"
#include "logcapture.h"

#include <QRandomGenerator>
#include <QTest>

#include <zlib.h>

using namespace tarvex;
using codecsamples::bytes;
using codecsamples::REPLY_JSON;
using codecsamples::stored;

namespace {

constexpr quint32 SEED = 20240229;
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizers look at the code's accesses and not at its results, and make each text ten times slower.
constexpr int BYTE_STEP = 16;
#else
constexpr int BYTE_STEP = 1;
#endif

QByteArray withPrefix(quint32 prefix, const QByteArray& zlibStream)
{
    QByteArray block(4, '\0');
    qToBigEndian(prefix, block.data());
    return block + zlibStream;
}

/// How deflate is to compress.
struct Deflation
{
    int level = Z_DEFAULT_COMPRESSION;
    int windowBits = MAX_WBITS; ///< Negative: raw. Plus 16: gzip.
    int strategy = Z_DEFAULT_STRATEGY;
    int flush = Z_NO_FLUSH; ///< After each 50 bytes.
    QByteArray dictionary = {};
};

QByteArray deflated(QByteArray text, const Deflation& how)
{
    z_stream stream{};
    deflateInit2(&stream, how.level, Z_DEFLATED, how.windowBits, MAX_MEM_LEVEL, how.strategy);
    if (!how.dictionary.isEmpty()) {
        deflateSetDictionary(&stream, reinterpret_cast<const Bytef*>(how.dictionary.constData()),
                             static_cast<uInt>(how.dictionary.size()));
    }
    QByteArray out(2 * text.size() + 1000, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(text.data());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    for (int left = text.size(); how.flush != Z_NO_FLUSH && left > 50; left -= 50) {
        stream.avail_in = 50;
        deflate(&stream, how.flush);
    }
    stream.avail_in = static_cast<uInt>(text.size() - static_cast<int>(stream.total_in));
    deflate(&stream, Z_FINISH);
    out.truncate(static_cast<int>(stream.total_out));
    deflateEnd(&stream);
    return out;
}

/// A text whose block is too large for the inflater of small blocks.
QByteArray largeJson()
{
    QRandomGenerator random(SEED);
    QByteArray text = "{\"a\":\"";
    while (text.size() < 60000) {
        text.append(static_cast<char>('a' + random.bounded(26)));
        text.append(static_cast<char>('0' + random.bounded(10)));
    }
    return text + "\"}";
}

/// Bytes that mean something in some place of a payload, a block or a text.
const QByteArray ODD_BYTES = bytes("=-_+/ \r\n\t\0\x7f\x80\xff\"A!,");

} // namespace

// The warnings of qUncompress are not shown here: nearly every block would have one.
class TstCodecDamage : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void base64_damaged_isAsByHand_data();
    void base64_damaged_isAsByHand();
    void base64_everyCharacter_isAsByHand();
    void block_everyByte_isAsByHand_data();
    void block_everyByte_isAsByHand();
    void block_everyInflatedSize_isAsByHand_data();
    void block_everyInflatedSize_isAsByHand();
    void block_unusual_isAsByHand_data();
    void block_unusual_isAsByHand();

private:
    /// How the codec decodes \a payload otherwise than the steps by hand; empty if it does not.
    QString difference(const QByteArray& payload)
    {
        return byhand::difference(m_codec.decodePayload(payload), byhand::decoded(payload));
    }

    busframe::Codec m_codec;
};

void TstCodecDamage::base64_damaged_isAsByHand_data()
{
    QTest::addColumn<QByteArray>("payload");
    const QByteArray json =
        R"({"a":"\u007f?>~)" + REPLY_JSON.repeated(3).replace('"', '\'').replace('\\', '/').replace('\n', ' ') + "\"}";
    const QByteArray payload = stored(json);
    const auto row = [](const char* name, const QByteArray& text) { QTest::newRow(name) << text; };
    row("as it is", payload);
    row("url-safe alphabet", QByteArray(payload).replace('+', '-').replace('/', '_'));
    row("without padding", stored(json + ' ').replace('=', ""));
    row("without padding, 2 missing", stored(json + "  ").replace('=', ""));
    row("no padding at all", stored(json + "   ").replace('=', ""));
    row("too much padding", payload + "====");
    row("line ends", QByteArray(payload).insert(76, "\r\n").insert(154, "\n"));
    row("line end behind", payload + "\r\n");
    row("blanks in front", "    " + payload);
    row("a blank in each group", QByteArray(payload).insert(3, ' ').insert(9, ' ').insert(12, "  "));
    row("padding inside", QByteArray(payload).insert(40, "===="));
    row("padding at the front", "====" + payload);
    row("twice", payload + payload);
    row("only padding", "====");
    row("one group of padding and more", "A===");
    row("padding before the last", "AA=A");
    row("not the alphabet", "!!!!");
    row("Latin-1", QByteArray(payload).insert(8, "\xe9\xff\x80\x81"));
    row("NUL", QByteArray(payload).insert(8, QByteArray(4, '\0')));
    row("two of four at the end", payload + "QQ");
    row("bits behind the padding", payload + "QR==");
    for (int i = 0; i <= 8; ++i) {
        QTest::addRow("%d characters", i) << payload.left(i);
        QTest::addRow("without the last %d", i) << payload.chopped(i);
    }
}

void TstCodecDamage::base64_damaged_isAsByHand()
{
    QFETCH(QByteArray, payload);
    const LogCapture silence;
    QCOMPARE(difference(payload), QString());
}

void TstCodecDamage::base64_everyCharacter_isAsByHand()
{
    const LogCapture silence;
    const QByteArray payload = byhand::payload({{u"operation"_s, u"x"_s}, {u"data"_s, QVariantMap{{u"a"_s, 1}}}});
    for (int at = 0; at < payload.size(); ++at) {
        for (const char odd : ODD_BYTES) {
            const QByteArray where = QByteArray::number(at) + ", character " + QByteArray::number(odd);
            QVERIFY2(difference(QByteArray(payload).replace(at, 1, &odd, 1)).isEmpty(), where.constData());
            QVERIFY2(difference(QByteArray(payload).insert(at, 1, odd)).isEmpty(), where.constData());
        }
        QVERIFY2(difference(payload.left(at)).isEmpty(), QByteArray::number(at).constData());
        QVERIFY2(difference(QByteArray(payload).remove(at, 1)).isEmpty(), QByteArray::number(at).constData());
    }
}

void TstCodecDamage::block_everyByte_isAsByHand_data()
{
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<int>("step");
    QTest::newRow("small") << qCompress(REPLY_JSON) << 1;
    QTest::newRow("stored") << qCompress(REPLY_JSON, Z_NO_COMPRESSION) << 1;
    QTest::newRow("large") << qCompress(largeJson()) << 509 * BYTE_STEP;
}

// Each bit turned over, the block cut at each byte, and a byte put in.
void TstCodecDamage::block_everyByte_isAsByHand()
{
    QFETCH(QByteArray, block);
    QFETCH(int, step);
    const LogCapture silence;
    for (int at = 0; at < block.size(); at += step) {
        QByteArray changed = block;
        for (int bit = 0; bit < 8; ++bit) {
            changed[at] = static_cast<char>(block.at(at) ^ (1 << bit));
            QCOMPARE(difference(changed.toBase64()), QString());
        }
        QCOMPARE(difference(block.left(at).toBase64()), QString());
        QCOMPARE(difference(QByteArray(block).insert(at, 'x').toBase64()), QString());
    }
    for (int missing = 1; missing < 16; ++missing) {
        QCOMPARE(difference(block.chopped(missing).toBase64()), QString());
    }
}

void TstCodecDamage::block_everyInflatedSize_isAsByHand_data()
{
    QTest::addColumn<int>("size");
    for (int power = 3; power <= 21; ++power) {
        for (const int more : {-1, 0, 1}) {
            QTest::addRow("2^%d + %d", power, more) << (1 << power) + more;
        }
    }
    QTest::newRow("the bound") << busframe::MAX_ENVELOPE_SIZE;
    QTest::newRow("above the bound") << busframe::MAX_ENVELOPE_SIZE + 1;
}

// Sizes at which a buffer is just full, with prefixes that tell the truth, too little or too much.
void TstCodecDamage::block_everyInflatedSize_isAsByHand()
{
    QFETCH(int, size);
    const LogCapture silence;
    const QByteArray json = "{\"a\":1}";
    const QByteArray text = json.left(size) + QByteArray(qMax(0, size - json.size()), ' ');
    const QByteArray stream = qCompress(text).mid(4);
    const auto claim = static_cast<quint32>(size);
    for (const quint32 prefix : {claim, 0U, claim - 1, claim / 2, claim + 1, 2 * claim}) {
        QCOMPARE(difference(withPrefix(prefix, stream).toBase64()), QString());
        QCOMPARE(difference(withPrefix(prefix, stream.chopped(4)).toBase64()), QString());
    }
}

void TstCodecDamage::block_unusual_isAsByHand_data()
{
    QTest::addColumn<QByteArray>("block");
    const auto row = [](const QByteArray& name, const QByteArray& block) { QTest::newRow(name.constData()) << block; };
    for (const QByteArray& json : {REPLY_JSON, largeJson()}) {
        const auto size = static_cast<quint32>(json.size());
        const QByteArray stream = qCompress(json).mid(4);
        const auto named = [&](const QByteArray& name) { return name + ", " + QByteArray::number(size); };
        const auto kind = [&](const QByteArray& name, const Deflation& how) {
            row(named(name), withPrefix(size, deflated(json, how)));
        };
        for (int level = 0; level <= 9; ++level) {
            kind("level " + QByteArray::number(level), {level});
            kind("window of bits " + QByteArray::number(level + 8), {6, qMin(15, level + 8)});
        }
        kind("fixed codes", {6, 15, Z_FIXED});
        kind("Huffman alone", {6, 15, Z_HUFFMAN_ONLY});
        kind("runs", {6, 15, Z_RLE});
        kind("partial flushes", {6, 15, Z_DEFAULT_STRATEGY, Z_PARTIAL_FLUSH});
        kind("full flushes", {6, 15, Z_DEFAULT_STRATEGY, Z_FULL_FLUSH});
        kind("raw", {6, -15});
        kind("gzip", {6, 31});
        kind("dictionary", {6, 15, Z_DEFAULT_STRATEGY, Z_NO_FLUSH, "{\"operation\":\"result\""});
        for (const quint32 prefix : {0U, 1U, size - 1, size + 1, 2 * size, 0x10000000U, 0x7fffffffU, 0xffffffffU}) {
            row(named("prefix " + QByteArray::number(prefix)), withPrefix(prefix, stream));
        }
        row(named("trailing bytes"), withPrefix(size, stream + "trailing"));
        row(named("trailing zeros"), withPrefix(size, stream + QByteArray(100, '\0')));
        row(named("two streams"), withPrefix(2 * size, stream + stream));
        row(named("two blocks"), qCompress(json) + qCompress(json));
        row(named("no stream"), withPrefix(size, {}));
        row(named("header alone"), withPrefix(size, stream.left(2)));
        row(named("no checksum"), withPrefix(size, stream.chopped(4)));
        row(named("no checksum, no prefix"), withPrefix(0, stream.chopped(4)));
        row(named("other checksum"), withPrefix(size, stream.chopped(4) + "abcd"));
    }
    row("empty", {});
    row("zeros", QByteArray(4, '\0'));
    row("empty text", qCompress(QByteArray("")));
    row("empty text, zlib stream", withPrefix(0, deflated({}, {})));
    row("JSON as it is", REPLY_JSON);
}

void TstCodecDamage::block_unusual_isAsByHand()
{
    QFETCH(QByteArray, block);
    const LogCapture silence;
    QCOMPARE(difference(block.toBase64()), QString());
}

QTEST_GUILESS_MAIN(TstCodecDamage)
#include "tst_codecdamage.moc"
