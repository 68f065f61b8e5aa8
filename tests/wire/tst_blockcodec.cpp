#include "wire/blockcodec_p.h"

#include <QTest>
#include <QtEndian>

using tarvex::BlockCodec;

namespace {

constexpr int NO_BOUND = 1 << 30;

/// Text that does not compress well, the same in each run.
QByteArray noise(int size)
{
    QByteArray text(size, '\0');
    quint32 state = 1;
    for (char& c : text) {
        state = state * 1664525 + 1013904223;
        c = static_cast<char>(' ' + (state >> 24) % 95);
    }
    return text;
}

/// A block whose length prefix says \a claimed.
QByteArray blockOf(const QByteArray& text, quint32 claimed)
{
    QByteArray block = qCompress(text);
    qToBigEndian(claimed, block.data());
    return block;
}

/// What an object makes of \a block. Null if it is damaged.
QByteArray inflated(BlockCodec& codec, const QByteArray& block, int maxSize = NO_BOUND)
{
    QByteArray text;
    return codec.uncompress(block, maxSize, text) ? text : QByteArray();
}

QByteArray compressed(BlockCodec& codec, const QByteArray& text)
{
    QByteArray block;
    codec.compress(text, block);
    return block;
}

/// Texts of several sizes and kinds: longer and shorter than zlib's window of 32 KiB.
QList<QByteArray> texts()
{
    QList<QByteArray> list;
    for (const int size : {1, 2, 100, 5000, 40000, 300000}) {
        list << noise(size) << QByteArray(size, 'a') << noise(1 + size / 10).repeated(10);
    }
    return list;
}

} // namespace

class TstBlockCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void literalBlock_bothWays();
    void manyInTurn_areThoseOfQt();
    void releaseInBetween_changesNothing();
    void uncompress_lyingPrefix_isSeenThrough_data();
    void uncompress_lyingPrefix_isSeenThrough();
    void uncompress_atTheBound_data();
    void uncompress_atTheBound();
    void uncompress_damaged_fails_data();
    void uncompress_damaged_fails();
    void uncompress_trailingBytes_areIgnored();
    void uncompress_lyingPrefix_allocatesLittle();
};

// zlib.compress(b'{"a":1}') of Python, behind the length.
void TstBlockCodec::literalBlock_bothWays()
{
    const QByteArray block = QByteArray::fromHex("00000007789cab564a54b232ac0500082a0209");
    BlockCodec codec;
    QCOMPARE(compressed(codec, R"({"a":1})"), block);
    QCOMPARE(inflated(codec, block), QByteArray(R"({"a":1})"));
}

void TstBlockCodec::manyInTurn_areThoseOfQt()
{
    BlockCodec codec;
    const QList<QByteArray> all = texts();
    for (int turn = 0; turn < 2; ++turn) {
        for (const QByteArray& text : all) {
            const QByteArray block = compressed(codec, text);
            QCOMPARE(block, qCompress(text));
            QCOMPARE(inflated(codec, block), text);
        }
    }
}

void TstBlockCodec::releaseInBetween_changesNothing()
{
    BlockCodec codec;
    codec.release();
    const QList<QByteArray> all = texts();
    for (const QByteArray& text : all) {
        const QByteArray block = compressed(codec, text);
        QCOMPARE(block, qCompress(text));
        codec.release();
        QCOMPARE(inflated(codec, block), text);
        codec.release();
        codec.release();
    }
}

void TstBlockCodec::uncompress_lyingPrefix_isSeenThrough_data()
{
    QTest::addColumn<quint32>("claimed");
    QTest::newRow("nothing") << 0U;
    QTest::newRow("one") << 1U;
    QTest::newRow("a little") << 1000U;
    QTest::newRow("too much") << 0x7fffffffU;
    QTest::newRow("far too much") << 0xffffffffU;
}

void TstBlockCodec::uncompress_lyingPrefix_isSeenThrough()
{
    QFETCH(quint32, claimed);
    BlockCodec codec;
    const QList<QByteArray> all = texts();
    for (const QByteArray& text : all) {
        QCOMPARE(inflated(codec, blockOf(text, claimed)), text);
    }
}

void TstBlockCodec::uncompress_atTheBound_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<quint32>("claimed");
    for (const int size : {99999, 100000, 100001}) {
        QTest::addRow("%d", size) << size << static_cast<quint32>(size);
        QTest::addRow("%d as 1", size) << size << 1U;
        QTest::addRow("%d as more", size) << size << 0xffffffffU;
    }
}

void TstBlockCodec::uncompress_atTheBound()
{
    QFETCH(int, size);
    QFETCH(quint32, claimed);
    BlockCodec codec;
    const QByteArray text = noise(size);
    QCOMPARE(inflated(codec, blockOf(text, claimed), 100000), size <= 100000 ? text : QByteArray());
}

void TstBlockCodec::uncompress_damaged_fails_data()
{
    QTest::addColumn<QByteArray>("block");
    const QByteArray good = qCompress(noise(1000));
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("half a prefix") << QByteArray("\0\0", 2);
    QTest::newRow("prefix alone") << QByteArray(4, '\0');
    QTest::newRow("no zlib header") << good.left(4) + good.mid(6);
    QTest::newRow("a byte short") << good.chopped(1);
    QTest::newRow("half") << good.left(good.size() / 2);
    QByteArray wrongSum = good;
    wrongSum[wrongSum.size() - 1] = static_cast<char>(~wrongSum.back());
    QTest::newRow("wrong checksum") << wrongSum;
    QByteArray flipped = good;
    flipped[20] = static_cast<char>(~flipped.at(20));
    QTest::newRow("flipped byte") << flipped;
    // The header asks for a dictionary that nobody has.
    QByteArray dictionary = good;
    dictionary[5] = static_cast<char>(0xbb);
    QTest::newRow("dictionary") << dictionary;
}

// A block after a damaged one is read as ever.
void TstBlockCodec::uncompress_damaged_fails()
{
    QFETCH(QByteArray, block);
    BlockCodec codec;
    QByteArray text;
    QVERIFY(!codec.uncompress(block, NO_BOUND, text));
    QCOMPARE(inflated(codec, qCompress("after")), QByteArray("after"));
    QVERIFY(!codec.uncompress(block, NO_BOUND, text));
}

void TstBlockCodec::uncompress_trailingBytes_areIgnored()
{
    BlockCodec codec;
    QCOMPARE(inflated(codec, qCompress("text") + "trailing"), QByteArray("text"));
    QCOMPARE(inflated(codec, qCompress("text") + qCompress("more").mid(4)), QByteArray("text"));
}

void TstBlockCodec::uncompress_lyingPrefix_allocatesLittle()
{
    BlockCodec codec;
    QByteArray text;
    QVERIFY(codec.uncompress(blockOf("text", 0xffffffffU), NO_BOUND, text));
    QCOMPARE(text, QByteArray("text"));
    QVERIFY2(text.capacity() < 2 * 1024 * 1024, QByteArray::number(text.capacity()).constData());
}

QTEST_GUILESS_MAIN(TstBlockCodec)
#include "tst_blockcodec.moc"
