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
    // Installed once and never removed, because the library's logger manager, which is installed after it, stays too.
    if (consoleHandler == nullptr) {
        consoleHandler = qInstallMessageHandler(writeUnlessSilent);
    }
    consoleIsSilent = true;
}

SilentConsole::~SilentConsole()
{
    consoleIsSilent = false;
}
