#ifndef BYHANDCODEC_H
#define BYHANDCODEC_H

#include "framecodec.h"

#include <QVariantMap>

/// The same frames by the steps that the protocol prescribes, each one a call of Qt.
class ByHandCodec : public FrameCodec
{
public:
    QByteArray messageRequest(const MessageFields& message) override;
    QByteArray settingsRequest(const QString& owner) override;
    QByteArray acknowledgement(const MessageFields& message) override;
    bool readResult(const QByteArray& payload) override;
    int readSettings(const QByteArray& payload) override;
    MessageFields readMessage(const QByteArray& payload) override;
};

#endif // BYHANDCODEC_H
