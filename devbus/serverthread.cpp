#include "serverthread.h"

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <QThread>

#include <chrono>

namespace tarvex::devbus {

namespace {

/// A wait ends only when the work is done. It looks at least this often whether that is so.
constexpr std::chrono::seconds LOOK_INTERVAL(1);

} // namespace

/// Lives in the server's thread, where an event for it means that there is work.
class ServerThread::Inbox : public QObject
{
public:
    explicit Inbox(const std::function<void()>& open) : m_open(open) { }

    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User) {
            return QObject::event(event);
        }
        m_open();
        return true;
    }

private:
    const std::function<void()> m_open;
};

ServerThread::ServerThread(const BusServer::Options& options)
    : m_thread(QThread::create([this, options] { run(options); }))
{
    m_thread->setObjectName(QStringLiteral("devbus"));
    m_thread->start();
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_inbox) {
        m_changed.wait_for(lock, LOOK_INTERVAL);
    }
}

ServerThread::~ServerThread()
{
    call([](BusServer& server) {
        server.stop();
        QThread::currentThread()->quit();
    });
    m_thread->wait();
}

void ServerThread::call(const Work& work)
{
    const std::lock_guard<std::mutex> onlyCaller(m_callMutex);
    std::unique_lock<std::mutex> lock(m_mutex);
    m_work = &work;
    QCoreApplication::postEvent(m_inbox, new QEvent(QEvent::User));
    while (m_work) {
        m_changed.wait_for(lock, LOOK_INTERVAL);
    }
}

void ServerThread::run(const BusServer::Options& options)
{
    BusServer server(options);
    Inbox inbox([this, &server] { doWork(server); });
    publish(&inbox);
    QEventLoop().exec(); // ended by the thread's quit()
}

void ServerThread::publish(Inbox* inbox)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_inbox = inbox;
    m_changed.notify_all();
}

/// The work is done without the lock, because slots of the server's signals may take long.
void ServerThread::doWork(BusServer& server)
{
    const Work* work = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        work = m_work;
    }
    (*work)(server);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_work = nullptr;
    m_changed.notify_all();
}

} // namespace tarvex::devbus
