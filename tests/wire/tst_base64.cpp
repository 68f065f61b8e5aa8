#include "wire/base64_p.h"

#include <QRandomGenerator>
#include <QTest>

using namespace tarvex;

namespace {

constexpr quint32 SEED = 20240229;
constexpr int BYTES = 256;

QByteArray encoded(const QByteArray& bytes)
{
    // One character more at each end shows whether others are written.
    QByteArray text(base64::encodedSize(bytes.size()) + 2, '#');
    base64::encode(bytes.constData(), bytes.size(), text.data() + 1);
    return text.startsWith('#') && text.endsWith('#') ? text.mid(1, text.size() - 2) : "written outside";
}

QByteArray randomBytes(int size, QRandomGenerator& random)
{
    QByteArray bytes;
    for (int i = 0; i < size; ++i) {
        bytes.append(static_cast<char>(random.bounded(BYTES)));
    }
    return bytes;
}

} // namespace

class TstBase64 : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void bothWays_literal_data();
    void bothWays_literal();
    void bothWays_everyLength_isAsByQt();
    void bothWays_everyByteInEveryPlace();
    void decode_odd_isAsByQt_data();
    void decode_odd_isAsByQt();
    void decode_everyCharacterInEveryPlace_isAsByQt();
};

void TstBase64::bothWays_literal_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const QByteArray& bytes, const QByteArray& text) {
        QTest::addRow("\"%s\"", text.constData()) << bytes << text;
    };
    // The vectors of RFC 4648.
    row("", "");
    row("f", "Zg==");
    row("fo", "Zm8=");
    row("foo", "Zm9v");
    row("foob", "Zm9vYg==");
    row("fooba", "Zm9vYmE=");
    row("foobar", "Zm9vYmFy");
    // The whole alphabet in its order.
    row(QByteArray::fromHex(
            "00108310518720928b30d38f41149351559761969b71d79f8218a39259a7a29aabb2dbafc31cb3d35db7e39ebbf3dfbf"),
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    row(QByteArray(4, '\0'), "AAAAAA==");
    row(QByteArray(5, '\xff'), "//////8=");
}

void TstBase64::bothWays_literal()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QByteArray, text);
    QCOMPARE(encoded(bytes), text);
    QCOMPARE(base64::encodedSize(bytes.size()), text.size());
    QCOMPARE(base64::decode(text), bytes);
}

void TstBase64::bothWays_everyLength_isAsByQt()
{
    QRandomGenerator random(SEED);
    for (int size = 0; size <= 100; ++size) {
        for (int times = 0; times < 20; ++times) {
            const QByteArray bytes = randomBytes(size, random);
            QCOMPARE(encoded(bytes), bytes.toBase64());
            QCOMPARE(base64::decode(bytes.toBase64()), bytes);
        }
    }
}

void TstBase64::bothWays_everyByteInEveryPlace()
{
    for (int size = 1; size <= 6; ++size) {
        for (int at = 0; at < size; ++at) {
            QByteArray bytes(size, 'x');
            for (int byte = 0; byte < BYTES; ++byte) {
                bytes[at] = static_cast<char>(byte);
                QCOMPARE(encoded(bytes), bytes.toBase64());
                QCOMPARE(base64::decode(bytes.toBase64()), bytes);
            }
        }
    }
}

void TstBase64::decode_odd_isAsByQt_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const QByteArray& text, const QByteArray& bytes) {
        QTest::addRow("\"%s\"", text.toPercentEncoding("=+/ ").constData()) << text << bytes;
    };
    row("Zg", "f");
    row("Zm8", "fo");
    row("Zm9vY", "foo");
    row("Zm9vYg", "foob");
    row("Zh==", "f");
    row("Zm9=", "fo");
    row("Zg=", "f");
    row("Zg===", "f");
    row("=", "");
    row("====", "");
    row("Z===", "");
    row("=Zg=", "f");
    row("Z=g=", "f");
    row("Zg==Zg==", "f\x06`");
    row("Zm9v====", "foo");
    row("Zm9v\r\n", "foo");
    row("Zm 9v", "foo");
    row("Zm\n9vYmFy\r\n\r", "foobar");
    row("Zm9vYm-_", "foob");
    row("Zm9v!!!!", "foo");
    row("\xda"
        "m9v",
        "\x9b\xdb");
    row(QByteArray("Zm\0009v", 5), "foo");
    row(QByteArray(4, '\0'), "");
    row("    ", "");
}

void TstBase64::decode_odd_isAsByQt()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, bytes);
    QCOMPARE(QByteArray::fromBase64(text), bytes);
    QCOMPARE(base64::decode(text), bytes);
}

void TstBase64::decode_everyCharacterInEveryPlace_isAsByQt()
{
    for (const QByteArray& original : {QByteArray("Zm9vYmFyZm9v"), QByteArray("Zm9vYmE="), QByteArray("Zm9vYg==")}) {
        for (int at = 0; at < original.size(); ++at) {
            QByteArray text = original;
            for (int byte = 0; byte < BYTES; ++byte) {
                text[at] = static_cast<char>(byte);
                QCOMPARE(base64::decode(text), QByteArray::fromBase64(text));
            }
            QCOMPARE(base64::decode(original.left(at)), QByteArray::fromBase64(original.left(at)));
        }
    }
}

QTEST_GUILESS_MAIN(TstBase64)
#include "tst_base64.moc"
