#include "boundedwork.h"
#include "bussearch.h"
#include "clientguess.h"
#include "controlclient.h"
#include "follower.h"
#include "interrupts.h"
#include "nearest.h"
#include "output.h"
#include "programwords.h"
#include "verbs/options.h"
#include "verbs/verblist.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QThread>

#include <functional>
#include <future>
#include <thread>

namespace tarvexctl {

namespace {

constexpr unsigned long LOOK_INTERVAL_MS = 100;

/// Looks again and again which connections of a client are there.
class Lookout
{
public:
    Lookout(QString name, int timeoutMs) : m_name(std::move(name)), m_timeoutMs(timeoutMs), m_deadline(timeoutMs) { }

    /// Waits until both connections are there. Throws Failure. \return what the bus tells about the client
    QVariantMap wait(const QString& ownName);

private:
    bool look();

    int remainingMs() const { return static_cast<int>(m_deadline.remainingTime()); }

    void requireDevelopmentBus(const QString& ownName) const;
    Failure timeOut() const;

    bool hasQuery() const { return m_client.value(QStringLiteral("queryConnections")).toInt() > 0; }

    bool hasReceiver() const { return !m_client.value(QStringLiteral("receiverSince")).toString().isEmpty(); }

    bool isComplete() const { return hasQuery() && hasReceiver(); }

    const QString m_name;
    const int m_timeoutMs;
    const QDeadlineTimer m_deadline;
    QVariantMap m_client;         ///< As the bus told last.
    QList<QVariantMap> m_clients; ///< All of them, from the last answer that came.
};

QVariantMap Lookout::wait(const QString& ownName)
{
    bool isThere = look();
    if (!isThere) {
        requireDevelopmentBus(ownName);
    }
    if (!isComplete()) {
        complain(Words::tr("waiting for \"%1\"").arg(m_name));
    }
    while (!isComplete()) {
        if (m_deadline.hasExpired()) {
            throw timeOut();
        }
        QThread::msleep(qMin<unsigned long>(LOOK_INTERVAL_MS, static_cast<unsigned long>(remainingMs())));
        const bool wasThere = isThere;
        isThere = look();
        if (m_deadline.hasExpired()) {
            continue; // the last look had too little time to say anything about the bus
        }
        if (wasThere && !isThere) {
            complain(Words::tr("the bus has gone; waiting for it to come back"));
        } else if (!wasThere && isThere) {
            complain(Words::tr("the bus is back"));
        }
    }
    return m_client;
}

/// \return whether a development bus has answered
bool Lookout::look()
{
    try {
        const auto clients =
            askControlSocket({{QStringLiteral("request"), QStringLiteral("clients")}}, qMax(remainingMs(), 1));
        m_clients = clients.value_or(m_clients);
        m_client.clear();
        const QList<QVariantMap> items = clients.value_or(QList<QVariantMap>());
        for (const QVariantMap& client : items) {
            if (client.value(QStringLiteral("name")) == m_name) {
                m_client = client;
            }
        }
        return clients.has_value();
    } catch (const Failure& failure) {
        if (failure.status() == Refused) {
            throw;
        }
        if (!m_deadline.hasExpired()) {
            m_client.clear(); // the bus has gone, or hangs
        }
        return false;
    }
}

void Lookout::requireDevelopmentBus(const QString& ownName) const
{
    try {
        requireBus(ownName, remainingMs());
    } catch (const Failure& failure) {
        if (failure.status() != TimedOut) {
            throw;
        }
        tellFailure(busIsSilent().words());
        leaveAtOnce(TimedOut);
    }
    throw cannotTellClients();
}

Failure Lookout::timeOut() const
{
    const QString time = secondsText(m_timeoutMs);
    if (hasQuery() || hasReceiver()) {
        return Failure(TimedOut,
                       (hasQuery() ? Words::tr("only the query connection of \"%1\" is there after %2")
                                   : Words::tr("only the receiving connection of \"%1\" is there after %2"))
                           .arg(m_name, time));
    }
    return Failure(
        TimedOut,
        Words::tr("\"%1\" has not connected within %2%3")
            .arg(m_name, time,
                 tarvex::programs::guessWords(likelyClient(m_name, m_clients)))); // a bus that hangs is not asked again
}

/// Calls \a wait in a thread of its own, because it blocks, so that a signal can end the program meanwhile. Throws what
/// \a wait throws.
QVariantMap interruptible(const std::function<QVariantMap()>& wait)
{
    std::packaged_task<QVariantMap()> task(wait);
    std::future<QVariantMap> client = task.get_future();
    QEventLoop loop;
    const InterruptWatcher interrupts;
    QObject::connect(&interrupts, &InterruptWatcher::interrupted, &loop, [] {
        tellFailure(Words::tr("interrupted"));
        leaveAtOnce(Interrupted);
    });
    std::thread thread([&] {
        task();
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    loop.exec();
    thread.join();
    return client.get();
}

class WaitClient : public Verb
{
public:
    WaitClient() : Verb("wait client", Words::mark("Waits until both connections of a client are there")) { }

    void addOptions(CLI::App& parser) override
    {
        m_name.addTo(parser);
        m_timeout.addTo(parser);
        addExample(parser, "tarvexctl wait client ticket_printer --timeout 10");
    }

    void run(const Context& context) const override
    {
        const QString name = m_name.nonEmptyText();
        Lookout lookout(name, m_timeout.milliseconds());
        QVariantMap client = interruptible([&] { return lookout.wait(context.clientName); });
        if (context.output.isJson()) {
            client.insert(QStringLiteral("done"), QStringLiteral("wait client"));
            context.output.writeObject(client);
        }
    }

private:
    Argument m_name{"NAME", Words::mark("The client's name")};
    TimeoutOption m_timeout{Words::mark("How many seconds to wait"), "30"};
};

} // namespace

std::unique_ptr<Verb> makeWaitClient()
{
    return std::make_unique<WaitClient>();
}

} // namespace tarvexctl
