#include "framefollower.h"

#include "controllines.h"
#include "traffic/framememory.h"

#include <algorithm>

namespace tarvex::devbus {

namespace {

/// Whether \a value holds more than \a levels objects and arrays inside one another.
bool isDeeper(const QVariant& value, int levels)
{
    const auto holdsDeeper = [levels](const QVariant& inner) { return isDeeper(inner, levels - 1); };
    if (value.userType() == QMetaType::QVariantMap) {
        const QVariantMap map = value.toMap();
        return levels == 0 || std::any_of(map.begin(), map.end(), holdsDeeper);
    }
    if (value.userType() == QMetaType::QVariantList) {
        const QVariantList list = value.toList();
        return levels == 0 || std::any_of(list.begin(), list.end(), holdsDeeper);
    }
    return false;
}

/// Those who read the line could not: the objects around the data make it deeper than parsers take.
traffic::SeenFrame readable(traffic::SeenFrame frame)
{
    if (isDeeper(frame.data, FrameFollower::MAX_LEVELS)) {
        frame.data.clear();
        frame.isDataLeftOut = true;
    }
    return frame;
}

} // namespace

FrameFollower::FrameFollower(const traffic::FrameMemory& frames, qint64 last, QObject* parent)
    : ControlStream(parent), m_cursor(frames, FrameCursor::numberOfLast(frames, last))
{
    connect(&frames, &traffic::FrameMemory::added, this, &ControlStream::ready);
}

QByteArray FrameFollower::next()
{
    QByteArray lines;
    while (lines.size() < TURN_BYTES) {
        const auto frame = m_cursor.next();
        if (!frame) {
            break;
        }
        lines += controllines::item(readable(*frame).toVariantMap());
    }
    return lines;
}

} // namespace tarvex::devbus
