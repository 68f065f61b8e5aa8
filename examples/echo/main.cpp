#include "echoservice.h"

#include "support/quitonsignal.h"
#include "visible.h"

#include <QCoreApplication>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const wexcor::QuitOnSignal quitOnSignal; // before any thread is started
    logVisibly();
    const QStringList arguments = QCoreApplication::arguments();
    EchoService service(arguments.size() > 1 ? arguments.at(1) : QStringLiteral("echo"));
    service.doStart();
    return QCoreApplication::exec();
}
