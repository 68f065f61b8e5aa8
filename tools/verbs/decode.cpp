#include "failure.h"
#include "frameline.h"
#include "output.h"
#include "programwords.h"
#include "traffic/bytesobserver.h"
#include "traffic/capturefile.h"
#include "traffic/packetobserver.h"
#include "verbs/frameoptions.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

using namespace tarvex::traffic;

namespace tarvexctl {

namespace {

/// The form of a file.
enum class Form {
    Capture,
    Bytes,
    Neither
};

/// \return why it could not, from errno
QString systemWords()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

/// Looks at the first byte only, because no more than one can be put back, and the file may be a pipe. All forms of a
/// capture begin with one of these.
Form formOf(std::FILE* file)
{
    const int first = std::getc(file);
    std::ungetc(first, file);
    switch (first) {
    case 0xd4: // pcap, by the byte order and the unit of the times
    case 0xa1:
    case 0x4d:
    case '\n': // pcapng
        return Form::Capture;
    case '[':
        return Form::Bytes;
    default:
        return Form::Neither;
    }
}

/// What was found.
struct Count
{
    qint64 frames = 0;
    qint64 bad = 0;
    qint64 gaps = 0;

    void add(Kind kind)
    {
        frames += kind == Kind::Request || kind == Kind::Reply ? 1 : 0;
        bad += kind == Kind::Bad ? 1 : 0;
        gaps += kind == Kind::Gap ? 1 : 0;
    }

    QString words() const
    {
        return Words::tr("%1, %2 bad, %3")
            .arg(Words::counted(frames, Words::tr("1 frame"), Words::markCount("%n frames")), QString::number(bad),
                 Words::counted(gaps, Words::tr("1 gap"), Words::markCount("%n gaps")));
    }
};

/// The clients that the filter names and that were not seen yet.
class MissingClients
{
public:
    explicit MissingClients(const FrameCriteria& criteria)
    {
        for (const auto& name : {criteria.client, criteria.from, criteria.to}) {
            if (name && *name != FrameFilter::busName() && !m_names.contains(*name)) {
                m_names.append(*name);
            }
        }
    }

    void take(const SeenFrame& frame)
    {
        if (!m_names.isEmpty()) {
            for (const QString& name : {frame.client, frame.from(), frame.to()}) {
                m_names.removeAll(name);
            }
        }
    }

    bool isNone() const { return m_names.isEmpty(); }

    /// Throws Failure when there is one: its name is wrong, or the file.
    void requireNone() const
    {
        if (!m_names.isEmpty()) {
            throw Failure(WrongUse, Words::tr("nobody is called \"%1\" in this file").arg(m_names.first()));
        }
    }

private:
    QStringList m_names;
};

class Decode : public Verb
{
public:
    Decode() : Verb("decode", Words::mark("Shows the frames in a capture file, and what is wrong with them")) { }

    void addOptions(CLI::App& parser) override
    {
        m_file.addTo(parser);
        m_filter.addTo(parser);
        addFlag(parser, "--full", m_isFull, Words::mark("All of the data, on lines of its own"));
        addFlag(parser, "--raw", m_isRaw,
                Words::mark("FILE holds the bytes of one direction of a connection, whatever they are"));
        addFlag(
            parser, "--receiver", m_isReceiver,
            Words::mark("The bytes are from the receiver port, where the bus sends messages; otherwise they are from "
                        "the query port"));
        addFooter(
            parser,
            Words::mark("Filters are combined: a frame must fit all of them. tcpdump makes such a file: tcpdump -i lo "
                        "-w bus.pcap 'port 45535 or port 45537'."));
        addExample(parser, "tarvexctl decode bus.pcap --errors");
    }

    void run(const Context& context) const override;

private:
    Form checkedForm(std::FILE* file) const;
    void readCapture(std::FILE* file, const PacketObserver::Sink& sink, const Count& count) const;
    void readBytes(std::FILE* file, const BytesObserver::Sink& sink) const;

    Argument m_file{"FILE",
                    Words::mark("A capture of tcpdump or tarvex-capture, or the bytes of a connection; - is stdin")};
    FrameFilterOptions m_filter;
    bool m_isFull = false;
    bool m_isRaw = false;
    bool m_isReceiver = false;
};

/// Opens a file for reading. Throws Failure.
std::FILE* openFile(const QString& name)
{
    std::FILE* const file = name == QLatin1String("-") ? stdin : std::fopen(QFile::encodeName(name).constData(), "rbe");
    if (file == nullptr) {
        throw Failure(WrongUse, QStringLiteral("%1: %2").arg(name, systemWords()));
    }
    return file;
}

void Decode::run(const Context& context) const
{
    const FrameCriteria criteria = m_filter.criteria();
    FrameFilter filter(criteria);
    MissingClients missing(criteria);
    std::FILE* const file = openFile(m_file.nonEmptyText());
    const Form form = checkedForm(file);
    FrameLines lines(context.palette, m_isFull ? FrameLines::Full : FrameLines::OneLine);
    Output& output = context.output;
    Count count;
    const auto show = [&](const SeenFrame& frame) {
        count.add(frame.kind);
        missing.take(frame);
        lines.note(frame);
        if (!filter.takes(frame)) {
            return;
        }
        if (output.isJson()) {
            output.writeObject(frame.toVariantMap());
        } else {
            output.writeText(lines.text(frame));
        }
    };
    if (form == Form::Capture) {
        readCapture(file, show, count);
    } else {
        readBytes(file, show);
    }
    if (count.bad > 0 && missing.isNone()) {
        throw Failure(Refused, count.words());
    }
    complain(count.words());
    missing.requireNone();
}

Form Decode::checkedForm(std::FILE* file) const
{
    const Form form = m_isRaw ? Form::Bytes : formOf(file);
    QString wrong;
    if (std::ferror(file) != 0) {
        wrong = systemWords();
    } else if (form == Form::Neither && std::feof(file) != 0) {
        wrong = Words::tr("it is empty");
    } else if (form == Form::Neither) {
        wrong = Words::tr("it is no capture, and its bytes do not begin with a frame; --raw decodes them anyway");
    } else if (form == Form::Capture && m_isReceiver) {
        wrong = Words::tr("it is a capture, which tells the port: --receiver is for the bytes of a connection");
    }
    if (!wrong.isEmpty()) {
        throw Failure(WrongUse, QStringLiteral("%1: %2").arg(m_file.text(), wrong));
    }
    return form;
}

void Decode::readCapture(std::FILE* file, const PacketObserver::Sink& sink, const Count& count) const
{
    CaptureFile capture(file);
    if (!capture.isOpen()) {
        throw Failure(WrongUse, QStringLiteral("%1: %2").arg(m_file.text(), capture.errorString()));
    }
    PacketObserver observer(PacketObserver::WithPacket, sink);
    Packet packet;
    CaptureFile::Result result = CaptureFile::Read;
    while ((result = capture.next(packet)) == CaptureFile::Read) {
        observer.take(packet);
    }
    observer.finish();
    if (observer.busPackets() == 0) {
        complain(Words::counted(packet.number, Words::tr("none of its 1 packet belongs to the bus"),
                                Words::markCount("none of its %n packets belongs to the bus")));
    }
    if (result == CaptureFile::Damaged) {
        throw Failure(Refused,
                      Words::tr("%1; the capture is damaged after packet %2: %3")
                          .arg(count.words(), QString::number(packet.number), capture.errorString()));
    }
}

void Decode::readBytes(std::FILE* file, const BytesObserver::Sink& sink) const
{
    constexpr std::size_t PIECE_SIZE = 65536;
    BytesObserver observer(m_isReceiver ? Port::Receiver : Port::Query, sink);
    std::array<char, PIECE_SIZE> piece{};
    std::size_t size = 0;
    while ((size = std::fread(piece.data(), 1, piece.size(), file)) > 0) {
        observer.take(QByteArray(piece.data(), static_cast<int>(size)));
    }
    observer.finish();
    if (std::ferror(file) != 0) {
        throw Failure(WrongUse, QStringLiteral("%1: %2").arg(m_file.text(), systemWords()));
    }
}

} // namespace

std::unique_ptr<Verb> makeDecode()
{
    return std::make_unique<Decode>();
}

} // namespace tarvexctl
