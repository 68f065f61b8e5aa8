// tarvexctl, the bus from the command line.

#include "commandline.h"
#include "failure.h"
#include "interrupts.h"
#include "output.h"
#include "standardstreams.h"

#include <QCoreApplication>

using namespace tarvexctl;

int main(int argc, char** argv)
{
    tarvex::programs::holdStandardStreams();
    endOnInterrupt();
    const QCoreApplication application(argc, argv);
    try {
        CommandLine line;
        if (line.parse(argc, argv) == CommandLine::Run) {
            line.run();
        }
    } catch (const Failure& failure) {
        if (!failure.words().isEmpty()) {
            complain(failure.words());
        }
        return failure.status();
    } catch (const std::exception& error) {
        complain(QString::fromUtf8(error.what()));
        return WrongUse;
    }
    return Done;
}
