#ifndef RECORDING_H
#define RECORDING_H

#include "traffic/seenframe.h"

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

class QIODevice;

/// Recordings of what passes on the bus: JSON Lines, see docs/monitor.md.
namespace tarvexctl {

/// The version of the form.
constexpr int RECORDING_VERSION = 1;

/// Writes a recording, a line at once, so that a kill loses one line at most.
class RecordingWriter
{
public:
    enum Existing {
        Kept, ///< A file that is there already is refused.
        Replaced
    };

    /// Opens \a path; "-" is stdout. Throws Failure.
    RecordingWriter(const QString& path, Existing existing);

    bool isStdout() const { return m_isStdout; }

    // These throw Failure when the line cannot be written whole.

    /// The first line. \a source says where the frames come from.
    void writeHeader(const QString& source, const QStringList& clients);
    void write(const tarvex::traffic::SeenFrame& frame);
    /// The last line. \a reason says why the recording ends.
    void writeEnd(const QString& reason);

    qint64 frameCount() const { return m_frameCount; }

private:
    void writeLine(const QVariantMap& object);

    const QString m_path;
    const bool m_isStdout;
    QFile m_file;
    qint64 m_frameCount = 0;
};

/// A frame of a recording.
struct RecordedFrame
{
    tarvex::traffic::SeenFrame frame;
    int line = 0; ///< Where it stands, from 1.
};

/// A whole recording.
struct Recording
{
    QVariantMap header;
    QList<RecordedFrame> frames;
    bool isCut = false; ///< Its last line is not whole and was left out.
};

/// Reads and checks a whole recording. Throws Failure with WrongUse, which names the line.
Recording readRecording(QIODevice& device);

/// The same from a file; "-" is stdin.
Recording readRecording(const QString& path);

} // namespace tarvexctl

#endif // RECORDING_H
