#include <tarvexloggingcategory.h>

#include <QDebug>

void logThreeLines()
{
    //! [lines]
    qInfo().noquote() << "paper roll changed";          // stored by the log service
    qCWarning(LOGGER()).noquote() << "cover is open";   // the same
    qCWarning(GUILOGGER()).noquote() << "Out of paper"; // stored, and shown on the terminal's screen
    //! [lines]
}
