#ifndef PLAINCODEC_H
#define PLAINCODEC_H

#include "framecodec.h"

#include <map>

/// Frames of the same sizes, without any work: what the bytes alone cost. A frame is made once for each size, and
/// nothing is read out of a payload.
class PlainCodec : public FrameCodec
{
public:
    QByteArray messageRequest(const MessageFields& message) override;
    QByteArray settingsRequest(const QString& owner) override;
    QByteArray acknowledgement(const MessageFields& message) override;
    bool readResult(const QByteArray& payload) override;
    int readSettings(const QByteArray& payload) override;
    MessageFields readMessage(const QByteArray& payload) override;

private:
    std::map<int, QByteArray> m_messageRequests; ///< By the size of the text.
    QByteArray m_settingsRequest;
    QByteArray m_acknowledgement;
};

#endif // PLAINCODEC_H
