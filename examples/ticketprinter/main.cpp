#include "client/supportedclients.h"
#include "printerservice.h"
#include "support/quitonsignal.h"
#include "support/systemdnotifier.h"
#include "visible.h"

#include <QCoreApplication>

//! [main]
int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const wexcor::QuitOnSignal quitOnSignal; // before any thread is started
    const wexcor::SystemdNotifier systemdNotifier;
    logVisibly();
    const QStringList arguments = QCoreApplication::arguments();
    PrinterService service(arguments.size() > 1 ? arguments.at(1) : tarvex::BUSNAME_TICKET_PRINTER);
    service.doStart();
    return QCoreApplication::exec();
}

//! [main]
