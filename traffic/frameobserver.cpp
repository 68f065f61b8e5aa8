#include "traffic/frameobserver.h"

#include "traffic/payloadproblem.h"

#include <algorithm>
#include <utility>

namespace tarvex::traffic {

namespace {

/// The clients read a line with this limit.
constexpr int MAX_LINE_SIZE = busframe::LINE_READ_LIMIT - 1;
/// The payload is handed on in pieces, because the end of it is known only afterwards.
constexpr int MAX_PIECE_SIZE = 4096;
/// Both header lines begin with it. It is no base64.
constexpr char HEADER_BEGIN = '[';

const QByteArray& requestLine()
{
    static const QByteArray line = QByteArray(busframe::REQUEST_HEADER) + "\r\n";
    return line;
}

const QByteArray& replyLine()
{
    static const QByteArray line = QByteArray(busframe::REPLY_HEADER) + "\r\n";
    return line;
}

bool isBase64(char character)
{
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z')
        || (character >= '0' && character <= '9') || character == '+' || character == '/' || character == '=';
}

/// How many characters from \a at on are base64, up to \a max.
int base64Run(const QByteArray& bytes, int at, int max)
{
    const auto begin = bytes.cbegin() + at;
    const auto end = begin + qMin(max, bytes.size() - at);
    return static_cast<int>(std::find_if_not(begin, end, isBase64) - begin);
}

/// Where a header line begins; -1 when there is none.
int findHeader(const QByteArray& bytes, int at)
{
    for (int i = bytes.indexOf(HEADER_BEGIN, at); i >= 0; i = bytes.indexOf(HEADER_BEGIN, i + 1)) {
        const QByteArray line = bytes.mid(i, requestLine().size());
        if (line == requestLine() || line.startsWith(replyLine())) {
            return i;
        }
    }
    return -1;
}

/// The header and size lines that \a bytes begin with, as far as they are there and no longer than lines may be.
QByteArray linesOf(const QByteArray& bytes, bool& isWhole)
{
    const int first = bytes.left(MAX_LINE_SIZE).indexOf('\n') + 1;
    const int second = first == 0 ? 0 : bytes.mid(first, MAX_LINE_SIZE).indexOf('\n') + 1;
    isWhole = second > 0;
    return isWhole ? bytes.left(first + second) : bytes.left(first + MAX_LINE_SIZE);
}

QString bytesText(qint64 count)
{
    return count == 1 ? QStringLiteral("1 byte") : QStringLiteral("%1 bytes").arg(count);
}

} // namespace

FrameObserver::Findings FrameObserver::append(const QByteArray& bytes, qint64 packet)
{
    if (m_pending.isEmpty() && !m_isInPayload) {
        m_framePacket = packet;
    }
    m_pending.append(bytes);
    m_packet = packet;
    while (step() == Step::Goes) { }
    dropRead();
    return std::exchange(m_findings, {});
}

FrameObserver::Findings FrameObserver::miss(qint64 count, qint64 packet)
{
    m_packet = packet;
    QString words = QStringLiteral("%1 were not captured").arg(bytesText(count));
    if (!m_isTrusted) {
        consume(available());
        reportSkipped(m_offset);
    } else if (isInFrame()) {
        words += QStringLiteral(", in the middle of a frame: %1").arg(partWords());
        consume(available());
    }
    report(Finding::Gap, m_offset, words);
    dropRead();
    m_offset += count;
    lose();
    m_lostAt = m_offset;
    return std::exchange(m_findings, {});
}

FrameObserver::Findings FrameObserver::giveUp()
{
    if (m_isTrusted) {
        report(Finding::Gap, m_frameAt, QStringLiteral("too much to keep: %1").arg(partWords()));
    }
    lose();
    return std::exchange(m_findings, {});
}

FrameObserver::Findings FrameObserver::end(bool isWhole)
{
    if (!m_isTrusted) {
        consume(available());
        reportSkipped(m_offset);
    } else if (isInFrame()) {
        report(isWhole ? Finding::Bad : Finding::Gap, m_frameAt,
               QStringLiteral("the bytes end in the middle of a frame: %1").arg(partWords()));
    }
    return std::exchange(m_findings, {});
}

FrameObserver::Step FrameObserver::step()
{
    if (m_isSeeking) {
        return seek();
    }
    return m_isInPayload ? readPayload() : readHead();
}

FrameObserver::Step FrameObserver::seek()
{
    const int header = findHeader(m_pending, m_at);
    if (header < 0) {
        // The end may be the beginning of a header line.
        consume(qMax(0, available() - requestLine().size() + 1));
        return Step::Waits;
    }
    consume(header - m_at);
    m_isSeeking = false;
    startFrame();
    return Step::Goes;
}

FrameObserver::Step FrameObserver::readHead()
{
    if (available() == 0) {
        return Step::Waits;
    }
    bool isWhole = false;
    const QByteArray lines = linesOf(unread(2 * MAX_LINE_SIZE), isWhole);
    FrameStream stream;
    stream.append(lines);
    Frame frame;
    const FrameStream::Result result = stream.next(frame);
    if (result != FrameStream::Incomplete) {
        loseHead(result, stream.lostLine());
        return Step::Goes;
    }
    if (!isWhole) {
        return Step::Waits;
    }
    m_stream = std::move(stream);
    m_claimed = busframe::lineText(lines.mid(lines.indexOf('\n') + 1)).toInt();
    m_isInPayload = true;
    m_read = 0;
    consume(lines.size());
    return Step::Goes;
}

FrameObserver::Step FrameObserver::readPayload()
{
    if (available() == 0) {
        return Step::Waits;
    }
    const int count = base64Run(m_pending, m_at, MAX_PIECE_SIZE);
    if (count == 0) {
        losePayload();
        return Step::Goes;
    }
    m_stream.append(unread(count));
    Frame frame;
    if (m_stream.next(frame) != FrameStream::Complete) {
        m_read += count;
        consume(count);
        return Step::Goes;
    }
    consume(static_cast<int>(frame.payload.size() - m_read));
    readFrame(frame);
    return Step::Goes;
}

void FrameObserver::readFrame(const Frame& frame)
{
    const busframe::Decoded decoded = m_codec.decodePayload(frame.payload);
    const bool isGood = decoded.isValid && !decoded.envelope.isEmpty();
    if (!isGood && !m_isTrusted) {
        m_isSeeking = true; // it was no header, or it was and nobody can tell
    } else if (!isGood) {
        report(Finding::Bad, m_frameAt, payloadProblem(frame.payload, decoded), frame.payload.size());
    } else {
        reportSkipped(m_frameAt);
        m_isTrusted = true;
        m_findings.push_back({Finding::Frame, frame.isReply, decoded.envelope, frame.payload.size(), QString(),
                              m_frameAt, m_framePacket});
    }
    m_isInPayload = false;
    m_read = 0;
    m_lastSize = frame.payload.size();
    m_stream = FrameStream();
    startFrame();
}

void FrameObserver::loseHead(FrameStream::Result result, const QString& line)
{
    if (m_isTrusted) {
        report(Finding::Bad, m_frameAt, headWords(result, line));
    }
    lose();
    consume(1);
}

/// A byte that is no base64 stands in the payload. It may begin the next header.
void FrameObserver::losePayload()
{
    if (m_isTrusted) {
        const bool isHeader = m_pending.at(m_at) == HEADER_BEGIN;
        const QString place = QStringLiteral("the size line says %1 bytes, but ").arg(m_claimed);
        const QString found = isHeader
            ? QStringLiteral("a header follows after %1: the size is too big by %2").arg(m_read).arg(m_claimed - m_read)
            : QStringLiteral("byte %1 of the payload is 0x%2, which is no base64")
                  .arg(m_read)
                  .arg(static_cast<uchar>(m_pending.at(m_at)), 2, 16, QLatin1Char('0'));
        report(Finding::Bad, m_frameAt, place + found, static_cast<int>(m_read));
    }
    lose();
}

/// The place is lost here. What was read of the present frame is gone.
void FrameObserver::lose()
{
    if (m_isTrusted) {
        m_lostAt = m_offset;
    }
    m_isTrusted = false;
    m_isSeeking = true;
    m_isInPayload = false;
    m_read = 0;
    m_lastSize = 0;
    m_stream = FrameStream();
}

void FrameObserver::startFrame()
{
    m_frameAt = m_offset;
    m_framePacket = m_packet;
}

void FrameObserver::consume(int count)
{
    m_at += count;
    m_offset += count;
}

/// What is left is copied, so that the room of a large one is not kept.
void FrameObserver::dropRead()
{
    m_pending = m_pending.mid(m_at);
    m_at = 0;
}

/// Says what was not understood since the place was lost, up to \a end.
void FrameObserver::reportSkipped(qint64 end)
{
    if (!m_isTrusted && end > m_lostAt) {
        report(Finding::Gap, m_lostAt,
               QStringLiteral("%1 from here on hold no frame that can be trusted").arg(bytesText(end - m_lostAt)));
    }
    m_lostAt = end;
}

void FrameObserver::report(Finding::Kind kind, qint64 offset, const QString& problem, int size)
{
    Finding finding;
    finding.kind = kind;
    finding.problem = problem;
    finding.offset = offset;
    finding.packet = kind == Finding::Bad ? m_framePacket : m_packet;
    finding.size = size;
    m_findings.push_back(finding);
}

/// How much of the present frame is there.
QString FrameObserver::partWords() const
{
    return m_isInPayload ? QStringLiteral("%1 of its %2 bytes of payload were there").arg(m_read).arg(m_claimed)
                         : QStringLiteral("%1 of its header were there").arg(bytesText(available()));
}

QString FrameObserver::headWords(FrameStream::Result result, const QString& line) const
{
    if (result == FrameStream::WrongSize) {
        bool isNumber = false;
        const qlonglong size = line.toLongLong(&isNumber);
        const QString reason = !isNumber        ? QStringLiteral("which is no number")
            : size > busframe::MAX_PAYLOAD_SIZE ? QStringLiteral("which is beyond %1").arg(busframe::MAX_PAYLOAD_SIZE)
                                                : QStringLiteral("but base64 has a positive multiple of 4 bytes");
        return QStringLiteral("the size line is \"%1\", %2").arg(line, reason);
    }
    QString words = QStringLiteral("\"%1\" begins no frame").arg(line);
    const int run = m_lastSize > 0 ? base64Run(m_pending, m_at, available()) : 0;
    const bool isAll = run == available();
    if (run == 0 || (!isAll && m_pending.at(m_at + run) != HEADER_BEGIN)) {
        return words;
    }
    const QString before =
        QStringLiteral("the payload before goes on after the %1 bytes of its size line").arg(m_lastSize);
    return isAll ? QStringLiteral("%1; perhaps %2").arg(words, before)
                 : QStringLiteral("%1: the size is too small by %2").arg(before).arg(run);
}

} // namespace tarvex::traffic
