#include "echoworker.h"

#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "support/quitonsignal.h"
#include "visible.h"

#include <QCoreApplication>

namespace {

constexpr int STATE_INTERVAL_MS = 10000;
constexpr int LOG_REPEAT_INTERVAL_MS = 10000;

//! [service]
/// The service itself: joins the bus with the two workers and keeps them going.
class EchoService : public tarvex::TarvexController
{
public:
    explicit EchoService(const QString& clientName)
        : TarvexController(LOG_REPEAT_INTERVAL_MS, clientName, nullptr), m_clientName(clientName)
    {
    }

    void doStart() override
    {
        auto* const messages = new tarvex::TarvexMsgWorker(m_clientName);
        auto* const queries = new EchoWorker(STATE_INTERVAL_MS, m_clientName);
        // Queued, because each worker lives in a thread of its own, and the query worker's thread sends the answer.
        connect(messages, SIGNAL(unprocessedMessage(Message)), queries, SLOT(answer(Message)), Qt::QueuedConnection);
        initWorkers(messages, queries);
    }

private:
    const QString m_clientName;
};

//! [service]

} // namespace

//! [main]
int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const wexcor::QuitOnSignal quitOnSignal; // before any thread is started
    logVisibly();
    const QStringList arguments = QCoreApplication::arguments();
    EchoService service(arguments.size() > 1 ? arguments.at(1) : QStringLiteral("echo"));
    service.doStart();
    return QCoreApplication::exec();
}

//! [main]
