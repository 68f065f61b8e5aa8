#ifndef POSSIBLECODEC_H
#define POSSIBLECODEC_H

#include "framecodec.h"
#include "records/clientsettings.h"

#include <QVariant>

#define ZLIB_CONST
#include <zlib.h>

#include <string>
#include <vector>

/// What the same frames can cost over QTcpSocket, as the plain bytes go: the zlib streams and all buffers are kept,
/// base64 goes by table, and the JSON of just these records is written and read without any tree in between. It shares
/// no code with the library's codec, and understands no more than it has to.
class PossibleCodec : public FrameCodec
{
public:
    /// One entry of the settings, without the map that the library's record has for it.
    struct Entry
    {
        QString group;
        QString key;
        QVariant value;
    };

    struct Settings
    {
        QString owner;
        QString description;
        QDateTime date;
        bool mailOwner = true;
        std::vector<Entry> entries;
    };

    PossibleCodec();
    ~PossibleCodec() override;
    Q_DISABLE_COPY_MOVE(PossibleCodec)

    QByteArray messageRequest(const MessageFields& message) override;
    QByteArray settingsRequest(const QString& owner) override;
    QByteArray acknowledgement(const MessageFields& message) override;
    bool readResult(const QByteArray& payload) override;
    int readSettings(const QByteArray& payload) override;
    MessageFields readMessage(const QByteArray& payload) override;

protected:
    /// \return the JSON text of a payload. It is valid until the next call.
    const std::string& inflate(const QByteArray& payload);

private:
    QByteArray frame(const char* header);

    z_stream m_deflater{};
    z_stream m_inflater{};
    std::string m_json;
    std::string m_block;
};

/// The same, but settings become the library's record, whose entries are maps. That is what the frames can cost behind
/// the library's interface.
class PossibleRecordCodec : public PossibleCodec
{
public:
    tarvex::ClientSettings readClientSettings(const QByteArray& payload);
    int readSettings(const QByteArray& payload) override;
};

#endif // POSSIBLECODEC_H
