#include "loggermanager.h"

#include <QLoggingCategory>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace {

using SharedOutput = std::shared_ptr<const LoggerManager::Output>;
/// By the name of the category in UTF-8, as a line has it. Every line of the process is looked up here, so the lookup
/// makes no copy of the name.
using Outputs = std::map<std::string, SharedOutput, std::less<>>;

struct Routes
{
    std::mutex mutex;
    Outputs outputs;
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

Outputs::const_iterator outputOf(const Outputs& outputs, std::string_view category)
{
    const auto own = outputs.find(category);
    const auto isAscii = [](char c) { return static_cast<signed char>(c) >= 0; };
    if (own != outputs.end() || std::all_of(category.begin(), category.end(), isAscii)) {
        return own;
    }
    // A name that is no UTF-8 is known by the replacement characters that Qt reads from it.
    return outputs.find(QString::fromUtf8(category.data(), static_cast<int>(category.size())).toStdString());
}

Route routeFor(std::string_view category)
{
    const std::lock_guard<std::mutex> lock(routes().mutex);
    const Outputs& outputs = routes().outputs;
    auto output = outputOf(outputs, category);
    if (output == outputs.end()) {
        output = outputs.find(std::string_view());
    }
    return {routes().previousHandler, output != outputs.end() ? output->second : nullptr};
}

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    const Route route = routeFor(context.category != nullptr ? context.category : "");
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
    // With emplace(), because in builds without optimisation operator[] brings a symbol along,
    // std::piecewise_construct, that keeps the library from being unloaded.
    output.swap(routes().outputs.emplace(category.toStdString(), nullptr).first->second);
    if (routes().previousHandler == nullptr) {
        // Under the lock, because other threads' lines come in at once and must find the earlier handler.
        routes().previousHandler = qInstallMessageHandler(handleMessage);
    }
}

void LoggerManager::removeOutput(const QString& category)
{
    SharedOutput removed;
    const std::lock_guard<std::mutex> lock(routes().mutex);
    const auto output = routes().outputs.find(category.toStdString());
    if (output != routes().outputs.end()) {
        removed = std::move(output->second);
        routes().outputs.erase(output);
    }
}
