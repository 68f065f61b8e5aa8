#include "loggermanager.h"

#include <QHash>
#include <QLoggingCategory>

#include <memory>
#include <mutex>
#include <utility>

namespace {

using SharedOutput = std::shared_ptr<const LoggerManager::Output>;

struct Routes
{
    std::mutex mutex;
    QHash<QString, SharedOutput> outputs;
    QtMessageHandler previousHandler = nullptr; ///< Null until the manager is installed.
};

// Never destroyed, because lines are logged until the very end of the process, also by other libraries' destructors.
Routes& routes()
{
    static Routes* const instance = new Routes;
    return *instance;
}

/// Where one line goes.
struct Route
{
    QtMessageHandler previousHandler;
    SharedOutput output; ///< This copy keeps it alive during the call, whatever other threads set and remove meanwhile.
};

Route routeFor(const QString& category)
{
    const std::lock_guard<std::mutex> lock(routes().mutex);
    const auto own = routes().outputs.constFind(category);
    return {routes().previousHandler,
            own != routes().outputs.constEnd() ? own.value() : routes().outputs.value(QString())};
}

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    const Route route = routeFor(QString::fromUtf8(context.category));
    // The console comes first. A line that makes an output crash is then shown there.
    route.previousHandler(type, context, text);
    // This is never reached from inside an output, because Qt calls no handler for what is logged inside one.
    if (route.output) {
        (*route.output)(type, context, text);
    }
}

// Called when the process ends or the library is unloaded, because Qt must not call into it any more.
void giveWayToPreviousHandler()
{
    const std::lock_guard<std::mutex> lock(routes().mutex);
    if (routes().previousHandler == nullptr) {
        return;
    }
    const QtMessageHandler installed = qInstallMessageHandler(routes().previousHandler);
    if (installed != handleMessage) {
        qInstallMessageHandler(installed);
    }
}
Q_DESTRUCTOR_FUNCTION(giveWayToPreviousHandler)

} // namespace

void LoggerManager::setOutputs(const QString& category, Output handler)
{
    if (!handler) {
        removeOutput(category);
        return;
    }
    SharedOutput output = std::make_shared<const Output>(std::move(handler));
    const std::lock_guard<std::mutex> lock(routes().mutex);
    // Swapped, so that the former output's captures are destroyed outside the lock, because they may log.
    output.swap(routes().outputs[category]);
    if (routes().previousHandler == nullptr) {
        // Under the lock, because other threads' lines come in at once and must find the earlier handler.
        routes().previousHandler = qInstallMessageHandler(handleMessage);
    }
}

void LoggerManager::removeOutput(const QString& category)
{
    SharedOutput removed;
    const std::lock_guard<std::mutex> lock(routes().mutex);
    removed = routes().outputs.take(category);
}
