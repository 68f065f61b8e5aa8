#ifndef SILENTCONSOLE_H
#define SILENTCONSOLE_H

#include <QtGlobal>

/// Keeps the log lines off the console, so that a line's price does not include the terminal's. Only one object may
/// exist at a time.
class SilentConsole
{
public:
    SilentConsole();
    ~SilentConsole();
    Q_DISABLE_COPY_MOVE(SilentConsole)
};

#endif // SILENTCONSOLE_H
