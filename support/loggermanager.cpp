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
    std::once_flag installed;
    QtMessageHandler previousHandler = nullptr;
};

// Never destroyed: lines are logged until the very end of the process, by other libraries' destructors too.
Routes& routes()
{
    static Routes* const instance = new Routes;
    return *instance;
}

/// The outputs that the current thread is inside of, innermost first.
struct ActiveOutput
{
    const LoggerManager::Output* output;
    const ActiveOutput* outer;
};

thread_local const ActiveOutput* activeOutputs = nullptr;

bool isActive(const LoggerManager::Output* output)
{
    for (const ActiveOutput* active = activeOutputs; active != nullptr; active = active->outer) {
        if (active->output == output) {
            return true;
        }
    }
    return false;
}

class ActiveMark
{
public:
    explicit ActiveMark(const LoggerManager::Output* output) : m_mark{output, activeOutputs}
    {
        activeOutputs = &m_mark;
    }

    ~ActiveMark() { activeOutputs = m_mark.outer; }
    Q_DISABLE_COPY_MOVE(ActiveMark)

private:
    const ActiveOutput m_mark;
};

/// A copy that keeps the output alive while it is called, whatever other threads set and remove meanwhile.
SharedOutput outputFor(const QString& category)
{
    const std::lock_guard<std::mutex> lock(routes().mutex);
    const auto own = routes().outputs.constFind(category);
    return own != routes().outputs.constEnd() ? own.value() : routes().outputs.value(QString());
}

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    // The console first: a line that brings an output down is then still to be read there.
    if (routes().previousHandler != nullptr) {
        routes().previousHandler(type, context, text);
    }
    const SharedOutput output = outputFor(QString::fromUtf8(context.category));
    if (output && !isActive(output.get())) {
        const ActiveMark mark(output.get());
        (*output)(type, context, text);
    }
}

} // namespace

void LoggerManager::setOutputs(const QString& category, Output handler)
{
    if (!handler) {
        removeOutput(category);
        return;
    }
    SharedOutput output = std::make_shared<const Output>(std::move(handler));
    {
        const std::lock_guard<std::mutex> lock(routes().mutex);
        // Swapped, so that the former output's captures are destroyed outside the lock: they may log.
        output.swap(routes().outputs[category]);
    }
    std::call_once(routes().installed, [] { routes().previousHandler = qInstallMessageHandler(handleMessage); });
}

void LoggerManager::removeOutput(const QString& category)
{
    SharedOutput removed;
    const std::lock_guard<std::mutex> lock(routes().mutex);
    removed = routes().outputs.take(category);
}
