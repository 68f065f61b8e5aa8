#include "recording.h"

#include "failure.h"
#include "output.h"
#include "programwords.h"
#include "standardstreams.h"
#include "tarvexlib.h"
#include "traffic/operations.h"

#include <QBuffer>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <cstdio>
#include <limits>
#include <unistd.h>

namespace tarvexctl {

using tarvex::traffic::Kind;
using tarvex::traffic::SeenFrame;
using tarvex::traffic::timeName;

namespace {

const QLatin1String KEY_RECORDING("tarvexRecording");
const QLatin1String KEY_END("end");
const QLatin1String KEY_NUMBER("number");
const QLatin1String KEY_CONNECTION("connection");
const QLatin1String KEY_CLIENT("client");
const QLatin1String KEY_OPERATION("operation");
const QLatin1String KEY_ANSWERS("answers");
const QLatin1String KEY_CODE("code");
const QLatin1String STANDARD_STREAM("-");
/// JSON numbers are exact up to here.
constexpr double MAX_NUMBER = 9007199254740992;
/// A line is one frame. The bus decodes envelopes up to 32 MiB; escapes make them longer in JSON.
constexpr int MAX_LINE = 256 << 20;
/// Qt allocates what a line may have at most.
constexpr int PIECE_SIZE = 64 * 1024;

/// \a pattern is "cannot read %1: %2" or the like.
Failure fileFailure(ExitStatus status, const QString& pattern, const QString& path, const QString& why)
{
    return Failure(status, pattern.arg(path, why));
}

Failure lineFailure(int line, const QString& words)
{
    return Failure(WrongUse, Words::tr("line %1: %2").arg(QString::number(line), words));
}

void checkHeader(const QVariantMap& header)
{
    if (!header.contains(KEY_RECORDING)) {
        throw lineFailure(
            1, Words::tr("this is no recording: its first line must be an object with \"%1\"").arg(KEY_RECORDING));
    }
    const QVariant version = header.value(KEY_RECORDING);
    if (!QJsonValue::fromVariant(version).isDouble() || version.toDouble() != RECORDING_VERSION) {
        throw lineFailure(1,
                          Words::tr("the recording has the version %1; this program reads version %2")
                              .arg(jsonText(version), QString::number(RECORDING_VERSION)));
    }
}

/// Whether the value is a whole number from \a least to \a most.
bool isWholeNumber(const QVariant& value, double least, double most)
{
    const QJsonValue json = QJsonValue::fromVariant(value);
    const double number = json.toDouble();
    return json.isDouble() && number >= least && number <= most && number == std::floor(number);
}

/// Throws unless \a key has a whole number in this range.
void checkNumber(const QVariantMap& object, QLatin1String key, int line, double least, double most = MAX_NUMBER)
{
    if (!isWholeNumber(object.value(key), least, most)) {
        throw lineFailure(
            line,
            Words::tr("a frame whose \"%1\" is no whole number from %2 to %3: %4")
                .arg(key, QString::number(least, 'f', 0), QString::number(most, 'f', 0), jsonText(object.value(key))));
    }
}

/// The keys that decide which frames belong together. A wrong type would be read as 0, or as an empty text.
void checkTypes(const QVariantMap& object, const SeenFrame& frame, int line)
{
    checkNumber(object, KEY_NUMBER, line, frame.kind == Kind::Gap ? 0 : 1);
    if (frame.kind == Kind::Request || frame.kind == Kind::Reply) {
        checkNumber(object, KEY_CONNECTION, line, 1);
    }
    if (object.contains(KEY_ANSWERS)) {
        checkNumber(object, KEY_ANSWERS, line, 0);
    }
    if (object.contains(KEY_CODE)) {
        checkNumber(object, KEY_CODE, line, 0, std::numeric_limits<quint16>::max());
    }
    for (const QLatin1String key : {KEY_CLIENT, KEY_OPERATION}) {
        if (object.contains(key) && object.value(key).type() != QVariant::String) {
            throw lineFailure(line, Words::tr("a frame whose \"%1\" is no text").arg(key));
        }
    }
}

SeenFrame frameFrom(const QVariantMap& object, int line)
{
    bool isValid = false;
    SeenFrame frame = SeenFrame::fromVariantMap(object, isValid);
    if (!isValid) {
        throw lineFailure(line,
                          Words::tr("this is no frame: \"time\", \"kind\" and \"port\" must be there, and "
                                    "\"direction\" for a request and a reply, with the words of the "
                                    "document"));
    }
    checkTypes(object, frame, line);
    const bool isFrame = frame.kind == Kind::Request || frame.kind == Kind::Reply;
    if (frame.kind == Kind::Request && frame.operation.isEmpty()) {
        throw lineFailure(line, Words::tr("a request without \"operation\""));
    }
    if (isFrame && !frame.isDataLeftOut && object.value(QStringLiteral("data")).type() != QVariant::Map) {
        throw lineFailure(line, Words::tr("a frame without \"data\", an object"));
    }
    return frame;
}

/// Reads a line without its end. \return false at the end of the device
bool readLine(QIODevice& device, int number, QByteArray& line, bool& isWhole)
{
    line.clear();
    isWhole = false;
    for (QByteArray piece; !isWhole && !(piece = device.readLine(PIECE_SIZE)).isEmpty();) {
        line += piece;
        isWhole = line.endsWith('\n');
        if (line.size() > MAX_LINE) {
            throw lineFailure(number, Words::tr("the line is longer than %1 bytes").arg(MAX_LINE));
        }
    }
    return !line.isEmpty();
}

/// Takes one line in. \return why it is no JSON object; empty when it is one
QString take(const QByteArray& line, int number, Recording& recording)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(line, &error);
    if (!document.isObject()) {
        return error.error == QJsonParseError::NoError ? Words::tr("no JSON object") : error.errorString();
    }
    const QVariantMap object = document.object().toVariantMap();
    if (number == 1) {
        checkHeader(object);
        recording.header = object;
    } else if (!object.contains(KEY_END)) {
        recording.frames.append({frameFrom(object, number), number});
    }
    return QString();
}

} // namespace

RecordingWriter::RecordingWriter(const QString& path, Existing existing)
    : m_path(path), m_isStdout(path == STANDARD_STREAM), m_file(path)
{
    if (m_isStdout) {
        return;
    }
    if (existing == Kept && m_file.exists()) {
        throw Failure(WrongUse, Words::tr("%1 is there already; --force replaces it").arg(path));
    }
    // NewOnly makes sure that nobody has made the file in between.
    const QIODevice::OpenMode mode =
        QIODevice::WriteOnly | QIODevice::Unbuffered | (existing == Kept ? QIODevice::NewOnly : QIODevice::Truncate);
    if (!m_file.open(mode)) {
        throw fileFailure(WrongUse, Words::tr("cannot write %1: %2"), path, m_file.errorString());
    }
}

void RecordingWriter::writeHeader(const QString& source, const QStringList& clients)
{
    writeLine({{KEY_RECORDING, RECORDING_VERSION},
               {QStringLiteral("version"), bus::TarvexLib::version().version()},
               {QStringLiteral("startedAt"), timeName(tarvex::traffic::currentTimeUs())},
               {QStringLiteral("source"), source},
               {QStringLiteral("clients"), clients}});
}

void RecordingWriter::write(const SeenFrame& frame)
{
    writeLine(frame.toVariantMap());
    ++m_frameCount;
}

void RecordingWriter::writeEnd(const QString& reason)
{
    writeLine({{KEY_END, reason},
               {QStringLiteral("endedAt"), timeName(tarvex::traffic::currentTimeUs())},
               {QStringLiteral("frames"), m_frameCount}});
}

void RecordingWriter::writeLine(const QVariantMap& object)
{
    const QByteArray line = jsonText(object).toUtf8() + '\n';
    const QString error = tarvex::programs::writeAll(m_isStdout ? STDOUT_FILENO : m_file.handle(), line);
    if (!error.isEmpty()) {
        throw fileFailure(Refused, Words::tr("cannot write to %1: %2"), m_isStdout ? QStringLiteral("stdout") : m_path,
                          error);
    }
}

Recording readRecording(QIODevice& device)
{
    Recording recording;
    QByteArray line;
    bool isWhole = true;
    for (int number = 1; readLine(device, number, line, isWhole); ++number) {
        if (line.trimmed().isEmpty()) {
            continue;
        }
        const QString problem = take(line, number, recording);
        if (!problem.isEmpty() && (isWhole || number == 1)) {
            throw lineFailure(number, Words::tr("this is no JSON object: %1").arg(problem));
        }
        recording.isCut = !problem.isEmpty(); // the recorder was killed while it wrote the line
    }
    const auto* const file = qobject_cast<QFileDevice*>(&device);
    if (file != nullptr && file->error() != QFileDevice::NoError) {
        throw fileFailure(WrongUse, Words::tr("cannot read %1: %2"), file->fileName(), file->errorString());
    }
    if (recording.header.isEmpty()) {
        throw Failure(WrongUse, Words::tr("the recording is empty"));
    }
    return recording;
}

Recording readRecording(const QString& path)
{
    QFile file(path);
    const bool isOpen =
        path == STANDARD_STREAM ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    if (!isOpen) {
        throw fileFailure(WrongUse, Words::tr("cannot read %1: %2"), path, file.errorString());
    }
    return readRecording(file);
}

} // namespace tarvexctl
