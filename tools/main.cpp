// tarvexctl, the bus from the command line.

#include "commandline.h"
#include "completion/hiddenverbs.h"
#include "failure.h"
#include "interrupts.h"
#include "output.h"
#include "standardstreams.h"
#include "words.h"

#include <QCoreApplication>
#include <QLoggingCategory>

using namespace tarvexctl;

namespace {

/// The library logs in the default category. Its lines are for the logs of services; here the verbs tell what happened.
void silenceLibrary()
{
    for (const QtMsgType type : {QtDebugMsg, QtInfoMsg, QtWarningMsg, QtCriticalMsg}) {
        QLoggingCategory::defaultCategory()->setEnabled(type, false);
    }
}

} // namespace

int main(int argc, char** argv)
{
    tarvex::programs::holdStandardStreams();
    endOnInterrupt();
    const QCoreApplication application(argc, argv);
    tarvex::programs::Words::translate();
    silenceLibrary(); // only now, because the application object reads the user's logging rules
    try {
        CommandLine line;
        if (!runHiddenVerb(argc, argv, line) && line.parse(argc, argv) == CommandLine::Run) {
            line.run();
        }
    } catch (const Failure& failure) {
        if (!failure.words().isEmpty()) {
            tellFailure(failure.words());
        }
        return failure.status();
    } catch (const std::exception& error) {
        tellFailure(QString::fromUtf8(error.what()));
        return WrongUse;
    }
    return Done;
}
