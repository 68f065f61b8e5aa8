#include "wire/blockcodec_p.h"

#include <QtEndian>

#define ZLIB_CONST // the input is read only: no copy of it
#include <zlib.h>

#include <algorithm>

namespace tarvex {

namespace {

constexpr int MIN_INFLATE_BUFFER_SIZE = 1024 * 1024;

const Bytef* bytesOf(const QByteArray& bytes)
{
    return reinterpret_cast<const Bytef*>(bytes.constData());
}

/// The size of the first output buffer.
int firstSize(const QByteArray& block, int maxSize)
{
    const qint64 claimed = qFromBigEndian<quint32>(block.constData());
    const qint64 reasonable = MIN_INFLATE_BUFFER_SIZE + 8 * static_cast<qint64>(block.size());
    return static_cast<int>(std::clamp<qint64>(claimed, 1, std::min<qint64>(reasonable, maxSize)));
}

/// One of zlib's streams. It is set up when it is needed first, and only reset later.
class Stream
{
public:
    using Step = int (*)(z_streamp);

    Stream(Step begin, Step reset, Step end) : m_begin(begin), m_reset(reset), m_end(end) { }

    ~Stream()
    {
        if (m_isBegun) {
            m_end(&m_stream);
        }
    }
    Q_DISABLE_COPY_MOVE(Stream)

    /// \return null if there is no memory.
    z_stream* start(const Bytef* input, int size)
    {
        if ((m_isBegun ? m_reset : m_begin)(&m_stream) != Z_OK) {
            return nullptr;
        }
        m_isBegun = true;
        m_stream.next_in = input;
        m_stream.avail_in = static_cast<uInt>(size);
        return &m_stream;
    }

private:
    const Step m_begin;
    const Step m_reset;
    const Step m_end;
    z_stream m_stream{};
    bool m_isBegun = false;
};

} // namespace

struct BlockCodec::Streams
{
    Stream deflater{[](z_streamp stream) { return deflateInit(stream, Z_DEFAULT_COMPRESSION); }, &deflateReset,
                    &deflateEnd};
    Stream inflater{[](z_streamp stream) { return inflateInit(stream); }, &inflateReset, &inflateEnd};
};

BlockCodec::BlockCodec() = default;

BlockCodec::~BlockCodec() = default;

void BlockCodec::compress(const QByteArray& text, QByteArray& block)
{
    z_stream* const stream = streams().deflater.start(bytesOf(text), text.size());
    if (stream == nullptr) {
        block = qCompress(text);
        return;
    }
    const auto bound = static_cast<int>(deflateBound(stream, static_cast<uLong>(text.size())));
    block.resize(LENGTH_PREFIX_SIZE + bound);
    qToBigEndian(static_cast<quint32>(text.size()), block.data());
    stream->next_out = reinterpret_cast<Bytef*>(block.data()) + LENGTH_PREFIX_SIZE;
    stream->avail_out = static_cast<uInt>(bound);
    deflate(stream, Z_FINISH); // cannot fail, because the output has room for all
    block.truncate(LENGTH_PREFIX_SIZE + static_cast<int>(stream->total_out));
}

bool BlockCodec::uncompress(const QByteArray& block, int maxSize, QByteArray& text)
{
    if (block.size() <= LENGTH_PREFIX_SIZE) {
        return false;
    }
    z_stream* const stream =
        streams().inflater.start(bytesOf(block) + LENGTH_PREFIX_SIZE, block.size() - LENGTH_PREFIX_SIZE);
    if (stream == nullptr) {
        return false;
    }
    text.resize(firstSize(block, maxSize));
    int result = Z_OK;
    while (result == Z_OK) {
        const auto used = static_cast<int>(stream->total_out);
        if (used == text.size()) {
            // The buffer does not grow beyond the bound. A text that ends exactly there succeeds; a longer one fails.
            text.resize(std::min(2 * used, maxSize));
        }
        stream->next_out = reinterpret_cast<Bytef*>(text.data()) + used;
        stream->avail_out = static_cast<uInt>(text.size() - used);
        result = inflate(stream, Z_NO_FLUSH);
    }
    text.truncate(static_cast<int>(stream->total_out));
    return result == Z_STREAM_END;
}

void BlockCodec::release()
{
    m_streams.reset();
}

BlockCodec::Streams& BlockCodec::streams()
{
    if (!m_streams) {
        m_streams = std::make_unique<Streams>();
    }
    return *m_streams;
}

} // namespace tarvex
