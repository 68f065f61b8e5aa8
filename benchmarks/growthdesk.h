#ifndef GROWTHDESK_H
#define GROWTHDESK_H

#include "childprocess.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>
#include <QVariantMap>

#include <cstdio>

/// The development bus as a process of its own, whose database lies in a temporary folder. What it costs is the CPU
/// time of that process.
class BusProcess
{
public:
    /// An absent client's messages beyond \a keep are dropped.
    explicit BusProcess(int keep);
    Q_DISABLE_COPY_MOVE(BusProcess)

    /// Puts this many messages into the storage, for the client \a client, before the start. Their identifiers are
    /// queuedUid(0) and so on.
    void queue(const QString& client, int messages);
    static QString queuedUid(int number);
    /// Waits until it is ready.
    void start();
    void end();

    /// What it has used so far, in microseconds. Waits until it rests.
    double cpuTime() const;

private:
    void waitForRest() const;

    QTemporaryDir m_folder;
    ChildProcess m_process;
};

/// A client's end of a connection to that bus. It leaves the payloads encoded, so that it costs little itself. Every
/// call blocks; one that fails ends the program.
class RawClient
{
public:
    RawClient(quint16 port, const QString& name);
    ~RawClient();
    Q_DISABLE_COPY_MOVE(RawClient)

    void send(const QByteArray& frame);
    /// \return the payload of the next frame, still encoded.
    QByteArray read();
    /// Sends a request and reads the reply, which must be the next frame.
    void ask(const QByteArray& request);
    /// Waits until the server has dealt with all that was sent before. Drops what was pushed.
    void settle();

private:
    QByteArray readLine();

    std::FILE* m_stream;
    bool m_isReply = false; ///< The frame that was read last.
};

#endif // GROWTHDESK_H
