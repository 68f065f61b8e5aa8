#include "faultyframe.h"

#include <random>

namespace tarvex::devbus {

namespace {

using Effect = FaultRule::Effect;

const char* const LINE_END = "\r\n";

/// The length prefix of a block, which is only a hint for a reader, and zlib's header.
constexpr int SPARED_BLOCK_BYTES = 6;
/// The same as base64, and the end, whose last bits may mean nothing.
constexpr int SPARED_BASE64_BYTES = 8;
constexpr int SPARED_BASE64_END = 4;

QByteArray headerLine(const QByteArray& frame)
{
    return frame.left(frame.indexOf('\n') + 1);
}

QByteArray withSizeLine(const QByteArray& frame, const QByteArray& sizeLine)
{
    return headerLine(frame) + sizeLine + LINE_END + framePayload(frame);
}

/// Changes \a count different bytes between \a first and \a end, or all when there are not so many. The bytes lie one
/// after the other from a random place on, because scattered ones would need to be remembered.
void changeBytes(QByteArray& bytes, int first, int end, qint64 count, quint32 seed)
{
    const int span = end - first;
    if (span <= 0) {
        return;
    }
    std::mt19937 random(seed);
    const int start = static_cast<int>(random() % static_cast<quint32>(span));
    for (int offset = 0; offset < qMin<qint64>(count, span); ++offset) {
        const int at = first + (start + offset) % span;
        const int mask = 1 + static_cast<int>(random() % 255); // never 0, which would change nothing
        bytes[at] = static_cast<char>(bytes.at(at) ^ mask);
    }
}

QByteArray damaged(const QByteArray& frame, const Fault& fault)
{
    QByteArray payload = framePayload(frame);
    const int size = payload.size();
    if (fault.rule.damageLevel == FaultRule::DamageLevel::Block) {
        QByteArray block = QByteArray::fromBase64(payload);
        changeBytes(block, SPARED_BLOCK_BYTES, block.size(), fault.rule.amount, fault.random);
        payload = block.toBase64();
    } else {
        changeBytes(payload, SPARED_BASE64_BYTES, size - SPARED_BASE64_END, fault.rule.amount, fault.random);
    }
    return frame.left(frame.size() - size) + payload;
}

} // namespace

QByteArray framePayload(const QByteArray& frame)
{
    return frame.mid(frame.indexOf('\n', frame.indexOf('\n') + 1) + 1);
}

QByteArray faultyFrame(const QByteArray& frame, const Fault& fault)
{
    const FaultRule& rule = fault.rule;
    switch (rule.effect) {
    case Effect::SizeLine:
        return withSizeLine(frame, rule.text.toUtf8());
    case Effect::SizeOffset:
        return withSizeLine(frame, QByteArray::number(framePayload(frame).size() + rule.amount));
    case Effect::Cut:
        return frame.left(static_cast<int>(rule.amount));
    case Effect::Damage:
        return damaged(frame, fault);
    case Effect::Silence:
    case Effect::Drop:
        return QByteArray();
    case Effect::Error:
    case Effect::Delay:
    case Effect::OtherOperation:
    case Effect::Pieces:
    case Effect::PushAgain:
    case Effect::Limit:
        return frame;
    }
    return frame;
}

} // namespace tarvex::devbus
