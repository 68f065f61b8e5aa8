#ifndef FRAMEMEMORY_H
#define FRAMEMEMORY_H

#include "traffic/correlator.h"
#include "traffic/seenframe.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QUuid>

#include <deque>
#include <optional>

namespace tarvex::traffic {

/// The last frames that passed, for those who want to see them, now or later. The bus has one.
///
/// Its size is bounded in bytes. It keeps the payloads as they were on the wire, because a decoded one can take many
/// times as much. So frame() decodes each time. Lives in one thread.
class FrameMemory : public QObject
{
    Q_OBJECT
public:
    static constexpr qint64 DEFAULT_MAX_BYTES = 16 << 20;
    /// Of a larger frame the data is left out, in bytes of payload.
    static constexpr int MAX_PAYLOAD = 2 << 20;
    /// What an entry takes beside its payload and its texts, in bytes, about.
    static constexpr int ENTRY_BYTES = 256;

    explicit FrameMemory(qint64 maxBytes = DEFAULT_MAX_BYTES, QObject* parent = nullptr);

    /// Takes the next frame in. Fills its number, its time, and for a reply what it answers. \a payload is the frame's,
    /// as it was on the wire, and empty for an event. \a frame has the data as well, which is not kept.
    void add(SeenFrame frame, const QByteArray& payload = {});

    /// A text that no other memory has, so that a reader who comes back knows whether the numbers are the same ones.
    QString run() const { return m_run; }

    /// The number of the oldest frame that is kept; nextNumber() when there is none.
    qint64 firstNumber() const { return m_nextNumber - static_cast<qint64>(m_entries.size()); }

    /// The number that the next frame will get.
    qint64 nextNumber() const { return m_nextNumber; }

    /// The whole frame with this number; nothing when it is not there any more, or not yet.
    std::optional<SeenFrame> frame(qint64 number) const;

Q_SIGNALS:
    /// There is a new frame, which is \a frame, with its data.
    void added(const tarvex::traffic::SeenFrame& frame);

private:
    struct Entry
    {
        SeenFrame frame; ///< Without what the payload has.
        QByteArray payload;
        qint64 bytes;
    };

    const qint64 m_maxBytes;
    const QString m_run = QUuid::createUuid().toString(QUuid::WithoutBraces);
    QElapsedTimer m_clock;
    Correlator m_correlator;
    std::deque<Entry> m_entries;
    qint64 m_bytes = 0;
    qint64 m_nextNumber = 1;
};

} // namespace tarvex::traffic

#endif // FRAMEMEMORY_H
