#include "gateservice.h"
#include "support/quitonsignal.h"
#include "visible.h"

#include <QCoreApplication>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const wexcor::QuitOnSignal quitOnSignal; // before any thread is started
    logVisibly();
    const QStringList arguments = QCoreApplication::arguments();
    GateService service(arguments.size() > 1 ? arguments.at(1) : QStringLiteral("gate"));
    service.doStart();
    return QCoreApplication::exec();
}
