#ifndef FRAMECODEC_H
#define FRAMECODEC_H

#include <QByteArray>
#include <QDateTime>
#include <QString>

/// A message as a program of its own would hold it, without the library's record.
struct MessageFields
{
    QString sender;
    QString reciever;
    QString text;
    QString uid;
    QDateTime date;
};

/// A way to write and to read the frames that the operations need.
class FrameCodec
{
public:
    FrameCodec() = default;
    virtual ~FrameCodec() = default;
    Q_DISABLE_COPY_MOVE(FrameCodec)

    // Whole frames.

    virtual QByteArray messageRequest(const MessageFields& message) = 0;
    virtual QByteArray settingsRequest(const QString& owner) = 0;
    virtual QByteArray acknowledgement(const MessageFields& message) = 0;

    // What is in a payload. It need not be kept as bytes after the call.

    /// \return whether the reply says that all went well.
    virtual bool readResult(const QByteArray& payload) = 0;
    /// \return how many entries the settings have.
    virtual int readSettings(const QByteArray& payload) = 0;
    virtual MessageFields readMessage(const QByteArray& payload) = 0;
};

#endif // FRAMECODEC_H
