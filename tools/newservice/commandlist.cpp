#include "newservice/commandlist.h"

#include "cmdlayer/abstracttarvexcommandsworker.h"
#include "failure.h"
#include "newservice/cppwords.h"
#include "programwords.h"

#include <QMetaMethod>
#include <QRegularExpression>

#include <algorithm>
#include <iterator>

namespace tarvexctl {

namespace {

/// With a longer one a line of the service would not fit into 120 columns.
constexpr int MAX_LENGTH = 24;

/// What the class of the commands has from its base classes. Signals and slots are not in this list, because Qt knows
/// them.
const char* const MEMBERS[] = {
    // QObject
    "blockSignals", "childEvent", "children", "connect", "connectNotify", "customEvent", "d_ptr", "disconnect",
    "disconnectNotify", "dumpObjectInfo", "dumpObjectTree", "dynamicPropertyNames", "event", "eventFilter", "findChild",
    "findChildren", "inherits", "installEventFilter", "isSignalConnected", "isWidgetType", "isWindowType", "killTimer",
    "metaObject", "moveToThread", "objectName", "parent", "property", "qt_metacall", "qt_metacast",
    "qt_static_metacall", "receivers", "registerUserData", "removeEventFilter", "sender", "senderSignalIndex",
    "setObjectName", "setParent", "setProperty", "setUserData", "signalsBlocked", "startTimer", "staticMetaObject",
    "staticQtMetaObject", "thread", "timerEvent", "tr", "trUtf8", "userData",
    // AbstractWorker, AbstractTarvexCommandsWorker, and its executors
    "addExecutor", "canExecute", "doExec", "doStart", "doStop", "execute", "isEnding", "prepareError", "removeExecutor",
    "waitingCalls",
    // What templates/src/commands.cpp.in uses
    "addToTotal", "agent", "answer", "answerTo", "applySettings", "data", "defaultSettings", "times", "timesError",
    "timesIn", "total", "uid", "wholeNumber"};

bool isMember(const QString& name)
{
    if (std::any_of(std::begin(MEMBERS), std::end(MEMBERS),
                    [&name](const char* member) { return name == QLatin1String(member); })) {
        return true;
    }
    const QMetaObject& worker = AbstractTarvexCommandsWorker::staticMetaObject;
    for (int method = 0; method < worker.methodCount(); ++method) {
        if (name == QLatin1String(worker.method(method).name())) {
            return true;
        }
    }
    return false;
}

/// Why the service cannot have this command; empty when it can.
QString problemOf(const QString& name)
{
    static const QRegularExpression form(QStringLiteral("^[a-z][A-Za-z0-9]*(_[A-Za-z0-9]+)*\\z"));
    static const QStringList ofTheLibrary{QStringLiteral("commandError"), QStringLiteral("stateChanged"),
                                          QStringLiteral("updateSettings")};
    if (!form.match(name).hasMatch()) {
        return Words::tr("it must begin with a small letter, and letters, digits and single underscores follow");
    }
    if (name.size() > MAX_LENGTH) {
        return Words::tr("it must not have more than %1 characters").arg(MAX_LENGTH);
    }
    if (isCppWord(name)) {
        return Words::tr("it is a word of C++");
    }
    if (ofTheLibrary.contains(name)) {
        return Words::tr("the library keeps this command to itself");
    }
    return isMember(name) ? Words::tr("the class of the commands has a member of this name") : QString();
}

} // namespace

QStringList commandsFrom(const QString& list)
{
    QStringList names = list.split(QLatin1Char(','));
    for (const QString& name : qAsConst(names)) {
        QString problem = problemOf(name);
        if (problem.isEmpty() && names.count(name) > 1) {
            problem = Words::tr("it is given twice");
        }
        if (!problem.isEmpty()) {
            throw Failure(WrongUse, Words::tr("no command can be called \"%1\": %2").arg(name, problem));
        }
    }
    return names;
}

} // namespace tarvexctl
