#ifndef BUSPROCESS_H
#define BUSPROCESS_H

#include "busclient.h"
#include "childprocess.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVariantMap>

#include <memory>

/// The development bus in a process of its own, which a test can kill and hang. Sets XDG_RUNTIME_DIR for this process
/// and for those that it starts later.
class BusProcess
{
public:
    enum Storage {
        InFile,
        InMemory
    };

    explicit BusProcess(Storage storage = InFile);
    ~BusProcess();
    Q_DISABLE_COPY_MOVE(BusProcess)

    /// Starts the bus, also again after killHard(). \return whether it is ready.
    bool start();
    void killHard();
    /// Stops the process where it is: its connections stay and nobody answers.
    void hang();
    void goOn();

    /// The file in which it stores.
    QString storagePath() const { return m_folder.filePath(QStringLiteral("bus.sqlite")); }

    /// A text "client publisher goals" for each subscription in the file.
    QStringList subscriptions() const;
    /// One text for each message in the file. These are the messages that are not acknowledged yet.
    QStringList messages() const;

private:
    QStringList rows(const QString& query) const;

    const Storage m_storage;
    QTemporaryDir m_folder;
    std::unique_ptr<ChildProcess> m_process;
};

/// A client that does what the test tells it.
class ScriptedClient
{
public:
    explicit ScriptedClient(const QString& name);

    bool isConnected() const { return m_query.isConnected() && m_receiver.isConnected(); }

    /// \return whether the bus accepted the message.
    bool send(const QString& receiver, const QString& text, const QString& uid);
    bool saveState(const QString& state, int type, const QString& description, const QString& date);
    /// Waits for the next message and acknowledges it. \return its record
    QVariantMap receive();

private:
    const QString m_name;
    BusClient m_query;
    BusClient m_receiver;
};

/// The date of a message or state. Another \a second makes another date.
QString someDate(int second = 0);

#endif // BUSPROCESS_H
