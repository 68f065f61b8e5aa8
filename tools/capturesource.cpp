#include "capturesource.h"

#include "failure.h"
#include "output.h"
#include "packetreader.h"
#include "programwords.h"
#include "traffic/seenframe.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace tarvexctl {

namespace {

const QString PROGRAM = QStringLiteral("tarvex-capture");
/// It needs a few milliseconds.
constexpr int END_TIMEOUT_MS = 2000;

/// Whether these are the words about packets that nobody has seen.
bool hasLost(const QString& words)
{
    static const QRegularExpression lost(QStringLiteral(", [1-9][0-9]* more were lost$"));
    return lost.match(words).hasMatch();
}

QString programFile()
{
    const QString beside = QStandardPaths::findExecutable(PROGRAM, {QCoreApplication::applicationDirPath()});
    return beside.isEmpty() ? QStandardPaths::findExecutable(PROGRAM) : beside;
}

/// Debian's package lets only a group start the program. \return the file if it is there all the same
QFileInfo forbiddenFile()
{
    QStringList folders = QString::fromLocal8Bit(qgetenv("PATH")).split(QLatin1Char(':'), Qt::SkipEmptyParts);
    folders.prepend(QCoreApplication::applicationDirPath());
    const auto found = std::find_if(folders.cbegin(), folders.cend(),
                                    [](const QString& folder) { return QFileInfo(QDir(folder), PROGRAM).isFile(); });
    return found == folders.cend() ? QFileInfo() : QFileInfo(QDir(*found), PROGRAM);
}

QString whyNoProgram()
{
    const QFileInfo file = forbiddenFile();
    if (file.filePath().isEmpty()) {
        return Words::tr("%1 is not installed: it is neither beside this program nor on the PATH").arg(PROGRAM);
    }
    return Words::tr("no right to capture: only root and the members of the group %1 may start %2")
        .arg(file.group(), file.filePath());
}

} // namespace

CaptureSource::CaptureSource(const QString& interface, QObject* parent) : FrameSource(parent), m_interface(interface)
{
    connect(&m_program, &QProcess::readyReadStandardError, this, &CaptureSource::readWords);
    connect(&m_program, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &CaptureSource::endWhenDone);
    connect(&m_program, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            fail(Refused, Words::tr("cannot start %1: %2").arg(m_program.program(), m_program.errorString()));
        }
    });
}

CaptureSource::~CaptureSource()
{
    if (m_reader != nullptr) {
        m_reader->leave(); // it may be waiting
    }
    m_program.terminate();
    if (!m_program.waitForFinished(END_TIMEOUT_MS)) {
        m_program.kill();
        m_program.waitForFinished(END_TIMEOUT_MS);
    }
    m_thread.quit();
    m_thread.wait();
}

void CaptureSource::start()
{
    const QString file = programFile();
    std::array<int, 2> pipe{-1, -1};
    if (file.isEmpty()) {
        fail(Refused, whyNoProgram());
        return;
    }
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0) {
        fail(Refused, Words::tr("no pipe to %1: %2").arg(PROGRAM, QString::fromLocal8Bit(std::strerror(errno))));
        return;
    }
    m_program.packets = pipe[1];
    m_program.start(file, {m_interface}, QIODevice::ReadOnly);
    ::close(pipe[1]);
    startReading(pipe[0]);
}

void CaptureSource::startReading(int descriptor)
{
    m_reader = new PacketReader(::fdopen(descriptor, "rb"));
    m_reader->moveToThread(&m_thread);
    connect(&m_thread, &QThread::started, m_reader, &PacketReader::read);
    connect(&m_thread, &QThread::finished, m_reader, &QObject::deleteLater);
    connect(m_reader, &PacketReader::ready, this,
            [this] { m_reader->take([this](const tarvex::traffic::SeenFrame& frame) { takeFrame(frame); }); });
    connect(m_reader, &PacketReader::ended, this, &CaptureSource::onReaderEnded);
    m_thread.start();
}

void CaptureSource::takeFrame(const tarvex::traffic::SeenFrame& frame)
{
    begin(); // a frame may come before the program's words are read
    Q_EMIT seen(frame);
}

void CaptureSource::onReaderEnded()
{
    m_readError = m_reader->errorString();
    m_isRead = true;
    endWhenDone();
}

void CaptureSource::begin()
{
    if (!std::exchange(m_isCapturing, true)) {
        Q_EMIT started();
    }
}

void CaptureSource::readWords()
{
    const QList<QByteArray> lines = m_program.readAllStandardError().split('\n');
    for (const QByteArray& line : lines) {
        QString words = QString::fromLocal8Bit(line);
        if (words.isEmpty()) {
            continue;
        }
        words.remove(0, words.startsWith(PROGRAM + QStringLiteral(": ")) ? PROGRAM.size() + 2 : 0);
        m_words = words;
        if (words.startsWith(QLatin1String("capturing on "))) {
            begin();
        }
        if (m_isCapturing) {
            hasLost(words) ? tellFailure(words) : complain(words);
        }
    }
}

/// The end of the program and that of its packets come in any order.
void CaptureSource::endWhenDone()
{
    if (!m_isRead || m_program.state() != QProcess::NotRunning || m_hasEnded) {
        return;
    }
    readWords();
    if (m_program.exitStatus() != QProcess::NormalExit) {
        fail(Refused, Words::tr("%1 has crashed").arg(PROGRAM));
    } else if (m_program.exitCode() != Done) {
        fail(m_program.exitCode(), m_words);
    } else if (!m_readError.isEmpty()) {
        fail(Refused, Words::tr("cannot read what %1 has captured: %2").arg(PROGRAM, m_readError));
    } else {
        m_hasEnded = true;
        Q_EMIT ended();
    }
}

/// The signal comes after start(), not from inside it.
void CaptureSource::fail(int status, const QString& words)
{
    if (!std::exchange(m_hasEnded, true)) {
        QMetaObject::invokeMethod(
            this, [this, status, words] { Q_EMIT failed(status, words); }, Qt::QueuedConnection);
    }
}

void CaptureSource::Program::setupChildProcess()
{
    ::dup2(packets, STDOUT_FILENO);
}

} // namespace tarvexctl
