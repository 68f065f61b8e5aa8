#ifndef BLOCKCODEC_P_H
#define BLOCKCODEC_P_H

#include <QByteArray>

#include <memory>

namespace tarvex {

/// Makes and reads the blocks of qCompress: the inflated length, 4 bytes, big-endian, and a zlib stream.
///
/// It keeps zlib's state from one block to the next, because zlib needs longer to set the state up than to compress a
/// short text. The state takes up to 310 kB. It is made with the first block of each direction, and freed by release()
/// and with this object. The result of a block does not depend on the blocks before it.
class BlockCodec
{
public:
    /// What stands in front of the zlib stream, in bytes.
    static constexpr int LENGTH_PREFIX_SIZE = 4;

    BlockCodec();
    ~BlockCodec();
    Q_DISABLE_COPY_MOVE(BlockCodec)

    /// Writes the same bytes as qCompress(\a text) to \a block. The text must not be empty.
    void compress(const QByteArray& text, QByteArray& block);

    /// Inflates \a block to \a text, but never beyond \a maxSize bytes. \return false if the block is damaged, or its
    /// text would be longer; \a text then has no meaning. Logs nothing.
    ///
    /// The buffer for the text has first the size that the length prefix claims, but at most 1 MiB plus 8 times the
    /// size of the block. It grows later if that is not enough.
    bool uncompress(const QByteArray& block, int maxSize, QByteArray& text);

    /// Frees zlib's state.
    void release();

private:
    struct Streams;

    Streams& streams();

    std::unique_ptr<Streams> m_streams;
};

} // namespace tarvex

#endif // BLOCKCODEC_P_H
