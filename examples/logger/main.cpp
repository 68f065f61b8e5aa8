#include "client/supportedclients.h"
#include "client/tarvexcontroller.h"
#include "client/tarvexmsgworker.h"
#include "support/quitonsignal.h"
#include "visible.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QTextStream>

namespace {

constexpr int LOG_REPEAT_INTERVAL_MS = 10000;

/// Handles "saveLog" itself, and leaves everything else to the base class.
class LogWorker : public tarvex::TarvexMsgWorker
{
public:
    LogWorker() : TarvexMsgWorker(tarvex::BUSNAME_LOGGER) { }

    bool doProcessCommand(const QString& cmd, const QVariantMap& data, const QString& sender,
                          const QString& uid) override
    {
        if (cmd != QLatin1String("saveLog")) {
            return TarvexMsgWorker::doProcessCommand(cmd, data, sender, uid);
        }
        QTextStream(stdout) << QDateTime::currentDateTime().toString(Qt::ISODateWithMs) << '\t' << visible(sender)
                            << '\t' << visible(data.value(QStringLiteral("prefix")).toString()) << '\t'
                            << visible(data.value(QStringLiteral("text")).toString()) << Qt::endl;
        return true;
    }
};

/// Plays the device's log service: prints each log line of the other services on a line, its fields separated by tabs.
class LogService : public tarvex::TarvexController
{
public:
    LogService() : TarvexController(LOG_REPEAT_INTERVAL_MS, tarvex::BUSNAME_LOGGER, nullptr) { }

    /// It only listens, so it needs no query worker. Its own log lines appear on its console.
    void doStart() override { initWorkers(new LogWorker, nullptr); }
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const wexcor::QuitOnSignal quitOnSignal; // before any thread is started
    logVisibly();
    LogService service;
    service.doStart();
    return QCoreApplication::exec();
}
