#include "silentconsole.h"

#include <QString>

namespace {

QtMessageHandler consoleHandler = nullptr;
bool consoleIsSilent = false;

void writeUnlessSilent(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (!consoleIsSilent || type == QtFatalMsg) {
        consoleHandler(type, context, text);
    }
}

} // namespace

SilentConsole::SilentConsole()
{
    // Installed once, for good: the library's logger manager, installed after it, stays too.
    if (consoleHandler == nullptr) {
        consoleHandler = qInstallMessageHandler(writeUnlessSilent);
    }
    consoleIsSilent = true;
}

SilentConsole::~SilentConsole()
{
    consoleIsSilent = false;
}
