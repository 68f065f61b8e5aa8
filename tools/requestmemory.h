#ifndef REQUESTMEMORY_H
#define REQUESTMEMORY_H

#include <QHash>
#include <QString>

#include <deque>

namespace tarvex::traffic {
struct SeenFrame;
}

namespace tarvexctl {

/// What the last requests were, so that a reply can be shown and filtered like its request. Bounded.
class RequestMemory
{
public:
    /// The newest ones are kept.
    static constexpr std::size_t MAX_REQUESTS = 4096;
    /// Texts are kept up to here, in characters.
    static constexpr int MAX_TEXT = 256;

    struct Request
    {
        QString client;
        QString from;
        QString to;
        QString command;
        QString operation;
        bool isMessage;
    };

    /// What is remembered of \a frame.
    static Request summary(const tarvex::traffic::SeenFrame& frame);

    /// Takes the next frame. Remembers it when it is a request. When the numbers begin again, all is forgotten.
    void take(const tarvex::traffic::SeenFrame& frame);

    /// What \a reply answers; null when that is not known.
    const Request* requestOf(const tarvex::traffic::SeenFrame& reply) const;

private:
    QHash<qint64, Request> m_requests;
    std::deque<qint64> m_order;
    qint64 m_lastNumber = 0;
};

} // namespace tarvexctl

#endif // REQUESTMEMORY_H
